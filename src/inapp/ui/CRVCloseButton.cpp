#include "inapp/ui/CRVCloseButton.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>

namespace corvana {

namespace {

constexpr double kCircleInset = 8.0;
constexpr double kCrossRotation = 0.7853981633974483;  // pi / 4

void setSource(cairo_t* context, const Color& color) {
  cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

// The oval inscribed in the rectangle, as a new path.
void ovalPath(cairo_t* context, const Rect& rect) {
  cairo_new_path(context);
  cairo_save(context);
  cairo_translate(context, rect.midX(), rect.midY());
  cairo_scale(context, rect.size.width / 2, rect.size.height / 2);
  cairo_arc(context, 0, 0, 1, 0, 2 * M_PI);
  cairo_close_path(context);
  cairo_restore(context);
}

}  // namespace

CloseGlyphGeometry closeGlyphGeometry(const Rect& bounds, int32_t style, const Color& color) {
  CloseGlyphGeometry g;
  g.circle = bounds.insetBy(kCircleInset, kCircleInset);
  g.side = g.circle.size.width;
  g.centre = {g.circle.origin.x + g.side / 2, g.circle.origin.y + g.side / 2};
  g.ringWidth = (style == 1 || style == 4) ? g.side * 0.125 : 0.0;
  g.crossLength = style == 5 ? g.side * 0.7 : g.side * 0.5;
  g.crossWidth = style == 5 ? g.crossLength * 0.175 : g.crossLength * 0.125;
  g.crossColor = style == 5 ? color : Color::white();
  g.filled = style == 1 || style == 2;
  g.gradient = style == 3 || style == 4;
  if (g.gradient) {
    double hue = 0, saturation = 0, brightness = 0, alpha = 0;
    getHueSaturationBrightnessAlpha(color, hue, saturation, brightness, alpha);
    brightness = std::max(std::min(brightness, 0.85), 0.15);
    g.gradientTop = colorWithHueSaturationBrightnessAlpha(hue, saturation, brightness + 0.15, 1.0);
    g.gradientBottom = colorWithHueSaturationBrightnessAlpha(hue, saturation, brightness - 0.15, 1.0);
    g.gradientStart = {g.centre.x, g.circle.origin.y + g.ringWidth};
    g.gradientEnd = {g.centre.x, g.circle.origin.y + g.side - g.ringWidth};
  }
  return g;
}

CRVCloseButton::CRVCloseButton() : CRVCloseButton(Rect{}, 1, Color::black()) {}

CRVCloseButton::CRVCloseButton(const Rect& frame, int32_t style, const Color& color) : Button(frame) {
  setStyle(style);
  setColor(color);
}

std::shared_ptr<CRVCloseButton> CRVCloseButton::init() { return initWithStyleAndColor(1, Color::black()); }

std::shared_ptr<CRVCloseButton> CRVCloseButton::initWithStyleAndColor(int32_t style, const Color& color) {
  return initWithFrameStyleAndColor(Rect{}, style, color);
}

std::shared_ptr<CRVCloseButton> CRVCloseButton::initWithFrameStyleAndColor(const Rect& frame, int32_t style,
                                                                           const Color& color) {
  return std::make_shared<CRVCloseButton>(frame, style, color);
}

void CRVCloseButton::drawRect(cairo_t* context, const Rect& /*rect*/) {
  const CloseGlyphGeometry g = closeGlyphGeometry(bounds(), style_, color_);
  // An empty circle clips everything away.
  if (g.circle.size.width <= 0 || g.circle.size.height <= 0) return;

  cairo_save(context);
  ovalPath(context, g.circle);
  cairo_clip(context);

  if (g.gradient) {
    cairo_pattern_t* pattern =
        cairo_pattern_create_linear(g.gradientStart.x, g.gradientStart.y, g.gradientEnd.x, g.gradientEnd.y);
    cairo_pattern_add_color_stop_rgba(pattern, 0.0, g.gradientTop.red, g.gradientTop.green, g.gradientTop.blue,
                                      g.gradientTop.alpha);
    cairo_pattern_add_color_stop_rgba(pattern, 1.0, g.gradientBottom.red, g.gradientBottom.green,
                                      g.gradientBottom.blue, g.gradientBottom.alpha);
    // Nothing is painted before the start or after the end.
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_NONE);
    cairo_set_source(context, pattern);
    cairo_paint(context);
    cairo_pattern_destroy(pattern);
  } else if (g.filled) {
    ovalPath(context, g.circle);
    setSource(context, color_);
    cairo_fill(context);
  }

  if (g.ringWidth > 0) {
    // Only the inner half of the line lies inside the clip: a ring as wide as ringWidth.
    ovalPath(context, g.circle);
    cairo_set_line_width(context, 2 * g.ringWidth);
    setSource(context, Color::white());
    cairo_stroke(context);
  }

  const double half = g.crossLength / 2;
  const double c = std::cos(kCrossRotation), s = std::sin(kCrossRotation);
  auto place = [&](double x, double y) { return Point{x * c - y * s + g.centre.x, x * s + y * c + g.centre.y}; };
  const Point ends[4] = {place(-half, 0), place(half, 0), place(0, -half), place(0, half)};
  cairo_new_path(context);
  cairo_move_to(context, ends[0].x, ends[0].y);
  cairo_line_to(context, ends[1].x, ends[1].y);
  cairo_move_to(context, ends[2].x, ends[2].y);
  cairo_line_to(context, ends[3].x, ends[3].y);
  cairo_close_path(context);
  cairo_set_line_width(context, g.crossWidth);
  setSource(context, g.crossColor);
  cairo_stroke(context);

  cairo_restore(context);
}

}  // namespace corvana
