// The scalable image view: its inner picture view, the constraints of each pass (priorities, aspect ratio,
// border constants), the border view, and the frames the layout pass gives them.

#include <gtest/gtest.h>

#include "inapp/ui/CRVScalableImageView.h"
#include "support/ViewChecks.h"

namespace corvana {
namespace {

std::shared_ptr<Image> picture(int width, int height) {
  return std::make_shared<Image>(width, height, std::vector<uint8_t>(size_t(width) * size_t(height) * 4, 255));
}

// The view's own constraints and its inner view's, items named "outer" and "inner".
std::vector<std::string> constraintsOf(const CRVScalableImageView& view) {
  auto name = [&](const std::shared_ptr<View>& item) { return item == view.scaledImageView() ? "inner" : "outer"; };
  auto all = test::describe(view.constraints(), name);
  for (const auto& line : test::describe(view.scaledImageView()->constraints(), name)) all.push_back(line);
  return all;
}

TEST(ScalableImageView, BaseInitMakesTheInnerViewThatShowsThePicture) {
  const auto view = CRVScalableImageView::initWithFrame(makeRect(5, 6, 100, 80));
  const auto& inner = view->scaledImageView();
  EXPECT_EQ(view->subviews(), (std::vector<std::shared_ptr<View>>{inner}));
  EXPECT_EQ(inner->frame(), makeRect(0, 0, 100, 80));
  EXPECT_FALSE(inner->translatesAutoresizingMaskIntoConstraints());
  EXPECT_EQ(std::tuple(inner->contentCompressionResistancePriority(LayoutAxis::Horizontal),
                      inner->contentCompressionResistancePriority(LayoutAxis::Vertical)), std::tuple(250.0f, 250.0f));
  EXPECT_EQ(inner->contentMode(), ContentMode::ScaleAspectFill);
  // A picture given later is shown by the inner view.
  const auto later = picture(10, 10);
  view->setImage(later);
  EXPECT_EQ(std::tuple(view->image(), inner->image()), std::tuple(nullptr, later));
}

TEST(ScalableImageView, EveryPassRebuildsTheRatioAndAppliesTheScaleFlags) {
  const struct {
    std::shared_ptr<Image> image;
    bool width, height;
    std::string ratio, widthPriority, heightPriority;
  } cases[] = {{nullptr, false, false, "1", "250", "250"},      {picture(200, 100), true, false, "2", "999", "250"},
               {picture(30, 120), false, true, "0.25", "250", "999"}, {picture(7, 0), true, true, "1", "999", "999"}};
  const auto view = CRVScalableImageView::initWithFrame(makeRect(0, 0, 100, 100));
  view->layoutIfNeeded();
  std::shared_ptr<LayoutConstraint> previous = view->aspectRatioConstraint();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.ratio);
    // The flags alone do not ask for a pass: a layout keeps the former priorities.
    view->updateWidthHeight(c.width, c.height);
    EXPECT_FALSE(view->needsUpdateConstraints());
    view->setImage(c.image);
    EXPECT_TRUE(view->needsUpdateConstraints());
    view->layoutIfNeeded();
    EXPECT_EQ(constraintsOf(*view), (std::vector<std::string>{
                                        "inner.CenterX = outer.CenterX * 1 + 0 @1000",
                                        "inner.CenterY = outer.CenterY * 1 + 0 @1000",
                                        "inner.Width = outer.Width * 1 + 0 @" + c.widthPriority,
                                        "inner.Height = outer.Height * 1 + 0 @" + c.heightPriority,
                                        "inner.Width = inner.Height * " + c.ratio + " + 0 @1000",
                                    }));
    EXPECT_NE(view->aspectRatioConstraint(), previous);
    previous = view->aspectRatioConstraint();
  }
  view->setScaleWidth(false), view->setScaleHeight(false);
  view->layoutIfNeeded();
  EXPECT_EQ(view->widthConstraint()->priority(), 999.0f) << "no pass was asked for";
}

TEST(ScalableImageView, LayoutFillsTheScaledAxisWithBorderOutsideThePicture) {
  const struct {
    bool width, height;
    double border;
    Rect inner, borderFrame;
  } cases[] = {{true, false, 0, makeRect(0, 25, 100, 50), {}},
               {false, true, 0, makeRect(-50, 0, 200, 100), {}},
               {true, false, 3, makeRect(3, 26.5, 94, 47), makeRect(0, 23.5, 100, 53)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << c.height << c.border);
    const auto view = CRVScalableImageView::initWithFrame(makeRect(0, 0, 100, 100));
    view->updateWidthHeight(c.width, c.height);
    if (c.border > 0) view->setInsetBorderOfWidthColorAndCornerRadius(c.border, Color::white(), 5);
    view->layoutIfNeeded();
    if (const auto border = view->borderView()) {
      EXPECT_EQ(view->subviews().back(), border);
      EXPECT_EQ(std::tuple(border->layer().borderColor, border->layer().borderWidth, border->layer().cornerRadius),
                std::tuple(std::optional(Color::white()), 3.0, 5.0));
      EXPECT_EQ(std::tuple(view->widthConstraint()->constant(), view->heightConstraint()->constant()),
                std::tuple(-6.0, -6.0));
      EXPECT_TRUE(border->isHidden()) << "no picture yet";
    }
    view->setImage(picture(200, 100));
    view->layoutIfNeeded();
    EXPECT_EQ(view->scaledImageView()->frame(), c.inner);
    if (c.border > 0) {
      EXPECT_EQ(view->borderView()->frame(), c.borderFrame);
      EXPECT_FALSE(view->borderView()->isHidden());
      view->setInsetBorderOfWidthColorAndCornerRadius(1, Color::white(), 0);
      EXPECT_EQ(view->subviews().size(), 2u) << "one border view, restyled";
    }
  }
}

}  // namespace
}  // namespace corvana
