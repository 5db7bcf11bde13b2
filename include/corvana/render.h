#pragma once

// Drawing the headless view layer: a view tree (or the key window with its presented controllers) to pixels
// and to PNG files, with Cairo and Pango.

#include <cstdint>
#include <string>
#include <vector>

#include "corvana/export.h"
#include "corvana/view.h"

namespace corvana {

// Pixels of a rendering: RGBA, 8 bits per channel, not premultiplied, rows top to bottom.
struct CORVANA_EXPORT RenderedImage {
  int width = 0, height = 0;
  std::vector<uint8_t> rgba;
  // The pixel at (x, y) in pixels; transparent outside the image.
  Color pixelAt(int x, int y) const;
  // Writes a PNG; false when the file cannot be written.
  bool writePng(const std::string& path) const;
};

// The view and its subviews at `scale` pixels per point, on a transparent background: each view's background
// (clipped to its corner radius), its own drawing (texts, images, a button's background image and title, custom
// drawRect), its subviews, then its border. Hidden views are skipped.
CORVANA_EXPORT RenderedImage renderView(View& view, double scale = 1.0);
// The window laid out, with the root controller's view and every presented controller's view over it, on white.
CORVANA_EXPORT RenderedImage renderWindow(Window& window, double scale = 1.0);

}  // namespace corvana
