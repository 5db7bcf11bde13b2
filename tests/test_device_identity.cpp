// The install identifier (new with every installation) and the device identifier (kept in the secure store, so
// that it outlives a reinstall).

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

std::optional<std::string> preference(const std::string& key) {
  auto stored = Platform::current().preferences->objectForKey(key);
  return stored ? std::optional(std::get<std::string>(*stored)) : std::nullopt;
}

std::string uuidLine(const std::string& identifier) { return "CorvanaSDK-Current UUID is : " + identifier + " "; }

TEST(DeviceIdentity, FirstLaunchMakesTwoIdentifiersStoresThemAndLogsTheInstallOneOnce) {
  auto& tp = test::installTestPlatform();
  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  const std::string install = info.installIdentifier();
  const std::string unique = info.uniqueGlobalDeviceIdentifier();
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  EXPECT_TRUE(std::regex_match(install, uuid) && std::regex_match(unique, uuid)) << install << " " << unique;
  EXPECT_NE(unique, install);
  EXPECT_EQ(Corvana::sharedInstance().getDeviceId(), install);
  EXPECT_EQ(preference(kKeyLorrowAppID), install);
  EXPECT_EQ(preference(kUniqueKey), unique);
  EXPECT_EQ(UICKeyChainStore::stringForKeyService(kUniqueKey), unique);
  EXPECT_EQ(tp.log->lines(), std::vector<std::string>{uuidLine(install)});
}

TEST(DeviceIdentity, ReinstalledAppRecoversItsDeviceIdentifierButNotItsInstallIdentifier) {
  test::installTestPlatform();
  // What the previous installation left in the secure store; its preferences were wiped with the app.
  ASSERT_TRUE(UICKeyChainStore::setStringForKeyService(kStoredUnique, kUniqueKey));

  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  EXPECT_EQ(info.uniqueGlobalDeviceIdentifier(), kStoredUnique);
  EXPECT_EQ(preference(kUniqueKey), kStoredUnique);
  const std::string install = info.installIdentifier();
  EXPECT_NE(install, kStoredUnique) << "the install identifier is new with the installation";
  EXPECT_EQ(preference(kKeyLorrowAppID), install);
}

TEST(DeviceIdentity, IdentifiersInThePreferencesWinAndLeaveTheSecureStoreAlone) {
  auto& tp = test::installTestPlatform();
  const std::string other = "33333333-3333-4333-8333-333333333333";
  Platform::current().preferences->setObjectForKey(kOldInstall, kKeyLorrowAppID);
  Platform::current().preferences->setObjectForKey(kStoredUnique, kUniqueKey);
  ASSERT_TRUE(UICKeyChainStore::setStringForKeyService(other, kUniqueKey));

  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  EXPECT_EQ(info.installIdentifier(), kOldInstall);
  EXPECT_EQ(info.uniqueGlobalDeviceIdentifier(), kStoredUnique);
  EXPECT_EQ(UICKeyChainStore::stringForKeyService(kUniqueKey), other);
  EXPECT_EQ(tp.log->lines(), std::vector<std::string>{uuidLine(kOldInstall)});
}

}  // namespace
}  // namespace corvana
