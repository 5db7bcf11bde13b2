#pragma once

// What every test process needs before it touches the SDK: a platform with temporary folders, fixed device
// facts, a clock the test moves and a log the test reads. Singletons are process-wide, so each test runs in its
// own process (CTest runs every GoogleTest case separately) and installs its platform first.

#include <algorithm>
#include <chrono>
#include <thread>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "corvana/platform.h"
#include "corvana/value.h"

namespace corvana::test {

// 2026-11-21 12:00:00 UTC: tests start from a fixed, known instant.
inline constexpr double kTestEpoch = 1795262400.0;

// A count a long run of a test may raise through the environment (rounds, seeds), or the fallback.
inline unsigned long envNumber(const char* name, unsigned long fallback) {
  const char* text = std::getenv(name);
  return text && *text ? std::stoul(text) : fallback;
}

class ManualClock : public Clock {
 public:
  Date now() override {
    std::lock_guard<std::mutex> lock(mutex_);
    return now_;
  }
  void set(Date date) {
    std::lock_guard<std::mutex> lock(mutex_);
    now_ = date;
  }
  void advance(double seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    now_.secondsSince1970 += seconds;
  }

 private:
  std::mutex mutex_;
  Date now_{kTestEpoch};
};

class CapturedLog : public LogSink {
 public:
  void write(const std::string& line) override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(line);
    }
    changed_.notify_all();
  }
  std::vector<std::string> lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
  }
  size_t count(const std::string& line) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<size_t>(std::count(lines_.begin(), lines_.end(), line));
  }
  bool contains(const std::string& line) const { return count(line) > 0; }
  // Waits until the line has been written at least `times` times; answers whether it was.
  bool waitFor(const std::string& line, size_t times = 1, int timeoutMs = 10000) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
      return static_cast<size_t>(std::count(lines_.begin(), lines_.end(), line)) >= times;
    });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "corvana-test-XXXXXX").string();
    char* made = ::mkdtemp(pattern.data());
    path_ = made ? made : pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct TestPlatform {
  TempDir dir;
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  std::shared_ptr<CapturedLog> log = std::make_shared<CapturedLog>();
  std::shared_ptr<Platform> platform;
};

// Polls, running the main queue's tasks in between, until the condition holds (10 s unless told otherwise).
template <typename Condition>
bool eventually(Condition condition, int seconds = 10) {
  for (int i = 0; i < seconds * 100; ++i) {
    Platform::current().mainQueue->drain();
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

// Prints a test's figures and, when CORVANA_FIGURES_DIR names a folder, writes them there as `file` (JSON).
inline void writeFigures(const std::string& file, const Value& figures) {
  std::printf("%s: %s\n", file.c_str(), figures.dump().c_str());
  const char* dir = std::getenv("CORVANA_FIGURES_DIR");
  if (!dir || !*dir) return;
  std::filesystem::create_directories(dir);
  std::ofstream(std::filesystem::path(dir) / file) << figures.dump(2) << "\n";
}

// The device facts every test sees unless it says otherwise.
inline LinuxPlatformOptions testPlatformOptions() {
  LinuxPlatformOptions options;
  options.appVersion = "2.3.1";
  options.bundleIdentifier = "io.corvana.tests";
  options.deviceModel = "iPhone";
  options.deviceMachine = "iPhone7,2";
  options.deviceName = "Test iPhone";
  options.systemVersion = "9.3";
  options.localeIdentifier = "en_US";
  options.preferredLanguages = {"en-US", "de-DE"};
  options.timeZoneName = "America/New_York";
  options.carrierNames = {std::string("Carrier A")};
  // The SDK's resource bundle as it is in the source tree.
  options.bundlePath = CORVANA_SOURCE_RESOURCES;
  options.serviceDomain = "corvana.test";
  // Nothing listens there: requests fail at once on loopback instead of asking a name server.
  options.resolve = {"acme.corvana.test:443:127.0.0.1"};
  return options;
}

// Installs a test platform for this process (once) and answers it. `options.dataDirectory` is replaced by a
// fresh temporary folder unless the caller set one.
inline TestPlatform& installTestPlatform(LinuxPlatformOptions options = testPlatformOptions()) {
  // Destroyed at exit, which removes the temporary folder; the installed platform itself is never destroyed.
  static std::unique_ptr<TestPlatform> installed;
  if (installed) return *installed;
  auto made = std::make_unique<TestPlatform>();
  if (options.dataDirectory.empty()) options.dataDirectory = made->dir.path();
  options.logSink = made->log;
  made->platform = Platform::makeLinuxDefault(options);
  made->platform->clock = made->clock;
  Platform::install(made->platform);
  installed = std::move(made);
  return *installed;
}

}  // namespace corvana::test
