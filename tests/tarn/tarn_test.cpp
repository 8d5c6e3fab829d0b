// The tarn tool, run as a process the way a user runs it: its subcommands over
// the sample catalogue, the JSON it writes parsed back and checked against the
// other subcommands, and its answers to bad files and bad arguments.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <pugixml.hpp>

#include "support/old_files.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/tarnlib.h"

namespace tarnlib {
namespace {

using nlohmann::json;
using testing::RawDb;
using testing::readBytes;
using testing::TempDir;
using testing::writeBytes;

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

// A tarn process started and not yet waited for.
struct Running {
  pid_t pid = -1;
  std::string outPath;
  std::string errPath;
};

// Starts tarn with `args` in folder `cwd`, capturing both streams in files
// named with `tag` (pipes read one after the other could stall on a large
// output).
Running start(const std::vector<std::string>& args, const std::string& cwd, const std::string& tag = "") {
  Running running;
  running.outPath = cwd + "/.tarn-stdout" + tag;
  running.errPath = cwd + "/.tarn-stderr" + tag;
  running.pid = fork();
  if (running.pid == 0) {
    int out = open(running.outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int err = open(running.errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out < 0 || err < 0 || chdir(cwd.c_str()) != 0) _exit(126);
    dup2(out, 1);
    dup2(err, 2);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(TARN_EXECUTABLE));
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(TARN_EXECUTABLE, argv.data());
    _exit(127);
  }
  return running;
}

Outcome finish(const Running& running) {
  Outcome run;
  int status = 0;
  if (running.pid > 0 && waitpid(running.pid, &status, 0) == running.pid)
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.out = readBytes(running.outPath);
  run.err = readBytes(running.errPath);
  std::filesystem::remove(running.outPath);
  std::filesystem::remove(running.errPath);
  return run;
}

Outcome tarn(const std::vector<std::string>& args, const std::string& cwd) {
  return finish(start(args, cwd));
}

std::string describe(const std::vector<std::string>& args, const Outcome& run) {
  std::string text = "tarn";
  for (const std::string& a : args) text += " '" + a + "'";
  return text + "\nexit " + std::to_string(run.status) + "\nstdout:\n" + run.out + "stderr:\n" + run.err;
}

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::size_t lineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

std::vector<std::string> plus(std::vector<std::string> args, const std::vector<std::string>& more) {
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

// Records by their "name".
std::map<std::string, json> byName(const json& records) {
  std::map<std::string, json> out;
  for (const json& r : records) out[r["name"].get<std::string>()] = r;
  return out;
}

std::string idOf(const json& record) { return std::to_string(record["id"].get<unsigned>()); }

std::set<std::string> entries(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.insert(entry.path().filename().string());
  return names;
}

json sampleData(const std::string& name) {
  std::ifstream in(std::string(TARN_DATA_DIR) + "/" + name);
  return json::parse(in);
}

// The dimensions of every shape as the library lists them, by class name.
template <class S>
std::pair<std::string, std::vector<ParametrizedProfile::Dimension>> dimensionsOf(const char* name) {
  return {name, S::create(TnSmartPtr<ProfileName>(), OdString())->dimensions()};
}
#define TARN_TEST_SHAPE(Class) dimensionsOf<Class>(#Class)

const std::vector<std::pair<std::string, std::vector<ParametrizedProfile::Dimension>>>& everyShape() {
  static const std::vector<std::pair<std::string, std::vector<ParametrizedProfile::Dimension>>> shapes = {
      TARN_TEST_SHAPE(CircleProfile),          TARN_TEST_SHAPE(CircleHollowProfile),
      TARN_TEST_SHAPE(EllipseProfile),         TARN_TEST_SHAPE(RectangleProfile),
      TARN_TEST_SHAPE(RectangleHollowProfile), TARN_TEST_SHAPE(RoundedRectangleProfile),
      TARN_TEST_SHAPE(TrapeziumProfile),       TARN_TEST_SHAPE(CraneRailAShapeProfile),
      TARN_TEST_SHAPE(CraneRailFShapeProfile), TARN_TEST_SHAPE(TShapeProfile),
      TARN_TEST_SHAPE(ZShapeProfile),          TARN_TEST_SHAPE(CShapeProfile),
      TARN_TEST_SHAPE(UShapeProfile),          TARN_TEST_SHAPE(LShapeProfile),
      TARN_TEST_SHAPE(IShapeProfile),          TARN_TEST_SHAPE(AsymmetricIShapeProfile),
  };
  return shapes;
}

const char* const kBusy = "busy: another process is writing to it; try again when it is done";

// Every test starts from its own copy of the sample catalogue, which "tarn
// demo" builds once per process.
class Tarn : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    shared_ = new TempDir;
    demoRun_ = new Outcome(tarn({"demo", shared_->file("demo.sqlite")}, shared_->file("")));
  }
  static void TearDownTestSuite() {
    delete demoRun_;
    delete shared_;
  }

  void SetUp() override {
    ASSERT_EQ(demoRun_->status, 0) << describe({"demo"}, *demoRun_);
    writeBytes(demo, readBytes(shared_->file("demo.sqlite")));
  }

  Outcome run(const std::vector<std::string>& args) { return tarn(args, dir.file("")); }

  // Runs a command that must succeed.
  std::string ok(const std::vector<std::string>& args) {
    Outcome r = run(args);
    EXPECT_EQ(r.status, 0) << describe(args, r);
    return r.out;
  }

  json okJson(const std::vector<std::string>& args) {
    std::string out = ok(args);
    try {
      return json::parse(out);
    } catch (const json::exception& e) {
      ADD_FAILURE() << "not JSON: " << e.what() << "\n" << out;
      return json();
    }
  }

  // A command that must fail with `status` and one line "tarn: SUBJECT: ..."
  // on stderr, nothing on stdout.
  void fails(const std::vector<std::string>& args, int status, const std::string& subject) {
    Outcome r = run(args);
    SCOPED_TRACE(describe(args, r));
    EXPECT_EQ(r.status, status);
    EXPECT_EQ(r.err.rfind("tarn: " + subject + ": ", 0), 0u);
    if (status == 2) {
      EXPECT_EQ(lineCount(r.err), 1u);
    }
    EXPECT_EQ(r.out, "");
  }

  // A command that must fail with status 2 and exactly "tarn: FILE: REASON".
  void failsWith(const std::vector<std::string>& args, const std::string& file, const std::string& reason) {
    Outcome r = run(args);
    SCOPED_TRACE(describe(args, r));
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "tarn: " + file + ": " + reason + "\n");
    EXPECT_EQ(r.out, "");
  }

  std::size_t count(const std::vector<std::string>& args) { return std::stoul(ok(args)); }

  // The id of the sample's object of `type` that `show` finds by `name`.
  std::string idNamed(const std::string& type, const std::string& name) {
    return idOf(okJson({"show", demo, type, name, "--json"}));
  }

  // Names of the materials some composition has a ply of or some profile is made of.
  std::set<std::string> usedMaterials() {
    std::set<std::string> used;
    for (const json& c : okJson({"list", demo, "composition", "--json"}))
      for (const json& ply : c["plies"]) used.insert(ply["material"].get<std::string>());
    for (const json& p : okJson({"list", demo, "profile", "--json"}))
      if (p["material"].is_string()) used.insert(p["material"].get<std::string>());
    return used;
  }

  // A copy of the sample data with some of its files, by name, replaced.
  std::string dataWith(const std::map<std::string, json>& files) {
    const std::string data = dir.file("data");
    std::filesystem::remove_all(data);
    std::filesystem::copy(TARN_DATA_DIR, data);
    for (const auto& [name, content] : files) writeBytes(data + "/" + name, content.dump(1));
    return data;
  }

  TempDir dir;
  std::string demo = dir.file("demo.sqlite");

 private:
  static TempDir* shared_;
  static Outcome* demoRun_;
};

TempDir* Tarn::shared_ = nullptr;
Outcome* Tarn::demoRun_ = nullptr;

// ---- The sample catalogue

TEST_F(Tarn, Demo_BuildsEveryKindOfObjectMaterialsWithTagsPhysicalAndBimData) {
  const json info = okJson({"info", demo, "--json"});
  EXPECT_EQ(info["unit"], "mm");
  EXPECT_EQ(info["schema"], "current");
  const json& n = info["objects"];
  EXPECT_GE(n["Material"].get<int>(), 30);
  EXPECT_GE(n["Composition"].get<int>(), 10);
  for (const char* type : {"Tag", "Layer", "CustomProperty", "MaterialType", "CompositionType"})
    EXPECT_GT(n[type].get<int>(), 0) << type;
  EXPECT_EQ(n["PhysicalAsset"], n["Material"]);
  EXPECT_EQ(n["BimAsset"], n["Material"]);

  const auto types = byName(okJson({"list", demo, "materialtype", "--json"}));
  const auto physical = byName(okJson({"list", demo, "physicalasset", "--json"}));
  const auto bim = byName(okJson({"list", demo, "bimasset", "--json"}));
  int withConductivity = 0;
  for (const json& m : okJson({"list", demo, "material", "--json"})) {
    const std::string name = m["name"];
    SCOPED_TRACE(name);
    EXPECT_TRUE(types.count(m["type"].get<std::string>()));
    EXPECT_FALSE(m["tags"].empty());
    ASSERT_EQ(m["physical_asset"], name);
    ASSERT_EQ(m["bim_asset"], name);
    const json& p = physical.at(name);
    EXPECT_GT(p["density"].get<double>(), 0.0);
    EXPECT_GT(p["specific_heat"].get<double>(), 0.0);
    if (!p["thermal_conductivity"].is_null()) {
      EXPECT_GT(p["thermal_conductivity"].get<double>(), 0.0);
      ++withConductivity;
    }
    const json& b = bim.at(name);
    EXPECT_FALSE(b["thicknesses"].empty());
    EXPECT_TRUE(std::is_sorted(b["thicknesses"].begin(), b["thicknesses"].end()));
    EXPECT_FALSE(b["layer"].is_null());
  }
  EXPECT_GE(withConductivity, 30);
}

TEST_F(Tarn, Demo_CompositionsHaveMarkedCoreAndStructuralPlies) {
  const auto materials = byName(okJson({"list", demo, "material", "--json"}));
  std::set<std::string> kinds;
  for (const json& c : okJson({"list", demo, "composition", "--json"})) {
    SCOPED_TRACE(c["name"].get<std::string>());
    kinds.insert(c["type"].get<std::string>());
    const json& plies = c["plies"];
    ASSERT_GE(plies.size(), 3u);
    for (const json& ply : plies) {
      EXPECT_TRUE(materials.count(ply["material"].get<std::string>()));
      EXPECT_GT(ply["thickness"].get<double>(), 0.0);
    }
    unsigned first = c["first_core_ply"], last = c["last_core_ply"], structural = c["structural_ply"];
    EXPECT_LE(first, structural);
    EXPECT_LE(structural, last);
    EXPECT_LT(last, plies.size());
    EXPECT_FALSE(c["composition_type"].is_null());
  }
  EXPECT_EQ(kinds, (std::set<std::string>{"Wall", "Roof", "Slab"}));
}

TEST_F(Tarn, Demo_ReplacesAFileOnlyWhenForcedAndNoOneElseHasIt) {
  const std::string before = readBytes(demo);
  fails({"demo", demo}, 2, demo);
  EXPECT_EQ(readBytes(demo), before);
  ASSERT_EQ(chmod(demo.c_str(), 0444), 0);
  failsWith({"demo", demo, "--force"}, demo, "is read-only; not replaced");
  EXPECT_TRUE(readBytes(demo) == before);
  ASSERT_EQ(chmod(demo.c_str(), 0644), 0);

  {
    RawDb writer(demo);
    writer.exec("BEGIN IMMEDIATE; UPDATE tarnlib_Meta SET locale = 'fr'");
    failsWith({"demo", demo, "--force"}, demo, kBusy);
    writer.exec("ROLLBACK");
  }
  EXPECT_TRUE(readBytes(demo) == before);
  EXPECT_EQ(entries(dir.file("")), std::set<std::string>{"demo.sqlite"});

  // A reader of a WAL file keeps the WAL beside it, which would be read into a
  // new file put in its place. (Bytes are read before the reader starts: a
  // process closing any handle on a file drops its locks on it.)
  RawDb(demo).exec("PRAGMA journal_mode=WAL");
  const std::string wal = readBytes(demo);
  {
    RawDb reader(demo);
    reader.exec("BEGIN; SELECT count(*) FROM tarnlib_Meta");
    failsWith({"demo", demo, "--force"}, demo,
              "busy: another process has it open; try again when it is done");
    EXPECT_TRUE(readBytes(demo) == wal);
  }
  ok({"demo", demo, "--force"});
  EXPECT_GE(count({"count", demo, "composition"}), 10u);
}

TEST_F(Tarn, Demo_WritesIntoTheCurrentFolderOrIntoMemory) {
  TempDir empty;
  Outcome inMemory = tarn({"demo", "memvfs://sample"}, empty.file(""));
  EXPECT_EQ(inMemory.status, 0) << inMemory.err;
  EXPECT_TRUE(std::filesystem::is_empty(empty.file(""))) << "a memory catalogue left a file";

  Outcome here = tarn({"demo"}, empty.file(""));
  EXPECT_EQ(here.status, 0) << here.err;
  EXPECT_TRUE(std::filesystem::exists(empty.file("tarn-demo.sqlite")));
  EXPECT_NE(here.out.find("tarn info tarn-demo.sqlite"), std::string::npos) << here.out;
}

TEST_F(Tarn, Demo_ForcedRunsAtOnceOnOneFileEachLeaveAFullCatalogue) {
  const json expected = okJson({"info", demo, "--json"})["objects"];
  TempDir folder;
  const std::string file = folder.file("race.sqlite");
  const std::vector<std::string> args = {"demo", file, "--force"};
  for (int round = 0; round < 6; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    Running first = start(args, folder.file(""), "1");
    Running second = start(args, folder.file(""), "2");
    for (const Outcome& r : {finish(first), finish(second)}) {
      SCOPED_TRACE(describe(args, r));
      if (r.status == 0) {
        EXPECT_EQ(r.out.rfind("Built the sample catalogue " + file, 0), 0u);
        EXPECT_EQ(r.err, "");
      } else {
        // The only true reason to refuse: the other one was at the file.
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, "tarn: " + file + ": " + kBusy + "\n");
      }
    }
    EXPECT_EQ(okJson({"info", file, "--json"})["objects"], expected);
    // No temporary file or journal is left behind.
    EXPECT_EQ(entries(folder.file("")), std::set<std::string>{"race.sqlite"});
  }
}

// ---- Queries

TEST_F(Tarn, List_JsonMatchesCountForEachSelectionAndTypeNamesIgnoreCase) {
  for (const std::vector<std::string>& selection : std::vector<std::vector<std::string>>{
           {}, {"--name", "%wool%"}, {"--tag", "insulation"}, {"--tag", "insulation", "--tag", "metal"}}) {
    const json records = okJson(plus({"list", demo, "material", "--json"}, selection));
    SCOPED_TRACE(describe(selection, Outcome{}));
    EXPECT_EQ(records.size(), count(plus({"count", demo, "material"}, selection)));
    EXPECT_FALSE(records.empty());
  }
  for (const json& m : okJson({"list", demo, "material", "--name", "%WOOL%", "--json"}))
    EXPECT_NE(lower(m["name"]).find("wool"), std::string::npos);
  for (const json& m :
       okJson({"list", demo, "material", "--tag", "insulation", "--tag", "metal", "--json"})) {
    std::set<std::string> tags = m["tags"];
    EXPECT_TRUE(tags.count("insulation") || tags.count("metal")) << m["name"];
  }

  const std::string plain = ok({"list", demo, "Composition"});
  EXPECT_EQ(lineCount(plain), count({"count", demo, "composition"}));
  EXPECT_EQ(ok({"list", demo, "composition"}), plain);
  EXPECT_EQ(ok({"list", demo, "COMPOSITION"}), plain);
}

TEST_F(Tarn, Show_ByIdAndByNameGiveTheListedRecordAndTheTextEveryField) {
  const json listed = okJson({"list", demo, "composition", "--json"}).back();
  EXPECT_EQ(okJson({"show", demo, "composition", idOf(listed), "--json"}), listed);
  EXPECT_EQ(okJson({"show", demo, "composition", listed["name"], "--json"}), listed);
  // A name that differs only in case is another name.
  fails({"show", demo, "composition", lower(listed["name"])}, 2, lower(listed["name"]));

  const json record = okJson({"show", demo, "material", "1", "--json"});
  const std::string text = ok({"show", demo, "material", "1"});
  EXPECT_EQ(text.rfind("Material 1\n", 0), 0u) << text;
  for (const auto& [key, value] : record.items()) {
    if (key == "class" || key == "id") continue;
    std::size_t at = text.find("\n  " + key);
    std::size_t after = at + 3 + key.size();
    EXPECT_TRUE(at != std::string::npos && after < text.size() && (text[after] == ' ' || text[after] == '\n'))
        << key << " missing in\n"
        << text;
  }
  EXPECT_NE(text.find(record["physical_asset"].get<std::string>()), std::string::npos);
}

TEST_F(Tarn, Show_AssetRootFindsEveryKindButRefusesAnAmbiguousName) {
  json assets = okJson({"list", demo, "asset", "--json"});
  EXPECT_EQ(assets.size(), count({"count", demo, "physicalasset"}) + count({"count", demo, "bimasset"}) +
                               count({"count", demo, "informationasset"}));
  std::set<std::string> classes;
  for (const json& a : assets) classes.insert(a["class"].get<std::string>());
  EXPECT_EQ(classes, (std::set<std::string>{"PhysicalAsset", "BimAsset"}));

  const json& first = assets.front();
  EXPECT_EQ(okJson({"show", demo, "asset", idOf(first), "--json"}), first);
  // The physical and the BIM asset of a material share its name.
  Outcome r = run({"show", demo, "asset", first["name"]});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("give an id"), std::string::npos) << r.err;
}

TEST_F(Tarn, TextOutput_EscapesControlCharactersFromTheCatalogue) {
  const std::string forged = "Brick\n  99  Forged line";
  const std::string coloured =
      "Red \x1b[31mpaint\\ \xC2\x9B"
      "2J \xE2\x80\xA8"
      "end";
  const std::string property = "Fire\trating";
  std::string file = dir.file("names.sqlite");
  {
    auto library = Library::create(OdString(file), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
    auto type = library->save<MaterialType>(MaterialType::create(OdString("Masonry")));
    auto rating =
        library->save<CustomProperty>(CustomProperty::create(OdString(property), ObjectType::Material));
    auto brick = Material::create(OdString(forged), type);
    brick->set_custom_value(rating, OdString("A1\x07"));
    library->save<Material>(brick);
    library->save<Material>(Material::create(OdString(coloured), type));
  }

  EXPECT_EQ(ok({"list", file, "material"}),
            "1  Brick\\n  99  Forged line\n"
            "2  Red \\x1b[31mpaint\\\\ \\u009b2J \\u2028end\n");
  std::string shown = ok({"show", file, "material", forged});
  EXPECT_NE(shown.find("  Brick\\n  99  Forged line\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("Fire\\trating  A1\\x07\n"), std::string::npos) << shown;
  EXPECT_EQ(ok({"remove", file, "material", "2"}),
            "Material 2 \"Red \\x1b[31mpaint\\\\ \\u009b2J \\u2028end\": removed\n1 removed, 0 not\n");
  // JSON escapes by its own rules and keeps the names exact.
  EXPECT_EQ(okJson({"list", file, "material", "--json"})[0]["name"], forged);
}

// ---- Removal and purge

TEST_F(Tarn, Remove_ReportsEachOutcomeKeepsReferencedObjectsAndNothingGoesForABadId) {
  const std::set<std::string> used = usedMaterials();
  std::string usedId, unusedId;
  for (const json& m : okJson({"list", demo, "material", "--json"}))
    (used.count(m["name"]) ? usedId : unusedId) = idOf(m);
  ASSERT_FALSE(usedId.empty());
  ASSERT_FALSE(unusedId.empty());
  const std::size_t before = count({"count", demo, "material"});
  for (const char* bad : {"x7", "-3", "4294967296"})
    fails({"remove", demo, "material", unusedId, bad}, 2, bad);
  EXPECT_EQ(count({"count", demo, "material"}), before);

  std::map<std::string, std::string> byId;
  for (const json& o : okJson({"remove", demo, "material", usedId, unusedId, "999999", "--json"}))
    byId[idOf(o)] = o["outcome"];
  EXPECT_EQ(byId, (std::map<std::string, std::string>{
                      {usedId, "referenced"}, {unusedId, "removed"}, {"999999", "not_found"}}));
  EXPECT_EQ(count({"count", demo, "material"}), before - 1);
  ok({"show", demo, "material", usedId});
  fails({"show", demo, "material", unusedId}, 2, unusedId);
}

TEST_F(Tarn, Purge_RemovesExactlyTheMaterialsNothingUses) {
  std::set<std::string> used = usedMaterials();
  std::set<std::string> removed, kept;
  for (const json& o : okJson({"purge", demo, "material", "--json"})) {
    EXPECT_EQ(o["class"], "Material");
    (o["outcome"] == "removed" ? removed : kept).insert(o["name"].get<std::string>());
    if (o["outcome"] != "removed") {
      EXPECT_EQ(o["outcome"], "referenced");
    }
  }
  EXPECT_EQ(kept, used);
  EXPECT_FALSE(removed.empty());
  for (const std::string& name : removed) EXPECT_FALSE(used.count(name)) << name;
  EXPECT_EQ(count({"count", demo, "material"}), used.size());
}

TEST_F(Tarn, Purge_OfEveryTypeEmptiesTheSampleCatalogueButTheUnitsItRecords) {
  // The default and column units stay, and their measures: the catalogue's
  // records of them refer to them.
  const json units = sampleData("units.json");
  std::set<std::pair<std::string, std::string>> recorded;  // measure, label
  for (const json& m : units["measures"])
    if (m.contains("default"))
      recorded.insert({m["name"].get<std::string>(), m["default"].get<std::string>()});
  for (const json& c : units["columns"])
    recorded.insert({c["measure"].get<std::string>(), c["unit"].get<std::string>()});
  std::set<std::string> measures;
  for (const auto& [measure, label] : recorded) measures.insert(measure);

  std::set<std::string> kept;
  for (const json& o : okJson({"purge", demo, "--json"})) {
    if (o["outcome"] == "removed") continue;
    EXPECT_EQ(o["outcome"], "referenced") << o;
    kept.insert(o["class"].get<std::string>() + " " + o["name"].get<std::string>());
  }
  std::set<std::string> expected;
  for (const auto& [measure, label] : recorded) expected.insert("Unit " + label);
  for (const std::string& measure : measures) expected.insert("Measure " + measure);
  EXPECT_EQ(kept, expected);
  const json counts = okJson({"info", demo, "--json"})["objects"];
  for (const auto& [type, n] : counts.items()) {
    if (type == "Unit")
      EXPECT_EQ(n, recorded.size());
    else if (type == "Measure")
      EXPECT_EQ(n, measures.size());
    else
      EXPECT_EQ(n, 0) << type;
  }
}

// ---- Profiles

TEST_F(Tarn, Demo_BuildsEverySectionOfTheProfileDataUnderItsSeries) {
  const json data = sampleData("profiles.json");
  std::map<std::string, std::size_t> perClass;
  std::size_t total = 0;
  for (const json& s : data["series"]) {
    perClass[s["shape"]] += s["sections"].size();
    total += s["sections"].size();
  }
  ASSERT_GT(total, 0u);

  // Each profile is counted once, under its own class.
  const json n = okJson({"info", demo, "--json"})["objects"];
  EXPECT_EQ(n["ProfileStandard"], data["standards"].size());
  EXPECT_EQ(n["ProfileName"], data["series"].size());
  EXPECT_EQ(n["CustomProfile"], 0);
  std::size_t shapes = 0;
  for (const auto& [shape, dimensions] : everyShape()) {
    EXPECT_EQ(n[shape], perClass[shape]) << shape;
    shapes += n[shape].get<std::size_t>();
  }
  EXPECT_EQ(shapes, total);
  EXPECT_EQ(count({"count", demo, "profile"}), total);
  EXPECT_EQ(count({"count", demo, "parametrizedprofile"}), total);

  std::map<std::pair<std::string, std::string>, json> bySeriesAndSize;
  for (const json& p : okJson({"list", demo, "profile", "--json"}))
    bySeriesAndSize[{p["series"], p["size"]}] = p;
  ASSERT_EQ(bySeriesAndSize.size(), total);
  for (const json& s : data["series"]) {
    for (const json& row : s["sections"]) {
      SCOPED_TRACE(row.dump());
      const json& p = bySeriesAndSize.at({s["name"], row[0]});
      EXPECT_EQ(p["class"], s["shape"]);
      EXPECT_EQ(p["standard"], s.value("standard", json()));
      EXPECT_EQ(p["type"], s["type"]);
      EXPECT_EQ(p["material"], s.value("material", json()));
      EXPECT_EQ(p["unit"], "mm");
      EXPECT_TRUE(p["offset"].is_null());
      const json& names = s["dimensions"];
      for (std::size_t c = 0; c < names.size(); ++c)
        EXPECT_EQ(p["dimensions"][names[c].get<std::string>()], row[c + 1].get<double>()) << names[c];
      // The nominal mass has no field of its own: the description carries it.
      const std::string description = p["description"];
      if (s.value("mass", false)) {
        const std::string prefix = "Nominal mass ", suffix = " kg/m";
        ASSERT_EQ(description.rfind(prefix, 0), 0u) << description;
        ASSERT_EQ(description.substr(description.size() - suffix.size()), suffix);
        EXPECT_EQ(std::stod(description.substr(prefix.size())), row.back().get<double>());
      } else {
        EXPECT_EQ(description, "");
      }
    }
  }
}

TEST_F(Tarn, Demo_SetsEveryDimensionOfEveryShapeByItsName) {
  // Per shape two series: one giving every dimension, each its own value, and
  // one giving only the required ones and the mass, without standard or material.
  const char* const types[] = {"Generic", "StructuralConcrete", "StructuralSteel", "HVAC",
                               "Piping",  "Electrical"};
  json profiles = {{"standards", json::array({{{"name", "Test standard"}}})}, {"series", json::array()}};
  std::map<std::string, json> expected;  // the records by size text, as far as the series decides them
  double value = 1.25;
  for (const auto& [shape, dimensions] : everyShape()) {
    for (const bool all : {true, false}) {
      const std::string name = shape + (all ? " full" : " required");
      const std::string type = types[profiles["series"].size() % 6];
      json series = {{"name", name}, {"type", type}, {"shape", shape}, {"dimensions", json::array()}};
      json row = json::array({name});
      json record = {{"class", shape},      {"series", name},
                     {"standard", nullptr}, {"type", type},
                     {"material", nullptr}, {"description", all ? "" : "Nominal mass 12.5 kg/m"}};
      if (all) {
        series["standard"] = record["standard"] = "Test standard";
        series["material"] = record["material"] = "Structural steel";
      }
      for (const ParametrizedProfile::Dimension& d : dimensions) {
        record["dimensions"][d.name] = nullptr;
        if (!all && d.optional) continue;
        series["dimensions"].push_back(d.name);
        row.push_back(value);
        record["dimensions"][d.name] = value;
        value += 1.0;
      }
      if (!all) {
        series["mass"] = true;
        row.push_back(12.5);
      }
      series["sections"] = json::array({row});
      profiles["series"].push_back(series);
      expected[name] = record;
    }
  }

  const std::string file = dir.file("shapes.sqlite");
  ok({"demo", file, "--data", dataWith({{"profiles.json", profiles}})});
  json listed = okJson({"list", file, "parametrizedprofile", "--json"});
  ASSERT_EQ(listed.size(), expected.size());
  for (const json& p : listed) {
    SCOPED_TRACE(p.dump());
    json got = json::object();
    for (const char* key : {"class", "series", "standard", "type", "material", "description", "dimensions"})
      got[key] = p[key];
    EXPECT_EQ(got, expected.at(p["size"]));
  }
}

TEST_F(Tarn, Show_AProfileGivesEveryFieldAndEachDimensionWithTheUnitOrAbsent) {
  const std::string file = dir.file("inch.sqlite");
  std::string beamId, otherId, sketchId;
  {
    auto library = Library::create(OdString(file), LibraryUnit::Inch);
    ASSERT_TRUE(library);
    auto metals = library->save<MaterialType>(MaterialType::create(OdString("Metal")));
    auto steel = library->save<Material>(Material::create(OdString("Steel"), metals));
    auto w = ProfileName::create(ProfileStandard::create(OdString("AISC")), OdString("W"),
                                 ProfileType::StructuralSteel);
    auto beam = IShapeProfile::create(w, OdString("W8x10"));
    beam->set_overall_width(3.94);
    beam->set_overall_depth(7.89);
    beam->set_web_thickness(0.17);
    beam->set_flange_thickness(0.205);
    beam->set_description(OdString("Light beam"));
    beam->set_material(steel);
    beam->set_offset(Vector2d{1.5, -2.0});
    beam->set_guid(Guid(OdString("4b7009ef-0317-4504-a674-282d1b5bb08f")));
    beam->set_merge_guids().insert(Guid(OdString("9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10")));
    beamId = std::to_string(library->save<IShapeProfile>(beam)->id());
    // The same size text in another series.
    auto other = IShapeProfile::create(ProfileName::create(OdString("Other")), OdString("W8x10"));
    otherId = std::to_string(library->save<IShapeProfile>(other)->id());
    auto sketch = CustomProfile::create(ProfileName::create(OdString("Sketches")), OdString("Hook"));
    sketch->set_geometry(OdString("M 0 0\nL 4 0\x1b[2J"));
    sketch->set_guid(Guid(OdString("0d1e5a3c-0b7b-4c4e-9a40-3f0f5e1b7a11")));
    sketchId = std::to_string(library->save<CustomProfile>(sketch)->id());
  }

  const std::string beamText = "IShapeProfile " + beamId +
                               "\n  series       W\n"
                               "  standard     AISC\n"
                               "  type         StructuralSteel\n"
                               "  size         W8x10\n"
                               "  description  Light beam\n"
                               "  material     Steel\n"
                               "  offset\n"
                               "    x  1.5 in\n"
                               "    y  -2 in\n"
                               "  guid         4b7009ef-0317-4504-a674-282d1b5bb08f\n"
                               "  merge_guids  9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10\n"
                               "  dimensions\n"
                               "    overallWidth     3.94 in\n"
                               "    overallDepth     7.89 in\n"
                               "    webThickness     0.17 in\n"
                               "    flangeThickness  0.205 in\n"
                               "    filletRadius     absent\n";
  EXPECT_EQ(ok({"show", file, "profile", beamId}), beamText);
  EXPECT_EQ(ok({"show", file, "ishapeprofile", beamId}), beamText);
  // A custom profile's outline is text from the catalogue, escaped as the rest.
  EXPECT_EQ(ok({"show", file, "customprofile", "Hook"}),
            "CustomProfile " + sketchId +
                "\n  series       Sketches\n"
                "  standard     -\n"
                "  type         Generic\n"
                "  size         Hook\n"
                "  description  \n"
                "  material     -\n"
                "  offset       absent\n"
                "  guid         0d1e5a3c-0b7b-4c4e-9a40-3f0f5e1b7a11\n"
                "  merge_guids  (none)\n"
                "  geometry     M 0 0\\nL 4 0\\x1b[2J\n");

  json record = okJson({"show", file, "parametrizedprofile", beamId, "--json"});
  EXPECT_EQ(record["unit"], "in");
  EXPECT_EQ(record["offset"], (json{{"x", 1.5}, {"y", -2.0}}));
  EXPECT_TRUE(record["dimensions"]["filletRadius"].is_null());
  EXPECT_EQ(record["dimensions"].size(), 5u);
  EXPECT_EQ(okJson({"show", file, "customprofile", sketchId, "--json"})["geometry"], "M 0 0\nL 4 0\x1b[2J");

  // By size text when only one profile of the class has it; else by id.
  EXPECT_EQ(okJson({"list", file, "profile", "--json"})[2],
            okJson({"show", file, "profile", "Hook", "--json"}));
  Outcome ambiguous = run({"show", file, "ishapeprofile", "W8x10"});
  EXPECT_EQ(ambiguous.err, "tarn: W8x10: 2 IShapeProfile objects have that name (ids " + beamId + ", " +
                               otherId + "); give an id\n");
  fails({"show", file, "circleprofile", beamId}, 2, beamId);
  fails({"show", file, "customprofile", "W8x10"}, 2, "W8x10");
}

TEST_F(Tarn, List_ProfilesBySizeSeriesAndStandardAgreeInTextJsonAndCount) {
  auto text = [](const json& p, const char* key) {
    return p[key].is_string() ? p[key].get<std::string>() : "";
  };
  auto endsWith = [](const std::string& s, const std::string& end) {
    return s.size() >= end.size() && s.compare(s.size() - end.size(), end.size(), end) == 0;
  };
  struct Case {
    std::string type;  // as the records name it; the command line gets it in lower case
    std::vector<std::string> selection;
    std::function<bool(const json&)> selects;
  };
  const std::vector<Case> cases = {
      {"IShapeProfile", {"--series", "IPE"}, [&](const json& p) { return text(p, "series") == "IPE"; }},
      {"Profile",
       {"--standard", "EN 10210%"},
       [&](const json& p) { return text(p, "standard") == "EN 10210-2"; }},
      {"ParametrizedProfile",
       {"--name", "%X16"},
       [&](const json& p) { return endsWith(text(p, "size"), "x16"); }},
      {"Profile",
       {"--series", "he_", "--name", "%1000"},
       [&](const json& p) {
         return text(p, "series").rfind("HE", 0) == 0 && endsWith(text(p, "size"), " 1000");
       }},
      {"CircleProfile",
       {"--standard", "EN 10210-2"},
       [&](const json& p) { return p["class"] == "CircleHollowProfile"; }},
      {"RectangleProfile",
       {"--series", "%"},
       [&](const json& p) {
         return p["class"] == "RectangleProfile" || p["class"] == "RectangleHollowProfile";
       }},
      {"LShapeProfile", {"--series", "IPE"}, [](const json&) { return false; }},
  };
  const json all = okJson({"list", demo, "profile", "--json"});
  for (const Case& c : cases) {
    const std::vector<std::string> list = plus({"list", demo, lower(c.type)}, c.selection);
    SCOPED_TRACE(describe(list, Outcome{}));

    std::vector<unsigned> expected;
    for (const json& p : all)
      if (c.selects(p)) expected.push_back(p["id"]);
    const json records = okJson(plus(list, {"--json"}));
    std::vector<unsigned> ids;
    for (const json& p : records) ids.push_back(p["id"]);
    EXPECT_EQ(ids, expected);
    EXPECT_EQ(count(plus({"count", demo, lower(c.type)}, c.selection)), expected.size());

    // The plain list, made from the picker query, says the same as the records.
    std::size_t width = 1;
    for (unsigned id : ids) width = std::max(width, std::to_string(id).size());
    std::string lines;
    for (const json& p : records) {
      const std::string id = idOf(p);
      lines += std::string(width - id.size(), ' ') + id + "  " + text(p, "size");
      if (p["class"] != c.type) lines += "  (" + p["class"].get<std::string>() + ")";
      lines += "\n";
    }
    EXPECT_EQ(ok(list), lines);
  }

  // Series by their standard, standards by their name.
  const json data = sampleData("profiles.json");
  std::set<std::string> expectedSeries;
  for (const json& s : data["series"])
    if (s.value("standard", "") == "EN 10365") expectedSeries.insert(s["name"].get<std::string>());
  std::set<std::string> series;
  for (const json& s : okJson({"list", demo, "profilename", "--standard", "en 10365", "--json"})) {
    EXPECT_EQ(s["standard"], "EN 10365");
    series.insert(s["name"].get<std::string>());
  }
  EXPECT_EQ(series, expectedSeries);
  EXPECT_EQ(count({"count", demo, "ProfileStandard", "--name", "EN 10%"}), data["standards"].size());

  // A selection the type cannot have is a usage error.
  for (const std::vector<std::string>& usage :
       {std::vector<std::string>{"list", demo, "profilename", "--series", "IPE"},
        {"count", demo, "profilestandard", "--series", "IPE"},
        {"list", demo, "material", "--series", "IPE"},
        {"list", demo, "profilestandard", "--standard", "EN%"},
        {"count", demo, "composition", "--standard", "EN%"}})
    fails(usage, 1, usage[3]);
}

TEST_F(Tarn, Remove_ProfilesThroughTheirClassOrTheRootAndKeepsSeriesInUse) {
  const json ipe = okJson({"list", demo, "ishapeprofile", "--series", "IPE", "--json"});
  const json hollow = okJson({"list", demo, "circlehollowprofile", "--json"});
  ASSERT_GE(ipe.size(), 2u);
  ASSERT_FALSE(hollow.empty());
  const std::size_t before = count({"count", demo, "profile"});
  const std::string first = idOf(ipe[0]), second = idOf(ipe[1]), tube = idOf(hollow[0]);

  // A class removes only its own kind; a base class or the root removes any.
  std::map<std::string, std::string> byId;
  for (const json& o : okJson({"remove", demo, "ishapeprofile", first, tube, "--json"})) {
    EXPECT_EQ(o["class"], "IShapeProfile");
    byId[idOf(o)] = o["outcome"];
  }
  EXPECT_EQ(byId, (std::map<std::string, std::string>{{first, "removed"}, {tube, "not_found"}}));
  EXPECT_EQ(
      ok({"remove", demo, "profile", second}),
      "Profile " + second + " \"" + ipe[1]["size"].get<std::string>() + "\": removed\n1 removed, 0 not\n");
  EXPECT_EQ(okJson({"remove", demo, "circleprofile", tube, "--json"})[0]["outcome"], "removed");
  EXPECT_EQ(count({"count", demo, "profile"}), before - 3);
  fails({"show", demo, "profile", first}, 2, first);

  // A series stays while a profile of it is left.
  const std::string seriesId = idNamed("profilename", "IPE");
  EXPECT_EQ(ok({"remove", demo, "profilename", seriesId}),
            "ProfileName " + seriesId + " \"IPE\": kept, still referenced\n0 removed, 1 not\n");
  std::vector<std::string> rest = {"remove", demo, "profile"};
  for (std::size_t i = 2; i < ipe.size(); ++i) rest.push_back(idOf(ipe[i]));
  ok(rest);
  EXPECT_EQ(count({"count", demo, "profile", "--series", "IPE"}), 0u);
  EXPECT_EQ(okJson({"remove", demo, "profilename", seriesId, "--json"})[0]["outcome"], "removed");
}

// ---- Units

TEST_F(Tarn, Units_OfTheSampleAreThoseOfItsDataInJsonAndText) {
  const json data = sampleData("units.json");
  const json listed = okJson({"units", demo, "--json"});
  ASSERT_EQ(listed["measures"].size(), data["measures"].size());
  std::size_t units = 0;
  for (std::size_t i = 0; i < data["measures"].size(); ++i) {
    const json& want = data["measures"][i];
    const json& got = listed["measures"][i];
    SCOPED_TRACE(want["name"].get<std::string>());
    EXPECT_EQ(got["name"], want["name"]);
    EXPECT_EQ(got["description"], want.value("description", ""));
    EXPECT_EQ(got["exponents"], want["exponents"]);
    EXPECT_EQ(got["default"], want.value("default", json()));
    ASSERT_EQ(got["units"].size(), want["units"].size());
    for (std::size_t j = 0; j < want["units"].size(); ++j) {
      const json& u = got["units"][j];
      EXPECT_EQ(u["name"], want["units"][j].value("name", json()));
      EXPECT_EQ(u["label"], want["units"][j]["label"]);
      EXPECT_EQ(u["scale"].get<double>(), want["units"][j]["scale"].get<double>());
      EXPECT_EQ(u["default"], u["label"] == want.value("default", json()));
    }
    units += want["units"].size();
  }
  EXPECT_EQ(std::set<json>(listed["columns"].begin(), listed["columns"].end()),
            std::set<json>(data["columns"].begin(), data["columns"].end()));
  const json n = okJson({"info", demo, "--json"})["objects"];
  EXPECT_EQ(n["Measure"], data["measures"].size());
  EXPECT_EQ(n["Unit"], units);

  const std::string text = ok({"units", demo});
  for (const char* lines : {"Density (kg\u00b7m\u207b\u00b3)\n"
                            "  kg/m\u00b3   kilogram per cubic metre   1                   default\n"
                            "  g/cm\u00b3   gram per cubic centimetre  1000\n"
                            "  lb/ft\u00b3  pound per cubic foot       16.018463373960138\n"
                            "Specific heat capacity (m\u00b2\u00b7s\u207b\u00b2\u00b7K\u207b\u00b9)\n",
                            "Plane angle (dimensionless)\n"
                            "  rad  radian  1\n"
                            "  deg  degree  0.017453292519943295  default\n",
                            "\nColumn units\n", "  tarnlib_CircleProfile.radius                      mm\n",
                            "  tarnlib_PhysicalAsset.thermal_conductivity        W/(m\u00b7K)\n"})
    EXPECT_NE(text.find(lines), std::string::npos) << lines << "\nnot in\n" << text;
  // Every measure once, in the order of the data, and then the columns.
  std::size_t at = 0;
  for (const json& m : data["measures"]) {
    // "\n" before the text: the first header starts it.
    at = ("\n" + text).find("\n" + m["name"].get<std::string>() + " (", at);
    ASSERT_NE(at, std::string::npos) << m["name"];
  }
  EXPECT_LT(at, ("\n" + text).find("\nColumn units\n"));
}

TEST_F(Tarn, Units_WritesDimensionsInBaseUnitsUnnamedUnitsAndAnEmptyCatalogue) {
  const std::string file = dir.file("units.sqlite");
  {
    auto library = Library::create(OdString(file), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
    auto power = library->save<Measure>(Measure::create(OdString("Power density"), -1, 1, -3, 0, 0, 0, 0));
    library->save<Measure>(Measure::create(OdString("Odd"), 12, 0, 0, -10, 1, 2, -1));
    auto ratio = library->save<Measure>(Measure::create(OdString("Ratio"), 0, 0, 0, 0, 0, 0, 0));
    library->save<Unit>(Unit::create(OdString("watt per cubic metre"), OdString("W/m^3"), 1, power));
    auto kilowatt = library->save<Unit>(Unit::create(OdString("kW/m^3"), 1000, power));
    library->setDefaultUnit(kilowatt);
    library->save<Unit>(Unit::create(OdString("%"), 0.01, ratio));
    library->setColumnUnit(OdString("tarnlib_Custom"), OdString("heat"), kilowatt);
  }
  EXPECT_EQ(ok({"units", file}),
            "Power density (kg\u00b7m\u207b\u00b9\u00b7s\u207b\u00b3)\n"
            "  W/m\u00b3   watt per cubic metre  1\n"
            "  kW/m\u00b3  -                     1000  default\n"
            "Odd (m\u00b9\u00b2\u00b7A\u00b7cd\u00b2\u00b7K\u207b\u00b9\u2070\u00b7mol\u207b\u00b9)\n"
            "Ratio (dimensionless)\n"
            "  %  -  0.01\n"
            "\nColumn units\n"
            "  tarnlib_Custom.heat  kW/m\u00b3\n");
  const json listed = okJson({"units", file, "--json"});
  EXPECT_EQ(listed["measures"][0]["default"], "kW/m^3");
  EXPECT_EQ(listed["measures"][0]["units"][1]["name"], nullptr);
  EXPECT_EQ(listed["measures"][1]["units"], json::array());
  EXPECT_EQ(listed["columns"], json::array({{{"table", "tarnlib_Custom"},
                                             {"column", "heat"},
                                             {"measure", "Power density"},
                                             {"unit", "kW/m^3"}}}));

  const std::string empty = dir.file("empty.sqlite");
  ok({"create", empty});
  EXPECT_EQ(ok({"units", empty}), "");
  EXPECT_EQ(okJson({"units", empty, "--json"}),
            (json{{"measures", json::array()}, {"columns", json::array()}}));
}

TEST_F(Tarn, Show_WritesEachValueWithTheDisplayLabelOfItsColumnUnit) {
  const std::string file = dir.file("columns.sqlite");
  std::string tubeId, beamId, assetId;
  {
    auto library = Library::create(OdString(file), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
    auto length = library->save<Measure>(Measure::create(OdString("Length"), 1, 0, 0, 0, 0, 0, 0));
    auto density = library->save<Measure>(Measure::create(OdString("Density"), -3, 1, 0, 0, 0, 0, 0));
    auto cm = library->save<Unit>(Unit::create(OdString("cm"), 0.01, length));
    auto inch = library->save<Unit>(Unit::create(OdString("in"), 0.0254, length));
    auto metre = library->save<Unit>(Unit::create(OdString("m"), 1, length));
    auto kgPerM3 = library->save<Unit>(Unit::create(OdString("kg/m^3"), 1, density));
    // A hollow circle's radius is stored with the circle's, its wall with its own.
    library->setColumnUnit(OdString("tarnlib_CircleProfile"), OdString("radius"), cm);
    library->setColumnUnit(OdString("tarnlib_CircleHollowProfile"), OdString("wallThickness"), inch);
    library->setColumnUnit(OdString("tarnlib_CircleHollowProfile"), OdString("radius"), metre);
    library->setColumnUnit(OdString("tarnlib_IShapeProfile"), OdString("overallDepth"), cm);
    library->setColumnUnit(OdString("tarnlib_AsymmetricIShapeProfile"), OdString("topFlangeWidth"), inch);
    library->setColumnUnit(OdString("tarnlib_AsymmetricIShapeProfile"), OdString("overallWidth"), metre);
    library->setColumnUnit(OdString("tarnlib_PhysicalAsset"), OdString("density"), kgPerM3);

    auto tube = CircleHollowProfile::create(ProfileName::create(OdString("Tubes")), OdString("T1"));
    tube->set_radius(5);
    tube->set_wall_thickness(0.25);
    tube->set_guid(Guid(OdString("4b7009ef-0317-4504-a674-282d1b5bb08f")));
    tubeId = std::to_string(library->save<CircleHollowProfile>(tube)->id());
    auto beam = AsymmetricIShapeProfile::create(ProfileName::create(OdString("Beams")), OdString("B1"));
    beam->set_overall_depth(30);
    beam->set_top_flange_width(4);
    beamId = std::to_string(library->save<AsymmetricIShapeProfile>(beam)->id());
    auto asset = PhysicalAsset::create(OdString("Clay"));
    asset->set_density(1800);
    asset->set_specific_heat(900);
    assetId = std::to_string(library->save<PhysicalAsset>(asset)->id());
  }

  EXPECT_EQ(ok({"show", file, "circlehollowprofile", "T1"}),
            "CircleHollowProfile " + tubeId +
                "\n  series       Tubes\n"
                "  standard     -\n"
                "  type         Generic\n"
                "  size         T1\n"
                "  description  \n"
                "  material     -\n"
                "  offset       absent\n"
                "  guid         4b7009ef-0317-4504-a674-282d1b5bb08f\n"
                "  merge_guids  (none)\n"
                "  dimensions\n"
                "    radius         5 cm\n"
                "    wallThickness  0.25 in\n");
  EXPECT_EQ(okJson({"show", file, "circleprofile", tubeId, "--json"})["units"],
            (json{{"radius", "cm"}, {"wallThickness", "in"}}));
  // Inherited dimensions by their base's table; one without a unit in the
  // catalogue's length unit.
  const json beamRecord = okJson({"show", file, "profile", beamId, "--json"});
  EXPECT_EQ(beamRecord["units"], (json{{"overallDepth", "cm"}, {"topFlangeWidth", "in"}}));
  const std::string beamText = ok({"show", file, "profile", beamId});
  for (const char* line : {"\n    overallWidth           0 mm\n", "\n    overallDepth           30 cm\n",
                           "\n    topFlangeWidth         4 in\n", "\n    filletRadius           absent\n"})
    EXPECT_NE(beamText.find(line), std::string::npos) << line << "\nnot in\n" << beamText;

  EXPECT_EQ(ok({"show", file, "physicalasset", "Clay"}), "PhysicalAsset " + assetId +
                                                             "\n  name                  Clay\n"
                                                             "  description           \n"
                                                             "  density               1800 kg/m\u00b3\n"
                                                             "  specific_heat         900\n"
                                                             "  thermal_conductivity  -\n");
  EXPECT_EQ(okJson({"show", file, "asset", assetId, "--json"})["units"], (json{{"density", "kg/m^3"}}));
}

// ---- Property definitions

TEST_F(Tarn, Demo_BuildsThePropertySetsOfThePropertyDataWithSharedDefinitions) {
  const json data = sampleData("property_sets.json");
  std::map<std::pair<std::string, std::string>, json> definitions;  // by namespace and name, as first given
  for (const json& s : data["sets"])
    for (const json& p : s["properties"]) definitions.emplace(std::make_pair(s["namespace"], p["name"]), p);

  const json n = okJson({"info", demo, "--json"})["objects"];
  EXPECT_EQ(n["PropertyNamespace"], data["namespaces"].size());
  EXPECT_EQ(n["EntityType"], data["entity_types"].size());
  EXPECT_EQ(n["PropertyDefinition"], definitions.size());
  EXPECT_EQ(n["ValueDefinition"], 0);
  EXPECT_EQ(n["PropertySet"], data["sets"].size());
  EXPECT_EQ(count({"count", demo, "abstractdefinition"}), definitions.size());

  const auto sets = byName(okJson({"list", demo, "propertyset", "--json"}));
  std::map<std::pair<std::string, std::string>, unsigned> ids;
  for (const json& want : data["sets"]) {
    SCOPED_TRACE(want["name"].get<std::string>());
    const json& got = sets.at(want["name"]);
    EXPECT_EQ(got["namespace"], want["namespace"]);
    EXPECT_EQ(got["ifc_name"], want.value("ifc_name", json()));
    EXPECT_EQ(got["per_instance"], want.value("per_instance", false));
    EXPECT_EQ(got["entity_types"], want["entity_types"]);
    ASSERT_EQ(got["definitions"].size(), want["properties"].size());
    for (std::size_t i = 0; i < want["properties"].size(); ++i) {
      const json& p = want["properties"][i];
      const json& d = got["definitions"][i];
      SCOPED_TRACE(p.dump());
      EXPECT_EQ(d["class"], "PropertyDefinition");
      EXPECT_EQ(d["name"], p["name"]);
      const std::string structure = p.value("structure", "Single");
      EXPECT_EQ(d["type"], structure + (structure == "Map" ? " " + p["key"].get<std::string>() : "") + " " +
                               p["type"].get<std::string>());
      EXPECT_EQ(d["unit"], p.value("unit", json()));
      if (p.contains("default"))
        EXPECT_EQ(json::parse(d["default_value"].get<std::string>()), p["default"]);
      else
        EXPECT_EQ(d["default_value"], nullptr);
      // A name of a namespace is one definition, whichever set lists it.
      const unsigned id = d["id"];
      EXPECT_EQ(ids.emplace(std::make_pair(want["namespace"], p["name"]), id).first->second, id);
    }
  }
  for (const json& d : okJson({"list", demo, "propertydefinition", "--json"}))
    EXPECT_EQ(d["description"], definitions.at({d["namespace"], d["name"]}).value("description", ""));
}

TEST_F(Tarn, Show_APropertySetListsItsEntityTypesAndItsDefinitionsInOrder) {
  const json roof = okJson({"show", demo, "propertyset", "Pset_RoofCommon", "--json"});
  EXPECT_EQ(ok({"show", demo, "propertyset", "Pset_RoofCommon"}),
            "PropertySet " + idOf(roof) +
                "\n  namespace     IFC common property sets\n"
                "  name          Pset_RoofCommon\n"
                "  label         -\n"
                "  ifc_name      Pset_RoofCommon\n"
                "  per_instance  yes\n"
                "  visible       yes\n"
                "  entity_types  IfcRoof\n"
                "  definitions\n"
                "   0  Reference             property  Single String  -         -\n"
                "   1  Status                property  Single String  -         -\n"
                "   2  AcousticRating        property  Single String  -         -\n"
                "   3  FireRating            property  Single String  -         -\n"
                "   4  IsExternal            property  Single Bool    -         false\n"
                "   5  ThermalTransmittance  property  Single Double  W/(m\u00b2\u00b7K)  -\n");

  // Both kinds of definition, the structures, defaults of every kind, and a
  // set without definitions.
  const std::string file = dir.file("sets.sqlite");
  std::string doorId, emptyId;
  {
    auto library = Library::create(OdString(file), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
    auto ns = PropertyNamespace::create(OdString("Acme"), OdString("AC"));
    auto length = Measure::create(OdString("Length"), 1, 0, 0, 0, 0, 0, 0);
    auto mm = library->save<Unit>(Unit::create(OdString("mm"), 0.001, length));
    auto door = PropertySet::create(ns, OdString("Acme_Door"));
    door->set_label(OdString("Door data"));
    door->insert_entity_type(OdString("IfcDoor"));
    door->insert_entity_type(OdString("IfcWindow"));
    auto width =
        door->append_property_definition(OdString("Width"), PropertyType::Single(PropertyType::Double));
    width->set_unit(mm);
    width->set_default_value(912.5);
    door->append_property_definition(OdString("Tags"), PropertyType::Array(PropertyType::String))
        ->set_default_value(OdString("[\"a\", \"b\"]"));
    door->append_value_definition(OdString("Kind"),
                                  PropertyType::Map(PropertyType::String, PropertyType::Int32));
    door->append_property_definition(OdString("Note"), PropertyType::Single(PropertyType::String))
        ->set_default_value(OdString("\"n/a\""));
    doorId = std::to_string(library->save<PropertySet>(door)->id());
    emptyId =
        std::to_string(library->save<PropertySet>(PropertySet::create(ns, OdString("Acme_Empty")))->id());
  }
  EXPECT_EQ(ok({"show", file, "propertyset", "Acme_Door"}),
            "PropertySet " + doorId +
                "\n  namespace     Acme\n"
                "  name          Acme_Door\n"
                "  label         Door data\n"
                "  ifc_name      -\n"
                "  per_instance  no\n"
                "  visible       yes\n"
                "  entity_types  IfcDoor, IfcWindow\n"
                "  definitions\n"
                "   0  Width  property  Single Double     mm  912.5\n"
                "   1  Tags   property  Array String      -   [\"a\", \"b\"]\n"
                "   2  Kind   value     Map String Int32  -   -\n"
                "   3  Note   property  Single String     -   \"n/a\"\n");
  EXPECT_EQ(ok({"show", file, "propertyset", emptyId}), "PropertySet " + emptyId +
                                                            "\n  namespace     Acme\n"
                                                            "  name          Acme_Empty\n"
                                                            "  label         -\n"
                                                            "  ifc_name      -\n"
                                                            "  per_instance  no\n"
                                                            "  visible       yes\n"
                                                            "  entity_types  (none)\n"
                                                            "  definitions  (none)\n");
  const json kinds = okJson({"show", file, "propertyset", doorId, "--json"})["definitions"];
  EXPECT_EQ(kinds[1], (json{{"class", "PropertyDefinition"},
                            {"id", kinds[1]["id"]},
                            {"name", "Tags"},
                            {"type", "Array String"},
                            {"unit", nullptr},
                            {"default_value", "[\"a\", \"b\"]"}}));
  EXPECT_EQ(kinds[2]["class"], "ValueDefinition");
  EXPECT_EQ(ok({"list", file, "abstractdefinition", "--name", "%t%"}),
            "1  Width  (PropertyDefinition)\n2  Tags  (PropertyDefinition)\n4  Note  (PropertyDefinition)\n");
  EXPECT_EQ(okJson({"show", file, "valuedefinition", "Kind", "--json"})["type"], "Map String Int32");
  EXPECT_EQ(okJson({"show", file, "propertydefinition", "Width", "--json"})["unit"], "mm");
}

TEST_F(Tarn, PropertyTypes_AreListedCountedFoundAndRemovedLikeEveryType) {
  const json units = sampleData("units.json");
  const json data = sampleData("property_sets.json");

  // Units by their label, in any ASCII case.
  std::size_t kg = 0;
  for (const json& m : units["measures"])
    for (const json& u : m["units"]) kg += lower(u["label"]).rfind("kg", 0) == 0 ? 1 : 0;
  EXPECT_EQ(count({"count", demo, "unit", "--name", "KG%"}), kg);
  EXPECT_EQ(lineCount(ok({"list", demo, "unit", "--name", "kg%"})), kg);
  const json transmittance = okJson({"show", demo, "unit", "W/(m^2.K)", "--json"});
  EXPECT_EQ(transmittance["measure"], "Thermal transmittance");
  EXPECT_EQ(transmittance["display"], "W/(m\u00b2\u00b7K)");
  EXPECT_EQ(okJson({"show", demo, "measure", "Density", "--json"})["default_unit"], "kg/m^3");

  // Sets through their entity types' names, definitions through the root.
  EXPECT_EQ(count({"count", demo, "propertyset", "--name", "Pset_Material%"}), 3u);
  const std::string definitions = ok({"list", demo, "abstractdefinition"});
  EXPECT_EQ(lineCount(definitions), count({"count", demo, "propertydefinition"}));
  EXPECT_NE(definitions.find("  IsExternal  (PropertyDefinition)\n"), std::string::npos) << definitions;
  EXPECT_EQ(ok({"list", demo, "valuedefinition"}), "");

  // A set whose properties are partly its own and partly shared with others.
  std::size_t chosen = data["sets"].size();
  std::set<std::string> own, shared;
  for (std::size_t i = 0; i < data["sets"].size() && chosen == data["sets"].size(); ++i) {
    own.clear();
    shared.clear();
    for (const json& p : data["sets"][i]["properties"]) {
      bool elsewhere = false;
      for (std::size_t j = 0; j < data["sets"].size(); ++j)
        for (const json& q : data["sets"][j]["properties"])
          elsewhere = elsewhere || (j != i && q["name"] == p["name"] &&
                                    data["sets"][j]["namespace"] == data["sets"][i]["namespace"]);
      (elsewhere ? shared : own).insert(p["name"].get<std::string>());
    }
    if (!own.empty() && !shared.empty()) chosen = i;
  }
  ASSERT_LT(chosen, data["sets"].size());
  const json set = okJson({"show", demo, "propertyset", data["sets"][chosen]["name"], "--json"});
  const std::string setId = idOf(set);
  std::vector<std::string> removeDefinitions = {"remove", demo, "propertydefinition", "--json"};
  for (const json& d : set["definitions"]) removeDefinitions.push_back(idOf(d));
  const std::string entityType = idNamed("entitytype", set["entity_types"][0]);
  const std::string ns = idNamed("propertynamespace", set["namespace"]);
  auto outcomes = [&](const std::vector<std::string>& args) {
    std::map<std::string, std::string> byName;
    for (const json& o : okJson(args)) byName[o["name"]] = o["outcome"];
    return byName;
  };

  // Whatever a set still uses stays.
  std::map<std::string, std::string> expected;
  for (const json& d : set["definitions"]) expected[d["name"]] = "referenced";
  EXPECT_EQ(outcomes(removeDefinitions), expected);
  EXPECT_EQ(outcomes({"remove", demo, "entitytype", entityType, "--json"}),
            (std::map<std::string, std::string>{{set["entity_types"][0], "referenced"}}));
  EXPECT_EQ(outcomes({"remove", demo, "propertynamespace", ns, "--json"}),
            (std::map<std::string, std::string>{{set["namespace"], "referenced"}}));

  // Without the set, only the definitions other sets share stay.
  EXPECT_EQ(
      ok({"remove", demo, "propertyset", setId}),
      "PropertySet " + setId + " \"" + set["name"].get<std::string>() + "\": removed\n1 removed, 0 not\n");
  expected.clear();
  for (const std::string& name : own) expected[name] = "removed";
  for (const std::string& name : shared) expected[name] = "referenced";
  EXPECT_EQ(outcomes(removeDefinitions), expected);
  EXPECT_EQ(count({"count", demo, "abstractdefinition"}), count({"count", demo, "propertydefinition"}));

  // A unit the catalogue records as a default stays; one nothing uses goes.
  EXPECT_EQ(outcomes({"remove", demo, "unit", idNamed("unit", "mm"), idNamed("unit", "yd"), "--json"}),
            (std::map<std::string, std::string>{{"mm", "referenced"}, {"yd", "removed"}}));
  EXPECT_EQ(outcomes({"remove", demo, "measure", idNamed("measure", "Length"), "--json"}),
            (std::map<std::string, std::string>{{"Length", "referenced"}}));
}

// ---- Malformed sample data

// One change to a data file: the entry at `pointer` (a JSON pointer; "-"
// appends) gets `value`, or with kErase goes.
struct Spoil {
  std::string file;
  std::string pointer;
  json value;
  std::string reason;  // after "tarn: DATA/FILE: "
};
const json kErase = json(json::value_t::discarded);

json spoiled(json data, const Spoil& spoil) {
  const json::json_pointer at(spoil.pointer);
  if (!spoil.value.is_discarded()) {
    data[at] = spoil.value;
  } else if (json& parent = data[at.parent_pointer()]; parent.is_array()) {
    parent.erase(std::stoul(at.back()));
  } else {
    parent.erase(at.back());
  }
  return data;
}

TEST_F(Tarn, Demo_MalformedDataNamesTheEntryAndLeavesNoCatalogue) {
  // Small data files that refer to each other and to the sample materials, by name.
  const auto good = json::parse(R"({
    "profiles.json": {
      "standards": [ { "name": "EN 10365" } ],
      "series": [ { "name": "IPE", "standard": "EN 10365", "type": "StructuralSteel", "shape": "IShapeProfile",
                    "material": "Structural steel", "mass": true,
                    "dimensions": [ "overallDepth", "overallWidth", "webThickness", "flangeThickness",
                                    "filletRadius" ],
                    "sections": [ [ "IPE 80", 80, 46, 3.8, 5.2, 5, 6.0 ],
                                  [ "IPE 100", 100, 55, 4.1, 5.7, 7, 8.1 ] ] } ] },
    "units.json": {
      "measures": [
        { "name": "Length", "description": "Distance", "exponents": [1, 0, 0, 0, 0, 0, 0],
          "units": [ { "name": "millimetre", "label": "mm", "scale": 0.001 },
                     { "name": "metre", "label": "m", "scale": 1 } ],
          "default": "mm" },
        { "name": "Density", "exponents": [-3, 1, 0, 0, 0, 0, 0],
          "units": [ { "name": "kilogram per cubic metre", "label": "kg/m^3", "scale": 1 } ],
          "default": "kg/m^3" } ],
      "columns": [ { "table": "tarnlib_PhysicalAsset", "column": "density", "measure": "Density",
                     "unit": "kg/m^3" } ] },
    "property_sets.json": {
      "namespaces": [ { "name": "Common", "label": "C" } ],
      "entity_types": [ "IfcWall", "IfcSlab" ],
      "sets": [
        { "name": "Pset_WallCommon", "namespace": "Common", "ifc_name": "Pset_WallCommon",
          "entity_types": [ "IfcWall" ], "per_instance": true,
          "properties": [ { "name": "IsExternal", "type": "Bool", "default": false, "description": "Outside" },
                          { "name": "Width", "type": "Double", "unit": "mm" } ] },
        { "name": "Pset_SlabCommon", "namespace": "Common", "entity_types": [ "IfcSlab" ],
          "properties": [ { "name": "IsExternal", "type": "Bool", "default": false, "description": "Outside" },
                          { "name": "Layers", "type": "Int8", "structure": "Array", "default": [1, 2] } ] } ] }
  })")
                        .get<std::map<std::string, json>>();
  TempDir out;
  const std::string file = out.file("small.sqlite");
  ok({"demo", file, "--data", dataWith(good)});
  EXPECT_EQ(count({"count", file, "profile"}), 2u);
  EXPECT_EQ(count({"count", file, "unit"}), 3u);
  EXPECT_EQ(okJson({"show", file, "physicalasset", "1", "--json"})["units"], (json{{"density", "kg/m^3"}}));
  EXPECT_EQ(count({"count", file, "propertydefinition"}), 3u);
  EXPECT_EQ(okJson({"show", file, "propertydefinition", "Layers", "--json"})["default_value"], "[1,2]");
  std::filesystem::remove(file);

  const std::string ipe = "series[0] (\"IPE\")", row = ipe + ".sections[1] (\"IPE 100\")";
  const std::string length = "measures[0] (\"Length\")";
  const std::string exponents =
      ": \"exponents\" needs 7 whole numbers: the powers of length, mass, time, temperature, current, "
      "luminous intensity and amount of substance";
  const std::string wall = "sets[0] (\"Pset_WallCommon\")", slab = "sets[1] (\"Pset_SlabCommon\")";
  const std::string external = wall + ".properties[0] (\"IsExternal\")";
  const std::string width = wall + ".properties[1] (\"Width\")";
  const std::string shared = "; the sets of a namespace share one definition of a name";
  const json isExternal = good.at("property_sets.json")["sets"][0]["properties"][0];
  const std::vector<Spoil> spoils = {
      {"profiles.json", "/series/0/shape", "IBeam",
       ipe + ": unknown shape \"IBeam\"; the shapes are CircleProfile, CircleHollowProfile, EllipseProfile, "
             "RectangleProfile, RectangleHollowProfile, RoundedRectangleProfile, TrapeziumProfile, "
             "CraneRailAShapeProfile, CraneRailFShapeProfile, TShapeProfile, ZShapeProfile, CShapeProfile, "
             "UShapeProfile, LShapeProfile, IShapeProfile, AsymmetricIShapeProfile"},
      {"profiles.json", "/series/0/dimensions/0", "depth",
       ipe + ": IShapeProfile has no dimension \"depth\"; its dimensions are overallWidth, overallDepth, "
             "webThickness, flangeThickness, filletRadius"},
      {"profiles.json", "/series/0/dimensions/1", "overallDepth",
       ipe + ": the dimension \"overallDepth\" is given twice"},
      {"profiles.json", "/series/0/dimensions/3", kErase,
       ipe + ": IShapeProfile needs the dimension \"flangeThickness\""},
      {"profiles.json", "/series/0/sections/1/6", kErase,
       row + ": has 6 values; needs 7 values: the size text, 5 dimensions and the mass"},
      {"profiles.json", "/series/0/mass", false,
       ipe + ".sections[0] (\"IPE 80\"): has 7 values; needs 6 values: the size text, 5 dimensions"},
      {"profiles.json", "/series/0/sections/1/3", "4.1", row + ".webThickness: needs a number"},
      {"profiles.json", "/series/0/sections/1/6", nullptr, row + ".mass: needs a number"},
      {"profiles.json", "/series/0/sections/1/0", 100,
       ipe + ".sections[1]: needs an array that starts with the size text"},
      {"profiles.json", "/series/0/sections/1/0", "IPE 80",
       ipe + ".sections[1] (\"IPE 80\"): the size is given twice in its series"},
      {"profiles.json", "/series/0/material", "Unobtainium", ipe + ": unknown material \"Unobtainium\""},
      {"profiles.json", "/series/0/standard", "EN 9999", ipe + ": unknown standard \"EN 9999\""},
      {"profiles.json", "/series/0/type", "Steel", ipe + ": unknown profile type \"Steel\""},
      {"profiles.json", "/series/0/mass", "yes", ipe + ": \"mass\" needs true or false"},
      {"units.json", "/measures/0/exponents", json::array({1, 0, 0}), length + exponents},
      {"units.json", "/measures/0/exponents/1", 0.5, length + exponents},
      {"units.json", "/measures/1/name", "Length", "measures[1] (\"Length\"): the measure is given twice"},
      {"units.json", "/measures/0/units/1/scale", 0,
       length + ".units[1] (\"m\").scale: needs a positive number"},
      {"units.json", "/measures/0/units/1/scale", "1", length + ".units[1] (\"m\").scale: needs a number"},
      {"units.json", "/measures/0/units/1/label", kErase, length + ".units[1]: needs a text \"label\""},
      {"units.json", "/measures/0/units/1/label", "mm",
       length + ".units[1] (\"mm\"): the label is given twice in its measure"},
      {"units.json", "/measures/1/units/0/name", "metre",
       "measures[1] (\"Density\").units[0] (\"kg/m^3\"): the unit name \"metre\" is given twice"},
      {"units.json", "/measures/0/default", "km", length + ": the default \"km\" is not one of its units"},
      {"units.json", "/columns/0/unit", "g/cm^3",
       "columns[0] (\"tarnlib_PhysicalAsset.density\"): the measure \"Density\" has no unit \"g/cm^3\""},
      {"units.json", "/columns/0/measure", "Mass",
       "columns[0] (\"tarnlib_PhysicalAsset.density\"): unknown measure \"Mass\""},
      {"units.json", "/columns/-", good.at("units.json")["columns"][0],
       "columns[1] (\"tarnlib_PhysicalAsset.density\"): the column is given twice"},
      {"units.json", "/columns/0/table", kErase, "columns[0]: needs a text \"table\""},
      {"units.json", "/columns", kErase, "top level: needs an array \"columns\""},
      {"property_sets.json", "/sets/0/properties/0/type", "Boolean",
       external + ": unknown type \"Boolean\"; the types are Any, Bool, Int8, UInt8, Int16, UInt16, Int32, "
                  "UInt32, Int64, UInt64, Double, String, Handle, ObjectId, Vector2d, Point2d, Vector3d, "
                  "Point3d, Binary"},
      {"property_sets.json", "/sets/0/properties/0/structure", "List",
       external + ": unknown structure \"List\"; it is Single, Array or Map"},
      {"property_sets.json", "/sets/0/properties/0/structure", "Map", external + ": needs a text \"key\""},
      {"property_sets.json", "/sets/0/properties/0/key", "String", external + ": \"key\" is for a Map only"},
      {"property_sets.json", "/sets/0/properties/0/default", "no",
       external + ": the default \"no\" is not of the type Single Bool"},
      {"property_sets.json", "/sets/1/properties/1/default", json::array({1, 200}),
       slab + ".properties[1] (\"Layers\"): the default [1,200] is not of the type Array Int8"},
      {"property_sets.json", "/sets/0/properties/0/unit", "mm", external + ": a unit needs a number type"},
      {"property_sets.json", "/sets/0/properties/1/unit", "furlong", width + ": unknown unit \"furlong\""},
      {"property_sets.json", "/sets/0/properties/1/measure", "Density",
       width + ": the measure \"Density\" has no unit \"mm\""},
      {"property_sets.json", "/sets/1/properties/0/default", true,
       slab + ".properties[0] (\"IsExternal\"): its default differs from " + external + shared},
      {"property_sets.json", "/sets/1/properties/0/description", "Exterior",
       slab + ".properties[0] (\"IsExternal\"): its description differs from " + external + shared},
      {"property_sets.json", "/sets/0/properties/-", isExternal,
       wall + ".properties[2] (\"IsExternal\"): the property is given twice in its set"},
      {"property_sets.json", "/sets/0/entity_types/0", "IfcWal", wall + ": unknown entity type \"IfcWal\""},
      {"property_sets.json", "/sets/0/entity_types/-", "IfcWall",
       wall + ": the entity type \"IfcWall\" is given twice"},
      {"property_sets.json", "/sets/0/namespace", "Pset", wall + ": unknown namespace \"Pset\""},
      {"property_sets.json", "/sets/1/name", "Pset_WallCommon",
       "sets[1] (\"Pset_WallCommon\"): the set is given twice in its namespace"},
      {"property_sets.json", "/sets/0/per_instance", "yes", wall + ": \"per_instance\" needs true or false"},
      {"property_sets.json", "/entity_types/-", "IfcWall", "entity_types: \"IfcWall\" is given twice"},
      {"property_sets.json",
       "/namespaces/-",
       {{"name", "Other"}, {"label", "C"}},
       "namespaces[1] (\"Other\"): the label \"C\" is given twice"},
      {"compositions.json", "/compositions/0/plies/0/material", "Unobtainium",
       "compositions[0] (\"External wall, concrete with EPS insulation\").plies[0]: unknown material "
       "\"Unobtainium\""},
  };
  for (const Spoil& s : spoils) {
    std::map<std::string, json> files = good;
    files[s.file] = spoiled(good.count(s.file) ? good.at(s.file) : sampleData(s.file), s);
    const std::string data = dataWith(files);
    SCOPED_TRACE(s.file + s.pointer);
    failsWith({"demo", file, "--data", data}, data + "/" + s.file, s.reason);
    EXPECT_TRUE(entries(out.file("")).empty());
  }

  // A label two measures have needs its measure where a property gives it.
  std::map<std::string, json> files = good;
  files["units.json"]["measures"][1]["units"].push_back({{"name", "odd"}, {"label", "mm"}, {"scale", 1}});
  std::string data = dataWith(files);
  failsWith({"demo", file, "--data", data}, data + "/property_sets.json",
            width + ": the unit \"mm\" belongs to several measures (Density, Length); give its \"measure\"");
  EXPECT_TRUE(entries(out.file("")).empty());
  files["property_sets.json"]["sets"][0]["properties"][1]["measure"] = "Length";
  ok({"demo", file, "--data", dataWith(files)});
  EXPECT_EQ(okJson({"show", file, "propertydefinition", "Width", "--json"})["unit"], "mm");
  std::filesystem::remove(file);

  // A file that is not JSON.
  for (const char* name : {"profiles.json", "layers.json"}) {
    data = dataWith(good);
    writeBytes(data + "/" + name, "{ \"entries\": [");
    fails({"demo", file, "--data", data}, 2, data + "/" + name);
    EXPECT_TRUE(entries(out.file("")).empty());
  }
}

// ---- XML exchange

// The first line where two documents differ, with its number; empty when none
// does (a whole document in a failure message would bury it).
std::string firstDifference(const std::string& a, const std::string& b) {
  std::istringstream left(a), right(b);
  std::string x, y;
  for (int line = 1;; ++line) {
    const bool more = static_cast<bool>(std::getline(left, x)),
               moreToo = static_cast<bool>(std::getline(right, y));
    if (!more && !moreToo) return "";
    if (more != moreToo || x != y) return "line " + std::to_string(line) + ": " + x + " | " + y;
  }
}

// Text of Latin-1 range characters in UTF-8, as UTF-16LE with its byte order mark.
std::string utf16le(const std::string& utf8) {
  std::string out = "\xFF\xFE";
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    unsigned cp = static_cast<unsigned char>(utf8[i]);
    if (cp >= 0xC0) cp = (cp & 0x1F) << 6 | (static_cast<unsigned char>(utf8[++i]) & 0x3F);
    out += static_cast<char>(cp & 0xFF);
    out += static_cast<char>(cp >> 8);
  }
  return out;
}

TEST_F(Tarn, Xml_TheSampleCatalogueRoundTripsWholeByName) {
  ok({"export", demo, "sample.xml", "--by-name"});
  const std::string document = readBytes(dir.file("sample.xml"));
  EXPECT_EQ(ok({"export", demo, "-", "--by-name"}), document);

  const std::string copy = dir.file("copy.sqlite");
  ok({"create", copy});
  const Outcome imported = run({"import", copy, "sample.xml"});
  ASSERT_EQ(imported.status, 0) << imported.err;
  // No message, and no progress off a terminal.
  EXPECT_EQ(imported.err, "");
  const json objects = okJson({"info", demo, "--json"})["objects"];
  EXPECT_EQ(okJson({"info", copy, "--json"})["objects"], objects);
  // What it added, per type in the order of info, then the sum.
  const auto ordered = nlohmann::ordered_json::parse(ok({"info", demo, "--json"}))["objects"];
  std::size_t width = 0, total = 0;
  for (const auto& [type, n] : ordered.items()) width = std::max(width, n > 0 ? type.size() : 0);
  std::string expected;
  for (const auto& [type, n] : ordered.items()) {
    if (n > 0) expected += type + std::string(width + 2 - type.size(), ' ') + n.dump() + "\n";
    total += n.get<std::size_t>();
  }
  EXPECT_EQ(imported.out, expected + std::to_string(total) + " objects imported; 0 warnings, 0 errors\n");

  // Object for object the same: the two catalogues write the same document.
  ok({"export", demo, "from-sample.xml", "--by-name", "--no-meta"});
  ok({"export", copy, "from-copy.xml", "--by-name", "--no-meta"});
  EXPECT_EQ(firstDifference(readBytes(dir.file("from-sample.xml")), readBytes(dir.file("from-copy.xml"))),
            "");
}

TEST_F(Tarn, Xml_ExportWritesWhatIsAskedForOrLeavesTheOutputAsItWas) {
  const json info = okJson({"info", demo, "--json"});
  struct Case {
    std::vector<std::string> options;
    std::map<std::string, std::size_t> elements;  // the root's children
    std::string meta;                             // its children's texts
  };
  std::map<std::string, std::size_t> profiles;  // every class of profile the sample has
  for (const auto& [type, n] : info["objects"].items())
    if (type.size() > 7 && type.compare(type.size() - 7, 7, "Profile") == 0 && n > 0)
      profiles[lower(type)] = n;
  const std::string meta = "unit=Millimeter locale= region=";
  const std::vector<Case> cases = {
      {{"--type", "layer"}, {{"layer", info["objects"]["Layer"]}, {"meta", 1}}, meta},
      {{"--type", "Profile", "--no-meta"}, profiles, ""},
      {{"--object", "Profile:" + idNamed("profile", "IPE 80"), "--object", "material:1", "--guid"},
       {{"ishapeprofile", 1}, {"material", 1}, {"meta", 1}},
       "unit=Millimeter guid=" + info["guid"].get<std::string>() + " locale= region="},
  };
  for (const Case& c : cases) {
    const std::vector<std::string> args = plus({"export", demo}, c.options);
    SCOPED_TRACE(describe(args, Outcome{}));
    pugi::xml_document document;
    const std::string text = ok(args);
    ASSERT_TRUE(document.load_string(text.c_str()));
    EXPECT_EQ(text.rfind("<?xml version=\"1.0\"?>\n<tarnlibrary ", 0), 0u);
    std::map<std::string, std::size_t> elements;
    for (pugi::xml_node child : document.document_element().children()) ++elements[child.name()];
    EXPECT_EQ(elements, c.elements);
    std::string got;
    for (pugi::xml_node child : document.document_element().child("meta").children())
      got += (got.empty() ? "" : " ") + std::string(child.name()) + "=" + child.text().get();
    EXPECT_EQ(got, c.meta);
  }

  // A failed export writes nothing, not even a part.
  const std::string out = dir.file("out.xml");
  writeBytes(out, "old");
  struct Failing {
    std::vector<std::string> args;
    int status;
    std::string subject;
  };
  const std::vector<Failing> failing = {
      {{"export", demo, out, "--object", "Profile:99999"}, 2, "Profile:99999"},
      {{"export", demo, out, "--object", "Profile"}, 2, "Profile"},
      {{"export", demo, out, "--type", "widget"}, 2, "widget"},
      {{"export", dir.file("missing.sqlite"), out}, 2, dir.file("missing.sqlite")},
      {{"export", demo, demo}, 2, demo},
      {{"export", demo, dir.file("nowhere/out.xml")}, 2, dir.file("nowhere/out.xml")},
      {{"export", demo, out, "--type", "tag", "--object", "tag:1"}, 1, "--object"},
      {{"export", demo, out, "--guid", "--no-meta"}, 1, "--guid"},
  };
  const std::string sample = readBytes(demo);
  for (const Failing& c : failing) {
    fails(c.args, c.status, c.subject);
    EXPECT_EQ(readBytes(out), "old");
    EXPECT_EQ(entries(dir.file("")), (std::set<std::string>{"demo.sqlite", "out.xml"}));
  }
  EXPECT_TRUE(readBytes(demo) == sample);
}

TEST_F(Tarn, Xml_ImportReportsEachProblemAtItsLineAndColumn) {
  // Line 3 gives the other length unit (converted, not reported), line 4 an
  // element of no type after a two-byte character, line 5 a material of a
  // type that does not exist.
  writeBytes(dir.file("in.xml"),
             "<?xml version=\"1.0\"?>\n<tarnlibrary>\n"
             "  <meta><unit>Inch</unit></meta>\n"
             "  <tag>Z\xC3\xBCrich</tag><gadget/>\n"
             "  <material><name>Clay</name><type name=\"Nope\"/></material>\n"
             "</tarnlibrary>\n");
  const std::string unknown = "in.xml:4:21: warning: Unknown object type 'gadget'\n";
  const std::string error = "in.xml:5:31: error: Could not find referenced object 'type' with name 'Nope'\n";
  struct Case {
    std::string option;
    int status;
    std::string out, err;
  };
  // The ones that keep nothing first.
  const std::vector<Case> cases = {
      {"--dry-run", 0, "Tag  1\n1 object would be imported; 1 warning, 1 error; nothing kept (--dry-run)\n",
       unknown + error},
      {"--strict", 2, "", unknown + error + "tarn: in.xml: 1 error; nothing imported (--strict)\n"},
      {"--type=Layer", 0, "0 objects imported; 1 warning, 0 errors\n", unknown},
      {"", 0, "Tag  1\n1 object imported; 1 warning, 1 error\n", unknown + error},
  };
  const std::string before = readBytes(demo);
  const std::size_t tags = count({"count", demo, "tag"});
  for (const Case& c : cases) {
    std::vector<std::string> args = {"import", demo, "in.xml"};
    if (!c.option.empty()) args.push_back(c.option);
    const Outcome r = run(args);
    SCOPED_TRACE(describe(args, r));
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(r.err, c.err);
    if (!c.option.empty()) {
      EXPECT_TRUE(readBytes(demo) == before);
    }
  }
  EXPECT_EQ(count({"count", demo, "tag"}), tags + 1);
  EXPECT_NE(ok({"list", demo, "tag", "--name", "Z%rich"}).find("  Z\xC3\xBCrich\n"), std::string::npos);
  EXPECT_EQ(count({"count", demo, "material", "--name", "Clay"}), 0u);
}

TEST_F(Tarn, Xml_ImportOfABrokenDocumentChangesNothing) {
  const std::string bom = "\xEF\xBB\xBF";
  const std::string property =
      "<tarnlibrary><tag>Kept?</tag><propertynamespace><name>NS</name></propertynamespace>\n"
      "<propertydefinition><namespace name=\"NS\"/><name>Broken</name>"
      "<type><structure>Single</structure><value_type>Bool</value_type></type>"
      "<default_value>{not json</default_value></propertydefinition></tarnlibrary>";
  // Columns count characters, lines end at LF or CR LF, whatever the encoding.
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"mismatch.xml", "<tarnlibrary>\n  <tag>A</tag>\n  <tag>B</tag></tarnlibrar>",
       "mismatch.xml:3:17: not well-formed XML: Start-end tags mismatch"},
      {"crlf.xml", bom + "<tarnlibrary>\r\n  <tag>\xC3\x84</tag>\r\n  <tag>\xC3\x84</tarnlibrary>",
       "crlf.xml:3:11: not well-formed XML: Start-end tags mismatch"},
      {"utf16.xml", utf16le("<tarnlibrary>\r\n  <tag>\xC3\x84</tag>\r\n  <tag>\xC3\x84</tarnlibrary>"),
       "utf16.xml:3:11: not well-formed XML: Start-end tags mismatch"},
      {"empty.xml", "", "empty.xml:1:1: not well-formed XML: No document element found"},
      {"missing.xml", "", "tarn: missing.xml: cannot be read: No such file or directory"},
      {"property.xml", property,
       "tarn: property.xml: a property value cannot be read (fail to read the string into json::wmValue); "
       "nothing imported"},
  };
  const std::string before = readBytes(demo);
  for (const auto& [name, content, message] : cases) {
    if (name != "missing.xml") writeBytes(dir.file(name), content);
    const std::vector<std::string> args = {"import", demo, name};
    const Outcome r = run(args);
    SCOPED_TRACE(describe(args, r));
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, message + "\n");
    EXPECT_EQ(r.out, "");
  }
  EXPECT_TRUE(readBytes(demo) == before);
}

// ---- Copy and sync between catalogues

// Lines of a text, without their newlines.
std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST_F(Tarn, Copy_BringsWhatAMaterialRefersToOnceAndReusesItOnTheNextCopy) {
  const std::string dest = dir.file("dest.sqlite");
  ok({"create", dest});
  const auto materials = okJson({"list", demo, "material", "--json"});
  // Two materials of one type: the second copy brings the type no more.
  json first, second;
  for (const json& a : materials)
    for (const json& b : materials)
      if (first.is_null() && a["id"] < b["id"] && a["type"] == b["type"]) first = a, second = b;
  ASSERT_FALSE(first.is_null());
  const std::string type = first["type"];
  const std::string typeLine = "MaterialType " + idNamed("materialtype", type) + " \"" + type + "\": ";

  const std::vector<std::string> one = linesOf(ok({"copy", demo, dest, "material", idOf(first)}));
  ASSERT_GE(one.size(), 3u);
  EXPECT_EQ(one[0], "Material " + idOf(first) + " \"" + first["name"].get<std::string>() + "\": added as 1");
  EXPECT_NE(std::find(one.begin(), one.end(), typeLine + "added as 1 (referenced)"), one.end());
  const json copied = okJson({"show", dest, "material", "1", "--json"});
  for (const char* field : {"name", "type", "tags", "physical_asset", "bim_asset"})
    EXPECT_EQ(copied[field], first[field]) << field;

  const json before = okJson({"info", dest, "--json"})["objects"];
  const std::vector<std::string> again = linesOf(ok({"copy", demo, dest, "material", idOf(first)}));
  EXPECT_EQ(again[0], "Material " + idOf(first) + " \"" + first["name"].get<std::string>() + "\": reused 1");
  // Found by its name, so nothing it refers to is looked at.
  EXPECT_EQ(again.size(), 2u);
  EXPECT_EQ(again.back(), "0 added, 1 reused, 0 left out");
  EXPECT_EQ(okJson({"info", dest, "--json"})["objects"], before);

  const std::vector<std::string> next = linesOf(ok({"copy", demo, dest, "material", idOf(second)}));
  EXPECT_EQ(next[0],
            "Material " + idOf(second) + " \"" + second["name"].get<std::string>() + "\": added as 2");
  EXPECT_NE(std::find(next.begin(), next.end(), typeLine + "reused 1 (referenced)"), next.end());
  EXPECT_EQ(okJson({"info", dest, "--json"})["objects"]["MaterialType"], 1);
  // A root type copies each kind under its own class, references first.
  const std::string assets = std::to_string(count({"count", demo, "asset"}) - 4);
  EXPECT_EQ(linesOf(ok({"copy", demo, dest, "asset", "--all"})).back().rfind(
                assets + " added, 4 reused, 0 left out", 0),
            0u);
}

TEST_F(Tarn, Copy_PerObjectLeavesOutTheObjectThatFailsAndByDefaultNothingIsKept) {
  // B's unique code is another asset's in the destination.
  const std::string source = dir.file("source.sqlite"), dest = dir.file("dest.sqlite");
  ok({"create", source});
  ok({"create", dest});
  std::string assets;
  for (const char* name : {"A", "B", "C"})
    assets += std::string("<informationasset><name>") + name + "</name><unique_code>X" + name +
              "</unique_code></informationasset>";
  writeBytes(dir.file("source.xml"), "<tarnlibrary>" + assets + "</tarnlibrary>");
  writeBytes(dir.file("dest.xml"),
             "<tarnlibrary><informationasset><name>Other</name><unique_code>XB</unique_code>"
             "</informationasset></tarnlibrary>");
  ok({"import", source, "source.xml"});
  ok({"import", dest, "dest.xml"});
  const std::string reason = "An other object with the same values exists";

  const std::string before = readBytes(dest);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"copy", source, dest, "informationasset", "--all"},
        {"copy", source, dest, "informationasset", "1", "2", "3"}}) {
    failsWith(args, dest, reason + "; nothing copied (--per-object keeps the others)");
    EXPECT_TRUE(readBytes(dest) == before);
  }

  const std::string out = ok({"copy", source, dest, "informationasset", "--all", "--per-object"});
  const auto kept = byName(okJson({"list", dest, "informationasset", "--json"}));
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(out, "InformationAsset 1 \"A\": added as " + idOf(kept.at("A")) +
                     "\nInformationAsset 2 \"B\": left out: " + reason +
                     "\nInformationAsset 3 \"C\": added as " + idOf(kept.at("C")) +
                     "\n2 added, 0 reused, 1 left out\n");
  EXPECT_EQ(kept.at("Other")["unique_code"], "XB");
}

TEST_F(Tarn, Sync_ReportsWhatItAddsAndUpdatesTheDryRunTheSameAndChangingNothing) {
  // The destination lacks the materials nothing uses; the source has them all.
  const std::string source = dir.file("source.sqlite");
  writeBytes(source, readBytes(demo));
  std::string purged;
  for (const json& o : okJson({"purge", demo, "material", "--json"}))
    if (o["outcome"] == "removed") purged += o["name"].get<std::string>() + "\n";
  ASSERT_FALSE(purged.empty());
  const std::string heading = "\n\nSynced Material objects:\n\n",
                    compositions = "\n\nSynced Composition objects:\n\n";
  const std::string all = heading + purged + compositions, nothing = heading + compositions;

  // The destination's own name for Granite, of another type until Granite's
  // values are synced onto it in place.
  const json granite = okJson({"show", source, "material", "Granite", "--json"});
  const std::string target = "Granit";
  const std::string otherType = okJson({"list", demo, "materialtype", "--json"})[0]["name"];
  ASSERT_NE(otherType, granite["type"]);
  writeBytes(dir.file("granit.xml"), "<tarnlibrary><material><name>" + target + "</name><type name=\"" +
                                         otherType + "\"/></material></tarnlibrary>");
  ok({"import", demo, "granit.xml"});
  const std::vector<std::string> renamed = {"--ids", idOf(granite), "--rename", "Granite=" + target};
  struct Case {
    std::vector<std::string> options;
    std::string out;
    bool changes;
  };
  const std::vector<Case> cases = {
      {{"--dry-run"}, all, false},
      {{"--report", "report.xml"}, all, true},
      {{}, nothing, false},
      {plus(renamed, {"--dry-run"}), heading + target + "\n" + compositions, false},
      {renamed, heading + target + "\n" + compositions, true},
  };
  const std::string targetId = idNamed("material", target);
  for (const Case& c : cases) {
    const std::vector<std::string> args = plus({"sync", source, demo}, c.options);
    const std::string before = readBytes(demo);
    const Outcome r = run(args);
    SCOPED_TRACE(describe(args, r));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(readBytes(demo) != before, c.changes);
  }
  const json updated = okJson({"show", demo, "material", target, "--json"});
  EXPECT_EQ(idOf(updated), targetId);
  EXPECT_EQ(updated["type"], granite["type"]);

  pugi::xml_document report;
  ASSERT_TRUE(report.load_file(dir.file("report.xml").c_str()));
  std::string named;
  for (pugi::xml_node child : report.child("sync").children()) {
    EXPECT_STREQ(child.name(), "material");
    named += child.attribute("name").value() + std::string("\n");
  }
  EXPECT_EQ(named, purged);
}

TEST_F(Tarn, CopyAndSync_RefuseBadInputAndLeaveBothCatalogues) {
  const std::string dest = dir.file("dest.sqlite"), newer = dir.file("newer.sqlite"),
                    old = dir.file("old.sqlite");
  ok({"create", dest});
  writeBytes(newer, readBytes(demo));
  RawDb(newer).exec(
      "UPDATE schema_version SET version = version + 1, compatibility = 1000 WHERE name = 'tarnlib'");
  testing::writeOldLibrary(old, 1011, "9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10");
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string subject;
  };
  const std::vector<Case> cases = {
      {{"copy", demo, dest, "material"}, 1, "copy"},
      {{"copy", demo, dest, "material", "1", "--all"}, 1, "--all"},
      {{"copy", demo, dest, "widget", "--all"}, 2, "widget"},
      {{"copy", demo, dest, "material", "1", "99999"}, 2, "99999"},
      {{"copy", dir.file("missing.sqlite"), dest, "tag", "--all"}, 2, dir.file("missing.sqlite")},
      {{"copy", newer, dest, "tag", "--all"}, 2, newer},
      {{"copy", dest, dest, "tag", "--all"}, 2, dest},
      {{"--read-only", "copy", demo, dest, "tag", "--all"}, 2, dest},
      {{"sync", demo, dest, "--rename", "Granite=Basalt"}, 2, dest},
      {{"sync", demo, dest, "--rename", "Granite"}, 1, "--rename"},
      {{"sync", demo, dest, "--ids", "99999"}, 2, "99999"},
      {{"sync", newer, dest}, 2, newer},
      {{"sync", demo, dest, "--report", demo}, 2, demo},
      {{"sync", demo, dest, "--dry-run", "--read-only"}, 2, dest},
  };
  const std::set<std::string> files = entries(dir.file(""));
  const std::string sample = readBytes(demo), empty = readBytes(dest), newerBytes = readBytes(newer);
  for (const Case& c : cases) {
    fails(c.args, c.status, c.subject);
    EXPECT_TRUE(readBytes(dest) == empty);
    EXPECT_TRUE(readBytes(demo) == sample);
    EXPECT_TRUE(readBytes(newer) == newerBytes);
    EXPECT_EQ(entries(dir.file("")), files);
  }
  // An older source is read through a migrated copy and left as it was.
  const std::string oldBytes = readBytes(old);
  EXPECT_EQ(ok({"copy", old, dest, "tag", "--all"}), "0 added, 0 reused, 0 left out\n");
  EXPECT_TRUE(readBytes(old) == oldBytes);
}

// ---- The file as a whole

TEST_F(Tarn, Create_WritesUnitAndGuidAndRefusesAnExistingFile) {
  std::string a = dir.file("a.sqlite");
  ok({"create", a, "--unit", "in", "--guid", "4B7009EF-0317-4504-A674-282D1B5BB08F"});
  json info = okJson({"info", a, "--json"});
  EXPECT_EQ(info["unit"], "in");
  EXPECT_EQ(info["guid"], "4b7009ef-0317-4504-a674-282d1b5bb08f");
  EXPECT_EQ(info["read_only"], false);
  for (const auto& [type, n] : info["objects"].items()) EXPECT_EQ(n, 0) << type;

  // Other text gives the same name-based GUID every time.
  ok({"create", dir.file("b.sqlite"), "--guid", "Sample catalogue"});
  ok({"create", dir.file("c.sqlite"), "--guid", "Sample catalogue"});
  std::string b = okJson({"info", dir.file("b.sqlite"), "--json"})["guid"];
  EXPECT_EQ(okJson({"info", dir.file("c.sqlite"), "--json"})["guid"], b);
  EXPECT_EQ(okJson({"info", dir.file("a.sqlite"), "--json"})["unit"], "in");

  std::string before = readBytes(a);
  fails({"create", a}, 2, a);
  EXPECT_EQ(readBytes(a), before);
}

TEST_F(Tarn, Meta_SetsClearsAndShowsLocaleAndRegion) {
  ok({"meta", demo, "--locale", "de-CH", "--region", "CH"});
  json info = okJson({"info", demo, "--json"});
  EXPECT_EQ(info["locale"], "de-CH");
  EXPECT_EQ(info["region"], "CH");

  ok({"meta", demo, "--locale", ""});
  std::string before = readBytes(demo);
  EXPECT_EQ(ok({"meta", demo}), "locale  \nregion  CH\n");
  EXPECT_EQ(readBytes(demo), before);
}

TEST_F(Tarn, Vacuum_KeepsEveryObject) {
  ok({"remove", demo, "composition", "1", "2", "3"});
  std::string listed = ok({"list", demo, "composition", "--json"});
  ok({"vacuum", demo});
  EXPECT_EQ(ok({"list", demo, "composition", "--json"}), listed);
}

TEST_F(Tarn, Upgrade_MigratesAnOlderFileWhichReadingLeavesAloneAndLeavesANewerOne) {
  std::string old = dir.file("old.sqlite");
  testing::writeOldLibrary(old, 1011, "9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10");
  std::string before = readBytes(old);

  Outcome info = run({"info", old, "--json"});
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_EQ(json::parse(info.out)["schema"], "older");
  EXPECT_NE(info.err.find("the file is unchanged"), std::string::npos) << info.err;
  EXPECT_EQ(readBytes(old), before);

  EXPECT_NE(ok({"upgrade", old}).find("migrated"), std::string::npos);
  EXPECT_NE(readBytes(old), before);
  json after = okJson({"info", old, "--json"});
  EXPECT_EQ(after["schema"], "current");
  EXPECT_EQ(after["guid"], "9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10");
  EXPECT_EQ(after["locale"], "de");
  EXPECT_NE(ok({"upgrade", old}).find("nothing to do"), std::string::npos);

  // A newer file this version may still read is left as it is.
  {
    RawDb db(demo);
    db.exec("UPDATE schema_version SET version = version + 1, compatibility = 1000 WHERE name = 'tarnlib'");
  }
  before = readBytes(demo);
  EXPECT_EQ(okJson({"info", demo, "--json"})["schema"], "newer");
  EXPECT_NE(ok({"upgrade", demo}).find("newer"), std::string::npos);
  EXPECT_EQ(readBytes(demo), before);
  {
    RawDb db(demo);
    db.exec("UPDATE schema_version SET compatibility = version WHERE name = 'tarnlib'");
  }
  fails({"info", demo}, 2, demo);
  fails({"upgrade", demo}, 2, demo);
}

// ---- Files in WAL mode, files other processes hold

TEST_F(Tarn, Wal_ACatalogueInWalModeIsUsedAndLeavesNoWalFiles) {
  {
    RawDb db(demo);
    db.exec("PRAGMA journal_mode=WAL");
  }
  const std::set<std::string> alone = {"demo.sqlite"};
  ASSERT_EQ(entries(dir.file("")), alone);
  const std::size_t compositions = count({"count", demo, "composition"});
  EXPECT_EQ(lineCount(ok({"list", demo, "composition"})), compositions);
  EXPECT_EQ(okJson({"info", demo, "--json"})["schema"], "current");
  EXPECT_EQ(entries(dir.file("")), alone);
  ok({"remove", demo, "composition", "1"});
  EXPECT_EQ(count({"count", demo, "composition"}), compositions - 1);
  EXPECT_EQ(entries(dir.file("")), alone);

  RawDb writer(demo);
  writer.exec("BEGIN IMMEDIATE; UPDATE tarnlib_Meta SET locale = 'fr'");
  failsWith({"remove", demo, "composition", "2"}, demo, kBusy);
  writer.exec("ROLLBACK");
}

TEST_F(Tarn, Wal_AnOlderCatalogueIsReadWithWhatItsWalHolds) {
  const std::string old = dir.file("old.sqlite");
  testing::writeOldLibrary(old, 1011, "9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10");
  RawDb(old).exec("PRAGMA journal_mode=WAL");
  {
    // While this connection stays open the change is in the -wal file only.
    // (The bytes are read before it opens and once it is done with: a process
    // closing any handle on a file drops its locks on it.)
    const std::string before = readBytes(old);
    RawDb writer(old);
    writer.exec("PRAGMA wal_autocheckpoint=0; UPDATE tarnlib_Meta SET locale = 'fr'");
    json info = okJson({"info", old, "--json"});
    EXPECT_EQ(info["schema"], "older");
    EXPECT_EQ(info["locale"], "fr");
    EXPECT_TRUE(readBytes(old) == before);
  }
  const std::set<std::string> files = {"demo.sqlite", "old.sqlite"};
  ASSERT_EQ(entries(dir.file("")), files);
  const std::string before = readBytes(old);
  EXPECT_EQ(okJson({"info", old, "--json"})["locale"], "fr");
  EXPECT_EQ(ok({"list", old, "material"}), "");
  EXPECT_TRUE(readBytes(old) == before);
  EXPECT_EQ(entries(dir.file("")), files);
}

TEST_F(Tarn, Busy_CommandsSayAnotherProcessHoldsTheFile) {
  const std::string before = readBytes(demo);
  {
    // A writer committing has the file to itself: not even a reader gets in.
    RawDb holder(demo);
    holder.exec("BEGIN EXCLUSIVE");
    failsWith({"info", demo}, demo, kBusy);
    failsWith({"list", demo, "material"}, demo, kBusy);
    holder.exec("ROLLBACK");
  }
  {
    // A writer inside its transaction lets others read, but not write.
    RawDb writer(demo);
    writer.exec("BEGIN IMMEDIATE; UPDATE tarnlib_Meta SET locale = 'fr'");
    EXPECT_EQ(okJson({"info", demo, "--json"})["locale"], "");
    failsWith({"remove", demo, "composition", "1"}, demo, kBusy);
    failsWith({"meta", demo, "--region", "AT"}, demo, kBusy);
    failsWith({"vacuum", demo}, demo, kBusy);
    writeBytes(dir.file("in.xml"), "<tarnlibrary><tag>New</tag></tarnlibrary>");
    failsWith({"import", demo, "in.xml"}, demo, kBusy);
    writer.exec("ROLLBACK");
  }
  EXPECT_TRUE(readBytes(demo) == before);
}

// ---- Bad input

TEST_F(Tarn, BadFiles_EachSaysWhatIsWrongAndIsLeftAsItWas) {
  const std::string version = std::to_string(okJson({"info", demo, "--json"})["schema_version"].get<int>());
  const std::string newer = std::to_string(std::stoi(version) + 1);
  const std::string sample = readBytes(demo);
  auto fromSample = [&](const std::string& sql) {
    return [&sample, sql](const std::string& path) {
      writeBytes(path, sample);
      RawDb(path).exec(sql);
    };
  };
  struct Case {
    std::string name;
    std::function<void(const std::string&)> make;
    std::string reason;
  };
  const std::vector<Case> cases = {
      {"missing.sqlite", [](const std::string&) {}, "no such file"},
      {"folder.sqlite", [](const std::string& path) { std::filesystem::create_directory(path); },
       "is a folder, not a catalogue"},
      {"notes.txt", [](const std::string& path) { writeBytes(path, "not a catalogue\n"); },
       "not a catalogue (not an SQLite database)"},
      {"empty.sqlite", [](const std::string& path) { writeBytes(path, ""); }, "empty file, not a catalogue"},
      {"foreign.sqlite",
       [](const std::string& path) { RawDb(path).exec("CREATE TABLE t (a); INSERT INTO t VALUES (1)"); },
       "not a catalogue (an SQLite database without catalogue tables)"},
      {"header.sqlite",
       [&](const std::string& path) {
         // A page size that is not a power of two.
         std::string bytes = sample;
         bytes[16] = 0x07;
         bytes[17] = 0x01;
         writeBytes(path, bytes);
       },
       "damaged: SQLite cannot read it (file is not a database)"},
      {"text-version.sqlite", fromSample("UPDATE schema_version SET version = '10x3' WHERE name = 'tarnlib'"),
       "damaged: its schema version \"10x3\" is not a version number"},
      {"zero-version.sqlite", fromSample("UPDATE schema_version SET version = 0 WHERE name = 'tarnlib'"),
       "damaged: its schema version \"0\" is not a version number"},
      {"no-version.sqlite", fromSample("DELETE FROM schema_version"),
       "damaged: its schema version row is missing"},
      {"newer.sqlite",
       fromSample("UPDATE schema_version SET version = " + newer + ", compatibility = " + newer +
                  " WHERE name = 'tarnlib'"),
       "written by a newer version (schema " + newer + ") that this one cannot open"},
      {"ancient.sqlite",
       [](const std::string& path) {
         testing::writeOldLibrary(path, 1003, "9f8c3cbb-6a5e-4a41-9f3e-2f3f6c1e2a10");
         RawDb(path).exec("UPDATE schema_version SET version = 1002");
       },
       "too old to migrate (schema 1002); this version migrates from schema 1003"},
      {"no-table.sqlite", fromSample("DROP TABLE tarnlib_Material_tags"),
       "damaged: table tarnlib_Material_tags is missing"},
      {"no-meta.sqlite", fromSample("DELETE FROM tarnlib_Meta"), "damaged: no metadata row"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string file = dir.file(c.name);
    c.make(file);
    const bool regular = std::filesystem::is_regular_file(file);
    const std::string before = regular ? readBytes(file) : "";
    failsWith({"info", file}, file, c.reason);
    failsWith({"list", file, "material"}, file, c.reason);
    failsWith({"remove", file, "material", "1"}, file, c.reason);
    failsWith({"purge", file}, file, c.reason);
    EXPECT_EQ(std::filesystem::is_regular_file(file), regular);
    EXPECT_TRUE(!regular || readBytes(file) == before);
  }
  fails({"info", "memvfs://nothing"}, 2, "memvfs://nothing");
  fails({"info", "ftp://host/file"}, 2, "ftp://host/file");
}

TEST_F(Tarn, BadFiles_DamagedPagesAreFoundBeforeTheyAreRead) {
  std::string page;
  int pageSize = 0;
  {
    RawDb db(demo);
    page = db.value("SELECT rootpage FROM sqlite_master WHERE name = 'tarnlib_Composition_plies'");
    pageSize = std::stoi(db.value("PRAGMA page_size"));
  }
  std::string bytes = readBytes(demo);
  // No b-tree page has this type.
  bytes[static_cast<std::size_t>(std::stoi(page) - 1) * pageSize] = 0x7F;
  writeBytes(demo, bytes);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"info", demo}, {"purge", demo, "composition"}}) {
    Outcome r = run(args);
    SCOPED_TRACE(describe(args, r));
    EXPECT_EQ(r.status, 2);
    const std::string start = "tarn: " + demo + ": damaged: SQLite finds its pages inconsistent (";
    EXPECT_EQ(r.err.rfind(start, 0), 0u);
    EXPECT_EQ(lineCount(r.err), 1u);
  }
  EXPECT_TRUE(readBytes(demo) == bytes);
}

TEST_F(Tarn, BadArguments_FailWithTheirOwnStatus) {
  fails({"list", demo, "widget"}, 2, "widget");
  fails({"show", demo, "material", "No such material"}, 2, "No such material");
  fails({"show", demo, "material", "Ziegel \xC3\xA4 \xF0\x9F\xA7\xB1"}, 2,
        "Ziegel \xC3\xA4 \xF0\x9F\xA7\xB1");
  fails({"purge", demo, "material", "widget"}, 2, "widget");
  // Usage errors: the command line itself cannot be meant.
  fails({"list", demo, "layer", "--tag", "x"}, 1, "--tag");
  for (const std::vector<std::string>& usage : {std::vector<std::string>{"frobnicate"},
                                                {"list", demo},
                                                {"create", demo, "--unit", "cm"},
                                                {"show", demo, "material", "1", "--colour"},
                                                {"help", "frobnicate"}}) {
    Outcome r = run(usage);
    EXPECT_EQ(r.status, 1) << describe(usage, r);
    EXPECT_EQ(r.err.rfind("tarn: ", 0), 0u) << r.err;
  }
}

TEST_F(Tarn, ReadOnly_WritesAreRefusedAndChangeNothing) {
  std::string before = readBytes(demo);
  writeBytes(dir.file("in.xml"), "<tarnlibrary><tag>New</tag></tarnlibrary>");
  for (const std::vector<std::string>& write :
       {std::vector<std::string>{"--read-only", "remove", demo, "material", "1"},
        {"--read-only", "import", demo, "in.xml"},
        {"meta", demo, "--locale", "fr", "--read-only"},
        {"--read-only", "purge", demo},
        {"--read-only", "vacuum", demo},
        {"--read-only", "demo", demo, "--force"}}) {
    Outcome r = run(write);
    EXPECT_EQ(r.status, 2) << describe(write, r);
    EXPECT_NE(r.err.find("read-only"), std::string::npos) << r.err;
  }
  EXPECT_EQ(readBytes(demo), before);
  EXPECT_EQ(okJson({"--read-only", "info", demo, "--json"})["read_only"], true);
}

TEST_F(Tarn, ReadOnly_AFileTheSystemWillNotLetUsWrite) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write any file";
  std::string before = readBytes(demo);
  ASSERT_EQ(chmod(demo.c_str(), 0444), 0);
  EXPECT_EQ(okJson({"info", demo, "--json"})["read_only"], true);
  fails({"remove", demo, "composition", "1"}, 2, demo);
  fails({"meta", demo, "--region", "AT"}, 2, demo);
  EXPECT_EQ(readBytes(demo), before);
}

TEST_F(Tarn, Help_AndVersionGoToStdoutWithStatusZero) {
  Outcome version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("tarn ", 0), 0u) << version.out;
  EXPECT_EQ(lineCount(version.out), 1u);
  for (const std::vector<std::string>& help :
       {std::vector<std::string>{"help", "list"}, {"list", "--help"}}) {
    Outcome r = run(help);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("Usage: tarn list"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("--tag"), std::string::npos) << r.out;
  }
  Outcome all = run({"help"});
  for (const char* sub : {"create", "info", "meta", "vacuum", "upgrade", "list", "count", "show", "remove",
                          "purge", "units", "export", "import", "copy", "sync", "demo"})
    EXPECT_NE(all.out.find(std::string("\n  ") + sub + " "), std::string::npos) << sub;
}

}  // namespace
}  // namespace tarnlib
