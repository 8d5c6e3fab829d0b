// Copy and sync between libraries against a raw-SQLite baseline doing the same
// row work through prepared statements in one transaction, on files of the same
// schema:
//   copy compositions  copyAll<Composition> of N compositions of five plies from
//                      a source library into an empty one; the plies refer to
//                      random materials among N, each with one of four shared
//                      classes, two of eight shared tags, two custom values and
//                      a physical asset of its own; each composition has one of
//                      the tags. The baseline gathers the ids of the materials
//                      the plies refer to, selects the rows the compositions
//                      need from the source (one statement per table) and
//                      inserts them into an empty library file, giving every
//                      row a new id and remapping the ids that refer to others.
//   sync materials     syncAll from a source of N materials into a destination
//                      that got a full copy of them (copyAll<Material>) before
//                      the source changed the description of every tenth. The
//                      baseline reads both sides (every material with its
//                      class, tags, custom values and physical asset), matches
//                      them by name and updates the rows of those that differ.
// Each run starts from a fresh copy of the destination file; each side keeps
// its source connection across runs, as a host would. Both results are checked
// after every run against the source, through a dump of the rows by name.
//
// Then, untimed: how many statements each side of the copy runs on the source
// and on the destination file, counted by a trace every connection to those
// files gets as it opens (an SQLite automatic extension, so the library's own
// connections are counted without reaching into it). The library's copy runs
// for N and for N/2 compositions: a copy that reads the source object by object
// runs at least one more statement per added composition, one that reads it in
// batches about the same number for both.
//
// N is 10,000; TARNLIB_BENCH_N sets another (a small one for profiling).
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
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "paired_runs.h"
#include "raw_sqlite.h"
#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/library.h"
#include "tarnlib/material.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace {

using tarnlib::bench::bindText;
using tarnlib::bench::columnText;
using tarnlib::bench::paired;
using tarnlib::bench::Sqlite;

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

int objectCount() { return tarnlib::bench::objectCount(10000); }

constexpr int kTypes = 4;
constexpr int kTags = 8;
constexpr int kPlies = 5;
constexpr int kRevisedEvery = 10;  // the source of the sync changes every tenth material
const char* const kTypeNames[kTypes] = {"Concrete", "Timber", "Steel", "Masonry"};
const char* const kPropertyNames[2] = {"Fire rating", "Supplier"};
const MaterialFunction kPlyFunctions[kPlies] = {MaterialFunction::Finish1, MaterialFunction::Substrate,
                                                MaterialFunction::Structure, MaterialFunction::Insulation,
                                                MaterialFunction::Finish2};

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

// ---- The libraries, written through the library before the runs ------------------

void saveMaterials(const std::string& path, int n) {
  auto library = openLibrary(path);
  std::vector<TnSmartPtr<const MaterialType>> types;
  for (const char* name : kTypeNames) types.push_back(MaterialType::create(OdString(name)));
  std::vector<TnSmartPtr<Tag>> tags;
  for (int t = 0; t < kTags; ++t) tags.push_back(Tag::create(OdString("Tag " + std::to_string(t))));
  std::vector<TnSmartPtr<const CustomProperty>> properties;
  for (const char* name : kPropertyNames)
    properties.push_back(CustomProperty::create(OdString(name), ObjectType::Material));
  Transaction tx(library, Transaction::kBeginCurrent);
  for (int i = 0; i < n; ++i) {
    auto m = Material::create(OdString("Material \xC3\xA4 " + std::to_string(i)), types[i % kTypes]);
    m->set_description(OdString("Description of material " + std::to_string(i)));
    m->set_appearance(OdString("Render " + std::to_string(i % 10)));
    m->set_cut_pattern(Pattern(Pattern::Type::Predefined, OdString("ANSI31"), 1.0, 0.0, false));
    m->add_tag(tags[i % kTags]);
    m->add_tag(tags[(i + 3) % kTags]);
    m->set_custom_value(properties[0], OdString("EI " + std::to_string(30 * (i % 4 + 1))));
    m->set_custom_value(properties[1], OdString("Supplier " + std::to_string(i % 50)));
    auto asset = PhysicalAsset::create(OdString("Physical " + std::to_string(i)));
    asset->set_density(1000.0 + i % 1500);
    asset->set_specific_heat(800.0 + i % 200);
    asset->set_thermal_conductivity(0.04 + 1e-6 * i);
    m->set_physical_asset(asset);
    library->save<Material>(m);
  }
  tx.commit();
}

// `count` compositions whose plies refer to random materials of the
// `materials` the file holds.
void saveCompositions(const std::string& path, int count, int materials) {
  auto library = openLibrary(path);
  std::vector<TnSmartPtr<Material>> stored;
  library->get<Material>(stored);
  std::vector<TnSmartPtr<Tag>> tags;
  library->get<Tag>(tags);
  if (stored.size() != static_cast<std::size_t>(materials) || tags.empty())
    throw std::runtime_error("saving compositions: the materials are missing");
  std::mt19937 random(7);
  std::uniform_int_distribution<std::size_t> pick(0, stored.size() - 1);
  Transaction tx(library, Transaction::kBeginCurrent);
  for (int c = 0; c < count; ++c) {
    auto composition = Composition::create(OdString("Wall \xC3\xA4 " + std::to_string(c)));
    composition->set_type(Composition::Wall);
    composition->set_description(OdString("Exterior wall"));
    for (int k = 0; k < kPlies; ++k)
      composition->append_ply(
          Composition::Ply(stored[pick(random)], kPlyFunctions[k], 0.01 * (k + 1) + 1e-7 * c));
    composition->set_first_core_ply(1);
    composition->set_last_core_ply(3);
    composition->set_structural_ply(2);
    composition->add_tag(tags[static_cast<std::size_t>(c) % tags.size()]);
    library->save<Composition>(composition);
  }
  tx.commit();
}

struct Files {
  fs::path dir;
  std::string empty;      // a new library, no objects
  std::string materials;  // N materials
  std::string source;     // the same with N compositions
  std::string half;       // N/2 materials and N/2 compositions (statement count only)
  std::string revised;    // `materials` with every tenth description changed
  std::string synced;     // a new library that got every material of `materials` by copyAll
  std::string work;
  int n = objectCount();
  int revisedCount = 0;

  Files() {
    std::string pattern = (fs::temp_directory_path() / "tarnlib-bench-XXXXXX").string();
    dir = mkdtemp(pattern.data());
    empty = (dir / "empty.tlib").string();
    materials = (dir / "materials.tlib").string();
    source = (dir / "source.tlib").string();
    half = (dir / "half.tlib").string();
    revised = (dir / "revised.tlib").string();
    synced = (dir / "synced.tlib").string();
    work = (dir / "work.tlib").string();
    if (!Library::create(OdString(empty), tarnlib::LibraryUnit::Millimeter))
      throw std::runtime_error("cannot create " + empty);
  }
  ~Files() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  void write() {
    copy(empty, materials);
    saveMaterials(materials, n);
    copy(materials, source);
    saveCompositions(source, n, n);
    copy(empty, half);
    saveMaterials(half, std::max(1, n / 2));
    saveCompositions(half, std::max(1, n / 2), std::max(1, n / 2));
    copy(materials, revised);
    {
      Sqlite db(revised);
      db.exec(("UPDATE tarnlib_Material SET description = description || ' (revised)' WHERE id % " +
               std::to_string(kRevisedEvery) + " = 0")
                  .c_str());
      sqlite3_stmt* count = db.prepare(
          ("SELECT count(*) FROM tarnlib_Material WHERE id % " + std::to_string(kRevisedEvery) + " = 0")
              .c_str());
      if (sqlite3_step(count) != SQLITE_ROW) db.fail("count");
      revisedCount = sqlite3_column_int(count, 0);
      sqlite3_reset(count);
    }
    copy(empty, synced);
    openLibrary(synced)->copyAll<Material>(openLibrary(materials));
  }

  void fresh(const std::string& from) const { copy(from, work); }
  static void copy(const std::string& from, const std::string& to) {
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
  }
};

Files& files() {
  static Files instance;
  return instance;
}

// ---- Checks ---------------------------------------------------------------------

// The rows of a query as text, one line per row; NULL shows as "-".
std::string dump(Sqlite& db, const std::string& sql) {
  sqlite3_stmt* stmt = db.prepare(sql.c_str());
  std::string text;
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
      if (c) text += '\t';
      text += sqlite3_column_type(stmt, c) == SQLITE_NULL ? std::string("-") : columnText(stmt, c);
    }
    text += '\n';
  }
  if (rc != SQLITE_DONE) db.fail(sql);
  sqlite3_reset(stmt);
  return text;
}

#define CB_PATTERN_COLUMNS(p)                                                                              \
  p "type, " p "name, " p "scale, " p "angle, " p "cross, " p "annotative, " p "background_color_type, " p \
    "background_color_red, " p "background_color_green, " p "background_color_blue, " p                    \
    "background_color_alpha"
#define CB_MATERIAL_VALUES                                                   \
  "m.description, m.comments, m.appearance, " CB_PATTERN_COLUMNS("m.cut_pattern_") \
  ", " CB_PATTERN_COLUMNS("m.surface_pattern_")
#define CB_PLY_MATERIALS "(SELECT material_id FROM tarnlib_Composition_plies)"
#define CB_WANTED "temp.copy_bench_materials"

// Every material of `where` by name, with its class, asset, tags and custom
// values by name: equal for two files that hold the same materials whatever
// their ids.
std::string materialDump(Sqlite& db, const char* where) {
  return dump(
      db,
      std::string("SELECT m.name, " CB_MATERIAL_VALUES ", t.name, m.information_asset_id IS NULL, "
                  "m.bim_asset_id IS NULL, a.name, a.description, a.density, a.specific_heat, "
                  "a.thermal_conductivity, "
                  "(SELECT group_concat(name, '|') FROM (SELECT g.name FROM tarnlib_Material_tags x "
                  " JOIN tarnlib_Tag g ON g.id = x.tag_id WHERE x.object_id = m.id ORDER BY x.\"index\")), "
                  "(SELECT group_concat(v, '|') FROM (SELECT p.name || '=' || x.value AS v "
                  " FROM tarnlib_Material_custom_values x JOIN tarnlib_CustomProperty p "
                  " ON p.id = x.property_id WHERE x.object_id = m.id ORDER BY p.name)) "
                  "FROM tarnlib_Material m JOIN tarnlib_MaterialType t ON t.id = m.type_id "
                  "LEFT JOIN tarnlib_PhysicalAsset a ON a.id = m.physical_asset_id ") +
          where + " ORDER BY m.name");
}

std::string compositionDump(Sqlite& db) {
  return dump(
      db,
      "SELECT c.name, c.guid, c.type, c.composition_type_id IS NULL, c.description, c.layer_id IS NULL, "
      "c.comments, c.first_core_ply, c.last_core_ply, c.structural_ply, c.variable_ply, "
      "c.variable_ply_min_thickness, c.variable_ply_max_thickness, "
      "(SELECT group_concat(name, '|') FROM (SELECT g.name FROM tarnlib_Composition_tags x "
      " JOIN tarnlib_Tag g ON g.id = x.tag_id WHERE x.object_id = c.id ORDER BY x.\"index\")), "
      "(SELECT count(*) FROM tarnlib_Composition_custom_values x WHERE x.object_id = c.id), "
      "(SELECT count(*) FROM tarnlib_Composition_merge_guids x WHERE x.object_id = c.id), "
      "p.\"index\", m.name, p.function, p.thickness "
      "FROM tarnlib_Composition c JOIN tarnlib_Composition_plies p ON p.object_id = c.id "
      "JOIN tarnlib_Material m ON m.id = p.material_id ORDER BY c.name, p.\"index\"");
}

// What an empty library holds after copying every composition of `source`:
// the compositions, the materials their plies refer to, and exactly the rows
// those refer to (counted, so that a duplicate shows).
std::string expectedCopy(const std::string& source) {
  Sqlite db(source);
  const char* const in = " IN " CB_PLY_MATERIALS;
  return compositionDump(db) + materialDump(db, "WHERE m.id IN " CB_PLY_MATERIALS) +
         dump(db,
              std::string("SELECT (SELECT count(DISTINCT type_id) FROM tarnlib_Material WHERE id") + in +
                  "), (SELECT count(*) FROM (SELECT tag_id FROM tarnlib_Material_tags WHERE object_id" + in +
                  " UNION SELECT tag_id FROM tarnlib_Composition_tags)), "
                  "(SELECT count(DISTINCT property_id) FROM tarnlib_Material_custom_values WHERE object_id" +
                  in + "), (SELECT count(DISTINCT physical_asset_id) FROM tarnlib_Material WHERE id" + in +
                  "), (SELECT count(DISTINCT physical_asset_id) FROM tarnlib_Material WHERE id" + in + ")");
}

std::string copied(const std::string& destination) {
  Sqlite db(destination);
  return compositionDump(db) + materialDump(db, "") +
         dump(db,
              "SELECT (SELECT count(*) FROM tarnlib_MaterialType), (SELECT count(*) FROM tarnlib_Tag), "
              "(SELECT count(*) FROM tarnlib_CustomProperty), (SELECT count(*) FROM tarnlib_PhysicalAsset), "
              "(SELECT count(*) FROM tarnlib_Asset)");
}

std::string materialsOf(const std::string& path) {
  Sqlite db(path);
  return materialDump(db, "");
}

// Throws with the first line that differs.
void check(const char* what, const std::string& expected, const std::string& actual) {
  if (expected == actual) return;
  std::size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
  const auto lineOf = [at](const std::string& text) {
    const std::size_t begin = text.rfind('\n', at == 0 ? 0 : at - 1);
    const std::size_t from = begin == std::string::npos ? 0 : begin + 1;
    return text.substr(from, text.find('\n', from) - from);
  };
  throw std::runtime_error(std::string(what) + ": wrong result\n  expected: " + lineOf(expected) +
                           "\n  actual:   " + lineOf(actual));
}

// ---- Copy compositions --------------------------------------------------------------

class CopyOurs {
 public:
  explicit CopyOurs(const Files& f)
      : f_(f), source_(openLibrary(f.source)), expected_(expectedCopy(f.source)) {}
  double operator()() {
    f_.fresh(f_.empty);
    double seconds = 0;
    {
      auto destination = openLibrary(f_.work);
      seconds = secondsOf([&] { destination->copyAll<Composition>(source_); });
    }
    check("copy compositions", expected_, copied(f_.work));
    return seconds;
  }

 private:
  const Files& f_;
  std::shared_ptr<const Library> source_;
  std::string expected_;
};

using IdMap = std::unordered_map<sqlite3_int64, sqlite3_int64>;

// One table of the raw copy: the rows the copy needs, selected from the source
// with every column, and the insert of the same columns. An AUTOINCREMENT
// table's rows get new ids (the insert leaves column 0 out and `newIds` learns
// them); the columns in `refs` hold ids of other tables and are remapped.
struct TableCopy {
  TableCopy(std::string t, std::string w, std::vector<std::pair<std::string, IdMap*>> r, IdMap* n)
      : table(std::move(t)), where(std::move(w)), refs(std::move(r)), newIds(n) {}

  std::string table;
  std::string where;                                 // empty: every row
  std::vector<std::pair<std::string, IdMap*>> refs;  // column name, the map of its table
  IdMap* newIds;                                     // null: column 0 is copied like the others
  // Filled from the schema.
  std::vector<std::string> columns;
  std::vector<IdMap*> columnRefs;
  sqlite3_stmt* select = nullptr;
};

std::string sqlName(const std::string& name) { return '"' + name + '"'; }

class CopyRaw {
 public:
  explicit CopyRaw(const Files& f) : f_(f), source_(f.source), expected_(expectedCopy(f.source)) {
    // The materials the plies refer to, gathered once per run.
    const std::string inPlies = " IN " CB_WANTED;
    // Referenced rows first, so that each row's references are mapped when it is
    // inserted. Information and BIM assets and composition classes and layers
    // are not in the data: their references meet an empty map and stop the copy.
    const std::string physicalIds =
        "id IN (SELECT physical_asset_id FROM tarnlib_Material WHERE id" + inPlies + ")";
    tables_ = {
        {"tarnlib_MaterialType",
         "id IN (SELECT type_id FROM tarnlib_Material WHERE id" + inPlies + ")",
         {},
         &types_},
        {"tarnlib_Tag",
         "id IN (SELECT tag_id FROM tarnlib_Material_tags WHERE object_id" + inPlies +
             " UNION SELECT tag_id FROM tarnlib_Composition_tags)",
         {},
         &tags_},
        {"tarnlib_CustomProperty",
         "id IN (SELECT property_id FROM tarnlib_Material_custom_values WHERE object_id" + inPlies +
             " UNION SELECT property_id FROM tarnlib_Composition_custom_values)",
         {},
         &properties_},
        {"tarnlib_Asset", physicalIds, {}, &assets_},
        {"tarnlib_PhysicalAsset", physicalIds, {{"id", &assets_}}, nullptr},
        {"tarnlib_Material",
         "id" + inPlies,
         {{"type_id", &types_},
          {"information_asset_id", &none_},
          {"physical_asset_id", &assets_},
          {"bim_asset_id", &none_}},
         &materials_},
        {"tarnlib_Material_tags",
         "object_id" + inPlies,
         {{"object_id", &materials_}, {"tag_id", &tags_}},
         nullptr},
        {"tarnlib_Material_custom_values",
         "object_id" + inPlies,
         {{"object_id", &materials_}, {"property_id", &properties_}},
         nullptr},
        {"tarnlib_Composition", "", {{"composition_type_id", &none_}, {"layer_id", &none_}}, &compositions_},
        {"tarnlib_Composition_plies",
         "",
         {{"object_id", &compositions_}, {"material_id", &materials_}},
         nullptr},
        {"tarnlib_Composition_tags", "", {{"object_id", &compositions_}, {"tag_id", &tags_}}, nullptr},
        {"tarnlib_Composition_custom_values",
         "",
         {{"object_id", &compositions_}, {"property_id", &properties_}},
         nullptr},
        {"tarnlib_Composition_merge_guids", "", {{"object_id", &compositions_}}, nullptr},
    };
    source_.exec("CREATE TEMP TABLE " CB_WANTED " (id INTEGER PRIMARY KEY)");
    for (TableCopy& t : tables_) {
      sqlite3_stmt* info = source_.prepare(("PRAGMA table_info(" + sqlName(t.table) + ")").c_str());
      while (sqlite3_step(info) == SQLITE_ROW) {
        t.columns.push_back(columnText(info, 1));
        IdMap* map = nullptr;
        for (const auto& [column, ids] : t.refs)
          if (column == t.columns.back()) map = ids;
        t.columnRefs.push_back(map);
      }
      sqlite3_reset(info);
      std::string list;
      for (const std::string& c : t.columns) list += (list.empty() ? "" : ", ") + sqlName(c);
      t.select = source_.prepare(("SELECT " + list + " FROM " + sqlName(t.table) +
                                  (t.where.empty() ? "" : " WHERE " + t.where) + " ORDER BY rowid")
                                     .c_str());
    }
  }

  double operator()() {
    const double seconds = copy();
    check("copy compositions (raw SQLite)", expected_, copied(f_.work));
    return seconds;
  }

  // The copy into a fresh destination, unchecked.
  double copy() {
    f_.fresh(f_.empty);
    double seconds = 0;
    {
      Sqlite destination(f_.work);
      std::vector<sqlite3_stmt*> inserts;
      for (const TableCopy& t : tables_) {
        std::string list, values;
        for (std::size_t c = t.newIds ? 1 : 0; c < t.columns.size(); ++c) {
          list += (list.empty() ? "" : ", ") + sqlName(t.columns[c]);
          values += values.empty() ? "?" : ", ?";
        }
        inserts.push_back(destination.prepare(
            ("INSERT INTO " + sqlName(t.table) + " (" + list + ") VALUES (" + values + ")").c_str()));
      }
      for (IdMap* map : {&types_, &tags_, &properties_, &assets_, &materials_, &compositions_}) map->clear();
      seconds = secondsOf([&] {
        source_.exec("BEGIN");
        destination.exec("BEGIN IMMEDIATE");
        source_.exec("INSERT INTO " CB_WANTED " SELECT DISTINCT material_id FROM tarnlib_Composition_plies");
        for (std::size_t i = 0; i < tables_.size(); ++i) copyRows(destination, tables_[i], inserts[i]);
        destination.exec("COMMIT");
        source_.exec("DELETE FROM " CB_WANTED);
        source_.exec("COMMIT");
      });
    }
    return seconds;
  }

 private:
  void copyRows(Sqlite& destination, const TableCopy& t, sqlite3_stmt* insert) {
    const int first = t.newIds ? 1 : 0;
    const int columns = static_cast<int>(t.columns.size());
    int rc;
    while ((rc = sqlite3_step(t.select)) == SQLITE_ROW) {
      for (int c = first; c < columns; ++c) {
        const int param = c - first + 1;
        IdMap* map = t.columnRefs[static_cast<std::size_t>(c)];
        if (!map || sqlite3_column_type(t.select, c) == SQLITE_NULL) {
          sqlite3_bind_value(insert, param, sqlite3_column_value(t.select, c));
          continue;
        }
        auto found = map->find(sqlite3_column_int64(t.select, c));
        if (found == map->end()) throw std::runtime_error(t.table + "." + t.columns[c] + ": an unmapped id");
        sqlite3_bind_int64(insert, param, found->second);
      }
      destination.done(insert);
      if (t.newIds) t.newIds->emplace(sqlite3_column_int64(t.select, 0), destination.lastId());
    }
    if (rc != SQLITE_DONE) source_.fail(t.table);
    sqlite3_reset(t.select);
  }

  const Files& f_;
  Sqlite source_;
  std::string expected_;
  std::vector<TableCopy> tables_;
  IdMap types_, tags_, properties_, assets_, materials_, compositions_, none_;
};

// ---- Sync materials -------------------------------------------------------------

class SyncOurs {
 public:
  explicit SyncOurs(const Files& f)
      : f_(f), source_(openLibrary(f.revised)), expected_(materialsOf(f.revised)) {}
  double operator()() {
    f_.fresh(f_.synced);
    double seconds = 0;
    OdString report;
    {
      auto destination = openLibrary(f_.work);
      seconds = secondsOf([&] { destination->syncAll(source_, {}, &report, nullptr); });
    }
    check("sync materials", expected_, materialsOf(f_.work));
    // The report: a heading per type, then one line per synced object.
    int listed = 0;
    std::size_t from = 0;
    const std::wstring& text = report.str();
    while (from < text.size()) {
      std::size_t end = text.find(L'\n', from);
      if (end == std::wstring::npos) end = text.size();
      if (end > from && text.compare(from, 7, L"Synced ") != 0) ++listed;
      from = end + 1;
    }
    if (listed != f_.revisedCount)
      throw std::runtime_error("sync materials: the report lists " + std::to_string(listed) +
                               " objects, not " + std::to_string(f_.revisedCount));
    return seconds;
  }

 private:
  const Files& f_;
  std::shared_ptr<const Library> source_;
  std::string expected_;
};

// A column value as read.
struct Cell {
  int type = SQLITE_NULL;
  sqlite3_int64 integer = 0;
  double real = 0;
  std::string text;

  void read(sqlite3_stmt* stmt, int column) {
    type = sqlite3_column_type(stmt, column);
    switch (type) {
      case SQLITE_INTEGER: integer = sqlite3_column_int64(stmt, column); break;
      case SQLITE_FLOAT: real = sqlite3_column_double(stmt, column); break;
      case SQLITE_NULL: break;
      default: text = columnText(stmt, column);
    }
  }
  void bind(sqlite3_stmt* stmt, int param) const {
    switch (type) {
      case SQLITE_INTEGER: sqlite3_bind_int64(stmt, param, integer); break;
      case SQLITE_FLOAT: sqlite3_bind_double(stmt, param, real); break;
      case SQLITE_NULL: sqlite3_bind_null(stmt, param); break;
      default: bindText(stmt, param, text);
    }
  }
  bool operator==(const Cell& o) const {
    return type == o.type && integer == o.integer && real == o.real && text == o.text;
  }
};

// The material columns the sync compares and writes (CB_MATERIAL_VALUES), then
// the class name, then the physical asset's.
constexpr int kValueColumns = 25;
constexpr int kAssetColumns = 5;

// A material as the sync compares it: its values, its class and asset by their
// values, its tags and custom values by name.
struct SyncMaterial {
  sqlite3_int64 id = 0;
  sqlite3_int64 physicalId = 0;
  std::vector<Cell> values;  // kValueColumns + 1 (class name) + kAssetColumns
  std::vector<std::string> tags;
  std::vector<std::pair<std::string, std::string>> customValues;
};

class SyncSide {
 public:
  explicit SyncSide(Sqlite& db)
      : rows_(db.prepare("SELECT m.id, m.name, m.physical_asset_id, m.information_asset_id IS NULL AND "
                         "m.bim_asset_id IS NULL, " CB_MATERIAL_VALUES ", t.name, a.name, a.description, "
                         "a.density, a.specific_heat, a.thermal_conductivity FROM tarnlib_Material m "
                         "JOIN tarnlib_MaterialType t ON t.id = m.type_id "
                         "LEFT JOIN tarnlib_PhysicalAsset a ON a.id = m.physical_asset_id ORDER BY m.id")),
        tags_(db.prepare("SELECT x.object_id, g.name FROM tarnlib_Material_tags x JOIN tarnlib_Tag g "
                         "ON g.id = x.tag_id ORDER BY x.object_id, x.\"index\"")),
        customValues_(db.prepare("SELECT x.object_id, p.name, x.value FROM tarnlib_Material_custom_values x "
                                 "JOIN tarnlib_CustomProperty p ON p.id = x.property_id "
                                 "ORDER BY x.object_id, p.name")) {}

  std::vector<SyncMaterial> materials;
  std::unordered_map<std::string, std::size_t> byName;

  void read() {
    materials.clear();
    byName.clear();
    std::unordered_map<sqlite3_int64, std::size_t> byId;
    while (sqlite3_step(rows_) == SQLITE_ROW) {
      SyncMaterial m;
      m.id = sqlite3_column_int64(rows_, 0);
      m.physicalId = sqlite3_column_int64(rows_, 2);
      // Information and BIM assets are not in the data; the baseline does not compare them.
      if (!sqlite3_column_int(rows_, 3))
        throw std::runtime_error("sync baseline: a material with other assets");
      m.values.resize(kValueColumns + 1 + kAssetColumns);
      for (int c = 0; c < kValueColumns + 1 + kAssetColumns; ++c)
        m.values[static_cast<std::size_t>(c)].read(rows_, 4 + c);
      byId.emplace(m.id, materials.size());
      byName.emplace(columnText(rows_, 1), materials.size());
      materials.push_back(std::move(m));
    }
    sqlite3_reset(rows_);
    while (sqlite3_step(tags_) == SQLITE_ROW)
      materials[byId.at(sqlite3_column_int64(tags_, 0))].tags.push_back(columnText(tags_, 1));
    sqlite3_reset(tags_);
    while (sqlite3_step(customValues_) == SQLITE_ROW)
      materials[byId.at(sqlite3_column_int64(customValues_, 0))].customValues.emplace_back(
          columnText(customValues_, 1), columnText(customValues_, 2));
    sqlite3_reset(customValues_);
  }

 private:
  sqlite3_stmt* rows_;
  sqlite3_stmt* tags_;
  sqlite3_stmt* customValues_;
};

class SyncRaw {
 public:
  explicit SyncRaw(const Files& f)
      : f_(f), source_(f.revised), theirs_(source_), expected_(materialsOf(f.revised)) {}

  double operator()() {
    f_.fresh(f_.synced);
    double seconds = 0;
    int updated = 0;
    {
      Sqlite db(f_.work);
      SyncSide ours(db);
      sqlite3_stmt* material = db.prepare(
          "UPDATE tarnlib_Material SET (description, comments, appearance, " CB_PATTERN_COLUMNS("cut_pattern_")
          ", " CB_PATTERN_COLUMNS("surface_pattern_") ", type_id) = (?, ?, ?, "
          "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
          "(SELECT id FROM tarnlib_MaterialType WHERE name = ?)) WHERE id = ?");
      sqlite3_stmt* asset = db.prepare(
          "UPDATE tarnlib_PhysicalAsset SET name = ?, description = ?, density = ?, specific_heat = ?, "
          "thermal_conductivity = ? WHERE id = ?");
      sqlite3_stmt* clearTags = db.prepare("DELETE FROM tarnlib_Material_tags WHERE object_id = ?");
      sqlite3_stmt* addTag = db.prepare(
          "INSERT INTO tarnlib_Material_tags (object_id, \"index\", tag_id) "
          "SELECT ?, ?, id FROM tarnlib_Tag WHERE name = ?");
      sqlite3_stmt* clearValues =
          db.prepare("DELETE FROM tarnlib_Material_custom_values WHERE object_id = ?");
      sqlite3_stmt* addValue = db.prepare(
          "INSERT INTO tarnlib_Material_custom_values (object_id, property_id, value) "
          "SELECT ?, id, ? FROM tarnlib_CustomProperty WHERE name = ? AND object_type IN (?, ?) "
          "ORDER BY object_type DESC LIMIT 1");
      const auto inserted = [&](sqlite3_stmt* stmt) {
        db.done(stmt);
        if (sqlite3_changes(sqlite3_db_handle(stmt)) != 1)
          throw std::runtime_error("sync baseline: a tag or property missing here");
      };
      seconds = secondsOf([&] {
        source_.exec("BEGIN");
        db.exec("BEGIN IMMEDIATE");
        theirs_.read();
        ours.read();
        for (const auto& [name, at] : theirs_.byName) {
          const SyncMaterial& s = theirs_.materials[at];
          auto found = ours.byName.find(name);
          // Every source material has its namesake here in this data.
          if (found == ours.byName.end()) throw std::runtime_error("sync baseline: a material missing here");
          const SyncMaterial& d = ours.materials[found->second];
          const auto valuesEnd = s.values.begin() + kValueColumns + 1;
          const bool values = !std::equal(s.values.begin(), valuesEnd, d.values.begin());
          const bool assetValues =
              !std::equal(valuesEnd, s.values.end(), d.values.begin() + kValueColumns + 1);
          const bool tags = s.tags != d.tags;
          const bool customValues = s.customValues != d.customValues;
          if (!values && !assetValues && !tags && !customValues) continue;
          ++updated;
          if (values) {
            for (int c = 0; c <= kValueColumns; ++c)
              s.values[static_cast<std::size_t>(c)].bind(material, c + 1);
            sqlite3_bind_int64(material, kValueColumns + 2, d.id);
            db.done(material);
          }
          if (assetValues) {
            if (!s.physicalId || !d.physicalId)
              throw std::runtime_error("sync baseline: an asset added or gone");
            for (int c = 0; c < kAssetColumns; ++c)
              s.values[static_cast<std::size_t>(kValueColumns + 1 + c)].bind(asset, c + 1);
            sqlite3_bind_int64(asset, kAssetColumns + 1, d.physicalId);
            db.done(asset);
          }
          if (tags) {
            sqlite3_bind_int64(clearTags, 1, d.id);
            db.done(clearTags);
            for (std::size_t k = 0; k < s.tags.size(); ++k) {
              sqlite3_bind_int64(addTag, 1, d.id);
              sqlite3_bind_int64(addTag, 2, static_cast<sqlite3_int64>(k));
              bindText(addTag, 3, s.tags[k]);
              inserted(addTag);
            }
          }
          if (customValues) {
            sqlite3_bind_int64(clearValues, 1, d.id);
            db.done(clearValues);
            for (const auto& [property, value] : s.customValues) {
              sqlite3_bind_int64(addValue, 1, d.id);
              bindText(addValue, 2, value);
              bindText(addValue, 3, property);
              sqlite3_bind_int(addValue, 4, static_cast<int>(ObjectType::Material));
              sqlite3_bind_int(addValue, 5, 0);  // a property for any type
              inserted(addValue);
            }
          }
        }
        db.exec("COMMIT");
        source_.exec("COMMIT");
      });
    }
    check("sync materials (raw SQLite)", expected_, materialsOf(f_.work));
    if (updated != f_.revisedCount)
      throw std::runtime_error("sync baseline: " + std::to_string(updated) + " materials updated, not " +
                               std::to_string(f_.revisedCount));
    return seconds;
  }

 private:
  const Files& f_;
  Sqlite source_;
  SyncSide theirs_;
  std::string expected_;
};

// ---- Statements run on the source --------------------------------------------------

// The statements the connections to one file ran: each text with the times it
// started (a step from the reset state; trigger programs left out).
struct StatementCount {
  std::string path;  // canonical
  long total = 0;
  std::map<std::string, long> byText;
};

std::vector<StatementCount*>& watched() {
  static std::vector<StatementCount*> all;
  return all;
}

int countStatement(unsigned, void* context, void*, void* sql) {
  const char* text = static_cast<const char*>(sql);
  if (text[0] == '-' && text[1] == '-') return 0;
  auto* count = static_cast<StatementCount*>(context);
  ++count->total;
  ++count->byText[text];
  return 0;
}

// Runs as each connection of the process opens; traces those to a watched file.
int watchConnection(sqlite3* db, const char**, const struct sqlite3_api_routines*) {
  const char* file = sqlite3_db_filename(db, "main");
  if (!file || !*file) return SQLITE_OK;
  std::error_code error;
  const std::string path = fs::weakly_canonical(file, error).string();
  for (StatementCount* count : watched())
    if (count->path == path) sqlite3_trace_v2(db, SQLITE_TRACE_STMT, countStatement, count);
  return SQLITE_OK;
}

StatementCount watching(const std::string& path) {
  StatementCount count;
  count.path = fs::weakly_canonical(path).string();
  return count;
}

// The statements one copy of every composition of a source ran on the source
// file and on the destination.
struct CopyCount {
  StatementCount source;
  StatementCount destination;
};

// Both the libraries and the baseline's connections open after the watch
// starts and close before it ends.
CopyCount countOurs(const Files& f, const std::string& source) {
  CopyCount count{watching(source), watching(f.work)};
  watched() = {&count.source, &count.destination};
  {
    std::shared_ptr<const Library> from = openLibrary(source);
    f.fresh(f.empty);
    auto destination = openLibrary(f.work);
    count = {watching(source), watching(f.work)};  // not what opening read
    destination->copyAll<Composition>(from);
  }
  watched().clear();
  return count;
}

CopyCount countRaw(const Files& f) {
  CopyCount count{watching(f.source), watching(f.work)};
  watched() = {&count.source, &count.destination};
  {
    CopyRaw copy(f);
    count = {watching(f.source), watching(f.work)};  // not the schema reads of its constructor
    copy.copy();
  }
  watched().clear();
  return count;
}

void printMostRun(const char* what, const StatementCount& count, std::size_t lines) {
  std::vector<std::pair<long, std::string>> texts;
  for (const auto& [text, times] : count.byText) texts.emplace_back(times, text);
  std::sort(texts.rbegin(), texts.rend());
  std::printf("tarnlib ran %zu distinct statements on the %s; the most run:\n", texts.size(), what);
  for (std::size_t i = 0; i < texts.size() && i < lines; ++i)
    std::printf("  %7ld  %.120s\n", texts[i].first, texts[i].second.c_str());
}

void printStatementCounts(const Files& f) {
  const CopyCount ours = countOurs(f, f.source);
  const CopyCount raw = countRaw(f);
  const CopyCount oursHalf = countOurs(f, f.half);
  const int half = std::max(1, f.n / 2);
  std::printf("\nstatements run by one copy of every composition (untimed, traced)\n");
  std::printf("%-28s %16s %16s %16s %16s\n", "", "tarnlib source", "raw source", "tarnlib dest.",
              "raw dest.");
  std::printf("%-28s %16ld %16ld %16ld %16ld\n", (std::to_string(f.n) + " compositions").c_str(),
              ours.source.total, raw.source.total, ours.destination.total, raw.destination.total);
  std::printf("%-28s %16ld %16s %16ld %16s\n", (std::to_string(half) + " compositions").c_str(),
              oursHalf.source.total, "", oursHalf.destination.total, "");
  printMostRun("source", ours.source, 3);
  printMostRun("destination", ours.destination, 25);
  if (ours.source.total == 0 || ours.destination.total == 0) {
    std::printf("no statement was seen on a file: the count is not valid\n");
    return;
  }
  // Per added composition: reading object by object costs at least one more
  // statement for each (more: one per table it spans), reading in batches none.
  const double perComposition =
      f.n > half ? static_cast<double>(ours.source.total - oursHalf.source.total) / (f.n - half) : 0.0;
  std::printf("source statements per added composition: %.4f (one query per object per table: >= 1) %s\n",
              perComposition, perComposition < 0.1 ? "batched" : "PER OBJECT");
}

// ---- Runs ---------------------------------------------------------------------------

void BM_CopyCompositions(benchmark::State& state) {
  paired(state, "copy compositions", CopyOurs(files()), CopyRaw(files()));
}

void BM_SyncMaterials(benchmark::State& state) {
  paired(state, "sync materials", SyncOurs(files()), SyncRaw(files()));
}

BENCHMARK(BM_CopyCompositions)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SyncMaterials)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  // Every connection opened from here on passes by the statement watch, which
  // traces only while a count is under way.
  if (sqlite3_auto_extension(reinterpret_cast<void (*)(void)>(watchConnection)) != SQLITE_OK) return 1;
  Files& f = files();
  std::printf("writing the libraries to read (%d materials, %d compositions of %d plies)...\n", f.n, f.n,
              kPlies);
  f.write();

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  printStatementCounts(f);

  tarnlib::bench::printSummary(
      std::to_string(f.n) + " compositions of " + std::to_string(kPlies) + " plies; " + std::to_string(f.n) +
          " materials, " + std::to_string(f.revisedCount) + " of them differing",
      {{"copy compositions", "copyAll compositions", 2.0}, {"sync materials", "syncAll materials", 2.0}});
  return 0;
}
