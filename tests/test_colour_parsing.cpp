#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
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
      {"#FFF", white}, {"FFF", white}, {"fff", white}, {"F F F", white}, {" # f f f ", white}, {"##FFF", white},
      {"F#F#F", white},
      // Alpha comes first in the four- and eight-digit forms.
      {"#F00F", {0, 0, 1, 1}}, {"#80FF0000", {1, 0, 0, byte(0x80)}}, {"FF000080", {0, 0, byte(0x80), 1}},
      {"#1a2B3c", {byte(0x1A), byte(0x2B), byte(0x3C), 1}}, {"#8c4", {byte(0x88), byte(0xCC), byte(0x44), 1}},
      // Non-digits are read, not rejected: the scan stops at them.
      {"1G0000", {byte(1), 0, 0, 1}}, {"GG0000", {0, 0, 0, 1}}, {"0X12FF", {0, byte(0x12), 1, 1}},
      // Any other length is the transparent colour.
      {"", clear}, {"#", clear}, {"F", clear}, {"FF", clear}, {"12345", clear}, {"1234567", clear},
      {"123456789", clear}, {"#FF FF FF FF F", clear}, {"\tFFF\n", clear},
      // Length counts UTF-16 units after full upper-casing: the ligature "ﬀ" becomes "FF", "ß" becomes "SS".
      {"\xEF\xAC\x80\xEF\xAC\x80\xEF\xAC\x80", white}, {"\xC3\x9F" "12", {0, byte(0x11), byte(0x22), 0}},
      {"\xC3\xA9" "12", {0, byte(0x11), byte(0x22), 1}},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    expectColor(colorWithHexString(text), expected);
  }
}

TEST(ColourParsing, Components) {
  struct Case { const char* text; size_t start, length; double expected; };
  const Case cases[] = {
      {"1G", 0, 2, byte(1)}, {"ab", 0, 2, byte(0xAB)}, {"8", 0, 1, byte(0x88)}, {"ABC", 1, 1, byte(0xBB)},
      {"GG", 0, 2, 0.0}, {"F", 0, 0, 0.0},
      // Lengths other than 1 and 2 are doubled as well; the 32-bit reading saturates.
      {"ABC", 0, 3, 0xABCABC / 255.0}, {"FFFFF", 0, 5, std::numeric_limits<uint32_t>::max() / 255.0},
      // A range past the end is clipped, and the length asked for still decides the doubling.
      {"AB", 1, 5, byte(0xBB)}, {"AB", 7, 1, 0.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " " + std::to_string(c.start) + "," + std::to_string(c.length));
    EXPECT_DOUBLE_EQ(colorComponentFromStartLength(c.text, c.start, c.length), c.expected);
  }
}

TEST(ColourParsing, BuildingAndBlending) {
  expectColor(colorWithRedGreenBlue(0.1, 0.2, 0.3), {0.1, 0.2, 0.3, 1.0});
  expectColor(clearColor(), CRVColor{});

  const CRVColor red{1, 0, 0, 1}, clearBlue{0, 0, 1, 0};
  const std::pair<double, CRVColor> cases[] = {
      {0.0, red}, {1.0, clearBlue}, {0.25, {0.75, 0, 0.25, 0.75}}, {2.0, {-1, 0, 2, -1}}, {-1.0, {2, 0, -1, 2}}};
  for (const auto& [fraction, expected] : cases) {
    SCOPED_TRACE(fraction);
    expectColor(blendedColorWithFractionOfColor(red, fraction, clearBlue), expected);
  }
}

}  // namespace
}  // namespace corvana
