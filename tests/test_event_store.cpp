#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "events/CRVDataManager.h"
#include "support/TestPlatform.h"
#include "util/Log.h"

namespace corvana {
namespace {

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
    (void)previous.doQuery("CREATE TABLE IF NOT EXISTS lorrow_events (_id INTEGER PRIMARY KEY, event TEXT NOT NULL);");
    (void)previous.doQuery("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 600) INSERT INTO "
                           "lorrow_events (event) SELECT '{\"name\":\"e' || i || '\"}' FROM n;");
    (void)previous.doQuery("CREATE TABLE crvn_inapp (_id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, inapp_msg TEXT NOT "
                           "NULL, campaignId TEXT NOT NULL unique, event TEXT NOT NULL,startTime TEXT NOT NULL, endTime "
                           "TEXT NOT NULL ,enable integer DEFAULT 1 , paused integer DEFAULT 0, inapp_frequency integer);");
    (void)previous.doQuery("INSERT INTO crvn_inapp (inapp_msg, campaignId, event, startTime, endTime) VALUES "
                           "('{}', 'c1', 'buy', 's', 'e'), ('{}', 'c2', 'buy', 's', 'e');");
  }
  // One page of events is scribbled over.
  std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).seekp(4096 * 4).write(std::string(512, '\xee').data(), 512);

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
  EXPECT_EQ(names.back(), "after");
  EXPECT_EQ(names.front(), "e1");
  const auto lines = tp.log->lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "CorvanaSDK-Database file unreadable (*** in database main ***; Page 5: btreeInitPage() returns error code 11), " +
                               std::to_string(names.size() - 1 + 2) + " rows recovered: " + path + " (kept as " + path +
                               ".corrupt)");
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

TEST_F(EventStoreTest, AFullTableDropsTheNewestOrdinaryEventAndKeepsCrucialOnes) {
  std::string rows = "INSERT INTO lorrow_events (event) VALUES ";
  for (int i = 1; i < MAX_CHECKPOINTS_COUNT; ++i) {
    rows += strfmt("%s('{\"event_type\":\"checkpoint\",\"n\":%d}')", i > 1 ? "," : "", i);
  }
  file->doQuery(rows + ";");
  const auto backlog = stored();
  ASSERT_EQ(backlog.second.size(), 999u);

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

}  // namespace
}  // namespace corvana
