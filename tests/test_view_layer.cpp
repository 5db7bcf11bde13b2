#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "corvana/view.h"
#include "support/TestImages.h"

namespace corvana {
namespace {

using A = LayoutAttribute;
using R = LayoutRelation;

std::shared_ptr<LayoutConstraint> make(const std::shared_ptr<View>& item, A attribute, R relation,
                                       const std::shared_ptr<View>& to, A toAttribute, double multiplier,
                                       double constant, float priority = kLayoutPriorityRequired) {
  auto constraint = LayoutConstraint::constraintWithItem(item, attribute, relation, to, toAttribute, multiplier,
                                                         constant);
  constraint->setPriority(priority);
  return constraint;
}
// item.attribute == to.attribute + constant
std::shared_ptr<LayoutConstraint> equal(const std::shared_ptr<View>& item, A attribute,
                                        const std::shared_ptr<View>& to, double constant = 0,
                                        float priority = kLayoutPriorityRequired) {
  return make(item, attribute, R::Equal, to, attribute, 1, constant, priority);
}
std::shared_ptr<LayoutConstraint> fixed(const std::shared_ptr<View>& item, A attribute, double constant,
                                        R relation = R::Equal) {
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
  using Build = void (*)(const std::shared_ptr<View>& box, const std::shared_ptr<View>& view);
  const std::pair<Build, Rect> cases[] = {
      // Pinned to all four edges with insets.
      {[](const auto& box, const auto& v) {
         box->addConstraints({equal(v, A::Leading, box, 10), equal(v, A::Trailing, box, -20),
                              equal(v, A::Top, box, 5), equal(v, A::Bottom, box, -15)});
       },
       makeRect(10, 5, 270, 180)},
      // Fixed size, centred.
      {[](const auto& box, const auto& v) {
         v->addConstraints({fixed(v, A::Width, 100), fixed(v, A::Height, 50)});
         box->addConstraints({equal(v, A::CenterX, box), equal(v, A::CenterY, box)});
       },
       makeRect(100, 75, 100, 50)},
      // A 48 x 48 button 16 points inside the top-right corner.
      {[](const auto& box, const auto& v) {
         v->addConstraints({fixed(v, A::Width, 48), fixed(v, A::Height, 48)});
         box->addConstraints({equal(v, A::Right, box, -16), equal(v, A::Top, box, 16)});
       },
       makeRect(236, 16, 48, 48)},
      // Aspect fit of a tall picture: the required "height <= superview height" reaches the width through the ratio.
      {[](const auto& box, const auto& v) {
         v->addConstraint(make(v, A::Width, R::Equal, v, A::Height, 0.5, 0));
         box->addConstraints({equal(v, A::Width, box, 0, 999),
                              make(v, A::Height, R::LessThanOrEqual, box, A::Height, 1, 0),
                              equal(v, A::CenterX, box), equal(v, A::CenterY, box)});
       },
       makeRect(100, 0, 100, 200)},
      // A stronger constraint wins over a weaker one added first; position from a multiplier.
      {[](const auto& box, const auto& v) {
         auto weak = fixed(v, A::Width, 200);
         weak->setPriority(500);
         v->addConstraints({weak, fixed(v, A::Width, 120), fixed(v, A::Height, 10)});
         box->addConstraints({make(v, A::CenterX, R::Equal, box, A::CenterX, 0.5, 0), equal(v, A::Bottom, box)});
       },
       makeRect(15, 190, 120, 10)},
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

TEST(ViewLayout, ChangedConstantsRemovedConstraintsAndGoneItems) {
  const auto box = container();
  const auto view = constrained(box);
  const auto leading = equal(view, A::Leading, box, 16);
  box->addConstraints({leading, equal(view, A::Trailing, box, -16), equal(view, A::Top, box, 16),
                       equal(view, A::Bottom, box, -16)});
  box->layoutIfNeeded();
  EXPECT_EQ(view->frame(), makeRect(16, 16, 268, 168));
  leading->setConstant(40);
  box->layoutIfNeeded();
  EXPECT_EQ(view->frame(), makeRect(40, 16, 244, 168));
  box->removeConstraint(leading);
  view->addConstraint(fixed(view, A::Width, 100));
  box->layoutIfNeeded();
  EXPECT_EQ(view->frame(), makeRect(184, 16, 100, 168));

  // A constraint whose item is gone counts for nothing.
  auto other = std::make_shared<View>(makeRect(0, 0, 10, 10));
  box->addConstraint(equal(view, A::Height, other, 0, 999));
  other.reset();
  box->layoutIfNeeded();
  EXPECT_EQ(view->frame(), makeRect(184, 16, 100, 168));

  // Taking a view out of its superview drops the constraints its former ancestors held on it.
  view->removeFromSuperview();
  EXPECT_TRUE(box->constraints().empty());
}

TEST(ViewLayout, IntrinsicSizesAndLabelsWrapAtTheirWidth) {
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

  // Bold text is wider; an empty label has no size; an image view is as large as its image.
  Label bold;
  bold.setText("Hello");
  bold.setFont(Font::boldSystemFontOfSize(17));
  EXPECT_GT(bold.intrinsicContentSize().width, natural.width);
  EXPECT_EQ(Label().intrinsicContentSize(), (Size{0, 0}));
  ImageView imageView;
  EXPECT_EQ(imageView.intrinsicContentSize(), (Size{-1, -1}));
  imageView.setImage(std::make_shared<Image>(7, 3, std::vector<uint8_t>(7 * 3 * 4, 255)));
  EXPECT_EQ(imageView.intrinsicContentSize(), (Size{7, 3}));
}

// ---- Hierarchy ------------------------------------------------------------------------------------------------

TEST(ViewHierarchy, AddMoveFrontAndConvertPoints) {
  const auto a = container(), b = container();
  const auto x = std::make_shared<View>(), y = std::make_shared<View>(), z = std::make_shared<View>();
  a->addSubview(x), a->addSubview(y), a->addSubview(z);
  a->bringSubviewToFront(x);
  EXPECT_EQ(a->subviews(), (std::vector<std::shared_ptr<View>>{y, z, x}));
  a->addSubview(y);  // again: to the top
  EXPECT_EQ(a->subviews(), (std::vector<std::shared_ptr<View>>{z, x, y}));
  b->addSubview(x);  // moved
  EXPECT_EQ(a->subviews(), (std::vector<std::shared_ptr<View>>{z, y}));
  EXPECT_EQ(x->superview(), b);
  x->addSubview(b);  // an ancestor cannot become a subview
  EXPECT_TRUE(x->subviews().empty());

  const auto deep = std::make_shared<View>();
  z->addSubview(deep);
  z->setFrame(makeRect(10, 20, 5, 5));
  EXPECT_EQ(deep->convertPointToView({1, 1}, nullptr), (Point{11, 21}));
  EXPECT_EQ(x->convertPointFromView({1, 1}, deep.get()), (Point{11, 21}));
}

TEST(ViewHierarchy, SuperviewPointerIsClearedWhenTheSuperviewGoes) {
  const auto child = std::make_shared<View>();
  {
    const auto parent = container();
    parent->addSubview(child);
    EXPECT_NE(child->superview(), nullptr);
  }
  EXPECT_EQ(child->superview(), nullptr);
}

// ---- Hit testing and pictures ---------------------------------------------------------------------------------

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
  const std::pair<Point, std::shared_ptr<View>> cases[] = {
      {{10, 10}, back},        {{60, 60}, front},  // overlap: the front one
      {{65, 65}, front},       {{125, 125}, front}, {{140, 35}, root},  // outside `front`: not reached
      {{10, 160}, root},       {{160, 10}, touchLabel}, {{199.5, 199.5}, root}, {{200, 10}, nullptr},
      {{-1, 10}, nullptr},
  };
  for (const auto& [point, expected] : cases) {
    SCOPED_TRACE(std::to_string(point.x) + "," + std::to_string(point.y));
    EXPECT_EQ(root->hitTest(point), expected);
  }
  root->setUserInteractionEnabled(false);
  EXPECT_EQ(root->hitTest({10, 10}), nullptr);
}

TEST(ViewImage, DecodesPicturesAndRefusesOtherBytes) {
  const auto image = Image::imageWithData(test::png(4));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->size(), (Size{4, 4}));
  ASSERT_EQ(image->rgba().size(), 64u);
  // Pixel (1, 2) of the gradient: channel x of row y is x * 7 + y; opaque.
  const uint8_t* pixel = image->rgba().data() + (2 * 4 + 1) * 4;
  EXPECT_EQ((std::vector<int>{pixel[0], pixel[1], pixel[2], pixel[3]}), (std::vector<int>{23, 30, 37, 255}));
  EXPECT_EQ(Image::imageWithData(Data{'n', 'o', 't'}), nullptr);
  EXPECT_EQ(Image::imageWithData({}), nullptr);
}

}  // namespace
}  // namespace corvana
