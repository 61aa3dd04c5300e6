#pragma once

#include <webkit/webkit.h>

/// The menu that a click with the other mouse button brings up on a page.
namespace WebKitContextMenu {

/// Says where things go: the engine speaks of a new window, and the shell opens what wants one in the
/// browser.
void adapt(WebKitContextMenu* menu);

} // namespace WebKitContextMenu
