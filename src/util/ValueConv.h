#pragma once

// The scalar readings of a value, with the platform's rules. Every part of the SDK that needs a boolean, an
// integer, a floating number or a text out of a `Value` (or out of a stored preference) goes through here.
//
// Numbers: a non-zero number is true; a floating number becomes an integer by truncation toward zero
// (saturating at the limits of the type, NaN gives 0); an integer wider than 32 bits keeps its low 32 bits in
// `intValue`; booleans are the numbers 1 and 0.
// Strings: the integer readings take optional leading whitespace, an optional sign and the leading digits
// (0 when there are none, saturating on overflow); the floating reading takes the leading decimal number
// (0 when there is none); the boolean reading is true when, after leading whitespace, an optional sign and
// leading zeros, the first character is a digit 1-9 or one of t T y Y.
// Null, arrays and maps read as false, 0 and "".

#include <cstdint>
#include <string>
#include <string_view>

#include "corvana/platform.h"
#include "corvana/value.h"

namespace corvana {

bool boolValue(const Value& value);
int32_t intValue(const Value& value);
int64_t integerValue(const Value& value);
double doubleValue(const Value& value);
// A string as it is; a number in its printed form: integers without a fraction, floating numbers in the
// shortest form that reads back the same ("1.5", "2", "1e+20"), booleans as "1" and "0".
std::string stringValue(const Value& value);

// The string rules on their own.
bool boolValueOfString(std::string_view text);
int32_t intValueOfString(std::string_view text);
int64_t integerValueOfString(std::string_view text);
double doubleValueOfString(std::string_view text);

// A stored preference as a value for the readings above. Dates and raw bytes have no scalar reading and
// become null.
Value preferenceAsValue(const PreferenceValue& value);

}  // namespace corvana
