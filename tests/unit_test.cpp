// Measures and units: their rows and equality, the default and column unit
// records, the label formatter, and the conversion of every type between the
// two length systems.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/catalogue.h"
#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/material.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/unit.h"

namespace tarnlib {
namespace {

class UnitTest : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    length = Measure::create(L"Length", 1, 0, 0, 0, 0, 0, 0);
    density = Measure::create(L"Density", -3, 1, 0, 0, 0, 0, 0);
  }
  TnSmartPtr<Measure> length;
  TnSmartPtr<Measure> density;
};

TEST(UnitFormat, LabelsBecomeTheirDisplayForm) {
  const std::vector<std::pair<std::wstring, std::wstring>> cases = {
      {L"", L""},
      {L"m^", L"m"},
      {L"m^23", L"m\u00b2\u00b3"},
      {L"s^-1", L"s-1"},
      {L"kg.m^-3", L"kg\u00b7m-3"},
      {L"W/(m^2.K)", L"W/(m\u00b2\u00b7K)"},
      {L"x^0145678 9", L"x\u2070\u00b9\u2074\u2075\u2076\u2077\u2078 9"},
      {L"^^2", L"\u00b2"},
      {L"\U0001D11E^2\U0001D11E^", L"\U0001D11E\u00b2\U0001D11E"},
  };
  for (const auto& [label, shown] : cases)
    EXPECT_EQ(formatUnitString(OdString(label.c_str())), OdString(shown.c_str())) << OdString(label.c_str()).toUtf8();
}

TEST_F(UnitTest, MeasureAndUnit_StoredWithTheirExponents_EqualityByTheRules) {
  auto kgm3 = store(Unit::create(L"kg/m^3", 1.0, density));
  auto stored = library->get<Unit>(kgm3->id());
  EXPECT_FALSE(stored->has_name());
  EXPECT_EQ(stored->measure()->name(), OdString(L"Density"));
  EXPECT_EQ(stored->length(), -3);
  EXPECT_EQ(stored->mass(), 1);
  EXPECT_EQ(raw().value("SELECT * FROM tarnlib_Measure WHERE name = 'Density'"), "1|Density||-3|1|0|0|0|0|0");
  EXPECT_EQ(raw().value("SELECT name IS NULL, label, scale FROM tarnlib_Unit"), "1|kg/m^3|1.0");

  // Names by presence only; scales exactly; measures by value.
  auto a = Unit::create(L"inch", L"in", 25.4, length);
  auto b = Unit::create(L"zoll", L"in", 25.4, Measure::create(L"Length", 1, 0, 0, 0, 0, 0, 0));
  EXPECT_TRUE(*a == *b);
  EXPECT_FALSE(*a == *Unit::create(L"in", 25.4, length));
  EXPECT_FALSE(*a == *Unit::create(L"inch", L"in", 25.4000000000001, length));
  EXPECT_FALSE(*a == *Unit::create(L"inch", L"in", 25.4, Measure::create(L"Length", 1, 1, 0, 0, 0, 0, 0)));
  auto described = Measure::create(L"Length", 1, 0, 0, 0, 0, 0, 0);
  described->set_description(L"distance");
  EXPECT_FALSE(*length == *described);

  // Unnamed units coexist; a unit is unique by measure and label.
  store(Unit::create(L"g/cm^3", 1000.0, density));
  EXPECT_EQ(store(Unit::create(L"kg/m^3", 1.0, density))->id(), kgm3->id());
  UnitCriteria unnamed;
  unnamed.name.unset();
  unnamed.measure.equals(L"Density");
  EXPECT_EQ(library->count<Unit>(unnamed), 2u);
  UnitCriteria byLabel;
  byLabel.label.startsWith(L"g/");
  EXPECT_EQ(library->count<Unit>(byLabel), 1u);
}

TEST_F(UnitTest, BadUnits_RefusedAndNothingWritten) {
  const std::string before = text(true);
  EXPECT_THROW(library->save<Unit>(Unit::create(L"m", 1.0, TnSmartPtr<const Measure>())), NullPointer);
  for (double scale : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    try {
      library->save<Unit>(Unit::create(L"bad", scale, length));
      ADD_FAILURE() << scale;
    } catch (const DatabaseError& e) {
      EXPECT_NE(std::wstring(e.what()).find(L"positive finite"), std::wstring::npos) << e.what();
    }
  }
  EXPECT_EQ(text(true), before);
  EXPECT_EQ(length->id(), 0u);
}

TEST_F(UnitTest, DefaultAndColumnUnits_InsertedUpdatedListedRemoved) {
  EXPECT_FALSE(library->defaultUnit(L"Length"));
  library->setDefaultUnit(Unit::create(L"mm", 1.0, length));
  EXPECT_EQ(library->defaultUnit(L"Length")->label(), OdString(L"mm"));
  library->setDefaultUnit(Unit::create(L"m", 1000.0, length));
  EXPECT_EQ(library->defaultUnit(L"Length")->label(), OdString(L"m"));
  EXPECT_EQ(raw().value("SELECT count(*) FROM tarnlib_DefaultUnit"), "1");
  library->setDefaultUnit(Unit::create(L"kg/m^3", 1.0, density));
  std::string listed;
  for (const DefaultUnit& d : library->defaultUnits())
    listed += d.measure()->name().toUtf8() + "=" + d.unit()->label().toUtf8() + " ";
  EXPECT_EQ(listed, "Density=kg/m^3 Length=m ");
  EXPECT_FALSE(library->defaultUnit(L"Nothing"));
  EXPECT_TRUE(library->removeDefaultUnit(L"Length"));
  EXPECT_FALSE(library->removeDefaultUnit(L"Length"));
  EXPECT_FALSE(library->defaultUnit(L"Length"));

  library->setColumnUnit(L"tarnlib_PhysicalAsset", L"density", Unit::create(L"kg/m^3", 1.0, density));
  library->setColumnUnit(L"tarnlib_IShapeProfile", L"overallDepth", Unit::create(L"mm", 1.0, length));
  library->setColumnUnit(L"tarnlib_IShapeProfile", L"overallDepth", Unit::create(L"m", 1000.0, length));
  EXPECT_EQ(library->columnUnit(L"tarnlib_IShapeProfile", L"overallDepth")->label(), OdString(L"m"));
  EXPECT_FALSE(library->columnUnit(L"tarnlib_IShapeProfile", L"webThickness"));
  listed.clear();
  for (const ColumnUnit& c : library->columnUnits())
    listed += c.table().toUtf8() + "." + c.column().toUtf8() + "=" + c.unit()->label().toUtf8() + " ";
  EXPECT_EQ(listed, "tarnlib_IShapeProfile.overallDepth=m tarnlib_PhysicalAsset.density=kg/m^3 ");
  // A unit a record still names stays.
  std::vector<TnSmartPtr<Unit>> units;
  library->get<Unit>(units);
  Library::RemoveResults results;
  std::set<std::uint32_t> ids;
  for (const auto& u : units) ids.insert(u->id());
  library->remove<Unit>(ids, results);
  std::string outcome;
  for (const auto& u : units)
    outcome += u->label().toUtf8() + ":" + std::to_string(results[ObjectKey(ObjectType::Unit, u->id())]) + " ";
  EXPECT_EQ(outcome, "mm:0 m:2 kg/m^3:2 ");
  EXPECT_TRUE(library->removeColumnUnit(L"tarnlib_IShapeProfile", L"overallDepth"));
  EXPECT_FALSE(library->columnUnit(L"tarnlib_IShapeProfile", L"overallDepth"));
}

// ---- Conversion between length systems

TnSmartPtr<Composition> wall() {
  auto c = Composition::create(L"Wall");
  auto brick = Material::create(L"Brick", TnSmartPtr<const MaterialType>());
  for (double t : {1.0, 0.5, 3.25}) c->append_ply(Composition::Ply(brick, MaterialFunction::Structure, t));
  c->set_variable_ply(1);
  c->set_variable_ply_min_thickness(0.25);
  c->set_variable_ply_max_thickness(2);
  return c;
}

std::string thicknesses(const Composition& c) {
  std::string out;
  for (const auto& p : c.plies()) out += std::to_string(p.thickness) + " ";
  return out + std::to_string(c.variable_ply_min_thickness()) + " " + std::to_string(c.variable_ply_max_thickness());
}

TEST_F(UnitTest, Convert_CompositionPliesAndBounds_AndBackWithinTolerance) {
  auto c = store(wall());
  convertUnit(c, LibraryUnit::Millimeter, LibraryUnit::Millimeter);
  EXPECT_FALSE(c->isDirty());
  convertUnit(c, LibraryUnit::Inch, LibraryUnit::Millimeter);
  EXPECT_TRUE(c->isDirty());
  EXPECT_EQ(thicknesses(*c), "25.400000 12.700000 82.550000 6.350000 50.800000");
  convertUnit(c, LibraryUnit::Millimeter, LibraryUnit::Inch);
  const auto original = wall();
  for (std::size_t i = 0; i < c->plies().size(); ++i)
    EXPECT_LE(std::fabs(c->plies()[i].thickness - original->plies()[i].thickness), 0.0001);
  EXPECT_LE(std::fabs(c->variable_ply_max_thickness() - 2), 0.0001);
}

TEST_F(UnitTest, Convert_BimThicknessesCollapse_ShapesThroughTheRoot_OthersUntouched) {
  auto asset = store(BimAsset::create(L"Board"));
  // Two thicknesses a rounding apart that convert to one value.
  asset->set_thicknesses() = {7.0, std::nextafter(7.0, 8.0)};
  store(asset);
  convertUnit(asset, LibraryUnit::Millimeter, LibraryUnit::Inch);
  EXPECT_TRUE(asset->isDirty());
  EXPECT_EQ(asset->thicknesses(), (std::set<double>{7.0 * (1 / 25.4)}));

  auto series = ProfileName::create(L"S");
  auto hollow = CircleHollowProfile::create(series, L"1 in");
  hollow->set_radius(1);
  hollow->set_wall_thickness(0.125);
  convertUnit(TnSmartPtr<Profile>(hollow.get()), LibraryUnit::Inch, LibraryUnit::Millimeter);
  EXPECT_EQ(hollow->radius(), 25.4);
  EXPECT_EQ(hollow->wall_thickness(), 3.175);
  EXPECT_EQ(hollow->size(), OdString(L"1 in"));

  auto custom = store(CustomProfile::create(series, L"free"));
  custom->set_offset(Vector2d{1, 1});
  store(custom);
  auto material = store(Material::create(L"Steel", TnSmartPtr<const MaterialType>()));
  auto physical = store(PhysicalAsset::create(L"Steel"));
  auto unit = store(Unit::create(L"in", 25.4, length));
  convertUnit(custom, LibraryUnit::Inch, LibraryUnit::Millimeter);
  convertUnit(material, LibraryUnit::Inch, LibraryUnit::Millimeter);
  convertUnit(physical, LibraryUnit::Inch, LibraryUnit::Millimeter);
  convertUnit(unit, LibraryUnit::Inch, LibraryUnit::Millimeter);
  EXPECT_FALSE(custom->isDirty() || material->isDirty() || physical->isDirty() || unit->isDirty());
  EXPECT_EQ(custom->offset(), (Vector2d{1, 1}));
  EXPECT_EQ(unit->scale(), 25.4);
}

}  // namespace
}  // namespace tarnlib
