#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace corvana {

// An update of one stored campaign (or, without a campaign id, of every campaign shown once per session):
// the new `enable` and `paused` values, where kLeaveUnchanged keeps the stored one.
class CRVResource {
 public:
  static constexpr int32_t kLeaveUnchanged = 2;

  const std::optional<std::string>& campaignId() const { return campaignId_; }
  void setCampaignId(std::optional<std::string> campaignId);
  int32_t enable() const { return enable_; }
  void setEnable(int32_t enable);
  int32_t paused() const { return paused_; }
  void setPaused(int32_t paused);

 private:
  std::optional<std::string> campaignId_;
  int32_t enable_ = 0;
  int32_t paused_ = 0;
};

}  // namespace corvana
