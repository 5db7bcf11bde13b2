#include "platform/view/CairoPixels.h"

#include <cstring>

namespace corvana {

namespace {

uint8_t premultiply(uint8_t channel, uint8_t alpha) { return static_cast<uint8_t>((channel * alpha + 127) / 255); }

uint8_t unpremultiply(uint8_t channel, uint8_t alpha) {
  if (alpha == 0) return 0;
  const unsigned value = (channel * 255u + alpha / 2u) / alpha;
  return static_cast<uint8_t>(value > 255 ? 255 : value);
}

}  // namespace

cairo_surface_t* surfaceFromRgba(const uint8_t* rgba, int width, int height) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) return surface;
  cairo_surface_flush(surface);
  unsigned char* data = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const uint8_t* in = rgba + (static_cast<size_t>(y) * width + x) * 4;
      const uint8_t a = in[3];
      // Opaque pixels, most of any picture, need no arithmetic.
      const uint32_t pixel =
          a == 255 ? 0xff000000u | static_cast<uint32_t>(in[0]) << 16 | static_cast<uint32_t>(in[1]) << 8 | in[2]
                   : static_cast<uint32_t>(a) << 24 | static_cast<uint32_t>(premultiply(in[0], a)) << 16 |
                         static_cast<uint32_t>(premultiply(in[1], a)) << 8 | premultiply(in[2], a);
      std::memcpy(data + static_cast<size_t>(y) * stride + static_cast<size_t>(x) * 4, &pixel, 4);
    }
  }
  cairo_surface_mark_dirty(surface);
  return surface;
}

std::vector<uint8_t> rgbaFromSurface(cairo_surface_t* surface) {
  cairo_surface_flush(surface);
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  std::vector<uint8_t> rgba(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  if (!data) return rgba;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, data + static_cast<size_t>(y) * stride + static_cast<size_t>(x) * 4, 4);
      const auto a = static_cast<uint8_t>(pixel >> 24);
      uint8_t* out = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
      if (a == 255) {  // opaque: the channels as they are, without three divisions
        out[0] = static_cast<uint8_t>(pixel >> 16);
        out[1] = static_cast<uint8_t>(pixel >> 8);
        out[2] = static_cast<uint8_t>(pixel);
      } else {
        out[0] = unpremultiply(static_cast<uint8_t>(pixel >> 16), a);
        out[1] = unpremultiply(static_cast<uint8_t>(pixel >> 8), a);
        out[2] = unpremultiply(static_cast<uint8_t>(pixel), a);
      }
      out[3] = a;
    }
  }
  return rgba;
}

void paintImage(cairo_t* context, const Image& image, const Rect& destination) {
  if (image.width() <= 0 || image.height() <= 0 || destination.size.width <= 0 || destination.size.height <= 0) {
    return;
  }
  cairo_surface_t* surface = surfaceFromRgba(image.rgba().data(), image.width(), image.height());
  cairo_save(context);
  cairo_translate(context, destination.origin.x, destination.origin.y);
  cairo_scale(context, destination.size.width / image.width(), destination.size.height / image.height());
  cairo_set_source_surface(context, surface, 0, 0);
  // Padded edges inside a clip: scaled edges stay sharp instead of fading out.
  cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);
  cairo_pattern_set_filter(cairo_get_source(context), CAIRO_FILTER_GOOD);
  cairo_rectangle(context, 0, 0, image.width(), image.height());
  cairo_clip(context);
  cairo_paint(context);
  cairo_restore(context);
  cairo_surface_destroy(surface);
}

}  // namespace corvana
