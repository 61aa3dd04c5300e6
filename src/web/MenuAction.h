#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

/// The actions of the page that the menu bar presses the keys of. A menu item never does them itself: the
/// page owns what a binding does, so the item is a second way to press it.
enum class MenuAction { newTask, spotlight, search, toggleView, openSettings };

/// A combo is a text of words joined by "+": modifiers among "mod", "alt" and "shift", and last the key.
namespace MenuActions {

inline constexpr MenuAction all[] = {MenuAction::newTask, MenuAction::spotlight, MenuAction::search,
                                     MenuAction::toggleView, MenuAction::openSettings};

/// The action's name in the account's bindings.
std::string_view rawValue(MenuAction action);
/// The action of exactly that name.
std::optional<MenuAction> fromRawValue(std::string_view name);
/// The combo that stands until the account's own is known.
std::string_view defaultCombo(MenuAction action);

} // namespace MenuActions

/// The account's bindings: the name of an action to its combo, which is empty for an action without one.
using Shortcuts = std::map<std::string, std::string>;
