#pragma once

// A thin wrapper over one SQLite database file, and the only code that talks to SQLite. To its callers the
// connection opens on demand and closes after every statement or query (`db()` is null again), and every failure
// is a value or a log line, never an exception. The class has no lock of its own; its owners (the event and
// campaign stores) serialise every use under their database lock.

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "corvana/value.h"
#include "util/Error.h"

struct sqlite3;
struct sqlite3_stmt;

namespace corvana {

// One element of the values bound by `doQueryWithPreparedStmts`, shaped like the platform's objects: a string; a
// number that remembers the scalar type it was made from (float "f", int "i", long long "q", and the other number
// types: double "d" and BOOL); or any other object (a `Value`: a map, an array, null ...), which is never bound,
// whatever it holds.
using SQLParameter = std::variant<std::string, float, int32_t, int64_t, double, bool, Value>;

// One column of a row read by `forEachRow`: its name, and its value when it is an integer (read as a 32-bit int,
// as `getRowsForQuery` reads it) or text. The text lives until the next row.
struct SQLColumn {
  std::string_view name;
  std::optional<int32_t> integer;
  std::optional<std::string_view> text;
};
using SQLRow = std::vector<SQLColumn>;

class LorrowSQLiteManager {
 public:
  // Error domain and codes of every failure this class reports.
  static constexpr const char* kErrorDomain = "SQLite Error";
  static constexpr int kOpenErrorCode = 1;
  static constexpr int kStatementErrorCode = 3;
  static constexpr int kCloseErrorCode = 4;

  // `initWithDatabaseNamed:`. `databaseName` is a bare file name, kept in the Documents folder, or a full path,
  // used as it stands. Opens nothing.
  explicit LorrowSQLiteManager(const std::string& databaseName);
  ~LorrowSQLiteManager();
  LorrowSQLiteManager(const LorrowSQLiteManager&) = delete;
  LorrowSQLiteManager& operator=(const LorrowSQLiteManager&) = delete;

  // The open connection, or null when closed. The setter takes the handle as it is; the previous one is not closed.
  sqlite3* db() const { return db_; }
  void setDb(sqlite3* db) { db_ = db; }
  const std::string& databaseName() const { return databaseName_; }
  // The file this manager works on.
  std::string databasePath() const { return getDatabasePath(); }

  // Checks an existing file before the first use: when it is not a database, or SQLite finds it damaged, every
  // row SQLite can still read is copied into a new file that takes its place, and the damaged file (with any
  // journal of it) is kept as "<file>.corrupt" (".corrupt.1", ... when taken; only the newest three are kept).
  // One log line says so. A file that is only busy or unreadable for another reason stays where it is. Answers the
  // path the damaged file was kept under.
  std::optional<std::string> setAsideIfUnusable();
  // Opens the file (created with mode 0600 when missing). Error code 1 on failure; the handle is kept even then.
  std::optional<Error> openDatabase();
  // Closes an open connection; error code 4 on failure. The connection counts as closed afterwards in every case.
  std::optional<Error> closeDatabase();

  // Runs one statement that returns no rows, opening on demand and closing afterwards. Answers the open error or
  // the close result: a failing statement is not reported to the caller.
  std::optional<Error> doQuery(const std::string& sql);
  // The same, with the `?` parameters bound in order from `values` (each element takes the next index, whether
  // or not it could be bound).
  std::optional<Error> doQueryWithPreparedStmts(const std::string& sql, const std::vector<SQLParameter>& values);
  // Every row of the query as an ordered map from column name to value; empty when nothing matched or the
  // statement could not be prepared (then one log line). INTEGER columns are read as 32-bit ints and REAL
  // columns as floats; empty BLOBs are left out of the row, NULLs are null values.
  std::vector<Value> getRowsForQuery(const std::string& sql);
  // The same query, each row handed to `each` as it is read instead of collected: a large read then costs no
  // copy of its rows.
  void forEachRow(const std::string& sql, const std::function<void(const SQLRow&)>& each);
  // The row id of the last insert on the current connection (0 on a fresh one, or when it cannot be opened).
  // Leaves the connection open.
  int64_t getLastInsertRowID();
  // How an error of this class prints in a log line.
  static std::string describeError(const Error& error);
  // The whole database as SQL text, for inspection.
  std::string getDatabaseDump();

  // Writes grouped into one transaction, committed (and synced) together. Statements run between the two calls
  // join the group; reads see its rows. `commitTransaction` answers false when the group could not be made
  // durable (it is rolled back then). Neither is seen by a caller that does not use them.
  bool beginTransaction();
  bool commitTransaction();
  bool inTransaction() const;

 private:
  std::string getDatabasePath() const;
  // A full path is the host's own file: used as it stands, never moved aside.
  bool namesHostFile() const { return !databaseName_.empty() && databaseName_.front() == '/'; }
  static Error createDBErrorWithDescriptionAndCode(const std::string& description, int code);
  std::string lastErrorMessage() const;
  // The held connection for the current path, opened when needed; null when the file cannot be opened (then
  // `openError` holds SQLite's message).
  sqlite3* connection(std::string* openError);
  void closeConnection();
  // A statement of the held connection for this text, reset and unbound; null when it cannot be prepared.
  sqlite3_stmt* prepared(const std::string& sql, int* prepareResult);
  void release(sqlite3_stmt* statement);
  // The opening and closing every query shares: the statement (null when it cannot be prepared, then logged).
  sqlite3_stmt* startQuery(const std::string& sql);
  void endQuery(sqlite3_stmt* statement);

  sqlite3* db_ = nullptr;  // what callers see: the held connection while "open", null while "closed"
  std::string databaseName_;
  sqlite3* connection_ = nullptr;
  std::string connectionPath_;
  std::pair<unsigned long, unsigned long> connectionIdentity_{0, 0};
  bool freshOpen_ = false;  // nothing ran since the last open: a new connection would report no insert
  // Prepared statements of the held connection by SQL text, the most recently used last. Texts that carry their
  // values (every event insert) come once; the bound keeps those from piling up.
  std::map<std::string, sqlite3_stmt*> queryedPreparedStmts_;
  std::list<std::string> recentlyUsed_;
  static constexpr size_t kCachedStatements = 32;
};

}  // namespace corvana
