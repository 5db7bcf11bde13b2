// Start-up recovery of the SDK's database: a damaged file gives back what SQLite can still read before it is set
// aside, so a flipped page costs the rows on that page, not every unsent event and every campaign.

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "storage/LorrowSQLiteManager.h"
#include "util/Log.h"

namespace corvana {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLogSuffixes[] = {"-journal", "-wal", "-shm"};
constexpr size_t kKeptCopies = 3;

std::string textOf(const unsigned char* text) { return text ? reinterpret_cast<const char*>(text) : ""; }

bool exists(const std::string& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

// SQLite's verdict on the file: empty when it is usable, otherwise why not. Busy or unreadable for another reason
// counts as usable: such a file is left alone.
std::string damage(const std::string& path) {
  sqlite3* check = nullptr;
  int result = sqlite3_open_v2(path.c_str(), &check, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr);
  std::string verdict;
  if (result == SQLITE_OK) {
    sqlite3_stmt* statement = nullptr;
    result = sqlite3_prepare_v2(check, "PRAGMA quick_check;", -1, &statement, nullptr);
    if (result == SQLITE_OK) {
      result = sqlite3_step(statement);
      if (result == SQLITE_ROW) verdict = textOf(sqlite3_column_text(statement, 0));
    }
    if (verdict.empty()) verdict = sqlite3_errmsg(check);
    sqlite3_finalize(statement);
  }
  sqlite3_close_v2(check);
  const int primary = result & 0xff;
  const bool damaged = primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT || (result == SQLITE_ROW && verdict != "ok");
  if (!damaged) return "";
  // The check's report spans lines; the log keeps one line per message.
  for (size_t at = verdict.find('\n'); at != std::string::npos; at = verdict.find('\n', at)) verdict.replace(at, 1, "; ");
  return verdict;
}

// The numbers of the copies kept so far: "<file>.corrupt" is 0, "<file>.corrupt.N" is N.
std::vector<int> keptCopies(const std::string& path) {
  std::vector<int> numbers;
  const fs::path file(path);
  const std::string prefix = file.filename().string() + ".corrupt";
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(file.parent_path(), error)) {
    const std::string name = entry.path().filename().string();
    if (name == prefix) {
      numbers.push_back(0);
    } else if (name.rfind(prefix + ".", 0) == 0) {
      const std::string digits = name.substr(prefix.size() + 1);
      if (!digits.empty() && digits.size() < 9 && std::all_of(digits.begin(), digits.end(), ::isdigit)) {
        numbers.push_back(std::stoi(digits));
      }
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::string copyName(const std::string& path, int number) {
  return number == 0 ? path + ".corrupt" : path + ".corrupt." + std::to_string(number);
}

void removeWithLogs(const std::string& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
  for (const char* suffix : kLogSuffixes) fs::remove(path + suffix, ignored);
}

// Copies every row of `table` that can be read from `from` into `to`, walking the row ids in order and stepping
// over what cannot be read, ever further, until a read works again.
int copyReadableRows(sqlite3* from, sqlite3* to, const std::string& table) {
  sqlite3_stmt* read = nullptr;
  if (sqlite3_prepare_v2(from, ("SELECT rowid, * FROM \"" + table + "\" WHERE rowid > ? ORDER BY rowid").c_str(), -1,
                         &read, nullptr) != SQLITE_OK) {
    sqlite3_finalize(read);
    return 0;
  }
  const int columns = sqlite3_column_count(read) - 1;
  std::string insert = "INSERT OR IGNORE INTO \"" + table + "\" VALUES (";
  for (int i = 0; i < columns; ++i) insert += i ? ",?" : "?";
  sqlite3_stmt* write = nullptr;
  sqlite3_prepare_v2(to, (insert + ")").c_str(), -1, &write, nullptr);
  int copied = 0;
  int64_t after = std::numeric_limits<int64_t>::min();
  int64_t skip = 1;
  while (write) {
    sqlite3_reset(read);
    sqlite3_bind_int64(read, 1, after);
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(read)) == SQLITE_ROW) {
      after = sqlite3_column_int64(read, 0);
      skip = 1;
      for (int i = 0; i < columns; ++i) sqlite3_bind_value(write, i + 1, sqlite3_column_value(read, i + 1));
      if (sqlite3_step(write) == SQLITE_DONE) copied += sqlite3_changes(to);
      sqlite3_reset(write);
    }
    if (result == SQLITE_DONE || after == std::numeric_limits<int64_t>::min() || skip > (int64_t{1} << 24)) break;
    after += skip;
    skip *= 2;
  }
  sqlite3_finalize(read);
  sqlite3_finalize(write);
  return copied;
}

// A new file at `path` holding every table of `damaged` with the rows that could be read; answers how many rows
// came back, or -1 when not even the tables could be read (then nothing is written).
int rescue(const std::string& damaged, const std::string& path) {
  sqlite3* from = nullptr;
  if (sqlite3_open_v2(damaged.c_str(), &from, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOFOLLOW, nullptr) != SQLITE_OK) {
    sqlite3_close_v2(from);
    return -1;
  }
  // A file cut short is refused by SQLite unless told to read what is there.
  sqlite3_exec(from, "PRAGMA writable_schema=ON;", nullptr, nullptr, nullptr);
  std::vector<std::pair<std::string, std::string>> tables;
  sqlite3_stmt* schema = nullptr;
  if (sqlite3_prepare_v2(from, "SELECT name, sql FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%'",
                         -1, &schema, nullptr) == SQLITE_OK) {
    while (sqlite3_step(schema) == SQLITE_ROW) {
      tables.emplace_back(textOf(sqlite3_column_text(schema, 0)), textOf(sqlite3_column_text(schema, 1)));
    }
  }
  sqlite3_finalize(schema);
  int rows = -1;
  const std::string building = path + ".rescue";
  removeWithLogs(building);
  sqlite3* to = nullptr;
  if (!tables.empty() && sqlite3_open_v2(building.c_str(), &to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE |
                                                                    SQLITE_OPEN_NOFOLLOW, nullptr) == SQLITE_OK) {
    ::chmod(building.c_str(), S_IRUSR | S_IWUSR);
    sqlite3_exec(to, "PRAGMA synchronous=FULL; BEGIN;", nullptr, nullptr, nullptr);
    rows = 0;
    for (const auto& [name, sql] : tables) {
      if (sqlite3_exec(to, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) rows += copyReadableRows(from, to, name);
    }
    if (sqlite3_exec(to, "COMMIT;", nullptr, nullptr, nullptr) != SQLITE_OK) rows = -1;
  }
  sqlite3_close_v2(to);
  sqlite3_close_v2(from);
  // The new file takes the old one's place in one step, so a crash here leaves either nothing or all of it.
  if (rows < 0 || std::rename(building.c_str(), path.c_str()) != 0) {
    removeWithLogs(building);
    return -1;
  }
  return rows;
}

}  // namespace

std::optional<std::string> LorrowSQLiteManager::setAsideIfUnusable() {
  if (namesHostFile()) return std::nullopt;  // only the SDK's own file in its Documents folder
  const std::string path = getDatabasePath();
  if (!exists(path)) return std::nullopt;
  std::string verdict = damage(path);
  if (verdict.empty()) return std::nullopt;
  closeConnection();

  const std::vector<int> kept = keptCopies(path);
  const std::string aside = copyName(path, kept.empty() ? 0 : kept.back() + 1);
  // A log left by the damaged file would otherwise be played back into the new one; it goes with the file.
  for (const char* suffix : kLogSuffixes) {
    if (exists(path + suffix)) std::rename((path + suffix).c_str(), (aside + suffix).c_str());
  }
  if (std::rename(path.c_str(), aside.c_str()) != 0) {
    CRVLog("CorvanaSDK-Database file unreadable (" + verdict + ") and could not be moved aside: " + path);
    return std::nullopt;
  }
  const int rows = rescue(aside, path);
  for (size_t i = 0; i + kKeptCopies < kept.size() + 1; ++i) removeWithLogs(copyName(path, kept[i]));
  CRVLog("CorvanaSDK-Database file unreadable (" + verdict + "), " + std::to_string(std::max(rows, 0)) +
         " rows recovered: " + path + " (kept as " + aside + ")");
  return aside;
}

}  // namespace corvana
