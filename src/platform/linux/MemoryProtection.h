#pragma once

#include "platform/Task.h"

/// Keeps this process's memory, which holds passwords and passcodes for moments, from the person's other
/// programs.
///
/// A process that is not "dumpable" (prctl(2), PR_SET_DUMPABLE) leaves no core file, cannot be traced, and
/// its /proc files belong to root, so neither a debugger nor another program of the same person can read it.
/// The price is that xdg-desktop-portal cannot look at /proc/PID/root either, by which it tells who calls,
/// and refuses every call of a program that it meets in this state. It looks once for each connection to the
/// bus: a program that has introduced itself before stays known. Children are as they are by themselves after
/// exec(2), so the web engine's processes and their sandbox notice nothing.
namespace MemoryProtection {

/// Protects from now on. Nothing undoes it.
void apply();

/// As `apply`, but does nothing in builds made for debugging. A person who types is not to wait for the
/// portal.
void applyNow();

/// Introduces the program to the portal, if the session has one, and protects as soon as that has answered,
/// two seconds later at the latest. Does nothing in builds made for debugging.
Task<> applyBesidePortals();

} // namespace MemoryProtection
