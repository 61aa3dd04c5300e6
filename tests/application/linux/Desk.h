#pragma once

#include <gtkmm/widget.h>

#include <functional>
#include <source_location>
#include <string>

/// A person at a display of the tests' own, with real keys. What they are shown is what eyes or assistive
/// technology find.
namespace Desk {

using Where = std::source_location;

/// These go on when the program has done what it does at once. Keys are written as in "Tab
/// <Control><Shift>v".
void press(const std::string& keys);
void movePointer(int x, int y);

/// Calls `visit` with the widget and, as long as that returns true, with all that it holds.
void walk(GtkWidget* widget, const std::function<bool(GtkWidget*)>& visit);
/// What is on the screen with that name, be it a text, a button's label, a field's name or a window's title,
/// and a field before others; null when there is nothing.
GtkWidget* find(const std::string& name);
/// Those of the names that are on the screen and can be used.
std::string shown(std::initializer_list<const char*> names);
/// The name of what has the keyboard; empty while no window of the test has it.
std::string keyboard();

/// The waits; one in vain says what is shown instead.
void until(const std::function<bool()>& isReached, const Where& where = Where::current());
void seeKeyboardIn(const std::string& name, const Where& where = Where::current());

} // namespace Desk
