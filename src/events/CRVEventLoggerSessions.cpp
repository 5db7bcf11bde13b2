// Named, timed sessions. They live in memory only: a session still open when the process ends is lost.

#include <vector>

#include "corvana/constants.h"
#include "events/CRVEventLogger.h"
#include "inapp/CRVInAppHandler.h"
#include "util/Log.h"

namespace corvana {

bool CRVEventLogger::startSession(const std::string& name) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  // The count is checked first, so at the limit even an open name is refused with this line.
  if (sessions_.size() == static_cast<size_t>(MAX_SESSIONS_COUNT)) {
    CRVLogf("CorvanaSDK-Session threshold exceeded, unable to start this session %s.", name.c_str());
    return false;
  }
  if (sessions_.contains(name)) {
    CRVLogf("CorvanaSDK-Session %s already started.", name.c_str());
    return false;
  }
  sessions_[name] = Value{{"start", nowInSeconds()}};
  CRVInAppHandler::sharedInstance().currentSession(name);
  return true;
}

void CRVEventLogger::endSession(const std::string& name) {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  const auto session = sessions_.find(name);
  if (session == sessions_.end()) {
    if (name != kAppSessionName) CRVLogf("CorvanaSDK-%s session not started.", name.c_str());
    return;
  }
  const int32_t duration = nowInSeconds() - (*session)["start"].get<int32_t>();
  // A session ended within the second it started stays open: no zero-length session is ever stored.
  if (duration <= 0) return;
  Value record = getEventSkeleton("session");
  record["name"] = name;
  record["duration"] = duration;
  record["type"] = "internal";
  saveEvent(record);
  sessions_.erase(name);
}

void CRVEventLogger::endAllSessions() {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  std::vector<std::string> names;
  for (const auto& [name, session] : sessions_.items()) names.push_back(name);
  for (const auto& name : names) endSession(name);
}

void CRVEventLogger::discardAllSessions() {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  sessions_ = Value::object();
}

bool CRVEventLogger::startAppSession() {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  if (!startSession(kAppSessionName)) return false;
  reportAppOpen();
  return true;
}

void CRVEventLogger::stopAppSession() { endSession(kAppSessionName); }

Value CRVEventLogger::sessions() {
  std::lock_guard<std::recursive_mutex> lock(monitor_);
  return sessions_;
}

}  // namespace corvana
