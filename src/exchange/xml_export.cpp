// Library::exportToXml: the document frame, the type groups and the writing
// context that the field writers of xml_types.cpp call back into.
#include <algorithm>
#include <map>

#include "access/mapping.h"
#include "access/operations.h"
#include "core/transaction_impl.h"
#include "exchange/xml_schema.h"
#include "tarnlib/library.h"

namespace tarnlib {

namespace exchange {

namespace {

const char* const kNamespaceUri = "https://tarnlib.org/schema/library";
const char* const kXsiUri = "http://www.w3.org/2001/XMLSchema-instance";
const char* const kSchemaLocation = "https://tarnlib.org/schema/library https://tarnlib.org/schema/library.xsd";

// The objects of each type group, in the order of the document.
using Groups = std::vector<std::pair<const XmlType*, std::vector<TnSmartPtr<Object>>>>;

class Exporter final : public Writer {
 public:
  explicit Exporter(const Library::ExportOptions& options) : options_(options) {
    referencesByName = options.referencesByName;
  }

  bool reference(pugi::xml_node element, const Object* target) override {
    if (!target) {
      if (!options_.keepEmptyReferences) element.parent().remove_child(element);
      return options_.keepEmptyReferences;
    }
    const XmlType* type = xmlTypeOf(target->tarnlibType());
    if (referencesByName && type) setAttribute(element, "name", type->name(*target));
    else element.append_attribute("id").set_value(target->id());
    referenced_.insert(ObjectKey(target->tarnlibType(), target->id()));
    return true;
  }

  void content(pugi::xml_node element, const Object& object) override {
    const XmlType* type = xmlTypeOf(object.tarnlibType());
    if (type)
      for (const XmlField& field : type->fields) field.write(object, element, *this);
    // An element with nothing in it says nothing: leave it out.
    if (!element.first_child() && !element.first_attribute()) element.parent().remove_child(element);
  }

  // Releases each object once written: the memory goes back to the tree as
  // it grows instead of all at the end.
  void write(pugi::xml_node root, Groups& groups, std::uint64_t version) {
    frame(root, version);
    std::size_t total = 0;
    for (const auto& group : groups) total += group.second.size();
    std::size_t done = 0;
    for (auto& [type, objects] : groups) {
      for (auto& object : objects) {
        // Objects of a derived class fetched by a key of their base go under
        // their own element.
        const XmlType* own = xmlTypeOf(object->tarnlibType());
        content(root.append_child((own ? own : type)->element), *object);
        object = nullptr;
        if (options_.progress && ++done % 1024 == 0) options_.progress(done, total);
      }
    }
    if (options_.progress) options_.progress(total, total);
  }

  void meta(pugi::xml_node root, const Library& library) {
    if (!options_.exportMeta) return;
    pugi::xml_node meta = root.prepend_child("meta");
    meta.append_child("unit").text().set(library.unit() == LibraryUnit::Inch ? "Inch" : "Millimeter");
    if (options_.exportGuid) setText(meta.append_child("guid"), library.guid());
    setText(meta.append_child("locale"), library.locale());
    setText(meta.append_child("region"), library.region());
  }

 private:
  static void frame(pugi::xml_node root, std::uint64_t version) {
    if (*root.name() == '\0') root.set_name("tarnlibrary");
    root.append_attribute("xmlns").set_value(kNamespaceUri);
    root.append_attribute("xmlns:xsi").set_value(kXsiUri);
    root.append_attribute("xsi:schemaLocation").set_value(kSchemaLocation);
    root.append_attribute("version").set_value(static_cast<unsigned long long>(version));
  }

  const Library::ExportOptions& options_;
  std::set<ObjectKey> referenced_;
};

bool byId(const TnSmartPtr<Object>& a, const TnSmartPtr<Object>& b) { return a->id() < b->id(); }

// Loads the groups `pick` selects, all in the caller's read transaction. A
// group is a type of the format; `pick` says which of its rows to load (none,
// all, or some ids) and whether only objects of exactly that class belong.
template <class Pick>
Groups loadGroups(const Library& library, Pick pick) {
  Groups groups;
  inTransaction(library, Access::Read, [&](Transaction::Impl&) {
    groups.clear();
    for (const XmlType& type : xmlTypes()) {
      std::vector<TnSmartPtr<Object>> objects;
      access::Selection selection;
      bool exact = true;
      if (!pick(type.type, selection, exact)) continue;
      access::getMany(library, type.type, selection, objects);
      if (exact)
        objects.erase(std::remove_if(objects.begin(), objects.end(),
                                     [&](const TnSmartPtr<Object>& o) { return o->tarnlibType() != type.type; }),
                      objects.end());
      if (!std::is_sorted(objects.begin(), objects.end(), &byId)) std::sort(objects.begin(), objects.end(), &byId);
      if (!objects.empty()) groups.emplace_back(&type, std::move(objects));
    }
  });
  return groups;
}

void exportGroups(const Library& library, pugi::xml_node root, Groups groups,
                  const Library::ExportOptions& options) {
  Exporter exporter(options);
  exporter.write(root, groups, library.version());
  exporter.meta(root, library);
}

// Whether `type` is one of `types` or derives from one of them.
bool listed(ObjectType type, const std::set<ObjectType>& types) {
  if (types.count(type)) return true;
  const access::Mapping& mapping = access::mappingOf(type);
  for (ObjectType listedType : types) {
    try {
      if (mapping.isKindOf(access::mappingOf(listedType))) return true;
    } catch (const std::out_of_range&) {
      // A type without a class of its own lists nothing.
    }
  }
  return false;
}

}  // namespace

}  // namespace exchange

void Library::exportToXml(pugi::xml_node& root, const ExportOptions& options) const {
  auto groups = exchange::loadGroups(*this, [](ObjectType, access::Selection& s, bool&) {
    s = access::Selection::all();
    return true;
  });
  exchange::exportGroups(*this, root, std::move(groups), options);
}

void Library::exportToXml(pugi::xml_node& root, const std::set<ObjectType>& types,
                          const ExportOptions& options) const {
  auto groups = exchange::loadGroups(*this, [&](ObjectType type, access::Selection& s, bool&) {
    s = access::Selection::all();
    return exchange::listed(type, types);
  });
  exchange::exportGroups(*this, root, std::move(groups), options);
}

void Library::exportToXml(pugi::xml_node& root, const std::set<ObjectKey>& keys,
                          const ExportOptions& options) const {
  std::map<ObjectType, std::vector<std::uint32_t>> ids;
  for (const ObjectKey& key : keys)
    if (key.id != 0) ids[key.type].push_back(key.id);
  auto groups = exchange::loadGroups(*this, [&](ObjectType type, access::Selection& s, bool& exact) {
    auto found = ids.find(type);
    if (found == ids.end()) return false;
    s = access::Selection::of(found->second);
    exact = false;  // the keys name the objects; their class is what it is
    return true;
  });
  exchange::exportGroups(*this, root, std::move(groups), options);
}

}  // namespace tarnlib
