#pragma once

#include <memory>

#include "inapp/ui/CRVStoryboard.h"

namespace corvana {

class CRVInAppMessage;
class CRVInAppContainerView;

// Hosts one shown campaign: made from a host scene of the "CRVInApp" storyboard and presented over the key
// window's root view controller. As it comes on screen it embeds the layout controller of the campaign's type in
// its container and reports the display. It keeps its campaign alive while it is on screen.
class CRVInAppViewController : public CRVStoryboardController {
 public:
  using CRVStoryboardController::CRVStoryboardController;

  const std::shared_ptr<CRVInAppMessage>& inapp() const { return inapp_; }
  void setInapp(std::shared_ptr<CRVInAppMessage> inapp) { inapp_ = std::move(inapp); }
  std::shared_ptr<CRVInAppContainerView> containerView();
  // The layout controller embedded by the last appearance; none before it or for an unknown layout.
  std::shared_ptr<ViewController> contentController() const { return content_; }

  // Adds the layout controller as a child and pins its view to the four edges of the container.
  void loadContentController(const std::shared_ptr<ViewController>& content);

 protected:
  void viewWillAppear(bool animated) override;

 private:
  std::shared_ptr<CRVInAppMessage> inapp_;
  std::shared_ptr<ViewController> content_;
};

}  // namespace corvana
