// Turns the internal database conditions into the library's public exceptions.
#ifndef TARNLIB_CORE_ERROR_TRANSLATION_H_
#define TARNLIB_CORE_ERROR_TRANSLATION_H_

#include "db/error.h"

namespace tarnlib {

// Read-only database: LibraryReadOnly; constraint: ObjectInUse; other SQLite
// errors: DatabaseError with SQLite's message; row missing: ObjectNotFound;
// required reference missing: NullPointer; forced rollback: ForcedRollback; other
// recoverable conditions: UnnamedRecoverable; the rest: UnknownError.
[[noreturn]] void throwTranslated(const db::Error& error);

}  // namespace tarnlib

#endif  // TARNLIB_CORE_ERROR_TRANSLATION_H_
