#include "inapp/ui/CRVIAClose.h"

#include "util/CRVUtil.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIAClose> CRVIAClose::initWithDataWithCampaingId(const Value& data,
                                                                   const std::optional<std::string>& campaignId) {
  auto record = std::make_shared<CRVIAClose>();
  if (!record->loadComponent(data, campaignId)) return nullptr;
  return record;
}

bool CRVIAClose::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  if (CRVUtil::isObjectNull(data)) return false;
  if (!campaignId) {
    logMissingCampaignId("nil");
    return false;
  }
  const std::string& cid = *campaignId;
  campaingId_ = cid;

  if (!requireValue("style", data, cid)) return false;
  style_ = closeStyleOf(valueFor(data, "style"));
  if (style_ == 0) {
    logDropped(cid, "style");
    return false;
  }
  if (!requireValue("color", data, cid)) return false;
  color_ = textOf(valueFor(data, "color"));
  if (!requireValue("layout_alignment", data, cid)) return false;
  layoutAlignment_ = alignmentOf(valueFor(data, "layout_alignment"));
  if (layoutAlignment_ == 0) {
    logDropped(cid, "layout_alignment");
    return false;
  }

  if (auto action = iosActionOf(data)) action_ = std::move(action);
  bgData_ = data;
  return true;
}

}  // namespace corvana
