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

// The unique identifier's key: the install identifier's key followed by the test app's bundle identifier.
const std::string kUniqueKey = std::string(kKeyLorrowAppID) + "io.corvana.tests";
const std::string kOldInstall = "11111111-1111-4111-8111-111111111111";
const std::string kStoredUnique = "22222222-2222-4222-8222-222222222222";
const std::string kOtherUnique = "33333333-3333-4333-8333-333333333333";

bool isRandomUpperCaseUUID(const std::string& text) {
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  return std::regex_match(text, uuid);
}

std::optional<std::string> preference(Preferences& preferences, const std::string& key) {
  auto stored = preferences.objectForKey(key);
  if (!stored || !std::holds_alternative<std::string>(*stored)) return std::nullopt;
  return std::get<std::string>(*stored);
}

std::string uuidLine(const std::string& identifier) { return "CorvanaSDK-Current UUID is : " + identifier + " "; }

TEST(DeviceIdentity, InstallIdentifierIsMadeOnceStoredAndLoggedOnce) {
  auto& platform = test::installTestPlatform();
  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  const std::string install = info.installIdentifier();

  EXPECT_TRUE(isRandomUpperCaseUUID(install)) << install;
  EXPECT_EQ(info.installIdentifier(), install);
  EXPECT_EQ(Corvana::sharedInstance().getDeviceId(), install);
  EXPECT_EQ(platform.log->count(uuidLine(install)), 1u);
  EXPECT_EQ(preference(*platform.platform->preferences, kKeyLorrowAppID), install);

  const std::string unique = info.uniqueGlobalDeviceIdentifier();
  EXPECT_TRUE(isRandomUpperCaseUUID(unique)) << unique;
  EXPECT_NE(unique, install);
  EXPECT_EQ(info.uniqueGlobalDeviceIdentifier(), unique);
  EXPECT_EQ(platform.log->lines(), std::vector<std::string>{uuidLine(install)});
}

TEST(DeviceIdentity, ReinstalledAppRecoversItsDeviceIdentifierButNotItsInstallIdentifier) {
  auto& platform = test::installTestPlatform();
  Preferences& preferences = *platform.platform->preferences;
  // What the previous installation left, before its preferences were wiped with the app.
  preferences.setObjectForKey(kOldInstall, kKeyLorrowAppID);
  preferences.setObjectForKey(kStoredUnique, kUniqueKey);
  ASSERT_TRUE(UICKeyChainStore::setStringForKeyService(kStoredUnique, kUniqueKey));
  preferences.removeObjectForKey(kKeyLorrowAppID);
  preferences.removeObjectForKey(kUniqueKey);

  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  EXPECT_EQ(info.uniqueGlobalDeviceIdentifier(), kStoredUnique);
  EXPECT_EQ(preference(preferences, kUniqueKey), kStoredUnique);
  const std::string install = info.installIdentifier();
  EXPECT_NE(install, kOldInstall);
  EXPECT_EQ(preference(preferences, kKeyLorrowAppID), install);
}

// Where the device identifier is found at start, and what the stores hold once it has been answered.
struct UniqueCase {
  const char* name;
  std::optional<std::string> inPreferences;
  std::optional<std::string> inSecureStore;
  std::optional<std::string> answer;  // nothing: a new identifier
  bool copiedToSecureStore;           // the secure store then holds the answer
};
void PrintTo(const UniqueCase& c, std::ostream* out) { *out << c.name; }

class DeviceIdentityUnique : public testing::TestWithParam<UniqueCase> {};

TEST_P(DeviceIdentityUnique, PreferencesFirstThenSecureStoreThenANewIdentifier) {
  const UniqueCase& c = GetParam();
  auto& platform = test::installTestPlatform();
  Preferences& preferences = *platform.platform->preferences;
  preferences.setObjectForKey(kOldInstall, kKeyLorrowAppID);
  if (c.inPreferences) preferences.setObjectForKey(*c.inPreferences, kUniqueKey);
  if (c.inSecureStore) {
    ASSERT_TRUE(UICKeyChainStore::setStringForKeyService(*c.inSecureStore, kUniqueKey));
  }

  UIDeviceAdditionalInfo& info = UIDeviceAdditionalInfo::sharedInstance();
  EXPECT_EQ(info.installIdentifier(), kOldInstall);
  EXPECT_EQ(platform.log->lines(), std::vector<std::string>{uuidLine(kOldInstall)});

  const std::string unique = info.uniqueGlobalDeviceIdentifier();
  if (c.answer) {
    EXPECT_EQ(unique, *c.answer);
  } else {
    EXPECT_TRUE(isRandomUpperCaseUUID(unique)) << unique;
  }
  EXPECT_EQ(preference(preferences, kUniqueKey), unique);
  EXPECT_EQ(UICKeyChainStore::stringForKeyService(kUniqueKey), c.copiedToSecureStore ? unique : c.inSecureStore);
}

INSTANTIATE_TEST_SUITE_P(
    StartingStates, DeviceIdentityUnique,
    testing::Values(UniqueCase{"Nowhere", std::nullopt, std::nullopt, std::nullopt, true},
                    UniqueCase{"OnlyInPreferences", kStoredUnique, std::nullopt, kStoredUnique, false},
                    UniqueCase{"PreferencesWinOverSecureStore", kStoredUnique, kOtherUnique, kStoredUnique, false}),
    [](const testing::TestParamInfo<UniqueCase>& info) { return info.param.name; });

}  // namespace
}  // namespace corvana
