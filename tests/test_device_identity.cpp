#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <string>

#include "corvana/Corvana.hpp"
#include "storage/UICKeyChainStore.h"
#include "storage/UIDeviceAdditionalInfo.h"
#include "support/TestPlatform.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

// The device identifier's key: the install identifier's key followed by the test app's bundle identifier.
const std::string kUniqueKey = std::string(kKeyLorrowAppID) + "io.corvana.tests";
const std::string kOldInstall = "11111111-1111-4111-8111-111111111111";
const std::string kStoredUnique = "22222222-2222-4222-8222-222222222222";
const std::string kOtherUnique = "33333333-3333-4333-8333-333333333333";

bool isRandomUpperCaseUUID(const std::string& text) {
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  return std::regex_match(text, uuid);
}

std::optional<std::string> preference(const std::string& key) {
  auto stored = test::installTestPlatform().platform->preferences->objectForKey(key);
  return stored ? std::optional(std::get<std::string>(*stored)) : std::nullopt;
}

std::string uuidLine(const std::string& identifier) { return "CorvanaSDK-Current UUID is : " + identifier + " "; }

TEST(DeviceIdentity, FirstLaunchMakesTwoIdentifiersStoresThemAndLogsTheInstallOneOnce) {
  auto& platform = test::installTestPlatform();
  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  const std::string install = info.installIdentifier();
  const std::string unique = info.uniqueGlobalDeviceIdentifier();
  EXPECT_TRUE(isRandomUpperCaseUUID(install) && isRandomUpperCaseUUID(unique)) << install << " " << unique;
  EXPECT_NE(unique, install);
  EXPECT_EQ(Corvana::sharedInstance().getDeviceId(), install);
  EXPECT_EQ(preference(kKeyLorrowAppID), install);
  EXPECT_EQ(preference(kUniqueKey), unique);
  EXPECT_EQ(UICKeyChainStore::stringForKeyService(kUniqueKey), unique);
  EXPECT_EQ(platform.log->lines(), std::vector<std::string>{uuidLine(install)});
}

TEST(DeviceIdentity, ReinstalledAppRecoversItsDeviceIdentifierButNotItsInstallIdentifier) {
  Preferences& preferences = *test::installTestPlatform().platform->preferences;
  // What the previous installation left, before its preferences were wiped with the app.
  preferences.setObjectForKey(kOldInstall, kKeyLorrowAppID);
  preferences.setObjectForKey(kStoredUnique, kUniqueKey);
  ASSERT_TRUE(UICKeyChainStore::setStringForKeyService(kStoredUnique, kUniqueKey));
  preferences.removeObjectForKey(kKeyLorrowAppID);
  preferences.removeObjectForKey(kUniqueKey);

  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  EXPECT_EQ(info.uniqueGlobalDeviceIdentifier(), kStoredUnique);
  EXPECT_EQ(preference(kUniqueKey), kStoredUnique);
  EXPECT_NE(info.installIdentifier(), kOldInstall);
  EXPECT_EQ(preference(kKeyLorrowAppID), info.installIdentifier());
}

TEST(DeviceIdentity, IdentifiersInThePreferencesWinAndLeaveTheSecureStoreAlone) {
  auto& platform = test::installTestPlatform();
  platform.platform->preferences->setObjectForKey(kOldInstall, kKeyLorrowAppID);
  platform.platform->preferences->setObjectForKey(kStoredUnique, kUniqueKey);
  ASSERT_TRUE(UICKeyChainStore::setStringForKeyService(kOtherUnique, kUniqueKey));

  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  EXPECT_EQ(info.installIdentifier(), kOldInstall);
  EXPECT_EQ(info.uniqueGlobalDeviceIdentifier(), kStoredUnique);
  EXPECT_EQ(UICKeyChainStore::stringForKeyService(kUniqueKey), kOtherUnique);
  EXPECT_EQ(platform.log->lines(), std::vector<std::string>{uuidLine(kOldInstall)});
}

}  // namespace
}  // namespace corvana
