#pragma once

#include "platform/KeyEquivalent.h"
#include "platform/UserDefaults.h"

#include <optional>
#include <string>

/// The key press that locks the program at once, as the person has chosen it: a key under
/// "brisko.lock.shortcut.key" and a set of modifiers under "brisko.lock.shortcut.flags". What is not stored
/// is the default, each of the two by itself.
///
/// It never looks at keys: the menu item "Lock Now" has it as its key equivalent. Whoever changes it has that
/// item look again (`Menus::applyLockShortcut`).
class LockShortcut {
public:
    static constexpr auto defaultKey = "l";
    static constexpr KeyModifiers defaultFlags = KeyModifier::control | KeyModifier::command;

    /// The defaults have to outlive it.
    explicit LockShortcut(UserDefaults& defaults) : defaults_(defaults) {}

    /// One lower-case letter or digit; empty when the person wants no shortcut. What is stored is not
    /// checked, but anything other than a text is the default.
    std::string key() const;
    /// What is stored, read as an integer the way the preferences of the shortcut's format are: of a text the
    /// digits that it begins with, of a real number the whole part, of true 1, of anything else 0. A negative
    /// integer is no set of bits; it gives the default.
    KeyModifiers flags() const;
    /// The shortcut in symbols, "⌃⌘L" for one; "None" when there is none.
    std::string display() const;
    /// The two as a menu item takes them; none when there is no shortcut.
    std::optional<KeyEquivalent> keyEquivalent() const;

    /// Stores both, as one. Throws Error when they cannot be stored; the previous ones then stand.
    void set(const std::string& key, KeyModifiers flags);
    /// Goes back to the default. Throws Error like `set`.
    void reset();

private:
    UserDefaults& defaults_;
};
