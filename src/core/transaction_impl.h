// Transaction::Impl and the transaction scope that every library operation runs
// in: join the thread's transaction on the same library or begin one, retry the
// whole attempt on a busy or locked database, translate what escapes.
#ifndef TARNLIB_CORE_TRANSACTION_IMPL_H_
#define TARNLIB_CORE_TRANSACTION_IMPL_H_

#include <map>
#include <memory>
#include <set>
#include <type_traits>
#include <utility>

#include "core/error_translation.h"
#include "core/library_impl.h"
#include "core/undo_log.h"
#include "db/connection.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/object.h"
#include "tarnlib/transaction.h"

namespace tarnlib {

class Transaction::Impl {
 public:
  Impl(Transaction* owner, std::shared_ptr<Library> library)
      : owner(owner), library(std::move(library)) {}

  // Takes a connection and begins; IMMEDIATE takes the write lock at once so a
  // writer waits in SQLite's busy handler instead of failing at its first write.
  // Throws db::Error (and AlreadyInTransaction when asked to become current on a
  // thread that has one).
  void begin(bool makeCurrent, bool immediate);
  // Commits; on failure rolls back, finishes and rethrows the db::Error.
  void commit();
  // Rolls back without throwing, puts the objects in memory back and finishes.
  void rollback(Library::Reactor::End reason) noexcept;
  // Delivers the objects saved so far to the reactor and forgets them.
  void deliver();

  db::Connection& connection() { return *connection_; }
  bool active() const { return connection_ != nullptr; }

  Transaction* owner;
  std::shared_ptr<Library> library;
  bool ended = true;   // the reactor has been told that this transaction ended
  bool notify = true;  // whether a commit delivers the collected notifications
  // Set while an operation runs inside the caller's transaction rather than its
  // own: a failing write then undoes its own part through a savepoint.
  bool joinedScope = false;
  // Set while an operation saves objects of its own making that nobody else
  // holds (an XML import): their state in memory needs no putting back, so
  // the undo log does not keep them, which would hold every one of them
  // until the end of the transaction.
  bool transientObjects = false;
  // Set during a copy: the objects of this library that source objects of
  // the copy's mapping became, so that a source object met again (a material
  // in many plies) is not read back from the file each time.
  std::map<ObjectKey, TnSmartPtr<Object>>* counterparts = nullptr;
  std::set<ObjectKey> touched;
  // Put back when this transaction rolls back, whoever rolls it back: the
  // scope's retry, a failed commit, the host's rollback or destructor.
  UndoLog undo;

 private:
  void finish(Library::Reactor::End reason) noexcept;
  std::unique_ptr<db::Connection> connection_;
};

namespace detail {

class TransactionAccess {
 public:
  static Transaction::Impl& impl(Transaction& t) { return *t.impl_; }
};

// Makes the thread's current transaction of another library step aside for the
// duration of an operation on `library`, and puts it back afterwards.
class ParkOtherLibrary {
 public:
  explicit ParkOtherLibrary(const Library* library);
  ~ParkOtherLibrary();
  ParkOtherLibrary(const ParkOtherLibrary&) = delete;
  ParkOtherLibrary& operator=(const ParkOtherLibrary&) = delete;

 private:
  Transaction* parked_ = nullptr;
};

constexpr int kMaxRetries = 5;  // a counter above this gives up: seven attempts

}  // namespace detail

enum class Access { Read, Write };

// Runs `op(Transaction::Impl&)` in the transaction scope of `library`. A write
// commits when the scope began the transaction, or delivers the notifications
// collected so far when it joined the caller's. Throws the library's exceptions.
template <class Op>
auto inTransaction(const Library& library, Access access, Op&& op) -> decltype(op(std::declval<Transaction::Impl&>())) {
  using Result = decltype(op(std::declval<Transaction::Impl&>()));
  auto self = std::const_pointer_cast<Library>(library.shared_from_this());
  for (int retries = 0;; ++retries) {
    detail::ParkOtherLibrary park(&library);
    const bool joined = Transaction::hasCurrent();
    Transaction own(self, Transaction::kNoBegin);
    try {
      Transaction::Impl& tx = joined ? detail::TransactionAccess::impl(Transaction::current())
                                     : detail::TransactionAccess::impl(own);
      if (!joined) tx.begin(true, access == Access::Write);
      struct JoinFlag {
        Transaction::Impl& tx;
        bool previous;
        ~JoinFlag() { tx.joinedScope = previous; }
      } flag{tx, tx.joinedScope};
      tx.joinedScope = joined;
      if constexpr (std::is_void_v<Result>) {
        op(tx);
        if (access == Access::Write) joined ? tx.deliver() : tx.commit();
        return;
      } else {
        Result result = op(tx);
        if (access == Access::Write) joined ? tx.deliver() : tx.commit();
        return result;
      }
    } catch (const db::Error& error) {
      const bool recoverable = error.condition() == db::Condition::Recoverable ||
                               error.condition() == db::Condition::ForcedRollback;
      if (!recoverable || joined) throwTranslated(error);
      if (retries > detail::kMaxRetries) throw RetryLimitExceeded();
      // `own` rolls back as it goes; the next attempt starts from scratch.
    }
  }
}

}  // namespace tarnlib

#endif  // TARNLIB_CORE_TRANSACTION_IMPL_H_
