// Transactions: the per-thread current transaction, reactor notification, the
// transaction scope's joining, parking and retry rules, savepoints. A locked
// file is in object_access_test.
#include <gtest/gtest.h>

#include "core/savepoint.h"
#include "core/transaction_impl.h"
#include "db/connection.h"
#include "support/catalogue.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;

class TransactionTest : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    library->setReactor(&reactor);
  }
  std::string storedLocale() { return raw().value("SELECT locale FROM tarnlib_Meta"); }

  testing::RecordingReactor reactor;
};

TEST_F(TransactionTest, SecondCurrentTransactionOnThreadIsRefused) {
  Transaction first(library, Transaction::kBeginCurrent);
  EXPECT_TRUE(Transaction::hasCurrent());
  EXPECT_EQ(&Transaction::current(), &first);
  EXPECT_THROW(Transaction(library, Transaction::kBeginCurrent), AlreadyInTransaction);
  first.rollback();
  EXPECT_FALSE(Transaction::hasCurrent());
}

TEST_F(TransactionTest, CommitGroupsWritesAbandonRollsBackResetBeginsAgain) {
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    library->locale(L"it");
    library->region(L"IT");
    EXPECT_EQ(reactor.events, "begin");
    tx.commit();
    EXPECT_TRUE(tx.finalized());
  }
  EXPECT_EQ(storedLocale(), "it");
  {
    Transaction abandoned(library, Transaction::kBeginCurrent);
    library->locale(L"pl");
  }
  EXPECT_FALSE(Transaction::hasCurrent());
  EXPECT_EQ(storedLocale(), "it");

  Transaction tx(library, Transaction::kBeginCurrent);
  tx.rollback();
  EXPECT_TRUE(tx.finalized());
  tx.reset(true);
  EXPECT_FALSE(tx.finalized());
  library->locale(L"nl");
  tx.commit();
  EXPECT_EQ(reactor.events, "begin end0 begin end2 begin end1 begin end0");
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

TEST_F(TransactionTest, RecoverableErrorIsRetriedSevenTimesAtMostOutsideCallerTransaction) {
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

  Transaction tx(library, Transaction::kBeginCurrent);
  EXPECT_THROW(failFirst(1), UnnamedRecoverable);
  EXPECT_EQ(attempts, 1);
}

TEST_F(TransactionTest, SavepointUndoesOnlyItsPart) {
  inTransaction(*library, Access::Write, [](Transaction::Impl& tx) {
    tx.connection().exec("INSERT INTO tarnlib_Tag(name) VALUES ('kept')");
    Savepoint savepoint(tx.connection());
    tx.connection().exec("INSERT INTO tarnlib_Tag(name) VALUES ('undone')");
    savepoint.rollback();
  });
  EXPECT_EQ(raw().rows("SELECT name FROM tarnlib_Tag"), std::vector<std::string>{"kept"});
}

TEST_F(TransactionTest, DanglingDeferredReferenceFailsCommitAsObjectInUse) {
  Transaction tx(library, Transaction::kBeginCurrent);
  inTransaction(*library, Access::Write, [](Transaction::Impl& t) {
    t.connection().exec("INSERT INTO tarnlib_Composition(name, description, comments, layer_id) "
                        "VALUES ('wall', '', '', 99)");
  });
  EXPECT_THROW(tx.commit(), ObjectInUse);
  EXPECT_TRUE(tx.finalized());
  EXPECT_EQ(raw().value("SELECT count(*) FROM tarnlib_Composition"), "0");
}

}  // namespace
}  // namespace tarnlib
