// Transactions: the per-thread current transaction, reactor notification, the
// transaction scope's joining, parking and retry rules, savepoints.
#include <gtest/gtest.h>

#include "core/savepoint.h"
#include "core/transaction_impl.h"
#include "db/connection.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;
using End = Library::Reactor::End;

class RecordingReactor : public Library::Reactor {
 public:
  void transactionBegun(const Library&) override { events += "begin;"; }
  void transactionEnded(const Library&, End reason) override {
    events += "end" + std::to_string(static_cast<int>(reason)) + ";";
  }
  std::string events;
};

class TransactionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    library = Library::create(dir.odFile("lib"), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
    library->setReactor(&reactor);
  }
  void TearDown() override { db::Connection::setBusyTimeoutForTesting(db::Connection::kBusyTimeoutMs); }

  std::string storedLocale() { return RawDb(dir.file("lib")).value("SELECT locale FROM tarnlib_Meta"); }

  TempDir dir;
  std::shared_ptr<Library> library;
  RecordingReactor reactor;
};

TEST_F(TransactionTest, SecondCurrentTransactionOnThreadIsRefused) {
  Transaction first(library, Transaction::kBeginCurrent);
  EXPECT_TRUE(Transaction::hasCurrent());
  EXPECT_EQ(&Transaction::current(), &first);
  EXPECT_THROW(Transaction(library, Transaction::kBeginCurrent), AlreadyInTransaction);
  try {
    Transaction second(library, Transaction::kBeginCurrent);
  } catch (const DatabaseError& e) {  // AlreadyInTransaction is a DatabaseError
    EXPECT_STREQ(e.what(), L"Transaction already in progress in this thread");
  }
  first.rollback();
  EXPECT_FALSE(Transaction::hasCurrent());
}

TEST_F(TransactionTest, CallerTransactionGroupsOperationsUntilCommit) {
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    library->locale(L"it");
    library->region(L"IT");
    EXPECT_EQ(reactor.events, "begin;");
    tx.commit();
    EXPECT_TRUE(tx.finalized());
  }
  EXPECT_EQ(reactor.events, "begin;end0;");
  EXPECT_EQ(storedLocale(), "it");
}

TEST_F(TransactionTest, AbandonedTransactionRollsBackAndNotifiesOnce) {
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    library->locale(L"pl");
  }
  EXPECT_EQ(reactor.events, "begin;end2;");
  EXPECT_FALSE(Transaction::hasCurrent());
  EXPECT_EQ(storedLocale(), "");
}

TEST_F(TransactionTest, ResetBeginsAgainAfterRollback) {
  Transaction tx(library, Transaction::kBeginCurrent);
  tx.rollback();
  EXPECT_TRUE(tx.finalized());
  tx.reset(true);
  EXPECT_FALSE(tx.finalized());
  library->locale(L"nl");
  tx.commit();
  EXPECT_EQ(reactor.events, "begin;end1;begin;end0;");
  EXPECT_EQ(storedLocale(), "nl");
}

TEST_F(TransactionTest, OperationOnOtherLibraryParksCurrentTransaction) {
  auto other = Library::create(dir.odFile("other"), LibraryUnit::Inch);
  Transaction tx(library, Transaction::kBeginCurrent);
  other->locale(L"committed on its own");
  EXPECT_EQ(&Transaction::current(), &tx);
  tx.rollback();
  EXPECT_EQ(RawDb(dir.file("other")).value("SELECT locale FROM tarnlib_Meta"), "committed on its own");
}

TEST_F(TransactionTest, RecoverableErrorIsRetriedSevenTimesAtMost) {
  int attempts = 0;
  auto failFirst = [&](int failures) {
    attempts = 0;
    return inTransaction(*library, Access::Read, [&](Transaction::Impl&) {
      if (++attempts <= failures) throw db::Error(db::Condition::Recoverable, 5, 5, "database is locked");
      return attempts;
    });
  };
  EXPECT_EQ(failFirst(6), 7);
  EXPECT_THROW(failFirst(7), RetryLimitExceeded);
  EXPECT_EQ(attempts, 7);
}

TEST_F(TransactionTest, RecoverableErrorInsideCallerTransactionIsNotRetried) {
  Transaction tx(library, Transaction::kBeginCurrent);
  int attempts = 0;
  EXPECT_THROW(inTransaction(*library, Access::Read,
                             [&](Transaction::Impl&) {
                               ++attempts;
                               throw db::Error(db::Condition::Recoverable, 5, 5, "busy");
                             }),
               UnnamedRecoverable);
  EXPECT_EQ(attempts, 1);
}

TEST_F(TransactionTest, LockedDatabaseExhaustsRetriesAndChangesNothing) {
  db::Connection::setBusyTimeoutForTesting(0);
  library.reset();
  library = Library::open(dir.odFile("lib"));
  RawDb blocker(dir.file("lib"));
  blocker.exec("BEGIN EXCLUSIVE");
  try {
    library->locale(L"blocked");
    FAIL() << "expected RetryLimitExceeded";
  } catch (const RetryLimitExceeded& e) {
    EXPECT_STREQ(e.what(), L"To many retry attempts");
  }
  blocker.exec("ROLLBACK");
  EXPECT_EQ(storedLocale(), "");
  library->locale(L"free again");
  EXPECT_EQ(storedLocale(), "free again");
}

TEST_F(TransactionTest, SavepointUndoesOnlyItsPart) {
  inTransaction(*library, Access::Write, [](Transaction::Impl& tx) {
    tx.connection().exec("INSERT INTO tarnlib_Tag(name) VALUES ('kept')");
    Savepoint savepoint(tx.connection());
    tx.connection().exec("INSERT INTO tarnlib_Tag(name) VALUES ('undone')");
    savepoint.rollback();
  });
  EXPECT_EQ(RawDb(dir.file("lib")).rows("SELECT name FROM tarnlib_Tag"),
            std::vector<std::string>{"kept"});
}

TEST_F(TransactionTest, DanglingDeferredReferenceFailsCommitAsObjectInUse) {
  Transaction tx(library, Transaction::kBeginCurrent);
  inTransaction(*library, Access::Write, [](Transaction::Impl& t) {
    t.connection().exec("INSERT INTO tarnlib_Composition(name, description, comments, layer_id) "
                        "VALUES ('wall', '', '', 99)");
  });
  EXPECT_THROW(tx.commit(), ObjectInUse);
  EXPECT_TRUE(tx.finalized());
  EXPECT_EQ(RawDb(dir.file("lib")).value("SELECT count(*) FROM tarnlib_Composition"), "0");
}

}  // namespace
}  // namespace tarnlib
