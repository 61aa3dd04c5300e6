#include "reminders/linux/ReminderPlace.h"

#include "platform/linux/GPtr.h"
#include "platform/linux/Profile.h"

#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t digestLength = 16;

fs::path resolved(const fs::path& folder) {
    std::error_code failure;
    auto result = fs::weakly_canonical(folder, failure);
    return failure ? folder.lexically_normal() : result;
}

} // namespace

std::string ReminderPlace::busName() const {
    const auto name = applicationId + ".Reminders";
    const auto usual =
        fs::path(g_get_home_dir()) / ".local" / "state" / Profile::userFolderName / "reminders";
    const auto own = resolved(folder);
    // Other profiles have an id of their own.
    if (applicationId != Profile::userApplicationId || own == resolved(usual))
        return name;
    const GText digest(g_compute_checksum_for_string(G_CHECKSUM_SHA256, own.c_str(), -1));
    return name + ".s" + std::string(digest.get(), digestLength);
}
