#include <algorithm>

#include "corvana/view.h"
#include "platform/view/LayoutEngine.h"

namespace corvana {

namespace {

// Whether `view` is `ancestor` or lies below it.
bool isWithin(const View* view, const View* ancestor) {
  for (const View* at = view; at; at = LayoutEngine::parentOf(*at)) {
    if (at == ancestor) return true;
  }
  return false;
}

}  // namespace

View::View(Rect frame) : frame_(frame) {}

View::~View() {
  for (const auto& subview : subviews_) subview->superview_ = nullptr;
}

void View::setFrame(const Rect& frame) {
  if (frame.size != frame_.size) needsLayout_ = true;
  frame_ = frame;
}

std::shared_ptr<View> View::viewWithTag(int64_t tag) {
  if (tag_ == tag) return weak_from_this().lock();
  for (const auto& subview : subviews_) {
    if (auto found = subview->viewWithTag(tag)) return found;
  }
  return nullptr;
}

// ---- Hierarchy ----

std::shared_ptr<View> View::superview() const { return superview_ ? superview_->weak_from_this().lock() : nullptr; }

void View::addSubview(const std::shared_ptr<View>& view) {
  if (!view || isWithin(this, view.get())) return;  // itself or one of its ancestors: refused
  if (view->superview_ == this) {
    bringSubviewToFront(view);
    return;
  }
  const std::shared_ptr<View> keep = view;
  keep->removeFromSuperview();
  subviews_.push_back(keep);
  keep->superview_ = this;
}

void View::removeFromSuperview() {
  View* parent = superview_;
  if (!parent) return;
  const auto at = std::find_if(parent->subviews_.begin(), parent->subviews_.end(),
                               [this](const std::shared_ptr<View>& view) { return view.get() == this; });
  // Held until the end: the superview's reference may be the last one.
  const std::shared_ptr<View> keep = at != parent->subviews_.end() ? *at : nullptr;
  if (at != parent->subviews_.end()) parent->subviews_.erase(at);
  superview_ = nullptr;
  // As the toolkit does, the former ancestors drop the constraints that involve the view or its subviews.
  for (View* holder = parent; holder; holder = holder->superview_) {
    std::erase_if(holder->constraints_, [this](const std::shared_ptr<LayoutConstraint>& constraint) {
      const auto first = constraint->firstItem();
      const auto second = constraint->secondItem();
      return (first && isWithin(first.get(), this)) || (second && isWithin(second.get(), this));
    });
  }
}

void View::bringSubviewToFront(const std::shared_ptr<View>& view) {
  const auto at = std::find(subviews_.begin(), subviews_.end(), view);
  if (at == subviews_.end()) return;
  std::rotate(at, at + 1, subviews_.end());
}

Window* View::window() const {
  for (const View* at = this; at; at = at->superview_) {
    if (auto* window = dynamic_cast<const Window*>(at)) return const_cast<Window*>(window);
  }
  return nullptr;
}

// ---- Constraints and layout ----

void View::addConstraint(const std::shared_ptr<LayoutConstraint>& constraint) {
  if (!constraint) return;
  if (std::find(constraints_.begin(), constraints_.end(), constraint) != constraints_.end()) return;
  constraints_.push_back(constraint);
}

void View::addConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) addConstraint(constraint);
}

void View::removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint) {
  std::erase(constraints_, constraint);
}

std::shared_ptr<LayoutConstraint> View::constraintWithIdentifier(const std::string& identifier) const {
  for (const auto& constraint : constraints_) {
    if (constraint->identifier() == identifier) return constraint;
  }
  return nullptr;
}

float View::contentCompressionResistancePriority(LayoutAxis axis) const {
  return compressionResistance_[axis == LayoutAxis::Vertical ? 1 : 0];
}
void View::setContentCompressionResistancePriority(float priority, LayoutAxis axis) {
  compressionResistance_[axis == LayoutAxis::Vertical ? 1 : 0] = priority;
}
float View::contentHuggingPriority(LayoutAxis axis) const { return hugging_[axis == LayoutAxis::Vertical ? 1 : 0]; }
void View::setContentHuggingPriority(float priority, LayoutAxis axis) {
  hugging_[axis == LayoutAxis::Vertical ? 1 : 0] = priority;
}

void View::updateConstraintsIfNeeded() {
  if (needsUpdateConstraints_) updateConstraints();
  // A copy: an update may add or remove subviews.
  const auto subviews = subviews_;
  for (const auto& subview : subviews) subview->updateConstraintsIfNeeded();
}

void View::layoutIfNeeded() { LayoutEngine::layoutPass(*this); }

// ---- Coordinates and touches ----

Point View::convertPointFromView(const Point& point, const View* view) const {
  const Point from = view ? LayoutEngine::originInTree(view) : Point{};
  const Point to = LayoutEngine::originInTree(this);
  return {point.x + from.x - to.x, point.y + from.y - to.y};
}

Point View::convertPointToView(const Point& point, const View* view) const {
  const Point from = LayoutEngine::originInTree(this);
  const Point to = view ? LayoutEngine::originInTree(view) : Point{};
  return {point.x + from.x - to.x, point.y + from.y - to.y};
}

std::shared_ptr<View> View::hitTest(const Point& point) {
  if (hidden_ || !userInteractionEnabled_ || !pointInside(point)) return nullptr;
  for (auto at = subviews_.rbegin(); at != subviews_.rend(); ++at) {
    const Rect frame = (*at)->frame();
    if (auto hit = (*at)->hitTest({point.x - frame.origin.x, point.y - frame.origin.y})) return hit;
  }
  return weak_from_this().lock();
}

void View::addGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer) {
  if (!recognizer) return;
  recognizer->setView(weak_from_this().lock());
  gestures_.push_back(recognizer);
}

// ---- Drawing and associated values ----

void View::drawRect(cairo_t* /*context*/, const Rect& /*rect*/) {}

std::shared_ptr<void> View::associatedObject(const std::string& key) const {
  const auto found = associated_.find(key);
  return found == associated_.end() ? nullptr : found->second;
}

void View::setAssociatedObject(const std::string& key, std::shared_ptr<void> value) {
  if (value) {
    associated_[key] = std::move(value);
  } else {
    associated_.erase(key);
  }
}

}  // namespace corvana
