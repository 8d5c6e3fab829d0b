// The generic library operations, without templates: every typed member of
// Library forwards here with the mapping of its type. Each runs in the
// transaction scope and throws the library's exceptions.
#ifndef TARNLIB_ACCESS_OPERATIONS_H_
#define TARNLIB_ACCESS_OPERATIONS_H_

#include <set>
#include <vector>

#include "access/queries.h"
#include "tarnlib/library.h"

namespace tarnlib::access {

TnSmartPtr<Object> getOne(const Library& library, ObjectType type, const Selection& selection);
void getMany(const Library& library, ObjectType type, const Selection& selection,
             std::vector<TnSmartPtr<Object>>& out);
bool existsAny(const Library& library, ObjectType type, const Selection& selection);
std::size_t countRows(const Library& library, ObjectType type, const Query& query);
// Compositions and profiles: own GUID, merged GUIDs, then the id.
TnSmartPtr<Object> getByGuid(const Library& library, ObjectType type, const Guid& guid, std::uint32_t id);

// A new object or one of this library is written itself (const or not); an
// object of another library as a clone.
TnSmartPtr<Object> saveObject(Library& library, const Object& object, IdMapping& mapping);

Library::RemoveResult removeOne(Library& library, ObjectType type, std::uint32_t id);
void removeMany(Library& library, ObjectType type, const std::set<std::uint32_t>& ids,
                Library::RemoveResults& results);
// Purges the types in the given order in one transaction, then compacts.
void purgeTypes(Library& library, const std::vector<ObjectType>& types, Library::RemoveResults& results);

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_OPERATIONS_H_
