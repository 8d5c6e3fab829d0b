// Parametric profiles against a raw-SQLite baseline doing the same row work
// through prepared statements in one transaction, on files of the same schema:
//   save     N profiles in one transaction made current around the saves: a
//            third I-shapes, a third rectangular and a third circular hollow
//            sections, in four series (three of one standard, one outside any);
//            each is a tarnlib_Profile row with its typeid, a
//            tarnlib_ParametrizedProfile row and a row in each table of its
//            class chain (3 or 4 rows);
//   load all every profile of any class, with its series and standard (get
//            into a vector);
//   get      N profiles by random id, one by one, inside one transaction: the
//            baseline reads the typeid, then the joined rows of that class, the
//            merged GUIDs, the series and its standard.
// N is 100,000; TARNLIB_BENCH_N sets another (a small one for profiling).
// The objects to save and the baseline's row values are built before the clock
// starts. Saving, the baseline binds UTF-8 prepared beforehand where we convert
// from OdString; reading, it converts every text to OdString as we do.
//
// A profile saved without a GUID is given the name-based (SHA-1) GUID of its
// standard, series and size in the library's namespace. The profiles here are
// created without one, as a host creates them, so that the save measured is the
// ordinary one; the baseline computes the same GUID with nameBasedGuid inside
// its clock, from the same texts. Before the runs, main checks that both sides
// write the same rows.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "paired_runs.h"
#include "raw_sqlite.h"
#include "tarnlib/guid.h"
#include "tarnlib/library.h"
#include "tarnlib/profile.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/transaction.h"

namespace {

using tarnlib::bench::bindText;
using tarnlib::bench::median;
using tarnlib::bench::paired;
using tarnlib::bench::samples;
using tarnlib::bench::Sqlite;

namespace fs = std::filesystem;
using tarnlib::CircleHollowProfile;
using tarnlib::IShapeProfile;
using tarnlib::Library;
using tarnlib::Profile;
using tarnlib::ProfileName;
using tarnlib::ProfileStandard;
using tarnlib::ProfileType;
using tarnlib::RectangleHollowProfile;
using tarnlib::TnSmartPtr;
using tarnlib::Transaction;

int profileCount() {
  // At least one profile of every series, so that both sides store all four.
  return std::max(tarnlib::bench::objectCount(100000), 6);
}

// ---- Row values, the same for both sides --------------------------------------

// The library's GUID, fixed so that the baseline knows the namespace of the
// profiles' GUIDs without asking the library.
const char* const kLibraryGuid = "3f0c2a8e-5b7d-4c19-a6e2-91d4b07f3c58";
const char* const kStandard = "EN 10365";

enum Kind { kIShape, kRectangleHollow, kCircleHollow };
constexpr int kKinds = 3;
constexpr int kMaxDimensions = 5;

struct KindInfo {
  const char* typeId;
  std::vector<const char*> tables;  // the class chain below tarnlib_Profile, base first
  std::vector<std::vector<const char*>> dimensions;  // per table of `tables`
};

const KindInfo& kindInfo(Kind kind) {
  static const KindInfo kinds[kKinds] = {
      {"tarnlib::IShapeProfile",
       {"tarnlib_ParametrizedProfile", "tarnlib_IShapeProfile"},
       {{}, {"overallWidth", "overallDepth", "webThickness", "flangeThickness", "filletRadius"}}},
      {"tarnlib::RectangleHollowProfile",
       {"tarnlib_ParametrizedProfile", "tarnlib_RectangleProfile", "tarnlib_RectangleHollowProfile"},
       {{}, {"xDim", "yDim"}, {"wallThickness", "innerFilletRadius", "outerFilletRadius"}}},
      {"tarnlib::CircleHollowProfile",
       {"tarnlib_ParametrizedProfile", "tarnlib_CircleProfile", "tarnlib_CircleHollowProfile"},
       {{}, {"radius"}, {"wallThickness"}}},
  };
  return kinds[kind];
}

int dimensionCount(Kind kind) { return kind == kCircleHollow ? 2 : 5; }

// The series in the order the first profiles meet them, so that both sides give
// them the same ids.
struct SeriesInfo {
  const char* name;
  bool standard;
  ProfileType type;
};
constexpr int kSeries = 4;
const SeriesInfo kSeriesInfo[kSeries] = {{"HE", true, ProfileType::StructuralSteel},
                                         {"RHS", true, ProfileType::StructuralSteel},
                                         {"CHS", false, ProfileType::Piping},
                                         {"IPE", true, ProfileType::StructuralSteel}};

Kind kindOf(int i) { return static_cast<Kind>(i % kKinds); }
int seriesOf(int i) {
  switch (kindOf(i)) {
    case kIShape:
      return (i / kKinds) % 2 == 0 ? 0 : 3;
    case kRectangleHollow:
      return 1;
    case kCircleHollow:
      break;
  }
  return 2;
}
// Unique within a series by the trailing number; "×" is U+00D7.
std::string sizeText(int i) {
  return std::to_string(100 + i % 900) + "\xC3\x97" + std::to_string(50 + i % 250) + " #" + std::to_string(i);
}
double dimension(int i, int k) { return 10.0 * (k + 1) + 1e-6 * i; }
// The last dimension of an I-shape (fillet radius) and of a rectangular hollow
// section (outer fillet radius) is optional: present on every other profile.
bool present(int i, int k) { return k < 4 || i % 2 == 0; }
bool hasOffset(int i) { return i % 5 == 0; }
double offsetY(int i) { return dimension(i, 1) / 2; }

std::vector<std::uint32_t> randomIds(int n) {
  std::mt19937 random(42);
  std::uniform_int_distribution<std::uint32_t> pick(1, static_cast<std::uint32_t>(n));
  std::vector<std::uint32_t> ids(static_cast<std::size_t>(n));
  for (auto& id : ids) id = pick(random);
  return ids;
}

template <class F>
double secondsOf(F f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// ---- Files ------------------------------------------------------------------

struct Files {
  fs::path dir;
  std::string empty;   // a new library, no objects
  std::string filled;  // N profiles, written by us, read by both sides
  std::string work;
  int n = profileCount();

  Files() {
    std::string pattern = (fs::temp_directory_path() / "tarnlib-bench-XXXXXX").string();
    dir = mkdtemp(pattern.data());
    empty = (dir / "empty.tlib").string();
    filled = (dir / "filled.tlib").string();
    work = (dir / "work.tlib").string();
    auto library = Library::create(OdString(empty), tarnlib::LibraryUnit::Millimeter, OdString(kLibraryGuid));
    if (!library || library->guid() != OdString(kLibraryGuid))
      throw std::runtime_error("cannot create " + empty);
  }
  ~Files() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  void freshWork() const { fs::copy_file(empty, work, fs::copy_options::overwrite_existing); }
};

Files& files() {
  static Files instance;
  return instance;
}

// ---- Save ---------------------------------------------------------------------

TnSmartPtr<Profile> newProfile(const TnSmartPtr<ProfileName>& series, int i) {
  const OdString size(sizeText(i));
  TnSmartPtr<Profile> profile;
  switch (kindOf(i)) {
    case kIShape: {
      auto p = IShapeProfile::create(series, size);
      p->set_overall_width(dimension(i, 0));
      p->set_overall_depth(dimension(i, 1));
      p->set_web_thickness(dimension(i, 2));
      p->set_flange_thickness(dimension(i, 3));
      if (present(i, 4)) p->set_fillet_radius(dimension(i, 4));
      profile = p;
      break;
    }
    case kRectangleHollow: {
      auto p = RectangleHollowProfile::create(series, size);
      p->set_x_dim(dimension(i, 0));
      p->set_y_dim(dimension(i, 1));
      p->set_wall_thickness(dimension(i, 2));
      p->set_inner_fillet_radius(dimension(i, 3));
      if (present(i, 4)) p->set_outer_fillet_radius(dimension(i, 4));
      profile = p;
      break;
    }
    case kCircleHollow: {
      auto p = CircleHollowProfile::create(series, size);
      p->set_radius(dimension(i, 0));
      p->set_wall_thickness(dimension(i, 1));
      profile = p;
      break;
    }
  }
  if (hasOffset(i)) profile->set_offset(tarnlib::Vector2d{0.0, offsetY(i)});
  return profile;
}

double saveOurs(const std::string& path, int n) {
  auto library = Library::open(OdString(path));
  if (!library) throw std::runtime_error("open");
  auto standard = ProfileStandard::create(OdString(kStandard));
  std::vector<TnSmartPtr<ProfileName>> series;
  for (const SeriesInfo& s : kSeriesInfo)
    series.push_back(s.standard ? ProfileName::create(standard, OdString(s.name), s.type)
                                : ProfileName::create(OdString(s.name), s.type));
  std::vector<TnSmartPtr<Profile>> profiles;
  profiles.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) profiles.push_back(newProfile(series[static_cast<std::size_t>(seriesOf(i))], i));
  return secondsOf([&] {
    Transaction tx(library, Transaction::kBeginCurrent);
    for (const auto& profile : profiles) library->save<Profile>(profile);
    tx.commit();
  });
}

std::string insertSql(const char* table, const std::vector<const char*>& columns) {
  std::string names = "id";
  std::string marks = "?";
  for (const char* c : columns) {
    names += std::string(", \"") + c + '"';
    marks += ", ?";
  }
  return std::string("INSERT INTO ") + table + " (" + names + ") VALUES (" + marks + ")";
}

double saveRaw(const std::string& path, int n) {
  Sqlite db(path);
  std::vector<std::string> sizes;
  std::vector<OdString> wideSizes;  // what the GUID is computed from
  sizes.reserve(static_cast<std::size_t>(n));
  wideSizes.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    sizes.push_back(sizeText(i));
    wideSizes.emplace_back(sizes.back());
  }
  const OdString guidNamespace(kLibraryGuid);
  std::vector<OdString> guidPrefixes;  // standard and series name, as the library joins them
  for (const SeriesInfo& s : kSeriesInfo)
    guidPrefixes.push_back(s.standard ? OdString(kStandard) + OdString(s.name) : OdString(s.name));

  sqlite3_stmt* standard = db.prepare("INSERT INTO tarnlib_ProfileStandard (id, name) VALUES (NULL, ?)");
  sqlite3_stmt* name =
      db.prepare("INSERT INTO tarnlib_ProfileName (id, name, type, standard_id) VALUES (NULL, ?, ?, ?)");
  sqlite3_stmt* root = db.prepare(
      "INSERT INTO tarnlib_Profile (id, typeid, size, description, offset_x, offset_y, guid, name_id, "
      "material_id) VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?)");
  // Per kind, per table of its chain below tarnlib_Profile.
  std::vector<std::vector<sqlite3_stmt*>> chains(kKinds);
  for (int k = 0; k < kKinds; ++k) {
    const KindInfo& info = kindInfo(static_cast<Kind>(k));
    for (std::size_t t = 0; t < info.tables.size(); ++t)
      chains[static_cast<std::size_t>(k)].push_back(db.prepare(insertSql(info.tables[t], info.dimensions[t]).c_str()));
  }
  return secondsOf([&] {
    db.exec("BEGIN IMMEDIATE");
    sqlite3_bind_text(standard, 1, kStandard, -1, SQLITE_STATIC);
    db.done(standard);
    const sqlite3_int64 standardId = db.lastId();
    sqlite3_int64 seriesIds[kSeries];
    for (int s = 0; s < kSeries; ++s) {
      sqlite3_bind_text(name, 1, kSeriesInfo[s].name, -1, SQLITE_STATIC);
      sqlite3_bind_int(name, 2, static_cast<int>(kSeriesInfo[s].type));
      if (kSeriesInfo[s].standard) sqlite3_bind_int64(name, 3, standardId);
      else sqlite3_bind_null(name, 3);
      db.done(name);
      seriesIds[s] = db.lastId();
    }
    for (int i = 0; i < n; ++i) {
      const Kind kind = kindOf(i);
      const int s = seriesOf(i);
      const std::size_t at = static_cast<std::size_t>(i);
      const std::string guid =
          tarnlib::nameBasedGuid(guidNamespace, guidPrefixes[static_cast<std::size_t>(s)] + wideSizes[at]).toUtf8();
      sqlite3_bind_text(root, 1, kindInfo(kind).typeId, -1, SQLITE_STATIC);
      bindText(root, 2, sizes[at]);
      sqlite3_bind_text(root, 3, "", 0, SQLITE_STATIC);
      if (hasOffset(i)) {
        sqlite3_bind_double(root, 4, 0.0);
        sqlite3_bind_double(root, 5, offsetY(i));
      } else {
        sqlite3_bind_null(root, 4);
        sqlite3_bind_null(root, 5);
      }
      bindText(root, 6, guid);
      sqlite3_bind_int64(root, 7, seriesIds[s]);
      sqlite3_bind_null(root, 8);
      db.done(root);
      const sqlite3_int64 id = db.lastId();
      int k = 0;  // the dimension, counted along the chain
      for (sqlite3_stmt* table : chains[kind]) {
        sqlite3_bind_int64(table, 1, id);
        const int columns = sqlite3_bind_parameter_count(table);
        for (int c = 2; c <= columns; ++c, ++k) {
          if (present(i, k)) sqlite3_bind_double(table, c, dimension(i, k));
          else sqlite3_bind_null(table, c);
        }
        db.done(table);
      }
    }
    db.exec("COMMIT");
  });
}

// ---- Reading, the baseline's side ---------------------------------------------

// What the baseline reads of a profile: the same values, plain, texts as
// OdString converted from UTF-8 as the library converts them.
struct RawStandard {
  sqlite3_int64 id = 0;
  OdString name;
};
struct RawSeries {
  sqlite3_int64 id = 0;
  sqlite3_int64 standardId = 0;  // 0: none
  const RawStandard* standard = nullptr;
  OdString name;
  int type = 1;
};
struct RawProfile {
  sqlite3_int64 id = 0;
  Kind kind = kIShape;
  sqlite3_int64 seriesId = 0;
  const RawSeries* series = nullptr;
  OdString size;
  OdString description;
  sqlite3_int64 materialId = 0;  // 0: none
  bool hasOffset = false;
  double offsetX = 0, offsetY = 0;
  OdString guid;
  std::set<OdString> mergeGuids;
  std::array<double, kMaxDimensions> dimensions{};
  std::array<bool, kMaxDimensions> present{};
};

OdString columnString(sqlite3_stmt* stmt, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
  return text ? OdString::fromUtf8(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, column)))
              : OdString();
}

sqlite3_int64 optionalId(sqlite3_stmt* stmt, int column) {
  return sqlite3_column_type(stmt, column) == SQLITE_NULL ? 0 : sqlite3_column_int64(stmt, column);
}

// The joined rows of one kind, its own table first as the library joins them.
std::string selectSql(Kind kind) {
  const KindInfo& info = kindInfo(kind);
  const std::string own = info.tables.back();
  std::string columns = own + ".id, p.size, p.description, p.offset_x, p.offset_y, p.guid, p.name_id, p.material_id";
  for (std::size_t t = 0; t < info.tables.size(); ++t)
    for (const char* d : info.dimensions[t]) columns += std::string(", ") + info.tables[t] + ".\"" + d + '"';
  std::string from = " FROM " + own;
  for (std::size_t t = info.tables.size() - 1; t-- > 0;)
    from += std::string(" LEFT JOIN ") + info.tables[t] + " ON " + info.tables[t] + ".id = " + own + ".id";
  from += " LEFT JOIN tarnlib_Profile AS p ON p.id = " + own + ".id";
  return "SELECT " + columns + from;
}

void readProfile(sqlite3_stmt* stmt, Kind kind, RawProfile& p) {
  p.id = sqlite3_column_int64(stmt, 0);
  p.kind = kind;
  p.size = columnString(stmt, 1);
  p.description = columnString(stmt, 2);
  p.hasOffset = sqlite3_column_type(stmt, 3) != SQLITE_NULL;
  p.offsetX = sqlite3_column_double(stmt, 3);
  p.offsetY = sqlite3_column_double(stmt, 4);
  p.guid = columnString(stmt, 5);
  p.seriesId = sqlite3_column_int64(stmt, 6);
  p.materialId = optionalId(stmt, 7);
  for (int k = 0; k < dimensionCount(kind); ++k) {
    p.present[static_cast<std::size_t>(k)] = sqlite3_column_type(stmt, 8 + k) != SQLITE_NULL;
    p.dimensions[static_cast<std::size_t>(k)] = sqlite3_column_double(stmt, 8 + k);
  }
}

void readSeries(sqlite3_stmt* stmt, RawSeries& s) {
  s.id = sqlite3_column_int64(stmt, 0);
  s.standardId = optionalId(stmt, 1);
  s.name = columnString(stmt, 2);
  s.type = sqlite3_column_int(stmt, 3);
}

const char* const kSeriesColumns = "SELECT id, standard_id, name, type FROM tarnlib_ProfileName";

// ---- Load all -----------------------------------------------------------------

// Each side keeps its connection and statements across runs, as a host would.
class LoadAllOurs {
 public:
  explicit LoadAllOurs(const Files& f) : n_(f.n), library_(Library::open(OdString(f.filled))) {}
  double operator()() {
    std::vector<TnSmartPtr<Profile>> profiles;
    const double seconds = secondsOf([&] { library_->get<Profile>(profiles); });
    if (profiles.size() != static_cast<std::size_t>(n_) || !profiles.front()->name() ||
        !profiles.front()->name()->standard())
      throw std::runtime_error("load all: wrong result");
    return seconds;
  }

 private:
  int n_;
  std::shared_ptr<Library> library_;
};

class LoadAllRaw {
 public:
  explicit LoadAllRaw(const Files& f)
      : n_(f.n), db_(f.filled),
        mergeGuids_(db_.prepare("SELECT object_id, value FROM tarnlib_Profile_merge_guids ORDER BY object_id")),
        series_(db_.prepare(kSeriesColumns)),
        standards_(db_.prepare("SELECT id, name FROM tarnlib_ProfileStandard")) {
    for (int k = 0; k < kKinds; ++k)
      rows_[k] = db_.prepare((selectSql(static_cast<Kind>(k)) + " ORDER BY 1").c_str());
  }
  double operator()() {
    std::vector<RawProfile> profiles;
    std::vector<RawProfile*> ordered;  // by id, as the library hands them out
    std::map<sqlite3_int64, RawSeries> seriesById;
    std::map<sqlite3_int64, RawStandard> standardById;
    const double seconds = secondsOf([&] {
      db_.exec("BEGIN");
      for (int k = 0; k < kKinds; ++k) {
        while (sqlite3_step(rows_[k]) == SQLITE_ROW) {
          RawProfile p;
          readProfile(rows_[k], static_cast<Kind>(k), p);
          profiles.push_back(std::move(p));
        }
        sqlite3_reset(rows_[k]);
      }
      ordered.reserve(profiles.size());
      for (RawProfile& p : profiles) ordered.push_back(&p);
      std::sort(ordered.begin(), ordered.end(), [](const RawProfile* a, const RawProfile* b) { return a->id < b->id; });
      // Merged GUIDs by owner, both in id order.
      auto owner = ordered.begin();
      while (sqlite3_step(mergeGuids_) == SQLITE_ROW) {
        const sqlite3_int64 id = sqlite3_column_int64(mergeGuids_, 0);
        while (owner != ordered.end() && (*owner)->id < id) ++owner;
        if (owner != ordered.end() && (*owner)->id == id) (*owner)->mergeGuids.insert(columnString(mergeGuids_, 1));
      }
      sqlite3_reset(mergeGuids_);
      while (sqlite3_step(series_) == SQLITE_ROW) {
        RawSeries s;
        readSeries(series_, s);
        seriesById.emplace(s.id, std::move(s));
      }
      sqlite3_reset(series_);
      while (sqlite3_step(standards_) == SQLITE_ROW) {
        RawStandard s;
        s.id = sqlite3_column_int64(standards_, 0);
        s.name = columnString(standards_, 1);
        standardById.emplace(s.id, std::move(s));
      }
      sqlite3_reset(standards_);
      for (auto& [id, s] : seriesById)
        if (s.standardId) s.standard = &standardById[s.standardId];
      for (RawProfile* p : ordered) p->series = &seriesById[p->seriesId];
      db_.exec("COMMIT");
    });
    if (ordered.size() != static_cast<std::size_t>(n_) || !ordered.front()->series->standard)
      throw std::runtime_error("load all: wrong result");
    return seconds;
  }

 private:
  int n_;
  Sqlite db_;
  sqlite3_stmt* rows_[kKinds] = {};
  sqlite3_stmt* mergeGuids_;
  sqlite3_stmt* series_;
  sqlite3_stmt* standards_;
};

// ---- Get by id ----------------------------------------------------------------

class GetByIdOurs {
 public:
  explicit GetByIdOurs(const Files& f) : ids_(randomIds(f.n)), library_(Library::open(OdString(f.filled))) {}
  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      Transaction tx(library_, Transaction::kBeginCurrent);
      for (std::uint32_t id : ids_) {
        TnSmartPtr<Profile> profile = library_->get<Profile>(id);
        found += profile && profile->name() ? 1 : 0;
      }
      tx.rollback();
    });
    if (found != ids_.size()) throw std::runtime_error("get by id");
    return seconds;
  }

 private:
  std::vector<std::uint32_t> ids_;
  std::shared_ptr<Library> library_;
};

class GetByIdRaw {
 public:
  explicit GetByIdRaw(const Files& f)
      : ids_(randomIds(f.n)), db_(f.filled),
        typeId_(db_.prepare("SELECT typeid FROM tarnlib_Profile WHERE id = ?")),
        mergeGuids_(db_.prepare("SELECT value FROM tarnlib_Profile_merge_guids WHERE object_id = ?")),
        series_(db_.prepare((std::string(kSeriesColumns) + " WHERE id = ?").c_str())),
        standard_(db_.prepare("SELECT id, name FROM tarnlib_ProfileStandard WHERE id = ?")) {
    for (int k = 0; k < kKinds; ++k) {
      const Kind kind = static_cast<Kind>(k);
      rows_[k] = db_.prepare((selectSql(kind) + " WHERE " + kindInfo(kind).tables.back() + ".id = ?").c_str());
    }
  }
  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      db_.exec("BEGIN");
      for (std::uint32_t id : ids_) {
        RawProfile p;
        RawSeries s;
        RawStandard standard;
        if (read(id, p, s, standard)) found += p.series ? 1 : 0;
        benchmark::DoNotOptimize(p);
      }
      db_.exec("COMMIT");
    });
    if (found != ids_.size()) throw std::runtime_error("get by id");
    return seconds;
  }

 private:
  bool read(std::uint32_t id, RawProfile& p, RawSeries& s, RawStandard& standard) {
    int kind = -1;
    sqlite3_bind_int64(typeId_, 1, id);
    if (sqlite3_step(typeId_) == SQLITE_ROW) {
      const char* typeId = reinterpret_cast<const char*>(sqlite3_column_text(typeId_, 0));
      for (int k = 0; k < kKinds && typeId; ++k)
        if (std::strcmp(typeId, kindInfo(static_cast<Kind>(k)).typeId) == 0) kind = k;
    }
    sqlite3_reset(typeId_);
    if (kind < 0) return false;
    sqlite3_stmt* row = rows_[kind];
    sqlite3_bind_int64(row, 1, id);
    const bool exists = sqlite3_step(row) == SQLITE_ROW;
    if (exists) readProfile(row, static_cast<Kind>(kind), p);
    sqlite3_reset(row);
    if (!exists) return false;
    sqlite3_bind_int64(mergeGuids_, 1, id);
    while (sqlite3_step(mergeGuids_) == SQLITE_ROW) p.mergeGuids.insert(columnString(mergeGuids_, 0));
    sqlite3_reset(mergeGuids_);
    sqlite3_bind_int64(series_, 1, p.seriesId);
    if (sqlite3_step(series_) == SQLITE_ROW) {
      readSeries(series_, s);
      p.series = &s;
    }
    sqlite3_reset(series_);
    if (p.series && s.standardId) {
      sqlite3_bind_int64(standard_, 1, s.standardId);
      if (sqlite3_step(standard_) == SQLITE_ROW) {
        standard.id = sqlite3_column_int64(standard_, 0);
        standard.name = columnString(standard_, 1);
        s.standard = &standard;
      }
      sqlite3_reset(standard_);
    }
    return true;
  }

  std::vector<std::uint32_t> ids_;
  Sqlite db_;
  sqlite3_stmt* typeId_;
  sqlite3_stmt* rows_[kKinds] = {};
  sqlite3_stmt* mergeGuids_;
  sqlite3_stmt* series_;
  sqlite3_stmt* standard_;
};

// ---- Same rows on both sides ----------------------------------------------------

// Whether the baseline's save wrote exactly the rows ours wrote, GUIDs included.
void checkSameRows(const Files& f) {
  f.freshWork();
  saveRaw(f.work, f.n);
  Sqlite db(f.filled);
  db.exec(("ATTACH DATABASE '" + f.work + "' AS raw").c_str());
  const char* const tables[] = {"tarnlib_ProfileStandard",     "tarnlib_ProfileName",      "tarnlib_Profile",
                                "tarnlib_Profile_merge_guids", "tarnlib_ParametrizedProfile",
                                "tarnlib_IShapeProfile",       "tarnlib_RectangleProfile",
                                "tarnlib_RectangleHollowProfile", "tarnlib_CircleProfile",
                                "tarnlib_CircleHollowProfile"};
  for (const char* table : tables) {
    const std::string t(table);
    sqlite3_stmt* differ = db.prepare(("SELECT count(*) FROM (SELECT * FROM main." + t + " EXCEPT SELECT * FROM raw." +
                                       t + ") UNION ALL SELECT count(*) FROM (SELECT * FROM raw." + t +
                                       " EXCEPT SELECT * FROM main." + t + ")")
                                          .c_str());
    while (sqlite3_step(differ) == SQLITE_ROW)
      if (sqlite3_column_int64(differ, 0) != 0) throw std::runtime_error("the two saves differ in " + t);
    sqlite3_reset(differ);
  }
}

// ---- Runs ---------------------------------------------------------------------

void BM_Save(benchmark::State& state) {
  const Files& f = files();
  paired(
      state, "save",
      [&] {
        f.freshWork();
        return saveOurs(f.work, f.n);
      },
      [&] {
        f.freshWork();
        return saveRaw(f.work, f.n);
      });
}

void BM_LoadAll(benchmark::State& state) {
  paired(state, "load all", LoadAllOurs(files()), LoadAllRaw(files()));
}

void BM_GetById(benchmark::State& state) {
  paired(state, "get by id", GetByIdOurs(files()), GetByIdRaw(files()));
}

BENCHMARK(BM_Save)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadAll)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetById)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Files& f = files();
  std::printf("writing the library to read (%d profiles)...\n", f.n);
  fs::copy_file(f.empty, f.filled, fs::copy_options::overwrite_existing);
  saveOurs(f.filled, f.n);
  try {
    checkSameRows(f);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "the baseline does not do the same row work: %s\n", e.what());
    return 1;
  }

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  tarnlib::bench::printSummary(std::to_string(f.n) + " profiles",
                               {{"save", "save in one transaction", 1.2},
                                {"load all", "load all (get into vector)", 1.25},
                                {"get by id", "get by random id", 1.35}});
  return 0;
}
