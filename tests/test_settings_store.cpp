#include <gtest/gtest.h>

#include "platform/LinuxPreferences.h"
#include "support/TestPlatform.h"
#include "util/CRVUtil.h"
#include "util/SettingsKeys.h"

namespace corvana {
namespace {

using Lines = std::vector<std::string>;

class SettingsStore : public ::testing::Test {
 protected:
  void SetUp() override { log().clear(); }
  test::CapturedLog& log() { return *test::installTestPlatform().log; }
  // What a relaunched app reads: a second store opened on the same file.
  std::optional<PreferenceValue> reread(const std::string& key) {
    const auto& path = dynamic_cast<LinuxPreferences&>(*Platform::current().preferences).path();
    return LinuxPreferences(path, nullptr).objectForKey(key);
  }
};

class Signature : public Archivable {
 public:
  std::string archiveClassName() const override { return "CRVSecuritySignature"; }
  Value encodeWithCoder() const override { return {{"accessKey", "key-1"}, {"signature", "c2ln"}}; }
};

// The readers' conversions are ValueConv's (its own tests); here, what is stored and that the readers use them.
TEST_F(SettingsStore, TypedWritesKeepTheirTypeThroughARelaunch) {
  struct Case {
    const char* key; Value value; PreferenceValue stored; std::string asString; int64_t asInt; bool asBool;
  };
  const Case cases[] = {
      {"digits", "42 things", std::string("42 things"), "42 things", 42, true},
      {"integer", -9000000000LL, int64_t{-9000000000LL}, "-9000000000", -9000000000LL, true},
      {"whole real", 30.0, 30.0, "30", 30, true},
      {"flag", false, false, "0", 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    CRVUtil::setObjectForKey(c.value, c.key);
    EXPECT_EQ(reread(c.key), c.stored);
    EXPECT_EQ(CRVUtil::getStringForKey(c.key), c.asString);
    EXPECT_EQ(CRVUtil::getIntForkey(c.key), c.asInt);
    EXPECT_EQ(CRVUtil::getBoolForKey(c.key), c.asBool);
  }
  EXPECT_TRUE(log().lines().empty());
}

TEST_F(SettingsStore, AbsentKeysAndRejectedWrites) {
  EXPECT_EQ(CRVUtil::getStringForKey(kKeyQuorvel), "");
  EXPECT_EQ(CRVUtil::getIntForkey(kKeySyncTimeout), 0);
  EXPECT_FALSE(CRVUtil::getBoolForKey(kKeyAcountBlocked));

  CRVUtil::setObjectForKey(Value("quorvel-1"), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value(nullptr), kKeyQuorvel);
  EXPECT_TRUE(log().lines().empty());
  CRVUtil::setObjectForKey(Value::array({1, 2}), kKeyQuorvel);
  CRVUtil::setObjectForKey(Value{{"a", 1}}, kKeyQuorvel);
  const std::string line = "CorvanaSDK-Attempt to insert non-property list object for key crvn.Quorvel";
  EXPECT_EQ(log().lines(), (Lines{line, line}));
  EXPECT_EQ(reread(kKeyQuorvel), PreferenceValue{std::string("quorvel-1")});
}

TEST_F(SettingsStore, ArchivesReadBackOnlyWhenTheRootIsAString) {
  EXPECT_EQ(CRVUtil::getDataObjectForKey(kKeySecureToken), std::nullopt);
  CRVUtil::setDataObjectForKey(std::string("token text"), "archived.string");
  EXPECT_EQ(CRVUtil::getDataObjectForKey("archived.string"), "token text");

  Signature signature;
  CRVUtil::setDataObjectForKey(&signature, kKeySecureToken);
  const auto stored = reread(kKeySecureToken);
  ASSERT_TRUE(stored && std::holds_alternative<Data>(*stored));
  const Data& bytes = std::get<Data>(*stored);
  EXPECT_EQ(Value::parse(bytes.begin(), bytes.end()),
            Value::parse(R"({"$class":"CRVSecuritySignature","accessKey":"key-1","signature":"c2ln"})"));
  EXPECT_EQ(CRVUtil::getDataObjectForKey(kKeySecureToken), std::nullopt);

  CRVUtil::setDataObjectForKey(nullptr, kKeySecureToken);  // skipped: the archive stays
  EXPECT_EQ(reread(kKeySecureToken), stored);
  for (const auto& [key, value] : {std::pair<const char*, PreferenceValue>{"raw", Data{'h', 'i'}},
                                   {"plain", std::string(R"({"$class":"NSString","value":"x"})")}}) {
    CRVUtil::setObjectForKey(value, key);
    EXPECT_EQ(CRVUtil::getDataObjectForKey(key), std::nullopt) << key;
  }
  EXPECT_TRUE(log().lines().empty());
}

}  // namespace
}  // namespace corvana
