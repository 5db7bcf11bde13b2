#pragma once

// The services the SDK takes from the operating system. A host installs one `Platform` before the first use of
// the SDK (`Platform::install`); without one, the Linux defaults are used. Each service is a small interface so
// that a host on another system, or a test, replaces only what it needs.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "corvana/dispatch.h"
#include "corvana/export.h"
#include "corvana/value.h"

namespace corvana {

// ---------------------------------------------------------------------------------------------------------------
// Preferences: the per-application store of small typed values.

// One stored value: a string, an integer, a floating number, a boolean, a date or raw bytes.
using PreferenceValue = std::variant<std::string, int64_t, double, bool, Date, Data>;

class CORVANA_EXPORT Preferences {
 public:
  virtual ~Preferences() = default;
  virtual std::optional<PreferenceValue> objectForKey(const std::string& key) = 0;
  virtual void setObjectForKey(const PreferenceValue& value, const std::string& key) = 0;
  virtual void removeObjectForKey(const std::string& key) = 0;
  // Makes every change so far durable; answers false when the store could not be written.
  virtual bool synchronize() = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Clock and log.

class CORVANA_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() = 0;
};

// Receives every line the SDK writes to the platform log, one complete message per call, from any thread.
class CORVANA_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const std::string& line) = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Files.

class CORVANA_EXPORT FileSystem {
 public:
  virtual ~FileSystem() = default;
  // The app's documents folder (the database lives here) and caches folder; both exist when answered.
  virtual std::string documentsDirectory() = 0;
  virtual std::string cachesDirectory() = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Application: bundle facts, lifecycle notifications, background tasks, opening URLs.

inline constexpr const char* UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr const char* UIApplicationDidEnterBackgroundNotification = "UIApplicationDidEnterBackgroundNotification";
// Launch-options key under which a remote notification that launched the app is found.
inline constexpr const char* UIApplicationLaunchOptionsRemoteNotificationKey = "UIApplicationLaunchOptionsRemoteNotificationKey";

using BackgroundTaskIdentifier = uint64_t;
inline constexpr BackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

class CORVANA_EXPORT Application {
 public:
  virtual ~Application() = default;

  // The main bundle's information: at least "CFBundleShortVersionString" and "CFBundleIdentifier".
  virtual Value infoDictionary() = 0;
  // Folder of the main bundle; the SDK's resource bundle "CRVResources.bundle" is looked up inside it.
  virtual std::string bundlePath() = 0;

  // Lifecycle notifications: observers run on the thread that posts.
  virtual void addObserver(const std::string& notificationName, std::function<void()> handler) = 0;
  virtual void postNotification(const std::string& notificationName) = 0;

  virtual BackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) = 0;
  virtual void endBackgroundTask(BackgroundTaskIdentifier identifier) = 0;

  // Asks the system to open a URL (a web page, another app). Called on the main thread.
  virtual void openURL(const std::string& url, const Value& options, std::function<void(bool)> completion) = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Device facts.

class CORVANA_EXPORT Device {
 public:
  virtual ~Device() = default;
  virtual std::string model() = 0;          // generic model name ("iPhone", "iPad", ...)
  virtual std::string machine() = 0;        // kernel machine identifier ("iPhone7,2", "x86_64", ...)
  virtual std::string systemVersion() = 0;  // operating-system version
  virtual std::string localeIdentifier() = 0;
  virtual std::vector<std::string> preferredLanguages() = 0;
  virtual std::string timeZoneName() = 0;
  virtual std::string name() = 0;           // the user-visible device name
  // One entry per cellular provider (SIM); an empty optional is a provider without a carrier name.
  virtual std::vector<std::optional<std::string>> carrierNames() = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// The Linux defaults.

struct CORVANA_EXPORT LinuxPlatformOptions {
  // Folder of the app's data: preferences, documents, caches. Empty: ~/.local/share/corvana/<bundle identifier>.
  std::string dataDirectory;
  std::string appVersion = "1.0";
  std::string bundleIdentifier = "io.corvana.host";
  // Folder holding "CRVResources.bundle". Empty: the folder the SDK was installed with.
  std::string bundlePath;
  // Domain of the service; the account identifier becomes its left-most label. May carry a port.
  std::string serviceDomain = "corvana.io";

  // Device facts; an empty value is read from the system.
  std::string deviceModel;
  std::string deviceMachine;
  std::string deviceName;
  std::string systemVersion;
  std::string localeIdentifier;
  std::vector<std::string> preferredLanguages;
  std::string timeZoneName;
  std::vector<std::optional<std::string>> carrierNames;

  // Log lines go to standard error unless a sink is given.
  std::shared_ptr<LogSink> logSink;
};

// ---------------------------------------------------------------------------------------------------------------

class CORVANA_EXPORT Platform {
 public:
  std::shared_ptr<Preferences> preferences;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<LogSink> log;
  std::shared_ptr<FileSystem> files;
  std::shared_ptr<Application> application;
  std::shared_ptr<Device> device;
  std::shared_ptr<MainQueue> mainQueue;
  std::shared_ptr<ConcurrentQueue> globalQueue;
  std::string serviceDomain = "corvana.io";

  // A platform made of the Linux defaults for these options.
  static std::shared_ptr<Platform> makeLinuxDefault(const LinuxPlatformOptions& options = {});

  // Installs the platform for the process. Install before the first use of the SDK: objects already created
  // keep the services they took. A platform once installed is never destroyed, so references stay valid.
  static void install(std::shared_ptr<Platform> platform);
  // The installed platform; installs the Linux defaults on first use when the host installed none.
  static Platform& current();
};

}  // namespace corvana
