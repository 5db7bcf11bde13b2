// The SDK against the reference service over HTTPS on 127.0.0.1: start-up syncs, reports, faults, secure mode,
// push and deep links, as a host app drives them.

#include <atomic>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "net/CRVNetworkManager.h"
#include "platform/LinuxApplication.h"
#include "platform/LinuxUserInterface.h"
#include "support/ServiceTest.h"

using namespace corvana;
using test::eventually;

namespace {

const std::string kSuccessLine = "CorvanaSDK-v.0.8.4 initialized successfully.";

using RoundTrips = test::ServiceTest;

TEST_F(RoundTrips, FirstStartSyncsCompletesAndSendsTheBacklog) {
  start();
  EXPECT_EQ(sdk().appSecret(), std::optional<std::string>("s3cret"));
  EXPECT_EQ(tp->log->count(kSuccessLine), 1u);
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyAppVersion), "2.3.1");
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyAppSecret), "s3cret");
  EXPECT_EQ(Platform::current().preferences->objectForKey(kKeyLastUpdate), PreferenceValue(tp->clock->now()));
  EXPECT_EQ(sdk().getSyncUrl(sdk().appSecret()), "api/v1/sync/s3cret?lst=1700000000");

  const auto syncs = requestsTo("/api/v1/sync/");
  ASSERT_EQ(syncs.size(), 1u) << "the resync right after is held back by the 10-second floor";
  EXPECT_EQ(syncs[0]["path"], "/api/v1/sync/s3cret");
  EXPECT_EQ(syncs[0]["query"], "lst=0");
  EXPECT_FALSE(syncs[0]["headers"].contains("sec")) << "the first sync goes out before the SDK holds its secret";

  ASSERT_TRUE(eventually([&] { return storedRows() == 0; }));
  const auto events = receivedEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0]["event_type"], "init");
  EXPECT_EQ(events[1]["name"], "crv_app_open");
}

TEST_F(RoundTrips, AnEventStoredWhileThePostIsInFlightSurvivesTheDeletion) {
  startInstalled();
  EXPECT_TRUE(tp->log->contains(kSuccessLine));
  EXPECT_TRUE(requestsTo("/api/v1/sync/").empty()) << "a later start of the same installation waits for no sync";
  service->setFaults({{"delay_ms", 1500}, {"paths", "^/report/"}, {"times", 1}});
  sdk().reportActionWithMetaData("sent");
  sdk().serialQueue()->waitUntilIdle();
  ASSERT_TRUE(logger().isReporting());
  sdk().reportActionWithMetaData("stored meanwhile");  // its own unforced report is refused
  settle();
  EXPECT_TRUE(tp->log->contains("CorvanaFramework--[CRVEventLogger reportEvents:] [Line 144] Already reporting the "
                                "event"));
  EXPECT_EQ(storedRows(), 1u);
  sdk().reportAll();
  settle();
  EXPECT_EQ(storedRows(), 0u);
  std::vector<std::string> names;
  for (const Value& event : receivedEvents()) names.push_back(event.value("name", ""));
  EXPECT_EQ(names, (std::vector<std::string>{"crv_app_open", "sent", "stored meanwhile"}));
}

TEST_F(RoundTrips, BlockedAnswerStopsTheStartAndRecordsTheBlockTime) {
  answerSyncWith({{"blocked", true}});
  start();
  EXPECT_FALSE(sdk().sdkInitialized());
  EXPECT_TRUE(sdk().accountBlocked());
  EXPECT_TRUE(CRVUtil::getBoolForKey(kKeyAcountBlocked));
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyAppBlockUntil), "Nov 21, 2026 at 12:00 PM");
  EXPECT_FALSE(tp->log->contains(kSuccessLine));
  EXPECT_TRUE(receivedEvents().empty());
}

TEST_F(RoundTrips, SecureModeHoldsReportsBackAndTheSignedPathIsSentAsOnePathString) {
  answerSyncWith({{"config", {{"secure_mode", true}}}});
  start();
  const std::string noSignature =
      "CorvanaSDK-App is in Secure mode but could not found valid Security Token , Please set valid Security "
      "Signature using [[Corvana sharedInstance] setSecureSignature] .";
  EXPECT_TRUE(tp->log->contains(noSignature));
  EXPECT_EQ(storedRows(), 2u);

  // A stored signature does not read back, so reports keep waiting.
  auto signature = CRVSecuritySignature::initWithAccessKeySignatureTimestampEmail("A", "S", "1", "e@example.com");
  ASSERT_TRUE(signature);
  tp->log->clear();
  sdk().setSecureSignature(signature);
  settle();
  const auto lines = tp->log->lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], "CorvanaSDK-Removed secured signature.");
  EXPECT_EQ(lines[1], "CorvanaSDK-setting secured signature.");
  EXPECT_TRUE(tp->log->contains(noSignature));
  EXPECT_EQ(storedRows(), 2u);

  // The query is encoded with the path, so "?" travels as %3F.
  std::atomic<bool> answered{false};
  CRVNetworkManager::sharedInstance().postDataSyncToTheEndpointWithBlock(
      Data{'{', '}'}, CRVEventLogger::secureReportPath(*signature), [&](const Value&) { answered = true; });
  ASSERT_TRUE(eventually([&] { return answered.load(); }));
  EXPECT_EQ(service->received("acme")["events"][0]["path"], "/report/events/%3Fak=A&sign=S&ts=1&email=e@example.com");
}

TEST_F(RoundTrips, PushTokenOpensAndTapActions) {
  startInstalled();
  sdk().registerPushDeviceToken(Data{0x0A, 0xFF});
  sdk().registerPushDeviceToken(Data{0x0A, 0xFF});
  settle();
  EXPECT_EQ(sdk().getPushDeviceToken(), "0aff");
  EXPECT_EQ(tp->log->count("CorvanaSDK-Push token already registered"), 1u);
  EXPECT_EQ(tp->log->count("CorvanaSDK-registered push_token successfully"), 1u);

  auto& app = dynamic_cast<LinuxApplication&>(*Platform::current().application);
  tp->log->clear();
  // One at a time: overlapping forced reports could send a row twice, or (ids being reused) delete a newer row
  // under an old id.
  for (const char* payload : {R"({"aps": {}, "vs": {"cid": "c-1", "a": "example.com/deal"}})", R"({"vs": "c-2"})",
                              R"({"vs": {"a": "myapp://inbox"}})", R"({"vs": {"cid": "c-4"}})", R"({"aps": {}})"}) {
    sdk().handlePushNotification(Value::parse(payload));
    settle();
  }
  EXPECT_EQ(app.openedURLs(), (std::vector<std::string>{"http://example.com/deal", "myapp://inbox"}));
  EXPECT_EQ(tp->log->count("CorvanaSDK-Received a push notification from Corvana"), 4u);
  EXPECT_EQ(tp->log->count("CorvanaSDK-Invalid notification payload"), 1u);
  EXPECT_EQ(tp->log->count("CorvanaSDK-Received invalid push notification from Corvana- {\"a\":\"myapp://inbox\"}"), 1u);
  EXPECT_EQ(tp->log->count("CorvanaSDK-Tap action found, launching it"), 2u);
  EXPECT_EQ(tp->log->count("CorvanaSDK-Launching application no tap action specified"), 1u);
  // Tracking from the main thread is queued and reported; from another thread it is recorded at once, silently.
  std::thread([&] { sdk().trackPushNotification(Value::parse(R"({"vs": {"cid": "other"}})")); }).join();
  sdk().trackPushNotification(Value::parse(R"({"vs": {"cid": "main"}})"));
  settle();
  EXPECT_EQ(tp->log->count("CorvanaSDK-Push notification opened, tracking user tap."), 1u);
  ASSERT_TRUE(eventually([&] { return storedRows() == 0; }));

  std::set<std::string> pushes;
  for (const Value& event : receivedEvents()) {
    if (event["event_type"] == "push") pushes.insert(event["push"].dump());
  }
  EXPECT_EQ(pushes, (std::set<std::string>{R"({"subtype":"init","push_token":"0aff"})",
                                           R"({"subtype":"opened","cid":"c-1"})",
                                           R"({"subtype":"opened","cid":"c-4"})",
                                           R"({"subtype":"opened","cid":"other"})",
                                           R"({"subtype":"opened","cid":"main"})"}));
  sdk().unregisterPushDeviceToken();
  EXPECT_FALSE(sdk().isPushRegistered());
}

TEST_F(RoundTrips, DeepLinksAreRefusedWithTheirLinesAndAlertsOrStartRegistration) {
  startInstalled();
  auto& ui = dynamic_cast<LinuxUserInterface&>(*Platform::current().ui);
  struct Case {
    std::string url;
    std::string line;
    std::string alert;  // empty: none
  };
  const Case refused[] = {
      {"https://add_test_device?secret=s3cret&token=T1", "CorvanaSDK-Deep link received but crvn url scheme not found.",
       ""},
      {"crvnx://add_test_device", "CorvanaSDK-Deep link query parametere not found",
       "Deep link query parametere not found!"},
      {"crvnx://other?secret=s3cret&token=T1", "CorvanaSDK-Deep link host not matched expected add_test_device, got other",
       "Deep link host not matched!"},
      {"crvnx://add_test_device?token=T1&secret", "CorvanaSDK-Deep link secret query parametere not found",
       "Deep link secret query parametere not found!"},
      {"crvnx://add_test_device?secret=wrong&token=T1", "CorvanaSDK-Deep link secretkey not matched",
       "The URL does not match this application."},
      {"crvnx://add_test_device?secret=s3cret=x", "CorvanaSDK-Deep link token query parametere not found",
       "Deep link token query parametere not found!"},
  };
  for (const Case& c : refused) {
    SCOPED_TRACE(c.url);
    tp->log->clear();
    EXPECT_FALSE(sdk().applicationOpenURLOptions(c.url));
    EXPECT_EQ(tp->log->lines(), std::vector<std::string>{c.line});
    Platform::current().mainQueue->drain();
    const auto alerts = ui.presentedAlerts();
    ASSERT_EQ(alerts.size(), c.alert.empty() ? 0u : 1u);
    if (!c.alert.empty()) {
      EXPECT_EQ(alerts[0].title, "Corvana");
      EXPECT_EQ(alerts[0].message, c.alert);
      ASSERT_TRUE(ui.tapButton("OK"));
    }
  }
  EXPECT_EQ(sdk().token(), "");

  // Accepted: the name prompt comes up; an empty name brings the reversed alert and the prompt back; a name
  // registers the device with the service.
  EXPECT_TRUE(sdk().applicationOpenURLOptions("crvnx://add_test_device?secret=s3cret&token=T1"));
  EXPECT_EQ(sdk().token(), "T1");
  Platform::current().mainQueue->drain();
  auto alerts = ui.presentedAlerts();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0].message, "Add this device as Test Device?");
  EXPECT_EQ(alerts[0].buttons, (std::vector<std::string>{"No", "Yes"}));
  EXPECT_EQ(alerts[0].textFields, std::vector<std::string>{"Test iPhone"});
  ASSERT_TRUE(ui.tapButton("Yes", {""}));
  Platform::current().mainQueue->drain();
  alerts = ui.presentedAlerts();
  ASSERT_EQ(alerts.size(), 2u);
  EXPECT_EQ(alerts[0].title, "Please enter a valid name.");
  EXPECT_EQ(alerts[0].message, "Error");
  ASSERT_TRUE(ui.tapButton("OK"));
  ASSERT_TRUE(ui.tapButton("Yes", {"QA phone 7"}));
  ASSERT_TRUE(eventually([&] { return !ui.presentedAlerts().empty(); }));
  EXPECT_EQ(ui.presentedAlerts()[0].title, "Success!");
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyDeviceName), "QA phone 7");
  EXPECT_TRUE(CRVUtil::getBoolForKey(kKeyTestDevice));
  const auto registrations = requestsTo("/api/v1/test_device");
  ASSERT_EQ(registrations.size(), 1u);
  EXPECT_EQ(registrations[0]["query"], "name=QA%20phone%207&push_token=&token=T1&device_type=iPhone");
}

}  // namespace
