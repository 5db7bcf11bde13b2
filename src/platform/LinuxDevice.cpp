#include "platform/LinuxDevice.h"

#include <limits.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <memory>
#include <sstream>

#include <unicode/bytestream.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "platform/PosixFiles.h"

namespace corvana {

namespace {

std::string icuLocaleName() { return icu::Locale::getDefault().getName(); }

std::string icuLanguageTag() {
  std::string tag;
  icu::StringByteSink<std::string> sink(&tag);
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::getDefault().toLanguageTag(sink, status);
  return U_SUCCESS(status) ? tag : std::string();
}

std::string icuTimeZone() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
  if (!zone) return "GMT";
  icu::UnicodeString id;
  zone->getID(id);
  std::string name;
  id.toUTF8String(name);
  return name;
}

std::string hostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) != 0) return "localhost";
  return name;
}

}  // namespace

std::string LinuxDevice::versionIdFromOsRelease(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind("VERSION_ID=", 0) != 0) continue;
    std::string value = line.substr(11);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    return value;
  }
  return "";
}

LinuxDevice::LinuxDevice(const LinuxPlatformOptions& options)
    : model_(options.deviceModel.empty() ? "Linux" : options.deviceModel),
      machine_(options.deviceMachine),
      systemVersion_(options.systemVersion),
      localeIdentifier_(options.localeIdentifier),
      preferredLanguages_(options.preferredLanguages),
      timeZoneName_(options.timeZoneName),
      name_(options.deviceName),
      carrierNames_(options.carrierNames) {
  struct utsname system {};
  bool haveUname = ::uname(&system) == 0;
  if (machine_.empty()) machine_ = haveUname ? system.machine : "unknown";
  if (systemVersion_.empty()) {
    if (auto text = posix::readFile("/etc/os-release")) systemVersion_ = versionIdFromOsRelease(*text);
    if (systemVersion_.empty() && haveUname) systemVersion_ = system.release;
  }
  if (localeIdentifier_.empty()) localeIdentifier_ = icuLocaleName();
  if (preferredLanguages_.empty()) {
    std::string tag = icuLanguageTag();
    if (!tag.empty()) preferredLanguages_.push_back(tag);
  }
  if (timeZoneName_.empty()) timeZoneName_ = icuTimeZone();
  if (name_.empty()) name_ = hostName();
}

}  // namespace corvana
