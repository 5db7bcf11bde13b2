#include <gtest/gtest.h>

#include <string>

#include "storage/UICKeyChainStore.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using Store = UICKeyChainStore;

class KeychainStore : public testing::Test {
 protected:
  void SetUp() override { platform_ = &test::installTestPlatform(); }
  // Every item of the secure store, attributes and data; null when there is none.
  Value allItems() {
    Value all;
    platform_->platform->secureStore->copyMatching(
        {{kSecReturnAttributes, true}, {kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}}, &all);
    return all;
  }
  test::TestPlatform* platform_ = nullptr;
};

// The device identifier is kept with the two calls the SDK makes; the store's other calls serve nothing in it.
TEST_F(KeychainStore, AStringSetTwiceIsOneItemInTheAppsService) {
  EXPECT_TRUE(Store::setStringForKeyService("first", "key"));
  EXPECT_TRUE(Store::setStringForKeyService("second \xc3\xa9", "key"));
  EXPECT_EQ(Store::stringForKeyService("key"), "second \xc3\xa9");
  const Value stored = {{kSecClass, kSecClassGenericPassword},
                        {kSecAttrService, "io.corvana.tests"},
                        {kSecAttrAccount, "key"},
                        {kSecAttrGeneric, "key"},
                        {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                        {kSecValueData, Value::binary(Data{'s', 'e', 'c', 'o', 'n', 'd', ' ', 0xc3, 0xa9})}};
  EXPECT_EQ(allItems(), Value::array({stored}));
}

TEST_F(KeychainStore, BytesThatAreNoTextReadAsNoStringAndServicesAreApart) {
  ASSERT_TRUE(Store::setDataForKeyService(Data{0xff, 0xfe}, "key", "svc"));
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), std::nullopt);
  ASSERT_TRUE(Store::setStringForKeyService("text", "key", "svc"));
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), "text");
  EXPECT_EQ(Store::stringForKeyService("key"), std::nullopt);
}

}  // namespace
}  // namespace corvana
