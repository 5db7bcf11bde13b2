// The event pipeline as a host app drives it: facade calls on the host's thread, work on serialQueue, and the
// rows read back from the real database file.

#include <chrono>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "corvana/constants.h"
#include "events/CRVEventLogger.h"
#include "storage/LorrowSQLiteManager.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

using namespace corvana;
using Lines = std::vector<std::string>;

namespace {

class EventLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    // What a completed earlier start leaves behind, with the device record already sent.
    CRVUtil::setObjectForKey(Value("2.3.1"), kKeyAppVersion);
    CRVUtil::setObjectForKey(Value("acme"), kKeyQuorvel);
    CRVUtil::setObjectForKey(Value("s3cret"), kKeyAppSecret);
    CRVUtil::setObjectForKey(Value("native"), kKeyFrameworkType);
    CRVUtil::setBoolForKey(true, kKeyInitReport);
  }

  Corvana& sdk() { return Corvana::sharedInstance(); }
  void start() {
    sdk().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
    drain();
    // The start-up's report and resync fail at once (nothing listens), but on the network thread: wait for them,
    // so their lines come before the test's own.
    for (int i = 0; i < 1000 && (sdk().eventLogger().isReporting() || sdk().isSyncing()); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  void drain() { sdk().serialQueue()->waitUntilIdle(); }

  // Every stored record, in row order, read through a connection of the test's own.
  std::vector<Value> rows() {
    LorrowSQLiteManager file(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
    std::vector<Value> records;
    for (const Value& row : file.getRowsForQuery("SELECT event FROM lorrow_events ORDER BY _id")) {
      records.push_back(Value::parse(row["event"].get<std::string>()));
    }
    return records;
  }
  int32_t now() { return static_cast<int32_t>(tp->clock->now().secondsSince1970); }

  test::TestPlatform* tp = nullptr;
};

TEST_F(EventLoggerTest, FirstEventAfterAChangedInstallationIsPrecededByOneDeviceRecord) {
  CRVUtil::setBoolForKey(false, kKeyInitReport);
  start();  // the app session's open is the first event
  sdk().reportActionWithMetaData("checkout");
  drain();

  // Objects compare in key order.
  const auto checkpoint = [&](const char* name, const char* type) {
    return Value{{"timestamp", now()}, {"event_type", "checkpoint"}, {"name", name}, {"type", type}};
  };
  EXPECT_EQ(rows(), (std::vector<Value>{
                        {{"timestamp", now()}, {"event_type", "init"}, {"device_state", CRVUtil::deviceState()}},
                        checkpoint("crv_app_open", "internal"), checkpoint("checkout", "custom")}));
  EXPECT_EQ(CRVUtil::getIntForkey("crv_app_open"), 1);
}

TEST_F(EventLoggerTest, ActionMetadataAndLeadAttributesAreStoredAsGivenWhenTheQueuedWorkRuns) {
  start();
  auto meta = std::make_shared<CorvanaActionMetaData>();
  meta->setType("purchase");
  meta->setDetails("");  // ignored
  meta->setMetric(Value(0));
  meta->setLength(Value());  // ignored
  meta->setKeyWithValue("sku", "A-1");
  meta->setKeyWithValue("sku", "A-2");

  auto lead = std::make_shared<CorvanaLead>();
  lead->setFirstName("Ada");
  lead->setFirstName("");  // keeps Ada
  lead->setEmail("not-an-address");
  lead->setBirthDay("1815-12-10");
  lead->setFacebookProfilePicURL("https://pics.example/ada.png");
  lead->setFieldNameWithValue("plan", "gold");

  // The records are read when the queued work runs: a change made in between is reported too.
  std::promise<void> release;
  auto released = release.get_future().share();
  sdk().serialQueue()->async([released] { released.wait(); });
  sdk().reportActionWithMetaData("buy", meta);
  sdk().associateLead(lead);
  lead->setEmail("ada@example.co.uk");
  release.set_value();
  drain();

  const auto records = rows();
  ASSERT_EQ(records.size(), 3u);  // the app open, the action, the lead
  EXPECT_EQ(records[1], (Value{{"timestamp", now()}, {"event_type", "checkpoint"}, {"name", "buy"},
                               {"metadata", {{"Action Type", "purchase"}, {"Action Metric", 0}, {"sku", "A-2"}}},
                               {"type", "custom"}}));
  EXPECT_EQ(records[2], (Value{{"timestamp", now()}, {"event_type", "user"},
                               {"user", {{"firstName", "Ada"}, {"dateOfBirth", "1815-12-10"},
                                         {"facebookPhotoURL", "https://pics.example/ada.png"}, {"plan", "gold"},
                                         {"email", "ada@example.co.uk"}}}}));
}

TEST_F(EventLoggerTest, RefusedCallsStoreNothingAndSessionsLastWholeSeconds) {
  start();
  tp->log->clear();
  sdk().reportActionWithMetaData("");
  sdk().associateLead(nullptr);
  sdk().startSession("");
  sdk().endSession("");
  tp->clock->advance(0.3);
  sdk().startSession("checkout");
  sdk().startSession("checkout");
  drain();
  tp->clock->advance(0.4);  // same second
  sdk().endSession("checkout");
  drain();
  EXPECT_EQ(rows().size(), 1u);  // the app open
  EXPECT_TRUE(sdk().eventLogger().sessions().contains("checkout"));

  tp->clock->advance(2.0);
  sdk().endSession("checkout");
  sdk().endSession("checkout");
  sdk().endSession("crv_app_session");  // the app session is open: it ends like any other
  sdk().endSession("crv_app_session");  // and is then silent
  drain();
  const auto records = rows();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[1], (Value{{"timestamp", now()}, {"event_type", "session"}, {"name", "checkout"},
                               {"duration", 2}, {"type", "internal"}}));
  EXPECT_EQ(records[2]["name"], "crv_app_session");
  EXPECT_EQ(records[2]["duration"], 2);
  Lines sdkLines = tp->log->lines();
  // Ending a session reports it, which fails here: nothing listens.
  std::erase_if(sdkLines, [](const std::string& line) {
    return !line.starts_with("CorvanaSDK-") || line == "CorvanaSDK-Cannot connect to Corvana.";
  });
  EXPECT_EQ(sdkLines, (Lines{"CorvanaSDK-Actin name should be a valid string. Failed to report action .",
                             "CorvanaSDK-Please set valid user attributes",
                             "CorvanaSDK-Session checkout already started.",
                             "CorvanaSDK-checkout session not started."}));
}

TEST_F(EventLoggerTest, EndingAllSessionsUsesASnapshotAndDiscardingStoresNothing) {
  start();
  sdk().startSession("old");
  drain();
  tp->clock->advance(3);
  sdk().startSession("young");
  sdk().endAllSessionsWithType("ignored");
  drain();
  auto records = rows();
  ASSERT_EQ(records.size(), 3u);  // app open, then crv_app_session and old in the snapshot's order
  EXPECT_EQ(records[1]["name"], "crv_app_session");
  EXPECT_EQ(records[2]["name"], "old");
  EXPECT_EQ(sdk().eventLogger().sessions(), (Value{{"young", {{"start", now()}}}}));

  tp->clock->advance(5);
  sdk().discardAllSessions();
  sdk().endAllSessionsWithType("");
  drain();
  EXPECT_EQ(rows().size(), 3u);
}

TEST_F(EventLoggerTest, FiveHundredOpenSessionsRefuseEvenAKnownName) {
  auto& logger = CRVEventLogger::sharedInstance();
  for (int i = 0; i < MAX_SESSIONS_COUNT; ++i) ASSERT_TRUE(logger.startSession("s" + std::to_string(i)));
  tp->log->clear();
  EXPECT_FALSE(logger.startSession("new"));
  EXPECT_FALSE(logger.startSession("s7"));
  EXPECT_EQ(tp->log->lines(),
            (std::vector<std::string>{"CorvanaSDK-Session threshold exceeded, unable to start this session new.",
                                      "CorvanaSDK-Session threshold exceeded, unable to start this session s7."}));
  // The app session cannot open either, so no app open is reported.
  EXPECT_FALSE(logger.startAppSession());
  EXPECT_EQ(CRVUtil::getIntForkey("crv_app_open"), 0);
}

TEST_F(EventLoggerTest, LifecycleStopsAndRestartsTheAppSession) {
  start();
  tp->clock->advance(4);
  auto& app = *Platform::current().application;
  app.postNotification(UIApplicationDidEnterBackgroundNotification);
  drain();
  app.postNotification(UIApplicationWillEnterForegroundNotification);
  app.postNotification(UIApplicationWillEnterForegroundNotification);
  drain();
  const auto records = rows();
  ASSERT_EQ(records.size(), 3u);  // open, the 4 s session, one more open: the second foreground is refused
  EXPECT_EQ(records[1]["duration"], 4);
  EXPECT_EQ(records[2]["name"], "crv_app_open");
  EXPECT_EQ(CRVUtil::getIntForkey("crv_app_open"), 2);
}

TEST_F(EventLoggerTest, PushAndInAppRecords) {
  auto& logger = CRVEventLogger::sharedInstance();
  CRVUtil::setBoolForKey(true, kKeyTestDevice);
  logger.reportPushToken("abc123");
  logger.clearPushToken();
  logger.reportInappWithSubTypeAndCampaignId("displayed", "");
  Lines texts;
  for (const Value& record : rows()) texts.push_back(record.dump());
  const std::string ts = R"({"timestamp":)" + std::to_string(now()) + R"(,"event_type":)";
  EXPECT_EQ(texts, (Lines{ts + R"("push","push":{"subtype":"init","push_token":"abc123"}})",
                          ts + R"("update_test_device","push_token":"abc123"})",
                          ts + R"("push","push":{"subtype":"unregister"}})", ts + R"("inapp"})"}));
  EXPECT_EQ(tp->log->lines(), Lines{"CorvanaSDK-Updating test device push token"});
}

}  // namespace
