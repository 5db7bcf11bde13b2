#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"

namespace corvana {

// A date formatter with a fixed pattern, locale and time zone, backed by ICU (the same pattern language and the
// same strict parsing as the platform's formatter). Empty locale or time zone: the device's (from the platform).
// Not thread-safe: callers that share one formatter serialise its use.
class DateFormatter {
 public:
  DateFormatter(const std::string& pattern, const std::string& localeIdentifier = "",
                const std::string& timeZoneName = "");
  ~DateFormatter();
  DateFormatter(const DateFormatter&) = delete;
  DateFormatter& operator=(const DateFormatter&) = delete;

  std::string stringFromDate(const Date& date) const;
  std::optional<Date> dateFromString(const std::string& text) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace corvana
