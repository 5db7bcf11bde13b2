#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/utsname.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/LinuxApplication.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using test::CapturedLog;
using test::TempDir;

std::shared_ptr<Platform> makePlatform(const std::string& folder, LinuxPlatformOptions options) {
  options.dataDirectory = folder;
  if (!options.logSink) options.logSink = std::make_shared<CapturedLog>();
  return Platform::makeLinuxDefault(options);
}

TEST(LinuxPlatform, MissingDeviceFactsComeFromTheSystem) {
  TempDir dir;
  LinuxPlatformOptions options;
  options.bundlePath = "/opt/host/bundle";
  auto platform = makePlatform(dir.path(), options);
  Device& device = *platform->device;
  struct utsname system {};
  ASSERT_EQ(::uname(&system), 0);
  EXPECT_EQ(device.model(), "Linux");
  EXPECT_EQ(device.machine(), system.machine);
  EXPECT_FALSE(device.systemVersion().empty() || device.localeIdentifier().empty() || device.timeZoneName().empty());
  ASSERT_EQ(device.preferredLanguages().size(), 1u);
  EXPECT_EQ(device.preferredLanguages()[0].find('_'), std::string::npos) << "a BCP-47 tag uses hyphens";
  EXPECT_EQ(platform->application->bundlePath(), "/opt/host/bundle");
}

TEST(LinuxPlatform, FoldersAreMadePrivateUnderTheDataFolderWhenAskedFor) {
  TempDir dir;
  auto platform = makePlatform(dir.path() + "/data", test::testPlatformOptions());
  platform->preferences->setObjectForKey(true, "made");
  platform->secureStore->add({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, "made"}});
  const std::vector<std::pair<std::string, std::string>> folders = {
      {platform->files->documentsDirectory(), dir.path() + "/data/Documents"},
      {platform->files->cachesDirectory(), dir.path() + "/data/Library/Caches"},
      {dir.path() + "/data/Library/Preferences", dir.path() + "/data/Library/Preferences"},
      {dir.path() + "/data/Library/Keychains", dir.path() + "/data/Library/Keychains"},
  };
  for (const auto& [answered, expected] : folders) {
    EXPECT_EQ(answered, expected);
    struct stat info {};
    ASSERT_EQ(::stat(answered.c_str(), &info), 0) << answered;
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0700u) << answered;
  }
}

TEST(LinuxApplication, ObserversRunOnThePostingThreadOncePerRegistration) {
  LinuxApplication app("1.0", "io.corvana.host", "/bundle");
  std::vector<std::string> calls;
  std::thread::id ranOn;
  auto foreground = [&] {
    calls.push_back("foreground");
    ranOn = std::this_thread::get_id();
  };
  app.addObserver(UIApplicationWillEnterForegroundNotification, foreground);
  // An observer may register another while the notification is being posted; the new one runs from the next post.
  app.addObserver(UIApplicationDidEnterBackgroundNotification, [&] {
    calls.push_back("background");
    app.addObserver(UIApplicationDidEnterBackgroundNotification, [&] { calls.push_back("late"); });
  });

  std::thread poster([&] { app.postNotification(UIApplicationWillEnterForegroundNotification); });
  std::thread::id posterId = poster.get_id();
  poster.join();
  EXPECT_EQ(ranOn, posterId);
  app.postNotification(UIApplicationDidEnterBackgroundNotification);
  app.postNotification(UIApplicationDidEnterBackgroundNotification);
  EXPECT_EQ(calls, (std::vector<std::string>{"foreground", "background", "background", "late"}));
}

TEST(Platform, CurrentAnswersTheLastInstalledAndEarlierOnesStayValid) {
  TempDir dir;
  auto first = makePlatform(dir.path() + "/one", test::testPlatformOptions());
  Platform::install(first);
  Platform& taken = Platform::current();
  first.reset();
  Platform::install(makePlatform(dir.path() + "/two", test::testPlatformOptions()));
  EXPECT_NE(&Platform::current(), &taken);
  EXPECT_EQ(taken.serviceDomain, "corvana.test");  // still alive
}

}  // namespace
}  // namespace corvana
