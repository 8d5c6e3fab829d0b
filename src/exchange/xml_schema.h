// The library XML format as data: for each type, its element name and the
// list of its fields, each of which knows its child element's name, whether it
// may be nil, whether the type needs it, and how to write it and read it back.
// The export and the import walk the same lists, so they cannot disagree about
// a name, an order or an encoding.
#ifndef TARNLIB_EXCHANGE_XML_SCHEMA_H_
#define TARNLIB_EXCHANGE_XML_SCHEMA_H_

#include <pugixml.hpp>

#include <functional>
#include <string>
#include <vector>

#include "exchange/xml_values.h"
#include "tarnlib/object.h"

namespace tarnlib::exchange {

struct XmlType;

// What a field's writer may ask of the export.
class Writer {
 public:
  // Makes `element` a reference to `target` (by id or by name). A missing
  // target removes the element unless empty references are kept; false then.
  virtual bool reference(pugi::xml_node element, const Object* target) = 0;
  // Writes the full content of an object that another one owns into `element`.
  virtual void content(pugi::xml_node element, const Object& object) = 0;
  bool referencesByName = false;

 protected:
  ~Writer() = default;
};

// What a field's reader may ask of the import. Every "false" below has already
// been reported at severity 3.
class Reader {
 public:
  // The stored object `element` refers to; null for an empty reference.
  // Among several objects of the name, `rank` prefers the lowest rank and
  // excludes a negative one.
  using Rank = int (*)(const Object& candidate, ObjectType owner);
  virtual bool resolve(pugi::xml_node element, ObjectType target, TnSmartPtr<Object>& out,
                       Rank rank = nullptr, ObjectType owner = ObjectType{0}) = 0;
  // A new object of the element's definition (owned objects: assets inside a
  // material, definitions inside a property set); not saved.
  virtual bool build(const XmlType& type, pugi::xml_node element, TnSmartPtr<Object>& out) = 0;
  virtual void report(pugi::xml_node node, const OdString& text) = 0;

  // The messages of the value table.
  void missing(pugi::xml_node parent, const char* name);
  void invalid(pugi::xml_node node, const char* name, const char* text);
  void empty(pugi::xml_node node, const char* name);
  void nil(pugi::xml_node node, const char* name);

 protected:
  ~Reader() = default;
};

// Whether a child element is written as nil, or absent when left out.
bool isNil(pugi::xml_node node);
pugi::xml_node appendNil(pugi::xml_node parent, const char* name);

// The text of a present, non-nil child; false (reported) for a nil child of a
// field that cannot be nil or for text that is not UTF-8.
bool childText(Reader& reader, pugi::xml_node child, const char* name, OdString& out);

struct XmlField {
  std::string name;  // the child element; empty for the element's own text
  std::function<void(const Object& object, pugi::xml_node element, Writer& writer)> write;
  // False after a message: the element is then not saved.
  std::function<bool(Object& object, pugi::xml_node element, Reader& reader)> read;
};

struct XmlType {
  ObjectType type;
  const char* element;
  std::vector<XmlField> fields;
  // What a reference by name carries, and how the document's elements of this
  // type are matched against it.
  OdString (*name)(const Object& object) = nullptr;
  bool namedByText = false;  // the name is the element's own text
  // The name alone is the type's unique key: an owned copy of an object that
  // the document also defines is that object.
  bool nameIsKey = false;
  // For a type whose unique key may hold a NULL (and so never collides): whether
  // a new object is the same as a stored one of its name. The import then
  // uses the stored one instead of adding a twin.
  bool (*sameAs)(const Object& built, const Object& stored) = nullptr;
};

// Every type of the format in the order of the document's groups.
const std::vector<XmlType>& xmlTypes();
const XmlType* xmlTypeOf(ObjectType type);
const XmlType* xmlTypeNamed(const char* element);

// What an element of a type carries as its name, for matching references by
// name against the document: the text or the "name" child's text.
OdString elementName(const XmlType& type, pugi::xml_node element);

}  // namespace tarnlib::exchange

#endif  // TARNLIB_EXCHANGE_XML_SCHEMA_H_
