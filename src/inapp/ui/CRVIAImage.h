#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"
#include "inapp/ui/ComponentValues.h"

namespace corvana {

// The image of an in-app layout ("image"), with its margin, rounded border and scaling.
class CRVIAImage {
 public:
  // The record of the component, or none. A null component gives none silently; a missing campaign identifier,
  // a missing or null required key and an unknown scale type give none after a drop message.
  static std::shared_ptr<CRVIAImage> initWithDataWithCampaingId(const Value& data,
                                                                const std::optional<std::string>& campaignId);
  // Fills a fresh record from its component data; false drops it. Use initWithDataWithCampaingId.
  bool loadComponent(const Value& data, const std::optional<std::string>& campaignId);

  // The whole component object the record was read from.
  const Value& getData() const { return bgData_; }

  // CRVScaleTypeWidth, CRVScaleTypeHeight, CRVScaleTypeBoth, or 0 when the component does not say.
  int32_t scale_type() const { return scale_type_; }
  void setScale_type(int32_t scale_type) { scale_type_ = scale_type; }
  const std::string& uri() const { return uri_; }
  void setUri(const std::string& uri) { uri_ = uri; }
  const std::string& campaingId() const { return campaingId_; }
  void setCampaingId(const std::string& campaingId) { campaingId_ = campaingId; }
  // As the component holds it (not converted).
  const Value& margin() const { return margin_; }
  void setMargin(const Value& margin) { margin_ = margin; }
  // As the component holds it (not converted).
  const Value& radius() const { return radius_; }
  void setRadius(const Value& radius) { radius_ = radius; }
  // A colour string, not parsed.
  const std::string& borderColor() const { return borderColor_; }
  void setBorderColor(const std::string& borderColor) { borderColor_ = borderColor; }
  // As the component holds it (not converted).
  const Value& borderWidth() const { return borderWidth_; }
  void setBorderWidth(const Value& borderWidth) { borderWidth_ = borderWidth; }
  // The "ios" entry of the component's "action" object.
  const std::optional<std::string>& action() const { return action_; }
  void setAction(const std::optional<std::string>& action) { action_ = action; }
  const Value& bgData() const { return bgData_; }
  void setBgData(const Value& bgData) { bgData_ = bgData; }

 private:

  int32_t scale_type_ = 0;
  std::string uri_;
  std::string campaingId_;
  Value margin_;
  Value radius_;
  std::string borderColor_;
  Value borderWidth_;
  std::optional<std::string> action_;
  Value bgData_;
};

}  // namespace corvana
