#include "storage/LorrowSQLiteManager.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
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

// Every commit is durable when it returns: the write-ahead log is synced at each commit (synchronous=FULL), and
// the log's ordering keeps the file whole through a power cut. The writers group their commits to pay for the
// sync (beginTransaction); readers never wait for a writer. A busy file is waited for a while rather than failed.
// The page cache is bounded at 256 KiB, more than a full event table takes, instead of SQLite's 2 MiB: the
// connection lives as long as the host.
void configureConnection(sqlite3* db) {
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA cache_size=-256;", nullptr, nullptr,
               nullptr);
  sqlite3_busy_timeout(db, 5000);
}

std::string lastPathComponent(const std::string& path) {
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  const size_t slash = trimmed.rfind('/');
  if (slash == std::string::npos || trimmed == "/") return trimmed;
  return trimmed.substr(slash + 1);
}

// The file's identity, so that a file replaced or removed behind the held connection is opened anew.
std::pair<unsigned long, unsigned long> identityOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return {0, 0};
  return {static_cast<unsigned long>(info.st_dev), static_cast<unsigned long>(info.st_ino)};
}

}  // namespace

LorrowSQLiteManager::LorrowSQLiteManager(const std::string& databaseName) : databaseName_(databaseName) {}

LorrowSQLiteManager::~LorrowSQLiteManager() {
  if (db_ && db_ != connection_) sqlite3_close_v2(db_);
  closeConnection();
}

std::string LorrowSQLiteManager::getDatabasePath() const {
  // A full path is the host's own choice and is used as it stands. A bare name always means the SDK's file in its
  // Documents folder, never a file of that name wherever the process happens to run.
  if (namesHostFile()) return databaseName_;
  std::string folder = Platform::current().files->documentsDirectory();
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return (folder == "/" ? folder : folder + "/") + databaseName_;
}

Error LorrowSQLiteManager::createDBErrorWithDescriptionAndCode(const std::string& description, int code) {
  return Error{kErrorDomain, code, description};
}

std::string LorrowSQLiteManager::lastErrorMessage() const { return sqlite3_errmsg(db_); }

// One connection is held for the life of the manager, although every operation still opens and closes it as far
// as its callers can tell: opening a connection reads the schema again, and that was most of the cost of every
// stored event. Nothing a caller can observe depends on it.
sqlite3* LorrowSQLiteManager::connection(std::string* openError) {
  // A transaction ends on the connection it began on, and no file is switched under an open one: the path and the
  // file's identity are looked at again once it is committed.
  if (inTransaction()) return connection_;
  const std::string path = getDatabasePath();
  if (connection_ && connectionPath_ == path && identityOf(path) == connectionIdentity_) return connection_;
  closeConnection();
  std::error_code ignored;
  const bool existed = std::filesystem::exists(path, ignored);
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW;
  const int result = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
  if (result != SQLITE_OK) {
    if (openError) *openError = opened ? sqlite3_errmsg(opened) : sqlite3_errstr(result);
    sqlite3_close_v2(opened);
    return nullptr;
  }
  // SQLite creates the file with the process's default mode; the events are the user's, so only the user reads
  // them. Its log files take the mode of the database file.
  if (!existed) ::chmod(path.c_str(), S_IRUSR | S_IWUSR);
  configureConnection(opened);
  connection_ = opened;
  connectionPath_ = path;
  connectionIdentity_ = identityOf(path);
  return connection_;
}

void LorrowSQLiteManager::closeConnection() {
  if (!connection_) return;
  if (inTransaction()) (void)commitTransaction();
  for (auto& [sql, statement] : queryedPreparedStmts_) sqlite3_finalize(statement);
  queryedPreparedStmts_.clear();
  recentlyUsed_.clear();
  sqlite3_close_v2(connection_);
  if (db_ == connection_) db_ = nullptr;
  connection_ = nullptr;
  connectionPath_.clear();
}

sqlite3_stmt* LorrowSQLiteManager::prepared(const std::string& sql, int* prepareResult) {
  *prepareResult = SQLITE_OK;
  sqlite3_stmt* statement = nullptr;
  if (db_ != connection_) {  // a handle given through setDb: nothing is cached for it
    *prepareResult = sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr);
    return statement;
  }
  if (auto cached = queryedPreparedStmts_.find(sql); cached != queryedPreparedStmts_.end()) {
    recentlyUsed_.remove(sql);
    recentlyUsed_.push_back(sql);
    return cached->second;
  }
  *prepareResult = sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr);
  if (!statement) return nullptr;
  queryedPreparedStmts_.emplace(sql, statement);
  recentlyUsed_.push_back(sql);
  if (recentlyUsed_.size() > kCachedStatements) {
    sqlite3_finalize(queryedPreparedStmts_.at(recentlyUsed_.front()));
    queryedPreparedStmts_.erase(recentlyUsed_.front());
    recentlyUsed_.pop_front();
  }
  return statement;
}

void LorrowSQLiteManager::release(sqlite3_stmt* statement) {
  if (!statement) return;
  if (db_ != connection_) {
    sqlite3_finalize(statement);
    return;
  }
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
}

std::optional<Error> LorrowSQLiteManager::openDatabase() {
  if (db_ && db_ != connection_) sqlite3_close_v2(db_);  // a handle given through setDb would be lost
  db_ = nullptr;
  std::string message;
  db_ = connection(&message);
  freshOpen_ = true;
  if (!db_) {
    return createDBErrorWithDescriptionAndCode(strfmt("The database could not be opened: %s", message.c_str()),
                                               kOpenErrorCode);
  }
  return std::nullopt;
}

std::optional<Error> LorrowSQLiteManager::closeDatabase() {
  if (!db_) return std::nullopt;
  std::optional<Error> error;
  if (db_ != connection_ && sqlite3_close(db_) != SQLITE_OK) {
    error = createDBErrorWithDescriptionAndCode(
        strfmt("The database could not be closed: %s", lastErrorMessage().c_str()), kCloseErrorCode);
    sqlite3_close_v2(db_);
  }
  db_ = nullptr;
  return error;
}

std::optional<Error> LorrowSQLiteManager::doQuery(const std::string& sql) { return doQueryWithPreparedStmts(sql, {}); }

std::optional<Error> LorrowSQLiteManager::doQueryWithPreparedStmts(const std::string& sql,
                                                                   const std::vector<SQLParameter>& values) {
  if (!db_) {
    if (auto error = openDatabase()) return error;
  }
  int prepareResult = SQLITE_OK;
  sqlite3_stmt* statement = prepared(sql, &prepareResult);
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
  (void)sqlite3_step(statement);
  release(statement);
  freshOpen_ = false;
  // Only the close result is answered: callers never see a statement's failure.
  return closeDatabase();
}

std::string LorrowSQLiteManager::describeError(const Error& error) {
  return strfmt("Error Domain=%s Code=%d \"%s\" UserInfo={NSLocalizedDescription=%s}", error.domain.c_str(),
                error.code, error.localizedDescription.c_str(), error.localizedDescription.c_str());
}

sqlite3_stmt* LorrowSQLiteManager::startQuery(const std::string& sql) {
  if (!db_) (void)openDatabase();
  if (!db_) return nullptr;
  int prepareResult = SQLITE_OK;
  sqlite3_stmt* statement = prepared(sql, &prepareResult);
  if (prepareResult == SQLITE_ERROR) {
    CRVLog(describeError(createDBErrorWithDescriptionAndCode(lastErrorMessage(), kStatementErrorCode)));
  }
  return statement;
}

void LorrowSQLiteManager::endQuery(sqlite3_stmt* statement) {
  release(statement);
  freshOpen_ = false;
  (void)closeDatabase();
}

std::vector<Value> LorrowSQLiteManager::getRowsForQuery(const std::string& sql) {
  std::vector<Value> rows;
  rows.reserve(1);
  sqlite3_stmt* statement = startQuery(sql);
  if (!db_) return rows;
  while (statement && sqlite3_step(statement) == SQLITE_ROW) {
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
  endQuery(statement);
  return rows;
}

void LorrowSQLiteManager::forEachRow(const std::string& sql, const std::function<void(const SQLRow&)>& each) {
  sqlite3_stmt* statement = startQuery(sql);
  if (!db_) return;
  SQLRow row;
  while (statement && sqlite3_step(statement) == SQLITE_ROW) {
    row.clear();
    const int columns = sqlite3_column_count(statement);
    for (int column = 0; column < columns; ++column) {
      const char* name = sqlite3_column_name(statement, column);
      if (!name) continue;
      SQLColumn& read = row.emplace_back();
      read.name = name;
      const int type = sqlite3_column_type(statement, column);
      if (type == SQLITE_INTEGER) {
        read.integer = sqlite3_column_int(statement, column);
      } else if (type == SQLITE_TEXT) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        const int size = sqlite3_column_bytes(statement, column);
        read.text = text ? std::string_view(text, static_cast<size_t>(size)) : std::string_view();
      }
    }
    each(row);
  }
  endQuery(statement);
}

int64_t LorrowSQLiteManager::getLastInsertRowID() {
  if (!db_ && openDatabase()) return 0;
  // Every statement closes the connection for its caller, so the open this call sees is a new one.
  if (freshOpen_) return 0;
  return sqlite3_last_insert_rowid(db_);
}

bool LorrowSQLiteManager::beginTransaction() {
  if (inTransaction()) return true;
  std::string ignored;
  sqlite3* connection = this->connection(&ignored);
  return connection && sqlite3_exec(connection, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool LorrowSQLiteManager::commitTransaction() {
  if (!inTransaction()) return true;
  if (sqlite3_exec(connection_, "COMMIT;", nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  // A group that cannot be made durable is given up, so that the next write does not join it.
  if (inTransaction()) sqlite3_exec(connection_, "ROLLBACK;", nullptr, nullptr, nullptr);
  return false;
}

bool LorrowSQLiteManager::inTransaction() const { return connection_ && sqlite3_get_autocommit(connection_) == 0; }

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
