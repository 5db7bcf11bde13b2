#pragma once

// A storyboard kept as a JSON data file. Each scene describes one view controller: its class and its view tree.
//
//   {"scenes": {"<identifier>": {"class": "<controller class>", "view": <view>, "constraints": [<constraint>...]}}}
//   <view>: {"class": "View" | "Label" | "Button" | "ImageView" | <a class the caller makes>,
//            "name": "<outlet name>", "frame": [x, y, width, height], "tag": 7, "autoresizing": false,
//            "background": "#RRGGBB" | "#AARRGGBB", "cornerRadius": 8, "interactive": true, "hidden": false,
//            "text": "...", "font": {"size": 17, "bold": false, "italic": false}, "lines": 2,
//            "alignment": "left" | "center" | "right", "textColor": "#...", "title": "...",
//            "titleColor": "#...", "contentMode": "fill" | "aspectFit" | "aspectFill" | "center",
//            "subviews": [<view>...]}
//   <constraint>: {"id": "marginTop", "item": "<name>", "attribute": "top", "relation": "=" | "<=" | ">=",
//                  "toItem": "<name>" (optional), "toAttribute": "bottom", "multiplier": 1, "constant": 16,
//                  "priority": 1000}
// The scene's root view is named "view"; its constraints are held by the root view.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"
#include "corvana/view.h"

namespace corvana {

// A scene's views, made afresh: the root, the named views and the named constraints.
struct StoryboardViews {
  std::shared_ptr<View> root;
  std::map<std::string, std::shared_ptr<View>> outlets;
  std::map<std::string, std::shared_ptr<LayoutConstraint>> constraints;
  template <typename T>
  std::shared_ptr<T> outlet(const std::string& name) const {
    const auto found = outlets.find(name);
    return found == outlets.end() ? nullptr : std::dynamic_pointer_cast<T>(found->second);
  }
};

class Storyboard {
 public:
  // Makes a view of a class the view layer does not know; none when the caller does not know it either.
  using ViewFactory = std::function<std::shared_ptr<View>(const std::string& className, const Rect& frame)>;

  // The storyboard of the file, or none (after one log line) when the file cannot be read as one.
  static std::optional<Storyboard> load(const std::string& path);

  // The scene of that identifier, or none.
  std::optional<Value> sceneWithIdentifier(const std::string& identifier) const;
  // The controller class a scene names ("" when the scene does not exist or names none).
  std::string classOfScene(const std::string& identifier) const;
  // The scene's view tree; no root when the scene has no view. Views of unknown classes come from `factory`,
  // and are plain views when it makes none.
  StoryboardViews instantiateViews(const std::string& identifier, const ViewFactory& factory = {}) const;

 private:
  explicit Storyboard(std::shared_ptr<const Value> scenes) : scenes_(std::move(scenes)) {}
  // Shared by every copy: each controller made from the storyboard keeps one.
  std::shared_ptr<const Value> scenes_;
};

}  // namespace corvana
