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
#include "corvana/error.h"
#include "corvana/export.h"
#include "corvana/value.h"
#include "corvana/view_controller.h"

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

  // The host app's translation of a text from its main bundle's default table; the text itself when there is none.
  virtual std::string localizedString(const std::string& key) = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Secure store: generic-password items addressed by attribute maps, with the keychain's statuses.

using SecStatus = int32_t;
inline constexpr SecStatus errSecSuccess = 0;
inline constexpr SecStatus errSecParam = -50;
inline constexpr SecStatus errSecDuplicateItem = -25299;
inline constexpr SecStatus errSecItemNotFound = -25300;

// Keys and values of the attribute maps. Item data is a binary `Value` (Value::binary).
inline constexpr const char* kSecClass = "class";
inline constexpr const char* kSecClassGenericPassword = "genp";
inline constexpr const char* kSecAttrService = "svce";
inline constexpr const char* kSecAttrAccount = "acct";
inline constexpr const char* kSecAttrGeneric = "gena";
inline constexpr const char* kSecAttrAccessGroup = "agrp";
inline constexpr const char* kSecAttrAccessible = "pdmn";
inline constexpr const char* kSecAttrAccessibleAfterFirstUnlock = "ck";
inline constexpr const char* kSecValueData = "v_Data";
inline constexpr const char* kSecReturnData = "r_Data";
inline constexpr const char* kSecReturnAttributes = "r_Attributes";
inline constexpr const char* kSecMatchLimit = "m_Limit";
inline constexpr const char* kSecMatchLimitOne = "m_LimitOne";
inline constexpr const char* kSecMatchLimitAll = "m_LimitAll";

class CORVANA_EXPORT SecureStore {
 public:
  virtual ~SecureStore() = default;
  // Looks items up. With one match and only data asked for, `result` is the data; with attributes asked for, a
  // map of attributes (and data under kSecValueData when asked for too); with all matches, an array of those.
  virtual SecStatus copyMatching(const Value& query, Value* result) = 0;
  virtual SecStatus add(const Value& attributes) = 0;
  // Changes, in every item the query matches, the attributes given in `attributesToUpdate`.
  virtual SecStatus update(const Value& query, const Value& attributesToUpdate) = 0;
  virtual SecStatus deleteItems(const Value& query) = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// HTTP: asynchronous data tasks and a blocking fetch.

struct CORVANA_EXPORT HttpRequest {
  std::string url;
  std::string method = "GET";
  std::vector<std::pair<std::string, std::string>> headers;  // in the order they were set
  Data body;
  double timeoutSeconds = 60.0;
  bool reloadIgnoringLocalCacheData = false;

  // Sets a header, replacing one of the same name (names compare without case).
  void setValueForHTTPHeaderField(const std::string& value, const std::string& field);
  std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const;
};

struct CORVANA_EXPORT HttpResponse {
  int statusCode = 0;
  std::vector<std::pair<std::string, std::string>> headers;  // as received
  std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const;
};

// Called once per task, never on the main thread: the body (absent when none arrived), the response (absent when
// the server never answered) and the error (absent on success).
using HttpCompletion = std::function<void(const std::optional<Data>& body, const std::optional<HttpResponse>& response,
                                          const std::optional<Error>& error)>;

class CORVANA_EXPORT HttpClient {
 public:
  virtual ~HttpClient() = default;
  virtual void dataTask(const HttpRequest& request, HttpCompletion completion) = 0;
  // Downloads a resource and waits for it, following redirects; empty on any failure.
  virtual std::optional<Data> fetch(const std::string& url) = 0;
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
// User interface: alerts the SDK shows to the user (test-device registration, deep-link errors), and the key
// window's root view controller, over which in-app campaigns are presented.

struct CORVANA_EXPORT AlertRequest {
  std::string title;
  std::string message;
  std::vector<std::string> buttons;     // titles, in order
  std::vector<std::string> textFields;  // the initial text of each field
  // Called on the main thread with the index of the tapped button and the fields' texts at that moment.
  std::function<void(size_t button, const std::vector<std::string>& fieldTexts)> onButton;
};

class CORVANA_EXPORT UserInterface {
 public:
  virtual ~UserInterface() = default;
  // Shows the alert over the key window's root view controller. Called on the main thread.
  virtual void presentAlert(AlertRequest alert) = 0;
  // The key window; none while the app has none. Called on the main thread.
  virtual std::shared_ptr<Window> keyWindow() = 0;
  // The key window's root view controller; none without a window or a root controller.
  std::shared_ptr<ViewController> keyWindowRootViewController() {
    const auto window = keyWindow();
    return window ? window->rootViewController() : nullptr;
  }
};

// ---------------------------------------------------------------------------------------------------------------
// The Linux defaults.

struct CORVANA_EXPORT LinuxPlatformOptions {
  // Folder of the app's data: preferences, documents, caches. Empty: ~/.local/share/corvana/<bundle identifier>.
  std::string dataDirectory;
  std::string appVersion = "1.0";
  std::string bundleIdentifier = "io.corvana.host";
  // Folder holding "CRVResources.bundle". Empty: "share/corvana" of the prefix the SDK is installed in, found from
  // the library's own place at run time (beside the program, for the static library).
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

  // TLS: certificates are always verified; a CA file replaces the system's trust store when given.
  std::string caFile;
  // Host-to-address overrides, each "HOST:PORT:ADDRESS" (so acme.corvana.test:8443 can reach 127.0.0.1).
  std::vector<std::string> resolve;
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
  std::shared_ptr<SecureStore> secureStore;
  std::shared_ptr<HttpClient> http;
  std::shared_ptr<UserInterface> ui;
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
