#include "inapp/CRVInAppHandler.h"

#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/CRVResource.h"
#include "inapp/ui/ViewExtra.h"
#include "util/CRVUtil.h"

namespace corvana {

CRVInAppHandler& CRVInAppHandler::sharedInstance() {
  static CRVInAppHandler* instance = new CRVInAppHandler();
  return *instance;
}

void CRVInAppHandler::currentEvent(const Value& event) {
  if (event.is_null()) return;
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  if (!hasTriggerTable()) CRVDataManager::sharedInstance().getAllValidMessages();
  if (onScreen_.load()) return;
  std::shared_ptr<CRVInAppMessage> campaign;
  {
    std::lock_guard<std::mutex> table(tableMutex_);
    if (!crvInappEvents_) return;
    const auto name = event.is_object() ? event.find("name") : event.end();
    if (event.is_object() && name != event.end() && name->is_string()) {
      const auto entry = crvInappEvents_->find(name->get<std::string>());
      if (entry != crvInappEvents_->end()) campaign = entry->second;
    }
  }
  message_ = campaign;
  if (!campaign) return;
  campaign->show();
  onScreen_.store(true);
}

void CRVInAppHandler::currentSession(const std::string& sessionName) {
  if (sessionName != kAppSessionName) return;
  CRVResource resource;
  resource.setCampaignId(std::nullopt);
  resource.setEnable(1);
  resource.setPaused(CRVResource::kLeaveUnchanged);
  CRVDataManager& store = CRVDataManager::sharedInstance();
  store.updateResource(&resource);
  store.getAllValidMessages();
}

void CRVInAppHandler::processAction(CRVTapContext& tap) {
  CRVEventLogger::sharedInstance().reportInappWithSubTypeAndCampaignId("tapped", tap.crvCampaignId.value_or(""));

  const bool onContent = tap.crvButtonType != kCRVButtonTypeClose;
  switch (tap.crvFrequency) {
    case CRVFrequencyOncePerSession:
      updateResourceWith(tap, 0);
      break;
    case CRVFrequencyOncePerSessionUntilCta:
      // A close leaves the campaign armed: it shows again on the next trigger.
      if (onContent) updateResourceWith(tap, 0);
      break;
    case CRVFrequencyEverytimeUntilCta:
      if (onContent) updateResourceWith(tap, -1);
      break;
    case CRVFrequencyOnce:
      if (tap.crvCampaignId) CRVDataManager::sharedInstance().clearCampaigns({*tap.crvCampaignId});
      break;
    default:
      break;
  }

  if (const auto controller = tap.crvMessage.lock()) {
    controller->dismissViewControllerAnimated(false);
    // Let go of from the main queue: the recognizer that reported this tap may still be running.
    Platform::current().mainQueue->async([released = std::move(tapGestureRecognizerSet_)] {});
    tapGestureRecognizerSet_.clear();
  }
  tap.crvMessage.reset();
  onScreen_.store(false);

  if (tap.crvAction && *tap.crvAction != "close") {
    CRVUtil& util = CRVUtil::sharedInstance();
    util.openUrl(util.getFormatedUrl(*tap.crvAction));
  }
}

void CRVInAppHandler::processAction(View& view) {
  // Dismissing may let go of the last owner of the view.
  const std::shared_ptr<View> keep = view.weak_from_this().lock();
  CRVTapContext tap = tapContextOf(view);
  processAction(tap);
  setCrvMessage(view, nullptr);
}

void CRVInAppHandler::buttonAction(Button& sender) { processAction(sender); }

void CRVInAppHandler::imageAction(TapGestureRecognizer& recognizer) {
  if (const auto view = recognizer.view()) {
    processAction(*view);
    return;
  }
  CRVTapContext none;
  processAction(none);
}

std::shared_ptr<TapGestureRecognizer> CRVInAppHandler::getTappedGestureRecognizer() {
  auto recognizer = std::make_shared<TapGestureRecognizer>(
      [this](TapGestureRecognizer& tapped) { imageAction(tapped); });
  tapGestureRecognizerSet_.push_back(recognizer);
  return recognizer;
}

void CRVInAppHandler::updateResourceWith(const CRVTapContext& tap, int32_t enable) {
  CRVResource resource;
  resource.setCampaignId(tap.crvCampaignId);
  resource.setEnable(enable);
  resource.setPaused(CRVResource::kLeaveUnchanged);
  CRVDataManager& store = CRVDataManager::sharedInstance();
  store.updateResource(&resource);
  store.getAllValidMessages();
}

bool CRVInAppHandler::hasTriggerTable() {
  std::lock_guard<std::mutex> lock(tableMutex_);
  return crvInappEvents_.has_value();
}

void CRVInAppHandler::resetTriggerTable() {
  std::lock_guard<std::mutex> lock(tableMutex_);
  crvInappEvents_.emplace();
}

void CRVInAppHandler::setTriggerCampaign(const std::string& eventName, std::shared_ptr<CRVInAppMessage> campaign) {
  std::lock_guard<std::mutex> lock(tableMutex_);
  if (!crvInappEvents_) crvInappEvents_.emplace();
  (*crvInappEvents_)[eventName] = std::move(campaign);
}

void CRVInAppHandler::removeTriggerCampaign(const std::string& campaignId) {
  std::shared_ptr<CRVInAppMessage> removed;  // released outside the lock
  std::lock_guard<std::mutex> lock(tableMutex_);
  if (!crvInappEvents_) return;
  for (auto entry = crvInappEvents_->begin(); entry != crvInappEvents_->end(); ++entry) {
    if (entry->second && entry->second->getCampaignId() == campaignId) {
      removed = std::move(entry->second);
      crvInappEvents_->erase(entry);
      return;
    }
  }
}

std::optional<CRVInAppHandler::TriggerTable> CRVInAppHandler::crvInappEvents() {
  std::lock_guard<std::mutex> lock(tableMutex_);
  return crvInappEvents_;
}

std::shared_ptr<CRVInAppMessage> CRVInAppHandler::message() {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  return message_;
}

bool CRVInAppHandler::onScreen() { return onScreen_.load(); }

}  // namespace corvana
