#include "platform/linux/DurableFile.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(int number) {
    throw Error(g_strerror(number), number);
}

/// Calls a system function again for as long as a signal interrupts it.
template <class Call>
auto retry(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// As `retry`; throws Error when the call fails.
template <class Call>
auto require(Call call) {
    const auto result = retry(call);
    if (result < 0)
        fail(errno);
    return result;
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }

    int get() const { return number_; }

private:
    int number_;
};

Descriptor open(const fs::path& path, int flags) {
    return Descriptor(require([&] { return ::open(path.c_str(), flags | O_CLOEXEC); }));
}

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

void syncFolder(const fs::path& folder) {
    const auto descriptor = open(folder, O_RDONLY | O_DIRECTORY);
    // EINVAL comes from a file system whose folders need no syncing, or know none.
    if (retry([&] { return ::fsync(descriptor.get()); }) < 0 && errno != EINVAL)
        fail(errno);
}

void writeAll(const Descriptor& descriptor, std::string_view content) {
    while (!content.empty()) {
        const auto written =
            require([&] { return ::write(descriptor.get(), content.data(), content.size()); });
        content.remove_prefix(static_cast<std::size_t>(written));
    }
}

bool makeFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), S_IRWXU) != 0) {
        if (errno == EEXIST)
            return false;
        fail(errno);
    }
    syncFolder(folderOf(folder));
    return true;
}

/// The new file while it is written; gone at the end unless it has been put in place.
class NewFile {
public:
    explicit NewFile(const fs::path& target)
        : name_(target.string() + ".new-XXXXXX"),
          descriptor_(require([&] { return ::mkostemp(name_.data(), O_CLOEXEC); })) {}
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        if (!placed_)
            ::unlink(name_.c_str());
    }

    void write(std::string_view content) {
        writeAll(descriptor_, content);
        require([&] { return ::fsync(descriptor_.get()); });
    }
    void place(const fs::path& target) {
        require([&] { return ::rename(name_.c_str(), target.c_str()); });
        placed_ = true;
    }

private:
    std::string name_;
    Descriptor descriptor_;
    bool placed_ = false;
};

} // namespace

void DurableFile::makePrivateFolder(const fs::path& folder) {
    // A trailing slash names the same folder, but not to parent_path().
    const auto target = folder.has_filename() ? folder : folder.parent_path();
    std::error_code ignored;
    if (const auto above = folderOf(target); !fs::exists(above, ignored))
        makePrivateFolder(above);
    if (makeFolder(target))
        return;
    if (!fs::is_directory(target, ignored))
        fail(ENOTDIR);
    require([&] { return ::chmod(target.c_str(), S_IRWXU); });
}

std::optional<std::string> DurableFile::read(const fs::path& file) {
    // Without O_NONBLOCK a named pipe in the file's place would hold the program up until somebody writes to
    // it.
    const Descriptor descriptor(
        retry([&] { return ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
    if (descriptor.get() < 0) {
        if (errno == ENOENT)
            return std::nullopt;
        fail(errno);
    }
    struct stat status = {};
    require([&] { return ::fstat(descriptor.get(), &status); });
    if (!S_ISREG(status.st_mode))
        fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);

    std::string content;
    std::array<char, 16'384> buffer = {};
    for (;;) {
        const auto count = require([&] { return ::read(descriptor.get(), buffer.data(), buffer.size()); });
        if (count == 0)
            return content;
        content.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

void DurableFile::write(const fs::path& file, std::string_view content) {
    NewFile next(file);
    next.write(content);
    next.place(file);
    syncFolder(folderOf(file));
}

void DurableFile::append(const fs::path& file, std::string_view text, Outlives what) {
    const auto isNew = !fs::exists(file);
    const Descriptor descriptor(require(
        [&] { return ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR); }));
    const auto length = require([&] { return ::lseek(descriptor.get(), 0, SEEK_END); });
    try {
        writeAll(descriptor, text);
        if (what == Outlives::machine)
            require([&] { return ::fdatasync(descriptor.get()); });
    } catch (const Error&) {
        if (::ftruncate(descriptor.get(), length) == 0)
            ::fdatasync(descriptor.get());
        throw;
    }
    if (isNew && what == Outlives::machine)
        syncFolder(folderOf(file));
}

void DurableFile::remove(const fs::path& file) {
    if (::unlink(file.c_str()) != 0) {
        if (errno == ENOENT)
            return;
        fail(errno);
    }
    syncFolder(folderOf(file));
}

void DurableFile::setAside(const fs::path& file) {
    int number = 1;
    std::error_code ignored; // the move then says what is wrong
    const auto name = [&] { return fs::path(file.string() + ".broken-" + std::to_string(number)); };
    while (fs::exists(fs::symlink_status(name(), ignored)))
        ++number;
    require([&] { return ::rename(file.c_str(), name().c_str()); });
    syncFolder(folderOf(file));
}
