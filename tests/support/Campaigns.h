#pragma once

// Campaign JSON as the sync delivers it, for the tests of the campaign model, store, trigger handler and the
// end-to-end flow.

#include <chrono>
#include <ctime>
#include <algorithm>
#include <functional>
#include <string>

#include "corvana/value.h"
#include "events/CRVDataManager.h"

namespace corvana::test {

// The line a refused campaign or component writes.
inline std::string droppedLine(const std::string& cid, const std::string& label) {
  std::string line = "CorvanaSDK- Dropping campaign ";
  return line.append(cid).append(" due to ").append(label).append(" have nil or bad value");
}

// The "inapp" parts of the stored events, in row order; with a subtype, only those of it.
inline Value storedInappEvents(const std::string& subtype = "") {
  Value out = Value::array();
  CRVDataManager::sharedInstance().getEventsDataWith([&](const std::string& events, const std::vector<int64_t>&) {
    for (size_t start = 0; start < events.size();) {
      const size_t end = std::min(events.find('\n', start), events.size());
      const Value event = Value::parse(events.substr(start, end - start));
      if (event["event_type"] == "inapp" && (subtype.empty() || event["inapp"]["subtype"] == subtype)) {
        out.push_back(event["inapp"]);
      }
      start = end + 1;
    }
  });
  return out;
}

// The real time now, in whole seconds: the campaign store compares against SQLite's own clock.
inline double realNow() {
  using namespace std::chrono;
  return static_cast<double>(duration_cast<seconds>(system_clock::now().time_since_epoch()).count());
}

// "yyyy-MM-dd'T'HH:mm:ss+0000" of an instant, as campaigns carry their start and end.
inline std::string campaignDate(double secondsSince1970) {
  const std::time_t t = static_cast<std::time_t>(secondsSince1970);
  std::tm utc{};
  gmtime_r(&t, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+0000", &utc);
  return text;
}

// A "layout1" campaign carrying every component, with fixed March 2026 dates. `imageUrl` names each picture's URI
// ("bg.png", "pic.png", "b1.png", "b2.png"); without it no component has a "uri", and only layouts without an
// image build ("layout3": the background and the buttons have colours).
inline Value campaignJson(const std::function<std::string(const std::string&)>& imageUrl = {}) {
  const auto uri = [&](const std::string& file) { return imageUrl ? Value(imageUrl(file)) : Value(); };
  const Value text = {{"color", "#FFF"}, {"size", "14"}, {"bold", "yes"}, {"italic", 0},
                      {"text", "Hi"},    {"alignment", "center"}, {"underline", "true"}};
  const auto button = [&](const std::string& file) {
    return Value{{"uri", uri(file)}, {"color", "#F00"}, {"style", "style2"}, {"gradient", "1"}, {"border", "y"},
                 {"text_size", "12"}, {"bold", false}, {"italic", "T"}, {"text", "Go"}, {"text_color", "#000"},
                 {"underline", 0}};
  };
  return {{"cid", "c7"}, {"status", "active"}, {"version", "3"}, {"action", "app://deal"},
          {"display_trigger", "purchase"}, {"display_frequency", "once"},
          {"start_time", "2026-03-01T10:00:00+0100"}, {"end_time", "2026-03-01T10:30:00-0500"},
          {"layout",
           {{"type", "layout1"},
            {"background", {{"uri", uri("bg.png")}, {"color", "#FFFFFF"}, {"radius", "8"}, {"border_color", "#000"},
                            {"border_width", 2}}},
            {"image", {{"uri", uri("pic.png")}, {"margin", "4"}, {"radius", 6}, {"border_color", "#333"},
                       {"border_width", 1}}},
            {"primary_text", text}, {"secondary_text", text},
            {"primary_button", button("b1.png")}, {"secondary_button", button("b2.png")},
            {"close_button", {{"style", "style5"}, {"color", "#FFF"}, {"layout_alignment", "end"}}}}}};
}

// A "layout3" campaign that needs no download, live from `start` to `end` (seconds since 1970, real time).
inline Value liveCampaign(const std::string& cid, const std::string& trigger, const std::string& frequency,
                          double start, double end) {
  Value data = campaignJson();
  data["cid"] = cid;
  data["display_trigger"] = trigger;
  data["display_frequency"] = frequency;
  data["start_time"] = campaignDate(start);
  data["end_time"] = campaignDate(end);
  data["layout"]["type"] = "layout3";
  data["layout"].erase("image");
  return data;
}

}  // namespace corvana::test
