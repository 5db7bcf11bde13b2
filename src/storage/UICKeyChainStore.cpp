#include "storage/UICKeyChainStore.h"

#include <mutex>
#include <utility>

#include "corvana/platform.h"
#include "util/CRVUtil.h"

namespace corvana {

namespace {

// The default service, read from the main bundle on first use. Guarded: any thread may be the first.
struct DefaultService {
  std::mutex mutex;
  std::optional<std::string> name;
};

DefaultService& defaultServiceState() {
  static DefaultService* state = new DefaultService();  // never destroyed: threads may still use it at exit
  return *state;
}

std::string mainBundleIdentifier() {
  const Value identifier = CRVUtil::mainBundleInfoValue("CFBundleIdentifier");
  return identifier.is_string() ? identifier.get<std::string>() : std::string();
}

std::string serviceOrDefault(const std::optional<std::string>& service) {
  return service ? *service : UICKeyChainStore::defaultService();
}

// The attributes that address one item of the store: its class, service, and the key as generic and account.
Value itemQuery(const std::string& service, const std::string& key) {
  return {{kSecClass, kSecClassGenericPassword}, {kSecAttrService, service}, {kSecAttrGeneric, key},
          {kSecAttrAccount, key}};
}

// Well-formed UTF-8: no stray continuation bytes, no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUTF8(const Data& bytes) {
  size_t i = 0;
  while (i < bytes.size()) {
    const uint8_t lead = bytes[i];
    const size_t length = lead < 0x80                ? 1
                          : (lead & 0xE0) == 0xC0 ? 2
                          : (lead & 0xF0) == 0xE0 ? 3
                          : (lead & 0xF8) == 0xF0 ? 4
                                                  : 0;
    if (length == 0 || i + length > bytes.size()) return false;
    constexpr uint8_t kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    uint32_t codePoint = lead & kLeadBits[length];
    for (size_t j = 1; j < length; ++j) {
      if ((bytes[i + j] & 0xC0) != 0x80) return false;
      codePoint = (codePoint << 6) | (bytes[i + j] & 0x3F);
    }
    if (codePoint < kSmallest[length] || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
      return false;
    }
    i += length;
  }
  return true;
}

std::optional<std::string> decodeUTF8(const std::optional<Data>& data) {
  if (!data || !isUTF8(*data)) return std::nullopt;
  return std::string(data->begin(), data->end());
}

std::optional<Data> encodeUTF8(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return Data(text->begin(), text->end());
}

Value attributeOrNull(const Value& item, const char* key) {
  auto found = item.find(key);
  return found == item.end() ? Value() : *found;
}

}  // namespace

// ---- Default service and factories ---------------------------------------------------------------------------

std::string UICKeyChainStore::defaultService() {
  DefaultService& state = defaultServiceState();
  std::lock_guard<std::mutex> lock(state.mutex);
  if (!state.name) state.name = mainBundleIdentifier();
  return *state.name;
}

void UICKeyChainStore::setDefaultService(const OptionalString& defaultService) {
  DefaultService& state = defaultServiceState();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.name = defaultService;
}

std::shared_ptr<UICKeyChainStore> UICKeyChainStore::keyChainStore() {
  return keyChainStoreWithServiceAccessGroup(std::nullopt, std::nullopt);
}

std::shared_ptr<UICKeyChainStore> UICKeyChainStore::keyChainStoreWithService(const OptionalString& service) {
  return keyChainStoreWithServiceAccessGroup(service, std::nullopt);
}

std::shared_ptr<UICKeyChainStore> UICKeyChainStore::keyChainStoreWithServiceAccessGroup(
    const OptionalString& service, const OptionalString& accessGroup) {
  return std::shared_ptr<UICKeyChainStore>(new UICKeyChainStore(service, accessGroup));
}

UICKeyChainStore::UICKeyChainStore(const OptionalString& service, const OptionalString& accessGroup)
    : service_(serviceOrDefault(service)), accessGroup_(accessGroup) {}

// ---- Class operations ----------------------------------------------------------------------------------------

UICKeyChainStore::OptionalString UICKeyChainStore::stringForKeyService(const std::string& key,
                                                                       const OptionalString& service) {
  return stringForKeyServiceAccessGroup(key, service, std::nullopt);
}

UICKeyChainStore::OptionalString UICKeyChainStore::stringForKeyServiceAccessGroup(const std::string& key,
                                                                                  const OptionalString& service,
                                                                                  const OptionalString& accessGroup) {
  return decodeUTF8(dataForKeyServiceAccessGroup(key, service, accessGroup));
}

bool UICKeyChainStore::setStringForKeyService(const OptionalString& value, const std::string& key,
                                              const OptionalString& service) {
  return setStringForKeyServiceAccessGroup(value, key, service, std::nullopt);
}

bool UICKeyChainStore::setStringForKeyServiceAccessGroup(const OptionalString& value, const std::string& key,
                                                         const OptionalString& service,
                                                         const OptionalString& accessGroup) {
  return setDataForKeyServiceAccessGroup(encodeUTF8(value), key, service, accessGroup);
}

UICKeyChainStore::OptionalData UICKeyChainStore::dataForKeyService(const std::string& key,
                                                                   const OptionalString& service) {
  return dataForKeyServiceAccessGroup(key, service, std::nullopt);
}

UICKeyChainStore::OptionalData UICKeyChainStore::dataForKeyServiceAccessGroup(const std::string& key,
                                                                              const OptionalString& service,
                                                                              const OptionalString& /*accessGroup*/) {
  auto store = Platform::current().secureStore;
  if (!store) return std::nullopt;
  Value query = itemQuery(serviceOrDefault(service), key);
  query[kSecReturnData] = true;
  query[kSecMatchLimit] = kSecMatchLimitOne;
  Value result;
  if (store->copyMatching(query, &result) != errSecSuccess || !result.is_binary()) return std::nullopt;
  return Data(result.get_binary().begin(), result.get_binary().end());
}

bool UICKeyChainStore::setDataForKeyService(const OptionalData& data, const std::string& key,
                                            const OptionalString& service) {
  return setDataForKeyServiceAccessGroup(data, key, service, std::nullopt);
}

bool UICKeyChainStore::setDataForKeyServiceAccessGroup(const OptionalData& data, const std::string& key,
                                                       const OptionalString& service,
                                                       const OptionalString& accessGroup) {
  // Missing data removes the item, whether or not there is one.
  if (!data) return removeItemForKeyServiceAccessGroup(key, service, accessGroup);
  auto store = Platform::current().secureStore;
  if (!store) return false;
  const Value query = itemQuery(serviceOrDefault(service), key);
  const SecStatus status = store->copyMatching(query, nullptr);
  if (status == errSecSuccess) {
    return store->update(query, {{kSecValueData, Value::binary(*data)}}) == errSecSuccess;
  }
  if (status != errSecItemNotFound) return false;
  Value attributes = query;
  attributes[kSecAttrAccessible] = kSecAttrAccessibleAfterFirstUnlock;
  attributes[kSecValueData] = Value::binary(*data);
  return store->add(attributes) == errSecSuccess;
}

bool UICKeyChainStore::removeItemForKeyService(const std::string& key, const OptionalString& service) {
  return removeItemForKeyServiceAccessGroup(key, service, std::nullopt);
}

bool UICKeyChainStore::removeItemForKeyServiceAccessGroup(const std::string& key, const OptionalString& service,
                                                          const OptionalString& /*accessGroup*/) {
  auto store = Platform::current().secureStore;
  if (!store) return false;
  const SecStatus status = store->deleteItems(itemQuery(serviceOrDefault(service), key));
  return status == errSecSuccess || status == errSecItemNotFound;
}

Value UICKeyChainStore::itemsForServiceAccessGroup(const OptionalString& service,
                                                   const OptionalString& /*accessGroup*/) {
  auto store = Platform::current().secureStore;
  if (!store) return nullptr;
  const Value query = {{kSecClass, kSecClassGenericPassword},
                       {kSecReturnAttributes, true},
                       {kSecReturnData, true},
                       {kSecMatchLimit, kSecMatchLimitAll},
                       {kSecAttrService, serviceOrDefault(service)}};
  Value result;
  if (store->copyMatching(query, &result) != errSecSuccess) return nullptr;
  return result;
}

bool UICKeyChainStore::removeAllItemsForService(const OptionalString& service) {
  return removeAllItemsForServiceAccessGroup(service, std::nullopt);
}

bool UICKeyChainStore::removeAllItemsForServiceAccessGroup(const OptionalString& service,
                                                           const OptionalString& accessGroup) {
  auto store = Platform::current().secureStore;
  if (!store) return false;
  const Value items = itemsForServiceAccessGroup(service, accessGroup);
  if (!items.is_array()) return true;
  bool allDeleted = true;
  for (const Value& item : items) {
    Value query = item;
    query[kSecClass] = kSecClassGenericPassword;
    if (store->deleteItems(query) != errSecSuccess) allDeleted = false;
  }
  return allDeleted;
}

// ---- Instance operations -------------------------------------------------------------------------------------

void UICKeyChainStore::setStringForKey(const OptionalString& value, const std::string& key) {
  setDataForKey(encodeUTF8(value), key);
}

UICKeyChainStore::OptionalString UICKeyChainStore::stringForKey(const std::string& key) {
  return decodeUTF8(dataForKey(key));
}

void UICKeyChainStore::setDataForKey(const OptionalData& data, const std::string& key) {
  if (!data) {
    removeItemForKey(key);
    return;
  }
  itemsToUpdate_.insert_or_assign(key, *data);
}

UICKeyChainStore::OptionalData UICKeyChainStore::dataForKey(const std::string& key) {
  auto pending = itemsToUpdate_.find(key);
  if (pending != itemsToUpdate_.end()) return pending->second;
  return dataForKeyServiceAccessGroup(key, service_, accessGroup_);
}

bool UICKeyChainStore::removeItemForKey(const std::string& key) {
  if (itemsToUpdate_.erase(key) > 0) return true;
  return removeItemForKeyServiceAccessGroup(key, service_, accessGroup_);
}

bool UICKeyChainStore::removeAllItems() {
  itemsToUpdate_.clear();
  return removeAllItemsForServiceAccessGroup(service_, accessGroup_);
}

void UICKeyChainStore::synchronize() {
  for (const auto& [key, data] : itemsToUpdate_) setDataForKeyServiceAccessGroup(data, key, service_, accessGroup_);
  itemsToUpdate_.clear();
}

std::string UICKeyChainStore::description() {
  const Value items = itemsForServiceAccessGroup(service_, accessGroup_);
  Value list = Value::array();
  for (const Value& item : items.is_array() ? items : Value::array()) {
    const Value data = attributeOrNull(item, kSecValueData);
    Value value = data;
    if (data.is_binary()) {
      const Data bytes(data.get_binary().begin(), data.get_binary().end());
      if (auto text = decodeUTF8(bytes)) value = *text;
    }
    list.push_back({{"Service", attributeOrNull(item, kSecAttrService)},
                    {"Account", attributeOrNull(item, kSecAttrAccount)},
                    {"AccessGroup", attributeOrNull(item, kSecAttrAccessGroup)},
                    {"Value", std::move(value)}});
  }
  return list.dump();
}

}  // namespace corvana
