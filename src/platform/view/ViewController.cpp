#include "corvana/view_controller.h"

namespace corvana {

std::shared_ptr<View> ViewController::view() {
  if (!view_) {
    loadView();
    if (!view_) view_ = std::make_shared<View>(makeRect(0, 0, 375, 667));
    viewDidLoad();
  }
  return view_;
}

void ViewController::loadView() { view_ = std::make_shared<View>(makeRect(0, 0, 375, 667)); }

void ViewController::presentViewController(const std::shared_ptr<ViewController>& controller, bool animated) {
  if (!controller || presented_) return;
  presented_ = controller;
  controller->presenting_ = weak_from_this();
  controller->lastTransitionAnimated_ = animated;
  controller->viewWillAppear(animated);
  controller->viewDidAppear(animated);
}

void ViewController::dismissViewControllerAnimated(bool animated) {
  if (presented_) {
    // Held until its callback has run: the presenter's reference is the last one for a campaign's controller.
    const std::shared_ptr<ViewController> leaving = std::move(presented_);
    presented_.reset();
    leaving->presenting_.reset();
    leaving->lastTransitionAnimated_ = animated;
    leaving->viewDidDisappear(animated);
    return;
  }
  // A child (or the presented controller itself) passes the request up to whoever presented its chain.
  if (const auto presenter = presentingViewController()) presenter->dismissViewControllerAnimated(animated);
}

std::shared_ptr<ViewController> ViewController::presentingViewController() const {
  if (auto presenter = presenting_.lock()) return presenter;
  if (const auto parent = parent_.lock()) return parent->presentingViewController();
  return nullptr;
}

void ViewController::addChildViewController(const std::shared_ptr<ViewController>& child) {
  if (!child || child.get() == this) return;
  child->parent_ = weak_from_this();
  children_.push_back(child);
}

}  // namespace corvana
