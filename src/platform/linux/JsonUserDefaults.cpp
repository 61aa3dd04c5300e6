#include "platform/linux/JsonUserDefaults.h"

#include "platform/Error.h"
#include "platform/linux/DurableFile.h"

namespace {

constexpr int indentation = 2;

} // namespace

/// What the file holds at one moment.
struct JsonUserDefaults::Stored {
    std::optional<std::string> text; ///< none where there is no file
    Json values = Json::object();
    bool broken = false; ///< the text is not a JSON object
};

Json JsonUserDefaults::value(const std::string& key) const {
    try {
        const auto stored = read();
        const auto found = stored.values.find(key);
        return found == stored.values.end() ? Json() : *found;
    } catch (const Error&) {
        return Json();
    }
}

bool JsonUserDefaults::available() const {
    try {
        return !read().broken;
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
    DurableFile::write(file_, text);
}
