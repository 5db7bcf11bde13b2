#pragma once

#include <optional>
#include <string>

#include "corvana/value.h"

namespace corvana {

// Standard base64 with padding, for bytes kept in the SDK's JSON files.
std::string base64Encode(const Data& data);
// Empty when the text is not padded base64.
std::optional<Data> base64Decode(const std::string& text);

}  // namespace corvana
