#include "inapp/ui/CRVColor.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace corvana {

namespace {

int hexDigitValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

// The leading hexadecimal digits as an unsigned 32-bit number; UINT32_MAX once it overflows.
uint32_t scanLeadingHex(const icu::UnicodeString& text) {
  constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();
  uint32_t value = 0;
  for (int32_t i = 0; i < text.length(); ++i) {
    const int digit = hexDigitValue(text.charAt(i));
    if (digit < 0) break;
    value = value > (kMax - static_cast<uint32_t>(digit)) / 16 ? kMax : value * 16 + static_cast<uint32_t>(digit);
  }
  return value;
}

double componentOf(const icu::UnicodeString& text, int32_t start, int32_t length) {
  icu::UnicodeString part = text.tempSubString(start, length);
  if (length != 2) {
    const icu::UnicodeString once(part);
    part.append(once);
  }
  return scanLeadingHex(part) / 255.0;
}

int32_t clampedIndex(size_t index) {
  return static_cast<int32_t>(std::min<size_t>(index, static_cast<size_t>(std::numeric_limits<int32_t>::max())));
}

// Full Unicode upper-casing, the same for every locale (so "ß" becomes "SS").
void upperCase(icu::UnicodeString& text) { text.toUpper(icu::Locale::getRoot()); }

}  // namespace

CRVColor clearColor() { return CRVColor{0.0, 0.0, 0.0, 0.0}; }

CRVColor colorWithRedGreenBlueAlpha(double red, double green, double blue, double alpha) {
  return CRVColor{red, green, blue, alpha};
}

CRVColor colorWithRedGreenBlue(double red, double green, double blue) {
  return colorWithRedGreenBlueAlpha(red, green, blue, 1.0);
}

CRVColor colorWithHexString(const std::string& hexString) {
  icu::UnicodeString text = icu::UnicodeString::fromUTF8(hexString);
  text.findAndReplace(icu::UnicodeString(u'#'), icu::UnicodeString());
  upperCase(text);
  text.findAndReplace(icu::UnicodeString(u' '), icu::UnicodeString());
  upperCase(text);

  switch (text.length()) {
    case 3:  // RGB
      return colorWithRedGreenBlueAlpha(componentOf(text, 0, 1), componentOf(text, 1, 1), componentOf(text, 2, 1),
                                        1.0);
    case 4:  // ARGB
      return colorWithRedGreenBlueAlpha(componentOf(text, 1, 1), componentOf(text, 2, 1), componentOf(text, 3, 1),
                                        componentOf(text, 0, 1));
    case 6:  // RRGGBB
      return colorWithRedGreenBlueAlpha(componentOf(text, 0, 2), componentOf(text, 2, 2), componentOf(text, 4, 2),
                                        1.0);
    case 8:  // AARRGGBB
      return colorWithRedGreenBlueAlpha(componentOf(text, 2, 2), componentOf(text, 4, 2), componentOf(text, 6, 2),
                                        componentOf(text, 0, 2));
    default:
      return clearColor();
  }
}

double colorComponentFromStartLength(const std::string& string, size_t start, size_t length) {
  return componentOf(icu::UnicodeString::fromUTF8(string), clampedIndex(start), clampedIndex(length));
}

CRVColor blendedColorWithFractionOfColor(const CRVColor& color, double fraction, const CRVColor& other) {
  const double keep = 1.0 - fraction;
  return CRVColor{color.red * keep + other.red * fraction, color.green * keep + other.green * fraction,
                  color.blue * keep + other.blue * fraction, color.alpha * keep + other.alpha * fraction};
}

}  // namespace corvana
