#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/LinuxSecureStore.h"
#include "platform/PosixFiles.h"
#include "storage/UICKeyChainStore.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using test::CapturedLog;
using test::TempDir;

std::string readAll(const std::string& path) { return posix::readFile(path).value_or(""); }

Value bytes(const std::string& text) { return Value::binary(Data(text.begin(), text.end())); }

Value item(const std::string& service, const std::string& account, const std::string& data) {
  return {{kSecClass, kSecClassGenericPassword}, {kSecAttrService, service}, {kSecAttrAccount, account},
          {kSecAttrGeneric, account}, {kSecValueData, bytes(data)}};
}

// The map with the entries of `more` added.
Value with(Value map, const Value& more) {
  map.update(more);
  return map;
}

const Value kAll = {{kSecReturnAttributes, true}, {kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}};

// Opens the store kept in the fixture's folder; reopening sees what was stored.
class SecureStoreItems : public testing::Test {
 protected:
  std::shared_ptr<SecureStore> open() {
    return std::make_shared<LinuxSecureStore>(dir_.path() + "/store.json", nullptr);
  }
  void SetUp() override {
    store_ = open();
    for (const Value& added : {item("s1", "a", "one"), item("s1", "b", "two"), item("s2", "a", "three")}) {
      ASSERT_EQ(store_->add(added), errSecSuccess);
    }
  }
  TempDir dir_;
  std::shared_ptr<SecureStore> store_;
};

// The lookups the keychain wrapper makes: one item's data, whether an item exists, every item with its attributes.
TEST_F(SecureStoreItems, LookupsShapeTheirResultAsAsked) {
  const Value oneData = {{kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitOne}};
  const std::vector<std::tuple<Value, SecStatus, Value>> cases = {
      {with(oneData, {{kSecAttrService, "s1"}, {kSecAttrAccount, "a"}}), errSecSuccess, bytes("one")},
      {with(oneData, {{kSecAttrService, "s1"}}), errSecSuccess, bytes("one")},  // the first of several
      {with(kAll, {{kSecAttrGeneric, "a"}, {kSecAttrService, "s1"}}), errSecSuccess,
       Value::array({item("s1", "a", "one")})},
      {{{kSecAttrService, "s2"}}, errSecSuccess, nullptr},  // nothing asked for
      {with(oneData, {{kSecAttrService, "s2"}, {kSecAttrAccount, "b"}}), errSecItemNotFound, nullptr},
      {with(oneData, {{kSecClass, "inet"}}), errSecItemNotFound, nullptr},
      {{{kSecMatchLimit, "m_LimitTwo"}}, errSecParam, nullptr},
  };
  for (const auto& [query, status, expected] : cases) {
    Value result = "untouched";
    EXPECT_EQ(store_->copyMatching(query, &result), status) << query;
    EXPECT_EQ(result, expected) << query;
  }
}

TEST_F(SecureStoreItems, ChangesTouchOnlyTheMatchedItemsAndLastThroughAReload) {
  const Value a = {{kSecAttrService, "s1"}, {kSecAttrAccount, "a"}};
  EXPECT_EQ(store_->add(with(item("s1", "a", "again"), {{kSecAttrGeneric, "other"}})), errSecDuplicateItem);
  EXPECT_EQ(store_->add(with(item("s3", "a", "x"), {{kSecValueData, "text, not bytes"}})), errSecParam);
  EXPECT_EQ(store_->update(a, {{kSecValueData, bytes("uno")}}), errSecSuccess);
  EXPECT_EQ(store_->update({{kSecAttrService, "none"}}, {{kSecValueData, bytes("x")}}), errSecItemNotFound);
  EXPECT_EQ(store_->update(a, {{kSecAttrAccount, "b"}}), errSecDuplicateItem);
  EXPECT_EQ(store_->deleteItems({{kSecAttrService, "s2"}}), errSecSuccess);
  EXPECT_EQ(store_->deleteItems({{kSecAttrService, "s2"}}), errSecItemNotFound);

  store_.reset();
  Value all;
  ASSERT_EQ(open()->copyMatching(kAll, &all), errSecSuccess);
  EXPECT_EQ(all, Value::array({item("s1", "a", "uno"), item("s1", "b", "two")}));
}

TEST(LinuxSecureStore, AFileIsReadInItsFormatOrMovedAsideWhenUnreadable) {
  const std::string good = R"({"version": 1, "items": [{"attributes": {"class": "genp"}, "data": "aGk="}]})";
  {
    TempDir dir;
    std::ofstream(dir.path() + "/store.json") << good;
    Value data;
    EXPECT_EQ(LinuxSecureStore(dir.path() + "/store.json", nullptr).copyMatching({{kSecReturnData, true}}, &data),
              errSecSuccess);
    EXPECT_EQ(data, bytes("hi"));
  }
  for (const std::string& text : {
           good.substr(0, 40),  // torn mid-write
           std::string(R"({"version": 2, "items": []})"),
           std::string(R"({"version": 1, "items": [{"attributes": {"acct": "a"}, "data": ""}]})"),  // no class
           good.substr(0, good.size() - 2) + R"(, {"attributes": {"class": "genp"}, "data": ""}]})",  // twice
       }) {
    SCOPED_TRACE(text);
    TempDir dir;
    const std::string path = dir.path() + "/store.json";
    std::ofstream(path) << text;
    auto log = std::make_shared<CapturedLog>();

    LinuxSecureStore store(path, log);
    const std::string line = "CorvanaSDK-Secure store file unreadable, starting empty: " + path;
    EXPECT_EQ(log->lines(), std::vector<std::string>{line});
    EXPECT_EQ(store.copyMatching(Value::object(), nullptr), errSecItemNotFound);
    EXPECT_EQ(readAll(path + ".corrupt"), text);
    EXPECT_EQ(store.add(item("s", "a", "x")), errSecSuccess);
    EXPECT_EQ(LinuxSecureStore(path, log).copyMatching({{kSecAttrService, "s"}}, nullptr), errSecSuccess);
    EXPECT_EQ(log->lines().size(), 1u);
  }
}

// The device identifier is kept with the keychain wrapper's two calls the SDK makes.
TEST(KeychainStore, AStringSetTwiceIsOneItemInItsServiceAndBytesThatAreNoTextReadAsNoString) {
  auto& platform = test::installTestPlatform();
  EXPECT_TRUE(UICKeyChainStore::setStringForKeyService("first", "key"));
  EXPECT_TRUE(UICKeyChainStore::setStringForKeyService("second", "key"));
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key"), "second");
  Value all;
  platform.platform->secureStore->copyMatching(kAll, &all);
  EXPECT_EQ(all, Value::array({{{kSecClass, kSecClassGenericPassword}, {kSecAttrService, "io.corvana.tests"},
                                {kSecAttrAccount, "key"}, {kSecAttrGeneric, "key"},
                                {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                                {kSecValueData, bytes("second")}}}));

  ASSERT_TRUE(UICKeyChainStore::setDataForKeyService(Data{0xff, 0xfe}, "key", "svc"));
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key", "svc"), std::nullopt);
  EXPECT_EQ(UICKeyChainStore::stringForKeyService("key"), "second");
}

}  // namespace
}  // namespace corvana
