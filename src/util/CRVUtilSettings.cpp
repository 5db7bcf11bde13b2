// The settings half of CRVUtil: typed reads and writes over the preferences store, the keyed archive, and the
// null and presence tests.

#include <stdexcept>

#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

// The archive's entry naming the class of its root object, and the class name of an archived string.
constexpr const char* kArchiveClassKey = "$class";
constexpr const char* kArchiveStringClass = "NSString";
constexpr const char* kArchiveStringValueKey = "value";

std::shared_ptr<Preferences> store() { return Platform::current().preferences; }

// The stored value as a scalar, or null when absent or when there is no store.
Value storedScalar(const std::string& key) {
  auto preferences = store();
  if (!preferences) return nullptr;
  auto stored = preferences->objectForKey(key);
  return stored ? preferenceAsValue(*stored) : Value();
}

// Runs a write; whatever it throws is logged as a developer message and swallowed, so the store keeps what it
// had and the caller never sees the failure.
template <typename Body>
void guardedWrite(Body&& body) {
  try {
    body();
  } catch (const std::exception& failure) {
    CRVLogf("CorvanaSDK-%s", failure.what());
  } catch (...) {
    CRVLogf("CorvanaSDK-%s", kNullDescription);
  }
}

void storeAndFlush(Preferences& preferences, const PreferenceValue& value, const std::string& key) {
  preferences.setObjectForKey(value, key);
  preferences.synchronize();
}

void storeArchive(const Value& archive, const std::string& key) {
  guardedWrite([&] {
    auto preferences = store();
    if (!preferences) return;
    const std::string text = archive.dump();
    storeAndFlush(*preferences, Data(text.begin(), text.end()), key);
  });
}

}  // namespace

std::string CRVUtil::getStringForKey(const std::string& key) { return stringValue(storedScalar(key)); }

int64_t CRVUtil::getIntForkey(const std::string& key) { return integerValue(storedScalar(key)); }

bool CRVUtil::getBoolForKey(const std::string& key) { return boolValue(storedScalar(key)); }

void CRVUtil::setObjectForKey(const Value& value, const std::string& key) {
  guardedWrite([&] {
    auto preferences = store();
    if (!preferences || isObjectNull(value)) return;
    PreferenceValue typed;
    switch (value.type()) {
      case Value::value_t::string: typed = value.get<std::string>(); break;
      case Value::value_t::boolean: typed = value.get<bool>(); break;
      case Value::value_t::number_integer: typed = value.get<int64_t>(); break;
      case Value::value_t::number_unsigned: {
        const uint64_t number = value.get<uint64_t>();
        if (number <= static_cast<uint64_t>(INT64_MAX)) {
          typed = static_cast<int64_t>(number);
        } else {
          typed = static_cast<double>(number);
        }
        break;
      }
      case Value::value_t::number_float: typed = value.get<double>(); break;
      default: throw std::invalid_argument("Attempt to insert non-property list object for key " + key);
    }
    storeAndFlush(*preferences, typed, key);
  });
}

void CRVUtil::setObjectForKey(const PreferenceValue& value, const std::string& key) {
  guardedWrite([&] {
    auto preferences = store();
    if (preferences) storeAndFlush(*preferences, value, key);
  });
}

void CRVUtil::setDataObjectForKey(const Archivable* object, const std::string& key) {
  if (object == nullptr) return;
  Value archive = Value::object();
  archive[kArchiveClassKey] = object->archiveClassName();
  const Value fields = object->encodeWithCoder();
  if (fields.is_object()) {
    for (const auto& [name, field] : fields.items()) {
      if (name != kArchiveClassKey) archive[name] = field;
    }
  } else if (!fields.is_null()) {
    archive[kArchiveStringValueKey] = fields;
  }
  storeArchive(archive, key);
}

void CRVUtil::setDataObjectForKey(const std::string& object, const std::string& key) {
  Value archive = Value::object();
  archive[kArchiveClassKey] = kArchiveStringClass;
  archive[kArchiveStringValueKey] = object;
  storeArchive(archive, key);
}

void CRVUtil::setIntForKey(int64_t value, const std::string& key) {
  auto preferences = store();
  if (preferences) storeAndFlush(*preferences, value, key);
}

void CRVUtil::setBoolForKey(bool value, const std::string& key) {
  auto preferences = store();
  if (preferences) storeAndFlush(*preferences, value, key);
}

std::optional<std::string> CRVUtil::getDataObjectForKey(const std::string& key) {
  auto preferences = store();
  if (!preferences) return std::nullopt;
  const auto stored = preferences->objectForKey(key);
  const Data* bytes = stored ? std::get_if<Data>(&*stored) : nullptr;
  if (bytes == nullptr) return std::nullopt;
  // Only a string may be the root object; any other archived class (or bytes that are no archive) reads as
  // nothing, without a log.
  const Value archive = Value::parse(bytes->begin(), bytes->end(), nullptr, false);
  if (!archive.is_object()) return std::nullopt;
  const auto className = archive.find(kArchiveClassKey);
  const auto text = archive.find(kArchiveStringValueKey);
  if (className == archive.end() || *className != kArchiveStringClass) return std::nullopt;
  if (text == archive.end() || !text->is_string()) return std::nullopt;
  return text->get<std::string>();
}

bool CRVUtil::isObjectNull(const Value& object) { return object.is_null(); }

bool CRVUtil::hasValueInDictionary(const std::string& key, const Value& dictionary) {
  return hasValueInDictionaryLog(key, dictionary, std::nullopt);
}

bool CRVUtil::hasValueInDictionaryLog(const std::string& key, const Value& dictionary,
                                      const std::optional<std::string>& campaignId) {
  if (dictionary.is_object()) {
    const auto found = dictionary.find(key);
    if (found != dictionary.end() && !isObjectNull(*found)) return true;
  }
  if (campaignId) {
    CRVLogf("CorvanaSDK- Dropping campaign %s due to %s have nil or bad value", campaignId->c_str(), key.c_str());
  }
  return false;
}

std::string CRVUtil::getDeviceName() {
  std::string name = getStringForKey(kKeyDeviceName);
  if (isStringEmpty(name)) {
    auto device = Platform::current().device;
    name = device ? device->name() : "";
  }
  return name;
}

}  // namespace corvana
