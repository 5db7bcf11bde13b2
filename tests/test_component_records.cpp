#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "inapp/ui/CRVIABackground.h"
#include "inapp/ui/CRVIAClose.h"
#include "inapp/ui/CRVIAImage.h"
#include "inapp/ui/CRVIASecondaryButton.h"
#include "inapp/ui/CRVIASecondaryText.h"
#include "support/Campaigns.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

const std::string kCid = "c-42";

std::string dropped(const std::string& key, const std::string& cid = kCid) { return test::droppedLine(cid, key); }

Value with(Value data, const std::string& key, const Value& value) {
  data[key] = value;
  return data;
}

Value without(Value data, std::initializer_list<const char*> keys) {
  for (const char* key : keys) data.erase(key);
  return data;
}

Value optional(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

// Every field of a record, under its property name.
Value describe(const CRVIAPrimaryText& r) {
  return {{"bold", r.bold()}, {"italic", r.italic()}, {"underline", r.underline()}, {"alignment", r.alignment()},
          {"size", r.size()}, {"color", r.color()}, {"text", r.text()}, {"campaingId", r.campaingId()},
          {"action", optional(r.action())}};
}
Value describe(const CRVIAPrimaryButton& r) {
  return {{"gradient", r.gradient()}, {"border", r.border()}, {"bold", r.bold()}, {"italic", r.italic()},
          {"underline", r.underline()}, {"style", r.style()}, {"color", optional(r.color())},
          {"campaingId", r.campaingId()}, {"uri", optional(r.uri())}, {"text", r.text()},
          {"textSize", r.textSize()}, {"textColor", r.textColor()}, {"action", optional(r.action())}};
}
Value describe(const CRVIABackground& r) {
  return {{"color", optional(r.color())}, {"uri", optional(r.uri())}, {"campaingId", r.campaingId()},
          {"radius", r.radius()}, {"borderColor", r.borderColor()}, {"borderWidth", r.borderWidth()},
          {"action", optional(r.action())}};
}
Value describe(const CRVIAImage& r) {
  return {{"scale_type", r.scale_type()}, {"uri", r.uri()}, {"campaingId", r.campaingId()},
          {"margin", r.margin()}, {"radius", r.radius()}, {"borderColor", r.borderColor()},
          {"borderWidth", r.borderWidth()}, {"action", optional(r.action())}};
}
Value describe(const CRVIAClose& r) {
  return {{"style", r.style()}, {"frequency", r.frequency()}, {"layoutAlignment", r.layoutAlignment()},
          {"color", r.color()}, {"campaingId", r.campaingId()}, {"action", optional(r.action())}};
}

struct Case {
  const char* name;
  Value data;
  std::vector<std::string> log;  // every line the initializer writes
  Value fields;                  // null: no record; otherwise fields the record must hold
  std::optional<std::string> campaignId = kCid;
};

template <class Record>
void expectCases(const std::vector<Case>& cases) {
  auto& log = *test::installTestPlatform().log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    log.clear();
    const std::shared_ptr<Record> record = Record::initWithDataWithCampaingId(c.data, c.campaignId);
    EXPECT_EQ(log.lines(), c.log);
    if (c.fields.is_null()) {
      EXPECT_EQ(record, nullptr);
      continue;
    }
    ASSERT_NE(record, nullptr);
    const Value actual = describe(*record);
    EXPECT_EQ(actual["campaingId"], kCid);
    for (const auto& [key, expected] : c.fields.items()) EXPECT_EQ(actual[key], expected) << key;
    EXPECT_EQ(record->getData(), c.data);
  }
}

const Value kNone;  // no record expected

const std::string kNilIdWithNull = dropped("campaingId", "(null)");
const std::string kNilIdWithWord = dropped("campaingId", "nil");

TEST(ComponentRecord, Texts) {
  const Value text = {{"color", "#FFF"}, {"size", "14.7px"}, {"bold", "yes"},  {"italic", 0},
                      {"text", "Hi"},    {"alignment", "center"}, {"underline", "true"},
                      {"action", {{"ios", "app://offer"}, {"android", "x"}}}};
  const std::vector<Case> cases = {
      {"all keys", text, {},
       {{"bold", true}, {"italic", false}, {"underline", true}, {"alignment", 104}, {"size", 14},
        {"color", "#FFF"}, {"text", "Hi"}, {"action", "app://offer"}}},
      {"start", with(text, "alignment", "start"), {}, {{"alignment", 100}}},
      {"end", with(text, "alignment", "end"), {}, {{"alignment", 101}}},
      {"numeric size", with(text, "size", 9.9), {}, {{"size", 9}}},
      {"unknown alignment", with(text, "alignment", "left"), {dropped("alignment")}, kNone},
      {"alignment case", with(text, "alignment", "Center"), {dropped("alignment")}, kNone},
      {"no italic", without(text, {"italic"}), {dropped("italic"), dropped("italic")}, kNone},
      {"first failure only", without(text, {"color", "size"}), {dropped("color")}, kNone},
      {"no size", without(text, {"size"}), {dropped("size")}, kNone},
      {"no text", with(text, "text", nullptr), {dropped("text")}, kNone},
      {"no underline", without(text, {"underline"}), {dropped("underline")}, kNone},
      {"no action", without(text, {"action"}), {}, {{"action", nullptr}}},
      {"action without ios", with(text, "action", {{"android", "x"}}), {}, {{"action", nullptr}}},
      {"null ios", with(text, "action", {{"ios", nullptr}}), {}, {{"action", nullptr}}},
      {"null component", nullptr, {}, kNone},
      {"no campaign", text, {kNilIdWithNull}, kNone, std::nullopt},
  };
  expectCases<CRVIAPrimaryText>(cases);
  expectCases<CRVIASecondaryText>(cases);
}

TEST(ComponentRecord, Buttons) {
  const Value plain = {{"text_size", "12"}, {"bold", false},      {"italic", "T"},
                       {"text", "Go"},      {"text_color", "#000"}, {"underline", 0}};
  Value image = plain;
  image.update(Value{{"uri", "https://img/b.png"}, {"color", "#F00"}, {"style", "style2"}, {"gradient", "1"},
                     {"border", "y"}, {"action", {{"ios", "app://buy"}}}});
  const std::vector<Case> cases = {
      {"plain button", plain, {dropped("border")},
       {{"style", 0}, {"color", nullptr}, {"uri", nullptr}, {"gradient", false}, {"border", false},
        {"textSize", 12}, {"bold", false}, {"italic", true}, {"text", "Go"}, {"textColor", "#000"},
        {"underline", false}, {"action", nullptr}}},
      {"image button", image, {},
       {{"style", 2}, {"color", "#F00"}, {"uri", "https://img/b.png"}, {"gradient", true}, {"border", true},
        {"action", "app://buy"}}},
      {"null uri is plain", with(plain, "uri", nullptr), {dropped("border")}, {{"uri", nullptr}}},
      {"plain with style and colour", with(with(plain, "style", "style3"), "color", "#0F0"), {dropped("border")},
       {{"style", 3}, {"color", "#0F0"}}},
      {"plain with border", with(plain, "border", true), {}, {{"border", true}}},
      {"image without colour", without(image, {"color"}), {dropped("color | uri")}, kNone},
      {"image without style", without(image, {"style"}), {dropped("style")}, kNone},
      {"image without gradient", without(image, {"gradient"}), {dropped("gradient")}, kNone},
      {"image without border", with(image, "border", nullptr), {dropped("border")}, kNone},
      {"style4", with(image, "style", "style4"), {dropped("style")}, kNone},
      {"no text size", without(image, {"text_size"}), {dropped("text_size")}, kNone},
      {"no text colour", without(plain, {"text_color"}), {dropped("border"), dropped("text_color")}, kNone},
      {"no underline", without(image, {"underline"}), {dropped("underline")}, kNone},
      {"null component", nullptr, {}, kNone},
      {"no campaign", image, {kNilIdWithNull}, kNone, std::nullopt},
  };
  expectCases<CRVIAPrimaryButton>(cases);
  expectCases<CRVIASecondaryButton>(cases);
}

TEST(ComponentRecord, Backgrounds) {
  const Value background = {{"color", "#FFFFFF"}, {"radius", "8"}, {"border_color", "#000"}, {"border_width", 2}};
  const std::vector<Case> cases = {
      {"colour", background, {},
       {{"color", "#FFFFFF"}, {"uri", nullptr}, {"radius", "8"}, {"borderColor", "#000"}, {"borderWidth", 2},
        {"action", nullptr}}},
      {"image only", with(without(background, {"color"}), "uri", "https://img/bg.png"), {},
       {{"color", nullptr}, {"uri", "https://img/bg.png"}}},
      {"action", with(background, "action", {{"ios", "app://bg"}}), {}, {{"action", "app://bg"}}},
      {"neither colour nor image", without(background, {"color"}), {dropped("color | uri")}, kNone},
      {"no radius", without(background, {"radius"}), {dropped("radius")}, kNone},
      {"no border colour", without(background, {"border_color"}), {dropped("border_color")}, kNone},
      {"no border width", without(background, {"border_width"}),
       {dropped("border_width"), dropped("border_width")}, kNone},
      {"null component", nullptr, {}, kNone},
      {"no campaign", background, {kNilIdWithWord}, kNone, std::nullopt},
  };
  expectCases<CRVIABackground>(cases);
}

TEST(ComponentRecord, Images) {
  const Value image = {{"uri", "https://img/a.png"}, {"margin", "4"}, {"radius", 6}, {"border_color", "#333"},
                       {"border_width", 1.5}};
  const std::vector<Case> cases = {
      {"no scale type", image, {},
       {{"scale_type", 0}, {"uri", "https://img/a.png"}, {"margin", "4"}, {"radius", 6}, {"borderColor", "#333"},
        {"borderWidth", 1.5}, {"action", nullptr}}},
      {"null scale type", with(image, "scale_type", nullptr), {}, {{"scale_type", 0}}},
      {"width", with(image, "scale_type", "width"), {}, {{"scale_type", 100}}},
      {"height", with(image, "scale_type", "height"), {}, {{"scale_type", 101}}},
      {"both", with(with(image, "scale_type", "both"), "action", {{"ios", "app://img"}}), {},
       {{"scale_type", 102}, {"action", "app://img"}}},
      {"fit", with(image, "scale_type", "fit"), {dropped("scale_type")}, kNone},
      {"scale type case", with(image, "scale_type", "Width"), {dropped("scale_type")}, kNone},
      {"no uri", without(image, {"uri"}), {dropped("uri")}, kNone},
      {"no margin", without(image, {"margin"}), {dropped("margin")}, kNone},
      {"no border width", without(image, {"border_width"}), {dropped("border_width")}, kNone},
      {"missing key before bad scale type", with(without(image, {"radius"}), "scale_type", "fit"),
       {dropped("radius")}, kNone},
      {"null component", nullptr, {}, kNone},
      {"no campaign", image, {kNilIdWithWord}, kNone, std::nullopt},
  };
  expectCases<CRVIAImage>(cases);
}

TEST(ComponentRecord, CloseButtons) {
  const Value close = {{"style", "style5"}, {"color", "#FFF"}, {"layout_alignment", "end"}};
  const std::vector<Case> cases = {
      {"all keys", close, {},
       {{"style", 5}, {"frequency", 0}, {"layoutAlignment", 101}, {"color", "#FFF"}, {"action", nullptr}}},
      {"style1 start", with(with(close, "style", "style1"), "layout_alignment", "start"), {},
       {{"style", 1}, {"layoutAlignment", 100}}},
      {"center", with(close, "layout_alignment", "center"), {}, {{"layoutAlignment", 104}}},
      {"action", with(close, "action", {{"ios", "app://close"}}), {}, {{"action", "app://close"}}},
      {"style6", with(close, "style", "style6"), {dropped("style")}, kNone},
      {"no style", without(close, {"style"}), {dropped("style")}, kNone},
      {"no colour", without(close, {"color"}), {dropped("color")}, kNone},
      {"unknown alignment", with(close, "layout_alignment", "middle"), {dropped("layout_alignment")}, kNone},
      {"empty component", Value::object(), {dropped("style")}, kNone},
      {"null component", nullptr, {}, kNone},
      {"no campaign", close, {kNilIdWithWord}, kNone, std::nullopt},
  };
  expectCases<CRVIAClose>(cases);
}

}  // namespace
}  // namespace corvana
