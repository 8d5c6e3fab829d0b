// Object access over the generic operations: saving, loading, keys, criteria,
// duplicates, removal and purge, proven on tags, layers, custom properties and
// assets.
#include <gtest/gtest.h>

#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/asset.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/layer.h"
#include "tarnlib/library.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;

class ObjectAccess : public ::testing::Test {
 protected:
  void SetUp() override {
    library = Library::create(dir.odFile("lib"), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
  }
  RawDb raw() { return RawDb(dir.file("lib")); }

  TempDir dir;
  std::shared_ptr<Library> library;
};

TEST_F(ObjectAccess, SavedBimAssetLoadsBackWithLayersAndThicknesses) {
  auto section = Layer::create(L"A-WALL-CUT");
  auto asset = BimAsset::create(L"Brick \U0001F9F1");
  asset->set_layer(section);
  asset->set_layer_elevation(section);
  asset->set_default_function(MaterialFunction::Structure);
  asset->set_thicknesses() = {0.115, 0.24, 0.115};
  auto stored = library->save<BimAsset>(asset);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored.get(), asset.get());
  EXPECT_NE(asset->id(), 0u);
  EXPECT_FALSE(asset->isDirty());
  EXPECT_EQ(asset->library(), library);
  EXPECT_NE(section->id(), 0u);

  auto loaded = library->get<BimAsset>(asset->id());
  ASSERT_TRUE(loaded);
  EXPECT_NE(loaded.get(), asset.get());
  EXPECT_TRUE(*loaded == *asset);
  EXPECT_FALSE(loaded->isDirty());
  EXPECT_EQ(loaded->layer().get(), loaded->layer_elevation().get());  // one instance per load
  EXPECT_EQ(loaded->thicknesses(), (std::set<double>{0.115, 0.24}));

  auto viaRoot = library->get<Asset>(asset->id());
  ASSERT_TRUE(viaRoot);
  EXPECT_EQ(viaRoot->tarnlibType(), ObjectType::BimAsset);
  EXPECT_FALSE(library->get<PhysicalAsset>(asset->id()));
  EXPECT_EQ(raw().value("SELECT typeid FROM tarnlib_Asset"), "tarnlib::BimAsset");
}

TEST_F(ObjectAccess, DuplicateNewObjectBindsToStoredRow) {
  auto first = library->save<Tag>(Tag::create(L"Fire rated"));
  auto second = Tag::create(L"Fire rated");
  auto bound = library->save<Tag>(second);
  EXPECT_EQ(bound->id(), first->id());
  EXPECT_EQ(library->count<Tag>(), 1u);

  auto other = library->save<Layer>(Layer::create(L"B"));
  auto renamed = library->save<Layer>(Layer::create(L"C"));
  renamed->set_name(L"B");
  EXPECT_THROW(library->save<Layer>(renamed), ObjectNotUnique);
  EXPECT_EQ(raw().rows("SELECT name FROM tarnlib_Layer ORDER BY id"), (std::vector<std::string>{"B", "C"}));
}

TEST_F(ObjectAccess, ReadOnlyLibraryRefusesSave) {
  library.reset();
  auto readOnly = Library::open(dir.odFile("lib"), true);
  EXPECT_THROW(readOnly->save<Tag>(Tag::create(L"x")), LibraryReadOnly);
}

TEST_F(ObjectAccess, RemoveReportsReferencedAndMissing) {
  auto layer = library->save<Layer>(Layer::create(L"L"));
  auto asset = BimAsset::create(L"A");
  asset->set_layer(layer);
  library->save<BimAsset>(asset);
  EXPECT_EQ(library->remove<Layer>(layer->id()), Library::RemoveResult::kReferenced);
  EXPECT_EQ(library->remove<Layer>(999), Library::RemoveResult::kNotFound);
  Library::RemoveResults results;
  library->purge(results);
  EXPECT_EQ(results[ObjectKey(ObjectType::BimAsset, asset->id())], Library::RemoveResult::kRemoved);
  EXPECT_EQ(results[ObjectKey(ObjectType::Layer, layer->id())], Library::RemoveResult::kRemoved);
  EXPECT_EQ(library->count<Asset>(), 0u);
}

TEST_F(ObjectAccess, CriteriaAndKeys) {
  for (const wchar_t* name : {L"50% off", L"5_0", L"abc", L"ABD"}) library->save<Tag>(Tag::create(name));
  NameCriteria c;
  c.name.contains(L"%");
  EXPECT_EQ(library->count<Tag>(c), 4u);  // % is a wildcard
  c.name.startsWith(L"ab");
  std::vector<TnSmartPtr<Tag>> found;
  library->get<Tag>(found, c);
  EXPECT_EQ(found.size(), 2u);  // LIKE ignores ASCII case
  EXPECT_TRUE(library->get<Tag>(NameKey(L"5_0")));
  EXPECT_FALSE(library->get<Tag>(NameKey(L"5x0")));
  EXPECT_TRUE(library->exists<Tag>(NameKey(L"abc")));
  EXPECT_FALSE(library->get<Tag>(Guid(L"x"), 1));
}

}  // namespace
}  // namespace tarnlib
