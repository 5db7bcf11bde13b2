#pragma once

// The SDK's database "lorrowab.sqlite" (in the Documents folder): the event table `lorrow_events` and the
// campaign table `crvn_inapp`. This file declares the construction and the event half; the campaign half of the
// same class is implemented with the campaign store.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "corvana/constants.h"
#include "corvana/value.h"
#include "storage/LorrowSQLiteManager.h"
#include "util/DateFormatter.h"

namespace corvana {

class Object;
class CRVInAppMessage;
class CRVResource;

class CRVDataManager {
 public:
  // Created once, thread-safely, on first use; it opens the database and creates both tables.
  static CRVDataManager& sharedInstance();

  CRVDataManager(const CRVDataManager&) = delete;
  CRVDataManager& operator=(const CRVDataManager&) = delete;

  LorrowSQLiteManager& sql() { return sql_; }
  // True while the row limit is being enforced (it stops re-entry on the same thread).
  bool isQuerying() const { return isQuerying_.load(); }
  void setIsQuerying(bool value) { isQuerying_.store(value); }
  // Held by every statement on the database, events and campaigns. Re-entrant.
  std::recursive_mutex& databaseLock() { return databaseLock_; }
  // "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'" in UTC with the "en_US_POSIX" locale; use it only under `databaseLock`.
  DateFormatter& dateFormatter() { return dateFormatter_; }

  // ---- Events -------------------------------------------------------------------------------------------------
  // Appends one event record as compact JSON, then enforces the row limit. A null record is ignored. The text
  // goes into the statement as it is: a record holding a single quote makes the insert fail, silently.
  void saveEventInDB(const Value& record);
  // Hands every stored event to `block`: their JSON texts joined by "\n" (no trailing line feed) and their row
  // ids, both in row order. The block runs inside `databaseLock`: it must not wait for another thread that needs
  // the database.
  void getEventsDataWith(const std::function<void(const std::string& events, const std::vector<int64_t>& ids)>& block);
  // Makes every saved event durable now. Saves made on a serial queue share one commit, queued behind the work
  // that was waiting when the first of them was saved; a caller that must not get ahead of that commit (a setting
  // that says an event was stored) calls this first.
  void commitPendingEvents();
  // Told, under databaseLock, just before a commit (false) and once it returned durable (true): every write of
  // this class commits through here. For tests and diagnostics that need to know what a power cut may take.
  void setCommitListener(std::function<void(bool durable)> listener) { commitListener_ = std::move(listener); }
  // Deletes the rows with these ids (an empty list deletes nothing).
  void cleanUpEventsWith(const std::vector<int64_t>& ids);
  // The rows of one report in flight, from its snapshot to its answer. Row ids are reused once the newest rows
  // are deleted, so a late answer must not delete by the snapshot's ids blindly: when overlapping reports sent
  // the same rows and one of them is confirmed, those ids leave every other report in flight, and a later
  // confirmation deletes only what is still its own.
  using ReportedRows = std::shared_ptr<std::vector<int64_t>>;
  ReportedRows holdForReport(const std::vector<int64_t>& ids);
  // The report was confirmed: deletes its rows not already deleted by an overlapping report.
  void cleanUpReported(const ReportedRows& rows);
  // The report failed: its rows stay, and it no longer holds them.
  void releaseReported(const ReportedRows& rows);
  // Deletes every event.
  void cleanUpAppEvents();
  // Opens and closes the database under the lock; reads nothing.
  void getAllEventsEventsData();
  // With MAX_CHECKPOINTS_COUNT rows or more, drops the newest event unless it is crucial.
  void checkEventsThreshold();
  // Whether the limit may drop this stored event: not when its "event_type" is "push", "init" or "user" (then
  // one log line is written).
  bool canDeleteEvent(const std::string& json);

  // ---- Campaigns (the table `crvn_inapp`) --------------------------------------------------------------------
  // Each runs under `databaseLock` and may be entered again from inside another (a campaign rebuilt by
  // `getCampaign` pushes its status back here). Values go into the statements as they are: a campaign id with a
  // single quote breaks its statement, silently.

  // Stores the campaign, replacing any row of its id: the new row is the newest, enabled and not paused.
  void saveCampaign(const std::shared_ptr<CRVInAppMessage>& campaign);
  // The newest enabled, unpaused campaign for the event whose start lies before now and whose end lies after
  // now (both to the second, in UTC), rebuilt from its stored JSON; none when there is no such row or the
  // stored campaign no longer builds.
  std::shared_ptr<CRVInAppMessage> getCampaign(const std::optional<std::string>& eventName);
  // Writes the columns the record does not leave unchanged; without a campaign id, `enable` of every campaign
  // shown once per session (frequencies 2 and 4).
  void updateResource(const CRVResource* resource);
  // clearCampaign for each id, in order.
  void clearCampaigns(const std::vector<std::string>& campaignIds);
  // Deletes the campaign's row, asks the resource cache to clear its files and removes its trigger entry.
  void clearCampaign(const CRVResource* resource);
  // Clears one campaign whose end time has passed (the first the table lists); the next call clears the next.
  void clearExpiredCampaign();
  // Refills the trigger handler's table: clears one expired campaign, then maps every stored trigger event to
  // its campaign of `getCampaign`, where there is one.
  void getAllValidMessages();
  // Clears the first campaign whose end time has passed.
  void cleanUpInapp();

  // ---- JSON coercion ------------------------------------------------------------------------------------------
  // How the data manager names itself in log lines: "<CRVDataManager: 0x...>" with its address.
  std::string description() const;
  // The object as a JSON value: strings, numbers (booleans, NaN and the infinities included) and null as they
  // are; arrays and maps element by element; a key that is not a string becomes its description and a later key
  // with the same text overwrites an earlier one; a date becomes the text of `dateFormatter` (taken under
  // `databaseLock`); a URL its absolute string; any other object its description. Each key and each value that
  // had to become its description writes one warning line. Never fails.
  Value JSONSerializableObjectForObject(const Object& object);
  // The coerced object as compact JSON. A NaN or an infinity is an error of the writer, text that is not valid
  // UTF-8 makes it throw; either is logged and answered with no bytes.
  std::optional<std::string> JSONSerializeObject(const Object& object);

 private:
  CRVDataManager();
  ~CRVDataManager() = default;

  LorrowSQLiteManager sql_;
  std::atomic<bool> isQuerying_{false};
  // Lock order: docs/LOCKING.md.
  std::recursive_mutex databaseLock_;
  DateFormatter dateFormatter_;
  std::vector<ReportedRows> reportsInFlight_;  // under databaseLock_

  // The group of saves sharing one commit (all under databaseLock_). Answers whether the caller's save joined a
  // group whose commit is queued; otherwise the caller commits at the end of its own save.
  bool joinGroup();
  // Commits whatever is pending; every write other than a save ends with it, so a deletion or a campaign is
  // durable when its call returns.
  void commitGroup();
  std::function<void(bool)> commitListener_;
  // A refill of the trigger table writes every campaign's status back: one commit for all of it.
  int batchDepth_ = 0;
  bool commitQueued_ = false;
  uint64_t groupGeneration_ = 0;
  int groupedSaves_ = 0;
};

}  // namespace corvana
