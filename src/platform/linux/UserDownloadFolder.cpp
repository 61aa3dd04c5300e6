#include "platform/linux/UserDownloadFolder.h"

#include "platform/Error.h"
#include "platform/linux/GAsync.h"
#include "platform/linux/SessionBus.h"

#include <fcntl.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr int folderMode = 0755; ///< before the person's umask

[[noreturn]] void fail(int number) {
    throw Error(g_strerror(number), number);
}

/// As fsync(2) of the file: 0 or the error's number.
int sync(const char* file) {
    const auto descriptor = ::open(file, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    auto result = 0;
    do
        result = ::fsync(descriptor) == 0 ? 0 : errno;
    while (result == EINTR);
    ::close(descriptor);
    // EINVAL comes from a file system that has nothing to sync.
    return result == EINVAL ? 0 : result;
}

void syncInThread(GTask* task, gpointer, gpointer file, GCancellable*) {
    if (const auto number = sync(static_cast<const char*>(file)))
        g_task_return_new_error(task, G_IO_ERROR, g_io_error_from_errno(number), "%s", g_strerror(number));
    else
        g_task_return_boolean(task, TRUE);
}

} // namespace

UserDownloadFolder::UserDownloadFolder(std::optional<fs::path> folder,
                                       std::function<void(const fs::path&)> addToRecentFiles)
    : folder_(std::move(folder)), addToRecentFiles_(std::move(addToRecentFiles)) {}

std::optional<fs::path> UserDownloadFolder::choose(const std::optional<fs::path>& configured,
                                                   const fs::path& home) {
    std::error_code ignored; // what cannot be looked at is not the home folder
    if (configured && configured->is_absolute() && !fs::equivalent(*configured, home, ignored) &&
        configured->lexically_normal() != home.lexically_normal())
        return configured;
    if (fs::is_directory(home, ignored) && home != home.root_path())
        return home / "Downloads";
    return std::nullopt;
}

std::optional<fs::path> UserDownloadFolder::ofUser() {
    const auto* configured = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD);
    return choose(configured ? std::optional<fs::path>(configured) : std::nullopt, g_get_home_dir());
}

std::optional<fs::path> UserDownloadFolder::path() {
    if (!folder_)
        return std::nullopt;
    if (g_mkdir_with_parents(folder_->c_str(), folderMode) != 0 ||
        ::access(folder_->c_str(), W_OK | X_OK) != 0) {
        const auto number = errno;
        const GText name(g_filename_display_name(folder_->c_str()));
        throw Error(std::string("The folder ") + name.get() + " cannot be used: " + g_strerror(number),
                    number);
    }
    return folder_;
}

bool UserDownloadFolder::exists(const fs::path& file) const {
    struct stat status = {};
    return ::lstat(file.c_str(), &status) == 0;
}

Task<> UserDownloadFolder::settle(fs::path partial) {
    GAsync syncing;
    const auto task = GPtr<GTask>::take(g_task_new(nullptr, nullptr, GAsync::ready, &syncing));
    g_task_set_task_data(task.get(), g_strdup(partial.c_str()), g_free);
    g_task_run_in_thread(task.get(), syncInThread);
    const auto result = co_await syncing;
    GError* error = nullptr;
    if (!g_task_propagate_boolean(G_TASK(result.get()), &error)) {
        const GErrorPtr owner(error);
        throw Error(error->message, error->code);
    }
}

bool UserDownloadFolder::place(const fs::path& partial, const fs::path& file) {
    if (::renameat2(AT_FDCWD, partial.c_str(), AT_FDCWD, file.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    // Some network file systems have no such rename; a second name for the file is as good.
    if ((errno == EINVAL || errno == ENOSYS) && ::link(partial.c_str(), file.c_str()) == 0) {
        discard(partial);
        return true;
    }
    if (errno == EEXIST)
        return false;
    fail(errno);
}

void UserDownloadFolder::discard(const fs::path& partial) {
    ::unlink(partial.c_str());
}

void UserDownloadFolder::announce(const fs::path& file) {
    const GText text(g_utf8_make_valid(file.c_str(), -1));
    SessionBus::broadcast("/app/brisko/Brisko", "app.brisko.Brisko.Downloads", "DownloadFileFinished",
                          g_variant_new("(s)", text.get()));
    addToRecentFiles_(file);
}
