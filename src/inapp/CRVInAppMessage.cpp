#include "inapp/CRVInAppMessage.h"

#include <algorithm>
#include <cinttypes>

#include "corvana/platform.h"
#include "events/CRVDataManager.h"
#include "inapp/ui/CRVInAppViewController.h"
#include "inapp/ui/CRVStoryboard.h"
#include "inapp/ui/CRVIABackground.h"
#include "inapp/ui/CRVIAClose.h"
#include "inapp/ui/CRVIAImage.h"
#include "inapp/ui/CRVIAPrimaryButton.h"
#include "inapp/ui/CRVIAPrimaryText.h"
#include "inapp/ui/CRVIASecondaryButton.h"
#include "inapp/ui/CRVIASecondaryText.h"
#include "inapp/ui/ComponentValues.h"
#include "storage/CRVIOManager.h"
#include "util/CRVUtil.h"
#include "util/DateFormatter.h"
#include "util/Log.h"
#include "util/ValueConv.h"

namespace corvana {

namespace {

using component::valueFor;

// The date format of "start_time" and "end_time"; the offset comes from the text.
constexpr const char* kCampaignDatePattern = "yyyy-MM-dd'T'HH:mm:ssZZZZ";

// A string compared against a table: any other type matches nothing.
bool isText(const Value& value, const char* text) { return value.is_string() && value.get_ref<const std::string&>() == text; }

std::optional<std::string> uriOf(const Value& component) {
  const Value& uri = valueFor(component, "uri");
  if (!uri.is_string()) return std::nullopt;
  return uri.get<std::string>();
}

bool hasColour(const std::optional<std::string>& colour) { return !CRVUtil::isStringEmpty(colour); }

// The components each layout builds, all of them required ("close_button" is checked on its own afterwards).
struct LayoutComponents {
  const char* type;
  std::vector<const char*> components;
};

const std::vector<LayoutComponents>& layoutTable() {
  static const std::vector<LayoutComponents> table = {
      {"layout1", {"background", "image", "primary_text", "secondary_text", "primary_button"}},
      {"layout2", {"background", "image", "primary_button"}},
      {"layout3", {"background", "primary_text", "secondary_text", "primary_button", "secondary_button"}},
      {"layout4", {"image"}},
      {"layout5", {"image", "primary_text", "secondary_text", "primary_button"}},
      {"layout6", {"image", "primary_text", "secondary_text", "primary_button", "secondary_button"}},
  };
  return table;
}

}  // namespace

int32_t CRVInAppMessage::frequencyCodeOf(const Value& displayFrequency) {
  static const char* const names[] = {"everytime", "once_per_session", "everytime_until_cta",
                                      "once_per_session_until_cta", "once"};
  for (int32_t code = CRVFrequencyEverytime; code <= CRVFrequencyOnce; ++code) {
    if (isText(displayFrequency, names[code - 1])) return code;
  }
  return 0;
}

int32_t CRVInAppMessage::statusCodeOf(const Value& status) {
  if (isText(status, "pause")) return CRVStatusPaused;
  if (isText(status, "stop")) return CRVStatusStopped;
  return CRVStatusActive;
}

int32_t CRVInAppMessage::layoutCodeOf(const Value& type) {
  const auto& table = layoutTable();
  for (size_t at = 0; at < table.size(); ++at) {
    if (isText(type, table[at].type)) return CRVLayout1 + static_cast<int32_t>(at);
  }
  return CRVLayoutUnknown;
}

std::optional<double> CRVInAppMessage::getTimeStamp(const std::string& text) {
  // Making an ICU formatter costs far more than a parse, and every refresh rebuilds every stored campaign.
  thread_local const DateFormatter formatter(kCampaignDatePattern);
  const auto date = formatter.dateFromString(text);
  if (!date) return std::nullopt;
  return date->secondsSince1970 * 1000.0;
}

bool CRVInAppMessage::dateAndDate(const Date& a, const Date& b) { return !(a.secondsSince1970 > b.secondsSince1970); }

void CRVInAppMessage::drop(const std::string& label) const { component::logDropped(campaign_id_, label); }

std::shared_ptr<CRVInAppMessage> CRVInAppMessage::initWithDictionary(const Value& dictionary) {
  if (CRVUtil::isObjectNull(dictionary)) return nullptr;
  std::shared_ptr<CRVInAppMessage> message(new CRVInAppMessage());
  CRVInAppMessage& m = *message;
  m.data_ = dictionary;

  const Value& cid = valueFor(dictionary, "cid");
  if (CRVUtil::isObjectNull(cid)) {
    component::logDropped("nil", "campaingId");
    return nullptr;
  }
  m.campaign_id_ = component::textOf(cid);

  const Value& status = valueFor(dictionary, "status");
  if (CRVUtil::isObjectNull(status)) return m.drop("status"), nullptr;
  m.status_ = statusCodeOf(status);

  // The store learns of a pause or a stop even when the rest of this copy is refused.
  m.updateStateIfNeeded();

  m.layout_ = valueFor(dictionary, "layout");
  m.version_ = intValue(valueFor(dictionary, "version"));
  const Value& action = valueFor(dictionary, "action");
  if (!CRVUtil::isObjectNull(action)) m.action_ = component::textOf(action);

  const Value& trigger = valueFor(dictionary, "display_trigger");
  if (CRVUtil::isObjectNull(trigger)) return m.drop("display_trigger"), nullptr;
  m.display_trigger_ = component::textOf(trigger);

  const Value& frequency = valueFor(dictionary, "display_frequency");
  if (CRVUtil::isObjectNull(frequency)) return m.drop("display_frequency"), nullptr;
  m.display_frequency_ = frequencyCodeOf(frequency);

  const Value& endTime = valueFor(dictionary, "end_time");
  if (!endTime.is_string()) return m.drop("end_time"), nullptr;
  const auto end = getTimeStamp(endTime.get<std::string>());
  if (!end) return m.drop("end_time"), nullptr;
  m.end_time_ = *end;

  // An unreadable start time is no reason to refuse the campaign: it is then active from the moment it is stored.
  const Value& startTime = valueFor(dictionary, "start_time");
  if (startTime.is_string()) m.start_time_ = getTimeStamp(startTime.get<std::string>());

  const Value& type = valueFor(m.layout_, "type");
  if (CRVUtil::isObjectNull(type)) return m.drop("type"), nullptr;
  m.notificationType_ = layoutCodeOf(type);
  if (m.notificationType_ == CRVLayoutUnknown) return m.drop("type"), nullptr;
  if (!m.buildComponents(type.get<std::string>())) return nullptr;

  const Value& close = valueFor(m.layout_, "close_button");
  if (CRVUtil::isObjectNull(close)) return m.drop("close_button"), nullptr;
  m.closeButton_ = CRVIAClose::initWithDataWithCampaingId(close, m.campaign_id_);
  if (m.closeButton_) m.closeButton_->setFrequency(m.display_frequency_);

  if (!m.getResource(m.layout_)) return nullptr;
  return message;
}

bool CRVInAppMessage::buildComponents(const std::string& type) {
  const auto& table = layoutTable();
  const auto row = std::find_if(table.begin(), table.end(), [&](const LayoutComponents& r) { return type == r.type; });
  bool complete = true;
  for (const std::string name : row->components) {
    const Value& data = valueFor(layout_, name);
    if (name == "background") {
      background_ = CRVIABackground::initWithDataWithCampaingId(data, campaign_id_);
      complete = complete && background_;
    } else if (name == "image") {
      image_ = CRVIAImage::initWithDataWithCampaingId(data, campaign_id_);
      complete = complete && image_;
    } else if (name == "primary_text") {
      primaryText_ = CRVIAPrimaryText::initWithDataWithCampaingId(data, campaign_id_);
      complete = complete && primaryText_;
    } else if (name == "secondary_text") {
      secondaryText_ = CRVIASecondaryText::initWithDataWithCampaingId(data, campaign_id_);
      complete = complete && secondaryText_;
    } else if (name == "primary_button") {
      primaryButton_ = CRVIAPrimaryButton::initWithDataWithCampaingId(data, campaign_id_);
      complete = complete && primaryButton_;
    } else if (name == "secondary_button") {
      secondaryButton_ = CRVIASecondaryButton::initWithDataWithCampaingId(data, campaign_id_);
      complete = complete && secondaryButton_;
    }
  }
  if (!complete) drop(type);
  return complete;
}

bool CRVInAppMessage::getResource(const Value& layout) {
  CRVIOManager& cache = CRVIOManager::sharedInstance();
  const auto fetch = [&](const Value& component) { return cache.getFileFromServerWithId(uriOf(component), campaign_id_); };

  const Value& background = valueFor(layout, "background");
  if (!CRVUtil::isObjectNull(background) && !fetch(background) && !(background_ && hasColour(background_->color()))) {
    return drop("background uri"), false;
  }
  const Value& image = valueFor(layout, "image");
  if (!CRVUtil::isObjectNull(image) && !fetch(image)) return drop("image uri"), false;
  const Value& primary = valueFor(layout, "primary_button");
  if (!CRVUtil::isObjectNull(primary) && !fetch(primary) && !(primaryButton_ && hasColour(primaryButton_->color()))) {
    return drop("primary button uri"), false;
  }
  const Value& secondary = valueFor(layout, "secondary_button");
  if (CRVUtil::isObjectNull(secondary)) return true;
  if (!fetch(secondary) && !(secondaryButton_ && hasColour(secondaryButton_->color()))) {
    return drop("secondary button uri"), false;
  }
  return true;
}

void CRVInAppMessage::updateStateIfNeeded() {
  CRVResource resource;
  resource.setCampaignId(campaign_id_);
  resource.setEnable(CRVResource::kLeaveUnchanged);
  resource.setPaused(status_);
  CRVDataManager& store = CRVDataManager::sharedInstance();
  if (status_ == CRVStatusStopped) {
    store.clearCampaigns({campaign_id_});
  } else {
    store.updateResource(&resource);
  }
}

void CRVInAppMessage::show() {
  const auto storyboard = inAppStoryboard();
  if (!storyboard) return;
  const auto controller = std::dynamic_pointer_cast<CRVInAppViewController>(
      instantiateViewControllerWithIdentifier(*storyboard, containerView()));
  if (!controller) return;
  controller->setInapp(shared_from_this());
  inAppViewController_ = controller;

  Platform::current().mainQueue->async([controller, id = campaign_id_] {
    const auto& ui = Platform::current().ui;
    const auto root = ui ? ui->keyWindowRootViewController() : nullptr;
    if (!root) return;
    CRVTrace("-[CRVInAppMessage show]_block_invoke", 214, strfmt("showing campaign %s", id.c_str()));
    if (CRVUtil::compareSystemVersion("8") >= 0) {
      controller->setModalPresentationStyle(kModalPresentationCustom);
    } else {
      root->setModalPresentationStyle(kModalPresentationCurrentContext);
    }
    root->presentViewController(controller, /*animated=*/true);
  });
}

std::optional<std::string> CRVInAppMessage::getJsonData() const {
  std::string json;
  try {
    json = data_.dump(2);
  } catch (const Value::exception&) {
    CRVLog("CorvanaSDK-Failed to create json strin in InAppNotification");
    return std::nullopt;
  }
  return CRVUtil::sharedInstance().formatString(json);
}

std::string CRVInAppMessage::getStartTime() const {
  if (start_time_) return strfmt("%" PRId64, static_cast<int64_t>(*start_time_));
  return stringValue(Value(Platform::current().clock->now().secondsSince1970 * 1000.0));
}

std::string CRVInAppMessage::getEndTime() const { return strfmt("%" PRId64, static_cast<int64_t>(end_time_)); }

bool CRVInAppMessage::isValid() const {
  return dateAndDate(Platform::current().clock->now(), Date{end_time_ / 1000.0});
}

std::string CRVInAppMessage::containerView() const {
  if (notificationType_ >= CRVLayout1 && notificationType_ < CRVLayout1 + 3) return "CRVInAppViewControllerPop";
  if (notificationType_ >= CRVLayout1 + 3 && notificationType_ <= CRVLayout6) return "CRVInAppViewControllerFull";
  return "";
}

}  // namespace corvana
