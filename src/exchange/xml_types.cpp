// Every type of the library XML format, described once: the element, its
// children in the order written, which may be nil and which are required.
// The field builders at the top turn an accessor pair into a writer and a
// reader of one child.
#include <cmath>
#include <functional>
#include <type_traits>
#include <unordered_map>

#include "exchange/property_value.h"
#include "exchange/xml_schema.h"
#include "objects/field_access.h"
#include "objects/shape.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/layer.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/tag.h"
#include "tarnlib/unit.h"

namespace tarnlib::exchange {

// ---- Shared reading helpers

void Reader::missing(pugi::xml_node parent, const char* name) {
  report(parent, OdString(L"Missing '") + OdString(name) + L"' property");
}
void Reader::invalid(pugi::xml_node node, const char* name, const char* text) {
  OdString shown;
  if (!fromXml(text, shown)) shown = OdString(text);  // replacement characters show where
  report(node, OdString(L"Invalid '") + OdString(name) + L"' property value: " + shown);
}
void Reader::empty(pugi::xml_node node, const char* name) {
  report(node, OdString(L"Property '") + OdString(name) + L"' can not be empty");
}
void Reader::nil(pugi::xml_node node, const char* name) {
  report(node, OdString(L"Property '") + OdString(name) + L"' can not be nil");
}

bool isNil(pugi::xml_node node) { return std::strcmp(node.attribute("xsi:nil").value(), "true") == 0; }

pugi::xml_node appendNil(pugi::xml_node parent, const char* name) {
  pugi::xml_node child = parent.append_child(name);
  child.append_attribute("xsi:nil").set_value("true");
  return child;
}

bool childText(Reader& reader, pugi::xml_node child, const char* name, OdString& out) {
  if (isNil(child)) {
    reader.nil(child, name);
    return false;
  }
  const char* text = child.text().get();
  if (!fromXml(text, out)) {
    reader.invalid(child, name, text);
    return false;
  }
  return true;
}

namespace {

enum Need { kOptional = 0, kRequired = 1 };

template <class C>
const C& as(const Object& o) {
  return static_cast<const C&>(o);
}
template <class C>
C& as(Object& o) {
  return static_cast<C&>(o);
}

// Reads a child's text as V; false (reported) when nil or malformed.
template <class V>
bool parseChild(Reader& reader, pugi::xml_node child, const char* name, V& out) {
  if (isNil(child)) {
    reader.nil(child, name);
    return false;
  }
  const char* text = child.text().get();
  bool ok;
  if constexpr (std::is_enum_v<V>) ok = parseName(text, out);
  else ok = parseValue(text, out);
  if (!ok) {
    if (*text == '\0') reader.empty(child, name);
    else reader.invalid(child, name, text);
  }
  return ok;
}

template <class V>
void formatChild(pugi::xml_node child, V value) {
  if constexpr (std::is_enum_v<V>) {
    const char* name = nameOf(value);
    if (name) child.text().set(name);
    else child.text().set(static_cast<long long>(value));
  } else {
    formatValue(child.text(), value);
  }
}

// ---- Field builders. Getters and setters are anything std::invoke takes:
// member functions, or functions of the object for fields without a public
// setter.

// A text, left out when empty.
template <class C, class Get, class Set>
XmlField text(const char* name, Get get, Set set, Need need = kOptional) {
  XmlField f;
  f.name = name;
  f.write = [name, get](const Object& o, pugi::xml_node e, Writer&) {
    const OdString& value = std::invoke(get, as<C>(o));
    if (!value.isEmpty()) setText(e.append_child(name), value);
  };
  f.read = [name, set, need](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child(name);
    if (!child) {
      if (need == kRequired) r.missing(e, name);
      return need != kRequired;
    }
    OdString value;
    if (!childText(r, child, name, value)) return false;
    if (need == kRequired && value.isEmpty()) {
      r.empty(child, name);
      return false;
    }
    std::invoke(set, as<C>(o), value);
    return true;
  };
  return f;
}

// The element's own text: the name of the types that are nothing but a name.
template <class C, class Get, class Set>
XmlField ownText(const char* element, Get get, Set set) {
  XmlField f;
  f.write = [get](const Object& o, pugi::xml_node e, Writer&) {
    const OdString& value = std::invoke(get, as<C>(o));
    if (!value.isEmpty()) setText(e, value);
  };
  f.read = [element, set](Object& o, pugi::xml_node e, Reader& r) {
    if (isNil(e)) {
      r.nil(e, element);
      return false;
    }
    OdString value;
    if (!fromXml(e.text().get(), value)) {
      r.invalid(e, element, e.text().get());
      return false;
    }
    if (value.isEmpty()) {
      r.empty(e, element);
      return false;
    }
    std::invoke(set, as<C>(o), value);
    return true;
  };
  return f;
}

// A text that may be absent, written as nil then.
template <class C, class Has, class Get, class Set, class Clear>
XmlField nillableText(const char* name, Has has, Get get, Set set, Clear clear) {
  XmlField f;
  f.name = name;
  f.write = [name, has, get](const Object& o, pugi::xml_node e, Writer&) {
    if (std::invoke(has, as<C>(o))) setText(e.append_child(name), std::invoke(get, as<C>(o)));
    else appendNil(e, name);
  };
  f.read = [name, set, clear](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child(name);
    if (!child || isNil(child)) {
      std::invoke(clear, as<C>(o));
      return true;
    }
    OdString value;
    if (!childText(r, child, name, value)) return false;
    std::invoke(set, as<C>(o), value);
    return true;
  };
  return f;
}

// A number, boolean or enumeration, always written. `valid` refuses values
// that parse but that the type cannot hold.
template <class C, class Get, class Set>
XmlField value(const char* name, Get get, Set set, Need need = kOptional, bool (*valid)(double) = nullptr) {
  using V = std::decay_t<std::invoke_result_t<Get, const C&>>;
  XmlField f;
  f.name = name;
  f.write = [name, get](const Object& o, pugi::xml_node e, Writer&) {
    formatChild(e.append_child(name), std::invoke(get, as<C>(o)));
  };
  f.read = [name, set, need, valid](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child(name);
    if (!child) {
      if (need == kRequired) r.missing(e, name);
      return need != kRequired;
    }
    V v{};
    if (!parseChild(r, child, name, v)) return false;
    if constexpr (std::is_arithmetic_v<V>) {
      if (valid && !valid(static_cast<double>(v))) {
        r.invalid(child, name, child.text().get());
        return false;
      }
    }
    std::invoke(set, as<C>(o), v);
    return true;
  };
  return f;
}

// A number that may be absent, written as nil then.
template <class C, class Has, class Get, class Set, class Clear>
XmlField nillableValue(const char* name, Has has, Get get, Set set, Clear clear) {
  using V = std::decay_t<std::invoke_result_t<Get, const C&>>;
  XmlField f;
  f.name = name;
  f.write = [name, has, get](const Object& o, pugi::xml_node e, Writer&) {
    if (std::invoke(has, as<C>(o))) formatChild(e.append_child(name), std::invoke(get, as<C>(o)));
    else appendNil(e, name);
  };
  f.read = [name, set, clear](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child(name);
    if (!child || isNil(child)) {
      std::invoke(clear, as<C>(o));
      return true;
    }
    V v{};
    if (!parseChild(r, child, name, v)) return false;
    std::invoke(set, as<C>(o), v);
    return true;
  };
  return f;
}

template <class P>
P narrowed(const TnSmartPtr<Object>& target) {
  using T = std::remove_const_t<typename P::element_type>;
  return P(TnSmartPtr<T>(static_cast<T*>(target.get())));
}

// A reference to a shared object.
template <class C, class Get, class Set>
XmlField reference(const char* name, ObjectType target, Get get, Set set, Need need = kOptional) {
  using P = std::decay_t<std::invoke_result_t<Get, const C&>>;
  XmlField f;
  f.name = name;
  f.write = [name, get](const Object& o, pugi::xml_node e, Writer& w) {
    const P& p = std::invoke(get, as<C>(o));
    w.reference(e.append_child(name), p.get());
  };
  f.read = [name, target, set, need](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child(name);
    if (!child) {
      if (need == kRequired) r.missing(e, name);
      return need != kRequired;
    }
    TnSmartPtr<Object> found;
    if (!r.resolve(child, target, found)) return false;
    if (!found && need == kRequired) {
      r.empty(child, name);
      return false;
    }
    std::invoke(set, as<C>(o), narrowed<P>(found));
    return true;
  };
  return f;
}

// A list of references: one `item` child per element, in list order.
template <class C, class Get, class Add>
XmlField referenceList(const char* name, const char* item, ObjectType target, Get get, Add add) {
  using P = typename std::decay_t<std::invoke_result_t<Get, const C&>>::value_type;
  XmlField f;
  f.name = name;
  f.write = [name, item, get](const Object& o, pugi::xml_node e, Writer& w) {
    const auto& list = std::invoke(get, as<C>(o));
    if (list.empty()) return;
    pugi::xml_node node = e.append_child(name);
    for (const auto& p : list) w.reference(node.append_child(item), p.get());
  };
  f.read = [name, item, target, add](Object& o, pugi::xml_node e, Reader& r) {
    for (pugi::xml_node child : e.child(name).children(item)) {
      TnSmartPtr<Object> found;
      if (!r.resolve(child, target, found)) return false;
      if (found) std::invoke(add, as<C>(o), narrowed<P>(found));
    }
    return true;
  };
  return f;
}

// An object the owner holds by itself, written in full inside the child.
template <class C, class Get, class Set>
XmlField owned(const char* name, ObjectType type, Get get, Set set) {
  using P = std::decay_t<std::invoke_result_t<Get, const C&>>;
  XmlField f;
  f.name = name;
  f.write = [name, get](const Object& o, pugi::xml_node e, Writer& w) {
    const P& p = std::invoke(get, as<C>(o));
    if (p) w.content(e.append_child(name), *p);
  };
  f.read = [name, type, set](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node child = e.child(name);
    if (!child || isNil(child)) return true;
    TnSmartPtr<Object> built;
    if (!r.build(*xmlTypeOf(type), child, built)) return false;
    std::invoke(set, as<C>(o), narrowed<P>(built));
    return true;
  };
  return f;
}

// ---- Structured values

void writeColor(pugi::xml_node node, const Color& color) {
  formatChild(node.append_child("type"), color.type);
  node.append_attribute("red").set_value(color.red);
  node.append_attribute("green").set_value(color.green);
  node.append_attribute("blue").set_value(color.blue);
  node.append_attribute("alpha").set_value(color.alpha);
}

// A numeric attribute; absent leaves `out` as it is.
bool readAttribute(Reader& r, pugi::xml_node node, const char* name, double& out) {
  pugi::xml_attribute a = node.attribute(name);
  if (!a) return true;
  if (parseValue(a.value(), out)) return true;
  r.invalid(node, name, a.value());
  return false;
}

bool readColor(Reader& r, pugi::xml_node node, Color& color) {
  if (pugi::xml_node type = node.child("type"); type && !parseChild(r, type, "type", color.type)) return false;
  return readAttribute(r, node, "red", color.red) && readAttribute(r, node, "green", color.green) &&
         readAttribute(r, node, "blue", color.blue) && readAttribute(r, node, "alpha", color.alpha);
}

template <class C, class Get, class Set>
XmlField pattern(const char* name, Get get, Set set) {
  XmlField f;
  f.name = name;
  f.write = [name, get](const Object& o, pugi::xml_node e, Writer&) {
    const Pattern& p = std::invoke(get, as<C>(o));
    pugi::xml_node node = e.append_child(name);
    formatChild(node.append_child("type"), p.type);
    if (!p.name.isEmpty()) setText(node.append_child("name"), p.name);
    node.append_attribute("scale").set_value(p.scale);
    node.append_attribute("angle").set_value(p.angle);
    formatChild(node.append_child("cross"), p.cross);
    formatChild(node.append_child("annotative"), p.annotative);
    writeColor(node.append_child("background_color"), p.background_color);
  };
  f.read = [name, set](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node node = e.child(name);
    if (!node || isNil(node)) return true;
    Pattern p;
    if (pugi::xml_node c = node.child("type"); c && !parseChild(r, c, "type", p.type)) return false;
    if (pugi::xml_node c = node.child("name"); c && !childText(r, c, "name", p.name)) return false;
    if (!readAttribute(r, node, "scale", p.scale) || !readAttribute(r, node, "angle", p.angle)) return false;
    if (pugi::xml_node c = node.child("cross"); c && !parseChild(r, c, "cross", p.cross)) return false;
    if (pugi::xml_node c = node.child("annotative"); c && !parseChild(r, c, "annotative", p.annotative))
      return false;
    if (pugi::xml_node c = node.child("background_color"); c && !readColor(r, c, p.background_color))
      return false;
    std::invoke(set, as<C>(o), p);
    return true;
  };
  return f;
}

// "Guid" content: a "value" child holding the text.
void writeGuid(pugi::xml_node node, const Guid& guid) { setText(node.append_child("value"), guid.toString()); }

bool readGuid(Reader& r, pugi::xml_node node, const char* name, Guid& out) {
  pugi::xml_node value = node.child("value");
  if (!value) {
    r.missing(node, "value");
    return false;
  }
  OdString text;
  if (!childText(r, value, name, text)) return false;
  out = Guid(std::move(text));
  return true;
}

// The object's own GUID and the set of GUIDs merged into it.
template <class C>
std::vector<XmlField> guids() {
  XmlField guid;
  guid.name = "guid";
  guid.write = [](const Object& o, pugi::xml_node e, Writer&) {
    const Guid& g = as<C>(o).guid();
    if (!g.isEmpty()) writeGuid(e.append_child("guid"), g);
  };
  guid.read = [](Object& o, pugi::xml_node e, Reader& r) {
    pugi::xml_node node = e.child("guid");
    if (!node || isNil(node)) return true;
    Guid g;
    if (!readGuid(r, node, "guid", g)) return false;
    as<C>(o).set_guid(g);
    return true;
  };
  XmlField merged;
  merged.name = "merge_guid";
  merged.write = [](const Object& o, pugi::xml_node e, Writer&) {
    const std::set<Guid>& set = as<C>(o).merge_guids();
    if (set.empty()) return;
    pugi::xml_node node = e.append_child("merge_guid");
    for (const Guid& g : set) writeGuid(node.append_child("Guid"), g);
  };
  merged.read = [](Object& o, pugi::xml_node e, Reader& r) {
    std::set<Guid> set;
    for (pugi::xml_node item : e.child("merge_guid").children("Guid")) {
      Guid g;
      if (!readGuid(r, item, "merge_guid", g)) return false;
      set.insert(std::move(g));
    }
    if (!set.empty()) as<C>(o).set_merge_guids() = std::move(set);
    return true;
  };
  return {guid, merged};
}

// Among custom properties of one name: the carrier's own first, then one for
// any type, then one of another type (which the value then refuses).
int customPropertyRank(const Object& candidate, ObjectType carrier) {
  const ObjectType type = static_cast<const CustomProperty&>(candidate).object_type();
  return type == carrier ? 0 : type == ObjectType{0} ? 1 : 2;
}

// The custom values of a material or a composition: one "value" child per
// value, referring to its property like any reference (or naming it with
// "generic" when it is not bound to a stored one), the value as its text.
template <class C>
XmlField customValues(ObjectType carrier) {
  XmlField f;
  f.name = "custom_value";
  f.write = [](const Object& o, pugi::xml_node e, Writer& w) {
    const auto& values = as<C>(o).custom_values();
    if (values.empty()) return;
    pugi::xml_node list = e.append_child("custom_value");
    for (const auto& [key, text] : values) {
      pugi::xml_node item = list.append_child("value");
      if (key->id() == 0) setAttribute(item, "generic", key->name());
      else if (!w.reference(item, key.property().get())) continue;
      setText(item, text);
    }
  };
  f.read = [carrier](Object& o, pugi::xml_node e, Reader& r) {
    for (pugi::xml_node item : e.child("custom_value").children("value")) {
      OdString text;
      if (!fromXml(item.text().get(), text)) {
        r.invalid(item, "custom_value", item.text().get());
        return false;
      }
      if (pugi::xml_attribute generic = item.attribute("generic")) {
        OdString name;
        if (!fromXml(generic.value(), name) || name.isEmpty()) {
          r.invalid(item, "generic", generic.value());
          return false;
        }
        as<C>(o).set_custom_value(name, text);
        continue;
      }
      if (!item.attribute("id") && !item.attribute("name")) {
        r.report(item, OdString(L"custom_value has no name attribute"));
        return false;
      }
      TnSmartPtr<Object> found;
      if (!r.resolve(item, ObjectType::CustomProperty, found, &customPropertyRank, carrier)) return false;
      auto property = narrowed<TnSmartPtr<const CustomProperty>>(found);
      if (!property) continue;
      if (property->object_type() != carrier && property->object_type() != ObjectType{0}) {
        r.report(item, property->name() + L" refers to custom property with incorrect object type");
        return false;
      }
      as<C>(o).set_custom_value(property, text);
    }
    return true;
  };
  return f;
}

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
    for (const auto& d : list) w.content(node.append_child(xmlTypeOf(d->tarnlibType())->element), *d);
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

const XmlType* xmlTypeOf(ObjectType type) {
  for (const XmlType& t : xmlTypes())
    if (t.type == type) return &t;
  return nullptr;
}

const XmlType* xmlTypeNamed(const char* element) {
  for (const XmlType& t : xmlTypes())
    if (std::strcmp(t.element, element) == 0) return &t;
  return nullptr;
}

OdString elementName(const XmlType& type, pugi::xml_node element) {
  OdString name;
  fromXml(type.namedByText ? element.text().get() : element.child("name").text().get(), name);
  return name;
}

}  // namespace tarnlib::exchange
