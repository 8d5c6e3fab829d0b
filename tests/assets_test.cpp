// Assets: the three kinds in one hierarchy of tables, their defaults and
// optional values in the file, the thickness set, the unique code, and the
// lookups through the root type.
#include <gtest/gtest.h>

#include <limits>

#include "support/catalogue.h"
#include "tarnlib/asset.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/layer.h"
#include "tarnlib/library.h"

namespace tarnlib {
namespace {

using AssetsTest = testing::LibraryTest;

// The file shows every default: no layers, no unions, function None, variable
// thickness, no thicknesses, absent optionals.
TEST_F(AssetsTest, NewAssetsStoreTheirDefaults) {
  // Names are unique per kind only.
  store(InformationAsset::create(L"Brick"));
  store(PhysicalAsset::create(L"Brick"));
  store(BimAsset::create(L"Brick"));
  EXPECT_EQ(text(),
            "tarnlib_Asset: 1|tarnlib::InformationAsset; 2|tarnlib::PhysicalAsset; 3|tarnlib::BimAsset\n"
            "tarnlib_BimAsset: 3|Brick||NULL|NULL|0|0|0|1\n"
            "tarnlib_InformationAsset: 1|Brick||||||||||NULL\n"
            "tarnlib_PhysicalAsset: 2|Brick||NULL|NULL|NULL\n");
}

TEST_F(AssetsTest, EveryFieldRoundTrips) {
  auto information = InformationAsset::create(L"Clay brick \U0001F9F1");
  information->set_description(L"fired \"red\" clay");
  information->set_label(L"CB-1");
  information->set_manufacturer(L"Ziegelwerk M\u00fcller");
  information->set_mark(L"it's");
  information->set_model(L"NF 240\u00d7115\u00d771");
  information->set_classification(L"Pr_20_93_52");
  information->set_cost(L"0.45 \u20ac / piece");  // text, not a number
  information->set_keynote(L"04 21 13.13");
  information->set_url(L"https://example.org/brick?size=nf&lang=de");
  information->set_unique_code(L"ZM-0042");

  auto physical = PhysicalAsset::create(L"Clay");
  physical->set_density(std::numeric_limits<double>::max());
  physical->set_specific_heat(std::numeric_limits<double>::denorm_min());
  physical->set_thermal_conductivity(0.1 + 0.2);

  auto cut = Layer::create(L"A-WALL-PATT");
  auto elevation = Layer::create(L"A-WALL-ELEV");
  auto bim = BimAsset::create(L"Clay");
  bim->set_description(L"\u00c6\u00d8\u00c5");
  bim->set_layer(cut);
  bim->set_layer_elevation(elevation);
  bim->set_union_section(true);
  bim->set_union_elevation(true);
  bim->set_default_function(MaterialFunction::Membrane);
  bim->set_variable_thickness(false);
  bim->set_thicknesses() = {0.115, 1e-9, 12345.678};

  store(information);
  store(physical);
  store(bim);
  auto i = library->get<InformationAsset>(information->id());
  auto p = library->get<PhysicalAsset>(physical->id());
  auto b = library->get<BimAsset>(bim->id());
  ASSERT_TRUE(i && p && b);
  EXPECT_TRUE(*i == *information);
  EXPECT_TRUE(*p == *physical);
  EXPECT_TRUE(*b == *bim);  // exact doubles, layers by name

  // Optional values cleared again are absent, not zero.
  p->clear_density();
  p->clear_thermal_conductivity();
  store(p);
  auto reloaded = library->get<PhysicalAsset>(p->id());
  EXPECT_FALSE(reloaded->has_density());
  EXPECT_TRUE(reloaded->has_specific_heat());
  EXPECT_FALSE(reloaded->has_thermal_conductivity());
}

TEST_F(AssetsTest, ThicknessesAreASetReplacedOnUpdate) {
  auto bim = BimAsset::create(L"Block");
  bim->set_thicknesses().insert(12.5);
  bim->set_thicknesses().insert(12.5);
  bim->set_thicknesses().insert(10.0);
  store(bim);
  EXPECT_EQ(library->get<BimAsset>(bim->id())->thicknesses(), (std::set<double>{10.0, 12.5}));

  bim->set_thicknesses().erase(10.0);
  bim->set_thicknesses().insert(7.5);
  store(bim);
  EXPECT_EQ(raw().rows("SELECT thickness FROM tarnlib_BimAsset_thicknesses ORDER BY 1"),
            (std::vector<std::string>{"7.5", "12.5"}));
  bim->set_thicknesses().clear();
  store(bim);
  EXPECT_TRUE(library->get<BimAsset>(bim->id())->thicknesses().empty());
  EXPECT_EQ(raw().value("SELECT count(*) FROM tarnlib_BimAsset_thicknesses"), "0");
}

TEST_F(AssetsTest, SavingAnAssetRemovedMeanwhileFindsItGone) {
  auto withRows = BimAsset::create(L"with thicknesses");
  withRows->set_thicknesses() = {1.0};
  store(withRows);
  auto plain = store(BimAsset::create(L"plain"));
  library->remove<Asset>(withRows->id());
  library->remove<BimAsset>(plain->id());
  const std::string before = text(true);
  withRows->set_description(L"changed");
  plain->set_description(L"changed");
  EXPECT_THROW(library->save<BimAsset>(withRows), ObjectNotFound);
  EXPECT_THROW(library->save<BimAsset>(plain), ObjectNotFound);
  EXPECT_EQ(text(true), before);
}

TEST_F(AssetsTest, UniqueCodeIsOptionalAndUnique) {
  auto blank = InformationAsset::create(L"blank code");
  blank->set_unique_code(L"");
  EXPECT_TRUE(blank->has_unique_code());
  store(blank);
  store(InformationAsset::create(L"no code 1"));
  store(InformationAsset::create(L"no code 2"));  // NULL codes never collide
  auto coded = InformationAsset::create(L"coded");
  coded->set_unique_code(L"X-1");
  store(coded);
  auto codes = [&] {
    return raw().rows("SELECT quote(unique_code) FROM tarnlib_InformationAsset ORDER BY id");
  };
  EXPECT_EQ(codes(), (std::vector<std::string>{"''", "NULL", "NULL", "'X-1'"}));

  blank->clear_unique_code();
  EXPECT_TRUE(blank->isDirty());
  store(blank);
  EXPECT_EQ(codes().front(), "NULL");

  // Another asset with a taken code is another object: refused, and the root
  // row that went in before the derived row failed is gone again.
  const std::string before = text(true);
  auto clash = InformationAsset::create(L"other name");
  clash->set_unique_code(L"X-1");
  EXPECT_THROW(library->save<InformationAsset>(clash), ObjectNotUnique);
  EXPECT_EQ(clash->id(), 0u);
  EXPECT_EQ(text(true), before);

  // A stored asset taking a used code is refused as well.
  auto stored = library->get<InformationAsset>(NameKey(L"no code 1"));
  stored->set_unique_code(L"X-1");
  EXPECT_THROW(library->save<InformationAsset>(stored), ObjectNotUnique);

  // A new asset named like a stored one is that one; the stored code stays.
  auto sameName = InformationAsset::create(L"coded");
  sameName->set_unique_code(L"X-2");
  EXPECT_EQ(store(sameName)->id(), coded->id());
  EXPECT_EQ(library->get<InformationAsset>(coded->id())->unique_code(), OdString(L"X-1"));
}

TEST_F(AssetsTest, RootTypeFindsEveryKind) {
  auto bim = store(BimAsset::create(L"Shared"));
  auto information = store(InformationAsset::create(L"Shared"));
  auto physical = store(PhysicalAsset::create(L"Steel"));

  auto asPhysical = library->get<Asset>(physical->id());
  ASSERT_TRUE(asPhysical);
  EXPECT_EQ(asPhysical->tarnlibType(), ObjectType::PhysicalAsset);
  EXPECT_TRUE(asPhysical->isA() == PhysicalAsset::desc());
  EXPECT_EQ(asPhysical->name(), OdString(L"Steel"));
  EXPECT_FALSE(library->get<PhysicalAsset>(bim->id()));
  EXPECT_FALSE(library->get<BimAsset>(NameKey(L"Steel")));

  std::vector<TnSmartPtr<Asset>> all;
  library->get<Asset>(all);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0]->tarnlibType(), ObjectType::BimAsset);
  EXPECT_EQ(all[1]->tarnlibType(), ObjectType::InformationAsset);
  EXPECT_EQ(all[2]->tarnlibType(), ObjectType::PhysicalAsset);
  all.clear();
  library->get<Asset>(all, {physical->id(), 77});
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0]->tarnlibType(), ObjectType::PhysicalAsset);

  // The root key takes the kinds in a fixed order, information first, not by id.
  auto shared = library->get<Asset>(AssetKey(L"Shared"));
  ASSERT_TRUE(shared);
  EXPECT_EQ(shared->tarnlibType(), ObjectType::InformationAsset);
  EXPECT_EQ(library->get<Asset>(AssetKey(L"Steel"))->id(), physical->id());
  EXPECT_TRUE(library->exists<Asset>(AssetKey(L"Steel")));
  EXPECT_FALSE(library->exists<Asset>(AssetKey(L"steel")));
  EXPECT_FALSE(library->get<Asset>(AssetKey(L"Nothing")));

  AssetCriteria criteria;
  criteria.name.contains(L"e");  // LIKE: "Shared" twice and "Steel"
  EXPECT_EQ(library->count<Asset>(criteria), 3u);
  criteria.name.startsWith(L"sh");
  EXPECT_EQ(loaded<Asset>(criteria), "Shared|Shared");
  EXPECT_EQ(library->count<Asset>(criteria), 2u);
  criteria.name.unset();
  EXPECT_EQ(library->count<Asset>(criteria), 0u);
  EXPECT_EQ(library->count<Asset>(), 3u);

  // Saving through the root type stores the object's own kind.
  TnSmartPtr<Asset> viaRoot = PhysicalAsset::create(L"Timber");
  EXPECT_EQ(library->save<Asset>(viaRoot).get(), viaRoot.get());
  EXPECT_EQ(library->get<PhysicalAsset>(NameKey(L"Timber"))->id(), viaRoot->id());
}

}  // namespace
}  // namespace tarnlib
