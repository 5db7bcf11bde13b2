#pragma once

#include <optional>
#include <string>
#include <vector>

#include "corvana/platform.h"

namespace corvana {

// Device facts of a Linux machine. Each fact the options give is used as it is; the others are read once, at
// construction: model "Linux", machine and release from uname(2), system version from /etc/os-release, locale,
// languages and time zone from ICU, name from the host name. A Linux machine has no SIM, so no carriers.
class LinuxDevice : public Device {
 public:
  explicit LinuxDevice(const LinuxPlatformOptions& options);

  std::string model() override { return model_; }
  std::string machine() override { return machine_; }
  std::string systemVersion() override { return systemVersion_; }
  std::string localeIdentifier() override { return localeIdentifier_; }
  std::vector<std::string> preferredLanguages() override { return preferredLanguages_; }
  std::string timeZoneName() override { return timeZoneName_; }
  std::string name() override { return name_; }
  std::vector<std::optional<std::string>> carrierNames() override { return carrierNames_; }

  // VERSION_ID of an os-release file's text (quotes removed), or "" when it has none.
  static std::string versionIdFromOsRelease(const std::string& text);

 private:
  std::string model_;
  std::string machine_;
  std::string systemVersion_;
  std::string localeIdentifier_;
  std::vector<std::string> preferredLanguages_;
  std::string timeZoneName_;
  std::string name_;
  std::vector<std::optional<std::string>> carrierNames_;
};

}  // namespace corvana
