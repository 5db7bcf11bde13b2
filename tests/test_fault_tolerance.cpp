// The SDK against a misbehaving service: down at start, broken answers on the report and the sync, an unknown
// certificate authority, huge answers. In every case nothing crashes, the queues come back within the time-outs,
// the stored events stay, and once the service is healthy again every stored event arrives (a report whose
// answer was lost after the service stored it arrives twice, never zero times).

#include <chrono>
#include <map>
#include <thread>

#include <gtest/gtest.h>

#include "support/Campaigns.h"
#include "support/ServiceTest.h"

using namespace corvana;
using test::ServiceProcess;
using test::eventually;

namespace {

class FaultTolerance : public test::ServiceTest {
 protected:
  // The stored events' JSON lines, in row order.
  std::vector<std::string> storedLines() {
    std::vector<std::string> lines;
    CRVDataManager::sharedInstance().getEventsDataWith([&](const std::string& text, const std::vector<int64_t>&) {
      for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
      }
    });
    return lines;
  }
  // Every line stored at some point has arrived at least once, and the table is empty.
  void expectEverythingArrived(const std::vector<std::string>& stored) {
    ASSERT_TRUE(eventually([&] { return storedRows() == 0; })) << storedRows() << " rows still stored";
    std::map<std::string, int> received;
    const Value events = service->received("acme")["events"];
    for (const Value& entry : events) ++received[entry["line"].get<std::string>()];
    for (const std::string& line : stored) EXPECT_GE(received[line], 1) << line;
  }
  // Restarts the service on its port; `dir` other than its own gives it a certificate the SDK does not trust.
  void restartService(const std::string& dir) {
    const int port = service->port();
    service.reset();
    service = std::make_unique<ServiceProcess>(dir, ServiceProcess::defaultConfig(), port);
  }
  void foreground() {
    tp->clock->advance(4000);  // past the configured sync interval
    Platform::current().application->postNotification(UIApplicationWillEnterForegroundNotification);
    settle(60);
    ASSERT_TRUE(eventually([&] { return !sdk().isSyncing(); }, 60));
  }
};

TEST_F(FaultTolerance, ServiceDownAtTheFirstStartKeepsEveryEventUntilItIsBack) {
  service->stop();
  start();
  EXPECT_TRUE(tp->log->contains("CorvanaSDK-Cannot connect to Corvana."));
  EXPECT_FALSE(sdk().appSecret().has_value());
  // Until a start completes, the host's actions are recorded with a warning.
  for (const char* name : {"offline-1", "offline-2", "offline-3"}) sdk().reportActionWithMetaData(name);
  settle();
  EXPECT_EQ(tp->log->count("CorvanaSDK-[warning] is not initialized. Initialize Framwork using "
                           "initializeWithQuorvelID:appSecret: method."),
            3u);
  const auto stored = storedLines();
  ASSERT_EQ(stored.size(), 4u) << "the device record and the three actions: " << testing::PrintToString(stored);

  restartService(serviceDir.path());
  start();  // the host's next start
  EXPECT_EQ(sdk().appSecret(), std::optional<std::string>("s3cret"));
  expectEverythingArrived(stored);
}

TEST_F(FaultTolerance, BrokenReportAnswersKeepTheRowsAndALostAnswerOnlyDuplicates) {
  startInstalled();
  struct Case {
    const char* name;
    Value fault;
    const char* line;  // what the SDK logs
    bool kept;         // the rows stay for the next report
    int arrivals;      // the service stored the report before the SDK gave up on the answer: it comes again
  };
  const char* failed = "CorvanaFramework--[CRVEventLogger reportEvents:]_block_invoke_2 [Line 213] Failed to report "
                       "events data";
  const Case cases[] = {
      {"cut mid-body", {{"cut_body", true}}, "CorvanaSDK-The network connection was lost.", true, 2},
      {"a broken JSON body", {{"broken_body", true}}, "CorvanaSDK-Internal Error Occured", true, 1},
      {"a 503 page", {{"status", 503}, {"body", "<html>Service Unavailable</html>"}}, failed, true, 1},
      {"a connection closed without an answer", {{"close", true}}, failed, true, 1},
      {"an answer after the 10 s time-out", {{"delay_ms", 10500}}, "CorvanaSDK-The request timed out.", true, 2},
      // The status is not examined: a 500 whose body says "success" is a success.
      {"a 500 saying success", {{"status", 500}}, "CorvanaSDK-Reported all data successfully.", false, 1},
      {"a 50 MB answer", {{"pad_bytes", 50'000'000}}, "CorvanaSDK-Reported all data successfully.", false, 1},
  };
  std::vector<std::string> stored;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Value fault = c.fault;
    fault["paths"] = "^/report/";
    service->setFaults(fault);
    tp->log->clear();
    sdk().reportActionWithMetaData(c.name);
    settle(60);
    for (const auto& line : storedLines()) stored.push_back(line);
    EXPECT_TRUE(tp->log->contains(c.line));
    EXPECT_EQ(storedRows(), c.kept ? 1u : 0u);
    if (c.kept) {
      service->clearFaults();
      sdk().reportAll();
      settle();
    }
  }
  expectEverythingArrived(stored);
  auto arrived = arrivals();
  for (const Case& c : cases) EXPECT_EQ(arrived[c.name], c.arrivals) << c.name;
}

TEST_F(FaultTolerance, BrokenSyncAnswersLeaveTheSettingsAndTheQueueFree) {
  storeInstallation();
  start();
  sdk().setTimeoutInterval(5);
  const Value faults[] = {
      {{"broken_body", true}}, {{"close", true}}, {{"cut_body", true}}, {{"status", 500}, {"body", "oops"}},
      {{"delay_ms", 5500}},    {{"pad_bytes", 50'000'000}},
  };
  size_t syncs = requestsTo("/api/v1/sync/").size();
  for (const Value& fault : faults) {
    SCOPED_TRACE(fault.dump());
    Value applied = fault;
    applied["paths"] = "^/api/v1/sync/";
    service->setFaults(applied);
    foreground();
    // A connection closed without an answer is tried once more by the transport.
    const size_t now = requestsTo("/api/v1/sync/").size();
    EXPECT_GT(now, syncs);
    syncs = now;
    EXPECT_EQ(sdk().appSecret(), std::optional<std::string>("s3cret"));
    // Events recorded right after are stored and reported as usual.
    sdk().reportActionWithMetaData("after a broken sync");
    sdk().reportAll();  // the action's own report may meet the foreground's still in flight
    settle();
    ASSERT_TRUE(eventually([&] { return storedRows() == 0; }));
  }
}

TEST_F(FaultTolerance, AnUnknownCertificateAuthorityIsRefusedAndNothingIsLost) {
  startInstalled();
  // Nothing an answer says turns verification off.
  answerSyncWith({{"config", {{"ssl_verify", false}, {"verify_peer", false}, {"insecure", true},
                              {"allow_invalid_certificates", true}}}});
  foreground();
  ASSERT_EQ(requestsTo("/api/v1/sync/").size(), 1u);
  test::TempDir impostorDir;
  const std::string ownDir = serviceDir.path();
  restartService(impostorDir.path());
  tp->log->clear();
  sdk().reportActionWithMetaData("while an impostor answers");
  settle();
  EXPECT_TRUE(tp->log->contains("CorvanaSDK-The certificate for this server is invalid."));
  EXPECT_TRUE(service->received("acme")["events"].empty()) << "nothing may reach a service the SDK does not trust";
  const auto stored = storedLines();
  ASSERT_EQ(stored.size(), 1u);

  restartService(ownDir);
  sdk().reportAll();
  settle();
  expectEverythingArrived(stored);
}

TEST_F(FaultTolerance, TenThousandCampaignsAreSortedOutWhileEventsKeepFlowing) {
  // The SDK judges a campaign's dates by its own clock when it builds it, and by SQLite's, the real one, when it
  // clears the expired ones: both must read the same time.
  tp->clock->set(Date{test::realNow()});
  storeInstallation();
  start();
  Value inapp = Value::array();
  const double now = tp->clock->now().secondsSince1970 + 4000;  // the foreground moves the clock on
  for (int i = 0; i < 10'000; ++i) {
    const bool live = i % 1000 == 0;
    inapp.push_back(test::liveCampaign("c" + std::to_string(i), "t" + std::to_string(i), "always",
                                       now - 86400, live ? now + 86400 : now - 86400 / 2));
  }
  answerSyncWith({{"inapp", inapp}});
  tp->log->clear();
  foreground();
  sdk().reportActionWithMetaData("during the campaigns");
  sdk().reportAll();
  settle(60);
  ASSERT_TRUE(eventually([&] { return storedRows() == 0; }, 60)) << "the events do not wait for the campaigns";
  sdk().serialInAppQueue()->waitUntilIdle();
  EXPECT_TRUE(tp->log->contains(
      "CorvanaFramework--[Corvana parseResponseForBlockedAndFeatures:]_block_invoke [Line 311] Received 10000 "
      "InAppMessages in sync call."));
  std::lock_guard<std::recursive_mutex> lock(CRVDataManager::sharedInstance().databaseLock());
  LorrowSQLiteManager file(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
  EXPECT_EQ(Value(file.getRowsForQuery("SELECT campaignId FROM crvn_inapp ORDER BY _id")).dump(),
            R"([{"campaignId":"c0"},{"campaignId":"c1000"},{"campaignId":"c2000"},{"campaignId":"c3000"},)"
            R"({"campaignId":"c4000"},{"campaignId":"c5000"},{"campaignId":"c6000"},{"campaignId":"c7000"},)"
            R"({"campaignId":"c8000"},{"campaignId":"c9000"}])");
}

TEST_F(FaultTolerance, AReportAnsweredLateNeverDeletesRowsStoredAfterAnotherReportConfirmed) {
  startInstalled();
  service->setFaults({{"delay_ms", 1500}, {"paths", "^/report/"}, {"times", 1}});
  sdk().reportActionWithMetaData("first");  // its report waits for the slow answer
  sdk().serialQueue()->waitUntilIdle();
  ASSERT_TRUE(logger().isReporting());
  sdk().reportAll();  // a forced report sends the same row again and is answered at once
  ASSERT_TRUE(eventually([&] { return storedRows() == 0; }));
  // The table is empty, so the next rows take the ids the slow report still holds.
  service->setFaults({{"close", true}, {"paths", "^/report/"}});
  sdk().reportActionWithMetaData("second");
  sdk().serialQueue()->waitUntilIdle();
  // The start's report, the forced one, then the slow one are confirmed; the deletion follows the line.
  ASSERT_TRUE(tp->log->waitFor("CorvanaSDK-Reported all data successfully.", 3));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(storedLines().size(), 1u) << "the slow answer must delete only the rows it sent";
  service->clearFaults();
  sdk().reportAll();
  settle();
  ASSERT_TRUE(eventually([&] { return storedRows() == 0; }));
  auto names = arrivals();
  EXPECT_EQ(names["first"], 2);
  EXPECT_EQ(names["second"], 1);
}

}  // namespace
