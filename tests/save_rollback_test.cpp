// Saves whose transaction does not commit: a commit that another connection's
// read lock keeps busy, a host that rolls back its own transaction, a save bound
// to an equal stored row. Whatever the file did not keep, the objects in memory
// must not claim either, so that saving them again stores everything.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "db/connection.h"
#include "support/catalogue.h"
#include "support/sql.h"
#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/id_mapping.h"
#include "tarnlib/library.h"
#include "tarnlib/material.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;

// Holds a read transaction on the file from a connection of its own: a writer
// then cannot commit until it lets go.
class Reader {
 public:
  explicit Reader(const std::string& path) : db_(path) { hold(); }
  void hold() {
    db_.exec("BEGIN");
    db_.value("SELECT count(*) FROM tarnlib_Meta");
    holding_ = true;
  }
  void release() {
    if (holding_) db_.exec("COMMIT");
    holding_ = false;
  }

 private:
  RawDb db_;
  bool holding_ = false;
};

// Lets the reader go once the first attempt has been rolled back, so that the
// retry is the attempt that commits.
class ReleaseOnRollback : public Library::Reactor {
 public:
  explicit ReleaseOnRollback(Reader& reader) : reader_(reader) {}
  void transactionEnded(const Library&, End reason) override {
    if (reason != End::Committed) {
      ++rollbacks;
      reader_.release();
    }
  }
  int rollbacks = 0;

 private:
  Reader& reader_;
};

class SaveRollbackTest : public testing::LibraryTest {
 protected:
  // The library's connections must be opened with the short wait.
  void SetUp() override {
    db::Connection::setBusyTimeoutForTesting(50);
    LibraryTest::SetUp();
  }
  void TearDown() override { db::Connection::setBusyTimeoutForTesting(db::Connection::kBusyTimeoutMs); }

  // A material that brings a new tag and a new physical asset along.
  static TnSmartPtr<Material> brick() {
    auto material = Material::create(L"Brick", TnSmartPtr<const MaterialType>());
    material->set_description(L"fired clay");
    material->add_tag(Tag::create(L"masonry"));
    material->set_physical_asset(PhysicalAsset::create(L"Brick, physical"));
    return material;
  }

  std::string row(const std::string& sql) { return raw().value(sql); }

  // The material as the file has it: name, description, tag, asset, type.
  std::string storedBrick() {
    return row(
        "SELECT m.id || ' ' || m.name || ' ' || m.description || ' ' || t.name || ' ' || a.name || ' ' "
        "|| ty.name FROM tarnlib_Material m "
        "JOIN tarnlib_Material_tags mt ON mt.object_id = m.id JOIN tarnlib_Tag t ON t.id = mt.tag_id "
        "JOIN tarnlib_PhysicalAsset a ON a.id = m.physical_asset_id "
        "JOIN tarnlib_MaterialType ty ON ty.id = m.type_id WHERE m.name = 'Brick'");
  }
};

// What the objects of brick() claim about themselves.
std::string claims(const TnSmartPtr<Material>& m) {
  auto one = [](const Object* o) {
    return std::to_string(o->id()) + (o->isDirty() ? "d" : "c") + (o->library() ? "L" : "-");
  };
  return one(m.get()) + " " + one(m->tags().at(0).get()) + " " + one(m->physical_asset().get()) + " " +
         (m->type() ? one(m->type().get()) : std::string("no-type"));
}

TEST_F(SaveRollbackTest, Save_BusyCommitRetried_StoresEverything) {
  Reader reader(dir.file("lib"));
  ReleaseOnRollback reactor(reader);
  library->setReactor(&reactor);

  auto material = brick();
  auto stored = library->save<Material>(material);
  library->setReactor(nullptr);

  ASSERT_TRUE(stored);
  EXPECT_GE(reactor.rollbacks, 1);
  EXPECT_EQ(storedBrick(), std::to_string(stored->id()) + " Brick fired clay masonry Brick, physical Generic");
}

TEST_F(SaveRollbackTest, Update_BusyCommitRetried_StoresTheChange) {
  auto material = store(brick());
  material->set_description(L"reclaimed");
  Reader reader(dir.file("lib"));
  ReleaseOnRollback reactor(reader);
  library->setReactor(&reactor);

  ASSERT_TRUE(library->save<Material>(material));
  library->setReactor(nullptr);

  EXPECT_GE(reactor.rollbacks, 1);
  EXPECT_EQ(row("SELECT description FROM tarnlib_Material"), "reclaimed");
  EXPECT_FALSE(material->isDirty());
}

TEST_F(SaveRollbackTest, Save_CommitBusyPastEveryRetry_LeavesObjectsNew) {
  Reader reader(dir.file("lib"));
  auto material = brick();
  const std::string before = claims(material);
  EXPECT_THROW(library->save<Material>(material), RetryLimitExceeded);
  EXPECT_EQ(claims(material), before);
  reader.release();

  ASSERT_TRUE(library->save<Material>(material));
  EXPECT_EQ(storedBrick(), std::to_string(material->id()) + " Brick fired clay masonry Brick, physical Generic");
}

// Every way a host's transaction can end without committing.
using CallerEnd = std::function<void(Transaction&, std::unique_ptr<Reader>&, const std::string&)>;
const std::vector<std::pair<const char*, CallerEnd>> kCallerEnds = {
    {"rollback", [](Transaction& t, std::unique_ptr<Reader>&, const std::string&) { t.rollback(); }},
    {"failed commit",
     [](Transaction& t, std::unique_ptr<Reader>& reader, const std::string& path) {
       reader = std::make_unique<Reader>(path);
       EXPECT_THROW(t.commit(), Recoverable);
     }},
};

TEST_F(SaveRollbackTest, CallerTransactionNotCommitted_ObjectsBackToNew_SavedAgainInFull) {
  for (const auto& [name, end] : kCallerEnds) {
    SCOPED_TRACE(name);
    auto material = brick();
    const std::string before = claims(material);
    IdMapping mapping(library.get());
    std::unique_ptr<Reader> reader;
    {
      Transaction transaction(library, Transaction::kBeginCurrent);
      ASSERT_TRUE(library->save<Material>(material, mapping));
      EXPECT_NE(claims(material), before);
      end(transaction, reader, dir.file("lib"));
    }
    reader.reset();
    EXPECT_EQ(claims(material), before);
    EXPECT_EQ(mapping.size(), 0u);

    // Another writer takes the ids the rolled-back rows had; the host's retry
    // must neither skip its rows nor overwrite that writer's.
    auto other = store(Material::create(L"Other", TnSmartPtr<const MaterialType>()));
    store(Tag::create(L"other tag"));
    material->set_comments(L"retried");
    ASSERT_TRUE(library->save<Material>(material, mapping));
    EXPECT_EQ(storedBrick(),
              std::to_string(material->id()) + " Brick fired clay masonry Brick, physical Generic");
    EXPECT_EQ(row("SELECT name || ' ' || comments FROM tarnlib_Material WHERE id = " +
                  std::to_string(other->id())),
              "Other ");
    library->purge<Material>();
    library->purge<Tag>();
    library->purge<Asset>();
  }
}

TEST_F(SaveRollbackTest, TransactionDestroyedUncommitted_PutsObjectsBack) {
  auto material = brick();
  const std::string before = claims(material);
  {
    Transaction transaction(library, Transaction::kBeginCurrent);
    library->save<Material>(material);
  }
  EXPECT_EQ(claims(material), before);
  // Without the undo the tag would still claim a row that is gone, and this save
  // would fail on its dangling reference.
  ASSERT_TRUE(library->save<Material>(material));
  EXPECT_FALSE(storedBrick().empty());
}

TEST_F(SaveRollbackTest, MappingGoneBeforeRollback_RollbackStillSafe) {
  auto material = brick();
  Transaction transaction(library, Transaction::kBeginCurrent);
  {
    IdMapping mapping(library.get());
    library->save<Material>(material, mapping);
  }
  transaction.rollback();
  EXPECT_EQ(material->id(), 0u);
}

TEST_F(SaveRollbackTest, MetadataSetterInRolledBackTransaction_KeepsTheStoredValue) {
  {
    Transaction transaction(library, Transaction::kBeginCurrent);
    library->locale(L"de-CH");
    EXPECT_EQ(library->locale(), OdString(L"de-CH"));
    transaction.rollback();
  }
  EXPECT_EQ(library->locale(), OdString(L""));
  library->locale(L"de-CH");
  EXPECT_EQ(row("SELECT locale FROM tarnlib_Meta"), "de-CH");
}

TEST_F(SaveRollbackTest, NewObjectBoundToEqualRow_LeavesNothingBehind_ReturnsTheStoredObject) {
  store(brick());
  const std::string before = text();

  auto duplicate = Material::create(L"Brick", TnSmartPtr<const MaterialType>());
  duplicate->set_description(L"a different brick");
  duplicate->set_physical_asset(PhysicalAsset::create(L"Another physical asset"));
  duplicate->add_tag(Tag::create(L"another tag"));
  auto stored = library->save<Material>(duplicate);

  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->description(), OdString(L"fired clay"));
  EXPECT_EQ(stored->physical_asset()->name(), OdString(L"Brick, physical"));
  EXPECT_EQ(stored->id(), duplicate->id());
  // No orphan asset or tag: every catalogue table holds what it held.
  EXPECT_EQ(text(), before);
  // The unwanted objects are new again, to be saved elsewhere if the host wants.
  EXPECT_EQ(duplicate->physical_asset()->id(), 0u);
  EXPECT_EQ(duplicate->tags().at(0)->id(), 0u);
}

}  // namespace
}  // namespace tarnlib
