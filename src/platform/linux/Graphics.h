#pragma once

/// How windows are drawn on this machine.
namespace Graphics {

/// Whether there is a graphics processor that programs may use.
bool isAccelerated();

/// Chooses the renderer before the toolkit starts: without a graphics processor, drawing with cairo takes a
/// third less memory and a quarter less time than OpenGL emulated in software. What the person has set in the
/// environment wins.
void chooseRenderer();

/// Has the toolkit begin with its dark theme, before it starts: it would read the light one first otherwise.
void preferDarkTheme();

} // namespace Graphics
