#pragma once

#include <mutex>
#include <optional>
#include <string>

namespace corvana {

// The two random identifiers the SDK presents to the service, as upper-case canonical UUID strings:
// - the install identifier, kept in the preferences, so a reinstalled application gets a new one;
// - the unique global device identifier, kept in the preferences and copied into the secure store (default
//   service), so a reinstalled application recovers it.
// Each is loaded or made once per process and then answered from memory; any thread may ask.
class UIDeviceAdditionalInfo {
 public:
  // Made once; making it loads (or makes) the install identifier.
  static UIDeviceAdditionalInfo& sharedInstance();

  // Logs "CorvanaSDK-Current UUID is : <identifier> " when it loads or makes the identifier.
  std::string installIdentifier();
  std::string uniqueGlobalDeviceIdentifier();

  UIDeviceAdditionalInfo(const UIDeviceAdditionalInfo&) = delete;
  UIDeviceAdditionalInfo& operator=(const UIDeviceAdditionalInfo&) = delete;

 private:
  UIDeviceAdditionalInfo() = default;

  // Each guards its identifier for the whole load-or-make, so concurrent first callers agree on one value.
  std::mutex installMutex_;
  std::optional<std::string> installIdentifier_;
  std::mutex uniqueMutex_;
  std::optional<std::string> uniqueIdentifier_;
};

}  // namespace corvana
