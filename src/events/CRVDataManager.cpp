#include "events/CRVDataManager.h"

#include <set>

#include "corvana/dispatch.h"
#include "util/Log.h"

namespace corvana {

namespace {

constexpr const char* kDatabaseName = "lorrowab.sqlite";

constexpr const char* kCreateEventsTable =
    "CREATE TABLE IF NOT EXISTS lorrow_events (_id INTEGER PRIMARY KEY, event TEXT NOT NULL);";
// The spacing around the commas is how the table has always been created; keep it.
constexpr const char* kCreateInAppTable =
    "CREATE TABLE IF NOT EXISTS crvn_inapp (_id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, inapp_msg TEXT NOT "
    "NULL, campaignId TEXT NOT NULL unique, event TEXT NOT NULL,startTime TEXT NOT NULL, endTime TEXT NOT NULL "
    ",enable integer DEFAULT 1 , paused integer DEFAULT 0, inapp_frequency integer);";

// A group of saves commits at this size even when more are waiting, which bounds the write-ahead log.
constexpr int kMaxGroupedSaves = 512;

// Events that the row limit never drops.
constexpr const char* kCrucialEventTypes[] = {"push", "init", "user"};

}  // namespace

CRVDataManager& CRVDataManager::sharedInstance() {
  // Created once and never destroyed: the database lives as long as the process.
  static CRVDataManager* instance = new CRVDataManager();
  return *instance;
}

CRVDataManager::CRVDataManager()
    : sql_(kDatabaseName), dateFormatter_("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", "en_US_POSIX", "UTC") {
  // A damaged file would fail every statement for the life of the installation; a new one keeps recording.
  (void)sql_.setAsideIfUnusable();
  (void)sql_.openDatabase();
  (void)sql_.doQuery(kCreateEventsTable);
  (void)sql_.doQuery(kCreateInAppTable);
  (void)sql_.closeDatabase();
}

bool CRVDataManager::joinGroup() {
  if (batchDepth_ > 0) return sql_.beginTransaction();
  if (commitQueued_ && sql_.inTransaction() && groupedSaves_ < kMaxGroupedSaves) {
    ++groupedSaves_;
    return true;
  }
  commitGroup();
  DispatchQueue* queue = DispatchQueue::current();
  if (!queue || !sql_.beginTransaction()) return false;
  // The commit waits behind what was already queued, so a burst of saves pays for one sync; it is queued at once,
  // so a group never stays open while the queue is idle.
  const uint64_t generation = ++groupGeneration_;
  commitQueued_ = true;
  groupedSaves_ = 1;
  queue->async([this, generation] {
    std::lock_guard<std::recursive_mutex> lock(databaseLock_);
    if (generation == groupGeneration_) commitGroup();
  });
  return true;
}

void CRVDataManager::commitGroup() {
  if (batchDepth_ > 0) return;  // the batch commits as it ends
  commitQueued_ = false;
  groupedSaves_ = 0;
  if (!sql_.inTransaction()) return;
  if (commitListener_) commitListener_(false);
  if (sql_.commitTransaction() && commitListener_) commitListener_(true);
}

void CRVDataManager::commitPendingEvents() {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  commitGroup();
}

void CRVDataManager::saveEventInDB(const Value& record) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  if (record.is_null()) return;
  const bool grouped = joinGroup();
  if (!grouped) (void)sql_.beginTransaction();  // the insert and the limit's statements still commit once
  (void)sql_.openDatabase();
  // Compact, one line, UTF-8; text that is not valid UTF-8 is replaced rather than failing the record.
  const std::string json = record.dump(-1, ' ', false, Value::error_handler_t::replace);
  // Not escaped: a single quote in the record breaks the statement and the record is lost without a report.
  (void)sql_.doQuery(strfmt("INSERT INTO lorrow_events (event) VALUES ('%s');", json.c_str()));
  checkEventsThreshold();
  (void)sql_.closeDatabase();
  if (!grouped) commitGroup();
}

void CRVDataManager::getEventsDataWith(
    const std::function<void(const std::string& events, const std::vector<int64_t>& ids)>& block) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.openDatabase();
  std::string events;
  std::vector<int64_t> ids;
  bool first = true;
  // Read as text straight into the body: a report reads up to the whole table, and a map per row was most of
  // its cost.
  sql_.forEachRow("SELECT * from lorrow_events", [&](const SQLRow& row) {
    if (!first) events += "\n";
    first = false;
    const SQLColumn* event = nullptr;
    const SQLColumn* id = nullptr;
    for (const SQLColumn& column : row) {  // the last column of a name wins, as in a row read into a map
      if (column.name == "event") event = &column;
      if (column.name == "_id") id = &column;
    }
    if (event && event->text) events += *event->text;
    if (id && id->integer) ids.push_back(*id->integer);
  });
  (void)sql_.closeDatabase();
  if (block) block(events, ids);
}

void CRVDataManager::cleanUpEventsWith(const std::vector<int64_t>& ids) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.beginTransaction();
  (void)sql_.openDatabase();
  std::string list;
  for (size_t i = 0; i < ids.size(); ++i) {
    if (i > 0) list += ",";
    list += std::to_string(ids[i]);
  }
  // An empty list makes the statement fail, silently: nothing is deleted.
  (void)sql_.doQuery(strfmt("DELETE FROM lorrow_events WHERE _id IN (%s);", list.c_str()));
  (void)sql_.closeDatabase();
  commitGroup();
}

CRVDataManager::ReportedRows CRVDataManager::holdForReport(const std::vector<int64_t>& ids) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  auto rows = std::make_shared<std::vector<int64_t>>(ids);
  reportsInFlight_.push_back(rows);
  return rows;
}

void CRVDataManager::cleanUpReported(const ReportedRows& rows) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  releaseReported(rows);
  const std::set<int64_t> deleted(rows->begin(), rows->end());
  for (const ReportedRows& other : reportsInFlight_) {
    std::erase_if(*other, [&](int64_t id) { return deleted.count(id) > 0; });
  }
  // An overlapping report already deleted them all: nothing of this one's is left to delete.
  if (!rows->empty()) cleanUpEventsWith(*rows);
  rows->clear();  // a repeated answer deletes nothing
}

void CRVDataManager::releaseReported(const ReportedRows& rows) {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  std::erase(reportsInFlight_, rows);
}

void CRVDataManager::cleanUpAppEvents() {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  for (const ReportedRows& report : reportsInFlight_) report->clear();  // their ids are free for new rows now
  (void)sql_.beginTransaction();
  (void)sql_.openDatabase();
  (void)sql_.doQuery("delete from lorrow_events");
  (void)sql_.closeDatabase();
  commitGroup();
}

void CRVDataManager::getAllEventsEventsData() {
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.openDatabase();
  (void)sql_.closeDatabase();
}

void CRVDataManager::checkEventsThreshold() {
  // Read before the lock: this only stops re-entry from the same thread.
  if (isQuerying_.load()) return;
  std::lock_guard<std::recursive_mutex> lock(databaseLock_);
  (void)sql_.openDatabase();
  isQuerying_.store(true);

  const std::vector<Value> counted = sql_.getRowsForQuery("SELECT COUNT(*) FROM lorrow_events");
  int32_t count = 0;
  if (!counted.empty()) {
    const Value value = counted.front().value("COUNT(*)", Value());
    if (value.is_number_integer()) count = value.get<int32_t>();
  }
  // The newest event is the one dropped, so a full table keeps its backlog and discards what arrives.
  if (count >= MAX_CHECKPOINTS_COUNT) {
    const std::vector<Value> newest = sql_.getRowsForQuery(
        "select event from lorrow_events where _id = (select MAX(_id) from lorrow_events)");
    std::string event;
    if (!newest.empty()) {
      const Value text = newest.front().value("event", Value());
      if (text.is_string()) event = text.get<std::string>();
    }
    if (canDeleteEvent(event)) {
      (void)sql_.doQuery("delete from lorrow_events where _id = (select MAX(_id) from lorrow_events)");
    }
  }

  (void)sql_.closeDatabase();
  isQuerying_.store(false);
}

bool CRVDataManager::canDeleteEvent(const std::string& json) {
  const Value event = Value::parse(json, nullptr, /*allow_exceptions=*/false);
  bool crucial = false;
  if (event.is_object()) {
    const auto type = event.find("event_type");
    if (type != event.end() && type->is_string()) {
      for (const char* crucialType : kCrucialEventTypes) {
        if (*type == crucialType) {
          crucial = true;
          break;
        }
      }
    }
  }
  if (crucial) {
    CRVLog("CorvanaSDK-Event delete opration prevented, Can not delete crucial events .");
    return false;
  }
  return true;
}

}  // namespace corvana
