#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"
#include "inapp/ui/ComponentValues.h"

namespace corvana {

// The close control of an in-app layout ("close_button"): one of five drawn styles, its colour and where it
// sits. The campaign sets `frequency` to its display frequency once the record is built.
class CRVIAClose {
 public:
  // The record of the component, or none. A null component gives none silently; a missing campaign identifier,
  // a missing or null required key, an unknown style and an unknown alignment give none after a drop message.
  static std::shared_ptr<CRVIAClose> initWithDataWithCampaingId(const Value& data,
                                                                const std::optional<std::string>& campaignId);
  // Fills a fresh record from its component data; false drops it. Use initWithDataWithCampaingId.
  bool loadComponent(const Value& data, const std::optional<std::string>& campaignId);

  // The whole component object the record was read from.
  const Value& getData() const { return bgData_; }

  // 1 .. 5 for "style1" .. "style5".
  int32_t style() const { return style_; }
  void setStyle(int32_t style) { style_ = style; }
  // The campaign's display-frequency code; not read from the component.
  int32_t frequency() const { return frequency_; }
  void setFrequency(int32_t frequency) { frequency_ = frequency; }
  // CRVAlignmentStart, CRVAlignmentEnd or CRVAlignmentCenter.
  int32_t layoutAlignment() const { return layoutAlignment_; }
  void setLayoutAlignment(int32_t layoutAlignment) { layoutAlignment_ = layoutAlignment; }
  // A colour string, not parsed.
  const std::string& color() const { return color_; }
  void setColor(const std::string& color) { color_ = color; }
  const std::string& campaingId() const { return campaingId_; }
  void setCampaingId(const std::string& campaingId) { campaingId_ = campaingId; }
  // The "ios" entry of the component's "action" object.
  const std::optional<std::string>& action() const { return action_; }
  void setAction(const std::optional<std::string>& action) { action_ = action; }

 private:

  Value bgData_;
  int32_t style_ = 0;
  int32_t frequency_ = 0;
  int32_t layoutAlignment_ = 0;
  std::string color_;
  std::string campaingId_;
  std::optional<std::string> action_;
};

}  // namespace corvana
