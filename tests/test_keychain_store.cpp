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

TEST_F(KeychainStore, SettingAKeyTwiceUpdatesItsOneItemInTheDefaultService) {
  EXPECT_EQ(Store::defaultService(), "io.corvana.tests");
  EXPECT_TRUE(Store::setStringForKeyService("first", "key"));
  EXPECT_TRUE(Store::setStringForKeyService("second \xc3\xa9", "key"));
  EXPECT_EQ(Store::stringForKeyServiceAccessGroup("key", "io.corvana.tests", "ignored"), "second \xc3\xa9");
  const Value stored = {{kSecClass, kSecClassGenericPassword},
                        {kSecAttrService, "io.corvana.tests"},
                        {kSecAttrAccount, "key"},
                        {kSecAttrGeneric, "key"},
                        {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                        {kSecValueData, Value::binary(Data{'s', 'e', 'c', 'o', 'n', 'd', ' ', 0xc3, 0xa9})}};
  EXPECT_EQ(allItems(), Value::array({stored}));

  Store::setDefaultService("custom");
  EXPECT_EQ(Store::keyChainStore()->service(), "custom");
  EXPECT_EQ(Store::stringForKeyService("key"), std::nullopt);
  Store::setDefaultService(std::nullopt);  // back to the bundle identifier
  EXPECT_EQ(Store::stringForKeyService("key"), "second \xc3\xa9");
}

TEST_F(KeychainStore, MissingDataRemovesAndRemovingAMissingKeyAnswersYes) {
  ASSERT_TRUE(Store::setDataForKeyService(Data{0xff, 0xfe}, "key", "svc"));
  EXPECT_EQ(Store::dataForKeyService("key", "svc"), (Data{0xff, 0xfe}));
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), std::nullopt);  // not UTF-8 text
  EXPECT_EQ(Store::dataForKeyService("key"), std::nullopt);            // another service

  EXPECT_TRUE(Store::setDataForKeyService(std::nullopt, "key", "svc"));
  EXPECT_EQ(Store::dataForKeyService("key", "svc"), std::nullopt);
  EXPECT_TRUE(Store::setStringForKeyService(std::nullopt, "key", "svc"));
  EXPECT_TRUE(Store::removeItemForKeyService("never stored", "svc"));
  EXPECT_TRUE(allItems().is_null());
}

TEST_F(KeychainStore, ListingAndRemovingAllStayWithinTheService) {
  EXPECT_TRUE(Store::itemsForServiceAccessGroup("svc", std::nullopt).is_null());
  Store::setStringForKeyService("1", "a", "svc");
  Store::setStringForKeyService("2", "b", "svc");
  Store::setStringForKeyService("3", "a", "other");
  const Value items = Store::itemsForServiceAccessGroup("svc", "group");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[1][kSecAttrAccount], "b");
  EXPECT_EQ(items[1][kSecValueData], Value::binary(Data{'2'}));

  auto store = Store::keyChainStoreWithService("svc");
  store->setStringForKey("pending", "c");
  EXPECT_TRUE(store->removeAllItems());
  store->synchronize();  // nothing is pending any more
  EXPECT_TRUE(Store::itemsForServiceAccessGroup("svc", std::nullopt).is_null());
  EXPECT_TRUE(Store::removeAllItemsForService("svc"));
  EXPECT_EQ(Store::stringForKeyService("a", "other"), "3");
}

TEST_F(KeychainStore, PendingInstanceValuesWinUntilSynchronized) {
  Store::setStringForKeyService("older", "key", "svc");
  auto store = Store::keyChainStoreWithServiceAccessGroup("svc", "group");
  EXPECT_EQ(store->accessGroup(), "group");

  store->setObjectForKeyedSubscript("pending", "key");
  EXPECT_EQ(store->objectForKeyedSubscript("key"), "pending");
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), "older");
  EXPECT_TRUE(store->removeItemForKey("key"));  // drops only the pending value
  EXPECT_EQ(store->stringForKey("key"), "older");

  store->setStringForKey("newer", "key");
  store->synchronize();
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), "newer");
  store->setStringForKey(std::nullopt, "key");  // nothing pending: removes the stored item
  EXPECT_EQ(Store::stringForKeyService("key", "svc"), std::nullopt);
}

}  // namespace
}  // namespace corvana
