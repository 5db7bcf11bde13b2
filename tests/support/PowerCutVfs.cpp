#include "support/PowerCutVfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>

namespace corvana::test {
namespace {

// Storage writes land in pieces of this size: a cut keeps or loses each one as a whole.
constexpr std::size_t kPiece = 512;

struct Image {
  std::optional<std::string> synced;  // nothing: the file would not exist after a cut
  bool mainDb = false;
};

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Rewrites in place, so the inode that the old connections hold is the one that changes.
void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::optional<std::string> tear(const std::optional<std::string>& synced, const std::string& now,
                                std::mt19937_64& rng) {
  std::bernoulli_distribution coin(0.5);
  if (!synced && !coin(rng)) return std::nullopt;
  const std::string old = synced.value_or(std::string());
  // Past its end a file reads as zeros: the space a file grew into holds no data until its write lands.
  const auto at = [](const std::string& bytes, std::size_t i) { return i < bytes.size() ? bytes[i] : '\0'; };
  std::string out(coin(rng) ? old.size() : now.size(), '\0');
  std::uniform_int_distribution<int> pick(0, 4);  // two in five old, two in five new, one in five garbage
  std::uniform_int_distribution<int> garbage(0, 255);
  for (std::size_t start = 0; start < out.size(); start += kPiece) {
    const std::size_t end = std::min(out.size(), start + kPiece);
    bool differs = false;
    for (std::size_t i = start; i < end && !differs; ++i) differs = at(old, i) != at(now, i);
    const int choice = differs ? pick(rng) : 0;
    for (std::size_t i = start; i < end; ++i) {
      out[i] = choice < 2 ? at(old, i) : choice < 4 ? at(now, i) : static_cast<char>(garbage(rng));
    }
  }
  return out;
}

}  // namespace

struct PowerCutVfs::State {
  sqlite3_vfs vfs{};
  sqlite3_vfs* real = nullptr;

  mutable std::mutex mutex;
  std::map<std::string, Image> images;  // ordered, so that a seed tears the same way every run
  bool dead = false;
  std::size_t openFiles = 0;
  std::size_t syncs = 0;
  std::size_t syncsUntilCut = 0;  // 0: no cut armed
  CutMode armedMode = CutMode::Drop;
  std::uint64_t armedSeed = 0;

  void cutLocked(CutMode mode, std::uint64_t seed) {
    dead = true;
    std::mt19937_64 rng(seed);
    for (const auto& [path, image] : images) {
      const std::optional<std::string> now = readFile(path);
      const std::optional<std::string> after = mode == CutMode::Tear && now ? tear(image.synced, *now, rng)
                                                                            : image.synced;
      std::error_code ignored;
      if (after) {
        writeFile(path, *after);
      } else {
        std::filesystem::remove(path, ignored);
      }
      if (image.mainDb) std::filesystem::remove(path + "-shm", ignored);
    }
    // What is on disk now is what the storage holds: the next open takes it as synced.
    images.clear();
  }
};

namespace {

using State = PowerCutVfs::State;

struct File {
  sqlite3_file base;  // first, so SQLite's pointer to it is a pointer to this
  State* state = nullptr;
  std::string path;  // empty for files a power cut does not concern (temporary ones)
};

// The wrapped VFS's own file object follows ours in the block SQLite allocates, which is 8-byte aligned.
constexpr std::size_t kRealOffset = (sizeof(File) + 7) / 8 * 8;

File* fileOf(sqlite3_file* f) { return reinterpret_cast<File*>(f); }
sqlite3_file* realOf(sqlite3_file* f) {
  return reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(f) + kRealOffset);
}
State* stateOf(sqlite3_vfs* vfs) { return static_cast<State*>(vfs->pAppData); }
sqlite3_vfs* realOf(sqlite3_vfs* vfs) { return stateOf(vfs)->real; }

// A call that passes through to the wrapped file's own method unchanged.
template <auto Method>
struct Pass;
template <typename R, typename... Args, R (*sqlite3_io_methods::*Method)(sqlite3_file*, Args...)>
struct Pass<Method> {
  static R call(sqlite3_file* f, Args... args) { return (realOf(f)->pMethods->*Method)(realOf(f), args...); }
};

int fileClose(sqlite3_file* f) {
  File* file = fileOf(f);
  const int rc = realOf(f)->pMethods->xClose(realOf(f));
  {
    std::lock_guard lock(file->state->mutex);
    --file->state->openFiles;
  }
  file->~File();
  return rc;
}

int fileWrite(sqlite3_file* f, const void* buffer, int amount, sqlite3_int64 offset) {
  std::lock_guard lock(fileOf(f)->state->mutex);
  if (fileOf(f)->state->dead) return SQLITE_IOERR_WRITE;
  return realOf(f)->pMethods->xWrite(realOf(f), buffer, amount, offset);
}

int fileTruncate(sqlite3_file* f, sqlite3_int64 size) {
  std::lock_guard lock(fileOf(f)->state->mutex);
  if (fileOf(f)->state->dead) return SQLITE_IOERR_TRUNCATE;
  return realOf(f)->pMethods->xTruncate(realOf(f), size);
}

int fileSync(sqlite3_file* f, int flags) {
  File* file = fileOf(f);
  State& state = *file->state;
  std::lock_guard lock(state.mutex);
  if (state.dead) return SQLITE_IOERR_FSYNC;
  if (state.syncsUntilCut != 0 && --state.syncsUntilCut == 0) {
    state.cutLocked(state.armedMode, state.armedSeed);
    return SQLITE_IOERR_FSYNC;
  }
  const int rc = realOf(f)->pMethods->xSync(realOf(f), flags);
  if (rc != SQLITE_OK) return rc;
  ++state.syncs;
  if (!file->path.empty()) state.images[file->path].synced = readFile(file->path);
  return SQLITE_OK;
}

int fileControl(sqlite3_file* f, int op, void* arg) {
  if (op != SQLITE_FCNTL_SIZE_HINT) return realOf(f)->pMethods->xFileControl(realOf(f), op, arg);
  // The unix VFS grows the file for a size hint: a write like any other.
  std::lock_guard lock(fileOf(f)->state->mutex);
  if (fileOf(f)->state->dead) return SQLITE_IOERR_WRITE;
  return realOf(f)->pMethods->xFileControl(realOf(f), op, arg);
}

// No power-safe overwrite and no atomic writes: a cut may damage any piece written since the last sync.
int fileDeviceCharacteristics(sqlite3_file*) { return 0; }

// Version 2: shared memory for WAL. Memory-mapped I/O (version 3) stays off, so that every read and write passes
// through here.
const sqlite3_io_methods kIoMethods = {
    .iVersion = 2,
    .xClose = fileClose,
    .xRead = Pass<&sqlite3_io_methods::xRead>::call,
    .xWrite = fileWrite,
    .xTruncate = fileTruncate,
    .xSync = fileSync,
    .xFileSize = Pass<&sqlite3_io_methods::xFileSize>::call,
    .xLock = Pass<&sqlite3_io_methods::xLock>::call,
    .xUnlock = Pass<&sqlite3_io_methods::xUnlock>::call,
    .xCheckReservedLock = Pass<&sqlite3_io_methods::xCheckReservedLock>::call,
    .xFileControl = fileControl,
    .xSectorSize = Pass<&sqlite3_io_methods::xSectorSize>::call,
    .xDeviceCharacteristics = fileDeviceCharacteristics,
    .xShmMap = Pass<&sqlite3_io_methods::xShmMap>::call,
    .xShmLock = Pass<&sqlite3_io_methods::xShmLock>::call,
    .xShmBarrier = Pass<&sqlite3_io_methods::xShmBarrier>::call,
    .xShmUnmap = Pass<&sqlite3_io_methods::xShmUnmap>::call,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int vfsOpen(sqlite3_vfs* vfs, const char* name, sqlite3_file* f, int flags, int* outFlags) {
  State& state = *stateOf(vfs);
  File* file = new (f) File{};
  file->state = &state;
  realOf(f)->pMethods = nullptr;
  const auto fail = [&](int rc) {
    file->~File();
    f->pMethods = nullptr;
    return rc;
  };
  std::lock_guard lock(state.mutex);
  if (state.dead) return fail(SQLITE_CANTOPEN);
  constexpr int kDurable = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL | SQLITE_OPEN_SUPER_JOURNAL;
  if (name != nullptr && (flags & kDurable) != 0) {
    file->path = name;
    // A file the VFS has not seen yet is synced as it is; one that does not exist is being created.
    auto [image, added] = state.images.try_emplace(file->path);
    if (added) image->second.synced = readFile(file->path);
    if ((flags & SQLITE_OPEN_MAIN_DB) != 0) image->second.mainDb = true;
  }
  // The name goes through as SQLite passed it: the unix VFS finds a journal's database from what follows it.
  const int rc = state.real->xOpen(state.real, name, realOf(f), flags, outFlags);
  if (rc != SQLITE_OK) {
    if (realOf(f)->pMethods != nullptr) realOf(f)->pMethods->xClose(realOf(f));
    return fail(rc);
  }
  f->pMethods = &kIoMethods;
  ++state.openFiles;
  return SQLITE_OK;
}

int vfsDelete(sqlite3_vfs* vfs, const char* name, int syncDir) {
  State& state = *stateOf(vfs);
  std::lock_guard lock(state.mutex);
  if (state.dead) return SQLITE_IOERR_DELETE;
  const int rc = state.real->xDelete(state.real, name, syncDir);
  if (rc == SQLITE_OK || rc == SQLITE_IOERR_DELETE_NOENT) state.images[name].synced.reset();
  return rc;
}

}  // namespace

PowerCutVfs::PowerCutVfs() : state_(std::make_unique<State>()) {
  State& state = *state_;
  sqlite3_vfs* real = sqlite3_vfs_find(nullptr);
  if (real == nullptr) throw std::logic_error("no default SQLite VFS to wrap");
  state.real = real;
  sqlite3_vfs& vfs = state.vfs;
  vfs.iVersion = 2;
  vfs.szOsFile = static_cast<int>(kRealOffset) + real->szOsFile;
  vfs.mxPathname = real->mxPathname;
  vfs.zName = "powercut";
  vfs.pAppData = &state;
  vfs.xOpen = vfsOpen;
  vfs.xDelete = vfsDelete;
  vfs.xAccess = [](sqlite3_vfs* v, const char* n, int flags, int* out) {
    return realOf(v)->xAccess(realOf(v), n, flags, out);
  };
  vfs.xFullPathname = [](sqlite3_vfs* v, const char* n, int size, char* out) {
    return realOf(v)->xFullPathname(realOf(v), n, size, out);
  };
  vfs.xDlOpen = [](sqlite3_vfs* v, const char* n) { return realOf(v)->xDlOpen(realOf(v), n); };
  vfs.xDlError = [](sqlite3_vfs* v, int size, char* out) { realOf(v)->xDlError(realOf(v), size, out); };
  vfs.xDlSym = [](sqlite3_vfs* v, void* h, const char* symbol) { return realOf(v)->xDlSym(realOf(v), h, symbol); };
  vfs.xDlClose = [](sqlite3_vfs* v, void* h) { realOf(v)->xDlClose(realOf(v), h); };
  vfs.xRandomness = [](sqlite3_vfs* v, int size, char* out) { return realOf(v)->xRandomness(realOf(v), size, out); };
  vfs.xSleep = [](sqlite3_vfs* v, int micros) { return realOf(v)->xSleep(realOf(v), micros); };
  vfs.xCurrentTime = [](sqlite3_vfs* v, double* out) { return realOf(v)->xCurrentTime(realOf(v), out); };
  vfs.xGetLastError = [](sqlite3_vfs* v, int size, char* out) {
    return realOf(v)->xGetLastError(realOf(v), size, out);
  };
  if (real->iVersion >= 2 && real->xCurrentTimeInt64 != nullptr) {
    vfs.xCurrentTimeInt64 = [](sqlite3_vfs* v, sqlite3_int64* out) {
      return realOf(v)->xCurrentTimeInt64(realOf(v), out);
    };
  }
  if (sqlite3_vfs_register(&vfs, 1) != SQLITE_OK) throw std::runtime_error("could not register the power-cut VFS");
}

PowerCutVfs::~PowerCutVfs() { sqlite3_vfs_unregister(&state_->vfs); }

void PowerCutVfs::powerCut(CutMode mode, std::uint64_t seed) {
  std::lock_guard lock(state_->mutex);
  state_->syncsUntilCut = 0;
  state_->cutLocked(mode, seed);
}

void PowerCutVfs::armCutAtSync(std::size_t nth, CutMode mode, std::uint64_t seed) {
  std::lock_guard lock(state_->mutex);
  state_->syncsUntilCut = nth;
  state_->armedMode = mode;
  state_->armedSeed = seed;
}

bool PowerCutVfs::isDead() const {
  std::lock_guard lock(state_->mutex);
  return state_->dead;
}

void PowerCutVfs::rearm() {
  std::lock_guard lock(state_->mutex);
  if (state_->openFiles != 0) {
    throw std::logic_error(std::to_string(state_->openFiles) + " file(s) opened before the power cut are still open");
  }
  state_->dead = false;
  state_->syncsUntilCut = 0;
}

std::size_t PowerCutVfs::syncCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->syncs;
}

}  // namespace corvana::test
