#pragma once

#include "platform/KeyEquivalent.h"

#include <gdk/gdk.h>

#include <optional>
#include <string>
#include <vector>

/// A key equivalent in the toolkit's words: the command key is Control here, option is Alt, shift is Shift
/// and control is Super.
struct Accelerator {
    guint key = 0; ///< a GDK key value
    GdkModifierType modifiers{};

    /// None when the toolkit has no such accelerator: a key that it does not know, a modifier without a key,
    /// an arrow without a modifier.
    static std::optional<Accelerator> of(const KeyEquivalent& equivalent);

    /// As menus and settings spell it: "<Control><Shift>v".
    std::string name() const;
    /// The key itself, and the keys that type the same character elsewhere on the keyboard. The plus sign is
    /// also found on its key without Shift.
    std::vector<guint> keys() const;
    /// Whether the press may type something, so that a field that has the keyboard needs it.
    bool typesText() const;
};
