#include "corvana/render.h"

#include <cairo.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>

#include "corvana/view_controller.h"
#include "platform/view/CairoPixels.h"

namespace corvana {

namespace {

void roundedRectangle(cairo_t* context, const Rect& rect, double radius) {
  radius = std::clamp(radius, 0.0, std::min(rect.size.width, rect.size.height) / 2);
  if (radius <= 0) {
    cairo_rectangle(context, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    return;
  }
  const double left = rect.minX(), top = rect.minY(), right = rect.maxX(), bottom = rect.maxY();
  cairo_new_sub_path(context);
  cairo_arc(context, right - radius, top + radius, radius, -M_PI / 2, 0);
  cairo_arc(context, right - radius, bottom - radius, radius, 0, M_PI / 2);
  cairo_arc(context, left + radius, bottom - radius, radius, M_PI / 2, M_PI);
  cairo_arc(context, left + radius, top + radius, radius, M_PI, 3 * M_PI / 2);
  cairo_close_path(context);
}

void setColor(cairo_t* context, const Color& color) {
  cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

// One view and its subviews, in the coordinates of its superview (or at the origin, for the view drawn first).
void drawView(cairo_t* context, View& view, bool atOrigin) {
  if (view.isHidden()) return;
  cairo_save(context);
  if (!atOrigin) cairo_translate(context, view.frame().origin.x, view.frame().origin.y);
  const Rect bounds = view.bounds();
  const Layer& layer = view.layer();
  if (layer.cornerRadius > 0) {
    roundedRectangle(context, bounds, layer.cornerRadius);
    cairo_clip(context);
  }
  if (const auto background = view.backgroundColor()) {
    setColor(context, *background);
    cairo_rectangle(context, 0, 0, bounds.size.width, bounds.size.height);
    cairo_fill(context);
  }
  cairo_save(context);
  view.drawRect(context, bounds);
  cairo_restore(context);
  cairo_new_path(context);
  const auto subviews = view.subviews();
  for (const auto& subview : subviews) drawView(context, *subview, false);
  if (layer.borderWidth > 0 && layer.borderColor) {
    // Inside the bounds: the stroke is centred on a path inset by half its width.
    const double half = layer.borderWidth / 2;
    roundedRectangle(context, bounds.insetBy(half, half), std::max(layer.cornerRadius - half, 0.0));
    setColor(context, *layer.borderColor);
    cairo_set_line_width(context, layer.borderWidth);
    cairo_stroke(context);
  }
  cairo_restore(context);
}

// The rows of straight RGBA pixels as a PNG, written to `file`. Drawings of the view layer are large areas of one
// colour repeated row after row: the "up" filter (each row as its difference from the row above) and the fastest
// deflate level make them small enough at a quarter of the time of libpng's defaults (every filter tried per row,
// level 6). libpng reports its errors by a long jump back here, so nothing in this frame has a destructor.
// An opaque drawing (every window drawing is: it starts from white) is written without its alpha channel, a
// quarter less to compress.
bool writePngRows(std::FILE* file, const uint8_t* rgba, int width, int height, bool opaque) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               opaque ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 1);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
  png_write_info(png, info);
  // The rows stay RGBA in memory; libpng leaves out the fourth byte of each pixel.
  if (opaque) png_set_filler(png, 0, PNG_FILLER_AFTER);
  const size_t rowBytes = static_cast<size_t>(width) * 4;
  for (int y = 0; y < height; ++y) png_write_row(png, rgba + static_cast<size_t>(y) * rowBytes);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

struct Canvas {
  cairo_surface_t* surface = nullptr;
  cairo_t* context = nullptr;
  Canvas(const Size& size, double scale) {
    const int width = std::max(0, static_cast<int>(std::ceil(size.width * scale)));
    const int height = std::max(0, static_cast<int>(std::ceil(size.height * scale)));
    surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    context = cairo_create(surface);
    cairo_scale(context, scale, scale);
  }
  ~Canvas() {
    cairo_destroy(context);
    cairo_surface_destroy(surface);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  RenderedImage image() {
    RenderedImage image;
    image.width = cairo_image_surface_get_width(surface);
    image.height = cairo_image_surface_get_height(surface);
    image.rgba = rgbaFromSurface(surface);
    return image;
  }
};

}  // namespace

Color RenderedImage::pixelAt(int x, int y) const {
  if (x < 0 || y < 0 || x >= width || y >= height) return Color::clear();
  const uint8_t* pixel = rgba.data() + (static_cast<size_t>(y) * width + x) * 4;
  return {pixel[0] / 255.0, pixel[1] / 255.0, pixel[2] / 255.0, pixel[3] / 255.0};
}

bool RenderedImage::writePng(const std::string& path) const {
  if (width <= 0 || height <= 0 || rgba.size() < static_cast<size_t>(width) * height * 4) return false;
  // The pixels are already the straight RGBA rows a PNG holds: written as they are, with no trip through a
  // premultiplied surface.
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  bool opaque = true;
  for (size_t alpha = 3; alpha < rgba.size() && opaque; alpha += 4) opaque = rgba[alpha] == 255;
  const bool written = writePngRows(file, rgba.data(), width, height, opaque);
  return std::fclose(file) == 0 && written;
}

RenderedImage renderView(View& view, double scale) {
  Canvas canvas(view.frame().size, scale);
  drawView(canvas.context, view, true);
  return canvas.image();
}

RenderedImage renderWindow(Window& window, double scale) {
  window.layoutScreens();
  Canvas canvas(window.frame().size, scale);
  cairo_save(canvas.context);
  cairo_set_source_rgb(canvas.context, 1, 1, 1);
  cairo_paint(canvas.context);
  cairo_restore(canvas.context);
  drawView(canvas.context, window, true);
  for (auto controller = window.rootViewController() ? window.rootViewController()->presentedViewController()
                                                     : nullptr;
       controller; controller = controller->presentedViewController()) {
    drawView(canvas.context, *controller->view(), false);
  }
  return canvas.image();
}

}  // namespace corvana
