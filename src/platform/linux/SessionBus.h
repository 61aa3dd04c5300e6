#pragma once

#include <gio/gio.h>

/// What the program says to everybody on the person's session bus. Where there is no bus, nobody is told.
namespace SessionBus {

/// Sends a broadcast signal; `parameters` is a tuple, taken over when it is floating.
void broadcast(const char* path, const char* interface, const char* member, GVariant* parameters);

/// Waits until what has been sent has left the program, which the end of the program would cut off.
void flush();

} // namespace SessionBus
