#include "platform/view/Storyboard.h"

#include <fstream>
#include <sstream>

#include "inapp/ui/CRVColor.h"
#include "util/Log.h"

namespace corvana {

namespace {

// "#RRGGBB" or "#AARRGGBB", read as campaigns' colours are.
std::optional<Color> colorOf(const Value& text) {
  if (!text.is_string()) return std::nullopt;
  return colorWithHexString(text.get<std::string>());
}

LayoutAttribute attributeOf(const Value& name) {
  static const std::map<std::string, LayoutAttribute> attributes = {
      {"left", LayoutAttribute::Left},       {"right", LayoutAttribute::Right},
      {"top", LayoutAttribute::Top},         {"bottom", LayoutAttribute::Bottom},
      {"leading", LayoutAttribute::Leading}, {"trailing", LayoutAttribute::Trailing},
      {"width", LayoutAttribute::Width},     {"height", LayoutAttribute::Height},
      {"centerX", LayoutAttribute::CenterX}, {"centerY", LayoutAttribute::CenterY}};
  const auto found = name.is_string() ? attributes.find(name.get<std::string>()) : attributes.end();
  return found == attributes.end() ? LayoutAttribute::NotAnAttribute : found->second;
}

LayoutRelation relationOf(const Value& text) {
  if (text == "<=") return LayoutRelation::LessThanOrEqual;
  if (text == ">=") return LayoutRelation::GreaterThanOrEqual;
  return LayoutRelation::Equal;
}

TextAlignment alignmentOf(const Value& text) {
  if (text == "center") return TextAlignment::Center;
  if (text == "right") return TextAlignment::Right;
  if (text == "left") return TextAlignment::Left;
  return TextAlignment::Natural;
}

ContentMode contentModeOf(const Value& text) {
  if (text == "aspectFit") return ContentMode::ScaleAspectFit;
  if (text == "aspectFill") return ContentMode::ScaleAspectFill;
  if (text == "center") return ContentMode::Center;
  return ContentMode::ScaleToFill;
}

Font fontOf(const Value& font) {
  return {font.value("size", 17.0), font.value("bold", false), font.value("italic", false)};
}

std::shared_ptr<View> makeView(const Value& node, const Storyboard::ViewFactory& factory, StoryboardViews& views) {
  const std::string cls = node.value("class", "View");
  const Value frame = node.value("frame", Value::array({0, 0, 0, 0}));
  const Rect rect = frame.is_array() && frame.size() == 4
                        ? makeRect(frame[0].get<double>(), frame[1].get<double>(), frame[2].get<double>(),
                                   frame[3].get<double>())
                        : Rect{};
  std::shared_ptr<View> view;
  if (cls == "View") {
    view = std::make_shared<View>(rect);
  } else if (cls == "Label") {
    view = std::make_shared<Label>(rect);
  } else if (cls == "Button") {
    view = std::make_shared<Button>(rect);
  } else if (cls == "ImageView") {
    view = std::make_shared<ImageView>(rect);
  } else {
    if (factory) view = factory(cls, rect);
    if (!view) view = std::make_shared<View>(rect);
  }

  view->setTag(node.value("tag", int64_t{0}));
  view->setTranslatesAutoresizingMaskIntoConstraints(node.value("autoresizing", true));
  if (const auto background = colorOf(node.value("background", Value()))) view->setBackgroundColor(background);
  view->layer().cornerRadius = node.value("cornerRadius", 0.0);
  if (node.contains("interactive")) view->setUserInteractionEnabled(node["interactive"].get<bool>());
  view->setHidden(node.value("hidden", false));
  if (auto label = std::dynamic_pointer_cast<Label>(view)) {
    label->setText(node.value("text", ""));
    if (node.contains("font")) label->setFont(fontOf(node["font"]));
    label->setNumberOfLines(node.value("lines", 1));
    label->setTextAlignment(alignmentOf(node.value("alignment", Value())));
    if (const auto color = colorOf(node.value("textColor", Value()))) label->setTextColor(*color);
  }
  if (auto button = std::dynamic_pointer_cast<Button>(view)) {
    button->setTitle(node.value("title", ""));
    if (const auto color = colorOf(node.value("titleColor", Value()))) button->setTitleColor(*color);
    if (node.contains("font")) button->titleLabel()->setFont(fontOf(node["font"]));
  }
  if (auto image = std::dynamic_pointer_cast<ImageView>(view)) {
    image->setContentMode(contentModeOf(node.value("contentMode", Value())));
  }
  if (node.contains("name")) views.outlets[node["name"].get<std::string>()] = view;
  for (const Value& child : node.value("subviews", Value::array())) view->addSubview(makeView(child, factory, views));
  return view;
}

}  // namespace

std::optional<Storyboard> Storyboard::load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  const Value parsed = Value::parse(text.str(), nullptr, /*allow_exceptions=*/false);
  if (!in || !parsed.is_object() || !parsed.contains("scenes") || !parsed["scenes"].is_object()) {
    CRVLogf("CorvanaSDK-Storyboard unreadable: %s", path.c_str());
    return std::nullopt;
  }
  return Storyboard(std::make_shared<const Value>(parsed["scenes"]));
}

std::optional<Value> Storyboard::sceneWithIdentifier(const std::string& identifier) const {
  const auto scene = scenes_->find(identifier);
  if (scene == scenes_->end() || !scene->is_object()) return std::nullopt;
  return *scene;
}

std::string Storyboard::classOfScene(const std::string& identifier) const {
  const auto scene = sceneWithIdentifier(identifier);
  if (!scene) return "";
  const auto cls = scene->find("class");
  return cls != scene->end() && cls->is_string() ? cls->get<std::string>() : "";
}

StoryboardViews Storyboard::instantiateViews(const std::string& identifier, const ViewFactory& factory) const {
  StoryboardViews views;
  const auto scene = sceneWithIdentifier(identifier);
  if (!scene || !scene->contains("view") || !(*scene)["view"].is_object()) return views;
  Value root = (*scene)["view"];
  root["name"] = "view";
  views.root = makeView(root, factory, views);
  for (const Value& c : scene->value("constraints", Value::array())) {
    const auto item = views.outlets.find(c.value("item", ""));
    if (item == views.outlets.end()) continue;
    const auto to = views.outlets.find(c.value("toItem", ""));
    auto constraint = LayoutConstraint::constraintWithItem(
        item->second, attributeOf(c.value("attribute", Value())), relationOf(c.value("relation", Value("="))),
        to == views.outlets.end() ? nullptr : to->second, attributeOf(c.value("toAttribute", Value())),
        c.value("multiplier", 1.0), c.value("constant", 0.0));
    constraint->setPriority(c.value("priority", kLayoutPriorityRequired));
    if (c.contains("id")) {
      constraint->setIdentifier(c["id"].get<std::string>());
      views.constraints[c["id"].get<std::string>()] = constraint;
    }
    views.root->addConstraint(constraint);
  }
  return views;
}

}  // namespace corvana
