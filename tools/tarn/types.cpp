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

using tarnlib::Profile;

// Criteria records differ by type: most select by name and some by tag; the
// profile records select by size text, series, standard and class instead of a
// name. The overloads below find out which members a record has at compile time.
template <class C>
auto setName(C& criteria, const OdString& pattern, int) -> decltype(criteria.name.like(pattern), void()) {
  criteria.name.like(pattern);
}
// A profile's name on the command line is its size text.
void setName(tarnlib::ProfileCriteria& criteria, const OdString& pattern, int) {
  criteria.size.like(pattern);
}
// A unit's is its label: a unit's name is optional.
void setName(tarnlib::UnitCriteria& criteria, const OdString& pattern, int) { criteria.label.like(pattern); }

template <class C>
auto setTags(C& criteria, const std::set<OdString>& tags, int) -> decltype(criteria.tags = tags, void()) {
  criteria.tags = tags;
}
template <class C>
void setTags(C&, const std::set<OdString>&, long) {}

template <class C>
auto setSeries(C& criteria, const OdString& pattern, int) -> decltype(criteria.series.like(pattern), void()) {
  criteria.series.like(pattern);
}
template <class C>
void setSeries(C&, const OdString&, long) {}

template <class C>
auto setStandard(C& criteria, const OdString& pattern, int)
    -> decltype(criteria.standard.like(pattern), void()) {
  criteria.standard.like(pattern);
}
template <class C>
void setStandard(C&, const OdString&, long) {}

template <class C>
auto setClasses(C& criteria, const std::set<ObjectType>& classes, int)
    -> decltype(criteria.classes = classes, void()) {
  criteria.classes = classes;
}
template <class C>
void setClasses(C&, const std::set<ObjectType>&, long) {}

template <class C>
constexpr auto hasTags(int) -> decltype(std::declval<C&>().tags, bool()) {
  return true;
}
template <class C>
constexpr bool hasTags(long) {
  return false;
}

template <class C>
constexpr auto hasSeries(int) -> decltype(std::declval<C&>().series, bool()) {
  return true;
}
template <class C>
constexpr bool hasSeries(long) {
  return false;
}

template <class C>
constexpr auto hasStandard(int) -> decltype(std::declval<C&>().standard, bool()) {
  return true;
}
template <class C>
constexpr bool hasStandard(long) {
  return false;
}

template <class... C>
struct Classes {};

// Every concrete profile class.
using ProfileClasses =
    Classes<tarnlib::CustomProfile, tarnlib::CircleProfile, tarnlib::CircleHollowProfile,
            tarnlib::EllipseProfile, tarnlib::RectangleProfile, tarnlib::RectangleHollowProfile,
            tarnlib::RoundedRectangleProfile, tarnlib::TrapeziumProfile, tarnlib::CraneRailAShapeProfile,
            tarnlib::CraneRailFShapeProfile, tarnlib::TShapeProfile, tarnlib::ZShapeProfile,
            tarnlib::CShapeProfile, tarnlib::UShapeProfile, tarnlib::LShapeProfile, tarnlib::IShapeProfile,
            tarnlib::AsymmetricIShapeProfile>;

// The concrete profile classes that are a T: T itself and those derived from it.
template <class T, class... C>
std::vector<ObjectType> profileKinds(Classes<C...>) {
  std::vector<ObjectType> kinds;
  (..., (std::is_base_of<T, C>::value ? kinds.push_back(ObjectTraits<C>::type) : void()));
  return kinds;
}

template <class T>
typename ObjectTraits<T>::criteria_type criteriaOf(const Filter& filter) {
  typename ObjectTraits<T>::criteria_type criteria{};
  if (!filter.namePattern.empty()) setName(criteria, wide(filter.namePattern), 0);
  std::set<OdString> tags;
  for (const std::string& tag : filter.tags) tags.insert(wide(tag));
  setTags(criteria, tags, 0);
  if (!filter.seriesPattern.empty()) setSeries(criteria, wide(filter.seriesPattern), 0);
  if (!filter.standardPattern.empty()) setStandard(criteria, wide(filter.standardPattern), 0);
  // Only profile classes have subclasses, and only their criteria select by class.
  if (filter.ownClassOnly) setClasses(criteria, std::set<ObjectType>{ObjectTraits<T>::type}, 0);
  return criteria;
}

bool unfiltered(const Filter& filter) {
  return filter.namePattern.empty() && filter.tags.empty() && filter.seriesPattern.empty() &&
         filter.standardPattern.empty() && !filter.ownClassOnly;
}

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
std::vector<Line> lines(const Library& library, const Filter& filter) {
  std::vector<Line> out;
  for (const ObjectPtr& object : list<T>(library, filter))
    out.push_back(Line{object->id(), object->tarnlibType(), nameOf(*object)});
  return out;
}

// Profiles come as plain rows of the picker query: a catalogue may hold tens
// of thousands, and a line needs none of their fields beyond the size.
template <class T>
std::vector<Line> profileLines(const Library& library, const Filter& filter) {
  tarnlib::ProfilesPanelQuery query;
  query.filter = criteriaOf<T>(filter);
  // The query selects by exact class; the root needs no condition at all.
  if (query.filter.classes.empty() && !std::is_same<T, Profile>::value)
    for (ObjectType kind : profileKinds<T>(ProfileClasses{})) query.filter.classes.insert(kind);
  std::vector<tarnlib::ProfilesPanelRow> rows;
  library.get<tarnlib::ProfilesPanelQuery>(rows, query);
  std::vector<Line> out;
  out.reserve(rows.size());
  for (const tarnlib::ProfilesPanelRow& row : rows)
    out.push_back(Line{row.id, row.profile_class, utf8(row.size)});
  std::sort(out.begin(), out.end(), [](const Line& a, const Line& b) { return a.id < b.id; });
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
void copy(Library& destination, const std::shared_ptr<const Library>& source, const std::set<unsigned>* ids,
          tarnlib::IdMapping& mapping, Library::TransactionType transactionType,
          Library::CopyResults& results) {
  if (ids)
    destination.copy<T>(source, *ids, mapping, transactionType, results);
  else
    destination.copyAll<T>(source, mapping, transactionType, results);
}

template <class T>
void fields(const tarnlib::Object& object, nlohmann::ordered_json& record) {
  describeFields(static_cast<const T&>(object), record);
}

template <class T>
std::string label(const tarnlib::Object& object) {
  if constexpr (std::is_base_of<Profile, T>::value)
    return utf8(static_cast<const T&>(object).size());
  else if constexpr (std::is_same<T, tarnlib::Unit>::value)
    return utf8(static_cast<const T&>(object).label());
  else
    return utf8(static_cast<const T&>(object).name());
}

// The operations common to concrete and abstract classes.
template <class T>
TypeEntry operations(const char* name) {
  using Criteria = typename ObjectTraits<T>::criteria_type;
  TypeEntry e{};
  e.type = ObjectTraits<T>::type;
  e.name = name;
  e.tagged = hasTags<Criteria>(0);
  e.bySeries = hasSeries<Criteria>(0);
  e.byStandard = hasStandard<Criteria>(0);
  e.list = &list<T>;
  if constexpr (std::is_base_of<Profile, T>::value)
    e.lines = &profileLines<T>;
  else
    e.lines = &lines<T>;
  e.count = &count<T>;
  e.get = &get<T>;
  e.remove = &remove<T>;
  e.copy = &copy<T>;
  e.label = &label<T>;
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

template <class T>
TypeEntry abstractProfileEntry(const char* name) {
  return abstractEntry<T>(name, profileKinds<T>(ProfileClasses{}));
}

}  // namespace

// Types that others refer to come first, so that "tarn info" reads from the
// simple to the composite.
const std::vector<TypeEntry>& typeTable() {
  static const std::vector<TypeEntry> table = {
      entry<tarnlib::Tag>("Tag"),
      entry<tarnlib::Layer>("Layer"),
      entry<tarnlib::CustomProperty>("CustomProperty"),
      entry<tarnlib::Measure>("Measure"),
      entry<tarnlib::Unit>("Unit"),
      abstractEntry<tarnlib::Asset>(
          "Asset", {ObjectType::InformationAsset, ObjectType::PhysicalAsset, ObjectType::BimAsset}),
      entry<tarnlib::InformationAsset>("InformationAsset"),
      entry<tarnlib::PhysicalAsset>("PhysicalAsset"),
      entry<tarnlib::BimAsset>("BimAsset"),
      entry<tarnlib::MaterialType>("MaterialType"),
      entry<tarnlib::Material>("Material"),
      entry<tarnlib::CompositionType>("CompositionType"),
      entry<tarnlib::Composition>("Composition"),
      entry<tarnlib::ProfileStandard>("ProfileStandard"),
      entry<tarnlib::ProfileName>("ProfileName"),
      abstractProfileEntry<tarnlib::Profile>("Profile"),
      entry<tarnlib::CustomProfile>("CustomProfile"),
      abstractProfileEntry<tarnlib::ParametrizedProfile>("ParametrizedProfile"),
      entry<tarnlib::CircleProfile>("CircleProfile"),
      entry<tarnlib::CircleHollowProfile>("CircleHollowProfile"),
      entry<tarnlib::EllipseProfile>("EllipseProfile"),
      entry<tarnlib::RectangleProfile>("RectangleProfile"),
      entry<tarnlib::RectangleHollowProfile>("RectangleHollowProfile"),
      entry<tarnlib::RoundedRectangleProfile>("RoundedRectangleProfile"),
      entry<tarnlib::TrapeziumProfile>("TrapeziumProfile"),
      entry<tarnlib::CraneRailAShapeProfile>("CraneRailAShapeProfile"),
      entry<tarnlib::CraneRailFShapeProfile>("CraneRailFShapeProfile"),
      entry<tarnlib::TShapeProfile>("TShapeProfile"),
      entry<tarnlib::ZShapeProfile>("ZShapeProfile"),
      entry<tarnlib::CShapeProfile>("CShapeProfile"),
      entry<tarnlib::UShapeProfile>("UShapeProfile"),
      entry<tarnlib::LShapeProfile>("LShapeProfile"),
      entry<tarnlib::IShapeProfile>("IShapeProfile"),
      entry<tarnlib::AsymmetricIShapeProfile>("AsymmetricIShapeProfile"),
      entry<tarnlib::PropertyNamespace>("PropertyNamespace"),
      entry<tarnlib::EntityType>("EntityType"),
      abstractEntry<tarnlib::AbstractDefinition>(
          "AbstractDefinition", {ObjectType::PropertyDefinition, ObjectType::ValueDefinition}),
      entry<tarnlib::PropertyDefinition>("PropertyDefinition"),
      entry<tarnlib::ValueDefinition>("ValueDefinition"),
      entry<tarnlib::PropertySet>("PropertySet"),
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
