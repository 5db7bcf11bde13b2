#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>

#include "storage/LorrowSQLiteManager.h"
#include "support/TestPlatform.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

class SQLiteManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { tp = &test::installTestPlatform(); }
  test::TestPlatform* tp = nullptr;
};

TEST_F(SQLiteManagerTest, ResolvesItsFileAndReportsOnlyOpenFailures) {
  const fs::path documents = Platform::current().files->documentsDirectory();
  LorrowSQLiteManager bare("bare.sqlite");
  EXPECT_FALSE(bare.doQuery("CREATE TABLE t (x NOT NULL);").has_value());
  EXPECT_TRUE(fs::exists(documents / "bare.sqlite"));

  const std::string elsewhere = (fs::path(tp->dir.path()) / "elsewhere.sqlite").string();
  LorrowSQLiteManager existing(elsewhere);
  existing.doQuery("CREATE TABLE t (x);");
  EXPECT_EQ(existing.getRowsForQuery("SELECT name FROM sqlite_master").size(), 1u);
  EXPECT_FALSE(fs::exists(documents / "elsewhere.sqlite"));

  // A full path is used as it stands, even where its folders do not exist.
  const std::optional<Error> error = LorrowSQLiteManager("/no/such/x.sqlite").doQuery("CREATE TABLE t (x);");
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->domain, "SQLite Error");
  EXPECT_EQ(error->code, 1);
  EXPECT_EQ(error->localizedDescription, "The database could not be opened: unable to open database file");

  // Failing at step (an overflow error, a constraint) or at prepare: never reported, and the connection is closed.
  const char* failing[] = {"INSERT INTO t VALUES (abs(-9223372036854775808));", "INSERT INTO t VALUES (NULL);",
                           "INSERT INTO missing VALUES (1);", "CREATE TABLE ("};
  for (const char* statement : failing) {
    SCOPED_TRACE(statement);
    EXPECT_FALSE(bare.doQuery(statement).has_value());
    EXPECT_EQ(bare.db(), nullptr);
  }
  tp->log->clear();
  EXPECT_TRUE(bare.getRowsForQuery("SELEC 1").empty());
  EXPECT_EQ(tp->log->lines(),
            std::vector<std::string>{"Error Domain=SQLite Error Code=3 \"near \"SELEC\": syntax error\" "
                                     "UserInfo={NSLocalizedDescription=near \"SELEC\": syntax error}"});
  EXPECT_EQ(bare.db(), nullptr);
}

TEST_F(SQLiteManagerTest, ADamagedFileGivesBackItsReadableRowsAndOnlyTheSDKsOwnFileIsTouched) {
  const fs::path documents = Platform::current().files->documentsDirectory();
  const fs::path path = documents / "own.sqlite";
  // Two tables of 300 rows each, about ten pages apiece.
  const auto fill = [&] {
    std::ofstream(path, std::ios::trunc).close();
    LorrowSQLiteManager db("own.sqlite");
    for (const char* table : {"a", "b"}) {
      (void)db.doQuery(std::string("CREATE TABLE ") + table + " (_id INTEGER PRIMARY KEY, x TEXT NOT NULL);");
      (void)db.doQuery(std::string("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
                                   "INSERT INTO ") + table + " SELECT i, hex(zeroblob(50)) FROM n;");
    }
  };
  struct Case {
    const char* what;
    std::function<void()> damage;
    const char* verdict;  // empty: the file is usable and stays as it is
    int rescuedAtLeast, rescuedAtMost;
  };
  const Case cases[] = {
      {"text, not a database", [&] { std::ofstream(path, std::ios::trunc) << std::string(4096, 'x'); },
       "file is not a database", 0, 0},
      {"one leaf page scribbled over",
       [&] {
         fill();
         std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
         file.seekp(4096 * 3) << std::string(2048, '\xff');
       },
       "*** in database main ***; Page 4: btreeInitPage() returns error code 11", 500, 599},
      {"cut in the middle", [&] { fill(); fs::resize_file(path, fs::file_size(path) / 2); }, nullptr, 1, 599},
      {"a healthy database with rows", fill, "", 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    c.damage();
    tp->log->clear();
    const auto aside = LorrowSQLiteManager("own.sqlite").setAsideIfUnusable();
    if (c.verdict && *c.verdict == '\0') {
      EXPECT_FALSE(aside.has_value());
      EXPECT_TRUE(tp->log->lines().empty());
      continue;
    }
    ASSERT_TRUE(aside.has_value());
    const auto lines = tp->log->lines();
    ASSERT_EQ(lines.size(), 1u);
    const std::string opening = "CorvanaSDK-Database file unreadable (" + std::string(c.verdict ? c.verdict : "");
    EXPECT_EQ(lines[0].rfind(opening, 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(" rows recovered: " + path.string() + " (kept as " + *aside + ")"), std::string::npos);
    // Every row that comes back is whole, and the new file is a healthy database.
    LorrowSQLiteManager rescued("own.sqlite");
    int rows = 0;
    for (const char* table : {"a", "b"}) {
      for (const Value& row : rescued.getRowsForQuery(std::string("SELECT x FROM ") + table)) {
        EXPECT_EQ(row["x"], std::string(100, '0'));
        ++rows;
      }
    }
    EXPECT_GE(rows, c.rescuedAtLeast);
    EXPECT_LE(rows, c.rescuedAtMost);
    EXPECT_NE(lines[0].find(", " + std::to_string(rows) + " rows recovered"), std::string::npos) << lines[0];
    EXPECT_EQ(rescued.getRowsForQuery("PRAGMA integrity_check").at(0)["integrity_check"], "ok");
  }
  // A fourth damaged file: the newest three copies stay.
  cases[0].damage();
  ASSERT_TRUE(LorrowSQLiteManager("own.sqlite").setAsideIfUnusable().has_value());
  std::vector<std::string> kept;
  for (const auto& entry : fs::directory_iterator(documents)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("own.sqlite.corrupt", 0) == 0 && name.find('-') == std::string::npos) kept.push_back(name);
  }
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(kept, (std::vector<std::string>{"own.sqlite.corrupt.1", "own.sqlite.corrupt.2", "own.sqlite.corrupt.3"}));

  // A file the host names by its full path is the host's: it is used, never moved, whatever it holds.
  const fs::path hosts = fs::path(tp->dir.path()) / "hosts.sqlite";
  std::ofstream(hosts) << std::string(4096, 'x');
  EXPECT_FALSE(LorrowSQLiteManager(hosts.string()).setAsideIfUnusable().has_value());
  EXPECT_EQ(fs::file_size(hosts), 4096u);
}

TEST_F(SQLiteManagerTest, AFileOfTheSameNameInTheWorkingFolderIsNeverOpened) {
  const fs::path cwd = fs::path(tp->dir.path()) / "cwd";
  fs::create_directories(cwd);
  const fs::path previous = fs::current_path();
  fs::current_path(cwd);
  std::ofstream("lorrowab.sqlite") << "the host's own notes";
  const auto before = fs::last_write_time(cwd / "lorrowab.sqlite");
  LorrowSQLiteManager sdk("lorrowab.sqlite");
  EXPECT_FALSE(sdk.setAsideIfUnusable().has_value());
  EXPECT_FALSE(sdk.doQuery("CREATE TABLE t (x);").has_value());
  fs::current_path(previous);
  EXPECT_TRUE(fs::exists(fs::path(Platform::current().files->documentsDirectory()) / "lorrowab.sqlite"));
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(cwd)) names.push_back(entry.path().filename().string());
  EXPECT_EQ(names, std::vector<std::string>{"lorrowab.sqlite"});
  EXPECT_EQ(fs::file_size(cwd / "lorrowab.sqlite"), 20u);
  EXPECT_EQ(fs::last_write_time(cwd / "lorrowab.sqlite"), before);
}

TEST_F(SQLiteManagerTest, ColumnValuesAreConvertedByTheirStorageType) {
  LorrowSQLiteManager manager("columns.sqlite");
  const std::pair<const char*, std::optional<Value>> cases[] = {
      {"7", Value(7)},
      {"0.1", Value(static_cast<double>(0.1f))},  // the float nearest 0.1, not the double
      {"2147483648", Value(-2147483648LL)},
      {"4294967297", Value(1)},
      {"'h\xC3\xA9llo'", Value("h\xC3\xA9llo")},
      {"x'00ff10'", Value::binary(Data{0x00, 0xff, 0x10})},
      {"x''", std::nullopt},  // left out of the row
      {"NULL", Value(nullptr)},
  };
  for (const auto& [expression, expected] : cases) {
    SCOPED_TRACE(expression);
    const std::vector<Value> rows = manager.getRowsForQuery(std::string("SELECT ") + expression + " AS v");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].contains("v"), expected.has_value());
    if (expected) {
      EXPECT_EQ(rows[0]["v"], *expected);
    }
  }
}

TEST_F(SQLiteManagerTest, BindsParametersByTheirScalarTypeAndDumpsTheDatabaseAsStatements) {
  LorrowSQLiteManager manager((fs::path(tp->dir.path()) / "dump.sqlite").string());
  (void)manager.doQuery("CREATE TABLE t (s, n, q, f, d, o);");
  tp->log->clear();
  // A 64-bit value is narrowed to 32 bits; a double or a boolean binds nothing and says so; other objects say nothing.
  const std::vector<SQLParameter> values = {std::string("it's"), int32_t{7}, int64_t{4294967297}, 0.5f, 2.5, true,
                                            Value::object()};
  EXPECT_FALSE(manager.doQueryWithPreparedStmts("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?);", values).has_value());
  EXPECT_EQ(tp->log->lines(), (std::vector<std::string>{"unknown NSNumber", "unknown NSNumber"}));
  EXPECT_EQ(manager.getDatabaseDump(),
            ";\n; Database dump written by LorrowSQLiteManager\n;\n; Corvana SDK developers, 2026\n"
            "; database dump.sqlite;\n"
            "CREATE TABLE t (s, n, q, f, d, o);\n"
            "insert into t (s,n,q,f,d,o) values ('it's',7,1,0.5,null,null);\n");
}

}  // namespace
}  // namespace corvana
