#pragma once

#include "platform/NotificationCenter.h"
#include "platform/linux/JsonUserDefaults.h"

#include <filesystem>

/// The person's answer to the question whether the program may show notifications. It is beside the reminders
/// and not among the preferences: it is the desktop's state, which no setting of the program changes.
class PermissionFile {
public:
    explicit PermissionFile(const std::filesystem::path& file) : file_(file) {}

    /// Not determined where there is no answer, or none that can be read.
    NotificationPermission read() const;
    /// Keeps `authorized` or `denied`. Throws Error when that is impossible.
    void write(NotificationPermission permission);

private:
    JsonUserDefaults file_;
};
