#include "platform/linux/Profile.h"

#include "platform/linux/GPtr.h"

#include <glib.h>

#include <cstdio>
#include <string_view>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t digestLength = 16;
constexpr int httpsPort = 443;

/// Letters, digits, "-" and a "." that is not the first keep their place; any other byte becomes "%" and its
/// number, so that two hosts never share a name and none of them names another folder.
std::string fileNameOf(std::string_view host) {
    std::string name;
    for (const char given : host) {
        const auto letter = g_ascii_tolower(given);
        if (g_ascii_isalnum(letter) || letter == '-' || (letter == '.' && !name.empty())) {
            name += letter;
        } else {
            char escaped[4];
            std::snprintf(escaped, sizeof escaped, "%%%02x",
                          static_cast<unsigned>(static_cast<guchar>(given)));
            name += escaped;
        }
    }
    return name;
}

fs::path folderOf(const Url& origin) {
    auto name = fileNameOf(origin.host().value_or(""));
    if (const auto port = origin.port().value_or(httpsPort); port != httpsPort)
        name += "_" + std::to_string(port);
    return fs::path("origins") / name;
}

fs::path canonicalFolder(const fs::path& path) {
    std::error_code failure;
    auto result = fs::weakly_canonical(path, failure);
    return failure ? fs::absolute(path).lexically_normal() : result;
}

} // namespace

Profile Profile::ofUser() {
    return {.config = fs::path(g_get_user_config_dir()) / userFolderName,
            .data = fs::path(g_get_user_data_dir()) / userFolderName,
            .cache = fs::path(g_get_user_cache_dir()) / userFolderName,
            .state = fs::path(g_get_user_state_dir()) / userFolderName};
}

Profile Profile::under(const fs::path& folder) {
    auto root = fs::absolute(folder).lexically_normal();
    if (!root.has_filename()) // as after a trailing slash
        root = root.parent_path();
    return {
        .config = root / "config", .data = root / "data", .cache = root / "cache", .state = root / "state"};
}

fs::path Profile::dataOf(const Url& origin) const {
    return data / folderOf(origin);
}

fs::path Profile::cacheOf(const Url& origin) const {
    return cache / folderOf(origin);
}

std::string Profile::applicationId() const {
    if (*this == ofUser())
        return userApplicationId;
    const GText digest(g_compute_checksum_for_string(G_CHECKSUM_SHA256, canonicalFolder(data).c_str(), -1));
    // An element of a D-Bus name does not begin with a digit.
    return std::string(userApplicationId) + ".p" + std::string(digest.get(), digestLength);
}
