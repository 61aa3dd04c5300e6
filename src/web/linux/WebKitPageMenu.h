#pragma once

#include <webkit/webkit.h>

/// The menu that a click with the other mouse button brings up on a page.
namespace WebKitPageMenu {

/// Says where things open: the engine speaks of a new window, and the shell sends to the browser what wants
/// one.
void adapt(WebKitContextMenu* menu);

} // namespace WebKitPageMenu
