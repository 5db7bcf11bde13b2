// The close button: the pixels each style draws.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "corvana/render.h"
#include "inapp/ui/CRVCloseButton.h"

namespace corvana {
namespace {

const Color kRed{1, 0, 0, 1}, kBlue{0, 0, 1, 1};

// A colour as 0..255 channels, rounded: "255,0,0,255".
std::string rgba255(const Color& c) {
  std::ostringstream out;
  out << std::lround(c.red * 255) << "," << std::lround(c.green * 255) << "," << std::lround(c.blue * 255) << ","
      << std::lround(c.alpha * 255);
  return out.str();
}

TEST(CloseButton, DrawsDiscRingAndCrossPerStyle) {
  // Samples of a 64 x 64 button: the centre (on the cross), the ring at the top, inside the disc off the cross,
  // the diagonal past the short cross's end (inside the long one's), a corner and the top margin (outside).
  const std::string W = "255,255,255,255", R = "255,0,0,255", B = "0,0,255,255", none = "0,0,0,0";
  const struct {
    int32_t style;
    Color color;
    std::vector<std::string> pixels;
  } cases[] = {{1, kRed, {W, W, R, R, none, none}},
               {2, kRed, {W, R, R, R, none, none}},
               {5, kBlue, {B, none, none, B, none, none}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.style);
    auto button = CRVCloseButton::initWithFrameStyleAndColor(makeRect(0, 0, 64, 64), c.style, c.color);
    const RenderedImage image = renderView(*button);
    std::vector<std::string> pixels;
    for (auto [x, y] : {std::pair{32, 32}, {32, 10}, {32, 20}, {42, 42}, {10, 10}, {32, 3}}) {
      pixels.push_back(rgba255(image.pixelAt(x, y)));
    }
    EXPECT_EQ(pixels, c.pixels);
  }
  // The gradient runs from brightness 1.0 to 0.7 over the circle (8 .. 56), or inside the ring (14 .. 50).
  for (auto [style, from, span] : {std::tuple{3, 8.0, 48.0}, {4, 14.0, 36.0}}) {
    const auto button = CRVCloseButton::initWithFrameStyleAndColor(makeRect(0, 0, 64, 64), style, kRed);
    const RenderedImage image = renderView(*button);
    for (int y : {10, 16, 20, 44}) {
      if (style == 4 && y == 10) continue;  // on the ring
      const Color p = image.pixelAt(32, y);
      EXPECT_NEAR(p.red, 1.0 - 0.3 * (y + 0.5 - from) / span, 1.5 / 255) << style << " " << y;
      EXPECT_EQ(std::tuple(p.green, p.blue, p.alpha), std::tuple(0.0, 0.0, 1.0));
    }
    EXPECT_EQ(rgba255(image.pixelAt(32, 10)) == W, style == 4);
    EXPECT_EQ(rgba255(image.pixelAt(32, 32)), W);
  }
}

}  // namespace
}  // namespace corvana
