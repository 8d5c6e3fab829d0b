#include "catalogue_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>
#include <vector>

#include "tarnlib/memfs.h"

namespace tarn {

namespace fs = std::filesystem;
using tarnlib::Library;
using tarnlib::MemFile;
using tarnlib::MemFs;

namespace {

bool gReadOnly = false;

// How long a command waits for another process to finish with a file before
// it calls the file busy: long enough for other commands' commits, short
// enough that the user hears at once.
constexpr int kBusyWaitMs = 2000;
// The wait when only a lock taken for a moment is expected, such as that of
// another tarn checking the same file.
constexpr int kMomentMs = 200;
// The oldest schema the library migrates; it does not say so itself.
constexpr std::int64_t kOldestMigratable = 1003;

const char* const kBusyReason = "busy: another process is writing to it; try again when it is done";

std::string errorText(int error) { return std::strerror(error); }

// A file name as the library reads it: "memvfs://NAME" is the memory file NAME,
// anything else with "://" names a file system the library does not have.
struct Location {
  bool memory = false;
  OdString memoryName;
};

Location locate(const std::string& file) {
  std::size_t sep = file.find("://");
  if (sep == std::string::npos) return {};
  std::string system = file.substr(0, sep);
  if (system != tarnlib::memvfs_name())
    throw Failure(file, "unknown file system \"" + system + "\" (only memvfs:// names are known)");
  if (sep + 3 == file.size()) throw Failure(file, "a memory file needs a name after memvfs://");
  return {true, wide(file.substr(sep + 3))};
}

OdString memoryUrl(const OdString& name) { return wide(tarnlib::memvfs_name()) + L"://" + name; }

// A memory file that is removed again when the owner is done with it.
class MemoryFile {
 public:
  MemoryFile() : name_(MemFs::instance().createUnique()->filename()) {}
  ~MemoryFile() {
    if (!name_.isEmpty()) MemFs::instance().remove(name_);
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  MemFile& file() const { return *MemFs::instance().open(name_, false); }
  const OdString& name() const { return name_; }
  // The caller takes over the removal.
  OdString release() { return std::exchange(name_, OdString()); }

 private:
  OdString name_;
};

// Keeps the "memvfs" VFS registered for tarn's own connections to memory files.
class MemvfsInUse {
 public:
  MemvfsInUse() : registered_(tarnlib::register_memvfs()) {}
  ~MemvfsInUse() {
    if (registered_) tarnlib::unregister_memvfs();
  }
  MemvfsInUse(const MemvfsInUse&) = delete;
  MemvfsInUse& operator=(const MemvfsInUse&) = delete;

 private:
  bool registered_;
};

// ---- tarn's own SQLite connections, which examine a file before the library
// opens it. Every failure becomes a Failure naming the file.

[[noreturn]] void sqliteFailed(const std::string& file, int rc, const std::string& message) {
  switch (rc & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw busy(file);
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      throw Failure(file, "damaged: SQLite cannot read it (" + printable(message) + ")");
    default:
      break;
  }
  if (rc == SQLITE_READONLY_ROLLBACK)
    throw Failure(file,
                  "an interrupted write left a journal to roll back first; a command that writes "
                  "(tarn vacuum) does that");
  throw Failure(file, "cannot be read: " + printable(message));
}

class Connection {
 public:
  Connection(const std::string& file, const std::string& name, int flags, const char* vfs = nullptr)
      : file_(file) {
    const int rc = sqlite3_open_v2(name.c_str(), &db_, flags, vfs);
    if (db_) sqlite3_extended_result_codes(db_, 1);
    if (rc != SQLITE_OK) {
      const std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
      sqlite3_close_v2(db_);
      sqliteFailed(file, rc, message);
    }
  }
  ~Connection() { sqlite3_close_v2(db_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  sqlite3* get() const { return db_; }
  const std::string& file() const { return file_; }
  [[noreturn]] void failed(int rc) const { sqliteFailed(file_, rc, sqlite3_errmsg(db_)); }
  void exec(const char* sql) const {
    const int rc = sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) failed(rc);
  }

 private:
  std::string file_;
  sqlite3* db_ = nullptr;
};

class Query {
 public:
  Query(const Connection& db, const std::string& sql) : db_(db) {
    const int rc = sqlite3_prepare_v2(db.get(), sql.c_str(), -1, &stmt_, nullptr);
    if (rc != SQLITE_OK) db.failed(rc);
  }
  ~Query() { sqlite3_finalize(stmt_); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  bool next() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) db_.failed(rc);
    return false;
  }
  int type(int column) const { return sqlite3_column_type(stmt_, column); }
  std::int64_t integer(int column) const { return sqlite3_column_int64(stmt_, column); }
  std::string text(int column) const {
    const auto* bytes = sqlite3_column_text(stmt_, column);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes),
                               static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)))
                 : std::string();
  }

 private:
  const Connection& db_;
  sqlite3_stmt* stmt_ = nullptr;
};

const char* const kTableNames =
    "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'";

// What a catalogue of this build holds, asked of a fresh one in memory so that
// the tool never disagrees with the library it runs on.
struct FreshCatalogue {
  std::uint64_t version = 0;
  std::vector<std::string> tables;  // in creation order
};

const FreshCatalogue& freshCatalogue() {
  static const FreshCatalogue fresh = [] {
    FreshCatalogue result;
    MemoryFile scratch;
    {
      auto library = Library::create(memoryUrl(scratch.name()), tarnlib::LibraryUnit::Millimeter);
      if (!library) return result;
      result.version = library->version();
    }
    MemvfsInUse vfs;
    Connection db("a new catalogue", utf8(scratch.name()), SQLITE_OPEN_READONLY, tarnlib::memvfs_name());
    Query tables(db, std::string(kTableNames) + " ORDER BY rowid");
    while (tables.next()) result.tables.push_back(tables.text(0));
    return result;
  }();
  return fresh;
}

// ---- Examining a file

// The first bytes of a file, as far as they tell what it is.
struct Header {
  bool sqlite = false;
  bool wal = false;  // the database is in WAL mode
};

Header readHeader(const std::string& file) {
  std::ifstream in(fs::u8path(file), std::ios::binary);
  if (!in) throw Failure(file, "cannot be read: " + errorText(errno));
  char bytes[20] = {};
  in.read(bytes, sizeof bytes);
  const std::streamsize got = in.gcount();
  if (in.bad()) throw Failure(file, "cannot be read");
  if (got == 0) throw Failure(file, "empty file, not a catalogue");
  static const char kMagic[] = "SQLite format 3";  // with its terminating zero: 16 bytes
  if (got < static_cast<std::streamsize>(sizeof kMagic) || std::memcmp(bytes, kMagic, sizeof kMagic) != 0)
    throw Failure(file, "not a catalogue (not an SQLite database)");
  Header header;
  header.sqlite = true;
  // The file format's write and read versions: 2 in WAL mode.
  header.wal = got >= 20 && (bytes[18] == 2 || bytes[19] == 2);
  return header;
}

std::string fileUri(const std::string& file) {
  const std::string path = fs::absolute(fs::u8path(file)).lexically_normal().u8string();
  std::string uri = "file://";
  for (unsigned char c : path) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
      uri += static_cast<char>(c);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", c);
      uri += escaped;
    }
  }
  return uri;
}

// A read-only connection that leaves nothing beside the file. A reader of a WAL
// file makes -wal and -shm files and, unable to write, cannot remove them when
// it closes. Without a -wal file no connection has the WAL open and every page
// is in the file itself, so it is read as unchanging, which makes no such files;
// a writer that starts meanwhile writes to a new WAL, not to the file, until
// it checkpoints.
std::unique_ptr<Connection> openForReading(const std::string& file, const Header& header) {
  std::error_code ec;
  std::unique_ptr<Connection> db;
  if (header.wal && !fs::exists(fs::u8path(file + "-wal"), ec))
    db = std::make_unique<Connection>(file, fileUri(file) + "?immutable=1",
                                      SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  else
    db = std::make_unique<Connection>(file, file, SQLITE_OPEN_READONLY);
  sqlite3_busy_timeout(db->get(), kBusyWaitMs);
  return db;
}

struct Examined {
  Schema schema = Schema::Current;
  std::int64_t version = 0;  // 0 for a legacy layout
};

std::int64_t countRows(const Connection& db, const std::string& sql) {
  Query count(db, sql);
  return count.next() ? count.integer(0) : 0;
}

// Tells what the file is, inside the read transaction the caller began; throws
// Failure with the reason when it is no catalogue this version can use.
Examined examine(const Connection& db) {
  const std::string& file = db.file();
  {
    Query check(db, "PRAGMA quick_check(1)");
    if (check.next() && check.text(0) != "ok")
      throw Failure(file, "damaged: SQLite finds its pages inconsistent (" + printable(check.text(0)) + ")");
  }

  std::set<std::string> tables;
  {
    Query names(db, kTableNames);
    while (names.next()) tables.insert(names.text(0));
  }
  const FreshCatalogue& fresh = freshCatalogue();
  bool catalogueTables = false;
  for (const std::string& table : fresh.tables)
    if (table != "schema_version" && tables.count(table)) catalogueTables = true;
  const char* const kNotCatalogue = "not a catalogue (an SQLite database without catalogue tables)";

  const bool versions = tables.count("schema_version") > 0;
  Examined result;
  bool recorded = false;
  if (versions) {
    Query row(db, "SELECT version FROM schema_version WHERE name = 'tarnlib'");
    if (row.next()) {
      recorded = true;
      if (row.type(0) != SQLITE_INTEGER || row.integer(0) <= 0) {
        if (!catalogueTables) throw Failure(file, kNotCatalogue);
        throw Failure(
            file, "damaged: its schema version \"" + printable(row.text(0)) + "\" is not a version number");
      }
      result.version = row.integer(0);
    }
  }
  if (!recorded) {
    // The layouts before the current one recorded their versions under other
    // names; the library converts them.
    if (versions && countRows(db, "SELECT count(*) FROM schema_version WHERE name IN ('', 'bimlib')") > 0) {
      result.schema = Schema::Older;
      return result;
    }
    if (catalogueTables) throw Failure(file, "damaged: its schema version row is missing");
    throw Failure(file, kNotCatalogue);
  }

  const auto current = static_cast<std::int64_t>(fresh.version);
  if (result.version > current) {
    // A file without the column is refused by the library like an incompatible one.
    std::int64_t compatibility = result.version;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db.get(), "SELECT compatibility FROM schema_version WHERE name = 'tarnlib'", -1,
                           &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
      compatibility = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    if (compatibility > current)
      throw Failure(file, "written by a newer version (schema " + std::to_string(result.version) +
                              ") that this one cannot open");
    result.schema = Schema::Newer;
  } else if (result.version < kOldestMigratable) {
    throw Failure(file, "too old to migrate (schema " + std::to_string(result.version) +
                            "); this version migrates from schema " + std::to_string(kOldestMigratable));
  } else if (result.version < current) {
    result.schema = Schema::Older;
  }

  // An older file lacks the tables added since; its migration tells.
  if (result.schema != Schema::Older)
    for (const std::string& table : fresh.tables)
      if (!tables.count(table)) throw Failure(file, "damaged: table " + table + " is missing");
  if (!tables.count("tarnlib_Meta")) throw Failure(file, "damaged: table tarnlib_Meta is missing");
  if (countRows(db, "SELECT count(*) FROM tarnlib_Meta") == 0)
    throw Failure(file, "damaged: no metadata row");
  return result;
}

// Copies the database `db` reads into the memory file `copy` with SQLite's
// backup, which takes the pages as a reader sees them, WAL content included.
void copyInto(const Connection& db, const MemoryFile& copy) {
  const std::string& file = db.file();
  MemvfsInUse vfs;
  {
    Connection target(file, utf8(copy.name()), SQLITE_OPEN_READWRITE, tarnlib::memvfs_name());
    sqlite3_backup* backup = sqlite3_backup_init(target.get(), "main", db.get(), "main");
    if (!backup)
      throw Failure(file, "cannot be copied into memory: " + printable(sqlite3_errmsg(target.get())));
    const int rc = sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup);
    if (rc != SQLITE_DONE) sqliteFailed(file, rc, sqlite3_errstr(rc));
  }
  // A memory file keeps no WAL: the copy of a WAL file is marked as one with a
  // rollback journal, else SQLite would look for its WAL.
  const unsigned char rollback[2] = {1, 1};
  if (copy.file().write(rollback, sizeof rollback, 18) != sizeof rollback)
    throw Failure(file, "cannot be copied into memory");
}

void refuseIfBusy(const std::string& file, int waitMs) {
  if (heldByOthers(file, waitMs)) throw busy(file);
}

// Why the library failed to open a file that looked sound a moment ago.
[[noreturn]] void explainRefusal(const std::string& file, const Header& header) {
  {
    std::unique_ptr<Connection> db = openForReading(file, header);
    db->exec("BEGIN");
    examine(*db);
  }
  refuseIfBusy(file, kMomentMs);
  throw Failure(file,
                "cannot be opened by the library, although its version, tables and metadata look right");
}

// The checks before a file is replaced.
void checkReplaceable(const std::string& file, const struct stat& status) {
  if (S_ISDIR(status.st_mode)) throw Failure(file, "is a folder, not a catalogue");
  // A file marked read-only is not replaced, even by a user who may.
  if (::access(file.c_str(), W_OK) != 0 || (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
    throw Failure(file, "is read-only; not replaced");
  refuseIfBusy(file, kMomentMs);
  // Taking the lock rolled back or checkpointed what no one uses any more, so a
  // WAL or journal still there is another process's. Left beside the new file,
  // SQLite would read it into that one.
  std::error_code ec;
  for (const char* suffix : {"-wal", "-journal"})
    if (fs::exists(fs::u8path(file + suffix), ec))
      throw Failure(file, "busy: another process has it open; try again when it is done");
}

bool writableWithFolder(const std::string& file) {
  const fs::path folder = fs::u8path(file).parent_path();
  return ::access(file.c_str(), W_OK) == 0 && ::access(folder.empty() ? "." : folder.c_str(), W_OK) == 0;
}

void syncFolder(const std::string& file) {
  // The move itself must reach the disk, not only the file's content.
  fs::path folder = fs::u8path(file).parent_path();
  const int fd = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

}  // namespace

void setReadOnly(bool readOnly) { gReadOnly = readOnly; }

void refuseIfReadOnly(const std::string& file) {
  if (gReadOnly) throw Failure(file, "--read-only given; nothing changed");
}

Failure busy(const std::string& file) { return Failure(file, kBusyReason); }

bool heldByOthers(const std::string& file, int waitMs, bool whole) {
  // Only a lock says so: a file that cannot be opened or is no database is for
  // the caller to refuse.
  sqlite3* db = nullptr;
  bool held = false;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    sqlite3_busy_timeout(db, waitMs);
    const int rc = sqlite3_exec(db, whole ? "BEGIN EXCLUSIVE" : "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    held = rc == SQLITE_BUSY || rc == SQLITE_LOCKED;
    if (rc == SQLITE_OK) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  sqlite3_close_v2(db);
  return held;
}

std::uint64_t currentSchemaVersion() { return freshCatalogue().version; }

bool fileExists(const std::string& file) {
  Location where = locate(file);
  if (where.memory) return MemFs::instance().open(where.memoryName, false) != nullptr;
  std::error_code ec;
  return fs::exists(fs::u8path(file), ec);
}

std::optional<std::uint64_t> fileSize(const std::string& file) {
  Location where = locate(file);
  if (where.memory) {
    const MemFile* mem = MemFs::instance().open(where.memoryName, false);
    if (!mem) return std::nullopt;
    return mem->size();
  }
  std::error_code ec;
  std::uintmax_t size = fs::file_size(fs::u8path(file), ec);
  if (ec) return std::nullopt;
  return static_cast<std::uint64_t>(size);
}

Catalogue openCatalogue(const std::string& file, Access access) {
  Location where = locate(file);
  Catalogue result;
  result.file_ = file;

  if (where.memory) {
    if (!MemFs::instance().open(where.memoryName, false))
      throw Failure(file, "no such memory file (memory files last only while tarn runs)");
    result.library_ = Library::open(memoryUrl(where.memoryName), gReadOnly || access == Access::ReadOnly);
    if (!result.library_) throw Failure(file, "not a catalogue this version can open");
  } else {
    std::error_code ec;
    fs::file_status status = fs::status(fs::u8path(file), ec);
    if (!fs::exists(status)) throw Failure(file, "no such file");
    if (fs::is_directory(status)) throw Failure(file, "is a folder, not a catalogue");
    const Header header = readHeader(file);
    if (access == Access::Write) {
      refuseIfReadOnly(file);
      if (::access(file.c_str(), W_OK) != 0) throw Failure(file, "the file is read-only; nothing changed");
      // Before the library waits for the lock under its own, much longer rule.
      refuseIfBusy(file, kBusyWaitMs);
    }

    Examined examined;
    MemoryFile copy;
    bool copied = false;
    {
      std::unique_ptr<Connection> db = openForReading(file, header);
      // One read transaction, so that the copy is of the file examined.
      db->exec("BEGIN");
      examined = examine(*db);
      // The library opening an older file migrates it, so that is done in a
      // copy first: a reading command works on that, and a writing one learns
      // that the migration succeeds. A WAL file that may not be written keeps
      // the -wal and -shm files any reader makes, so a reading command reads a
      // copy of it too.
      copied = examined.schema == Schema::Older ||
               (access != Access::Write && header.wal &&
                (access == Access::ReadOnly || !writableWithFolder(file)));
      if (copied) copyInto(*db, copy);
    }
    result.schema_ = examined.schema;
    if (copied) {
      std::shared_ptr<Library> library = Library::open(memoryUrl(copy.name()), false);
      if (!library && examined.schema != Schema::Older) explainRefusal(file, header);
      if (!library)
        throw Failure(file, examined.version == 0 ? "damaged: its legacy layout could not be converted"
                                                  : "damaged: migrating it from schema " +
                                                        std::to_string(examined.version) + " failed");
      if (library->isNew())
        throw Failure(file, "not a catalogue this version can convert (a legacy layout of unknown version)");
      if (access != Access::Write) {
        result.library_ = std::move(library);
        result.copy_ = copy.release();
        return result;
      }
    }
    // Opening a current file writes nothing, so a reading command may open it
    // for writing too: isReadOnly() then tells what the file system allows.
    result.library_ = Library::open(wide(file), gReadOnly || access == Access::ReadOnly);
    if (!result.library_) {
      if (access == Access::Write && examined.schema == Schema::Older)
        throw Failure(file, "could not be migrated in place; the file is unchanged");
      explainRefusal(file, header);
    }
  }
  if (access == Access::Write && result.library_->isReadOnly())
    throw Failure(
        file, gReadOnly ? "--read-only given; nothing changed" : "the file is read-only; nothing changed");
  return result;
}

Catalogue createCatalogue(const std::string& file, tarnlib::LibraryUnit unit, const std::string& guid) {
  refuseIfReadOnly(file);
  NewCatalogue made(file, false, unit, guid);
  made.commit();
  return std::move(made.catalogue());
}

// ---- Catalogue

Catalogue::Catalogue(Catalogue&& other) noexcept
    : file_(std::move(other.file_)),
      schema_(other.schema_),
      copy_(std::exchange(other.copy_, OdString())),
      library_(std::move(other.library_)) {}

Catalogue& Catalogue::operator=(Catalogue&& other) noexcept {
  if (this != &other) {
    release();
    file_ = std::move(other.file_);
    schema_ = other.schema_;
    copy_ = std::exchange(other.copy_, OdString());
    library_ = std::move(other.library_);
  }
  return *this;
}

Catalogue::~Catalogue() { release(); }

void Catalogue::release() noexcept {
  // The library closes its connections before its memory file goes.
  library_.reset();
  if (!copy_.isEmpty()) MemFs::instance().remove(copy_);
  copy_ = OdString();
}

// ---- NewCatalogue

NewCatalogue::NewCatalogue(const std::string& file, bool replace, tarnlib::LibraryUnit unit,
                           const std::string& guid)
    : file_(file), replace_(replace) {
  catalogue_.file_ = file;
  Location where = locate(file);
  if (where.memory) {
    if (MemFs::instance().open(where.memoryName, false)) {
      if (!replace) throw Failure(file, "already exists; nothing changed");
      MemFs::instance().remove(where.memoryName);
    }
    memoryName_ = where.memoryName;
    catalogue_.library_ = Library::create(memoryUrl(where.memoryName), unit, wide(guid));
    if (!catalogue_.library_) {
      removeTemporary();
      throw Failure(file, "cannot be created");
    }
    return;
  }

  struct stat status;
  if (::stat(file.c_str(), &status) == 0) {
    if (!replace) throw Failure(file, "already exists; nothing changed");
    checkReplaceable(file, status);
  }
  // Hidden, unique, and in the same folder, so that the move is a rename.
  fs::path path = fs::u8path(file);
  std::string pattern = (path.parent_path() / ("." + path.filename().u8string() + ".tarn-XXXXXX")).u8string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) throw Failure(file, "cannot be created: " + errorText(errno));
  temporary_ = pattern;
  // mkstemp makes the file private; a catalogue gets the modes any new file gets.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd, 0666 & ~mask);
  ::close(fd);
  catalogue_.library_ = Library::create(wide(temporary_), unit, wide(guid));
  if (!catalogue_.library_) {
    removeTemporary();
    throw Failure(file, "cannot be created");
  }
}

NewCatalogue::~NewCatalogue() {
  // Its connections close before its file goes.
  catalogue_.release();
  removeTemporary();
}

void NewCatalogue::commit() {
  if (temporary_.empty()) {
    memoryName_ = OdString();
    return;
  }
  int moved;
  if (replace_) {
    // The file may have changed hands while the catalogue was built.
    struct stat status;
    if (::stat(file_.c_str(), &status) == 0) checkReplaceable(file_, status);
    moved = std::rename(temporary_.c_str(), file_.c_str());
  } else {
    // Never over a file another process made meanwhile.
    moved = ::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, file_.c_str(), RENAME_NOREPLACE);
    if (moved != 0 && (errno == EINVAL || errno == ENOSYS)) {
      // The file system has no such rename: a new link fails just the same on an existing name.
      moved = ::link(temporary_.c_str(), file_.c_str());
      if (moved == 0) ::unlink(temporary_.c_str());
    }
  }
  if (moved != 0) {
    const int error = errno;
    if (error == EEXIST)
      throw Failure(file_, "already exists (another process made it meanwhile); nothing changed");
    throw Failure(file_, "cannot be put in place: " + errorText(error));
  }
  temporary_.clear();
  syncFolder(file_);
}

void NewCatalogue::removeTemporary() noexcept {
  if (!memoryName_.isEmpty()) {
    MemFs::instance().remove(memoryName_);
    memoryName_ = OdString();
  }
  if (temporary_.empty()) return;
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) ::unlink((temporary_ + suffix).c_str());
  temporary_.clear();
}

}  // namespace tarn
