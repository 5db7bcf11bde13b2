#pragma once

#include <memory>

#include "corvana/view.h"

namespace corvana {

// Holds a campaign's layout. Its close button may overhang the container's corner (layouts 1-3), so touches on
// the part outside the container are passed to the button.
class CRVInAppContainerView : public View {
 public:
  using View::View;
  std::string className() const override { return "CRVInAppContainerView"; }
  std::shared_ptr<View> closeButton() const { return closeButton_.lock(); }
  void setCloseButton(const std::shared_ptr<View>& button) { closeButton_ = button; }
  bool pointInside(const Point& point) const override;
  std::shared_ptr<View> hitTest(const Point& point) override;

 private:
  std::weak_ptr<View> closeButton_;
};

}  // namespace corvana
