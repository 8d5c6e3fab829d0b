// A savepoint inside the current transaction, for batches in which one item may
// fail without failing the batch. Its name is a fresh random GUID, so nested
// savepoints never clash.
#ifndef TARNLIB_CORE_SAVEPOINT_H_
#define TARNLIB_CORE_SAVEPOINT_H_

#include <string>

#include "db/connection.h"

namespace tarnlib {

class Savepoint {
 public:
  // Opens the savepoint; throws db::Error.
  explicit Savepoint(db::Connection& connection);
  // Releases the savepoint; never throws.
  ~Savepoint();
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;

  // Undoes everything since the savepoint was opened; it stays open.
  void rollback() noexcept;
  const std::string& name() const { return name_; }

 private:
  db::Connection& connection_;
  std::string name_;
};

}  // namespace tarnlib

#endif  // TARNLIB_CORE_SAVEPOINT_H_
