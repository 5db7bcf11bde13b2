#pragma once

// Text of labels laid out with Pango: the same layout measures a label (its intrinsic size, its height at a
// width) and draws it, so that what is measured is what is drawn.

#include "corvana/view.h"

namespace corvana::TextLayout {

// The size of the label's text: on one line per paragraph when `width` is negative, else wrapped (or cut, for a
// one-line label) at that width. Zero for an empty text.
Size sizeOfLabel(const Label& label, double width);
// Draws the label's text in the bounds: wrapped at their width, aligned, vertically centred.
void drawLabel(cairo_t* context, const Label& label, const Rect& bounds);

}  // namespace corvana::TextLayout
