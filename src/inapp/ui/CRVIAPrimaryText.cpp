#include "inapp/ui/CRVIAPrimaryText.h"

#include "util/CRVUtil.h"
#include "util/Log.h"
#include "util/ValueConv.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIAPrimaryText> CRVIAPrimaryText::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIAPrimaryText>(data, campaignId);
}

bool CRVIAPrimaryText::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  const std::optional<std::string> opened = openingCampaignId(data, campaignId, kNullDescription);
  if (!opened) return false;
  const std::string& cid = *opened;
  campaingId_ = cid;

  if (!requireValue("color", data, cid)) return false;
  color_ = textOf(valueFor(data, "color"));
  if (!requireValue("size", data, cid)) return false;
  size_ = integerNumberOf(valueFor(data, "size"));
  if (!requireValue("bold", data, cid)) return false;
  bold_ = boolValue(valueFor(data, "bold"));
  if (!requireValue("italic", data, cid)) {
    logDropped(cid, "italic");  // a missing "italic" is reported twice
    return false;
  }
  italic_ = boolValue(valueFor(data, "italic"));
  if (!requireValue("text", data, cid)) return false;
  text_ = textOf(valueFor(data, "text"));
  if (!requireValue("alignment", data, cid)) return false;
  alignment_ = alignmentOf(valueFor(data, "alignment"));
  if (alignment_ == 0) {
    logDropped(cid, "alignment");
    return false;
  }
  if (!requireValue("underline", data, cid)) return false;
  underline_ = boolValue(valueFor(data, "underline"));

  if (auto action = iosActionOf(data)) action_ = std::move(action);
  bgData_ = data;
  return true;
}

}  // namespace corvana
