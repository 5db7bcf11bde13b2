#pragma once

#include <memory>

#include "corvana/view_controller.h"

namespace corvana {

class CRVInAppMessage;

// Hosts one shown campaign: made from a host scene of the "CRVInApp" storyboard and presented over the key
// window's root view controller. It keeps its campaign alive while it is on screen.
class CRVInAppViewController : public ViewController {
 public:
  const std::shared_ptr<CRVInAppMessage>& inapp() const { return inapp_; }
  void setInapp(std::shared_ptr<CRVInAppMessage> inapp) { inapp_ = std::move(inapp); }

 private:
  std::shared_ptr<CRVInAppMessage> inapp_;
};

}  // namespace corvana
