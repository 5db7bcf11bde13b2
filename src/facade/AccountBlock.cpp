#include "corvana/Corvana.hpp"
#include "corvana/platform.h"
#include "util/CRVUtil.h"
#include "util/DateFormatter.h"
#include "util/SettingsKeys.h"

namespace corvana {

namespace {

constexpr double kBlockDurationSeconds = 86400.0;
constexpr const char* kBlockTimePattern = "MMM dd, yyyy 'at' hh:mm a";
// Month names and the day-half marker depend on the locale: one fixed locale writes and reads the text.
constexpr const char* kBlockTimeLocale = "en_US_POSIX";

}  // namespace

void Corvana::saveBlockedDuration() {
  DateFormatter formatter(kBlockTimePattern, kBlockTimeLocale, "UTC");
  CRVUtil::setObjectForKey(Value(formatter.stringFromDate(Platform::current().clock->now())), kKeyAppBlockUntil);
}

bool Corvana::checkblockedDuration() {
  DateFormatter formatter(kBlockTimePattern, kBlockTimeLocale, "UTC");
  const std::optional<Date> blockedAt = formatter.dateFromString(CRVUtil::getStringForKey(kKeyAppBlockUntil));
  // A missing or unreadable time counts from the reference date, so the block has lapsed.
  const Date since = blockedAt.value_or(Date{kReferenceDateSecondsSince1970});
  return Platform::current().clock->now().timeIntervalSinceDate(since) >= kBlockDurationSeconds;
}

}  // namespace corvana
