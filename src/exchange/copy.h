// Copy and sync between libraries, without templates: the typed members of
// Library forward here with their type.
#ifndef TARNLIB_EXCHANGE_COPY_H_
#define TARNLIB_EXCHANGE_COPY_H_

#include <map>
#include <memory>
#include <set>

#include "core/transaction_impl.h"
#include "tarnlib/library.h"

namespace tarnlib::exchange {

// For the length of a copy or sync: what each source object became is kept
// at hand in the transaction for the next object that refers to it, instead
// of being read back from the file (a material in many plies).
class KeepCounterparts {
 public:
  explicit KeepCounterparts(Transaction::Impl& tx) : tx_(tx), previous_(tx.counterparts) {
    tx.counterparts = &counterparts_;
  }
  ~KeepCounterparts() { tx_.counterparts = previous_; }
  KeepCounterparts(const KeepCounterparts&) = delete;
  KeepCounterparts& operator=(const KeepCounterparts&) = delete;
  // After a failed object: what it made is no counterpart of anything any more.
  void forget() { counterparts_.clear(); }

 private:
  Transaction::Impl& tx_;
  std::map<ObjectKey, TnSmartPtr<Object>>* previous_;
  std::map<ObjectKey, TnSmartPtr<Object>> counterparts_;
};

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
