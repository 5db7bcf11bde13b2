// The device half of CRVUtil: the device-state record, device facts, and the small text, time, URL and resource
// helpers shared by the facade and the in-app parts.

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string_view>

#include "util/CRVUtil.h"
#include "util/DateFormatter.h"
#include "util/Log.h"
#include "util/SettingsKeys.h"
#include "util/UrlSyntax.h"

namespace corvana {

namespace {

struct ModelName {
  const char* identifier;
  const char* name;
};

// Kernel machine identifiers and their display names. The spacing inside the names is irregular on purpose:
// the names are reported as they have always been.
constexpr ModelName kModelNames[] = {
    {"i386", "iPhone Simulator"},
    {"x86_64", "iPad Simulator"},
    {"iPhone1,1", "iPhone"},
    {"iPhone1,2", "iPhone 3G"},
    {"iPhone2,1", "iPhone 3GS"},
    {"iPhone3,1", "iPhone 4"},
    {"iPhone3,2", "iPhone 4(Rev A)"},
    {"iPhone3,3", "iPhone 4(CDMA)"},
    {"iPhone4,1", "iPhone 4S"},
    {"iPhone5,1", "iPhone 5(GSM)"},
    {"iPhone5,2", "iPhone 5(GSM+CDMA)"},
    {"iPhone5,3", "iPhone 5c(GSM)"},
    {"iPhone5,4", "iPhone 5c(GSM+CDMA)"},
    {"iPhone6,1", "iPhone 5s(GSM)"},
    {"iPhone6,2", "iPhone 5s(GSM+CDMA)"},
    {"iPhone7,1", "iPhone 6+ (GSM+CDMA)"},
    {"iPhone7,2", "iPhone 6 (GSM+CDMA)"},
    {"iPad1,1", "iPad"},
    {"iPad2,1", "iPad 2(WiFi)"},
    {"iPad2,2", "iPad 2(GSM)"},
    {"iPad2,3", "iPad 2(CDMA)"},
    {"iPad2,4", "iPad 2(WiFi Rev A)"},
    {"iPad2,5", "iPad Mini 1G (WiFi)"},
    {"iPad2,6", "iPad Mini 1G (GSM)"},
    {"iPad2,7", "iPad Mini 1G (GSM+CDMA)"},
    {"iPad3,1", "iPad 3(WiFi)"},
    {"iPad3,2", "iPad 3(GSM+CDMA)"},
    {"iPad3,3", "iPad 3(GSM)"},
    {"iPad3,4", "iPad 4(WiFi)"},
    {"iPad3,5", "iPad 4(GSM)"},
    {"iPad3,6", "iPad 4(GSM+CDMA)"},
    {"iPad4,1", "iPad Air(WiFi)"},
    {"iPad4,2", "iPad Air(GSM)"},
    {"iPad4,3", "iPad Air(GSM+CDMA)"},
    {"iPad4,4", "iPad Mini 2G (WiFi)"},
    {"iPad4,5", "iPad Mini 2G (GSM)"},
    {"iPad4,6", "iPad Mini 2G (GSM+CDMA)"},
    {"iPod1,1", "iPod 1st Gen"},
    {"iPod2,1", "iPod 2nd Gen"},
    {"iPod3,1", "iPod 3rd Gen"},
    {"iPod4,1", "iPod 4th Gen"},
    {"iPod5,1", "iPod 5th Gen"},
};

// E-mail addresses: the lax expression is the one in use; the strict one is kept for a strict mode that is
// switched off.
constexpr bool kStrictEmailFilter = false;
constexpr const char* kStrictEmailExpression = "[A-Z0-9a-z\\._%+-]+@([A-Za-z0-9-]+\\.)+[A-Za-z]{2,4}";
constexpr const char* kLaxEmailExpression = ".+@([A-Za-z0-9-]+\\.)+[A-Za-z]{2}[A-Za-z]*";

constexpr const char* kResourceBundleName = "CRVResources.bundle";
constexpr const char* kStoryboardFileName = "CRVInApp.storyboard.json";

std::shared_ptr<Device> device() { return Platform::current().device; }

std::string firstPreferredLanguage() {
  auto facts = device();
  if (!facts) return "";
  const auto languages = facts->preferredLanguages();
  return languages.empty() ? "" : languages.front();
}

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

CRVUtil& CRVUtil::sharedInstance() {
  static CRVUtil instance;
  return instance;
}

// ---- Device and environment ----------------------------------------------------------------------------------

Value CRVUtil::deviceState() {
  auto facts = device();
  const std::string model = facts ? facts->model() : "";

  Value screen = Value::object();
  screen["screen-size"] = model;
  screen["device_type"] = deviceType();
  Value hardware = Value::object();
  hardware["screen"] = std::move(screen);

  Value software = Value::object();
  software["sdk"] = facts ? facts->systemVersion() : "";
  software["locale"] = facts ? facts->localeIdentifier() : "";
  software["language"] = firstPreferredLanguage();

  Value state = Value::object();
  state["model"] = model;
  state["manufacturer"] = "Apple";
  state["network_info"] = networkInfo();
  state["hardware"] = std::move(hardware);
  state["software"] = std::move(software);
  state["new_install"] = getBoolForKey(kKeyNewUser);
  return state;
}

std::string CRVUtil::deviceType() {
  auto facts = device();
  const std::string model = facts ? facts->model() : "";
  for (const char* kind : {"iPod", "iPhone", "iPad"}) {
    if (startsWith(model, kind)) return kind;
  }
  return "unknown";
}

Value CRVUtil::networkInfo() {
  Value info = Value::object();
  auto facts = device();
  if (!facts) return info;
  for (const auto& carrier : facts->carrierNames()) {
    info["network_operator"] = carrier ? *carrier : "No network";
  }
  return info;
}

std::string CRVUtil::deviceModelName() {
  auto facts = device();
  const std::string machine = facts ? facts->machine() : "";
  for (const auto& entry : kModelNames) {
    if (machine == entry.identifier) return entry.name;
  }
  return machine;
}

bool CRVUtil::isStringEmpty(const Value& object) {
  return isObjectNull(object) || (object.is_string() && object.get_ref<const std::string&>().empty());
}

bool CRVUtil::isStringEmpty(const std::optional<std::string>& text) { return !text || text->empty(); }

std::string CRVUtil::getLocal() { return firstPreferredLanguage(); }

std::string CRVUtil::getTimeZone() {
  auto facts = device();
  return facts ? facts->timeZoneName() : "";
}

// ---- Helpers --------------------------------------------------------------------------------------------------

bool CRVUtil::isValidEmail(const std::optional<std::string>& text) const {
  if (!text) return false;
  static const std::unique_ptr<icu::RegexPattern> pattern = [] {
    UErrorCode status = U_ZERO_ERROR;
    const char* expression = kStrictEmailFilter ? kStrictEmailExpression : kLaxEmailExpression;
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(expression), 0, status));
    return U_SUCCESS(status) ? std::move(compiled) : nullptr;
  }();
  if (!pattern) return false;
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString input = icu::UnicodeString::fromUTF8(*text);
  std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
  if (U_FAILURE(status) || !matcher) return false;
  const bool matched = matcher->matches(status);
  return U_SUCCESS(status) && matched;
}

std::string CRVUtil::getCurrentTimeStamp() const {
  auto clock = Platform::current().clock;
  const double seconds =
      clock ? clock->now().secondsSince1970
            : std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  std::string stamp = strfmt("%f", seconds * 1000.0);
  CRVLogf("The Timestamp is = %s", stamp.c_str());
  return stamp;
}

std::optional<Date> CRVUtil::getUTCDateTime(const std::string& text) const {
  // Despite the name, the device's own time zone and locale read the date.
  const DateFormatter formatter("yyyy-MM-dd");
  return formatter.dateFromString(text);
}

std::optional<std::string> CRVUtil::getFormatedUrl(const std::string& text) const {
  std::string url = text.find("://") == std::string::npos ? "http://" + text : text;
  if (!isValidUrlSyntax(url)) return std::nullopt;
  return url;
}

void CRVUtil::openUrl(const std::optional<std::string>& url) const {
  if (!url) return;
  auto queue = Platform::current().mainQueue;
  if (!queue) return;
  queue->async([target = *url] {
    auto application = Platform::current().application;
    if (application) application->openURL(target, Value::object(), nullptr);
  });
}

int CRVUtil::compareSystemVersion(const std::string& version) {
  auto facts = device();
  return compareNumerically(facts ? facts->systemVersion() : "", version);
}

int CRVUtil::compareNumerically(const std::string& a, const std::string& b) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (isDigit(a[i]) && isDigit(b[j])) {
      size_t endA = i, endB = j;
      while (endA < a.size() && isDigit(a[endA])) ++endA;
      while (endB < b.size() && isDigit(b[endB])) ++endB;
      // Leading zeros carry no value; then the longer run is the larger number, else the first differing digit.
      while (i + 1 < endA && a[i] == '0') ++i;
      while (j + 1 < endB && b[j] == '0') ++j;
      if (endA - i != endB - j) return endA - i < endB - j ? -1 : 1;
      if (const int order = a.compare(i, endA - i, b, j, endB - j)) return order < 0 ? -1 : 1;
      i = endA, j = endB;
    } else {
      if (a[i] != b[j]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]) ? -1 : 1;
      ++i, ++j;
    }
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return 0;
}

std::optional<std::string> CRVUtil::getBundel() const {
  auto application = Platform::current().application;
  if (!application) return std::nullopt;
  const std::filesystem::path bundle = std::filesystem::path(application->bundlePath()) / kResourceBundleName;
  std::error_code ignored;
  if (!std::filesystem::is_directory(bundle, ignored)) return std::nullopt;
  return bundle.string();
}

std::optional<std::string> CRVUtil::getStoryboard() const {
  const auto bundle = getBundel();
  if (!bundle) {
    CRVLog("CorvanaSDK-CRVResources.bundle not found !");
    return std::nullopt;
  }
  const std::filesystem::path storyboard = std::filesystem::path(*bundle) / kStoryboardFileName;
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(storyboard, ignored)) {
    CRVLog("CorvanaSDK-CRVInApp Storyboard not found !");
    return std::nullopt;
  }
  return storyboard.string();
}

std::string CRVUtil::formatString(const std::string& text) const {
  // The order matters: a quote after a slash is doubled twice and ends up as four quotes.
  std::string formatted = text;
  replaceAll(formatted, "/'", "/''");
  replaceAll(formatted, "'", "''");
  replaceAll(formatted, "\n", " ");
  return formatted;
}

void runOnMainQueueWithoutDeadlocking(const Task& task) {
  auto queue = Platform::current().mainQueue;
  if (!queue || queue->isMainThread()) {
    task();
  } else {
    queue->sync(task);
  }
}

Value CRVUtil::mainBundleInfoValue(const std::string& key) {
  auto& application = Platform::current().application;
  if (!application) return nullptr;
  const Value info = application->infoDictionary();
  const auto found = info.is_object() ? info.find(key) : info.end();
  return found != info.end() ? *found : Value();
}

}  // namespace corvana
