#include "inapp/ui/CRVStoryboard.h"

#include <mutex>

#include "inapp/ui/CRVIALayout.h"
#include "inapp/ui/CRVInAppContainerView.h"
#include "inapp/ui/CRVInAppViewController.h"
#include "inapp/ui/CRVScalableImageView.h"
#include "util/CRVUtil.h"

namespace corvana {

void CRVStoryboardController::loadView() {
  views_ = storyboard_.instantiateViews(identifier_, makeInAppView);
  if (views_.root) setView(views_.root);
}

std::optional<Storyboard> inAppStoryboard() {
  static std::mutex mutex;
  static std::optional<std::pair<std::string, Storyboard>> loaded;
  const auto path = CRVUtil::sharedInstance().getStoryboard();
  if (!path) return std::nullopt;
  std::lock_guard<std::mutex> lock(mutex);
  if (!loaded || loaded->first != *path) {
    auto storyboard = Storyboard::load(*path);
    if (!storyboard) return std::nullopt;
    loaded.emplace(*path, std::move(*storyboard));
  }
  return loaded->second;
}

std::shared_ptr<View> makeInAppView(const std::string& className, const Rect& frame) {
  if (className == "CRVScalableImageView") return CRVScalableImageView::initWithFrame(frame);
  if (className == "CRVInAppContainerView") return std::make_shared<CRVInAppContainerView>(frame);
  return nullptr;
}

std::shared_ptr<ViewController> instantiateViewControllerWithIdentifier(const Storyboard& storyboard,
                                                                        const std::string& identifier) {
  const std::string cls = storyboard.classOfScene(identifier);
  if (cls == "CRVInAppViewController") return std::make_shared<CRVInAppViewController>(storyboard, identifier);
  for (int32_t code = 1; code <= 6; ++code) {
    if (cls == "CRVIALayout" + std::to_string(code)) {
      return std::make_shared<CRVIALayout>(storyboard, identifier, 100 + code);
    }
  }
  return nullptr;
}

}  // namespace corvana
