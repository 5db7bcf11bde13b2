// Push tokens, opened notifications, their tap actions, and the deep link that starts test-device registration.

#include <map>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "events/CRVEventLogger.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/UrlEncoding.h"

namespace corvana {

namespace {

constexpr const char* kDeepLinkAlertTitle = "Corvana";
constexpr const char* kTestDeviceHost = "add_test_device";

const Value* member(const Value& map, const char* key) {
  if (!map.is_object()) return nullptr;
  const auto found = map.find(key);
  return found == map.end() ? nullptr : &*found;
}

std::string describe(const Value& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

}  // namespace

void Corvana::registerPushDeviceToken(const Data& token) {
  CRVLog("CorvanaSDK-registering push token");
  if (token.empty()) return;
  std::string text;
  for (const uint8_t byte : token) text += strfmt("%02lx", static_cast<unsigned long>(byte));
  sdkInitilizationWarning();
  if (text == CRVUtil::getStringForKey(kKeyToken)) {
    CRVLog("CorvanaSDK-Push token already registered");
    return;
  }
  // Stored before anything is reported: a token whose report fails is not registered again.
  CRVUtil::setObjectForKey(Value(text), kKeyToken);
  std::lock_guard<std::recursive_mutex> lock(lock_);
  serialQueue_->async([this, text] {
    eventLogger_->reportPushToken(text);
    eventLogger_->reportEvents(true);
    CRVLog("CorvanaSDK-registered push_token successfully");
  });
}

void Corvana::unregisterPushDeviceToken() {
  eventLogger_->clearPushToken();
  eventLogger_->reportEvents(true);
  auto& preferences = *Platform::current().preferences;
  preferences.removeObjectForKey(kKeyToken);
  preferences.synchronize();
}

std::string Corvana::getPushDeviceToken() const { return CRVUtil::getStringForKey(kKeyToken); }

bool Corvana::isPushRegistered() const {
  return Platform::current().preferences->objectForKey(kKeyToken).has_value();
}

void Corvana::trackPushNotification(const Value& payload) {
  const Value* vs = member(payload, "vs");
  if (!vs) return;
  const Value* campaign = member(*vs, "cid");
  if (!campaign || campaign->is_null()) {
    CRVLog("CorvanaSDK-Received invalid push notification from Corvana- " + describe(*vs));
    return;
  }
  const std::string campaignId = describe(*campaign);
  if (Platform::current().mainQueue->isMainThread()) {
    serialQueue_->async([this, campaignId] {
      eventLogger_->reportPushOpened(campaignId);
      CRVLog("CorvanaSDK-Push notification opened, tracking user tap.");
      eventLogger_->reportEvents(true);
    });
  } else {
    // Off the main thread the open is recorded at once, with no line and no report.
    eventLogger_->reportPushOpened(campaignId);
  }
}

void Corvana::handlePushNotification(const Value& payload) {
  sdkInitilizationWarning();
  serialQueue_->async([this, payload] {
    const Value* vs = member(payload, "vs");
    if (!vs) return;
    CRVLog("CorvanaSDK-Received a push notification from Corvana");
    if (!vs->is_object()) {
      CRVLog("CorvanaSDK-Invalid notification payload");
      return;
    }
    trackPushNotification(payload);
    eventLogger_->reportEvents(true);
    const Value* action = member(*vs, "a");
    if (!action || CRVUtil::isStringEmpty(*action)) {
      CRVLog("CorvanaSDK-Launching application no tap action specified");
      return;
    }
    CRVLog("CorvanaSDK-Tap action found, launching it");
    CRVUtil& util = CRVUtil::sharedInstance();
    util.openUrl(util.getFormatedUrl(describe(*action)));
  });
}

void Corvana::userNotificationCenterDidReceiveNotificationResponseWithCompletionHandler(
    const Value& userInfo, const std::function<void()>& completionHandler) {
  Value marked = userInfo.is_object() ? userInfo : Value::object();
  marked["checked"] = "checked";
  handlePushNotification(marked);
  if (completionHandler) completionHandler();
}

bool Corvana::applicationOpenURLOptions(const std::string& url, const Value& /*options*/) {
  const std::optional<UrlParts> parts = parseUrl(url);
  if (!parts || parts->scheme.rfind("crvn", 0) != 0) {
    CRVLog("CorvanaSDK-Deep link received but crvn url scheme not found.");
    return false;
  }
  if (!parts->query) {
    CRVLog("CorvanaSDK-Deep link query parametere not found");
    showWithTitle("Deep link query parametere not found!", kDeepLinkAlertTitle);
    return false;
  }
  if (parts->host != kTestDeviceHost) {
    CRVLogf("CorvanaSDK-Deep link host not matched expected %s, got %s", kTestDeviceHost, parts->host.c_str());
    showWithTitle("Deep link host not matched!", kDeepLinkAlertTitle);
    return false;
  }
  // Values are taken as they stand, without percent-decoding; a later name overwrites an earlier one.
  std::map<std::string, std::string> query;
  size_t start = 0;
  const std::string& text = *parts->query;
  while (start <= text.size()) {
    const size_t end = std::min(text.find('&', start), text.size());
    const std::string part = text.substr(start, end - start);
    const size_t equals = part.find('=');
    if (equals != std::string::npos) {
      const size_t next = part.find('=', equals + 1);
      query[part.substr(0, equals)] = part.substr(equals + 1, next == std::string::npos ? next : next - equals - 1);
    }
    start = end + 1;
  }
  const auto secret = query.find("secret");
  if (secret == query.end()) {
    CRVLog("CorvanaSDK-Deep link secret query parametere not found");
    showWithTitle("Deep link secret query parametere not found!", kDeepLinkAlertTitle);
    return false;
  }
  const std::optional<std::string> current = appSecret();
  const bool matches = (current && secret->second == *current) || secret->second == CRVUtil::getStringForKey(kKeyAppSecret);
  if (!matches) {
    showWithTitle("The URL does not match this application.", kDeepLinkAlertTitle);
    CRVLog("CorvanaSDK-Deep link secretkey not matched");
    return false;
  }
  const auto token = query.find("token");
  if (token == query.end()) {
    CRVLog("CorvanaSDK-Deep link token query parametere not found");
    showWithTitle("Deep link token query parametere not found!", kDeepLinkAlertTitle);
    return false;
  }
  setToken(token->second);
  Platform::current().mainQueue->async([this] { showDialog(); });
  CRVLog("CorvanaSDK-Deep link triggerd successfully");
  return true;
}

}  // namespace corvana
