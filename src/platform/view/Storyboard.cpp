#include "platform/view/Storyboard.h"

#include <fstream>
#include <sstream>

#include "util/Log.h"

namespace corvana {

std::optional<Storyboard> Storyboard::load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  const Value parsed = Value::parse(text.str(), nullptr, /*allow_exceptions=*/false);
  if (!in || !parsed.is_object() || !parsed.contains("scenes") || !parsed["scenes"].is_object()) {
    CRVLogf("CorvanaSDK-Storyboard unreadable: %s", path.c_str());
    return std::nullopt;
  }
  return Storyboard(parsed["scenes"]);
}

std::optional<Value> Storyboard::sceneWithIdentifier(const std::string& identifier) const {
  const auto scene = scenes_.find(identifier);
  if (scene == scenes_.end() || !scene->is_object()) return std::nullopt;
  return *scene;
}

std::string Storyboard::classOfScene(const std::string& identifier) const {
  const auto scene = sceneWithIdentifier(identifier);
  if (!scene) return "";
  const auto cls = scene->find("class");
  return cls != scene->end() && cls->is_string() ? cls->get<std::string>() : "";
}

}  // namespace corvana
