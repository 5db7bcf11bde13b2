#include "inapp/CRVResource.h"

#include <utility>

namespace corvana {

void CRVResource::setCampaignId(std::optional<std::string> campaignId) { campaignId_ = std::move(campaignId); }

void CRVResource::setEnable(int32_t enable) { enable_ = enable; }

void CRVResource::setPaused(int32_t paused) { paused_ = paused; }

}  // namespace corvana
