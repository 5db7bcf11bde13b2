// A host app reduced to what the memory figure needs: it links the shared library as an app does, starts the SDK
// against the reference service (a child process, not counted), records 10,000 actions with three detail keys
// as fast as it can, has them reported, and prints as one JSON line its peak resident memory and what stays
// resident once the burst has drained.

#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "corvana/Corvana.hpp"
#include "corvana/CorvanaActionMetaData.hpp"
#include "corvana/platform.h"
#include "support/ServiceProcess.h"
#include "support/TestPlatform.h"

namespace {

constexpr int kEvents = 10000;

class QuietLog : public corvana::LogSink {
 public:
  void write(const std::string&) override {}
};

// A line of /proc/self/status ("VmHWM", "VmRSS") or, with `file` "smaps_rollup", of the exact sums of the
// mappings ("Anonymous", "Rss"), in kB. The status file's RssAnon is kept per thread and summed lazily, so it can be
// off by hundreds of kB; the rollup walks the page tables.
long statusKb(const std::string& key, const char* file = "status") {
  std::ifstream status(std::string("/proc/self/") + file);
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(key + ":", 0) == 0) return std::stol(line.substr(key.size() + 1));
  }
  return -1;
}

long countRows(const std::string& file, const char* query) {
  sqlite3* db = nullptr;
  long count = -1;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_busy_timeout(db, 5000);
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, query, -1, &statement, nullptr) == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
      count = sqlite3_column_int64(statement, 0);
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(db);
  return count;
}

template <typename Condition>
bool waitFor(Condition condition, int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: %s DATA_DIR [SMAPS_COPY]\n", argv[0]);
    return 2;
  }
  const std::string dir = argv[1];
  corvana::test::ServiceProcess service(dir + "/service");
  corvana::LinuxPlatformOptions options = service.platformOptions();
  options.dataDirectory = dir + "/app";
  options.logSink = std::make_shared<QuietLog>();
  std::filesystem::create_directories(options.dataDirectory);
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));

  auto& sdk = corvana::Corvana::sharedInstance();
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
  if (!waitFor([&] { return sdk.sdkInitialized(); }, 30)) {
    std::fprintf(stderr, "memory_host: the SDK did not start\n");
    return 1;
  }
  sdk.serialQueue()->waitUntilIdle();
  const std::string database = options.dataDirectory + "/Documents/lorrowab.sqlite";
  const std::string serviceDatabase = service.databasePath();
  const char* receivedQuery = "SELECT COUNT(*) FROM received WHERE account = 'acme'";
  const long receivedBefore = countRows(serviceDatabase, receivedQuery);
  const long startedKb = statusKb("VmRSS");
  const long startedAnonKb = statusKb("Anonymous", "smaps_rollup");

  for (int i = 0; i < kEvents; ++i) {
    auto details = std::make_shared<corvana::CorvanaActionMetaData>();
    details->setKeyWithValue("sku", "A-" + std::to_string(i % 97));
    details->setKeyWithValue("price", "12.50");
    details->setKeyWithValue("screen", "checkout");
    sdk.reportActionWithMetaData("checkout", details);
  }
  sdk.serialQueue()->waitUntilIdle();
  sdk.reportAll();
  sdk.serialQueue()->waitUntilIdle();
  const bool reported = waitFor([&] { return countRows(database, "SELECT COUNT(*) FROM lorrow_events") == 0; }, 120);
  // The last answer's completion may still be finishing; give it a moment before the final reading.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));

  // The memory is read before this program opens the databases to count their rows: SQLite's page cache of that
  // reading would be counted as the SDK's. The peak (VmHWM) counts every resident page, those of the libraries'
  // files included. After the burst, the resident memory splits into anonymous memory (heap, stacks, what the
  // process allocated and did not give back) and pages of mapped files (the code and data of the libraries, shared
  // with every process that maps them).
  const long peakKb = statusKb("VmHWM");
  const long endKb = statusKb("VmRSS");
  const long endAnonKb = statusKb("Anonymous", "smaps_rollup");
  const long endFileKb = statusKb("RssFile");
  if (argc == 3) {  // where the memory is, by mapping, for a closer look
    std::ifstream maps("/proc/self/smaps");
    std::ofstream copy(argv[2]);
    copy << maps.rdbuf();
  }
  const long received = countRows(serviceDatabase, receivedQuery) - receivedBefore;
  const long rowsLeft = countRows(database, "SELECT COUNT(*) FROM lorrow_events");
  std::printf(
      "{\"peak_rss_kb\": %ld, \"rss_after_start_kb\": %ld, \"rss_anon_after_start_kb\": %ld, "
      "\"rss_end_kb\": %ld, \"rss_anon_end_kb\": %ld, \"rss_file_end_kb\": %ld, \"events_recorded\": %d, "
      "\"events_received\": %ld, \"rows_left\": %ld, \"all_reported\": %s}\n",
      peakKb, startedKb, startedAnonKb, endKb, endAnonKb, endFileKb, kEvents, received, rowsLeft,
      reported ? "true" : "false");
  std::fflush(stdout);
  // A host ends without tearing the SDK down; its threads may still be parked.
  std::_Exit(reported ? 0 : 1);
}
