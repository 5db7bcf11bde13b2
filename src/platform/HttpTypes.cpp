#include <strings.h>

#include "corvana/platform.h"

namespace corvana {

namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

std::optional<std::string> findHeader(const Headers& headers, const std::string& field) {
  for (const auto& [name, value] : headers) {
    if (::strcasecmp(name.c_str(), field.c_str()) == 0) return value;
  }
  return std::nullopt;
}

}  // namespace

void HttpRequest::setValueForHTTPHeaderField(const std::string& value, const std::string& field) {
  for (auto& [name, existing] : headers) {
    if (::strcasecmp(name.c_str(), field.c_str()) == 0) {
      existing = value;
      return;
    }
  }
  headers.emplace_back(field, value);
}

std::optional<std::string> HttpRequest::valueForHTTPHeaderField(const std::string& field) const {
  return findHeader(headers, field);
}

std::optional<std::string> HttpResponse::valueForHTTPHeaderField(const std::string& field) const {
  return findHeader(headers, field);
}

}  // namespace corvana
