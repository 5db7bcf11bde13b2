#include "inapp/ui/CRVInAppViewController.h"

#include "events/CRVEventLogger.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVDataBinder.h"
#include "inapp/ui/CRVIALayout.h"
#include "inapp/ui/CRVInAppContainerView.h"
#include "util/Log.h"

namespace corvana {

std::shared_ptr<CRVInAppContainerView> CRVInAppViewController::containerView() {
  (void)view();
  return sceneViews().outlet<CRVInAppContainerView>("containerView");
}

// The inherited appearance work is not done here: the host only embeds the layout and reports it.
void CRVInAppViewController::viewWillAppear(bool /*animated*/) {
  const int32_t type = inapp_ ? inapp_->getType() : 0;
  std::shared_ptr<ViewController> layout;
  if (type >= CRVLayout1 && type <= CRVLayout6) {
    layout = instantiateViewControllerWithIdentifier(storyboard(), "CRVIALayout" + std::to_string(type - 100));
    if (auto typed = std::dynamic_pointer_cast<CRVIALayout>(layout)) typed->setInapp(inapp_);
  } else {
    CRVLog("CorvanaSDK-Template not supported !");
  }
  if (layout) {
    loadContentController(layout);
    CRVEventLogger::sharedInstance().reportInappWithSubTypeAndCampaignId("displayed", inapp_->getCampaignId());
  } else {
    dismissViewControllerAnimated(false);
  }
}

void CRVInAppViewController::loadContentController(const std::shared_ptr<ViewController>& content) {
  const auto container = containerView();
  if (!content || !container) return;
  addChildViewController(content);
  content_ = content;
  const auto layoutView = content->view();  // loads the layout, which binds the campaign
  layoutView->setTranslatesAutoresizingMaskIntoConstraints(false);
  container->addSubview(layoutView);
  container->setCloseButton(layoutView->viewWithTag(kCloseButtonTag));
  for (const auto attribute : {LayoutAttribute::Top, LayoutAttribute::Bottom, LayoutAttribute::Leading,
                               LayoutAttribute::Trailing}) {
    container->addConstraint(LayoutConstraint::constraintWithItem(layoutView, attribute, LayoutRelation::Equal,
                                                                  container, attribute, 1.0, 0.0));
  }
  content->didMoveToParentViewController(shared_from_this());
}

}  // namespace corvana
