#pragma once

#include <nlohmann/json_fwd.hpp>

#include <map>
#include <string>

namespace Demo {

/// What an account may arrange for itself: the page's theme, its view, and the key of each page action.
///
/// A shortcut is a text of words joined by "+": any of the modifiers "mod" (Command or Control), "alt" and
/// "shift", then one key, a single character or a key's name ("mod+n", "mod+shift+v", "alt+enter"). The empty
/// text switches an action's shortcut off.
struct Settings {
    std::string theme = "dark"; ///< "system", "dark", "light", "dusk", "pine" or "sand"
    std::string view = "list";  ///< "list" or "board"
    std::map<std::string, std::string> shortcuts = {{"newTask", "mod+n"},
                                                    {"spotlight", "mod+k"},
                                                    {"search", "mod+f"},
                                                    {"toggleView", "mod+shift+v"},
                                                    {"openSettings", "mod+,"}};

    /// Takes over "theme", "view" and the members of "shortcuts" that are present. Throws Refusal (400) for a
    /// value that breaks its rule, and then nothing is changed.
    void change(const nlohmann::json& fields);

    nlohmann::json toJson() const;
};

} // namespace Demo
