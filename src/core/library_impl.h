// Library::Impl: the state behind one open library, and the internal access to
// it from the other layers.
#ifndef TARNLIB_CORE_LIBRARY_IMPL_H_
#define TARNLIB_CORE_LIBRARY_IMPL_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "db/connection.h"
#include "tarnlib/library.h"

namespace tarnlib {

// The metadata row of "tarnlib_Meta".
struct Meta {
  std::uint32_t id = 0;
  OdString guid;
  LibraryUnit unit = LibraryUnit::Millimeter;
  OdString locale;
  OdString region;
};

// Where and how connections to the file are opened.
struct FileLocation {
  std::string path;  // UTF-8 name given to the VFS
  std::string vfs;   // empty for SQLite's default
  bool memvfs = false;

  static FileLocation parse(const OdString& filename);
};

class Library::Impl {
 public:
  Impl(const OdString& filename, FileLocation location, bool readOnly, bool isNew,
       std::uint64_t version, std::uint64_t openedVersion);
  ~Impl();

  // A connection for one transaction: an idle one of the pool, or a new one.
  std::unique_ptr<db::Connection> acquire();
  // Gives a connection back to the pool; one still inside a transaction (which
  // should not happen) is closed instead, which rolls it back.
  void release(std::unique_ptr<db::Connection> connection) noexcept;

  Library* owner = nullptr;
  OdString filename;
  FileLocation location;
  bool readOnly;
  bool isNew;
  std::uint64_t version;
  std::uint64_t openedVersion;
  Meta meta;
  // Guards `meta` against two threads writing metadata at once; the getters
  // hand out references and are not meant to race with a setter.
  std::mutex metaMutex;
  Library::Reactor* reactor;

 private:
  std::mutex poolMutex_;
  std::vector<std::unique_ptr<db::Connection>> idle_;
};

namespace detail {

class LibraryAccess {
 public:
  static Library::Impl& impl(const Library& library) { return *library.impl_; }
  static std::shared_ptr<Library> make(Library::Impl* impl) {
    return std::shared_ptr<Library>(new Library(impl));
  }
};

}  // namespace detail

// The metadata row; throws db::Error (NotPersistent when there is none).
Meta readMeta(db::Connection& connection);

// The do-nothing reactor installed when the host sets none.
Library::Reactor& defaultReactor();

}  // namespace tarnlib

#endif  // TARNLIB_CORE_LIBRARY_IMPL_H_
