#pragma once

// The SDK's "CRVInApp" storyboard: the two host scenes ("CRVInAppViewControllerPop", "CRVInAppViewControllerFull")
// and the six layout scenes ("CRVIALayout1" .. "CRVIALayout6"), each made into its controller with its views.

#include <memory>
#include <string>

#include "corvana/view_controller.h"
#include "platform/view/Storyboard.h"

namespace corvana {

// A controller whose view comes from a storyboard scene, made on first use of `view()`.
class CRVStoryboardController : public ViewController {
 public:
  CRVStoryboardController(Storyboard storyboard, std::string identifier)
      : storyboard_(std::move(storyboard)), identifier_(std::move(identifier)) {}
  const std::string& storyboardIdentifier() const { return identifier_; }
  const Storyboard& storyboard() const { return storyboard_; }
  // The scene's named views and constraints (empty until the view is loaded).
  const StoryboardViews& sceneViews() const { return views_; }

 protected:
  void loadView() override;

 private:
  Storyboard storyboard_;
  std::string identifier_;
  StoryboardViews views_;
};

// The "CRVInApp" storyboard of the resource bundle, read once per process (none, after the bundle's log line,
// when it is missing or unreadable; a missing one is looked for again next time).
std::optional<Storyboard> inAppStoryboard();

// Makes the views of the SDK's own classes that a scene names ("CRVScalableImageView", "CRVInAppContainerView").
std::shared_ptr<View> makeInAppView(const std::string& className, const Rect& frame);

// The controller of the scene, by the class the scene names; none when the storyboard has no such scene or names a
// class the SDK does not have.
std::shared_ptr<ViewController> instantiateViewControllerWithIdentifier(const Storyboard& storyboard,
                                                                        const std::string& identifier);

}  // namespace corvana
