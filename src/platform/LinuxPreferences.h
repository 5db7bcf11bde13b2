#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "corvana/platform.h"

namespace corvana {

// Preferences kept in one JSON file, each value tagged with its type:
//   {"key": {"type": "string" | "integer" | "real" | "bool" | "date" | "data", "value": ...}, ...}
// Dates are seconds since 1970, data is base64. The file is read once at construction and rewritten as a whole,
// atomically, after every change; a file that cannot be read is moved aside to "<path>.corrupt".
class LinuxPreferences : public Preferences {
 public:
  // `log` receives the line about an unreadable file; it may be empty.
  LinuxPreferences(std::string path, std::shared_ptr<LogSink> log);

  std::optional<PreferenceValue> objectForKey(const std::string& key) override;
  void setObjectForKey(const PreferenceValue& value, const std::string& key) override;
  void removeObjectForKey(const std::string& key) override;
  bool synchronize() override;

  const std::string& path() const { return path_; }

  // The tagged JSON text of a set of values, and back (nothing when the text is not such a file).
  static std::string encode(const std::map<std::string, PreferenceValue>& values);
  static std::optional<std::map<std::string, PreferenceValue>> decode(const std::string& text);

 private:
  void load();
  bool writeLocked();

  const std::string path_;
  std::shared_ptr<LogSink> log_;
  std::mutex mutex_;
  std::map<std::string, PreferenceValue> values_;
  bool lastWriteFailed_ = false;
};

}  // namespace corvana
