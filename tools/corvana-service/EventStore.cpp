#include "corvana-service/EventStore.h"

#include <sqlite3.h>

#include <chrono>
#include <memory>
#include <stdexcept>

namespace corvana::service {
namespace {

struct Finalize {
  void operator()(sqlite3_stmt* stmt) const { sqlite3_finalize(stmt); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

double now() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string column(sqlite3_stmt* stmt, int index) {
  const auto* text = sqlite3_column_text(stmt, index);
  return text ? std::string(reinterpret_cast<const char*>(text), sqlite3_column_bytes(stmt, index)) : "";
}

void bind(sqlite3_stmt* stmt, int index, const std::string& text) {
  sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

}  // namespace

EventStore::EventStore(const std::filesystem::path& file) {
  if (sqlite3_open(file.c_str(), &db_) != SQLITE_OK) {
    const std::string message = db_ ? sqlite3_errmsg(db_) : "out of memory";
    sqlite3_close(db_);
    throw std::runtime_error("cannot open " + file.string() + ": " + message);
  }
  sqlite3_busy_timeout(db_, 2000);
  exec("CREATE TABLE IF NOT EXISTS received (id INTEGER PRIMARY KEY, account TEXT, path TEXT, line TEXT, "
       "headers TEXT, received_at REAL, parsed INTEGER)");
  exec("CREATE TABLE IF NOT EXISTS test_devices (account TEXT, name TEXT, token TEXT, push_token TEXT, "
       "device_type TEXT, registered_at REAL, PRIMARY KEY (account, name))");
}

EventStore::~EventStore() { sqlite3_close(db_); }

void EventStore::exec(const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    const std::string message = error ? error : "unknown error";
    sqlite3_free(error);
    throw std::runtime_error(std::string("sqlite: ") + message + " in " + sql);
  }
}

void EventStore::addReport(const std::string& account, const std::string& path,
                           const std::vector<std::string>& lines, const Json& headers) {
  std::lock_guard<std::mutex> lock(mutex_);
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(db_, "INSERT INTO received (account, path, line, headers, received_at, parsed) "
                              "VALUES (?, ?, ?, ?, ?, ?)", -1, &raw, nullptr) != SQLITE_OK) {
    throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(db_));
  }
  Statement insert(raw);
  const std::string headerText = headers.dump();
  const double receivedAt = now();
  exec("BEGIN");
  for (const auto& line : lines) {
    bind(insert.get(), 1, account);
    bind(insert.get(), 2, path);
    bind(insert.get(), 3, line);
    bind(insert.get(), 4, headerText);
    sqlite3_bind_double(insert.get(), 5, receivedAt);
    sqlite3_bind_int(insert.get(), 6, Json::accept(line) ? 1 : 0);
    const int rc = sqlite3_step(insert.get());
    sqlite3_reset(insert.get());
    if (rc != SQLITE_DONE) {
      exec("ROLLBACK");
      throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(db_));
    }
  }
  exec("COMMIT");
}

Json EventStore::events(const std::string& account) {
  std::lock_guard<std::mutex> lock(mutex_);
  sqlite3_stmt* raw = nullptr;
  sqlite3_prepare_v2(db_, "SELECT id, account, path, line, parsed, headers, received_at FROM received "
                          "WHERE ?1 = '' OR account = ?1 ORDER BY id", -1, &raw, nullptr);
  Statement select(raw);
  bind(select.get(), 1, account);
  Json events = Json::array();
  while (sqlite3_step(select.get()) == SQLITE_ROW) {
    const std::string line = column(select.get(), 3);
    const bool parsed = sqlite3_column_int(select.get(), 4) != 0;
    events.push_back({{"id", sqlite3_column_int64(select.get(), 0)},
                      {"account", column(select.get(), 1)},
                      {"path", column(select.get(), 2)},
                      {"line", line},
                      {"parsed", parsed},
                      {"event", parsed ? Json::parse(line) : Json()},
                      {"headers", Json::parse(column(select.get(), 5), nullptr, false)},
                      {"received_at", sqlite3_column_double(select.get(), 6)}});
  }
  return Json{{"events", std::move(events)}};
}

bool EventStore::registerTestDevice(const std::string& account, const std::string& name, const std::string& token,
                                    const std::string& pushToken, const std::string& deviceType) {
  std::lock_guard<std::mutex> lock(mutex_);
  sqlite3_stmt* raw = nullptr;
  sqlite3_prepare_v2(db_, "INSERT OR IGNORE INTO test_devices (account, name, token, push_token, device_type, "
                          "registered_at) VALUES (?, ?, ?, ?, ?, ?)", -1, &raw, nullptr);
  Statement insert(raw);
  bind(insert.get(), 1, account);
  bind(insert.get(), 2, name);
  bind(insert.get(), 3, token);
  bind(insert.get(), 4, pushToken);
  bind(insert.get(), 5, deviceType);
  sqlite3_bind_double(insert.get(), 6, now());
  if (sqlite3_step(insert.get()) != SQLITE_DONE) throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(db_));
  return sqlite3_changes(db_) == 1;
}

}  // namespace corvana::service
