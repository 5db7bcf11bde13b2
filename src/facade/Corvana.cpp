#include "corvana/Corvana.hpp"

#include <mutex>

#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "net/CRVNetworkManager.h"
#include "util/CRVUtil.h"
#include "util/DateFormatter.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {

const char* const kLorrowSDKVersion = "0.8.4";
const char* const kLorrowSDKVersionInt = "6";
const bool kLocalhostEnviornment = false;
const double CorvanaFrameworkVersionNumber = 1.0;

namespace {
constexpr int64_t kMinimumTimeoutInterval = 5;
}

Corvana& Corvana::sharedInstance() {
  // Created once and never destroyed: the SDK lives as long as the host process.
  static Corvana* instance = new Corvana();
  return *instance;
}

Corvana::Corvana() {
  appStoreEnvironment_ = false;
  // The object's address makes each label unique in the process.
  serialQueue_ = std::make_shared<DispatchQueue>(strfmt("com.lorrow.queue.%p", static_cast<void*>(this)));
  serialInAppQueue_ = std::make_shared<DispatchQueue>(strfmt("com.lorrow.inapp.queue.%p", static_cast<void*>(this)));
  dataManager_ = &CRVDataManager::sharedInstance();
  eventLogger_ = &CRVEventLogger::sharedInstance();
}

void Corvana::initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(const std::string& quorvelID,
                                                                               const std::string& appSecret,
                                                                               const std::string& mobileFrameworkType,
                                                                               const Value& launchOptions) {
  if (makingInitCall_.load()) return;
  if (CRVUtil::isStringEmpty(quorvelID) && !kLocalhostEnviornment) {
    CRVLog("CorvanaSDK-Quorvel ID is an empty string.");
    return;
  }
  if (CRVUtil::isStringEmpty(mobileFrameworkType)) {
    CRVLog("CorvanaSDK-Framework type is an empty string.");
    return;
  }
  if (CRVUtil::isStringEmpty(appSecret)) {
    CRVLog("CorvanaSDK-App Secret is empty string.");
    return;
  }
  if (this->appSecret().has_value()) {
    CRVLog("CorvanaSDK-Already initialized.");
    return;
  }
  observeLifecycle();
  makingInitCall_.store(true);
  isSyncing_.store(false);
  serialQueue_->async([this, quorvelID, appSecret, mobileFrameworkType, launchOptions] {
    initializeSecondPhase(quorvelID, appSecret, mobileFrameworkType, launchOptions);
  });
}

void Corvana::observeLifecycle() {
  // Observers are never removed; a later call that passes the checks again registers again.
  auto& application = *Platform::current().application;
  application.addObserver(UIApplicationWillEnterForegroundNotification,
                          [] { Corvana::sharedInstance().appWillEnterForeground(); });
  application.addObserver(UIApplicationDidEnterBackgroundNotification,
                          [] { Corvana::sharedInstance().appDidEnterBackground(); });
}

void Corvana::initializeSecondPhase(const std::string& quorvelID, const std::string& appSecret,
                                    const std::string& mobileFrameworkType, const Value& launchOptions) {
  const std::string storedVersion = CRVUtil::getStringForKey(kKeyAppVersion);
  const std::string storedSecret = CRVUtil::getStringForKey(kKeyAppSecret);
  const std::string storedQuorvel = CRVUtil::getStringForKey(kKeyQuorvel);
  const std::string storedFramework = CRVUtil::getStringForKey(kKeyFrameworkType);
  accountBlocked_.store(CRVUtil::getBoolForKey(kKeyAcountBlocked));

  const std::string storedPair = storedQuorvel + storedSecret;
  const std::string newPair = quorvelID + appSecret;

  CRVUtil::setObjectForKey(Value(quorvelID), kKeyQuorvel);
  // The guard tests the key's own name, not the value, so the framework type is always written.
  if (!CRVUtil::isStringEmpty(std::string(kKeyFrameworkType))) {
    CRVUtil::setObjectForKey(Value(mobileFrameworkType), kKeyFrameworkType);
  }

  const Value version = CRVUtil::mainBundleInfoValue("CFBundleShortVersionString");
  if (CRVUtil::isStringEmpty(version)) {
    CRVLog("CorvanaSDK-Invalid app version, app version can not be empty.");
    makingInitCall_.store(false);
    return;
  }
  const std::string appVersion = version.is_string() ? version.get<std::string>() : version.dump();

  const bool unchanged = !storedVersion.empty() && storedVersion == appVersion && storedPair == newPair &&
                         storedFramework == mobileFrameworkType;
  if (!unchanged) {
    CRVUtil::setBoolForKey(false, kKeyInitReport);
    if (storedVersion.empty()) {
      CRVUtil::setBoolForKey(true, kKeyNewUser);
      CRVUtil::setObjectForKey(Value(getFormattedDate()), kKeyInstallDate);
    } else {
      CRVUtil::setBoolForKey(false, kKeyNewUser);
    }
    // The first configuration sync completes a changed installation.
    getLatestConfigurationWithBlock(appSecret, [this, launchOptions](bool done) {
      if (!done) return;
      trackPushNotification(launchOptions);
      eventLogger_->reportEvents(true);
      makingInitCall_.store(false);
    });
    return;
  }

  if (accountBlocked_.load()) {
    if (checkblockedDuration()) {
      // A lapsed block re-enables the account for the next start; this start stays blocked and initializing.
      CRVUtil::setBoolForKey(false, kKeyAcountBlocked);
      setAppSecret(appSecret);
    } else {
      CRVLog("CorvanaSDK-account disabled for this app.");
      makingInitCall_.store(false);
    }
    return;
  }

  setAppSecret(appSecret);
  CRVLogf("CorvanaSDK-v.%s initialized successfully.", kLorrowSDKVersion);
  eventLogger_->startAppSession();
  trackPushNotification(launchOptions);
  eventLogger_->reportEvents(true);
  resyncConfiguration();
  makingInitCall_.store(false);
}

void Corvana::setTimeoutInterval(int64_t seconds) {
  const int64_t floored = seconds < kMinimumTimeoutInterval ? kMinimumTimeoutInterval : seconds;
  timeoutInterval_.store(floored);
  CRVNetworkManager::sharedInstance().setTimeoutInterval(floored);
}

bool Corvana::sdkInitialized() const { return !CRVUtil::isStringEmpty(appSecret()); }

void Corvana::sdkInitilizationWarning() const {
  if (!sdkInitialized() && !makingInitCall_.load()) {
    CRVLog(
        "CorvanaSDK-[warning] is not initialized. Initialize Framwork using initializeWithQuorvelID:appSecret: "
        "method.");
  }
}

void Corvana::appDidEnterBackground() {
  auto& application = *Platform::current().application;
  // Only the expiration handler ends the task; the identifier is shared with it through the heap.
  auto task = std::make_shared<std::atomic<BackgroundTaskIdentifier>>(UIBackgroundTaskInvalid);
  task->store(application.beginBackgroundTask([task] {
    Platform::current().application->endBackgroundTask(task->load());
  }));
  // Queued whatever is stored: the stored version and secret are read as "" when missing, never as nothing.
  serialQueue_->async([this] {
    eventLogger_->stopAppSession();
    eventLogger_->reportEvents(false);
    resyncConfiguration();
  });
}

void Corvana::appWillEnterForeground() {
  serialQueue_->async([this] {
    eventLogger_->startAppSession();
    eventLogger_->reportEvents(true);
    resyncConfiguration();
  });
}

std::string Corvana::getFormattedDate() const {
  DateFormatter formatter("yyyy-MM-dd");
  return formatter.stringFromDate(Platform::current().clock->now());
}

std::optional<std::string> Corvana::appSecret() const {
  std::lock_guard<std::mutex> lock(stringsMutex_);
  return appSecret_;
}

void Corvana::setAppSecret(const std::string& secret) {
  std::lock_guard<std::mutex> lock(stringsMutex_);
  appSecret_ = secret;
}

std::string Corvana::DevName() const {
  std::lock_guard<std::mutex> lock(stringsMutex_);
  return devName_;
}

void Corvana::setDevName(const std::string& name) {
  std::lock_guard<std::mutex> lock(stringsMutex_);
  devName_ = name;
}

std::string Corvana::token() const {
  std::lock_guard<std::mutex> lock(stringsMutex_);
  return token_;
}

void Corvana::setToken(const std::string& token) {
  std::lock_guard<std::mutex> lock(stringsMutex_);
  token_ = token;
}

}  // namespace corvana
