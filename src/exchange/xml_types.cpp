// Every type of the library XML format, described once: the element, its
// children in the order written, which may be nil and which are required.
#include <cmath>
#include <functional>
#include <type_traits>
#include <unordered_map>

#include "exchange/property_value.h"
#include "exchange/xml_fields.h"
#include "objects/field_access.h"
#include "objects/shape.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/layer.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/tag.h"
#include "tarnlib/unit.h"

namespace tarnlib::exchange {

namespace {

using namespace fields;  // NOLINT: the builders are this file's vocabulary

// ---- The types

template <class C>
OdString objectName(const Object& o) {
  return as<C>(o).name();
}

// A type that is nothing but its name, the element's text.
template <class C>
XmlType named(ObjectType type, const char* element) {
  XmlType t{type, element, {ownText<C>(element, &C::name, &C::set_name)}, &objectName<C>, true};
  return t;
}


// ---- Lists and values that only one type has

XmlField plies() {
  using C = Composition;
  XmlField f;
  f.name = "ply";
  f.write = [](const Object& o, pugi::xml_node e, Writer& w) {
    const auto& plies = as<C>(o).plies();
    if (plies.empty()) return;
    pugi::xml_node list = e.append_child("ply");
    for (const C::Ply& ply : plies) {
      pugi::xml_node node = list.append_child("Ply");
      w.reference(node.append_child("material"), ply.material.get());
      formatChild(node.append_child("function"), ply.function);
      formatChild(node.append_child("thickness"), ply.thickness);
    }
  };
  f.read = [](Object& o, pugi::xml_node e, Reader& r) {
    for (pugi::xml_node node : e.child("ply").children("Ply")) {
      C::Ply ply;
      pugi::xml_node material = node.child("material");
      if (!material) {
        r.missing(node, "material");
        return false;
      }
      TnSmartPtr<Object> found;
      if (!r.resolve(material, ObjectType::Material, found)) return false;
      if (!found) {
        r.empty(material, "material");
        return false;
      }
      ply.material = narrowed<TnSmartPtr<const Material>>(found);
      if (pugi::xml_node c = node.child("function"); c && !parseChild(r, c, "function", ply.function))
        return false;
      if (pugi::xml_node c = node.child("thickness"); c && !parseChild(r, c, "thickness", ply.thickness))
        return false;
      as<C>(o).append_ply(ply);
    }
    return true;
  };
  return f;
}

XmlField thicknesses() {
  using C = BimAsset;
  XmlField f;
  f.name = "thicknesses";
  f.write = [](const Object& o, pugi::xml_node e, Writer&) {
    const std::set<double>& values = as<C>(o).thicknesses();
    if (values.empty()) return;
    pugi::xml_node list = e.append_child("thicknesses");
    for (double v : values) formatChild(list.append_child("real"), v);
  };
  f.read = [](Object& o, pugi::xml_node e, Reader& r) {
    std::set<double> values;
    if (pugi::xml_node single = e.child("thickness")) {
      double v = 0.0;
      if (!parseChild(r, single, "thickness", v)) return false;
      values.insert(v);
    }
    for (pugi::xml_node item : e.child("thicknesses").children("real")) {
      double v = 0.0;
      if (!parseChild(r, item, "thicknesses", v)) return false;
      values.insert(v);
    }
    if (!values.empty()) as<C>(o).set_thicknesses() = std::move(values);
    return true;
  };
  return f;
}

// The offset of a profile, a "Vector2d": attributes "x" and "y".
XmlField offset() {
  using C = Profile;
  XmlField f;
  f.name = "offset";
  f.write = [](const Object& o, pugi::xml_node e, Writer&) {
    const C& p = as<C>(o);
    if (!p.has_offset()) {
      appendNil(e, "offset");
      return;
    }
    pugi::xml_node node = e.append_child("offset");
    node.append_attribute("x").set_value(p.offset().x);
    node.append_attribute("y").set_value(p.offset().y);
  };
  f.read = [](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node node = e.child("offset");
    if (!node || isNil(node)) return true;
    Vector2d v;
    for (const char* axis : {"x", "y"}) {
      if (!node.attribute(axis)) {
        r.missing(node, axis);
        return false;
      }
    }
    if (!readAttribute(r, node, "x", v.x) || !readAttribute(r, node, "y", v.y)) return false;
    as<C>(o).set_offset(v);
    return true;
  };
  return f;
}

// A "PropertyType": "structure", "value_type" and, for a map, "key_type".
XmlField propertyType() {
  using C = AbstractDefinition;
  XmlField f;
  f.name = "type";
  f.write = [](const Object& o, pugi::xml_node e, Writer&) {
    const PropertyType& t = as<C>(o).type();
    pugi::xml_node node = e.append_child("type");
    formatChild(node.append_child("structure"), t.structure);
    formatChild(node.append_child("value_type"), t.value_type);
    if (t.structure == PropertyType::Structure::Map) formatChild(node.append_child("key_type"), t.key_type);
  };
  f.read = [](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node node = e.child("type");
    if (!node) {
      r.missing(e, "type");
      return false;
    }
    if (isNil(node)) {
      r.nil(node, "type");
      return false;
    }
    PropertyType t;
    pugi::xml_node structure = node.child("structure");
    if (!structure) {
      r.missing(node, "structure");
      return false;
    }
    if (!parseChild(r, structure, "structure", t.structure)) return false;
    if (pugi::xml_node c = node.child("value_type"); c && !parseChild(r, c, "value_type", t.value_type))
      return false;
    if (pugi::xml_node c = node.child("key_type"); c && !parseChild(r, c, "key_type", t.key_type)) return false;
    as<C>(o).set_type(t);
    return true;
  };
  return f;
}

// The definitions of a property set, each in full under its type's element.
XmlField definitions() {
  using C = PropertySet;
  XmlField f;
  f.name = "definition";
  f.write = [](const Object& o, pugi::xml_node e, Writer& w) {
    const C::Definitions& list = as<C>(o).definitions();
    if (list.empty()) return;
    pugi::xml_node node = e.append_child("definition");
    // A definition the file lost (its row gone) is a null entry: nothing to write.
    for (const auto& d : list)
      if (d) w.content(node.append_child(xmlTypeOf(d->tarnlibType())->element), *d);
  };
  f.read = [](Object& o, pugi::xml_node e, Reader& r) {
    for (pugi::xml_node item : e.child("definition").children()) {
      if (item.type() != pugi::node_element) continue;
      const XmlType* type = xmlTypeNamed(item.name());
      if (!type || (type->type != ObjectType::PropertyDefinition && type->type != ObjectType::ValueDefinition)) {
        OdString set;
        fromXml(e.child("name").text().get(), set);
        r.report(item, OdString(L"Unknown property '") + OdString(item.name()) + L"' for '" + set + L"'");
        return false;
      }
      TnSmartPtr<Object> built;
      if (!r.build(*type, item, built)) return false;
      as<C>(o).append_definition(narrowed<TnSmartPtr<const AbstractDefinition>>(built));
    }
    return true;
  };
  return f;
}

// A shape's dimensions, from its description: required ones always written,
// optional ones nil when absent.
std::vector<XmlField> dimensions(const objects::Shape& shape) {
  std::vector<XmlField> fields;
  for (std::size_t i = 0; i < shape.all.size(); ++i) {
    const char* name = shape.all[i].column;
    const bool optional = shape.all[i].optional;
    XmlField f;
    f.name = name;
    f.write = [i, name](const Object& o, pugi::xml_node e, Writer&) {
      const Profile::Impl& p = as<Profile>(o).impl();
      if (p.present[i]) formatChild(e.append_child(name), p.dimensions[i]);
      else appendNil(e, name);
    };
    f.read = [i, name, optional](Object& o, pugi::xml_node e, Reader& r) {
      Profile::Impl& p = as<Profile>(o).impl();
      pugi::xml_node child = e.child(name);
      if (!child || (optional && isNil(child))) {
        if (!optional) r.missing(e, name);
        p.present[i] = false;
        return optional;
      }
      double v = 0.0;
      if (!parseChild(r, child, name, v)) return false;
      if (!std::isfinite(v)) {
        r.invalid(child, name, child.text().get());
        return false;
      }
      p.dimensions[i] = v;
      p.present[i] = true;
      return true;
    };
    fields.push_back(std::move(f));
  }
  return fields;
}

// ---- The types

template <class C>
std::vector<XmlField> nameAndDescription() {
  return {text<C>("name", &C::name, &C::set_name, kRequired),
          text<C>("description", &C::description, &C::set_description)};
}

std::vector<XmlField> join(std::vector<std::vector<XmlField>> parts) {
  std::vector<XmlField> all;
  for (auto& part : parts)
    for (auto& field : part) all.push_back(std::move(field));
  return all;
}

XmlType informationAsset() {
  using C = InformationAsset;
  XmlType type{ObjectType::InformationAsset, "informationasset",
          join({nameAndDescription<C>(),
                {text<C>("label", &C::label, &C::set_label),
                 text<C>("manufacturer", &C::manufacturer, &C::set_manufacturer),
                 text<C>("mark", &C::mark, &C::set_mark), text<C>("model", &C::model, &C::set_model),
                 text<C>("classification", &C::classification, &C::set_classification),
                 text<C>("cost", &C::cost, &C::set_cost), text<C>("keynote", &C::keynote, &C::set_keynote),
                 text<C>("url", &C::url, &C::set_url),
                 nillableText<C>("unique_code", &C::has_unique_code, &C::unique_code, &C::set_unique_code,
                                 &C::clear_unique_code)}}),
          &objectName<C>};
  type.nameIsKey = true;
  return type;
}

XmlType physicalAsset() {
  using C = PhysicalAsset;
  XmlType type{ObjectType::PhysicalAsset, "physicalasset",
          join({nameAndDescription<C>(),
                {nillableValue<C>("density", &C::has_density, &C::density, &C::set_density, &C::clear_density),
                 nillableValue<C>("specific_heat", &C::has_specific_heat, &C::specific_heat,
                                  &C::set_specific_heat, &C::clear_specific_heat),
                 nillableValue<C>("thermal_conductivity", &C::has_thermal_conductivity,
                                  &C::thermal_conductivity, &C::set_thermal_conductivity,
                                  &C::clear_thermal_conductivity)}}),
          &objectName<C>};
  type.nameIsKey = true;
  return type;
}

XmlType bimAsset() {
  using C = BimAsset;
  XmlType type{ObjectType::BimAsset, "bimasset",
          join({nameAndDescription<C>(),
                {reference<C>("layer", ObjectType::Layer, &C::layer, &C::set_layer),
                 reference<C>("layer_elevation", ObjectType::Layer, &C::layer_elevation, &C::set_layer_elevation),
                 value<C>("union_section", &C::union_section, &C::set_union_section),
                 value<C>("union_elevation", &C::union_elevation, &C::set_union_elevation),
                 value<C>("default_function", &C::default_function, &C::set_default_function),
                 value<C>("variable_thickness", &C::variable_thickness, &C::set_variable_thickness),
                 // The asset keeps only a set of thicknesses: a lone "thickness"
                 // child is read as one more of them, and none is written.
                 thicknesses()}}),
          &objectName<C>};
  type.nameIsKey = true;
  return type;
}

XmlType material() {
  using C = Material;
  // "appearance" is a render appearance's name, a text: it travels as one.
  return {ObjectType::Material, "material",
          {text<C>("name", &C::name, &C::set_name, kRequired),
           reference<C>("type", ObjectType::MaterialType, &C::type, &C::set_type),
           text<C>("description", &C::description, &C::set_description),
           referenceList<C>("tag", "tag", ObjectType::Tag, &C::tags,
                            [](C& m, const TnSmartPtr<Tag>& tag) { m.set_tags().push_back(tag); }),
           text<C>("comments", &C::comments, &C::set_comments),
           text<C>("appearance", &C::appearance, &C::set_appearance),
           pattern<C>("cut_pattern", &C::cut_pattern, &C::set_cut_pattern),
           pattern<C>("surface_pattern", &C::surface_pattern, &C::set_surface_pattern),
           owned<C>("information_asset", ObjectType::InformationAsset,
                    [](const C& m) -> const TnSmartPtr<InformationAsset>& { return m.information_asset(); },
                    &C::set_information_asset),
           owned<C>("physical_asset", ObjectType::PhysicalAsset,
                    [](const C& m) -> const TnSmartPtr<PhysicalAsset>& { return m.physical_asset(); },
                    &C::set_physical_asset),
           owned<C>("bim_asset", ObjectType::BimAsset,
                    [](const C& m) -> const TnSmartPtr<BimAsset>& { return m.bim_asset(); }, &C::set_bim_asset),
           customValues<C>(ObjectType::Material)},
          &objectName<C>};
}

XmlType composition() {
  using C = Composition;
  XmlField type;
  type.name = "type";
  type.write = [](const Object& o, pugi::xml_node e, Writer&) {
    e.append_child("type").text().set(compositionTypeText(as<C>(o).type()).c_str());
  };
  type.read = [](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child("type");
    if (!child) return true;
    std::uint32_t bits = 0;
    if (isNil(child)) {
      r.nil(child, "type");
      return false;
    }
    if (!parseCompositionType(child.text().get(), bits)) {
      r.invalid(child, "type", child.text().get());
      return false;
    }
    as<C>(o).set_type(bits);
    return true;
  };
  return {ObjectType::Composition, "composition",
          join({{text<C>("name", &C::name, &C::set_name, kRequired), type,
                 reference<C>("composition_type", ObjectType::CompositionType, &C::composition_type,
                              &C::set_composition_type),
                 text<C>("description", &C::description, &C::set_description),
                 referenceList<C>("tag", "tag", ObjectType::Tag, &C::tags,
                                  [](C& c, const TnSmartPtr<Tag>& tag) { c.set_tags().push_back(tag); }),
                 reference<C>("layer", ObjectType::Layer, &C::layer, &C::set_layer),
                 text<C>("comments", &C::comments, &C::set_comments), plies(),
                 value<C>("first_core_ply", &C::first_core_ply, &C::set_first_core_ply),
                 value<C>("last_core_ply", &C::last_core_ply, &C::set_last_core_ply),
                 value<C>("structural_ply", &C::structural_ply, &C::set_structural_ply),
                 nillableValue<C>("variable_ply", &C::has_variable_ply, &C::variable_ply, &C::set_variable_ply,
                                  &C::clear_variable_ply),
                 value<C>("variable_ply_min_thickness", &C::variable_ply_min_thickness,
                          &C::set_variable_ply_min_thickness),
                 nillableValue<C>("variable_ply_max_thickness", &C::has_variable_ply_max_thickness,
                                  &C::variable_ply_max_thickness, &C::set_variable_ply_max_thickness,
                                  &C::clear_variable_ply_max_thickness),
                 customValues<C>(ObjectType::Composition)},
                guids<C>()}),
          &objectName<C>};
}

XmlType profileName() {
  using C = ProfileName;
  XmlType type{ObjectType::ProfileName, "profilename",
               {reference<C>("standard", ObjectType::ProfileStandard, &C::standard, &C::set_standard),
                text<C>("name", &C::name, &C::set_name, kRequired), value<C>("type", &C::type, &C::set_type)},
               &objectName<C>};
  // Outside any standard the unique key holds a NULL, which never collides:
  // such a name is the same as a stored one of equal name and type.
  type.sameAs = [](const Object& built, const Object& stored) {
    const C& a = as<C>(built);
    const C& b = as<C>(stored);
    return !a.standard() && !b.standard() && a.type() == b.type();
  };
  return type;
}

std::vector<XmlField> profileCommon() {
  using C = Profile;
  return join({{reference<C>("profilename", ObjectType::ProfileName, &C::name, &C::set_name, kRequired),
                text<C>("size", &C::size, &C::set_size), text<C>("description", &C::description, &C::set_description),
                reference<C>("material", ObjectType::Material, &C::material, &C::set_material), offset()},
               guids<C>()});
}

OdString profileLabel(const Object& o) {
  const Profile& p = as<Profile>(o);
  return p.name() ? p.name()->name() + L" " + p.size() : p.size();
}

XmlType customProfile() {
  using C = CustomProfile;
  // The outline text travels too, so that a custom profile survives the trip.
  return {ObjectType::CustomProfile, "customprofile",
          join({profileCommon(), {text<C>("geometry", &C::geometry, &C::set_geometry)}}), &profileLabel};
}

XmlType shapeType(ObjectType type, const char* element) {
  return {type, element, join({profileCommon(), dimensions(*objects::shapeOf(type))}), &profileLabel};
}

XmlType measure() {
  using C = Measure;
  std::vector<XmlField> fields = nameAndDescription<C>();
  static const char* const kExponents[objects::kMeasureExponents] = {
      "length", "mass", "time", "thermodynamic_temperature", "electric_current", "luminous_intensity",
      "amount_of_substance"};
  for (int i = 0; i < objects::kMeasureExponents; ++i)
    fields.push_back(value<C>(
        kExponents[i], [i](const C& m) { return objects::measureExponent(m, i); },
        [i](C& m, short v) { objects::setMeasureExponent(m, i, v); }));
  return {ObjectType::Measure, "measure", std::move(fields), &objectName<C>};
}

XmlType unit() {
  using C = Unit;
  return {ObjectType::Unit, "unit",
          {nillableText<C>("name", &C::has_name, &C::name, &C::set_name, &objects::clearUnitName),
           text<C>("label", &C::label, &C::set_label),
           value<C>("scale", &C::scale, &objects::setUnitScale, kRequired,
                    [](double v) { return std::isfinite(v) && v > 0; }),
           reference<C>("measure", ObjectType::Measure, &C::measure, &objects::setUnitMeasure, kRequired)},
          &objectName<C>};
}

XmlType propertyNamespace() {
  using C = PropertyNamespace;
  return {ObjectType::PropertyNamespace, "propertynamespace",
          {text<C>("name", &C::name, &C::set_name, kRequired),
           nillableText<C>("label", &C::has_label, &C::label, &C::set_label, &C::clear_label),
           value<C>("editable", &C::editable, &C::set_editable), value<C>("visible", &C::visible, &C::set_visible),
           value<C>("revision", &C::revision, &C::set_revision)},
          &objectName<C>};
}

std::vector<XmlField> definitionCommon() {
  using C = AbstractDefinition;
  return {reference<C>("namespace", ObjectType::PropertyNamespace, &C::ns,
                       [](C& d, const TnSmartPtr<const PropertyNamespace>& ns) { objects::setNamespace(d, ns); },
                       kRequired),
          text<C>("name", &C::name, &C::set_name, kRequired),
          nillableText<C>("label", &C::has_label, &C::label, &C::set_label, &C::clear_label),
          text<C>("description", &C::description, &C::set_description),
          propertyType(),
          reference<C>("unit", ObjectType::Unit, &C::unit, &C::set_unit),
          value<C>("visible", &C::visible, &C::set_visible)};
}

XmlType propertyDefinition() {
  using C = PropertyDefinition;
  XmlField defaultValue = text<C>("default_value", [](const C& d) -> const OdString& { return d.default_value(); },
                                  [](C& d, const OdString& json) { d.set_default_value(json); });
  // A default value is a value of the definition's type: text that is not one
  // stops the whole import (ReadError, KeyError) rather than being stored.
  auto read = defaultValue.read;
  defaultValue.read = [read](Object& o, pugi::xml_node e, Reader& r) {
    if (!read(o, e, r)) return false;
    const C& d = as<C>(o);
    checkPropertyValue(d.default_value(), d.type());
    return true;
  };
  return {ObjectType::PropertyDefinition, "propertydefinition",
          join({definitionCommon(), {text<C>("type_spec", &C::type_spec, &C::set_type_spec), defaultValue}}),
          &objectName<C>};
}

XmlType valueDefinition() {
  using C = ValueDefinition;
  return {ObjectType::ValueDefinition, "valuedefinition",
          join({definitionCommon(), {text<C>("value_spec", &C::value_spec, &C::set_value_spec)}}),
          &objectName<C>};
}

XmlType propertySet() {
  using C = PropertySet;
  return {ObjectType::PropertySet, "propertyset",
          {reference<C>("namespace", ObjectType::PropertyNamespace, &C::ns,
                        [](C& s, const TnSmartPtr<const PropertyNamespace>& ns) { objects::setNamespace(s, ns); },
                        kRequired),
           text<C>("name", &C::name, &C::set_name, kRequired),
           nillableText<C>("label", &C::has_label, &C::label, &C::set_label, &C::clear_label), definitions(),
           value<C>("per_instance", &C::per_instance, &C::set_per_instance),
           referenceList<C>("entity_type", "entitytype", ObjectType::EntityType, &C::entity_types,
                            [](C& s, const TnSmartPtr<const EntityType>& t) { s.insert_entity_type(t); }),
           nillableText<C>("ifc_name", &C::has_ifc_name, &C::ifc_name, &C::set_ifc_name, &C::clear_ifc_name),
           value<C>("visible", &C::visible, &C::set_visible)},
          &objectName<C>};
}

XmlType customProperty() {
  using C = CustomProperty;
  XmlField objectType;
  objectType.name = "object_type";
  objectType.write = [](const Object& o, pugi::xml_node e, Writer&) {
    e.append_child("object_type").text().set(objectTypeText(as<C>(o).object_type()).c_str());
  };
  objectType.read = [](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child("object_type");
    if (!child) return true;
    ObjectType type{};
    if (!parseChild(r, child, "object_type", type)) return false;
    objects::setObjectType(as<C>(o), type);
    return true;
  };
  return {ObjectType::CustomProperty, "customproperty",
          {text<C>("name", &C::name, &C::set_name, kRequired), objectType}, &objectName<C>};
}

std::vector<XmlType> buildTypes() {
  std::vector<XmlType> types;
  types.push_back(customProfile());
  const std::pair<ObjectType, const char*> shapes[] = {
      {ObjectType::AsymmetricIShapeProfile, "asymmetricishapeprofile"},
      {ObjectType::IShapeProfile, "ishapeprofile"},
      {ObjectType::LShapeProfile, "lshapeprofile"},
      {ObjectType::UShapeProfile, "ushapeprofile"},
      {ObjectType::CShapeProfile, "cshapeprofile"},
      {ObjectType::ZShapeProfile, "zshapeprofile"},
      {ObjectType::TShapeProfile, "tshapeprofile"},
      {ObjectType::TrapeziumProfile, "trapeziumprofile"},
      {ObjectType::RoundedRectangleProfile, "roundedrectangleprofile"},
      {ObjectType::RectangleHollowProfile, "rectanglehollowprofile"},
      {ObjectType::RectangleProfile, "rectangleprofile"},
      {ObjectType::EllipseProfile, "ellipseprofile"},
      {ObjectType::CircleHollowProfile, "circlehollowprofile"},
      {ObjectType::CircleProfile, "circleprofile"},
      {ObjectType::CraneRailFShapeProfile, "cranerailfshapeprofile"},
      {ObjectType::CraneRailAShapeProfile, "cranerailashapeprofile"}};
  for (const auto& [type, element] : shapes) types.push_back(shapeType(type, element));
  types.push_back(profileName());
  types.push_back(named<ProfileStandard>(ObjectType::ProfileStandard, "profilestandard"));
  types.push_back(composition());
  types.push_back(named<CompositionType>(ObjectType::CompositionType, "compositiontype"));
  types.push_back(material());
  types.push_back(named<MaterialType>(ObjectType::MaterialType, "materialtype"));
  types.push_back(bimAsset());
  types.push_back(physicalAsset());
  types.push_back(informationAsset());
  types.push_back(propertySet());
  types.push_back(valueDefinition());
  types.push_back(propertyDefinition());
  types.push_back(propertyNamespace());
  types.push_back(named<EntityType>(ObjectType::EntityType, "entitytype"));
  types.push_back(unit());
  types.push_back(measure());
  types.push_back(named<Layer>(ObjectType::Layer, "layer"));
  types.push_back(customProperty());
  types.push_back(XmlType{ObjectType::Tag, "tag",
                          {ownText<Tag>("tag", &Tag::name, &objects::setTagName)}, &objectName<Tag>, true});
  return types;
}

}  // namespace

const std::vector<XmlType>& xmlTypes() {
  static const std::vector<XmlType> types = buildTypes();
  return types;
}

}  // namespace tarnlib::exchange
