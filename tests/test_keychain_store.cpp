#include <gtest/gtest.h>

#include <string>

#include "storage/UICKeyChainStore.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

class KeychainStore : public testing::Test {
 protected:
  void SetUp() override { platform_ = &test::installTestPlatform(); }

  // Every item of the secure store, attributes and data.
  Value allItems() {
    Value all;
    platform_->platform->secureStore->copyMatching(
        {{kSecReturnAttributes, true}, {kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}}, &all);
    return all;
  }

  test::TestPlatform* platform_ = nullptr;
};

TEST_F(KeychainStore, SettingAKeyTwiceUpdatesItsOneItemInTheDefaultService) {
  EXPECT_EQ(UICKeyChainStore::defaultService(), "io.corvana.tests");
  EXPECT_TRUE(UICKeyChainStore::setStringForKeyService("first", "key"));
  EXPECT_TRUE(UICKeyChainStore::setStringForKeyService("second \xc3\xa9", "key"));
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key"), "second \xc3\xa9");
  EXPECT_EQ(UICKeyChainStore::stringForKeyServiceAccessGroup("key", "io.corvana.tests", "ignored"), "second \xc3\xa9");

  const Value stored = {{kSecClass, kSecClassGenericPassword},
                        {kSecAttrService, "io.corvana.tests"},
                        {kSecAttrAccount, "key"},
                        {kSecAttrGeneric, "key"},
                        {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                        {kSecValueData, Value::binary(Data{'s', 'e', 'c', 'o', 'n', 'd', ' ', 0xc3, 0xa9})}};
  EXPECT_EQ(allItems(), Value::array({stored}));
}

TEST_F(KeychainStore, MissingDataRemovesAndRemovingAMissingKeyAnswersYes) {
  ASSERT_TRUE(UICKeyChainStore::setDataForKeyService(Data{0xff, 0xfe}, "key", "svc"));
  EXPECT_EQ(UICKeyChainStore::dataForKeyService("key", "svc"), (Data{0xff, 0xfe}));
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key", "svc"), std::nullopt);  // not UTF-8 text
  EXPECT_EQ(UICKeyChainStore::dataForKeyService("key"), std::nullopt);            // another service

  EXPECT_TRUE(UICKeyChainStore::setDataForKeyService(std::nullopt, "key", "svc"));
  EXPECT_EQ(UICKeyChainStore::dataForKeyService("key", "svc"), std::nullopt);
  EXPECT_TRUE(UICKeyChainStore::setStringForKeyService(std::nullopt, "key", "svc"));
  EXPECT_TRUE(UICKeyChainStore::removeItemForKeyService("never stored", "svc"));
  EXPECT_TRUE(allItems().is_null());
}

TEST_F(KeychainStore, ListingAndRemovingAllStayWithinTheService) {
  EXPECT_TRUE(UICKeyChainStore::itemsForServiceAccessGroup("svc", std::nullopt).is_null());
  UICKeyChainStore::setStringForKeyService("1", "a", "svc");
  UICKeyChainStore::setStringForKeyService("2", "b", "svc");
  UICKeyChainStore::setStringForKeyService("3", "a", "other");

  const Value items = UICKeyChainStore::itemsForServiceAccessGroup("svc", "group");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[1][kSecAttrAccount], "b");
  EXPECT_EQ(items[1][kSecValueData], Value::binary(Data{'2'}));

  EXPECT_TRUE(UICKeyChainStore::removeAllItemsForService("svc"));
  EXPECT_TRUE(UICKeyChainStore::removeAllItemsForService("svc"));
  EXPECT_TRUE(UICKeyChainStore::itemsForServiceAccessGroup("svc", std::nullopt).is_null());
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("a", "other"), "3");
}

TEST_F(KeychainStore, PendingInstanceValuesWinUntilSynchronized) {
  UICKeyChainStore::setStringForKeyService("older", "key", "svc");
  auto store = UICKeyChainStore::keyChainStoreWithServiceAccessGroup("svc", "group");
  EXPECT_EQ(store->service(), "svc");
  EXPECT_EQ(store->accessGroup(), "group");

  store->setObjectForKeyedSubscript("pending", "key");
  EXPECT_EQ(store->objectForKeyedSubscript("key"), "pending");
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key", "svc"), "older");
  // Dropping a pending key leaves the value stored before it readable.
  EXPECT_TRUE(store->removeItemForKey("key"));
  EXPECT_EQ(store->stringForKey("key"), "older");

  store->setStringForKey("newer", "key");
  store->setDataForKey(Data{'x'}, "added");
  store->synchronize();
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key", "svc"), "newer");
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("added", "svc"), "x");
  // Nothing is pending any more: a missing value removes the stored item.
  store->setStringForKey(std::nullopt, "key");
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key", "svc"), std::nullopt);
  EXPECT_TRUE(UICKeyChainStore::itemsForServiceAccessGroup("svc", std::nullopt)[0].count(kSecAttrAccessGroup) == 0);
}

TEST_F(KeychainStore, RemoveAllItemsDropsPendingAndStoredValues) {
  auto store = UICKeyChainStore::keyChainStoreWithService("svc");
  UICKeyChainStore::setStringForKeyService("stored", "a", "svc");
  store->setStringForKey("pending", "b");
  EXPECT_TRUE(store->removeAllItems());
  store->synchronize();
  EXPECT_EQ(store->stringForKey("a"), std::nullopt);
  EXPECT_EQ(store->stringForKey("b"), std::nullopt);
}

TEST_F(KeychainStore, DescriptionListsTheServiceItemsWithTextOrBytes) {
  auto store = UICKeyChainStore::keyChainStoreWithService("svc");
  EXPECT_EQ(store->description(), "[]");
  UICKeyChainStore::setStringForKeyService("hello", "text", "svc");
  UICKeyChainStore::setDataForKeyService(Data{0xc3, 0x28}, "bytes", "svc");
  UICKeyChainStore::setStringForKeyService("elsewhere", "text", "other");
  store->setStringForKey("pending, not listed", "pending");
  EXPECT_EQ(store->description(),
            R"([{"Service":"svc","Account":"text","AccessGroup":null,"Value":"hello"},)"
            R"({"Service":"svc","Account":"bytes","AccessGroup":null,"Value":{"bytes":[195,40],"subtype":null}}])");
}

TEST_F(KeychainStore, DefaultServiceCanBeReplacedAndRestored) {
  UICKeyChainStore::setDefaultService("custom");
  EXPECT_EQ(UICKeyChainStore::keyChainStore()->service(), "custom");
  UICKeyChainStore::setStringForKeyService("v", "key");
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key", "custom"), "v");
  UICKeyChainStore::setDefaultService(std::nullopt);
  EXPECT_EQ(UICKeyChainStore::keyChainStoreWithService(std::nullopt)->service(), "io.corvana.tests");
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key"), std::nullopt);
}

}  // namespace
}  // namespace corvana
