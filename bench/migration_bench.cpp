// Opening an old library that holds 100,000 compositions and 100,000 profiles,
// against a raw-SQLite baseline that runs the same steps on a copy of the same
// file: the same CREATE and ALTER statements, the same version bookkeeping and
// the same name-based GUID for every row.
//
// The file is at 1004, the first version that has the profile tables, so that
// both kinds of rows get their GUIDs; every later step runs.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <boost/uuid/detail/sha1.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/schema.h"
#include "tarnlib/library.h"

namespace {

namespace fs = std::filesystem;
using tarnlib::db::Table;

constexpr int kVersion = 1004;
constexpr int kCompositions = 100000;
constexpr int kStandards = 50;
constexpr int kNamesPerStandard = 40;
constexpr int kSizesPerName = 50;  // 50 * 40 * 50 = 100,000 profiles
constexpr const char* kLibraryGuid = "3c1e4b9a-7d2f-4a60-9b8e-5f0d1c2a3b4e";

class Sqlite {
 public:
  explicit Sqlite(const std::string& path, int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) {
    if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) fail("open");
  }
  ~Sqlite() { sqlite3_close_v2(db_); }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  void exec(const std::string& sql) {
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(sql);
  }
  sqlite3_stmt* prepare(const std::string& sql) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) fail(sql);
    return stmt;
  }
  void done(sqlite3_stmt* stmt) {
    if (sqlite3_step(stmt) != SQLITE_DONE) fail(sqlite3_sql(stmt));
    sqlite3_reset(stmt);
  }
  [[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + sqlite3_errmsg(db_));
  }

 private:
  sqlite3* db_ = nullptr;
};

void bindText(sqlite3_stmt* stmt, int index, const std::string& text) {
  sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// The old file: the schema as version 1004 left it, with its rows.
void writeBaseFile(const std::string& path) {
  Sqlite db(path);
  db.exec("BEGIN");
  for (const Table& t : tarnlib::schema::tables()) {
    if (t.since() > kVersion) continue;
    db.exec(t.createSql(kVersion));
    for (const std::string& index : t.indexSql()) db.exec(index);
  }
  db.exec(
      "CREATE TABLE \"schema_version\" (\n  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
      "  \"version\" INTEGER NOT NULL,\n  \"migration\" INTEGER NOT NULL)");
  db.exec("INSERT INTO schema_version VALUES ('tarnlib', " + std::to_string(kVersion) + ", 0)");
  db.exec(std::string("INSERT INTO tarnlib_Meta VALUES (1, '") + kLibraryGuid + "', 1, '', '')");

  sqlite3_stmt* composition = db.prepare(
      "INSERT INTO tarnlib_Composition (name, description, comments) VALUES (?, '', '')");
  for (int i = 0; i < kCompositions; ++i) {
    bindText(composition, 1, "Wall \xC3\xA4 " + std::to_string(i));
    db.done(composition);
  }
  sqlite3_finalize(composition);

  sqlite3_stmt* standard = db.prepare("INSERT INTO tarnlib_ProfileStandard (name) VALUES (?)");
  sqlite3_stmt* name =
      db.prepare("INSERT INTO tarnlib_ProfileName (standard_id, name, type) VALUES (?, ?, 1)");
  sqlite3_stmt* profile = db.prepare(
      "INSERT INTO tarnlib_Profile (typeid, name_id, size, description) "
      "VALUES ('tarnlib::IShapeProfile', ?, ?, '')");
  for (int s = 0; s < kStandards; ++s) {
    bindText(standard, 1, "EN 10365-" + std::to_string(s));
    db.done(standard);
    const sqlite3_int64 standardId = s + 1;
    for (int n = 0; n < kNamesPerStandard; ++n) {
      sqlite3_bind_int64(name, 1, standardId);
      bindText(name, 2, "HE" + std::to_string(n) + "A");
      db.done(name);
    }
  }
  sqlite3_finalize(standard);
  sqlite3_finalize(name);
  // Profile names got ids 1..2000 in order of insertion.
  for (int n = 1; n <= kStandards * kNamesPerStandard; ++n) {
    for (int k = 0; k < kSizesPerName; ++k) {
      sqlite3_bind_int64(profile, 1, n);
      bindText(profile, 2, std::to_string(100 + 20 * k) + "x" + std::to_string(n));
      db.done(profile);
    }
  }
  sqlite3_finalize(profile);
  db.exec("COMMIT");
}

// ---- The baseline: the same work, written directly against SQLite ----------

struct Uuid {
  unsigned char bytes[16];
};

Uuid parseUuid(const std::string& text) {
  Uuid out{};
  std::string digits;
  for (char c : text)
    if (c != '-') digits += c;
  auto hex = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  for (int i = 0; i < 16; ++i)
    out.bytes[i] = static_cast<unsigned char>(hex(digits[2 * i]) << 4 | hex(digits[2 * i + 1]));
  return out;
}

// SHA-1 over the namespace and each UTF-16 code unit of the UTF-8 name widened
// to four bytes; version 5; canonical text.
std::string nameGuid(const Uuid& ns, const unsigned char* name, int length) {
  std::vector<unsigned char> input(ns.bytes, ns.bytes + 16);
  input.reserve(16 + 4 * static_cast<std::size_t>(length));
  auto unit = [&](std::uint32_t u) {
    input.push_back(static_cast<unsigned char>(u & 0xFF));
    input.push_back(static_cast<unsigned char>(u >> 8));
    input.push_back(0);
    input.push_back(0);
  };
  for (int i = 0; i < length;) {
    const unsigned char lead = name[i];
    const int n = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint32_t cp = n == 1 ? lead : lead & (0x7F >> n);
    for (int k = 1; k < n; ++k) cp = cp << 6 | (name[i + k] & 0x3F);
    i += n;
    if (cp > 0xFFFF) {
      unit(0xD800 + ((cp - 0x10000) >> 10));
      unit(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      unit(cp);
    }
  }
  boost::uuids::detail::sha1 sha;
  sha.process_bytes(input.data(), input.size());
  boost::uuids::detail::sha1::digest_type digest;
  sha.get_digest(digest);
  unsigned char b[16];
  for (int i = 0; i < 16; ++i)
    b[i] = static_cast<unsigned char>(digest[i / 4] >> (24 - 8 * (i % 4)));
  b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x50);
  b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80);
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(36);
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
    out += kHex[b[i] >> 4];
    out += kHex[b[i] & 0x0F];
  }
  return out;
}

void assignGuids(Sqlite& db, const char* select, const char* update) {
  sqlite3_stmt* meta = db.prepare("SELECT guid FROM tarnlib_Meta");
  sqlite3_step(meta);
  const Uuid ns = parseUuid(reinterpret_cast<const char*>(sqlite3_column_text(meta, 0)));
  sqlite3_finalize(meta);

  std::vector<std::pair<sqlite3_int64, std::string>> rows;
  sqlite3_stmt* read = db.prepare(select);
  while (sqlite3_step(read) == SQLITE_ROW) {
    const auto* text = sqlite3_column_text(read, 1);
    rows.emplace_back(sqlite3_column_int64(read, 0),
                      nameGuid(ns, text, sqlite3_column_bytes(read, 1)));
  }
  sqlite3_finalize(read);
  sqlite3_stmt* write = db.prepare(update);
  for (const auto& [id, guid] : rows) {
    bindText(write, 1, guid);
    sqlite3_bind_int64(write, 2, id);
    db.done(write);
  }
  sqlite3_finalize(write);
}

std::string alter(const char* table, const std::string& column) {
  return std::string("ALTER TABLE \"") + table + "\"\n  ADD COLUMN " + column;
}

std::map<int, std::vector<std::string>> baselineAlters() {
  std::map<int, std::vector<std::string>> out;
  out[1005] = {alter("tarnlib_BimAsset", "\"union_elevation\" INTEGER NOT NULL DEFAULT 0")};
  out[1006] = {alter("tarnlib_BimAsset",
                     "\"layer_elevation_id\" INTEGER NULL CONSTRAINT \"layer_elevation_id_fk\" "
                     "REFERENCES \"tarnlib_Layer\" (\"id\")")};
  out[1007] = {alter("tarnlib_LShapeProfile", "\"centreOfGravityInY\" REAL NULL")};
  out[1008] = {alter("tarnlib_Composition",
                     "\"composition_type_id\" INTEGER NULL CONSTRAINT \"composition_type_id_fk\" "
                     "REFERENCES \"tarnlib_CompositionType\" (\"id\")")};
  out[1009] = {alter("tarnlib_Profile", "\"offset_x\" REAL NULL DEFAULT 0"),
               alter("tarnlib_Profile", "\"offset_y\" REAL NULL DEFAULT 0")};
  out[1010] = {
      alter("tarnlib_Material", "\"cut_pattern_annotative\" INTEGER NOT NULL DEFAULT 0"),
      alter("tarnlib_Material", "\"surface_pattern_annotative\" INTEGER NOT NULL DEFAULT 0")};
  out[1012] = {alter("tarnlib_Composition", "\"guid\" TEXT NOT NULL DEFAULT ''"),
               alter("tarnlib_Profile", "\"guid\" TEXT NOT NULL DEFAULT ''")};
  for (const char* prefix : {"cut_pattern_", "surface_pattern_"}) {
    const std::string p = std::string("\"") + prefix + "background_color_";
    out[1013].push_back(alter("tarnlib_Material", p + "type\" INTEGER NOT NULL DEFAULT -1"));
    for (const char* part : {"red", "green", "blue", "alpha"})
      out[1013].push_back(alter("tarnlib_Material", p + part + "\" REAL NOT NULL DEFAULT 0"));
  }
  return out;
}

void rawMigration(const std::string& path) {
  static const std::map<int, std::vector<std::string>> alters = baselineAlters();
  Sqlite db(path, SQLITE_OPEN_READWRITE);
  db.exec("PRAGMA foreign_keys=OFF");
  db.exec("BEGIN");
  for (int step = kVersion + 1; step <= tarnlib::schema::kCurrentVersion; ++step) {
    for (const Table& t : tarnlib::schema::tables()) {
      if (t.since() != step) continue;
      db.exec(t.createSql(step));
      for (const std::string& index : t.indexSql()) db.exec(index);
    }
    const auto it = alters.find(step);
    if (it != alters.end())
      for (const std::string& sql : it->second) db.exec(sql);
    db.exec("UPDATE \"schema_version\"\n  SET \"version\" = " + std::to_string(step) +
            ", \"migration\" = 1\n  WHERE \"name\" = 'tarnlib'");
    if (step == 1012) {
      assignGuids(db, "SELECT id, name FROM tarnlib_Composition WHERE guid = ''",
                  "UPDATE tarnlib_Composition SET guid = ? WHERE id = ?");
      assignGuids(
          db,
          "SELECT p.id, coalesce(s.name, '') || coalesce(n.name, '') || p.size "
          "FROM tarnlib_Profile AS p LEFT JOIN tarnlib_ProfileName AS n ON n.id = p.name_id "
          "LEFT JOIN tarnlib_ProfileStandard AS s ON s.id = n.standard_id WHERE p.guid = ''",
          "UPDATE tarnlib_Profile SET guid = ? WHERE id = ?");
    }
    db.exec("UPDATE \"schema_version\"\n  SET \"migration\" = 0\n  WHERE \"name\" = 'tarnlib'");
  }
  db.exec(
      "CREATE TABLE IF NOT EXISTS \"schema_version\" (\n  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
      "  \"version\" INTEGER NOT NULL,\n  \"migration\" INTEGER NOT NULL,\n"
      "  \"compatibility\" INTEGER NOT NULL DEFAULT 0)");
  sqlite3_finalize(db.prepare("SELECT * FROM schema_version"));
  db.exec(
      "ALTER TABLE \"schema_version\"  ADD COLUMN \"compatibility\" INTEGER NOT NULL DEFAULT 0");
  db.exec("UPDATE schema_version  SET compatibility=1000  WHERE name='tarnlib'");
  db.exec("COMMIT");
  db.exec("PRAGMA foreign_keys=ON");
  db.exec("SELECT id, guid, unit, locale, region FROM tarnlib_Meta");
}

// ---- Runs -------------------------------------------------------------------

struct Files {
  fs::path dir;
  std::string base;
  std::string work;

  Files() {
    std::string pattern = (fs::temp_directory_path() / "tarnlib-bench-XXXXXX").string();
    dir = mkdtemp(pattern.data());
    base = (dir / "base.tlib").string();
    work = (dir / "work.tlib").string();
    writeBaseFile(base);
  }
  ~Files() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  void freshCopy() const { fs::copy_file(base, work, fs::copy_options::overwrite_existing); }
};

const Files& files() {
  static const Files instance;
  return instance;
}

template <class Work>
void timeOnCopies(benchmark::State& state, Work work) {
  const Files& f = files();
  for (auto _ : state) {
    f.freshCopy();
    const auto start = std::chrono::steady_clock::now();
    work(f.work);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(elapsed.count());
  }
}

void BM_LibraryOpenMigrates(benchmark::State& state) {
  timeOnCopies(state, [&](const std::string& path) {
    auto library = tarnlib::Library::open(OdString(path));
    if (!library || library->version() != 1013u) state.SkipWithError("migration failed");
  });
}

void BM_RawSqliteBaseline(benchmark::State& state) {
  timeOnCopies(state, [](const std::string& path) { rawMigration(path); });
}

BENCHMARK(BM_LibraryOpenMigrates)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawSqliteBaseline)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

// Prints as usual and keeps each benchmark's time for the ratio.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_Tabular) {}  // no colour codes in logs
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) times[run.benchmark_name()] = run.GetAdjustedRealTime();
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("building the old library (%d compositions, %d profiles)...\n", kCompositions,
              kStandards * kNamesPerStandard * kSizesPerName);
  files();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  double ours = 0;
  double baseline = 0;
  for (const auto& [name, time] : reporter.times) {
    if (name.rfind("BM_LibraryOpenMigrates", 0) == 0) ours = time;
    if (name.rfind("BM_RawSqliteBaseline", 0) == 0) baseline = time;
  }
  if (ours > 0 && baseline > 0) {
    std::printf(
        "\nLibrary::open migrating 1004 -> 1013: %.1f ms; raw SQLite: %.1f ms; ratio %.2fx "
        "(target at most 2x)\n",
        ours, baseline, ours / baseline);
  }
  return 0;
}
