// The recording calls as a host makes them: what each call costs the host's thread (the work itself runs on the
// SDK's serial queue), how fast the store makes a burst of actions durable, at what CPU cost, and, as the limit
// those rates are read against, how many synced writes per second the disk under the store takes.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "corvana/CorvanaLead.hpp"

namespace corvana::bench {
namespace {

constexpr int kCalls = 10000;

Installation& installation() {
  static Installation* made = new Installation();
  return *made;
}

// What becomes of the reports the actions ask for.
enum Reports {
  kHeldBack = 0,  // never sent: the account is in secure mode without a signature
  kWorking = 1,   // sent to the reference service, which confirms them; the rows sent are deleted
  kRefused = 2,   // sent and answered with a 503 page; the rows stay
};

// Untimed preparation of a run: no work in flight, no stored event, reports as `reports` says.
bool prepare(benchmark::State& state, Reports reports = kHeldBack) {
  Installation& env = installation();
  if (!env.ok()) {
    state.SkipWithError("the SDK did not start against the reference service");
    return false;
  }
  env.holdReportsBack(reports == kHeldBack);
  env.refuseReports(reports == kRefused);
  env.settle();
  CRVDataManager::sharedInstance().cleanUpAppEvents();
  return true;
}

// Times each call on its own; the clock is read twice per call (about 20-30 ns of the figures).
template <typename Call>
std::vector<double> timeEachCall(int calls, Call call) {
  std::vector<double> nanoseconds;
  nanoseconds.reserve(static_cast<size_t>(calls));
  for (int i = 0; i < calls; ++i) {
    const auto start = Clock::now();
    call(i);
    const auto end = Clock::now();
    nanoseconds.push_back(std::chrono::duration<double, std::nano>(end - start).count());
  }
  return nanoseconds;
}

void BM_HostThread_reportActionWithMetaData(benchmark::State& state) {
  if (!prepare(state)) return;
  Corvana& sdk = Corvana::sharedInstance();
  std::vector<std::shared_ptr<CorvanaActionMetaData>> details;
  for (int i = 0; i < kCalls; ++i) details.push_back(threeKeyDetails(i));
  const std::string name = "checkout";
  std::vector<double> samples;
  for (auto _ : state) {
    samples = timeEachCall(kCalls, [&](int i) { sdk.reportActionWithMetaData(name, details[static_cast<size_t>(i)]); });
  }
  installation().settle();
  reportDistribution(state, samples);
}

void BM_HostThread_startSessionEndSession(benchmark::State& state) {
  if (!prepare(state)) return;
  Corvana& sdk = Corvana::sharedInstance();
  const std::string name = "level-3";
  std::vector<double> starts, ends;
  for (auto _ : state) {
    starts.clear();
    ends.clear();
    starts.reserve(kCalls);
    ends.reserve(kCalls);
    for (int i = 0; i < kCalls; ++i) {
      auto start = Clock::now();
      sdk.startSession(name);
      auto end = Clock::now();
      starts.push_back(std::chrono::duration<double, std::nano>(end - start).count());
      start = Clock::now();
      sdk.endSession(name);
      end = Clock::now();
      ends.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    }
  }
  installation().settle();
  reportDistribution(state, starts, "startSession_");
  reportDistribution(state, ends, "endSession_");
}

void BM_HostThread_associateLead(benchmark::State& state) {
  if (!prepare(state)) return;
  Corvana& sdk = Corvana::sharedInstance();
  auto lead = std::make_shared<CorvanaLead>();
  lead->setEmail("ada@example.com");
  lead->setFirstName("Ada");
  lead->setCity("London");
  std::vector<double> samples;
  for (auto _ : state) {
    samples = timeEachCall(kCalls, [&](int) { sdk.associateLead(lead); });
  }
  installation().settle();
  reportDistribution(state, samples);
}

// User plus system CPU time of the whole process, every thread of the SDK included, in seconds.
double processCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// When the rows of the first `actions` actions of a burst were durable: at every commit that returned, the
// newest row left in the table names the newest action whose save it made durable (saves run in order). The
// store calls this under its own lock, on its own connection. Rows deleted by a confirmed report are already
// gone, so a commit may show an older action than its newest save; a later commit shows it.
class CommitWatch {
 public:
  CommitWatch(int actions, Clock::time_point start) : actions_(actions), start_(start) {
    CRVDataManager& store = CRVDataManager::sharedInstance();
    std::lock_guard<std::recursive_mutex> lock(store.databaseLock());
    store.setCommitListener([this, &store](bool durable) {
      if (!durable || seconds_ > 0) return;
      const auto newest = store.sql().getRowsForQuery("SELECT event FROM lorrow_events ORDER BY _id DESC LIMIT 1");
      if (!newest.empty() && actionNumber(newest.front().value("event", "")) >= actions_ - 1) {
        seconds_ = secondsSince(start_);
      }
    });
  }
  ~CommitWatch() {
    CRVDataManager& store = CRVDataManager::sharedInstance();
    std::lock_guard<std::recursive_mutex> lock(store.databaseLock());
    store.setCommitListener(nullptr);
  }
  // Seconds from the start until they were durable; 0 while they are not.
  double seconds() const { return seconds_.load(); }

 private:
  const int actions_;
  const Clock::time_point start_;
  std::atomic<double> seconds_{0};
};

// 10,000 actions recorded as fast as the host can (3 detail keys each), timed until the last is stored: the
// serial queue idle, which is after the commit of the last group of saves.
//   reports:0  held back: reports are never sent, so the table fills to the row limit and from then on each new
//              event is written and dropped again (the limit's statements).
//   reports:1  working: the reports the actions ask for go to the reference service and delete what it confirms,
//              so the table stays small and every event is kept until sent.
//   reports:2  refused: every report is sent and answered with a 503 page; the table fills to the row limit as
//              held back, and the report in flight reads and sends up to 999 rows each time.
// Besides the whole burst: the time until the rows of its first 999 actions were durable (the most the table
// holds while reports fail: from the 1,000th on, the limit drops the newest event), and the CPU time of the
// process from the first action handed over until the queue is idle and no report is in flight, per action
// recorded (the saves performed: the table keeps at most 999 of them when reports fail).
void BM_StoreRate(benchmark::State& state) {
  const auto reports = static_cast<Reports>(state.range(0));
  if (!prepare(state, reports)) return;
  Installation& env = installation();
  Corvana& sdk = Corvana::sharedInstance();
  std::vector<std::shared_ptr<CorvanaActionMetaData>> details;
  for (int i = 0; i < kCalls; ++i) details.push_back(threeKeyDetails(i));
  const std::string name = "checkout";
  constexpr int kFirstRows = MAX_CHECKPOINTS_COUNT - 1;
  const size_t receivedBefore = reports == kWorking ? env.serviceReceivedCount() : 0;
  double seconds = 0, firstRowsSeconds = 0, cpuSeconds = 0;
  size_t reportsSent = 0;
  for (auto _ : state) {
    const size_t sentBefore = env.log().count(WatchingLog::reportSentLine());
    const double cpuBefore = processCpuSeconds();
    const auto start = Clock::now();
    CommitWatch firstRows(kFirstRows, start);
    for (int i = 0; i < kCalls; ++i) sdk.reportActionWithMetaData(name, details[static_cast<size_t>(i)]);
    sdk.serialQueue()->waitUntilIdle();
    seconds = secondsSince(start);
    waitFor([&] { return !sdk.eventLogger().isReporting(); });
    cpuSeconds = processCpuSeconds() - cpuBefore;
    reportsSent = env.log().count(WatchingLog::reportSentLine()) - sentBefore;
    firstRowsSeconds = firstRows.seconds();
    state.SetIterationTime(seconds);
  }
  env.settle();
  if (reports == kWorking) {
    sdk.reportAll();
    env.settle();
  }
  const size_t stored = env.storedEvents();
  const size_t received = reports == kWorking ? env.serviceReceivedCount() - receivedBefore : 0;
  state.counters["events"] = kCalls;
  state.counters["events_per_s"] = kCalls / seconds;
  state.counters["first_rows"] = kFirstRows;
  state.counters["first_rows_ms"] = firstRowsSeconds * 1e3;
  state.counters["first_rows_per_s"] = firstRowsSeconds > 0 ? kFirstRows / firstRowsSeconds : 0;
  state.counters["cpu_us_per_event"] = cpuSeconds * 1e6 / kCalls;
  // Each report sent reads every stored row and posts them all: with reports failing, the most the CPU goes to.
  state.counters["reports_sent"] = static_cast<double>(reportsSent);
  state.counters["rows_left"] = static_cast<double>(stored);
  state.counters["received_by_service"] = static_cast<double>(received);
  // Reports failing, the table keeps 999 of the events; working, none is dropped.
  state.counters["dropped_by_limit"] = static_cast<double>(kCalls - stored - received);
}

// The limit the store's rates are read against: 1 KB appended and fdatasync'd, for two seconds or 2,000 writes,
// in the folder the benchmark's database lives in (BENCH_DATA_DIR), each write waiting for the disk as a commit
// of the store does.
void BM_FdatasyncWrites(benchmark::State& state) {
  const std::filesystem::path folder = benchRoot();
  const std::string file = (folder / "fdatasync.bin").string();
  const std::string kilobyte(1024, 'x');
  int writes = 0;
  double seconds = 0;
  for (auto _ : state) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0) {
      state.SkipWithError("cannot create a file in the data folder");
      break;
    }
    const auto start = Clock::now();
    for (writes = 0; writes < 2000 && secondsSince(start) < 2.0; ++writes) {
      if (::write(fd, kilobyte.data(), kilobyte.size()) != static_cast<ssize_t>(kilobyte.size()) ||
          ::fdatasync(fd) != 0) {
        state.SkipWithError("a write or its fdatasync failed");
        break;
      }
    }
    seconds = secondsSince(start);
    ::close(fd);
    state.SetIterationTime(seconds);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  state.counters["writes"] = writes;
  state.counters["writes_per_s"] = seconds > 0 ? writes / seconds : 0;
}

BENCHMARK(BM_HostThread_reportActionWithMetaData)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostThread_startSessionEndSession)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostThread_associateLead)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StoreRate)
    ->ArgName("reports")
    ->DenseRange(kHeldBack, kRefused)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FdatasyncWrites)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace corvana::bench

BENCHMARK_MAIN();
