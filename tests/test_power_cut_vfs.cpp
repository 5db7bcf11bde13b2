#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/PowerCutVfs.h"
#include "support/TestPlatform.h"

namespace corvana::test {
namespace {

using Rows = std::vector<std::string>;

constexpr int kRows = 40;  // per transaction, about three pages

// A connection opened the way the SDK opens one: through whatever VFS is the default.
struct Connection {
  explicit Connection(const std::string& path) {
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  }
  ~Connection() { sqlite3_close(db); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int exec(const std::string& sql) { return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr); }
  // Each row's columns joined by '|'.
  Rows rows(const std::string& sql) {
    Rows out;
    const auto collect = [](void* target, int n, char** values, char**) {
      std::string row;
      for (int i = 0; i < n; ++i) row += (i ? "|" : "") + std::string(values[i] ? values[i] : "NULL");
      static_cast<Rows*>(target)->push_back(row);
      return 0;
    };
    if (sqlite3_exec(db, sql.c_str(), collect, &out, nullptr) != SQLITE_OK) out = {"error: " + error()};
    return out;
  }
  std::string error() const { return sqlite3_errmsg(db); }

  sqlite3* db = nullptr;
};

// Transaction i adds its rows, drops those of i - 3 (rewriting pages in place) and records itself, so the whole
// database follows from meta.last.
std::string transaction(int i) {
  return "BEGIN; WITH RECURSIVE n(k) AS (SELECT 1 UNION ALL SELECT k + 1 FROM n WHERE k < " + std::to_string(kRows) +
         ") INSERT INTO events SELECT " + std::to_string(i) + ", k, printf('%0300d', k) FROM n; DELETE FROM events "
         "WHERE tx = " + std::to_string(i - 3) + "; UPDATE meta SET last = " + std::to_string(i) + "; COMMIT;";
}

void createSchema(Connection& db, const std::string& journalMode) {
  ASSERT_EQ(db.rows("PRAGMA journal_mode = " + journalMode), Rows{journalMode});
  ASSERT_EQ(db.exec("PRAGMA synchronous = FULL; PRAGMA cache_size = 5; PRAGMA wal_autocheckpoint = 8;"
                    "CREATE TABLE events (tx INTEGER, k INTEGER, payload TEXT);"
                    "CREATE TABLE meta (last INTEGER); INSERT INTO meta VALUES (0);"),
            SQLITE_OK)
      << db.error();
}

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Proof that the VFS loses what was not synced: commits made with synchronous=OFF never sync and are gone after a
// cut, while those made before with FULL each synced and stay. The SDK's power-cut rounds rest on it.
TEST(PowerCutVfs, CommitsThatDidNotSyncAreLost) {
  TempDir dir;
  PowerCutVfs vfs;
  for (const std::string journalMode : {"wal", "delete"}) {
    SCOPED_TRACE(journalMode);
    const std::string path = dir.path() + "/" + journalMode + ".db";
    {
      Connection db(path);
      createSchema(db, journalMode);
      for (int i = 1; i <= 3; ++i) {
        const std::size_t before = vfs.syncCount();
        ASSERT_EQ(db.exec(transaction(i)), SQLITE_OK) << db.error();
        EXPECT_GT(vfs.syncCount(), before);
      }
      ASSERT_EQ(db.exec("PRAGMA synchronous = OFF"), SQLITE_OK);
      const std::size_t before = vfs.syncCount();
      for (int i = 4; i <= 6; ++i) ASSERT_EQ(db.exec(transaction(i)), SQLITE_OK) << db.error();
      EXPECT_EQ(vfs.syncCount(), before);
      ASSERT_EQ(db.rows("SELECT last FROM meta"), Rows{"6"});

      vfs.powerCut(CutMode::Drop, 0);
      EXPECT_THROW(vfs.rearm(), std::logic_error);
      EXPECT_NE(db.exec("INSERT INTO meta VALUES (7)"), SQLITE_OK);
    }
    vfs.rearm();

    Connection after(path);
    EXPECT_EQ(after.rows("PRAGMA integrity_check"), Rows{"ok"});
    EXPECT_EQ(after.rows("SELECT last FROM meta"), Rows{"3"});
    EXPECT_EQ(after.rows("SELECT tx, count(*) FROM events GROUP BY tx ORDER BY tx"), (Rows{"1|40", "2|40", "3|40"}));
  }
}

// A torn cut leaves a file at its synced or its current length, and each 512-byte piece written since the last sync
// as it was, as it became, or garbage: the WAL of commits made with synchronous=OFF shows each over a few seeds.
TEST(PowerCutVfs, ATornCutKeepsLosesOrDamagesEachUnsyncedPiece) {
  constexpr std::size_t kPiece = 512;
  TempDir dir;
  PowerCutVfs vfs;
  std::set<std::string> seen;
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string wal = dir.path() + "/torn" + std::to_string(seed) + ".db-wal";
    std::string old, now, torn;
    {
      Connection db(wal.substr(0, wal.size() - 4));
      createSchema(db, "wal");
      old = readAll(wal);
      ASSERT_EQ(db.exec("PRAGMA synchronous = OFF; " + transaction(1) + transaction(2)), SQLITE_OK) << db.error();
      now = readAll(wal);
      vfs.powerCut(CutMode::Tear, seed);
      torn = readAll(wal);
    }
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
