#include "core/savepoint.h"

#include "db/error.h"
#include "tarnlib/guid.h"

namespace tarnlib {

Savepoint::Savepoint(db::Connection& connection)
    : connection_(connection), name_(Guid().toString().toUtf8()) {
  connection_.exec("SAVEPOINT '" + name_ + "'");
}

Savepoint::~Savepoint() {
  try {
    connection_.exec("RELEASE SAVEPOINT '" + name_ + "'");
  } catch (const db::Error&) {
    // The enclosing transaction's own end decides what stays.
  }
}

void Savepoint::rollback() noexcept {
  try {
    connection_.exec("ROLLBACK TO SAVEPOINT '" + name_ + "'");
  } catch (const db::Error&) {
  }
}

}  // namespace tarnlib
