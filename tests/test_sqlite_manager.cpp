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
  std::ofstream(elsewhere).close();  // an empty file is an empty database
  LorrowSQLiteManager existing(elsewhere);
  existing.doQuery("CREATE TABLE t (x);");
  EXPECT_EQ(existing.getRowsForQuery("SELECT name FROM sqlite_master").size(), 1u);
  EXPECT_FALSE(fs::exists(documents / "elsewhere.sqlite"));

  // A missing absolute path is appended to Documents too, where its folders do not exist.
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

TEST_F(SQLiteManagerTest, AnUnusableFileIsMovedAsideAndAHealthyOneStays) {
  const fs::path dir = tp->dir.path();
  const auto write = [](const fs::path& path, const std::string& bytes, std::ios::openmode mode) {
    std::fstream(path, std::ios::binary | std::ios::in | std::ios::out | mode).write(bytes.data(), std::streamsize(bytes.size()));
  };
  // A name that does not exist yet would be taken as relative to Documents: every file is made first.
  const auto fill = [&](const fs::path& path) {
    write(path, "", std::ios::trunc);
    LorrowSQLiteManager db(path.string());
    (void)db.doQuery("CREATE TABLE t (x TEXT);");
    (void)db.doQuery("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
                     "INSERT INTO t SELECT hex(zeroblob(50)) FROM n;");
  };
  struct Case {
    const char* what;
    std::function<void(const fs::path&)> make;
    const char* verdict;  // empty: the file is usable and stays
  };
  const Case cases[] = {
      {"text, not a database",
       [&](const fs::path& p) { write(p, std::string(4096, 'x'), std::ios::trunc); }, "file is not a database"},
      {"a damaged page",
       [&](const fs::path& p) {
         fill(p);
         std::fstream file(p, std::ios::binary | std::ios::in | std::ios::out);
         file.seekp(4096 * 3);
         file.write(std::string(2048, '\xff').data(), 2048);
       },
       "*** in database main ***; Page 4: btreeInitPage() returns error code 11"},
      {"a healthy database with rows", fill, ""},
      {"an empty file", [&](const fs::path& p) { write(p, "", std::ios::trunc); }, ""},
  };
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const fs::path path = dir / ("db" + std::to_string(n++) + ".sqlite");
    c.make(path);
    tp->log->clear();
    const auto aside = LorrowSQLiteManager(path.string()).setAsideIfUnusable();
    if (*c.verdict == '\0') {
      EXPECT_FALSE(aside.has_value());
      EXPECT_TRUE(fs::exists(path));
      EXPECT_TRUE(tp->log->lines().empty());
      continue;
    }
    ASSERT_TRUE(aside.has_value());
    EXPECT_EQ(*aside, path.string() + ".corrupt");
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(tp->log->lines(), std::vector<std::string>{"CorvanaSDK-Database file unreadable (" +
                                                         std::string(c.verdict) + "), starting empty: " +
                                                         path.string() + " (kept as " + *aside + ")"});
    // The next open starts over, and a second damaged file does not overwrite the first one kept.
    write(path, "", std::ios::trunc);
    LorrowSQLiteManager fresh(path.string());
    (void)fresh.doQuery("CREATE TABLE t (x TEXT);");
    (void)fresh.doQuery("INSERT INTO t VALUES ('new');");
    EXPECT_EQ(fresh.getRowsForQuery("SELECT x FROM t").size(), 1u);
    c.make(path);
    EXPECT_EQ(LorrowSQLiteManager(path.string()).setAsideIfUnusable(), path.string() + ".corrupt.1");
  }
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

}  // namespace
}  // namespace corvana
