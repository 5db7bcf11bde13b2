#pragma once

// What every benchmark program shares: one SDK installation per process (the SDK's singletons are process-wide),
// its data folder on the machine's ordinary disk, the reference service as a child process over loopback HTTPS,
// a log that keeps nothing, and the percentile arithmetic of the per-call figures.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "support/ServiceProcess.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana::bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Log lines are built by the SDK as usual and then dropped (a benchmark measures the SDK, not a terminal), except
// that the few lines that mark the end of a measured piece of work are counted.
class WatchingLog : public LogSink {
 public:
  static std::string reportedLine() { return "CorvanaSDK-Reported all data successfully."; }
  static std::string receivedCampaignsLine() {
    return "CorvanaFramework--[Corvana parseResponseForBlockedAndFeatures:]_block_invoke [Line 311] Received 50 "
           "InAppMessages in sync call.";
  }

  // Written each time a report is sent, whatever its answer.
  static std::string reportSentLine() { return "reportEndpont : report/events/"; }

  void write(const std::string& line) override {
    if (line == reportSentLine()) sent_.fetch_add(1);
    if (line == reportedLine()) {
      reportedAt_.store(Clock::now().time_since_epoch().count());
      reported_.fetch_add(1);
    }
    if (line == receivedCampaignsLine()) {
      receivedAt_.store(Clock::now().time_since_epoch().count());
      received_.fetch_add(1);
    }
  }
  // When the line was last written.
  Clock::time_point lastAt(const std::string& line) const {
    const auto ticks = line == reportedLine() ? reportedAt_.load() : receivedAt_.load();
    return Clock::time_point(Clock::duration(ticks));
  }
  size_t count(const std::string& line) const {
    if (line == reportedLine()) return reported_.load();
    if (line == receivedCampaignsLine()) return received_.load();
    if (line == reportSentLine()) return sent_.load();
    return 0;
  }

 private:
  std::atomic<size_t> reported_{0};
  std::atomic<size_t> received_{0};
  std::atomic<size_t> sent_{0};
  std::atomic<Clock::rep> reportedAt_{0};
  std::atomic<Clock::rep> receivedAt_{0};
};

// Mean, median and 99th percentile of per-call durations in nanoseconds, written as counters of `state`.
inline void reportDistribution(benchmark::State& state, std::vector<double> nanoseconds, const std::string& prefix = "") {
  if (nanoseconds.empty()) return;
  std::sort(nanoseconds.begin(), nanoseconds.end());
  const auto at = [&](double fraction) {
    const size_t index = static_cast<size_t>(fraction * static_cast<double>(nanoseconds.size() - 1) + 0.5);
    return nanoseconds[std::min(index, nanoseconds.size() - 1)];
  };
  const double mean = std::accumulate(nanoseconds.begin(), nanoseconds.end(), 0.0) / static_cast<double>(nanoseconds.size());
  state.counters[prefix + "calls"] = static_cast<double>(nanoseconds.size());
  state.counters[prefix + "mean_ns"] = mean;
  state.counters[prefix + "p50_ns"] = at(0.50);
  state.counters[prefix + "p99_ns"] = at(0.99);
  state.counters[prefix + "max_ns"] = nanoseconds.back();
}

// Polls `condition` every 100 µs (the figures measured are milliseconds); false after `timeout`.
template <typename Condition>
bool waitFor(Condition condition, std::chrono::seconds timeout = std::chrono::seconds(60)) {
  const auto deadline = Clock::now() + timeout;
  while (!condition()) {
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  return true;
}

// The folder the benchmark's installation lives in: under BENCH_DATA_DIR when set (the bench script points it at
// the ordinary disk), else under the system's temporary folder.
inline std::filesystem::path benchRoot() {
  const char* chosen = std::getenv("BENCH_DATA_DIR");
  std::filesystem::path root = chosen && *chosen ? chosen : std::filesystem::temp_directory_path();
  std::filesystem::create_directories(root);
  char pattern[] = "corvana-bench-XXXXXX";
  std::string templ = (root / pattern).string();
  const char* made = ::mkdtemp(templ.data());
  return made ? made : templ;
}

// The single number a counting query answers, read on a read-only connection of the benchmark's own, so that
// nothing about the file (its journal mode included) is changed by looking.
inline size_t countRows(const std::string& file, const char* query) {
  sqlite3* db = nullptr;
  size_t count = 0;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_busy_timeout(db, 5000);
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, query, -1, &statement, nullptr) == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
      count = static_cast<size_t>(sqlite3_column_int64(statement, 0));
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(db);
  return count;
}

// One SDK installation per process: a data folder, the reference service with `serviceConfig`, the platform
// pointed at it, and the SDK started and initialised the way a host starts it (its first sync completed).
class Installation {
 public:
  explicit Installation(const std::string& serviceConfig = test::ServiceProcess::defaultConfig())
      : root_(benchRoot()) {
    service_ = std::make_unique<test::ServiceProcess>((root_ / "service").string(), serviceConfig);
    LinuxPlatformOptions options = service_->platformOptions();
    options.dataDirectory = (root_ / "app").string();
    std::filesystem::create_directories(options.dataDirectory);
    options.logSink = log_;
    Platform::install(Platform::makeLinuxDefault(options));
    Corvana& sdk = Corvana::sharedInstance();
    sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
    sdk.serialQueue()->waitUntilIdle();
    ok_ = waitFor([&] { return sdk.sdkInitialized() && !sdk.makingInitCall(); }, std::chrono::seconds(30));
    settle();
  }
  ~Installation() {
    service_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  bool ok() const { return ok_; }
  const WatchingLog& log() const { return *log_; }
  test::ServiceProcess& service() { return *service_; }
  const std::filesystem::path& root() const { return root_; }
  std::string databasePath() const { return Platform::current().files->documentsDirectory() + "/lorrowab.sqlite"; }

  // Waits until the SDK's queues have no work and no report or sync is in flight.
  void settle() {
    Corvana& sdk = Corvana::sharedInstance();
    for (int round = 0; round < 3; ++round) {
      sdk.serialQueue()->waitUntilIdle();
      waitFor([&] { return !sdk.eventLogger().isReporting() && !sdk.isSyncing(); });
      sdk.serialInAppQueue()->waitUntilIdle();
    }
  }

  // Reports are held back while the account is in secure mode without a signature: every report the recording
  // calls ask for is refused at once, so the serial queue's work is the store itself.
  void holdReportsBack(bool hold) { CRVUtil::setBoolForKey(hold, kKeySecureMode); }
  // The service answers every report with a 503 page and stores nothing: the SDK reads, sends and keeps its rows
  // each time, as it does while its service is down.
  void refuseReports(bool refuse) {
    if (refuse) {
      service_->setFaults({{"status", 503}, {"body", "<html>Service Unavailable</html>"}, {"paths", "^/report/"}});
    } else {
      service_->clearFaults();
    }
  }

  // The number of stored events, read through a connection of the benchmark's own.
  size_t storedEvents() const { return countRows(databasePath(), "SELECT COUNT(*) FROM lorrow_events"); }

  // The events the reference service has received for the account, read from its own database file.
  size_t serviceReceivedCount() const {
    return countRows(service_->databasePath(), "SELECT COUNT(*) FROM received WHERE account = 'acme'");
  }

 private:
  std::filesystem::path root_;
  std::unique_ptr<test::ServiceProcess> service_;
  std::shared_ptr<WatchingLog> log_ = std::make_shared<WatchingLog>();
  bool ok_ = false;
};

// An action's details as a host records them: three keys. The SKU carries the action's number, so a stored row
// tells which action of a burst it holds (actionNumber).
inline std::shared_ptr<CorvanaActionMetaData> threeKeyDetails(int n) {
  auto details = std::make_shared<CorvanaActionMetaData>();
  details->setKeyWithValue("sku", "A-" + std::to_string(n));
  details->setKeyWithValue("price", "12.50");
  details->setKeyWithValue("screen", "checkout");
  return details;
}

// The number of the action whose record `event` is (threeKeyDetails), or -1.
inline int actionNumber(const std::string& event) {
  static const std::string marker = "\"sku\":\"A-";
  const size_t at = event.find(marker);
  return at == std::string::npos ? -1 : std::atoi(event.c_str() + at + marker.size());
}

}  // namespace corvana::bench
