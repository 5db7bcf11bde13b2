#include "corvana/platform.h"

#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/CurlHttpClient.h"
#include "platform/LinuxApplication.h"
#include "platform/LinuxDevice.h"
#include "platform/LinuxFileSystem.h"
#include "platform/LinuxPreferences.h"
#include "platform/LinuxSecureStore.h"
#include "platform/LinuxUserInterface.h"
#include "platform/StderrLogSink.h"
#include "platform/SystemClock.h"

namespace corvana {

namespace {

constexpr size_t kGlobalQueueThreads = 4;

std::string homeDirectory() {
  long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  struct passwd entry {};
  struct passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
      found->pw_dir[0] != '\0') {
    return found->pw_dir;
  }
  return "/tmp";
}

// Every platform ever installed stays here, so that a reference taken from `current` never dangles.
struct Installed {
  std::mutex mutex;
  std::vector<std::shared_ptr<Platform>> all;
  std::atomic<Platform*> current{nullptr};
};

Installed& installed() {
  static Installed* registry = new Installed();  // never destroyed: threads may still use it at exit
  return *registry;
}

}  // namespace

std::shared_ptr<Platform> Platform::makeLinuxDefault(const LinuxPlatformOptions& options) {
  std::string dataDirectory = options.dataDirectory;
  if (dataDirectory.empty()) {
    dataDirectory = homeDirectory() + "/.local/share/corvana/" + options.bundleIdentifier;
  }

  auto platform = std::make_shared<Platform>();
  platform->serviceDomain = options.serviceDomain;
  platform->log = options.logSink ? options.logSink : std::make_shared<StderrLogSink>();
  platform->clock = std::make_shared<SystemClock>();
  platform->preferences = std::make_shared<LinuxPreferences>(
      dataDirectory + "/Library/Preferences/" + options.bundleIdentifier + ".plist.json", platform->log);
  platform->secureStore =
      std::make_shared<LinuxSecureStore>(dataDirectory + "/Library/Keychains/secure-store.json", platform->log);
  platform->files = std::make_shared<LinuxFileSystem>(dataDirectory);
  platform->application =
      std::make_shared<LinuxApplication>(options.appVersion, options.bundleIdentifier, options.bundlePath);
  platform->device = std::make_shared<LinuxDevice>(options);
  platform->ui = std::make_shared<LinuxUserInterface>();
  platform->http = std::make_shared<CurlHttpClient>(options.caFile, options.resolve);
  platform->mainQueue = std::make_shared<MainQueue>();
  platform->globalQueue = std::make_shared<ConcurrentQueue>(kGlobalQueueThreads);
  return platform;
}

void Platform::install(std::shared_ptr<Platform> platform) {
  if (!platform) return;
  Installed& registry = installed();
  std::lock_guard<std::mutex> lock(registry.mutex);
  registry.all.push_back(platform);
  registry.current.store(platform.get(), std::memory_order_release);
}

Platform& Platform::current() {
  Installed& registry = installed();
  if (Platform* platform = registry.current.load(std::memory_order_acquire)) return *platform;
  std::lock_guard<std::mutex> lock(registry.mutex);
  if (Platform* platform = registry.current.load(std::memory_order_acquire)) return *platform;
  // Made under the lock so that racing first users share one default; making it must not use `current`.
  auto platform = makeLinuxDefault();
  registry.all.push_back(platform);
  registry.current.store(platform.get(), std::memory_order_release);
  return *platform;
}

}  // namespace corvana
