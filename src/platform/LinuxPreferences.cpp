#include "platform/LinuxPreferences.h"
#include "util/Base64.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <utility>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "platform/PosixFiles.h"

namespace corvana {

namespace {

using Json = nlohmann::json;


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

bool LinuxPreferences::writeLocked() {
  lastWriteFailed_ = !posix::writeFileAtomically(path_, encode(values_), 0600);
  return !lastWriteFailed_;
}

std::optional<PreferenceValue> LinuxPreferences::objectForKey(const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void LinuxPreferences::setObjectForKey(const PreferenceValue& value, const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  values_.insert_or_assign(key, value);
  writeLocked();
}

void LinuxPreferences::removeObjectForKey(const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (values_.erase(key) == 0 && !lastWriteFailed_) return;
  writeLocked();
}

bool LinuxPreferences::synchronize() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (lastWriteFailed_ && !writeLocked()) return false;
  if (::access(path_.c_str(), F_OK) != 0) {
    // Nothing was ever stored, so there is nothing to make durable; a file removed behind our back is rewritten.
    if (values_.empty()) return true;
    if (!writeLocked()) return false;
  }
  return posix::syncFile(path_);
}

}  // namespace corvana
