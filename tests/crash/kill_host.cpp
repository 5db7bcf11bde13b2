// kill_host: a host app that test_kill_recovery kills with SIGKILL at random moments.
//
//   kill_host DATA_DIR SERVICE_DOMAIN CA_FILE RESOLVE ROUND          records until killed
//   kill_host DATA_DIR SERVICE_DOMAIN CA_FILE RESOLVE drain          reports until the store is empty, then exits
//
// Recording: four threads record actions named "r<round>-t<thread>-<seq>" with details, mixed with sessions and
// leads, while the SDK reports on its own and the main thread forces a report now and then. Standard output gets
// one line per action, written straight to the file descriptor so that a kill loses none of what was written:
//   "R <name>"  the recording call returned;
//   "S <name>"  the serial queue ran a task queued after that call, so the action's row was committed.
// Draining exits 0 once the store is empty, 1 when it is still not after 30 s. The SDK's log goes to standard
// error, each line cut to 160 characters (report traces carry every stored record).

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "corvana/Corvana.hpp"
#include "corvana/CorvanaActionMetaData.hpp"
#include "corvana/CorvanaLead.hpp"
#include "corvana/platform.h"
#include "events/CRVDataManager.h"

namespace {

using Clock = std::chrono::steady_clock;

void emit(const std::string& line) {
  const std::string text = line + "\n";
  // One write per line: lines of different threads never interleave, and nothing waits in a buffer.
  if (::write(STDOUT_FILENO, text.data(), text.size()) < 0) std::perror("kill_host: write");
}

// Actions the serial queue has passed whose save may still wait for its group's commit.
std::mutex passedMutex;
std::vector<std::string> passed;

class ShortLog : public corvana::LogSink {
 public:
  void write(const std::string& line) override { std::fprintf(stderr, "%.160s\n", line.c_str()); }
};

void record(corvana::Corvana& sdk, const std::string& round, int thread, std::atomic<bool>& stop) {
  std::minstd_rand random(static_cast<unsigned>(std::hash<std::string>{}(round)) + static_cast<unsigned>(thread) + 1u);
  for (int seq = 0; !stop.load(); ++seq) {
    const std::string name = "r" + round + "-t" + std::to_string(thread) + "-" + std::to_string(seq);
    auto details = std::make_shared<corvana::CorvanaActionMetaData>();
    details->setType("kill");
    details->setDetails("thread " + std::to_string(thread) + " of round " + round);
    details->setKeyWithValue("seq", std::to_string(seq));
    if (seq % 10 == 3) sdk.startSession("s" + std::to_string(thread));
    sdk.reportActionWithMetaData(name, details);
    emit("R " + name);
    // Stored once the serial queue passed the action and the commit of its save returned.
    sdk.serialQueue()->async([name] {
      std::lock_guard<std::mutex> lock(passedMutex);
      passed.push_back(name);
    });
    if (seq % 10 == 7) sdk.endSession("s" + std::to_string(thread));
    if (seq % 40 == 20) {
      auto lead = std::make_shared<corvana::CorvanaLead>();
      lead->setFirstName("Thread" + std::to_string(thread));
      lead->setCity("Round " + round);
      sdk.associateLead(lead);
    }
    // Bursts and lulls: in a lull the reports catch up and the table empties, the moment its row ids restart.
    const auto pause = random() % 4 == 0 ? 40 + random() % 120 : 5 + random() % 20;
    std::this_thread::sleep_for(std::chrono::milliseconds(pause));
  }
}

size_t storedRows() {
  size_t rows = 0;
  corvana::CRVDataManager::sharedInstance().getEventsDataWith(
      [&](const std::string&, const std::vector<int64_t>& ids) { rows = ids.size(); });
  return rows;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: kill_host DATA_DIR SERVICE_DOMAIN CA_FILE RESOLVE ROUND|drain\n");
    return 2;
  }
  corvana::LinuxPlatformOptions options;
  options.dataDirectory = argv[1];
  options.serviceDomain = argv[2];
  options.caFile = argv[3];
  options.resolve = {argv[4]};
  options.appVersion = "2.3.1";
  options.bundleIdentifier = "io.corvana.killhost";
  options.bundlePath = CORVANA_SOURCE_RESOURCES;
  options.logSink = std::make_shared<ShortLog>();
  corvana::Platform::install(corvana::Platform::makeLinuxDefault(options));
  auto& mainQueue = *corvana::Platform::current().mainQueue;

  auto& sdk = corvana::Corvana::sharedInstance();
  corvana::CRVDataManager::sharedInstance().setCommitListener([](bool durable) {
    if (!durable) return;
    std::lock_guard<std::mutex> lock(passedMutex);
    for (const std::string& name : passed) emit("S " + name);
    passed.clear();
  });
  sdk.initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
  const std::string round = argv[5];

  if (round == "drain") {
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (Clock::now() < deadline) {
      sdk.reportAll();
      sdk.serialQueue()->waitUntilIdle();
      mainQueue.drainFor(200);
      if (sdk.sdkInitialized() && storedRows() == 0) return 0;
    }
    std::fprintf(stderr, "kill_host: %zu rows still stored\n", storedRows());
    return 1;
  }

  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) threads.emplace_back(record, std::ref(sdk), round, thread, std::ref(stop));
  // Killed long before this; a host still alive afterwards ends, which the harness reports.
  const auto deadline = Clock::now() + std::chrono::seconds(20);
  for (auto nextReport = Clock::now(); Clock::now() < deadline;) {
    mainQueue.drainFor(20);
    if (Clock::now() < nextReport) continue;
    sdk.reportAll();
    nextReport += std::chrono::milliseconds(100);
  }
  stop.store(true);
  for (auto& thread : threads) thread.join();
  sdk.serialQueue()->waitUntilIdle();
  return 0;
}
