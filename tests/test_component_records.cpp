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

// What a record made of its dictionary: the fields read as numbers, flags, choices or a nested action.
Value describe(const CRVIAPrimaryText& r) {
  return {{"bold", r.bold()}, {"italic", r.italic()}, {"underline", r.underline()}, {"alignment", r.alignment()},
          {"size", r.size()}, {"action", optional(r.action())}};
}
Value describe(const CRVIAPrimaryButton& r) {
  return {{"gradient", r.gradient()}, {"border", r.border()}, {"italic", r.italic()}, {"style", r.style()},
          {"color", optional(r.color())}, {"uri", optional(r.uri())}, {"textSize", r.textSize()},
          {"action", optional(r.action())}};
}
Value describe(const CRVIABackground& r) {
  return {{"color", optional(r.color())}, {"uri", optional(r.uri())}, {"action", optional(r.action())}};
}
Value describe(const CRVIAImage& r) { return {{"scale_type", r.scale_type()}, {"action", optional(r.action())}}; }
Value describe(const CRVIAClose& r) {
  return {{"style", r.style()}, {"frequency", r.frequency()}, {"layoutAlignment", r.layoutAlignment()},
          {"action", optional(r.action())}};
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
    EXPECT_EQ(record->campaingId(), kCid);
    const Value actual = describe(*record);
    for (const auto& [key, expected] : c.fields.items()) EXPECT_EQ(actual[key], expected) << key;
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
        {"action", "app://offer"}}},
      {"alignment case", with(text, "alignment", "Center"), {dropped("alignment")}, kNone},
      {"no italic", without(text, {"italic"}), {dropped("italic"), dropped("italic")}, kNone},
      {"first failure only", without(text, {"color", "size"}), {dropped("color")}, kNone},
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
        {"textSize", 12}, {"italic", true}, {"action", nullptr}}},
      {"image button", image, {},
       {{"style", 2}, {"color", "#F00"}, {"uri", "https://img/b.png"}, {"gradient", true}, {"border", true},
        {"action", "app://buy"}}},
      {"plain with border", with(plain, "border", true), {}, {{"border", true}}},
      {"image without colour", without(image, {"color"}), {dropped("color | uri")}, kNone},
      {"style4", with(image, "style", "style4"), {dropped("style")}, kNone},
      {"no text colour", without(plain, {"text_color"}), {dropped("border"), dropped("text_color")}, kNone},
      {"no campaign", image, {kNilIdWithNull}, kNone, std::nullopt},
  };
  expectCases<CRVIAPrimaryButton>(cases);
  expectCases<CRVIASecondaryButton>(cases);
}

TEST(ComponentRecord, Backgrounds) {
  const Value background = {{"color", "#FFFFFF"}, {"radius", "8"}, {"border_color", "#000"}, {"border_width", 2}};
  const std::vector<Case> cases = {
      {"colour", background, {}, {{"color", "#FFFFFF"}, {"uri", nullptr}, {"action", nullptr}}},
      {"image only", with(with(without(background, {"color"}), "uri", "https://img/bg.png"), "action",
                          {{"ios", "app://bg"}}),
       {}, {{"color", nullptr}, {"uri", "https://img/bg.png"}, {"action", "app://bg"}}},
      {"neither colour nor image", without(background, {"color"}), {dropped("color | uri")}, kNone},
      {"no border width", without(background, {"border_width"}),
       {dropped("border_width"), dropped("border_width")}, kNone},
      {"no campaign", background, {kNilIdWithWord}, kNone, std::nullopt},
  };
  expectCases<CRVIABackground>(cases);
}

TEST(ComponentRecord, Images) {
  const Value image = {{"uri", "https://img/a.png"}, {"margin", "4"}, {"radius", 6}, {"border_color", "#333"},
                       {"border_width", 1.5}};
  const std::vector<Case> cases = {
      {"no scale type", image, {}, {{"scale_type", 0}, {"action", nullptr}}},
      {"width", with(image, "scale_type", "width"), {}, {{"scale_type", 100}}},
      {"height", with(image, "scale_type", "height"), {}, {{"scale_type", 101}}},
      {"both", with(with(image, "scale_type", "both"), "action", {{"ios", "app://img"}}), {},
       {{"scale_type", 102}, {"action", "app://img"}}},
      {"scale type case", with(image, "scale_type", "Width"), {dropped("scale_type")}, kNone},
      {"missing key before bad scale type", with(without(image, {"radius"}), "scale_type", "fit"),
       {dropped("radius")}, kNone},
      {"no campaign", image, {kNilIdWithWord}, kNone, std::nullopt},
  };
  expectCases<CRVIAImage>(cases);
}

TEST(ComponentRecord, CloseButtons) {
  const Value close = {{"style", "style5"}, {"color", "#FFF"}, {"layout_alignment", "end"}};
  const std::vector<Case> cases = {
      {"all keys", close, {}, {{"style", 5}, {"frequency", 0}, {"layoutAlignment", 101}, {"action", nullptr}}},
      {"style1 start", with(with(close, "style", "style1"), "layout_alignment", "start"), {},
       {{"style", 1}, {"layoutAlignment", 100}}},
      {"center", with(with(close, "layout_alignment", "center"), "action", {{"ios", "app://close"}}), {},
       {{"layoutAlignment", 104}, {"action", "app://close"}}},
      {"style6", with(close, "style", "style6"), {dropped("style")}, kNone},
      {"unknown alignment", with(close, "layout_alignment", "middle"), {dropped("layout_alignment")}, kNone},
      {"null component", nullptr, {}, kNone},
      {"no campaign", close, {kNilIdWithWord}, kNone, std::nullopt},
  };
  expectCases<CRVIAClose>(cases);
}

}  // namespace
}  // namespace corvana
