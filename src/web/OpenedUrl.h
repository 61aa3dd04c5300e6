#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The URLs that open a page of the web application.
namespace OpenedUrl {

/// The service path that an opened URL stands for, by its host, compared exactly: "new", "today" or "search".
/// None for any other, and for a URL without a host.
std::optional<std::string> servicePath(std::string_view url);

} // namespace OpenedUrl
