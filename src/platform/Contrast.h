#pragma once

#include "platform/Color.h"

/// Whether text can be read on a colour, as WCAG 2.1 measures it: success criterion 1.4.3 asks for a ratio of
/// 4.5, and black or white reaches that on every opaque colour.
namespace Contrast {

/// The colour with its components within 0 and 1, NaN as 0, laid over the dark ground where it is not opaque.
Color drawn(Color color);
/// From 0 for black to 1 for white. The colour is a drawn one.
double relativeLuminance(const Color& color);
/// From 1 to 21. The colours are drawn ones.
double ratio(const Color& one, const Color& other);
/// Black or white, whichever is the better one to write with on the colour.
Color ink(const Color& ground);
/// The ground of something that is marked on the colour, by `strength` from 0 to 1: nearer to the ink or,
/// where that would make the ink hard to read, farther from it.
Color marked(const Color& ground, double strength);

} // namespace Contrast
