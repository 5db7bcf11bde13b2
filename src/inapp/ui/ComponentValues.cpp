#include "inapp/ui/ComponentValues.h"

#include <array>
#include <string_view>
#include <utility>

#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/ValueConv.h"

namespace corvana::component {

namespace {

template <size_t N>
int32_t codeOf(const Value& value, const std::array<std::pair<std::string_view, int32_t>, N>& codes) {
  if (!value.is_string()) return 0;
  const auto& text = value.get_ref<const std::string&>();
  for (const auto& [name, code] : codes) {
    if (text == name) return code;
  }
  return 0;
}

}  // namespace

bool hasValue(const std::string& key, const Value& data) { return CRVUtil::hasValueInDictionary(key, data); }

bool requireValue(const std::string& key, const Value& data, const std::string& campaignId) {
  return CRVUtil::hasValueInDictionaryLog(key, data, campaignId);
}

void logDropped(const std::string& campaignId, const std::string& keyText) {
  CRVLogf("CorvanaSDK- Dropping campaign %s due to %s have nil or bad value", campaignId.c_str(), keyText.c_str());
}

void logMissingCampaignId(const std::string& shownAs) { logDropped(shownAs, "campaingId"); }

const Value& valueFor(const Value& data, const std::string& key) {
  static const Value kNull;
  if (!data.is_object()) return kNull;
  const auto found = data.find(key);
  return found == data.end() ? kNull : *found;
}

std::string textOf(const Value& value) { return stringValue(value); }

Value integerNumberOf(const Value& value) { return Value(intValue(value)); }

std::optional<std::string> iosActionOf(const Value& data) {
  const Value& ios = valueFor(valueFor(data, "action"), "ios");
  if (CRVUtil::isObjectNull(ios)) return std::nullopt;
  return textOf(ios);
}

int32_t alignmentOf(const Value& value) {
  static constexpr std::array<std::pair<std::string_view, int32_t>, 3> kCodes{
      {{"start", CRVAlignmentStart}, {"end", CRVAlignmentEnd}, {"center", CRVAlignmentCenter}}};
  return codeOf(value, kCodes);
}

int32_t scaleTypeOf(const Value& value) {
  static constexpr std::array<std::pair<std::string_view, int32_t>, 3> kCodes{
      {{"width", CRVScaleTypeWidth}, {"height", CRVScaleTypeHeight}, {"both", CRVScaleTypeBoth}}};
  return codeOf(value, kCodes);
}

int32_t buttonStyleOf(const Value& value) {
  static constexpr std::array<std::pair<std::string_view, int32_t>, 3> kCodes{
      {{"style1", 1}, {"style2", 2}, {"style3", 3}}};
  return codeOf(value, kCodes);
}

int32_t closeStyleOf(const Value& value) {
  static constexpr std::array<std::pair<std::string_view, int32_t>, 5> kCodes{
      {{"style1", 1}, {"style2", 2}, {"style3", 3}, {"style4", 4}, {"style5", 5}}};
  return codeOf(value, kCodes);
}

std::optional<std::string> openingCampaignId(const Value& data, const std::optional<std::string>& campaignId,
                                             const std::string& missingShownAs) {
  if (CRVUtil::isObjectNull(data)) return std::nullopt;
  if (!campaignId) logMissingCampaignId(missingShownAs);
  return campaignId;
}

}  // namespace corvana::component
