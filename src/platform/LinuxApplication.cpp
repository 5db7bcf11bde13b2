#include "platform/LinuxApplication.h"

#include <utility>

#include "platform/InstalledBundle.h"

namespace corvana {

LinuxApplication::LinuxApplication(std::string appVersion, std::string bundleIdentifier, std::string bundlePath)
    : appVersion_(std::move(appVersion)),
      bundleIdentifier_(std::move(bundleIdentifier)),
      bundlePath_(bundlePath.empty() ? installedBundleFolder() : std::move(bundlePath)) {}

Value LinuxApplication::infoDictionary() {
  // The display name is the last label of the bundle identifier ("io.corvana.host" -> "host").
  size_t dot = bundleIdentifier_.find_last_of('.');
  std::string name = dot == std::string::npos ? bundleIdentifier_ : bundleIdentifier_.substr(dot + 1);
  Value info = Value::object();
  info["CFBundleShortVersionString"] = appVersion_;
  info["CFBundleIdentifier"] = bundleIdentifier_;
  info["CFBundleName"] = name;
  return info;
}

std::string LinuxApplication::bundlePath() { return bundlePath_; }

void LinuxApplication::addObserver(const std::string& notificationName, std::function<void()> handler) {
  if (!handler) return;
  std::lock_guard<std::mutex> lock(mutex_);
  observers_[notificationName].push_back(std::move(handler));
}

void LinuxApplication::postNotification(const std::string& notificationName) {
  std::vector<std::function<void()>> observers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = observers_.find(notificationName);
    if (found == observers_.end()) return;
    observers = found->second;
  }
  // Outside the lock: an observer may register observers or post notifications itself.
  for (const auto& observer : observers) observer();
}

BackgroundTaskIdentifier LinuxApplication::beginBackgroundTask(std::function<void()> expirationHandler) {
  std::lock_guard<std::mutex> lock(mutex_);
  BackgroundTaskIdentifier identifier = ++lastBackgroundTask_;
  backgroundTasks_.emplace(identifier, BackgroundTask{std::move(expirationHandler), false});
  return identifier;
}

void LinuxApplication::endBackgroundTask(BackgroundTaskIdentifier identifier) {
  std::lock_guard<std::mutex> lock(mutex_);
  backgroundTasks_.erase(identifier);
}

size_t LinuxApplication::expireBackgroundTasks() {
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [identifier, task] : backgroundTasks_) {
      if (task.expired) continue;
      task.expired = true;
      if (task.expirationHandler) handlers.push_back(std::move(task.expirationHandler));
    }
  }
  // Outside the lock: a handler normally ends its own task.
  for (const auto& handler : handlers) handler();
  return handlers.size();
}

std::vector<BackgroundTaskIdentifier> LinuxApplication::runningBackgroundTasks() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<BackgroundTaskIdentifier> running;
  for (const auto& entry : backgroundTasks_) running.push_back(entry.first);
  return running;
}

void LinuxApplication::openURL(const std::string& url, const Value&, std::function<void(bool)> completion) {
  std::function<bool(const std::string&)> handler;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    openedURLs_.push_back(url);
    handler = openURLHandler_;
  }
  bool opened = handler ? handler(url) : false;
  if (completion) completion(opened);
}

void LinuxApplication::setOpenURLHandler(std::function<bool(const std::string&)> handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  openURLHandler_ = std::move(handler);
}

std::vector<std::string> LinuxApplication::openedURLs() {
  std::lock_guard<std::mutex> lock(mutex_);
  return openedURLs_;
}

}  // namespace corvana
