#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "corvana/platform.h"

namespace corvana {

// Preferences kept in one JSON file, each value tagged with its type:
//   {"key": {"type": "string" | "integer" | "real" | "bool" | "date" | "data", "value": ...}, ...}
// Dates are seconds since 1970, data is base64. The file is read once at construction; a file that cannot be read
// is moved aside to "<path>.corrupt".
//
// Reads and changes work on the values in memory. A change is written behind: a thread of the store's own replaces
// the file atomically a moment later, once for a burst of changes, without waiting for the disk. `synchronize`
// writes whatever the file lacks and waits for the disk; the destructor does the same. A process that ends
// normally keeps every change, even from a store that is never destroyed; a killed one loses at most the changes
// of its last moments that were never synchronized.
class LinuxPreferences : public Preferences {
 public:
  // `log` receives the line about an unreadable file; it may be empty.
  LinuxPreferences(std::string path, std::shared_ptr<LogSink> log);
  ~LinuxPreferences() override;
  LinuxPreferences(const LinuxPreferences&) = delete;
  LinuxPreferences& operator=(const LinuxPreferences&) = delete;

  std::optional<PreferenceValue> objectForKey(const std::string& key) override;
  void setObjectForKey(const PreferenceValue& value, const std::string& key) override;
  void removeObjectForKey(const std::string& key) override;
  bool synchronize() override;

  const std::string& path() const { return path_; }

  // The tagged JSON text of a set of values, and back (nothing when the text is not such a file).
  static std::string encode(const std::map<std::string, PreferenceValue>& values);
  static std::optional<std::map<std::string, PreferenceValue>> decode(const std::string& text);

 private:
  // Stops the writer and makes every change durable; later changes are written on the caller's thread. Run by
  // the destructor, and at exit for the stores still alive then.
  void close();
  static void closeLiveStores();

  void load();
  void changedLocked(std::unique_lock<std::mutex>& lock);
  bool flushLocked(std::unique_lock<std::mutex>& lock, bool durable);
  void writeBehind();

  const std::string path_;
  std::shared_ptr<LogSink> log_;

  std::mutex mutex_;
  std::map<std::string, PreferenceValue> values_;
  // Every change takes the next version; `written_` is the version the file holds, `synced_` the one known to be
  // on the disk (0 when the file went missing). Version 1 is what the file held at construction. The versions let
  // a synchronize skip the write the writer already did, and the sync another thread already did.
  uint64_t version_ = 1;
  uint64_t written_ = 1;
  uint64_t synced_ = 1;
  bool busy_ = false;    // a thread is writing or syncing the file, with the mutex released
  bool closed_ = false;  // the writer is stopped or stopping; changes are written by their callers
  std::condition_variable changed_;  // to the writer: a change to write, or close
  std::condition_variable closing_;  // to the writer: close, ending its wait for the burst to end
  std::condition_variable idle_;     // `busy_` went false
  std::thread writer_;  // started by the first change
};

}  // namespace corvana
