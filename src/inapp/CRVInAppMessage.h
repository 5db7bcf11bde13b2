#pragma once

// One in-app message campaign, built from an element of the sync answer's "inapp" list or from the JSON text the
// campaign store keeps. Building is validating: `initWithDictionary` answers a complete campaign, with every image
// it needs in the resource cache, or nothing after one "Dropping campaign" line. In passing it pushes the
// campaign's server-side status ("active", "pause", "stop") into the campaign store, before anything else is
// checked, so that a pause or a stop reaches a stored campaign even when the new copy is refused.
//
// Building runs on the caller's thread and blocks on image downloads.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvana/value.h"
#include "inapp/CRVResource.h"

namespace corvana {

class CRVIABackground;
class CRVIAImage;
class CRVIAPrimaryText;
class CRVIASecondaryText;
class CRVIAPrimaryButton;
class CRVIASecondaryButton;
class CRVIAClose;
class CRVInAppViewController;

// Display-frequency codes, as the campaign store keeps them; any other "display_frequency" is 0 (shown like
// "everytime").
inline constexpr int32_t CRVFrequencyEverytime = 1;
inline constexpr int32_t CRVFrequencyOncePerSession = 2;
inline constexpr int32_t CRVFrequencyEverytimeUntilCta = 3;
inline constexpr int32_t CRVFrequencyOncePerSessionUntilCta = 4;
inline constexpr int32_t CRVFrequencyOnce = 5;

// Layout codes of "layout1" .. "layout6"; 107 for any other "type".
inline constexpr int32_t CRVLayout1 = 101;
inline constexpr int32_t CRVLayout6 = 106;
inline constexpr int32_t CRVLayoutUnknown = 107;

// Campaign status codes ("active", "pause", "stop"); any other "status" reads as active.
inline constexpr int32_t CRVStatusActive = 0;
inline constexpr int32_t CRVStatusPaused = 1;
inline constexpr int32_t CRVStatusStopped = -1;

class CRVInAppMessage : public std::enable_shared_from_this<CRVInAppMessage> {
 public:
  // The built campaign, or none: without a log line for a null dictionary, otherwise after one drop line
  // "CorvanaSDK- Dropping campaign <cid> due to <label> have nil or bad value" (<cid> is "nil" when the campaign
  // has none).
  static std::shared_ptr<CRVInAppMessage> initWithDictionary(const Value& dictionary);

  // The codes of the tables above.
  static int32_t frequencyCodeOf(const Value& displayFrequency);
  static int32_t statusCodeOf(const Value& status);
  static int32_t layoutCodeOf(const Value& type);

  // Milliseconds since 1970 of a "yyyy-MM-dd'T'HH:mm:ssZZZZ" date ("2026-03-01T10:00:00+0100", "...+01:00",
  // "...GMT+01:00", "...Z"), read with the device's locale and time zone; none when the text is no such date.
  static std::optional<double> getTimeStamp(const std::string& text);
  // True unless `a` is later than `b`.
  static bool dateAndDate(const Date& a, const Date& b);

  // Fetches the image of each component present in the layout object ("background", "image", "primary_button",
  // "secondary_button", in that order) through the resource cache. A background or button whose image cannot be
  // had is still accepted when its record has a colour; false after the drop line of the first refusal.
  bool getResource(const Value& layout);
  // Sends the status to the campaign store: a stopped campaign is cleared from it, any other has its paused flag
  // set to its status (an unknown campaign is left alone).
  void updateStateIfNeeded();
  // Puts the campaign on screen from any thread: its host controller is made from the "CRVInApp" storyboard
  // here, and presented, animated, over the key window's root view controller on the main queue. Nothing is
  // shown without the storyboard, its scene or a root view controller.
  void show();
  // The controller hosting the campaign once `show` has made it; none after it has gone.
  std::shared_ptr<CRVInAppViewController> inAppViewController() const { return inAppViewController_.lock(); }

  // The whole campaign as pretty-printed JSON, ready to stand in a single-quoted SQL literal (quotes doubled,
  // line feeds made blanks); none, after a log line, when it cannot be written.
  std::optional<std::string> getJsonData() const;
  // "start_time" in whole milliseconds; the current time in milliseconds when the campaign has no usable one.
  std::string getStartTime() const;
  // "end_time" in whole milliseconds.
  std::string getEndTime() const;
  // True while the current time has not passed the end time (the start time is not considered).
  bool isValid() const;
  // The storyboard scene that hosts the layout: "CRVInAppViewControllerPop" for layouts 1-3,
  // "CRVInAppViewControllerFull" for 4-6, "" otherwise.
  std::string containerView() const;

  const std::string& getCampaignId() const { return campaign_id_; }
  const std::string& getDisplayTrigger() const { return display_trigger_; }
  int32_t getFrequency() const { return display_frequency_; }
  int32_t getType() const { return notificationType_; }
  const Value& getLayout() const { return layout_; }
  const std::optional<std::string>& getAction() const { return action_; }

  const Value& data() const { return data_; }
  const std::string& campaign_id() const { return campaign_id_; }
  int32_t status() const { return status_; }
  const Value& layout() const { return layout_; }
  int32_t version() const { return version_; }
  const std::optional<std::string>& action() const { return action_; }
  const std::string& display_trigger() const { return display_trigger_; }
  int32_t display_frequency() const { return display_frequency_; }
  const std::optional<double>& start_time() const { return start_time_; }
  double end_time() const { return end_time_; }
  int32_t notificationType() const { return notificationType_; }
  bool end_on_action() const { return end_on_action_; }

  const std::shared_ptr<CRVIABackground>& background() const { return background_; }
  const std::shared_ptr<CRVIAImage>& image() const { return image_; }
  const std::shared_ptr<CRVIAPrimaryText>& primaryText() const { return primaryText_; }
  const std::shared_ptr<CRVIASecondaryText>& secondaryText() const { return secondaryText_; }
  const std::shared_ptr<CRVIAPrimaryButton>& primaryButton() const { return primaryButton_; }
  const std::shared_ptr<CRVIASecondaryButton>& secondaryButton() const { return secondaryButton_; }
  const std::shared_ptr<CRVIAClose>& closeButton() const { return closeButton_; }

 private:
  CRVInAppMessage() = default;

  // Builds the records the layout lists; false (after the drop line naming the layout) when one is refused.
  bool buildComponents(const std::string& type);
  void drop(const std::string& label) const;

  Value data_;
  std::string campaign_id_;
  int32_t status_ = CRVStatusActive;
  Value layout_;
  int32_t version_ = 0;
  std::optional<std::string> action_;
  std::string display_trigger_;
  int32_t display_frequency_ = 0;
  std::optional<double> start_time_;
  double end_time_ = 0.0;
  int32_t notificationType_ = 0;
  bool end_on_action_ = false;  // no path sets it

  std::shared_ptr<CRVIABackground> background_;
  std::shared_ptr<CRVIAImage> image_;
  std::shared_ptr<CRVIAPrimaryText> primaryText_;
  std::shared_ptr<CRVIASecondaryText> secondaryText_;
  std::shared_ptr<CRVIAPrimaryButton> primaryButton_;
  std::shared_ptr<CRVIASecondaryButton> secondaryButton_;
  std::shared_ptr<CRVIAClose> closeButton_;
  // The controller holds its campaign; the campaign only refers back to it.
  std::weak_ptr<CRVInAppViewController> inAppViewController_;
};

}  // namespace corvana
