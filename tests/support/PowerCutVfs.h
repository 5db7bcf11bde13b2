#pragma once

// A SQLite VFS for tests that loses power on demand. It wraps the default VFS and becomes the default itself: every
// write reaches the real file at once, so the running process sees it, while the VFS keeps each file's content as of
// its last xSync. A power cut rewrites the files on disk to what the storage could hold afterwards, and from then on
// the connections opened before it can change nothing on disk: their writes, truncations, syncs and deletions fail.
//
//   corvana::test::PowerCutVfs vfs;                     // plain sqlite3_open_v2(path, ..., nullptr) now uses it
//   ... write through the SDK or sqlite3 ...
//   vfs.powerCut(corvana::test::CutMode::Tear, seed);  // or vfs.armCutAtSync(n, mode, seed) before writing
//   sqlite3_close(db);                                  // every connection opened before the cut
//   vfs.rearm();                                        // throws while one of them is still open
//   ... open the database again, which recovers it, and check what survived ...
//
// What survives a cut:
// - A file's synced content: its content when its last xSync returned, or, for a file that existed before the VFS
//   first opened it, its content then. A file created since is absent until its first xSync (SQLite's unix VFS syncs
//   directories out of this VFS's sight, so a file's own xSync stands for its directory entry too).
// - A deletion is durable at once. A real filesystem may still bring back a rollback journal deleted just before the
//   cut, which rolls back that last transaction unless synchronous=EXTRA; this VFS does not model that.
// - Not a database's -shm file, which a cut deletes: it is shared memory, which SQLite rebuilds from the WAL.
//
// CutMode::Drop keeps exactly the synced content. CutMode::Tear starts from it and, per 512-byte piece that differs
// from the file's current content, keeps the old bytes, the new ones or garbage; the file's length is either its
// synced or its current one, and a created file never synced survives half the time. The VFS reports no
// power-safe-overwrite, so SQLite pads WAL commits to sector boundaries and must survive garbage in a written piece.
//
// Close the connections opened before a cut before opening the database again: within one process SQLite shares
// locks and the WAL index per file, so a new connection would see the old ones' state, not the disk's. Every method
// may be called from any thread; the VFS holds one mutex around every change it makes to the disk.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace corvana::test {

enum class CutMode { Drop, Tear };

class PowerCutVfs {
 public:
  PowerCutVfs();   // registers as the default VFS, over the one that is the default now
  ~PowerCutVfs();  // unregisters; no connection may still use the VFS
  PowerCutVfs(const PowerCutVfs&) = delete;
  PowerCutVfs& operator=(const PowerCutVfs&) = delete;

  // Cuts the power now.
  void powerCut(CutMode mode, std::uint64_t seed);
  // Cuts the power instead of the nth xSync from now (1 is the next one), which fails and does not happen.
  void armCutAtSync(std::size_t nth, CutMode mode, std::uint64_t seed);
  bool isDead() const;
  // Powers back on. Throws std::logic_error while a file opened before the cut is still open.
  void rearm();

  // xSync calls that reached the disk since the VFS was made.
  std::size_t syncCount() const;

  struct State;  // defined with the VFS's callbacks, which reach it through sqlite3_vfs::pAppData

 private:
  std::unique_ptr<State> state_;
};

}  // namespace corvana::test
