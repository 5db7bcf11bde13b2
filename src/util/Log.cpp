#include "util/Log.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "corvana/platform.h"

namespace corvana {

namespace {

std::string vformat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  char small[256];
  int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return {};
  if (static_cast<size_t>(needed) < sizeof small) return std::string(small, static_cast<size_t>(needed));
  std::vector<char> large(static_cast<size_t>(needed) + 1);
  std::vsnprintf(large.data(), large.size(), format, args);
  return std::string(large.data(), static_cast<size_t>(needed));
}

}  // namespace

std::string strfmt(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  return text;
}

void CRVLog(const std::string& line) {
  auto& sink = Platform::current().log;
  if (sink) sink->write(line);
}

void CRVLogf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  CRVLog(text);
}

void CRVTrace(const char* method, int line, const std::string& message) {
  CRVLog(strfmt("CorvanaFramework-%s [Line %d] ", method, line) + message);
}

}  // namespace corvana
