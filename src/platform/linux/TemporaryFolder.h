#pragma once

#include "platform/Error.h"

#include <glib.h>

#include <filesystem>
#include <string>

/// A private folder (mode 0700) that goes, with all that is in it, when its owner does.
class TemporaryFolder {
public:
    /// Throws Error when there is no room for it.
    explicit TemporaryFolder(const std::string& name) {
        GError* error = nullptr;
        auto* made = g_dir_make_tmp((name + "-XXXXXX").c_str(), &error);
        if (!made) {
            const std::string text = error->message;
            g_error_free(error);
            throw Error(text);
        }
        path_ = made;
        g_free(made);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code failure;
        std::filesystem::remove_all(path_, failure);
    }

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};
