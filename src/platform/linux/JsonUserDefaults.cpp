#include "platform/linux/JsonUserDefaults.h"

#include "platform/Error.h"
#include "platform/linux/DurableFile.h"

#include <sys/stat.h>

#include <utility>

namespace {

constexpr int indentation = 2;

/// Tells one version of a file from the next: each is a file of its own, and one that is edited in place has
/// another time. None where there is no file.
struct Version {
    explicit Version(const std::filesystem::path& file) {
        struct stat status = {};
        if (::stat(file.c_str(), &status) != 0)
            return;
        isThere = true;
        device = status.st_dev;
        inode = status.st_ino;
        size = status.st_size;
        changed = {status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    }
    bool operator==(const Version&) const = default;

    bool isThere = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::pair<time_t, long> changed;
};

} // namespace

/// What the file holds at one moment.
struct JsonUserDefaults::Stored {
    std::optional<std::string> text; ///< none where there is no file
    Json values = Json::object();
    bool broken = false; ///< the text is not a JSON object
};

struct JsonUserDefaults::Seen {
    Version version;
    Stored stored;
};

JsonUserDefaults::JsonUserDefaults(std::filesystem::path file) : file_(std::move(file)) {}

JsonUserDefaults::~JsonUserDefaults() = default;

Json JsonUserDefaults::value(const std::string& key) const {
    try {
        const auto& stored = look();
        const auto found = stored.values.find(key);
        return found == stored.values.end() ? Json() : *found;
    } catch (const Error&) {
        return Json();
    }
}

bool JsonUserDefaults::available() const {
    try {
        return !look().broken;
    } catch (const Error&) {
        return false;
    }
}

void JsonUserDefaults::set(const std::string& key, Json value) {
    auto stored = read();
    stored.values[key] = std::move(value);
    write(stored);
}

void JsonUserDefaults::remove(const std::string& key) {
    auto stored = read();
    if (stored.values.erase(key) > 0)
        write(stored);
}

void JsonUserDefaults::update(const std::map<std::string, Json>& changes) {
    auto stored = read();
    bool changed = false;
    for (const auto& [key, value] : changes) {
        if (value.is_null()) {
            changed |= stored.values.erase(key) > 0;
        } else {
            stored.values[key] = value;
            changed = true;
        }
    }
    if (changed)
        write(stored);
}

JsonUserDefaults::Stored JsonUserDefaults::read() const {
    Stored stored;
    stored.text = DurableFile::read(file_);
    if (!stored.text)
        return stored;
    if (auto values = parseJson(*stored.text); values.is_object())
        stored.values = std::move(values);
    else
        stored.broken = true;
    return stored;
}

/// The version is looked at first: a file that is replaced in between is read once more the next time.
const JsonUserDefaults::Stored& JsonUserDefaults::look() const {
    const Version version(file_);
    if (!seen_ || !version.isThere || seen_->version != version)
        seen_ = std::make_unique<Seen>(Seen{version, read()});
    return seen_->stored;
}

void JsonUserDefaults::write(const Stored& stored) {
    std::string text;
    try {
        text = stored.values.dump(indentation) + "\n";
    } catch (const Json::exception& failure) {
        throw Error(failure.what());
    }
    if (text == stored.text)
        return;
    DurableFile::makePrivateFolder(file_.parent_path());
    if (stored.broken)
        DurableFile::setAside(file_);
    seen_.reset(); // the new file may have the number and, to the clock's resolution, the time of the old one
    DurableFile::write(file_, text);
}
