// What the fuzz targets share: every persistent class as one type list, the
// read operations run on every class of a library, and memory files named per
// target that are cleared before and after each input.
#ifndef TARNLIB_TESTS_FUZZ_FUZZ_SUPPORT_H_
#define TARNLIB_TESTS_FUZZ_FUZZ_SUPPORT_H_

#include <pugixml.hpp>

#include <cstdint>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "tarnlib/tarnlib.h"

namespace tarnlib::fuzz {

template <class... T>
struct TypeList {};

// Roots before the classes derived from them, so that a root's load reads
// every derived table of a damaged file too.
using EveryClass =
    TypeList<Tag, Layer, CustomProperty, Asset, InformationAsset, PhysicalAsset, BimAsset, MaterialType, Material,
             CompositionType, Composition, ProfileStandard, ProfileName, Profile, CustomProfile,
             ParametrizedProfile, CircleProfile, CircleHollowProfile, EllipseProfile, RectangleProfile,
             RectangleHollowProfile, RoundedRectangleProfile, TrapeziumProfile, CraneRailAShapeProfile,
             CraneRailFShapeProfile, TShapeProfile, ZShapeProfile, CShapeProfile, UShapeProfile, LShapeProfile,
             IShapeProfile, AsymmetricIShapeProfile, Measure, Unit, PropertyNamespace, EntityType,
             AbstractDefinition, PropertyDefinition, ValueDefinition, PropertySet>;

// Every way of reading objects of class T: all of them, by id, by a set of
// ids, by criteria, by name and by GUID where the class has them, counts.
template <class T>
void readClass(const Library& library, std::set<ObjectKey>& keys) {
  std::vector<TnSmartPtr<T>> all;
  library.get<T>(all);
  std::set<std::uint32_t> ids;
  for (const auto& object : all) {
    ids.insert(object->id());
    if (keys.size() < 64) keys.insert(ObjectKey{ObjectTraits<T>::type, object->id()});
    library.get<T>(object->id());
    if constexpr (std::is_same_v<typename ObjectTraits<T>::unique_key_type, NameKey>) {
      library.exists<T>(NameKey(object->name()));
      library.get<T>(NameKey(object->name()));
    }
    if constexpr (std::is_base_of_v<Composition, T> || std::is_base_of_v<Profile, T>)
      library.get<T>(object->guid(), object->id());
  }
  ids.insert(0);
  ids.insert(0xffffffffu);
  std::vector<TnSmartPtr<T>> some;
  library.get<T>(some, ids);
  typename ObjectTraits<T>::criteria_type criteria;
  library.get<T>(some, criteria);
  library.count<T>();
  library.count<T>(criteria);
}

template <class... T>
void readClasses(const Library& library, std::set<ObjectKey>& keys, TypeList<T...>) {
  (readClass<T>(library, keys), ...);
}

// Reads everything a host can read from `library`: metadata, every class,
// units, the profile browser's rows and the XML of the whole catalogue by id
// and by name and of some objects.
inline void readEverything(const Library& library) {
  library.filename();
  library.version();
  library.openedVersion();
  library.isReadOnly();
  library.isNew();
  library.guid();
  library.unit();
  library.locale();
  library.region();
  std::set<ObjectKey> keys;
  readClasses(library, keys, EveryClass());
  library.defaultUnits();
  library.columnUnits();
  library.defaultUnit(L"Length");
  library.columnUnit(L"tarnlib_PhysicalAsset", L"density");
  std::vector<ProfilesPanelRow> rows;
  library.get(rows, ProfilesPanelQuery());
  for (bool byName : {false, true}) {
    pugi::xml_document doc;
    pugi::xml_node root = doc.append_child("tarnlibrary");
    Library::ExportOptions options;
    options.referencesByName = byName;
    options.exportMeta = true;
    options.exportGuid = true;
    options.keepEmptyReferences = !byName;
    library.exportToXml(root, options);
  }
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child("tarnlibrary");
  library.exportToXml(root, keys, Library::ExportOptions());
}

// A memory file for one target; its journal and what SQLite might leave
// beside it go with it, so that no input sees what the previous one left.
class ScratchFile {
 public:
  explicit ScratchFile(const char* name) : name_(name) { clear(); }
  ~ScratchFile() { clear(); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // "memvfs://NAME", for Library::open and create.
  OdString path() const { return OdString(std::string(memvfs_name()) + "://" + name_); }
  MemFile* create() { return MemFs::instance().open(OdString(name_), true); }

 private:
  void clear() {
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) MemFs::instance().remove(OdString(name_ + suffix));
  }
  std::string name_;
};

}  // namespace tarnlib::fuzz

#endif  // TARNLIB_TESTS_FUZZ_FUZZ_SUPPORT_H_
