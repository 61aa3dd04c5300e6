#pragma once

#include <gtk/gtk.h>

/// Going back and forward in a page as in the desktop's browsers: with Alt and the arrow keys, which the page
/// may take first, and with the keys and mouse buttons that are made for it.
namespace WebKitHistory {

/// The overlay's child is the web view; without one nothing happens.
void listen(GtkOverlay* container);

} // namespace WebKitHistory
