#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "corvana/value.h"

namespace corvana {

class CRVSecuritySignature;

// Builds every analytics event of the SDK, offers it to the in-app trigger and stores it; keeps the open
// sessions. One re-entrant monitor serialises the builders, the sessions and the reporter, so every record is
// stored whole and in the order `saveEvent` was entered (lock order: docs/LOCKING.md).
class CRVEventLogger {
 public:
  static CRVEventLogger& sharedInstance();

  // ---- Records ------------------------------------------------------------------------------------------------
  // {"timestamp": whole seconds since 1970 (32-bit), "event_type": type}
  Value getEventSkeleton(const std::string& eventType);
  void saveEvent(const Value& record);

  // `meta` null leaves "metadata" out.
  void reportCheckpointWithTypeAndMeta(const std::string& name, const std::string& type, const Value& meta);
  void reportAppOpen();
  void reportInappWithSubTypeAndCampaignId(const std::string& subType, const std::string& campaignId);
  void reportClientInfo();
  void reportUserAttributes(const Value& attributes);
  void reportPushToken(const std::string& token);
  void clearPushToken();
  void reportPushOpened(const std::string& campaignId);
  void reportPushDelivered(const std::string& campaignId);
  void reportPushOpen(const Value& launchOptions);
  void reportTestPushToken(const std::string& token);
  Value getPushSubEventWithCampaignId(const std::string& subType, const std::string& campaignId) const;

  // ---- Sessions -----------------------------------------------------------------------------------------------
  bool startSession(const std::string& name);
  void endSession(const std::string& name);
  void endAllSessions();
  void discardAllSessions();
  bool startAppSession();
  void stopAppSession();
  // The names of the open sessions, for inspection.
  Value sessions();

  // ---- Reporting ----------------------------------------------------------------------------------------------
  // Sends every stored event in one request and deletes exactly the rows sent once the service confirms them.
  // A report that is not forced is refused while another one runs.
  void reportEvents(bool force);
  // "report/events/", or in secure mode the signed path; empty in secure mode without a signature.
  std::optional<std::string> getReportEndPoint();
  static std::string secureReportPath(const CRVSecuritySignature& signature);
  bool canReport() const { return true; }

  bool isReporting() const { return isReporting_.load(); }
  void setIsReporting(bool value) { isReporting_.store(value); }
  std::recursive_mutex& monitor() { return monitor_; }

 private:
  CRVEventLogger() = default;
  int32_t nowInSeconds() const;

  std::recursive_mutex monitor_;
  Value sessions_ = Value::object();  // name -> {"start": seconds}; under monitor_
  std::atomic<bool> isReporting_{false};
};

inline constexpr const char* kAppSessionName = "crv_app_session";
inline constexpr const char* kAppOpenName = "crv_app_open";

}  // namespace corvana
