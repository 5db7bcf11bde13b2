#pragma once

#include <memory>
#include <optional>
#include <string>

#include "inapp/ui/CRVIAPrimaryButton.h"

namespace corvana {

// The second button of a layout ("secondary_button"): read and validated exactly like the primary button, a
// type of its own only so that the two buttons of a layout stay apart.
class CRVIASecondaryButton : public CRVIAPrimaryButton {
 public:
  static std::shared_ptr<CRVIASecondaryButton> initWithDataWithCampaingId(
      const Value& data, const std::optional<std::string>& campaignId);
};

}  // namespace corvana
