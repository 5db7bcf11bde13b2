// The recording calls as a host makes them: what each call costs the host's thread (the work itself runs on the
// SDK's serial queue), and how many events per second the store writes to the database file.

#include <benchmark/benchmark.h>

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

// Untimed preparation of a run: no work in flight, no stored event, reports held back or not.
bool prepare(benchmark::State& state, bool holdReportsBack) {
  Installation& env = installation();
  if (!env.ok()) {
    state.SkipWithError("the SDK did not start against the reference service");
    return false;
  }
  env.holdReportsBack(holdReportsBack);
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
  if (!prepare(state, true)) return;
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
  if (!prepare(state, true)) return;
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
  if (!prepare(state, true)) return;
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

// 10,000 actions recorded as fast as the host can, timed until the last is written to the database file (the
// serial queue idle: every store call returned, each a committed transaction).
//   held back: reports are refused, so the table fills to the row limit and from then on each new event is
//              written and dropped again (the limit's four statements).
//   reporting: the reports the actions ask for go to the reference service and delete what it confirms, so the
//              table stays small and every event is kept until sent.
void BM_StoreRate(benchmark::State& state) {
  const bool heldBack = state.range(0) == 0;
  if (!prepare(state, heldBack)) return;
  Installation& env = installation();
  Corvana& sdk = Corvana::sharedInstance();
  std::vector<std::shared_ptr<CorvanaActionMetaData>> details;
  for (int i = 0; i < kCalls; ++i) details.push_back(threeKeyDetails(i));
  const std::string name = "checkout";
  const size_t receivedBefore = heldBack ? 0 : env.serviceReceivedCount();
  double seconds = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int i = 0; i < kCalls; ++i) sdk.reportActionWithMetaData(name, details[static_cast<size_t>(i)]);
    sdk.serialQueue()->waitUntilIdle();
    seconds = secondsSince(start);
    state.SetIterationTime(seconds);
  }
  env.settle();
  if (!heldBack) {
    sdk.reportAll();
    env.settle();
  }
  const size_t stored = env.storedEvents();
  const size_t received = heldBack ? 0 : env.serviceReceivedCount() - receivedBefore;
  state.counters["events"] = kCalls;
  state.counters["events_per_s"] = kCalls / seconds;
  state.counters["rows_left"] = static_cast<double>(stored);
  state.counters["received_by_service"] = static_cast<double>(received);
  // Held back, the table keeps 999 of the events; reporting, none is dropped.
  state.counters["dropped_by_limit"] = static_cast<double>(kCalls - stored - received);
}

BENCHMARK(BM_HostThread_reportActionWithMetaData)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostThread_startSessionEndSession)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostThread_associateLead)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StoreRate)->ArgName("reporting")->Arg(0)->Arg(1)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace corvana::bench

BENCHMARK_MAIN();
