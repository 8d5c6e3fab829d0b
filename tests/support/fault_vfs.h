// A file system that fails on purpose. FaultVfs wraps SQLite's default VFS and,
// while it is the default, sees every file a library opens by path. Armed for one
// catalogue file, it counts the writes, syncs and truncates of that file and its
// journals and fails the Nth of them in one of two ways:
//   kIoError   that one call returns an I/O error; the calls after it succeed,
//              as after a disk that hiccupped once;
//   kPowerCut  the machine stops at that call: it and every later one fail, and
//              restoreDurable() then puts each file back to what its last sync
//              made durable (a file never synced does not exist), which is what a
//              power cut leaves on a disk that loses unsynced writes.
// One instance at a time, used from the thread that runs the library.
#ifndef TARNLIB_TESTS_SUPPORT_FAULT_VFS_H_
#define TARNLIB_TESTS_SUPPORT_FAULT_VFS_H_

#include <sqlite3.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace tarnlib::testing {

class FaultVfs {
 public:
  enum class Mode { kIoError, kPowerCut };

  FaultVfs() {
    state().real = sqlite3_vfs_find(nullptr);
    sqlite3_vfs& v = state().vfs;
    v = *state().real;
    v.zName = "faultvfs";
    v.pNext = nullptr;
    v.szOsFile = static_cast<int>(realOffset() + static_cast<std::size_t>(state().real->szOsFile));
    v.xOpen = open;
    v.xDelete = remove;
    if (sqlite3_vfs_register(&v, 1) != SQLITE_OK) throw std::runtime_error("cannot register faultvfs");
  }
  ~FaultVfs() {
    sqlite3_vfs_unregister(&state().vfs);
    sqlite3_vfs_register(state().real, 1);
    state() = State{};
  }
  FaultVfs(const FaultVfs&) = delete;
  FaultVfs& operator=(const FaultVfs&) = delete;

  // Counts from now the calls on `path` and its "-journal" and "-wal" files,
  // failing the `n`th (1-based; 0 counts only). Remembers what is on the disk now
  // as durable.
  void arm(const std::string& path, Mode mode, int n) {
    State& s = state();
    s.path = path;
    s.mode = mode;
    s.failAt = n;
    s.count = 0;
    s.faulted = false;
    s.durable.clear();
    for (const char* suffix : {"", "-journal", "-wal"}) s.durable[path + suffix] = contents(path + suffix);
    s.armed = true;
  }
  void disarm() { state().armed = false; }

  int calls() const { return state().count; }
  // True once the Nth call was reached.
  bool faulted() const { return state().faulted; }

  // After a power cut, with every connection to the file closed.
  void restoreDurable() {
    for (const auto& [path, bytes] : state().durable) {
      std::error_code ignored;
      if (!bytes) {
        std::filesystem::remove(path, ignored);
      } else {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(bytes->data(), static_cast<std::streamsize>(bytes->size()));
      }
    }
  }

 private:
  struct File {
    sqlite3_file base;
    sqlite3_io_methods methods;  // ours, with the real file's version
    sqlite3_file* real;
    std::string* path;  // null for a nameless (temporary) file
  };

  struct State {
    sqlite3_vfs vfs{};
    sqlite3_vfs* real = nullptr;
    bool armed = false;
    std::string path;
    Mode mode = Mode::kIoError;
    int failAt = 0;
    int count = 0;
    bool faulted = false;
    std::map<std::string, std::optional<std::string>> durable;
  };
  static State& state() {
    static State s;
    return s;
  }

  static std::size_t realOffset() { return (sizeof(File) + 15) / 16 * 16; }
  static File* fileOf(sqlite3_file* f) { return reinterpret_cast<File*>(f); }
  static sqlite3_file* realOf(sqlite3_file* f) { return fileOf(f)->real; }

  static std::optional<std::string> contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  static bool watched(const std::string& name) {
    const State& s = state();
    return s.armed && (name == s.path || name == s.path + "-journal" || name == s.path + "-wal");
  }

  // Whether this counted call fails.
  static bool fails(sqlite3_file* f) {
    State& s = state();
    if (!fileOf(f)->path || !watched(*fileOf(f)->path)) return false;
    ++s.count;
    const bool fail = s.mode == Mode::kIoError ? s.count == s.failAt : s.failAt > 0 && s.count >= s.failAt;
    if (fail) s.faulted = true;
    return fail;
  }

  static int open(sqlite3_vfs*, const char* name, sqlite3_file* f, int flags, int* outFlags) {
    File* file = fileOf(f);
    file->base.pMethods = nullptr;
    file->real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(f) + realOffset());
    file->path = nullptr;
    sqlite3_vfs* real = state().real;
    const int rc = real->xOpen(real, name, file->real, flags, outFlags);
    if (file->real->pMethods == nullptr) return rc;
    // SQLite closes a file whose methods are set even when the open failed.
    const sqlite3_io_methods& r = *file->real->pMethods;
    file->methods = sqlite3_io_methods{};
    file->methods.iVersion = r.iVersion < 3 ? r.iVersion : 3;
    file->methods.xClose = close;
    file->methods.xRead = read;
    file->methods.xWrite = write;
    file->methods.xTruncate = truncate;
    file->methods.xSync = sync;
    file->methods.xFileSize = fileSize;
    file->methods.xLock = lock;
    file->methods.xUnlock = unlock;
    file->methods.xCheckReservedLock = checkReservedLock;
    file->methods.xFileControl = fileControl;
    file->methods.xSectorSize = sectorSize;
    file->methods.xDeviceCharacteristics = deviceCharacteristics;
    if (file->methods.iVersion >= 2) {
      file->methods.xShmMap = shmMap;
      file->methods.xShmLock = shmLock;
      file->methods.xShmBarrier = shmBarrier;
      file->methods.xShmUnmap = shmUnmap;
    }
    if (file->methods.iVersion >= 3) {
      file->methods.xFetch = fetch;
      file->methods.xUnfetch = unfetch;
    }
    file->base.pMethods = &file->methods;
    // A file is watched from its first call after arm(), however long it was open.
    if (rc == SQLITE_OK && name) {
      file->path = new std::string(name);
      if (watched(name)) state().durable.try_emplace(name);  // never synced: lost in a power cut
    }
    return rc;
  }

  // The calls that are only passed on to the real file.
  static int read(sqlite3_file* f, void* data, int amount, sqlite3_int64 offset) {
    return realOf(f)->pMethods->xRead(realOf(f), data, amount, offset);
  }
  static int fileSize(sqlite3_file* f, sqlite3_int64* size) {
    return realOf(f)->pMethods->xFileSize(realOf(f), size);
  }
  static int lock(sqlite3_file* f, int level) { return realOf(f)->pMethods->xLock(realOf(f), level); }
  static int unlock(sqlite3_file* f, int level) { return realOf(f)->pMethods->xUnlock(realOf(f), level); }
  static int checkReservedLock(sqlite3_file* f, int* held) {
    return realOf(f)->pMethods->xCheckReservedLock(realOf(f), held);
  }
  static int fileControl(sqlite3_file* f, int op, void* arg) {
    return realOf(f)->pMethods->xFileControl(realOf(f), op, arg);
  }
  static int sectorSize(sqlite3_file* f) { return realOf(f)->pMethods->xSectorSize(realOf(f)); }
  static int deviceCharacteristics(sqlite3_file* f) {
    return realOf(f)->pMethods->xDeviceCharacteristics(realOf(f));
  }
  static int shmMap(sqlite3_file* f, int region, int size, int extend, void volatile** out) {
    return realOf(f)->pMethods->xShmMap(realOf(f), region, size, extend, out);
  }
  static int shmLock(sqlite3_file* f, int offset, int n, int flags) {
    return realOf(f)->pMethods->xShmLock(realOf(f), offset, n, flags);
  }
  static void shmBarrier(sqlite3_file* f) { realOf(f)->pMethods->xShmBarrier(realOf(f)); }
  static int shmUnmap(sqlite3_file* f, int deleteFlag) {
    return realOf(f)->pMethods->xShmUnmap(realOf(f), deleteFlag);
  }
  static int fetch(sqlite3_file* f, sqlite3_int64 offset, int amount, void** out) {
    return realOf(f)->pMethods->xFetch(realOf(f), offset, amount, out);
  }
  static int unfetch(sqlite3_file* f, sqlite3_int64 offset, void* p) {
    return realOf(f)->pMethods->xUnfetch(realOf(f), offset, p);
  }

  static int remove(sqlite3_vfs*, const char* name, int syncDir) {
    sqlite3_vfs* real = state().real;
    const int rc = real->xDelete(real, name, syncDir);
    if (rc == SQLITE_OK && watched(name)) state().durable[name] = std::nullopt;
    return rc;
  }

  static int close(sqlite3_file* f) {
    File* file = fileOf(f);
    delete file->path;
    file->path = nullptr;
    return file->real->pMethods->xClose(file->real);
  }

  static int write(sqlite3_file* f, const void* data, int amount, sqlite3_int64 offset) {
    if (fails(f)) return SQLITE_IOERR_WRITE;
    return realOf(f)->pMethods->xWrite(realOf(f), data, amount, offset);
  }

  static int truncate(sqlite3_file* f, sqlite3_int64 size) {
    if (fails(f)) return SQLITE_IOERR_TRUNCATE;
    return realOf(f)->pMethods->xTruncate(realOf(f), size);
  }

  // Durability is what the durable copies say, so the disk is never asked to
  // sync: a walk makes thousands of syncs, and a real one costs milliseconds.
  static int sync(sqlite3_file* f, int) {
    if (fails(f)) return SQLITE_IOERR_FSYNC;
    if (fileOf(f)->path && watched(*fileOf(f)->path))
      state().durable[*fileOf(f)->path] = contents(*fileOf(f)->path);
    return SQLITE_OK;
  }
};

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_FAULT_VFS_H_
