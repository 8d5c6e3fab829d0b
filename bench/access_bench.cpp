// Object access against a raw-SQLite baseline doing the same row work through
// prepared statements in one transaction, on files of the same schema:
//   save     N BIM assets, each with a layer reference and three thicknesses,
//            in one transaction made current around the saves;
//   load all every BIM asset with its layer and thicknesses (get into a vector);
//   get      N assets by random id, one by one, inside one transaction.
// N is 100,000; TARNLIB_BENCH_N sets another (a small one for profiling).
// The objects to save and the baseline's row values are built before the clock
// starts; the baseline keeps its text as UTF-8 where we convert to OdString.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "paired_runs.h"
#include "raw_sqlite.h"
#include "tarnlib/asset.h"
#include "tarnlib/layer.h"
#include "tarnlib/library.h"
#include "tarnlib/transaction.h"

namespace {

using tarnlib::bench::median;
using tarnlib::bench::paired;
using tarnlib::bench::samples;
using tarnlib::bench::Sqlite;
using tarnlib::bench::columnText;

namespace fs = std::filesystem;
using tarnlib::BimAsset;
using tarnlib::Layer;
using tarnlib::Library;
using tarnlib::TnSmartPtr;
using tarnlib::Transaction;

int assetCount() { return tarnlib::bench::objectCount(100000); }

std::string assetName(int i) { return "Brick \xC3\xA4 " + std::to_string(i); }
double thickness(int i, int k) { return 0.05 * (k + 1) + 1e-6 * i; }

// What the baseline reads of one asset: the same values, plain.
struct RawLayer {
  sqlite3_int64 id = 0;
  std::string name;
};
struct RawAsset {
  sqlite3_int64 id = 0;
  std::string name;
  std::string description;
  const RawLayer* layer = nullptr;
  const RawLayer* layerElevation = nullptr;
  bool unionSection = false;
  bool unionElevation = false;
  int defaultFunction = 0;
  bool variableThickness = true;
  std::vector<double> thicknesses;
};

// ---- Files ------------------------------------------------------------------

struct Files {
  fs::path dir;
  std::string empty;   // a new library, no objects
  std::string filled;  // N assets, written by us, read by both sides
  std::string work;
  int n = assetCount();

  Files() {
    std::string pattern = (fs::temp_directory_path() / "tarnlib-bench-XXXXXX").string();
    dir = mkdtemp(pattern.data());
    empty = (dir / "empty.tlib").string();
    filled = (dir / "filled.tlib").string();
    work = (dir / "work.tlib").string();
    if (!Library::create(OdString(empty), tarnlib::LibraryUnit::Millimeter))
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

// ---- Save ---------------------------------------------------------------------

double saveOurs(const std::string& path, int n) {
  auto library = Library::open(OdString(path));
  if (!library) throw std::runtime_error("open");
  TnSmartPtr<const Layer> layer = Layer::create(L"A-WALL-PATT");
  std::vector<TnSmartPtr<BimAsset>> assets;
  assets.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    auto asset = BimAsset::create(OdString(assetName(i)));
    asset->set_layer(layer);
    asset->set_thicknesses() = {thickness(i, 0), thickness(i, 1), thickness(i, 2)};
    assets.push_back(std::move(asset));
  }
  return secondsOf([&] {
    Transaction tx(library, Transaction::kBeginCurrent);
    for (const auto& asset : assets) library->save<BimAsset>(asset);
    tx.commit();
  });
}

double saveRaw(const std::string& path, int n) {
  Sqlite db(path);
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) names.push_back(assetName(i));
  sqlite3_stmt* layer = db.prepare("INSERT INTO tarnlib_Layer (id, name) VALUES (NULL, ?)");
  sqlite3_stmt* root = db.prepare("INSERT INTO tarnlib_Asset (id, typeid) VALUES (NULL, ?)");
  sqlite3_stmt* derived = db.prepare(
      "INSERT INTO tarnlib_BimAsset (id, name, description, layer_id, layer_elevation_id, union_section, "
      "union_elevation, default_function, variable_thickness) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  sqlite3_stmt* thicknessRow =
      db.prepare("INSERT INTO tarnlib_BimAsset_thicknesses (object_id, thickness) VALUES (?, ?)");
  return secondsOf([&] {
    db.exec("BEGIN IMMEDIATE");
    sqlite3_bind_text(layer, 1, "A-WALL-PATT", -1, SQLITE_STATIC);
    db.done(layer);
    const sqlite3_int64 layerId = db.lastId();
    for (int i = 0; i < n; ++i) {
      sqlite3_bind_text(root, 1, "tarnlib::BimAsset", -1, SQLITE_STATIC);
      db.done(root);
      const sqlite3_int64 id = db.lastId();
      sqlite3_bind_int64(derived, 1, id);
      const std::string& name = names[static_cast<std::size_t>(i)];
      sqlite3_bind_text(derived, 2, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
      sqlite3_bind_text(derived, 3, "", 0, SQLITE_STATIC);
      sqlite3_bind_int64(derived, 4, layerId);
      sqlite3_bind_null(derived, 5);
      sqlite3_bind_int(derived, 6, 0);
      sqlite3_bind_int(derived, 7, 0);
      sqlite3_bind_int(derived, 8, 0);
      sqlite3_bind_int(derived, 9, 1);
      db.done(derived);
      for (int k = 0; k < 3; ++k) {
        sqlite3_bind_int64(thicknessRow, 1, id);
        sqlite3_bind_double(thicknessRow, 2, thickness(i, k));
        db.done(thicknessRow);
      }
    }
    db.exec("COMMIT");
  });
}

// ---- Load all -----------------------------------------------------------------

// Each side keeps its connection and statements across runs, as a host would.
class LoadAllOurs {
 public:
  explicit LoadAllOurs(const Files& f) : n_(f.n), library_(Library::open(OdString(f.filled))) {}
  double operator()() {
    std::vector<TnSmartPtr<BimAsset>> assets;
    const double seconds = secondsOf([&] { library_->get<BimAsset>(assets); });
    if (assets.size() != static_cast<std::size_t>(n_) || !assets.back()->layer())
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
      : n_(f.n), db(f.filled),
        rows(db.prepare("SELECT id, name, description, layer_id, layer_elevation_id, union_section, "
                        "union_elevation, default_function, variable_thickness FROM tarnlib_BimAsset "
                        "ORDER BY id")),
        thicknesses(db.prepare("SELECT object_id, thickness FROM tarnlib_BimAsset_thicknesses "
                               "ORDER BY object_id")),
        layers(db.prepare("SELECT id, name FROM tarnlib_Layer ORDER BY id")) {}
  double operator()() {
    std::vector<RawAsset> assets;
    std::map<sqlite3_int64, RawLayer> layerById;
    const double seconds = secondsOf([&] {
      db.exec("BEGIN");
      std::map<sqlite3_int64, std::size_t> index;
      std::vector<std::pair<std::size_t, sqlite3_int64>> layerRefs;
      while (sqlite3_step(rows) == SQLITE_ROW) {
        RawAsset a;
        a.id = sqlite3_column_int64(rows, 0);
        a.name = columnText(rows, 1);
        a.description = columnText(rows, 2);
        if (sqlite3_column_type(rows, 3) != SQLITE_NULL)
          layerRefs.emplace_back(assets.size(), sqlite3_column_int64(rows, 3));
        a.unionSection = sqlite3_column_int(rows, 5) != 0;
        a.unionElevation = sqlite3_column_int(rows, 6) != 0;
        a.defaultFunction = sqlite3_column_int(rows, 7);
        a.variableThickness = sqlite3_column_int(rows, 8) != 0;
        index.emplace(a.id, assets.size());
        assets.push_back(std::move(a));
      }
      sqlite3_reset(rows);
      while (sqlite3_step(thicknesses) == SQLITE_ROW) {
        auto it = index.find(sqlite3_column_int64(thicknesses, 0));
        if (it != index.end())
          assets[it->second].thicknesses.push_back(sqlite3_column_double(thicknesses, 1));
      }
      sqlite3_reset(thicknesses);
      while (sqlite3_step(layers) == SQLITE_ROW) {
        RawLayer l;
        l.id = sqlite3_column_int64(layers, 0);
        l.name = columnText(layers, 1);
        layerById.emplace(l.id, std::move(l));
      }
      sqlite3_reset(layers);
      for (const auto& [position, id] : layerRefs) assets[position].layer = &layerById[id];
      db.exec("COMMIT");
    });
    if (assets.size() != static_cast<std::size_t>(n_) || !assets.back().layer)
      throw std::runtime_error("load all: wrong result");
    return seconds;
  }

 private:
  int n_;
  Sqlite db;
  sqlite3_stmt* rows;
  sqlite3_stmt* thicknesses;
  sqlite3_stmt* layers;
};

// ---- Get by id ----------------------------------------------------------------

class GetByIdOurs {
 public:
  explicit GetByIdOurs(const Files& f) : ids_(randomIds(f.n)), library_(Library::open(OdString(f.filled))) {}
  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      Transaction tx(library_, Transaction::kBeginCurrent);
      for (std::uint32_t id : ids_) found += library_->get<BimAsset>(id) ? 1 : 0;
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
      : ids(randomIds(f.n)), db(f.filled),
        row(db.prepare("SELECT id, name, description, layer_id, layer_elevation_id, union_section, "
                       "union_elevation, default_function, variable_thickness FROM tarnlib_BimAsset "
                       "WHERE id = ?")),
        thicknesses(db.prepare("SELECT thickness FROM tarnlib_BimAsset_thicknesses WHERE object_id = ?")),
        layer(db.prepare("SELECT id, name FROM tarnlib_Layer WHERE id = ?")) {}
  double operator()() {
    std::size_t found = 0;
    const double seconds = secondsOf([&] {
      db.exec("BEGIN");
      for (std::uint32_t id : ids) {
        RawAsset a;
        RawLayer l;
        sqlite3_bind_int64(row, 1, id);
        if (sqlite3_step(row) == SQLITE_ROW) {
          a.id = sqlite3_column_int64(row, 0);
          a.name = columnText(row, 1);
          a.description = columnText(row, 2);
          const bool hasLayer = sqlite3_column_type(row, 3) != SQLITE_NULL;
          const sqlite3_int64 layerId = sqlite3_column_int64(row, 3);
          a.unionSection = sqlite3_column_int(row, 5) != 0;
          a.unionElevation = sqlite3_column_int(row, 6) != 0;
          a.defaultFunction = sqlite3_column_int(row, 7);
          a.variableThickness = sqlite3_column_int(row, 8) != 0;
          sqlite3_reset(row);
          sqlite3_bind_int64(thicknesses, 1, id);
          while (sqlite3_step(thicknesses) == SQLITE_ROW)
            a.thicknesses.push_back(sqlite3_column_double(thicknesses, 0));
          sqlite3_reset(thicknesses);
          if (hasLayer) {
            sqlite3_bind_int64(layer, 1, layerId);
            if (sqlite3_step(layer) == SQLITE_ROW) {
              l.id = sqlite3_column_int64(layer, 0);
              l.name = columnText(layer, 1);
              a.layer = &l;
            }
            sqlite3_reset(layer);
          }
          found += a.layer && a.thicknesses.size() == 3 ? 1 : 0;
        } else {
          sqlite3_reset(row);
        }
        benchmark::DoNotOptimize(a);
      }
      db.exec("COMMIT");
    });
    if (found != ids.size()) throw std::runtime_error("get by id");
    return seconds;
  }

 private:
  std::vector<std::uint32_t> ids;
  Sqlite db;
  sqlite3_stmt* row;
  sqlite3_stmt* thicknesses;
  sqlite3_stmt* layer;
};

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
  std::printf("writing the library to read (%d BIM assets)...\n", f.n);
  fs::copy_file(f.empty, f.filled, fs::copy_options::overwrite_existing);
  saveOurs(f.filled, f.n);

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  tarnlib::bench::printSummary(std::to_string(f.n) + " BIM assets",
                               {{"save", "save in one transaction", 1.2},
                                {"load all", "load all (get into vector)", 1.25},
                                {"get by id", "get by random id", 1.35}});
  return 0;
}
