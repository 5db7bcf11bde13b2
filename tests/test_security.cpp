// What a hostile network, payload or neighbour on the device must not get: the user's files, a second SQL
// statement, the app secret in the log.

#include <sys/stat.h>

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "support/ServiceTest.h"

using namespace corvana;
using test::eventually;

namespace {

using Security = test::ServiceTest;

TEST_F(Security, EveryFileTheSdkWritesIsTheUsersOnly) {
  start();
  sdk().reportActionWithMetaData("something");
  settle();
  const std::string data = tp->dir.path();
  for (const std::string file : {"/Documents/lorrowab.sqlite", "/Library/Preferences/io.corvana.tests.plist.json",
                                 "/Library/Keychains/secure-store.json"}) {
    SCOPED_TRACE(file);
    struct stat info {};
    ASSERT_EQ(::stat((data + file).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
  }
}

TEST_F(Security, SqlInANameRunsNoSecondStatementAndTheTablesSurvive) {
  storeInstallation();
  start();
  ASSERT_TRUE(eventually([&] { return storedRows() == 0; }));
  service->setFaults({{"close", true}, {"paths", "^/report/"}});  // keep what is stored, to look at it
  // A quote breaks the insert (the design stores the text as it is); one that closes the statement stores the
  // record cut at the quote. The rest of the text is never run.
  for (const char* name : {"x'; DROP TABLE lorrow_events; --", "x'); DROP TABLE crvn_inapp; --", "plain", "bad \xff"}) {
    sdk().reportActionWithMetaData(name);
  }
  sdk().associateLead(std::make_shared<CorvanaLead>());
  settle();
  std::lock_guard<std::recursive_mutex> lock(CRVDataManager::sharedInstance().databaseLock());
  LorrowSQLiteManager file(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
  EXPECT_EQ(Value(file.getRowsForQuery("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                                       "'sqlite_%' ORDER BY name"))
                .dump(),
            R"([{"name":"crvn_inapp"},{"name":"lorrow_events"}])");
  std::vector<std::string> events;
  for (const Value& row : file.getRowsForQuery("SELECT event FROM lorrow_events ORDER BY _id")) {
    events.push_back(row["event"].get<std::string>());
  }
  ASSERT_GE(events.size(), 3u);
  EXPECT_EQ(events[0], R"({"timestamp":1795262400,"event_type":"checkpoint","name":"x)");
  EXPECT_EQ(events[1], R"({"timestamp":1795262400,"event_type":"checkpoint","name":"plain","type":"custom"})");
  // Text that is not UTF-8 is stored with a replacement character rather than lost.
  EXPECT_EQ(events[2], "{\"timestamp\":1795262400,\"event_type\":\"checkpoint\",\"name\":\"bad \xef\xbf\xbd\",\"type\":\"custom\"}");
}

TEST_F(Security, TheAppSecretReachesTheLogOnlyInTheSyncAddress) {
  const std::string secret = "s3cret";
  start();  // a first start: the sync, the report with the secret header, the backlog
  sdk().reportActionWithMetaData("after");
  Platform::current().application->postNotification(UIApplicationDidEnterBackgroundNotification);
  tp->clock->advance(4000);
  Platform::current().application->postNotification(UIApplicationWillEnterForegroundNotification);
  settle();
  ASSERT_TRUE(eventually([&] { return !sdk().isSyncing() && storedRows() == 0; }));
  const std::regex allowed(
      R"(CorvanaFramework--\[CRVNetworkManager getDataFromTheEndpoint:withBlock:\] \[Line 52\] Getting data from )"
      R"(end point https://acme\.corvana\.test:\d+/api/v1/sync/s3cret\?lst=\d+)");
  size_t printed = 0;
  for (const std::string& line : tp->log->lines()) {
    if (line.find(secret) == std::string::npos) continue;
    ++printed;
    EXPECT_TRUE(std::regex_match(line, allowed)) << line;
  }
  EXPECT_EQ(printed, 2u) << "the first sync and the resync";
}

}  // namespace
