// Triggers and taps: an event shows its stored campaign over the key window's root controller, one campaign at a
// time; a tap reports "tapped", applies the display frequency to the stored row, dismisses the campaign and
// follows its action. Campaigns live in the real store, made relative to the real time now.

#include <gtest/gtest.h>

#include <thread>

#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "inapp/CRVInAppHandler.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/ui/CRVInAppViewController.h"
#include "platform/LinuxApplication.h"
#include "platform/LinuxUserInterface.h"
#include "support/Campaigns.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

class InAppHandler : public testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    now = test::realNow();
    tp->clock->set(Date{now});
    CRVUtil::setBoolForKey(true, kKeyInitReport);  // no device record before the first event
  }

  void saveLive(const std::string& cid, const std::string& trigger, const std::string& frequency = "everytime") {
    store().saveCampaign(
        CRVInAppMessage::initWithDictionary(test::liveCampaign(cid, trigger, frequency, now - 60, now + 3600)));
  }
  // Records a checkpoint event of that name, as the host's actions are recorded.
  void record(const std::string& name) {
    CRVEventLogger::sharedInstance().reportCheckpointWithTypeAndMeta(name, "custom", nullptr);
    Platform::current().mainQueue->drain();
  }
  std::shared_ptr<ViewController> root() { return Platform::current().ui->keyWindowRootViewController(); }
  // The campaign shown over the root controller, or "-".
  std::string shown() {
    const auto controller = std::dynamic_pointer_cast<CRVInAppViewController>(root()->presentedViewController());
    return controller && controller->inapp() ? controller->inapp()->getCampaignId() : "-";
  }
  // A tap on the shown campaign's element of that type, whose action is "close".
  static CRVTapContext tapOn(int32_t buttonType) {
    const auto campaign = handler().message();
    return {campaign->getCampaignId(), campaign->getFrequency(), buttonType, "close", campaign->inAppViewController()};
  }
  static std::string showingLine(const std::string& cid) {
    return "CorvanaFramework--[CRVInAppMessage show]_block_invoke [Line 214] showing campaign " + cid;
  }
  // enable of each stored campaign; absent when deleted.
  Value enables() {
    Value out = Value::object();
    for (const Value& row : store().sql().getRowsForQuery("select campaignId, enable from crvn_inapp")) {
      out[row["campaignId"].get<std::string>()] = row["enable"];
    }
    return out;
  }
  // Displays are reported by the layouts' host; these tests look at taps.
  static Value inappEvents() { return test::storedInappEvents("tapped"); }
  static CRVDataManager& store() { return CRVDataManager::sharedInstance(); }
  static CRVInAppHandler& handler() { return CRVInAppHandler::sharedInstance(); }

  test::TestPlatform* tp = nullptr;
  double now = 0;
};

TEST_F(InAppHandler, AnEventShowsItsCampaignAndOthersWaitUntilItIsTapped) {
  saveLive("c1", "buy");
  saveLive("c2", "open");
  EXPECT_FALSE(handler().crvInappEvents());
  record("browse");
  EXPECT_EQ(handler().crvInappEvents()->size(), 2u) << "the first event fills the trigger table";
  EXPECT_EQ(shown(), "-");

  record("buy");
  EXPECT_EQ(shown(), "c1");
  EXPECT_TRUE(handler().onScreen());
  EXPECT_EQ(tp->log->lines().back(), showingLine("c1"));
  const auto controller = root()->presentedViewController();
  EXPECT_EQ(controller->modalPresentationStyle(), kModalPresentationCustom);  // system 9.3
  EXPECT_TRUE(controller->lastTransitionAnimated());

  // While c1 is on screen another trigger is dropped, not queued.
  record("open");
  EXPECT_EQ(shown(), "c1");
  EXPECT_EQ(handler().message()->getCampaignId(), "c1");

  CRVTapContext close = tapOn(kCRVButtonTypeClose);
  handler().processAction(close);
  EXPECT_EQ(shown(), "-");
  EXPECT_FALSE(controller->lastTransitionAnimated());
  EXPECT_FALSE(handler().onScreen());
  EXPECT_TRUE(close.crvMessage.expired());
  record("open");
  EXPECT_EQ(shown(), "c2");
  EXPECT_EQ(inappEvents(), Value::parse(R"([{"subtype": "tapped", "cid": "c1"}])"));
}

TEST_F(InAppHandler, ATapAppliesTheDisplayFrequencyAndASessionRearms) {
  const struct {
    const char* frequency;
    int32_t button;
    Value enable;  // afterwards; null: the campaign is gone
    Value afterSession;
  } cases[] = {
      {"everytime", kCRVButtonTypeContent, 1, 1},
      {"sometimes", kCRVButtonTypeContent, 1, 1},
      {"once_per_session", kCRVButtonTypeClose, 0, 1},
      {"once_per_session", kCRVButtonTypeContent, 0, 1},
      {"once_per_session_until_cta", kCRVButtonTypeClose, 1, 1},
      {"once_per_session_until_cta", kCRVButtonTypeContent, 0, 1},
      {"everytime_until_cta", kCRVButtonTypeClose, 1, 1},
      {"everytime_until_cta", kCRVButtonTypeContent, -1, -1},
      {"once", kCRVButtonTypeClose, nullptr, nullptr},
      {"once", kCRVButtonTypeContent, nullptr, nullptr},
  };
  const auto id = [](size_t at) { return "c" + std::to_string(at); };
  for (size_t at = 0; at < std::size(cases); ++at) saveLive(id(at), "t" + id(at), cases[at].frequency);
  Value expectedTaps = Value::array();
  for (size_t at = 0; at < std::size(cases); ++at) {
    const auto& c = cases[at];
    SCOPED_TRACE(std::string(c.frequency) + (c.button == kCRVButtonTypeClose ? " close" : " content"));
    record("t" + id(at));
    ASSERT_EQ(shown(), id(at));
    CRVTapContext tap = tapOn(c.button);
    handler().processAction(tap);
    EXPECT_EQ(shown(), "-");
    EXPECT_EQ(enables()[id(at)], c.enable);
    expectedTaps.push_back({{"subtype", "tapped"}, {"cid", id(at)}});
    // A disabled campaign leaves the trigger table at once; one still enabled shows again.
    record("t" + id(at));
    ASSERT_EQ(shown(), c.enable == 1 ? id(at) : "-");
    if (c.enable == 1) {
      CRVTapContext again = tapOn(kCRVButtonTypeClose);
      handler().processAction(again);
      expectedTaps.push_back(expectedTaps.back());
    }
  }
  EXPECT_EQ(inappEvents(), expectedTaps);
  Platform::current().mainQueue->drain();
  EXPECT_TRUE(dynamic_cast<LinuxApplication&>(*Platform::current().application).openedURLs().empty())
      << "the action \"close\" opens nothing";

  const Value before = enables();
  handler().currentSession("checkout");
  EXPECT_EQ(enables(), before) << "only the app session re-arms";
  handler().currentSession(kAppSessionName);
  for (size_t at = 0; at < std::size(cases); ++at) {
    EXPECT_EQ(enables()[id(at)], cases[at].afterSession) << cases[at].frequency;
  }
}

TEST_F(InAppHandler, WithoutARootControllerNothingShowsUntilATapFreesTheScreen) {
  dynamic_cast<LinuxUserInterface&>(*Platform::current().ui).setKeyWindowRootViewController(nullptr);
  saveLive("c1", "buy");
  saveLive("c2", "open");
  record("buy");
  EXPECT_TRUE(handler().onScreen());
  EXPECT_EQ(tp->log->count(showingLine("c1")), 0u);
  auto fresh = std::make_shared<ViewController>();
  dynamic_cast<LinuxUserInterface&>(*Platform::current().ui).setKeyWindowRootViewController(fresh);
  record("open");
  EXPECT_EQ(fresh->presentedViewController(), nullptr);
  // A tap without any context still counts: it frees the screen.
  CRVTapContext bare;
  handler().processAction(bare);
  EXPECT_FALSE(handler().onScreen());
  record("open");
  EXPECT_NE(fresh->presentedViewController(), nullptr);
}

TEST(InAppHandlerOldSystem, BelowVersion8TheRootPresentsOverItsContext) {
  auto options = test::testPlatformOptions();
  options.systemVersion = "7.1.2";
  const double now = test::realNow();
  test::installTestPlatform(options).clock->set(Date{now});
  CRVDataManager::sharedInstance().saveCampaign(
      CRVInAppMessage::initWithDictionary(test::liveCampaign("c1", "buy", "everytime", now - 60, now + 60)));
  CRVInAppHandler::sharedInstance().currentEvent({{"name", "buy"}});
  Platform::current().mainQueue->drain();
  const auto root = Platform::current().ui->keyWindowRootViewController();
  ASSERT_NE(root->presentedViewController(), nullptr);
  EXPECT_EQ(root->modalPresentationStyle(), kModalPresentationCurrentContext);
  EXPECT_EQ(root->presentedViewController()->modalPresentationStyle(), kModalPresentationFullScreen);
}

TEST_F(InAppHandler, EventsFromManyThreadsShowOneCampaignWhileTheStoreChanges) {
  saveLive("c1", "buy");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 25; ++i) {
        CRVEventLogger::sharedInstance().reportCheckpointWithTypeAndMeta(i % 2 ? "buy" : "view", "custom", nullptr);
        if (t == 0) CRVDataManager::sharedInstance().getAllValidMessages();
        if (t == 1) CRVInAppHandler::sharedInstance().currentSession(kAppSessionName);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(Platform::current().mainQueue->drain(), 1u) << "one presentation";
  EXPECT_EQ(shown(), "c1");
  EXPECT_EQ(tp->log->count(showingLine("c1")), 1u);
}

}  // namespace
}  // namespace corvana
