#include "inapp/ui/CRVIASecondaryText.h"

namespace corvana {

std::shared_ptr<CRVIASecondaryText> CRVIASecondaryText::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  auto record = std::make_shared<CRVIASecondaryText>();
  if (!record->loadComponent(data, campaignId)) return nullptr;
  return record;
}

}  // namespace corvana
