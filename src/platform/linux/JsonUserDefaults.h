#pragma once

#include "platform/UserDefaults.h"

#include <filesystem>
#include <memory>

/// User defaults in one JSON file (mode 0600), read again whenever it is another file than the last time and
/// written whole, synced and renamed into place.
///
/// A file that is not a JSON object is kept beside the new one when the first value is set; until then
/// reading gives nothing. A file that cannot be read gives nothing and is never overwritten.
class JsonUserDefaults : public UserDefaults {
public:
    explicit JsonUserDefaults(std::filesystem::path file);
    ~JsonUserDefaults() override;

    Json value(const std::string& key) const override;
    bool available() const override;
    void set(const std::string& key, Json value) override;
    void remove(const std::string& key) override;
    void update(const std::map<std::string, Json>& changes) override;

private:
    struct Stored;
    struct Seen;

    Stored read() const;
    const Stored& look() const;
    void write(const Stored& stored);

    std::filesystem::path file_;
    mutable std::unique_ptr<Seen> seen_; ///< null until it has been read
};
