#include "platform/SystemClock.h"

#include <chrono>

namespace corvana {

Date SystemClock::now() {
  std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Date{sinceEpoch.count()};
}

}  // namespace corvana
