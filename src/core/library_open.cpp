// Opening and creating a library: the one procedure behind Library::create and
// Library::open. The schema work runs in one transaction with foreign keys off,
// so a file that cannot be brought up to date is left as it was.
#include <sqlite3.h>

#include <optional>

#include "core/library_impl.h"
#include "core/schema.h"
#include "core/schema_setup.h"
#include "core/transaction_impl.h"
#include "db/error.h"
#include "tarnlib/guid.h"
#include "objects/mappings.h"
#include "tarnlib/memfs.h"

namespace tarnlib {

namespace {

struct OpenRequest {
  OdString filename;
  bool readOnly = false;
  bool create = false;
  LibraryUnit unit = LibraryUnit::Millimeter;
  OdString guid;
};

// Keeps "memvfs" registered while the opening connections live.
class MemvfsRegistration {
 public:
  explicit MemvfsRegistration(bool needed) : needed_(needed) {
    if (needed_) register_memvfs();
  }
  ~MemvfsRegistration() {
    if (needed_) unregister_memvfs();
  }

 private:
  bool needed_;
};

struct Prepared {
  std::int64_t version = 0;
  std::int64_t openedVersion = 0;  // before migration; 0 for new and legacy files
  bool isNew = false;
};

// Steps 3 to 9: brings the schema of the open connection up to date. Throws
// db::Error on failure, after rolling back; returns nothing when the file must be
// refused.
std::optional<Prepared> prepareSchema(db::Connection& connection, const OpenRequest& request) {
  connection.exec("PRAGMA foreign_keys=OFF");
  connection.exec("BEGIN");
  Prepared prepared;
  bool converted = false;
  try {
    const std::optional<std::int64_t> stored = schema::storedVersion(connection);
    // A file without a usable version whose catalogue tables hold rows is a
    // damaged catalogue: creating the schema anew would drop its content.
    if (!stored || (*stored == 0 && schema::holdsCatalogueRows(connection))) {
      connection.exec("ROLLBACK");
      return std::nullopt;
    }
    std::int64_t version = *stored;
    prepared.openedVersion = version;
    if (version > schema::kCurrentVersion) {
      if (schema::storedCompatibility(connection) > schema::kCurrentVersion) {
        connection.exec("ROLLBACK");
        return std::nullopt;
      }
    } else if (version > 0 && version < schema::kCurrentVersion) {
      if (version < schema::kOldestMigratableVersion) {
        connection.exec("ROLLBACK");
        return std::nullopt;
      }
      schema::migrate(connection, version);
      schema::ensureCompatibility(connection);
      version = schema::kCurrentVersion;
    } else if (version == 0) {
      schema::createCurrent(connection);
      schema::ensureCompatibility(connection);
      converted = schema::convertLegacy(connection);
      if (!converted) {
        auto insert = connection.prepareOnce(
            "INSERT INTO \"tarnlib_Meta\" (\"id\", \"guid\", \"unit\", \"locale\", \"region\") "
            "VALUES (?, ?, ?, ?, ?)");
        insert->bindNull(0)
            .bind(1, deriveGuid(request.guid))
            .bind(2, static_cast<int>(request.unit))
            .bind(3, "")
            .bind(4, "")
            .exec();
        prepared.isNew = true;
      }
      version = schema::kCurrentVersion;
    }
    connection.exec("COMMIT");
    prepared.version = version;
  } catch (...) {
    if (connection.inTransaction()) {
      try {
        connection.exec("ROLLBACK");
      } catch (const db::Error&) {
        // Closing the connection rolls back what is left.
      }
    }
    throw;
  }
  connection.exec("PRAGMA foreign_keys=ON");
  if (converted) connection.exec("VACUUM");
  return prepared;
}

std::shared_ptr<Library> openLibrary(const OpenRequest& request) {
  objects::ensureClasses();
  FileLocation location = FileLocation::parse(request.filename);
  MemvfsRegistration registration(location.memvfs);
  try {
    auto connection = std::make_unique<db::Connection>(
        location.path, location.vfs,
        SQLITE_OPEN_READWRITE | (request.create ? SQLITE_OPEN_CREATE : 0));
    // Another process busy with the file is waited for under the same rule as
    // any operation, so that "busy" does not pass for "not a catalogue".
    std::optional<Prepared> prepared;
    for (int retries = 0;; ++retries) {
      try {
        prepared = prepareSchema(*connection, request);
        break;
      } catch (const db::Error& error) {
        if (error.condition() != db::Condition::Recoverable || retries > detail::kMaxRetries) throw;
      }
    }
    if (!prepared) return nullptr;
    if (request.readOnly) {
      connection.reset();
      connection = std::make_unique<db::Connection>(location.path, location.vfs,
                                                    SQLITE_OPEN_READONLY);
    }
    auto* impl = new Library::Impl(request.filename, location, request.readOnly, prepared->isNew,
                                   static_cast<std::uint64_t>(prepared->version),
                                   static_cast<std::uint64_t>(prepared->openedVersion));
    std::shared_ptr<Library> library = detail::LibraryAccess::make(impl);
    impl->release(std::move(connection));
    impl->meta = inTransaction(*library, Access::Read,
                               [](Transaction::Impl& tx) { return readMeta(tx.connection()); });
    return library;
  } catch (...) {
    // Any failure to open, migrate or read is reported as no library.
    return nullptr;
  }
}

}  // namespace

std::shared_ptr<Library> Library::create(const OdString& filename, LibraryUnit unit,
                                         const OdString& guid) {
  OpenRequest request;
  request.filename = filename;
  request.create = true;
  request.unit = unit;
  request.guid = guid;
  return openLibrary(request);
}

std::shared_ptr<Library> Library::open(const OdString& filename, bool readOnly) {
  OpenRequest request;
  request.filename = filename;
  request.readOnly = readOnly;
  return openLibrary(request);
}

}  // namespace tarnlib
