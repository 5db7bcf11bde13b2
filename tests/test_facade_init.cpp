// Start-up of the facade as a host app drives it: validation on the caller's thread, the installation decision
// on the SDK's queue, and the settings each path leaves behind.

#include <chrono>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "corvana/Corvana.hpp"
#include "events/CRVEventLogger.h"
#include "platform/LinuxApplication.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

using namespace corvana;
using corvana::test::installTestPlatform;

namespace {

const std::string kSuccessLine = "CorvanaSDK-v.0.8.4 initialized successfully.";
const std::string kWarningLine =
    "CorvanaSDK-[warning] is not initialized. Initialize Framwork using initializeWithQuorvelID:appSecret: method.";

void initialize(const std::string& id, const std::string& secret, const std::string& framework) {
  Corvana::sharedInstance().initializeWithQuorvelIDAppSecretMobileFrameworkTypeLaunchOptions(id, secret, framework,
                                                                                            nullptr);
}

// Waits for the SDK's queue, then for the report and resync it started: they fail at once here (nothing
// listens), but their lines arrive from the network thread.
void drain() {
  auto& sdk = Corvana::sharedInstance();
  sdk.serialQueue()->waitUntilIdle();
  for (int i = 0; i < 1000 && (sdk.eventLogger().isReporting() || sdk.isSyncing()); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

// A changed installation completes when its first sync answers: at once here, with a refused connection.
bool waitForStartToFinish() {
  for (int i = 0; i < 1000 && Corvana::sharedInstance().makingInitCall(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return !Corvana::sharedInstance().makingInitCall();
}

// Stores what a completed earlier start leaves behind.
void storeInstallation(const std::string& version, const std::string& id, const std::string& secret,
                       const std::string& framework) {
  CRVUtil::setObjectForKey(Value(version), kKeyAppVersion);
  CRVUtil::setObjectForKey(Value(id), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value(secret), kKeyAppSecret);
  CRVUtil::setObjectForKey(Value(framework), kKeyFrameworkType);
}

bool isStored(const std::string& key) { return Platform::current().preferences->objectForKey(key).has_value(); }

}  // namespace

TEST(FacadeInit, ValidationStopsAtTheFirstFailingCheckWithItsOwnLine) {
  auto& tp = installTestPlatform();
  struct Case {
    std::string id, secret, framework, line;
  };
  const Case cases[] = {
      {"", "", "", "CorvanaSDK-Quorvel ID is an empty string."},
      {"", "s", "native", "CorvanaSDK-Quorvel ID is an empty string."},
      {"acme", "", "", "CorvanaSDK-Framework type is an empty string."},
      {"acme", "", "native", "CorvanaSDK-App Secret is empty string."},
  };
  for (const auto& c : cases) {
    tp.log->clear();
    initialize(c.id, c.secret, c.framework);
    EXPECT_EQ(tp.log->lines(), std::vector<std::string>{c.line}) << c.id << "/" << c.secret << "/" << c.framework;
    EXPECT_FALSE(Corvana::sharedInstance().makingInitCall());
  }
  drain();
  EXPECT_FALSE(isStored(kKeyQuorvel)) << "a refused call must not reach the second phase";
}

TEST(FacadeInit, AStoredInstallationCompletesAtOnceAndCallsWhileItIsQueuedAreSilent) {
  auto& tp = installTestPlatform();
  auto& sdk = Corvana::sharedInstance();
  sdk.sdkInitilizationWarning();
  EXPECT_EQ(tp.log->lines(), std::vector<std::string>{kWarningLine});
  storeInstallation("2.3.1", "acme", "s3cret", "native");
  std::promise<void> release;
  auto released = release.get_future().share();
  sdk.serialQueue()->async([released] { released.wait(); });

  initialize("acme", "s3cret", "native");
  EXPECT_TRUE(sdk.makingInitCall());
  tp.log->clear();
  initialize("other", "s2", "flutter");
  initialize("", "", "");
  sdk.sdkInitilizationWarning();  // still starting
  EXPECT_TRUE(tp.log->lines().empty());

  release.set_value();
  drain();
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyQuorvel), "acme") << "the queued calls changed nothing";
  EXPECT_EQ(sdk.appSecret(), std::optional<std::string>("s3cret"));
  EXPECT_TRUE(sdk.sdkInitialized());
  EXPECT_EQ(tp.log->count(kSuccessLine), 1u);
  EXPECT_FALSE(isStored(kKeyNewUser)) << "only a changed installation writes it";

  tp.log->clear();
  sdk.sdkInitilizationWarning();  // initialized
  initialize("acme", "s3cret", "native");
  EXPECT_EQ(tp.log->lines(), std::vector<std::string>{"CorvanaSDK-Already initialized."});
}

TEST(FacadeInit, AFirstRunOrAnyChangedPartOfTheInstallationWaitsForTheFirstSync) {
  auto& tp = installTestPlatform();
  // 03:00 UTC is the evening before in New York: the install date follows the device's time zone.
  tp.clock->set(Date{test::kTestEpoch - 9 * 3600});
  struct Case {
    const char* what;
    std::string version, id, secret, framework;  // stored; an empty version is a first run
  };
  // The host runs version 2.3.1 and starts with ("acme", "s3cret", "native").
  const Case cases[] = {
      {"first run", "", "", "", ""},
      {"framework type", "2.3.1", "acme", "s3cret", "react-native"},
      {"app version", "2.3.0", "acme", "s3cret", "native"},
      {"secret", "2.3.1", "acme", "old", "native"},
      {"account", "2.3.1", "acme2", "s3cret", "native"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const bool firstRun = c.version.empty();
    if (!firstRun) {
      storeInstallation(c.version, c.id, c.secret, c.framework);
      CRVUtil::setBoolForKey(true, kKeyInitReport);
      Platform::current().preferences->removeObjectForKey(kKeyInstallDate);
    }
    initialize("acme", "s3cret", "native");
    drain();
    EXPECT_EQ(CRVUtil::getStringForKey(kKeyFrameworkType), "native");
    EXPECT_TRUE(isStored(kKeyInitReport) && !CRVUtil::getBoolForKey(kKeyInitReport));
    EXPECT_TRUE(isStored(kKeyNewUser));
    EXPECT_EQ(CRVUtil::getBoolForKey(kKeyNewUser), firstRun);
    EXPECT_EQ(CRVUtil::getStringForKey(kKeyInstallDate), firstRun ? "2026-11-20" : "");
    // The sync fails at once: nothing listens.
    ASSERT_TRUE(waitForStartToFinish());
    EXPECT_EQ(isStored(kKeyAppVersion), !firstRun) << "only a good sync stores the version";
    EXPECT_FALSE(tp.log->contains(kSuccessLine));
  }
}

TEST(FacadeInit, EmptyAppVersionStopsAfterTheIdentifiersAreWritten) {
  auto options = test::testPlatformOptions();
  options.appVersion = "";
  auto& tp = installTestPlatform(options);
  initialize("acme", "s3cret", "native");
  drain();
  EXPECT_TRUE(tp.log->contains("CorvanaSDK-Invalid app version, app version can not be empty."));
  EXPECT_FALSE(Corvana::sharedInstance().makingInitCall());
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyQuorvel), "acme");
  EXPECT_FALSE(isStored(kKeyInitReport));
}

TEST(FacadeInit, ABlockedAccountStaysDisabledForADayCountedFromTheMinuteItWasSeen) {
  auto& tp = installTestPlatform();
  auto& sdk = Corvana::sharedInstance();
  storeInstallation("2.3.1", "acme", "s3cret", "native");
  CRVUtil::setBoolForKey(true, kKeyAcountBlocked);
  tp.clock->set(Date{test::kTestEpoch + 5 * 3600 + 7 * 60 + 42});  // 17:07:42 UTC
  sdk.saveBlockedDuration();
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyAppBlockUntil), "Nov 21, 2026 at 05:07 PM");
  // Minute resolution: 24 hours after 17:07:42 is already 24 hours and 42 seconds after 17:07.
  tp.clock->advance(24 * 3600 - 43);
  initialize("acme", "s3cret", "native");
  drain();
  EXPECT_EQ(tp.log->count("CorvanaSDK-account disabled for this app."), 1u);
  EXPECT_FALSE(sdk.makingInitCall());
  EXPECT_FALSE(sdk.appSecret().has_value());
  EXPECT_TRUE(CRVUtil::getBoolForKey(kKeyAcountBlocked));

  // The lapsed block is cleared for the next start, while this one stays blocked and in progress.
  tp.clock->advance(1);
  initialize("acme", "s3cret", "native");
  drain();
  EXPECT_FALSE(CRVUtil::getBoolForKey(kKeyAcountBlocked));
  EXPECT_EQ(sdk.appSecret(), std::optional<std::string>("s3cret"));
  EXPECT_TRUE(sdk.accountBlocked());
  EXPECT_TRUE(sdk.makingInitCall());
  EXPECT_EQ(tp.log->count("CorvanaSDK-account disabled for this app."), 1u);
  EXPECT_FALSE(tp.log->contains(kSuccessLine));
}

TEST(FacadeInit, LifecycleIsObservedOnceFromTheFirstCallThatPassesItsChecks) {
  installTestPlatform();
  auto& app = dynamic_cast<LinuxApplication&>(*Platform::current().application);
  initialize("", "s3cret", "native");  // refused: nothing observed yet
  app.postNotification(UIApplicationDidEnterBackgroundNotification);
  EXPECT_TRUE(app.runningBackgroundTasks().empty());
  storeInstallation("2.3.1", "acme", "s3cret", "native");
  initialize("acme", "s3cret", "native");
  drain();
  initialize("acme", "s3cret", "native");  // "Already initialized": no second observer
  app.postNotification(UIApplicationDidEnterBackgroundNotification);
  EXPECT_EQ(app.runningBackgroundTasks().size(), 1u);
}
