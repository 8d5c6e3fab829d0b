#include "core/error_translation.h"

#include "tarnlib/exceptions.h"

namespace tarnlib {

void throwTranslated(const db::Error& error) {
  switch (error.condition()) {
    case db::Condition::Database:
    case db::Condition::OutOfMemory:
      if (error.code() == 8) throw LibraryReadOnly();
      if (error.code() == 19) throw ObjectInUse();
      throw DatabaseError(OdString(error.message()));
    case db::Condition::NotPersistent:
      throw ObjectNotFound();
    case db::Condition::NullPointer:
      throw NullPointer();
    case db::Condition::ForcedRollback:
      throw ForcedRollback();
    case db::Condition::Recoverable:
      throw UnnamedRecoverable();
    case db::Condition::AlreadyPersistent:
      break;
  }
  throw UnknownError();
}

}  // namespace tarnlib
