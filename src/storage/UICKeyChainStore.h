#pragma once

// A small key/value store over the platform's secure store: string or data values kept as generic-password items
// whose service is the store's service and whose generic and account attributes are both the key. Items this
// store creates are accessible after the first unlock. Strings are kept as their UTF-8 bytes.
//
// Class operations address the secure store directly; an instance collects writes and applies them on
// `synchronize`. A missing service means the default service (the main bundle's identifier); the access group
// is accepted and kept but never put into a query. Failures of the secure store come back as false or nothing;
// nothing is logged.
//
// The one-key class operations are the `...Service` forms called without a service
// (`UICKeyChainStore::stringForKeyService(key)`): their shorter names belong to the instance operations, and
// C++ does not let a static and a non-static member share a name and parameters.

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"

namespace corvana {

class UICKeyChainStore {
 public:
  using OptionalString = std::optional<std::string>;
  using OptionalData = std::optional<Data>;

  // ---- The default service: the main bundle's identifier, read once; may be called from any thread ---------
  static std::string defaultService();
  // Replaces the default service; with none, the next use reads the main bundle's identifier again.
  static void setDefaultService(const OptionalString& defaultService);

  // ---- New instances (never empty) ----------------------------------------------------------------------------
  static std::shared_ptr<UICKeyChainStore> keyChainStore();
  static std::shared_ptr<UICKeyChainStore> keyChainStoreWithService(const OptionalString& service);
  static std::shared_ptr<UICKeyChainStore> keyChainStoreWithServiceAccessGroup(const OptionalString& service,
                                                                               const OptionalString& accessGroup);

  // ---- Class operations ---------------------------------------------------------------------------------------
  // The value decoded as UTF-8; nothing when there is no item or its data is not UTF-8 text.
  static OptionalString stringForKeyService(const std::string& key, const OptionalString& service = std::nullopt);
  static OptionalString stringForKeyServiceAccessGroup(const std::string& key, const OptionalString& service,
                                                       const OptionalString& accessGroup);
  // Stores the string's bytes; a missing string removes the item.
  static bool setStringForKeyService(const OptionalString& value, const std::string& key,
                                     const OptionalString& service = std::nullopt);
  static bool setStringForKeyServiceAccessGroup(const OptionalString& value, const std::string& key,
                                                const OptionalString& service, const OptionalString& accessGroup);

  static OptionalData dataForKeyService(const std::string& key, const OptionalString& service = std::nullopt);
  static OptionalData dataForKeyServiceAccessGroup(const std::string& key, const OptionalString& service,
                                                   const OptionalString& accessGroup);
  // Changes the item's data when the item exists, adds the item when it does not; missing data removes the item.
  static bool setDataForKeyService(const OptionalData& data, const std::string& key,
                                   const OptionalString& service = std::nullopt);
  static bool setDataForKeyServiceAccessGroup(const OptionalData& data, const std::string& key,
                                              const OptionalString& service, const OptionalString& accessGroup);

  // True when the item is gone, including when there was none.
  static bool removeItemForKeyService(const std::string& key, const OptionalString& service = std::nullopt);
  static bool removeItemForKeyServiceAccessGroup(const std::string& key, const OptionalString& service,
                                                 const OptionalString& accessGroup);

  // The service's items as an array of attribute maps with their data under kSecValueData; null when there are
  // none or the secure store failed.
  static Value itemsForServiceAccessGroup(const OptionalString& service, const OptionalString& accessGroup);

  // Deletes every item of the service; false when one of the deletes failed.
  static bool removeAllItemsForService(const OptionalString& service = std::nullopt);
  static bool removeAllItemsForServiceAccessGroup(const OptionalString& service, const OptionalString& accessGroup);

  // ---- Instance operations (an instance is used by one thread at a time) --------------------------------------
  // Pending until `synchronize`; a missing value drops the key as `removeItemForKey` does.
  void setStringForKey(const OptionalString& value, const std::string& key);
  // A pending value first, then the secure store.
  OptionalString stringForKey(const std::string& key);
  void setDataForKey(const OptionalData& data, const std::string& key);
  OptionalData dataForKey(const std::string& key);
  // A pending key is only dropped (an item stored earlier stays); otherwise the item is removed.
  bool removeItemForKey(const std::string& key);
  // Drops every pending value and removes every item of the service.
  bool removeAllItems();
  // Writes every pending value (failures are ignored) and forgets them.
  void synchronize();
  // The service's items as text: a list of maps with "Service", "Account", "AccessGroup" and "Value" (the data
  // as text when it is UTF-8, else the bytes).
  std::string description();

  OptionalString objectForKeyedSubscript(const std::string& key) { return stringForKey(key); }
  void setObjectForKeyedSubscript(const OptionalString& value, const std::string& key) { setStringForKey(value, key); }

  const std::string& service() const { return service_; }
  const OptionalString& accessGroup() const { return accessGroup_; }

 private:
  UICKeyChainStore(const OptionalString& service, const OptionalString& accessGroup);

  std::map<std::string, Data> itemsToUpdate_;
  const std::string service_;
  const OptionalString accessGroup_;
};

}  // namespace corvana
