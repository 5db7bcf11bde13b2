// Batch reporting: every stored record goes out in one request; the rows sent are deleted only once the service
// confirms them, so nothing stored is lost to a failed or repeated report.

#include <memory>
#include <vector>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "net/CRVNetworkManager.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/UrlEncoding.h"

namespace corvana {

namespace {

constexpr const char* kReportPath = "report/events/";
constexpr const char* kMethod = "-[CRVEventLogger reportEvents:]";
constexpr const char* kContinuation = "-[CRVEventLogger reportEvents:]_block_invoke";
constexpr const char* kResponse = "-[CRVEventLogger reportEvents:]_block_invoke_2";
constexpr const char* kNoSignatureLine =
    "CorvanaSDK-App is in Secure mode but could not found valid Security Token , Please set valid Security "
    "Signature using [[Corvana sharedInstance] setSecureSignature] .";

}  // namespace

void CRVEventLogger::reportEvents(bool force) {
  if (isReporting_.load() && !force) {
    CRVTrace(kMethod, 144, "Already reporting the event");
    return;
  }
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  isReporting_.store(true);
  Corvana& sdk = Corvana::sharedInstance();
  if (!sdk.appSecret().has_value()) {
    CRVTrace(kMethod, 153, "Corvana is not initlized");
    isReporting_.store(false);
    return;
  }
  if (sdk.isSecureModeEnabled() && !CRVUtil::getSecureSignature()) {
    CRVLog(kNoSignatureLine);
    isReporting_.store(false);
    return;
  }
  if (!force && !canReport()) {
    CRVTrace(kMethod, 170, "Wait for some time");
    isReporting_.store(false);
    return;
  }
  CRVUtil::setObjectForKey(PreferenceValue(Platform::current().clock->now()), kKeyLastReport);

  CRVDataManager& store = CRVDataManager::sharedInstance();
  store.getAllEventsEventsData();
  store.getEventsDataWith([this](const std::string& events, const std::vector<int64_t>& ids) {
    if (ids.empty()) {
      CRVTrace(kContinuation, 181, "Corvna-No data available Failed to report data");
      isReporting_.store(false);
      return;
    }
    CRVTrace(kContinuation, 186, " sending data " + events);
    const Data body(events.begin(), events.end());
    const std::optional<std::string> endpoint = getReportEndPoint();
    CRVLog("reportEndpont : " + endpoint.value_or(kNullDescription));
    if (!endpoint) {
      CRVTrace(kContinuation, 199, "Failed to get access token");
      isReporting_.store(false);
      return;
    }
    // Exactly the rows of this snapshot are deleted, unless an overlapping report was confirmed for them first;
    // rows stored meanwhile wait for the next report. The
    // completion may come twice without an answer: it then only logs and clears the flag again.
    auto sent = CRVDataManager::sharedInstance().holdForReport(ids);
    CRVNetworkManager::sharedInstance().postDataSyncToTheEndpointWithBlock(body, *endpoint, [this, sent](const Value& response) {
      if (!response.is_null()) {
        CRVLog("CorvanaSDK-Reported all data successfully.");
        CRVDataManager::sharedInstance().cleanUpReported(sent);
      } else {
        CRVTrace(kResponse, 213, "Failed to report events data");
        CRVDataManager::sharedInstance().releaseReported(sent);
      }
      isReporting_.store(false);
    });
  });
}

std::optional<std::string> CRVEventLogger::getReportEndPoint() {
  if (!Corvana::sharedInstance().isSecureModeEnabled()) return std::string(kReportPath);
  const std::shared_ptr<CRVSecuritySignature> signature = CRVUtil::getSecureSignature();
  if (!signature) {
    CRVLog(kNoSignatureLine);
    return std::nullopt;
  }
  return secureReportPath(*signature);
}

std::string CRVEventLogger::secureReportPath(const CRVSecuritySignature& signature) {
  // The whole path, query included, is encoded as a path: its "?" travels as %3F.
  std::string path = kReportPath;
  for (const auto& [name, value] : {std::pair<const char*, const std::string*>{"?ak=", &signature.getAccessKey()},
                                    {"&sign=", &signature.getSignature()},
                                    {"&ts=", &signature.getTimeStamp()},
                                    {"&email=", &signature.getEmail()}}) {
    path.append(name).append(*value);
  }
  return percentEncode(path, kURLPathAllowedCharacters);
}

}  // namespace corvana
