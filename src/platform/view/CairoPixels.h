#pragma once

// Between the view layer's straight RGBA pixels and Cairo's premultiplied ARGB32 surfaces.

#include <cairo.h>

#include <cstdint>
#include <vector>

#include "corvana/view.h"

namespace corvana {

// A new ARGB32 surface holding the pixels (the caller destroys it).
cairo_surface_t* surfaceFromRgba(const uint8_t* rgba, int width, int height);
// The surface's pixels as straight RGBA, rows top to bottom.
std::vector<uint8_t> rgbaFromSurface(cairo_surface_t* surface);
// Draws the image scaled into `destination`.
void paintImage(cairo_t* context, const Image& image, const Rect& destination);

}  // namespace corvana
