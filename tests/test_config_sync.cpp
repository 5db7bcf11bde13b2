// How a sync answer is applied and when a sync may go out, without a service: the answers are handed over as a
// response would be.

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "events/CRVEventLogger.h"
#include "storage/LorrowSQLiteManager.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

using namespace corvana;

namespace {

class ConfigSync : public ::testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    CRVUtil::setBoolForKey(true, kKeyInitReport);
  }
  bool apply(const char* json) {
    const bool applied = Corvana::sharedInstance().parseResponseForBlockedAndFeatures(Value::parse(json));
    Corvana::sharedInstance().serialInAppQueue()->waitUntilIdle();
    return applied;
  }
  std::optional<PreferenceValue> stored(const char* key) { return Platform::current().preferences->objectForKey(key); }
  test::TestPlatform* tp = nullptr;
};

TEST_F(ConfigSync, AnswersAreAppliedKeyByKeyAndEachSwitchIsToldOnce) {
  auto& sdk = Corvana::sharedInstance();
  EXPECT_FALSE(sdk.parseResponseForBlockedAndFeatures(nullptr));
  EXPECT_FALSE(stored(kKeyAcountBlocked).has_value()) << "no answer changes nothing";

  // "blocked" false still records a block time; "lst" is kept as a double and sent back without a fraction.
  EXPECT_TRUE(apply(R"({"blocked": false, "lst": 1700000000, "inapp": [],
                        "config": {"syncTimeOut": 3600, "secure_mode": true, "test_device": false}})"));
  EXPECT_FALSE(sdk.accountBlocked());
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyAppBlockUntil), "Nov 21, 2026 at 12:00 PM");
  EXPECT_EQ(stored(kKeyLst), PreferenceValue(1700000000.0));
  EXPECT_EQ(sdk.getSyncUrl(std::nullopt), "api/v1/sync/(null)?lst=1700000000");
  EXPECT_EQ(stored(kKeySyncTimeout), PreferenceValue(int64_t{3600}));
  EXPECT_TRUE(sdk.isSecureModeEnabled());

  // Secure mode and test device switching on are told once; an answer without secure mode switches it off,
  // silently. An answer without "blocked" clears the stored flag but not the one in memory.
  apply(R"({"blocked": "yes", "lst": 0.5, "config": {"secure_mode": 1, "test_device": true}})");
  EXPECT_TRUE(sdk.accountBlocked());
  EXPECT_EQ(sdk.getSyncUrl("s"), "api/v1/sync/s?lst=0.5");
  apply(R"({"config": {"test_device": true}})");
  EXPECT_FALSE(sdk.isSecureModeEnabled());
  EXPECT_FALSE(CRVUtil::getBoolForKey(kKeyAcountBlocked));
  EXPECT_TRUE(sdk.accountBlocked());
  EXPECT_EQ(tp->log->count("CorvanaSDK-Enabling a secure communication mode on this device."), 1u);
  EXPECT_EQ(tp->log->count("CorvanaSDK-Enabling a test device functionality on this device"), 1u);

  const std::string received = "CorvanaFramework--[Corvana parseResponseForBlockedAndFeatures:]_block_invoke "
                               "[Line 311] Received 0 InAppMessages in sync call.";
  EXPECT_EQ(tp->log->count(received), 1u) << "only an answer that carries \"inapp\" logs it";

  // Switching the test device on reports the stored push token: none yet.
  EXPECT_EQ(tp->log->count("CorvanaSDK-Updating test device push token"), 1u);
  LorrowSQLiteManager file(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
  const auto rows = file.getRowsForQuery("SELECT event FROM lorrow_events");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(Value::parse(rows[0]["event"].get<std::string>()),
            (Value{{"timestamp", test::kTestEpoch}, {"event_type", "update_test_device"}, {"push_token", ""}}));
}

TEST_F(ConfigSync, SyncsAreSpacedByTenSecondsWhateverTheServiceInterval) {
  auto& sdk = Corvana::sharedInstance();
  EXPECT_TRUE(sdk.canUpdate()) << "never synced";
  CRVUtil::setObjectForKey(PreferenceValue(tp->clock->now()), kKeyLastUpdate);
  CRVUtil::setObjectForKey(Value(3600), kKeySyncTimeout);
  const std::pair<double, std::vector<std::string>> cases[] = {
      {9.5, {"CorvanaFramework--[Corvana canUpdate] [Line 401] lapsed from last update call  9.500000"}}, {10, {}}};
  for (const auto& [after, lines] : cases) {
    tp->clock->set(Date{test::kTestEpoch + after});
    tp->log->clear();
    EXPECT_EQ(sdk.canUpdate(), lines.empty()) << after;
    EXPECT_EQ(tp->log->lines(), lines) << after;
  }
}

TEST(SecuritySignature, ChecksFieldsInItsOwnOrder) {
  auto& tp = test::installTestPlatform();
  struct Case {
    const char *key, *signature, *timestamp, *email, *line;
  };
  const Case cases[] = {
      {"", "", "", "", "CorvanaSDK- Nil or Emplty AccessKey in security Token ."},
      {"A", "", "", "e@x.io", "CorvanaSDK-Nil or Emplty Time Stamp in security Token ."},
      {"A", "", "1", "e@x.io", "CorvanaSDK-Nil or Emplty Signature in security Token ."},
      {"A", "S", "1", "", "CorvanaSDK-Nil or Emplty Email in security Token ."},
      {"A", "S", "1", "e@localhost", "CorvanaSDK-Invalid Email in security Token ."},
  };
  for (const Case& c : cases) {
    tp.log->clear();
    EXPECT_FALSE(CRVSecuritySignature::initWithAccessKeySignatureTimestampEmail(c.key, c.signature, c.timestamp,
                                                                                c.email));
    EXPECT_EQ(tp.log->lines(),
              (std::vector<std::string>{c.line,
                                        "CorvanaSDK-Faild to create Corvana Config, Please check the credentials"}));
  }
  // Only the access key is escaped in the signed report path.
  auto spaced = CRVSecuritySignature::initWithAccessKeySignatureTimestampEmail("a b", "x/y+z=", "1", "e@x.io");
  ASSERT_TRUE(spaced);
  EXPECT_EQ(CRVEventLogger::secureReportPath(*spaced), "report/events/%3Fak=a%20b&sign=x/y+z=&ts=1&email=e@x.io");
}

}  // namespace
