#pragma once

// The demo's screen: a key window whose alerts are answered as a user would answer them, and helpers to find,
// draw and tap what a campaign put on screen.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "corvana/platform.h"
#include "corvana/view.h"

namespace demo {

class DemoScreen : public corvana::UserInterface {
 public:
  // `answer` picks the button (and the field texts) for each alert; `said` hears what the alert said.
  using Answer = std::function<std::pair<size_t, std::vector<std::string>>(const corvana::AlertRequest&)>;
  DemoScreen(Answer answer, std::function<void(const std::string&)> said);

  void presentAlert(corvana::AlertRequest alert) override;
  std::shared_ptr<corvana::Window> keyWindow() override { return window_; }

  // The view tree of the campaign on screen; none when nothing is presented.
  std::shared_ptr<corvana::View> presentedView() const;
  // The first button of the presented campaign whose title is `title`; with an empty title, its close button.
  std::shared_ptr<corvana::View> findButton(const std::string& title) const;
  // Taps the middle of the view, through the window's hit testing; answers the view that took the tap.
  std::shared_ptr<corvana::View> tap(const corvana::View& view);
  bool renderTo(const std::string& pngFile, double scale);

 private:
  Answer answer_;
  std::function<void(const std::string&)> said_;
  std::shared_ptr<corvana::Window> window_;
};

}  // namespace demo
