// Saving objects: insert, update, binding a new object to an equal stored row,
// cloning objects of other libraries, and bringing referenced objects over first.
#ifndef TARNLIB_ACCESS_SAVER_H_
#define TARNLIB_ACCESS_SAVER_H_

#include <memory>

#include "access/mapping.h"
#include "core/transaction_impl.h"
#include "tarnlib/id_mapping.h"
#include "tarnlib/library.h"

namespace tarnlib::access {

// What a write did, as recorded in the id mapping.
enum class Outcome { Inserted = 0, Existing = 1, Updated = 2 };

class Saver {
 public:
  Saver(const std::shared_ptr<Library>& library, Transaction::Impl& tx, IdMapping& mapping)
      : library_(library), tx_(tx), mapping_(mapping) {}

  // Stores `object` in the library and returns the stored object: the object
  // itself when it belongs here, else a stored clone. Throws db::Error and the
  // library's exceptions (NullPointer, ObjectNotUnique, ObjectNotFound).
  TnSmartPtr<Object> save(const Object& object, bool copy = false);

 private:
  Outcome write(Object& object, const Mapping& mapping);
  void saveReferences(Object& object, const Mapping& mapping);
  void insert(Object& object, const Mapping& mapping);
  void update(Object& object, const Mapping& mapping);
  void writeContainers(Object& object, const Mapping& mapping, bool replace);
  std::uint32_t findEqualRow(Object& object, const Mapping& mapping);

  std::shared_ptr<Library> library_;
  Transaction::Impl& tx_;
  IdMapping& mapping_;
};

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_SAVER_H_
