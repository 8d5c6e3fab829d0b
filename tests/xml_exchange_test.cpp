// XML export and import: the document frame, groups and reference modes, round
// trips of every type with awkward values, and the import's messages.
#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <cctype>
#include <cfloat>
#include <cstring>
#include <random>
#include <regex>
#include <sstream>

#include "support/catalogue.h"
#include "tarnlib/tarnlib.h"

namespace tarnlib {
namespace {

using testing::LibraryTest;

// Text with what tends to break a writer or a reader: quotes, markup, an
// ampersand, non-ASCII and a character beyond U+FFFF.
const wchar_t* const kAwkward = L"Beton \"C30/37\" <B&B> 'ü' \U0001F9F1";

std::string toString(const pugi::xml_document& doc) {
  std::ostringstream out;
  doc.save(out, "  ", pugi::format_default | pugi::format_no_declaration);
  return out.str();
}

std::string exported(const Library& library, bool byName = true) {
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child("tarnlibrary");
  Library::ExportOptions options;
  options.referencesByName = byName;
  library.exportToXml(root, options);
  return toString(doc);
}

struct Message {
  int severity;
  std::string text;
  std::ptrdiff_t offset;
};

// Imports `xml` and returns the messages.
std::vector<Message> importText(Library& library, const std::string& xml,
                                const std::set<ObjectType>* types = nullptr) {
  pugi::xml_document doc;
  EXPECT_TRUE(doc.load_string(xml.c_str()));
  std::vector<Message> messages;
  Library::ImportOptions options;
  options.messageHandler = [&](int severity, const OdString& text, std::ptrdiff_t offset) {
    messages.push_back({severity, text.toUtf8(), offset});
  };
  pugi::xml_node root = doc.document_element();
  if (types) library.importFromXml(root, *types, options);
  else library.importFromXml(root, options);
  return messages;
}

// One object of every type, with every optional value set one way or the
// other, and awkward texts and numbers where the type holds them.
void fillEveryType(Library& library) {
  auto layer = Layer::create(L"A-WALL");
  auto tag = Tag::create(kAwkward);
  auto wallProperty = CustomProperty::create(L"Fire rating", ObjectType::Material);
  auto anyProperty = CustomProperty::create(L"Supplier", ObjectType{0});

  auto info = InformationAsset::create(L"Info \u00e9");
  info->set_manufacturer(kAwkward);
  info->set_url(L"https://example.org/?a=1&b=2");
  info->set_unique_code(L"");  // present but empty: not the same as absent
  auto physical = PhysicalAsset::create(L"Phys");
  physical->set_density(1e-300);
  physical->set_thermal_conductivity(DBL_MAX);
  auto bim = BimAsset::create(L"Bim");
  bim->set_layer(layer);
  bim->set_default_function(MaterialFunction::Insulation);
  bim->set_variable_thickness(false);
  bim->set_thicknesses() = {12.5, 100.0, 0.1};

  auto concrete = Material::create(kAwkward, MaterialType::create(L"Concrete"));
  concrete->set_description(L"line one\nline two\ttabbed");
  concrete->add_tag(tag);
  concrete->add_tag(L"structural");
  concrete->set_appearance(L"Concrete.Smooth");
  Pattern cut(Pattern::Type::Predefined, L"ANSI31", 2.5, 0.7853981633974483, true);
  cut.background_color = Color(0.1, 0.2, 0.3, 1.0);
  concrete->set_cut_pattern(cut);
  concrete->set_information_asset(info);
  concrete->set_physical_asset(physical);
  concrete->set_bim_asset(bim);
  concrete->set_custom_value(wallProperty, L"EI 60");
  concrete->set_custom_value(anyProperty, L"<ACME & Sons>");
  concrete = library.save(concrete);
  auto insulation = library.save(Material::create(L"Mineral wool", nullptr));

  auto wall = Composition::create(L"Wall 300");
  wall->set_type(Composition::Wall | Composition::Slab);
  wall->set_composition_type(CompositionType::create(L"External"));
  wall->set_layer(layer);
  wall->add_tag(L"structural");
  wall->append_ply(Composition::Ply(concrete, MaterialFunction::Structure, 200.0));
  wall->append_ply(Composition::Ply(insulation, MaterialFunction::Insulation, 100.0));
  wall->append_ply(Composition::Ply(concrete, MaterialFunction::Finish1, 0.1));
  wall->set_last_core_ply(1);
  wall->set_variable_ply(1);
  wall->set_variable_ply_min_thickness(50.0);
  wall->set_merge_guids() = {Guid(OdString(L"{00000000-0000-0000-0000-000000000001}"))};
  library.save(wall);
  library.save(Composition::create(L"Empty"));

  auto standard = ProfileStandard::create(L"EN 10365");
  auto hea = ProfileName::create(standard, L"HEA", ProfileType::StructuralSteel);
  auto ishape = IShapeProfile::create(hea, L"HEA 200");
  ishape->set_dimension(L"overallWidth", 200.0);
  ishape->set_dimension(L"overallDepth", 190.0);
  ishape->set_dimension(L"webThickness", 6.5);
  ishape->set_dimension(L"flangeThickness", 10.0);
  ishape->set_dimension(L"filletRadius", 18.0);
  ishape->set_material(concrete);
  ishape->set_offset(Vector2d{-1.5, 2.25});
  library.save(ishape);
  auto chs = CircleHollowProfile::create(ProfileName::create(L"CHS"), L"48.3x3.2");
  chs->set_radius(24.15);
  chs->set_wall_thickness(3.2);
  library.save(chs);
  auto custom = CustomProfile::create(ProfileName::create(L"Custom"), L"Rail");
  custom->set_geometry(L"M 0 0 L 10 0 L 10 10 Z");
  library.save(custom);

  auto length = Measure::create(L"Length", 1, 0, 0, 0, 0, 0, 0);
  library.save(Measure::create(L"Density", -3, 1, 0, 0, 0, 0, 0));
  auto metre = Unit::create(L"metre", L"m", 1.0, length);
  library.save(Unit::create(L"mm", 0.001, length));  // unnamed
  auto ns = PropertyNamespace::create(L"Pset", L"");
  ns->set_revision(7);
  auto set = PropertySet::create(ns, L"Pset_WallCommon");
  set->set_label(kAwkward);
  set->set_per_instance(true);
  set->insert_entity_type(L"IfcWall");
  set->insert_entity_type(L"IfcSlab");
  auto width = set->append_property_definition(L"Width", PropertyType::Single(PropertyType::Double));
  width->set_unit(metre);
  width->set_default_value(2.5);
  width->set_type_spec(L"{\"min\":0}");
  auto origin = set->append_property_definition(L"Origin", PropertyType::Single(PropertyType::Point3d));
  origin->set_default_value(OdString(L"{\"x\":1,\"y\":2,\"z\":3}"));
  set->append_value_definition(L"Grades", PropertyType::Map(PropertyType::String, PropertyType::Int32))
      ->set_value_spec(L"[\"A\",\"B\"]");
  library.save(set);
}

// ---- Export

TEST_F(LibraryTest, ExportFrameNamesAnUnnamedRootAndPutsMetaFirst) {
  fillEveryType(*library);
  library->locale(L"de-CH");
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child(pugi::node_element);
  Library::ExportOptions options;
  options.exportMeta = true;
  options.exportGuid = true;
  library->exportToXml(root, options);
  EXPECT_STREQ(root.name(), "tarnlibrary");
  std::vector<std::string> attributes;
  for (pugi::xml_attribute a : root.attributes()) attributes.push_back(a.name());
  EXPECT_EQ(attributes, (std::vector<std::string>{"xmlns", "xmlns:xsi", "xsi:schemaLocation", "version"}));
  EXPECT_STREQ(root.attribute("xmlns:xsi").value(), "http://www.w3.org/2001/XMLSchema-instance");
  EXPECT_EQ(root.attribute("version").as_ullong(), library->version());
  pugi::xml_node meta = root.first_child();
  ASSERT_STREQ(meta.name(), "meta");
  EXPECT_STREQ(meta.child_value("unit"), "Millimeter");
  EXPECT_EQ(OdString(meta.child_value("guid")), library->guid());
  EXPECT_STREQ(meta.child_value("locale"), "de-CH");
  // The groups follow in the format's order.
  std::vector<std::string> groups;
  for (pugi::xml_node child = meta.next_sibling(); child; child = child.next_sibling())
    if (groups.empty() || groups.back() != child.name()) groups.push_back(child.name());
  EXPECT_EQ(groups, (std::vector<std::string>{"customprofile", "ishapeprofile", "circlehollowprofile",
                                              "profilename", "profilestandard", "composition",
                                              "compositiontype", "material", "materialtype", "bimasset",
                                              "physicalasset", "informationasset", "propertyset",
                                              "valuedefinition", "propertydefinition", "propertynamespace",
                                              "entitytype", "unit", "measure", "layer", "customproperty",
                                              "tag"}));

  // A named root keeps its name; no meta unless asked.
  pugi::xml_document other;
  pugi::xml_node named = other.append_child("catalogue");
  library->exportToXml(named, std::set<ObjectType>{ObjectType::Tag}, Library::ExportOptions());
  EXPECT_STREQ(named.name(), "catalogue");
  EXPECT_TRUE(named.attribute("version"));
  EXPECT_FALSE(named.child("meta"));
  EXPECT_STREQ(named.first_child().name(), "tag");
}

TEST_F(LibraryTest, ExportByKeysWritesGroupsInOrderAndIdsAscendingWithoutIdAttributes) {
  std::vector<std::uint32_t> tags;
  for (const wchar_t* name : {L"c", L"a", L"b"}) tags.push_back(store(Tag::create(name))->id());
  auto material = store(Material::create(L"M", MaterialType::create(L"T")));
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child("tarnlibrary");
  library->exportToXml(root,
                       std::set<ObjectKey>{{ObjectType::Tag, tags[2]}, {ObjectType::Material, material->id()},
                                           {ObjectType::Tag, tags[0]}},
                       Library::ExportOptions());
  std::vector<std::string> elements;
  for (pugi::xml_node child : root.children()) {
    elements.push_back(child.name() + std::string(":") + child.child_value());
    EXPECT_FALSE(child.attribute("id")) << child.name();
  }
  EXPECT_EQ(elements, (std::vector<std::string>{"material:", "tag:c", "tag:b"}));
  EXPECT_EQ(root.child("material").child("type").attribute("id").as_uint(), material->type()->id());
}

TEST_F(LibraryTest, ReferencesByNameChangeOnlyTheReferenceAttributes) {
  fillEveryType(*library);
  const std::regex attribute(" (id|name)=\"[^\"]*\"");
  const std::string byId = exported(*library, false);
  const std::string byName = exported(*library, true);
  EXPECT_NE(byId, byName);
  EXPECT_EQ(byName.find(" id=\""), std::string::npos);
  EXPECT_EQ(std::regex_replace(byId, attribute, " ref"), std::regex_replace(byName, attribute, " ref"));
  EXPECT_NE(byName.find("<type name=\"Concrete\" />"), std::string::npos);
}

TEST_F(LibraryTest, ExportWritesAbsentOptionalValuesAsNilAndDropsMissingReferences) {
  auto composition = Composition::create(L"C");
  composition->append_ply(Composition::Ply(Material::create(L"M", nullptr), MaterialFunction::None, 1.0));
  composition = store(composition);
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child("tarnlibrary");
  library->exportToXml(root, std::set<ObjectType>{ObjectType::Composition}, Library::ExportOptions());
  pugi::xml_node element = root.child("composition");
  EXPECT_STREQ(element.child("variable_ply").attribute("xsi:nil").value(), "true");
  EXPECT_STREQ(element.child("variable_ply_max_thickness").attribute("xsi:nil").value(), "true");
  EXPECT_FALSE(element.child("layer"));  // no layer: the reference is left out
  EXPECT_FALSE(element.child("description"));  // an empty text is left out

  pugi::xml_document kept;
  pugi::xml_node keptRoot = kept.append_child("tarnlibrary");
  Library::ExportOptions keep;
  keep.keepEmptyReferences = true;
  library->exportToXml(keptRoot, std::set<ObjectType>{ObjectType::Composition}, keep);
  pugi::xml_node layer = keptRoot.child("composition").child("layer");
  ASSERT_TRUE(layer);
  EXPECT_FALSE(layer.first_attribute());
}

// ---- Round trips

TEST_F(LibraryTest, ByNameExportIntoAnEmptyLibraryRoundTripsEveryTypeAndValue) {
  fillEveryType(*library);
  const std::string original = exported(*library);
  auto copy = Library::create(dir.odFile("copy"), LibraryUnit::Millimeter);
  pugi::xml_document doc;
  ASSERT_TRUE(doc.load_string(original.c_str()));
  std::vector<std::string> messages;
  Library::ImportOptions options;
  options.messageHandler = [&](int, const OdString& text, std::ptrdiff_t) { messages.push_back(text.toUtf8()); };
  pugi::xml_node root = doc.document_element();
  copy->importFromXml(root, options);
  EXPECT_EQ(messages, std::vector<std::string>());
  EXPECT_EQ(exported(*copy), original);
  // Values that the document carries as text come back exactly.
  auto material = copy->get<Material>(NameKey(kAwkward));
  ASSERT_TRUE(material);
  EXPECT_EQ(material->physical_asset()->density(), 1e-300);
  EXPECT_EQ(material->physical_asset()->thermal_conductivity(), DBL_MAX);
  EXPECT_TRUE(material->information_asset()->has_unique_code());
  EXPECT_EQ(material->custom_value(L"Supplier"), OdString(L"<ACME & Sons>"));
  auto ns = copy->get<PropertyNamespace>(NameKey(L"Pset"));
  EXPECT_TRUE(ns->has_label());
  // Each shared object is stored once, however many refer to it.
  EXPECT_EQ(copy->count<Tag>(), 2u);
  EXPECT_EQ(copy->count<BimAsset>(), 1u);
  EXPECT_EQ(copy->count<Layer>(), 1u);
}

TEST_F(LibraryTest, ByIdExportImportedIntoItsOwnLibraryChangesNothing) {
  fillEveryType(*library);
  const std::string before = text();
  const std::string document = exported(*library, false);
  EXPECT_EQ(importText(*library, document).size(), 0u);
  EXPECT_EQ(text(), before);
}

TEST_F(LibraryTest, ADocumentFromAnInchLibraryArrivesInMillimetres) {
  auto inch = Library::create(dir.odFile("inch"), LibraryUnit::Inch);
  auto wall = Composition::create(L"W");
  wall->append_ply(Composition::Ply(Material::create(L"Brick", nullptr), MaterialFunction::None, 4.0));
  inch->save(wall);
  auto tube = CircleProfile::create(ProfileName::create(L"Round"), L"2in");
  tube->set_radius(1.0);
  inch->save(tube);
  auto physical = PhysicalAsset::create(L"P");
  physical->set_density(2400.0);
  auto brick = inch->get<Material>(NameKey(L"Brick"));
  brick->set_physical_asset(physical);
  inch->save(brick);
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child("tarnlibrary");
  Library::ExportOptions options;
  options.referencesByName = true;
  options.exportMeta = true;
  inch->exportToXml(root, options);
  library->importFromXml(root, Library::ImportOptions());
  EXPECT_DOUBLE_EQ(library->get<Composition>(NameKey(L"W"))->ply(0).thickness, 101.6);
  std::vector<TnSmartPtr<CircleProfile>> tubes;
  library->get<CircleProfile>(tubes);
  ASSERT_EQ(tubes.size(), 1u);
  EXPECT_DOUBLE_EQ(tubes[0]->radius(), 25.4);
  // Material data keeps its own units.
  EXPECT_EQ(library->get<Material>(NameKey(L"Brick"))->physical_asset()->density(), 2400.0);
}

TEST_F(LibraryTest, AProfileNameThatTwoStandardsShareIsReportedAndTheDocumentsOwnPreferred) {
  for (const wchar_t* standard : {L"A", L"B"}) {
    auto profile = IShapeProfile::create(ProfileName::create(ProfileStandard::create(standard), L"IPE"),
                                         OdString(standard) + L" 80");
    store(profile);
  }
  const std::string document = exported(*library);
  auto copy = Library::create(dir.odFile("copy"), LibraryUnit::Millimeter);
  const auto messages = importText(*copy, document);
  ASSERT_EQ(messages.size(), 2u);  // one per profile: both names are the document's own
  EXPECT_EQ(messages[0].text,
            "Reference 'profilename' with name 'IPE' is ambiguous: 2 objects have that name; the one with id 1 "
            "is taken");
  EXPECT_EQ(copy->count<ProfileName>(), 2u);
}

TEST_F(LibraryTest, ImportResolvesReferencesToElementsLaterInTheDocument) {
  // Plies refer to a material defined after them; both compositions share it.
  const auto messages = importText(*library, R"(<tarnlibrary>
    <composition><name>A</name><ply><Ply><material name="Brick"/><thickness>90</thickness></Ply></ply></composition>
    <composition><name>B</name><ply><Ply><material name="Brick"/></Ply><Ply><material name="Brick"/></Ply></ply></composition>
    <material><name>Brick</name><type name="Masonry"/><tag><tag name="red"/></tag></material>
    <materialtype>Masonry</materialtype>
    <tag>red</tag>
  </tarnlibrary>)");
  EXPECT_EQ(messages.size(), 0u);
  EXPECT_EQ(library->count<Material>(), 1u);
  auto b = library->get<Composition>(NameKey(L"B"));
  ASSERT_TRUE(b);
  ASSERT_EQ(b->plies_size(), 2u);
  EXPECT_EQ(b->ply(0).material->name(), OdString(L"Brick"));
  EXPECT_EQ(b->ply(0).material->type()->name(), OdString(L"Masonry"));
  EXPECT_EQ(library->get<Composition>(NameKey(L"A"))->ply(0).thickness, 90.0);
}

// ---- Messages

struct MessageCase {
  const char* what;
  const char* document;  // under <tarnlibrary>
  int severity;
  const char* message;
  const char* at;  // the text at the message's offset
};

class ImportMessages : public LibraryTest, public ::testing::WithParamInterface<MessageCase> {};

TEST_P(ImportMessages, ReportsTheExactTextAtTheOffendingNodeAndSkipsTheElement) {
  const MessageCase& c = GetParam();
  store(CustomProperty::create(L"Colour", ObjectType::Composition));
  const std::string xml = std::string("<tarnlibrary>") + c.document + "<tag>kept</tag></tarnlibrary>";
  const auto messages = importText(*library, xml);
  ASSERT_EQ(messages.size(), 1u) << c.what;
  EXPECT_EQ(messages[0].severity, c.severity) << c.what;
  EXPECT_EQ(messages[0].text, c.message) << c.what;
  ASSERT_GE(messages[0].offset, 0) << c.what;
  EXPECT_EQ(xml.compare(static_cast<std::size_t>(messages[0].offset), std::strlen(c.at), c.at), 0)
      << c.what << ": at " << xml.substr(static_cast<std::size_t>(messages[0].offset), 30);
  // The element concerned is not saved; the rest of the document is.
  EXPECT_EQ(library->count<Material>(), 0u) << c.what;
  EXPECT_EQ(library->count<Tag>(), 1u) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Xml, ImportMessages,
    ::testing::Values(
        MessageCase{"unknown element", "<foo/>", 0, "Unknown object type 'foo'", "foo"},
        MessageCase{"reference by id", "<material><name>M</name><type id=\"7\"/></material>", 3,
                    "Could not find referenced object 'type' with id 7", "type"},
        MessageCase{"reference by name", "<material><name>M</name><type name=\"Wood\"/></material>", 3,
                    "Could not find referenced object 'type' with name 'Wood'", "type"},
        MessageCase{"bad id", "<material><name>M</name><type id=\"-3\"/></material>", 3,
                    "Invalid 'type' property value: -3", "type"},
        MessageCase{"missing name", "<material><description>x</description></material>", 3,
                    "Missing 'name' property", "material"},
        MessageCase{"empty name", "<material><name></name></material>", 3, "Property 'name' can not be empty",
                    "name"},
        MessageCase{"nil name", "<material><name xsi:nil=\"true\"/></material>", 3,
                    "Property 'name' can not be nil", "name"},
        MessageCase{"garbage number",
                    "<material><name>M</name><physical_asset><name>P</name><density>2.5kg</density>"
                    "</physical_asset></material>",
                    3, "Invalid 'density' property value: 2.5kg", "density"},
        MessageCase{"nan", "<material><name>M</name><cut_pattern scale=\"nan\"/></material>", 3,
                    "Invalid 'scale' property value: nan", "cut_pattern"},
        MessageCase{"unknown enumeration",
                    "<material><name>M</name><bim_asset><name>B</name><default_function>Roof</default_function>"
                    "</bim_asset></material>",
                    3, "Invalid 'default_function' property value: Roof", "default_function"},
        MessageCase{"custom value without a property",
                    "<material><name>M</name><custom_value><value>x</value></custom_value></material>", 3,
                    "custom_value has no name attribute", "value"},
        MessageCase{"custom property of another type",
                    "<material><name>M</name><custom_value><value name=\"Colour\">red</value></custom_value>"
                    "</material>",
                    3, "Colour refers to custom property with incorrect object type", "value"}),
    [](const ::testing::TestParamInfo<MessageCase>& info) {
      std::string name = info.param.what;
      for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
      return name;
    });

TEST_F(LibraryTest, ImportReportsAnUnknownDefinitionOfAPropertySet) {
  const auto messages = importText(*library, R"(<tarnlibrary>
    <propertyset><namespace name="Pset"/><name>Common</name><definition><rule/></definition></propertyset>
    <propertynamespace><name>Pset</name></propertynamespace></tarnlibrary>)");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].text, "Unknown property 'rule' for 'Common'");
  EXPECT_EQ(library->count<PropertySet>(), 0u);
  EXPECT_EQ(library->count<PropertyNamespace>(), 1u);
}

TEST_F(LibraryTest, ABadDefaultValueThrowsAndKeepsNothingOfTheDocument) {
  const char* const kDefinition = R"(<tarnlibrary><tag>t</tag>
    <propertydefinition><namespace name="N"/><name>P</name>
      <type><structure>Single</structure><value_type>%s</value_type></type>
      <default_value>%s</default_value></propertydefinition>
    <propertynamespace><name>N</name></propertynamespace></tarnlibrary>)";
  char xml[512];
  std::snprintf(xml, sizeof xml, kDefinition, "Double", "{not json");
  EXPECT_THROW(importText(*library, xml), ReadError);
  std::snprintf(xml, sizeof xml, kDefinition, "Point2d", "{&quot;x&quot;:1}");
  try {
    importText(*library, xml);
    ADD_FAILURE() << "no KeyError";
  } catch (const KeyError& e) {
    EXPECT_STREQ(e.what(), L"no key \"y\" in json::wmObject");
  }
  EXPECT_EQ(library->count<Tag>(), 0u);
  EXPECT_EQ(library->count<PropertyNamespace>(), 0u);
  std::snprintf(xml, sizeof xml, kDefinition, "Point2d", "{&quot;x&quot;:1,&quot;y&quot;:2}");
  EXPECT_EQ(importText(*library, xml).size(), 0u);
  EXPECT_EQ(library->count<PropertyDefinition>(), 1u);
}

TEST_F(LibraryTest, ImportOfChosenTypesSkipsTheOthersSilently) {
  const std::set<ObjectType> materials{ObjectType::Material};
  const auto messages = importText(
      *library, "<tarnlibrary><material><name>M</name></material><materialtype>T</materialtype></tarnlibrary>",
      &materials);
  EXPECT_EQ(messages.size(), 0u);
  EXPECT_EQ(library->count<Material>(), 1u);
  EXPECT_FALSE(library->exists<MaterialType>(NameKey(L"T")));
  // A document with only its meta imports nothing and says nothing.
  EXPECT_EQ(importText(*library, "<tarnlibrary><meta><unit>Inch</unit></meta></tarnlibrary>").size(), 0u);
}

TEST_F(LibraryTest, HostileDocumentsGiveMessagesNotCrashesOrHalfSavedObjects) {
  std::string deep = "<tarnlibrary><material><name>Deep</name><description>";
  for (int i = 0; i < 10000; ++i) deep += "<x>";
  for (int i = 0; i < 10000; ++i) deep += "</x>";
  deep += "</description></material>";
  deep += "<material><name>" + std::string(10 << 20, 'a') + "</name></material>";
  deep += "<material><name xsi:nil=\"true\"/><type xsi:nil=\"true\"/><density xsi:nil=\"true\"/></material>";
  deep += "<composition><name>C</name><ply><Ply><material name=\"Nowhere\"/></Ply></ply></composition>";
  deep += "<composition><name>D</name><first_core_ply>99999999999</first_core_ply></composition>";
  deep += "<measure><name>M</name><length>40000</length></measure>";
  deep += "<ishapeprofile><profilename name=\"X\"/></ishapeprofile>";
  deep += "<unit><label>u</label></unit>";
  deep += "</tarnlibrary>";
  const auto messages = importText(*library, deep);
  EXPECT_EQ(messages.size(), 11u);  // the profile lacks four dimensions, the unit its scale and measure
  EXPECT_EQ(library->count<Material>(), 2u);  // "Deep" (its text is empty) and the long name
  EXPECT_EQ(library->count<Composition>(), 0u);
  EXPECT_EQ(library->count<Measure>(), 0u);
  EXPECT_EQ(library->count<Profile>(), 0u);
  EXPECT_EQ(library->count<Unit>(), 0u);
}

// Damaged copies of a full document (values, names, nesting, references and
// nil marks changed at random): the import ends with messages or one of its
// two exceptions, and what it kept exports again.
TEST_F(LibraryTest, MutatedDocumentsNeverCrashTheImport) {
  fillEveryType(*library);
  pugi::xml_document original;
  ASSERT_TRUE(original.load_string(exported(*library).c_str()));
  const char* const values[] = {"", "nan", "-1", "1e999", "99999999999", "abc", "true", "\xff\xfe",
                                "&<>", "0", "{\"x\":", "\xed\xa0\x80"};
  std::mt19937 random(20261123);
  for (int round = 0; round < 120; ++round) {
    pugi::xml_document doc;
    doc.reset(original);
    std::vector<pugi::xml_node> nodes;
    for (const pugi::xpath_node& n : doc.select_nodes("//*")) nodes.push_back(n.node());
    for (int edit = 0; edit < 1 + round % 5; ++edit) {
      pugi::xml_node node = nodes[random() % nodes.size()];
      if (!node.parent() || node == doc.document_element()) continue;
      const char* value = values[random() % (sizeof values / sizeof *values)];
      switch (random() % 5) {
        case 0: node.text().set(value); break;
        case 1: node.append_attribute("xsi:nil").set_value("true"); break;
        case 2: node.attribute("name") ? node.attribute("name").set_value(value)
                                       : node.append_attribute("id").set_value(value); break;
        case 3: nodes[random() % nodes.size()].append_copy(node); break;
        default: node.set_name(nodes[random() % nodes.size()].name()); break;
      }
    }
    auto target = Library::create(dir.odFile("mutated" + std::to_string(round)), LibraryUnit::Millimeter);
    pugi::xml_node root = doc.document_element();
    try {
      target->importFromXml(root, Library::ImportOptions());
    } catch (const ReadError&) {
    } catch (const KeyError&) {
    } catch (const Exception& e) {
      ADD_FAILURE() << "round " << round << ": " << OdString(e.what()).toUtf8();
    }
    EXPECT_FALSE(exported(*target).empty());
  }
}

TEST_F(LibraryTest, ImportIntoAReadOnlyLibraryThrowsBeforeReading) {
  library.reset();
  auto readOnly = Library::open(dir.odFile("lib"), true);
  ASSERT_TRUE(readOnly);
  EXPECT_THROW(importText(*readOnly, "<tarnlibrary><tag>t</tag></tarnlibrary>"), LibraryReadOnly);
}

TEST(MessageHandlerStream, DeliversTheCollectedTextOnceAndNothingWithoutAHandler) {
  std::vector<std::pair<int, OdString>> got;
  MessageHandler handler = [&](int severity, const OdString& text, std::ptrdiff_t offset) {
    got.emplace_back(severity, text);
    EXPECT_EQ(offset, 42);
  };
  { MessageHandlerStream(3, handler, 42) << L"Missing '" << OdString(L"name") << L"' property"; }
  { MessageHandlerStream(3, MessageHandler(), 42) << L"dropped"; }
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].second, OdString(L"Missing 'name' property"));
  UnresolvedReference byName{nullptr, ObjectType::PropertyDefinition, 0, L"Width", L"Pset"};
  EXPECT_EQ(byName.describe(), OdString(L"name 'Width' and namespace 'Pset'"));
}

}  // namespace
}  // namespace tarnlib
