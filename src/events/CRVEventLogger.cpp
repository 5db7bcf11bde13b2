#include "events/CRVEventLogger.h"

#include <cmath>
#include <limits>

#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "inapp/CRVInAppHandler.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {

namespace {

int32_t truncateToInt32(double seconds) {
  // Truncated toward zero, then wrapped into 32 bits the way a C conversion of the 64-bit value would.
  if (!std::isfinite(seconds)) return 0;
  const auto whole = static_cast<int64_t>(std::trunc(seconds));
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(whole)));
}

}  // namespace

CRVEventLogger& CRVEventLogger::sharedInstance() {
  static CRVEventLogger* instance = new CRVEventLogger();
  return *instance;
}

int32_t CRVEventLogger::nowInSeconds() const {
  return truncateToInt32(Platform::current().clock->now().secondsSince1970);
}

Value CRVEventLogger::getEventSkeleton(const std::string& eventType) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  Value record = Value::object();
  record["timestamp"] = nowInSeconds();
  record["event_type"] = eventType;
  return record;
}

void CRVEventLogger::saveEvent(const Value& record) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  CRVInAppHandler::sharedInstance().currentEvent(record);
  // The first event after an installation changed is preceded by one record of the device's state.
  if (!CRVUtil::getBoolForKey(kKeyInitReport)) {
    reportClientInfo();
    // The flag must never be durable while the device record is not: after a power cut in between, the record
    // would never be sent.
    CRVDataManager::sharedInstance().commitPendingEvents();
    CRVUtil::setBoolForKey(true, kKeyInitReport);
  }
  CRVDataManager::sharedInstance().saveEventInDB(record);
}

void CRVEventLogger::reportCheckpointWithTypeAndMeta(const std::string& name, const std::string& type,
                                                     const Value& meta) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  Value record = getEventSkeleton("checkpoint");
  record["name"] = name;
  if (!meta.is_null()) record["metadata"] = meta;
  record["type"] = type;
  saveEvent(record);
}

void CRVEventLogger::reportAppOpen() {
  reportCheckpointWithTypeAndMeta(kAppOpenName, "internal", nullptr);
  CRVUtil::setIntForKey(CRVUtil::getIntForkey(kAppOpenName) + 1, kAppOpenName);
}

void CRVEventLogger::reportInappWithSubTypeAndCampaignId(const std::string& subType, const std::string& campaignId) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  Value record = getEventSkeleton("inapp");
  if (!subType.empty() && !campaignId.empty()) {
    record["inapp"] = Value{{"subtype", subType}, {"cid", campaignId}};
  }
  saveEvent(record);
}

void CRVEventLogger::reportClientInfo() {
  Value record = getEventSkeleton("init");
  record["device_state"] = CRVUtil::deviceState();
  // Straight to the store: the device record neither triggers campaigns nor asks for another device record.
  CRVDataManager::sharedInstance().saveEventInDB(record);
}

void CRVEventLogger::reportUserAttributes(const Value& attributes) {
  Value record = getEventSkeleton("user");
  record["user"] = attributes;
  saveEvent(record);
}

void CRVEventLogger::reportPushToken(const std::string& token) {
  Value record = getEventSkeleton("push");
  record["push"] = Value{{"subtype", "init"}, {"push_token", token}};
  saveEvent(record);
  reportTestPushToken(token);
}

void CRVEventLogger::clearPushToken() {
  Value record = getEventSkeleton("push");
  record["push"] = Value{{"subtype", "unregister"}};
  saveEvent(record);
}

void CRVEventLogger::reportPushOpened(const std::string& campaignId) {
  Value record = getEventSkeleton("push");
  record["push"] = getPushSubEventWithCampaignId("opened", campaignId);
  saveEvent(record);
}

void CRVEventLogger::reportPushDelivered(const std::string& campaignId) {
  Value record = getEventSkeleton("push");
  record["push"] = getPushSubEventWithCampaignId("delivered", campaignId);
  saveEvent(record);
}

void CRVEventLogger::reportPushOpen(const Value& launchOptions) {
  // The campaign id is read from the launch options themselves, not from the notification nested in them.
  if (!launchOptions.is_object() || !launchOptions.contains(UIApplicationLaunchOptionsRemoteNotificationKey)) return;
  const auto campaign = launchOptions.find("c");
  if (campaign == launchOptions.end() || campaign->is_null()) return;
  reportPushOpened(campaign->is_string() ? campaign->get<std::string>() : campaign->dump());
}

void CRVEventLogger::reportTestPushToken(const std::string& token) {
  if (!CRVUtil::getBoolForKey(kKeyTestDevice)) return;
  Value record = getEventSkeleton("update_test_device");
  record["push_token"] = token;
  saveEvent(record);
  CRVLog("CorvanaSDK-Updating test device push token");
}

Value CRVEventLogger::getPushSubEventWithCampaignId(const std::string& subType, const std::string& campaignId) const {
  return Value{{"subtype", subType}, {"cid", campaignId}};
}

}  // namespace corvana
