// How values are read: numbers, flags and strings by the platform's rules, and colours from their hex strings.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "inapp/ui/CRVColor.h"
#include "util/ValueConv.h"

namespace corvana {
namespace {

constexpr int32_t kI32Max = std::numeric_limits<int32_t>::max(), kI32Min = std::numeric_limits<int32_t>::min();
constexpr int64_t kI64Max = std::numeric_limits<int64_t>::max(), kI64Min = std::numeric_limits<int64_t>::min();

TEST(ValueConv, StringReadings) {
  struct Case { const char* text; int32_t asInt; int64_t asInteger; };
  const Case integers[] = {
      {" \t\n 42abc", 42, 42}, {"+8", 8, 8}, {"-17 apples", -17, -17}, {"3.9", 3, 3}, {"- 5", 0, 0}, {"x1", 0, 0},
      {"0000000000000000000000012", 12, 12}, {"2147483648", kI32Max, 2147483648LL},
      {"-2147483649", kI32Min, -2147483649LL}, {"9223372036854775808", kI32Max, kI64Max},
      {"-9223372036854775808", kI32Min, kI64Min}, {"-99999999999999999999999", kI32Min, kI64Min}};
  for (const auto& c : integers) {
    EXPECT_EQ(intValue(Value(c.text)), c.asInt) << c.text;
    EXPECT_EQ(integerValue(Value(c.text)), c.asInteger) << c.text;
  }
  for (const char* text : {"YES", "true", "T", "9", "  +1", "-0007", "00y"}) {
    EXPECT_TRUE(boolValue(Value(text))) << text;
  }
  for (const char* text : {"NO", "false", "000", "0.5", "", "x1", "- 1"}) {
    EXPECT_FALSE(boolValue(Value(text))) << text;
  }

  const std::pair<const char*, double> reals[] = {{"  -2.5e2xyz", -250.0}, {".5", 0.5}, {"5.", 5.0}, {"1e+", 1.0},
                                                  {".", 0.0}, {"0x10", 0.0}, {"inf", 0.0}, {"12,5", 12.0}};
  for (const auto& [text, expected] : reals) EXPECT_DOUBLE_EQ(doubleValue(Value(text)), expected) << text;
  EXPECT_TRUE(std::isinf(doubleValueOfString("1e400")));
}

TEST(ValueConv, ReadingsOfEveryValueKind) {
  struct Case { Value value; bool asBool; int32_t asInt; int64_t asInteger; double asDouble; std::string asString; };
  const Case cases[] = {
      {true, true, 1, 1, 1.0, "1"},
      {-3, true, -3, -3, -3.0, "-3"},
      {int64_t{4294967297}, true, 1, 4294967297, 4294967297.0, "4294967297"},
      {std::numeric_limits<uint64_t>::max(), true, -1, -1, 18446744073709551615.0, "18446744073709551615"},
      {0.1, true, 0, 0, 0.1, "0.1"},
      {-2.9, true, -2, -2, -2.9, "-2.9"},
      {2.0, true, 2, 2, 2.0, "2"},
      {1700000000.0, true, 1700000000, 1700000000, 1700000000.0, "1700000000"},
      {1e20, true, kI32Max, kI64Max, 1e20, "1e+20"},
      {"12abc", true, 12, 12, 12.0, "12abc"},
      {nullptr, false, 0, 0, 0.0, ""},
      {Value::array({1}), false, 0, 0, 0.0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value.dump());
    EXPECT_EQ(boolValue(c.value), c.asBool);
    EXPECT_EQ(intValue(c.value), c.asInt);
    EXPECT_EQ(integerValue(c.value), c.asInteger);
    EXPECT_DOUBLE_EQ(doubleValue(c.value), c.asDouble);
    EXPECT_EQ(stringValue(c.value), c.asString);
  }
}

void expectColor(const CRVColor& actual, const CRVColor& expected) {
  EXPECT_DOUBLE_EQ(actual.red, expected.red);
  EXPECT_DOUBLE_EQ(actual.green, expected.green);
  EXPECT_DOUBLE_EQ(actual.blue, expected.blue);
  EXPECT_DOUBLE_EQ(actual.alpha, expected.alpha);
}

constexpr double byte(int value) { return value / 255.0; }

TEST(ColourParsing, HexStrings) {
  const CRVColor white{1, 1, 1, 1}, clear{0, 0, 0, 0};
  const std::pair<const char*, CRVColor> cases[] = {
      // Shorthand, case and the characters that are removed wherever they stand.
      {"#FFF", white}, {"fff", white}, {" # f f f ", white}, {"F#F#F", white},
      // Alpha comes first in the four- and eight-digit forms.
      {"#F00F", {0, 0, 1, 1}}, {"#80FF0000", {1, 0, 0, byte(0x80)}},
      {"#1a2B3c", {byte(0x1A), byte(0x2B), byte(0x3C), 1}},
      // Non-digits are read, not rejected: the scan stops at them.
      {"1G0000", {byte(1), 0, 0, 1}}, {"0X12FF", {0, byte(0x12), 1, 1}},
      // Any other length is the transparent colour.
      {"", clear}, {"FF", clear}, {"1234567", clear}, {"\tFFF\n", clear},
      // Length counts UTF-16 units after full upper-casing: the ligature "ﬀ" becomes "FF", "ß" becomes "SS".
      {"\xEF\xAC\x80\xEF\xAC\x80\xEF\xAC\x80", white}, {"\xC3\x9F" "12", {0, byte(0x11), byte(0x22), 0}},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    expectColor(colorWithHexString(text), expected);
  }
}

}  // namespace
}  // namespace corvana
