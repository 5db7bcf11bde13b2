#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "events/CRVDataManager.h"
#include "events/ObjectGraph.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

using O = Object;
using Lines = std::vector<std::string>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// 2016-03-01 17:05:09.125 UTC: exactly representable, so the milliseconds are not a rounding question.
constexpr double kMarch2016 = 1456851909.125;

class JsonCoercionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tp = &test::installTestPlatform();  // its device time zone is New York: dates must still come out in UTC
    manager = &CRVDataManager::sharedInstance();
    tp->log->clear();
  }
  std::string keyWarning(const std::string& className, const std::string& key) const {
    return "CorvanaSDK-" + manager->description() + " warning: property keys should be strings. got: " + className +
           ". coercing to: " + key;
  }
  std::string valueWarning(const std::string& className, const std::string& text) const {
    return "CorvanaSDK-" + manager->description() + " warning: property values should be valid json types. got: " +
           className + ". coercing to: " + text;
  }

  test::TestPlatform* tp = nullptr;
  CRVDataManager* manager = nullptr;
};

TEST_F(JsonCoercionTest, CoercesEachKindAndWarnsOncePerConvertedKeyOrValue) {
  const O location = O::opaque("CLLocation", "<+52.52,+13.40> +/- 5.00m");
  const char* json = R"({"z":[1,-2,18446744073709551615,2.5,true,null,"t",{}],"a":{"b":[]}})";
  struct Case {
    const char* name;
    O object;
    const char* json;
    Lines log;
  };
  const Case cases[] = {
      {"number key", O::map({{O::number(7), O::string("seven")}}), R"({"7":"seven"})",
       {keyWarning("NSNumber", "7")}},
      {"dates in nested arrays of maps",
       O::array({O::array({O::map({{O::string("at"), O::date(Date{kMarch2016})}}),
                           O::map({{O::string("before"), O::date(Date{-0.5})}})})}),
       R"([[{"at":"2016-03-01T17:05:09.125Z"},{"before":"1969-12-31T23:59:59.500Z"}]])", {}},
      {"url", O::url("https://example.com/a?b=1#c"), R"("https://example.com/a?b=1#c")", {}},
      {"opaque value", O::map({{O::string("where"), location}}), R"({"where":"<+52.52,+13.40> +/- 5.00m"})",
       {valueWarning("CLLocation", "<+52.52,+13.40> +/- 5.00m")}},
      {"a later colliding key overwrites in place",
       O::map({{O::string("7"), O::number(1)}, {O::string("x"), O::number(2)}, {O::number(7), O::number(3)}}),
       R"({"7":3,"x":2})", {keyWarning("NSNumber", "7")}},
      {"the key warning comes before its value's", O::map({{O::number(2.5), location}}),
       R"({"2.5":"<+52.52,+13.40> +/- 5.00m"})",
       {keyWarning("NSNumber", "2.5"), valueWarning("CLLocation", "<+52.52,+13.40> +/- 5.00m")}},
      {"keys of other kinds",
       O::map({{O::date(Date{kMarch2016}), O::null()},
               {O::null(), O::number(true)},
               {O::array({O::number(1), O::string("a b")}), O::string("")},
               {O::map({{O::string("k"), O::string("v")}}), O::number(0)},
               {location, O::number(1)}}),
       R"j({"2016-03-01 17:05:09 +0000":null,"<null>":true,"(1, \"a b\")":"","{k = v;}":0,)j"
       R"j("<+52.52,+13.40> +/- 5.00m":1})j",
       {keyWarning("NSDate", "2016-03-01 17:05:09 +0000"), keyWarning("NSNull", "<null>"),
        keyWarning("NSArray", "(1, \"a b\")"), keyWarning("NSDictionary", "{k = v;}"),
        keyWarning("CLLocation", "<+52.52,+13.40> +/- 5.00m")}},
      {"json passes unchanged", O::fromValue(Value::parse(json)), json, {}},
  };
  ASSERT_TRUE(manager->description().starts_with("<CRVDataManager: 0x"));  // every warning names the manager
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    tp->log->clear();
    EXPECT_EQ(manager->JSONSerializableObjectForObject(c.object).dump(), c.json);
    EXPECT_EQ(tp->log->lines(), c.log);
  }
  tp->log->clear();
  EXPECT_TRUE(std::isnan(manager->JSONSerializableObjectForObject(O::number(kNaN)).get<double>()));
  EXPECT_EQ(tp->log->lines(), Lines{});
}

}  // namespace
}  // namespace corvana
