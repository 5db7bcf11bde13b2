#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/LinuxPreferences.h"
#include "platform/PosixFiles.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using test::CapturedLog;
using test::TempDir;

std::string readAll(const std::string& path) { return posix::readFile(path).value_or(""); }

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
    EXPECT_TRUE(LinuxPreferences(path, log).objectForKey("b") == PreferenceValue(int64_t{3}));
    EXPECT_EQ(log->lines().size(), 1u);
  }
}

TEST(LinuxPreferences, ReadersAlwaysSeeAWholeFileAndNoTemporaryFileStays) {
  TempDir dir;
  std::string path = dir.path() + "/prefs.json";
  LinuxPreferences store(path, nullptr);
  store.setObjectForKey(std::string(4096, 'x'), "bulk");

  std::atomic<bool> writing{true};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (writing) {
      if (!LinuxPreferences::decode(readAll(path))) ++torn;
    }
  });
  std::vector<std::thread> writers;
  for (int w = 0; w < 4; ++w) {
    writers.emplace_back([&, w] {
      for (int64_t i = 0; i < 100; ++i) store.setObjectForKey(i, "counter " + std::to_string(w));
    });
  }
  for (auto& writer : writers) writer.join();
  writing = false;
  reader.join();

  EXPECT_EQ(torn.load(), 0);
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir.path())) names.push_back(entry.path().filename().string());
  EXPECT_EQ(names, std::vector<std::string>{"prefs.json"});
  LinuxPreferences reloaded(path, nullptr);
  for (int w = 0; w < 4; ++w) {
    EXPECT_TRUE(reloaded.objectForKey("counter " + std::to_string(w)) == PreferenceValue(int64_t{99}));
  }
}

}  // namespace
}  // namespace corvana
