#include "platform/LinuxUserInterface.h"

#include <algorithm>

namespace corvana {

void LinuxUserInterface::presentAlert(AlertRequest alert) {
  std::lock_guard<std::mutex> lock(mutex_);
  alerts_.push_back(std::move(alert));
}

LinuxUserInterface::LinuxUserInterface() : window_(std::make_shared<Window>()) {
  window_->setRootViewController(std::make_shared<ViewController>());
}

std::shared_ptr<Window> LinuxUserInterface::keyWindow() {
  std::lock_guard<std::mutex> lock(mutex_);
  return window_;
}

void LinuxUserInterface::setKeyWindowRootViewController(std::shared_ptr<ViewController> controller) {
  keyWindow()->setRootViewController(std::move(controller));
}

std::vector<AlertRequest> LinuxUserInterface::presentedAlerts() {
  std::lock_guard<std::mutex> lock(mutex_);
  return alerts_;
}

bool LinuxUserInterface::tapButton(const std::string& buttonTitle, std::vector<std::string> fieldTexts) {
  AlertRequest alert;
  size_t button = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (alerts_.empty()) return false;
    const auto& buttons = alerts_.front().buttons;
    const auto found = std::find(buttons.begin(), buttons.end(), buttonTitle);
    if (found == buttons.end()) return false;
    button = static_cast<size_t>(found - buttons.begin());
    alert = std::move(alerts_.front());
    alerts_.erase(alerts_.begin());
  }
  if (fieldTexts.empty()) fieldTexts = alert.textFields;
  // Outside the lock: the handler may present the next alert.
  if (alert.onButton) alert.onButton(button, fieldTexts);
  return true;
}

}  // namespace corvana
