#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/PowerCutVfs.h"

namespace corvana::test {
namespace {

constexpr int kRows = 40;  // per transaction, about three pages

// The SDK's test platform brings the whole SDK along; these cases need only a folder.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "corvana-powercut-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// A connection opened the way the SDK opens one: through whatever VFS is the default.
class Connection {
 public:
  explicit Connection(const std::string& path) {
    sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    sqlite3_busy_timeout(db_, 10000);
  }
  ~Connection() { close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void close() {
    sqlite3_close(db_);
    db_ = nullptr;
  }
  int exec(const std::string& sql) { return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr); }
  // Each row's columns joined by '|'.
  std::vector<std::string> rows(const std::string& sql) {
    std::vector<std::string> out;
    const auto collect = [](void* target, int n, char** values, char**) {
      std::string row;
      for (int i = 0; i < n; ++i) row += (i ? "|" : "") + std::string(values[i] ? values[i] : "NULL");
      static_cast<std::vector<std::string>*>(target)->push_back(row);
      return 0;
    };
    if (sqlite3_exec(db_, sql.c_str(), collect, &out, nullptr) != SQLITE_OK) out = {"error: " + errmsg()};
    return out;
  }
  std::string errmsg() const { return sqlite3_errmsg(db_); }

 private:
  sqlite3* db_ = nullptr;
};

std::string fillRows(const std::string& table, const std::string& key) {
  return "WITH RECURSIVE n(k) AS (SELECT 1 UNION ALL SELECT k + 1 FROM n WHERE k < " + std::to_string(kRows) +
         ") INSERT INTO " + table + " SELECT " + key + ", k, printf('%0300d', k) FROM n;";
}

// Transaction i adds its rows, drops those of i - 3 (rewriting pages in place) and records itself, so the whole
// database follows from meta.last.
std::string transaction(int i) {
  return "BEGIN; " + fillRows("events", std::to_string(i)) + " DELETE FROM events WHERE tx = " +
         std::to_string(i - 3) + "; UPDATE meta SET last = " + std::to_string(i) + "; COMMIT;";
}

std::vector<std::string> expectedGroups(int last) {
  std::vector<std::string> out;
  for (int tx = std::max(1, last - 2); tx <= last; ++tx) {
    out.push_back(std::to_string(tx) + "|" + std::to_string(kRows));
  }
  return out;
}

void createSchema(Connection& db, const std::string& journalMode) {
  ASSERT_EQ(db.rows("PRAGMA journal_mode = " + journalMode), std::vector<std::string>{journalMode});
  ASSERT_EQ(db.exec("PRAGMA synchronous = FULL; PRAGMA cache_size = 5; PRAGMA wal_autocheckpoint = 8;"
                    "CREATE TABLE events (tx INTEGER, k INTEGER, payload TEXT);"
                    "CREATE TABLE meta (last INTEGER); INSERT INTO meta VALUES (0);"),
            SQLITE_OK)
      << db.errmsg();
}

// Proof that the VFS loses what was not synced: commits made with synchronous=OFF never sync and are gone after a
// cut, while those made before with FULL each synced and stay. The SDK's power-cut rounds rest on it.
TEST(PowerCutVfs, CommitsThatDidNotSyncAreLost) {
  ScratchDir dir;
  PowerCutVfs vfs;
  vfs.install(true);
  for (const std::string journalMode : {"wal", "delete"}) {
    SCOPED_TRACE(journalMode);
    const std::string path = dir.file(journalMode + ".db");
    Connection db(path);
    createSchema(db, journalMode);
    for (int i = 1; i <= 3; ++i) {
      const std::size_t before = vfs.syncCount();
      ASSERT_EQ(db.exec(transaction(i)), SQLITE_OK) << db.errmsg();
      EXPECT_GT(vfs.syncCount(), before);
    }
    ASSERT_EQ(db.exec("PRAGMA synchronous = OFF"), SQLITE_OK);
    const std::size_t before = vfs.syncCount();
    for (int i = 4; i <= 6; ++i) ASSERT_EQ(db.exec(transaction(i)), SQLITE_OK) << db.errmsg();
    EXPECT_EQ(vfs.syncCount(), before);
    ASSERT_EQ(db.rows("SELECT last FROM meta"), std::vector<std::string>{"6"});

    vfs.powerCut(CutMode::Drop, 0);
    EXPECT_THROW(vfs.rearm(), std::logic_error);
    EXPECT_NE(db.exec("INSERT INTO meta VALUES (7)"), SQLITE_OK);
    db.close();
    vfs.rearm();

    Connection after(path);
    EXPECT_EQ(after.rows("PRAGMA integrity_check"), std::vector<std::string>{"ok"});
    EXPECT_EQ(after.rows("SELECT last FROM meta"), std::vector<std::string>{"3"});
    EXPECT_EQ(after.rows("SELECT tx, count(*) FROM events GROUP BY tx ORDER BY tx"), expectedGroups(3));
  }
}

// A torn cut leaves a file at its synced or its current length, and each 512-byte piece written since the last sync
// as it was, as it became, or garbage: the WAL of commits made with synchronous=OFF shows each over a few seeds.
TEST(PowerCutVfs, ATornCutKeepsLosesOrDamagesEachUnsyncedPiece) {
  constexpr std::size_t kPiece = 512;
  const auto readAll = [](const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  };
  ScratchDir dir;
  PowerCutVfs vfs;
  vfs.install(true);
  std::set<std::string> seen;
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string path = dir.file("torn" + std::to_string(seed) + ".db");
    const std::string wal = path + "-wal";
    Connection db(path);
    createSchema(db, "wal");
    std::string old = readAll(wal);
    ASSERT_EQ(db.exec("PRAGMA synchronous = OFF; " + transaction(1) + transaction(2)), SQLITE_OK) << db.errmsg();
    std::string now = readAll(wal);
    vfs.powerCut(CutMode::Tear, seed);
    const std::string torn = readAll(wal);
    db.close();
    vfs.rearm();

    ASSERT_TRUE(torn.size() == old.size() || torn.size() == now.size()) << torn.size();
    seen.insert(torn.size() == old.size() ? "synced length" : "current length");
    old.resize(std::max(old.size(), torn.size()), '\0');
    now.resize(std::max(now.size(), torn.size()), '\0');
    for (std::size_t at = 0; at < torn.size(); at += kPiece) {
      const std::string piece = torn.substr(at, kPiece);
      if (old.compare(at, piece.size(), now, at, piece.size()) == 0) {
        ASSERT_EQ(piece, old.substr(at, piece.size())) << "unchanged piece at " << at;
      } else {
        seen.insert(piece == old.substr(at, piece.size())   ? "old"
                    : piece == now.substr(at, piece.size()) ? "new"
                                                            : "garbage");
      }
    }
  }
  EXPECT_EQ(seen, (std::set<std::string>{"current length", "garbage", "new", "old", "synced length"}));
}

}  // namespace
}  // namespace corvana::test
