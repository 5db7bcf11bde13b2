#pragma once

// A storyboard kept as a JSON data file: {"scenes": {"<identifier>": {"class": "<controller class>", ...}}}.
// Each scene describes one view controller; the controller classes that can be made from it are the SDK's own.

#include <optional>
#include <string>

#include "corvana/value.h"

namespace corvana {

class Storyboard {
 public:
  // The storyboard of the file, or none (after one log line) when the file cannot be read as one.
  static std::optional<Storyboard> load(const std::string& path);

  // The scene of that identifier, or none.
  std::optional<Value> sceneWithIdentifier(const std::string& identifier) const;
  // The controller class a scene names ("" when the scene does not exist or names none).
  std::string classOfScene(const std::string& identifier) const;

 private:
  explicit Storyboard(Value scenes) : scenes_(std::move(scenes)) {}
  Value scenes_;
};

}  // namespace corvana
