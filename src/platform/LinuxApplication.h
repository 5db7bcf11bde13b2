#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "corvana/platform.h"

namespace corvana {

// The application as a Linux host describes it. Lifecycle notifications are posted by the host; background tasks
// never expire by themselves: the host (or a test) calls `expireBackgroundTasks` when its time is up.
class LinuxApplication : public Application {
 public:
  LinuxApplication(std::string appVersion, std::string bundleIdentifier, std::string bundlePath);

  Value infoDictionary() override;
  std::string bundlePath() override;

  void addObserver(const std::string& notificationName, std::function<void()> handler) override;
  void postNotification(const std::string& notificationName) override;

  BackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(BackgroundTaskIdentifier identifier) override;
  // Runs, on the calling thread, the expiration handler of every background task begun and not yet ended whose
  // handler has not run yet. The tasks stay running until their owner ends them. Answers how many handlers ran.
  size_t expireBackgroundTasks();
  // The identifiers of the tasks begun and not yet ended, in the order they began.
  std::vector<BackgroundTaskIdentifier> runningBackgroundTasks();

  // Records the URL and asks the handler set by the host to open it; completes with the handler's answer, or
  // false when there is no handler. Runs on the caller's thread.
  void openURL(const std::string& url, const Value& options, std::function<void(bool)> completion) override;
  void setOpenURLHandler(std::function<bool(const std::string&)> handler);
  std::vector<std::string> openedURLs();

  // A Linux host ships no string tables: every text stands for itself.
  std::string localizedString(const std::string& key) override { return key; }

 private:
  struct BackgroundTask {
    std::function<void()> expirationHandler;
    bool expired = false;
  };

  const std::string appVersion_;
  const std::string bundleIdentifier_;
  const std::string bundlePath_;

  std::mutex mutex_;
  std::map<std::string, std::vector<std::function<void()>>> observers_;
  std::map<BackgroundTaskIdentifier, BackgroundTask> backgroundTasks_;
  BackgroundTaskIdentifier lastBackgroundTask_ = UIBackgroundTaskInvalid;
  std::function<bool(const std::string&)> openURLHandler_;
  std::vector<std::string> openedURLs_;
};

}  // namespace corvana
