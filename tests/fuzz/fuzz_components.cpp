// One component object of a campaign layout, read by every component record's factory (background, image,
// texts, buttons, close button), with and without a campaign id; each record that is accepted is bound by the
// data binder to a view of its kind (pictures come from tests/fuzz/images), laid out, drawn and tapped.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "FuzzPlatform.h"
#include "corvana/render.h"
#include "corvana/view.h"
#include "corvana/view_controller.h"
#include "events/CRVDataManager.h"
#include "inapp/CRVInAppHandler.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVDataBinder.h"
#include "inapp/ui/CRVIABackground.h"
#include "inapp/ui/CRVIAClose.h"
#include "inapp/ui/CRVIAImage.h"
#include "inapp/ui/CRVIAPrimaryButton.h"
#include "inapp/ui/CRVIAPrimaryText.h"
#include "inapp/ui/CRVIASecondaryButton.h"
#include "inapp/ui/CRVIASecondaryText.h"
#include "inapp/ui/CRVScalableImageView.h"
#include "storage/CRVIOManager.h"

using namespace corvana;

namespace {

template <typename Record>
std::shared_ptr<Record> build(const Value& component) {
  Record::initWithDataWithCampaingId(component, std::nullopt);
  return Record::initWithDataWithCampaingId(component, std::string("fuzz-cid"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto component = fuzz::jsonInput(data, size);
  if (!component) return 0;

  const auto background = build<CRVIABackground>(*component);
  const auto image = build<CRVIAImage>(*component);
  const auto primaryText = build<CRVIAPrimaryText>(*component);
  const auto secondaryText = build<CRVIASecondaryText>(*component);
  const auto primaryButton = build<CRVIAPrimaryButton>(*component);
  const auto secondaryButton = build<CRVIASecondaryButton>(*component);
  const auto close = build<CRVIAClose>(*component);
  if (!background && !image && !primaryText && !secondaryText && !primaryButton && !secondaryButton && !close) {
    return 0;
  }

  CRVDataBinder& binder = CRVDataBinder::sharedInstance();
  auto controller = std::make_shared<ViewController>();
  const auto screen = controller->view();
  const auto add = [&](const std::shared_ptr<View>& view) {
    screen->addSubview(view);
    return view;
  };
  binder.bindBackgroundWithData(add(std::make_shared<View>(makeRect(0, 0, 375, 300))), background);
  for (int32_t style = 1; style <= 3; ++style) {
    const auto scalable = CRVScalableImageView::initWithFrame(makeRect(0, 300, 200, 150));
    binder.bindImageWithDataWithStyle(std::static_pointer_cast<ImageView>(add(scalable)), image, style);
  }
  binder.bindImageWithData(std::make_shared<ImageView>(makeRect(200, 300, 100, 100)), image);
  for (const auto& text : {primaryText, std::static_pointer_cast<CRVIAPrimaryText>(secondaryText)}) {
    const auto label = std::make_shared<Label>(makeRect(0, 450, 375, 60));
    add(label);
    binder.bindTextWithData(label, text);
  }
  for (const auto& record : {primaryButton, std::static_pointer_cast<CRVIAPrimaryButton>(secondaryButton)}) {
    const auto button = std::make_shared<Button>(makeRect(0, 520, 375, 44));
    add(button);
    binder.bindButtonWithData(button, record);
  }
  binder.bindCloseButtonViewControllerLayout(close, controller, CRVLayout1);
  fuzz::settle();  // pictures arrive through the global queue and the main queue
  screen->layoutIfNeeded();
  renderView(*screen, 0.25);
  // A tap on an element with an action goes through the in-app handler, which lets go of the tap recognizers the
  // binding made.
  CRVInAppHandler& handler = CRVInAppHandler::sharedInstance();
  if (!handler.tapGestureRecognizerSet().empty()) handler.imageAction(*handler.tapGestureRecognizerSet().front());
  fuzz::settle();

  CRVDataManager::sharedInstance().cleanUpAppEvents();

  CRVIOManager::sharedInstance().cleanUp();
  return 0;
}
