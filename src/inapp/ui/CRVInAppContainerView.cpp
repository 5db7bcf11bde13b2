#include "inapp/ui/CRVInAppContainerView.h"

namespace corvana {

bool CRVInAppContainerView::pointInside(const Point& point) const {
  // The window asks before descending: a touch on the overhanging close button must reach hitTest.
  if (const auto button = closeButton()) {
    if (button->bounds().contains(button->convertPointFromView(point, this))) return true;
  }
  return View::pointInside(point);
}

std::shared_ptr<View> CRVInAppContainerView::hitTest(const Point& point) {
  if (const auto button = closeButton()) {
    const Point inButton = button->convertPointFromView(point, this);
    if (button->bounds().contains(inButton)) return button->hitTest(inButton);
  }
  return View::hitTest(point);
}

}  // namespace corvana
