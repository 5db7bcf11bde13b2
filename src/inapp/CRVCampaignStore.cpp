// The campaign half of CRVDataManager: the table `crvn_inapp` and the trigger handler's table kept in step with it.

#include <mutex>

#include "events/CRVDataManager.h"
#include "inapp/CRVInAppHandler.h"
#include "inapp/CRVInAppMessage.h"
#include "inapp/CRVResource.h"
#include "storage/CRVIOManager.h"
#include "util/Log.h"

namespace corvana {

namespace {

// The statements keep their historical spacing; values are formatted in, not bound.
constexpr const char* kSaveCampaign =
    "INSERT OR REPLACE INTO crvn_inapp (inapp_msg,campaignId,event,startTime,endTime,inapp_frequency) VALUES "
    "('%s','%s','%s','%s','%s','%d');";
constexpr const char* kCampaignForEvent =
    "select * from crvn_inapp where event = '%s' AND enable = 1 AND paused = 0 AND "
    "datetime(startTime/1000,'unixepoch') < datetime('now') AND datetime(endTime/1000,'unixepoch') > "
    "datetime('now')  ORDER BY _id DESC LIMIT 1";
constexpr const char* kUpdateEnableAndPaused = "Update crvn_inapp set enable=%d , paused=%d where campaignId = '%s';";
constexpr const char* kUpdateEnable = "Update crvn_inapp set enable=%d where campaignId = '%s';";
constexpr const char* kUpdatePaused = "Update crvn_inapp set paused=%d where campaignId = '%s';";
constexpr const char* kUpdateEnableOfFrequencies =
    "Update crvn_inapp set enable=%d where inapp_frequency = %d OR inapp_frequency = %d;";
constexpr const char* kDeleteCampaign = "delete from crvn_inapp where campaignId='%s'";
constexpr const char* kExpiredCampaignIds =
    "select campaignId from crvn_inapp where datetime(endTime/1000,'unixepoch') < datetime('now')";
constexpr const char* kTriggerEvents = "select DISTINCT event from crvn_inapp";
constexpr const char* kExpiredCampaigns =
    "select * from crvn_inapp where datetime(endTime /1000,'unixepoch') < datetime('now')";

constexpr const char* kSaveCampaignMethod = "-[CRVDataManager saveCampaign:]";

std::optional<std::string> stringColumn(const Value& row, const char* column) {
  const auto value = row.find(column);
  if (value == row.end() || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

}  // namespace

void CRVDataManager::saveCampaign(const std::shared_ptr<CRVInAppMessage>& campaign) {
  if (!campaign) return;
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  // The campaigns of one sync are saved one after another on the in-app queue: they share a commit as events do.
  const bool grouped = joinGroup();
  (void)sql_.openDatabase();
  // A campaign that cannot be written as JSON is stored with the text "(null)", as the statement reads it.
  const std::string json = campaign->getJsonData().value_or(kNullDescription);
  const std::string sql = strfmt(kSaveCampaign, json.c_str(), campaign->getCampaignId().c_str(),
                                 campaign->getDisplayTrigger().c_str(), campaign->getStartTime().c_str(),
                                 campaign->getEndTime().c_str(), campaign->getFrequency());
  if (const auto error = sql_.doQuery(sql)) {
    CRVTrace(kSaveCampaignMethod, 63,
             strfmt("Failed to save CampaignId : %s due to %s", campaign->getCampaignId().c_str(),
                    LorrowSQLiteManager::describeError(*error).c_str()));
  } else {
    CRVTrace(kSaveCampaignMethod, 65, strfmt("Saved CampaignId : %s successfully", campaign->getCampaignId().c_str()));
  }
  (void)sql_.closeDatabase();
  if (!grouped) commitGroup();
}

std::shared_ptr<CRVInAppMessage> CRVDataManager::getCampaign(const std::optional<std::string>& eventName) {
  if (!eventName) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.openDatabase();
  const std::vector<Value> rows = sql_.getRowsForQuery(strfmt(kCampaignForEvent, eventName->c_str()));
  (void)sql_.closeDatabase();
  if (rows.empty()) return nullptr;
  const auto text = stringColumn(rows.front(), "inapp_msg");
  const Value json = Value::parse(text.value_or(""), nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) return nullptr;
  // Rebuilding pushes the campaign's status back into this store and finds its images in the cache.
  return CRVInAppMessage::initWithDictionary(json);
}

void CRVDataManager::updateResource(const CRVResource* resource) {
  if (!resource) return;
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  const auto& id = resource->campaignId();
  const int32_t enable = resource->enable();
  const int32_t paused = resource->paused();
  constexpr int32_t keep = CRVResource::kLeaveUnchanged;
  std::string sql;
  if (id && enable != keep && paused != keep) {
    sql = strfmt(kUpdateEnableAndPaused, enable, paused, id->c_str());
  } else if (id && enable != keep) {
    sql = strfmt(kUpdateEnable, enable, id->c_str());
  } else if (id && paused != keep) {
    sql = strfmt(kUpdatePaused, paused, id->c_str());
  } else if (!id && enable != keep) {
    sql = strfmt(kUpdateEnableOfFrequencies, enable, CRVFrequencyOncePerSessionUntilCta, CRVFrequencyOncePerSession);
  } else {
    return;
  }
  // Building a campaign pushes its status back here, once per campaign of a sync: on a queue these share the
  // sync's commit; a tap's change on the main thread commits at once.
  const bool grouped = joinGroup();
  if (!grouped) (void)sql_.beginTransaction();
  (void)sql_.openDatabase();
  (void)sql_.doQuery(sql);
  (void)sql_.closeDatabase();
  if (!grouped) commitGroup();
}

void CRVDataManager::clearCampaigns(const std::vector<std::string>& campaignIds) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  for (const std::string& id : campaignIds) {
    CRVResource resource;
    resource.setCampaignId(id);
    clearCampaign(&resource);
  }
}

void CRVDataManager::clearCampaign(const CRVResource* resource) {
  if (!resource) return;
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  const std::string id = resource->campaignId().value_or(kNullDescription);
  (void)sql_.beginTransaction();
  (void)sql_.openDatabase();
  (void)sql_.doQuery(strfmt(kDeleteCampaign, id.c_str()));
  (void)sql_.closeDatabase();
  commitGroup();
  CRVIOManager::sharedInstance().clearFile(*resource);
  CRVInAppHandler::sharedInstance().removeTriggerCampaign(id);
}

void CRVDataManager::clearExpiredCampaign() {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.openDatabase();
  const std::vector<Value> rows = sql_.getRowsForQuery(kExpiredCampaignIds);
  (void)sql_.closeDatabase();
  if (rows.empty()) return;
  // One per call: the next refresh clears the next one.
  if (const auto id = stringColumn(rows.front(), "campaignId")) {
    CRVResource resource;
    resource.setCampaignId(*id);
    clearCampaign(&resource);
  }
}

void CRVDataManager::getAllValidMessages() {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  // Rebuilding each campaign writes its status back: the whole refill is one commit, not one per campaign.
  struct Batch {
    CRVDataManager& store;
    explicit Batch(CRVDataManager& s) : store(s) {
      ++store.batchDepth_;
      (void)store.sql_.beginTransaction();
    }
    ~Batch() {
      --store.batchDepth_;
      store.commitGroup();
    }
  } batch(*this);
  CRVInAppHandler& handler = CRVInAppHandler::sharedInstance();
  handler.resetTriggerTable();
  clearExpiredCampaign();
  (void)sql_.openDatabase();
  const std::vector<Value> events = sql_.getRowsForQuery(kTriggerEvents);
  (void)sql_.closeDatabase();
  for (const Value& row : events) {
    const auto event = stringColumn(row, "event");
    if (!event) continue;
    if (auto campaign = getCampaign(event)) handler.setTriggerCampaign(*event, std::move(campaign));
  }
}

void CRVDataManager::cleanUpInapp() {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.openDatabase();
  const std::vector<Value> rows = sql_.getRowsForQuery(kExpiredCampaigns);
  (void)sql_.closeDatabase();
  if (rows.empty()) return;
  CRVResource resource;
  resource.setCampaignId(stringColumn(rows.front(), "campaignId"));
  clearCampaign(&resource);
}

}  // namespace corvana
