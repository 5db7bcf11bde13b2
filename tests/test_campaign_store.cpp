// The campaign table against SQLite's own clock: which row an event finds, what each update writes, how a refresh
// rebuilds the trigger table, and what it clears. Campaigns are made relative to the real time now.

#include <gtest/gtest.h>

#include "events/CRVDataManager.h"
#include "inapp/CRVInAppHandler.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/CRVResource.h"
#include "support/Campaigns.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

class CampaignStore : public testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    now = test::realNow();
    tp->clock->set(Date{now});
  }

  // A campaign whose window runs from `from` to `to` seconds from now.
  Value campaign(const std::string& cid, const std::string& trigger, const std::string& frequency = "everytime",
                 double from = -60, double to = 3600) {
    return test::liveCampaign(cid, trigger, frequency, now + from, now + to);
  }
  void save(const Value& json) {
    const auto campaign = CRVInAppMessage::initWithDictionary(json);
    ASSERT_NE(campaign, nullptr) << json.dump();
    store().saveCampaign(campaign);
  }
  // id -> [enable, paused, frequency], in row order.
  Value rows() {
    Value table = Value::object();
    for (const Value& row : store().sql().getRowsForQuery("select * from crvn_inapp order by _id")) {
      table[row["campaignId"].get<std::string>()] = {row["enable"], row["paused"], row["inapp_frequency"]};
    }
    return table;
  }
  Value ids() {
    Value out = Value::array();
    const Value table = rows();
    for (const auto& [id, row] : table.items()) out.push_back(id);
    return out;
  }
  std::string found(const std::string& event) {
    const auto campaign = store().getCampaign(event);
    return campaign ? campaign->getCampaignId() : "-";
  }
  Value triggers() {
    const auto table = CRVInAppHandler::sharedInstance().crvInappEvents();
    if (!table) return nullptr;
    Value out = Value::object();
    for (const auto& [event, campaign] : *table) out[event] = campaign->getCampaignId();
    return out;
  }
  static CRVDataManager& store() { return CRVDataManager::sharedInstance(); }
  static void update(std::optional<std::string> id, int32_t enable, int32_t paused) {
    CRVResource resource;
    resource.setCampaignId(std::move(id));
    resource.setEnable(enable);
    resource.setPaused(paused);
    store().updateResource(&resource);
  }

  test::TestPlatform* tp = nullptr;
  double now = 0;
};

TEST_F(CampaignStore, AnEventFindsTheNewestLiveEnabledCampaign) {
  // Saved last wins, even against an earlier start; saving again makes a campaign the newest.
  save(campaign("late-start", "buy"));
  save(campaign("early-start", "buy", "everytime", -7200));
  EXPECT_EQ(found("buy"), "early-start");
  save(campaign("late-start", "buy"));
  EXPECT_EQ(found("buy"), "late-start");

  // Windows are strict to the second: an end at this second is over; a start still ahead has not begun.
  save(campaign("not-yet", "e1", "everytime", 30));
  save(campaign("ends-now", "e2", "everytime", -60, 0));
  save(campaign("ended", "e3", "everytime", -60, -1));
  save(campaign("disabled", "e4"));
  update("disabled", 0, CRVResource::kLeaveUnchanged);
  save(campaign("paused", "e5"));
  update("paused", CRVResource::kLeaveUnchanged, 1);
  save(campaign("for-good", "e6"));
  update("for-good", -1, CRVResource::kLeaveUnchanged);
  for (const char* event : {"e1", "e2", "e3", "e4", "e5", "e6", "BUY", "unknown"}) {
    EXPECT_EQ(found(event), "-") << event;
  }
  EXPECT_EQ(store().getCampaign(std::nullopt), nullptr);

  // A stored text that no longer parses finds nothing, and the row stays.
  (void)store().sql().doQuery("update crvn_inapp set inapp_msg = '{broken' where campaignId = 'late-start'");
  EXPECT_EQ(found("buy"), "-");
  EXPECT_TRUE(rows().contains("late-start"));
}

TEST_F(CampaignStore, EachUpdateWritesOnlyItsColumnsAndASaveRearms) {
  save(campaign("p2", "a", "once_per_session"));
  save(campaign("u3", "b", "everytime_until_cta"));
  save(campaign("u4", "c", "once_per_session_until_cta"));
  save(campaign("e1", "d"));
  const std::optional<std::string> all;
  const struct {
    std::optional<std::string> id;
    int32_t enable, paused;
    Value rows;  // [enable, paused, frequency] of p2, u3, u4, e1 afterwards
  } steps[] = {
      {"p2", 0, 1, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      {"p2", 1, 2, {{1, 1, 2}, {1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      {"p2", 2, 0, {{1, 0, 2}, {1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      {"u3", 2, 2, {{1, 0, 2}, {1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      {"u3", -1, 2, {{1, 0, 2}, {-1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      // Without an id only the per-session frequencies change, and only `enable`.
      {all, 0, 1, {{0, 0, 2}, {-1, 0, 3}, {0, 0, 4}, {1, 0, 1}}},
      {all, 1, 2, {{1, 0, 2}, {-1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      {all, 2, 1, {{1, 0, 2}, {-1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
      {"nobody", 0, 0, {{1, 0, 2}, {-1, 0, 3}, {1, 0, 4}, {1, 0, 1}}},
  };
  for (const auto& s : steps) {
    SCOPED_TRACE(s.id.value_or("all") + " " + std::to_string(s.enable) + " " + std::to_string(s.paused));
    update(s.id, s.enable, s.paused);
    const Value now = rows();
    EXPECT_EQ((Value{now["p2"], now["u3"], now["u4"], now["e1"]}), s.rows);
  }
  store().updateResource(nullptr);

  // The sync's save replaces the row: newest, enabled and unpaused whatever taps and pauses did before.
  update("u3", -1, 1);
  save(campaign("u3", "b", "everytime_until_cta"));
  EXPECT_EQ(ids(), (Value{"p2", "u4", "e1", "u3"}));
  EXPECT_EQ(rows()["u3"], (Value{1, 0, 3}));
}

TEST_F(CampaignStore, SavingLogsAndAQuoteInAValueFailsSilently) {
  save(campaign("c1", "buy"));
  EXPECT_EQ(tp->log->lines().back(),
            "CorvanaFramework--[CRVDataManager saveCampaign:] [Line 65] Saved CampaignId : c1 successfully");
  // Quotes inside the JSON are doubled; those of the id are not, so that statement breaks and nothing is stored,
  // though the save reports success.
  save(campaign("o'neil", "buy"));
  EXPECT_EQ(tp->log->lines().back(),
            "CorvanaFramework--[CRVDataManager saveCampaign:] [Line 65] Saved CampaignId : o'neil successfully");
  EXPECT_EQ(rows(), (Value{{"c1", {1, 0, 1}}}));
  Value quoted = campaign("c2", "buy");
  quoted["layout"]["primary_text"]["text"] = "it's 'on'";
  save(quoted);
  EXPECT_EQ(store().getCampaign("buy")->data(), quoted);
  store().saveCampaign(nullptr);
}

TEST_F(CampaignStore, ARefreshRebuildsTheTriggerTableAndClearsOneExpiredCampaign) {
  EXPECT_EQ(triggers(), nullptr);
  for (const char* id : {"x1", "x2", "x3"}) save(campaign(id, std::string("gone-") + id, "everytime", -7200, -3600));
  save(campaign("live", "buy"));
  save(campaign("older", "buy"));
  save(campaign("other", "open"));
  store().getAllValidMessages();
  EXPECT_EQ(ids(), (Value{"x2", "x3", "live", "older", "other"}));
  EXPECT_EQ(triggers(), (Value{{"buy", "older"}, {"open", "other"}}));
  store().getAllValidMessages();
  store().getAllValidMessages();
  EXPECT_EQ(ids(), (Value{"live", "older", "other"}));

  // Clearing a campaign takes its row and its trigger entry, and nothing else.
  store().clearCampaigns({"other", "not-stored"});
  EXPECT_EQ(ids(), (Value{"live", "older"}));
  EXPECT_EQ(triggers(), (Value{{"buy", "older"}}));
  store().clearCampaign(nullptr);
}

// A status in the campaign's JSON: the first refresh still picks the campaign (its row was saved enabled and
// unpaused) and writes the status back, pausing the row or deleting it; the next refresh leaves it out.
TEST_F(CampaignStore, ARefreshPushesTheStoredStatusOfEachCampaign) {
  const std::pair<std::string, Value> cases[] = {{"pause", Value{1, 1, 1}}, {"stop", Value()}};
  for (const auto& [status, rowAfter] : cases) {
    SCOPED_TRACE(status);
    Value json = campaign(status, status + "-me");
    json["status"] = status;
    store().saveCampaign(CRVInAppMessage::initWithDictionary(json));
    EXPECT_EQ(rows()[status], (Value{1, 0, 1}));
    store().getAllValidMessages();
    EXPECT_EQ(triggers(), (Value{{status + "-me", status}}));
    EXPECT_EQ(rows().value(status, Value()), rowAfter);
    store().getAllValidMessages();
    EXPECT_EQ(triggers(), Value::object());
  }
}

}  // namespace
}  // namespace corvana
