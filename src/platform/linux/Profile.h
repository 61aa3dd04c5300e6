#pragma once

#include "platform/Url.h"

#include <filesystem>
#include <string>

/// Where the program keeps its files. Nothing is created here: whoever writes makes its folder.
struct Profile {
    /// Of the person's own profile.
    static constexpr const char* userApplicationId = "app.brisko.Brisko";
    static constexpr const char* userFolderName = "brisko";

    std::filesystem::path config; ///< preferences
    std::filesystem::path data;   ///< cookies, website data
    std::filesystem::path cache;
    std::filesystem::path state; ///< pending reminders

    /// "brisko" in the XDG folders of the person.
    static Profile ofUser();
    /// Everything below one folder.
    static Profile under(const std::filesystem::path& folder);

    std::filesystem::path preferencesFile() const { return config / "preferences.json"; }
    std::filesystem::path remindersFolder() const { return state / "reminders"; }
    /// The folders of one service origin, so that one origin's session is never sent to another. They are
    /// named after its host in lower case, followed by "_" and the port where that is not the default one:
    /// "brisko.example_8443".
    std::filesystem::path dataOf(const Url& origin) const;
    std::filesystem::path cacheOf(const Url& origin) const;

    /// The application id of the single instance that uses these files: the well-known one for the person's
    /// own profile, one derived from the folder for any other.
    std::string applicationId() const;

    bool operator==(const Profile&) const = default;
};
