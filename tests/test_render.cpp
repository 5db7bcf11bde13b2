#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "corvana/render.h"
#include "corvana/view_controller.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

const Color kRed{1, 0, 0, 1}, kBlue{0, 0, 1, 1}, kGreen{0, 1, 0, 1};

void expectPixel(const RenderedImage& image, int x, int y, const Color& expected) {
  SCOPED_TRACE(std::to_string(x) + "," + std::to_string(y));
  const Color actual = image.pixelAt(x, y);
  EXPECT_NEAR(actual.red, expected.red, 0.01);
  EXPECT_NEAR(actual.green, expected.green, 0.01);
  EXPECT_NEAR(actual.blue, expected.blue, 0.01);
  EXPECT_NEAR(actual.alpha, expected.alpha, 0.01);
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
  view.layer().cornerRadius = 20;
  view.layer().borderWidth = 4;
  view.layer().borderColor = kBlue;
  const auto child = std::make_shared<View>(makeRect(-10, 30, 40, 40));  // sticks out: clipped by the corners
  child->setBackgroundColor(kGreen);
  view.addSubview(child);
  const auto hidden = std::make_shared<View>(makeRect(50, 10, 20, 20));
  hidden->setBackgroundColor(kGreen);
  hidden->setHidden(true);
  view.addSubview(hidden);

  const RenderedImage image = renderView(view);
  ASSERT_EQ(image.width, 100);
  ASSERT_EQ(image.height, 60);
  const std::pair<Point, Color> cases[] = {
      {{50, 30}, kRed},      {{60, 20}, kRed},     // background; the hidden view is not drawn
      {{1, 1}, Color{}},     {{98, 58}, Color{}},  // rounded corners stay transparent
      {{50, 1}, kBlue},      {{96, 30}, kBlue},    // the border: 4 points inside the bounds
      {{50, 5}, kRed},       {{15, 45}, kGreen},   // just inside the border; the child (under the border)
      {{15, 58}, kBlue},     {{-1, 0}, Color{}},   // the border over the child; outside the image
  };
  for (const auto& [point, color] : cases) expectPixel(image, static_cast<int>(point.x), static_cast<int>(point.y), color);

  // Twice the pixels at scale 2; without a corner radius a subview is not clipped but still outside the image.
  view.layer() = Layer{};
  const RenderedImage doubled = renderView(view, 2.0);
  EXPECT_EQ(doubled.width, 200);
  EXPECT_EQ(doubled.height, 120);
  expectPixel(doubled, 1, 1, kRed);
  expectPixel(doubled, 10, 100, kGreen);
}

TEST(Render, ImagesByContentMode) {
  // 20 x 10 pixels: the left half red, the right half blue.
  std::vector<uint8_t> rgba;
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 20; ++x) rgba.insert(rgba.end(), {uint8_t(x < 10 ? 255 : 0), 0, uint8_t(x < 10 ? 0 : 255), 255});
  }
  const auto picture = std::make_shared<Image>(20, 10, rgba);
  struct Case {
    ContentMode mode;
    std::vector<std::pair<Point, Color>> pixels;
  };
  const Case cases[] = {
      // 100 x 50, centred.
      {ContentMode::ScaleAspectFit,
       {{{50, 24}, Color{}}, {{10, 26}, kRed}, {{90, 73}, kBlue}, {{50, 76}, Color{}}}},
      {ContentMode::ScaleToFill, {{{1, 1}, kRed}, {{98, 98}, kBlue}}},
      // 200 x 100 centred: only the middle shows, nothing spills out of the view (at 100.. and ..-1).
      {ContentMode::ScaleAspectFill,
       {{{1, 1}, kRed}, {{98, 98}, kBlue}, {{105, 50}, Color{}}, {{-5, 50}, Color{}}}},
      // At its own size in the middle: 40 .. 60 x 45 .. 55.
      {ContentMode::Center,
       {{{40, 45}, kRed}, {{59, 54}, kBlue}, {{39, 50}, Color{}}, {{50, 55}, Color{}}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.mode));
    View canvas(makeRect(0, 0, 120, 100));
    const auto imageView = std::make_shared<ImageView>(makeRect(10, 0, 100, 100));
    imageView->setImage(picture);
    imageView->setContentMode(c.mode);
    canvas.addSubview(imageView);
    const RenderedImage image = renderView(canvas);
    for (const auto& [point, color] : c.pixels) {
      expectPixel(image, static_cast<int>(point.x) + 10, static_cast<int>(point.y), color);
    }
  }
}

TEST(Render, LabelTextFollowsItsAlignmentAndUnderline) {
  struct Case {
    TextAlignment alignment;
    bool left, middle, right;  // whether ink is expected in the left, middle and right thirds
  };
  const Case cases[] = {
      {TextAlignment::Left, true, false, false},   {TextAlignment::Natural, true, false, false},
      {TextAlignment::Center, false, true, false}, {TextAlignment::Right, false, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.alignment));
    Label label(makeRect(0, 0, 300, 60));
    label.setText("MMM");
    label.setFont(Font::systemFontOfSize(20));
    label.setTextAlignment(c.alignment);
    const RenderedImage image = renderView(label);
    EXPECT_EQ(inkIn(image, 0, 0, 100, 60) > 0, c.left);
    EXPECT_EQ(inkIn(image, 100, 0, 200, 60) > 0, c.middle);
    EXPECT_EQ(inkIn(image, 200, 0, 300, 60) > 0, c.right);
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
  Label plain(makeRect(0, 0, 200, 40));
  plain.setText("ooo ooo");
  Label underlined(makeRect(0, 0, 200, 40));
  underlined.setAttributedText("ooo ooo", 1);
  const double textWidth = underlined.intrinsicContentSize().width;
  EXPECT_LT(longestRun(renderView(plain)), textWidth / 3);
  EXPECT_GE(longestRun(renderView(underlined)), textWidth * 0.9);
  underlined.setText("ooo ooo");  // plain text again
  EXPECT_EQ(underlined.underlineStyle(), 0);
}

TEST(Render, ButtonsDrawTheirImageAndWhiteTitle) {
  Button button(makeRect(0, 0, 120, 40));
  button.setBackgroundImage(std::make_shared<Image>(1, 1, std::vector<uint8_t>{0, 0, 255, 255}));
  button.setTitle("OK");
  button.layoutIfNeeded();
  const RenderedImage image = renderView(button);
  expectPixel(image, 2, 2, kBlue);
  int white = 0;
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 120; ++x) white += image.pixelAt(x, y) == Color{1, 1, 1, 1} ? 1 : 0;
  }
  EXPECT_GT(white, 10);
}

TEST(Render, WindowDrawsTheRootThenThePresentedScreensAndWritesAPng) {
  Window window(makeRect(0, 0, 60, 80));
  auto root = std::make_shared<ViewController>();
  window.setRootViewController(root);
  const auto band = std::make_shared<View>();
  band->setBackgroundColor(kRed);
  band->setTranslatesAutoresizingMaskIntoConstraints(false);
  root->view()->addSubview(band);
  root->view()->addConstraints(
      {LayoutConstraint::constraintWithItem(band, LayoutAttribute::Top, LayoutRelation::Equal, root->view(),
                                            LayoutAttribute::Top, 1, 0),
       LayoutConstraint::constraintWithItem(band, LayoutAttribute::Leading, LayoutRelation::Equal, root->view(),
                                            LayoutAttribute::Leading, 1, 0),
       LayoutConstraint::constraintWithItem(band, LayoutAttribute::Width, LayoutRelation::Equal, root->view(),
                                            LayoutAttribute::Width, 1, 0),
       LayoutConstraint::constraintWithItem(band, LayoutAttribute::Height, LayoutRelation::Equal, nullptr,
                                            LayoutAttribute::NotAnAttribute, 1, 20)});
  auto presented = std::make_shared<ViewController>();
  root->presentViewController(presented, false);
  const auto card = std::make_shared<View>(makeRect(10, 50, 20, 20));
  card->setBackgroundColor(kBlue);
  presented->view()->addSubview(card);

  const RenderedImage image = renderWindow(window);
  ASSERT_EQ(image.width, 60);
  ASSERT_EQ(image.height, 80);
  expectPixel(image, 30, 10, kRed);   // the root view's band, laid out to the window's width
  expectPixel(image, 59, 19, kRed);
  expectPixel(image, 30, 30, Color::white());  // the window's white through the transparent screens
  expectPixel(image, 15, 55, kBlue);  // the presented screen, over the root

  test::TempDir dir;
  const std::string path = dir.path() + "/window.png";
  ASSERT_TRUE(image.writePng(path));
  const auto read = Image::imageWithContentsOfFile(path);  // another decoder reads it back
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->size(), (Size{60, 80}));
  const uint8_t* blue = read->rgba().data() + (55 * 60 + 15) * 4;
  EXPECT_EQ((std::vector<int>{blue[0], blue[1], blue[2], blue[3]}), (std::vector<int>{0, 0, 255, 255}));
  EXPECT_FALSE(image.writePng(dir.path() + "/missing/folder/window.png"));
}

}  // namespace
}  // namespace corvana
