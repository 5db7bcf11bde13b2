#include <gtest/gtest.h>

#include <string>

#include "inapp/ui/CRVColor.h"

namespace corvana {
namespace {

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
