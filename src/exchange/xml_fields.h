// The builders of XmlField: each turns an accessor pair (member functions, or
// functions of the object for fields without a public setter; anything
// std::invoke takes) into the writer and the reader of one child element, and
// the encodings of the values that several types share (patterns, GUIDs,
// custom values). Only the type descriptions in xml_types.cpp include it.
#ifndef TARNLIB_EXCHANGE_XML_FIELDS_H_
#define TARNLIB_EXCHANGE_XML_FIELDS_H_

#include <cmath>
#include <functional>
#include <set>
#include <type_traits>
#include <vector>

#include "exchange/xml_schema.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/material.h"

namespace tarnlib::exchange::fields {

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

inline void writeColor(pugi::xml_node node, const Color& color) {
  formatChild(node.append_child("type"), color.type);
  node.append_attribute("red").set_value(color.red);
  node.append_attribute("green").set_value(color.green);
  node.append_attribute("blue").set_value(color.blue);
  node.append_attribute("alpha").set_value(color.alpha);
}

// A numeric attribute; absent leaves `out` as it is.
inline bool readAttribute(Reader& r, pugi::xml_node node, const char* name, double& out) {
  pugi::xml_attribute a = node.attribute(name);
  if (!a) return true;
  if (parseValue(a.value(), out)) return true;
  r.invalid(node, name, a.value());
  return false;
}

inline bool readColor(Reader& r, pugi::xml_node node, Color& color) {
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
inline void writeGuid(pugi::xml_node node, const Guid& guid) { setText(node.append_child("value"), guid.toString()); }

inline bool readGuid(Reader& r, pugi::xml_node node, const char* name, Guid& out) {
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
inline int customPropertyRank(const Object& candidate, ObjectType carrier) {
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

}  // namespace tarnlib::exchange::fields

#endif  // TARNLIB_EXCHANGE_XML_FIELDS_H_
