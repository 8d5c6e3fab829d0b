#include "demo_properties.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "describe.h"

namespace tarn {

using nlohmann::json;
using tarnlib::PropertyType;
using tarnlib::TnSmartPtr;

namespace {

const char* const kExponents =
    "\"exponents\" needs 7 whole numbers: the powers of length, mass, time, temperature, current, luminous "
    "intensity and amount of substance";

std::string quote(const std::string& text) { return "\"" + text + "\""; }

std::string joined(const std::vector<std::string>& names) {
  std::string out;
  for (const std::string& name : names) out += (out.empty() ? "" : ", ") + name;
  return out;
}

}  // namespace

TnSmartPtr<const tarnlib::Unit> SampleUnits::find(const Reader& r, const std::string& label,
                                                  const std::string& measure,
                                                  const std::string& where) const {
  if (!measure.empty()) {
    auto m = units_.find(measure);
    if (m == units_.end()) r.fail(where, "unknown measure " + quote(measure));
    auto u = m->second.find(label);
    if (u == m->second.end()) r.fail(where, "the measure " + quote(measure) + " has no unit " + quote(label));
    return u->second;
  }
  std::vector<std::string> measures;
  TnSmartPtr<const tarnlib::Unit> found;
  for (const auto& [name, byLabel] : units_) {
    auto u = byLabel.find(label);
    if (u == byLabel.end()) continue;
    measures.push_back(name);
    found = u->second;
  }
  if (measures.empty()) r.fail(where, "unknown unit " + quote(label));
  if (measures.size() > 1)
    r.fail(where, "the unit " + quote(label) + " belongs to several measures (" + joined(measures) +
                      "); give its \"measure\"");
  return found;
}

SampleUnits loadUnits(tarnlib::Library& library, const Reader& r) {
  SampleUnits out;
  std::set<std::string> unitNames;  // unique in the library, so in the file
  const json& measures = r.array(r.root(), "measures", "top level");
  for (std::size_t i = 0; i < measures.size(); ++i) {
    const json& m = measures[i];
    const std::string where = at("measures", i, m);
    const std::string name = r.text(m, "name", where);
    if (out.units_.count(name)) r.fail(where, "the measure is given twice");
    const json& exponents = r.array(m, "exponents", where);
    short e[7] = {};
    if (exponents.size() != 7) r.fail(where, kExponents);
    for (std::size_t k = 0; k < 7; ++k) {
      if (!exponents[k].is_number_integer() || exponents[k].get<std::int64_t>() < -99 ||
          exponents[k].get<std::int64_t>() > 99)
        r.fail(where, kExponents);
      e[k] = static_cast<short>(exponents[k].get<std::int64_t>());
    }
    auto measure = tarnlib::Measure::create(wide(name), e[0], e[1], e[2], e[3], e[4], e[5], e[6]);
    measure->set_description(wide(r.optionalText(m, "description", where)));
    TnSmartPtr<const tarnlib::Measure> saved = library.save<tarnlib::Measure>(measure);
    auto& byLabel = out.units_[name];

    const json& units = r.array(m, "units", where);
    for (std::size_t j = 0; j < units.size(); ++j) {
      const json& u = units[j];
      std::string unitWhere = where + ".units[" + std::to_string(j) + "]";
      const std::string label = r.text(u, "label", unitWhere);
      unitWhere += " (" + quote(label) + ")";
      const std::string unitName = r.optionalText(u, "name", unitWhere);
      const double scale = r.number(u.value("scale", json()), unitWhere + ".scale");
      // The library refuses such a scale too, but would name the catalogue.
      if (!(scale > 0) || !std::isfinite(scale)) r.fail(unitWhere + ".scale", "needs a positive number");
      if (byLabel.count(label)) r.fail(unitWhere, "the label is given twice in its measure");
      // A second unit of a name would be bound to the first one's row.
      if (!unitName.empty() && !unitNames.insert(unitName).second)
        r.fail(unitWhere, "the unit name " + quote(unitName) + " is given twice");
      auto unit = unitName.empty() ? tarnlib::Unit::create(wide(label), scale, saved)
                                   : tarnlib::Unit::create(wide(unitName), wide(label), scale, saved);
      byLabel[label] = library.save<tarnlib::Unit>(unit);
    }
    if (m.contains("default")) {
      const std::string label = r.text(m, "default", where);
      auto unit = byLabel.find(label);
      if (unit == byLabel.end()) r.fail(where, "the default " + quote(label) + " is not one of its units");
      library.setDefaultUnit(unit->second);
    }
  }

  const json& columns = r.array(r.root(), "columns", "top level");
  std::set<std::pair<std::string, std::string>> seen;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const json& c = columns[i];
    std::string where = "columns[" + std::to_string(i) + "]";
    const std::string table = r.text(c, "table", where);
    const std::string column = r.text(c, "column", where);
    where += " (" + quote(table + "." + column) + ")";
    if (!seen.insert({table, column}).second) r.fail(where, "the column is given twice");
    const auto unit = out.find(r, r.text(c, "unit", where), r.text(c, "measure", where), where);
    library.setColumnUnit(wide(table), wide(column), unit);
  }
  return out;
}

namespace {

PropertyType::Type valueTypeNamed(const Reader& r, const std::string& name, const std::string& where) {
  std::vector<std::string> names;
  for (std::uint32_t t = 0; tarnlib::propertyTypeName(static_cast<PropertyType::Type>(t)); ++t) {
    names.push_back(utf8(OdString(tarnlib::propertyTypeName(static_cast<PropertyType::Type>(t)))));
    if (names.back() == name) return static_cast<PropertyType::Type>(t);
  }
  r.fail(where, "unknown type " + quote(name) + "; the types are " + joined(names));
}

PropertyType typeOf(const Reader& r, const json& p, const std::string& where) {
  const PropertyType::Type value = valueTypeNamed(r, r.text(p, "type", where), where);
  const std::string structure = p.contains("structure") ? r.text(p, "structure", where) : "Single";
  const bool map = structure == "Map";
  if (p.contains("key") && !map) r.fail(where, "\"key\" is for a Map only");
  if (map) return PropertyType::Map(valueTypeNamed(r, r.text(p, "key", where), where), value);
  if (structure == "Single") return PropertyType::Single(value);
  if (structure == "Array") return PropertyType::Array(value);
  r.fail(where, "unknown structure " + quote(structure) + "; it is Single, Array or Map");
}

bool numeric(PropertyType::Type type) { return type >= PropertyType::Int8 && type <= PropertyType::Double; }

// Whether a JSON integer fits an integer type.
bool fits(const json& value, PropertyType::Type type) {
  struct Range {
    std::int64_t least;
    std::uint64_t most;
  };
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  static const std::map<PropertyType::Type, Range> ranges = {
      {PropertyType::Int8, {-128, 127}},
      {PropertyType::UInt8, {0, 255}},
      {PropertyType::Int16, {-32768, 32767}},
      {PropertyType::UInt16, {0, 65535}},
      {PropertyType::Int32, {-2147483648LL, 2147483647}},
      {PropertyType::UInt32, {0, 4294967295ULL}},
      {PropertyType::Int64, {kMin, static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())}},
      {PropertyType::UInt64, {0, std::numeric_limits<std::uint64_t>::max()}},
  };
  const Range& range = ranges.at(type);
  if (!value.is_number_integer()) return false;
  if (value.is_number_unsigned()) return value.get<std::uint64_t>() <= range.most;
  return value.get<std::int64_t>() >= range.least;  // negative here
}

// Whether a value is one of a type that JSON has a kind for: a boolean, a
// number, an integer in range, a text; any value for the other types.
bool ofValueType(const json& value, PropertyType::Type type) {
  switch (type) {
    case PropertyType::Bool:
      return value.is_boolean();
    case PropertyType::Double:
      return value.is_number();
    case PropertyType::String:
      return value.is_string();
    default:
      return !numeric(type) || fits(value, type);
  }
}

// Whether a default value is one of the type: an array of such values for an
// Array, an object of them for a Map, else one.
bool ofType(const json& value, const PropertyType& type) {
  auto each = [&](const json& values) {
    for (const json& v : values)
      if (!ofValueType(v, type.value_type)) return false;
    return true;
  };
  if (type.structure == PropertyType::Structure::Array) return value.is_array() && each(value);
  if (type.structure == PropertyType::Structure::Map) return value.is_object() && each(value);
  return ofValueType(value, type.value_type);
}

void setDefault(tarnlib::PropertyDefinition& definition, const json& value, const PropertyType& type) {
  const bool single = type.structure == PropertyType::Structure::Single;
  if (single && value.is_boolean()) {
    definition.set_default_value(value.get<bool>());
  } else if (single && type.value_type == PropertyType::Double) {
    definition.set_default_value(value.get<double>());
  } else if (single && value.is_number_integer() && fits(value, PropertyType::Int32)) {
    definition.set_default_value(static_cast<int>(value.get<std::int64_t>()));
  } else {
    definition.set_default_value(wide(value.dump()));
  }
}

// A definition made for a name, and the property that gave it first.
struct Definition {
  TnSmartPtr<tarnlib::PropertyDefinition> object;
  std::string firstWhere;  // the set that gave it first
};

class SetLoader {
 public:
  SetLoader(tarnlib::Library& library, const Reader& r, const SampleUnits& units)
      : library_(library), r_(r), units_(units) {}

  void load() {
    namespaces();
    entityTypes();
    const json& sets = r_.array(r_.root(), "sets", "top level");
    for (std::size_t i = 0; i < sets.size(); ++i) set(sets[i], at("sets", i, sets[i]));
  }

 private:
  void namespaces() {
    const json& list = r_.array(r_.root(), "namespaces", "top level");
    std::set<std::string> labels;
    for (std::size_t i = 0; i < list.size(); ++i) {
      const std::string where = at("namespaces", i, list[i]);
      const std::string name = r_.text(list[i], "name", where);
      if (namespaces_.count(name)) r_.fail(where, "the namespace is given twice");
      auto ns = tarnlib::PropertyNamespace::create(wide(name));
      if (list[i].contains("label")) {
        const std::string label = r_.text(list[i], "label", where);
        if (!labels.insert(label).second) r_.fail(where, "the label " + quote(label) + " is given twice");
        ns->set_label(wide(label));
      }
      namespaces_[name] = library_.save<tarnlib::PropertyNamespace>(ns);
    }
  }

  void entityTypes() {
    for (const json& name : r_.array(r_.root(), "entity_types", "top level")) {
      if (!name.is_string()) r_.fail("entity_types", "holds a name that is not a text");
      const std::string text = name.get<std::string>();
      if (entityTypes_.count(text)) r_.fail("entity_types", quote(text) + " is given twice");
      entityTypes_[text] = library_.save<tarnlib::EntityType>(tarnlib::EntityType::create(wide(text)));
    }
  }

  void set(const json& s, const std::string& where) {
    const std::string name = r_.text(s, "name", where);
    const std::string nsName = r_.text(s, "namespace", where);
    const auto ns = named(r_, namespaces_, nsName, "namespace", where);
    if (!sets_.insert({nsName, name}).second) r_.fail(where, "the set is given twice in its namespace");
    auto set = tarnlib::PropertySet::create(ns, wide(name));
    if (s.contains("label")) set->set_label(wide(r_.text(s, "label", where)));
    if (s.contains("ifc_name")) set->set_ifc_name(wide(r_.text(s, "ifc_name", where)));
    set->set_per_instance(r_.flag(s, "per_instance", false, where));
    for (const json& type : r_.array(s, "entity_types", where)) {
      if (!type.is_string()) r_.fail(where, "\"entity_types\" holds a name that is not a text");
      const std::string text = type.get<std::string>();
      if (!set->insert_entity_type(named(r_, entityTypes_, text, "entity type", where)))
        r_.fail(where, "the entity type " + quote(text) + " is given twice");
    }
    const json& properties = r_.array(s, "properties", where);
    for (std::size_t i = 0; i < properties.size(); ++i) {
      const std::string propertyWhere = where + "." + at("properties", i, properties[i]);
      if (!set->append_definition(definition(properties[i], ns, nsName, propertyWhere)))
        r_.fail(propertyWhere, "the property is given twice in its set");
    }
    library_.save<tarnlib::PropertySet>(set);
  }

  // The definition a property of a set names: made the first time its name
  // appears in the namespace, the same one afterwards.
  TnSmartPtr<const tarnlib::PropertyDefinition> definition(const json& p,
                                                           const TnSmartPtr<tarnlib::PropertyNamespace>& ns,
                                                           const std::string& nsName,
                                                           const std::string& where) {
    const std::string name = r_.text(p, "name", where);
    const PropertyType type = typeOf(r_, p, where);
    TnSmartPtr<const tarnlib::Unit> unit;
    if (p.contains("unit")) {
      if (!numeric(type.value_type)) r_.fail(where, "a unit needs a number type");
      unit = units_.find(r_, r_.text(p, "unit", where), r_.optionalText(p, "measure", where), where);
    }
    auto made = tarnlib::PropertyDefinition::create(ns, wide(name), type);
    made->set_unit(unit);
    made->set_description(wide(r_.optionalText(p, "description", where)));
    if (p.contains("label")) made->set_label(wide(r_.text(p, "label", where)));
    auto value = p.find("default");
    if (value != p.end()) {
      if (!ofType(*value, type))
        r_.fail(where, "the default " + value->dump() + " is not of the type " + propertyTypeText(type));
      setDefault(*made, *value, type);
    }

    auto known = definitions_.find({nsName, name});
    if (known == definitions_.end()) {
      definitions_[{nsName, name}] = Definition{library_.save<tarnlib::PropertyDefinition>(made), where};
      return definitions_[{nsName, name}].object;
    }
    const tarnlib::PropertyDefinition& first = *known->second.object;
    const char* differs = first.type() != made->type()                     ? "type"
                          : first.unit() != made->unit()                   ? "unit"
                          : first.default_value() != made->default_value() ? "default"
                          : first.description() != made->description()     ? "description"
                          : first.label() != made->label() || first.has_label() != made->has_label()
                              ? "label"
                              : nullptr;
    if (differs)
      r_.fail(where, std::string("its ") + differs + " differs from " + known->second.firstWhere +
                         "; the sets of a namespace share one definition of a name");
    return known->second.object;
  }

  tarnlib::Library& library_;
  const Reader& r_;
  const SampleUnits& units_;
  std::map<std::string, TnSmartPtr<tarnlib::PropertyNamespace>> namespaces_;
  std::map<std::string, TnSmartPtr<tarnlib::EntityType>> entityTypes_;
  std::set<std::pair<std::string, std::string>> sets_;                     // namespace, name
  std::map<std::pair<std::string, std::string>, Definition> definitions_;  // namespace, name
};

}  // namespace

void loadPropertySets(tarnlib::Library& library, const Reader& r, const SampleUnits& units) {
  SetLoader(library, r, units).load();
}

}  // namespace tarn
