#include "exchange/xml_values.h"

#include <utf8cpp/utf8.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace tarnlib::exchange {

bool fromXml(const char* text, OdString& out) {
  const std::size_t length = std::strlen(text);
  if (!utf8::is_valid(text, text + length)) return false;
  out = OdString::fromUtf8(text, length);
  return true;
}

std::string toXml(const OdString& text) {
  // Plain ASCII is by far the commonest text; it needs no conversion.
  const std::wstring& s = text.str();
  std::string out(s.size(), '\0');
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] >= 0x80) return text.toUtf8();
    out[i] = static_cast<char>(s[i]);
  }
  return out;
}

void setText(pugi::xml_node node, const OdString& text) { node.text().set(toXml(text).c_str()); }

void setAttribute(pugi::xml_node node, const char* name, const OdString& text) {
  node.append_attribute(name).set_value(toXml(text).c_str());
}

bool parseValue(const char* text, double& out) {
  if (*text == '\0' || std::isspace(static_cast<unsigned char>(*text))) return false;
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text, &end);
  // Underflow to a denormal or zero is fine (1e-320 is a value); overflow is not.
  if (*end != '\0' || std::isnan(value) || (errno == ERANGE && std::isinf(value) &&
                                            std::strncmp(text + (*text == '-' || *text == '+'), "inf", 3) != 0))
    return false;
  out = value;
  return true;
}

bool parseValue(const char* text, bool& out) {
  if (std::strcmp(text, "true") == 0 || std::strcmp(text, "1") == 0) out = true;
  else if (std::strcmp(text, "false") == 0 || std::strcmp(text, "0") == 0) out = false;
  else return false;
  return true;
}

bool parseValue(const char* text, std::int64_t& out) {
  if (*text == '\0' || std::isspace(static_cast<unsigned char>(*text))) return false;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (*end != '\0' || errno == ERANGE) return false;
  out = value;
  return true;
}

const std::vector<EnumName<MaterialFunction>>& EnumNames<MaterialFunction>::table() {
  using F = MaterialFunction;
  static const std::vector<EnumName<F>> names = {
      {F::None, "None"},         {F::Structure, "Structure"}, {F::Substrate, "Substrate"},
      {F::Insulation, "Insulation"}, {F::Finish1, "Finish1"}, {F::Finish2, "Finish2"},
      {F::Membrane, "Membrane"}};
  return names;
}

const std::vector<EnumName<Color::Type>>& EnumNames<Color::Type>::table() {
  using T = Color::Type;
  static const std::vector<EnumName<T>> names = {
      {T::None, "None"}, {T::ByLayer, "ByLayer"}, {T::ByBlock, "ByBlock"}, {T::ByColor, "ByColor"}};
  return names;
}

const std::vector<EnumName<Pattern::Type>>& EnumNames<Pattern::Type>::table() {
  using T = Pattern::Type;
  static const std::vector<EnumName<T>> names = {
      {T::None, "None"}, {T::UserDefined, "UserDefined"}, {T::Predefined, "Predefined"}, {T::Custom, "Custom"}};
  return names;
}

const std::vector<EnumName<ProfileType>>& EnumNames<ProfileType>::table() {
  using T = ProfileType;
  static const std::vector<EnumName<T>> names = {
      {T::Generic, "Generic"}, {T::StructuralConcrete, "StructuralConcrete"},
      {T::StructuralSteel, "StructuralSteel"}, {T::HVAC, "HVAC"}, {T::Piping, "Piping"},
      {T::Electrical, "Electrical"}};
  return names;
}

const std::vector<EnumName<PropertyType::Structure>>& EnumNames<PropertyType::Structure>::table() {
  using S = PropertyType::Structure;
  static const std::vector<EnumName<S>> names = {
      {S::Undefined, "Undefined"}, {S::Single, "Single"}, {S::Array, "Array"}, {S::Map, "Map"}};
  return names;
}

const std::vector<EnumName<PropertyType::Type>>& EnumNames<PropertyType::Type>::table() {
  using P = PropertyType;
  static const std::vector<EnumName<P::Type>> names = {
      {P::Any, "Any"},         {P::Bool, "Bool"},         {P::Int8, "Int8"},         {P::UInt8, "UInt8"},
      {P::Int16, "Int16"},     {P::UInt16, "UInt16"},     {P::Int32, "Int32"},       {P::UInt32, "UInt32"},
      {P::Int64, "Int64"},     {P::UInt64, "UInt64"},     {P::Double, "Double"},     {P::String, "String"},
      {P::Handle, "Handle"},   {P::ObjectId, "ObjectId"}, {P::Vector2d, "Vector2d"}, {P::Point2d, "Point2d"},
      {P::Vector3d, "Vector3d"}, {P::Point3d, "Point3d"}, {P::Binary, "Binary"}};
  return names;
}

const std::vector<EnumName<ObjectType>>& EnumNames<ObjectType>::table() {
  using T = ObjectType;
  static const std::vector<EnumName<T>> names = {
      {T{0}, "Any"},
      {T::Tag, "Tag"},
      {T::Asset, "Asset"},
      {T::MaterialType, "MaterialType"},
      {T::Material, "Material"},
      {T::Composition, "Composition"},
      {T::CustomProperty, "CustomProperty"},
      {T::Layer, "Layer"},
      {T::PhysicalAsset, "PhysicalAsset"},
      {T::InformationAsset, "InformationAsset"},
      {T::BimAsset, "BimAsset"},
      {T::ProfileStandard, "ProfileStandard"},
      {T::ProfileName, "ProfileName"},
      {T::Profile, "Profile"},
      {T::CustomProfile, "CustomProfile"},
      {T::ParametrizedProfile, "ParametrizedProfile"},
      {T::CircleProfile, "CircleProfile"},
      {T::CircleHollowProfile, "CircleHollowProfile"},
      {T::EllipseProfile, "EllipseProfile"},
      {T::RectangleProfile, "RectangleProfile"},
      {T::RectangleHollowProfile, "RectangleHollowProfile"},
      {T::RoundedRectangleProfile, "RoundedRectangleProfile"},
      {T::TrapeziumProfile, "TrapeziumProfile"},
      {T::CraneRailAShapeProfile, "CraneRailAShapeProfile"},
      {T::CraneRailFShapeProfile, "CraneRailFShapeProfile"},
      {T::TShapeProfile, "TShapeProfile"},
      {T::ZShapeProfile, "ZShapeProfile"},
      {T::CShapeProfile, "CShapeProfile"},
      {T::UShapeProfile, "UShapeProfile"},
      {T::LShapeProfile, "LShapeProfile"},
      {T::IShapeProfile, "IShapeProfile"},
      {T::AsymmetricIShapeProfile, "AsymmetricIShapeProfile"},
      {T::CompositionType, "CompositionType"},
      {T::Measure, "Measure"},
      {T::Unit, "Unit"},
      {T::PropertyNamespace, "PropertyNamespace"},
      {T::EntityType, "EntityType"},
      {T::AbstractDefinition, "AbstractDefinition"},
      {T::PropertyDefinition, "PropertyDefinition"},
      {T::ValueDefinition, "ValueDefinition"},
      {T::PropertySet, "PropertySet"},
  };
  return names;
}

namespace {

const std::vector<EnumName<std::uint32_t>>& compositionTypeNames() {
  using C = Composition;
  // In the order the format lists them.
  static const std::vector<EnumName<std::uint32_t>> names = {
      {C::Other, "Other"},     {C::Generic, "Generic"}, {C::Footing, "Footing"}, {C::Plate, "Plate"},
      {C::Covering, "Covering"}, {C::Member, "Member"}, {C::Wall, "Wall"},       {C::Roof, "Roof"},
      {C::Slab, "Slab"},       {C::Column, "Column"},   {C::Beam, "Beam"}};
  return names;
}

}  // namespace

std::string compositionTypeText(std::uint32_t bits) {
  std::string text;
  std::uint32_t rest = bits;
  for (const auto& entry : compositionTypeNames()) {
    if ((bits & entry.value) == 0) continue;
    if (!text.empty()) text += '|';
    text += entry.name;
    rest &= ~entry.value;
  }
  if (text.empty() || rest != 0) return std::to_string(bits);
  return text;
}

bool parseCompositionType(const char* text, std::uint32_t& bits) {
  if (parseValue(text, bits)) return true;
  std::uint32_t result = 0;
  const char* part = text;
  for (;;) {
    const char* bar = std::strchr(part, '|');
    const std::size_t length = bar ? static_cast<std::size_t>(bar - part) : std::strlen(part);
    bool known = false;
    for (const auto& entry : compositionTypeNames()) {
      if (std::strlen(entry.name) == length && std::strncmp(entry.name, part, length) == 0) {
        result |= entry.value;
        known = true;
        break;
      }
    }
    if (!known) return false;
    if (!bar) break;
    part = bar + 1;
  }
  bits = result;
  return true;
}

std::string objectTypeText(ObjectType type) {
  const char* name = nameOf(type);
  return name ? name : std::to_string(static_cast<std::uint32_t>(type));
}

bool parseObjectType(const char* text, ObjectType& out) { return parseName(text, out); }

}  // namespace tarnlib::exchange
