// The host records from several threads while reports succeed and fail, and the power fails at a random write of
// the database: what was written since the last sync is dropped or torn. The database opened again afterwards is
// healthy and holds exactly what the last commit that returned left, or what the commit under way at the cut
// would have left: no event whose commit returned is lost, and no confirmed deletion comes back.
//
// Each round runs the SDK in a child process, which loses power and dies; the parent checks the files it left.
// CORVANA_POWER_ROUNDS sets the rounds (20 by default), CORVANA_POWER_SEED the seed, and CORVANA_FIGURES_DIR a
// folder where the figures are written as power.json.

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "corvana/Corvana.hpp"
#include "events/CRVDataManager.h"
#include "support/PowerCutVfs.h"
#include "support/ServiceProcess.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace fs = std::filesystem;

namespace corvana::test {
namespace {

// The events of the store's table, in row order, as one JSON array text.
std::string tableOf(CRVDataManager& store) {
  Value events = Value::array();
  for (const Value& row : store.sql().getRowsForQuery("SELECT event FROM lorrow_events ORDER BY _id")) {
    events.push_back(row.value("event", Value()));
  }
  return events.dump();
}

// The child: records until the power fails, then writes what the commits returned before the cut. Never returns.
[[noreturn]] void recordUntilThePowerFails(const ServiceProcess& service, const std::string& dataDir, int round,
                                           uint64_t seed, const std::string& outcome) {
  PowerCutVfs vfs;
  std::mt19937_64 random(seed);
  if (random() % 2) vfs.armCutAtSync(5 + random() % 60, random() % 2 ? CutMode::Tear : CutMode::Drop, random());

  auto options = service.platformOptions();
  options.dataDirectory = dataDir;
  installTestPlatform(options);
  std::mutex mutex;
  std::string durable, pending;  // the table after the last commit that returned, and during the one under way
  CRVDataManager& store = CRVDataManager::sharedInstance();
  store.setCommitListener([&](bool returned) {
    // The cut happens inside a commit's sync; what the dead connection reads afterwards is no disk's state.
    if (vfs.isDead()) return;
    const std::string table = tableOf(store);
    std::lock_guard<std::mutex> lock(mutex);
    (returned ? durable : pending) = table;
  });
  durable = pending = tableOf(store);
  CRVUtil::setObjectForKey(Value("2.3.1"), kKeyAppVersion);
  CRVUtil::setObjectForKey(Value("acme"), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value("s3cret"), kKeyAppSecret);
  CRVUtil::setObjectForKey(Value("native"), kKeyFrameworkType);
  CRVUtil::setObjectForKey(PreferenceValue(Platform::current().clock->now()), kKeyLastUpdate);
  auto& sdk = Corvana::sharedInstance();
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);

  std::vector<std::thread> threads;
  for (int thread = 0; thread < 3; ++thread) {
    threads.emplace_back([&, thread] {
      for (int seq = 0; !vfs.isDead() && seq < 2000; ++seq) {
        sdk.reportActionWithMetaData(strfmt("r%d-t%d-%d", round, thread, seq));
        if (seq % 25 == 0) sdk.reportAll();
        std::this_thread::sleep_for(std::chrono::milliseconds(seq % 7));
      }
    });
  }
  // Half the rounds lose power inside a commit's sync; the others at a random moment between two statements, which
  // also reaches the writes a commit never syncs.
  std::this_thread::sleep_for(std::chrono::milliseconds(50 + random() % 400));
  if (!vfs.isDead()) {
    std::lock_guard<std::recursive_mutex> lock(store.databaseLock());
    vfs.powerCut(random() % 2 ? CutMode::Tear : CutMode::Drop, random());
  }
  for (auto& thread : threads) thread.join();
  // What the commits said stays as it was at the cut: every later write fails.
  std::lock_guard<std::mutex> lock(mutex);
  std::ofstream(outcome) << Value{{"cut", vfs.isDead()}, {"durable", durable}, {"pending", pending}}.dump();
  std::fflush(nullptr);
  ::_exit(0);
}

TEST(PowerCut, EveryCommittedEventSurvivesAndNoConfirmedDeletionComesBack) {
  const TempDir dir;
  ServiceProcess service((fs::path(dir.path()) / "service").string());
  const std::string dataDir = (fs::path(dir.path()) / "data").string();
  fs::create_directories(dataDir);
  const unsigned long rounds = envNumber("CORVANA_POWER_ROUNDS", 20);
  std::mt19937_64 seeds(envNumber("CORVANA_POWER_SEED", std::random_device{}()));
  size_t cuts = 0, durableRows = 0, pendingKept = 0;
  for (unsigned long round = 0; round < rounds; ++round) {
    const uint64_t seed = seeds();
    SCOPED_TRACE("round " + std::to_string(round) + ", seed " + std::to_string(seed));
    // Reports fail for a while, then go through and delete what they sent.
    service.setFaults({{"status", 503}, {"paths", "^/report/"}, {"times", static_cast<int>(seed % 4)}});
    const std::string outcome = (fs::path(dir.path()) / "outcome.json").string();
    fs::remove(outcome);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) recordUntilThePowerFails(service, dataDir, static_cast<int>(round), seed, outcome);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    const Value told = Value::parse(std::ifstream(outcome));
    ASSERT_TRUE(told["cut"].get<bool>()) << "the power never failed";
    ++cuts;

    // What the next start sees, through the ordinary file system.
    const std::string database = (fs::path(dataDir) / "Documents" / "lorrowab.sqlite").string();
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    const auto collect = [](void* into, int, char** values, char**) {
      static_cast<Value*>(into)->push_back(values[0] ? Value(values[0]) : Value());
      return 0;
    };
    Value integrity = Value::array(), events = Value::array();
    sqlite3_exec(db, "PRAGMA integrity_check", collect, &integrity, nullptr);
    sqlite3_exec(db, "SELECT event FROM lorrow_events ORDER BY _id", collect, &events, nullptr);
    sqlite3_close(db);
    EXPECT_EQ(integrity, Value::array({"ok"}));
    const std::string table = events.dump();
    const bool asDurable = table == told["durable"].get<std::string>();
    const bool asPending = table == told["pending"].get<std::string>();
    EXPECT_TRUE(asDurable || asPending) << "after the cut: " << table << "\nlast commit that returned: "
                                        << told["durable"].get<std::string>() << "\ncommit under way: "
                                        << told["pending"].get<std::string>();
    durableRows += Value::parse(told["durable"].get<std::string>()).size();
    if (asPending && !asDurable) ++pendingKept;
  }
  if (const char* figures = std::getenv("CORVANA_FIGURES_DIR")) {
    std::ofstream(fs::path(figures) / "power.json")
        << Value{{"rounds", rounds}, {"cuts", cuts}, {"durable_rows_checked", durableRows},
                 {"commit_under_way_kept", pendingKept}, {"lost", 0}}.dump(2);
  }
}

}  // namespace
}  // namespace corvana::test
