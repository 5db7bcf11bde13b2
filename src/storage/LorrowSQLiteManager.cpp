#include "storage/LorrowSQLiteManager.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <type_traits>

#include "corvana/platform.h"
#include "util/Log.h"

namespace corvana {

namespace {

// How the platform prints a byte buffer with "%@": hex digits in groups of four bytes, in angle brackets.
std::string describeData(const Value::binary_t& bytes) {
  std::string text = "<";
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && i % 4 == 0) text += ' ';
    text += strfmt("%02x", static_cast<unsigned>(bytes[i]));
  }
  return text + ">";
}

// How the platform prints a value read from a row with "%@".
std::string describeValue(const Value& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_null()) return "<null>";
  if (value.is_number_float()) return strfmt("%0.7g", value.get<double>());  // rows hold floats
  if (value.is_number_integer()) return strfmt("%lld", static_cast<long long>(value.get<int64_t>()));
  if (value.is_binary()) return describeData(value.get_binary());
  return value.dump();
}

std::string textOf(const unsigned char* text) { return text ? reinterpret_cast<const char*>(text) : ""; }

// How every connection writes. Each statement runs on a connection of its own, so each commit is one transaction
// of its own, and what it waits for is paid per event:
// - synchronous=OFF: a commit hands its pages to the kernel (write()) and does not wait for the disk. A killed
//   process loses nothing that was committed, since the kernel writes it out; a transaction cut short by the kill
//   leaves its rollback journal behind, and the next connection rolls it back. What it gives up is the ordering
//   on the disk itself: after a power cut or a kernel crash, recent commits can be lost and the file can be
//   damaged.
// - journal_mode=TRUNCATE: the rollback journal is emptied at commit instead of deleted, so its file is not
//   created and removed again for every event; an empty journal is known not to be hot without opening it.
// The write-ahead log is no faster here: the last connection to close checkpoints and deletes the log, so every
// statement would pay a checkpoint, and keeping the log between connections makes every open read it back.
void configureConnection(sqlite3* db) {
  sqlite3_exec(db, "PRAGMA journal_mode=TRUNCATE; PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
}

// The Documents folder with `name` appended as one path component (an absolute name stays below the folder).
std::string appendingPathComponent(std::string folder, const std::string& name) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  size_t skip = 0;
  while (skip < name.size() && name[skip] == '/') ++skip;
  if (folder != "/") folder += '/';
  return folder + name.substr(skip);
}

std::string lastPathComponent(const std::string& path) {
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  const size_t slash = trimmed.rfind('/');
  if (slash == std::string::npos || trimmed == "/") return trimmed;
  return trimmed.substr(slash + 1);
}

}  // namespace

LorrowSQLiteManager::LorrowSQLiteManager(const std::string& databaseName) : databaseName_(databaseName) {}

LorrowSQLiteManager::~LorrowSQLiteManager() {
  if (db_) sqlite3_close_v2(db_);
}

std::string LorrowSQLiteManager::getDatabasePath() const {
  std::error_code ignored;
  if (std::filesystem::exists(databaseName_, ignored)) return databaseName_;
  return appendingPathComponent(Platform::current().files->documentsDirectory(), databaseName_);
}

Error LorrowSQLiteManager::createDBErrorWithDescriptionAndCode(const std::string& description, int code) {
  return Error{kErrorDomain, code, description};
}

std::string LorrowSQLiteManager::lastErrorMessage() const { return sqlite3_errmsg(db_); }

std::optional<Error> LorrowSQLiteManager::openDatabase() {
  const std::string path = getDatabasePath();
  std::error_code ignored;
  const bool existed = std::filesystem::exists(path, ignored);
  // A connection still open here would be lost by the assignment below.
  if (db_) sqlite3_close_v2(db_);
  db_ = nullptr;
  const int result = sqlite3_open(path.c_str(), &db_);
  if (result != SQLITE_OK) {
    return createDBErrorWithDescriptionAndCode(
        strfmt("The database could not be opened: %s", lastErrorMessage().c_str()), kOpenErrorCode);
  }
  // SQLite creates the file with the process's default mode; the events are the user's, so only the user reads
  // them. Its journal files take the mode of the database file.
  if (!existed) ::chmod(path.c_str(), S_IRUSR | S_IWUSR);
  configureConnection(db_);
  return std::nullopt;
}

std::optional<std::string> LorrowSQLiteManager::setAsideIfUnusable() {
  const std::string path = getDatabasePath();
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return std::nullopt;

  // Opened on its own connection, never creating anything: this only reads the file.
  sqlite3* check = nullptr;
  int result = sqlite3_open_v2(path.c_str(), &check, SQLITE_OPEN_READWRITE, nullptr);
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
  if (!damaged) return std::nullopt;
  // The check's report spans lines; the log keeps one line per message.
  for (size_t at = verdict.find('\n'); at != std::string::npos; at = verdict.find('\n', at)) verdict.replace(at, 1, "; ");

  std::string aside = path + ".corrupt";
  for (int n = 1; std::filesystem::exists(aside, ignored); ++n) aside = path + ".corrupt." + std::to_string(n);
  // A journal left by the damaged file would otherwise be played back into the new one.
  for (const char* suffix : {"-journal", "-wal", "-shm"}) {
    if (std::filesystem::exists(path + suffix, ignored)) std::rename((path + suffix).c_str(), (aside + suffix).c_str());
  }
  if (std::rename(path.c_str(), aside.c_str()) != 0) {
    CRVLog("CorvanaSDK-Database file unreadable (" + verdict + ") and could not be moved aside: " + path);
    return std::nullopt;
  }
  CRVLog("CorvanaSDK-Database file unreadable (" + verdict + "), starting empty: " + path + " (kept as " + aside + ")");
  return aside;
}

std::optional<Error> LorrowSQLiteManager::closeDatabase() {
  if (!db_) return std::nullopt;
  std::optional<Error> error;
  if (sqlite3_close(db_) != SQLITE_OK) {
    error = createDBErrorWithDescriptionAndCode(
        strfmt("The database could not be closed: %s", lastErrorMessage().c_str()), kCloseErrorCode);
    // The connection is dropped all the same; SQLite frees it once its last statement is finalized.
    sqlite3_close_v2(db_);
  }
  db_ = nullptr;
  return error;
}

std::optional<Error> LorrowSQLiteManager::doQuery(const std::string& sql) {
  if (!db_) {
    if (auto error = openDatabase()) return error;
  }
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr);
  std::optional<Error> error;
  if (sqlite3_step(statement) == SQLITE_ERROR) {
    error = createDBErrorWithDescriptionAndCode(lastErrorMessage(), kStatementErrorCode);
  }
  sqlite3_finalize(statement);
  // The statement's error gives way to the close result: callers never see statement failures.
  error = closeDatabase();
  return error;
}

std::optional<Error> LorrowSQLiteManager::doQueryWithPreparedStmts(const std::string& sql,
                                                                   const std::vector<SQLParameter>& values) {
  if (!db_) {
    if (auto error = openDatabase()) return error;
  }
  sqlite3_stmt* statement = nullptr;
  if (auto cached = queryedPreparedStmts_.find(sql); cached != queryedPreparedStmts_.end()) {
    statement = cached->second;
    sqlite3_reset(statement);
  } else {
    sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr);
    queryedPreparedStmts_[sql] = statement;
  }

  int index = 1;
  for (const SQLParameter& value : values) {
    std::visit(
        [&](const auto& element) {
          using T = std::decay_t<decltype(element)>;
          if constexpr (std::is_same_v<T, std::string>) {
            sqlite3_bind_text(statement, index, element.c_str(), -1, SQLITE_TRANSIENT);
          } else if constexpr (std::is_same_v<T, float>) {
            sqlite3_bind_double(statement, index, static_cast<double>(element));
          } else if constexpr (std::is_same_v<T, int32_t>) {
            sqlite3_bind_int(statement, index, element);
          } else if constexpr (std::is_same_v<T, int64_t>) {
            // Read as a 32-bit int: 64-bit values are narrowed on purpose.
            sqlite3_bind_int(statement, index, static_cast<int32_t>(element));
          } else if constexpr (std::is_same_v<T, double> || std::is_same_v<T, bool>) {
            CRVLog("unknown NSNumber");
          }
          // Any other object binds nothing, silently.
        },
        value);
    ++index;
  }

  std::optional<Error> error;
  if (sqlite3_step(statement) == SQLITE_ERROR) {
    error = createDBErrorWithDescriptionAndCode(lastErrorMessage(), kStatementErrorCode);
  }
  sqlite3_finalize(statement);
  queryedPreparedStmts_.erase(sql);
  error = closeDatabase();
  return error;
}

std::string LorrowSQLiteManager::describeError(const Error& error) {
  return strfmt("Error Domain=%s Code=%d \"%s\" UserInfo={NSLocalizedDescription=%s}", error.domain.c_str(),
                error.code, error.localizedDescription.c_str(), error.localizedDescription.c_str());
}

std::vector<Value> LorrowSQLiteManager::getRowsForQuery(const std::string& sql) {
  std::vector<Value> rows;
  rows.reserve(1);
  if (!db_) (void)openDatabase();

  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) == SQLITE_ERROR) {
    CRVLog(describeError(createDBErrorWithDescriptionAndCode(lastErrorMessage(), kStatementErrorCode)));
  }
  while (sqlite3_step(statement) == SQLITE_ROW) {
    const int columns = sqlite3_column_count(statement);
    Value row = Value::object();
    for (int column = 0; column < columns; ++column) {
      const char* name = sqlite3_column_name(statement, column);
      if (!name) continue;
      switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
          row[name] = sqlite3_column_int(statement, column);
          break;
        case SQLITE_FLOAT:
          // Precision is reduced to a float on purpose.
          row[name] = static_cast<double>(static_cast<float>(sqlite3_column_double(statement, column)));
          break;
        case SQLITE_BLOB: {
          const int size = sqlite3_column_bytes(statement, column);
          const auto* bytes = static_cast<const uint8_t*>(sqlite3_column_blob(statement, column));
          if (size > 0 && bytes) row[name] = Value::binary(Data(bytes, bytes + size));
          break;
        }
        case SQLITE_NULL:
          row[name] = nullptr;
          break;
        default:  // SQLITE_TEXT, and any other type code
          row[name] = textOf(sqlite3_column_text(statement, column));
          break;
      }
    }
    rows.push_back(std::move(row));
  }
  sqlite3_finalize(statement);
  (void)closeDatabase();
  return rows;
}

int64_t LorrowSQLiteManager::getLastInsertRowID() {
  if (!db_ && openDatabase()) return 0;
  return sqlite3_last_insert_rowid(db_);
}

std::string LorrowSQLiteManager::getDatabaseDump() {
  std::string dump;
  dump.reserve(256);
  dump += ";\n";
  dump += "; Database dump written by LorrowSQLiteManager\n";
  dump += ";\n";
  dump += "; Corvana SDK developers, 2026\n";
  dump += strfmt("; database %s;\n", lastPathComponent(databaseName_).c_str());

  const std::vector<Value> tables =
      getRowsForQuery("SELECT * FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%';");
  for (const Value& table : tables) {
    const std::string name = describeValue(table.value("name", Value()));
    dump += describeValue(table.value("sql", Value())) + ";\n";
    for (const Value& row : getRowsForQuery("SELECT * FROM " + name)) {
      dump += "insert into " + name + " (";
      for (const auto& column : row.items()) dump += column.key() + ",";
      dump.pop_back();
      dump += ") values (";
      for (const auto& column : row.items()) {
        const Value& value = column.value();
        if (value.is_number()) {
          dump += describeValue(value) + ",";
        } else if (value.is_null()) {
          dump += "null,";
        } else {
          // Appended piece by piece: g++ 12 at -O3 misreads `"'" + std::string` as an oversized copy.
          dump += '\'';
          dump += describeValue(value);
          dump += "',";
        }
      }
      dump.pop_back();
      dump += ");\n";
    }
  }
  return dump;
}

}  // namespace corvana
