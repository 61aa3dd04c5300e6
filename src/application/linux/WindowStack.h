#pragma once

#include <gtkmm/window.h>

/// The windows over the main window: each modal one belongs to the one that it was opened over.
namespace WindowStack {

/// The last of them, which has the keyboard; `window` itself when there is none over it.
Gtk::Window& front(Gtk::Window& window);

/// What is over a window that is about to go belongs to the one beneath it from now on.
void close(Gtk::Window& leaving);

} // namespace WindowStack
