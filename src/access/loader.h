// Loading objects in batches: one query per table involved (the class's tables
// joined, each container, each referenced type), whatever the number of objects.
// An object referenced by several loaded objects is one instance per load.
#ifndef TARNLIB_ACCESS_LOADER_H_
#define TARNLIB_ACCESS_LOADER_H_

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "access/mapping.h"
#include "access/selection.h"
#include "db/connection.h"
#include "tarnlib/library.h"

namespace tarnlib::access {

// The objects one load has made, by root type and id: an open-addressing table
// in one array, as a load may hold hundreds of thousands of them and a node per
// object would cost an allocation and a cache miss each.
class ObjectCache {
 public:
  Object* find(std::uint64_t key) const;
  // The key must not be there yet (0 is no key: ids start at 1).
  void insert(std::uint64_t key, TnSmartPtr<Object> object);
  // Room for `more` objects beyond those held, without growing on the way.
  void reserve(std::size_t more);

 private:
  void grow(std::size_t capacity);
  std::vector<std::pair<std::uint64_t, TnSmartPtr<Object>>> slots_;
  std::size_t size_ = 0;
};

class Loader {
 public:
  Loader(const std::shared_ptr<Library>& library, db::Connection& connection)
      : library_(library), connection_(connection) {}

  // Appends the selected objects of `mapping` (of their most derived class) to
  // `out`, in id order.
  void load(const Mapping& mapping, const Selection& selection, std::vector<TnSmartPtr<Object>>& out);

  // One object by id; null when there is none of that class.
  TnSmartPtr<Object> loadOne(const Mapping& mapping, std::uint32_t id);

 private:
  // `remember`: keep the objects for the references still to resolve, which
  // referenced objects always need and the selected ones only when objects of
  // their kind can refer to each other.
  void loadHierarchy(const Mapping& mapping, const Selection& selection, bool remember,
                     std::vector<TnSmartPtr<Object>>& out);
  // `wholeClass`: the selection holds every object of the class, so its
  // container rows are read whole rather than through a list of ids.
  void loadConcrete(const Mapping& mapping, const Selection& selection, bool wholeClass, bool remember,
                    std::vector<TnSmartPtr<Object>>& out);
  void resolve(ObjectType target, std::vector<PendingRef>& pending);
  Object* cached(const Mapping& mapping, std::uint32_t id) const;

  std::shared_ptr<Library> library_;
  db::Connection& connection_;
  // Every object loaded in this operation, by root type and id.
  ObjectCache cache_;
};

// The FROM clause of a class: its own table joined up to the root.
std::string fromClause(const Mapping& mapping);

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_LOADER_H_
