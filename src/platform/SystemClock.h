#pragma once

#include "corvana/platform.h"

namespace corvana {

// The wall clock of the system.
class SystemClock : public Clock {
 public:
  Date now() override;
};

}  // namespace corvana
