#pragma once

#include "platform/linux/GPtr.h"

#include <gtkmm/window.h>

#include <vector>

/// The windows over the main window: each modal one belongs to the one that it was opened over.
namespace WindowStack {

/// Every window of the program. They are the toolkit's own objects, because one that the toolkit has made
/// itself, as it does for a choice of files, would get a C++ object that nobody ever deletes.
std::vector<GPtr<GtkWindow>> all();

/// The last of them, which has the keyboard; `window` itself when there is none over it.
Gtk::Window& front(Gtk::Window& window);

/// What is over a window that is about to go belongs to the one beneath it from now on.
void close(GtkWindow* leaving);

} // namespace WindowStack
