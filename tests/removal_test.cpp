// Removal and purge: the result codes of single, set and mixed-key removal,
// what the database's references keep, cascades, the reactor's say, purge of
// one type, of some and of all, and what a refused removal leaves. A read-only
// library is in object_access_test.
#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/asset.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/layer.h"
#include "tarnlib/library.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::RecordingReactor;
using Result = Library::RemoveResult;

// "type:id=code" for every entry, in key order.
std::string described(const Library::RemoveResults& results) {
  std::string out;
  for (const auto& [key, result] : results)
    out += (out.empty() ? "" : " ") + std::to_string(static_cast<int>(key.type)) + ":" +
           std::to_string(key.id) + "=" + std::to_string(static_cast<int>(result));
  return out;
}

// A catalogue of: layers 1 "cut" (used by asset 1), 2 "free", 3 "elev" (used
// by asset 2 in elevation); BIM assets 1 "wall" and 2 "slab" with
// thicknesses; physical asset 3 "steel"; tags 1 "a" and 2 "b".
class RemovalTest : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    cut = store(Layer::create(L"cut"));
    spare = store(Layer::create(L"free"));
    elevation = store(Layer::create(L"elev"));
    wall = BimAsset::create(L"wall");
    wall->set_layer(cut);
    wall->set_thicknesses() = {0.1, 0.2};
    store(wall);
    slab = BimAsset::create(L"slab");
    slab->set_layer_elevation(elevation);
    slab->set_thicknesses() = {0.3};
    store(slab);
    steel = store(PhysicalAsset::create(L"steel"));
    store(Tag::create(L"a"));
    store(Tag::create(L"b"));
    library->setReactor(&reactor);
  }

  RecordingReactor reactor;
  TnSmartPtr<Layer> cut, spare, elevation;
  TnSmartPtr<BimAsset> wall, slab;
  TnSmartPtr<PhysicalAsset> steel;
};

TEST_F(RemovalTest, SingleRemovalAsksTheReactorAndReportsRemovedReferencedOrMissing) {
  EXPECT_EQ(library->remove<Layer>(spare), Result::kRemoved);
  EXPECT_EQ(library->remove<Layer>(cut->id()), Result::kReferenced);
  reactor.veto = true;
  EXPECT_EQ(library->remove<Tag>(1u), Result::kVetoed);
  reactor.veto = false;
  EXPECT_EQ(reactor.events, "begin before(7:2) after(7:2) end0 begin before(7:1) end0 begin before(1:1) end0");

  EXPECT_EQ(library->remove<Layer>(elevation), Result::kReferenced);
  EXPECT_EQ(library->remove<PhysicalAsset>(wall->id()), Result::kNotFound);  // another kind
  EXPECT_EQ(library->remove<Layer>(spare), Result::kNotFound);
  EXPECT_EQ(library->remove<Tag>(99u), Result::kNotFound);

  // An object of another library is not this library's, whatever its id.
  auto other = Library::create(dir.odFile("other"), LibraryUnit::Millimeter);
  auto stranger = Tag::create(L"a");
  other->save<Tag>(stranger);
  EXPECT_EQ(library->remove<Tag>(stranger), Result::kNotFound);

  // The derived row and the container rows go with the root row.
  EXPECT_EQ(library->remove<Asset>(wall->id()), Result::kRemoved);
  EXPECT_EQ(library->remove<Layer>(cut), Result::kRemoved);
  EXPECT_EQ(text(),
            "tarnlib_Asset: 2|tarnlib::BimAsset; 3|tarnlib::PhysicalAsset\n"
            "tarnlib_BimAsset: 2|slab||NULL|3|0|0|0|1\n"
            "tarnlib_BimAsset_thicknesses: 2|0.3\n"
            "tarnlib_Layer: 3|elev\n"
            "tarnlib_PhysicalAsset: 3|steel||NULL|NULL|NULL\n"
            "tarnlib_Tag: 1|a; 2|b\n");
}

TEST_F(RemovalTest, SetAndMixedKeyRemovalReportEachObject) {
  Library::RemoveResults results{{ObjectKey(ObjectType::Tag, 50), Result::kNotFound}};
  library->remove<Layer>({cut->id(), spare->id(), 99}, results);
  EXPECT_EQ(described(results), "1:50=3 7:1=2 7:2=0 7:99=3");  // earlier entries stay

  library->remove<Tag>(std::set<std::uint32_t>{2});
  EXPECT_FALSE(library->get<Tag>(2));

  // Referencing types go first, so an asset and the layer only it uses both go;
  // a type without objects of its own here reports not found.
  results.clear();
  library->remove({ObjectKey(ObjectType::Layer, cut->id()), ObjectKey(ObjectType::BimAsset, wall->id()),
                   ObjectKey(ObjectType::Layer, elevation->id()), ObjectKey(ObjectType::Tag, 1),
                   ObjectKey(ObjectType::Tag, 7), ObjectKey(ObjectType::PhysicalAsset, steel->id()),
                   ObjectKey(ObjectType::ProfileStandard, 1)},
                  results);
  EXPECT_EQ(described(results), "1:1=0 1:7=3 7:1=0 7:3=2 11:3=0 14:1=0 15:1=3");
  EXPECT_EQ(text(),
            "tarnlib_Asset: 2|tarnlib::BimAsset\n"
            "tarnlib_BimAsset: 2|slab||NULL|3|0|0|0|1\n"
            "tarnlib_BimAsset_thicknesses: 2|0.3\n"
            "tarnlib_Layer: 3|elev\n");
}

TEST_F(RemovalTest, PurgeOfSomeTypesKeepsReferencedObjects) {
  Library::RemoveResults results;
  library->purge<Layer>(results);
  EXPECT_EQ(described(results), "7:1=2 7:2=0 7:3=2");

  results.clear();
  library->purge({ObjectType::Tag, ObjectType::Layer, ObjectType::PhysicalAsset}, results);
  EXPECT_EQ(described(results), "1:1=0 1:2=0 7:1=2 7:3=2 11:3=0");
  EXPECT_EQ(library->count<BimAsset>(), 2u);
  EXPECT_EQ(library->count<Layer>(), 2u);

  library->purge<BimAsset>();
  library->purge<Layer>();
  EXPECT_EQ(text(), "");
}

TEST_F(RemovalTest, PurgeOfAllRemovesChainsAndCompactsTheFile) {
  // Free pages, from a bulk of rows written and deleted behind the library.
  auto leaveFreePages = [&] {
    RawDb db = raw();
    db.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500) "
             "INSERT INTO tarnlib_Layer(name) SELECT printf('%0200d', i) FROM n");
    db.exec("DELETE FROM tarnlib_Layer WHERE length(name) = 200");
    EXPECT_NE(db.value("PRAGMA freelist_count"), "0");
  };
  leaveFreePages();
  Library::RemoveResults results;
  library->purge(results);
  EXPECT_EQ(described(results), "1:1=0 1:2=0 7:1=0 7:2=0 7:3=0 11:3=0 14:1=0 14:2=0");
  EXPECT_EQ(text(), "");
  EXPECT_EQ(raw().value("PRAGMA freelist_count"), "0");

  // Also when there is nothing to remove.
  leaveFreePages();
  library->purge<Layer>();
  EXPECT_EQ(raw().value("PRAGMA freelist_count"), "0");
}

TEST_F(RemovalTest, RemovalInCallerTransactionIsUndoneWithIt) {
  const std::string before = text(true);
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    EXPECT_EQ(library->remove<Layer>(spare), Result::kRemoved);
    library->purge();  // cannot compact inside the transaction; removes all the same
    EXPECT_EQ(library->count<Layer>(), 0u);
    tx.rollback();
  }
  EXPECT_EQ(text(true), before);
}

}  // namespace
}  // namespace tarnlib
