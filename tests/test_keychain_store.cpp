#include <gtest/gtest.h>

#include <string>

#include "storage/UICKeyChainStore.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using Store = UICKeyChainStore;

// The device identifier is kept with the two calls the SDK makes; the store's other calls serve nothing in it.
TEST(KeychainStore, AStringSetTwiceIsOneItemInItsServiceAndBytesThatAreNoTextReadAsNoString) {
  auto& platform = test::installTestPlatform();
  EXPECT_TRUE(Store::setStringForKeyService("first", "key"));
  EXPECT_TRUE(Store::setStringForKeyService("second", "key"));
  EXPECT_EQ(Store::stringForKeyService("key"), "second");
  Value all;
  platform.platform->secureStore->copyMatching(
      {{kSecReturnAttributes, true}, {kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}}, &all);
  EXPECT_EQ(all, Value::array({{{kSecClass, kSecClassGenericPassword},
                                {kSecAttrService, "io.corvana.tests"},
                                {kSecAttrAccount, "key"},
                                {kSecAttrGeneric, "key"},
                                {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                                {kSecValueData, Value::binary(Data{'s', 'e', 'c', 'o', 'n', 'd'})}}}));

  ASSERT_TRUE(Store::setDataForKeyService(Data{0xff, 0xfe}, "key", "svc"));
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), std::nullopt);
  EXPECT_EQ(Store::stringForKeyService("key"), "second");
}

}  // namespace
}  // namespace corvana
