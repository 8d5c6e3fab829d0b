// Numbers a file cannot hold as they are and inputs far larger than a catalogue
// usually holds: each is stored exactly, read back and carried through XML as it
// was, or refused with a message before anything is written. SQLite would store
// a NaN as NULL, so a NaN must never reach it.
#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <cmath>
#include <functional>
#include <limits>
#include <sstream>

#include "support/catalogue.h"
#include "tarnlib/tarnlib.h"

namespace tarnlib {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A number field: saving an object that holds `value` in it, and reading the
// field back from a library.
struct NumberField {
  const char* name;
  std::function<void(Library&, double)> save;
  std::function<double(const Library&)> load;
};

TnSmartPtr<Material> brick(double density) {
  auto physical = PhysicalAsset::create(L"Clay");
  physical->set_density(density);
  auto material = Material::create(L"Brick", MaterialType::create(L"Masonry"));
  material->set_physical_asset(physical);
  return material;
}

TnSmartPtr<const Material> loadedBrick(const Library& library) {
  auto material = library.get<Material>(NameKey(L"Brick"));
  if (!material) throw std::runtime_error("no brick");
  return material;
}

TnSmartPtr<Composition> wall(double thickness) {
  auto c = Composition::create(L"Wall");
  c->append_ply(Composition::Ply(brick(1800), MaterialFunction::Structure, thickness));
  return c;
}

TnSmartPtr<CircleProfile> pipe(double radius, Vector2d offset = {}) {
  auto p = CircleProfile::create(ProfileName::create(L"Pipes"), L"P1");
  p->set_radius(radius);
  p->set_offset(offset);
  return p;
}

const std::vector<NumberField>& numberFields() {
  static const std::vector<NumberField> fields = {
      {"physical asset density", [](Library& l, double v) { l.save(brick(v)); },
       [](const Library& l) { return loadedBrick(l)->physical_asset()->density(); }},
      {"physical asset thermal conductivity",
       [](Library& l, double v) {
         auto m = brick(1800);
         m->physical_asset(true)->set_thermal_conductivity(v);
         l.save(m);
       },
       [](const Library& l) { return loadedBrick(l)->physical_asset()->thermal_conductivity(); }},
      {"cut pattern scale",
       [](Library& l, double v) {
         auto m = brick(1800);
         m->set_cut_pattern(Pattern(v, 45, false, false));
         l.save(m);
       },
       [](const Library& l) { return loadedBrick(l)->cut_pattern().scale; }},
      {"BIM asset thickness",
       [](Library& l, double v) {
         auto bim = BimAsset::create(L"Brick BIM");
         bim->set_thicknesses() = {v};
         l.save(bim);
       },
       [](const Library& l) { return *l.get<BimAsset>(NameKey(L"Brick BIM"))->thicknesses().begin(); }},
      {"ply thickness", [](Library& l, double v) { l.save(wall(v)); },
       [](const Library& l) { return l.get<Composition>(NameKey(L"Wall"))->ply(0).thickness; }},
      {"variable ply minimum",
       [](Library& l, double v) {
         auto c = wall(100);
         c->set_variable_ply_min_thickness(v);
         l.save(c);
       },
       [](const Library& l) { return l.get<Composition>(NameKey(L"Wall"))->variable_ply_min_thickness(); }},
      {"profile dimension", [](Library& l, double v) { l.save(pipe(v)); },
       [](const Library& l) {
         std::vector<TnSmartPtr<CircleProfile>> all;
         l.get<CircleProfile>(all);
         return all.at(0)->radius();
       }},
      {"profile offset", [](Library& l, double v) { l.save(pipe(10, {v, 0})); },
       [](const Library& l) {
         std::vector<TnSmartPtr<CircleProfile>> all;
         l.get<CircleProfile>(all);
         return all.at(0)->offset().x;
       }},
      {"unit scale",
       [](Library& l, double v) {
         l.save(Unit::create(L"odd", L"odd", v, Measure::create(L"Oddness", 1, 0, 0, 0, 0, 0, 0)));
       },
       [](const Library& l) { return l.get<Unit>(NameKey(L"odd"))->scale(); }},
  };
  return fields;
}

bool sameNumber(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }

class ExtremeNumbers : public testing::LibraryTest {};

TEST_F(ExtremeNumbers, EveryNumberFieldStoresExactlyOrRefusesWithAMessage) {
  const double values[] = {kNaN, kInf, -kInf, std::numeric_limits<double>::max(),
                           std::numeric_limits<double>::denorm_min(), -1e-300};
  int files = 0;
  for (const NumberField& field : numberFields()) {
    for (double value : values) {
      std::ostringstream trace;
      trace << field.name << " = " << value;
      SCOPED_TRACE(trace.str());
      auto fresh = Library::create(dir.odFile("n" + std::to_string(++files)), LibraryUnit::Millimeter);
      ASSERT_TRUE(fresh);
      const std::string path = OdString(fresh->filename()).toUtf8();
      const std::string before = testing::catalogueText(path);
      bool stored = true;
      try {
        field.save(*fresh, value);
      } catch (const Exception& e) {
        stored = false;
        EXPECT_NE(std::wstring(e.what()).find(L"Database error - "), std::wstring::npos) << e.what();
      }
      if (!stored) {
        EXPECT_EQ(testing::catalogueText(path), before) << "a refused object left rows";
        continue;
      }
      EXPECT_FALSE(std::isnan(value)) << "a NaN was stored, which the file keeps as NULL";
      EXPECT_TRUE(sameNumber(field.load(*fresh), value)) << field.load(*fresh);

      // The document carries the number to another library unchanged.
      pugi::xml_document document;
      pugi::xml_node root = document.append_child("library");
      Library::ExportOptions byName;
      byName.referencesByName = true;
      fresh->exportToXml(root, byName);
      auto copy = Library::create(OdString(path + ".copy"), LibraryUnit::Millimeter);
      int messages = 0;
      Library::ImportOptions options;
      options.messageHandler = [&](const auto&...) { ++messages; };
      copy->importFromXml(root, options);
      EXPECT_EQ(messages, 0);
      EXPECT_TRUE(sameNumber(field.load(*copy), value)) << "after XML: " << field.load(*copy);
    }
  }
}

TEST_F(ExtremeNumbers, ANonFiniteDefaultValueIsRefusedNotWrittenAsNull) {
  auto definition = PropertyDefinition::create(PropertyNamespace::create(L"ns"), L"Weight");
  definition->set_default_value<double>(2.5);
  for (double value : {kNaN, kInf, -kInf}) {
    EXPECT_THROW(definition->set_default_value<double>(value), DatabaseError);
    EXPECT_EQ(definition->default_value(), OdString(L"2.5"));
  }
}

TEST_F(ExtremeNumbers, HugeTextsAndListsAreStoredWhole) {
  // A 100 MB description, outside the ASCII range at both ends.
  std::wstring text(100'000'000, L'x');
  text.front() = L'\xE4';
  text.back() = L'\U0001D11E';
  auto material = brick(1800);
  material->set_description(OdString(text.c_str()));
  store(material);

  // 100,000 plies and 100,000 offered thicknesses.
  auto composition = Composition::create(L"Stack");
  auto thin = BimAsset::create(L"Foil");
  for (int i = 0; i < 100'000; ++i) {
    composition->append_ply(Composition::Ply(material, MaterialFunction::Membrane, 0.001 * (i + 1)));
    thin->set_thicknesses().insert(0.5 + i);
  }
  store(composition);
  store(thin);

  auto reopened = Library::open(library->filename());
  EXPECT_TRUE(reopened->get<Material>(NameKey(L"Brick"))->description() == OdString(text.c_str()));
  auto plies = reopened->get<Composition>(NameKey(L"Stack"));
  ASSERT_EQ(plies->plies_size(), 100'000u);
  EXPECT_EQ(plies->ply(99'999).thickness, 100.0);
  EXPECT_EQ(reopened->get<BimAsset>(NameKey(L"Foil"))->thicknesses().size(), 100'000u);
}

}  // namespace
}  // namespace tarnlib
