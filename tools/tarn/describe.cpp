#include "describe.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "common.h"
#include "types.h"

namespace tarn {

using tarnlib::ObjectType;

namespace {

template <class T>
Json nameOrNull(const tarnlib::TnSmartPtr<T>& object) {
  return object ? Json(utf8(object->name())) : Json(nullptr);
}

Json optional(bool present, double value) { return present ? Json(value) : Json(nullptr); }

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
  for (const tarnlib::ParametrizedProfile::Dimension& d : profile.dimensions())
    dimensions[d.name] = d.present ? Json(d.value) : Json(nullptr);
  record["dimensions"] = dimensions;
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

// A profile's lengths as text: each with the record's unit, an absent one
// said so; the unit then needs no line of its own.
void lengthsWithUnit(Json& fields) {
  auto unit = fields.find("unit");
  if (unit == fields.end() || !unit->is_string()) return;
  const std::string suffix = " " + unit->get<std::string>();
  fields.erase(unit);
  auto length = [&](Json& value) { value = value.is_null() ? Json("absent") : Json(text(value) + suffix); };
  auto offset = fields.find("offset");
  if (offset != fields.end()) {
    if (offset->is_object())
      for (auto& axis : offset->items()) length(axis.value());
    else
      length(*offset);
  }
  auto dimensions = fields.find("dimensions");
  if (dimensions != fields.end() && dimensions->is_object())
    for (auto& dimension : dimensions->items()) length(dimension.value());
}

}  // namespace

void printRecord(std::ostream& out, const Json& record) {
  out << text(record.value("class", Json())) << ' ' << text(record.value("id", Json())) << '\n';
  Json fields = record;
  fields.erase("class");
  fields.erase("id");
  lengthsWithUnit(fields);
  printFields(out, fields, 2);
}

}  // namespace tarn
