#include "tarnlib/library.h"

#include <sqlite3.h>

#include <filesystem>

#include "core/library_impl.h"
#include "core/transaction_impl.h"
#include "tarnlib/memfs.h"

namespace tarnlib {

// ---- Reactor defaults

Library::Reactor::~Reactor() = default;
void Library::Reactor::transactionBegun(const Library&) {}
void Library::Reactor::transactionEnded(const Library&, End) {}
bool Library::Reactor::beforeRemove(const Library&, const ObjectInfo&) { return true; }
void Library::Reactor::afterRemove(const Library&, const ObjectInfo&) {}
void Library::Reactor::objectSaved(const Library&, ObjectType, std::uint32_t) {}
void Library::Reactor::objectsCommitted(const Library&, const std::set<ObjectKey>&) {}

Library::Reactor& defaultReactor() {
  static Library::Reactor reactor;
  return reactor;
}

// ---- FileLocation

FileLocation FileLocation::parse(const OdString& filename) {
  FileLocation location;
  location.path = filename.toUtf8();
  const auto separator = location.path.find("://");
  if (location.path.size() >= 3 && separator != std::string::npos) {
    location.vfs = location.path.substr(0, separator);
    location.path = location.path.substr(separator + 3);
    location.memvfs = location.vfs == memvfs_name();
  }
  return location;
}

// ---- Library::Impl

namespace {

// A read-only connection to a file in WAL mode creates its -wal and -shm files
// and, being unable to write, cannot remove them when it closes. A writable
// connection closed after it can: SQLite checkpoints and removes them when it
// is the file's last connection, and leaves them to the others otherwise. A
// file we may not write keeps them.
void removeWalFiles(const std::string& path) noexcept {
  std::error_code ignored;
  if (!std::filesystem::exists(path + "-wal", ignored)) return;
  try {
    // It must read to take part in the WAL at all.
    db::Connection tidy(path, std::string(), SQLITE_OPEN_READWRITE);
    tidy.exec("SELECT 1 FROM sqlite_master LIMIT 1");
  } catch (...) {
  }
}

}  // namespace

Library::Impl::Impl(const OdString& filename, FileLocation location, bool readOnly, bool isNew,
                     std::uint64_t version, std::uint64_t openedVersion)
    : filename(filename),
      location(std::move(location)),
      readOnly(readOnly),
      isNew(isNew),
      version(version),
      openedVersion(openedVersion),
      reactor(&defaultReactor()) {
  if (this->location.memvfs) register_memvfs();
}

Library::Impl::~Impl() {
  idle_.clear();
  if (readOnly && location.vfs.empty()) removeWalFiles(location.path);
  if (location.memvfs) unregister_memvfs();
}

std::unique_ptr<db::Connection> Library::Impl::acquire() {
  {
    std::lock_guard<std::mutex> lock(poolMutex_);
    if (!idle_.empty()) {
      auto connection = std::move(idle_.back());
      idle_.pop_back();
      return connection;
    }
  }
  return std::make_unique<db::Connection>(
      location.path, location.vfs, readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
}

void Library::Impl::release(std::unique_ptr<db::Connection> connection) noexcept {
  if (!connection || connection->inTransaction()) return;  // closing rolls it back
  std::lock_guard<std::mutex> lock(poolMutex_);
  try {
    idle_.push_back(std::move(connection));
  } catch (...) {
    // Out of memory for the pool: the connection simply closes.
  }
}

// ---- Library

Library::Library(Impl* impl) : impl_(impl) { impl_->owner = this; }
Library::~Library() = default;

const OdString& Library::filename() const { return impl_->filename; }
std::uint64_t Library::version() const { return impl_->version; }
std::uint64_t Library::openedVersion() const { return impl_->openedVersion; }
bool Library::isNew() const { return impl_->isNew; }
const OdString& Library::guid() const { return impl_->meta.guid; }
LibraryUnit Library::unit() const { return impl_->meta.unit; }
const OdString& Library::locale() const { return impl_->meta.locale; }
const OdString& Library::region() const { return impl_->meta.region; }

bool Library::isReadOnly() const {
  auto connection = impl_->acquire();
  const bool readOnly = connection->readOnly();
  impl_->release(std::move(connection));
  return readOnly;
}

namespace {

// Writes one change to the metadata row and the handle's copy of it. The row is
// read again inside the write transaction, so a change made meanwhile by another
// thread or process to the other fields is kept rather than overwritten with
// this handle's old copy. A rollback puts the copy back.
void writeMeta(const Library& library, void (*change)(Meta&, const OdString&), const OdString& value) {
  Library::Impl& impl = detail::LibraryAccess::impl(library);
  inTransaction(library, Access::Write, [&](Transaction::Impl& tx) {
    Meta meta = readMeta(tx.connection());
    change(meta, value);
    auto stmt = tx.connection().prepare(
        "UPDATE \"tarnlib_Meta\" SET \"guid\"=?, \"unit\"=?, \"locale\"=?, \"region\"=? WHERE \"id\"=?");
    stmt->bind(0, meta.guid)
        .bind(1, static_cast<int>(meta.unit))
        .bind(2, meta.locale)
        .bind(3, meta.region)
        .bind(4, meta.id);
    if (stmt->exec() == 0) db::fail(db::Condition::NotPersistent, "metadata row missing");
    std::lock_guard<std::mutex> lock(impl.metaMutex);
    tx.undo.push([&impl, previous = impl.meta] {
      std::lock_guard<std::mutex> lock(impl.metaMutex);
      impl.meta = previous;
    });
    impl.meta = std::move(meta);
  });
}

}  // namespace

Meta readMeta(db::Connection& connection) {
  auto stmt = connection.prepare(
      "SELECT \"tarnlib_Meta\".\"id\", \"tarnlib_Meta\".\"guid\", \"tarnlib_Meta\".\"unit\", "
      "\"tarnlib_Meta\".\"locale\", \"tarnlib_Meta\".\"region\" FROM \"tarnlib_Meta\"");
  if (!stmt->step()) db::fail(db::Condition::NotPersistent, "library has no metadata row");
  Meta meta;
  meta.id = stmt->id(0);
  meta.guid = stmt->text(1);
  meta.unit = static_cast<LibraryUnit>(stmt->integer(2));
  meta.locale = stmt->text(3);
  meta.region = stmt->text(4);
  return meta;
}

void Library::locale(const OdString& value) {
  {
    std::lock_guard<std::mutex> lock(impl_->metaMutex);
    if (value == impl_->meta.locale) return;
  }
  writeMeta(*this, [](Meta& m, const OdString& v) { m.locale = v; }, value);
}

void Library::region(const OdString& value) {
  {
    std::lock_guard<std::mutex> lock(impl_->metaMutex);
    if (value == impl_->meta.region) return;
  }
  writeMeta(*this, [](Meta& m, const OdString& v) { m.region = v; }, value);
}

void Library::copyMeta(const std::shared_ptr<const Library>& other) {
  if (!other) return;
  locale(other->locale());
  region(other->region());
}

void Library::setReactor(Reactor* reactor) {
  impl_->reactor = reactor ? reactor : &defaultReactor();
}

Library::Reactor* Library::reactor() const { return impl_->reactor; }

bool Library::vacuum() {
  // Inside the caller's transaction VACUUM cannot run; SQLite says so at once on
  // that transaction's own connection instead of waiting for its lock elsewhere.
  if (Transaction::hasCurrent() && Transaction::current().library().get() == this) {
    return false;
  }
  try {
    auto connection = impl_->acquire();
    connection->exec("VACUUM");
    impl_->release(std::move(connection));
    return true;
  } catch (const db::Error&) {
    return false;
  }
}

}  // namespace tarnlib
