// Library::copy and copyAll. The per-object step is the save with a mapping:
// an object of another library is cloned, its references are brought over
// first through the same mapping (so each source object is copied once per
// mapping), and the clone is saved; what each type refers to comes from its
// mapping, so a new type is copied without code here.
#include "exchange/copy.h"

#include "access/library_templates.h"
#include "access/object_access.h"
#include "access/operations.h"
#include "core/transaction_impl.h"
#include "tarnlib/exceptions.h"

namespace tarnlib {

namespace exchange {

namespace {

// What a per-object copy may fail on and still leave the others to go on.
// Everything else (the database, the retry limit, a read-only file) stops the
// call whatever the transaction type.
template <class Step>
bool perObject(Step step, OdString& reason) {
  try {
    step();
    return true;
  } catch (const ConsistencyError& e) {
    reason = e.what();
  } catch (const NullPointer& e) {
    reason = e.what();
  } catch (const ObjectNotFound& e) {
    reason = e.what();
  } catch (const InappropriateCustomProperty& e) {
    reason = e.what();
  }
  return false;
}

}  // namespace

void copyObjects(Library& destination, ObjectType type, const std::shared_ptr<const Library>& source,
                 const std::set<unsigned>* ids, IdMapping& mapping, Library::TransactionType transactionType,
                 Library::CopyResults* results) {
  if (!source || source.get() == &destination) return;
  if (ids && ids->empty()) return;
  // The source is read in one batch, every referenced object with it.
  std::vector<TnSmartPtr<Object>> objects;
  access::getMany(*source, type,
                  ids ? access::Selection::of(std::vector<std::uint32_t>(ids->begin(), ids->end()))
                      : access::Selection::all(),
                  objects);
  inTransaction(destination, Access::Write, [&](Transaction::Impl& tx) {
    KeepCounterparts counterparts(tx);
    Library::CopyResults attempt;
    for (const TnSmartPtr<Object>& object : objects) {
      const ObjectKey sourceKey(object->tarnlibType(), object->id());
      const IdMapping::Key key(object->tarnlibType(), object->id(), source.get());
      Library::CopyResult& result = attempt[sourceKey];
      IdMapping::Value mapped;
      if (mapping.compute(key, mapped)) {
        // Brought over before: its counterpart, unless that is gone since.
        if (access::getOne(destination, object->tarnlibType(), access::Selection::of({mapped.id}))) {
          result.code = Library::CopyResult::kReused;
          result.id = mapped.id;
        } else {
          result.code = Library::CopyResult::kLeftOut;
          result.reason = L"its copy is no longer in this library";
        }
        continue;
      }
      TnSmartPtr<Object> stored;
      const auto step = [&] { stored = access::saveObject(destination, *object, mapping); };
      if (transactionType != Library::kPerObject) {
        step();
      } else if (!perObject(step, result.reason)) {
        // The failed save took back what it wrote, mapping pairs included;
        // what it made is no counterpart of anything any more.
        result.code = Library::CopyResult::kLeftOut;
        counterparts.forget();
        continue;
      }
      result.id = stored ? stored->id() : 0;
      result.code = mapping.compute(key, mapped) && mapped.result == 1 ? Library::CopyResult::kReused
                                                                        : Library::CopyResult::kAdded;
    }
    if (results)
      for (auto& entry : attempt) (*results)[entry.first] = std::move(entry.second);
  });
}

}  // namespace exchange

}  // namespace tarnlib
