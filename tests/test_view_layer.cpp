#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "corvana/view.h"
#include "inapp/ui/CRVScalableImageView.h"

namespace corvana {
namespace {

using A = LayoutAttribute;
using R = LayoutRelation;

using ViewPtr = std::shared_ptr<View>;

std::shared_ptr<LayoutConstraint> make(const ViewPtr& item, A attribute, R relation, const ViewPtr& to, A toAttribute,
                                       double multiplier, double constant, float priority = kLayoutPriorityRequired) {
  auto constraint = LayoutConstraint::constraintWithItem(item, attribute, relation, to, toAttribute, multiplier,
                                                         constant);
  constraint->setPriority(priority);
  return constraint;
}
// item.attribute == to.attribute + constant
std::shared_ptr<LayoutConstraint> equal(const ViewPtr& item, A attribute, const ViewPtr& to, double constant = 0,
                                        float priority = kLayoutPriorityRequired) {
  return make(item, attribute, R::Equal, to, attribute, 1, constant, priority);
}
std::shared_ptr<LayoutConstraint> fixed(const ViewPtr& item, A attribute, double constant, R relation = R::Equal) {
  return make(item, attribute, relation, nullptr, A::NotAnAttribute, 1, constant);
}

template <typename T = View>
std::shared_ptr<T> constrained(const std::shared_ptr<View>& parent, Rect frame = {}) {
  auto view = std::make_shared<T>(frame);
  view->setTranslatesAutoresizingMaskIntoConstraints(false);
  parent->addSubview(view);
  return view;
}

std::shared_ptr<View> container(double width = 300, double height = 200) {
  return std::make_shared<View>(makeRect(0, 0, width, height));
}

// ---- Constraints ----------------------------------------------------------------------------------------------

TEST(ViewLayout, CommonPlacementsInAContainer) {
  using Build = void (*)(const ViewPtr& box, const ViewPtr& view);
  const std::pair<Build, Rect> cases[] = {
      // Pinned to all four edges with insets.
      {[](const auto& box, const auto& v) {
         box->addConstraints({equal(v, A::Leading, box, 10), equal(v, A::Trailing, box, -20),
                              equal(v, A::Top, box, 5), equal(v, A::Bottom, box, -15)});
       },
       makeRect(10, 5, 270, 180)},
      // Aspect fit of a tall picture: the required "height <= superview height" reaches the width through the ratio.
      {[](const auto& box, const auto& v) {
         v->addConstraint(make(v, A::Width, R::Equal, v, A::Height, 0.5, 0));
         box->addConstraints({equal(v, A::Width, box, 0, 999),
                              make(v, A::Height, R::LessThanOrEqual, box, A::Height, 1, 0),
                              equal(v, A::CenterX, box), equal(v, A::CenterY, box)});
       },
       makeRect(100, 0, 100, 200)},
      // Inequalities clamp: at least 120 wide where the frame had 50; at most 30 high where a weaker rule asks 80.
      {[](const auto& box, const auto& v) {
         auto tall = fixed(v, A::Height, 80);
         tall->setPriority(kLayoutPriorityDefaultHigh);
         v->addConstraints({fixed(v, A::Width, 120, R::GreaterThanOrEqual), tall,
                            fixed(v, A::Height, 30, R::LessThanOrEqual)});
         box->addConstraints({equal(v, A::Left, box, 1), equal(v, A::Top, box, 2)});
       },
       makeRect(1, 2, 120, 30)},
      // Nothing on an axis: the view keeps its frame there.
      {[](const auto& box, const auto& v) { box->addConstraint(equal(v, A::Left, box, 40)); },
       makeRect(40, 7, 50, 60)},
  };
  int index = 0;
  for (const auto& [build, expected] : cases) {
    SCOPED_TRACE(index++);
    const auto box = container();
    const auto view = constrained(box, makeRect(3, 7, 50, 60));
    build(box, view);
    box->layoutIfNeeded();
    EXPECT_EQ(view->frame(), expected);
  }
}

TEST(ViewLayout, SiblingsDescendantsAndTranslatedViews) {
  const auto root = container(400, 400);
  // A translated panel keeps its frame; its constrained child is placed against the root through it.
  const auto panel = std::make_shared<View>(makeRect(50, 60, 200, 100));
  root->addSubview(panel);
  const auto inner = constrained(panel);
  root->addConstraints({equal(inner, A::Left, root, 10), equal(inner, A::Top, root, 20)});
  inner->addConstraints({fixed(inner, A::Width, 30), fixed(inner, A::Height, 40)});
  // A sibling stacked under the inner view, 8 points apart, as wide as it.
  const auto below = constrained(panel);
  panel->addConstraints({make(below, A::Top, R::Equal, inner, A::Bottom, 1, 8), equal(below, A::Leading, inner),
                         equal(below, A::Width, inner), fixed(below, A::Height, 5)});
  // An ancestor sized by its descendant: the box hugs the view inside it with a margin of 4.
  const auto box = constrained(root);
  const auto content = constrained(box);
  content->addConstraints({fixed(content, A::Width, 70), fixed(content, A::Height, 20)});
  box->addConstraints({equal(content, A::Leading, box, 4), equal(content, A::Top, box, 4),
                       equal(box, A::Trailing, content, 4), equal(box, A::Bottom, content, 4)});
  root->addConstraints({equal(box, A::Right, root), equal(box, A::Bottom, root)});

  root->layoutIfNeeded();
  EXPECT_EQ(panel->frame(), makeRect(50, 60, 200, 100));
  EXPECT_EQ(inner->frame(), makeRect(-40, -40, 30, 40));
  EXPECT_EQ(below->frame(), makeRect(-40, 8, 30, 5));
  EXPECT_EQ(box->frame(), makeRect(322, 372, 78, 28));
  EXPECT_EQ(content->frame(), makeRect(4, 4, 70, 20));
}

TEST(ViewLayout, LabelsTakeTheirTextSizeAndWrapAtTheirWidth) {
  const auto box = container(200, 400);
  const auto label = constrained<Label>(box);
  label->setText("Hello");
  box->addConstraints({equal(label, A::Leading, box, 10), equal(label, A::Top, box, 10)});
  const auto wrapped = constrained<Label>(box);
  wrapped->setText("A longer text that surely needs more than one line at this width");
  wrapped->setNumberOfLines(0);
  box->addConstraints({equal(wrapped, A::Leading, box, 10), equal(wrapped, A::Trailing, box, -10),
                       equal(wrapped, A::Top, box, 100)});
  box->layoutIfNeeded();

  const Size natural = label->intrinsicContentSize();
  EXPECT_GT(natural.width, 20);
  EXPECT_GT(natural.height, 10);
  EXPECT_EQ(label->frame(), makeRect(10, 10, natural.width, natural.height));
  EXPECT_EQ(wrapped->frame().size.width, 180);
  EXPECT_GE(wrapped->frame().size.height, 2 * natural.height);
}

// ---- Hit testing ---------------------------------------------------------------------------------------------

TEST(ViewHitTest, FrontMostDeepestInteractiveView) {
  const auto root = container(200, 200);
  const auto back = std::make_shared<View>(makeRect(0, 0, 100, 100));
  const auto front = std::make_shared<View>(makeRect(50, 50, 100, 100));
  const auto hidden = std::make_shared<View>(makeRect(60, 60, 20, 20));
  const auto off = std::make_shared<View>(makeRect(120, 120, 20, 20));
  const auto outside = std::make_shared<View>(makeRect(90, -30, 20, 20));  // partly outside `front`
  const auto label = std::make_shared<Label>(makeRect(0, 150, 50, 50));
  const auto touchLabel = std::make_shared<Label>(makeRect(150, 0, 50, 50));
  root->addSubview(back), root->addSubview(front), root->addSubview(label), root->addSubview(touchLabel);
  front->addSubview(hidden), front->addSubview(off), front->addSubview(outside);
  hidden->setHidden(true);
  off->setUserInteractionEnabled(false);
  touchLabel->setUserInteractionEnabled(true);
  const std::pair<Point, ViewPtr> cases[] = {
      {{10, 10}, back},  {{60, 60}, front},      {{65, 65}, front},      {{125, 125}, front},  // front over back
      {{140, 35}, root}, {{10, 160}, root},       {{160, 10}, touchLabel}, {{200, 10}, nullptr},  // outside `front`
  };
  for (const auto& [point, expected] : cases) {
    SCOPED_TRACE(std::to_string(point.x) + "," + std::to_string(point.y));
    EXPECT_EQ(root->hitTest(point), expected);
  }
  root->setUserInteractionEnabled(false);
  EXPECT_EQ(root->hitTest({10, 10}), nullptr);
}

// ---- The scalable image view ---------------------------------------------------------------------------------

// Where its inner picture and its border land, by the axes it scales and the picture's aspect ratio.
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
