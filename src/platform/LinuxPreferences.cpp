#include "platform/LinuxPreferences.h"
#include "util/Base64.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "platform/PosixFiles.h"

namespace corvana {

namespace {

using Json = nlohmann::json;

// How long the writer lets a burst of changes run on before it writes them all at once: settings tend to change
// several at a time, and a file rewritten per change costs a whole encode and rename each.
constexpr auto kWriteBehindDelay = std::chrono::milliseconds(30);

// The stores alive, for the flush at exit: the installed platform's store is never destroyed, and a process that
// ends normally must still keep the changes it made in its last moments.
struct LiveStores {
  std::mutex mutex;
  std::set<LinuxPreferences*> stores;
};

LiveStores& liveStores() {
  static LiveStores* live = new LiveStores();  // never destroyed: stores come and go until the very end of exit
  return *live;
}

// Releases a held lock for a scope, so that the file is written without blocking readers and setters.
class ScopedUnlock {
 public:
  explicit ScopedUnlock(std::unique_lock<std::mutex>& lock) : lock_(lock) { lock_.unlock(); }
  ~ScopedUnlock() { lock_.lock(); }
  ScopedUnlock(const ScopedUnlock&) = delete;
  ScopedUnlock& operator=(const ScopedUnlock&) = delete;

 private:
  std::unique_lock<std::mutex>& lock_;
};

struct FileOutcome {
  bool wrote = false;
  bool synced = false;
};

// Writes the snapshot when there is one, then syncs when asked. Nothing escapes: the caller has marked the file
// busy and must get to clear the mark, so a failure to encode (out of memory) counts as a failed write.
FileOutcome writeOut(const std::string& path, const std::map<std::string, PreferenceValue>* snapshot,
                     bool durable) noexcept {
  FileOutcome outcome;
  try {
    outcome.wrote = !snapshot || posix::writeFileAtomically(path, LinuxPreferences::encode(*snapshot), 0600);
    outcome.synced = outcome.wrote && durable && posix::syncFile(path);
  } catch (...) {
  }
  return outcome;
}


// JSON has no infinities or NaN; those few doubles are written as text.
Json encodeDouble(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return value;
}

double decodeDouble(const Json& value) {
  if (value.is_number()) return value.get<double>();
  const std::string& text = value.get_ref<const std::string&>();
  if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
  if (text == "inf") return std::numeric_limits<double>::infinity();
  if (text == "-inf") return -std::numeric_limits<double>::infinity();
  throw std::invalid_argument("not a number");
}

Json tagged(const PreferenceValue& value) {
  struct Visitor {
    Json operator()(const std::string& v) const { return {{"type", "string"}, {"value", v}}; }
    Json operator()(int64_t v) const { return {{"type", "integer"}, {"value", v}}; }
    Json operator()(double v) const { return {{"type", "real"}, {"value", encodeDouble(v)}}; }
    Json operator()(bool v) const { return {{"type", "bool"}, {"value", v}}; }
    Json operator()(const Date& v) const { return {{"type", "date"}, {"value", encodeDouble(v.secondsSince1970)}}; }
    Json operator()(const Data& v) const { return {{"type", "data"}, {"value", base64Encode(v)}}; }
  };
  return std::visit(Visitor{}, value);
}

// Throws when the entry is not a well-formed tagged value.
PreferenceValue untagged(const Json& entry) {
  const std::string& type = entry.at("type").get_ref<const std::string&>();
  const Json& value = entry.at("value");
  if (type == "string") return value.get<std::string>();
  if (type == "integer") {
    if (!value.is_number_integer()) throw std::invalid_argument("not an integer");
    return value.get<int64_t>();
  }
  if (type == "real") return decodeDouble(value);
  if (type == "bool") return value.get<bool>();
  if (type == "date") return Date{decodeDouble(value)};
  if (type == "data") {
    auto bytes = base64Decode(value.get<std::string>());
    if (!bytes) throw std::invalid_argument("bad base64");
    return std::move(*bytes);
  }
  throw std::invalid_argument("unknown type");
}

}  // namespace

std::string LinuxPreferences::encode(const std::map<std::string, PreferenceValue>& values) {
  Json file = Json::object();
  for (const auto& [key, value] : values) file[key] = tagged(value);
  return file.dump(2) + "\n";
}

std::optional<std::map<std::string, PreferenceValue>> LinuxPreferences::decode(const std::string& text) {
  Json file = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!file.is_object()) return std::nullopt;
  std::map<std::string, PreferenceValue> values;
  try {
    for (const auto& [key, entry] : file.items()) values.emplace(key, untagged(entry));
  } catch (const std::exception&) {
    return std::nullopt;
  }
  return values;
}

LinuxPreferences::LinuxPreferences(std::string path, std::shared_ptr<LogSink> log)
    : path_(std::move(path)), log_(std::move(log)) {
  posix::makeDirectories(posix::parentDirectory(path_), 0700);
  load();
  // Registered before the first store is complete, so the flush at exit runs after the destructors of stores with
  // static storage (they leave the set themselves) and finds only the stores nobody destroys.
  static std::once_flag registered;
  std::call_once(registered, [] { std::atexit(&LinuxPreferences::closeLiveStores); });
  LiveStores& live = liveStores();
  std::lock_guard<std::mutex> lock(live.mutex);
  live.stores.insert(this);
}

LinuxPreferences::~LinuxPreferences() {
  {
    // Waits for an exit flush that may be closing this store right now.
    LiveStores& live = liveStores();
    std::lock_guard<std::mutex> lock(live.mutex);
    live.stores.erase(this);
  }
  close();
}

void LinuxPreferences::closeLiveStores() {
  LiveStores& live = liveStores();
  std::lock_guard<std::mutex> lock(live.mutex);
  for (LinuxPreferences* store : live.stores) store->close();
}

void LinuxPreferences::close() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
  closing_.notify_all();
  // Only the exit flush and then the destructor get here, never at once (the set's mutex orders them), and no
  // change starts a writer once the store is closed: `writer_` is nobody else's now.
  if (writer_.joinable()) writer_.join();
  synchronize();
}

void LinuxPreferences::load() {
  bool exists = false;
  auto text = posix::readFile(path_, &exists);
  if (!exists) return;
  if (text) {
    if (auto values = decode(*text)) {
      values_ = std::move(*values);
      return;
    }
  }
  if (log_) log_->write("CorvanaSDK-Preferences file unreadable, starting empty: " + path_);
  std::rename(path_.c_str(), (path_ + ".corrupt").c_str());
}

void LinuxPreferences::changedLocked(std::unique_lock<std::mutex>& lock) {
  ++version_;
  if (!closed_ && !writer_.joinable()) {
    try {
      writer_ = std::thread([this] { writeBehind(); });
    } catch (const std::system_error&) {
      // No thread to write behind (the process is out of threads): the change is written now, as it comes.
    }
  }
  if (closed_ || !writer_.joinable()) {
    flushLocked(lock, /*durable=*/false);
    return;
  }
  changed_.notify_one();
}

void LinuxPreferences::writeBehind() {
  std::unique_lock<std::mutex> lock(mutex_);
  uint64_t handled = written_;
  for (;;) {
    changed_.wait(lock, [&] { return closed_ || version_ > handled; });
    if (closed_) return;  // close() writes what is left, and syncs it
    closing_.wait_for(lock, kWriteBehindDelay, [&] { return closed_; });
    if (closed_) return;
    // A failed write is not tried again until the next change or synchronize, rather than in a loop.
    handled = version_;
    flushLocked(lock, /*durable=*/false);
  }
}

bool LinuxPreferences::flushLocked(std::unique_lock<std::mutex>& lock, bool durable) {
  const uint64_t wanted = version_;
  // One thread at a time works on the file, so a write never replaces a newer one; and the one before may well
  // have done all this caller needs.
  idle_.wait(lock, [&] { return !busy_; });
  if (durable && ::access(path_.c_str(), F_OK) != 0) {
    // Nothing stored means nothing to make durable; a file removed behind the store's back is written again.
    if (values_.empty()) return true;
    written_ = synced_ = 0;
  }
  if ((durable ? synced_ : written_) >= wanted) return true;

  // The latest values, not just the wanted ones: they cost the same one write.
  std::optional<std::map<std::string, PreferenceValue>> snapshot;
  if (written_ < version_) snapshot = values_;
  const uint64_t fileVersion = snapshot ? version_ : written_;
  busy_ = true;
  FileOutcome outcome;
  {
    ScopedUnlock unlocked(lock);
    outcome = writeOut(path_, snapshot ? &*snapshot : nullptr, durable);
  }
  busy_ = false;
  idle_.notify_all();
  if (outcome.wrote) written_ = fileVersion;
  if (outcome.synced) synced_ = fileVersion;
  return durable ? outcome.synced : outcome.wrote;
}

std::optional<PreferenceValue> LinuxPreferences::objectForKey(const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void LinuxPreferences::setObjectForKey(const PreferenceValue& value, const std::string& key) {
  std::unique_lock<std::mutex> lock(mutex_);
  values_.insert_or_assign(key, value);
  changedLocked(lock);
}

void LinuxPreferences::removeObjectForKey(const std::string& key) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (values_.erase(key) == 0) return;
  changedLocked(lock);
}

bool LinuxPreferences::synchronize() {
  std::unique_lock<std::mutex> lock(mutex_);
  return flushLocked(lock, /*durable=*/true);
}

}  // namespace corvana
