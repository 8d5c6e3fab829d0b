// LibraryManager: one shared Library per file name in a process.
//
// The manager remembers every library it created or opened, by file name, for as
// long as some client still holds it, and gives each the same reactor. Names are
// compared exactly after turning every "\" into "/". The manager takes no lock:
// use it from one thread at a time (instance() itself is created safely).
#ifndef TARNLIB_LIBRARY_MANAGER_H_
#define TARNLIB_LIBRARY_MANAGER_H_

#include <map>
#include <memory>

#include "tarnlib/export.h"
#include "tarnlib/library.h"

namespace tarnlib {

class TARNLIB_EXPORT LibraryManager {
 public:
  // The process-wide manager, created on first use without a reactor.
  static LibraryManager& instance();

  LibraryManager();
  explicit LibraryManager(Library::Reactor* reactor);
  ~LibraryManager();
  LibraryManager(const LibraryManager&) = delete;
  LibraryManager& operator=(const LibraryManager&) = delete;

  // The live library of that name as it is (unit and guid then ignored), or
  // Library::create; empty when that fails.
  std::shared_ptr<Library> create(const OdString& filename, LibraryUnit unit,
                                  const OdString& guid = OdString());
  // The live library of that name as it is (readOnly then ignored), or
  // Library::open; empty when that fails.
  std::shared_ptr<Library> open(const OdString& filename, bool readOnly = false);

  // Stores the reactor and installs it in every live library of the manager.
  void setReactor(Library::Reactor* reactor);
  Library::Reactor* reactor() const { return reactor_; }

 private:
  std::shared_ptr<Library> find(const OdString& filename) const;
  std::shared_ptr<Library> remember(const OdString& filename, std::shared_ptr<Library> library);

  std::unique_ptr<std::map<OdString, std::weak_ptr<Library>>> libraries_;
  Library::Reactor* reactor_ = nullptr;
};

}  // namespace tarnlib

#endif  // TARNLIB_LIBRARY_MANAGER_H_
