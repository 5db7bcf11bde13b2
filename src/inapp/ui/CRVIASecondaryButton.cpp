#include "inapp/ui/CRVIASecondaryButton.h"

namespace corvana {

std::shared_ptr<CRVIASecondaryButton> CRVIASecondaryButton::initWithDataWithCampaingId(
    const Value& data, const std::optional<std::string>& campaignId) {
  auto record = std::make_shared<CRVIASecondaryButton>();
  if (!record->loadComponent(data, campaignId)) return nullptr;
  return record;
}

}  // namespace corvana
