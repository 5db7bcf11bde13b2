// The SDK against the reference service over loopback HTTPS: a report of 1,000 stored events (from the report's
// start to the sent rows deleted) and a configuration sync of 50 campaigns whose images are already cached (from
// the sync's start to the trigger table rebuilt).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "SampleCampaigns.h"
#include "inapp/CRVInAppHandler.h"
#include "util/Log.h"

namespace corvana::bench {
namespace {

constexpr int kReportedEvents = 1000;
constexpr int kCampaigns = 50;

Installation& installation() {
  static Installation* made = new Installation();
  return *made;
}

// Median and 90th percentile of the iterations' times, in milliseconds.
double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

// Median and 90th percentile of the iterations' times, and the median of the part until the service's answer
// was in, in milliseconds.
void reportIterations(benchmark::State& state, std::vector<double> seconds, const std::vector<double>& answered) {
  if (seconds.empty()) return;
  state.counters["answer_median_ms"] = median(answered) * 1e3;
  std::sort(seconds.begin(), seconds.end());
  state.counters["median_ms"] = seconds[seconds.size() / 2] * 1e3;
  state.counters["p90_ms"] = seconds[std::min(seconds.size() - 1, seconds.size() * 9 / 10)] * 1e3;
}

// 1,000 action records (three detail keys each), stored in one statement on a connection of the benchmark's own:
// the row limit would drop the thousandth if they went through the store one by one.
void storeThousandEvents(Installation& env) {
  std::string rows = "INSERT INTO lorrow_events (event) VALUES ";
  for (int i = 0; i < kReportedEvents; ++i) {
    rows += strfmt(
        "%s('{\"timestamp\":1795262400,\"event_type\":\"checkpoint\",\"name\":\"checkout\",\"metadata\":{\"sku\":"
        "\"A-%d\",\"price\":\"12.50\",\"screen\":\"checkout\"},\"type\":\"custom\"}')",
        i > 0 ? "," : "", i);
  }
  LorrowSQLiteManager file(env.databasePath());
  (void)file.doQuery(rows + ";");
}

void BM_Report1000Events(benchmark::State& state) {
  Installation& env = installation();
  if (!env.ok()) {
    state.SkipWithError("the SDK did not start against the reference service");
    return;
  }
  env.holdReportsBack(false);
  Corvana& sdk = Corvana::sharedInstance();
  CRVEventLogger& logger = sdk.eventLogger();
  std::vector<double> times, answered;
  for (auto _ : state) {
    env.settle();
    CRVDataManager::sharedInstance().cleanUpAppEvents();
    storeThousandEvents(env);
    if (env.storedEvents() != static_cast<size_t>(kReportedEvents)) {
      state.SkipWithError("the 1,000 events could not be stored");
      return;
    }
    const size_t reportsBefore = env.log().count(env.log().reportedLine());
    const auto start = Clock::now();
    sdk.reportAll();
    // Done when the service's answer has been handled: the success line is written, the rows deleted, then the
    // flag cleared.
    const bool done = waitFor([&] {
      return env.log().count(env.log().reportedLine()) > reportsBefore && !logger.isReporting();
    });
    const double seconds = secondsSince(start);
    state.SetIterationTime(seconds);
    times.push_back(seconds);
    answered.push_back(std::chrono::duration<double>(env.log().lastAt(env.log().reportedLine()) - start).count());
    if (!done || env.storedEvents() != 0) {
      state.SkipWithError("the report did not delete the 1,000 rows");
      return;
    }
  }
  state.counters["events"] = kReportedEvents;
  reportIterations(state, times, answered);
}

// The service answers every sync with 50 campaigns of the six sample layouts, each with its own trigger and the
// sample pictures; the first sync, untimed, downloads the pictures into the cache.
bool serveFiftyCampaigns(Installation& env) {
  const auto images = std::filesystem::path(env.service().dir()) / "images";
  demo::writeSampleImages(images);
  const Value samples = demo::sampleCampaigns(env.service().baseUrl("acme") + "images/");
  Value campaigns = Value::array();
  for (int n = 0; n < kCampaigns; ++n) {
    Value campaign = samples[static_cast<size_t>(n % 6)];
    campaign["cid"] = "bench-" + std::to_string(n);
    campaign["display_trigger"] = "bench_trigger_" + std::to_string(n);
    campaigns.push_back(campaign);
  }
  Value config = Value::parse(test::ServiceProcess::defaultConfig());
  Value& account = config["accounts"]["acme"];
  account["images_dir"] = images.string();
  account["sync"]["inapp"] = campaigns;
  env.service().setConfig(config);
  return true;
}

// Starts a sync now (the last one is moved a day back so that the ten-second spacing lets it through) and waits
// until the campaigns of its answer are stored and the trigger table is rebuilt.
bool syncAndWait(Installation& env, double* seconds, double* answered = nullptr) {
  Corvana& sdk = Corvana::sharedInstance();
  CRVUtil::setObjectForKey(PreferenceValue(Date{Platform::current().clock->now().secondsSince1970 - 86400}),
                           kKeyLastUpdate);
  const size_t syncsBefore = env.log().count(env.log().receivedCampaignsLine());
  const auto start = Clock::now();
  sdk.resyncConfiguration();
  // The answer's campaigns are queued on serialInAppQueue before the sync counts as finished.
  waitFor([&] { return !sdk.isSyncing(); });
  sdk.serialInAppQueue()->waitUntilIdle();
  const bool gotAnswer = env.log().count(env.log().receivedCampaignsLine()) > syncsBefore;
  if (seconds) *seconds = secondsSince(start);
  if (answered) *answered = std::chrono::duration<double>(env.log().lastAt(env.log().receivedCampaignsLine()) - start).count();
  const auto table = CRVInAppHandler::sharedInstance().crvInappEvents();
  return gotAnswer && table && table->size() == static_cast<size_t>(kCampaigns);
}

void BM_Sync50CachedCampaigns(benchmark::State& state) {
  Installation& env = installation();
  if (!env.ok()) {
    state.SkipWithError("the SDK did not start against the reference service");
    return;
  }
  env.settle();
  static const bool served = serveFiftyCampaigns(env);
  static const bool warm = syncAndWait(env, nullptr);
  if (!served || !warm) {
    state.SkipWithError("the first sync did not store the 50 campaigns");
    return;
  }
  std::vector<double> times, answered;
  for (auto _ : state) {
    env.settle();
    double seconds = 0, answer = 0;
    const bool rebuilt = syncAndWait(env, &seconds, &answer);
    state.SetIterationTime(seconds);
    times.push_back(seconds);
    answered.push_back(answer);
    if (!rebuilt) {
      state.SkipWithError("the sync did not rebuild the trigger table with the 50 campaigns");
      return;
    }
  }
  state.counters["campaigns"] = kCampaigns;
  reportIterations(state, times, answered);
}

BENCHMARK(BM_Report1000Events)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sync50CachedCampaigns)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace corvana::bench

BENCHMARK_MAIN();
