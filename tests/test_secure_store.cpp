#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/LinuxSecureStore.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using test::CapturedLog;
using test::TempDir;

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

Value bytes(const std::string& text) { return Value::binary(Data(text.begin(), text.end())); }

Value item(const std::string& service, const std::string& account, const std::string& data) {
  return {{kSecClass, kSecClassGenericPassword}, {kSecAttrService, service}, {kSecAttrAccount, account},
          {kSecAttrGeneric, account},            {kSecValueData, bytes(data)}};
}

// The contract of every SecureStore implementation. A factory opens the store kept in a folder; opening it
// again in the same folder sees what was stored before.
struct SecureStoreFactory {
  std::string name;
  std::function<std::shared_ptr<SecureStore>(const std::string& folder)> open;
};
void PrintTo(const SecureStoreFactory& factory, std::ostream* out) { *out << factory.name; }

class SecureStoreContract : public testing::TestWithParam<SecureStoreFactory> {
 protected:
  void SetUp() override {
    store_ = GetParam().open(dir_.path());
    for (const Value& added : {item("s1", "a", "one"), item("s1", "b", "two"), item("s2", "a", "three")}) {
      ASSERT_EQ(store_->add(added), errSecSuccess);
    }
  }
  Value copy(const Value& query, SecStatus expected) {
    Value result = "untouched";
    EXPECT_EQ(store_->copyMatching(query, &result), expected) << query.dump();
    return result;
  }

  TempDir dir_;
  std::shared_ptr<SecureStore> store_;
};

TEST_P(SecureStoreContract, LookupsShapeTheirResultAsAsked) {
  const Value attributesA = {{kSecClass, kSecClassGenericPassword}, {kSecAttrService, "s1"},
                             {kSecAttrAccount, "a"}, {kSecAttrGeneric, "a"}};
  Value attributesWithData = attributesA;
  attributesWithData[kSecValueData] = bytes("one");
  struct Case {
    const char* name;
    Value query;
    SecStatus status;
    Value result;
  };
  const std::vector<Case> cases = {
      {"data of one", {{kSecAttrService, "s1"}, {kSecAttrAccount, "a"}, {kSecReturnData, true}}, errSecSuccess,
       bytes("one")},
      {"attributes of one",
       {{kSecAttrService, "s1"}, {kSecAttrAccount, "a"}, {kSecReturnAttributes, true}, {kSecMatchLimit, kSecMatchLimitOne}},
       errSecSuccess, attributesA},
      {"both of one",
       {{kSecAttrService, "s1"}, {kSecAttrGeneric, "a"}, {kSecReturnAttributes, true}, {kSecReturnData, true}},
       errSecSuccess, attributesWithData},
      {"first of several", {{kSecAttrService, "s1"}, {kSecReturnData, true}}, errSecSuccess, bytes("one")},
      {"data of all", {{kSecAttrAccount, "a"}, {kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}},
       errSecSuccess, Value::array({bytes("one"), bytes("three")})},
      {"nothing asked", {{kSecAttrService, "s2"}}, errSecSuccess, nullptr},
      {"every attribute must match", {{kSecAttrService, "s2"}, {kSecAttrAccount, "b"}, {kSecReturnData, true}},
       errSecItemNotFound, nullptr},
      {"other class", {{kSecClass, "inet"}, {kSecReturnData, true}}, errSecItemNotFound, nullptr},
      {"access group absent from items", {{kSecAttrAccessGroup, "g"}, {kSecReturnData, true}}, errSecItemNotFound,
       nullptr},
      {"not a map", Value::array({kSecAttrService, "s1"}), errSecParam, nullptr},
      {"flag not a boolean", {{kSecReturnData, 1}}, errSecParam, nullptr},
      {"unknown limit", {{kSecMatchLimit, "m_LimitTwo"}}, errSecParam, nullptr},
      {"attribute not text", {{kSecAttrService, 1}}, errSecParam, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(copy(c.query, c.status), c.result);
  }
  EXPECT_EQ(store_->copyMatching({{kSecAttrService, "s1"}}, nullptr), errSecSuccess);
}

TEST_P(SecureStoreContract, AddKeepsOneItemPerClassServiceAndAccount) {
  Value sameAccount = item("s1", "a", "again");
  sameAccount[kSecAttrGeneric] = "other";
  EXPECT_EQ(store_->add(sameAccount), errSecDuplicateItem);
  Value otherClass = item("s1", "a", "internet");
  otherClass[kSecClass] = "inet";
  EXPECT_EQ(store_->add(otherClass), errSecSuccess);

  Value noClass = item("s3", "a", "x");
  noClass.erase(kSecClass);
  Value textData = item("s3", "a", "x");
  textData[kSecValueData] = "x";
  for (const Value& bad : {Value::array(), noClass, textData, Value(item("s3", "\xff", "x"))}) {
    EXPECT_EQ(store_->add(bad), errSecParam) << bad.dump(-1, ' ', false, Value::error_handler_t::replace);
  }
  EXPECT_EQ(copy({{kSecAttrService, "s3"}}, errSecItemNotFound), nullptr);
  EXPECT_EQ(copy({{kSecAttrService, "s1"}, {kSecAttrAccount, "a"}, {kSecReturnData, true}}, errSecSuccess),
            bytes("one"));
}

TEST_P(SecureStoreContract, UpdateAndDeleteTouchOnlyTheMatchedItemsAndLastThroughAReload) {
  const Value a = {{kSecAttrService, "s1"}, {kSecAttrAccount, "a"}};
  EXPECT_EQ(store_->update(a, {{kSecValueData, bytes("uno")}, {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock}}),
            errSecSuccess);
  EXPECT_EQ(store_->update({{kSecAttrService, "nowhere"}}, {{kSecValueData, bytes("x")}}), errSecItemNotFound);
  EXPECT_EQ(store_->update(a, {{kSecAttrAccount, "b"}}), errSecDuplicateItem);
  EXPECT_EQ(store_->update(a, {{kSecClass, "inet"}}), errSecParam);
  EXPECT_EQ(store_->update(a, "not a map"), errSecParam);
  EXPECT_EQ(store_->deleteItems({{kSecAttrService, "s2"}}), errSecSuccess);
  EXPECT_EQ(store_->deleteItems({{kSecAttrService, "s2"}}), errSecItemNotFound);
  EXPECT_EQ(store_->deleteItems(nullptr), errSecParam);

  store_.reset();
  auto reloaded = GetParam().open(dir_.path());
  Value all;
  ASSERT_EQ(reloaded->copyMatching({{kSecReturnAttributes, true}, {kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}},
                                   &all),
            errSecSuccess);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0][kSecValueData], bytes("uno"));
  EXPECT_EQ(all[0][kSecAttrAccessible], kSecAttrAccessibleAfterFirstUnlock);
  EXPECT_EQ(all[1][kSecAttrAccount], "b");
  EXPECT_EQ(all[1][kSecValueData], bytes("two"));
}

TEST_P(SecureStoreContract, KeepsEveryByteAndTextThroughAReload) {
  Data allBytes;
  for (int b = 255; b >= 0; --b) allBytes.push_back(static_cast<uint8_t>(b));
  for (size_t size : {0u, 1u, 2u, 3u, 256u}) {
    Value added = item("bytes \xc3\xa9 \"quoted\"", std::to_string(size), "");
    added[kSecValueData] = Value::binary(Data(allBytes.begin(), allBytes.begin() + static_cast<long>(size)));
    ASSERT_EQ(store_->add(added), errSecSuccess);
  }
  store_.reset();
  auto reloaded = GetParam().open(dir_.path());
  for (size_t size : {0u, 1u, 2u, 3u, 256u}) {
    Value data;
    ASSERT_EQ(reloaded->copyMatching({{kSecAttrService, "bytes \xc3\xa9 \"quoted\""},
                                      {kSecAttrAccount, std::to_string(size)},
                                      {kSecReturnData, true}},
                                     &data),
              errSecSuccess);
    EXPECT_EQ(data, Value::binary(Data(allBytes.begin(), allBytes.begin() + static_cast<long>(size)))) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Implementations, SecureStoreContract,
    testing::Values(SecureStoreFactory{"LinuxSecureStore",
                                       [](const std::string& folder) {
                                         return std::make_shared<LinuxSecureStore>(folder + "/store.json", nullptr);
                                       }},
                    SecureStoreFactory{"LinuxDefaultPlatform",
                                       [](const std::string& folder) {
                                         LinuxPlatformOptions options = test::testPlatformOptions();
                                         options.dataDirectory = folder;
                                         options.logSink = std::make_shared<CapturedLog>();
                                         return Platform::makeLinuxDefault(options)->secureStore;
                                       }}),
    [](const testing::TestParamInfo<SecureStoreFactory>& info) { return info.param.name; });

TEST(LinuxSecureStore, KeepsAPrivateFileInTheKeychainsFolderOfTheApp) {
  TempDir dir;
  LinuxPlatformOptions options = test::testPlatformOptions();
  options.dataDirectory = dir.path();
  ASSERT_EQ(Platform::makeLinuxDefault(options)->secureStore->add(item("svc", "key", "hi")), errSecSuccess);

  const std::string folder = dir.path() + "/Library/Keychains";
  const std::string file = folder + "/secure-store.json";
  struct stat info {};
  ASSERT_EQ(::stat(folder.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  EXPECT_EQ(nlohmann::json::parse(readAll(file))["items"][0]["data"], "aGk=");
}

TEST(LinuxSecureStore, UnreadableFileIsMovedAsideAndTheStoreStartsEmpty) {
  const std::string good = R"({"version": 1, "items": [{"attributes": {"class": "genp", "acct": "a"}, "data": "aGk="}]})";
  for (const std::string& text : {
           good.substr(0, 40),                                                   // torn mid-write
           std::string(R"({"version": 2, "items": []})"),                        // unknown version
           std::string(R"({"version": 1, "items": [{"attributes": {"acct": "a"}, "data": ""}]})"),  // no class
           std::string(R"({"version": 1, "items": [{"attributes": {"class": "genp"}, "data": "%%"}]})"),  // not base64
           std::string(R"({"version": 1, "items": [{"attributes": {"class": "genp", "acct": 7}, "data": ""}]})"),
           std::string(R"({"version": 1, "items": [{"attributes": {"class": "genp"}, "data": ""},
                                                   {"attributes": {"class": "genp"}, "data": "aGk="}]})"),  // twice
       }) {
    SCOPED_TRACE(text);
    TempDir dir;
    const std::string path = dir.path() + "/store.json";
    std::ofstream(path) << text;
    auto log = std::make_shared<CapturedLog>();

    LinuxSecureStore store(path, log);
    EXPECT_EQ(log->lines(), std::vector<std::string>{"CorvanaSDK-Secure store file unreadable, starting empty: " + path});
    EXPECT_EQ(store.copyMatching(Value::object(), nullptr), errSecItemNotFound);
    EXPECT_EQ(readAll(path + ".corrupt"), text);
    EXPECT_EQ(store.add(item("s", "a", "x")), errSecSuccess);
    EXPECT_EQ(LinuxSecureStore(path, log).copyMatching({{kSecAttrService, "s"}}, nullptr), errSecSuccess);
    EXPECT_EQ(log->lines().size(), 1u);
  }
  TempDir dir;
  std::ofstream(dir.path() + "/store.json") << good;
  Value data;
  EXPECT_EQ(LinuxSecureStore(dir.path() + "/store.json", nullptr).copyMatching({{kSecReturnData, true}}, &data),
            errSecSuccess);
  EXPECT_EQ(data, bytes("hi"));
}

TEST(LinuxSecureStore, ConcurrentChangesAreAllKept) {
  TempDir dir;
  const std::string path = dir.path() + "/store.json";
  LinuxSecureStore store(path, nullptr);
  std::vector<std::thread> writers;
  for (int w = 0; w < 4; ++w) {
    writers.emplace_back([&, w] {
      for (int i = 0; i < 25; ++i) {
        const std::string account = std::to_string(w) + "-" + std::to_string(i);
        EXPECT_EQ(store.add(item("s", account, "x")), errSecSuccess);
        EXPECT_EQ(store.update({{kSecAttrAccount, account}}, {{kSecValueData, bytes(account)}}), errSecSuccess);
      }
    });
  }
  for (auto& writer : writers) writer.join();
  Value all;
  ASSERT_EQ(LinuxSecureStore(path, nullptr).copyMatching({{kSecReturnAttributes, true}, {kSecReturnData, true},
                                                          {kSecMatchLimit, kSecMatchLimitAll}},
                                                         &all),
            errSecSuccess);
  ASSERT_EQ(all.size(), 100u);
  for (const Value& found : all) EXPECT_EQ(found[kSecValueData], bytes(found[kSecAttrAccount].get<std::string>()));
}

}  // namespace
}  // namespace corvana
