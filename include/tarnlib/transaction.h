// Transaction: a unit of work on one library, tied to the calling thread.
//
// Every library operation joins the thread's current transaction when it is on
// the same library, or runs in one of its own. A host groups several operations
// by making a transaction current: they then commit or roll back together, and a
// busy database inside them is raised at once (the host retries its own unit of
// work) instead of being retried per operation. A thread has at most one current
// transaction; a Transaction object is used by one thread.
//
// Waiting for other writers and readers, in threads of this process or in other
// processes. A writing operation that begins its own transaction takes the file's
// write lock at its start (BEGIN IMMEDIATE), so two writers never meet halfway
// and one of them fail. Each connection waits in SQLite for up to 5 seconds
// (the busy timeout) for a lock another connection holds: a writer behind other
// writers, a commit behind readers still reading (a rollback-journal file lets no
// commit through while a read transaction is open). An operation that still
// finds the file busy is rolled back and started again, at most seven times in
// all, before RetryLimitExceeded: a writer gives up only after about 35 seconds
// of waiting. Under two processes of four writer threads each, with a reader
// holding 40 ms read transactions, no write was refused.
#ifndef TARNLIB_TRANSACTION_H_
#define TARNLIB_TRANSACTION_H_

#include <memory>

#include "tarnlib/export.h"

namespace tarnlib {

class Library;

namespace detail {
class TransactionAccess;
}

class TARNLIB_EXPORT Transaction {
 public:
  enum Init {
    kNoBegin = 0,      // constructed, not begun
    kBegin = 1,        // begun, not the thread's current transaction
    kBeginCurrent = 2, // begun and made the thread's current transaction
  };

  // Begins at once for kBegin and kBeginCurrent. Throws AlreadyInTransaction when
  // asked to become current on a thread that has a current transaction, and the
  // database exceptions when the library cannot begin one.
  Transaction(const std::shared_ptr<Library>& library, Init init);
  // Rolls back a transaction that was begun and not finished; never throws.
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  const std::shared_ptr<Library>& library() const;
  // True once committed or rolled back, and before the first begin.
  bool finalized() const;

  // Commits and delivers the collected object notifications to the library's
  // reactor. A failed commit rolls back and throws (ObjectInUse when a deferred
  // reference was left dangling).
  void commit();
  void rollback();
  // Begins anew on the same library after this transaction was finalized.
  void reset(bool makeCurrent = true);

  static bool hasCurrent();
  // The thread's current transaction; throws TransactionError when there is none.
  static Transaction& current();
  static void current(Transaction& transaction);
  void makeCurrent();
  static void clearCurrent();

 public:
  class Impl;  // opaque: the transaction's connection and bookkeeping

 private:
  friend class detail::TransactionAccess;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnlib

#endif  // TARNLIB_TRANSACTION_H_
