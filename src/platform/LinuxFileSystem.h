#pragma once

#include <string>

#include "corvana/platform.h"

namespace corvana {

// The app's folders under its data folder: "<data>/Documents" and "<data>/Library/Caches", made private (0700)
// when first asked for.
class LinuxFileSystem : public FileSystem {
 public:
  explicit LinuxFileSystem(std::string dataDirectory);

  std::string documentsDirectory() override;
  std::string cachesDirectory() override;

 private:
  const std::string documents_;
  const std::string caches_;
};

}  // namespace corvana
