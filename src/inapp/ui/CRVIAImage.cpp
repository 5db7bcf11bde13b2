#include "inapp/ui/CRVIAImage.h"

#include "util/CRVUtil.h"

namespace corvana {

using namespace component;

std::shared_ptr<CRVIAImage> CRVIAImage::initWithDataWithCampaingId(const Value& data,
                                                                   const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIAImage>(data, campaignId);
}

bool CRVIAImage::loadComponent(const Value& data, const std::optional<std::string>& campaignId) {
  const std::optional<std::string> opened = openingCampaignId(data, campaignId, "nil");
  if (!opened) return false;
  const std::string& cid = *opened;
  campaingId_ = cid;

  if (!requireValue("uri", data, cid)) return false;
  uri_ = textOf(valueFor(data, "uri"));
  if (!requireValue("margin", data, cid)) return false;
  margin_ = valueFor(data, "margin");
  if (!requireValue("radius", data, cid)) return false;
  radius_ = valueFor(data, "radius");
  if (!requireValue("border_color", data, cid)) return false;
  borderColor_ = textOf(valueFor(data, "border_color"));
  if (!requireValue("border_width", data, cid)) return false;
  borderWidth_ = valueFor(data, "border_width");

  // The image reads its action before its scale type.
  if (auto action = iosActionOf(data)) action_ = std::move(action);
  if (hasValue("scale_type", data)) {
    scale_type_ = scaleTypeOf(valueFor(data, "scale_type"));
    if (scale_type_ == 0) {
      logDropped(cid, "scale_type");
      return false;
    }
  }
  bgData_ = data;
  return true;
}

}  // namespace corvana
