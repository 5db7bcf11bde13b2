// The scalar readings of values: the input as a string, and, when it is JSON, as a value.
//
// What must hold: the 64-bit integer reading of a string is the C library's strtoll (same blanks, sign, digits
// and saturation), the 32-bit reading is that number clamped, and a number printed by stringValue reads back as
// the same number.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "FuzzPlatform.h"
#include "util/ValueConv.h"

using namespace corvana;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(fuzz::textOf(data, size));
  boolValueOfString(text);
  doubleValueOfString(text);
  const int64_t wide = integerValueOfString(text);
  // strtoll stops at the first NUL byte, and so does the string reading (a NUL is neither blank nor digit).
  if (wide != std::strtoll(text.c_str(), nullptr, 10)) std::abort();
  const int64_t clamped =
      std::clamp<int64_t>(wide, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max());
  if (intValueOfString(text) != clamped) std::abort();

  const auto value = fuzz::jsonOf(data, size);
  if (!value) return 0;
  boolValue(*value);
  intValue(*value);
  integerValue(*value);
  const double number = doubleValue(*value);
  const std::string printed = stringValue(*value);
  if (value->is_number_float() && std::isfinite(number) && doubleValueOfString(printed) != number) std::abort();
  if (value->type() == Value::value_t::number_integer && integerValueOfString(printed) != value->get<int64_t>()) {
    std::abort();
  }
  if (value->type() == Value::value_t::number_unsigned) {
    const uint64_t limit = std::numeric_limits<int64_t>::max();
    if (integerValueOfString(printed) != static_cast<int64_t>(std::min(value->get<uint64_t>(), limit))) std::abort();
  }
  if (value->is_string() && printed != value->get_ref<const std::string&>()) std::abort();
  return 0;
}
