#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "corvana-service/ServiceConfig.h"

struct sqlite3;

namespace corvana::service {

// The service's database: every reported line exactly as received, and the registered test devices.
//   received(id INTEGER PRIMARY KEY, account TEXT, path TEXT, line TEXT, headers TEXT, received_at REAL,
//            parsed INTEGER)
//   test_devices(account TEXT, name TEXT, token TEXT, push_token TEXT, device_type TEXT, registered_at REAL)
// Safe to use from any thread.
class EventStore {
 public:
  explicit EventStore(const std::filesystem::path& file);  // throws std::runtime_error
  ~EventStore();
  EventStore(const EventStore&) = delete;
  EventStore& operator=(const EventStore&) = delete;

  // Stores the lines of one report (one row each, in order); `headers` is the request's headers as a JSON object.
  void addReport(const std::string& account, const std::string& path, const std::vector<std::string>& lines,
                 const Json& headers);
  // {"events": [{"id", "account", "path", "line", "parsed", "event", "headers", "received_at"}, ...]} in arrival
  // order; "event" is the parsed line (null when it does not parse). An empty account answers every account's.
  Json events(const std::string& account);

  // Registers a test device; false when the account already has a device of that name.
  bool registerTestDevice(const std::string& account, const std::string& name, const std::string& token,
                          const std::string& pushToken, const std::string& deviceType);

 private:
  void exec(const char* sql);

  std::mutex mutex_;
  sqlite3* db_ = nullptr;
};

}  // namespace corvana::service
