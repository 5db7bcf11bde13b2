#include "DemoScreen.h"

#include "corvana/render.h"
#include "corvana/view_controller.h"

namespace demo {

namespace {

std::shared_ptr<corvana::View> findIn(const std::shared_ptr<corvana::View>& view,
                                      const std::function<bool(const corvana::View&)>& match) {
  if (!view || view->isHidden()) return nullptr;
  if (match(*view)) return view;
  for (const auto& child : view->subviews()) {
    if (auto found = findIn(child, match)) return found;
  }
  return nullptr;
}

constexpr int64_t kCloseButtonTag = 1001;

}  // namespace

DemoScreen::DemoScreen(Answer answer, std::function<void(const std::string&)> said)
    : answer_(std::move(answer)), said_(std::move(said)), window_(std::make_shared<corvana::Window>()) {
  window_->setRootViewController(std::make_shared<corvana::ViewController>());
}

void DemoScreen::presentAlert(corvana::AlertRequest alert) {
  std::string text = alert.title;
  if (!alert.message.empty()) text.append(": ").append(alert.message);
  said_(text);
  auto [button, fields] = answer_(alert);
  // The user answers a moment later, as the next task of the main queue.
  corvana::Platform::current().mainQueue->async([alert = std::move(alert), button, fields] {
    if (alert.onButton) alert.onButton(button, fields);
  });
}

std::shared_ptr<corvana::View> DemoScreen::presentedView() const {
  const auto root = window_->rootViewController();
  const auto presented = root ? root->presentedViewController() : nullptr;
  return presented ? presented->view() : nullptr;
}

std::shared_ptr<corvana::View> DemoScreen::findButton(const std::string& title) const {
  return findIn(presentedView(), [&](const corvana::View& view) {
    if (title.empty()) return view.tag() == kCloseButtonTag;
    const auto* button = dynamic_cast<const corvana::Button*>(&view);
    return button && button->title() == title;
  });
}

std::shared_ptr<corvana::View> DemoScreen::tap(const corvana::View& view) {
  const corvana::Rect bounds = view.bounds();
  const corvana::Point middle = view.convertPointToView({bounds.midX(), bounds.midY()}, nullptr);
  return window_->tapAt(middle);
}

bool DemoScreen::renderTo(const std::string& pngFile, double scale) {
  return corvana::renderWindow(*window_, scale).writePng(pngFile);
}

}  // namespace demo
