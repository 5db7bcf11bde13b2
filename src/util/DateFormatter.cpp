#include "util/DateFormatter.h"

#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "corvana/platform.h"

namespace corvana {

struct DateFormatter::Impl {
  std::unique_ptr<icu::SimpleDateFormat> format;
};

namespace {

icu::Locale localeFor(const std::string& identifier) {
  std::string name = identifier;
  if (name.empty()) {
    auto& device = Platform::current().device;
    if (device) name = device->localeIdentifier();
  }
  return name.empty() ? icu::Locale::getDefault() : icu::Locale(name.c_str());
}

icu::TimeZone* timeZoneFor(const std::string& name) {
  std::string zone = name;
  if (zone.empty()) {
    auto& device = Platform::current().device;
    if (device) zone = device->timeZoneName();
  }
  if (zone.empty()) return icu::TimeZone::createDefault();
  return icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone));
}

}  // namespace

DateFormatter::DateFormatter(const std::string& pattern, const std::string& localeIdentifier,
                             const std::string& timeZoneName)
    : impl_(std::make_unique<Impl>()) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                        localeFor(localeIdentifier), status);
  if (U_FAILURE(status)) return;  // an unusable pattern: the formatter answers "" and no date
  format->adoptTimeZone(timeZoneFor(timeZoneName));
  format->setLenient(false);
  impl_->format = std::move(format);
}

DateFormatter::~DateFormatter() = default;

std::string DateFormatter::stringFromDate(const Date& date) const {
  if (!impl_->format) return "";
  icu::UnicodeString text;
  impl_->format->format(static_cast<UDate>(date.secondsSince1970 * 1000.0), text);
  std::string result;
  text.toUTF8String(result);
  return result;
}

std::optional<Date> DateFormatter::dateFromString(const std::string& text) const {
  if (!impl_->format) return std::nullopt;
  const icu::UnicodeString input = icu::UnicodeString::fromUTF8(text);
  icu::ParsePosition position(0);
  const UDate parsed = impl_->format->parse(input, position);
  // The whole text must be a date: a parse that stops early (trailing text) is no date.
  if (position.getErrorIndex() >= 0 || position.getIndex() != input.length()) return std::nullopt;
  return Date{parsed / 1000.0};
}

}  // namespace corvana
