// What the event store promises whatever is done to make it faster: an event is in the database file when the
// store returns, the row limit counts the rows the file holds (however their ids are spread, whoever wrote them),
// and the first events after a changed installation, from any number of host threads, are preceded by exactly one
// device record.

#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "corvana/constants.h"
#include "events/CRVDataManager.h"
#include "storage/LorrowSQLiteManager.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

class EventStoreSemantics : public ::testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();
    store = &CRVDataManager::sharedInstance();
    store->cleanUpAppEvents();
  }

  // A connection of the test's own: what another process would find in the file.
  LorrowSQLiteManager file() { return LorrowSQLiteManager(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite"); }
  std::vector<int64_t> fileIds() {
    std::vector<int64_t> ids;
    for (const Value& row : file().getRowsForQuery("SELECT _id FROM lorrow_events ORDER BY _id")) ids.push_back(row["_id"]);
    return ids;
  }
  std::vector<Value> fileRecords() {
    std::vector<Value> records;
    for (const Value& row : file().getRowsForQuery("SELECT event FROM lorrow_events ORDER BY _id")) {
      records.push_back(Value::parse(row["event"].get<std::string>()));
    }
    return records;
  }

  test::TestPlatform* tp = nullptr;
  CRVDataManager* store = nullptr;
};

TEST_F(EventStoreSemantics, EveryEventIsInTheFileWhenTheStoreReturnsAndTheLimitSeesRowsWrittenElsewhere) {
  for (int n = 1; n <= 3; ++n) {
    store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", n}});
    EXPECT_EQ(fileIds().size(), static_cast<size_t>(n)) << "event " << n << " was not written when the store returned";
  }
  // Rows written by another connection count toward the limit at once: 996 more make 999.
  std::string rows = "INSERT INTO lorrow_events (event) VALUES ";
  for (int i = 0; i < MAX_CHECKPOINTS_COUNT - 4; ++i) rows += strfmt("%s('{\"n\":%d}')", i > 0 ? "," : "", i);
  (void)file().doQuery(rows + ";");
  ASSERT_EQ(fileIds().size(), 999u);
  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", "dropped"}});
  EXPECT_EQ(fileIds().size(), 999u);
  // Rows deleted elsewhere (a report's confirmation) make room at once.
  (void)file().doQuery("DELETE FROM lorrow_events WHERE _id IN (1, 2)");
  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", "kept"}});
  EXPECT_EQ(fileIds().size(), 998u);
  EXPECT_EQ(fileRecords().back()["n"], "kept");
}

TEST_F(EventStoreSemantics, TheLimitCountsRowsHoweverTheirIdsAreSpread) {
  // 998 rows whose ids run from 1 to 1,996 (every other id gone, as after partial reports): far more ids than rows.
  std::string rows = "INSERT INTO lorrow_events (_id, event) VALUES ";
  for (int i = 1; i <= 998; ++i) rows += strfmt("%s(%d, '{\"n\":%d}')", i > 1 ? "," : "", 2 * i, i);
  (void)file().doQuery(rows + ";");
  ASSERT_EQ(fileIds().size(), 998u);
  ASSERT_EQ(fileIds().back(), 1996);

  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", "999th"}});
  EXPECT_EQ(fileIds().size(), 999u) << "the 999th row was dropped: the limit counted ids, not rows";
  EXPECT_EQ(fileRecords().back()["n"], "999th");
  store->saveEventInDB(Value{{"event_type", "checkpoint"}, {"n", "1000th"}});
  EXPECT_EQ(fileIds().size(), 999u);
  EXPECT_EQ(fileRecords().back()["n"], "999th");
}

TEST_F(EventStoreSemantics, ManyHostThreadsAfterAChangedInstallationGetOneDeviceRecordFirst) {
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

}  // namespace
}  // namespace corvana
