// Copy and sync between libraries: the mapping, both transaction types, unit
// conversion, and the sync's matching, updates and reports.
#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "support/catalogue.h"
#include "tarnlib/tarnlib.h"

namespace tarnlib {
namespace {

using testing::catalogueText;

class CopyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    source = Library::create(dir.odFile("source"), LibraryUnit::Millimeter);
    destination = Library::create(dir.odFile("destination"), LibraryUnit::Millimeter);
    ASSERT_TRUE(source && destination);
  }

  TnSmartPtr<Material> material(const wchar_t* name, const wchar_t* type = L"Masonry") {
    auto m = Material::create(name, MaterialType::create(type));
    m->add_tag(L"red");
    return source->save(m);
  }

  TnSmartPtr<Composition> wall(const wchar_t* name, const std::vector<TnSmartPtr<Material>>& plies) {
    auto c = Composition::create(name);
    for (const auto& m : plies) c->append_ply(Composition::Ply(m, MaterialFunction::Structure, 100.0));
    return source->save(c);
  }

  std::string destinationText() { return catalogueText(dir.file("destination")); }

  testing::TempDir dir;
  std::shared_ptr<Library> source;
  std::shared_ptr<Library> destination;
};

TEST_F(CopyTest, ReferencedObjectsComeFirstAndOncePerMapping) {
  auto brick = material(L"Brick");
  auto tile = material(L"Tile");
  IdMapping mapping(destination.get());
  destination->copy<Material>(source, {brick->id()}, mapping);
  auto copied = destination->get<Material>(NameKey(L"Brick"));
  ASSERT_TRUE(copied && copied->type());
  EXPECT_EQ(copied->type()->name(), OdString(L"Masonry"));
  EXPECT_EQ(copied->tags().size(), 1u);
  EXPECT_EQ(mapping.size(), 3u);  // the material, its type and its tag

  // A second material of the same type reuses the type's copy; the same ids
  // again create nothing.
  Library::CopyResults results;
  destination->copy<Material>(source, {brick->id(), tile->id()}, mapping, Library::kOneTransaction, results);
  EXPECT_EQ(destination->count<MaterialType>(), 1u);
  EXPECT_EQ(destination->count<Tag>(), 1u);
  EXPECT_EQ(destination->count<Material>(), 2u);
  EXPECT_EQ(mapping.size(), 4u);
  EXPECT_EQ(results[ObjectKey(ObjectType::Material, brick->id())].code, Library::CopyResult::kReused);
  EXPECT_EQ(results[ObjectKey(ObjectType::Material, tile->id())].code, Library::CopyResult::kAdded);
  EXPECT_EQ(results[ObjectKey(ObjectType::Material, tile->id())].id,
            destination->get<Material>(NameKey(L"Tile"))->id());
}

TEST_F(CopyTest, ItselfOrNoSourceCopiesNothing) {
  material(L"Brick");
  const std::string before = catalogueText(dir.file("source"));
  source->copyAll<Material>(source);
  source->copyAll<Material>(std::shared_ptr<const Library>());
  EXPECT_EQ(catalogueText(dir.file("source")), before);
}

TEST_F(CopyTest, TheSameIdFromTwoSourcesMapsApart) {
  auto other = Library::create(dir.odFile("other"), LibraryUnit::Millimeter);
  auto a = material(L"Brick");
  auto b = other->save(Material::create(L"Oak", MaterialType::create(L"Wood")));
  ASSERT_EQ(a->id(), b->id());
  IdMapping mapping(destination.get());
  destination->copyAll<Material>(source, mapping);
  destination->copyAll<Material>(other, mapping);
  EXPECT_EQ(destination->count<Material>(), 2u);
  IdMapping::Value fromSource, fromOther;
  ASSERT_TRUE(mapping.compute(IdMapping::Key(ObjectType::Material, a->id(), source.get()), fromSource));
  ASSERT_TRUE(mapping.compute(IdMapping::Key(ObjectType::Material, b->id(), other.get()), fromOther));
  EXPECT_NE(fromSource.id, fromOther.id);
}

// Two compositions whose second refers to an information asset whose unique
// code the destination already gives another asset: that one cannot be saved.
class CopyFailure : public CopyTest {
 protected:
  void SetUp() override {
    CopyTest::SetUp();
    auto taken = InformationAsset::create(L"Theirs");
    taken->set_unique_code(L"EAN-1");
    auto holder = Material::create(L"Holder", nullptr);
    holder->set_information_asset(taken);
    destination->save(holder);
    good = wall(L"Good", {material(L"Brick")});
    auto clash = material(L"Clash");
    auto ours = InformationAsset::create(L"Ours");
    ours->set_unique_code(L"EAN-1");
    clash->set_information_asset(ours);
    clash = source->save(clash);
    bad = wall(L"Bad", {material(L"Stone"), clash});
    before = destinationText();
  }
  TnSmartPtr<Composition> good;
  TnSmartPtr<Composition> bad;
  std::string before;
};

TEST_F(CopyFailure, OneTransactionKeepsNothingOfTheCall) {
  IdMapping mapping(destination.get());
  EXPECT_THROW(destination->copyAll<Composition>(source, mapping), ObjectNotUnique);
  EXPECT_EQ(destinationText(), before);
  EXPECT_EQ(mapping.size(), 0u);  // rolled back with the rows
}

TEST_F(CopyFailure, PerObjectLeavesOutTheFailingObjectAlone) {
  IdMapping mapping(destination.get());
  Library::CopyResults results;
  destination->copyAll<Composition>(source, mapping, Library::kPerObject, results);
  EXPECT_TRUE(destination->exists<Composition>(NameKey(L"Good")));
  EXPECT_FALSE(destination->exists<Composition>(NameKey(L"Bad")));
  // Nothing of the failed one stays, not even the ply material saved before the clash.
  EXPECT_FALSE(destination->exists<Material>(NameKey(L"Stone")));
  const Library::CopyResult& left = results[ObjectKey(ObjectType::Composition, bad->id())];
  EXPECT_EQ(left.code, Library::CopyResult::kLeftOut);
  EXPECT_EQ(left.reason, OdString(L"An other object with the same values exists"));
  EXPECT_EQ(results[ObjectKey(ObjectType::Composition, good->id())].code, Library::CopyResult::kAdded);
}

TEST_F(CopyTest, FromInchesPliesShapesAndThicknessSetsConvertButMaterialDataDoesNot) {
  auto inch = Library::create(dir.odFile("inch"), LibraryUnit::Inch);
  auto bim = BimAsset::create(L"Bim");
  bim->set_thicknesses() = {1.0, 2.0};
  auto physical = PhysicalAsset::create(L"Phys");
  physical->set_density(150.0);
  auto brick = Material::create(L"Brick", nullptr);
  brick->set_bim_asset(bim);
  brick->set_physical_asset(physical);
  auto wall = Composition::create(L"Wall");
  wall->append_ply(Composition::Ply(brick, MaterialFunction::Structure, 4.0));
  inch->save(wall);
  auto beam = RectangleProfile::create(ProfileName::create(L"Box"), L"2x4");
  beam->set_x_dim(2.0);
  beam->set_y_dim(4.0);
  inch->save(beam);

  IdMapping mapping(destination.get());
  destination->copyAll<Composition>(inch, mapping);
  destination->copyAll<RectangleProfile>(inch, mapping);
  auto copied = destination->get<Composition>(NameKey(L"Wall"));
  EXPECT_DOUBLE_EQ(copied->ply(0).thickness, 101.6);
  EXPECT_EQ(copied->ply(0).material->bim_asset()->thicknesses(), (std::set<double>{25.4, 50.8}));
  EXPECT_EQ(copied->ply(0).material->physical_asset()->density(), 150.0);
  std::vector<TnSmartPtr<RectangleProfile>> beams;
  destination->get<RectangleProfile>(beams);
  ASSERT_EQ(beams.size(), 1u);
  EXPECT_DOUBLE_EQ(beams[0]->y_dim(), 101.6);
}

// ---- Sync

TEST_F(CopyTest, SyncAddsMissingUpdatesDifferingAndReportsBoth) {
  auto brick = material(L"Brick");
  material(L"Same");
  wall(L"Wall", {brick});
  destination->copyAll<Material>(source);
  brick->set_description(L"fired clay");
  brick = source->save(brick);
  material(L"New");

  OdString report;
  pugi::xml_document doc;
  pugi::xml_node node = doc.append_child("synced");
  destination->syncAll(source, {}, &report, &node);
  EXPECT_EQ(report, OdString(L"\n\nSynced Material objects:\n\nBrick\nNew\n\n\nSynced Composition objects:\n\nWall\n"));
  std::vector<std::string> elements;
  for (pugi::xml_node child : node.children())
    elements.push_back(std::string(child.name()) + "=" + child.attribute("name").value());
  EXPECT_EQ(elements, (std::vector<std::string>{"material=Brick", "material=New", "composition=Wall"}));
  EXPECT_EQ(destination->get<Material>(NameKey(L"Brick"))->description(), OdString(L"fired clay"));
  EXPECT_EQ(destination->count<Material>(), 3u);
  // The composition's ply is the synced material, not a second copy.
  EXPECT_EQ(destination->get<Composition>(NameKey(L"Wall"))->ply(0).material->id(),
            destination->get<Material>(NameKey(L"Brick"))->id());

  // Nothing differs any more: nothing is written or listed.
  const std::string before = destinationText();
  OdString again;
  destination->syncAll(source, {}, &again, nullptr);
  EXPECT_EQ(again, OdString(L"\n\nSynced Material objects:\n\n\n\nSynced Composition objects:\n\n"));
  EXPECT_EQ(destinationText(), before);
}

TEST_F(CopyTest, APlyMaterialThatDiffersButIsNotSyncedLeavesItsCompositionAlone) {
  auto brick = material(L"Brick");
  wall(L"Other", {});
  auto composition = wall(L"Wall", {brick});
  ASSERT_NE(composition->id(), brick->id());
  destination->copyAll<Composition>(source);
  brick->set_description(L"only in the source");
  source->save(brick);
  const std::string before = destinationText();
  // Only the composition is synced; its ply's material is matched by name.
  OdString report;
  destination->sync(source, {composition->id()}, {}, &report, nullptr);
  EXPECT_EQ(report, OdString(L"\n\nSynced Material objects:\n\n\n\nSynced Composition objects:\n\n"));
  EXPECT_EQ(destinationText(), before);
}

TEST_F(CopyTest, SyncRenamesKeepIdentityAndIdsRestrict) {
  auto a = material(L"A");
  auto other = material(L"Other");
  auto b = destination->save(Material::create(L"B", nullptr));
  auto composition = wall(L"Wall", {a});
  destination->copyAll<Composition>(source);
  const Guid guid = destination->get<Composition>(NameKey(L"Wall"))->guid();
  composition->set_description(L"changed");
  source->save(composition);

  // A updates B; Other is outside the ids; the composition keeps its GUID.
  destination->sync(source, {a->id(), composition->id()}, {{L"A", L"B"}}, nullptr, nullptr);
  auto updated = destination->get<Material>(b->id());
  EXPECT_EQ(updated->name(), OdString(L"B"));
  EXPECT_EQ(updated->type()->name(), OdString(L"Masonry"));
  EXPECT_FALSE(destination->exists<Material>(NameKey(L"Other")));
  auto synced = destination->get<Composition>(NameKey(L"Wall"));
  EXPECT_EQ(synced->description(), OdString(L"changed"));
  EXPECT_EQ(synced->guid(), guid);

  destination->syncAll<Material>(source);
  EXPECT_TRUE(destination->exists<Material>(NameKey(L"Other")));
  (void)other;
}

}  // namespace
}  // namespace tarnlib
