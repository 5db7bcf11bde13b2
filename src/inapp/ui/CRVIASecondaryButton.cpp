#include "inapp/ui/CRVIASecondaryButton.h"

namespace corvana {

std::shared_ptr<CRVIASecondaryButton> CRVIASecondaryButton::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  return component::buildRecord<CRVIASecondaryButton>(data, campaignId);
}

}  // namespace corvana
