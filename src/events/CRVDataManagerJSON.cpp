// The data manager's JSON coercion: any object graph a host hands over, made into a JSON value and JSON bytes.
// The event path does not come through here: its records are JSON values already.

#include <cmath>
#include <exception>
#include <stdexcept>

#include "events/CRVDataManager.h"
#include "events/ObjectGraph.h"
#include "util/Error.h"
#include "util/Log.h"

namespace corvana {

namespace {

// The error domain and code of the platform's JSON writer.
constexpr const char* kJSONWriterErrorDomain = "NSCocoaErrorDomain";
constexpr int kJSONWriterErrorCode = 3840;

// JSON has no NaN and no infinity (the serialiser would quietly print them as null): the writer refuses the first
// such number it meets.
std::optional<Error> unwritableNumberIn(const Value& value) {
  if (value.is_number_float()) {
    const double number = value.get<double>();
    if (std::isfinite(number)) return std::nullopt;
    const std::string text =
        strfmt("Invalid number value (%s) in JSON write", std::isnan(number) ? "NaN" : "infinite");
    return Error{kJSONWriterErrorDomain, kJSONWriterErrorCode, text};
  }
  if (value.is_structured()) {
    for (const Value& item : value) {
      if (auto error = unwritableNumberIn(item)) return error;
    }
  }
  return std::nullopt;
}

// The JSON writer: compact text, or no text and the error. Like the platform's writer it takes only an array or
// a map at the top and throws otherwise; text that is not valid UTF-8 makes it throw too.
std::optional<std::string> writeJSON(const Value& value, std::optional<Error>& error) {
  if (!value.is_array() && !value.is_object()) throw std::invalid_argument("Invalid top-level type in JSON write");
  error = unwritableNumberIn(value);
  if (error) return std::nullopt;
  return value.dump();
}

// How the platform prints an error of the JSON writer with "%@".
std::string describeError(const Error& error) {
  return strfmt("Error Domain=%s Code=%d \"%s\" UserInfo={NSDebugDescription=%s}", error.domain.c_str(), error.code,
                error.localizedDescription.c_str(), error.localizedDescription.c_str());
}

}  // namespace

std::string CRVDataManager::description() const {
  return strfmt("<CRVDataManager: %p>", static_cast<const void*>(this));
}

Value CRVDataManager::JSONSerializableObjectForObject(const Object& object) {
  switch (object.kind()) {
    case Object::Kind::Null: return nullptr;
    case Object::Kind::String: return object.text();
    case Object::Kind::Number: return object.numberValue();
    case Object::Kind::Array: {
      Value result = Value::array();
      for (const Object& item : object.items()) result.push_back(JSONSerializableObjectForObject(item));
      return result;
    }
    case Object::Kind::Map: {
      Value result = Value::object();
      for (const auto& [key, item] : object.entries()) {
        std::string name;
        if (key.kind() == Object::Kind::String) {
          name = key.text();
        } else {
          name = key.description();
          CRVLog(strfmt("CorvanaSDK-%s warning: property keys should be strings. got: %s. coercing to: %s",
                        description().c_str(), key.className().c_str(), name.c_str()));
        }
        // A key whose text is already there overwrites that entry's value, in its place.
        result[name] = JSONSerializableObjectForObject(item);
      }
      return result;
    }
    case Object::Kind::Date: {
      std::lock_guard<std::recursive_mutex> lock(databaseLock_);
      return dateFormatter_.stringFromDate(object.dateValue());
    }
    case Object::Kind::Url: return object.text();
    case Object::Kind::Opaque: break;
  }
  const std::string text = object.description();
  CRVLog(strfmt("CorvanaSDK-%s warning: property values should be valid json types. got: %s. coercing to: %s",
                description().c_str(), object.className().c_str(), text.c_str()));
  return text;
}

std::optional<std::string> CRVDataManager::JSONSerializeObject(const Object& object) {
  const Value coerced = JSONSerializableObjectForObject(object);
  std::optional<std::string> bytes;
  std::optional<Error> error;
  try {
    bytes = writeJSON(coerced, error);
  } catch (const std::exception& exception) {
    CRVLog(strfmt("CorvanaSDK-%s exception encoding api data: %s", description().c_str(), exception.what()));
    return std::nullopt;
  }
  if (error) {
    CRVLog(strfmt("CorvanaSDK-%s error encoding api data: %s", description().c_str(), describeError(*error).c_str()));
  }
  return bytes;
}

}  // namespace corvana
