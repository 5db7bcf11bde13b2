#pragma once

// What every function of the C interface shares: the guard that keeps C++ exceptions inside the library, JSON
// parsing of the texts a caller hands in, and strings handed out with malloc.

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "corvana/corvana.h"
#include "corvana/value.h"

namespace corvana {
class CorvanaActionMetaData;
class CorvanaLead;
}  // namespace corvana

namespace corvana::capi {

// Writes "CorvanaSDK-C interface: <function> failed: <what>" to the SDK's log (standard error when even that fails).
void logFailure(const char* function, const char* what) noexcept;

// Runs `body` and answers its result; a thrown exception is logged and answers `onFailure`.
template <typename Result, typename Body>
Result guarded(const char* function, Result onFailure, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& error) {
    logFailure(function, error.what());
  } catch (...) {
    logFailure(function, "unknown exception");
  }
  return onFailure;
}

// A NULL text is the null value ("none"); a text that does not parse is no value at all.
std::optional<Value> parseOptionalJson(const char* text);

// Whether the value can be written as JSON text: every string in it is valid UTF-8. The SDK writes records on its
// own queues, where a text that cannot be written would end the process; the C interface refuses them up front.
bool serialises(const Value& value);
// The same for one text (NULL is not one).
bool isUtf8(const char* text);

// A malloc'd copy of the text, for the caller to free with corvana_string_free; NULL when out of memory.
char* copyOut(const std::string& text) noexcept;

// Copies of the records behind the handles (a NULL handle of action details is no details).
std::shared_ptr<CorvanaActionMetaData> copyOf(const corvana_action_metadata* metadata);
std::shared_ptr<CorvanaLead> copyOf(const corvana_lead* lead);

}  // namespace corvana::capi
