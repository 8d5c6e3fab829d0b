// The sample property sets, data/property_sets.json: sets refer to listed
// namespaces and entity types, properties have types the library knows, units
// of data/units.json and defaults of their declared kind, and a property name
// stands for one definition throughout its namespace, as the library stores it.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/sample_data.h"

#include "tarnlib/property.h"

namespace tarnlib {
namespace {

using nlohmann::json;
using testing::kSampleDir;
using testing::readSample;

const json& propertySets() {
  static const json file = readSample("property_sets.json");
  return file;
}

// The value types by the names the library gives them ("Bool", "Double").
const std::map<std::string, PropertyType::Type>& valueTypes() {
  static const std::map<std::string, PropertyType::Type> all = [] {
    std::map<std::string, PropertyType::Type> out;
    for (std::uint32_t i = 0;; ++i) {
      const wchar_t* name = propertyTypeName(static_cast<PropertyType::Type>(i));
      if (!name) break;
      out[OdString(name).toUtf8()] = static_cast<PropertyType::Type>(i);
    }
    return out;
  }();
  return all;
}

std::set<std::string> structureNames() {
  std::set<std::string> out;
  for (auto s : {PropertyType::Structure::Single, PropertyType::Structure::Array, PropertyType::Structure::Map})
    out.insert(OdString(propertyStructureName(s)).toUtf8());
  return out;
}

bool isNumeric(const std::string& type) {
  return type == "Double" || type.rfind("Int", 0) == 0 || type.rfind("UInt", 0) == 0;
}

// Whether one JSON value is a value of `type`; false for a type no default is
// written for (handles, points, binary data).
bool fitsType(const json& v, const std::string& type) {
  if (type == "Bool") return v.is_boolean();
  if (type == "Double") return v.is_number();
  if (type == "String") return v.is_string();
  const std::map<std::string, std::pair<std::int64_t, std::uint64_t>> ranges = {
      {"Int8", {INT8_MIN, INT8_MAX}},    {"UInt8", {0, UINT8_MAX}},   {"Int16", {INT16_MIN, INT16_MAX}},
      {"UInt16", {0, UINT16_MAX}},       {"Int32", {INT32_MIN, INT32_MAX}}, {"UInt32", {0, UINT32_MAX}},
      {"Int64", {INT64_MIN, INT64_MAX}}, {"UInt64", {0, UINT64_MAX}}};
  auto range = ranges.find(type);
  if (range == ranges.end() || !v.is_number_integer()) return false;
  if (v.is_number_unsigned()) return v.get<std::uint64_t>() <= range->second.second;
  return v.get<std::int64_t>() >= range->second.first;
}

// The measures of data/units.json that have a unit of each label.
std::map<std::string, std::set<std::string>> measuresByLabel() {
  std::map<std::string, std::set<std::string>> out;
  const json units = readSample("units.json");
  for (const json& m : units.at("measures"))
    for (const json& u : m.at("units"))
      out[u.at("label").get<std::string>()].insert(m.at("name").get<std::string>());
  return out;
}

void expectOnlyKeys(const json& object, const std::set<std::string>& allowed, const std::string& what) {
  for (auto it = object.begin(); it != object.end(); ++it)
    EXPECT_EQ(allowed.count(it.key()), 1u) << what << ": unknown key \"" << it.key() << "\"";
}

TEST(SamplePropertySets, SetsReferToListedNamespacesAndEntityTypes) {
  std::set<std::string> namespaces, labels;
  for (const json& ns : propertySets().at("namespaces")) {
    expectOnlyKeys(ns, {"name", "label"}, "namespace");
    EXPECT_TRUE(namespaces.insert(ns.at("name").get<std::string>()).second) << "namespace twice: " << ns["name"];
    if (ns.contains("label")) {
      EXPECT_TRUE(labels.insert(ns["label"].get<std::string>()).second) << "namespace label twice: " << ns["label"];
    }
  }
  std::set<std::string> entityTypes;
  for (const json& e : propertySets().at("entity_types"))
    EXPECT_TRUE(entityTypes.insert(e.get<std::string>()).second) << "entity type twice: " << e;

  std::set<std::pair<std::string, std::string>> sets;
  std::set<std::string> used;
  for (const json& s : propertySets().at("sets")) {
    const std::string name = s.at("name").get<std::string>();
    SCOPED_TRACE(name);
    expectOnlyKeys(s, {"name", "namespace", "ifc_name", "entity_types", "per_instance", "properties"}, name);
    const std::string ns = s.at("namespace").get<std::string>();
    EXPECT_EQ(namespaces.count(ns), 1u) << "namespace not listed: " << ns;
    EXPECT_TRUE(sets.emplace(ns, name).second) << "set twice in its namespace";
    if (s.contains("ifc_name")) {
      EXPECT_TRUE(s["ifc_name"].is_string() && !s["ifc_name"].get<std::string>().empty()) << s["ifc_name"];
    }
    if (s.contains("per_instance")) {
      EXPECT_TRUE(s["per_instance"].is_boolean()) << s["per_instance"];
    }
    std::set<std::string> own;
    EXPECT_FALSE(s.at("entity_types").empty());
    for (const json& e : s["entity_types"]) {
      const std::string type = e.get<std::string>();
      EXPECT_EQ(entityTypes.count(type), 1u) << "entity type not listed: " << type;
      EXPECT_TRUE(own.insert(type).second) << "entity type twice in the set: " << type;
      used.insert(type);
    }
    std::set<std::string> properties;
    EXPECT_FALSE(s.at("properties").empty());
    for (const json& p : s["properties"])
      EXPECT_TRUE(properties.insert(p.at("name").get<std::string>()).second) << "property twice: " << p["name"];
  }
  for (const std::string& e : entityTypes) EXPECT_EQ(used.count(e), 1u) << "no set applies to " << e;
  EXPECT_GE(sets.size(), 10u);
}

TEST(SamplePropertySets, PropertiesHaveKnownTypesUnitsOfNumbersAndDefaultsOfTheirKind) {
  const auto labels = measuresByLabel();
  const std::set<std::string> structures = structureNames();
  auto ns = PropertyNamespace::create(OdString("sample"));
  std::size_t defaults = 0;
  for (const json& s : propertySets().at("sets")) {
    for (const json& p : s.at("properties")) {
      const std::string where = s.at("name").get<std::string>() + " / " + p.at("name").get<std::string>();
      SCOPED_TRACE(where);
      expectOnlyKeys(p, {"name", "type", "structure", "key", "unit", "measure", "default", "description"}, where);
      if (p.contains("description")) {
        EXPECT_TRUE(p["description"].is_string()) << p["description"];
      }
      const std::string type = p.at("type").get<std::string>();
      ASSERT_EQ(valueTypes().count(type), 1u) << "unknown value type " << type;
      const std::string structure = p.value("structure", "Single");
      ASSERT_EQ(structures.count(structure), 1u) << "unknown structure " << structure;
      EXPECT_EQ(p.contains("key"), structure == "Map") << "a key type is for maps, and maps need one";
      if (p.contains("key")) {
        EXPECT_EQ(valueTypes().count(p["key"].get<std::string>()), 1u) << "unknown key type " << p["key"];
      }

      if (p.contains("unit")) {
        EXPECT_TRUE(isNumeric(type)) << "a unit on a " << type << " value";
        const std::string label = p["unit"].get<std::string>();
        auto found = labels.find(label);
        if (found == labels.end()) {
          ADD_FAILURE() << "no unit " << label << " in units.json";
        } else if (p.contains("measure")) {
          EXPECT_EQ(found->second.count(p["measure"].get<std::string>()), 1u)
              << label << " is not a unit of " << p["measure"];
        } else {
          EXPECT_EQ(found->second.size(), 1u) << label << " belongs to several measures: name the measure";
        }
      } else {
        EXPECT_FALSE(p.contains("measure")) << "a measure without a unit";
      }

      if (!p.contains("default")) continue;
      ++defaults;
      const json& v = p["default"];
      if (structure == "Single") {
        EXPECT_TRUE(fitsType(v, type)) << "default " << v << " is not a " << type;
      } else if (structure == "Array") {
        EXPECT_TRUE(v.is_array()) << "default " << v << " is not an array";
        for (const json& x : v) EXPECT_TRUE(fitsType(x, type)) << "element " << x << " is not a " << type;
      } else {
        EXPECT_TRUE(v.is_object()) << "default " << v << " is not a map";
        for (const json& x : v) EXPECT_TRUE(fitsType(x, type)) << "value " << x << " is not a " << type;
      }

      // And the library reads the stored text back as that kind.
      if (structure != "Single") continue;
      auto definition = PropertyDefinition::create(ns, OdString(p["name"].get<std::string>()),
                                                   PropertyType::Single(valueTypes().at(type)));
      definition->set_default_value(OdString(v.dump()));
      bool b = false;
      int i = 0;
      double d = 0;
      if (type == "Bool") {
        EXPECT_TRUE(definition->default_value(b)) << v;
      } else if (type == "Int32") {
        EXPECT_TRUE(definition->default_value(i)) << v;
      } else if (type == "Double") {
        EXPECT_TRUE(definition->default_value(d)) << v;
      }
    }
  }
  EXPECT_GT(defaults, 0u);
}

// The library keeps one definition per name in a namespace, and every set of
// the namespace lists that one: a property repeated with another type, unit,
// default or description would lose its difference when loaded.
TEST(SamplePropertySets, ANameMeansOneDefinitionThroughoutItsNamespace) {
  struct First {
    std::string set;
    json property;
  };
  std::map<std::pair<std::string, std::string>, First> definitions;
  std::size_t shared = 0;
  for (const json& s : propertySets().at("sets")) {
    const std::string set = s.at("name").get<std::string>();
    const std::string ns = s.at("namespace").get<std::string>();
    for (json p : s.at("properties")) {
      if (!p.contains("structure")) p["structure"] = "Single";
      const std::string name = p.at("name").get<std::string>();
      auto [it, inserted] = definitions.emplace(std::make_pair(ns, name), First{set, p});
      if (inserted) continue;
      ++shared;
      EXPECT_EQ(p, it->second.property) << ns << " / " << name << ": " << set << " differs from "
                                        << it->second.set << "\n  " << p.dump() << "\n  "
                                        << it->second.property.dump();
    }
  }
  EXPECT_GT(shared, 0u);
}

}  // namespace
}  // namespace tarnlib
