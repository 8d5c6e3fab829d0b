// Materials and material types: storage of every field, the flattened patterns,
// tags, custom values and their resolution on saving, the "Generic" class,
// criteria with tag filters, and the class helpers.
#include <gtest/gtest.h>

#include "support/catalogue.h"
#include "tarnlib/composition.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"
#include "tarnlib/material.h"
#include "tarnlib/translations.h"

namespace tarnlib {
namespace {

using testing::names;
using testing::RawDb;
using Rows = std::vector<std::string>;

// Quotes, LIKE wildcards, non-ASCII and a character beyond U+FFFF.
const wchar_t* const kAwkward = L"Ziegel \"alt\" 'x' 50% a_b \u00e4\u00df \U0001F9F1";

class MaterialTest : public testing::LibraryTest {
 protected:
  void TearDown() override { Translations::set(nullptr); }

  TnSmartPtr<Material> saved(const OdString& name, const OdString& type = L"Masonry") {
    return store(Material::create(name, MaterialType::create(type)));
  }
};

TEST_F(MaterialTest, EveryFieldRoundTripsWithAwkwardTexts) {
  auto bim = BimAsset::create(kAwkward);
  bim->set_thicknesses() = {0.24};
  auto material = Material::create(kAwkward, MaterialType::create(kAwkward));
  material->set_description(L"line one\nline two \u00e9");
  material->set_comments(L"%_%");
  material->set_appearance(L"Masonry.Brick.Red \U0001F9F1");
  Pattern cut(Pattern::Type::Custom, L"AR-B816 \u00fc", 0.5, 1.25, true);
  cut.background_color = Color(0.25, 0.5, 0.75, 1.0);
  material->set_cut_pattern(cut);
  material->set_surface_pattern(Pattern(2.0, 45.0, true, false));
  material->set_information_asset(InformationAsset::create(kAwkward));
  material->set_physical_asset(PhysicalAsset::create(kAwkward));
  material->set_bim_asset(bim);
  material->add_tag(L"Fire \"rated\"");
  material->add_tag(Tag::create(kAwkward));
  material->set_custom_value(L"Supplier %", L"\U0001F9F1 & Sons");
  material->set_custom_value(CustomProperty::create(L"Code", ObjectType{0}), L"B-1");

  ASSERT_TRUE(library->save<Material>(material));
  EXPECT_FALSE(material->isDirty());

  auto loaded = library->get<Material>(NameKey(kAwkward));
  ASSERT_TRUE(loaded);
  EXPECT_TRUE(*loaded == *material);  // tags, values and assets by value
  EXPECT_FALSE(loaded->isDirty());

  // Changing a loaded material and saving it again updates the row and its
  // containers in place.
  loaded->set_comments(L"changed");
  loaded->remove_tag(L"Fire \"rated\"");
  loaded->clear_custom_value(L"Code");
  loaded->set_bim_asset(nullptr);
  ASSERT_TRUE(library->save<Material>(loaded));
  auto again = library->get<Material>(material->id());
  EXPECT_TRUE(*again == *loaded);
  EXPECT_FALSE(*again == *material);
  EXPECT_FALSE(again->bim_asset());
  EXPECT_EQ(library->count<Material>(), 1u);
}

TEST_F(MaterialTest, PatternsAreStoredInTheirOwnColumns) {
  auto material = Material::create(L"Concrete", MaterialType::create(L"Concrete"));
  material->set_cut_pattern(Pattern(2.0, 45.0, true, false));
  Pattern surface(Pattern::Type::Predefined, L"ANSI31", 1.5, 90.0, true);
  surface.background_color = Color(Color::Type::ByLayer);
  material->set_surface_pattern(surface);
  library->save<Material>(material);

  EXPECT_EQ(raw().value("SELECT cut_pattern_type, cut_pattern_name, cut_pattern_scale, cut_pattern_angle, "
                        "cut_pattern_cross, cut_pattern_annotative, cut_pattern_background_color_type "
                        "FROM tarnlib_Material"),
            "0||2.0|45.0|1|0|-1");
  EXPECT_EQ(raw().value("SELECT surface_pattern_type, surface_pattern_name, surface_pattern_annotative, "
                        "surface_pattern_background_color_type, surface_pattern_background_color_red "
                        "FROM tarnlib_Material"),
            "1|ANSI31|1|0|0.0");

  // A default pattern is "no pattern" at scale 1, and a row inserted without
  // the pattern columns reads back the same.
  RawDb db = raw();
  db.exec(
      "INSERT INTO tarnlib_Material (name, type_id, description, comments, appearance, cut_pattern_name, "
      "surface_pattern_name) SELECT 'Raw', type_id, '', '', '', '', '' FROM tarnlib_Material");
  auto plain = library->get<Material>(NameKey(L"Raw"));
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->cut_pattern(), Pattern());
  EXPECT_EQ(plain->surface_pattern().background_color, Color());
}

TEST_F(MaterialTest, TagsKeepOrderAndDuplicates) {
  auto material = Material::create(L"Brick", MaterialType::create(L"Masonry"));
  auto fire = Tag::create(L"Fire");
  material->add_tag(fire);
  material->add_tag(L"Outdoor");
  material->add_tag(fire);
  library->save<Material>(material);
  EXPECT_EQ(raw().rows("SELECT t.\"index\", g.name FROM tarnlib_Material_tags t "
                       "JOIN tarnlib_Tag g ON g.id = t.tag_id ORDER BY t.\"index\""),
            (Rows{"0|Fire", "1|Outdoor", "2|Fire"}));
  EXPECT_EQ(library->count<Tag>(), 2u);

  // A tag added by name binds to the stored tag of that name.
  auto other = Material::create(L"Clinker", MaterialType::create(L"Masonry"));
  other->add_tag(L"Fire");
  library->save<Material>(other);
  EXPECT_EQ(other->tags()[0]->id(), fire->id());
  EXPECT_EQ(library->count<Tag>(), 2u);

  // Removal by tag compares ids; every mutator dirties, even without effect.
  auto loaded = library->get<Material>(material->id());
  loaded->remove_tag(Tag::create(L"Outdoor"));  // id 0: no stored tag matches
  EXPECT_TRUE(loaded->isDirty());
  EXPECT_EQ(loaded->tags().size(), 3u);
  loaded->remove_tag(fire);
  ASSERT_EQ(loaded->tags().size(), 1u);
  EXPECT_EQ(loaded->tags()[0]->name(), OdString(L"Outdoor"));

  // An unsaved tag has id 0, so removing one removes every unsaved tag.
  auto fresh = Material::create();
  fresh->add_tag(L"a");
  fresh->add_tag(fire);
  fresh->add_tag(L"b");
  fresh->remove_tag(Tag::create(L"c"));
  ASSERT_EQ(fresh->tags().size(), 1u);
  EXPECT_EQ(fresh->tags()[0], fire);
}

TEST_F(MaterialTest, CustomValuesOfTheWrongTypeThrowAndChangeNothing) {
  auto material = saved(L"Brick");
  material->set_custom_value(L"Grade", L"A");
  library->save<Material>(material);
  ASSERT_FALSE(material->isDirty());

  EXPECT_THROW(material->set_custom_value(CustomProperty::create(L"Grade", ObjectType::Composition), L"B"),
               InappropriateCustomProperty);
  EXPECT_THROW(material->set_custom_value(TnSmartPtr<const CustomProperty>(), L"B"), NullPointer);
  EXPECT_FALSE(material->isDirty());
  EXPECT_EQ(material->custom_value(L"Grade"), OdString(L"A"));

  // One value per name: a second set overwrites, a generic property is fine.
  material->set_custom_value(L"Grade", L"B");
  material->set_custom_value(CustomProperty::create(L"Grade", ObjectType{0}), L"C");
  EXPECT_EQ(material->custom_values().size(), 1u);
  EXPECT_EQ(material->custom_value(L"Grade"), OdString(L"C"));
  EXPECT_FALSE(material->has_custom_value(L"grade"));

  auto clean = library->get<Material>(material->id());
  clean->clear_custom_value(L"absent");
  EXPECT_FALSE(clean->isDirty());
  clean->clear_custom_value(L"Grade");
  EXPECT_TRUE(clean->isDirty());
  EXPECT_FALSE(clean->has_custom_value(L"Grade"));
  EXPECT_EQ(clean->custom_value(L"Grade"), OdString());
}

TEST_F(MaterialTest, ValuesSetByNameResolveToStoredProperties) {
  auto generic = library->save<CustomProperty>(CustomProperty::create(L"Supplier", ObjectType{0}));
  library->save<CustomProperty>(CustomProperty::create(L"Colour", ObjectType{0}));
  auto own = library->save<CustomProperty>(CustomProperty::create(L"Colour", ObjectType::Material));
  library->save<CustomProperty>(CustomProperty::create(L"Fire class", ObjectType::Composition));

  auto material = Material::create(L"Brick", MaterialType::create(L"Masonry"));
  material->set_custom_value(L"Supplier", L"ACME");  // the generic one
  material->set_custom_value(L"Colour", L"red");     // the material one before the generic one
  material->set_custom_value(L"Fire class", L"A1");  // only a composition one: a new one
  library->save<Material>(material);

  std::vector<std::uint32_t> keyIds;  // by name: Colour, Fire class, Supplier
  for (const auto& entry : material->custom_values()) keyIds.push_back(entry.first->id());
  EXPECT_EQ(keyIds, (std::vector<std::uint32_t>{own->id(), 5u, generic->id()}));
  EXPECT_EQ(raw().rows("SELECT object_type, name FROM tarnlib_CustomProperty ORDER BY id"),
            (Rows{"0|Supplier", "0|Colour", "4|Colour", "5|Fire class", "4|Fire class"}));
  EXPECT_EQ(raw().rows("SELECT p.object_type, p.name, v.value FROM tarnlib_Material_custom_values v "
                       "JOIN tarnlib_CustomProperty p ON p.id = v.property_id ORDER BY p.id"),
            (Rows{"0|Supplier|ACME", "4|Colour|red", "4|Fire class|A1"}));

  // Usage is by name, across materials and compositions.
  EXPECT_TRUE(isCustomPropUsed(library, CustomProperty::create(L"Supplier", ObjectType::Composition)));
  EXPECT_FALSE(isCustomPropUsed(library, CustomProperty::create(L"Weight", ObjectType{0})));
  EXPECT_FALSE(isCustomPropUsed(library, CustomProperty::create(L"", ObjectType{0})));
  auto composition = Composition::create(L"Wall");
  composition->set_custom_value(L"Weight", L"12");
  library->save<Composition>(composition);
  EXPECT_TRUE(isCustomPropUsed(library, CustomProperty::create(L"Weight", ObjectType{0})));
}

// Gives `word` for "Generic", or declines with something written into `out`,
// which must then be ignored.
class Translator : public Translations {
 public:
  explicit Translator(const wchar_t* word) : word_(word) {}
  bool translate(OdString& out, const OdString& source) override {
    EXPECT_TRUE(out.isEmpty());
    const bool known = word_ && source == L"Generic";
    out = known ? word_ : L"garbage";
    return known;
  }

 private:
  const wchar_t* word_;
};

TEST_F(MaterialTest, MaterialWithoutClassGetsTheTranslatedGenericClass) {
  auto first = library->save<Material>(Material::create());
  ASSERT_TRUE(first);
  ASSERT_TRUE(first->type());
  EXPECT_EQ(first->type()->name(), OdString(L"Generic"));

  Translator none(nullptr);
  Translations::set(&none);
  auto second = library->save<Material>(Material::create(L"Second", nullptr));
  EXPECT_EQ(second->type()->id(), first->type()->id());  // reused, not a second row

  Translator german(L"Allgemein");
  Translations::set(&german);
  auto third = library->save<Material>(Material::create(L"Third", nullptr));
  EXPECT_EQ(third->type()->name(), OdString(L"Allgemein"));

  Translations::set(nullptr);
  EXPECT_EQ(Translations::get(), nullptr);
  auto fourth = library->save<Material>(Material::create(L"Fourth", nullptr));
  EXPECT_EQ(fourth->type()->id(), first->type()->id());
  EXPECT_EQ(raw().rows("SELECT name FROM tarnlib_MaterialType ORDER BY id"), (Rows{"Generic", "Allgemein"}));
}

TEST_F(MaterialTest, CriteriaFilterByNameTypeAndTags) {
  auto brick = Material::create(L"Brick 50%", MaterialType::create(L"Masonry"));
  brick->add_tag(L"Fire");
  brick->add_tag(L"Outdoor \u00e4");
  store(brick);
  auto block = Material::create(L"Block", MaterialType::create(L"Masonry"));
  block->add_tag(L"Fire");
  store(block);
  auto oak = Material::create(L"Oak", MaterialType::create(L"Timber"));
  oak->add_tag(L"Outdoor \u00e4");
  store(oak);
  saved(L"Steel", L"Metal");

  MaterialCriteria both;
  both.tags = {L"Outdoor \u00e4", L"Fire", L"Fire"};
  EXPECT_EQ(loaded<Material>(both), "Brick 50%|Block|Oak");
  // The count runs over the filter view: one per matching tag.
  EXPECT_EQ(library->count<Material>(both), 4u);

  both.type = brick->type()->id();
  EXPECT_EQ(loaded<Material>(both), "Brick 50%|Block");
  both.name.contains(L"%");  // a wildcard: every name
  EXPECT_EQ(library->count<Material>(both), 3u);
  both.name.endsWith(L"50%");
  EXPECT_EQ(library->count<Material>(both), 2u);

  MaterialCriteria untagged;
  untagged.tags = {L"'); DROP TABLE tarnlib_Material; --"};
  EXPECT_EQ(library->count<Material>(untagged), 0u);
  untagged.tags.clear();
  untagged.type = oak->type()->id();
  EXPECT_EQ(loaded<Material>(untagged), "Oak");
  EXPECT_EQ(library->count<Material>(MaterialCriteria()), 4u);

  // One load shares the type and tags its materials refer to.
  std::vector<TnSmartPtr<Material>> all;
  library->get<Material>(all);
  ASSERT_EQ(names(all), "Brick 50%|Block|Oak|Steel");
  EXPECT_EQ(all[0]->type().get(), all[1]->type().get());
  EXPECT_NE(all[0]->type().get(), brick->type().get());
  EXPECT_EQ(all[0]->tags()[0].get(), all[1]->tags()[0].get());
}

TEST_F(MaterialTest, ClassHelpers) {
  auto brick = saved(L"Brick", L"Masonry");
  library->save<MaterialType>(MaterialType::create(L"Timber"));
  EXPECT_TRUE(isMaterialClassUsed(library, L"Masonry"));
  EXPECT_FALSE(isMaterialClassUsed(library, L"masonry"));
  EXPECT_FALSE(isMaterialClassUsed(library, L"Timber"));
  EXPECT_FALSE(isMaterialClassUsed(nullptr, L"Masonry"));

  auto loaded = library->get<Material>(brick->id());
  EXPECT_FALSE(setClass(loaded, L"Steel"));
  EXPECT_TRUE(setClass(loaded, L"Masonry"));
  EXPECT_FALSE(loaded->isDirty());
  EXPECT_TRUE(setClass(loaded, L"Timber"));
  EXPECT_TRUE(loaded->isDirty());
  EXPECT_EQ(loaded->type()->name(), OdString(L"Timber"));
  auto unsaved = Material::create();
  EXPECT_FALSE(setClass(unsaved, L"Timber"));
  EXPECT_EQ(library->count<MaterialType>(), 2u);
}

}  // namespace
}  // namespace tarnlib
