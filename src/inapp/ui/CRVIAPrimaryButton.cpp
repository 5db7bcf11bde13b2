#include "inapp/ui/CRVIAPrimaryButton.h"

#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/ValueConv.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIAPrimaryButton> CRVIAPrimaryButton::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIAPrimaryButton>(data, campaignId);
}

bool CRVIAPrimaryButton::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  const std::optional<std::string> opened = openingCampaignId(data, campaignId, kNullDescription);
  if (!opened) return false;
  const std::string& cid = *opened;
  campaingId_ = cid;

  // An image button needs its whole visual group; a plain button may go without it.
  const bool hasUri = hasValue("uri", data);
  if (hasUri) uri_ = textOf(valueFor(data, "uri"));

  if (hasValue("color", data)) {
    color_ = textOf(valueFor(data, "color"));
  } else if (hasUri) {
    logDropped(cid, "color | uri");
    return false;
  }

  if (hasValue("style", data)) {
    style_ = buttonStyleOf(valueFor(data, "style"));
    if (style_ == 0) {
      logDropped(cid, "style");
      return false;
    }
  } else if (hasUri) {
    logDropped(cid, "style");
    return false;
  }

  if (hasValue("gradient", data)) {
    gradient_ = boolValue(valueFor(data, "gradient"));
  } else if (hasUri) {
    logDropped(cid, "gradient");
    return false;
  }

  // Tested with the reporting test: a missing "border" is logged even when the button is kept.
  if (requireValue("border", data, cid)) {
    border_ = boolValue(valueFor(data, "border"));
  } else if (hasUri) {
    return false;
  }

  if (!requireValue("text_size", data, cid)) return false;
  textSize_ = integerNumberOf(valueFor(data, "text_size"));
  if (!requireValue("bold", data, cid)) return false;
  bold_ = boolValue(valueFor(data, "bold"));
  if (!requireValue("italic", data, cid)) return false;
  italic_ = boolValue(valueFor(data, "italic"));
  if (!requireValue("text", data, cid)) return false;
  text_ = textOf(valueFor(data, "text"));
  if (!requireValue("text_color", data, cid)) return false;
  textColor_ = textOf(valueFor(data, "text_color"));
  if (!requireValue("underline", data, cid)) return false;
  underline_ = boolValue(valueFor(data, "underline"));

  if (auto action = iosActionOf(data)) action_ = std::move(action);
  bgData_ = data;
  return true;
}

}  // namespace corvana
