// Property definitions: what a host may attach to building elements. A
// PropertyNamespace groups definitions; an EntityType names a kind of element
// (a wall, a window); an AbstractDefinition is a named, typed property of a
// namespace, either a PropertyDefinition (with a default value as JSON text)
// or a ValueDefinition; a PropertySet lists definitions, in display order, for
// given entity types.
//
// Names are unique: namespaces and entity types in the library, definitions
// and sets within their namespace. Labels and IFC names are display data: the
// equality operators compare only whether they are present.
//
// Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_PROPERTY_H_
#define TARNLIB_PROPERTY_H_

#include <cstdint>
#include <type_traits>
#include <vector>

#include "tarnlib/criteria.h"
#include "tarnlib/keys.h"
#include "tarnlib/object.h"
#include "tarnlib/unit.h"

namespace tarnlib {

class TARNLIB_EXPORT PropertyNamespace : public Object {
  TARNLIB_DECLARE_OBJECT(PropertyNamespace)
  TARNLIB_DECLARE_PERSISTENT(PropertyNamespace)

  // Editable and visible, revision 0.
  static TnSmartPtr<PropertyNamespace> create(const OdString& name);
  static TnSmartPtr<PropertyNamespace> create(const OdString& name, const OdString& label);

  const OdString& name() const;
  void set_name(const OdString& name);
  const OdString& label() const;  // empty when absent
  bool has_label() const;
  void set_label(const OdString& label);
  void clear_label();
  bool editable() const;
  void set_editable(bool editable);
  bool visible() const;
  void set_visible(bool visible);
  std::uint32_t revision() const;
  void set_revision(std::uint32_t revision);

  // Same runtime class, name, flags and revision; labels by presence only.
  bool operator==(const PropertyNamespace& other) const;
  bool operator!=(const PropertyNamespace& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<PropertyNamespace> {
  static constexpr ObjectType type = ObjectType::PropertyNamespace;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT EntityType : public Object {
  TARNLIB_DECLARE_OBJECT(EntityType)
  TARNLIB_DECLARE_PERSISTENT(EntityType)

  static TnSmartPtr<EntityType> create(const OdString& name);

  const OdString& name() const;
  void set_name(const OdString& name);

  bool operator==(const EntityType& other) const;  // equal names
  bool operator!=(const EntityType& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<EntityType> {
  static constexpr ObjectType type = ObjectType::EntityType;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

// The type of a property's value: a structure (single value, array or map) of
// a value type, keyed by a key type for maps. A "struct" is stored as an array
// of Any and a "dictionary" as a map of its key type to Any: there are no codes
// of their own for them.
struct TARNLIB_EXPORT PropertyType {
  // Scoped, as the factories below carry the same names.
  enum class Structure : std::uint32_t { Undefined = 0, Single = 1, Array = 2, Map = 3 };
  enum Type : std::uint32_t {
    Any = 0,
    Bool = 1,
    Int8 = 2,
    UInt8 = 3,
    Int16 = 4,
    UInt16 = 5,
    Int32 = 6,
    UInt32 = 7,
    Int64 = 8,
    UInt64 = 9,
    Double = 10,
    String = 11,
    Handle = 12,
    ObjectId = 13,
    Vector2d = 14,
    Point2d = 15,
    Vector3d = 16,
    Point3d = 17,
    Binary = 18,
  };

  Structure structure = Structure::Undefined;
  Type value_type = Any;
  Type key_type = Any;

  // Each factory has a set... twin that overwrites all three fields.
  static PropertyType Undefined() { return PropertyType(); }
  static PropertyType Single(Type t) { return PropertyType(Structure::Single, t, Any); }
  static PropertyType Array(Type t) { return PropertyType(Structure::Array, t, Any); }
  static PropertyType Map(Type key, Type value) { return PropertyType(Structure::Map, value, key); }
  static PropertyType Struct() { return PropertyType(Structure::Array, Any, Any); }
  static PropertyType Dictionary(Type key) { return PropertyType(Structure::Map, Any, key); }
  void setUndefined() { *this = Undefined(); }
  void setSingle(Type t) { *this = Single(t); }
  void setArray(Type t) { *this = Array(t); }
  void setMap(Type key, Type value) { *this = Map(key, value); }
  void setStruct() { *this = Struct(); }
  void setDictionary(Type key) { *this = Dictionary(key); }

  PropertyType() = default;
  PropertyType(Structure s, Type value, Type key) : structure(s), value_type(value), key_type(key) {}
};

inline bool operator==(const PropertyType& a, const PropertyType& b) {
  return a.structure == b.structure && a.value_type == b.value_type && a.key_type == b.key_type;
}
inline bool operator!=(const PropertyType& a, const PropertyType& b) { return !(a == b); }

// The words of library XML ("Single", "Double"); null for a value that is none.
TARNLIB_EXPORT const wchar_t* propertyStructureName(PropertyType::Structure structure);
TARNLIB_EXPORT const wchar_t* propertyTypeName(PropertyType::Type type);

// The root of the two kinds of definition; never instantiated itself.
class TARNLIB_EXPORT AbstractDefinition : public Object {
  TARNLIB_DECLARE_OBJECT(AbstractDefinition)

 public:
  struct Impl;  // both kinds keep their fields here
  ~AbstractDefinition() override;
  Impl& impl() { return *impl_; }
  const Impl& impl() const { return *impl_; }

  // Required when stored: saving without a namespace throws NullPointer.
  const TnSmartPtr<const PropertyNamespace>& ns() const;
  const OdString& name() const;
  void set_name(const OdString& name);
  const OdString& label() const;  // empty when absent
  bool has_label() const;
  void set_label(const OdString& label);
  void clear_label();
  const OdString& description() const;
  void set_description(const OdString& description);
  // Single String unless given.
  const PropertyType& type() const;
  void set_type(const PropertyType& type);
  // The unit of numeric values; may be null.
  const TnSmartPtr<const Unit>& unit() const;
  void set_unit(const TnSmartPtr<const Unit>& unit);
  bool visible() const;
  void set_visible(bool visible);

 protected:
  explicit AbstractDefinition(std::unique_ptr<Impl> impl);
  AbstractDefinition(const AbstractDefinition&) = delete;
  ::tarnlib::ObjectState& state() override;
  const ::tarnlib::ObjectState& state() const override;
  // Same runtime class, namespaces equal, names, descriptions, types, units and
  // visibility equal; labels by presence only.
  bool operator==(const AbstractDefinition& other) const;

  std::unique_ptr<Impl> impl_;
};

// The boilerplate of the two kinds of definition.
#define TARNLIB_DECLARE_DEFINITION(Class)                                                               \
 public:                                                                                               \
  static TnSmartPtr<Class> create(const TnSmartPtr<const PropertyNamespace>& ns);                     \
  static TnSmartPtr<Class> create(const TnSmartPtr<const PropertyNamespace>& ns, const OdString& name); \
  static TnSmartPtr<Class> create(const TnSmartPtr<const PropertyNamespace>& ns, const OdString& name,  \
                                  const PropertyType& type);                                           \
  TARNLIB_DECLARE_TREE_MEMBER(Class, AbstractDefinition)

// The kinds a default value is read and written as.
template <class T>
constexpr bool kDefaultValueType = std::is_same_v<T, bool> || std::is_same_v<T, int> ||
                                   std::is_same_v<T, double> || std::is_same_v<T, OdString>;

class TARNLIB_EXPORT PropertyDefinition : public AbstractDefinition {
  TARNLIB_DECLARE_OBJECT(PropertyDefinition)
  TARNLIB_DECLARE_DEFINITION(PropertyDefinition)

  // Opaque text kept for the host.
  const OdString& type_spec() const;
  void set_type_spec(const OdString& spec);

  // The default value as JSON text, stored as given.
  const OdString& default_value() const;
  void set_default_value(const OdString& json);
  // The default read as a bool (a JSON true or false), an int (a JSON integer
  // in range; 2.5 is refused), a double (a JSON number; an integer converts) or
  // the text itself (OdString: always). False, and `out` untouched, when the
  // text is not JSON or holds another kind. Never throws.
  template <class T>
  std::enable_if_t<kDefaultValueType<T>, bool> default_value(T& out) const;
  // Writes bool, int and double as JSON (a double so that reading it back
  // gives the same double), an OdString as it is. An equal text leaves the
  // definition clean. NaN and infinities, which JSON lacks, throw DatabaseError
  // and leave the default as it was.
  template <class T>
  std::enable_if_t<kDefaultValueType<T>> set_default_value(const T& value);

  bool operator==(const PropertyDefinition& other) const;
  bool operator!=(const PropertyDefinition& other) const { return !(*this == other); }
};

template <> TARNLIB_EXPORT bool PropertyDefinition::default_value<bool>(bool& out) const;
template <> TARNLIB_EXPORT bool PropertyDefinition::default_value<int>(int& out) const;
template <> TARNLIB_EXPORT bool PropertyDefinition::default_value<double>(double& out) const;
template <> TARNLIB_EXPORT bool PropertyDefinition::default_value<OdString>(OdString& out) const;
template <> TARNLIB_EXPORT void PropertyDefinition::set_default_value<bool>(const bool& value);
template <> TARNLIB_EXPORT void PropertyDefinition::set_default_value<int>(const int& value);
template <> TARNLIB_EXPORT void PropertyDefinition::set_default_value<double>(const double& value);
template <> TARNLIB_EXPORT void PropertyDefinition::set_default_value<OdString>(const OdString& value);

class TARNLIB_EXPORT ValueDefinition : public AbstractDefinition {
  TARNLIB_DECLARE_OBJECT(ValueDefinition)
  TARNLIB_DECLARE_DEFINITION(ValueDefinition)

  const OdString& value_spec() const;
  void set_value_spec(const OdString& spec);

  bool operator==(const ValueDefinition& other) const;
  bool operator!=(const ValueDefinition& other) const { return !(*this == other); }
};

// Definitions by name, namespace name and label.
struct TARNLIB_EXPORT AbstractDefinitionCriteria {
  StringCriteria name;
  StringCriteria ns;     // the namespace's name
  StringCriteria label;  // unset(): definitions without a label
};

#define TARNLIB_DEFINITION_TRAITS(Class)                      \
  template <>                                                 \
  struct ObjectTraits<Class> {                                \
    static constexpr ObjectType type = ObjectType::Class;     \
    using unique_key_type = DefinitionKey;                    \
    using criteria_type = AbstractDefinitionCriteria;         \
  };

TARNLIB_DEFINITION_TRAITS(AbstractDefinition)
TARNLIB_DEFINITION_TRAITS(PropertyDefinition)
TARNLIB_DEFINITION_TRAITS(ValueDefinition)

class TARNLIB_EXPORT PropertySet : public Object {
  TARNLIB_DECLARE_OBJECT(PropertySet)
  TARNLIB_DECLARE_PERSISTENT(PropertySet)

  using Definitions = std::vector<TnSmartPtr<const AbstractDefinition>>;
  using EntityTypes = std::vector<TnSmartPtr<const EntityType>>;

  static TnSmartPtr<PropertySet> create(const TnSmartPtr<const PropertyNamespace>& ns);
  static TnSmartPtr<PropertySet> create(const TnSmartPtr<const PropertyNamespace>& ns, const OdString& name);

  // Required when stored: saving without a namespace throws NullPointer.
  const TnSmartPtr<const PropertyNamespace>& ns() const;
  const OdString& name() const;
  void set_name(const OdString& name);
  const OdString& label() const;  // empty when absent
  bool has_label() const;
  void set_label(const OdString& label);
  void clear_label();
  bool per_instance() const;
  void set_per_instance(bool perInstance);
  const OdString& ifc_name() const;  // empty when absent
  bool has_ifc_name() const;
  void set_ifc_name(const OdString& name);
  void clear_ifc_name();
  bool visible() const;
  void set_visible(bool visible);

  // ---- Definitions, in display order. Every change marks the set dirty. A
  // definition is in a set once: adding one that is there already (the same
  // object, or one of the same name) is refused, as is null.
  const Definitions& definitions() const;
  // Those of one kind, in list order, as new lists.
  std::vector<TnSmartPtr<const PropertyDefinition>> property_definitions() const;
  std::vector<TnSmartPtr<const ValueDefinition>> value_definitions() const;
  bool append_definition(const TnSmartPtr<const AbstractDefinition>& definition);
  // False, nothing changed, for a position past the end.
  bool insert_definition(std::size_t position, const TnSmartPtr<const AbstractDefinition>& definition);
  // Make a definition of the set's namespace, add it at the end or at
  // `position`, and return it; null (nothing changed) for a position past the
  // end or a name the set holds already.
  TnSmartPtr<PropertyDefinition> append_property_definition(const OdString& name, const PropertyType& type);
  TnSmartPtr<ValueDefinition> append_value_definition(const OdString& name, const PropertyType& type);
  TnSmartPtr<PropertyDefinition> insert_property_definition(std::size_t position, const OdString& name,
                                                            const PropertyType& type);
  TnSmartPtr<ValueDefinition> insert_value_definition(std::size_t position, const OdString& name,
                                                      const PropertyType& type);
  // Returns the position of the definition that followed the removed one; for
  // a position past the end, the number of definitions, nothing removed.
  std::size_t remove_definition(std::size_t position);
  bool remove_definition(const OdString& name);
  bool remove_definition(const TnSmartPtr<const AbstractDefinition>& definition);
  // Swap two definitions; the property and value forms count positions among
  // the definitions of their kind. False, nothing changed, for a position past
  // the end.
  bool swap_definitions(std::size_t i, std::size_t j);
  bool swap_property_definitions(std::size_t i, std::size_t j);
  bool swap_value_definitions(std::size_t i, std::size_t j);
  void clear_definitions();

  // ---- Entity types the set applies to, in order; each once (by name).
  const EntityTypes& entity_types() const;
  // Add at the end; false when the set has one of that name already or for null.
  bool insert_entity_type(const OdString& name);
  bool insert_entity_type(const TnSmartPtr<const EntityType>& type);
  // Same return rule as remove_definition(position).
  std::size_t remove_entity_type(std::size_t position);
  bool remove_entity_type(const OdString& name);
  bool remove_entity_type(const TnSmartPtr<const EntityType>& type);

  // Same runtime class, namespaces equal, names, per_instance and visibility
  // equal, the definition lists equal element by element, the entity types
  // equal by name in order; label and IFC name by presence only.
  bool operator==(const PropertySet& other) const;
  bool operator!=(const PropertySet& other) const { return !(*this == other); }
};

// Sets by name, namespace name, IFC name and an entity type they apply to.
struct TARNLIB_EXPORT PropertySetCriteria {
  StringCriteria name;
  StringCriteria ns;           // the namespace's name
  StringCriteria ifc_name;     // unset(): sets without one
  StringCriteria entity_type;  // sets applying to an entity type of such a name
};

template <>
struct ObjectTraits<PropertySet> {
  static constexpr ObjectType type = ObjectType::PropertySet;
  using unique_key_type = DefinitionKey;
  using criteria_type = PropertySetCriteria;
};

// One definition of one property set, seen through the set's name.
struct TARNLIB_EXPORT PropertySetDefinitionRow {
  std::uint32_t set_id = 0;
  OdString set_name;
  OdString ns;              // the set's namespace
  std::uint32_t position = 0;  // in the set's list
  std::uint32_t definition_id = 0;
  ObjectType definition_class = ObjectType::AbstractDefinition;
  OdString definition_name;
  PropertyType type;
  OdString unit_label;      // empty without a unit
};

// The definitions of the property sets matching the criteria, in one SQL
// query, ordered by namespace, set name and position:
// Library::get<PropertySetDefinitionQueryByName>(rows, query).
struct TARNLIB_EXPORT PropertySetDefinitionQueryByName {
  using Row = PropertySetDefinitionRow;
  StringCriteria set_name;
  StringCriteria ns;
  StringCriteria definition_name;
};

}  // namespace tarnlib

#endif  // TARNLIB_PROPERTY_H_
