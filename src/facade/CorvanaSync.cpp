// Configuration sync: the account block, the server marker, the sync interval, secure mode, test-device mode and
// the in-app campaigns, fetched from the service and applied.

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "inapp/CRVInAppMessage.h"
#include "net/CRVNetworkManager.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

constexpr const char* kSyncPath = "api/v1/sync";
constexpr double kMinimumSyncSpacingSeconds = 10.0;

std::optional<PreferenceValue> stored(const char* key) { return Platform::current().preferences->objectForKey(key); }

Date now() { return Platform::current().clock->now(); }

const Value* member(const Value& map, const char* key) {
  if (!map.is_object()) return nullptr;
  const auto found = map.find(key);
  return found == map.end() || found->is_null() ? nullptr : &*found;
}

}  // namespace

std::string Corvana::getSyncUrl(const std::optional<std::string>& appSecret) const {
  const std::optional<PreferenceValue> lst = stored(kKeyLst);
  // The marker is printed as the service sent it: a whole number without a fraction.
  const std::string marker = lst ? stringValue(preferenceAsValue(*lst)) : "0";
  return std::string(kSyncPath) + "/" + appSecret.value_or(kNullDescription) + "?lst=" + marker;
}

bool Corvana::canUpdate() const {
  const std::optional<PreferenceValue> lastUpdate = stored(kKeyLastUpdate);
  const Date since = lastUpdate && std::holds_alternative<Date>(*lastUpdate) ? std::get<Date>(*lastUpdate)
                                                                              : Date{kReferenceDateSecondsSince1970};
  const double interval = now().timeIntervalSinceDate(since);
  const std::optional<PreferenceValue> syncTimeout = stored(kKeySyncTimeout);
  // The service's interval never holds a sync back once the 10-second floor has passed.
  if (syncTimeout && interval > static_cast<double>(integerValue(preferenceAsValue(*syncTimeout)))) return true;
  if (interval < kMinimumSyncSpacingSeconds) {
    CRVTrace("-[Corvana canUpdate]", 401, strfmt("lapsed from last update call  %f", interval));
    return false;
  }
  return true;
}

void Corvana::getLatestConfigurationWithBlock(const std::string& appSecret, std::function<void(bool)> completion) {
  CRVNetworkManager::sharedInstance().getDataFromTheEndpointWithBlock(
      getSyncUrl(appSecret), [this, appSecret, completion](const Value& response) {
        if (!response.is_null()) {
          if (!parseResponseForBlockedAndFeatures(response) || accountBlocked_.load()) {
            makingInitCall_.store(false);
            return;
          }
          setAppSecret(appSecret);
          CRVLogf("CorvanaSDK-v.%s initialized successfully.", kLorrowSDKVersion);
          eventLogger_->startAppSession();
          CRVUtil::setObjectForKey(CRVUtil::mainBundleInfoValue("CFBundleShortVersionString"), kKeyAppVersion);
          CRVUtil::setObjectForKey(Value(appSecret), kKeyAppSecret);
          CRVUtil::setObjectForKey(PreferenceValue(now()), kKeyLastUpdate);
        }
        // No answer completes the start-up's follow-up too, without initializing.
        if (completion) completion(true);
      });
}

void Corvana::resyncConfiguration() {
  if (isSyncing_.load()) return;
  std::lock_guard<std::recursive_mutex> lock(lock_);
  isSyncing_.store(true);
  if (!canUpdate()) {
    isSyncing_.store(false);
    return;
  }
  CRVUtil::setObjectForKey(PreferenceValue(now()), kKeyLastUpdate);
  CRVTrace("-[Corvana resyncConfiguration]", 457, "Making update call");
  CRVNetworkManager::sharedInstance().getDataFromTheEndpointWithBlock(getSyncUrl(appSecret()),
                                                                      [this](const Value& response) {
                                                                        parseResponseForBlockedAndFeatures(response);
                                                                        isSyncing_.store(false);
                                                                      });
}

bool Corvana::parseResponseForBlockedAndFeatures(const Value& response) {
  if (response.is_null()) return false;
  if (const Value* blocked = member(response, "blocked")) {
    accountBlocked_.store(boolValue(*blocked));
    CRVUtil::setBoolForKey(boolValue(*blocked), kKeyAcountBlocked);
    // Any "blocked", even false, records a block time.
    saveBlockedDuration();
  } else {
    CRVUtil::setBoolForKey(false, kKeyAcountBlocked);
  }
  if (const Value* lst = member(response, "lst")) {
    CRVUtil::setObjectForKey(PreferenceValue(doubleValue(*lst)), kKeyLst);
  }
  serialInAppQueue_->async([response] {
    const Value* inapp = member(response, "inapp");
    if (!inapp) return;
    const size_t count = inapp->is_array() || inapp->is_object() ? inapp->size() : 0;
    CRVTrace("-[Corvana parseResponseForBlockedAndFeatures:]_block_invoke", 311,
             strfmt("Received %d InAppMessages in sync call.", static_cast<int>(count)));
    if (count == 0) return;
    CRVDataManager& store = CRVDataManager::sharedInstance();
    for (const Value& element : *inapp) {
      // Building downloads the campaign's images and refuses (with its own log line) what cannot be shown.
      const auto campaign = CRVInAppMessage::initWithDictionary(element);
      if (campaign && campaign->isValid()) store.saveCampaign(campaign);
    }
    store.getAllValidMessages();
  });
  if (const Value* config = member(response, "config")) {
    if (const Value* syncTimeout = member(*config, "syncTimeOut")) CRVUtil::setObjectForKey(*syncTimeout, kKeySyncTimeout);

    const Value* secureMode = member(*config, "secure_mode");
    const bool secure = secureMode && boolValue(*secureMode);
    const bool wasSecure = CRVUtil::getBoolForKey(kKeySecureMode);
    CRVUtil::setBoolForKey(secure, kKeySecureMode);
    if (!wasSecure && secure) CRVLog("CorvanaSDK-Enabling a secure communication mode on this device.");

    const Value* testDevice = member(*config, "test_device");
    const bool test = testDevice && boolValue(*testDevice);
    const bool wasTest = CRVUtil::getBoolForKey(kKeyTestDevice);
    CRVUtil::setBoolForKey(test, kKeyTestDevice);
    if (!wasTest && test) {
      CRVLog("CorvanaSDK-Enabling a test device functionality on this device");
      eventLogger_->reportTestPushToken(getPushDeviceToken());
    }
  }
  return true;
}

}  // namespace corvana
