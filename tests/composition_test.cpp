// Compositions: the type rule, the core-range invariants under setters and ply
// edits, storage of plies, GUIDs and containers, thickness and default plies,
// criteria, and what a missing or referenced material does to saving and removal.
#include <gtest/gtest.h>

#include <stdexcept>

#include "support/catalogue.h"
#include "tarnlib/composition.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"

namespace tarnlib {
namespace {

using Ply = Composition::Ply;

constexpr auto kNone = MaterialFunction::None;
constexpr auto kStructure = MaterialFunction::Structure;
constexpr auto kFinish = MaterialFunction::Finish1;

// first, last and structural ply as one comparable value.
std::vector<std::uint32_t> marks(const Composition& c) {
  return {c.first_core_ply(), c.last_core_ply(), c.structural_ply()};
}

TnSmartPtr<Composition> withPlies(std::initializer_list<MaterialFunction> functions) {
  auto c = Composition::create(L"C");
  for (MaterialFunction f : functions) c->append_ply(Ply(nullptr, f, 0.1));
  return c;
}

TEST(CompositionModel, NewCompositionDefaultsAndTypeRule) {
  auto a = Composition::create();
  auto b = Composition::create(L"B");
  EXPECT_EQ(a->type(), Composition::Generic);
  EXPECT_FALSE(a->has_variable_ply());
  EXPECT_FALSE(a->has_variable_ply_max_thickness());
  EXPECT_EQ(marks(*a), (std::vector<std::uint32_t>{0, 0, 0}));
  EXPECT_TRUE(a->isDirty());
  EXPECT_FALSE(a->guid().isEmpty());
  EXPECT_NE(a->guid(), b->guid());

  b->set_type(Composition::Wall | Composition::Slab);
  EXPECT_EQ(b->type(), Composition::Wall);
  b->set_type(Composition::Roof | Composition::Slab);
  EXPECT_EQ(b->type(), Composition::Slab);
  b->set_type(0);
  EXPECT_EQ(b->type(), Composition::Generic);
  b->set_type(Composition::Generic | Composition::Other);
  EXPECT_EQ(b->type(), Composition::Other);
}

TEST(CompositionModel, CoreSettersKeepTheRangeOrdered) {
  auto c = withPlies({kFinish, kStructure, MaterialFunction::Insulation});
  c->set_first_core_ply(1);
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{1, 1, 1}));

  c->set_last_core_ply(7);  // clamped to the last ply
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{1, 2, 1}));
  c->set_structural_ply(0);  // below the core: the core's first Structure ply
  EXPECT_EQ(c->structural_ply(), 1u);
  c->set_structural_ply(2);
  c->set_first_core_ply(0);
  c->set_last_core_ply(0);  // lowers structural to the core
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{0, 0, 0}));

  c->set_ply(2).function = kStructure;
  c->set_last_core_ply(2);
  c->set_structural_ply(9);  // above the core: its last Structure ply
  EXPECT_EQ(c->structural_ply(), 2u);
  c->set_last_core_ply(1);
  EXPECT_EQ(c->structural_ply(), 1u);

  // Without plies the bound wraps: unsigned arithmetic.
  auto empty = Composition::create();
  empty->set_last_core_ply(5);
  EXPECT_EQ(empty->last_core_ply(), 5u);
  empty->set_first_core_ply(9);
  EXPECT_EQ(marks(*empty), (std::vector<std::uint32_t>{9, 9, 9}));
}

TEST(CompositionModel, PlyEditsMoveTheMarksWithTheirPlies) {
  auto c = withPlies({kFinish, kStructure, kNone, kFinish});
  c->set_last_core_ply(2);
  c->set_first_core_ply(1);
  c->set_variable_ply(2);
  ASSERT_EQ(marks(*c), (std::vector<std::uint32_t>{1, 2, 1}));

  c->insert_ply(0, Ply(nullptr, kNone, 0.5));
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{2, 3, 2}));
  EXPECT_EQ(c->variable_ply(), 3u);
  c->insert_ply(5, Ply(nullptr, kNone, 0.5));  // after everything: nothing moves
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{2, 3, 2}));
  EXPECT_EQ(c->plies_size(), 6u);

  c->remove_ply(0);
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{1, 2, 1}));
  EXPECT_EQ(c->variable_ply(), 2u);
  c->remove_ply(2);  // the variable ply
  EXPECT_FALSE(c->has_variable_ply());
  EXPECT_EQ(marks(*c), (std::vector<std::uint32_t>{1, 1, 1}));

  // A one-ply core before which a ply goes in shifts, it does not widen.
  auto single = withPlies({kStructure, kFinish});
  single->insert_ply(0, Ply(nullptr, kFinish, 0.5));
  EXPECT_EQ(marks(*single), (std::vector<std::uint32_t>{1, 1, 1}));

  // Moving keeps the variable mark on its ply.
  auto m = withPlies({kFinish, kStructure, kNone});
  m->set_variable_ply(2);
  m->set_ply(2).thickness = 0.7;
  m->move_ply(2, 0);
  EXPECT_EQ(m->ply(0).thickness, 0.7);
  EXPECT_EQ(m->variable_ply(), 0u);
  m->move_ply(0, 99);
  EXPECT_EQ(m->ply(2).thickness, 0.7);
  EXPECT_EQ(m->variable_ply(), 2u);

  EXPECT_THROW(m->ply(3), std::out_of_range);
  EXPECT_THROW(m->set_ply(3), std::out_of_range);
  EXPECT_THROW(m->remove_ply(3), std::out_of_range);
  EXPECT_THROW(m->insert_ply(4, Ply()), std::out_of_range);
  EXPECT_THROW(m->move_ply(3, 0), std::out_of_range);
  EXPECT_EQ(m->plies_size(), 3u);
}

TEST(CompositionModel, ThicknessAndDefaultPly) {
  auto c = Composition::create();
  int variable = 7;
  EXPECT_EQ(calcCompositionThickness(nullptr, variable), 0.0);
  EXPECT_EQ(variable, -1);
  for (double t : {0.1, 0.2, 0.3}) c->append_ply(Ply(nullptr, kNone, t));
  EXPECT_DOUBLE_EQ(calcCompositionThickness(c, variable), 0.6);
  EXPECT_EQ(variable, -1);
  c->set_variable_ply(1);
  EXPECT_DOUBLE_EQ(calcCompositionThickness(c, variable), 0.4);
  EXPECT_EQ(variable, 1);

  auto asset = BimAsset::create(L"Board");
  asset->set_default_function(MaterialFunction::Membrane);
  asset->set_thicknesses() = {0.1, 0.05};
  auto material = Material::create(L"Board", nullptr);
  material->set_bim_asset(asset);
  Ply ply(nullptr, kStructure, 9.0);
  defaultPly(ply, material);
  EXPECT_EQ(ply.material, TnSmartPtr<const Material>(material));
  EXPECT_EQ(ply.function, MaterialFunction::Membrane);
  EXPECT_EQ(ply.thickness, 0.05);
  asset->set_thicknesses().clear();
  defaultPly(ply, material);
  EXPECT_EQ(ply.thickness, 0.0);
  defaultPly(ply, Material::create());
  EXPECT_EQ(ply.function, kNone);
  EXPECT_EQ(ply.thickness, 0.0);
}

class CompositionStore : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    brick = store(Material::create(L"Brick", MaterialType::create(L"Masonry")));
    insulation = store(Material::create(L"Mineral wool", MaterialType::create(L"Insulation")));
  }

  TnSmartPtr<Material> brick;
  TnSmartPtr<Material> insulation;
};

TEST_F(CompositionStore, EveryFieldRoundTrips) {
  auto c = Composition::create(L"Cavity wall \"W1\" \U0001F9F1");
  c->set_type(Composition::Wall);
  c->set_composition_type(CompositionType::create(L"Exterior"));
  c->set_description(L"100% _masonry_");
  c->set_comments(L"\u00e4");
  c->set_layer(Layer::create(L"A-WALL"));
  c->append_ply(Ply(brick, kStructure, 0.115));
  c->append_ply(Ply(insulation, MaterialFunction::Insulation, 0.1));
  c->append_ply(Ply(brick, kFinish, 0.09));
  c->set_last_core_ply(1);
  c->set_variable_ply(1);
  c->set_variable_ply_min_thickness(0.04);
  c->set_variable_ply_max_thickness(0.2);
  const Guid merged(L"00000000-0000-4000-8000-000000000001");
  c->set_merge_guids().insert(merged);
  c->add_tag(L"Exterior");
  c->set_custom_value(L"U-value", L"0.28");
  ASSERT_TRUE(library->save<Composition>(c));

  auto loaded = library->get<Composition>(c->id());
  ASSERT_TRUE(loaded);
  EXPECT_TRUE(*loaded == *c);
  EXPECT_FALSE(loaded->isDirty());
  EXPECT_EQ(loaded->guid(), c->guid());
  EXPECT_EQ(loaded->merge_guids(), std::set<Guid>{merged});
  EXPECT_EQ(loaded->ply(0).material.get(), loaded->ply(2).material.get());
  EXPECT_EQ(raw().rows("SELECT \"index\", material_id, function, thickness FROM tarnlib_Composition_plies "
                       "ORDER BY \"index\""),
            (std::vector<std::string>{"0|1|1|0.115", "1|2|3|0.1", "2|1|4|0.09"}));

  // Found by its own GUID, by a merged one, and through the id hint.
  EXPECT_EQ(library->get<Composition>(c->guid(), 0)->id(), c->id());
  EXPECT_EQ(library->get<Composition>(merged, c->id())->id(), c->id());
  EXPECT_FALSE(library->get<Composition>(Guid(L"unknown"), c->id()));
  EXPECT_FALSE(library->get<Material>(Guid(L"unknown"), brick->id()));

  // Absent optionals are stored as NULL and read back absent.
  loaded->clear_variable_ply();
  loaded->clear_variable_ply_max_thickness();
  loaded->remove_ply(2);
  library->save<Composition>(loaded);
  EXPECT_EQ(
      raw().value("SELECT variable_ply IS NULL, variable_ply_max_thickness IS NULL FROM tarnlib_Composition"),
      "1|1");
  auto again = library->get<Composition>(c->id());
  EXPECT_FALSE(again->has_variable_ply());
  EXPECT_EQ(again->plies_size(), 2u);
}

TEST_F(CompositionStore, SettingAnEqualValueLeavesTheCompositionClean) {
  auto c = Composition::create(L"C");
  c->append_ply(Ply(brick, kFinish, 0.1));
  c->append_ply(Ply(brick, kStructure, 0.1));
  c->set_variable_ply(0);
  library->save<Composition>(c);
  ASSERT_FALSE(c->isDirty());
  c->set_first_core_ply(0);
  c->set_structural_ply(0);
  c->set_type(Composition::Generic);
  c->set_variable_ply(0);
  c->set_guid(c->guid());
  EXPECT_FALSE(c->isDirty());
  c->set_variable_ply_max_thickness(0.0);  // absent before: a change
  EXPECT_TRUE(c->isDirty());
}

TEST_F(CompositionStore, PlyWithoutMaterialWritesNothing) {
  auto c = Composition::create(L"Broken");
  c->add_tag(L"New tag");
  c->set_layer(Layer::create(L"New layer"));
  c->append_ply(Ply(brick, kStructure, 0.2));
  c->append_ply(Ply());
  const std::string before = text(true);
  EXPECT_THROW(library->save<Composition>(c), NullPointer);
  EXPECT_EQ(c->id(), 0u);
  EXPECT_EQ(c->tags()[0]->id(), 0u);
  EXPECT_EQ(text(true), before);
  c->set_ply(1).material = insulation;
  EXPECT_TRUE(library->save<Composition>(c));
}

TEST_F(CompositionStore, CriteriaFilterByTypeBitsTypeIdsAndTags) {
  auto exterior = library->save<CompositionType>(CompositionType::create(L"Exterior"));
  auto make = [&](const wchar_t* name, std::uint32_t type, bool isExterior,
                  std::initializer_list<const wchar_t*> tags) {
    auto c = Composition::create(name);
    c->set_type(type);
    if (isExterior) c->set_composition_type(exterior);
    for (const wchar_t* tag : tags) c->add_tag(tag);
    c->append_ply(Ply(brick, kStructure, 0.2));
    library->save<Composition>(c);
  };
  make(L"W1", Composition::Wall, false, {L"Fire", L"Sound"});
  make(L"S1", Composition::Slab, false, {L"Fire"});
  make(L"R1", Composition::Roof, true, {});
  make(L"G1", Composition::Generic, false, {L"Sound"});

  CompositionCriteria criteria;
  criteria.types = Composition::Wall | Composition::Slab;
  EXPECT_EQ(loaded<Composition>(criteria), "W1|S1");
  criteria.type_ids = {exterior->id()};  // either a type bit or a composition type
  EXPECT_EQ(library->count<Composition>(criteria), 3u);
  criteria.types = 0;
  EXPECT_EQ(loaded<Composition>(criteria), "R1");

  CompositionCriteria tagged;
  tagged.tags = {L"Sound", L"Fire"};
  EXPECT_EQ(loaded<Composition>(tagged), "W1|S1|G1");
  EXPECT_EQ(library->count<Composition>(tagged), 4u);  // W1 once per tag
  tagged.types = Composition::Wall | Composition::Generic;
  tagged.name.startsWith(L"w");
  EXPECT_EQ(library->count<Composition>(tagged), 2u);
  EXPECT_EQ(loaded<Composition>(tagged), "W1");
}

TEST_F(CompositionStore, MaterialInUseStaysOnRemovalAndPurge) {
  auto c = Composition::create(L"Wall");
  c->append_ply(Ply(brick, kStructure, 0.2));
  library->save<Composition>(c);
  EXPECT_EQ(library->remove<Material>(brick), Library::RemoveResult::kReferenced);
  EXPECT_EQ(library->remove<Material>(insulation), Library::RemoveResult::kRemoved);
  Library::RemoveResults results;
  library->purge<Material>(results);
  EXPECT_EQ(results[ObjectKey(ObjectType::Material, brick->id())], Library::RemoveResult::kReferenced);
  EXPECT_TRUE(library->get<Material>(brick->id()));
  EXPECT_EQ(library->remove<Composition>(c), Library::RemoveResult::kRemoved);
  EXPECT_EQ(raw().value("SELECT count(*) FROM tarnlib_Composition_plies"), "0");
  EXPECT_EQ(library->remove<Material>(brick), Library::RemoveResult::kRemoved);
}

}  // namespace
}  // namespace tarnlib
