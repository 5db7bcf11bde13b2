#include "storage/UIDeviceAdditionalInfo.h"

#include <uuid/uuid.h>

#include "corvana/platform.h"
#include "storage/UICKeyChainStore.h"
#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"

namespace corvana {

namespace {

// A fresh random UUID: 36 characters, upper-case hexadecimal digits in groups of 8-4-4-4-12.
std::string newUUIDString() {
  uuid_t uuid;
  uuid_generate_random(uuid);
  char text[37];
  uuid_unparse_upper(uuid, text);
  return text;
}

std::string mainBundleIdentifier() {
  const Value identifier = CRVUtil::mainBundleInfoValue("CFBundleIdentifier");
  return identifier.is_string() ? identifier.get<std::string>() : std::string();
}

// Stores the string and flushes the preferences.
void storePreference(const std::string& value, const std::string& key) {
  CRVUtil::setObjectForKey(PreferenceValue(value), key);
}

}  // namespace

UIDeviceAdditionalInfo& UIDeviceAdditionalInfo::sharedInstance() {
  // Created once and never destroyed; the identifier exists from the first use.
  static UIDeviceAdditionalInfo* instance = [] {
    auto* made = new UIDeviceAdditionalInfo();
    made->installIdentifier();
    return made;
  }();
  return *instance;
}

std::string UIDeviceAdditionalInfo::installIdentifier() {
  std::lock_guard<std::mutex> lock(installMutex_);
  if (installIdentifier_) return *installIdentifier_;
  std::string identifier = CRVUtil::getStringForKey(kKeyLorrowAppID);
  if (identifier.empty()) {
    identifier = newUUIDString();
    storePreference(identifier, kKeyLorrowAppID);
  }
  installIdentifier_ = identifier;
  CRVLog("CorvanaSDK-Current UUID is : " + identifier + " ");
  return identifier;
}

std::string UIDeviceAdditionalInfo::uniqueGlobalDeviceIdentifier() {
  std::lock_guard<std::mutex> lock(uniqueMutex_);
  if (uniqueIdentifier_) return *uniqueIdentifier_;
  const std::string key = std::string(kKeyLorrowAppID) + mainBundleIdentifier();

  std::string identifier = CRVUtil::getStringForKey(key);
  if (identifier.empty()) {
    if (auto recovered = UICKeyChainStore::stringForKeyService(key); recovered && !recovered->empty()) {
      // A reinstalled application finds its old identifier in the secure store.
      identifier = *recovered;
      storePreference(identifier, key);
    } else {
      // Without the secure-store copy the identifier does not survive a reinstall; the preferences still serve.
      identifier = newUUIDString();
      storePreference(identifier, key);
      UICKeyChainStore::setStringForKeyService(identifier, key);
    }
  }
  uniqueIdentifier_ = identifier;
  return identifier;
}

}  // namespace corvana
