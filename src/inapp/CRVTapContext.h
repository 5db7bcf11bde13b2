#pragma once

// What a tappable element of a shown campaign knows about itself, for the trigger handler to act on a tap.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/view_controller.h"

namespace corvana {

// `crvButtonType` of a content element (button, text, background, image) and of the close control.
inline constexpr int32_t kCRVButtonTypeContent = 100;
inline constexpr int32_t kCRVButtonTypeClose = 101;

struct CRVTapContext {
  std::optional<std::string> crvCampaignId;
  // The campaign's display-frequency code; 0 when unset.
  int32_t crvFrequency = 0;
  int32_t crvButtonType = 0;
  // A URL to open, or "close".
  std::optional<std::string> crvAction;
  // The controller showing the campaign; not owned, since the controller owns the element.
  std::weak_ptr<ViewController> crvMessage;
  // The element's message-type tag; 0 when unset.
  int32_t crvMassageType = 0;
};

}  // namespace corvana
