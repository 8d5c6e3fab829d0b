// Materials and compositions against a raw-SQLite baseline doing the same row
// work through prepared statements in one transaction, on files of the same
// schema:
//   save materials     N materials in one transaction made current around the
//                      saves; each has one of four shared classes, two of eight
//                      shared tags, two custom values of two shared properties
//                      and a physical asset of its own (asset root row, derived
//                      row, material row, two tag rows, two custom value rows);
//   load materials     every material with its class, tags, custom values and
//                      asset (get into a vector);
//   get materials      N materials by random id, one by one, in one transaction;
//   save compositions  N/5 compositions of five plies each, the plies referring
//                      to random stored materials, in one transaction;
//   load compositions  every composition with its plies and the materials they
//                      refer to, loaded whole as the library loads them.
// N is 100,000; TARNLIB_BENCH_N sets another (a small one for profiling).
// The objects to save and the baseline's row values are built before the clock
// starts; the baseline keeps its text as UTF-8 where we convert to OdString.
//
// The material rows also run through SOCI, when the build found it: the
// general-purpose mapper a host would otherwise reach for, used as its
// documentation shows (a type_conversion per record, prepared statements with
// use and into, one soci::transaction), reading and writing the baseline's
// records with the baseline's statements. Its column shows what a mapper of
// that kind costs over the same row work.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#ifdef TARNLIB_BENCH_SOCI
#include <soci/soci.h>

// The SQLite backend's factory, as soci/sqlite3/soci-sqlite3.h declares it:
// that header includes <sqlite3.h> inside a namespace of its own, which takes
// the C API away from the baseline in this file.
namespace soci {
extern "C" backend_factory const* factory_sqlite3();
}  // namespace soci
#endif

#include "paired_runs.h"
#include "raw_sqlite.h"
#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/guid.h"
#include "tarnlib/library.h"
#include "tarnlib/material.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace {

using tarnlib::bench::median;
using tarnlib::bench::paired;
using tarnlib::bench::tripled;
using tarnlib::bench::samples;
using tarnlib::bench::Sqlite;
using tarnlib::bench::columnText;
using tarnlib::bench::bindText;

namespace fs = std::filesystem;
using tarnlib::Composition;
using tarnlib::CustomProperty;
using tarnlib::Library;
using tarnlib::Material;
using tarnlib::MaterialFunction;
using tarnlib::MaterialType;
using tarnlib::ObjectType;
using tarnlib::Pattern;
using tarnlib::PhysicalAsset;
using tarnlib::Tag;
using tarnlib::TnSmartPtr;
using tarnlib::Transaction;

int materialCount() { return tarnlib::bench::objectCount(100000); }

constexpr int kTypes = 4;
constexpr int kTags = 8;
constexpr int kPlies = 5;
const char* const kTypeNames[kTypes] = {"Concrete", "Timber", "Steel", "Masonry"};
const char* const kPropertyNames[2] = {"Fire rating", "Supplier"};  // in key order

// ---- Row values, the same for both sides --------------------------------------

std::string tagName(int t) { return "Tag " + std::to_string(t); }
std::string materialName(int i) { return "Material \xC3\xA4 " + std::to_string(i); }
std::string materialDescription(int i) { return "Description of material " + std::to_string(i); }
std::string appearanceName(int i) { return "Render " + std::to_string(i % 10); }
int typeOf(int i) { return i % kTypes; }
int firstTag(int i) { return i % kTags; }
int secondTag(int i) { return (i + 3) % kTags; }
std::string customValue(int i, int p) {
  return p == 0 ? "EI " + std::to_string(30 * (i % 4 + 1)) : "Supplier " + std::to_string(i % 50);
}
std::string assetName(int i) { return "Physical " + std::to_string(i); }
double density(int i) { return 1000.0 + i % 1500; }
double specificHeat(int i) { return 800.0 + i % 200; }
double conductivity(int i) { return 0.04 + 1e-6 * i; }
const char* const kCutPatternName = "ANSI31";

std::string compositionName(int c) { return "Wall \xC3\xA4 " + std::to_string(c); }
const char* const kCompositionDescription = "Exterior wall";
const MaterialFunction kPlyFunctions[kPlies] = {MaterialFunction::Finish1, MaterialFunction::Substrate,
                                                MaterialFunction::Structure, MaterialFunction::Insulation,
                                                MaterialFunction::Finish2};
double plyThickness(int c, int k) { return 0.01 * (k + 1) + 1e-7 * c; }

// The material ids the plies refer to, composition after composition; the
// materials are stored first in a new file, so their ids are 1..n.
std::vector<std::uint32_t> plyMaterialIds(int compositions, int materials) {
  std::mt19937 random(7);
  std::uniform_int_distribution<std::uint32_t> pick(1, static_cast<std::uint32_t>(materials));
  std::vector<std::uint32_t> ids(static_cast<std::size_t>(compositions) * kPlies);
  for (auto& id : ids) id = pick(random);
  return ids;
}

std::vector<std::uint32_t> randomIds(int n) {
  std::mt19937 random(42);
  std::uniform_int_distribution<std::uint32_t> pick(1, static_cast<std::uint32_t>(n));
  std::vector<std::uint32_t> ids(static_cast<std::size_t>(n));
  for (auto& id : ids) id = pick(random);
  return ids;
}

// ---- Raw SQLite ----------------------------------------------------------------

std::string jsonIds(const std::vector<sqlite3_int64>& ids) {
  std::string json = "[";
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i) json += ',';
    json += std::to_string(ids[i]);
  }
  json += ']';
  return json;
}

// What the baseline reads back: the same values, plain.
struct RawNamed {
  sqlite3_int64 id = 0;
  std::string name;
};
struct RawProperty {
  sqlite3_int64 id = 0;
  std::string name;
  int objectType = 0;
};
struct RawPhysicalAsset {
  sqlite3_int64 id = 0;
  std::string name;
  std::string description;
  bool hasDensity = false, hasSpecificHeat = false, hasConductivity = false;
  double density = 0, specificHeat = 0, conductivity = 0;
};
struct RawColor {
  int type = -1;
  double red = 0, green = 0, blue = 0, alpha = 0;
};
struct RawPattern {
  int type = -1;
  std::string name;
  double scale = 1, angle = 0;
  bool cross = false, annotative = false;
  RawColor background;
};
struct RawMaterial {
  sqlite3_int64 id = 0;
  std::string name;
  std::string description;
  std::string comments;
  std::string appearance;
  RawPattern cut;
  RawPattern surface;
  const RawNamed* type = nullptr;
  const RawPhysicalAsset* physical = nullptr;
  sqlite3_int64 typeId = 0, informationId = 0, physicalId = 0, bimId = 0;  // 0: none
  std::vector<const RawNamed*> tags;
  std::vector<std::pair<const RawProperty*, std::string>> customValues;
};
struct RawPly {
  const RawMaterial* material = nullptr;
  sqlite3_int64 materialId = 0;
  int function = 0;
  double thickness = 1;
};
struct RawComposition {
  sqlite3_int64 id = 0;
  std::string name;
  int type = 128;
  sqlite3_int64 compositionTypeId = 0, layerId = 0;
  std::string description;
  std::string comments;
  int firstCore = 0, lastCore = 0, structural = 0;
  bool hasVariable = false, hasVariableMax = false;
  int variable = 0;
  double variableMin = 0, variableMax = 0;
  std::string guid;
  std::vector<RawPly> plies;
};

sqlite3_int64 optionalId(sqlite3_stmt* stmt, int column) {
  return sqlite3_column_type(stmt, column) == SQLITE_NULL ? 0 : sqlite3_column_int64(stmt, column);
}

// Columns 0..10 from `first`: a pattern flattened as the table stores it.
int readPattern(sqlite3_stmt* stmt, int first, RawPattern& p) {
  p.type = sqlite3_column_int(stmt, first);
  p.name = columnText(stmt, first + 1);
  p.scale = sqlite3_column_double(stmt, first + 2);
  p.angle = sqlite3_column_double(stmt, first + 3);
  p.cross = sqlite3_column_int(stmt, first + 4) != 0;
  p.annotative = sqlite3_column_int(stmt, first + 5) != 0;
  p.background.type = sqlite3_column_int(stmt, first + 6);
  p.background.red = sqlite3_column_double(stmt, first + 7);
  p.background.green = sqlite3_column_double(stmt, first + 8);
  p.background.blue = sqlite3_column_double(stmt, first + 9);
  p.background.alpha = sqlite3_column_double(stmt, first + 10);
  return first + 11;
}

void readMaterial(sqlite3_stmt* stmt, RawMaterial& m) {
  m.id = sqlite3_column_int64(stmt, 0);
  m.name = columnText(stmt, 1);
  m.typeId = optionalId(stmt, 2);
  m.description = columnText(stmt, 3);
  m.comments = columnText(stmt, 4);
  m.appearance = columnText(stmt, 5);
  int column = readPattern(stmt, 6, m.cut);
  column = readPattern(stmt, column, m.surface);
  m.informationId = optionalId(stmt, column);
  m.physicalId = optionalId(stmt, column + 1);
  m.bimId = optionalId(stmt, column + 2);
}

void readPhysicalAsset(sqlite3_stmt* stmt, RawPhysicalAsset& a) {
  a.id = sqlite3_column_int64(stmt, 0);
  a.name = columnText(stmt, 1);
  a.description = columnText(stmt, 2);
  a.hasDensity = sqlite3_column_type(stmt, 3) != SQLITE_NULL;
  a.density = sqlite3_column_double(stmt, 3);
  a.hasSpecificHeat = sqlite3_column_type(stmt, 4) != SQLITE_NULL;
  a.specificHeat = sqlite3_column_double(stmt, 4);
  a.hasConductivity = sqlite3_column_type(stmt, 5) != SQLITE_NULL;
  a.conductivity = sqlite3_column_double(stmt, 5);
}

#define TB_PATTERN_COLUMNS(p)                                                                              \
  p "type, " p "name, " p "scale, " p "angle, " p "cross, " p "annotative, " p "background_color_type, " p \
    "background_color_red, " p "background_color_green, " p "background_color_blue, " p                    \
    "background_color_alpha"
#define TB_MATERIAL_COLUMNS \
  "id, name, type_id, description, comments, appearance, " TB_PATTERN_COLUMNS("cut_pattern_") ", "  \
  TB_PATTERN_COLUMNS("surface_pattern_") ", information_asset_id, physical_asset_id, bim_asset_id"
#define TB_ASSET_SELECT                                                                           \
  "SELECT p.id, p.name, p.description, p.density, p.specific_heat, p.thermal_conductivity, a.id " \
  "FROM tarnlib_PhysicalAsset p LEFT JOIN tarnlib_Asset a ON a.id = p.id"
#define TB_IN_LIST " IN (SELECT value FROM json_each(?))"

// What a reader of the baseline's kind gives: materials with everything they
// refer to, each kept once and found by id.
struct RawMaterialRecords {
  std::vector<RawMaterial> materials;
  std::unordered_map<sqlite3_int64, std::size_t> index;  // by id
  std::unordered_map<sqlite3_int64, RawNamed> types;
  std::unordered_map<sqlite3_int64, RawNamed> tags;
  std::unordered_map<sqlite3_int64, RawProperty> properties;
  std::vector<RawPhysicalAsset> assets;
  std::unordered_map<sqlite3_int64, std::size_t> assetIndex;

  // Drops what the last read gave.
  void clear() { *this = RawMaterialRecords(); }
};

// Materials with everything they refer to, read in one batch per table: every
// material, or those of an id list.
class RawMaterialReader : public RawMaterialRecords {
 public:
  explicit RawMaterialReader(Sqlite& db)
      : allRows_(db.prepare("SELECT " TB_MATERIAL_COLUMNS " FROM tarnlib_Material ORDER BY id")),
        someRows_(db.prepare("SELECT " TB_MATERIAL_COLUMNS " FROM tarnlib_Material WHERE id" TB_IN_LIST
                             " ORDER BY id")),
        allTags_(
            db.prepare("SELECT object_id, tag_id FROM tarnlib_Material_tags ORDER BY object_id, \"index\"")),
        someTags_(db.prepare("SELECT object_id, tag_id FROM tarnlib_Material_tags WHERE object_id" TB_IN_LIST
                             " ORDER BY object_id, \"index\"")),
        allValues_(db.prepare("SELECT object_id, property_id, value FROM tarnlib_Material_custom_values "
                              "ORDER BY object_id")),
        someValues_(db.prepare("SELECT object_id, property_id, value FROM tarnlib_Material_custom_values "
                               "WHERE object_id" TB_IN_LIST " ORDER BY object_id")),
        types_(db.prepare("SELECT id, name FROM tarnlib_MaterialType WHERE id" TB_IN_LIST)),
        tags_(db.prepare("SELECT id, name FROM tarnlib_Tag WHERE id" TB_IN_LIST)),
        properties_(
            db.prepare("SELECT id, name, object_type FROM tarnlib_CustomProperty WHERE id" TB_IN_LIST)),
        allAssets_(db.prepare(TB_ASSET_SELECT " ORDER BY p.id")),
        someAssets_(db.prepare(TB_ASSET_SELECT " WHERE p.id" TB_IN_LIST " ORDER BY p.id")) {}


  // `ids` sorted and unique; null for every material.
  void read(const std::vector<sqlite3_int64>* ids) {
    const std::string list = ids ? jsonIds(*ids) : std::string();
    sqlite3_stmt* rows = ids ? someRows_ : allRows_;
    sqlite3_stmt* tagRows = ids ? someTags_ : allTags_;
    sqlite3_stmt* valueRows = ids ? someValues_ : allValues_;
    if (ids) {
      bindText(rows, 1, list);
      bindText(tagRows, 1, list);
      bindText(valueRows, 1, list);
      materials.reserve(ids->size());
      index.reserve(ids->size());
    }
    std::set<sqlite3_int64> typeIds, tagIds, propertyIds;
    std::vector<sqlite3_int64> assetIds;
    while (sqlite3_step(rows) == SQLITE_ROW) {
      RawMaterial m;
      readMaterial(rows, m);
      if (m.typeId) typeIds.insert(m.typeId);
      if (m.physicalId) assetIds.push_back(m.physicalId);
      index.emplace(m.id, materials.size());
      materials.push_back(std::move(m));
    }
    sqlite3_reset(rows);
    std::vector<std::pair<RawMaterial*, sqlite3_int64>> tagRefs;
    std::vector<std::pair<std::pair<RawMaterial*, std::size_t>, sqlite3_int64>> propertyRefs;
    while (sqlite3_step(tagRows) == SQLITE_ROW) {
      auto it = index.find(sqlite3_column_int64(tagRows, 0));
      if (it == index.end()) continue;
      const sqlite3_int64 tagId = sqlite3_column_int64(tagRows, 1);
      tagIds.insert(tagId);
      tagRefs.emplace_back(&materials[it->second], tagId);
    }
    sqlite3_reset(tagRows);
    while (sqlite3_step(valueRows) == SQLITE_ROW) {
      auto it = index.find(sqlite3_column_int64(valueRows, 0));
      if (it == index.end() || sqlite3_column_type(valueRows, 1) == SQLITE_NULL) continue;
      RawMaterial& m = materials[it->second];
      const sqlite3_int64 propertyId = sqlite3_column_int64(valueRows, 1);
      propertyIds.insert(propertyId);
      propertyRefs.emplace_back(std::make_pair(&m, m.customValues.size()), propertyId);
      m.customValues.emplace_back(nullptr, columnText(valueRows, 2));
    }
    sqlite3_reset(valueRows);

    readNamed(types_, typeIds, types);
    readNamed(tags_, tagIds, tags);
    {
      const std::string json = jsonIds(std::vector<sqlite3_int64>(propertyIds.begin(), propertyIds.end()));
      bindText(properties_, 1, json);
      while (sqlite3_step(properties_) == SQLITE_ROW) {
        RawProperty p;
        p.id = sqlite3_column_int64(properties_, 0);
        p.name = columnText(properties_, 1);
        p.objectType = sqlite3_column_int(properties_, 2);
        properties.emplace(p.id, std::move(p));
      }
      sqlite3_reset(properties_);
    }
    {
      std::string json;
      sqlite3_stmt* assetRows = allAssets_;
      if (ids) {
        std::sort(assetIds.begin(), assetIds.end());
        assetIds.erase(std::unique(assetIds.begin(), assetIds.end()), assetIds.end());
        json = jsonIds(assetIds);
        assetRows = someAssets_;
        bindText(assetRows, 1, json);
      }
      assets.reserve(assetIds.size());
      assetIndex.reserve(assetIds.size());
      while (sqlite3_step(assetRows) == SQLITE_ROW) {
        RawPhysicalAsset a;
        readPhysicalAsset(assetRows, a);
        assetIndex.emplace(a.id, assets.size());
        assets.push_back(std::move(a));
      }
      sqlite3_reset(assetRows);
    }

    for (RawMaterial& m : materials) {
      if (m.typeId) m.type = &types[m.typeId];
      if (m.physicalId) m.physical = &assets[assetIndex.at(m.physicalId)];
    }
    for (const auto& [m, id] : tagRefs) m->tags.push_back(&tags[id]);
    for (const auto& [slot, id] : propertyRefs) slot.first->customValues[slot.second].first = &properties[id];
  }

 private:
  static void readNamed(sqlite3_stmt* stmt, const std::set<sqlite3_int64>& ids,
                        std::unordered_map<sqlite3_int64, RawNamed>& out) {
    const std::string json = jsonIds(std::vector<sqlite3_int64>(ids.begin(), ids.end()));
    bindText(stmt, 1, json);
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      RawNamed n;
      n.id = sqlite3_column_int64(stmt, 0);
      n.name = columnText(stmt, 1);
      out.emplace(n.id, std::move(n));
    }
    sqlite3_reset(stmt);
  }

  sqlite3_stmt* allRows_;
  sqlite3_stmt* someRows_;
  sqlite3_stmt* allTags_;
  sqlite3_stmt* someTags_;
  sqlite3_stmt* allValues_;
  sqlite3_stmt* someValues_;
  sqlite3_stmt* types_;
  sqlite3_stmt* tags_;
  sqlite3_stmt* properties_;
  sqlite3_stmt* allAssets_;
  sqlite3_stmt* someAssets_;
};

bool completeRaw(const RawMaterial& m) {
  return m.type && m.physical && m.tags.size() == 2 && m.tags[1] && m.customValues.size() == 2 &&
         m.customValues[1].first;
}

bool complete(const Material& m) {
  return m.type() && m.physical_asset() && m.tags().size() == 2 && m.tags()[1] &&
         m.custom_values().size() == 2;
}

// ---- Files ------------------------------------------------------------------------

struct Files {
  fs::path dir;
  std::string empty;      // a new library, no objects
  std::string materials;  // N materials, written by us
  std::string filled;     // the same with N/5 compositions, written by us
  std::string work;
  int n = materialCount();
  int compositions = std::max(1, n / 5);

  Files() {
    std::string pattern = (fs::temp_directory_path() / "tarnlib-bench-XXXXXX").string();
    dir = mkdtemp(pattern.data());
    empty = (dir / "empty.tlib").string();
    materials = (dir / "materials.tlib").string();
    filled = (dir / "filled.tlib").string();
    work = (dir / "work.tlib").string();
    if (!Library::create(OdString(empty), tarnlib::LibraryUnit::Millimeter))
      throw std::runtime_error("cannot create " + empty);
  }
  ~Files() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  void fresh(const std::string& from) const {
    fs::copy_file(from, work, fs::copy_options::overwrite_existing);
  }
};

Files& files() {
  static Files instance;
  return instance;
}

template <class F>
double secondsOf(F f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::shared_ptr<Library> openLibrary(const std::string& path) {
  auto library = Library::open(OdString(path));
  if (!library) throw std::runtime_error("cannot open " + path);
  return library;
}

// ---- Save materials -------------------------------------------------------------

double saveMaterialsOurs(const std::string& path, int n) {
  auto library = openLibrary(path);
  // A host shares the classes, tags and properties among its materials.
  std::vector<TnSmartPtr<const MaterialType>> types;
  for (const char* name : kTypeNames) types.push_back(MaterialType::create(OdString(name)));
  std::vector<TnSmartPtr<Tag>> tags;
  for (int t = 0; t < kTags; ++t) tags.push_back(Tag::create(OdString(tagName(t))));
  std::vector<TnSmartPtr<const CustomProperty>> properties;
  for (const char* name : kPropertyNames)
    properties.push_back(CustomProperty::create(OdString(name), ObjectType::Material));
  std::vector<TnSmartPtr<Material>> materials;
  materials.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    auto m = Material::create(OdString(materialName(i)), types[static_cast<std::size_t>(typeOf(i))]);
    m->set_description(OdString(materialDescription(i)));
    m->set_appearance(OdString(appearanceName(i)));
    m->set_cut_pattern(Pattern(Pattern::Type::Predefined, OdString(kCutPatternName), 1.0, 0.0, false));
    m->add_tag(tags[static_cast<std::size_t>(firstTag(i))]);
    m->add_tag(tags[static_cast<std::size_t>(secondTag(i))]);
    for (int p = 0; p < 2; ++p)
      m->set_custom_value(properties[static_cast<std::size_t>(p)], OdString(customValue(i, p)));
    auto asset = PhysicalAsset::create(OdString(assetName(i)));
    asset->set_density(density(i));
    asset->set_specific_heat(specificHeat(i));
    asset->set_thermal_conductivity(conductivity(i));
    m->set_physical_asset(asset);
    materials.push_back(std::move(m));
  }
  return secondsOf([&] {
    Transaction tx(library, Transaction::kBeginCurrent);
    for (const auto& m : materials) library->save<Material>(m);
    tx.commit();
  });
}

double saveMaterialsRaw(const std::string& path, int n) {
  Sqlite db(path);
  struct Values {
    std::string name, description, appearance, asset;
    std::string custom[2];
  };
  std::vector<Values> values(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    Values& v = values[static_cast<std::size_t>(i)];
    v.name = materialName(i);
    v.description = materialDescription(i);
    v.appearance = appearanceName(i);
    v.asset = assetName(i);
    for (int p = 0; p < 2; ++p) v.custom[p] = customValue(i, p);
  }
  std::vector<std::string> tagNames;
  for (int t = 0; t < kTags; ++t) tagNames.push_back(tagName(t));
  sqlite3_stmt* type = db.prepare("INSERT INTO tarnlib_MaterialType (id, name) VALUES (NULL, ?)");
  sqlite3_stmt* tag = db.prepare("INSERT INTO tarnlib_Tag (id, name) VALUES (NULL, ?)");
  sqlite3_stmt* property =
      db.prepare("INSERT INTO tarnlib_CustomProperty (id, name, object_type) VALUES (NULL, ?, ?)");
  sqlite3_stmt* root = db.prepare("INSERT INTO tarnlib_Asset (id, typeid) VALUES (NULL, ?)");
  sqlite3_stmt* asset = db.prepare(
      "INSERT INTO tarnlib_PhysicalAsset (id, name, description, density, specific_heat, "
      "thermal_conductivity) VALUES (?, ?, ?, ?, ?, ?)");
  sqlite3_stmt* material = db.prepare("INSERT INTO tarnlib_Material (" TB_MATERIAL_COLUMNS
                                      ") VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                                      "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  sqlite3_stmt* tagRow =
      db.prepare("INSERT INTO tarnlib_Material_tags (object_id, \"index\", tag_id) VALUES (?, ?, ?)");
  sqlite3_stmt* valueRow = db.prepare(
      "INSERT INTO tarnlib_Material_custom_values (object_id, property_id, value) VALUES (?, ?, ?)");
  return secondsOf([&] {
    db.exec("BEGIN IMMEDIATE");
    sqlite3_int64 typeIds[kTypes];
    for (int t = 0; t < kTypes; ++t) {
      sqlite3_bind_text(type, 1, kTypeNames[t], -1, SQLITE_STATIC);
      db.done(type);
      typeIds[t] = db.lastId();
    }
    sqlite3_int64 tagIds[kTags];
    for (int t = 0; t < kTags; ++t) {
      bindText(tag, 1, tagNames[static_cast<std::size_t>(t)]);
      db.done(tag);
      tagIds[t] = db.lastId();
    }
    sqlite3_int64 propertyIds[2];
    for (int p = 0; p < 2; ++p) {
      sqlite3_bind_text(property, 1, kPropertyNames[p], -1, SQLITE_STATIC);
      sqlite3_bind_int(property, 2, static_cast<int>(ObjectType::Material));
      db.done(property);
      propertyIds[p] = db.lastId();
    }
    for (int i = 0; i < n; ++i) {
      const Values& v = values[static_cast<std::size_t>(i)];
      sqlite3_bind_text(root, 1, "tarnlib::PhysicalAsset", -1, SQLITE_STATIC);
      db.done(root);
      const sqlite3_int64 assetId = db.lastId();
      sqlite3_bind_int64(asset, 1, assetId);
      bindText(asset, 2, v.asset);
      sqlite3_bind_text(asset, 3, "", 0, SQLITE_STATIC);
      sqlite3_bind_double(asset, 4, density(i));
      sqlite3_bind_double(asset, 5, specificHeat(i));
      sqlite3_bind_double(asset, 6, conductivity(i));
      db.done(asset);

      int p = 1;
      bindText(material, p++, v.name);
      sqlite3_bind_int64(material, p++, typeIds[typeOf(i)]);
      bindText(material, p++, v.description);
      sqlite3_bind_text(material, p++, "", 0, SQLITE_STATIC);
      bindText(material, p++, v.appearance);
      for (int k = 0; k < 2; ++k) {  // cut pattern, then the default surface pattern
        const bool cut = k == 0;
        sqlite3_bind_int(material, p++, cut ? static_cast<int>(Pattern::Type::Predefined) : -1);
        sqlite3_bind_text(material, p++, cut ? kCutPatternName : "", -1, SQLITE_STATIC);
        sqlite3_bind_double(material, p++, 1.0);
        sqlite3_bind_double(material, p++, 0.0);
        sqlite3_bind_int(material, p++, 0);
        sqlite3_bind_int(material, p++, 0);
        sqlite3_bind_int(material, p++, -1);
        for (int c = 0; c < 4; ++c) sqlite3_bind_double(material, p++, 0.0);
      }
      sqlite3_bind_null(material, p++);
      sqlite3_bind_int64(material, p++, assetId);
      sqlite3_bind_null(material, p++);
      db.done(material);
      const sqlite3_int64 id = db.lastId();

      const int tagOf[2] = {firstTag(i), secondTag(i)};
      for (int k = 0; k < 2; ++k) {
        sqlite3_bind_int64(tagRow, 1, id);
        sqlite3_bind_int(tagRow, 2, k);
        sqlite3_bind_int64(tagRow, 3, tagIds[tagOf[k]]);
        db.done(tagRow);
      }
      for (int k = 0; k < 2; ++k) {
        sqlite3_bind_int64(valueRow, 1, id);
        sqlite3_bind_int64(valueRow, 2, propertyIds[k]);
        bindText(valueRow, 3, v.custom[k]);
        db.done(valueRow);
      }
    }
    db.exec("COMMIT");
  });
}

// ---- Load materials -------------------------------------------------------------

// Each side keeps its connection and statements across runs, as a host would.
class LoadMaterialsOurs {
 public:
  explicit LoadMaterialsOurs(const Files& f) : n_(f.n), library_(openLibrary(f.filled)) {}
  double operator()() {
    std::vector<TnSmartPtr<Material>> materials;
    const double seconds = secondsOf([&] { library_->get<Material>(materials); });
    if (materials.size() != static_cast<std::size_t>(n_) || !complete(*materials.back()))
      throw std::runtime_error("load materials: wrong result");
    return seconds;
  }

 private:
  int n_;
  std::shared_ptr<Library> library_;
};

class LoadMaterialsRaw {
 public:
  explicit LoadMaterialsRaw(const Files& f) : n_(f.n), db_(f.filled), reader_(db_) {}
  double operator()() {
    reader_.clear();
    const double seconds = secondsOf([&] {
      db_.exec("BEGIN");
      reader_.read(nullptr);
      db_.exec("COMMIT");
    });
    if (reader_.materials.size() != static_cast<std::size_t>(n_) || !completeRaw(reader_.materials.back()))
      throw std::runtime_error("load materials: wrong result");
    return seconds;
  }

 private:
  int n_;
  Sqlite db_;
  RawMaterialReader reader_;
};

// ---- Get materials by id ----------------------------------------------------------

class GetMaterialOurs {
 public:
  explicit GetMaterialOurs(const Files& f) : ids_(randomIds(f.n)), library_(openLibrary(f.filled)) {}
  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      Transaction tx(library_, Transaction::kBeginCurrent);
      for (std::uint32_t id : ids_) {
        TnSmartPtr<Material> m = library_->get<Material>(id);
        found += m && complete(*m) ? 1 : 0;
      }
      tx.rollback();
    });
    if (found != ids_.size()) throw std::runtime_error("get materials: wrong result");
    return seconds;
  }

 private:
  std::vector<std::uint32_t> ids_;
  std::shared_ptr<Library> library_;
};

class GetMaterialRaw {
 public:
  explicit GetMaterialRaw(const Files& f)
      : ids_(randomIds(f.n)),
        db_(f.filled),
        row_(db_.prepare("SELECT " TB_MATERIAL_COLUMNS " FROM tarnlib_Material WHERE id = ?")),
        tagRows_(
            db_.prepare("SELECT tag_id FROM tarnlib_Material_tags WHERE object_id = ? ORDER BY \"index\"")),
        valueRows_(
            db_.prepare("SELECT property_id, value FROM tarnlib_Material_custom_values WHERE object_id = ?")),
        type_(db_.prepare("SELECT id, name FROM tarnlib_MaterialType WHERE id = ?")),
        tag_(db_.prepare("SELECT id, name FROM tarnlib_Tag WHERE id = ?")),
        property_(db_.prepare("SELECT id, name, object_type FROM tarnlib_CustomProperty WHERE id = ?")),
        asset_(db_.prepare(TB_ASSET_SELECT " WHERE p.id = ?")) {}

  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      db_.exec("BEGIN");
      for (std::uint32_t id : ids_) {
        RawMaterial m;
        RawNamed type;
        RawNamed tags[2];
        RawProperty properties[2];
        RawPhysicalAsset asset;
        sqlite3_bind_int64(row_, 1, id);
        if (sqlite3_step(row_) == SQLITE_ROW) readMaterial(row_, m);
        sqlite3_reset(row_);
        if (m.id == 0) continue;
        sqlite3_bind_int64(tagRows_, 1, id);
        for (int k = 0; k < 2 && sqlite3_step(tagRows_) == SQLITE_ROW; ++k) {
          sqlite3_bind_int64(tag_, 1, sqlite3_column_int64(tagRows_, 0));
          if (sqlite3_step(tag_) == SQLITE_ROW) {
            tags[k].id = sqlite3_column_int64(tag_, 0);
            tags[k].name = columnText(tag_, 1);
            m.tags.push_back(&tags[k]);
          }
          sqlite3_reset(tag_);
        }
        sqlite3_reset(tagRows_);
        sqlite3_bind_int64(valueRows_, 1, id);
        for (int k = 0; k < 2 && sqlite3_step(valueRows_) == SQLITE_ROW; ++k) {
          sqlite3_bind_int64(property_, 1, sqlite3_column_int64(valueRows_, 0));
          if (sqlite3_step(property_) == SQLITE_ROW) {
            properties[k].id = sqlite3_column_int64(property_, 0);
            properties[k].name = columnText(property_, 1);
            properties[k].objectType = sqlite3_column_int(property_, 2);
            m.customValues.emplace_back(&properties[k], columnText(valueRows_, 1));
          }
          sqlite3_reset(property_);
        }
        sqlite3_reset(valueRows_);
        if (m.typeId) {
          sqlite3_bind_int64(type_, 1, m.typeId);
          if (sqlite3_step(type_) == SQLITE_ROW) {
            type.id = sqlite3_column_int64(type_, 0);
            type.name = columnText(type_, 1);
            m.type = &type;
          }
          sqlite3_reset(type_);
        }
        if (m.physicalId) {
          sqlite3_bind_int64(asset_, 1, m.physicalId);
          if (sqlite3_step(asset_) == SQLITE_ROW) {
            readPhysicalAsset(asset_, asset);
            m.physical = &asset;
          }
          sqlite3_reset(asset_);
        }
        found += completeRaw(m) ? 1 : 0;
        benchmark::DoNotOptimize(m);
      }
      db_.exec("COMMIT");
    });
    if (found != ids_.size()) throw std::runtime_error("get materials: wrong result");
    return seconds;
  }

 private:
  std::vector<std::uint32_t> ids_;
  Sqlite db_;
  sqlite3_stmt* row_;
  sqlite3_stmt* tagRows_;
  sqlite3_stmt* valueRows_;
  sqlite3_stmt* type_;
  sqlite3_stmt* tag_;
  sqlite3_stmt* property_;
  sqlite3_stmt* asset_;
};

// ---- Save compositions ------------------------------------------------------------

double saveCompositionsOurs(const std::string& path, int count, int materialCount) {
  auto library = openLibrary(path);
  const std::vector<std::uint32_t> plyIds = plyMaterialIds(count, materialCount);
  std::unordered_map<std::uint32_t, TnSmartPtr<const Material>> byId;
  {
    std::vector<TnSmartPtr<Material>> stored;
    library->get<Material>(stored, std::set<std::uint32_t>(plyIds.begin(), plyIds.end()));
    for (auto& m : stored) byId.emplace(m->id(), m);
  }
  std::vector<TnSmartPtr<Composition>> compositions;
  compositions.reserve(static_cast<std::size_t>(count));
  for (int c = 0; c < count; ++c) {
    auto composition = Composition::create(OdString(compositionName(c)));
    composition->set_type(Composition::Wall);
    composition->set_description(OdString(kCompositionDescription));
    for (int k = 0; k < kPlies; ++k)
      composition->append_ply(Composition::Ply(byId.at(plyIds[static_cast<std::size_t>(c * kPlies + k)]),
                                               kPlyFunctions[k], plyThickness(c, k)));
    composition->set_first_core_ply(1);
    composition->set_last_core_ply(3);
    composition->set_structural_ply(2);
    compositions.push_back(std::move(composition));
  }
  return secondsOf([&] {
    Transaction tx(library, Transaction::kBeginCurrent);
    for (const auto& composition : compositions) library->save<Composition>(composition);
    tx.commit();
  });
}

double saveCompositionsRaw(const std::string& path, int count, int materialCount) {
  Sqlite db(path);
  const std::vector<std::uint32_t> plyIds = plyMaterialIds(count, materialCount);
  std::vector<std::string> names;
  std::vector<std::string> guids;
  names.reserve(static_cast<std::size_t>(count));
  guids.reserve(static_cast<std::size_t>(count));
  for (int c = 0; c < count; ++c) {
    names.push_back(compositionName(c));
    guids.push_back(tarnlib::randomGuid().toUtf8());
  }
  sqlite3_stmt* row = db.prepare(
      "INSERT INTO tarnlib_Composition (id, name, type, composition_type_id, description, layer_id, "
      "comments, first_core_ply, last_core_ply, structural_ply, variable_ply, "
      "variable_ply_min_thickness, variable_ply_max_thickness, guid) "
      "VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  sqlite3_stmt* ply = db.prepare(
      "INSERT INTO tarnlib_Composition_plies (object_id, \"index\", material_id, function, thickness) "
      "VALUES (?, ?, ?, ?, ?)");
  return secondsOf([&] {
    db.exec("BEGIN IMMEDIATE");
    for (int c = 0; c < count; ++c) {
      const std::size_t at = static_cast<std::size_t>(c);
      bindText(row, 1, names[at]);
      sqlite3_bind_int(row, 2, Composition::Wall);
      sqlite3_bind_null(row, 3);
      sqlite3_bind_text(row, 4, kCompositionDescription, -1, SQLITE_STATIC);
      sqlite3_bind_null(row, 5);
      sqlite3_bind_text(row, 6, "", 0, SQLITE_STATIC);
      sqlite3_bind_int(row, 7, 1);
      sqlite3_bind_int(row, 8, 3);
      sqlite3_bind_int(row, 9, 2);
      sqlite3_bind_null(row, 10);
      sqlite3_bind_double(row, 11, 0.0);
      sqlite3_bind_null(row, 12);
      bindText(row, 13, guids[at]);
      db.done(row);
      const sqlite3_int64 id = db.lastId();
      for (int k = 0; k < kPlies; ++k) {
        sqlite3_bind_int64(ply, 1, id);
        sqlite3_bind_int(ply, 2, k);
        sqlite3_bind_int64(ply, 3, plyIds[at * kPlies + static_cast<std::size_t>(k)]);
        sqlite3_bind_int(ply, 4, static_cast<int>(kPlyFunctions[k]));
        sqlite3_bind_double(ply, 5, plyThickness(c, k));
        db.done(ply);
      }
    }
    db.exec("COMMIT");
  });
}

// ---- Load compositions ------------------------------------------------------------

bool completePlies(const Composition& c) {
  if (c.plies().size() != kPlies) return false;
  for (const auto& ply : c.plies())
    if (!ply.material || !complete(*ply.material)) return false;
  return true;
}

class LoadCompositionsOurs {
 public:
  explicit LoadCompositionsOurs(const Files& f) : n_(f.compositions), library_(openLibrary(f.filled)) {}
  double operator()() {
    std::vector<TnSmartPtr<Composition>> compositions;
    const double seconds = secondsOf([&] { library_->get<Composition>(compositions); });
    if (compositions.size() != static_cast<std::size_t>(n_) || !completePlies(*compositions.front()) ||
        !completePlies(*compositions.back()))
      throw std::runtime_error("load compositions: wrong result");
    return seconds;
  }

 private:
  int n_;
  std::shared_ptr<Library> library_;
};

class LoadCompositionsRaw {
 public:
  explicit LoadCompositionsRaw(const Files& f)
      : n_(f.compositions),
        db_(f.filled),
        rows_(db_.prepare(
            "SELECT id, name, type, composition_type_id, description, layer_id, comments, "
            "first_core_ply, last_core_ply, structural_ply, variable_ply, "
            "variable_ply_min_thickness, variable_ply_max_thickness, guid FROM tarnlib_Composition "
            "ORDER BY id")),
        plies_(
            db_.prepare("SELECT object_id, material_id, function, thickness FROM tarnlib_Composition_plies "
                        "ORDER BY object_id, \"index\"")),
        // The other containers hold no rows here, but are read as the library reads them.
        tags_(db_.prepare(
            "SELECT object_id, tag_id FROM tarnlib_Composition_tags ORDER BY object_id, \"index\"")),
        values_(db_.prepare("SELECT object_id, property_id, value FROM tarnlib_Composition_custom_values "
                            "ORDER BY object_id")),
        guids_(
            db_.prepare("SELECT object_id, value FROM tarnlib_Composition_merge_guids ORDER BY object_id")),
        materials_(db_) {}

  double operator()() {
    std::vector<RawComposition> compositions;
    RawMaterialReader& materials = materials_;
    materials.clear();
    const double seconds = secondsOf([&] {
      db_.exec("BEGIN");
      std::unordered_map<sqlite3_int64, std::size_t> index;
      while (sqlite3_step(rows_) == SQLITE_ROW) {
        RawComposition c;
        c.id = sqlite3_column_int64(rows_, 0);
        c.name = columnText(rows_, 1);
        c.type = sqlite3_column_int(rows_, 2);
        c.compositionTypeId = optionalId(rows_, 3);
        c.description = columnText(rows_, 4);
        c.layerId = optionalId(rows_, 5);
        c.comments = columnText(rows_, 6);
        c.firstCore = sqlite3_column_int(rows_, 7);
        c.lastCore = sqlite3_column_int(rows_, 8);
        c.structural = sqlite3_column_int(rows_, 9);
        c.hasVariable = sqlite3_column_type(rows_, 10) != SQLITE_NULL;
        c.variable = sqlite3_column_int(rows_, 10);
        c.variableMin = sqlite3_column_double(rows_, 11);
        c.hasVariableMax = sqlite3_column_type(rows_, 12) != SQLITE_NULL;
        c.variableMax = sqlite3_column_double(rows_, 12);
        c.guid = columnText(rows_, 13);
        index.emplace(c.id, compositions.size());
        compositions.push_back(std::move(c));
      }
      sqlite3_reset(rows_);
      std::vector<sqlite3_int64> materialIds;
      while (sqlite3_step(plies_) == SQLITE_ROW) {
        auto it = index.find(sqlite3_column_int64(plies_, 0));
        if (it == index.end()) continue;
        RawPly ply;
        ply.materialId = sqlite3_column_int64(plies_, 1);
        ply.function = sqlite3_column_int(plies_, 2);
        if (sqlite3_column_type(plies_, 3) != SQLITE_NULL) ply.thickness = sqlite3_column_double(plies_, 3);
        materialIds.push_back(ply.materialId);
        compositions[it->second].plies.push_back(ply);
      }
      sqlite3_reset(plies_);
      for (sqlite3_stmt* empty : {tags_, values_, guids_}) {
        while (sqlite3_step(empty) == SQLITE_ROW) benchmark::DoNotOptimize(sqlite3_column_int64(empty, 0));
        sqlite3_reset(empty);
      }
      std::sort(materialIds.begin(), materialIds.end());
      materialIds.erase(std::unique(materialIds.begin(), materialIds.end()), materialIds.end());
      materials.read(&materialIds);
      for (RawComposition& c : compositions)
        for (RawPly& ply : c.plies) ply.material = &materials.materials[materials.index.at(ply.materialId)];
      db_.exec("COMMIT");
    });
    auto completeComposition = [](const RawComposition& c) {
      if (c.plies.size() != kPlies) return false;
      for (const RawPly& ply : c.plies)
        if (!ply.material || !completeRaw(*ply.material)) return false;
      return true;
    };
    if (compositions.size() != static_cast<std::size_t>(n_) || !completeComposition(compositions.front()) ||
        !completeComposition(compositions.back()))
      throw std::runtime_error("load compositions: wrong result");
    return seconds;
  }

 private:
  int n_;
  Sqlite db_;
  sqlite3_stmt* rows_;
  sqlite3_stmt* plies_;
  sqlite3_stmt* tags_;
  sqlite3_stmt* values_;
  sqlite3_stmt* guids_;
  RawMaterialReader materials_;
};

// ---- SOCI ---------------------------------------------------------------------------

#ifdef TARNLIB_BENCH_SOCI

}  // namespace

// The peer: the same records through SOCI, as its documentation has a host
// write them: a type_conversion per record over named values, statements
// prepared once with use() and into(), one soci::transaction around the work.
// The records and their UTF-8 text are the baseline's.
namespace soci {

template <>
struct type_conversion<RawNamed> {
  typedef values base_type;
  static void from_base(const values& v, indicator, RawNamed& n) {
    n.id = v.get<int>("id");
    n.name = v.get<std::string>("name");
  }
  static void to_base(const RawNamed& n, values& v, indicator& ind) {
    v.set("name", n.name);
    ind = i_ok;
  }
};

template <>
struct type_conversion<RawProperty> {
  typedef values base_type;
  static void from_base(const values& v, indicator, RawProperty& p) {
    p.id = v.get<int>("id");
    p.name = v.get<std::string>("name");
    p.objectType = v.get<int>("object_type");
  }
  static void to_base(const RawProperty& p, values& v, indicator& ind) {
    v.set("name", p.name);
    v.set("object_type", p.objectType);
    ind = i_ok;
  }
};

template <>
struct type_conversion<RawPhysicalAsset> {
  typedef values base_type;
  static void from_base(const values& v, indicator, RawPhysicalAsset& a) {
    a.id = v.get<int>("id");
    a.name = v.get<std::string>("name");
    a.description = v.get<std::string>("description");
    a.hasDensity = v.get_indicator("density") == i_ok;
    a.density = v.get<double>("density", 0.0);
    a.hasSpecificHeat = v.get_indicator("specific_heat") == i_ok;
    a.specificHeat = v.get<double>("specific_heat", 0.0);
    a.hasConductivity = v.get_indicator("thermal_conductivity") == i_ok;
    a.conductivity = v.get<double>("thermal_conductivity", 0.0);
  }
  static void to_base(const RawPhysicalAsset& a, values& v, indicator& ind) {
    v.set("id", static_cast<int>(a.id));
    v.set("name", a.name);
    v.set("description", a.description);
    v.set("density", a.density, a.hasDensity ? i_ok : i_null);
    v.set("specific_heat", a.specificHeat, a.hasSpecificHeat ? i_ok : i_null);
    v.set("thermal_conductivity", a.conductivity, a.hasConductivity ? i_ok : i_null);
    ind = i_ok;
  }
};

// A pattern's columns under its prefix ("cut_pattern_", "surface_pattern_").
struct PatternColumns {
  std::string type, name, scale, angle, cross, annotative, colorType, red, green, blue, alpha;
  explicit PatternColumns(const std::string& p)
      : type(p + "type"), name(p + "name"), scale(p + "scale"), angle(p + "angle"), cross(p + "cross"),
        annotative(p + "annotative"), colorType(p + "background_color_type"),
        red(p + "background_color_red"), green(p + "background_color_green"),
        blue(p + "background_color_blue"), alpha(p + "background_color_alpha") {}
  void read(const values& v, RawPattern& p) const {
    p.type = v.get<int>(type);
    p.name = v.get<std::string>(name);
    p.scale = v.get<double>(scale);
    p.angle = v.get<double>(angle);
    p.cross = v.get<int>(cross) != 0;
    p.annotative = v.get<int>(annotative) != 0;
    p.background.type = v.get<int>(colorType);
    p.background.red = v.get<double>(red);
    p.background.green = v.get<double>(green);
    p.background.blue = v.get<double>(blue);
    p.background.alpha = v.get<double>(alpha);
  }
  void write(const RawPattern& p, values& v) const {
    v.set(type, p.type);
    v.set(name, p.name);
    v.set(scale, p.scale);
    v.set(angle, p.angle);
    v.set(cross, static_cast<int>(p.cross));
    v.set(annotative, static_cast<int>(p.annotative));
    v.set(colorType, p.background.type);
    v.set(red, p.background.red);
    v.set(green, p.background.green);
    v.set(blue, p.background.blue);
    v.set(alpha, p.background.alpha);
  }
};

template <>
struct type_conversion<RawMaterial> {
  typedef values base_type;
  static const PatternColumns& cut() {
    static const PatternColumns columns("cut_pattern_");
    return columns;
  }
  static const PatternColumns& surface() {
    static const PatternColumns columns("surface_pattern_");
    return columns;
  }
  static void from_base(const values& v, indicator, RawMaterial& m) {
    m.id = v.get<int>("id");
    m.name = v.get<std::string>("name");
    m.typeId = v.get<int>("type_id", 0);
    m.description = v.get<std::string>("description");
    m.comments = v.get<std::string>("comments");
    m.appearance = v.get<std::string>("appearance");
    cut().read(v, m.cut);
    surface().read(v, m.surface);
    m.informationId = v.get<int>("information_asset_id", 0);
    m.physicalId = v.get<int>("physical_asset_id", 0);
    m.bimId = v.get<int>("bim_asset_id", 0);
  }
  static void to_base(const RawMaterial& m, values& v, indicator& ind) {
    auto id = [&v](const char* column, sqlite3_int64 value) {
      v.set(column, static_cast<int>(value), value ? i_ok : i_null);
    };
    v.set("name", m.name);
    id("type_id", m.typeId);
    v.set("description", m.description);
    v.set("comments", m.comments);
    v.set("appearance", m.appearance);
    cut().write(m.cut, v);
    surface().write(m.surface, v);
    id("information_asset_id", m.informationId);
    id("physical_asset_id", m.physicalId);
    id("bim_asset_id", m.bimId);
    ind = i_ok;
  }
};

}  // namespace soci

namespace {

#define TB_NAMED_PATTERN_MARKS(p)                                                                        \
  ":" p "type, :" p "name, :" p "scale, :" p "angle, :" p "cross, :" p "annotative, :" p                 \
  "background_color_type, :" p "background_color_red, :" p "background_color_green, :" p               \
  "background_color_blue, :" p "background_color_alpha"

std::unique_ptr<soci::session> openSoci(const std::string& path) {
  auto sql = std::make_unique<soci::session>(*soci::factory_sqlite3(), path);
  *sql << "PRAGMA foreign_keys=ON";  // as every library connection has it
  return sql;
}

long long lastId(soci::session& sql, const char* table) {
  long long id = 0;
  if (!sql.get_last_insert_id(table, id)) throw std::runtime_error("no last insert id");
  return id;
}

double saveMaterialsSoci(const std::string& path, int n) {
  auto session = openSoci(path);
  soci::session& sql = *session;
  // The records, filled before the clock starts as the other sides' are.
  std::vector<RawMaterial> materials(static_cast<std::size_t>(n));
  std::vector<RawPhysicalAsset> assets(static_cast<std::size_t>(n));
  std::vector<std::string> custom[2];
  for (int i = 0; i < n; ++i) {
    RawMaterial& m = materials[static_cast<std::size_t>(i)];
    m.name = materialName(i);
    m.description = materialDescription(i);
    m.appearance = appearanceName(i);
    m.cut.type = static_cast<int>(Pattern::Type::Predefined);
    m.cut.name = kCutPatternName;
    RawPhysicalAsset& a = assets[static_cast<std::size_t>(i)];
    a.name = assetName(i);
    a.hasDensity = a.hasSpecificHeat = a.hasConductivity = true;
    a.density = density(i);
    a.specificHeat = specificHeat(i);
    a.conductivity = conductivity(i);
    for (int p = 0; p < 2; ++p) custom[p].push_back(customValue(i, p));
  }
  RawNamed named;
  RawProperty property;
  RawPhysicalAsset asset;
  RawMaterial material;
  std::string typeId = "tarnlib::PhysicalAsset";
  long long ownerId = 0;
  int index = 0;
  long long referenceId = 0;
  std::string value;
  soci::statement insertType = (sql.prepare << "INSERT INTO tarnlib_MaterialType (id, name) VALUES (NULL, :name)",
                                soci::use(std::as_const(named)));
  soci::statement insertTag =
      (sql.prepare << "INSERT INTO tarnlib_Tag (id, name) VALUES (NULL, :name)", soci::use(std::as_const(named)));
  soci::statement insertProperty =
      (sql.prepare << "INSERT INTO tarnlib_CustomProperty (id, name, object_type) VALUES (NULL, :name, :object_type)",
       soci::use(std::as_const(property)));
  soci::statement insertRoot =
      (sql.prepare << "INSERT INTO tarnlib_Asset (id, typeid) VALUES (NULL, :typeid)", soci::use(typeId));
  soci::statement insertAsset =
      (sql.prepare << "INSERT INTO tarnlib_PhysicalAsset (id, name, description, density, specific_heat, "
                      "thermal_conductivity) VALUES (:id, :name, :description, :density, :specific_heat, "
                      ":thermal_conductivity)",
       soci::use(std::as_const(asset)));
  soci::statement insertMaterial =
      (sql.prepare << "INSERT INTO tarnlib_Material (" TB_MATERIAL_COLUMNS
                      ") VALUES (NULL, :name, :type_id, :description, :comments, :appearance, "
                      TB_NAMED_PATTERN_MARKS("cut_pattern_") ", " TB_NAMED_PATTERN_MARKS("surface_pattern_")
                      ", :information_asset_id, :physical_asset_id, :bim_asset_id)",
       soci::use(std::as_const(material)));
  soci::statement insertTagRow =
      (sql.prepare << "INSERT INTO tarnlib_Material_tags (object_id, \"index\", tag_id) VALUES (:o, :i, :t)",
       soci::use(ownerId), soci::use(index), soci::use(referenceId));
  soci::statement insertValueRow =
      (sql.prepare << "INSERT INTO tarnlib_Material_custom_values (object_id, property_id, value) "
                      "VALUES (:o, :p, :v)",
       soci::use(ownerId), soci::use(referenceId), soci::use(value));
  return secondsOf([&] {
    soci::transaction tx(sql);
    long long typeIds[kTypes];
    for (int t = 0; t < kTypes; ++t) {
      named.name = kTypeNames[t];
      insertType.execute(true);
      typeIds[t] = lastId(sql, "tarnlib_MaterialType");
    }
    long long tagIds[kTags];
    for (int t = 0; t < kTags; ++t) {
      named.name = tagName(t);
      insertTag.execute(true);
      tagIds[t] = lastId(sql, "tarnlib_Tag");
    }
    long long propertyIds[2];
    for (int p = 0; p < 2; ++p) {
      property.name = kPropertyNames[p];
      property.objectType = static_cast<int>(ObjectType::Material);
      insertProperty.execute(true);
      propertyIds[p] = lastId(sql, "tarnlib_CustomProperty");
    }
    for (int i = 0; i < n; ++i) {
      const std::size_t at = static_cast<std::size_t>(i);
      insertRoot.execute(true);
      asset = assets[at];
      asset.id = lastId(sql, "tarnlib_Asset");
      insertAsset.execute(true);
      material = materials[at];
      material.typeId = typeIds[typeOf(i)];
      material.physicalId = asset.id;
      insertMaterial.execute(true);
      ownerId = lastId(sql, "tarnlib_Material");
      const int tagOf[2] = {firstTag(i), secondTag(i)};
      for (index = 0; index < 2; ++index) {
        referenceId = tagIds[tagOf[index]];
        insertTagRow.execute(true);
      }
      for (int k = 0; k < 2; ++k) {
        referenceId = propertyIds[k];
        value = custom[k][at];
        insertValueRow.execute(true);
      }
    }
    tx.commit();
  });
}

// Materials with everything they refer to, read in one batch per table as the
// baseline's reader does, into the same records.
class SociMaterialReader : public RawMaterialRecords {
 public:
  explicit SociMaterialReader(soci::session& sql)
      : allRows_((sql.prepare << "SELECT " TB_MATERIAL_COLUMNS " FROM tarnlib_Material ORDER BY id",
                  soci::into(material_))),
        allTags_((sql.prepare << "SELECT object_id, tag_id FROM tarnlib_Material_tags ORDER BY object_id, \"index\"",
                  soci::into(ownerId_), soci::into(referenceId_))),
        allValues_((sql.prepare << "SELECT object_id, property_id, value FROM tarnlib_Material_custom_values "
                                   "ORDER BY object_id",
                    soci::into(ownerId_), soci::into(referenceId_, referenceNull_), soci::into(value_))),
        types_((sql.prepare << "SELECT id, name FROM tarnlib_MaterialType WHERE id IN (SELECT value FROM "
                               "json_each(:ids))",
                soci::use(list_), soci::into(named_))),
        tags_((sql.prepare << "SELECT id, name FROM tarnlib_Tag WHERE id IN (SELECT value FROM json_each(:ids))",
               soci::use(list_), soci::into(named_))),
        properties_((sql.prepare << "SELECT id, name, object_type FROM tarnlib_CustomProperty WHERE id IN "
                                    "(SELECT value FROM json_each(:ids))",
                     soci::use(list_), soci::into(property_))),
        allAssets_((sql.prepare << "SELECT p.id, p.name, p.description, p.density, p.specific_heat, "
                                   "p.thermal_conductivity FROM tarnlib_PhysicalAsset p LEFT JOIN tarnlib_Asset a "
                                   "ON a.id = p.id ORDER BY p.id",
                    soci::into(asset_))) {}


  // Every material.
  void readAll() {
    std::set<sqlite3_int64> typeIds, tagIds, propertyIds;
    allRows_.execute();
    while (allRows_.fetch()) {
      if (material_.typeId) typeIds.insert(material_.typeId);
      index.emplace(material_.id, materials.size());
      materials.push_back(material_);
    }
    std::vector<std::pair<RawMaterial*, sqlite3_int64>> tagRefs;
    std::vector<std::pair<std::pair<RawMaterial*, std::size_t>, sqlite3_int64>> propertyRefs;
    allTags_.execute();
    while (allTags_.fetch()) {
      auto it = index.find(ownerId_);
      if (it == index.end()) continue;
      tagIds.insert(referenceId_);
      tagRefs.emplace_back(&materials[it->second], referenceId_);
    }
    allValues_.execute();
    while (allValues_.fetch()) {
      auto it = index.find(ownerId_);
      if (it == index.end() || referenceNull_ != soci::i_ok) continue;
      RawMaterial& m = materials[it->second];
      propertyIds.insert(referenceId_);
      propertyRefs.emplace_back(std::make_pair(&m, m.customValues.size()), referenceId_);
      m.customValues.emplace_back(nullptr, value_);
    }
    readNamed(types_, typeIds, types);
    readNamed(tags_, tagIds, tags);
    list_ = jsonIds(std::vector<sqlite3_int64>(propertyIds.begin(), propertyIds.end()));
    properties_.execute();
    while (properties_.fetch()) properties.emplace(property_.id, property_);
    allAssets_.execute();
    while (allAssets_.fetch()) {
      assetIndex.emplace(asset_.id, assets.size());
      assets.push_back(asset_);
    }
    for (RawMaterial& m : materials) {
      if (m.typeId) m.type = &types[m.typeId];
      if (m.physicalId) m.physical = &assets[assetIndex.at(m.physicalId)];
    }
    for (const auto& [m, id] : tagRefs) m->tags.push_back(&tags[id]);
    for (const auto& [slot, id] : propertyRefs) slot.first->customValues[slot.second].first = &properties[id];
  }

 private:
  void readNamed(soci::statement& stmt, const std::set<sqlite3_int64>& ids,
                 std::unordered_map<sqlite3_int64, RawNamed>& out) {
    list_ = jsonIds(std::vector<sqlite3_int64>(ids.begin(), ids.end()));
    stmt.execute();
    while (stmt.fetch()) out.emplace(named_.id, named_);
  }

  RawMaterial material_;
  RawNamed named_;
  RawProperty property_;
  RawPhysicalAsset asset_;
  std::string list_;
  long long ownerId_ = 0;
  long long referenceId_ = 0;
  soci::indicator referenceNull_ = soci::i_ok;
  std::string value_;
  soci::statement allRows_;
  soci::statement allTags_;
  soci::statement allValues_;
  soci::statement types_;
  soci::statement tags_;
  soci::statement properties_;
  soci::statement allAssets_;
};

class LoadMaterialsSoci {
 public:
  explicit LoadMaterialsSoci(const Files& f)
      : n_(f.n), sql_(openSoci(f.filled)), reader_(std::make_unique<SociMaterialReader>(*sql_)) {}
  double operator()() {
    reader_->clear();
    const double seconds = secondsOf([&] {
      soci::transaction tx(*sql_);
      reader_->readAll();
      tx.commit();
    });
    if (reader_->materials.size() != static_cast<std::size_t>(n_) || !completeRaw(reader_->materials.back()))
      throw std::runtime_error("load materials (SOCI): wrong result");
    return seconds;
  }

 private:
  int n_;
  std::unique_ptr<soci::session> sql_;
  std::unique_ptr<SociMaterialReader> reader_;
};

// One material after another by id, with the same nine statements as the
// baseline's.
class GetMaterialSoci {
 public:
  explicit GetMaterialSoci(const Files& f)
      : ids_(randomIds(f.n)),
        sql_(openSoci(f.filled)),
        row_((sql_->prepare << "SELECT " TB_MATERIAL_COLUMNS " FROM tarnlib_Material WHERE id = :id", soci::use(id_),
              soci::into(material_))),
        tagRows_((sql_->prepare << "SELECT tag_id FROM tarnlib_Material_tags WHERE object_id = :id ORDER BY \"index\"",
                  soci::use(id_), soci::into(referenceId_))),
        valueRows_((sql_->prepare << "SELECT property_id, value FROM tarnlib_Material_custom_values WHERE object_id = :id",
                    soci::use(id_), soci::into(referenceId_), soci::into(value_))),
        type_((sql_->prepare << "SELECT id, name FROM tarnlib_MaterialType WHERE id = :id", soci::use(otherId_),
               soci::into(named_))),
        tag_((sql_->prepare << "SELECT id, name FROM tarnlib_Tag WHERE id = :id", soci::use(otherId_),
              soci::into(named_))),
        property_((sql_->prepare << "SELECT id, name, object_type FROM tarnlib_CustomProperty WHERE id = :id",
                   soci::use(otherId_), soci::into(propertyRecord_))),
        asset_((sql_->prepare << "SELECT p.id, p.name, p.description, p.density, p.specific_heat, "
                                 "p.thermal_conductivity FROM tarnlib_PhysicalAsset p LEFT JOIN tarnlib_Asset a "
                                 "ON a.id = p.id WHERE p.id = :id",
                soci::use(otherId_), soci::into(assetRecord_))) {}

  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      soci::transaction tx(*sql_);
      for (std::uint32_t id : ids_) {
        RawMaterial m;
        RawNamed type;
        RawNamed tags[2];
        RawProperty properties[2];
        RawPhysicalAsset asset;
        id_ = id;
        if (!row_.execute(true)) continue;
        m = material_;
        std::vector<long long> tagIds;
        tagRows_.execute();
        while (tagRows_.fetch()) tagIds.push_back(referenceId_);
        for (std::size_t k = 0; k < tagIds.size() && k < 2; ++k) {
          otherId_ = tagIds[k];
          if (tag_.execute(true)) {
            tags[k] = named_;
            m.tags.push_back(&tags[k]);
          }
        }
        std::vector<std::pair<long long, std::string>> values;
        valueRows_.execute();
        while (valueRows_.fetch()) values.emplace_back(referenceId_, value_);
        for (std::size_t k = 0; k < values.size() && k < 2; ++k) {
          otherId_ = values[k].first;
          if (property_.execute(true)) {
            properties[k] = propertyRecord_;
            m.customValues.emplace_back(&properties[k], values[k].second);
          }
        }
        if (m.typeId) {
          otherId_ = m.typeId;
          if (type_.execute(true)) {
            type = named_;
            m.type = &type;
          }
        }
        if (m.physicalId) {
          otherId_ = m.physicalId;
          if (asset_.execute(true)) {
            asset = assetRecord_;
            m.physical = &asset;
          }
        }
        found += completeRaw(m) ? 1 : 0;
        benchmark::DoNotOptimize(m);
      }
      tx.commit();
    });
    if (found != ids_.size()) throw std::runtime_error("get materials (SOCI): wrong result");
    return seconds;
  }

 private:
  std::vector<std::uint32_t> ids_;
  std::unique_ptr<soci::session> sql_;
  long long id_ = 0;
  long long otherId_ = 0;
  long long referenceId_ = 0;
  std::string value_;
  RawMaterial material_;
  RawNamed named_;
  RawProperty propertyRecord_;
  RawPhysicalAsset assetRecord_;
  soci::statement row_;
  soci::statement tagRows_;
  soci::statement valueRows_;
  soci::statement type_;
  soci::statement tag_;
  soci::statement property_;
  soci::statement asset_;
};

#endif  // TARNLIB_BENCH_SOCI

// ---- Checks ---------------------------------------------------------------------------

// Every row that a save of materials writes, one line per row, with the
// references given by the names they lead to: the sides number the shared
// tags in different orders.
std::string rowsOf(const std::string& path) {
  static const char* const kQueries[] = {
      "SELECT name FROM tarnlib_MaterialType ORDER BY 1",
      "SELECT name FROM tarnlib_Tag ORDER BY 1",
      "SELECT name, object_type FROM tarnlib_CustomProperty ORDER BY 1",
      "SELECT a.typeid, p.name, p.description, p.density, p.specific_heat, p.thermal_conductivity "
      "FROM tarnlib_Asset a LEFT JOIN tarnlib_PhysicalAsset p ON p.id = a.id ORDER BY 2",
      "SELECT m.name, t.name, m.description, m.comments, m.appearance, " TB_PATTERN_COLUMNS("m.cut_pattern_") ", "
      TB_PATTERN_COLUMNS("m.surface_pattern_") ", m.information_asset_id, p.name, m.bim_asset_id "
      "FROM tarnlib_Material m LEFT JOIN tarnlib_MaterialType t ON t.id = m.type_id "
      "LEFT JOIN tarnlib_PhysicalAsset p ON p.id = m.physical_asset_id ORDER BY 1",
      "SELECT m.name, r.\"index\", t.name FROM tarnlib_Material_tags r JOIN tarnlib_Material m ON m.id = r.object_id "
      "JOIN tarnlib_Tag t ON t.id = r.tag_id ORDER BY 1, 2",
      "SELECT m.name, c.name, r.value FROM tarnlib_Material_custom_values r "
      "JOIN tarnlib_Material m ON m.id = r.object_id JOIN tarnlib_CustomProperty c ON c.id = r.property_id "
      "ORDER BY 1, 2"};
  Sqlite db(path);
  std::string out;
  for (const char* query : kQueries) {
    sqlite3_stmt* rows = db.prepare(query);
    while (sqlite3_step(rows) == SQLITE_ROW) {
      for (int c = 0; c < sqlite3_column_count(rows); ++c) {
        out += c ? "|" : "";
        out += sqlite3_column_type(rows, c) == SQLITE_NULL ? std::string("NULL") : columnText(rows, c);
      }
      out += '\n';
    }
  }
  return out;
}

// Whether every side of the save writes the same rows, on a few materials;
// says where the first difference is when not.
bool sameRowsSaved(const Files& f) {
  const int n = std::min(f.n, 500);
  const std::string file = (f.dir / "check.tlib").string();
  auto rowsAfter = [&](auto save) {
    fs::copy_file(f.empty, file, fs::copy_options::overwrite_existing);
    save(file, n);
    return rowsOf(file);
  };
  const std::string ours = rowsAfter(saveMaterialsOurs);
  std::vector<std::pair<const char*, std::string>> others{{"raw SQLite", rowsAfter(saveMaterialsRaw)}};
#ifdef TARNLIB_BENCH_SOCI
  others.emplace_back("SOCI", rowsAfter(saveMaterialsSoci));
#endif
  bool same = true;
  for (const auto& [name, rows] : others) {
    if (rows == ours) continue;
    std::size_t at = 0;
    while (at < rows.size() && at < ours.size() && rows[at] == ours[at]) ++at;
    const std::size_t from = at > 200 ? at - 200 : 0;
    std::printf("save materials: %s writes other rows than tarnlib from byte %zu\n--- tarnlib:\n%s\n--- %s:\n%s\n",
                name, at, ours.substr(from, 400).c_str(), name, rows.substr(from, 400).c_str());
    same = false;
  }
  return same;
}

// ---- Runs ---------------------------------------------------------------------------

#ifdef TARNLIB_BENCH_SOCI
const char* const kPeer = "SOCI";
#else
const char* const kPeer = nullptr;
#endif


void BM_SaveMaterials(benchmark::State& state) {
  const Files& f = files();
  auto ours = [&] {
    f.fresh(f.empty);
    return saveMaterialsOurs(f.work, f.n);
  };
  auto raw = [&] {
    f.fresh(f.empty);
    return saveMaterialsRaw(f.work, f.n);
  };
#ifdef TARNLIB_BENCH_SOCI
  tripled(state, "save materials", ours, raw, [&] {
    f.fresh(f.empty);
    return saveMaterialsSoci(f.work, f.n);
  });
#else
  paired(state, "save materials", ours, raw);
#endif
}

void BM_LoadMaterials(benchmark::State& state) {
#ifdef TARNLIB_BENCH_SOCI
  tripled(state, "load materials", LoadMaterialsOurs(files()), LoadMaterialsRaw(files()),
          LoadMaterialsSoci(files()));
#else
  paired(state, "load materials", LoadMaterialsOurs(files()), LoadMaterialsRaw(files()));
#endif
}

void BM_GetMaterial(benchmark::State& state) {
#ifdef TARNLIB_BENCH_SOCI
  tripled(state, "get materials", GetMaterialOurs(files()), GetMaterialRaw(files()), GetMaterialSoci(files()));
#else
  paired(state, "get materials", GetMaterialOurs(files()), GetMaterialRaw(files()));
#endif
}

void BM_SaveCompositions(benchmark::State& state) {
  const Files& f = files();
  paired(
      state, "save compositions",
      [&] {
        f.fresh(f.materials);
        return saveCompositionsOurs(f.work, f.compositions, f.n);
      },
      [&] {
        f.fresh(f.materials);
        return saveCompositionsRaw(f.work, f.compositions, f.n);
      });
}

void BM_LoadCompositions(benchmark::State& state) {
  paired(state, "load compositions", LoadCompositionsOurs(files()), LoadCompositionsRaw(files()));
}

BENCHMARK(BM_SaveMaterials)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadMaterials)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetMaterial)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveCompositions)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadCompositions)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Files& f = files();
  std::printf("writing the libraries to read (%d materials, %d compositions)...\n", f.n, f.compositions);
  fs::copy_file(f.empty, f.materials, fs::copy_options::overwrite_existing);
  saveMaterialsOurs(f.materials, f.n);
  fs::copy_file(f.materials, f.filled, fs::copy_options::overwrite_existing);
  saveCompositionsOurs(f.filled, f.compositions, f.n);
  if (!sameRowsSaved(f)) return 1;

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  tarnlib::bench::printSummary(std::to_string(f.n) + " materials, " + std::to_string(f.compositions) +
                                   " compositions of " + std::to_string(kPlies) + " plies",
                               {{"save materials", "save materials (1 tx)", 1.2},
                                {"load materials", "load all materials", 1.25},
                                {"get materials", "get material by random id", 1.35},
                                {"save compositions", "save compositions (1 tx)", 1.2},
                                {"load compositions", "load all compositions", 1.25}},
                               kPeer);
  return 0;
}
