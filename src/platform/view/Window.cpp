#include "corvana/view_controller.h"

namespace corvana {

namespace {

// The views of the controllers presented from the root, bottom to top.
std::vector<std::shared_ptr<View>> presentedViews(const std::shared_ptr<ViewController>& root) {
  std::vector<std::shared_ptr<View>> views;
  for (auto at = root ? root->presentedViewController() : nullptr; at; at = at->presentedViewController()) {
    views.push_back(at->view());
  }
  return views;
}

}  // namespace

Window::Window(Rect frame) : View(frame) {}

void Window::setRootViewController(std::shared_ptr<ViewController> controller) {
  const auto content = subviews();
  for (const auto& view : content) view->removeFromSuperview();
  root_ = std::move(controller);
  if (!root_) return;
  const auto view = root_->view();
  view->setFrame(bounds());
  addSubview(view);
}

void Window::layoutScreens() {
  if (root_) {
    const auto view = root_->view();
    if (view->superview().get() != this) addSubview(view);
    view->setFrame(bounds());
  }
  layoutIfNeeded();
  for (const auto& view : presentedViews(root_)) {
    view->setFrame(bounds());
    view->layoutIfNeeded();
  }
}

std::shared_ptr<View> Window::hitTestScreens(const Point& point) {
  const auto screens = presentedViews(root_);
  for (auto at = screens.rbegin(); at != screens.rend(); ++at) {
    const Rect frame = (*at)->frame();
    if (auto hit = (*at)->hitTest({point.x - frame.origin.x, point.y - frame.origin.y})) return hit;
  }
  return hitTest(point);
}

std::shared_ptr<View> Window::tapAt(const Point& point) {
  layoutScreens();
  const auto hit = hitTestScreens(point);
  for (auto view = hit; view; view = view->superview()) {
    if (auto* button = dynamic_cast<Button*>(view.get())) {
      button->sendActionsForControlEvents(kControlEventTouchUpInside);
      return view;
    }
  }
  for (auto view = hit; view; view = view->superview()) {
    if (view->gestureRecognizers().empty()) continue;
    const auto recognizers = view->gestureRecognizers();
    for (const auto& recognizer : recognizers) recognizer->recognize();
    return view;
  }
  return nullptr;
}

}  // namespace corvana
