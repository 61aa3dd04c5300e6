#pragma once

#include <gtkmm/application.h>

#include <functional>
#include <source_location>
#include <string>

/// A person at a display of the tests' own, with real keys and a real mouse. What they are shown is what eyes
/// and assistive technology find alike.
///
/// There is no window manager: a window that asks for the keyboard has it, and when that one goes, the window
/// under the pointer.
namespace Desk {

using Where = std::source_location;

/// The application that the windows belong to.
const Glib::RefPtr<Gtk::Application>& application();

/// These go on when the program has done what it does at once. Keys are written as in "Tab
/// <Control><Shift>v".
void press(const std::string& keys);
void type(const std::string& text);
void click(const std::string& name, unsigned button = 1);
void movePointer(int x, int y);

/// What is on the screen with that name, be it a text, a button's label, a field's name or a window's title,
/// and a field before others; null when there is nothing.
GtkWidget* find(const std::string& name);
inline bool shows(const std::string& name) {
    return find(name) != nullptr;
}
/// What is in the field of that name.
std::string textIn(const std::string& field);
/// The name of what has the keyboard; empty while no window of the test has it.
std::string keyboard();

/// The waits; one in vain says what is shown instead.
void until(const std::function<bool()>& isReached, const Where& where = Where::current());
void see(const std::string& name, const Where& where = Where::current());
void seeKeyboardIn(const std::string& name, const Where& where = Where::current());
/// What has changed is laid out and on the screen.
void seeDrawn(GtkWidget* widget);

} // namespace Desk
