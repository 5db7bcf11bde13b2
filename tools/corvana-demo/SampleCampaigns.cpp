#include "SampleCampaigns.h"

#include <chrono>
#include <ctime>
#include <memory>

#include "corvana/render.h"
#include "corvana/view.h"

namespace demo {

using corvana::Value;

namespace {

corvana::Color rgb(int r, int g, int b) { return {r / 255.0, g / 255.0, b / 255.0, 1.0}; }

void writePicture(const std::filesystem::path& file, corvana::Size size, const std::vector<corvana::Color>& bands,
                  const std::string& caption) {
  auto canvas = std::make_shared<corvana::View>(corvana::Rect{{0, 0}, size});
  const double band = size.height / static_cast<double>(bands.size());
  for (size_t i = 0; i < bands.size(); ++i) {
    auto stripe = std::make_shared<corvana::View>(corvana::makeRect(0, band * static_cast<double>(i), size.width, band + 1));
    stripe->setBackgroundColor(bands[i]);
    canvas->addSubview(stripe);
  }
  if (!caption.empty()) {
    auto label = std::make_shared<corvana::Label>(corvana::Rect{{0, 0}, size});
    label->setText(caption);
    label->setFont(corvana::Font::boldSystemFontOfSize(size.height / 5));
    label->setTextColor(corvana::Color::white());
    label->setTextAlignment(corvana::TextAlignment::Center);
    canvas->addSubview(label);
  }
  canvas->layoutIfNeeded();
  corvana::renderView(*canvas).writePng(file.string());
}

std::string isoDate(std::chrono::system_clock::time_point when) {
  const std::time_t t = std::chrono::system_clock::to_time_t(when);
  std::tm utc{};
  gmtime_r(&t, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+0000", &utc);
  return text;
}

Value text(const std::string& words, int size, bool bold, const std::string& color) {
  return {{"text", words}, {"size", std::to_string(size)}, {"bold", bold ? "true" : "false"}, {"italic", "false"},
          {"underline", "false"}, {"alignment", "center"}, {"color", color}};
}

Value button(const std::string& imageBase, const std::string& file, const std::string& title,
             const std::string& color, const std::string& action) {
  return {{"uri", imageBase + file}, {"text", title}, {"text_size", "17"}, {"text_color", "#FFFFFF"},
          {"color", color}, {"style", "style2"}, {"gradient", "false"}, {"border", "false"}, {"bold", "true"},
          {"italic", "false"}, {"underline", "false"}, {"action", action}};
}

}  // namespace

void writeSampleImages(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  writePicture(folder / "photo.png", {600, 400},
               {rgb(255, 183, 77), rgb(255, 138, 101), rgb(240, 98, 146), rgb(149, 117, 205), rgb(79, 195, 247)},
               "SPRING SALE");
  writePicture(folder / "photo-tall.png", {450, 800},
               {rgb(38, 50, 56), rgb(69, 90, 100), rgb(240, 98, 146), rgb(149, 117, 205), rgb(38, 50, 56),
                rgb(38, 50, 56)},
               "SALE");
  writePicture(folder / "card.png", {64, 64}, {rgb(255, 255, 255)}, "");
  writePicture(folder / "button.png", {64, 16}, {rgb(230, 81, 0)}, "");
  writePicture(folder / "button-dark.png", {64, 16}, {rgb(84, 110, 122)}, "");
}

std::string triggerOf(int layout) { return "demo_layout" + std::to_string(layout); }

Value sampleCampaigns(const std::string& imageBase) {
  const auto now = std::chrono::system_clock::now();
  const std::string start = isoDate(now - std::chrono::minutes(1));
  const std::string end = isoDate(now + std::chrono::hours(24));
  const bool popUp[] = {true, true, true, false, false, false};
  Value campaigns = Value::array();
  for (int n = 1; n <= 6; ++n) {
    const bool card = popUp[n - 1];
    const std::string ink = card ? "#263238" : "#FFFFFF";
    Value layout = {
        {"type", "layout" + std::to_string(n)},
        {"background",
         {{"uri", imageBase + "card.png"}, {"color", "#FFFFFF"}, {"radius", "14"}, {"border_color", "#ECEFF1"},
          {"border_width", "1"}}},
        {"image",
         {{"uri", imageBase + (card ? "photo.png" : "photo-tall.png")}, {"scale_type", "width"}, {"margin", "0"},
          {"radius", card ? "10" : "0"},
          {"border_color", "#FFFFFF"}, {"border_width", "0"}, {"action", "https://shop.example/spring"}}},
        {"primary_text", text("Spring sale", 24, true, ink)},
        {"secondary_text", text("Everything in the store is half price until Sunday.", 16, false, ink)},
        {"primary_button", button(imageBase, "button.png", "Shop now", "#E65100", "https://shop.example/spring")},
        {"secondary_button", button(imageBase, "button-dark.png", "Later", "#546E7A", "close")},
        {"close_button",
         {{"style", card ? "style1" : "style5"}, {"color", card ? "#37474F" : "#FFFFFF"}, {"layout_alignment", "end"},
          {"action", "close"}}},
    };
    campaigns.push_back({{"cid", "spring-" + std::to_string(n)}, {"status", "active"}, {"version", "1"},
                         {"display_trigger", triggerOf(n)}, {"display_frequency", "everytime"},
                         {"start_time", start}, {"end_time", end}, {"layout", layout}});
  }
  return campaigns;
}

}  // namespace demo
