// Property namespaces, entity types, definitions and property sets: the type
// factories, typed default values, the ordered lists of a set as stored, the
// display-only rule of labels and IFC names, keys, criteria and the query.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/catalogue.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/property.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using T = PropertyType;

TEST(PropertyTypes, FactoriesAndTheirTwinsFillTheThreeFields) {
  auto fields = [](const PropertyType& t) {
    return std::to_string(static_cast<int>(t.structure)) + "/" + std::to_string(t.value_type) + "/" +
           std::to_string(t.key_type);
  };
  EXPECT_EQ(fields(PropertyType()), "0/0/0");
  EXPECT_EQ(fields(T::Undefined()), "0/0/0");
  EXPECT_EQ(fields(T::Single(T::Double)), "1/10/0");
  EXPECT_EQ(fields(T::Array(T::Int32)), "2/6/0");
  EXPECT_EQ(fields(T::Map(T::Int32, T::Double)), "3/10/6");
  EXPECT_EQ(T::Struct(), T::Array(T::Any));
  EXPECT_EQ(fields(T::Dictionary(T::String)), "3/0/11");
  PropertyType t = T::Map(T::Int8, T::Bool);
  t.setSingle(T::Binary);
  EXPECT_EQ(fields(t), "1/18/0");
  t.setDictionary(T::UInt64);
  EXPECT_EQ(t, T::Dictionary(T::UInt64));
  t.setUndefined();
  EXPECT_EQ(t, PropertyType());
  EXPECT_EQ(OdString(propertyTypeName(T::Point3d)), OdString(L"Point3d"));
  EXPECT_EQ(propertyTypeName(static_cast<T::Type>(19)), nullptr);
}

class PropertyTest : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    ns = PropertyNamespace::create(L"Common", L"Common sets");
  }
  TnSmartPtr<PropertyNamespace> ns;
};

TEST_F(PropertyTest, TypedDefaults_ReadOnlyTheirKind_NeverThrow) {
  auto d = PropertyDefinition::create(ns, L"p", T::Single(T::Double));
  struct Case {
    const char* text;
    const char* asBool;
    const char* asInt;
    const char* asDouble;
  };
  // "-" means refused; `out` then keeps its sentinel.
  const Case cases[] = {
      {"true", "1", "-", "-"},          {"2.5", "-", "-", "2.500000"},
      {"3", "-", "3", "3.000000"},      {"-7", "-", "-7", "-7.000000"},
      {"18446744073709551615", "-", "-", "18446744073709551616.000000"},
      {"2147483648", "-", "-", "2147483648.000000"},
      {"\"3\"", "-", "-", "-"},         {"not json", "-", "-", "-"},
      {"", "-", "-", "-"},              {"[1]", "-", "-", "-"},
      {"null", "-", "-", "-"},          {"1e400", "-", "-", "-"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    d->set_default_value(OdString(c.text));
    bool b = false;
    int i = 99;
    double x = -1;
    EXPECT_EQ(d->default_value(b) ? std::to_string(b) : "-", c.asBool);
    EXPECT_EQ(d->default_value(i) ? std::to_string(i) : "-", c.asInt);
    EXPECT_EQ(d->default_value(x) ? std::to_string(x) : "-", c.asDouble);
    OdString text;
    EXPECT_TRUE(d->default_value(text));
    EXPECT_EQ(text, OdString(c.text));
  }
}

TEST_F(PropertyTest, TypedDefaults_DoublesRoundTripAndAnEqualTextStaysClean) {
  auto d = store(PropertyDefinition::create(ns, L"p", T::Single(T::Double)));
  for (double v : {1e-300, std::numeric_limits<double>::max(), -0.0, 0.1, 1.0 / 3, -2.5e-8, 5e-324}) {
    d->set_default_value(v);
    store(d);
    double back = 0;
    ASSERT_TRUE(library->get<PropertyDefinition>(d->id())->default_value(back)) << v;
    EXPECT_EQ(back, v);
    EXPECT_EQ(std::signbit(back), std::signbit(v));
  }
  d->set_default_value(true);
  EXPECT_EQ(d->default_value(), OdString(L"true"));
  store(d);
  d->set_default_value(true);
  EXPECT_FALSE(d->isDirty());
  d->set_default_value(42);
  EXPECT_EQ(d->default_value(), OdString(L"42"));
  d->set_default_value(OdString(L"{\"x\": [1, 2]}"));
  EXPECT_EQ(d->default_value(), OdString(L"{\"x\": [1, 2]}"));
  double number = 7;
  EXPECT_FALSE(d->default_value(number));  // an object is not a number
  EXPECT_EQ(number, 7);
}

TEST_F(PropertyTest, Definitions_StoredPolymorphic_RawRowIsASingleString_NamespaceRequired) {
  auto p = store(PropertyDefinition::create(ns, L"ThermalTransmittance", T::Single(T::Double)));
  auto v = store(ValueDefinition::create(ns, L"Status"));
  EXPECT_EQ(library->get<AbstractDefinition>(p->id())->tarnlibType(), ObjectType::PropertyDefinition);
  EXPECT_EQ(library->get<AbstractDefinition>(v->id())->tarnlibType(), ObjectType::ValueDefinition);
  EXPECT_EQ(library->get<AbstractDefinition>(DefinitionKey(L"Status", ns->id()))->id(), v->id());
  EXPECT_FALSE(library->get<PropertyDefinition>(DefinitionKey(L"Status", ns->id())));

  raw().exec("INSERT INTO tarnlib_AbstractDefinition (typeid, namespace_id, name) VALUES "
             "('tarnlib::PropertyDefinition', " + std::to_string(ns->id()) + ", 'Raw');"
             "INSERT INTO tarnlib_PropertyDefinition (id) VALUES (last_insert_rowid())");
  auto rawDef = library->get<PropertyDefinition>(DefinitionKey(L"Raw", ns->id()));
  ASSERT_TRUE(rawDef);
  EXPECT_EQ(rawDef->type(), T::Single(T::String));
  EXPECT_TRUE(rawDef->visible());
  EXPECT_TRUE(rawDef->default_value().isEmpty());

  const std::string before = text(true);
  EXPECT_THROW(library->save<PropertyDefinition>(PropertyDefinition::create(TnSmartPtr<const PropertyNamespace>(), L"x")),
               NullPointer);
  EXPECT_EQ(text(true), before);

  AbstractDefinitionCriteria c;
  c.ns.equals(L"Common");
  c.name.startsWith(L"T");
  EXPECT_EQ(library->count<AbstractDefinition>(c), 1u);
  c.name.anything();
  c.label.unset();
  EXPECT_EQ(library->count<AbstractDefinition>(c), 3u);
  EXPECT_EQ(library->count<ValueDefinition>(c), 1u);
}

TEST_F(PropertyTest, SetLists_StoredWithTheirIndexAndReadBackInOrder) {
  auto set = PropertySet::create(ns, L"Pset_WallCommon");
  set->set_ifc_name(L"Pset_WallCommon");
  for (const wchar_t* name : {L"IsExternal", L"LoadBearing", L"FireRating"})
    ASSERT_TRUE(set->append_property_definition(name, T::Single(T::Bool)));
  ASSERT_TRUE(set->insert_value_definition(1, L"Status", T::Single(T::String)));
  EXPECT_FALSE(set->append_property_definition(L"FireRating", T::Single(T::String)));
  EXPECT_FALSE(set->insert_property_definition(9, L"Late", T::Single(T::String)));
  EXPECT_TRUE(set->insert_entity_type(L"IfcWall"));
  EXPECT_TRUE(set->insert_entity_type(L"IfcCurtainWall"));
  EXPECT_FALSE(set->insert_entity_type(L"IfcWall"));
  store(set);

  auto order = [](const PropertySet& s) {
    std::string out;
    for (const auto& d : s.definitions()) out += d->name().toUtf8() + " ";
    for (const auto& e : s.entity_types()) out += "@" + e->name().toUtf8() + " ";
    return out;
  };
  EXPECT_EQ(order(*library->get<PropertySet>(set->id())), "IsExternal Status LoadBearing FireRating @IfcWall @IfcCurtainWall ");

  // Swaps: of all, and among the property definitions only; past the end: false.
  EXPECT_TRUE(set->swap_definitions(0, 3));
  EXPECT_TRUE(set->swap_property_definitions(0, 2));  // FireRating <-> IsExternal again, skipping Status
  EXPECT_FALSE(set->swap_value_definitions(0, 1));
  EXPECT_FALSE(set->swap_definitions(0, 4));
  EXPECT_EQ(set->remove_definition(7), 4u);
  EXPECT_EQ(set->remove_definition(1), 1u);
  EXPECT_TRUE(set->remove_definition(L"LoadBearing"));
  EXPECT_FALSE(set->remove_definition(L"LoadBearing"));
  EXPECT_EQ(set->remove_entity_type(0), 0u);
  store(set);
  EXPECT_EQ(order(*library->get<PropertySet>(set->id())), "IsExternal FireRating @IfcCurtainWall ");
  EXPECT_EQ(raw().value("SELECT group_concat(\"index\" || ':' || abstract_definition_id, ' ') FROM "
                        "(SELECT * FROM tarnlib_PropertySet_definitions ORDER BY \"index\")"),
            "0:" + std::to_string(set->definitions()[0]->id()) + " 1:" + std::to_string(set->definitions()[1]->id()));
  EXPECT_EQ(set->property_definitions().size(), 2u);
  EXPECT_TRUE(set->value_definitions().empty());

  // The definitions taken out of the set are still stored; removing one that a
  // set lists is refused.
  auto status = library->get<ValueDefinition>(DefinitionKey(L"Status", ns->id()));
  ASSERT_TRUE(status);
  auto listed = library->get<PropertyDefinition>(DefinitionKey(L"FireRating", ns->id()));
  EXPECT_EQ(library->remove<PropertyDefinition>(listed), Library::RemoveResult::kReferenced);
}

TEST_F(PropertyTest, Equality_LabelsAndIfcNamesByPresenceOnly) {
  auto a = PropertyNamespace::create(L"N", L"one");
  auto b = PropertyNamespace::create(L"N", L"two");
  EXPECT_TRUE(*a == *b);
  b->clear_label();
  EXPECT_FALSE(*a == *b);

  auto s1 = PropertySet::create(ns, L"S");
  auto s2 = PropertySet::create(ns, L"S");
  s1->set_label(L"Wall");
  s2->set_label(L"Mur");
  s1->set_ifc_name(L"Pset_A");
  s2->set_ifc_name(L"Pset_B");
  s1->insert_entity_type(L"IfcWall");
  s2->insert_entity_type(EntityType::create(L"IfcWall"));
  auto d1 = s1->append_property_definition(L"Width", T::Single(T::Double));
  auto d2 = s2->append_property_definition(L"Width", T::Single(T::Double));
  d1->set_label(L"Breite");
  d2->set_label(L"Largeur");
  EXPECT_TRUE(*s1 == *s2);
  d2->set_default_value(1.5);
  EXPECT_FALSE(*s1 == *s2);
  d2->set_default_value(OdString());
  s2->clear_ifc_name();
  EXPECT_FALSE(*s1 == *s2);
}

TEST_F(PropertyTest, Criteria_AndTheByNameQuery_InOneStatement) {
  auto wall = PropertySet::create(ns, L"Pset_WallCommon");
  wall->insert_entity_type(L"IfcWall");
  auto u = wall->append_property_definition(L"ThermalTransmittance", T::Single(T::Double));
  u->set_unit(Unit::create(L"W/(m^2.K)", 1.0, Measure::create(L"ThermalTransmittance", 0, 1, -3, -1, 0, 0, 0)));
  wall->append_property_definition(L"IsExternal", T::Single(T::Bool));
  store(wall);
  auto slab = PropertySet::create(ns, L"Pset_SlabCommon");
  slab->insert_entity_type(L"IfcSlab");
  slab->append_definition(TnSmartPtr<const AbstractDefinition>(u.get()));
  store(slab);

  PropertySetCriteria c;
  c.entity_type.equals(L"IfcSlab");
  EXPECT_EQ(loaded<PropertySet>(c), "Pset_SlabCommon");
  c.entity_type.anything();
  c.ns.equals(L"Common");
  c.ifc_name.unset();
  EXPECT_EQ(library->count<PropertySet>(c), 2u);

  Transaction transaction(library, Transaction::kBeginCurrent);
  testing::StatementCounter statements(transaction);
  std::vector<PropertySetDefinitionQueryByName::Row> rows;
  PropertySetDefinitionQueryByName query;
  query.definition_name.equals(L"ThermalTransmittance");
  library->get<PropertySetDefinitionQueryByName>(rows, query);
  EXPECT_EQ(statements.take(), 1);
  std::string text;
  for (const auto& r : rows)
    text += r.ns.toUtf8() + "/" + r.set_name.toUtf8() + "/" + std::to_string(r.position) + "/" +
            r.definition_name.toUtf8() + "/" + r.unit_label.toUtf8() + " ";
  EXPECT_EQ(text, "Common/Pset_SlabCommon/0/ThermalTransmittance/W/(m^2.K) "
                  "Common/Pset_WallCommon/0/ThermalTransmittance/W/(m^2.K) ");
}

}  // namespace
}  // namespace tarnlib
