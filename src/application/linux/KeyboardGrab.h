#pragma once

/// Keys that the desktop has taken for itself, those for the volume for instance, take the keyboard away from
/// the window that has it for as long as they are down.
namespace KeyboardGrab {

/// Whether the display still calls a window of this program the active one although none has the keyboard.
/// Never on Wayland, where such keys take nothing away.
bool isElsewhere();

} // namespace KeyboardGrab
