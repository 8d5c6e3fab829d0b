// Library::sync and syncAll: materials and compositions matched by name. A
// source object without a namesake here is copied; one whose namesake differs
// replaces the namesake's values in place, keeping its id and GUIDs.
#include <unordered_map>

#include "access/library_templates.h"
#include "access/mapping.h"
#include "access/object_access.h"
#include "access/operations.h"
#include "core/transaction_impl.h"
#include "exchange/copy.h"
#include "exchange/xml_values.h"
#include "tarnlib/composition.h"
#include "tarnlib/material.h"

namespace tarnlib {

namespace exchange {

namespace {

// What sync needs of each of its two types.
struct SyncType {
  ObjectType type;
  const wchar_t* heading;  // in the text report
  const char* element;     // in the XML report
  const OdString& (*name)(const Object& object);
  void (*rename)(Object& object, const OdString& name);
  // Gives `copy` the identity of `match`: its GUIDs where the type has them.
  void (*keepIdentity)(Object& copy, const Object& match);
  bool (*equal)(const Object& a, const Object& b);
};

template <class T>
const OdString& nameOf(const Object& object) {
  return static_cast<const T&>(object).name();
}
template <class T>
void renameTo(Object& object, const OdString& name) {
  static_cast<T&>(object).set_name(name);
}
template <class T>
bool equalValues(const Object& a, const Object& b) {
  return static_cast<const T&>(a) == static_cast<const T&>(b);
}

const SyncType& syncType(ObjectType type) {
  static const SyncType material{ObjectType::Material, L"Material", "material", &nameOf<Material>,
                                 &renameTo<Material>, [](Object&, const Object&) {}, &equalValues<Material>};
  static const SyncType composition{
      ObjectType::Composition, L"Composition", "composition", &nameOf<Composition>, &renameTo<Composition>,
      [](Object& copy, const Object& match) {
        auto& c = static_cast<Composition&>(copy);
        const auto& m = static_cast<const Composition&>(match);
        c.set_guid(m.guid());
        c.set_merge_guids() = m.merge_guids();
      },
      &equalValues<Composition>};
  return type == ObjectType::Material ? material : composition;
}

// Points every reference of `copy` (fields and container elements, as its
// mapping declares them) at its counterpart here, bringing over through the
// mapping what this library does not hold yet. Compared after this, a
// reference differs only when the counterpart does: a ply's material that
// differs between the libraries but is matched here by name is the same ply.
void bringReferencesOver(Library& destination, Transaction::Impl& tx, Object& copy, IdMapping& mapping) {
  const access::Mapping& m = access::mappingOf(copy.tarnlibType());
  std::vector<access::RefSlot> slots;
  for (const access::TableBinding* table : m.chain())
    for (const access::ReferenceBinding& r : table->references) slots.push_back(r.slot(copy));
  for (const access::ContainerBinding* c : m.containers())
    if (c->hasRef()) c->refs(copy, slots);
  for (const access::RefSlot& slot : slots) {
    const Object* target = slot.target();
    if (!target || target->library().get() == &destination) continue;
    // Most references repeat (a type, a tag): their counterpart is at hand.
    IdMapping::Value mapped;
    if (mapping.compute(IdMapping::Key(target->tarnlibType(), target->id(), target->library().get()), mapped)) {
      auto known = tx.counterparts->find(ObjectKey(target->tarnlibType(), mapped.id));
      if (known != tx.counterparts->end()) {
        slot.assign(known->second.get());
        continue;
      }
    }
    TnSmartPtr<Object> here = access::saveObject(destination, *target, mapping);
    slot.assign(here.get());
  }
}

void syncType(Library& destination, Transaction::Impl& tx, const SyncType& t,
              const std::shared_ptr<const Library>& source,
              const std::set<unsigned>* ids, IdMapping& mapping, const std::map<OdString, OdString>& renames,
              OdString* report, pugi::xml_node* reportNode) {
  std::vector<TnSmartPtr<Object>> theirs;
  std::vector<TnSmartPtr<Object>> ours;
  access::getMany(*source, t.type, access::Selection::all(), theirs);
  access::getMany(destination, t.type, access::Selection::all(), ours);
  std::unordered_map<std::wstring, Object*> byName;
  for (const auto& o : ours) byName.emplace(t.name(*o).str(), o.get());  // the first of a name wins

  for (const TnSmartPtr<Object>& s : theirs) {
    if (!s || (ids && !ids->count(s->id()))) continue;
    const auto renamed = renames.find(t.name(*s));
    const OdString& matchName = renamed != renames.end() ? renamed->second : t.name(*s);
    const auto found = byName.find(matchName.str());
    TnSmartPtr<Object> synced;
    if (found != byName.end()) {
      const Object& match = *found->second;
      // The source's values under the match's name and identity, referring
      // to this library's counterparts of what the source object refers to.
      TnSmartPtr<Object> copy = detail::ObjectAccess::clone(*s);
      t.rename(*copy, matchName);
      t.keepIdentity(*copy, match);
      // Equal with the source's references compared by value is the common
      // case and needs nothing brought over; otherwise compare again with
      // the references this library would hold.
      if (t.equal(*copy, match)) continue;
      bringReferencesOver(destination, tx, *copy, mapping);
      if (t.equal(*copy, match)) continue;
      ObjectState& state = detail::ObjectAccess::state(*copy);
      state.id = match.id();
      state.library = destination.shared_from_this();
      state.dirty = true;
      synced = access::saveObject(destination, *copy, mapping);
      mapping.assign(IdMapping::Key(s->tarnlibType(), s->id(), source.get()),
                     IdMapping::Value{synced->id(), 0});
    } else {
      synced = access::saveObject(destination, *s, mapping);
    }
    if (report) *report += t.name(*synced) + L"\n";
    if (reportNode) setAttribute(reportNode->append_child(t.element), "name", t.name(*synced));
  }
}

}  // namespace

void syncTypes(Library& destination, const std::vector<ObjectType>& types,
               const std::shared_ptr<const Library>& source, const std::set<unsigned>* ids,
               const std::map<OdString, OdString>& renames, OdString* report, pugi::xml_node* reportNode) {
  if (!source || source.get() == &destination) return;
  inTransaction(destination, Access::Write, [&](Transaction::Impl& tx) {
    KeepCounterparts counterparts(tx);
    // A retried attempt writes the reports again from the start.
    OdString text;
    pugi::xml_document scratch;
    pugi::xml_node node = scratch.append_child("report");
    IdMapping mapping(&destination);
    for (ObjectType type : types) {
      const SyncType& t = syncType(type);
      if (report) text += OdString().format(L"\n\nSynced %ls objects:\n\n", t.heading);
      syncType(destination, tx, t, source, ids, mapping, renames, report ? &text : nullptr,
               reportNode ? &node : nullptr);
    }
    if (report) *report += text;
    if (reportNode)
      for (pugi::xml_node child : node.children()) reportNode->append_copy(child);
  });
}

}  // namespace exchange

void Library::sync(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids,
                   const std::map<OdString, OdString>& renames, OdString* report, pugi::xml_node* reportNode) {
  exchange::syncTypes(*this, {ObjectType::Material, ObjectType::Composition}, source, &ids, renames, report,
                      reportNode);
}

void Library::syncAll(const std::shared_ptr<const Library>& source, const std::map<OdString, OdString>& renames,
                      OdString* report, pugi::xml_node* reportNode) {
  exchange::syncTypes(*this, {ObjectType::Material, ObjectType::Composition}, source, nullptr, renames, report,
                      reportNode);
}

#define TARNLIB_INSTANTIATE_SYNC(T)                                                                     \
  template <>                                                                                           \
  void Library::sync<T>(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids) {  \
    exchange::syncTypes(*this, {ObjectTraits<T>::type}, source, &ids, {}, nullptr, nullptr);            \
  }                                                                                                     \
  template <>                                                                                           \
  void Library::syncAll<T>(const std::shared_ptr<const Library>& source) {                              \
    exchange::syncTypes(*this, {ObjectTraits<T>::type}, source, nullptr, {}, nullptr, nullptr);         \
  }

TARNLIB_INSTANTIATE_SYNC(Material)
TARNLIB_INSTANTIATE_SYNC(Composition)

}  // namespace tarnlib
