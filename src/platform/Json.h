#pragma once

#include <nlohmann/json.hpp>

#include <string_view>

/// JSON values; the parser is strict (RFC 8259) and takes UTF-8.
using Json = nlohmann::json;

/// The JSON value that `text` holds, whatever its kind; a discarded value (`is_discarded()`) when it is not
/// JSON.
inline Json parseJson(std::string_view text) {
    return Json::parse(text.begin(), text.end(), nullptr, false);
}
