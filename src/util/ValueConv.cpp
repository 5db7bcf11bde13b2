#include "util/ValueConv.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>

namespace corvana {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

size_t skipSpace(std::string_view text, size_t at = 0) {
  while (at < text.size() && isSpace(text[at])) ++at;
  return at;
}

// Leading "[+-]digits" after whitespace, clamped to [minimum, maximum].
int64_t leadingInteger(std::string_view text, int64_t minimum, int64_t maximum) {
  size_t at = skipSpace(text);
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';
  // The magnitude is gathered as a negative number so that the minimum (one larger than the maximum in
  // magnitude) is reached without overflow.
  const int64_t floor = negative ? minimum : -maximum;
  int64_t accumulated = 0;
  for (; at < text.size() && isDigit(text[at]); ++at) {
    const int digit = text[at] - '0';
    if (accumulated < floor / 10 || accumulated * 10 < floor + digit) {
      accumulated = floor;  // saturated; the remaining digits change nothing
      break;
    }
    accumulated = accumulated * 10 - digit;
  }
  return negative ? accumulated : -accumulated;
}

template <typename T>
T truncated(double number) {
  if (std::isnan(number)) return 0;
  if (number >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
  if (number <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
  return static_cast<T>(number);
}

locale_t cLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

}  // namespace

// ---- strings ---------------------------------------------------------------------------------------------------

bool boolValueOfString(std::string_view text) {
  size_t at = skipSpace(text);
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  while (at < text.size() && text[at] == '0') ++at;
  if (at >= text.size()) return false;
  const char c = text[at];
  return (c >= '1' && c <= '9') || c == 't' || c == 'T' || c == 'y' || c == 'Y';
}

int32_t intValueOfString(std::string_view text) {
  return static_cast<int32_t>(
      leadingInteger(text, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

int64_t integerValueOfString(std::string_view text) {
  return leadingInteger(text, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max());
}

double doubleValueOfString(std::string_view text) {
  // Only the decimal form is read: "0x10", "inf" and "nan" read as far as their leading decimal digits go.
  const size_t start = skipSpace(text);
  size_t at = start;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  size_t digits = 0;
  for (; at < text.size() && isDigit(text[at]); ++at) ++digits;
  if (at < text.size() && text[at] == '.') {
    ++at;
    for (; at < text.size() && isDigit(text[at]); ++at) ++digits;
  }
  if (digits == 0) return 0.0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    size_t exponent = at + 1;
    if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) ++exponent;
    if (exponent < text.size() && isDigit(text[exponent])) {
      at = exponent;
      while (at < text.size() && isDigit(text[at])) ++at;
    }
  }
  const std::string number(text.substr(start, at - start));
  // The C locale keeps '.' the decimal point whatever locale the host process runs in.
  return strtod_l(number.c_str(), nullptr, cLocale());
}

// ---- values ----------------------------------------------------------------------------------------------------

bool boolValue(const Value& value) {
  switch (value.type()) {
    case Value::value_t::boolean: return value.get<bool>();
    case Value::value_t::number_integer: return value.get<int64_t>() != 0;
    case Value::value_t::number_unsigned: return value.get<uint64_t>() != 0;
    case Value::value_t::number_float: return value.get<double>() != 0.0;
    case Value::value_t::string: return boolValueOfString(value.get_ref<const std::string&>());
    default: return false;
  }
}

int32_t intValue(const Value& value) {
  switch (value.type()) {
    case Value::value_t::boolean: return value.get<bool>() ? 1 : 0;
    // A wider integer keeps its low 32 bits, as a C conversion does.
    case Value::value_t::number_integer: return static_cast<int32_t>(value.get<int64_t>());
    case Value::value_t::number_unsigned: return static_cast<int32_t>(value.get<uint64_t>());
    case Value::value_t::number_float: return truncated<int32_t>(value.get<double>());
    case Value::value_t::string: return intValueOfString(value.get_ref<const std::string&>());
    default: return 0;
  }
}

int64_t integerValue(const Value& value) {
  switch (value.type()) {
    case Value::value_t::boolean: return value.get<bool>() ? 1 : 0;
    case Value::value_t::number_integer: return value.get<int64_t>();
    case Value::value_t::number_unsigned: return static_cast<int64_t>(value.get<uint64_t>());
    case Value::value_t::number_float: return truncated<int64_t>(value.get<double>());
    case Value::value_t::string: return integerValueOfString(value.get_ref<const std::string&>());
    default: return 0;
  }
}

double doubleValue(const Value& value) {
  switch (value.type()) {
    case Value::value_t::boolean: return value.get<bool>() ? 1.0 : 0.0;
    case Value::value_t::number_integer: return static_cast<double>(value.get<int64_t>());
    case Value::value_t::number_unsigned: return static_cast<double>(value.get<uint64_t>());
    case Value::value_t::number_float: return value.get<double>();
    case Value::value_t::string: return doubleValueOfString(value.get_ref<const std::string&>());
    default: return 0.0;
  }
}

std::string stringValue(const Value& value) {
  switch (value.type()) {
    case Value::value_t::string: return value.get<std::string>();
    case Value::value_t::boolean: return value.get<bool>() ? "1" : "0";
    case Value::value_t::number_integer: return std::to_string(value.get<int64_t>());
    case Value::value_t::number_unsigned: return std::to_string(value.get<uint64_t>());
    case Value::value_t::number_float: {
      const double number = value.get<double>();
      // A whole number prints without a fraction or an exponent, as the service sent it (1700000000, not 1.7e+09).
      if (std::isfinite(number) && std::trunc(number) == number && std::fabs(number) < 1e16) {
        return std::to_string(static_cast<int64_t>(number));
      }
      char buffer[64];
      const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
      return std::string(buffer, result.ptr);
    }
    default: return "";
  }
}

Value preferenceAsValue(const PreferenceValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (const auto* integer = std::get_if<int64_t>(&value)) return *integer;
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag;
  return nullptr;
}

}  // namespace corvana
