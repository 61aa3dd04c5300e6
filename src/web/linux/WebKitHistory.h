#pragma once

#include <gtk/gtk.h>

/// Going back and forward in a page with the keys and mouse buttons that are made for it, as in the desktop's
/// browsers. Alt with an arrow key belongs to the page: the account may have bound it.
namespace WebKitHistory {

/// The overlay's child is the web view; without one nothing happens.
void listen(GtkOverlay* container);

} // namespace WebKitHistory
