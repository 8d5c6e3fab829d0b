#include "db/error.h"

#include <sqlite3.h>

namespace tarnlib::db {

Error errorOf(sqlite3* db, int rc) {
  const int extended = db ? sqlite3_extended_errcode(db) : rc;
  const int primary = rc & 0xFF;
  std::string message = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
  Condition condition = Condition::Database;
  if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED || extended == SQLITE_IOERR_BLOCKED) {
    condition = Condition::Recoverable;
  } else if (extended == SQLITE_ABORT_ROLLBACK) {
    condition = Condition::ForcedRollback;
  } else if (primary == SQLITE_NOMEM) {
    condition = Condition::OutOfMemory;
  }
  return Error(condition, primary, extended, std::move(message));
}

void fail(Condition condition, const std::string& message) {
  throw Error(condition, 0, 0, message);
}

}  // namespace tarnlib::db
