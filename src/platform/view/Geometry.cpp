#include <algorithm>
#include <cmath>

#include "corvana/view.h"

namespace corvana {

Rect Rect::insetBy(double dx, double dy) const {
  return makeRect(origin.x + dx, origin.y + dy, size.width - 2 * dx, size.height - 2 * dy);
}

bool Rect::contains(const Point& point) const {
  return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

void getHueSaturationBrightnessAlpha(const Color& color, double& hue, double& saturation, double& brightness,
                                     double& alpha) {
  const double r = color.red, g = color.green, b = color.blue;
  const double maximum = std::max({r, g, b});
  const double minimum = std::min({r, g, b});
  const double delta = maximum - minimum;
  brightness = maximum;
  saturation = maximum > 0 ? delta / maximum : 0.0;
  alpha = color.alpha;
  if (delta <= 0) {
    hue = 0.0;
    return;
  }
  double sixths;  // hue in sixths of the circle, 0 .. 6
  if (maximum == r) {
    sixths = (g - b) / delta;
    if (sixths < 0) sixths += 6;
  } else if (maximum == g) {
    sixths = (b - r) / delta + 2;
  } else {
    sixths = (r - g) / delta + 4;
  }
  hue = sixths / 6.0;
}

Color colorWithHueSaturationBrightnessAlpha(double hue, double saturation, double brightness, double alpha) {
  hue = std::clamp(hue, 0.0, 1.0);
  saturation = std::clamp(saturation, 0.0, 1.0);
  brightness = std::clamp(brightness, 0.0, 1.0);
  if (saturation <= 0) return {brightness, brightness, brightness, alpha};
  const double sixths = hue >= 1.0 ? 0.0 : hue * 6.0;
  const int sector = static_cast<int>(std::floor(sixths));
  const double fraction = sixths - sector;
  const double p = brightness * (1 - saturation);
  const double q = brightness * (1 - saturation * fraction);
  const double t = brightness * (1 - saturation * (1 - fraction));
  const double v = brightness;
  switch (sector) {
    case 0: return {v, t, p, alpha};
    case 1: return {q, v, p, alpha};
    case 2: return {p, v, t, alpha};
    case 3: return {p, q, v, alpha};
    case 4: return {t, p, v, alpha};
    default: return {v, p, q, alpha};
  }
}

}  // namespace corvana
