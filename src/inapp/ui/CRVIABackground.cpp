#include "inapp/ui/CRVIABackground.h"

#include "util/CRVUtil.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIABackground> CRVIABackground::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIABackground>(data, campaignId);
}

bool CRVIABackground::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  const std::optional<std::string> opened = openingCampaignId(data, campaignId, "nil");
  if (!opened) return false;
  const std::string& cid = *opened;
  campaingId_ = cid;

  if (hasValue("color", data)) color_ = textOf(valueFor(data, "color"));
  if (hasValue("uri", data)) uri_ = textOf(valueFor(data, "uri"));
  if (!color_ && !uri_) {
    logDropped(cid, "color | uri");
    return false;
  }
  if (!requireValue("radius", data, cid)) return false;
  radius_ = valueFor(data, "radius");
  if (!requireValue("border_color", data, cid)) return false;
  borderColor_ = textOf(valueFor(data, "border_color"));
  if (!requireValue("border_width", data, cid)) {
    logDropped(cid, "border_width");  // a missing "border_width" is reported twice
    return false;
  }
  borderWidth_ = valueFor(data, "border_width");

  if (auto action = iosActionOf(data)) action_ = std::move(action);
  bgData_ = data;
  return true;
}

}  // namespace corvana
