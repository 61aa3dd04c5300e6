#include "application/linux/KeyboardGrab.h"

#include "application/linux/WindowStack.h"

#include <X11/Xatom.h>
#include <gdk/x11/gdkx.h>

#include <algorithm>
#include <memory>

// GDK has no other way to the server; its own calls for this are deprecated without a successor.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

namespace {

struct XFreeing {
    void operator()(unsigned char* data) const { XFree(data); }
};

/// By the property of the root window that the window manager keeps (Extended Window Manager Hints); None
/// where there is none.
Window activeWindow(GdkDisplay* display) {
    auto* const server = gdk_x11_display_get_xdisplay(display);
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long rest = 0;
    unsigned char* data = nullptr;
    const auto name = gdk_x11_get_xatom_by_name_for_display(display, "_NET_ACTIVE_WINDOW");
    const auto read = XGetWindowProperty(server, gdk_x11_display_get_xrootwindow(display), name, 0, 1, False,
                                         XA_WINDOW, &type, &format, &count, &rest, &data);
    const std::unique_ptr<unsigned char, XFreeing> owner(data);
    return read == Success && type == XA_WINDOW && count == 1 ? *reinterpret_cast<Window*>(data) : None;
}

} // namespace

bool KeyboardGrab::isElsewhere() {
    auto* const display = gdk_display_get_default();
    if (!GDK_IS_X11_DISPLAY(display))
        return false;
    const auto active = activeWindow(display);
    return std::ranges::any_of(WindowStack::all(), [active](const auto& window) {
        auto* const surface = gtk_native_get_surface(GTK_NATIVE(window.get()));
        return surface && gdk_x11_surface_get_xid(surface) == active;
    });
}

G_GNUC_END_IGNORE_DEPRECATIONS
