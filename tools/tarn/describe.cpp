#include "describe.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "common.h"
#include "shape_classes.h"
#include "types.h"

namespace tarn {

using tarnlib::ObjectType;

namespace {

template <class T>
Json nameOrNull(const tarnlib::TnSmartPtr<T>& object) {
  return object ? Json(utf8(object->name())) : Json(nullptr);
}

Json optional(bool present, double value) { return present ? Json(value) : Json(nullptr); }

Json optionalText(bool present, const OdString& value) { return present ? Json(utf8(value)) : Json(nullptr); }

Json unitLabel(const tarnlib::TnSmartPtr<const tarnlib::Unit>& unit) {
  return unit ? Json(utf8(unit->label())) : Json(nullptr);
}

// The unit labels of those of `columns` of `table` that the object's library
// records a unit for.
Json columnUnits(const tarnlib::Object& object, const std::string& table,
                 std::initializer_list<const char*> columns) {
  Json units = Json::object();
  const std::shared_ptr<tarnlib::Library> library = object.library();
  if (!library) return units;
  for (const char* column : columns) {
    const std::string label = columnUnitLabel(*library, table, column);
    if (!label.empty()) units[column] = label;
  }
  return units;
}

void assetFields(const tarnlib::Asset& asset, Json& record) {
  record["name"] = utf8(asset.name());
  record["description"] = utf8(asset.description());
}

template <class T>
Json tagNames(const T& carrier) {
  Json names = Json::array();
  for (const auto& tag : carrier.tags()) names.push_back(tag ? Json(utf8(tag->name())) : Json(nullptr));
  return names;
}

template <class T>
Json customValues(const T& carrier) {
  Json values = Json::object();
  for (const auto& [key, value] : carrier.custom_values()) values[utf8(key->name())] = utf8(value);
  return values;
}

std::string colorTypeName(tarnlib::Color::Type type) {
  switch (type) {
    case tarnlib::Color::Type::None:
      return "None";
    case tarnlib::Color::Type::ByLayer:
      return "ByLayer";
    case tarnlib::Color::Type::ByBlock:
      return "ByBlock";
    case tarnlib::Color::Type::ByColor:
      return "ByColor";
  }
  return std::to_string(static_cast<std::int32_t>(type));
}

std::string patternTypeName(tarnlib::Pattern::Type type) {
  switch (type) {
    case tarnlib::Pattern::Type::None:
      return "None";
    case tarnlib::Pattern::Type::UserDefined:
      return "UserDefined";
    case tarnlib::Pattern::Type::Predefined:
      return "Predefined";
    case tarnlib::Pattern::Type::Custom:
      return "Custom";
  }
  return std::to_string(static_cast<std::int32_t>(type));
}

Json pattern(const tarnlib::Pattern& p) {
  Json out;
  out["type"] = patternTypeName(p.type);
  out["name"] = utf8(p.name);
  out["scale"] = p.scale;
  out["angle"] = p.angle;
  out["cross"] = p.cross;
  out["annotative"] = p.annotative;
  Json color;
  color["type"] = colorTypeName(p.background_color.type);
  color["red"] = p.background_color.red;
  color["green"] = p.background_color.green;
  color["blue"] = p.background_color.blue;
  color["alpha"] = p.background_color.alpha;
  out["background_color"] = color;
  return out;
}

}  // namespace

Json describe(const tarnlib::Object& object) {
  Json record;
  record["class"] = typeName(object.tarnlibType());
  record["id"] = object.id();
  const TypeEntry* entry = typeOf(object.tarnlibType());
  if (entry && entry->fields) entry->fields(object, record);
  return record;
}

std::string nameOf(const tarnlib::Object& object) {
  const TypeEntry* entry = typeOf(object.tarnlibType());
  return entry && entry->label ? entry->label(object) : std::string();
}

void describeFields(const tarnlib::Tag& tag, Json& record) { record["name"] = utf8(tag.name()); }

void describeFields(const tarnlib::Layer& layer, Json& record) { record["name"] = utf8(layer.name()); }

void describeFields(const tarnlib::CustomProperty& property, Json& record) {
  record["name"] = utf8(property.name());
  ObjectType type = property.object_type();
  record["object_type"] = type == ObjectType{0} ? std::string("any") : typeName(type);
}

void describeFields(const tarnlib::InformationAsset& asset, Json& record) {
  assetFields(asset, record);
  record["label"] = utf8(asset.label());
  record["manufacturer"] = utf8(asset.manufacturer());
  record["mark"] = utf8(asset.mark());
  record["model"] = utf8(asset.model());
  record["classification"] = utf8(asset.classification());
  record["cost"] = utf8(asset.cost());
  record["keynote"] = utf8(asset.keynote());
  record["url"] = utf8(asset.url());
  record["unique_code"] = asset.has_unique_code() ? Json(utf8(asset.unique_code())) : Json(nullptr);
}

void describeFields(const tarnlib::PhysicalAsset& asset, Json& record) {
  assetFields(asset, record);
  record["density"] = optional(asset.has_density(), asset.density());
  record["specific_heat"] = optional(asset.has_specific_heat(), asset.specific_heat());
  record["thermal_conductivity"] = optional(asset.has_thermal_conductivity(), asset.thermal_conductivity());
  record["units"] =
      columnUnits(asset, "tarnlib_PhysicalAsset", {"density", "specific_heat", "thermal_conductivity"});
}

void describeFields(const tarnlib::BimAsset& asset, Json& record) {
  assetFields(asset, record);
  record["layer"] = nameOrNull(asset.layer());
  record["layer_elevation"] = nameOrNull(asset.layer_elevation());
  record["union_section"] = asset.union_section();
  record["union_elevation"] = asset.union_elevation();
  record["default_function"] = functionName(asset.default_function());
  record["variable_thickness"] = asset.variable_thickness();
  record["thicknesses"] = Json::array();
  for (double t : asset.thicknesses()) record["thicknesses"].push_back(t);
}

void describeFields(const tarnlib::MaterialType& type, Json& record) { record["name"] = utf8(type.name()); }

void describeFields(const tarnlib::Material& material, Json& record) {
  record["name"] = utf8(material.name());
  record["type"] = nameOrNull(material.type());
  record["description"] = utf8(material.description());
  record["comments"] = utf8(material.comments());
  record["appearance"] = utf8(material.appearance());
  record["tags"] = tagNames(material);
  record["cut_pattern"] = pattern(material.cut_pattern());
  record["surface_pattern"] = pattern(material.surface_pattern());
  record["information_asset"] = nameOrNull(material.information_asset());
  record["physical_asset"] = nameOrNull(material.physical_asset());
  record["bim_asset"] = nameOrNull(material.bim_asset());
  record["custom_values"] = customValues(material);
}

void describeFields(const tarnlib::CompositionType& type, Json& record) {
  record["name"] = utf8(type.name());
}

void describeFields(const tarnlib::Composition& composition, Json& record) {
  record["name"] = utf8(composition.name());
  record["type"] = compositionTypeName(composition.type());
  record["composition_type"] = nameOrNull(composition.composition_type());
  record["description"] = utf8(composition.description());
  record["comments"] = utf8(composition.comments());
  record["layer"] = nameOrNull(composition.layer());
  record["tags"] = tagNames(composition);
  Json plies = Json::array();
  for (const tarnlib::Composition::Ply& ply : composition.plies()) {
    Json p;
    p["material"] = nameOrNull(ply.material);
    p["function"] = functionName(ply.function);
    p["thickness"] = ply.thickness;
    plies.push_back(p);
  }
  record["plies"] = plies;
  record["first_core_ply"] = composition.first_core_ply();
  record["last_core_ply"] = composition.last_core_ply();
  record["structural_ply"] = composition.structural_ply();
  record["variable_ply"] = composition.has_variable_ply() ? Json(composition.variable_ply()) : Json(nullptr);
  record["variable_ply_min_thickness"] = composition.variable_ply_min_thickness();
  record["variable_ply_max_thickness"] =
      optional(composition.has_variable_ply_max_thickness(), composition.variable_ply_max_thickness());
  record["guid"] = utf8(composition.guid().toString());
  record["merge_guids"] = Json::array();
  for (const tarnlib::Guid& guid : composition.merge_guids())
    record["merge_guids"].push_back(utf8(guid.toString()));
  record["custom_values"] = customValues(composition);
}

void describeFields(const tarnlib::ProfileStandard& standard, Json& record) {
  record["name"] = utf8(standard.name());
}

void describeFields(const tarnlib::ProfileName& series, Json& record) {
  record["name"] = utf8(series.name());
  record["standard"] = nameOrNull(series.standard());
  record["type"] = profileTypeText(series.type());
}

namespace {

// The fields every profile class shares.
void profileFields(const tarnlib::Profile& profile, Json& record) {
  const tarnlib::TnSmartPtr<tarnlib::ProfileName>& series = profile.name();
  record["series"] = nameOrNull(series);
  record["standard"] = series ? nameOrNull(series->standard()) : Json(nullptr);
  record["type"] = series ? Json(profileTypeText(series->type())) : Json(nullptr);
  record["size"] = utf8(profile.size());
  record["description"] = utf8(profile.description());
  record["material"] = nameOrNull(profile.material());
  const std::shared_ptr<tarnlib::Library> library = profile.library();
  record["unit"] = library ? Json(unitName(library->unit())) : Json(nullptr);
  if (profile.has_offset()) {
    Json offset;
    offset["x"] = profile.offset().x;
    offset["y"] = profile.offset().y;
    record["offset"] = offset;
  } else {
    record["offset"] = nullptr;
  }
  record["guid"] = utf8(profile.guid().toString());
  record["merge_guids"] = Json::array();
  for (const tarnlib::Guid& guid : profile.merge_guids())
    record["merge_guids"].push_back(utf8(guid.toString()));
}

}  // namespace

void describeFields(const tarnlib::CustomProfile& profile, Json& record) {
  profileFields(profile, record);
  record["geometry"] = utf8(profile.geometry());
}

void describeFields(const tarnlib::ParametrizedProfile& profile, Json& record) {
  profileFields(profile, record);
  Json dimensions = Json::object();
  Json units = Json::object();
  const std::shared_ptr<tarnlib::Library> library = profile.library();
  for (const tarnlib::ParametrizedProfile::Dimension& d : profile.dimensions()) {
    dimensions[d.name] = d.present ? Json(d.value) : Json(nullptr);
    if (!library) continue;
    const std::string label = columnUnitLabel(*library, dimensionTable(profile, d.name), d.name);
    if (!label.empty()) units[d.name] = label;
  }
  record["dimensions"] = dimensions;
  record["units"] = units;
}

void describeFields(const tarnlib::Measure& measure, Json& record) {
  record["name"] = utf8(measure.name());
  record["description"] = utf8(measure.description());
  record["length"] = measure.length();
  record["mass"] = measure.mass();
  record["time"] = measure.time();
  record["thermodynamic_temperature"] = measure.thermodynamic_temperature();
  record["electric_current"] = measure.electric_current();
  record["luminous_intensity"] = measure.luminous_intensity();
  record["amount_of_substance"] = measure.amount_of_substance();
  record["dimension"] = dimensionText(measure);
  const std::shared_ptr<tarnlib::Library> library = measure.library();
  record["default_unit"] = library ? unitLabel(library->defaultUnit(measure.name())) : Json(nullptr);
}

void describeFields(const tarnlib::Unit& unit, Json& record) {
  record["name"] = optionalText(unit.has_name(), unit.name());
  record["label"] = utf8(unit.label());
  record["display"] = displayLabel(utf8(unit.label()));
  record["scale"] = unit.scale();
  record["measure"] = nameOrNull(unit.measure());
}

void describeFields(const tarnlib::PropertyNamespace& ns, Json& record) {
  record["name"] = utf8(ns.name());
  record["label"] = optionalText(ns.has_label(), ns.label());
  record["editable"] = ns.editable();
  record["visible"] = ns.visible();
  record["revision"] = ns.revision();
}

void describeFields(const tarnlib::EntityType& type, Json& record) { record["name"] = utf8(type.name()); }

namespace {

void definitionFields(const tarnlib::AbstractDefinition& definition, Json& record) {
  record["namespace"] = nameOrNull(definition.ns());
  record["name"] = utf8(definition.name());
  record["label"] = optionalText(definition.has_label(), definition.label());
  record["description"] = utf8(definition.description());
  record["type"] = propertyTypeText(definition.type());
  record["unit"] = unitLabel(definition.unit());
  record["visible"] = definition.visible();
}

// The stored JSON text, or null for none.
Json defaultValue(const tarnlib::PropertyDefinition& definition) {
  const OdString& value = definition.default_value();
  return value.isEmpty() ? Json(nullptr) : Json(utf8(value));
}

}  // namespace

void describeFields(const tarnlib::PropertyDefinition& definition, Json& record) {
  definitionFields(definition, record);
  record["type_spec"] = utf8(definition.type_spec());
  record["default_value"] = defaultValue(definition);
}

void describeFields(const tarnlib::ValueDefinition& definition, Json& record) {
  definitionFields(definition, record);
  record["value_spec"] = utf8(definition.value_spec());
}

void describeFields(const tarnlib::PropertySet& set, Json& record) {
  record["namespace"] = nameOrNull(set.ns());
  record["name"] = utf8(set.name());
  record["label"] = optionalText(set.has_label(), set.label());
  record["ifc_name"] = optionalText(set.has_ifc_name(), set.ifc_name());
  record["per_instance"] = set.per_instance();
  record["visible"] = set.visible();
  Json types = Json::array();
  for (const auto& type : set.entity_types()) types.push_back(nameOrNull(type));
  record["entity_types"] = types;
  Json definitions = Json::array();
  for (const auto& definition : set.definitions()) {
    if (!definition) {
      definitions.push_back(nullptr);
      continue;
    }
    Json d;
    d["class"] = typeName(definition->tarnlibType());
    d["id"] = definition->id();
    d["name"] = utf8(definition->name());
    d["type"] = propertyTypeText(definition->type());
    d["unit"] = unitLabel(definition->unit());
    auto property = tarnlib::TnSmartPtr<const tarnlib::PropertyDefinition>::cast(definition.get());
    d["default_value"] = property ? defaultValue(*property) : Json(nullptr);
    definitions.push_back(d);
  }
  record["definitions"] = definitions;
}

std::string propertyTypeText(const tarnlib::PropertyType& type) {
  auto word = [](const wchar_t* name, std::uint32_t value) {
    return name ? utf8(OdString(name)) : std::to_string(value);
  };
  std::string out =
      word(tarnlib::propertyStructureName(type.structure), static_cast<std::uint32_t>(type.structure));
  if (type.structure == tarnlib::PropertyType::Structure::Undefined) return out;
  if (type.structure == tarnlib::PropertyType::Structure::Map)
    out += " " + word(tarnlib::propertyTypeName(type.key_type), type.key_type);
  return out + " " + word(tarnlib::propertyTypeName(type.value_type), type.value_type);
}

std::string dimensionText(const tarnlib::Measure& measure) {
  const short exponents[] = {measure.length(),
                             measure.mass(),
                             measure.time(),
                             measure.thermodynamic_temperature(),
                             measure.electric_current(),
                             measure.luminous_intensity(),
                             measure.amount_of_substance()};
  static const char* const kSymbols[] = {"m", "kg", "s", "K", "A", "cd", "mol"};
  static const char* const kDigits[] = {"\u2070", "\u00b9", "\u00b2", "\u00b3", "\u2074",
                                        "\u2075", "\u2076", "\u2077", "\u2078", "\u2079"};
  auto power = [&](int exponent) {
    std::string out = exponent < 0 ? "\u207b" : "";
    const std::string digits = std::to_string(exponent < 0 ? -exponent : exponent);
    for (char c : digits) out += kDigits[c - '0'];
    return out;
  };
  std::string out;
  for (bool positive : {true, false}) {
    for (std::size_t i = 0; i < std::size(exponents); ++i) {
      const int e = exponents[i];
      if (e == 0 || (e > 0) != positive) continue;
      if (!out.empty()) out += "\u00b7";
      out += kSymbols[i];
      if (e != 1) out += power(e);
    }
  }
  return out.empty() ? "1" : out;
}

std::string displayLabel(const std::string& label) { return utf8(tarnlib::formatUnitString(wide(label))); }

std::string columnUnitLabel(const tarnlib::Library& library, const std::string& table,
                            const std::string& column) {
  // One query for all: a list of profiles asks for every dimension of each.
  static std::weak_ptr<const tarnlib::Library> cachedFor;
  static std::map<std::pair<std::string, std::string>, std::string> labels;
  if (cachedFor.lock().get() != &library) {
    labels.clear();
    for (const tarnlib::ColumnUnit& c : library.columnUnits())
      if (c.unit()) labels[{utf8(c.table()), utf8(c.column())}] = utf8(c.unit()->label());
    cachedFor = library.shared_from_this();
  }
  auto found = labels.find({table, column});
  return found == labels.end() ? std::string() : found->second;
}

std::size_t displayWidth(const std::string& text) {
  // Continuation bytes do not start a character.
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string profileTypeText(tarnlib::ProfileType type) {
  const wchar_t* name = tarnlib::profileTypeName(type);
  return name ? utf8(OdString(name)) : std::to_string(static_cast<std::int32_t>(type));
}

std::string compositionTypeName(std::uint32_t type) {
  static const char* const kNames[] = {"Wall",  "Roof",    "Slab",    "Beam",     "Column", "Member",
                                       "Other", "Generic", "Footing", "Covering", "Plate"};
  for (std::size_t bit = 0; bit < std::size(kNames); ++bit)
    if (type == (1u << bit)) return kNames[bit];
  return std::to_string(type);
}

std::string functionName(tarnlib::MaterialFunction function) {
  static const char* const kNames[] = {"None",    "Structure", "Substrate", "Insulation",
                                       "Finish1", "Finish2",   "Membrane"};
  auto index = static_cast<std::int32_t>(function);
  if (index >= 0 && index < static_cast<std::int32_t>(std::size(kNames))) return kNames[index];
  return std::to_string(index);
}

std::string unitName(tarnlib::LibraryUnit unit) {
  switch (unit) {
    case tarnlib::LibraryUnit::Millimeter:
      return "mm";
    case tarnlib::LibraryUnit::Inch:
      return "in";
  }
  return std::to_string(static_cast<std::int32_t>(unit));
}

std::string text(const Json& value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return printable(value.get<std::string>());
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_number_float()) {
    // The shortest form that reads back as the same double: 10, 12.5, 0.115.
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value.get<double>());
    return std::string(buffer, result.ptr);
  }
  return value.dump();
}

namespace {

bool allScalars(const Json& array) {
  return std::all_of(array.begin(), array.end(), [](const Json& v) { return v.is_primitive(); });
}

std::string joined(const Json& values) {
  std::string out;
  for (const Json& v : values) {
    if (!out.empty()) out += ", ";
    out += v.is_primitive() ? text(v) : v.dump();
  }
  return out;
}

}  // namespace

void printFields(std::ostream& out, const Json& object, std::size_t indent) {
  // Keys are text from the catalogue too: custom property names.
  std::size_t width = 0;
  for (const auto& [name, value] : object.items()) width = std::max(width, printable(name).size());
  const std::string pad(indent, ' ');
  for (const auto& [name, value] : object.items()) {
    const std::string key = printable(name);
    std::string label = pad + key + std::string(width - key.size(), ' ');
    if (value.is_object() && value.value("type", Json()) == "None") {
      // No pattern, no colour: the other members mean nothing then.
      out << label << "  None\n";
    } else if (value.is_object() && !value.empty()) {
      out << pad << key << '\n';
      printFields(out, value, indent + 2);
    } else if (value.is_array() && !value.empty() && !allScalars(value)) {
      // A list of records (the plies of a composition): one line each.
      out << pad << key << '\n';
      std::size_t i = 0;
      for (const Json& element : value)
        out << pad << "  " << i++ << "  " << (element.is_object() ? joined(element) : text(element)) << '\n';
    } else if (value.is_structured()) {
      out << label << "  " << (value.empty() ? "(none)" : joined(value)) << '\n';
    } else {
      out << label << "  " << text(value) << '\n';
    }
  }
}

namespace {

// Numbers as text with their units: a field named in the record's "units"
// with the display form of that unit; a profile's offset and dimensions with
// the record's length "unit" unless "units" names one for the dimension, an
// absent one said so. Neither "unit" nor "units" then needs a line of its own.
void withUnits(Json& fields, bool profile) {
  Json units = Json::object();
  auto found = fields.find("units");
  if (found != fields.end() && found->is_object()) {
    units = *found;
    fields.erase(found);
  }
  for (auto& [name, label] : units.items()) {
    auto value = fields.find(name);
    if (value != fields.end() && value->is_number() && label.is_string())
      *value = text(*value) + " " + displayLabel(label.get<std::string>());
  }
  if (!profile) return;
  auto unit = fields.find("unit");
  if (unit == fields.end() || !unit->is_string()) return;
  const std::string lengthUnit = unit->get<std::string>();
  fields.erase(unit);
  auto length = [](Json& value, const std::string& suffix) {
    value = value.is_null() ? Json("absent") : Json(text(value) + " " + suffix);
  };
  auto offset = fields.find("offset");
  if (offset != fields.end()) {
    if (offset->is_object())
      for (auto& axis : offset->items()) length(axis.value(), lengthUnit);
    else
      length(*offset, lengthUnit);
  }
  auto dimensions = fields.find("dimensions");
  if (dimensions != fields.end() && dimensions->is_object())
    for (auto& dimension : dimensions->items()) {
      auto own = units.find(dimension.key());
      length(dimension.value(),
             own != units.end() && own->is_string() ? displayLabel(own->get<std::string>()) : lengthUnit);
    }
}

// A reference to a unit is its plain label; the text shows its display form.
void unitReferencesForDisplay(Json& fields) {
  for (const char* key : {"unit", "default_unit"}) {
    auto value = fields.find(key);
    if (value != fields.end() && value->is_string()) *value = displayLabel(value->get<std::string>());
  }
}

// A property set's definitions, one aligned row each: position, name, kind,
// type, unit, default value.
void printDefinitions(std::ostream& out, const Json& definitions) {
  if (definitions.empty()) {
    out << "  definitions  (none)\n";
    return;
  }
  std::vector<std::vector<std::string>> rows;
  for (const Json& d : definitions) {
    if (!d.is_object()) {
      rows.push_back({std::to_string(rows.size()), "-", "", "", "", ""});
      continue;
    }
    const std::string cls = d.value("class", "");
    const std::string kind = cls == "PropertyDefinition" ? "property"
                             : cls == "ValueDefinition"  ? "value"
                                                         : cls;
    const Json unit = d.value("unit", Json());
    rows.push_back({std::to_string(rows.size()), text(d.value("name", Json())), kind,
                    text(d.value("type", Json())),
                    unit.is_string() ? printable(displayLabel(unit.get<std::string>())) : "-",
                    text(d.value("default_value", Json()))});
  }
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const auto& row : rows)
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], displayWidth(row[c]));
  out << "  definitions\n";
  for (const auto& row : rows) {
    std::string line = "   ";
    // The position right-aligned, the other columns left-aligned.
    line += std::string(widths[0] - displayWidth(row[0]), ' ') + row[0];
    for (std::size_t c = 1; c < row.size(); ++c) {
      line += "  " + row[c];
      if (c + 1 < row.size()) line += std::string(widths[c] - displayWidth(row[c]), ' ');
    }
    out << line << '\n';
  }
}

}  // namespace

void printRecord(std::ostream& out, const Json& record) {
  const Json cls = record.value("class", Json());
  out << text(cls) << ' ' << text(record.value("id", Json())) << '\n';
  Json fields = record;
  fields.erase("class");
  fields.erase("id");
  // Profiles are the classes selected by series.
  bool profile = false;
  for (const TypeEntry& entry : typeTable())
    if (cls.is_string() && entry.name == cls.get<std::string>()) profile = entry.bySeries;
  withUnits(fields, profile);
  unitReferencesForDisplay(fields);
  Json definitions;
  if (cls == "PropertySet" && fields.contains("definitions")) {
    definitions = fields["definitions"];
    fields.erase("definitions");
  }
  printFields(out, fields, 2);
  if (definitions.is_array()) printDefinitions(out, definitions);
}

}  // namespace tarn
