// Property namespaces, entity types, the two kinds of definition with their
// typed default values, property sets with their ordered lists, their keys,
// criteria and the by-name query.
#include "tarnlib/property.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <nlohmann/json.hpp>

#include "core/schema.h"
#include "access/row_query.h"
#include "objects/carriers.h"
#include "objects/class_support.h"
#include "objects/field_access.h"
#include "tarnlib/exceptions.h"

namespace tarnlib {

const wchar_t* propertyStructureName(PropertyType::Structure structure) {
  static const wchar_t* const names[] = {L"Undefined", L"Single", L"Array", L"Map"};
  const auto i = static_cast<std::uint32_t>(structure);
  return i < 4 ? names[i] : nullptr;
}

const wchar_t* propertyTypeName(PropertyType::Type type) {
  static const wchar_t* const names[] = {L"Any",    L"Bool",    L"Int8",     L"UInt8",    L"Int16",
                                         L"UInt16", L"Int32",   L"UInt32",   L"Int64",    L"UInt64",
                                         L"Double", L"String",  L"Handle",   L"ObjectId", L"Vector2d",
                                         L"Point2d", L"Vector3d", L"Point3d", L"Binary"};
  const auto i = static_cast<std::uint32_t>(type);
  return i < 19 ? names[i] : nullptr;
}

const std::set<ObjectType>& Library::propertyTypes() {
  static const std::set<ObjectType> types = {ObjectType::PropertyNamespace,  ObjectType::EntityType,
                                             ObjectType::AbstractDefinition, ObjectType::PropertyDefinition,
                                             ObjectType::ValueDefinition,    ObjectType::PropertySet};
  return types;
}

namespace {

// Optional texts: an absent one reads as empty.
const OdString& textOf(const std::optional<OdString>& text) {
  static const OdString none;
  return text ? *text : none;
}

}  // namespace

// The accessors of an optional text field `member` of a class's record.
#define TARNLIB_OPTIONAL_TEXT(Class, member)                                                        \
  const OdString& Class::member() const { return textOf(impl_->member); }                           \
  bool Class::has_##member() const { return impl_->member.has_value(); }                            \
  void Class::set_##member(const OdString& value) {                                                 \
    objects::assignIfChanged(impl_->member, std::optional<OdString>(value), impl_->state);          \
  }                                                                                                 \
  void Class::clear_##member() {                                                                    \
    objects::assignIfChanged(impl_->member, std::optional<OdString>(), impl_->state);               \
  }

#define TARNLIB_PLAIN_FIELD(Class, Type, member)                                                    \
  Type Class::member() const { return impl_->member; }                                              \
  void Class::set_##member(Type value) { objects::assignIfChanged(impl_->member, value, impl_->state); }

#define TARNLIB_TEXT_FIELD(Class, member)                                                           \
  const OdString& Class::member() const { return impl_->member; }                                   \
  void Class::set_##member(const OdString& value) {                                                 \
    objects::assignIfChanged(impl_->member, value, impl_->state);                                   \
  }

// ---- PropertyNamespace

struct PropertyNamespace::Impl {
  ObjectState state;
  OdString name;
  std::optional<OdString> label;
  bool editable = true;
  bool visible = true;
  std::uint32_t revision = 0;
};

TARNLIB_DEFINE_OBJECT(PropertyNamespace, Object)
TARNLIB_DEFINE_PERSISTENT(PropertyNamespace)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(PropertyNamespace);
TARNLIB_INSTANTIATE_KEY_LOOKUP(PropertyNamespace, NameKey)

TnSmartPtr<PropertyNamespace> PropertyNamespace::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<PropertyNamespace> ns(new PropertyNamespace());
  ns->impl_->name = name;
  return ns;
}

TnSmartPtr<PropertyNamespace> PropertyNamespace::create(const OdString& name, const OdString& label) {
  TnSmartPtr<PropertyNamespace> ns = create(name);
  ns->impl_->label = label;
  return ns;
}

TARNLIB_TEXT_FIELD(PropertyNamespace, name)
TARNLIB_OPTIONAL_TEXT(PropertyNamespace, label)
TARNLIB_PLAIN_FIELD(PropertyNamespace, bool, editable)
TARNLIB_PLAIN_FIELD(PropertyNamespace, bool, visible)
TARNLIB_PLAIN_FIELD(PropertyNamespace, std::uint32_t, revision)

bool PropertyNamespace::operator==(const PropertyNamespace& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  return Object::operator==(other) && a.name == b.name && a.label.has_value() == b.label.has_value() &&
         a.editable == b.editable && a.visible == b.visible && a.revision == b.revision;
}

// ---- EntityType

struct EntityType::Impl {
  ObjectState state;
  OdString name;
};

TARNLIB_DEFINE_OBJECT(EntityType, Object)
TARNLIB_DEFINE_PERSISTENT(EntityType)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(EntityType);
TARNLIB_INSTANTIATE_KEY_LOOKUP(EntityType, NameKey)

TnSmartPtr<EntityType> EntityType::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<EntityType> type(new EntityType());
  type->impl_->name = name;
  return type;
}

TARNLIB_TEXT_FIELD(EntityType, name)

bool EntityType::operator==(const EntityType& other) const {
  return Object::operator==(other) && impl_->name == other.impl_->name;
}

// ---- Definitions

struct AbstractDefinition::Impl {
  ObjectState state;
  TnSmartPtr<const PropertyNamespace> ns;
  OdString name;
  std::optional<OdString> label;
  OdString description;
  PropertyType type = PropertyType::Single(PropertyType::String);
  TnSmartPtr<const Unit> unit;
  bool visible = true;
  OdString type_spec;      // property definitions
  OdString default_value;  // property definitions: JSON text
  OdString value_spec;     // value definitions
};

TARNLIB_DEFINE_ABSTRACT_OBJECT(AbstractDefinition, Object)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(AbstractDefinition);
TARNLIB_INSTANTIATE_KEY_LOOKUP(AbstractDefinition, DefinitionKey)

AbstractDefinition::AbstractDefinition(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AbstractDefinition::~AbstractDefinition() = default;
ObjectState& AbstractDefinition::state() { return impl_->state; }
const ObjectState& AbstractDefinition::state() const { return impl_->state; }

const TnSmartPtr<const PropertyNamespace>& AbstractDefinition::ns() const { return impl_->ns; }
TARNLIB_TEXT_FIELD(AbstractDefinition, name)
TARNLIB_OPTIONAL_TEXT(AbstractDefinition, label)
TARNLIB_TEXT_FIELD(AbstractDefinition, description)
const PropertyType& AbstractDefinition::type() const { return impl_->type; }
void AbstractDefinition::set_type(const PropertyType& type) {
  objects::assignIfChanged(impl_->type, type, impl_->state);
}
const TnSmartPtr<const Unit>& AbstractDefinition::unit() const { return impl_->unit; }
void AbstractDefinition::set_unit(const TnSmartPtr<const Unit>& unit) {
  objects::assignIfChanged(impl_->unit, unit, impl_->state);
}
TARNLIB_PLAIN_FIELD(AbstractDefinition, bool, visible)

bool AbstractDefinition::operator==(const AbstractDefinition& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  return Object::operator==(other) && objects::sameValue(a.ns, b.ns) && a.name == b.name &&
         a.label.has_value() == b.label.has_value() && a.description == b.description && a.type == b.type &&
         objects::sameValue(a.unit, b.unit) && a.visible == b.visible;
}

#define TARNLIB_DEFINE_DEFINITION(Class)                                                            \
  TARNLIB_DEFINE_OBJECT(Class, AbstractDefinition)                                                  \
  Class::Class() : AbstractDefinition(std::make_unique<AbstractDefinition::Impl>()) {}              \
  Class::Class(std::unique_ptr<AbstractDefinition::Impl> impl) : AbstractDefinition(std::move(impl)) {} \
  OdRxObjectPtr Class::clone() const {                                                              \
    auto copy = std::make_unique<AbstractDefinition::Impl>(*impl_);                                 \
    copy->state = ObjectState{};                                                                    \
    return OdRxObjectPtr(new Class(std::move(copy)));                                               \
  }                                                                                                 \
  TnSmartPtr<Class> Class::create(const TnSmartPtr<const PropertyNamespace>& ns) {                  \
    return create(ns, OdString());                                                                  \
  }                                                                                                 \
  TnSmartPtr<Class> Class::create(const TnSmartPtr<const PropertyNamespace>& ns, const OdString& name) { \
    return create(ns, name, PropertyType::Single(PropertyType::String));                            \
  }                                                                                                 \
  TnSmartPtr<Class> Class::create(const TnSmartPtr<const PropertyNamespace>& ns, const OdString& name, \
                                  const PropertyType& type) {                                       \
    objects::ensureClasses();                                                                       \
    TnSmartPtr<Class> definition(new Class());                                                      \
    definition->impl_->ns = ns;                                                                     \
    definition->impl_->name = name;                                                                 \
    definition->impl_->type = type;                                                                 \
    return definition;                                                                              \
  }                                                                                                 \
  TARNLIB_DEFINE_SAVE(Class)                                                                        \
  TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Class);                                                    \
  TARNLIB_INSTANTIATE_KEY_LOOKUP(Class, DefinitionKey)

TARNLIB_DEFINE_DEFINITION(PropertyDefinition)
TARNLIB_DEFINE_DEFINITION(ValueDefinition)

TARNLIB_TEXT_FIELD(PropertyDefinition, type_spec)
const OdString& PropertyDefinition::default_value() const { return impl_->default_value; }
void PropertyDefinition::set_default_value(const OdString& json) {
  objects::assignIfChanged(impl_->default_value, json, impl_->state);
}

namespace {

// The stored default as JSON; discarded when it is not JSON.
nlohmann::json parsedDefault(const OdString& text) {
  return nlohmann::json::parse(text.toUtf8(), nullptr, false);
}

}  // namespace

template <>
bool PropertyDefinition::default_value<bool>(bool& out) const {
  const nlohmann::json value = parsedDefault(impl_->default_value);
  if (!value.is_boolean()) return false;
  out = value.get<bool>();
  return true;
}

template <>
bool PropertyDefinition::default_value<int>(int& out) const {
  const nlohmann::json value = parsedDefault(impl_->default_value);
  if (value.is_number_unsigned()) {
    const auto v = value.get<std::uint64_t>();
    if (v > static_cast<std::uint64_t>(INT_MAX)) return false;
    out = static_cast<int>(v);
    return true;
  }
  if (!value.is_number_integer()) return false;
  const auto v = value.get<std::int64_t>();
  if (v < INT_MIN || v > INT_MAX) return false;
  out = static_cast<int>(v);
  return true;
}

template <>
bool PropertyDefinition::default_value<double>(double& out) const {
  const nlohmann::json value = parsedDefault(impl_->default_value);
  if (value.is_number_float()) out = value.get<double>();
  else if (value.is_number_unsigned()) out = static_cast<double>(value.get<std::uint64_t>());
  else if (value.is_number_integer()) out = static_cast<double>(value.get<std::int64_t>());
  else return false;
  return true;
}

template <>
bool PropertyDefinition::default_value<OdString>(OdString& out) const {
  out = impl_->default_value;
  return true;
}

// nlohmann writes a double in the shortest form that reads back as the same
// double. It would write NaN and infinities, which JSON lacks, as null, which
// reads back as no default at all; they are refused instead.
template <>
void PropertyDefinition::set_default_value<bool>(const bool& value) {
  set_default_value(OdString(nlohmann::json(value).dump()));
}
template <>
void PropertyDefinition::set_default_value<int>(const int& value) {
  set_default_value(OdString(nlohmann::json(value).dump()));
}
template <>
void PropertyDefinition::set_default_value<double>(const double& value) {
  if (!std::isfinite(value))
    throw DatabaseError(OdString(std::isnan(value) ? L"a default value that is NaN cannot be written as JSON"
                                                   : L"a default value that is infinite cannot be written as JSON"));
  set_default_value(OdString(nlohmann::json(value).dump()));
}
template <>
void PropertyDefinition::set_default_value<OdString>(const OdString& value) {
  set_default_value(value);
}

bool PropertyDefinition::operator==(const PropertyDefinition& other) const {
  return AbstractDefinition::operator==(other) && impl_->type_spec == other.impl_->type_spec &&
         impl_->default_value == other.impl_->default_value;
}

TARNLIB_TEXT_FIELD(ValueDefinition, value_spec)

bool ValueDefinition::operator==(const ValueDefinition& other) const {
  return AbstractDefinition::operator==(other) && impl_->value_spec == other.impl_->value_spec;
}

namespace {

// Equal by value through the most-derived class.
bool sameDefinition(const TnSmartPtr<const AbstractDefinition>& a, const TnSmartPtr<const AbstractDefinition>& b) {
  if (a.get() == b.get()) return true;
  if (!a || !b || a->tarnlibType() != b->tarnlibType()) return false;
  if (a->tarnlibType() == ObjectType::PropertyDefinition)
    return static_cast<const PropertyDefinition&>(*a) == static_cast<const PropertyDefinition&>(*b);
  return static_cast<const ValueDefinition&>(*a) == static_cast<const ValueDefinition&>(*b);
}

}  // namespace

// ---- PropertySet

struct PropertySet::Impl {
  ObjectState state;
  TnSmartPtr<const PropertyNamespace> ns;
  OdString name;
  std::optional<OdString> label;
  bool per_instance = false;
  std::optional<OdString> ifc_name;
  bool visible = true;
  EntityTypes entity_types;
  Definitions definitions;
};

TARNLIB_DEFINE_OBJECT(PropertySet, Object)
TARNLIB_DEFINE_PERSISTENT(PropertySet)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(PropertySet);
TARNLIB_INSTANTIATE_KEY_LOOKUP(PropertySet, DefinitionKey)

TnSmartPtr<PropertySet> PropertySet::create(const TnSmartPtr<const PropertyNamespace>& ns) {
  return create(ns, OdString());
}

TnSmartPtr<PropertySet> PropertySet::create(const TnSmartPtr<const PropertyNamespace>& ns, const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<PropertySet> set(new PropertySet());
  set->impl_->ns = ns;
  set->impl_->name = name;
  return set;
}

const TnSmartPtr<const PropertyNamespace>& PropertySet::ns() const { return impl_->ns; }
TARNLIB_TEXT_FIELD(PropertySet, name)
TARNLIB_OPTIONAL_TEXT(PropertySet, label)
TARNLIB_PLAIN_FIELD(PropertySet, bool, per_instance)
TARNLIB_OPTIONAL_TEXT(PropertySet, ifc_name)
TARNLIB_PLAIN_FIELD(PropertySet, bool, visible)

const PropertySet::Definitions& PropertySet::definitions() const { return impl_->definitions; }

namespace {

template <class D>
std::vector<TnSmartPtr<const D>> definitionsOf(const PropertySet::Definitions& all) {
  std::vector<TnSmartPtr<const D>> out;
  for (const auto& d : all)
    if (d && d->tarnlibType() == ObjectTraits<D>::type) out.emplace_back(static_cast<const D*>(d.get()));
  return out;
}

// The positions in the whole list of the definitions of one kind.
std::vector<std::size_t> positionsOf(const PropertySet::Definitions& all, ObjectType kind) {
  std::vector<std::size_t> out;
  for (std::size_t i = 0; i < all.size(); ++i)
    if (all[i] && all[i]->tarnlibType() == kind) out.push_back(i);
  return out;
}

}  // namespace

std::vector<TnSmartPtr<const PropertyDefinition>> PropertySet::property_definitions() const {
  return definitionsOf<PropertyDefinition>(impl_->definitions);
}

std::vector<TnSmartPtr<const ValueDefinition>> PropertySet::value_definitions() const {
  return definitionsOf<ValueDefinition>(impl_->definitions);
}

bool PropertySet::append_definition(const TnSmartPtr<const AbstractDefinition>& definition) {
  return insert_definition(impl_->definitions.size(), definition);
}

bool PropertySet::insert_definition(std::size_t position, const TnSmartPtr<const AbstractDefinition>& definition) {
  Definitions& list = impl_->definitions;
  if (!definition || position > list.size()) return false;
  for (const auto& d : list)
    if (d.get() == definition.get() || (d && d->name() == definition->name())) return false;
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(position), definition);
  impl_->state.dirty = true;
  return true;
}

namespace {

template <class D>
TnSmartPtr<D> insertNew(PropertySet& set, std::size_t position, const OdString& name, const PropertyType& type) {
  TnSmartPtr<D> definition = D::create(set.ns(), name, type);
  if (!set.insert_definition(position, TnSmartPtr<const AbstractDefinition>(definition.get()))) return TnSmartPtr<D>();
  return definition;
}

}  // namespace

TnSmartPtr<PropertyDefinition> PropertySet::append_property_definition(const OdString& name,
                                                                       const PropertyType& type) {
  return insertNew<PropertyDefinition>(*this, impl_->definitions.size(), name, type);
}

TnSmartPtr<ValueDefinition> PropertySet::append_value_definition(const OdString& name, const PropertyType& type) {
  return insertNew<ValueDefinition>(*this, impl_->definitions.size(), name, type);
}

TnSmartPtr<PropertyDefinition> PropertySet::insert_property_definition(std::size_t position, const OdString& name,
                                                                       const PropertyType& type) {
  return insertNew<PropertyDefinition>(*this, position, name, type);
}

TnSmartPtr<ValueDefinition> PropertySet::insert_value_definition(std::size_t position, const OdString& name,
                                                                 const PropertyType& type) {
  return insertNew<ValueDefinition>(*this, position, name, type);
}

namespace {

// Removes the element at `position` of a list of the set; the position of
// the element that followed it, or the size when past the end.
template <class List>
std::size_t eraseAt(List& list, std::size_t position, ObjectState& state) {
  if (position >= list.size()) return list.size();
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(position));
  state.dirty = true;
  return position;
}

template <class List, class Match>
bool eraseFirst(List& list, Match match, ObjectState& state) {
  auto it = std::find_if(list.begin(), list.end(), match);
  if (it == list.end()) return false;
  list.erase(it);
  state.dirty = true;
  return true;
}

}  // namespace

std::size_t PropertySet::remove_definition(std::size_t position) {
  return eraseAt(impl_->definitions, position, impl_->state);
}

bool PropertySet::remove_definition(const OdString& name) {
  return eraseFirst(impl_->definitions, [&](const auto& d) { return d && d->name() == name; }, impl_->state);
}

bool PropertySet::remove_definition(const TnSmartPtr<const AbstractDefinition>& definition) {
  return eraseFirst(impl_->definitions, [&](const auto& d) { return d.get() == definition.get(); }, impl_->state);
}

bool PropertySet::swap_definitions(std::size_t i, std::size_t j) {
  Definitions& list = impl_->definitions;
  if (i >= list.size() || j >= list.size()) return false;
  if (i != j) {
    std::swap(list[i], list[j]);
    impl_->state.dirty = true;
  }
  return true;
}

bool PropertySet::swap_property_definitions(std::size_t i, std::size_t j) {
  const auto positions = positionsOf(impl_->definitions, ObjectType::PropertyDefinition);
  if (i >= positions.size() || j >= positions.size()) return false;
  return swap_definitions(positions[i], positions[j]);
}

bool PropertySet::swap_value_definitions(std::size_t i, std::size_t j) {
  const auto positions = positionsOf(impl_->definitions, ObjectType::ValueDefinition);
  if (i >= positions.size() || j >= positions.size()) return false;
  return swap_definitions(positions[i], positions[j]);
}

void PropertySet::clear_definitions() {
  if (impl_->definitions.empty()) return;
  impl_->definitions.clear();
  impl_->state.dirty = true;
}

const PropertySet::EntityTypes& PropertySet::entity_types() const { return impl_->entity_types; }

bool PropertySet::insert_entity_type(const OdString& name) {
  return insert_entity_type(TnSmartPtr<const EntityType>(EntityType::create(name).get()));
}

bool PropertySet::insert_entity_type(const TnSmartPtr<const EntityType>& type) {
  if (!type) return false;
  for (const auto& t : impl_->entity_types)
    if (t && t->name() == type->name()) return false;
  impl_->entity_types.push_back(type);
  impl_->state.dirty = true;
  return true;
}

std::size_t PropertySet::remove_entity_type(std::size_t position) {
  return eraseAt(impl_->entity_types, position, impl_->state);
}

bool PropertySet::remove_entity_type(const OdString& name) {
  return eraseFirst(impl_->entity_types, [&](const auto& t) { return t && t->name() == name; }, impl_->state);
}

bool PropertySet::remove_entity_type(const TnSmartPtr<const EntityType>& type) {
  return eraseFirst(impl_->entity_types, [&](const auto& t) { return t.get() == type.get(); }, impl_->state);
}

bool PropertySet::operator==(const PropertySet& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  if (!Object::operator==(other) || !objects::sameValue(a.ns, b.ns) || a.name != b.name ||
      a.label.has_value() != b.label.has_value() || a.per_instance != b.per_instance ||
      a.ifc_name.has_value() != b.ifc_name.has_value() || a.visible != b.visible ||
      a.definitions.size() != b.definitions.size() || a.entity_types.size() != b.entity_types.size())
    return false;
  for (std::size_t i = 0; i < a.definitions.size(); ++i)
    if (!sameDefinition(a.definitions[i], b.definitions[i])) return false;
  for (std::size_t i = 0; i < a.entity_types.size(); ++i) {
    const auto& x = a.entity_types[i];
    const auto& y = b.entity_types[i];
    if (x.get() != y.get() && (!x || !y || x->name() != y->name())) return false;
  }
  return true;
}

// ---- Queries

namespace access {

namespace {

// "<column> IN (SELECT id FROM namespaces WHERE name ...)" for a namespace condition.
void appendNamespace(const StringCriteria& ns, const std::string& column, std::string& where,
                     std::vector<SqlValue>& values) {
  if (!ns) return;
  std::string inner;
  appendCondition(ns, "\"name\"", inner, values);
  appendAnd(where, column + " IN (SELECT \"id\" FROM \"tarnlib_PropertyNamespace\" WHERE " + inner + ")");
}

}  // namespace

Query queryFor(const Mapping& mapping, const DefinitionKey& key) {
  return whereQuery(columnOf(mapping, "name") + " = ? AND " + columnOf(mapping, "namespace_id") + " = ?",
                    {key.name.toUtf8(), static_cast<std::int64_t>(key.namespace_id)});
}

Query queryFor(const Mapping& mapping, const AbstractDefinitionCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, columnOf(mapping, "name"), where, values);
  appendCondition(criteria.label, columnOf(mapping, "label"), where, values);
  appendNamespace(criteria.ns, columnOf(mapping, "namespace_id"), where, values);
  return whereQuery(std::move(where), std::move(values));
}

Query queryFor(const Mapping& mapping, const PropertySetCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, columnOf(mapping, "name"), where, values);
  appendCondition(criteria.ifc_name, columnOf(mapping, "ifc_name"), where, values);
  appendNamespace(criteria.ns, columnOf(mapping, "namespace_id"), where, values);
  if (criteria.entity_type) {
    std::string inner;
    appendCondition(criteria.entity_type, "\"e\".\"name\"", inner, values);
    appendAnd(where, db::quote(mapping.table().name()) +
                         ".\"id\" IN (SELECT \"t\".\"object_id\" FROM \"tarnlib_PropertySet_entity_types\" AS \"t\" "
                         "JOIN \"tarnlib_EntityType\" AS \"e\" ON \"e\".\"id\" = \"t\".\"entity_type_id\" WHERE " +
                         inner + ")");
  }
  return whereQuery(std::move(where), std::move(values));
}

}  // namespace access

template <>
void Library::get<PropertySetDefinitionQueryByName>(std::vector<PropertySetDefinitionQueryByName::Row>& out,
                                                    const PropertySetDefinitionQueryByName& query) const {
  std::string where;
  std::vector<access::SqlValue> values;
  access::appendCondition(query.set_name, "\"s\".\"name\"", where, values);
  access::appendCondition(query.ns, "\"n\".\"name\"", where, values);
  access::appendCondition(query.definition_name, "\"a\".\"name\"", where, values);
  const std::string sql =
      "SELECT \"s\".\"id\", \"s\".\"name\", \"n\".\"name\", \"d\".\"index\", \"a\".\"id\", \"a\".\"typeid\", "
      "\"a\".\"name\", \"a\".\"type_structure\", \"a\".\"type_value_type\", \"a\".\"type_key_type\", \"u\".\"label\" "
      "FROM \"tarnlib_PropertySet\" AS \"s\" "
      "JOIN \"tarnlib_PropertyNamespace\" AS \"n\" ON \"n\".\"id\" = \"s\".\"namespace_id\" "
      "JOIN \"tarnlib_PropertySet_definitions\" AS \"d\" ON \"d\".\"object_id\" = \"s\".\"id\" "
      "JOIN \"tarnlib_AbstractDefinition\" AS \"a\" ON \"a\".\"id\" = \"d\".\"abstract_definition_id\" "
      "LEFT JOIN \"tarnlib_Unit\" AS \"u\" ON \"u\".\"id\" = \"a\".\"unit_id\"" +
      (where.empty() ? std::string() : " WHERE " + where) +
      " ORDER BY \"n\".\"name\", \"s\".\"name\", \"d\".\"index\"";
  const auto rows = access::queryRows<PropertySetDefinitionQueryByName::Row>(
      *this, sql, values, [](const db::Statement& stmt) {
        PropertySetDefinitionQueryByName::Row row;
        row.set_id = stmt.id(0);
        row.set_name = stmt.text(1);
        row.ns = stmt.text(2);
        row.position = static_cast<std::uint32_t>(stmt.int64(3));
        row.definition_id = stmt.id(4);
        const access::Mapping* mapping = access::mappingOfTypeId(stmt.utf8(5));
        row.definition_class = mapping ? mapping->type() : ObjectType::AbstractDefinition;
        row.definition_name = stmt.text(6);
        row.type = PropertyType(static_cast<PropertyType::Structure>(stmt.int64(7)),
                                static_cast<PropertyType::Type>(stmt.int64(8)),
                                static_cast<PropertyType::Type>(stmt.int64(9)));
        row.unit_label = stmt.text(10);
        return row;
      });
  out.insert(out.end(), rows.begin(), rows.end());
}

// ---- Mappings

namespace {

// One of the three type columns of a definition.
template <class E>
access::FieldBinding typeField(const char* column, E PropertyType::*member) {
  access::FieldBinding b;
  b.column = column;
  b.bind = [member](const Object& o, db::Statement& s, int param) {
    access::bindValue(s, param, static_cast<const AbstractDefinition&>(o).impl().type.*member);
  };
  b.read = [member](Object& o, const db::Statement& row, int c) {
    access::readValue(row, c, static_cast<AbstractDefinition&>(o).impl().type.*member);
  };
  return b;
}

}  // namespace

const access::Mapping& objects::propertyNamespaceMapping() {
  using C = PropertyNamespace;
  static access::Mapping mapping(ObjectType::PropertyNamespace, "PropertyNamespace", nullptr,
                                 &objects::instantiate<C>);
  static const access::Mapping& sealed = mapping.table("tarnlib_PropertyNamespace")
                                             .field(TARNLIB_FIELD(C, OdString, "name", name))
                                             .field(TARNLIB_FIELD(C, std::optional<OdString>, "label", label))
                                             .field(TARNLIB_FIELD(C, bool, "editable", editable))
                                             .field(TARNLIB_FIELD(C, bool, "visible", visible))
                                             .field(TARNLIB_FIELD(C, std::uint32_t, "revision", revision))
                                             .seal();
  return sealed;
}

const access::Mapping& objects::entityTypeMapping() {
  using C = EntityType;
  static access::Mapping mapping(ObjectType::EntityType, "EntityType", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_EntityType").field(TARNLIB_FIELD(C, OdString, "name", name)).seal();
  return sealed;
}

const access::Mapping& objects::abstractDefinitionMapping() {
  using C = AbstractDefinition;
  static access::Mapping mapping(ObjectType::AbstractDefinition, "AbstractDefinition", nullptr, nullptr);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_AbstractDefinition")
          .reference("namespace_id", ObjectType::PropertyNamespace, TARNLIB_REF(C, ns))
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, std::optional<OdString>, "label", label))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .field(typeField("type_structure", &PropertyType::structure))
          .field(typeField("type_value_type", &PropertyType::value_type))
          .field(typeField("type_key_type", &PropertyType::key_type))
          .reference("unit_id", ObjectType::Unit, TARNLIB_REF(C, unit))
          .field(TARNLIB_FIELD(C, bool, "visible", visible))
          .seal();
  return sealed;
}

const access::Mapping& objects::propertyDefinitionMapping() {
  using C = PropertyDefinition;
  static access::Mapping mapping(ObjectType::PropertyDefinition, "PropertyDefinition",
                                 &abstractDefinitionMapping(), &objects::instantiate<C>);
  static const access::Mapping& sealed = mapping.table("tarnlib_PropertyDefinition")
                                             .field(TARNLIB_FIELD(C, OdString, "type_spec", type_spec))
                                             .field(TARNLIB_FIELD(C, OdString, "default_value", default_value))
                                             .seal();
  return sealed;
}

const access::Mapping& objects::valueDefinitionMapping() {
  using C = ValueDefinition;
  static access::Mapping mapping(ObjectType::ValueDefinition, "ValueDefinition", &abstractDefinitionMapping(),
                                 &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_ValueDefinition").field(TARNLIB_FIELD(C, OdString, "value_spec", value_spec)).seal();
  return sealed;
}

const access::Mapping& objects::propertySetMapping() {
  using C = PropertySet;
  using EntityTypeList = access::RefListCodec<TnSmartPtr<const EntityType>, ObjectType::EntityType>;
  using DefinitionList = access::RefListCodec<TnSmartPtr<const AbstractDefinition>, ObjectType::AbstractDefinition>;
  static access::Mapping mapping(ObjectType::PropertySet, "PropertySet", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_PropertySet")
          .reference("namespace_id", ObjectType::PropertyNamespace, TARNLIB_REF(C, ns))
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, std::optional<OdString>, "label", label))
          .field(TARNLIB_FIELD(C, bool, "per_instance", per_instance))
          .field(TARNLIB_FIELD(C, std::optional<OdString>, "ifc_name", ifc_name))
          .field(TARNLIB_FIELD(C, bool, "visible", visible))
          .container(access::collection<EntityTypeList>(
              schema::table("tarnlib_PropertySet_entity_types"),
              +[](Object& o) { return &static_cast<C&>(o).impl().entity_types; }))
          .container(access::collection<DefinitionList>(
              schema::table("tarnlib_PropertySet_definitions"),
              +[](Object& o) { return &static_cast<C&>(o).impl().definitions; }))
          .seal();
  return sealed;
}

// ---- Field access for builders

void objects::setNamespace(AbstractDefinition& definition, const TnSmartPtr<const PropertyNamespace>& ns) {
  objects::assignIfChanged(definition.impl().ns, ns, definition.impl().state);
}
void objects::setNamespace(PropertySet& set, const TnSmartPtr<const PropertyNamespace>& ns) {
  objects::assignIfChanged(set.impl().ns, ns, set.impl().state);
}

}  // namespace tarnlib
