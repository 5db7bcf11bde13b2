#include "inapp/ui/CRVIAClose.h"

#include "util/CRVUtil.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIAClose> CRVIAClose::initWithDataWithCampaingId(const Value& data,
                                                                   const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIAClose>(data, campaignId);
}

bool CRVIAClose::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  const std::optional<std::string> opened = openingCampaignId(data, campaignId, "nil");
  if (!opened) return false;
  const std::string& cid = *opened;
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
