#pragma once

// The SDK's facade: the one object a host application talks to.
//
//   corvana::Corvana::sharedInstance().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(
//       "acme", "app-secret", "native", nullptr);
//
// Every call may be made from any thread; work that records or sends something runs on the SDK's own queues.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "corvana/CRVSecuritySignature.hpp"
#include "corvana/CorvanaActionMetaData.hpp"
#include "corvana/CorvanaLead.hpp"
#include "corvana/dispatch.h"
#include "corvana/export.h"
#include "corvana/value.h"

namespace corvana {

class CRVDataManager;
class CRVEventLogger;

// The SDK version, printed in the success line, and its integer form, sent to the service.
CORVANA_EXPORT extern const char* const kLorrowSDKVersion;
CORVANA_EXPORT extern const char* const kLorrowSDKVersionInt;
// Development switch: when true, an empty account identifier is accepted. Never set.
CORVANA_EXPORT extern const bool kLocalhostEnviornment;
CORVANA_EXPORT extern const double CorvanaFrameworkVersionNumber;

class CORVANA_EXPORT Corvana {
 public:
  static Corvana& sharedInstance();

  Corvana(const Corvana&) = delete;
  Corvana& operator=(const Corvana&) = delete;

  // ---- Start-up -----------------------------------------------------------------------------------------------
  // Validates the arguments on the caller's thread and finishes on `serialQueue`. `launchOptions` may be null.
  void initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(const std::string& quorvelID,
                                                                        const std::string& appSecret,
                                                                        const std::string& mobileFrameworkType,
                                                                        const Value& launchOptions = nullptr);
  // Time-out of configuration requests, in seconds; values below 5 count as 5.
  void setTimeoutInterval(int64_t seconds);
  bool sdkInitialized() const;
  // The install identifier: an upper-case UUID kept in the app's preferences, new after a reinstall.
  std::string getDeviceId() const;
  void sdkInitilizationWarning() const;

  // ---- Recording (work runs on `serialQueue`; the host's thread only hands it over) -------------------------
  // A session named so opens now; an empty name is ignored.
  void startSession(const std::string& name);
  // Closes the session and stores its whole-second duration; a session younger than a second stays open.
  void endSession(const std::string& name);
  // Closes every open session; the type is not used.
  void endAllSessionsWithType(const std::string& type);
  // Forgets every open session without storing anything (on the caller's thread).
  void discardAllSessions();
  // A custom action, with optional details. The record is read when the queued work runs, not copied now.
  void reportActionWithMetaData(const std::string& actionName,
                                std::shared_ptr<CorvanaActionMetaData> metaData = nullptr);
  // The user's attributes. The lead is read when the queued work runs, not copied now.
  void associateLead(std::shared_ptr<CorvanaLead> lead);

  // Sends every stored event now.
  void reportAll();

  // ---- Push notifications and deep links ----------------------------------------------------------------------
  // The device token as the push service gave it (raw bytes); kept as lower-case hexadecimal.
  void registerPushDeviceToken(const Data& token);
  void unregisterPushDeviceToken();
  std::string getPushDeviceToken() const;
  bool isPushRegistered() const;
  // Records that the user opened a notification of the service (payload or launch options; may be null).
  void trackPushNotification(const Value& payload);
  // A notification the user opened: records it and runs its tap action.
  void handlePushNotification(const Value& payload);
  // The notification centre's answer to a tapped notification: `userInfo` is the notification's payload. The
  // completion handler is called at once.
  void userNotificationCenterDidReceiveNotificationResponseWithCompletionHandler(
      const Value& userInfo, const std::function<void()>& completionHandler);
  // A URL opened with the SDK's scheme ("crvn..."): starts test-device registration. Answers whether it was taken.
  bool applicationOpenURLOptions(const std::string& url, const Value& options = nullptr);

  // ---- Secure mode --------------------------------------------------------------------------------------------
  void setSecureSignature(const std::shared_ptr<CRVSecuritySignature>& signature);
  void removeSecureSignature();
  bool isSecureModeEnabled() const;

  // ---- Configuration sync ------------------------------------------------------------------------------------
  std::string getSyncUrl(const std::optional<std::string>& appSecret) const;
  bool canUpdate() const;
  void getLatestConfigurationWithBlock(const std::string& appSecret, std::function<void(bool)> completion);
  void resyncConfiguration();
  // Applies a sync answer (a null value is no answer); false only for no answer.
  bool parseResponseForBlockedAndFeatures(const Value& response);
  bool canReport() const { return true; }

  // ---- Test-device registration -------------------------------------------------------------------------------
  void showDialog();
  void setAsTestDeviceWithDeviceName(const std::string& token, const std::string& name);
  std::string getTestRegistrationForTokenWithName(const std::string& token, const std::string& name);
  void showWithTitle(const std::string& message, const std::string& title);

  // ---- Lifecycle (observed after the first initialization call that passed its checks) ------------------------
  void appWillEnterForeground();
  void appDidEnterBackground();

  // Today's date as "yyyy-MM-dd" in the device's time zone: the install date.
  std::string getFormattedDate() const;

  // ---- Account block ------------------------------------------------------------------------------------------
  // Records now as the time the block was seen; answers whether 24 hours have passed since.
  void saveBlockedDuration();
  bool checkblockedDuration();

  // ---- State --------------------------------------------------------------------------------------------------
  std::optional<std::string> appSecret() const;
  bool isAppStoreEnvironment() const { return appStoreEnvironment_; }
  bool accountBlocked() const { return accountBlocked_.load(); }
  void setAccountBlocked(bool value) { accountBlocked_.store(value); }
  bool makingInitCall() const { return makingInitCall_.load(); }
  void setMakingInitCall(bool value) { makingInitCall_.store(value); }
  bool isSyncing() const { return isSyncing_.load(); }
  void setIsSyncing(bool value) { isSyncing_.store(value); }
  std::string DevName() const;
  void setDevName(const std::string& name);
  std::string token() const;
  void setToken(const std::string& token);
  // Seconds the configuration requests wait for the service.
  int64_t timeoutInterval() const { return timeoutInterval_.load(); }

  std::shared_ptr<DispatchQueue> serialQueue() const { return serialQueue_; }
  void setSerialQueue(std::shared_ptr<DispatchQueue> queue) { serialQueue_ = std::move(queue); }
  std::shared_ptr<DispatchQueue> serialInAppQueue() const { return serialInAppQueue_; }
  void setSerialInAppQueue(std::shared_ptr<DispatchQueue> queue) { serialInAppQueue_ = std::move(queue); }
  CRVDataManager& dataManager() const { return *dataManager_; }
  CRVEventLogger& eventLogger() const { return *eventLogger_; }

 private:
  Corvana();
  ~Corvana() = default;

  void initializeSecondPhase(const std::string& quorvelID, const std::string& appSecret,
                             const std::string& mobileFrameworkType, const Value& launchOptions);
  void setAppSecret(const std::string& secret);
  void observeLifecycle();

  bool appStoreEnvironment_ = false;
  std::atomic<bool> accountBlocked_{false};
  std::atomic<bool> makingInitCall_{false};
  std::atomic<bool> isSyncing_{false};
  std::atomic<int64_t> timeoutInterval_{10};

  // appSecret, DevName and token are written on the SDK's queues and read from any thread.
  mutable std::mutex stringsMutex_;
  // The lock on the facade around a configuration sync's set-up and around queuing a push token's report.
  std::recursive_mutex lock_;
  std::optional<std::string> appSecret_;
  std::string devName_;
  std::string token_;

  std::shared_ptr<DispatchQueue> serialQueue_;
  std::shared_ptr<DispatchQueue> serialInAppQueue_;
  CRVDataManager* dataManager_ = nullptr;
  CRVEventLogger* eventLogger_ = nullptr;
};

}  // namespace corvana
