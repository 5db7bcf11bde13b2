#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvana/value.h"
#include "inapp/ui/ComponentValues.h"

namespace corvana {

// A text of an in-app layout (the "primary_text" component): its content and style, read once from the
// campaign's component object.
class CRVIAPrimaryText {
 public:
  CRVIAPrimaryText() = default;
  virtual ~CRVIAPrimaryText() = default;

  // The record of the component, or none. A null component gives none silently; a missing campaign identifier,
  // a missing or null required key and an unknown alignment give none after a drop message.
  static std::shared_ptr<CRVIAPrimaryText> initWithDataWithCampaingId(const Value& data,
                                                                      const std::optional<std::string>& campaignId);
  // Fills a fresh record from its component data; false drops it. Use initWithDataWithCampaingId.
  bool loadComponent(const Value& data, const std::optional<std::string>& campaignId);

  // The whole component object the record was read from.
  const Value& getData() const { return bgData_; }

  bool bold() const { return bold_; }
  void setBold(bool bold) { bold_ = bold; }
  bool italic() const { return italic_; }
  void setItalic(bool italic) { italic_ = italic; }
  bool underline() const { return underline_; }
  void setUnderline(bool underline) { underline_ = underline; }
  // CRVAlignmentStart, CRVAlignmentEnd or CRVAlignmentCenter.
  int32_t alignment() const { return alignment_; }
  void setAlignment(int32_t alignment) { alignment_ = alignment; }
  // The integer reading of "size", as a number.
  const Value& size() const { return size_; }
  void setSize(const Value& size) { size_ = size; }
  // A colour string, not parsed.
  const std::string& color() const { return color_; }
  void setColor(const std::string& color) { color_ = color; }
  const std::string& text() const { return text_; }
  void setText(const std::string& text) { text_ = text; }
  const std::string& campaingId() const { return campaingId_; }
  void setCampaingId(const std::string& campaingId) { campaingId_ = campaingId; }
  // The "ios" entry of the component's "action" object.
  const std::optional<std::string>& action() const { return action_; }
  void setAction(const std::optional<std::string>& action) { action_ = action; }
  const Value& bgData() const { return bgData_; }
  void setBgData(const Value& bgData) { bgData_ = bgData; }

 protected:
  // Validates the component in its fixed order and fills the record; false at the first failure.

 private:
  bool bold_ = false;
  bool italic_ = false;
  bool underline_ = false;
  int32_t alignment_ = 0;
  Value size_;
  std::string color_;
  std::string text_;
  std::string campaingId_;
  std::optional<std::string> action_;
  Value bgData_;
};

}  // namespace corvana
