#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/dispatch.h"
#include "corvana/platform.h"
#include "corvana/value.h"

namespace corvana {

class CRVSecuritySignature;

// An object that the settings store can archive: it names its class and encodes its fields as a map.
class Archivable {
 public:
  virtual ~Archivable() = default;
  virtual std::string archiveClassName() const = 0;
  virtual Value encodeWithCoder() const = 0;
};

// Settings, device facts and small helpers shared by every subsystem.
class CRVUtil {
 public:
  static CRVUtil& sharedInstance();

  // ---- Settings store (the preferences service) -------------------------------------------------------------
  static std::string getStringForKey(const std::string& key);
  static int64_t getIntForkey(const std::string& key);
  static bool getBoolForKey(const std::string& key);
  // Stores the value and flushes; a null value is skipped (it never removes the key).
  static void setObjectForKey(const Value& value, const std::string& key);
  static void setObjectForKey(const PreferenceValue& value, const std::string& key);
  // Archives the object (keyed archive naming its class) and stores the bytes; a null object is skipped.
  static void setDataObjectForKey(const Archivable* object, const std::string& key);
  static void setDataObjectForKey(const std::string& object, const std::string& key);
  static void setIntForKey(int64_t value, const std::string& key);
  static void setBoolForKey(bool value, const std::string& key);
  // Unarchives the stored bytes allowing only a string as the root object; anything else reads back empty.
  static std::optional<std::string> getDataObjectForKey(const std::string& key);

  static bool isObjectNull(const Value& object);
  static bool hasValueInDictionary(const std::string& key, const Value& dictionary);
  static bool hasValueInDictionaryLog(const std::string& key, const Value& dictionary,
                                      const std::optional<std::string>& campaignId);
  static std::string getDeviceName();
  // The stored signature record when it reads back and is valid. The store reads back only strings, so an
  // archived record never does: secure-mode reports wait for a signature that cannot be read.
  static std::shared_ptr<CRVSecuritySignature> getSecureSignature();

  // ---- Device and environment --------------------------------------------------------------------------------
  static Value deviceState();
  static std::string deviceType();
  static Value networkInfo();
  static std::string deviceModelName();
  static bool isStringEmpty(const Value& object);
  static bool isStringEmpty(const std::optional<std::string>& text);
  static bool isStringEmpty(const std::string& text) { return text.empty(); }
  static bool isStringEmpty(const char* text) { return text == nullptr || *text == '\0'; }
  static std::string getLocal();
  // An entry of the host app's main-bundle information ("CFBundleShortVersionString", "CFBundleIdentifier"...);
  // null when absent.
  static Value mainBundleInfoValue(const std::string& key);
  static std::string getTimeZone();
  // The device's system version compared with `version`, runs of digits by their numeric value ("10.0" is
  // above "8", "9.3" below "10"): negative, zero or positive.
  static int compareSystemVersion(const std::string& version);
  // The same comparison of two texts.
  static int compareNumerically(const std::string& a, const std::string& b);

  bool isValidEmail(const std::optional<std::string>& text) const;
  std::string getCurrentTimeStamp() const;
  std::optional<Date> getUTCDateTime(const std::string& text) const;
  // The URL text, prefixed with "http://" when it holds no "://"; empty when it is not a parsable URL.
  std::optional<std::string> getFormatedUrl(const std::string& text) const;
  void openUrl(const std::optional<std::string>& url) const;
  // Path of "CRVResources.bundle" inside the host's main bundle, when it exists.
  std::optional<std::string> getBundel() const;
  // Path of the "CRVInApp" storyboard data file inside the resource bundle, when both exist.
  std::optional<std::string> getStoryboard() const;
  std::string formatString(const std::string& text) const;

 private:
  CRVUtil() = default;
};

// Runs the task at once on the main thread; from any other thread, runs it on the main queue and waits.
void runOnMainQueueWithoutDeadlocking(const Task& task);

}  // namespace corvana
