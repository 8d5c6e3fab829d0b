// Copy and sync between libraries, without templates: the typed members of
// Library forward here with their type.
#ifndef TARNLIB_EXCHANGE_COPY_H_
#define TARNLIB_EXCHANGE_COPY_H_

#include <map>
#include <memory>
#include <set>

#include "tarnlib/library.h"

namespace tarnlib::exchange {

// Brings the objects of `type` with the given ids (all when `ids` is null)
// from `source` into `destination`; `results`, when given, learns what became
// of each.
void copyObjects(Library& destination, ObjectType type, const std::shared_ptr<const Library>& source,
                 const std::set<unsigned>* ids, IdMapping& mapping, Library::TransactionType transactionType,
                 Library::CopyResults* results);

// Syncs the given types in order, sharing one mapping (a composition's plies
// then find the materials synced before them).
void syncTypes(Library& destination, const std::vector<ObjectType>& types,
               const std::shared_ptr<const Library>& source, const std::set<unsigned>* ids,
               const std::map<OdString, OdString>& renames, OdString* report, pugi::xml_node* reportNode);

}  // namespace tarnlib::exchange

#endif  // TARNLIB_EXCHANGE_COPY_H_
