// The scalable image view: where its inner picture and its border land, by the axes it scales and the picture's
// aspect ratio.

#include <gtest/gtest.h>

#include "inapp/ui/CRVScalableImageView.h"

namespace corvana {
namespace {

std::shared_ptr<Image> picture(int width, int height) {
  return std::make_shared<Image>(width, height, std::vector<uint8_t>(size_t(width) * size_t(height) * 4, 255));
}

TEST(ScalableImageView, LayoutFillsTheScaledAxisWithBorderOutsideThePicture) {
  const struct {
    int pictureWidth, pictureHeight;
    bool width, height;
    double border;
    Rect inner, borderFrame;
  } cases[] = {
      {200, 100, true, false, 0, makeRect(0, 25, 100, 50), {}},
      {200, 100, false, true, 0, makeRect(-50, 0, 200, 100), {}},
      {30, 120, false, true, 0, makeRect(37.5, 0, 25, 100), {}},
      {7, 0, true, true, 0, makeRect(0, 0, 100, 100), {}},  // no height: taken as square
      {200, 100, true, false, 3, makeRect(3, 26.5, 94, 47), makeRect(0, 23.5, 100, 53)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.pictureWidth << "x" << c.pictureHeight << " " << c.width << c.height);
    const auto view = CRVScalableImageView::initWithFrame(makeRect(0, 0, 100, 100));
    view->updateWidthHeight(c.width, c.height);
    if (c.border > 0) view->setInsetBorderOfWidthColorAndCornerRadius(c.border, Color::white(), 5);
    view->layoutIfNeeded();
    if (c.border > 0) {
      EXPECT_TRUE(view->borderView()->isHidden()) << "no picture yet";
    }
    view->setImage(picture(c.pictureWidth, c.pictureHeight));
    view->layoutIfNeeded();
    EXPECT_EQ(view->scaledImageView()->frame(), c.inner);
    EXPECT_EQ(view->image(), nullptr) << "the inner view shows the picture";
    if (c.border > 0) {
      const auto border = view->borderView();
      EXPECT_EQ(view->subviews().back(), border);
      EXPECT_EQ(border->frame(), c.borderFrame);
      EXPECT_EQ(std::tuple(border->isHidden(), border->layer().borderWidth, border->layer().cornerRadius),
                std::tuple(false, 3.0, 5.0));
      view->setInsetBorderOfWidthColorAndCornerRadius(1, Color::white(), 0);
      EXPECT_EQ(view->subviews().size(), 2u) << "one border view, restyled";
    }
  }
}

}  // namespace
}  // namespace corvana
