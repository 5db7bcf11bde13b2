#include "platform/InstalledBundle.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace corvana {

namespace {

constexpr const char* kBundleName = "CRVResources.bundle";

// The file holding this function's code: the shared library, or the program for the static one. dladdr names
// the program by the path it was started with, which may be relative to a folder since left: the kernel's link is
// exact.
std::filesystem::path loadedFrom() {
  Dl_info info{};
  std::error_code error;
  if (::dladdr(reinterpret_cast<void*>(&installedBundleFolder), &info) != 0 && info.dli_fname &&
      info.dli_fname[0] == '/') {
    const std::filesystem::path found = std::filesystem::canonical(info.dli_fname, error);
    if (!error) return found;
  }
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

}  // namespace

std::string installedBundleFolder() {
  const std::filesystem::path file = loadedFrom();
  if (!file.empty()) {
    const std::filesystem::path beside = file.parent_path().parent_path() / "share" / "corvana";
    std::error_code error;
    if (std::filesystem::is_directory(beside / kBundleName, error)) return beside.string();
  }
  return CORVANA_RESOURCE_DIR;
}

}  // namespace corvana
