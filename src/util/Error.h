#pragma once

#include <string>

namespace corvana {

// A failure reported as a value: the platform's error object with its domain, code and localized description.
struct Error {
  std::string domain;
  int code = 0;
  std::string localizedDescription;
};

}  // namespace corvana
