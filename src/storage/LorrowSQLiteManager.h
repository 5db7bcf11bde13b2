#pragma once

// A thin wrapper over one SQLite database file, and the only code that talks to SQLite. The connection is opened
// on demand and closed again after every statement or query: no connection is held between calls. The class has
// no lock of its own; its owners (the event and campaign stores) serialise every use under their database lock.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
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

class LorrowSQLiteManager {
 public:
  // Error domain and codes of every failure this class reports.
  static constexpr const char* kErrorDomain = "SQLite Error";
  static constexpr int kOpenErrorCode = 1;
  static constexpr int kStatementErrorCode = 3;
  static constexpr int kCloseErrorCode = 4;

  // `initWithDatabaseNamed:`. `databaseName` is a bare file name (the file lives in the Documents folder) or the
  // path of an existing file. Opens nothing.
  explicit LorrowSQLiteManager(const std::string& databaseName);
  // Closes a connection left open by `openDatabase` or `getLastInsertRowID`.
  ~LorrowSQLiteManager();
  LorrowSQLiteManager(const LorrowSQLiteManager&) = delete;
  LorrowSQLiteManager& operator=(const LorrowSQLiteManager&) = delete;

  // The open connection, or null when closed. The setter takes the handle as it is; the previous one is not closed.
  sqlite3* db() const { return db_; }
  void setDb(sqlite3* db) { db_ = db; }
  const std::string& databaseName() const { return databaseName_; }

  // Checks an existing file before the first use: when it is not a database, or SQLite finds it damaged, the
  // file (and any journal of it) is moved aside to "<file>.corrupt" (".corrupt.1", ... when taken) and one log
  // line says so, so that the next open starts a new, empty database instead of failing every statement for
  // good. A file that is only busy or unreadable for another reason stays where it is. Answers the new path of
  // the moved file.
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
  // The row id of the last insert on the current connection (0 on a fresh one, or when it cannot be opened).
  // Leaves the connection open.
  int64_t getLastInsertRowID();
  // How an error of this class prints in a log line.
  static std::string describeError(const Error& error);
  // The whole database as SQL text, for inspection.
  std::string getDatabaseDump();

 private:
  std::string getDatabasePath() const;
  static Error createDBErrorWithDescriptionAndCode(const std::string& description, int code);
  std::string lastErrorMessage() const;

  sqlite3* db_ = nullptr;
  std::string databaseName_;
  // Statements of `doQueryWithPreparedStmts` by SQL text. A statement belongs to the connection that prepared it
  // and every call closes its connection, so an entry lives only during its call: it is finalized and removed
  // before the connection closes, and no finalized handle is ever kept for a later call to reset.
  std::map<std::string, sqlite3_stmt*> queryedPreparedStmts_;
};

}  // namespace corvana
