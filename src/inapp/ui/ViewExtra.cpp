#include "inapp/ui/ViewExtra.h"

#include <utility>

#include "corvana/platform.h"
#include "storage/CRVIOManager.h"
#include "util/Log.h"

namespace corvana {

namespace {

const CRVTapContext* findTapContext(const View& view) {
  return static_cast<const CRVTapContext*>(view.associatedObject(kTapContextKey).get());
}

}  // namespace

CRVTapContext tapContextOf(const View& view) {
  const CRVTapContext* context = findTapContext(view);
  return context ? *context : CRVTapContext{};
}

CRVTapContext& attachedTapContext(View& view) {
  auto stored = view.associatedObject(kTapContextKey);
  if (!stored) {
    stored = std::make_shared<CRVTapContext>();
    view.setAssociatedObject(kTapContextKey, stored);
  }
  return *static_cast<CRVTapContext*>(stored.get());
}

int32_t crvMassageType(const View& view) { return tapContextOf(view).crvMassageType; }
void setCrvMassageType(View& view, int32_t massageType) { attachedTapContext(view).crvMassageType = massageType; }

int32_t crvFrequency(const View& view) { return tapContextOf(view).crvFrequency; }
void setCrvFrequency(View& view, int32_t frequency) { attachedTapContext(view).crvFrequency = frequency; }

int32_t crvButtonType(const View& view) { return tapContextOf(view).crvButtonType; }
void setCrvButtonType(View& view, int32_t buttonType) { attachedTapContext(view).crvButtonType = buttonType; }

std::optional<std::string> crvCampaignId(const View& view) { return tapContextOf(view).crvCampaignId; }
void setCrvCampaignId(View& view, const std::optional<std::string>& campaignId) {
  attachedTapContext(view).crvCampaignId = campaignId;
}

std::optional<std::string> crvAction(const View& view) { return tapContextOf(view).crvAction; }
void setCrvAction(View& view, const std::optional<std::string>& action) { attachedTapContext(view).crvAction = action; }

std::shared_ptr<ViewController> crvMessage(const View& view) { return tapContextOf(view).crvMessage.lock(); }
void setCrvMessage(View& view, const std::shared_ptr<ViewController>& message) {
  attachedTapContext(view).crvMessage = message;
}

void loadImageFromCampaignIdWithUri(const std::shared_ptr<View>& view, const std::optional<std::string>& campaignId,
                                    const std::optional<std::string>& uri) {
  if (!view) return;
  Platform::current().globalQueue->async([view, campaignId, uri]() mutable {
    std::optional<Data> bytes = CRVIOManager::sharedInstance().getFileFromLocalWithId(uri, campaignId);
    const auto& mainQueue = Platform::current().mainQueue;
    if (!bytes) {
      CRVLog("CorvanaSDK-Image not found for message !");
      // Views are let go on the main thread only.
      mainQueue->async([view = std::move(view)] {});
      return;
    }
    mainQueue->async([view = std::move(view), bytes = std::move(*bytes)] {
      std::shared_ptr<Image> image = Image::imageWithData(bytes);
      const std::string className = view->className();
      if (className == "Button") {
        if (auto* button = dynamic_cast<Button*>(view.get())) button->setBackgroundImage(std::move(image));
      } else if (className == "ImageView" || className == "CRVScalableImageView") {
        if (auto* imageView = dynamic_cast<ImageView*>(view.get())) imageView->setImage(std::move(image));
      }
    });
  });
}

}  // namespace corvana
