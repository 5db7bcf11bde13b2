#pragma once

#include <memory>
#include <optional>
#include <string>

#include "inapp/ui/CRVIAPrimaryText.h"

namespace corvana {

// The second text of a layout ("secondary_text"): read and validated exactly like the primary text, a type of
// its own only so that the two texts of a layout stay apart.
class CRVIASecondaryText : public CRVIAPrimaryText {
 public:
  static std::shared_ptr<CRVIASecondaryText> initWithDataWithCampaingId(const Value& data,
                                                                        const std::optional<std::string>& campaignId);
};

}  // namespace corvana
