#include "capi/CapiSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/Log.h"

namespace corvana::capi {

void logFailure(const char* function, const char* what) noexcept {
  try {
    std::string line = "CorvanaSDK-C interface: ";
    line.append(function).append(" failed: ").append(what ? what : "");
    CRVLog(line);
  } catch (...) {
    std::fprintf(stderr, "CorvanaSDK-C interface: %s failed: %s\n", function, what ? what : "");
  }
}

std::optional<Value> parseOptionalJson(const char* text) {
  if (!text) return Value();
  Value parsed = Value::parse(text, nullptr, /*allow_exceptions=*/false);
  if (parsed.is_discarded()) return std::nullopt;
  return parsed;
}

bool serialises(const Value& value) {
  try {
    value.dump();
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

bool isUtf8(const char* text) { return text && serialises(Value(text)); }

char* copyOut(const std::string& text) noexcept {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (!copy) return nullptr;
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace corvana::capi

extern "C" {

void corvana_string_free(char* text) { std::free(text); }

}  // extern "C"
