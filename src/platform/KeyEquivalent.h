#pragma once

#include <cstdint>
#include <string>

/// The modifier keys of a key equivalent: a set of the bits of `KeyModifier`.
using KeyModifiers = std::uint64_t;

/// The bits are the ones that preferences hold, on every platform (AppKit's NSEvent.ModifierFlags).
namespace KeyModifier {

inline constexpr KeyModifiers shift = 0x20000;
inline constexpr KeyModifiers control = 0x40000;
inline constexpr KeyModifiers option = 0x80000;
inline constexpr KeyModifiers command = 0x100000;

} // namespace KeyModifier

/// The key press that stands for a menu item.
struct KeyEquivalent {
    std::string key; ///< UTF-8, never empty: the character that the key types, or a word that is no character
    KeyModifiers modifiers = 0;

    bool operator==(const KeyEquivalent&) const = default;
};
