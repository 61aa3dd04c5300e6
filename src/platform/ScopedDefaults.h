#pragma once

#include "platform/UserDefaults.h"

/// User defaults of which those whose keys begin with `prefix` are another's in every scope. In the scope ""
/// they are where they would be without it, in any other they are the members, under their own names, of one
/// value whose key is the prefix and the scope. So changes of both kinds are still one change.
class ScopedDefaults : public UserDefaults {
public:
    /// `all` outlives it.
    ScopedDefaults(UserDefaults& all, std::string prefix, std::string scope);

    Json value(const std::string& key) const override;
    bool available() const override { return all_.available(); }
    void set(const std::string& key, Json value) override;
    void remove(const std::string& key) override;
    void update(const std::map<std::string, Json>& changes) override;

private:
    bool isScoped(const std::string& key) const;
    Json members() const;

    UserDefaults& all_;
    std::string prefix_;
    std::string scope_;
};
