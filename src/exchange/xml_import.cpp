// Library::importFromXml: reads the elements under the root with the field
// readers of xml_types.cpp, saves each object, and reports what it cannot read.
//
// References. The format writes referring types before the types they refer
// to (profiles before their names, compositions before materials), and its
// group elements carry no ids. The reader therefore does not read in document
// order: it reads the elements in the reverse order of the groups, which puts
// every type after all the types it can refer to, and resolves each reference
// against the library, which by then holds whatever the document defined. An
// object that many refer to is saved once, by its own element, and found by
// each reference; an asset that a material carries inline is the asset of
// that name that the document already defined. Messages are handed over in
// document order at the end.
#include <algorithm>
#include <climits>
#include <map>
#include <unordered_map>

#include "access/mapping.h"
#include "access/object_access.h"
#include "access/operations.h"
#include "core/transaction_impl.h"
#include "exchange/xml_schema.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"
#include "tarnlib/unit.h"

namespace tarnlib {

// ---- Messages

MessageHandlerStream::MessageHandlerStream(int severity, const MessageHandler& handler, std::ptrdiff_t offset)
    : severity_(severity), handler_(handler), offset_(offset) {}

MessageHandlerStream::~MessageHandlerStream() {
  if (handler_) handler_(severity_, OdString(text_), offset_);
}

MessageHandlerStream& MessageHandlerStream::operator<<(const wchar_t* text) {
  if (text) text_ += text;
  return *this;
}
MessageHandlerStream& MessageHandlerStream::operator<<(const OdString& text) {
  text_ += text.str();
  return *this;
}
MessageHandlerStream& MessageHandlerStream::operator<<(const std::wstring& text) {
  text_ += text;
  return *this;
}
MessageHandlerStream& MessageHandlerStream::operator<<(std::uint64_t number) {
  text_ += std::to_wstring(number);
  return *this;
}

OdString UnresolvedReference::describe() const {
  OdString text;
  if (id != 0) return text.format(L"id %u", id);
  text.format(L"name '%ls'", name.c_str());
  if (!ns.isEmpty()) text += OdString().format(L" and namespace '%ls'", ns.c_str());
  return text;
}

namespace exchange {

namespace {

struct Message {
  int severity;
  OdString text;
  std::ptrdiff_t offset;
};

using NameKey = std::pair<ObjectType, OdString>;

class Importer final : public Reader {
 public:
  Importer(Library& library, const std::set<ObjectType>& types, const Library::ImportOptions& options)
      : library_(library), types_(types), options_(options) {}

  void run(pugi::xml_node root) {
    lengthFactor_ = documentLengthFactor(root);
    std::vector<std::pair<std::size_t, pugi::xml_node>> order;
    std::size_t total = 0;
    for (pugi::xml_node child : root.children()) {
      if (child.type() != pugi::node_element || std::strcmp(child.name(), "meta") == 0) continue;
      ++total;
      const XmlType* type = xmlTypeNamed(child.name());
      if (!type) {
        message(kMessageUnknownElement, child,
                OdString(L"Unknown object type '") + OdString(child.name()) + L"'");
        continue;
      }
      if (!accepted(type->type)) continue;
      order.emplace_back(groupIndex(*type), child);
    }
    // Later groups first: a type comes after everything it refers to.
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::size_t done = total - order.size();
    for (const auto& [index, element] : order) {
      readTopLevel(xmlTypes()[index], element);
      if (options_.progress && ++done % 1024 == 0) options_.progress(done, total);
    }
    if (options_.progress) options_.progress(total, total);
  }

  // Hands the messages over in document order.
  void deliver() {
    std::stable_sort(messages_.begin(), messages_.end(),
                     [](const Message& a, const Message& b) { return a.offset < b.offset; });
    for (const Message& m : messages_) MessageHandlerStream(m.severity, options_.messageHandler, m.offset) << m.text;
    messages_.clear();
  }

  void report(pugi::xml_node node, const OdString& text) override { message(kMessageError, node, text); }

  bool resolve(pugi::xml_node element, ObjectType target, TnSmartPtr<Object>& out, Rank rank,
               ObjectType owner) override {
    out = nullptr;
    pugi::xml_attribute id = element.attribute("id");
    pugi::xml_attribute name = element.attribute("name");
    if (id) {
      std::uint32_t value = 0;
      if (!parseValue(id.value(), value) || value == 0) {
        invalid(element, element.name(), id.value());
        return false;
      }
      out = byId(target, value);
      if (!out) {
        UnresolvedReference ref{element.internal_object(), target, value, OdString(), OdString()};
        unresolved(element, ref);
        return false;
      }
      return true;
    }
    if (!name) return true;  // an empty reference: no object
    OdString text;
    if (!fromXml(name.value(), text)) {
      invalid(element, element.name(), name.value());
      return false;
    }
    std::vector<TnSmartPtr<Object>> candidates = byName(target, text);
    if (rank && !candidates.empty()) {
      int best = INT_MAX;
      for (const auto& c : candidates) best = std::min(best, rank(*c, owner) < 0 ? INT_MAX : rank(*c, owner));
      candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                      [&](const TnSmartPtr<Object>& c) { return rank(*c, owner) != best; }),
                       candidates.end());
    }
    if (candidates.empty()) {
      unresolved(element, UnresolvedReference{element.internal_object(), target, 0, text, OdString()});
      return false;
    }
    out = candidates.front();
    if (candidates.size() > 1) {
      // The name does not single out one object: prefer what the document
      // defined, else take the first and say so.
      std::vector<TnSmartPtr<Object>> defined;
      for (const auto& c : candidates)
        if (definedHere_.count(ObjectKey(c->tarnlibType(), c->id()))) defined.push_back(c);
      if (defined.size() == 1) {
        out = defined.front();
      } else {
        if (!defined.empty()) out = defined.front();
        report(element, OdString().format(L"Reference '%ls' with name '%ls' is ambiguous: %u objects have that "
                                          L"name; the one with id %u is taken",
                                          OdString(element.name()).c_str(), text.c_str(),
                                          static_cast<unsigned>(candidates.size()), out->id()));
      }
    }
    return true;
  }

  bool build(const XmlType& type, pugi::xml_node element, TnSmartPtr<Object>& out) override {
    if (type.nameIsKey) {
      auto found = stored_.find(NameKey(type.type, elementName(type, element)));
      if (found != stored_.end()) {
        out = storedHandle(type.type, found->second);
        return true;
      }
    }
    out = access::mappingOf(type.type).create();
    bool ok = true;
    for (const XmlField& field : type.fields) ok = field.read(*out, element, *this) && ok;
    if (!ok) {
      out = nullptr;
      return false;
    }
    if (lengthFactor_ != 1.0)
      if (auto convert = access::mappingOf(type.type).lengthConversion()) convert(*out, lengthFactor_);
    return true;
  }

  const std::map<ObjectType, std::size_t>& counts() const { return counts_; }

 private:
  static std::size_t groupIndex(const XmlType& type) { return static_cast<std::size_t>(&type - xmlTypes().data()); }

  // A document from a library of the other length system carries its lengths
  // in that system; the objects take this library's, as a copy would.
  double documentLengthFactor(pugi::xml_node root) const {
    const char* unit = root.child("meta").child_value("unit");
    LibraryUnit from;
    if (std::strcmp(unit, "Inch") == 0) from = LibraryUnit::Inch;
    else if (std::strcmp(unit, "Millimeter") == 0) from = LibraryUnit::Millimeter;
    else return 1.0;
    return lengthFactor(from, library_.unit());
  }

  bool accepted(ObjectType type) const {
    if (types_.count(type)) return true;
    const access::Mapping& mapping = access::mappingOf(type);
    for (const access::Mapping* base = mapping.base(); base; base = base->base())
      if (types_.count(base->type())) return true;
    return false;
  }

  void message(int severity, pugi::xml_node node, const OdString& text) {
    messages_.push_back(Message{severity, text, node.offset_debug()});
  }

  void unresolved(pugi::xml_node element, const UnresolvedReference& ref) {
    report(element, OdString(L"Could not find referenced object '") + OdString(element.name()) + L"' with " +
                        ref.describe());
  }

  void readTopLevel(const XmlType& type, pugi::xml_node element) {
    TnSmartPtr<Object> object;
    if (!build(type, element, object)) return;
    if (object->id() != 0) return;  // the same object as an owned copy saved before
    if (type.sameAs) {
      for (const auto& candidate : byName(type.type, type.name(*object)))
        if (type.sameAs(*object, *candidate)) return;
    }
    IdMapping mapping(&library_);
    try {
      TnSmartPtr<Object> stored = access::saveObject(library_, *object, mapping);
      remember(type, stored);
      ++counts_[type.type];
    } catch (const ConsistencyError& e) {
      couldNotSave(element, e);
    } catch (const NullPointer& e) {
      couldNotSave(element, e);
    } catch (const InappropriateCustomProperty& e) {
      couldNotSave(element, e);
    } catch (const ObjectNotFound& e) {
      couldNotSave(element, e);
    }
  }

  void couldNotSave(pugi::xml_node element, const Exception& e) {
    report(element, OdString(L"Could not save '") + OdString(element.name()) + L"': " + e.what());
  }

  // Only keys are kept of what was saved: holding the objects would keep the
  // whole document's objects in memory to the end.
  void remember(const XmlType& type, const TnSmartPtr<Object>& stored) {
    definedHere_.insert(ObjectKey(stored->tarnlibType(), stored->id()));
    // A type whose name is not its key may now have one more of that name.
    nameCache_.erase(NameKey(type.type, type.name(*stored)));
    if (type.nameIsKey) stored_.emplace(NameKey(type.type, type.name(*stored)), stored->id());
  }

  // An object of this library known by its id: what an owner's save reads of
  // an owned object that is already stored, and nothing more.
  TnSmartPtr<Object> storedHandle(ObjectType type, std::uint32_t id) const {
    TnSmartPtr<Object> handle = access::mappingOf(type).create();
    ObjectState& state = detail::ObjectAccess::state(*handle);
    state.id = id;
    state.library = library_.shared_from_this();
    state.dirty = false;
    return handle;
  }

  // Lookups in the library, remembered: a catalogue refers to few types,
  // tags and materials many times. Only hits are kept, since a later element
  // may still store an object of a name not found before.
  TnSmartPtr<Object> byId(ObjectType type, std::uint32_t id) {
    const ObjectKey key(type, id);
    auto found = idCache_.find(key);
    if (found != idCache_.end()) return found->second;
    TnSmartPtr<Object> object = access::getOne(library_, type, access::Selection::of({id}));
    if (object) idCache_.emplace(key, object);
    return object;
  }

  std::vector<TnSmartPtr<Object>> byName(ObjectType type, const OdString& name) {
    const NameKey key(type, name);
    auto found = nameCache_.find(key);
    if (found != nameCache_.end()) return found->second;
    const access::Mapping& mapping = access::mappingOf(type);
    const db::Table* table = mapping.tableOf("name");
    std::vector<TnSmartPtr<Object>> objects;
    if (!table) return objects;
    access::getMany(library_, type,
                    access::Selection::matching(db::quote(table->name()) + ".\"name\" = ?", {name.toUtf8()}),
                    objects);
    if (!objects.empty()) nameCache_.emplace(key, objects);
    return objects;
  }

  Library& library_;
  const std::set<ObjectType>& types_;
  const Library::ImportOptions& options_;
  std::vector<Message> messages_;
  std::map<ObjectKey, TnSmartPtr<Object>> idCache_;
  std::map<NameKey, std::vector<TnSmartPtr<Object>>> nameCache_;
  std::map<NameKey, std::uint32_t> stored_;  // saved by this import, types whose key is the name
  std::set<ObjectKey> definedHere_;
  std::map<ObjectType, std::size_t> counts_;
  double lengthFactor_ = 1.0;
};

const std::set<ObjectType>& allTypes() {
  static const std::set<ObjectType> types = [] {
    std::set<ObjectType> all;
    for (const XmlType& type : xmlTypes()) all.insert(type.type);
    return all;
  }();
  return types;
}

}  // namespace

}  // namespace exchange

void Library::importFromXml(pugi::xml_node& root, const ImportOptions& options) {
  importFromXml(root, exchange::allTypes(), options);
}

void Library::importFromXml(pugi::xml_node& root, const std::set<ObjectType>& types,
                            const ImportOptions& options) {
  if (isReadOnly()) throw LibraryReadOnly();
  inTransaction(*this, Access::Write, [&](Transaction::Impl& tx) {
    // The objects saved here are the import's own; see transientObjects.
    struct Transient {
      Transaction::Impl& tx;
      bool previous;
      ~Transient() { tx.transientObjects = previous; }
    } transient{tx, tx.transientObjects};
    tx.transientObjects = true;
    // A retried attempt starts over with nothing remembered.
    exchange::Importer importer(*this, types, options);
    try {
      importer.run(root);
    } catch (...) {
      importer.deliver();
      throw;
    }
    importer.deliver();
  });
}

}  // namespace tarnlib
