#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/LinuxPreferences.h"
#include "platform/PosixFiles.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using test::CapturedLog;
using test::TempDir;

using Values = std::map<std::string, PreferenceValue>;

std::string readAll(const std::string& path) { return posix::readFile(path).value_or(""); }

// What the file holds now (nothing when it is missing or not a whole preferences file).
std::optional<Values> inFile(const std::string& path) { return LinuxPreferences::decode(readAll(path)); }

// Polls until the condition holds, for at most ten seconds (a bound for a loaded machine, not a timing claim).
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// The atomic writes of a file that an inotify descriptor watching its folder for IN_CREATE saw: each starts with a
// temporary file of a fresh name beside it. (Renames onto the file are no measure: the kernel merges identical
// events that follow one another.)
int writesSeen(int watch, const std::string& path) {
  const std::string prefix = fs::path(path).filename().string() + ".tmp-";
  int writes = 0;
  alignas(inotify_event) char buffer[64 * 1024];
  for (ssize_t got; (got = ::read(watch, buffer, sizeof buffer)) > 0;) {
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      if (event->len > 0 && std::string(event->name).rfind(prefix, 0) == 0) ++writes;
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  return writes;
}

// The preferences a host gets from the default Linux platform, kept in its data folder: opening it again in the
// same folder sees what was stored before.
TEST(LinuxPreferences, KeepsValuesAndTheirTypesThroughAReloadAndForgetsRemovedOnes) {
  TempDir dir;
  const auto open = [&] {
    LinuxPlatformOptions options = test::testPlatformOptions();
    options.dataDirectory = dir.path();
    options.logSink = std::make_shared<CapturedLog>();
    return Platform::makeLinuxDefault(options)->preferences;
  };
  Data allBytes;
  for (int b = 0; b < 256; ++b) allBytes.push_back(static_cast<uint8_t>(b));
  const std::vector<std::pair<std::string, PreferenceValue>> values = {
      {"string", std::string("crvn \"quoted\" \xc3\xa9\n")}, {"int min", std::numeric_limits<int64_t>::min()},
      {"int one", int64_t{1}},                               {"double one", 1.0},
      {"double fraction", 0.1},                              {"bool", true},
      {"date before 1970", Date{-86400.5}},                  {"data", allBytes},
      {"data one byte", Data{0xff}},
  };
  {
    auto store = open();
    for (const auto& [key, value] : values) store->setObjectForKey(value, key);
    store->setObjectForKey(std::string("first"), "int one");  // replaced below
    store->setObjectForKey(int64_t{1}, "int one");
    store->setObjectForKey(false, "removed");
    store->removeObjectForKey("removed");
    store->removeObjectForKey("never set");
    EXPECT_TRUE(store->synchronize());
  }
  auto reloaded = open();
  // The type is compared too: 1 stays an integer, 1.0 a double, true a boolean.
  for (const auto& [key, value] : values) EXPECT_TRUE(reloaded->objectForKey(key) == value) << key;
  EXPECT_FALSE(reloaded->objectForKey("removed") || reloaded->objectForKey("never set"));
}

TEST(LinuxPreferences, AFileIsReadInItsFormatOrMovedAsideWhenUnreadable) {
  {
    TempDir dir;
    std::ofstream(dir.path() + "/prefs.json") << R"({"crvn.token": {"type": "data", "value": "aGk="}})";
    EXPECT_TRUE(LinuxPreferences(dir.path() + "/prefs.json", nullptr).objectForKey("crvn.token") ==
                PreferenceValue(Data{'h', 'i'}));
  }
  for (const std::string text : {
           R"({"a": {"type": "string", "val)",              // torn mid-write
           R"({"a": {"type": "colour", "value": "red"}})",  // unknown type
           R"({"a": {"type": "integer", "value": "12"}})",  // value of another type
       }) {
    SCOPED_TRACE(text);
    TempDir dir;
    std::string path = dir.path() + "/prefs.json";
    std::ofstream(path) << text;
    auto log = std::make_shared<CapturedLog>();

    LinuxPreferences store(path, log);
    const std::string line = "CorvanaSDK-Preferences file unreadable, starting empty: " + path;
    EXPECT_EQ(log->lines(), std::vector<std::string>{line});
    EXPECT_FALSE(store.objectForKey("a").has_value());
    EXPECT_EQ(readAll(path + ".corrupt"), text);
    store.setObjectForKey(int64_t{3}, "b");
    EXPECT_TRUE(store.synchronize());
    EXPECT_TRUE(LinuxPreferences(path, log).objectForKey("b") == PreferenceValue(int64_t{3}));
    EXPECT_EQ(log->lines().size(), 1u);
  }
}

// A burst of changes without synchronize: each is read back at once, and the writer puts the latest of them in
// the file by itself, in a few writes rather than one per change.
TEST(LinuxPreferences, ChangesAreReadAtOnceAndReachTheFileBehindInFewWrites) {
  TempDir dir;
  const std::string path = dir.path() + "/prefs.json";
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(watch, 0);
  ASSERT_GE(::inotify_add_watch(watch, dir.path().c_str(), IN_CREATE), 0);
  LinuxPreferences store(path, nullptr);
  store.setObjectForKey(std::string("gone"), "removed");

  constexpr int kSets = 1000;
  for (int64_t i = 0; i < kSets; ++i) {
    store.setObjectForKey(i, "counter");
    ASSERT_TRUE(store.objectForKey("counter") == PreferenceValue(i)) << i;
  }
  store.removeObjectForKey("removed");
  EXPECT_FALSE(store.objectForKey("removed"));

  const Values latest = {{"counter", int64_t{kSets - 1}}};
  EXPECT_TRUE(eventually([&] { return inFile(path) == latest; }));
  const int writes = writesSeen(watch, path);
  ::close(watch);
  test::writeFigures("preferences_write_behind.json", {{"sets", kSets + 2}, {"writes", writes}});
  EXPECT_GE(writes, 1);
  EXPECT_LE(writes, kSets / 10);
}

// However the store's user ends its work, the file holds the latest values the moment it has: synchronize
// writes what the writer has not yet, the destructor flushes, and a process that exits flushes the stores it
// destroys at exit or never destroys. Each case ends right after its changes, before the writer would have
// written them.
TEST(LinuxPreferences, SynchronizeDestructionAndExitLeaveTheLatestValuesInTheFile) {
  const Values values = {{"counter", int64_t{49}}, {"name", std::string("latest")}, {"flag", true}};
  const auto fill = [&](LinuxPreferences& store) {
    for (int round = 0; round < 50; ++round) store.setObjectForKey(int64_t{round}, "counter");
    for (const auto& [key, value] : values) store.setObjectForKey(value, key);
  };
  for (const std::string end : {"synchronize", "destruction", "exit, destroyed at exit", "exit, never destroyed"}) {
    SCOPED_TRACE(end);
    TempDir dir;
    const std::string path = dir.path() + "/prefs.json";
    std::unique_ptr<LinuxPreferences> alive;  // kept for the check: the file is synchronize's doing
    if (end == "synchronize") {
      alive = std::make_unique<LinuxPreferences>(path, nullptr);
      fill(*alive);
      EXPECT_TRUE(alive->synchronize());
    } else if (end == "destruction") {
      LinuxPreferences store(path, nullptr);
      fill(store);
    } else if (end == "exit, destroyed at exit") {
      EXPECT_EXIT(
          {
            static LinuxPreferences store(path, nullptr);
            fill(store);
            std::exit(0);
          },
          ::testing::ExitedWithCode(0), "");
    } else {
      EXPECT_EXIT(
          {
            static LinuxPreferences* kept = new LinuxPreferences(path, nullptr);
            fill(*kept);
            std::exit(0);
          },
          ::testing::ExitedWithCode(0), "");
    }
    EXPECT_EQ(inFile(path), values);
  }
}

TEST(LinuxPreferences, SynchronizeReportsAFailedWriteAndWritesAgainWhatIsMissing) {
  TempDir dir;
  const std::string path = dir.path() + "/prefs.json";
  LinuxPreferences store(path, nullptr);
  // An empty store has nothing to make durable, and creates no file for it.
  EXPECT_TRUE(store.synchronize());
  EXPECT_FALSE(fs::exists(path));

  // A folder where the file goes makes every write fail, until it is gone.
  fs::create_directory(path);
  store.setObjectForKey(std::string("kept"), "a");
  EXPECT_FALSE(store.synchronize());
  EXPECT_FALSE(store.synchronize());
  fs::remove(path);
  EXPECT_TRUE(store.synchronize());
  EXPECT_EQ(inFile(path), (Values{{"a", std::string("kept")}}));

  // A file removed behind the store's back is written again, though nothing changed since it was written.
  fs::remove(path);
  EXPECT_TRUE(store.synchronize());
  EXPECT_EQ(inFile(path), (Values{{"a", std::string("kept")}}));
}

// Threads that set, remove and synchronize at once, round after round, with a reader of the file beside them:
// the reader never sees a torn file, and when every thread has synchronized its round the file equals the memory
// (a write that finished after a newer one would leave an older file behind).
TEST(LinuxPreferences, ConcurrentSettersAndSynchronizersLeaveTheFileEqualToMemory) {
  TempDir dir;
  const std::string path = dir.path() + "/prefs.json";
  LinuxPreferences store(path, nullptr);
  store.setObjectForKey(std::string(4096, 'x'), "bulk");
  constexpr int kThreads = 4, kRounds = 60;
  const std::vector<std::string> keys = {"bulk", "shared", "counter 0", "counter 1", "counter 2", "counter 3"};

  std::atomic<bool> reading{true};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (reading) {
      if (fs::exists(path) && !inFile(path)) ++torn;
    }
  });
  std::atomic<int> failedSyncs{0}, staleRounds{0};
  // Runs between rounds, while every thread waits.
  const auto compare = [&]() noexcept {
    Values memory;
    for (const std::string& key : keys) {
      if (auto value = store.objectForKey(key)) memory.emplace(key, *value);
    }
    if (inFile(path) != memory) ++staleRounds;
  };
  std::barrier roundEnd(kThreads, compare);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const std::string mine = "counter " + std::to_string(t);
      for (int64_t round = 0; round < kRounds; ++round) {
        store.setObjectForKey(round, mine);
        if (round % kThreads == t) store.removeObjectForKey("shared");
        if (round % 3 == t % 3) store.setObjectForKey(mine, "shared");
        if (!store.synchronize()) ++failedSyncs;
        roundEnd.arrive_and_wait();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  reading = false;
  reader.join();

  EXPECT_EQ(torn.load(), 0);
  EXPECT_EQ(failedSyncs.load(), 0);
  EXPECT_EQ(staleRounds.load(), 0);
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_TRUE(store.objectForKey("counter " + std::to_string(t)) == PreferenceValue(int64_t{kRounds - 1}));
  }
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir.path())) names.push_back(entry.path().filename().string());
  EXPECT_EQ(names, std::vector<std::string>{"prefs.json"});
}

// The SDK's settings, kept in the platform's preferences.
class SettingsStore : public ::testing::Test {
 protected:
  void SetUp() override { log().clear(); }
  test::CapturedLog& log() { return *test::installTestPlatform().log; }
  // What a relaunched app reads: a second store opened on the same file.
  std::optional<PreferenceValue> reread(const std::string& key) {
    const auto& path = dynamic_cast<LinuxPreferences&>(*Platform::current().preferences).path();
    return LinuxPreferences(path, nullptr).objectForKey(key);
  }
};

class Signature : public Archivable {
 public:
  std::string archiveClassName() const override { return "CRVSecuritySignature"; }
  Value encodeWithCoder() const override { return {{"accessKey", "key-1"}, {"signature", "c2ln"}}; }
};

// The readers' conversions are ValueConv's (its own tests); here, what is stored and that the readers use them.
TEST_F(SettingsStore, TypedWritesKeepTheirTypeThroughARelaunch) {
  struct Case {
    const char* key;
    Value value;
    PreferenceValue stored;
    std::string asString;
    int64_t asInt;
    bool asBool;
  };
  const Case cases[] = {
      {"digits", "42 things", std::string("42 things"), "42 things", 42, true},
      {"integer", -9000000000LL, int64_t{-9000000000LL}, "-9000000000", -9000000000LL, true},
      {"whole real", 30.0, 30.0, "30", 30, true},
      {"flag", false, false, "0", 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    CRVUtil::setObjectForKey(c.value, c.key);
    EXPECT_EQ(reread(c.key), c.stored);
    EXPECT_EQ(CRVUtil::getStringForKey(c.key), c.asString);
    EXPECT_EQ(CRVUtil::getIntForkey(c.key), c.asInt);
    EXPECT_EQ(CRVUtil::getBoolForKey(c.key), c.asBool);
  }
  EXPECT_TRUE(log().lines().empty());
}

TEST_F(SettingsStore, AbsentKeysAndRejectedWrites) {
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyQuorvel), "");
  EXPECT_EQ(CRVUtil::getIntForkey(kKeySyncTimeout), 0);
  EXPECT_FALSE(CRVUtil::getBoolForKey(kKeyAcountBlocked));

  CRVUtil::setObjectForKey(Value("quorvel-1"), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value(nullptr), kKeyQuorvel);
  EXPECT_TRUE(log().lines().empty());
  CRVUtil::setObjectForKey(Value::array({1, 2}), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value{{"a", 1}}, kKeyQuorvel);
  const std::string line = "CorvanaSDK-Attempt to insert non-property list object for key crvn.Quorvel";
  EXPECT_EQ(log().lines(), (std::vector<std::string>{line, line}));
  EXPECT_EQ(reread(kKeyQuorvel), PreferenceValue{std::string("quorvel-1")});
}

TEST_F(SettingsStore, ArchivesReadBackOnlyWhenTheRootIsAString) {
  EXPECT_EQ(CRVUtil::getDataObjectForKey(kKeySecureToken), std::nullopt);
  CRVUtil::setDataObjectForKey(std::string("token text"), "archived.string");
  EXPECT_EQ(CRVUtil::getDataObjectForKey("archived.string"), "token text");

  Signature signature;
  CRVUtil::setDataObjectForKey(&signature, kKeySecureToken);
  const auto stored = reread(kKeySecureToken);
  ASSERT_TRUE(stored && std::holds_alternative<Data>(*stored));
  const Data& bytes = std::get<Data>(*stored);
  EXPECT_EQ(Value::parse(bytes.begin(), bytes.end()),
            Value::parse(R"({"$class":"CRVSecuritySignature","accessKey":"key-1","signature":"c2ln"})"));
  EXPECT_EQ(CRVUtil::getDataObjectForKey(kKeySecureToken), std::nullopt);

  CRVUtil::setDataObjectForKey(nullptr, kKeySecureToken);  // skipped: the archive stays
  EXPECT_EQ(reread(kKeySecureToken), stored);
  for (const auto& [key, value] : {std::pair<const char*, PreferenceValue>{"raw", Data{'h', 'i'}},
                                   {"plain", std::string(R"({"$class":"NSString","value":"x"})")}}) {
    CRVUtil::setObjectForKey(value, key);
    EXPECT_EQ(CRVUtil::getDataObjectForKey(key), std::nullopt) << key;
  }
  EXPECT_TRUE(log().lines().empty());
}

}  // namespace
}  // namespace corvana
