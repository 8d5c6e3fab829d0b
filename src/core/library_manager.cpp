#include "tarnlib/library_manager.h"

namespace tarnlib {

namespace {

OdString normalise(const OdString& filename) {
  OdString key(filename);
  key.replace(L'\\', L'/');
  return key;
}

}  // namespace

LibraryManager& LibraryManager::instance() {
  static LibraryManager manager;
  return manager;
}

LibraryManager::LibraryManager() : LibraryManager(nullptr) {}

LibraryManager::LibraryManager(Library::Reactor* reactor)
    : libraries_(std::make_unique<std::map<OdString, std::weak_ptr<Library>>>()),
      reactor_(reactor) {}

LibraryManager::~LibraryManager() = default;

std::shared_ptr<Library> LibraryManager::find(const OdString& filename) const {
  auto it = libraries_->find(normalise(filename));
  return it == libraries_->end() ? nullptr : it->second.lock();
}

std::shared_ptr<Library> LibraryManager::remember(const OdString& filename,
                                                  std::shared_ptr<Library> library) {
  if (!library) return library;
  library->setReactor(reactor_);
  (*libraries_)[normalise(filename)] = library;
  return library;
}

std::shared_ptr<Library> LibraryManager::create(const OdString& filename, LibraryUnit unit,
                                                const OdString& guid) {
  if (auto library = find(filename)) return library;
  return remember(filename, Library::create(filename, unit, guid));
}

std::shared_ptr<Library> LibraryManager::open(const OdString& filename, bool readOnly) {
  if (auto library = find(filename)) return library;
  return remember(filename, Library::open(filename, readOnly));
}

void LibraryManager::setReactor(Library::Reactor* reactor) {
  reactor_ = reactor;
  for (auto& entry : *libraries_) {
    if (auto library = entry.second.lock()) library->setReactor(reactor);
  }
}

}  // namespace tarnlib
