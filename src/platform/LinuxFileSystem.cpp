#include "platform/LinuxFileSystem.h"

#include "platform/PosixFiles.h"

namespace corvana {

LinuxFileSystem::LinuxFileSystem(std::string dataDirectory)
    : documents_(dataDirectory + "/Documents"), caches_(dataDirectory + "/Library/Caches") {}

std::string LinuxFileSystem::documentsDirectory() {
  posix::makeDirectories(documents_, 0700);
  return documents_;
}

std::string LinuxFileSystem::cachesDirectory() {
  posix::makeDirectories(caches_, 0700);
  return caches_;
}

}  // namespace corvana
