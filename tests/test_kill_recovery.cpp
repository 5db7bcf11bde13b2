// A host app (tests/crash/kill_host.cpp) records actions from several threads while it reports to the reference
// service, and is killed with SIGKILL at a random moment, round after round, on the same data folder. After every
// kill the database must pass SQLite's integrity check and the preferences and secure-store files must load; a
// last run drains the store. Every action whose row was ever committed must then have reached the service: twice
// is allowed (a kill between the service's answer and the delete, or two reports of one run overlapping), never
// zero times. An action counts as stored when the host saw the serial queue pass it and the commit of its save
// return, when its row was in the database after a kill, or when it arrived; actions still waiting on the serial
// queue when the process died were never stored, and are counted apart.
//
// CORVANA_KILL_ROUNDS sets the number of rounds (10 by default), CORVANA_KILL_SEED the seed of the kill delays,
// and CORVANA_FIGURES_DIR a folder where the figures are written as kill.json.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/LinuxPreferences.h"
#include "platform/LinuxSecureStore.h"
#include "platform/PosixFiles.h"
#include "support/ServiceProcess.h"
#include "support/TestPlatform.h"

#ifndef CORVANA_KILL_HOST
#error "CORVANA_KILL_HOST must name the kill_host program"
#endif

namespace fs = std::filesystem;

namespace corvana::test {
namespace {

// One run of the host with its standard output and error in files of `dir`.
class HostRun {
 public:
  HostRun(const ServiceProcess& service, const fs::path& dataDir, const fs::path& dir, const std::string& round)
      : out_(dir / ("host-" + round + ".out")), err_(dir / ("host-" + round + ".err")) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> args = {CORVANA_KILL_HOST, dataDir.string(), service.domain(), service.caFile(),
                                     service.resolveFor("acme"), round};
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    const int rc = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) throw std::runtime_error("cannot start " + args[0]);
  }
  ~HostRun() {
    if (pid_ > 0) kill();
  }

  // The wait status once the host ended by itself within `timeout`; nothing while it still runs.
  std::optional<int> waitFor(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    while (::waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    pid_ = -1;
    return status;
  }
  void kill() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  std::string output() const { return posix::readFile(out_).value_or(""); }
  std::string errors() const { return posix::readFile(err_).value_or(""); }

 private:
  fs::path out_, err_;
  pid_t pid_ = -1;
};

// The name of a recorded action, "" for every other record.
std::string actionName(const Value& event) {
  if (!event.is_object() || event.value("event_type", "") != "checkpoint" || event.value("type", "") != "custom") {
    return "";
  }
  return event.value("name", "");
}

// Every row's first column of a query, or its error as one row "error: <message>".
std::vector<std::string> firstColumn(sqlite3* db, const char* sql) {
  std::vector<std::string> rows;
  const auto collect = [](void* into, int, char** values, char**) {
    static_cast<std::vector<std::string>*>(into)->push_back(values[0] ? values[0] : "");
    return 0;
  };
  char* error = nullptr;
  if (sqlite3_exec(db, sql, collect, &rows, &error) != SQLITE_OK) rows = {"error: " + std::string(error ? error : "")};
  sqlite3_free(error);
  return rows;
}

// What a killed host left in its database. SQLite rolls a hot journal back only on a connection that may write,
// so the database and its journal are copied and the copy is opened: it is what the next start will see, and the
// real files stay as the kill left them for the SDK's own recovery.
struct DatabaseState {
  std::string integrity;
  std::set<std::string> actions;
};

DatabaseState inspectDatabase(const fs::path& database, const fs::path& scratch) {
  fs::remove_all(scratch);
  fs::create_directories(scratch);
  if (!fs::exists(database)) return {"ok", {}};
  for (const char* suffix : {"", "-journal", "-wal"}) {
    const fs::path from = database.string() + suffix;
    if (fs::exists(from)) fs::copy_file(from, scratch / (database.filename().string() + suffix));
  }
  DatabaseState state;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2((scratch / database.filename()).c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    state.integrity = std::string("open failed: ") + sqlite3_errmsg(db);
  } else {
    for (const std::string& line : firstColumn(db, "PRAGMA integrity_check")) state.integrity += line;
    for (const std::string& text : firstColumn(db, "SELECT event FROM lorrow_events")) {
      // A host killed before the SDK made its table leaves an empty database.
      if (text.rfind("error: ", 0) == 0 && text != "error: no such table: lorrow_events") state.integrity += " " + text;
      const std::string name = actionName(Value::parse(text, nullptr, false));
      if (!name.empty()) state.actions.insert(name);
    }
  }
  sqlite3_close(db);
  return state;
}

// The log lines of loading a file the way the SDK does at start; an unreadable file gives one.
template <typename Store>
std::vector<std::string> loadLines(const fs::path& path) {
  auto log = std::make_shared<CapturedLog>();
  Store store(path.string(), log);
  return log->lines();
}

TEST(KillRecovery, EveryStoredActionReachesTheServiceDespiteKills) {
  const unsigned long rounds = envNumber("CORVANA_KILL_ROUNDS", 10);
  const unsigned long seed = envNumber("CORVANA_KILL_SEED", std::random_device{}());
  std::printf("kill test: %lu rounds, seed %lu (CORVANA_KILL_SEED=%lu repeats them)\n", rounds, seed, seed);
  std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
  std::uniform_int_distribution<int> delayMs(50, 800);

  TempDir work;
  const fs::path root = work.path(), dataDir = root / "host", logs = root / "logs";
  fs::create_directories(logs);
  ServiceProcess service((root / "service").string());
  const fs::path database = dataDir / "Documents" / "lorrowab.sqlite";
  const fs::path preferences = dataDir / "Library" / "Preferences" / "io.corvana.killhost.plist.json";
  const fs::path secureStore = dataDir / "Library" / "Keychains" / "secure-store.json";

  std::set<std::string> recorded, stored;
  std::map<std::string, int> delivered;
  for (unsigned long round = 0; round < rounds; ++round) {
    const int delay = delayMs(random);
    HostRun host(service, dataDir, logs, std::to_string(round));
    const auto ended = host.waitFor(std::chrono::milliseconds(delay));
    ASSERT_FALSE(ended) << "round " << round << ": the host ended by itself (status " << *ended << ")\n"
                        << host.errors();
    host.kill();

    // A line without its end was cut by the kill and does not count.
    std::istringstream lines(host.output());
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
      if (line.rfind("R ", 0) == 0) recorded.insert(line.substr(2));
      if (line.rfind("S ", 0) == 0) stored.insert(line.substr(2));
    }
    const DatabaseState state = inspectDatabase(database, root / "scratch");
    ASSERT_EQ(state.integrity, "ok") << "round " << round << " killed after " << delay << " ms";
    stored.insert(state.actions.begin(), state.actions.end());
    EXPECT_EQ(loadLines<LinuxPreferences>(preferences), std::vector<std::string>{}) << "round " << round;
    EXPECT_EQ(loadLines<LinuxSecureStore>(secureStore), std::vector<std::string>{}) << "round " << round;
  }

  HostRun drain(service, dataDir, logs, "drain");
  const auto drained = drain.waitFor(std::chrono::seconds(60));
  ASSERT_TRUE(drained) << "the draining host did not end within 60 s\n" << drain.errors();
  ASSERT_TRUE(WIFEXITED(*drained) && WEXITSTATUS(*drained) == 0)
      << "the draining host ended with status " << *drained << "\n" << drain.errors();
  const DatabaseState left = inspectDatabase(database, root / "scratch");
  EXPECT_EQ(left.integrity, "ok");
  EXPECT_TRUE(left.actions.empty()) << left.actions.size() << " actions still stored after draining";

  size_t unparsed = 0;
  const Value received = service.received("acme");
  for (const Value& report : received["events"]) {
    const Value& event = report["event"];
    unparsed += event.is_object() ? 0 : 1;
    const std::string name = actionName(event);
    if (name.empty()) continue;
    ++delivered[name];
    // A row read back whole: its details are the ones recorded under its name.
    EXPECT_EQ("-" + event["metadata"].value("seq", "?"), name.substr(name.rfind('-'))) << report.dump();
  }
  EXPECT_EQ(unparsed, 0u) << "lines the service could not parse";

  std::set<std::string> lost;
  size_t duplicated = 0, neverStored = 0;
  for (const auto& [name, times] : delivered) {
    stored.insert(name);
    duplicated += times > 1 ? 1 : 0;
  }
  for (const auto& name : stored) {
    if (!delivered.count(name)) lost.insert(name);
  }
  for (const auto& name : recorded) neverStored += stored.count(name) ? 0 : 1;
  writeFigures("kill.json", {{"rounds", rounds}, {"seed", seed}, {"recorded", recorded.size()},
                             {"stored", stored.size()}, {"delivered", delivered.size()}, {"duplicated", duplicated},
                             {"lost", lost.size()}, {"never_stored", neverStored}});

  EXPECT_GT(stored.size(), 0u) << "nothing was stored: the rounds tested nothing";
  EXPECT_TRUE(lost.empty()) << lost.size() << " stored actions never reached the service, the first "
                            << *lost.begin();
}

}  // namespace
}  // namespace corvana::test
