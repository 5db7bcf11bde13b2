#pragma once

// Colours of in-app components. Campaigns carry their colours as hexadecimal strings ("#FFF", "80FF0000"...);
// these functions turn such a string into four components and offer the few colour operations the views need.

#include <cstddef>
#include <string>

#include "corvana/view.h"

namespace corvana {

// A colour as red, green, blue and alpha, each normally in 0.0 .. 1.0: the view layer's colour.
using CRVColor = Color;

// The fully transparent colour (all four components 0.0).
CRVColor clearColor();

// A colour with the given components, taken as they are (not clamped).
CRVColor colorWithRedGreenBlueAlpha(double red, double green, double blue, double alpha);

// An opaque colour: the given components and alpha 1.0.
CRVColor colorWithRedGreenBlue(double red, double green, double blue);

// Parses a colour string. Every "#" and every space is removed (anywhere in the text) and the rest is
// upper-cased; by its length in UTF-16 units the rest reads as RGB (3), ARGB (4), RRGGBB (6) or AARRGGBB (8),
// alpha first in the forms that carry one. Any other length gives the transparent colour. Characters that are
// not hexadecimal digits are not rejected: each component is read as `colorComponentFromStartLength` reads it.
CRVColor colorWithHexString(const std::string& hexString);

// One component of a colour string: the `length` UTF-16 units of `string` from `start` (clipped to the string),
// written twice in a row unless `length` is 2 (so "F" reads as "FF"), read as the leading hexadecimal digits
// (an unsigned 32-bit number, saturating; 0 when there is no digit) and divided by 255.0.
double colorComponentFromStartLength(const std::string& string, size_t start, size_t length);

// `color` blended toward `other`: each component, alpha included, is color * (1 - fraction) + other * fraction.
// The fraction is not clamped.
CRVColor blendedColorWithFractionOfColor(const CRVColor& color, double fraction, const CRVColor& other);

}  // namespace corvana
