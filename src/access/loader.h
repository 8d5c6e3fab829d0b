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
  std::unordered_map<std::uint64_t, TnSmartPtr<Object>> cache_;
};

// The FROM clause of a class: its own table joined up to the root.
std::string fromClause(const Mapping& mapping);

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_LOADER_H_
