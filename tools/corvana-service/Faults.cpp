#include "corvana-service/Faults.h"

#include <stdexcept>

namespace corvana::service {
namespace {

template <typename T>
T member(const Json& json, const char* key, bool (Json::*is)() const noexcept, T fallback) {
  if (!json.contains(key)) return fallback;
  if (!(json[key].*is)()) throw std::invalid_argument(std::string("fault member \"") + key + "\" has the wrong type");
  return json[key].get<T>();
}

}  // namespace

Fault Fault::fromJson(const Json& json) {
  if (!json.is_object()) throw std::invalid_argument("a fault is a JSON object");
  Fault fault;
  fault.status = member<int>(json, "status", &Json::is_number_integer, 0);
  fault.delayMs = member<int>(json, "delay_ms", &Json::is_number_integer, 0);
  fault.brokenBody = member<bool>(json, "broken_body", &Json::is_boolean, false);
  fault.close = member<bool>(json, "close", &Json::is_boolean, false);
  fault.cutBody = member<bool>(json, "cut_body", &Json::is_boolean, false);
  fault.padBytes = member<int64_t>(json, "pad_bytes", &Json::is_number_integer, 0);
  fault.paths = member<std::string>(json, "paths", &Json::is_string, "");
  if (json.contains("body")) fault.body = member<std::string>(json, "body", &Json::is_string, "");
  fault.times = member<int>(json, "times", &Json::is_number_integer, 0);
  if (fault.status != 0 && (fault.status < 100 || fault.status > 599)) {
    throw std::invalid_argument("fault \"status\" must be an HTTP status");
  }
  if (fault.delayMs < 0 || fault.times < 0 || fault.padBytes < 0) throw std::invalid_argument("fault counts cannot be negative");
  try {
    std::regex check(fault.paths);
  } catch (const std::regex_error& e) {
    throw std::invalid_argument(std::string("fault \"paths\" is not a regular expression: ") + e.what());
  }
  return fault;
}

Json Fault::toJson() const {
  Json json = {{"status", status}, {"delay_ms", delayMs}, {"broken_body", brokenBody}, {"close", close},
               {"cut_body", cutBody}, {"pad_bytes", padBytes}, {"paths", paths},   {"times", times}};
  if (body) json["body"] = *body;
  return json;
}

void Faults::set(const Fault& fault) {
  std::lock_guard<std::mutex> lock(mutex_);
  fault_ = fault;
  paths_ = std::regex(fault.paths);
  remaining_ = fault.times;
}

void Faults::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  fault_.reset();
}

std::optional<Fault> Faults::take(const std::string& path) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!fault_ || !std::regex_search(path, paths_)) return std::nullopt;
  Fault fault = *fault_;
  if (fault.times > 0 && --remaining_ == 0) fault_.reset();
  return fault;
}

}  // namespace corvana::service
