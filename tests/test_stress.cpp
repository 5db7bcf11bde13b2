// Many host threads at once: every public operation of the facade in random order while lifecycle changes and
// deep links arrive, against the reference service; and the SDK's locks taken from every entry point at the same
// moment, round after round, with a watchdog that turns a deadlock into a failure.

#include <barrier>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "inapp/CRVInAppHandler.h"
#include "inapp/CRVInAppMessage.h"
#include "support/Campaigns.h"
#include "support/ServiceTest.h"

using namespace corvana;
using test::eventually;

namespace {

using Stress = test::ServiceTest;

TEST_F(Stress, EightHostThreadsCallEveryOperationWhileTheAppComesAndGoes) {
  start();
  ASSERT_TRUE(sdk().sdkInitialized());
  constexpr int kThreads = 8, kCallsEach = 100;
  const unsigned seed = std::random_device{}();

  // Each thread records its own action names; they must all arrive.
  std::vector<std::vector<std::string>> actions(kThreads);
  const std::vector<std::function<void(int, int)>> operations = {
      [&](int t, int i) {
        auto details = std::make_shared<CorvanaActionMetaData>();  // one per call: read when the work runs
        details->setKeyWithValue("thread", std::to_string(t));
        details->setKeyWithValue("call", std::to_string(i));
        details->setKeyWithValue("sku", "A-1");
        actions[t].push_back("a" + std::to_string(t) + "-" + std::to_string(i));
        sdk().reportActionWithMetaData(actions[t].back(), details);
      },
      [&](int t, int) { sdk().startSession("s" + std::to_string(t)); },
      [&](int t, int) { sdk().endSession("s" + std::to_string(t)); },
      [&](int, int) { sdk().endAllSessionsWithType("any"); },
      [&](int, int) { sdk().discardAllSessions(); },
      [&](int t, int) {
        auto lead = std::make_shared<CorvanaLead>();
        lead->setFirstName("T" + std::to_string(t));
        sdk().associateLead(lead);
      },
      [&](int, int) { sdk().reportAll(); },
      [&](int t, int) { sdk().registerPushDeviceToken(Data{uint8_t(t), 0xab, 0xcd}); },
      [&](int, int) { sdk().unregisterPushDeviceToken(); },
      [&](int, int) { (void)sdk().getPushDeviceToken(), (void)sdk().isPushRegistered(), (void)sdk().getDeviceId(); },
      [&](int, int) { sdk().trackPushNotification(Value{{"crvn", {{"cid", "p1"}}}}); },
      [&](int, int) { sdk().handlePushNotification(Value{{"crvn", {{"cid", "p2"}, {"action", "close"}}}}); },
      [&](int, int) {
        sdk().userNotificationCenterDidReceiveNotificationResponseWithCompletionHandler(
            Value{{"crvn", {{"cid", "p3"}}}}, [] {});
      },
      [&](int, int) { (void)sdk().applicationOpenURLOptions("crvnx://add_test_device?secret=wrong&token=T1"); },
      [&](int, int) { sdk().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native"); },
      [&](int, int) { sdk().setTimeoutInterval(7); },
      [&](int, int) { sdk().resyncConfiguration(); },
      [&](int, int) { Platform::current().application->postNotification(UIApplicationDidEnterBackgroundNotification); },
      [&](int, int) { Platform::current().application->postNotification(UIApplicationWillEnterForegroundNotification); },
  };

  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(seed + static_cast<unsigned>(t));
      // One call in three records an action (the first operation); the rest spread over the others.
      std::uniform_int_distribution<size_t> pick(0, 3 * (operations.size() - 1) - 1);
      for (int i = 0; i < kCallsEach; ++i) {
        const size_t draw = pick(random);
        operations[draw % 3 == 0 ? 0 : 1 + draw / 3](t, i);
      }
    });
  }
  // The host's main thread keeps running its queue meanwhile (alerts of refused deep links land there).
  std::atomic<bool> done{false};
  std::thread joiner([&] {
    for (auto& thread : threads) thread.join();
    done = true;
  });
  while (!done) Platform::current().mainQueue->drainFor(5);
  joiner.join();

  sdk().reportAll();
  settle();
  ASSERT_TRUE(eventually([&] {
    sdk().reportAll();
    sdk().serialQueue()->waitUntilIdle();
    return !logger().isReporting() && storedRows() == 0;
  })) << storedRows() << " rows left";
  std::map<std::string, int> arrived;
  for (const Value& event : receivedEvents()) ++arrived[event.value("name", "")];
  size_t recorded = 0, twice = 0;
  for (const auto& names : actions) {
    for (const std::string& name : names) {
      ++recorded;
      EXPECT_GE(arrived[name], 1) << name << " never arrived";
      if (arrived[name] > 1) ++twice;
    }
  }
  test::writeFigures("stress.json", {{"threads", kThreads}, {"calls", kThreads * kCallsEach},
                                     {"operations", operations.size()}, {"actions_recorded", recorded},
                                     {"actions_duplicated", twice}, {"seed", seed}});
}

// Four threads enter the SDK's locks from their four entry points at the same moment: the event logger (its
// monitor, then the database), the trigger handler (its monitor, the database, the trigger table), the campaign
// store's refresh (the database, the trigger table) and the reporter (the logger's monitor, the database, the
// network's completion). A round that does not end within the watchdog's limit is a deadlock.
TEST(LockOrder, NoDeadlockWhenEveryEntryPointRunsAtOnce) {
  // On memory where there is some: the rounds are about lock order, not the disk.
  LinuxPlatformOptions options = test::testPlatformOptions();
  std::string shm = "/dev/shm/corvana-lock-XXXXXX";
  if (std::filesystem::is_directory("/dev/shm") && ::mkdtemp(shm.data())) options.dataDirectory = shm;
  auto& tp = test::installTestPlatform(options);
  // The triggers compare the campaigns' dates with SQLite's clock, the real one: the SDK's clock reads the same.
  const double now = test::realNow();
  tp.clock->set(Date{now});
  const int rounds = static_cast<int>(test::envNumber("CORVANA_LOCK_ROUNDS", 10'000));
  // An installation that starts at once, without a sync; its reports fail fast, as nothing listens.
  CRVUtil::setObjectForKey(Value("2.3.1"), kKeyAppVersion);
  CRVUtil::setObjectForKey(Value("acme"), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value("s3cret"), kKeyAppSecret);
  CRVUtil::setObjectForKey(Value("native"), kKeyFrameworkType);
  CRVUtil::setObjectForKey(PreferenceValue(tp.clock->now()), kKeyLastUpdate);
  Corvana::sharedInstance().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native");
  Corvana::sharedInstance().serialQueue()->waitUntilIdle();
  ASSERT_TRUE(Corvana::sharedInstance().sdkInitialized());
  CRVDataManager& store = CRVDataManager::sharedInstance();
  for (const char* cid : {"c1", "c2"}) {
    auto campaign = CRVInAppMessage::initWithDictionary(test::liveCampaign(cid, "buy", "always", now - 86400, now + 86400));
    ASSERT_TRUE(campaign);
    store.saveCampaign(campaign);
  }

  std::mutex mutex;
  std::condition_variable progressed;
  int finished = 0;
  std::barrier sync(4, [&]() noexcept {
    std::lock_guard<std::mutex> lock(mutex);
    ++finished;
    progressed.notify_all();
  });
  auto& logger = CRVEventLogger::sharedInstance();
  const std::vector<std::function<void(int)>> entries = {
      [&](int r) { logger.reportCheckpointWithTypeAndMeta("r" + std::to_string(r), "custom", Value::object()); },
      [&](int r) {
        // The first trigger shows the campaign, and the handler then only checks; the session re-arms through
        // the store.
        CRVInAppHandler::sharedInstance().currentEvent(Value{{"name", "buy"}});
        if (r % 2) CRVInAppHandler::sharedInstance().currentSession("crv_app_session");
      },
      [&](int) { store.getAllValidMessages(); },
      [&](int r) {
        if (r % 50 == 0) logger.reportEvents(true);  // nothing listens: the post fails at once on loopback
        store.getEventsDataWith([&](const std::string&, const std::vector<int64_t>& ids) {
          if (ids.size() > 100) store.cleanUpEventsWith(ids);
        });
      },
  };
  std::vector<std::thread> threads;
  for (const auto& entry : entries) {
    threads.emplace_back([&, entry] {
      for (int r = 0; r < rounds; ++r) {
        entry(r);
        sync.arrive_and_wait();
      }
    });
  }
  std::unique_lock<std::mutex> lock(mutex);
  for (int seen = 0; seen < rounds;) {
    if (!progressed.wait_for(lock, std::chrono::seconds(60), [&] { return finished > seen; })) {
      ADD_FAILURE() << "deadlock: round " << seen << " of " << rounds << " did not end within 60 s";
      std::_Exit(1);  // the stuck threads cannot be joined
    }
    seen = finished;
  }
  lock.unlock();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(finished, rounds);
  test::writeFigures("lock-order.json",
                     {{"threads", entries.size()}, {"rounds", rounds}, {"deadlocks", rounds - finished}});
  Corvana::sharedInstance().serialQueue()->waitUntilIdle();
  std::error_code ignored;
  if (options.dataDirectory == shm) std::filesystem::remove_all(shm, ignored);
}

}  // namespace
