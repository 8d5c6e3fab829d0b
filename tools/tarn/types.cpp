#include "types.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>

#include "common.h"
#include "describe.h"
#include "tarnlib/tarnlib.h"

namespace tarn {

using tarnlib::Library;
using tarnlib::ObjectTraits;
using tarnlib::ObjectType;

namespace {

// Criteria records differ by type, but every one has a name condition and some
// have a tag list; these two overload pairs find out which at compile time.
template <class C>
auto setTags(C& criteria, const std::set<OdString>& tags, int) -> decltype(criteria.tags = tags, void()) {
  criteria.tags = tags;
}
template <class C>
void setTags(C&, const std::set<OdString>&, long) {}

template <class C>
constexpr auto hasTags(int) -> decltype(std::declval<C&>().tags, bool()) {
  return true;
}
template <class C>
constexpr bool hasTags(long) {
  return false;
}

template <class T>
typename ObjectTraits<T>::criteria_type criteriaOf(const Filter& filter) {
  typename ObjectTraits<T>::criteria_type criteria{};
  if (!filter.namePattern.empty()) criteria.name.like(wide(filter.namePattern));
  std::set<OdString> tags;
  for (const std::string& tag : filter.tags) tags.insert(wide(tag));
  setTags(criteria, tags, 0);
  return criteria;
}

bool unfiltered(const Filter& filter) { return filter.namePattern.empty() && filter.tags.empty(); }

template <class T>
std::vector<ObjectPtr> list(const Library& library, const Filter& filter) {
  std::vector<tarnlib::TnSmartPtr<T>> found;
  if (unfiltered(filter))
    library.get<T>(found);
  else
    library.get<T>(found, criteriaOf<T>(filter));
  std::vector<ObjectPtr> out(found.begin(), found.end());
  std::sort(out.begin(), out.end(), [](const ObjectPtr& a, const ObjectPtr& b) { return a->id() < b->id(); });
  return out;
}

template <class T>
std::size_t count(const Library& library, const Filter& filter) {
  return unfiltered(filter) ? library.count<T>() : library.count<T>(criteriaOf<T>(filter));
}

template <class T>
ObjectPtr get(const Library& library, std::uint32_t id) {
  return library.get<T>(id);
}

template <class T>
void remove(Library& library, const std::set<std::uint32_t>& ids, Library::RemoveResults& results) {
  library.remove<T>(ids, results);
}

template <class T>
void fields(const tarnlib::Object& object, nlohmann::ordered_json& record) {
  describeFields(static_cast<const T&>(object), record);
}

// The operations common to concrete and abstract classes.
template <class T>
TypeEntry operations(const char* name) {
  TypeEntry e{};
  e.type = ObjectTraits<T>::type;
  e.name = name;
  e.tagged = hasTags<typename ObjectTraits<T>::criteria_type>(0);
  e.list = &list<T>;
  e.count = &count<T>;
  e.get = &get<T>;
  e.remove = &remove<T>;
  return e;
}

template <class T>
TypeEntry entry(const char* name) {
  TypeEntry e = operations<T>(name);
  e.fields = &fields<T>;
  return e;
}

template <class T>
TypeEntry abstractEntry(const char* name, std::vector<ObjectType> kinds) {
  TypeEntry e = operations<T>(name);
  e.kinds = std::move(kinds);
  return e;
}

}  // namespace

// Types that others refer to come first, so that "tarn info" reads from the
// simple to the composite.
const std::vector<TypeEntry>& typeTable() {
  static const std::vector<TypeEntry> table = {
      entry<tarnlib::Tag>("Tag"),
      entry<tarnlib::Layer>("Layer"),
      entry<tarnlib::CustomProperty>("CustomProperty"),
      abstractEntry<tarnlib::Asset>(
          "Asset", {ObjectType::InformationAsset, ObjectType::PhysicalAsset, ObjectType::BimAsset}),
      entry<tarnlib::InformationAsset>("InformationAsset"),
      entry<tarnlib::PhysicalAsset>("PhysicalAsset"),
      entry<tarnlib::BimAsset>("BimAsset"),
      entry<tarnlib::MaterialType>("MaterialType"),
      entry<tarnlib::Material>("Material"),
      entry<tarnlib::CompositionType>("CompositionType"),
      entry<tarnlib::Composition>("Composition"),
  };
  return table;
}

namespace {

bool sameIgnoringAsciiCase(const std::string& a, const std::string& b) {
  auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

const TypeEntry& typeNamed(const std::string& name) {
  for (const TypeEntry& e : typeTable())
    if (sameIgnoringAsciiCase(e.name, name)) return e;
  throw Failure(name, "unknown type; known types: " + typeNames());
}

const TypeEntry* typeOf(ObjectType type) {
  for (const TypeEntry& e : typeTable())
    if (e.type == type) return &e;
  return nullptr;
}

std::string typeName(ObjectType type) {
  const TypeEntry* e = typeOf(type);
  return e ? e->name : "type " + std::to_string(static_cast<std::uint32_t>(type));
}

std::string typeNames() {
  std::string out;
  for (const TypeEntry& e : typeTable()) {
    if (!out.empty()) out += ", ";
    out += e.name;
  }
  return out;
}

}  // namespace tarn
