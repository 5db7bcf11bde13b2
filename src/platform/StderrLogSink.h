#pragma once

#include <mutex>
#include <string>

#include "corvana/platform.h"

namespace corvana {

// Writes each message to standard error as one whole line; lines from different threads never interleave.
class StderrLogSink : public LogSink {
 public:
  void write(const std::string& line) override;

 private:
  std::mutex mutex_;
};

}  // namespace corvana
