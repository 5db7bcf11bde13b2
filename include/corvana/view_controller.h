#pragma once

// The screens of the app as the SDK sees them: a view controller owns a view (made on first use), can present
// one other controller modally and dismiss it again, and may hold child controllers. The key window's root
// controller (UserInterface) is where the SDK presents its in-app campaigns. Used on the main thread only.

#include <cstdint>
#include <memory>
#include <vector>

#include "corvana/export.h"
#include "corvana/view.h"

namespace corvana {

// Modal presentation styles, numbered as the platform numbers them.
inline constexpr int32_t kModalPresentationFullScreen = 0;
inline constexpr int32_t kModalPresentationCurrentContext = 3;
inline constexpr int32_t kModalPresentationCustom = 4;

class CORVANA_EXPORT ViewController : public std::enable_shared_from_this<ViewController> {
 public:
  ViewController() = default;
  virtual ~ViewController() = default;
  ViewController(const ViewController&) = delete;
  ViewController& operator=(const ViewController&) = delete;

  // The controller's view, loaded on first use (loadView, then viewDidLoad).
  std::shared_ptr<View> view();
  bool isViewLoaded() const { return view_ != nullptr; }
  void setView(std::shared_ptr<View> view) { view_ = std::move(view); }

  int32_t modalPresentationStyle() const { return modalPresentationStyle_; }
  void setModalPresentationStyle(int32_t style) { modalPresentationStyle_ = style; }

  // Presents `controller` over this one; it stays, held by this controller, until dismissed. A controller that
  // already presents one presents nothing more (the platform refuses a second presentation).
  virtual void presentViewController(const std::shared_ptr<ViewController>& controller, bool animated);
  // Dismisses the controller this one presents; when it presents none, asks its presenter (or its parent's) to
  // dismiss it. Nothing happens when neither exists.
  virtual void dismissViewControllerAnimated(bool animated);

  std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
  std::shared_ptr<ViewController> presentingViewController() const;
  std::shared_ptr<ViewController> parentViewController() const { return parent_.lock(); }
  const std::vector<std::shared_ptr<ViewController>>& childViewControllers() const { return children_; }
  void addChildViewController(const std::shared_ptr<ViewController>& child);
  virtual void didMoveToParentViewController(const std::shared_ptr<ViewController>& /*parent*/) {}
  // Whether the last presentation or dismissal that reached this controller was animated.
  bool lastTransitionAnimated() const { return lastTransitionAnimated_; }

 protected:
  // Makes the view: a plain, screen-sized view unless a subclass makes another.
  virtual void loadView();
  virtual void viewDidLoad() {}
  // Called on the presented controller as it comes on screen (will, then did), and once it has left it.
  virtual void viewWillAppear(bool /*animated*/) {}
  virtual void viewDidAppear(bool /*animated*/) {}
  virtual void viewDidDisappear(bool /*animated*/) {}

 private:
  std::shared_ptr<View> view_;
  int32_t modalPresentationStyle_ = kModalPresentationFullScreen;
  std::shared_ptr<ViewController> presented_;
  std::weak_ptr<ViewController> presenting_;
  std::weak_ptr<ViewController> parent_;
  std::vector<std::shared_ptr<ViewController>> children_;
  bool lastTransitionAnimated_ = false;
};

}  // namespace corvana
