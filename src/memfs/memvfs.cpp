// The "memvfs" SQLite VFS: database files kept in MemFs.
//
// Lifetime of a file SQLite has open: every handle holds a reference to its
// MemFile (taken at open, given back at close), on top of the one the MemFs set
// holds. Removing the file from the set, whether the host does it or SQLite
// deletes the name, frees the name at once but not the memory: the connection
// goes on reading and writing the detached file, and the last close frees it.
// This is what unlinking an open file does on a POSIX disk, and it means a host
// can never pull the pages out from under a live connection.

#include <sqlite3.h>

#include <cstring>
#include <exception>
#include <mutex>

#include "tarnlib/memfs.h"

namespace tarnlib {

namespace {

// What SQLite allocates per open file (the VFS's szOsFile).
struct Handle {
  sqlite3_file base;  // SQLite's part: the method table in use
  int flags;          // the open flags; delete-on-close is acted on at close
  MemFile* file;      // null for an inert handle
};

Handle* handleOf(sqlite3_file* f) { return reinterpret_cast<Handle*>(f); }
MemFile* fileOf(sqlite3_file* f) { return handleOf(f)->file; }

constexpr const char kName[] = "memvfs";
constexpr int kMaxPath = 512;

// Files SQLite opens that are not kept in MemFs (temporary databases and
// journals, WAL files, nameless files) get methods that store nothing: writes
// vanish and reads give zeros. Temporary files are kept out of the VFS by
// keepTempInMemory below; a WAL file would be lost, which is why memory
// databases keep a rollback journal (see the header).
int inertClose(sqlite3_file*) { return SQLITE_OK; }
int inertRead(sqlite3_file*, void* buffer, int amount, sqlite3_int64) {
  std::memset(buffer, 0, static_cast<std::size_t>(amount));
  return SQLITE_IOERR_SHORT_READ;
}
int inertWrite(sqlite3_file*, const void*, int, sqlite3_int64) { return SQLITE_OK; }
int inertTruncate(sqlite3_file*, sqlite3_int64) { return SQLITE_OK; }
int noSync(sqlite3_file*, int) { return SQLITE_OK; }
int inertFileSize(sqlite3_file*, sqlite3_int64* size) {
  *size = 0;
  return SQLITE_OK;
}
// There is no locking at all; see the header on sharing a memory file.
int noLock(sqlite3_file*, int) { return SQLITE_OK; }
int noReservedLock(sqlite3_file*, int* held) {
  *held = 0;
  return SQLITE_OK;
}
int noFileControl(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }
// 0 lets SQLite pick its default sector size.
int defaultSectorSize(sqlite3_file*) { return 0; }
int noDeviceCharacteristics(sqlite3_file*) { return 0; }

}  // namespace

// Friend of MemFs, so that closing a handle can give its reference back.
class MemVfs {
 public:
  static sqlite3_vfs* vfs() {
    static sqlite3_vfs instance = make();
    return &instance;
  }

 private:
  static sqlite3_vfs make() {
    sqlite3_vfs v{};
    v.iVersion = 1;
    v.szOsFile = static_cast<int>(sizeof(Handle));
    v.mxPathname = kMaxPath;
    v.zName = kName;
    v.xOpen = open;
    v.xDelete = remove;
    v.xAccess = access;
    v.xFullPathname = fullPathname;
    v.xDlOpen = dlOpen;
    v.xDlError = dlError;
    v.xDlSym = dlSym;
    v.xDlClose = dlClose;
    v.xRandomness = randomness;
    v.xSleep = sleep;
    v.xCurrentTime = currentTime;
    v.xGetLastError = lastError;
    return v;
  }

  static const sqlite3_io_methods* inertMethods() {
    static const sqlite3_io_methods m = [] {
      sqlite3_io_methods t = commonMethods();
      t.xClose = inertClose;
      t.xRead = inertRead;
      t.xWrite = inertWrite;
      t.xTruncate = inertTruncate;
      t.xFileSize = inertFileSize;
      return t;
    }();
    return &m;
  }

  static const sqlite3_io_methods* backedMethods() {
    static const sqlite3_io_methods m = [] {
      sqlite3_io_methods t = commonMethods();
      t.xClose = close;
      t.xRead = read;
      t.xWrite = write;
      t.xTruncate = truncate;
      t.xFileSize = fileSize;
      return t;
    }();
    return &m;
  }

  static sqlite3_io_methods commonMethods() {
    sqlite3_io_methods t{};
    t.iVersion = 1;  // no shared memory, so no WAL
    t.xSync = noSync;
    t.xLock = noLock;
    t.xUnlock = noLock;
    t.xCheckReservedLock = noReservedLock;
    t.xFileControl = noFileControl;
    t.xSectorSize = defaultSectorSize;
    t.xDeviceCharacteristics = noDeviceCharacteristics;
    return t;
  }

  // The VFS the non-file services are borrowed from; never memvfs itself, in
  // case a host made it the default.
  static sqlite3_vfs* system() {
    sqlite3_vfs* v = sqlite3_vfs_find(nullptr);
    return v == vfs() ? nullptr : v;
  }

  static int open(sqlite3_vfs*, const char* name, sqlite3_file* f, int flags, int* outFlags) {
    Handle* h = handleOf(f);
    // SQLite calls xClose whenever the methods are set, even if the open fails,
    // so a handle is inert until it really holds a file.
    h->base.pMethods = inertMethods();
    h->flags = flags;
    h->file = nullptr;
    if (outFlags) *outFlags = flags;
    constexpr int kBacked = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_SUBJOURNAL;
    if ((flags & kBacked) == 0) return SQLITE_OK;
    if (!name && (flags & SQLITE_OPEN_DELETEONCLOSE) == 0) return SQLITE_OK;
    try {
      // A nameless file gets a unique name from MemFs and is removed at close.
      MemFile* file = MemFs::instance().open(name ? OdString(name) : OdString(),
                                             (flags & SQLITE_OPEN_CREATE) != 0);
      if (!file) return SQLITE_CANTOPEN;
      file->addRef();
      h->file = file;
      h->base.pMethods = backedMethods();
      return SQLITE_OK;
    } catch (const std::exception&) {
      return SQLITE_NOMEM;
    }
  }

  static int remove(sqlite3_vfs*, const char* name, int) {
    try {
      MemFs::instance().remove(OdString(name));
      return SQLITE_OK;
    } catch (const std::exception&) {
      return SQLITE_IOERR_DELETE;
    }
  }

  // Every file is reported absent. SQLite asks mainly whether a hot journal is
  // left over from a crash, which cannot happen in memory.
  static int access(sqlite3_vfs*, const char*, int, int* result) {
    *result = 0;
    return SQLITE_OK;
  }

  static int fullPathname(sqlite3_vfs*, const char* name, int size, char* out) {
    const std::size_t length = std::strlen(name);
    if (size <= 0 || length >= static_cast<std::size_t>(size)) return SQLITE_CANTOPEN;
    std::memcpy(out, name, length + 1);
    return SQLITE_OK;
  }

  static void* dlOpen(sqlite3_vfs*, const char*) { return nullptr; }
  static void dlError(sqlite3_vfs*, int size, char* message) {
    sqlite3_snprintf(size, message, "%s", "Loadable extensions are not supported");
  }
  static void (*dlSym(sqlite3_vfs*, void*, const char*))(void) { return nullptr; }
  static void dlClose(sqlite3_vfs*, void*) {}

  static int randomness(sqlite3_vfs*, int size, char* out) {
    sqlite3_vfs* v = system();
    return v ? v->xRandomness(v, size, out) : 0;
  }
  static int sleep(sqlite3_vfs*, int microseconds) {
    sqlite3_vfs* v = system();
    return v ? v->xSleep(v, microseconds) : 0;
  }
  static int currentTime(sqlite3_vfs*, double* julianDay) {
    sqlite3_vfs* v = system();
    return v ? v->xCurrentTime(v, julianDay) : SQLITE_ERROR;
  }
  // Memory files raise no operating-system errors to report.
  static int lastError(sqlite3_vfs*, int size, char* message) {
    if (size > 0) message[0] = '\0';
    return 0;
  }

  static int close(sqlite3_file* f) {
    Handle* h = handleOf(f);
    if (h->file) {
      if (h->flags & SQLITE_OPEN_DELETEONCLOSE) MemFs::instance().remove(h->file);
      MemFs::release(h->file);
      h->file = nullptr;
    }
    return SQLITE_OK;
  }

  static int read(sqlite3_file* f, void* buffer, int amount, sqlite3_int64 offset) {
    const auto wanted = static_cast<std::uint64_t>(amount);
    const std::uint64_t got =
        offset < 0 ? 0 : fileOf(f)->read(buffer, wanted, static_cast<std::uint64_t>(offset));
    if (got == wanted) return SQLITE_OK;
    // SQLite requires the part not read to be zero.
    std::memset(static_cast<unsigned char*>(buffer) + got, 0, static_cast<std::size_t>(wanted - got));
    return SQLITE_IOERR_SHORT_READ;
  }

  static int write(sqlite3_file* f, const void* buffer, int amount, sqlite3_int64 offset) {
    if (offset < 0) return SQLITE_IOERR_WRITE;
    const auto wanted = static_cast<std::uint64_t>(amount);
    // A short write only happens when memory runs out: for SQLite the disk is full.
    return fileOf(f)->write(buffer, wanted, static_cast<std::uint64_t>(offset)) == wanted ? SQLITE_OK
                                                                                          : SQLITE_FULL;
  }

  static int truncate(sqlite3_file* f, sqlite3_int64 size) {
    if (size < 0) return SQLITE_IOERR_TRUNCATE;
    fileOf(f)->truncate(static_cast<std::uint64_t>(size));
    return SQLITE_OK;
  }

  static int fileSize(sqlite3_file* f, sqlite3_int64* size) {
    *size = static_cast<sqlite3_int64>(fileOf(f)->size());
    return SQLITE_OK;
  }
};

namespace {

// Sorting, VACUUM and temporary tables spill into temporary files once the page
// cache is full, and memvfs keeps no temporary file: a VACUUM of a database larger
// than the cache would write back pages of zeros. So every connection whose main
// database is in memvfs keeps its temporary storage in SQLite's memory. As an
// automatic extension this also covers connections a host opens itself.
int keepTempInMemory(sqlite3* db, const char**, const sqlite3_api_routines*) {
  sqlite3_vfs* vfs = nullptr;
  if (sqlite3_file_control(db, "main", SQLITE_FCNTL_VFS_POINTER, &vfs) != SQLITE_OK ||
      vfs != MemVfs::vfs())
    return SQLITE_OK;
  return sqlite3_exec(db, "PRAGMA temp_store=MEMORY", nullptr, nullptr, nullptr);
}

// SQLite takes automatic extensions as void(*)(void) and calls them with the
// signature above.
void (*const kTempExtension)(void) = reinterpret_cast<void (*)(void)>(keepTempInMemory);

// The count is locked although MemFs is not: registering is rare, and libraries
// may be opened, and so register, from any thread.
std::mutex g_registrationMutex;
int g_registrations = 0;

}  // namespace

bool register_memvfs() {
  std::lock_guard<std::mutex> lock(g_registrationMutex);
  if (g_registrations == 0) {
    if (sqlite3_vfs_register(MemVfs::vfs(), 0) != SQLITE_OK) return false;
    if (sqlite3_auto_extension(kTempExtension) != SQLITE_OK) {
      sqlite3_vfs_unregister(MemVfs::vfs());
      return false;
    }
  }
  ++g_registrations;
  return true;
}

void unregister_memvfs() {
  std::lock_guard<std::mutex> lock(g_registrationMutex);
  if (g_registrations == 0) return;
  if (--g_registrations == 0) {
    sqlite3_cancel_auto_extension(kTempExtension);
    sqlite3_vfs_unregister(MemVfs::vfs());
  }
}

const char* memvfs_name() { return kName; }

}  // namespace tarnlib
