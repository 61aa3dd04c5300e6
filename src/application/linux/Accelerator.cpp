#include "application/linux/Accelerator.h"

#include "platform/linux/GPtr.h"

#include <gtk/gtk.h>

#include <string_view>
#include <utility>

namespace {

/// Keys that the model names by a code point or by the page's word (the DOM's KeyboardEvent.key), and the
/// toolkit in its own way.
constexpr std::pair<std::string_view, guint> specialKeys[] = {
    {"\r", GDK_KEY_Return},          {"\b", GDK_KEY_BackSpace},       {"\x7F", GDK_KEY_Delete},
    {"\x1B", GDK_KEY_Escape},        {"\xEF\x9C\x80", GDK_KEY_Up},    {"\xEF\x9C\x81", GDK_KEY_Down},
    {"\xEF\x9C\x82", GDK_KEY_Left},  {"\xEF\x9C\x83", GDK_KEY_Right}, {"PageUp", GDK_KEY_Page_Up},
    {"PageDown", GDK_KEY_Page_Down},
};

constexpr std::pair<KeyModifiers, GdkModifierType> modifierKeys[] = {
    {KeyModifier::command, GDK_CONTROL_MASK},
    {KeyModifier::option, GDK_ALT_MASK},
    {KeyModifier::shift, GDK_SHIFT_MASK},
    {KeyModifier::control, GDK_SUPER_MASK},
};

constexpr std::pair<guint, guint> twins[] = {
    {GDK_KEY_plus, GDK_KEY_KP_Add},       {GDK_KEY_plus, GDK_KEY_equal},
    {GDK_KEY_minus, GDK_KEY_KP_Subtract}, {GDK_KEY_Return, GDK_KEY_KP_Enter},
    {GDK_KEY_Delete, GDK_KEY_KP_Delete},
};

guint keyOf(const std::string& key) {
    for (const auto& [name, value] : specialKeys)
        if (key == name)
            return value;
    if (g_utf8_strlen(key.c_str(), -1) == 1)
        return gdk_unicode_to_keyval(g_utf8_get_char(key.c_str()));
    return gdk_keyval_from_name(key.c_str());
}

} // namespace

std::optional<Accelerator> Accelerator::of(const KeyEquivalent& equivalent) {
    Accelerator result;
    const auto key = keyOf(equivalent.key);
    result.key = gdk_keyval_to_lower(key);
    unsigned modifiers = 0;
    for (const auto& [modifier, mask] : modifierKeys)
        if (equivalent.modifiers & modifier)
            modifiers |= mask;
    // A capital letter is typed with Shift.
    if (key != result.key)
        modifiers |= GDK_SHIFT_MASK;
    result.modifiers = static_cast<GdkModifierType>(modifiers);
    if (key == GDK_KEY_VoidSymbol || !gtk_accelerator_valid(result.key, result.modifiers))
        return std::nullopt;
    return result;
}

std::string Accelerator::name() const {
    return GText(gtk_accelerator_name(key, modifiers)).get();
}

std::vector<guint> Accelerator::keys() const {
    std::vector<guint> result = {key};
    for (const auto& [one, other] : twins)
        if (one == key)
            result.push_back(other);
    if (key >= GDK_KEY_0 && key <= GDK_KEY_9)
        result.push_back(key - GDK_KEY_0 + GDK_KEY_KP_0);
    return result;
}

bool Accelerator::typesText() const {
    return (modifiers & (GDK_CONTROL_MASK | GDK_ALT_MASK | GDK_SUPER_MASK)) == 0;
}
