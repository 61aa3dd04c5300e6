#include "web/DownloadName.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

namespace fs = std::filesystem;

/// A longer one says nothing about the file, and need not survive when the name is shortened.
constexpr std::size_t longestExtension = 40;

struct Parts {
    std::string_view stem;
    std::string_view extension; ///< with its dot; empty when there is none
};

Parts split(std::string_view name) {
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return {name, {}};
    return {name.substr(0, dot), name.substr(dot)};
}

std::string_view lastComponent(std::string_view path) {
    while (path.ends_with('/'))
        path.remove_suffix(1);
    return path.substr(path.rfind('/') + 1);
}

/// The embeddings, overrides and isolates of the bidirectional algorithm (UAX #9), and the byte order mark.
bool isHidden(UChar32 character) {
    return (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069) ||
           character == 0xFEFF;
}

/// What stands for a control character, or for one that was ill-formed.
std::optional<UChar32> substitute(UChar32 character) {
    if ((U_GET_GC_MASK(character) & (U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) != 0)
        return u_isUWhiteSpace(character) ? ' ' : '_';
    if (character == 0xFFFD)
        return '_';
    return std::nullopt;
}

icu::UnicodeString clean(const icu::UnicodeString& name) {
    icu::UnicodeString result;
    for (int32_t i = 0; i < name.length(); i = name.moveIndex32(i, 1)) {
        const auto character = name.char32At(i);
        if (!isHidden(character))
            result.append(substitute(character).value_or(character));
    }
    return result;
}

bool isTrimmed(char16_t unit) {
    return unit == '.' || u_isUWhiteSpace(unit) != 0;
}

icu::UnicodeString trim(const icu::UnicodeString& name) {
    int32_t begin = 0;
    auto end = name.length();
    while (begin < end && isTrimmed(name[begin]))
        begin += 1;
    while (begin < end && isTrimmed(name[end - 1]))
        end -= 1;
    return name.tempSubStringBetween(begin, end);
}

/// Ill-formed sequences become U+FFFD.
icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string utf8(const icu::UnicodeString& text) {
    std::string result;
    return text.toUTF8String(result);
}

/// The characters of a well-formed text that fit into that many bytes.
std::string_view fitting(std::string_view text, std::size_t room) {
    auto end = std::min(room, text.size());
    while (end > 0 && end < text.size() && U8_IS_TRAIL(static_cast<std::uint8_t>(text[end])))
        end -= 1;
    return text.substr(0, end);
}

std::string shortened(std::string_view name) {
    if (name.size() <= DownloadName::longest)
        return std::string(name);
    auto [stem, extension] = split(name);
    if (extension.size() > longestExtension) {
        stem = name;
        extension = {};
    }
    return utf8(trim(unicode(fitting(stem, DownloadName::longest - extension.size())))) +
           std::string(extension);
}

/// The first of `name`, "stem 2.extension", "stem 3.extension" and so on under which nothing exists.
fs::path numbered(const fs::path& folder, const std::string& name, const DownloadName::FileExists& exists) {
    const auto [stem, extension] = split(name);
    auto candidate = folder / name;
    for (std::uint64_t number = 2; exists(candidate); ++number)
        candidate = folder / (std::string(stem) + ' ' + std::to_string(number) + std::string(extension));
    return candidate;
}

} // namespace

std::string DownloadName::usable(std::string_view suggested) {
    const auto name = utf8(trim(clean(unicode(lastComponent(suggested)))));
    return name.empty() ? "download" : shortened(name);
}

fs::path DownloadName::unused(std::string_view suggested, const fs::path& folder, const FileExists& exists) {
    return numbered(folder, usable(suggested), exists);
}

fs::path DownloadName::partial(const fs::path& target, const FileExists& exists) {
    return numbered(target.parent_path(), "." + target.filename().string() + ".brisko.part", exists);
}
