#include "platform/LinuxSecureStore.h"
#include "util/Base64.h"

#include <cstdio>
#include <set>
#include <tuple>
#include <utility>

#include "platform/PosixFiles.h"

namespace corvana {

namespace {

constexpr int kFileVersion = 1;

// The attributes an item keeps, in the order they are written, and those a query selects items by.
constexpr const char* kStoredAttributes[] = {kSecClass,          kSecAttrService,     kSecAttrAccount,
                                             kSecAttrGeneric,    kSecAttrAccessGroup, kSecAttrAccessible};
constexpr const char* kMatchedAttributes[] = {kSecClass, kSecAttrService, kSecAttrAccount, kSecAttrGeneric,
                                              kSecAttrAccessGroup};

std::string attributeOrEmpty(const Value& attributes, const char* key) {
  auto found = attributes.find(key);
  return found == attributes.end() ? std::string() : found->get<std::string>();
}

// What identifies an item: its class, service and account.
std::tuple<std::string, std::string, std::string> identity(const Value& attributes) {
  return {attributeOrEmpty(attributes, kSecClass), attributeOrEmpty(attributes, kSecAttrService),
          attributeOrEmpty(attributes, kSecAttrAccount)};
}

// Copies the stored attributes found in `map` into `out`; false when one of them is not a string.
bool readAttributes(const Value& map, Value* out) {
  *out = Value::object();
  for (const char* key : kStoredAttributes) {
    auto found = map.find(key);
    if (found == map.end()) continue;
    if (!found->is_string()) return false;
    (*out)[key] = *found;
  }
  return true;
}

// The item data found in `map`; false when it is there but not binary.
bool readData(const Value& map, std::optional<Data>* out) {
  auto found = map.find(kSecValueData);
  if (found == map.end()) return true;
  if (!found->is_binary()) return false;
  *out = Data(found->get_binary().begin(), found->get_binary().end());
  return true;
}

struct Query {
  Value match = Value::object();
  bool returnData = false;
  bool returnAttributes = false;
  bool all = false;
};

bool readFlag(const Value& map, const char* key, bool* out) {
  auto found = map.find(key);
  if (found == map.end()) return true;
  if (!found->is_boolean()) return false;
  *out = found->get<bool>();
  return true;
}

std::optional<Query> readQuery(const Value& map) {
  if (!map.is_object()) return std::nullopt;
  Query query;
  for (const char* key : kMatchedAttributes) {
    auto found = map.find(key);
    if (found == map.end()) continue;
    if (!found->is_string()) return std::nullopt;
    query.match[key] = *found;
  }
  if (!readFlag(map, kSecReturnData, &query.returnData) ||
      !readFlag(map, kSecReturnAttributes, &query.returnAttributes)) {
    return std::nullopt;
  }
  auto limit = map.find(kSecMatchLimit);
  if (limit != map.end()) {
    if (*limit == kSecMatchLimitAll) {
      query.all = true;
    } else if (*limit != kSecMatchLimitOne) {
      return std::nullopt;
    }
  }
  return query;
}

bool matches(const Value& match, const Value& attributes) {
  for (const auto& [key, wanted] : match.items()) {
    auto found = attributes.find(key);
    if (found == attributes.end() || *found != wanted) return false;
  }
  return true;
}

bool identitiesAreUnique(const std::vector<Value>& attributeMaps) {
  std::set<std::tuple<std::string, std::string, std::string>> seen;
  for (const Value& attributes : attributeMaps) {
    if (!seen.insert(identity(attributes)).second) return false;
  }
  return true;
}

}  // namespace

LinuxSecureStore::LinuxSecureStore(std::string path, std::shared_ptr<LogSink> log)
    : path_(std::move(path)), log_(std::move(log)) {
  posix::makeDirectories(posix::parentDirectory(path_), 0700);
  load();
}

std::optional<std::vector<LinuxSecureStore::Item>> LinuxSecureStore::decode(const std::string& text) {
  const Value file = Value::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!file.is_object()) return std::nullopt;
  auto version = file.find("version");
  if (version == file.end() || *version != kFileVersion) return std::nullopt;
  auto entries = file.find("items");
  if (entries == file.end() || !entries->is_array()) return std::nullopt;
  std::vector<Item> items;
  std::vector<Value> attributeMaps;
  for (const Value& entry : *entries) {
    if (!entry.is_object()) return std::nullopt;
    auto attributes = entry.find("attributes");
    auto data = entry.find("data");
    Item item;
    if (attributes == entry.end() || !attributes->is_object() || !readAttributes(*attributes, &item.attributes) ||
        !item.attributes.contains(kSecClass) || data == entry.end() || !data->is_string()) {
      return std::nullopt;
    }
    auto bytes = base64Decode(data->get<std::string>());
    if (!bytes) return std::nullopt;
    item.data = std::move(*bytes);
    attributeMaps.push_back(item.attributes);
    items.push_back(std::move(item));
  }
  if (!identitiesAreUnique(attributeMaps)) return std::nullopt;
  return items;
}

void LinuxSecureStore::load() {
  bool exists = false;
  auto text = posix::readFile(path_, &exists);
  if (!exists) return;
  if (text) {
    if (auto items = decode(*text)) {
      items_ = std::move(*items);
      return;
    }
  }
  if (log_) log_->write("CorvanaSDK-Secure store file unreadable, starting empty: " + path_);
  std::rename(path_.c_str(), (path_ + ".corrupt").c_str());
}

SecStatus LinuxSecureStore::commitLocked(std::vector<Item> items) {
  Value file = {{"version", kFileVersion}, {"items", Value::array()}};
  for (const Item& item : items) {
    file["items"].push_back({{"attributes", item.attributes}, {"data", base64Encode(item.data)}});
  }
  std::string text;
  try {
    text = file.dump(2) + "\n";
  } catch (const Value::exception&) {
    return errSecParam;  // an attribute that is not UTF-8 text
  }
  posix::makeDirectories(posix::parentDirectory(path_), 0700);
  if (!posix::writeFileAtomically(path_, text, 0600)) return errSecIO;
  posix::syncFile(path_);
  items_ = std::move(items);
  return errSecSuccess;
}

SecStatus LinuxSecureStore::copyMatching(const Value& query, Value* result) {
  if (result) *result = nullptr;
  auto parsed = readQuery(query);
  if (!parsed) return errSecParam;

  auto shape = [&](const Item& item) -> Value {
    if (parsed->returnAttributes) {
      Value map = item.attributes;
      if (parsed->returnData) map[kSecValueData] = Value::binary(item.data);
      return map;
    }
    return Value::binary(item.data);
  };
  const bool returnsSomething = parsed->returnData || parsed->returnAttributes;

  std::lock_guard<std::mutex> lock(mutex_);
  Value found = Value::array();
  for (const Item& item : items_) {
    if (!matches(parsed->match, item.attributes)) continue;
    found.push_back(returnsSomething ? shape(item) : Value());
    if (!parsed->all) break;
  }
  if (found.empty()) return errSecItemNotFound;
  if (result && returnsSomething) *result = parsed->all ? std::move(found) : std::move(found[0]);
  return errSecSuccess;
}

SecStatus LinuxSecureStore::add(const Value& attributes) {
  if (!attributes.is_object()) return errSecParam;
  Item item;
  std::optional<Data> data;
  if (!readAttributes(attributes, &item.attributes) || !item.attributes.contains(kSecClass) ||
      !readData(attributes, &data)) {
    return errSecParam;
  }
  if (data) item.data = std::move(*data);

  std::lock_guard<std::mutex> lock(mutex_);
  for (const Item& existing : items_) {
    if (identity(existing.attributes) == identity(item.attributes)) return errSecDuplicateItem;
  }
  std::vector<Item> items = items_;
  items.push_back(std::move(item));
  return commitLocked(std::move(items));
}

SecStatus LinuxSecureStore::update(const Value& query, const Value& attributesToUpdate) {
  auto parsed = readQuery(query);
  if (!parsed || !attributesToUpdate.is_object()) return errSecParam;
  Value changes;
  std::optional<Data> data;
  if (!readAttributes(attributesToUpdate, &changes) || changes.contains(kSecClass) ||
      !readData(attributesToUpdate, &data)) {
    return errSecParam;
  }

  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Item> items = items_;
  bool matched = false;
  for (Item& item : items) {
    if (!matches(parsed->match, item.attributes)) continue;
    matched = true;
    for (const auto& [key, value] : changes.items()) item.attributes[key] = value;
    if (data) item.data = *data;
  }
  if (!matched) return errSecItemNotFound;
  std::vector<Value> attributeMaps;
  for (const Item& item : items) attributeMaps.push_back(item.attributes);
  if (!identitiesAreUnique(attributeMaps)) return errSecDuplicateItem;
  return commitLocked(std::move(items));
}

SecStatus LinuxSecureStore::deleteItems(const Value& query) {
  auto parsed = readQuery(query);
  if (!parsed) return errSecParam;

  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Item> kept;
  for (const Item& item : items_) {
    if (!matches(parsed->match, item.attributes)) kept.push_back(item);
  }
  if (kept.size() == items_.size()) return errSecItemNotFound;
  return commitLocked(std::move(kept));
}

}  // namespace corvana
