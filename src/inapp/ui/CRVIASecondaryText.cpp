#include "inapp/ui/CRVIASecondaryText.h"

namespace corvana {

std::shared_ptr<CRVIASecondaryText> CRVIASecondaryText::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIASecondaryText>(data, campaignId);
}

}  // namespace corvana
