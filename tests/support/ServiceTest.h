#pragma once

// A test of the SDK against the reference service: the service as a child process, the test platform pointed at
// it, and the questions such tests ask (rows still stored, events received, requests made).

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "events/CRVDataManager.h"
#include "events/CRVEventLogger.h"
#include "storage/LorrowSQLiteManager.h"
#include "support/ServiceProcess.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana::test {

class ServiceTest : public ::testing::Test {
 protected:
  void SetUp() override { startService(ServiceProcess::defaultConfig()); }
  void TearDown() override {
    // The SDK's log tells what went wrong far better than the assertion alone.
    if (HasFailure() && tp) {
      for (const auto& line : tp->log->lines()) std::cerr << "  log: " << line << "\n";
    }
  }

  void startService(const std::string& config) {
    service = std::make_unique<ServiceProcess>(serviceDir.path(), config);
    tp = &test::installTestPlatform(service->platformOptions());
  }

  Corvana& sdk() { return Corvana::sharedInstance(); }
  CRVEventLogger& logger() { return CRVEventLogger::sharedInstance(); }

  // Huge answers take a while under the sanitizers: `seconds` bounds the wait for the reports in flight.
  void settle(int seconds = 10) {
    sdk().serialQueue()->waitUntilIdle();
    ASSERT_TRUE(test::eventually([&] { return !logger().isReporting() && !sdk().makingInitCall(); }, seconds));
  }

  // What an earlier, completed start left behind.
  void storeInstallation() {
    CRVUtil::setObjectForKey(Value("2.3.1"), kKeyAppVersion);
    CRVUtil::setObjectForKey(Value("acme"), kKeyQuorvel);
    CRVUtil::setObjectForKey(Value("s3cret"), kKeyAppSecret);
    CRVUtil::setObjectForKey(Value("native"), kKeyFrameworkType);
    CRVUtil::setBoolForKey(true, kKeyInitReport);
    CRVUtil::setObjectForKey(PreferenceValue(tp->clock->now()), kKeyLastUpdate);
  }
  void start() {
    sdk().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions("acme", "s3cret", "native", nullptr);
    settle();
  }
  // A later start of that installation, once its first report has emptied the store.
  void startInstalled() {
    storeInstallation();
    start();
    ASSERT_TRUE(test::eventually([&] { return storedRows() == 0; }));
  }
  // Changes the account's sync answer: `patch` is merged into the default one.
  void answerSyncWith(const Value& patch) {
    Value config = Value::parse(ServiceProcess::defaultConfig());
    config["accounts"]["acme"]["sync"].merge_patch(patch);
    service->setConfig(config);
  }

  // Read under the store's lock: the SDK's own threads may be writing.
  size_t storedRows() {
    std::lock_guard<std::recursive_mutex> lock(CRVDataManager::sharedInstance().databaseLock());
    LorrowSQLiteManager file(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
    return file.getRowsForQuery("SELECT _id FROM lorrow_events").size();
  }
  std::vector<Value> receivedEvents() {
    std::vector<Value> events;
    const Value received = service->received("acme");
    for (const Value& entry : received["events"]) events.push_back(entry["event"]);
    return events;
  }
  // How often the service received each event name.
  std::map<std::string, int> arrivals() {
    std::map<std::string, int> counts;
    for (const Value& event : receivedEvents()) ++counts[event.value("name", "")];
    return counts;
  }
  std::vector<Value> requestsTo(const std::string& prefix) {
    std::vector<Value> found;
    const Value requests = service->requests();
    for (const Value& request : requests["requests"]) {
      if (request["path"].get<std::string>().rfind(prefix, 0) == 0) found.push_back(request);
    }
    return found;
  }

  test::TempDir serviceDir;
  std::unique_ptr<ServiceProcess> service;
  test::TestPlatform* tp = nullptr;
};

}  // namespace corvana::test
