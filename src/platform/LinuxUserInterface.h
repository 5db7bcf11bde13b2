#pragma once

#include <mutex>
#include <vector>

#include "corvana/platform.h"

namespace corvana {

// The Linux user interface: alerts are kept as presented, for the host (or a test) to read and answer; the key
// window (375 x 667 points) starts with a plain root view controller, which the host may replace or remove.
class LinuxUserInterface : public UserInterface {
 public:
  void presentAlert(AlertRequest alert) override;
  LinuxUserInterface();
  std::shared_ptr<Window> keyWindow() override;
  void setKeyWindowRootViewController(std::shared_ptr<ViewController> controller);

  // The alerts presented and not yet answered, oldest first.
  std::vector<AlertRequest> presentedAlerts();
  // Answers the oldest presented alert: runs its handler with the button and the fields' texts (its initial
  // texts when none are given) and removes it. Answers false when no alert is presented or the button is unknown.
  bool tapButton(const std::string& buttonTitle, std::vector<std::string> fieldTexts = {});

 private:
  std::mutex mutex_;
  std::vector<AlertRequest> alerts_;
  std::shared_ptr<Window> window_;
};

}  // namespace corvana
