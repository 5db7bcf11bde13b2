// The event store's statements one by one, and a connection-per-statement sequence under each journal mode and
// synchronous setting of SQLite, on the ordinary disk.
//
// Each stored event is an INSERT and a SELECT COUNT(*), and once the table holds 1,000 rows also a read of the
// newest row and its delete, all on the store's one held connection. Called from outside the SDK's queues, as
// here, a save is a transaction of its own and waits for its own sync (on a queue, saves share one commit: see
// bench_recording). The settings comparison issues the statements on raw SQLite connections, each statement with a
// connection of its own as the store once did (it is a measuring tool, outside the SDK), so that the settings can
// be swapped; the other benchmarks run the SDK's own classes with the settings the SDK applies.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "BenchSupport.h"
#include "util/Log.h"

namespace corvana::bench {
namespace {

namespace fs = std::filesystem;

const char* const kRecord =
    R"({"timestamp":1795262400,"event_type":"checkpoint","name":"checkout","metadata":{"sku":"A-1","price":"12.50","screen":"checkout"},"type":"custom"})";

struct Folder {
  fs::path root = benchRoot();
  Folder() {
    LinuxPlatformOptions options;
    options.dataDirectory = (root / "app").string();
    options.logSink = std::make_shared<WatchingLog>();
    fs::create_directories(options.dataDirectory);
    Platform::install(Platform::makeLinuxDefault(options));
  }
};

Folder& folder() {
  static Folder* made = new Folder();
  return *made;
}

// Brings the SDK's event table to `rows` ordinary events (untimed).
void fillTo(int rows) {
  CRVDataManager& store = CRVDataManager::sharedInstance();
  store.cleanUpAppEvents();
  if (rows == 0) return;
  std::string sql = "INSERT INTO lorrow_events (event) VALUES ";
  for (int i = 0; i < rows; ++i) sql += strfmt("%s('%s')", i > 0 ? "," : "", kRecord);
  LorrowSQLiteManager file(Platform::current().files->documentsDirectory() + "/lorrowab.sqlite");
  (void)file.doQuery(sql + ";");
}

// One event through the SDK's store: the insert and the row limit, with the table at `rows` before it.
void BM_SaveEventInDB(benchmark::State& state) {
  folder();
  const int rows = static_cast<int>(state.range(0));
  CRVDataManager& store = CRVDataManager::sharedInstance();
  const Value record = Value::parse(kRecord);
  fillTo(rows);
  int added = 0;
  for (auto _ : state) {
    store.saveEventInDB(record);
    // Below the limit the table would grow with every iteration: every 100 events it is brought back.
    if (rows < MAX_CHECKPOINTS_COUNT - 1 && ++added == 100) {
      state.PauseTiming();
      fillTo(rows);
      added = 0;
      state.ResumeTiming();
    }
  }
  state.counters["events_per_s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// The pieces of one stored event with the table full (999 rows), through the store's open and close (which keep
// the held connection: an open checks only that the file is still the same). The insert and the delete commit,
// and sync, one by one.
void BM_StorePieces(benchmark::State& state) {
  folder();
  fillTo(999);
  LorrowSQLiteManager& sql = CRVDataManager::sharedInstance().sql();
  const std::string insert = strfmt("INSERT INTO lorrow_events (event) VALUES ('%s');", kRecord);
  const int piece = static_cast<int>(state.range(0));
  state.SetLabel(piece == 0 ? "open+close" : piece == 1 ? "count of 999 rows" : "insert+delete newest");
  for (auto _ : state) {
    switch (piece) {
      case 0:
        (void)sql.openDatabase();
        (void)sql.closeDatabase();
        break;
      case 1:
        benchmark::DoNotOptimize(sql.getRowsForQuery("SELECT COUNT(*) FROM lorrow_events"));
        break;
      default:
        (void)sql.doQuery(insert);
        (void)sql.doQuery("delete from lorrow_events where _id = (select MAX(_id) from lorrow_events)");
        break;
    }
  }
}

// ---- The same statements under each setting, on raw connections ----------------------------------------------

// The last is the write-ahead log kept between connections (no checkpoint when a connection closes), with a commit
// that makes it 64 frames long checkpointing and emptying it: the one way the log avoids a checkpoint per
// statement when every statement has a connection of its own.
const char* const kJournalModes[] = {"DELETE", "TRUNCATE", "PERSIST", "WAL", "WAL, log kept between connections"};

int checkpointLongLog(void*, sqlite3* db, const char* name, int frames) {
  if (frames >= 64) sqlite3_wal_checkpoint_v2(db, name, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
  return SQLITE_OK;
}
const char* const kSynchronous[] = {"OFF", "NORMAL", "FULL"};

sqlite3* openWith(const std::string& path, int journal, int synchronous) {
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  if (journal == 4) {
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_wal_hook(db, checkpointLongLog, nullptr);
  }
  const std::string pragmas = strfmt("PRAGMA synchronous=%s;%s", kSynchronous[synchronous],
                                     journal >= 3 ? "" : strfmt("PRAGMA journal_mode=%s;", kJournalModes[journal]).c_str());
  sqlite3_exec(db, pragmas.c_str(), nullptr, nullptr, nullptr);
  return db;
}

void runOnce(const std::string& path, int journal, int synchronous, const char* sql) {
  sqlite3* db = openWith(path, journal, synchronous);
  sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
  sqlite3_close(db);
}

int countOnce(const std::string& path, int journal, int synchronous) {
  sqlite3* db = openWith(path, journal, synchronous);
  sqlite3_stmt* statement = nullptr;
  int count = 0;
  sqlite3_prepare_v2(db, "SELECT COUNT(*) FROM lorrow_events", -1, &statement, nullptr);
  if (sqlite3_step(statement) == SQLITE_ROW) count = sqlite3_column_int(statement, 0);
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return count;
}

// 2,000 events into an empty table: 999 below the limit, then 1,001 written and dropped again.
void BM_StoreSettings(benchmark::State& state) {
  const int journal = static_cast<int>(state.range(0));
  const int synchronous = static_cast<int>(state.range(1));
  state.SetLabel(std::string("journal_mode=") + kJournalModes[journal] + " synchronous=" + kSynchronous[synchronous]);
  const std::string path = (folder().root / strfmt("settings-%d-%d.sqlite", journal, synchronous)).string();
  const std::string insert = strfmt("INSERT INTO lorrow_events (event) VALUES ('%s');", kRecord);
  constexpr int kEvents = 2000;
  for (auto _ : state) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) ::unlink((path + suffix).c_str());
    runOnce(path, journal, synchronous, "CREATE TABLE lorrow_events (_id INTEGER PRIMARY KEY, event TEXT NOT NULL);");
    if (journal >= 3) runOnce(path, journal, synchronous, "PRAGMA journal_mode=WAL;");
    const auto start = Clock::now();
    for (int i = 0; i < kEvents; ++i) {
      runOnce(path, journal, synchronous, insert.c_str());
      if (countOnce(path, journal, synchronous) >= MAX_CHECKPOINTS_COUNT) {
        runOnce(path, journal, synchronous, "select event from lorrow_events where _id = (select MAX(_id) from lorrow_events)");
        runOnce(path, journal, synchronous, "delete from lorrow_events where _id = (select MAX(_id) from lorrow_events)");
      }
    }
    const double seconds = secondsSince(start);
    state.SetIterationTime(seconds);
    state.counters["events_per_s"] = kEvents / seconds;
  }
}

BENCHMARK(BM_SaveEventInDB)->ArgName("rows_before")->Arg(0)->Arg(500)->Arg(999)->Unit(benchmark::kMicrosecond)->MinTime(1.0);
BENCHMARK(BM_StorePieces)->ArgName("piece")->DenseRange(0, 2)->Unit(benchmark::kMicrosecond)->MinTime(0.5);
BENCHMARK(BM_StoreSettings)
    ->ArgNames({"journal", "synchronous"})
    ->ArgsProduct({{0, 1, 2, 3}, {0, 1, 2}})
    ->Args({4, 1})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace corvana::bench

BENCHMARK_MAIN();
