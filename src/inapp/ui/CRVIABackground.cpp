#include "inapp/ui/CRVIABackground.h"

#include "util/CRVUtil.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIABackground> CRVIABackground::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  auto record = std::make_shared<CRVIABackground>();
  if (!record->loadComponent(data, campaignId)) return nullptr;
  return record;
}

bool CRVIABackground::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  if (CRVUtil::isObjectNull(data)) return false;
  if (!campaignId) {
    logMissingCampaignId("nil");
    return false;
  }
  const std::string& cid = *campaignId;
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
