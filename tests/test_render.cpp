// What the view layer draws: backgrounds, rounded corners, borders and subviews, a picture filling its view, text
// by its alignment and underline, a window with its presented screen, written to a PNG, and the close button of
// each style.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "corvana/render.h"
#include "corvana/view_controller.h"
#include "inapp/ui/CRVCloseButton.h"
#include "support/TestPlatform.h"

namespace corvana {

void PrintTo(const Color& c, std::ostream* out) { *out << c.red << "," << c.green << "," << c.blue << "," << c.alpha; }

namespace {

const Color kRed{1, 0, 0, 1}, kBlue{0, 0, 1, 1}, kGreen{0, 1, 0, 1}, kWhite{1, 1, 1, 1}, kNone{};

std::vector<Color> pixels(const RenderedImage& image, std::initializer_list<std::pair<int, int>> points) {
  std::vector<Color> out;
  for (const auto& [x, y] : points) out.push_back(image.pixelAt(x, y));
  return out;
}

// Pixels with some ink in the rectangle [x0, x1) x [y0, y1).
int inkIn(const RenderedImage& image, int x0, int y0, int x1, int y1) {
  int count = 0;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) count += image.pixelAt(x, y).alpha > 0.3 ? 1 : 0;
  }
  return count;
}

TEST(Render, BackgroundCornersBordersAndSubviews) {
  View view(makeRect(30, 40, 100, 60));  // drawn at its own origin
  view.setBackgroundColor(kRed);
  view.layer() = Layer{.borderColor = kBlue, .borderWidth = 4, .cornerRadius = 20};
  const auto child = std::make_shared<View>(makeRect(-10, 30, 40, 40));  // sticks out: clipped by the corners
  child->setBackgroundColor(kGreen);
  view.addSubview(child);
  const auto hidden = std::make_shared<View>(makeRect(50, 10, 20, 20));
  hidden->setBackgroundColor(kGreen);
  hidden->setHidden(true);
  view.addSubview(hidden);

  const RenderedImage image = renderView(view);
  ASSERT_EQ(std::tuple(image.width, image.height), std::tuple(100, 60));
  // The background, where the hidden view would be; transparent rounded corners; the border 4 points inside the
  // bounds; just inside it; the child; the border over the child; outside the image.
  EXPECT_EQ(
      pixels(image, {{50, 30}, {60, 20}, {1, 1}, {98, 58}, {50, 1}, {96, 30}, {50, 5}, {15, 45}, {15, 58}, {-1, 0}}),
      (std::vector<Color>{kRed, kRed, kNone, kNone, kBlue, kBlue, kRed, kGreen, kBlue, kNone}));
}

TEST(Render, APictureFillsItsViewCentredWithoutSpillingOut) {
  // 20 x 10 pixels, the left half red and the right half blue: drawn 200 x 100, centred on the 100 x 100 view at
  // x = 10, the halves meet at x = 60.
  std::vector<uint8_t> rgba;
  for (int at = 0; at < 200; ++at) {
    const bool left = at % 20 < 10;
    rgba.insert(rgba.end(), {uint8_t(left ? 255 : 0), 0, uint8_t(left ? 0 : 255), 255});
  }
  View canvas(makeRect(0, 0, 120, 100));
  const auto imageView = std::make_shared<ImageView>(makeRect(10, 0, 100, 100));
  imageView->setImage(std::make_shared<Image>(20, 10, rgba));
  imageView->setContentMode(ContentMode::ScaleAspectFill);
  canvas.addSubview(imageView);
  EXPECT_EQ(pixels(renderView(canvas), {{11, 1}, {50, 50}, {70, 50}, {108, 98}, {5, 50}, {115, 50}}),
            (std::vector<Color>{kRed, kRed, kBlue, kBlue, kNone, kNone}));
}

TEST(Render, LabelTextFollowsItsAlignmentAndUnderline) {
  const struct {
    TextAlignment alignment;
    bool left, middle, right;  // whether ink is expected in the left, middle and right thirds
  } cases[] = {{TextAlignment::Left, true, false, false},
               {TextAlignment::Center, false, true, false},
               {TextAlignment::Right, false, false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.alignment));
    Label label(makeRect(0, 0, 300, 60));
    label.setText("MMM");
    label.setFont(Font::systemFontOfSize(20));
    label.setTextAlignment(c.alignment);
    const RenderedImage image = renderView(label);
    EXPECT_EQ(std::tuple(inkIn(image, 0, 0, 100, 60) > 0, inkIn(image, 100, 0, 200, 60) > 0,
                         inkIn(image, 200, 0, 300, 60) > 0),
              std::tuple(c.left, c.middle, c.right));
    // Vertically centred: no ink in the top and bottom fifths.
    EXPECT_EQ(inkIn(image, 0, 0, 300, 12) + inkIn(image, 0, 48, 300, 60), 0);
  }

  // The underline is the only row whose ink runs unbroken under the whole text.
  auto longestRun = [](const RenderedImage& image) {
    int best = 0;
    for (int y = 0; y < image.height; ++y) {
      int run = 0;
      for (int x = 0; x < image.width; ++x) {
        run = image.pixelAt(x, y).alpha > 0.5 ? run + 1 : 0;
        best = std::max(best, run);
      }
    }
    return best;
  };
  Label plain(makeRect(0, 0, 200, 40)), underlined(makeRect(0, 0, 200, 40));
  plain.setText("ooo ooo");
  underlined.setAttributedText("ooo ooo", 1);
  const double textWidth = underlined.intrinsicContentSize().width;
  EXPECT_LT(longestRun(renderView(plain)), textWidth / 3);
  EXPECT_GE(longestRun(renderView(underlined)), textWidth * 0.9);
}

TEST(Render, WindowDrawsTheRootThenThePresentedScreensAndWritesAPng) {
  Window window(makeRect(0, 0, 60, 80));
  auto root = std::make_shared<ViewController>();
  window.setRootViewController(root);
  const auto band = std::make_shared<View>();  // the root's top 20 points, laid out to the window's width
  band->setBackgroundColor(kRed);
  band->setTranslatesAutoresizingMaskIntoConstraints(false);
  root->view()->addSubview(band);
  for (const auto attribute : {LayoutAttribute::Top, LayoutAttribute::Leading, LayoutAttribute::Width}) {
    root->view()->addConstraint(LayoutConstraint::constraintWithItem(band, attribute, LayoutRelation::Equal,
                                                                     root->view(), attribute, 1, 0));
  }
  band->addConstraint(LayoutConstraint::constraintWithItem(band, LayoutAttribute::Height, LayoutRelation::Equal,
                                                           nullptr, LayoutAttribute::NotAnAttribute, 1, 20));
  auto presented = std::make_shared<ViewController>();
  root->presentViewController(presented, false);
  const auto card = std::make_shared<View>(makeRect(10, 50, 20, 20));
  card->setBackgroundColor(kBlue);
  presented->view()->addSubview(card);

  const RenderedImage image = renderWindow(window);
  ASSERT_EQ(std::tuple(image.width, image.height), std::tuple(60, 80));
  // The band; the window's white through the transparent screens; the presented screen over the root.
  EXPECT_EQ(pixels(image, {{30, 10}, {59, 19}, {30, 30}, {15, 55}}), (std::vector<Color>{kRed, kRed, kWhite, kBlue}));

  test::TempDir dir;
  ASSERT_TRUE(image.writePng(dir.path() + "/window.png"));
  const auto read = Image::imageWithContentsOfFile(dir.path() + "/window.png");  // another decoder reads it back
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->size(), (Size{60, 80}));
  EXPECT_EQ(read->rgba(), image.rgba);
  EXPECT_FALSE(image.writePng(dir.path() + "/missing/folder/window.png"));
}

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
