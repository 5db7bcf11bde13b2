#include "platform/StderrLogSink.h"

#include <cstdio>

namespace corvana {

void StderrLogSink::write(const std::string& line) {
  std::string whole = line;
  whole += '\n';
  std::lock_guard<std::mutex> lock(mutex_);
  std::fwrite(whole.data(), 1, whole.size(), stderr);
  std::fflush(stderr);
}

}  // namespace corvana
