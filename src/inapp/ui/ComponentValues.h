#pragma once

#include <memory>
#include <optional>

// What the in-app component records share: the codes of their enumerations, the key tests and the drop
// message, and the readings of component values.

#include <cstdint>
#include <optional>
#include <string>

#include "corvana/value.h"

namespace corvana {

// Alignment of texts and of the close button. 102 and 103 are unused.
inline constexpr int32_t CRVAlignmentStart = 100;
inline constexpr int32_t CRVAlignmentEnd = 101;
inline constexpr int32_t CRVAlignmentCenter = 104;

// How an image is scaled; 0 when the component does not say.
inline constexpr int32_t CRVScaleTypeWidth = 100;
inline constexpr int32_t CRVScaleTypeHeight = 101;
inline constexpr int32_t CRVScaleTypeBoth = 102;

namespace component {

// True when the component holds a value for the key that is not null.
bool hasValue(const std::string& key, const Value& data);

// The same test; when it fails, logs the drop message naming the key.
bool requireValue(const std::string& key, const Value& data, const std::string& campaignId);

// "CorvanaSDK- Dropping campaign <campaignId> due to <keyText> have nil or bad value".
void logDropped(const std::string& campaignId, const std::string& keyText);

// The drop message for a missing campaign identifier; `shownAs` is what the message prints in its place.
void logMissingCampaignId(const std::string& shownAs);

// The checks every record starts with: null data drops the record silently; a missing campaign id drops it with
// the campaign id line, the id shown as `missingShownAs`. Answers the campaign id when both are present.
std::optional<std::string> openingCampaignId(const Value& data, const std::optional<std::string>& campaignId,
                                             const std::string& missingShownAs);

// Builds a record from its component data: the record when its `loadComponent` accepts the data, else none.
template <typename Record>
std::shared_ptr<Record> buildRecord(const Value& data, const std::optional<std::string>& campaignId) {
  auto record = std::make_shared<Record>();
  if (!record->loadComponent(data, campaignId)) return nullptr;
  return record;
}

// The value under the key (null when the component has none).
const Value& valueFor(const Value& data, const std::string& key);

// A text field: a string as it is, any other value in its printed form.
std::string textOf(const Value& value);

// A size: the integer reading of the value, as a number.
Value integerNumberOf(const Value& value);

// The "ios" entry of the component's "action" object, when there is one and it is not null.
std::optional<std::string> iosActionOf(const Value& data);

// The codes of the strings a component may hold; 0 for any other value.
int32_t alignmentOf(const Value& value);    // "start", "end", "center"
int32_t scaleTypeOf(const Value& value);    // "width", "height", "both"
int32_t buttonStyleOf(const Value& value);  // "style1" .. "style3" -> 1 .. 3
int32_t closeStyleOf(const Value& value);   // "style1" .. "style5" -> 1 .. 5

}  // namespace component
}  // namespace corvana
