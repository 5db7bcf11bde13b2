#include "inapp/ui/CRVIALayout.h"

#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVCloseButton.h"
#include "inapp/ui/CRVDataBinder.h"
#include "inapp/ui/CRVIABackground.h"
#include "inapp/ui/CRVIAClose.h"
#include "inapp/ui/CRVIAImage.h"
#include "inapp/ui/CRVIAPrimaryButton.h"
#include "inapp/ui/CRVIAPrimaryText.h"
#include "inapp/ui/CRVIASecondaryButton.h"
#include "inapp/ui/CRVIASecondaryText.h"
#include "inapp/ui/ViewExtra.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

// The image style each layout binds its picture with (0: it shows none).
int32_t imageStyleOf(int32_t code) {
  switch (code) {
    case 101:
    case 102:
      return 1;
    case 104:
      return 2;
    case 105:
    case 106:
      return 3;
    default:
      return 0;
  }
}

}  // namespace

void CRVIALayout::viewDidLoad() {
  if (code_ == 104) view()->setTranslatesAutoresizingMaskIntoConstraints(false);
  config(inapp_);
}

void CRVIALayout::config(const std::shared_ptr<CRVInAppMessage>& inapp) {
  if (!inapp) return;
  const StoryboardViews& views = sceneViews();
  CRVDataBinder& binder = CRVDataBinder::sharedInstance();
  const auto self = shared_from_this();
  const int32_t frequency = inapp->getFrequency();
  // Tappable content tells the handler which controller to dismiss and how often the campaign may show.
  const auto tagForTaps = [&](View& view, bool withFrequency) {
    setCrvMessage(view, self);
    if (withFrequency) setCrvFrequency(view, frequency);
  };

  if (code_ == 105 || code_ == 106) view()->setBackgroundColor(Color::clear());

  const auto bindBackground = [&] {
    if (!inapp->background()) return;
    if (const auto background = views.outlet<View>("background")) {
      binder.bindBackgroundWithData(background, inapp->background());
      tagForTaps(*background, true);
    }
  };
  const auto bindButton = [&](const char* outlet, const std::shared_ptr<CRVIAPrimaryButton>& record) {
    if (!record) return;
    if (const auto button = views.outlet<Button>(outlet)) {
      binder.bindButtonWithData(button, record);
      tagForTaps(*button, true);
    }
  };
  const auto bindImage = [&](const char* outlet) {
    if (!inapp->image()) return;
    const auto image = views.outlet<ImageView>(outlet);
    if (!image) return;
    binder.bindImageWithDataWithStyle(image, inapp->image(), imageStyleOf(code_));
    // The full-size image of layout 4 dismisses the campaign like any other element, but carries no frequency.
    tagForTaps(*image, code_ != 104);
    // The margin moves the picture inward from the storyboard's own distances; it adds up on every config.
    if (!inapp->image()->margin().is_null()) {
      const int margin = intValue(inapp->image()->margin());
      for (const char* name : {"marginBottom", "marginTop", "marginRight", "marginLeft"}) {
        const auto found = views.constraints.find(name);
        if (found != views.constraints.end()) found->second->setConstant(found->second->constant() + margin);
      }
    }
  };
  const auto bindText = [&](const char* outlet, const std::shared_ptr<CRVIAPrimaryText>& record) {
    const auto label = views.outlet<Label>(outlet);
    if (label && record) binder.bindTextWithData(label, record);
  };

  switch (code_) {
    case 101:
      bindBackground(), bindButton("primaryButton", inapp->primaryButton()), bindImage("image");
      bindText("primaryText", inapp->primaryText()), bindText("secondaryText", inapp->secondaryText());
      break;
    case 102:
      bindBackground(), bindButton("primaryButton", inapp->primaryButton()), bindImage("image");
      break;
    case 103:
      bindBackground(), bindButton("primaryButton", inapp->primaryButton());
      bindButton("secondaryButton", inapp->secondaryButton());
      bindText("primaryText", inapp->primaryText()), bindText("secondaryText", inapp->secondaryText());
      break;
    case 104:
      bindImage("fullsizeImage");
      break;
    case 105:
      bindImage("background"), bindButton("actionButton", inapp->primaryButton());
      bindText("primaryText", inapp->primaryText()), bindText("secondaryText", inapp->secondaryText());
      break;
    case 106:
      bindImage("background"), bindButton("primaryButton", inapp->primaryButton());
      bindButton("secondaryButton", inapp->secondaryButton());
      bindText("primaryText", inapp->primaryText()), bindText("secondaryText", inapp->secondaryText());
      break;
    default:
      break;
  }

  if (inapp->closeButton()) {
    closeButton_ = binder.bindCloseButtonViewControllerLayout(inapp->closeButton(), self, code_);
  }
}

}  // namespace corvana
