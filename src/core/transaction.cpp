#include "tarnlib/transaction.h"

#include "core/transaction_impl.h"
#include "tarnlib/exceptions.h"

namespace tarnlib {

namespace {

thread_local Transaction* tCurrent = nullptr;

}  // namespace

// ---- Transaction::Impl

void Transaction::Impl::begin(bool makeCurrent, bool immediate) {
  if (makeCurrent && tCurrent != nullptr) throw AlreadyInTransaction();
  Library::Impl& lib = detail::LibraryAccess::impl(*library);
  auto connection = lib.acquire();
  connection->exec(immediate && !lib.readOnly ? "BEGIN IMMEDIATE" : "BEGIN");
  connection_ = std::move(connection);
  if (makeCurrent) tCurrent = owner;
  ended = false;
  touched.clear();
  undo.forget();
  lib.reactor->transactionBegun(*library);
}

void Transaction::Impl::commit() {
  const bool previous = notify;
  notify = true;
  try {
    connection_->exec("COMMIT");
  } catch (const db::Error&) {
    notify = previous;
    rollback(Library::Reactor::End::RolledBack);
    throw;
  }
  notify = previous;
  undo.forget();
  Library::Reactor& reactor = *detail::LibraryAccess::impl(*library).reactor;
  if (!touched.empty()) reactor.objectsCommitted(*library, touched);
  touched.clear();
  finish(Library::Reactor::End::Committed);
}

void Transaction::Impl::deliver() {
  if (touched.empty()) return;
  detail::LibraryAccess::impl(*library).reactor->objectsCommitted(*library, touched);
  touched.clear();
}

void Transaction::Impl::rollback(Library::Reactor::End reason) noexcept {
  if (!connection_) return;
  try {
    if (connection_->inTransaction()) connection_->exec("ROLLBACK");
  } catch (...) {
    // A failed ROLLBACK leaves SQLite to roll back when the connection closes;
    // finish() drops the connection from the pool for that reason.
  }
  undo.undoTo(0);
  touched.clear();
  finish(reason);
}

void Transaction::Impl::finish(Library::Reactor::End reason) noexcept {
  if (tCurrent == owner) tCurrent = nullptr;
  Library::Impl& lib = detail::LibraryAccess::impl(*library);
  lib.release(std::move(connection_));
  if (!ended) {
    ended = true;
    try {
      lib.reactor->transactionEnded(*library, reason);
    } catch (...) {
      // A reactor must not turn a finished transaction into a failure.
    }
  }
}

// ---- Transaction

Transaction::Transaction(const std::shared_ptr<Library>& library, Init init)
    : impl_(std::make_unique<Impl>(this, library)) {
  if (init == kNoBegin) return;
  try {
    impl_->begin(init == kBeginCurrent, false);
  } catch (const db::Error& error) {
    throwTranslated(error);
  }
}

Transaction::~Transaction() {
  if (!impl_->active()) return;
  // Tell the reactor first: the rollback below then finds the end reported.
  if (!impl_->ended) {
    impl_->ended = true;
    try {
      detail::LibraryAccess::impl(*impl_->library)
          .reactor->transactionEnded(*impl_->library, Library::Reactor::End::Abandoned);
    } catch (...) {
    }
  }
  impl_->rollback(Library::Reactor::End::Abandoned);
}

const std::shared_ptr<Library>& Transaction::library() const { return impl_->library; }

bool Transaction::finalized() const { return !impl_->active(); }

void Transaction::commit() {
  if (!impl_->active()) throw TransactionError(OdString(L"transaction is not active"));
  try {
    impl_->commit();
  } catch (const db::Error& error) {
    throwTranslated(error);
  }
}

void Transaction::rollback() {
  if (!impl_->active()) throw TransactionError(OdString(L"transaction is not active"));
  impl_->rollback(Library::Reactor::End::RolledBack);
}

void Transaction::reset(bool makeCurrent) {
  if (impl_->active()) throw TransactionError(OdString(L"transaction is still active"));
  try {
    impl_->begin(makeCurrent, false);
  } catch (const db::Error& error) {
    throwTranslated(error);
  }
}

bool Transaction::hasCurrent() { return tCurrent != nullptr; }

Transaction& Transaction::current() {
  if (!tCurrent) throw TransactionError(OdString(L"no current transaction"));
  return *tCurrent;
}

void Transaction::current(Transaction& transaction) { tCurrent = &transaction; }
void Transaction::makeCurrent() { tCurrent = this; }
void Transaction::clearCurrent() { tCurrent = nullptr; }

// ---- ParkOtherLibrary

namespace detail {

ParkOtherLibrary::ParkOtherLibrary(const Library* library) {
  if (tCurrent && tCurrent->library().get() != library) {
    parked_ = tCurrent;
    tCurrent = nullptr;
  }
}

ParkOtherLibrary::~ParkOtherLibrary() {
  if (parked_) tCurrent = parked_;
}

}  // namespace detail

}  // namespace tarnlib
