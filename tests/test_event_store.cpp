#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "events/CRVDataManager.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/CRVResource.h"
#include "support/Campaigns.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

using Lines = std::vector<std::string>;

const char* const kCrucialLine = "CorvanaSDK-Event delete opration prevented, Can not delete crucial events .";

class EventStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    store = &CRVDataManager::sharedInstance();
    file.emplace(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
    tp->log->clear();
  }

  using Stored = std::pair<std::string, std::vector<int64_t>>;
  Stored stored() {
    Stored result;
    store->getEventsDataWith([&](const std::string& text, const std::vector<int64_t>& ids) { result = {text, ids}; });
    return result;
  }
  // What another process finds in the file: only committed rows.
  std::vector<Value> fileRecords() {
    std::vector<Value> records;
    for (const Value& row : file->getRowsForQuery("SELECT event FROM lorrow_events ORDER BY _id")) {
      records.push_back(Value::parse(row["event"].get<std::string>()));
    }
    return records;
  }

  test::TestPlatform* tp = nullptr;
  CRVDataManager* store = nullptr;
  // The store's file, on a connection of its own.
  std::optional<LorrowSQLiteManager> file;
};

TEST(EventStoreStartUp, ADamagedDatabaseGivesBackItsReadableEventsAndCampaignsAndRecordingGoesOn) {
  auto& tp = test::installTestPlatform();
  const std::string path = Platform::current().files->documentsDirectory() + "/lorrowab.sqlite";
  {
    LorrowSQLiteManager previous("lorrowab.sqlite");  // what an earlier run left: 600 events and 2 campaigns
    (void)previous.doQuery("CREATE TABLE lorrow_events (_id INTEGER PRIMARY KEY, event TEXT NOT NULL);");
    (void)previous.doQuery("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 600) "
                           "INSERT INTO lorrow_events (event) SELECT '{\"name\":\"e' || i || '\"}' FROM n;");
    (void)previous.doQuery("CREATE TABLE crvn_inapp (_id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, inapp_msg TEXT "
                           "NOT NULL, campaignId TEXT NOT NULL unique, event TEXT NOT NULL,startTime TEXT NOT NULL, "
                           "endTime TEXT NOT NULL ,enable integer DEFAULT 1 , paused integer DEFAULT 0, "
                           "inapp_frequency integer);");
    (void)previous.doQuery("INSERT INTO crvn_inapp (inapp_msg, campaignId, event, startTime, endTime) VALUES "
                           "('{}', 'c1', 'buy', 's', 'e'), ('{}', 'c2', 'buy', 's', 'e');");
  }
  // One page of events is scribbled over.
  std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).seekp(4096 * 4) << std::string(512, '\xee');

  CRVDataManager& store = CRVDataManager::sharedInstance();
  store.saveEventInDB(Value{{"name", "after"}});
  std::vector<std::string> names;
  store.getEventsDataWith([&](const std::string& text, const std::vector<int64_t>&) {
    for (size_t at = 0; at < text.size();) {
      const size_t end = std::min(text.find('\n', at), text.size());
      names.push_back(Value::parse(text.substr(at, end - at))["name"]);
      at = end + 1;
    }
  });
  ASSERT_GT(names.size(), 300u) << "every page of events but one was whole";
  EXPECT_LT(names.size(), 600u);
  EXPECT_EQ(Value(store.sql().getRowsForQuery("SELECT campaignId FROM crvn_inapp")).dump(),
            R"([{"campaignId":"c1"},{"campaignId":"c2"}])");
  EXPECT_EQ(names.front(), "e1");
  EXPECT_EQ(names.back(), "after");
  const auto lines = tp.log->lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "CorvanaSDK-Database file unreadable (*** in database main ***; Page 5: btreeInitPage() "
                           "returns error code 11), " + std::to_string(names.size() - 1 + 2) + " rows recovered: " +
                               path + " (kept as " + path + ".corrupt)");
}

TEST_F(EventStoreTest, StoresCompactRecordsReadsThemAsLinesWithIdsAndDeletesListedIds) {
  EXPECT_EQ(stored(), (Stored{"", {}}));

  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"name", "caf\xC3\xA9"}, {"timestamp", 1}});
  store->saveEventInDB(nullptr);
  store->saveEventInDB(Value{{"event_type", "custom"}, {"name", "it's"}});  // the quote breaks the insert
  store->saveEventInDB(Value{{"event_type", "session"}, {"meta", {{"a", {1, 2.5, nullptr, true}}}}});

  EXPECT_EQ(stored(), (Stored{
                          "{\"event_type\":\"checkpoint\",\"name\":\"caf\xC3\xA9\",\"timestamp\":1}\n"
                          R"({"event_type":"session","meta":{"a":[1,2.5,null,true]}})",
                          {1, 2}}));
  EXPECT_TRUE(tp->log->lines().empty());

  for (int i = 3; i <= 10; ++i) store->saveEventInDB(Value{{"n", i}});
  store->cleanUpEventsWith({});
  store->cleanUpEventsWith({3, 5, 9});
  EXPECT_EQ(stored().second, (std::vector<int64_t>{1, 2, 4, 6, 7, 8, 10}));
}

// The limit counts the rows the file holds, however their ids are spread and whoever wrote them, and every event is
// in the file (committed) when the store returns.
TEST_F(EventStoreTest, AFullTableDropsTheNewestOrdinaryEventAndKeepsCrucialOnes) {
  // 998 rows written elsewhere, with ids from 2 to 1,996 (as after partial reports): far more ids than rows.
  std::string rows = "INSERT INTO lorrow_events (_id, event) VALUES ";
  for (int i = 1; i <= 998; ++i) {
    rows += strfmt("%s(%d, '{\"event_type\":\"checkpoint\",\"n\":%d}')", i > 1 ? "," : "", 2 * i, i);
  }
  (void)file->doQuery(rows + ";");
  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", 999}});
  ASSERT_EQ(fileRecords().size(), 999u) << "the 999th row was dropped or not committed";
  EXPECT_EQ(fileRecords().back()["n"], 999);
  const auto backlog = stored();

  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", 1000}});
  EXPECT_EQ(stored(), backlog);

  struct Step {
    Value record;
    bool kept;
  };
  const Step steps[] = {
      {{{"event_type", "push"}}, true},  {{{"event_type", "checkpoint"}}, false},
      {{{"event_type", "init"}}, true},  {{{"event_type", "PUSH"}}, false},
      {{{"event_type", "user"}}, true},  {{{"n", 1}}, false},
      {{{"event_type", 1}}, false},      {{{"event_type", "session"}}, false},
  };
  size_t kept = 0;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.record.dump());
    const std::string newestBefore = stored().first.substr(stored().first.rfind('\n') + 1);
    store->saveEventInDB(step.record);
    kept += step.kept;
    const auto [events, ids] = stored();
    EXPECT_EQ(ids.size(), 999 + kept);
    EXPECT_EQ(events.substr(events.rfind('\n') + 1), step.kept ? step.record.dump() : newestBefore);
    EXPECT_EQ(tp->log->count(kCrucialLine), kept);
  }
  EXPECT_EQ(tp->log->lines().size(), kept);

  // Rows deleted elsewhere (a report's confirmation) make room at once.
  (void)file->doQuery("DELETE FROM lorrow_events WHERE _id IN (2, 4, 6, 8)");
  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", "kept"}});
  EXPECT_EQ(fileRecords().size(), 999u);
  EXPECT_EQ(fileRecords().back()["n"], "kept");
}

TEST_F(EventStoreTest, TheReadBlockRunsInsideTheReentrantDatabaseLock) {
  store->saveEventInDB(Value{{"n", 1}});
  bool otherThreadGotLock = true;
  store->getEventsDataWith([&](const std::string&, const std::vector<int64_t>&) {
    std::thread([&] {
      std::unique_lock<std::recursive_mutex> lock(store->databaseLock(), std::try_to_lock);
      otherThreadGotLock = lock.owns_lock();
    }).join();
    store->saveEventInDB(Value{{"n", 2}});  // same thread: no deadlock
  });
  EXPECT_FALSE(otherThreadGotLock);
  EXPECT_EQ(stored().first, "{\"n\":1}\n{\"n\":2}");
}

TEST_F(EventStoreTest, ManyHostThreadsAfterAChangedInstallationGetOneDeviceRecordFirst) {
  CRVUtil::setBoolForKey(false, kKeyInitReport);
  Corvana& sdk = Corvana::sharedInstance();
  constexpr int kThreads = 4, kEach = 25;
  std::vector<std::thread> hosts;
  for (int t = 0; t < kThreads; ++t) {
    hosts.emplace_back([&sdk, t] {
      for (int i = 0; i < kEach; ++i) sdk.reportActionWithMetaData(strfmt("t%d-%d", t, i));
    });
  }
  for (auto& host : hosts) host.join();
  sdk.serialQueue()->waitUntilIdle();

  const std::vector<Value> records = fileRecords();
  ASSERT_EQ(records.size(), static_cast<size_t>(1 + kThreads * kEach));
  EXPECT_EQ(records.front()["event_type"], "init");
  std::set<std::string> names;
  for (size_t i = 1; i < records.size(); ++i) {
    EXPECT_EQ(records[i]["event_type"], "checkpoint") << "row " << i;
    names.insert(records[i].value("name", ""));
  }
  EXPECT_EQ(names.size(), static_cast<size_t>(kThreads * kEach));
  EXPECT_TRUE(CRVUtil::getBoolForKey(kKeyInitReport));
}

// The statement texts, spacing included, are those the tables were always written with: each operation of both
// halves of the store is traced on its connection and compared letter for letter.
TEST_F(EventStoreTest, EveryOperationRunsItsStatementsLetterForLetter) {
  Lines ran;
  (void)store->sql().openDatabase();
  sqlite3_trace_v2(
      store->sql().db(), SQLITE_TRACE_STMT,
      [](unsigned, void* into, void*, void* text) {
        static_cast<Lines*>(into)->push_back(static_cast<const char*>(text));
        return 0;
      },
      &ran);
  (void)store->sql().closeDatabase();
  const auto take = [&ran] { return std::exchange(ran, {}); };
  const std::string maxId = "_id = (select MAX(_id) from lorrow_events)";

  store->saveEventInDB(Value{{"n", 1}});
  EXPECT_EQ(take(), (Lines{"BEGIN IMMEDIATE;", R"(INSERT INTO lorrow_events (event) VALUES ('{"n":1}');)",
                           "SELECT COUNT(*) FROM lorrow_events", "COMMIT;"}));
  (void)stored();
  store->cleanUpEventsWith({1, 7});
  store->cleanUpAppEvents();
  EXPECT_EQ(take(), (Lines{"SELECT * from lorrow_events", "BEGIN IMMEDIATE;",
                           "DELETE FROM lorrow_events WHERE _id IN (1,7);", "COMMIT;", "BEGIN IMMEDIATE;",
                           "delete from lorrow_events", "COMMIT;"}));
  (void)file->doQuery(strfmt("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %d) "
                             "INSERT INTO lorrow_events (event) SELECT '{}' FROM n;", MAX_CHECKPOINTS_COUNT));
  store->saveEventInDB(Value{{"n", 2}});
  EXPECT_EQ(take(), (Lines{"BEGIN IMMEDIATE;", R"(INSERT INTO lorrow_events (event) VALUES ('{"n":2}');)",
                           "SELECT COUNT(*) FROM lorrow_events", "select event from lorrow_events where " + maxId,
                           "delete from lorrow_events where " + maxId, "COMMIT;"}));

  const double now = test::realNow();
  const auto campaign =
      CRVInAppMessage::initWithDictionary(test::liveCampaign("c1", "buy", "everytime", now - 60, now + 60));
  ASSERT_NE(campaign, nullptr);
  (void)take();
  store->saveCampaign(campaign);
  EXPECT_EQ(take(), Lines{"INSERT OR REPLACE INTO crvn_inapp (inapp_msg,campaignId,event,startTime,endTime,"
                          "inapp_frequency) VALUES ('" + *campaign->getJsonData() + "','c1','buy','" +
                          campaign->getStartTime() + "','" + campaign->getEndTime() + "','1');"});
  const auto update = [&](std::optional<std::string> id, int32_t enable, int32_t paused) {
    CRVResource resource;
    resource.setCampaignId(std::move(id));
    resource.setEnable(enable);
    resource.setPaused(paused);
    store->updateResource(&resource);
    const Lines statements = take();
    return statements.size() == 3 ? statements[1] : "statements: " + Value(statements).dump();
  };
  constexpr int32_t keep = CRVResource::kLeaveUnchanged;
  EXPECT_EQ(update("c1", 0, 1), "Update crvn_inapp set enable=0 , paused=1 where campaignId = 'c1';");
  EXPECT_EQ(update("c1", 1, keep), "Update crvn_inapp set enable=1 where campaignId = 'c1';");
  EXPECT_EQ(update("c1", keep, 0), "Update crvn_inapp set paused=0 where campaignId = 'c1';");
  EXPECT_EQ(update(std::nullopt, 0, keep), "Update crvn_inapp set enable=0 where inapp_frequency = 4 OR "
                                           "inapp_frequency = 2;");
  (void)update(std::nullopt, 1, keep);

  const std::string expired = "from crvn_inapp where datetime(endTime/1000,'unixepoch') < datetime('now')";
  store->getAllValidMessages();
  const Lines refresh = take();
  ASSERT_GE(refresh.size(), 4u);
  EXPECT_EQ(Lines(refresh.begin(), refresh.begin() + 4),
            (Lines{"BEGIN IMMEDIATE;", "select campaignId " + expired, "select DISTINCT event from crvn_inapp",
                   "select * from crvn_inapp where event = 'buy' AND enable = 1 AND paused = 0 AND "
                   "datetime(startTime/1000,'unixepoch') < datetime('now') AND datetime(endTime/1000,'unixepoch') > "
                   "datetime('now')  ORDER BY _id DESC LIMIT 1"}));
  EXPECT_EQ(refresh.back(), "COMMIT;");
  store->cleanUpInapp();
  EXPECT_EQ(take(), Lines{"select * from crvn_inapp where datetime(endTime /1000,'unixepoch') < datetime('now')"});
  store->clearCampaigns({"c1"});
  EXPECT_EQ(take(), (Lines{"BEGIN IMMEDIATE;", "delete from crvn_inapp where campaignId='c1'", "COMMIT;"}));
}

}  // namespace
}  // namespace corvana
