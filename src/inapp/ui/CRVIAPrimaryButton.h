#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"
#include "inapp/ui/ComponentValues.h"

namespace corvana {

// A button of an in-app layout (the "primary_button" component). Its visual keys ("color", "style",
// "gradient", "border") are required only when the button shows an image ("uri"); a plain button may omit
// them all.
class CRVIAPrimaryButton {
 public:
  CRVIAPrimaryButton() = default;
  virtual ~CRVIAPrimaryButton() = default;

  // The record of the component, or none. A null component gives none silently; a missing campaign identifier,
  // a missing or null required key and an unknown style give none after a drop message. A missing "border" is
  // always reported, even when the button is then accepted.
  static std::shared_ptr<CRVIAPrimaryButton> initWithDataWithCampaingId(const Value& data,
                                                                        const std::optional<std::string>& campaignId);
  // Fills a fresh record from its component data; false drops it. Use initWithDataWithCampaingId.
  bool loadComponent(const Value& data, const std::optional<std::string>& campaignId);

  // The whole component object the record was read from.
  const Value& getData() const { return bgData_; }

  bool gradient() const { return gradient_; }
  void setGradient(bool gradient) { gradient_ = gradient; }
  bool border() const { return border_; }
  void setBorder(bool border) { border_ = border; }
  bool bold() const { return bold_; }
  void setBold(bool bold) { bold_ = bold; }
  bool italic() const { return italic_; }
  void setItalic(bool italic) { italic_ = italic; }
  bool underline() const { return underline_; }
  void setUnderline(bool underline) { underline_ = underline; }
  // 1, 2 or 3 for "style1" .. "style3"; 0 when the button has none.
  int32_t style() const { return style_; }
  void setStyle(int32_t style) { style_ = style; }
  // A colour string, not parsed.
  const std::optional<std::string>& color() const { return color_; }
  void setColor(const std::optional<std::string>& color) { color_ = color; }
  const std::string& campaingId() const { return campaingId_; }
  void setCampaingId(const std::string& campaingId) { campaingId_ = campaingId; }
  const std::optional<std::string>& uri() const { return uri_; }
  void setUri(const std::optional<std::string>& uri) { uri_ = uri; }
  const std::string& text() const { return text_; }
  void setText(const std::string& text) { text_ = text; }
  // The integer reading of "text_size", as a number.
  const Value& textSize() const { return textSize_; }
  void setTextSize(const Value& textSize) { textSize_ = textSize; }
  // A colour string, not parsed.
  const std::string& textColor() const { return textColor_; }
  void setTextColor(const std::string& textColor) { textColor_ = textColor; }
  // The "ios" entry of the component's "action" object.
  const std::optional<std::string>& action() const { return action_; }
  void setAction(const std::optional<std::string>& action) { action_ = action; }
  const Value& bgData() const { return bgData_; }
  void setBgData(const Value& bgData) { bgData_ = bgData; }

 protected:
  // Validates the component in its fixed order and fills the record; false at the first failure.

 private:
  bool gradient_ = false;
  bool border_ = false;
  bool bold_ = false;
  bool italic_ = false;
  bool underline_ = false;
  int32_t style_ = 0;
  std::optional<std::string> color_;
  std::string campaingId_;
  std::optional<std::string> uri_;
  std::string text_;
  Value textSize_;
  std::string textColor_;
  std::optional<std::string> action_;
  Value bgData_;
};

}  // namespace corvana
