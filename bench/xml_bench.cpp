// The XML exchange against hand-written pugixml + raw-SQLite code doing the
// same work on files of the same schema:
//   export  the N materials of a library (class, two of eight shared tags, an
//           information asset and a physical asset of their own, patterns,
//           some comments) with the groups of their classes and tags, into a
//           new document saved to a string. The baseline selects the same rows
//           with the sqlite3 API, builds the same tree and saves it the same
//           way; both documents are compared byte for byte before the runs.
//   import  that string into an empty library: parse, then one transaction.
//           The baseline parses it with pugixml and inserts the same rows
//           through prepared statements; the rows both sides leave behind are
//           compared before the runs, and the library's import is exported
//           again and compared with the document it came from.
//   memory  the peak resident memory added by parsing and importing a document
//           of about 100 MB, against what the parsed document alone takes
//           (and, for reference, what the baseline's import takes). Each is
//           measured in a child process of its own, forked before the timed
//           runs allocate anything, with the high-water mark reset at the
//           start (/proc/self/clear_refs) so that nothing the parent held
//           counts.
// N is 100,000; TARNLIB_BENCH_N or --n=N sets another, which also scales the
// memory document (N/100,000 of 100 MB) unless TARNLIB_BENCH_MEMORY_MB or
// --memory-mb=MB gives its size; --memory-mb=0 leaves the memory part out.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <pugixml.hpp>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include "paired_runs.h"
#include "raw_sqlite.h"
#include "tarnlib/asset.h"
#include "tarnlib/library.h"
#include "tarnlib/material.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace {

using tarnlib::bench::columnText;
using tarnlib::bench::paired;
using tarnlib::bench::Sqlite;

namespace fs = std::filesystem;
using tarnlib::InformationAsset;
using tarnlib::Library;
using tarnlib::Material;
using tarnlib::MaterialType;
using tarnlib::ObjectType;
using tarnlib::Pattern;
using tarnlib::PhysicalAsset;
using tarnlib::Tag;
using tarnlib::TnSmartPtr;
using tarnlib::Transaction;

// ---- Settings ---------------------------------------------------------------------

int envNumber(const char* name, int fallback) {
  const char* text = std::getenv(name);
  return text && *text ? std::atoi(text) : fallback;
}

struct Settings {
  int n = envNumber("TARNLIB_BENCH_N", 100000);
  int memoryMb = envNumber("TARNLIB_BENCH_MEMORY_MB", -1);  // -1: scaled from n
};

Settings& settings() {
  static Settings instance;
  return instance;
}

// Takes --n=N and --memory-mb=MB out of the arguments before the benchmark
// library sees them.
void takeArguments(int& argc, char** argv) {
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--n=", 4) == 0) settings().n = std::atoi(argv[i] + 4);
    else if (std::strncmp(argv[i], "--memory-mb=", 12) == 0) settings().memoryMb = std::atoi(argv[i] + 12);
    else argv[kept++] = argv[i];
  }
  argc = kept;
  argv[argc] = nullptr;
  if (settings().n <= 0) settings().n = 100000;
  if (settings().memoryMb < 0) settings().memoryMb = std::max(1, static_cast<int>(100LL * settings().n / 100000));
}

// ---- Row values -------------------------------------------------------------------

constexpr int kTypes = 4;
constexpr int kTags = 8;
const char* const kTypeNames[kTypes] = {"Concrete", "Timber", "Steel", "Masonry"};

std::string tagName(int t) { return "Tag " + std::to_string(t); }
std::string materialName(int i) { return "Material \xC3\xA4 " + std::to_string(i); }
std::string materialDescription(int i) { return "Description of material " + std::to_string(i); }
// Every fourth material has comments, with text that must be escaped.
std::string materialComments(int i) {
  return i % 4 == 0 ? "Stock & delivery <" + std::to_string(i) + ">" : std::string();
}
std::string appearanceName(int i) { return "Render " + std::to_string(i % 10); }
int typeOf(int i) { return i % kTypes; }
int firstTag(int i) { return i % kTags; }
int secondTag(int i) { return (i + 3) % kTags; }
const char* const kCutPatternName = "ANSI31";
// Odd materials have crossed user-defined lines on a coloured ground on their
// surfaces; even ones keep the default (no pattern).
Pattern surfacePattern(int i) {
  if (i % 2 == 0) return Pattern();
  Pattern p(2.5, 45.0, true, false);
  p.background_color = tarnlib::Color(0.5, 0.25, 0.125, 1.0);
  return p;
}
std::string informationName(int i) { return "Information " + std::to_string(i); }
std::string informationDescription(int i) { return "Data sheet of material " + std::to_string(i); }
std::string manufacturer(int i) { return "Manufacturer " + std::to_string(i % 20); }
std::string model(int i) { return "Model " + std::to_string(i % 100); }
std::string url(int i) { return "https://example.org/materials?id=" + std::to_string(i) + "&lang=en"; }
std::string physicalName(int i) { return "Physical " + std::to_string(i); }
double density(int i) { return 1000.0 + i % 1500; }
double specificHeat(int i) { return 800.0 + i % 200; }
// Every tenth physical asset has no conductivity (a nil element).
bool hasConductivity(int i) { return i % 10 != 0; }
double conductivity(int i) { return 0.04 + 1e-6 * i; }

// ---- Files ----------------------------------------------------------------------

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

struct Files {
  fs::path dir;
  std::string empty;     // a new library, no objects
  std::string source;    // N materials, written by us
  std::string memory;    // the materials of the memory document, written by us
  std::string document;  // the memory document
  std::string work;
  std::string other;     // where the baseline imports when both results are kept

  Files() {
    std::string pattern = (fs::temp_directory_path() / "tarnlib-bench-XXXXXX").string();
    dir = mkdtemp(pattern.data());
    empty = (dir / "empty.tlib").string();
    source = (dir / "source.tlib").string();
    memory = (dir / "memory.tlib").string();
    document = (dir / "memory.xml").string();
    work = (dir / "work.tlib").string();
    other = (dir / "other.tlib").string();
    if (!Library::create(OdString(empty), tarnlib::LibraryUnit::Millimeter))
      throw std::runtime_error("cannot create " + empty);
  }
  ~Files() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  void fresh(const std::string& to) const { fs::copy_file(empty, to, fs::copy_options::overwrite_existing); }
};

Files& files() {
  static Files instance;
  return instance;
}

// Writes n materials into a new library at `path`, in one transaction.
void fillLibrary(const std::string& path, int n) {
  files().fresh(path);
  auto library = openLibrary(path);
  std::vector<TnSmartPtr<const MaterialType>> types;
  for (const char* name : kTypeNames) types.push_back(MaterialType::create(OdString(name)));
  std::vector<TnSmartPtr<Tag>> tags;
  for (int t = 0; t < kTags; ++t) tags.push_back(Tag::create(OdString(tagName(t))));
  Transaction tx(library, Transaction::kBeginCurrent);
  for (int i = 0; i < n; ++i) {
    auto m = Material::create(OdString(materialName(i)), types[static_cast<std::size_t>(typeOf(i))]);
    m->set_description(OdString(materialDescription(i)));
    m->set_comments(OdString(materialComments(i)));
    m->set_appearance(OdString(appearanceName(i)));
    m->set_cut_pattern(Pattern(Pattern::Type::Predefined, OdString(kCutPatternName), 1.0, 0.0, false));
    m->set_surface_pattern(surfacePattern(i));
    m->add_tag(tags[static_cast<std::size_t>(firstTag(i))]);
    m->add_tag(tags[static_cast<std::size_t>(secondTag(i))]);
    auto information = InformationAsset::create(OdString(informationName(i)));
    information->set_description(OdString(informationDescription(i)));
    information->set_manufacturer(OdString(manufacturer(i)));
    information->set_model(OdString(model(i)));
    information->set_url(OdString(url(i)));
    m->set_information_asset(information);
    auto physical = PhysicalAsset::create(OdString(physicalName(i)));
    physical->set_density(density(i));
    physical->set_specific_heat(specificHeat(i));
    if (hasConductivity(i)) physical->set_thermal_conductivity(conductivity(i));
    m->set_physical_asset(physical);
    library->save<Material>(m);
  }
  tx.commit();
}

// ---- Documents ------------------------------------------------------------------

// Both sides save their tree the same way, into a string.
class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& out) : out_(out) {}
  void write(const void* data, std::size_t size) override { out_.append(static_cast<const char*>(data), size); }

 private:
  std::string& out_;
};

std::string saved(const pugi::xml_document& doc) {
  std::string text;
  StringWriter writer(text);
  doc.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
  return text;
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

const std::set<ObjectType> kExported = {ObjectType::Material, ObjectType::MaterialType, ObjectType::Tag};

std::string exportOurs(const Library& library) {
  pugi::xml_document doc;
  pugi::xml_node root = doc.append_child("tarnlibrary");
  library.exportToXml(root, kExported, Library::ExportOptions());
  return saved(doc);
}

// What an import reported; the runs expect nothing.
struct Messages {
  std::size_t count = 0;
  std::string first;
  Library::ImportOptions options() {
    Library::ImportOptions o;
    o.messageHandler = [this](int, const OdString& text, std::ptrdiff_t offset) {
      if (count++ == 0) first = text.toUtf8() + " (at " + std::to_string(offset) + ")";
    };
    return o;
  }
  void check(const char* what) const {
    if (count)
      throw std::runtime_error(std::string(what) + ": " + std::to_string(count) + " messages, the first: " + first);
  }
};

void importOurs(Library& library, const char* text, std::size_t size) {
  pugi::xml_document doc;
  if (!doc.load_buffer(text, size)) throw std::runtime_error("import: the document does not parse");
  pugi::xml_node root = doc.document_element();
  Messages messages;
  library.importFromXml(root, messages.options());
  messages.check("import");
}

// ---- Raw SQLite: export -----------------------------------------------------------

const char* const kNamespaceUri = "https://tarnlib.org/schema/library";
const char* const kXsiUri = "http://www.w3.org/2001/XMLSchema-instance";
const char* const kSchemaLocation = "https://tarnlib.org/schema/library https://tarnlib.org/schema/library.xsd";

const char* const kPatternTypes[] = {"None", "UserDefined", "Predefined", "Custom"};  // -1..2
const char* const kColorTypes[] = {"None", "ByLayer", "ByBlock", "ByColor"};          // -1..2

const char* enumName(const char* const* names, int count, int value) {
  return value >= -1 && value + 1 < count ? names[value + 1] : nullptr;
}
int enumValue(const char* const* names, int count, const char* text) {
  for (int k = 0; k < count; ++k)
    if (std::strcmp(names[k], text) == 0) return k - 1;
  throw std::runtime_error(std::string("unknown name ") + text);
}

#define XB_PATTERN_COLUMNS(p)                                                                              \
  p "type, " p "name, " p "scale, " p "angle, " p "cross, " p "annotative, " p "background_color_type, " p \
    "background_color_red, " p "background_color_green, " p "background_color_blue, " p                    \
    "background_color_alpha"
#define XB_MATERIAL_COLUMNS(p)                                                                      \
  p "name, " p "type_id, " p "description, " p "comments, " p "appearance, " XB_PATTERN_COLUMNS(     \
      p "cut_pattern_") ", " XB_PATTERN_COLUMNS(p "surface_pattern_") ", " p "information_asset_id, " p \
      "physical_asset_id, " p "bim_asset_id"
#define XB_INFORMATION_COLUMNS \
  "name, description, label, manufacturer, mark, model, classification, cost, keynote, url, unique_code"
#define XB_PHYSICAL_COLUMNS "name, description, density, specific_heat, thermal_conductivity"

const char* text(sqlite3_stmt* stmt, int column) {
  const auto* t = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
  return t ? t : "";
}
bool isNull(sqlite3_stmt* stmt, int column) { return sqlite3_column_type(stmt, column) == SQLITE_NULL; }

// A text child, left out when empty.
void textChild(pugi::xml_node parent, const char* name, sqlite3_stmt* stmt, int column) {
  const char* t = text(stmt, column);
  if (*t) parent.append_child(name).text().set(t);
}
void nilChild(pugi::xml_node parent, const char* name) {
  parent.append_child(name).append_attribute("xsi:nil").set_value("true");
}
void reference(pugi::xml_node element, sqlite3_int64 id) {
  element.append_attribute("id").set_value(static_cast<unsigned>(id));
}

// An enumeration by its name, or its number when it has none, as the library
// writes it.
void enumText(pugi::xml_node node, const char* const* names, int count, int value) {
  if (const char* name = enumName(names, count, value)) node.text().set(name);
  else node.text().set(static_cast<long long>(value));
}

// Columns `first`.. of a pattern, as the table flattens it.
int writePattern(pugi::xml_node parent, const char* name, sqlite3_stmt* stmt, int first) {
  pugi::xml_node node = parent.append_child(name);
  enumText(node.append_child("type"), kPatternTypes, 4, sqlite3_column_int(stmt, first));
  textChild(node, "name", stmt, first + 1);
  node.append_attribute("scale").set_value(sqlite3_column_double(stmt, first + 2));
  node.append_attribute("angle").set_value(sqlite3_column_double(stmt, first + 3));
  node.append_child("cross").text().set(sqlite3_column_int(stmt, first + 4) ? "true" : "false");
  node.append_child("annotative").text().set(sqlite3_column_int(stmt, first + 5) ? "true" : "false");
  pugi::xml_node color = node.append_child("background_color");
  enumText(color.append_child("type"), kColorTypes, 4, sqlite3_column_int(stmt, first + 6));
  color.append_attribute("red").set_value(sqlite3_column_double(stmt, first + 7));
  color.append_attribute("green").set_value(sqlite3_column_double(stmt, first + 8));
  color.append_attribute("blue").set_value(sqlite3_column_double(stmt, first + 9));
  color.append_attribute("alpha").set_value(sqlite3_column_double(stmt, first + 10));
  return first + 11;
}

void realChild(pugi::xml_node parent, const char* name, sqlite3_stmt* stmt, int column) {
  if (isNull(stmt, column)) nilChild(parent, name);
  else parent.append_child(name).text().set(sqlite3_column_double(stmt, column));
}

// Builds the document from the rows: one pass over the materials joined with
// their assets, merged with their tag and custom value rows (all in material
// order), then the groups of classes and tags.
class ExportRaw {
 public:
  explicit ExportRaw(const std::string& path)
      : db_(path),
        version_(db_.prepare("SELECT version FROM schema_version WHERE name = 'tarnlib'")),
        materials_(db_.prepare("SELECT m.id, " XB_MATERIAL_COLUMNS("m.") ", "
                               "i.name, i.description, i.label, i.manufacturer, i.mark, i.model, "
                               "i.classification, i.cost, i.keynote, i.url, i.unique_code, "
                               "p.name, p.description, p.density, p.specific_heat, p.thermal_conductivity "
                               "FROM tarnlib_Material m "
                               "LEFT JOIN tarnlib_InformationAsset i ON i.id = m.information_asset_id "
                               "LEFT JOIN tarnlib_PhysicalAsset p ON p.id = m.physical_asset_id ORDER BY m.id")),
        tags_(db_.prepare("SELECT object_id, tag_id FROM tarnlib_Material_tags ORDER BY object_id, \"index\"")),
        values_(db_.prepare("SELECT object_id, property_id, value FROM tarnlib_Material_custom_values "
                            "ORDER BY object_id")),
        typeGroup_(db_.prepare("SELECT name FROM tarnlib_MaterialType ORDER BY id")),
        tagGroup_(db_.prepare("SELECT name FROM tarnlib_Tag ORDER BY id")) {}

  std::string operator()() {
    pugi::xml_document doc;
    db_.exec("BEGIN");
    pugi::xml_node root = doc.append_child("tarnlibrary");
    root.append_attribute("xmlns").set_value(kNamespaceUri);
    root.append_attribute("xmlns:xsi").set_value(kXsiUri);
    root.append_attribute("xsi:schemaLocation").set_value(kSchemaLocation);
    if (sqlite3_step(version_) != SQLITE_ROW) db_.fail("schema version");
    root.append_attribute("version").set_value(static_cast<unsigned long long>(sqlite3_column_int64(version_, 0)));
    sqlite3_reset(version_);

    bool moreTags = sqlite3_step(tags_) == SQLITE_ROW;
    bool moreValues = sqlite3_step(values_) == SQLITE_ROW;
    while (sqlite3_step(materials_) == SQLITE_ROW) {
      sqlite3_stmt* s = materials_;
      const sqlite3_int64 id = sqlite3_column_int64(s, 0);
      pugi::xml_node m = root.append_child("material");
      textChild(m, "name", s, 1);
      if (!isNull(s, 2)) reference(m.append_child("type"), sqlite3_column_int64(s, 2));
      textChild(m, "description", s, 3);
      while (moreTags && sqlite3_column_int64(tags_, 0) < id) moreTags = sqlite3_step(tags_) == SQLITE_ROW;
      if (moreTags && sqlite3_column_int64(tags_, 0) == id) {
        pugi::xml_node list = m.append_child("tag");
        for (; moreTags && sqlite3_column_int64(tags_, 0) == id; moreTags = sqlite3_step(tags_) == SQLITE_ROW)
          reference(list.append_child("tag"), sqlite3_column_int64(tags_, 1));
      }
      textChild(m, "comments", s, 4);
      textChild(m, "appearance", s, 5);
      int column = writePattern(m, "cut_pattern", s, 6);
      column = writePattern(m, "surface_pattern", s, column);
      const int assets = column;  // information, physical, BIM asset ids
      if (!isNull(s, assets + 2)) throw std::runtime_error("export: the baseline writes no BIM assets");
      column = assets + 3;
      if (!isNull(s, assets)) {
        pugi::xml_node a = m.append_child("information_asset");
        static const char* const kTexts[] = {"name",           "description", "label",   "manufacturer", "mark",
                                             "model",          "classification", "cost", "keynote",      "url"};
        for (const char* name : kTexts) textChild(a, name, s, column++);
        if (isNull(s, column)) nilChild(a, "unique_code");
        else a.append_child("unique_code").text().set(text(s, column));
      }
      column = assets + 3 + 11;
      if (!isNull(s, assets + 1)) {
        pugi::xml_node a = m.append_child("physical_asset");
        textChild(a, "name", s, column);
        textChild(a, "description", s, column + 1);
        realChild(a, "density", s, column + 2);
        realChild(a, "specific_heat", s, column + 3);
        realChild(a, "thermal_conductivity", s, column + 4);
      }
      while (moreValues && sqlite3_column_int64(values_, 0) < id) moreValues = sqlite3_step(values_) == SQLITE_ROW;
      if (moreValues && sqlite3_column_int64(values_, 0) == id) {
        pugi::xml_node list = m.append_child("custom_value");
        for (; moreValues && sqlite3_column_int64(values_, 0) == id;
             moreValues = sqlite3_step(values_) == SQLITE_ROW) {
          pugi::xml_node value = list.append_child("value");
          reference(value, sqlite3_column_int64(values_, 1));
          value.text().set(text(values_, 2));
        }
      }
    }
    sqlite3_reset(materials_);
    sqlite3_reset(tags_);
    sqlite3_reset(values_);
    for (auto [group, element] : {std::make_pair(typeGroup_, "materialtype"), std::make_pair(tagGroup_, "tag")}) {
      while (sqlite3_step(group) == SQLITE_ROW) {
        pugi::xml_node e = root.append_child(element);
        if (*text(group, 0)) e.text().set(text(group, 0));
      }
      sqlite3_reset(group);
    }
    db_.exec("COMMIT");
    return saved(doc);
  }

 private:
  Sqlite db_;
  sqlite3_stmt* version_;
  sqlite3_stmt* materials_;
  sqlite3_stmt* tags_;
  sqlite3_stmt* values_;
  sqlite3_stmt* typeGroup_;
  sqlite3_stmt* tagGroup_;
};

// ---- Raw SQLite: import -----------------------------------------------------------

const char* childText(pugi::xml_node parent, const char* name) { return parent.child(name).text().get(); }
bool nil(pugi::xml_node node) { return std::strcmp(node.attribute("xsi:nil").value(), "true") == 0; }
bool flag(pugi::xml_node parent, const char* name) { return std::strcmp(childText(parent, name), "true") == 0; }

void bindText(sqlite3_stmt* stmt, int param, const char* text) {
  sqlite3_bind_text(stmt, param, text, -1, SQLITE_STATIC);
}

// A real that may be nil (NULL).
void bindReal(sqlite3_stmt* stmt, int param, pugi::xml_node node) {
  if (!node || nil(node)) sqlite3_bind_null(stmt, param);
  else sqlite3_bind_double(stmt, param, node.text().as_double());
}

// Parameters `first`.. from a pattern element; absent is the default pattern.
int bindPattern(sqlite3_stmt* stmt, int first, pugi::xml_node node) {
  int p = first;
  pugi::xml_node color = node.child("background_color");
  sqlite3_bind_int(stmt, p++, node.child("type") ? enumValue(kPatternTypes, 4, childText(node, "type")) : -1);
  bindText(stmt, p++, childText(node, "name"));
  sqlite3_bind_double(stmt, p++, node.attribute("scale").as_double(1.0));
  sqlite3_bind_double(stmt, p++, node.attribute("angle").as_double(0.0));
  sqlite3_bind_int(stmt, p++, flag(node, "cross"));
  sqlite3_bind_int(stmt, p++, flag(node, "annotative"));
  sqlite3_bind_int(stmt, p++, color.child("type") ? enumValue(kColorTypes, 4, childText(color, "type")) : -1);
  for (const char* c : {"red", "green", "blue", "alpha"}) sqlite3_bind_double(stmt, p++, color.attribute(c).as_double());
  return p;
}

// Parses the document and writes its rows in one transaction, in the order the
// library reads the groups (tags, then classes, then materials), each
// material's assets before the material. References by id name rows of the
// file, as in the library's import; each is checked against the rows
// written.
class ImportRaw {
 public:
  explicit ImportRaw(const std::string& path)
      : db_(path),
        type_(db_.prepare("INSERT INTO tarnlib_MaterialType (id, name) VALUES (NULL, ?)")),
        tag_(db_.prepare("INSERT INTO tarnlib_Tag (id, name) VALUES (NULL, ?)")),
        root_(db_.prepare("INSERT INTO tarnlib_Asset (id, typeid) VALUES (NULL, ?)")),
        information_(db_.prepare("INSERT INTO tarnlib_InformationAsset (id, " XB_INFORMATION_COLUMNS
                                 ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
        physical_(db_.prepare("INSERT INTO tarnlib_PhysicalAsset (id, " XB_PHYSICAL_COLUMNS
                              ") VALUES (?, ?, ?, ?, ?, ?)")),
        material_(db_.prepare("INSERT INTO tarnlib_Material (id, " XB_MATERIAL_COLUMNS("")
                              ") VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                              "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
        tagRow_(db_.prepare("INSERT INTO tarnlib_Material_tags (object_id, \"index\", tag_id) VALUES (?, ?, ?)")),
        valueRow_(db_.prepare(
            "INSERT INTO tarnlib_Material_custom_values (object_id, property_id, value) VALUES (?, ?, ?)")) {}

  // Returns the number of materials written.
  std::size_t operator()(const char* text, std::size_t size) {
    pugi::xml_document doc;
    if (!doc.load_buffer(text, size)) throw std::runtime_error("raw import: the document does not parse");
    return write(doc);
  }

  std::size_t write(const pugi::xml_document& doc) {
    pugi::xml_node root = doc.document_element();
    std::vector<pugi::xml_node> materials, types, tags;
    for (pugi::xml_node e : root.children()) {
      if (std::strcmp(e.name(), "material") == 0) materials.push_back(e);
      else if (std::strcmp(e.name(), "materialtype") == 0) types.push_back(e);
      else if (std::strcmp(e.name(), "tag") == 0) tags.push_back(e);
      else if (e.type() == pugi::node_element) throw std::runtime_error(std::string("raw import: ") + e.name());
    }
    std::unordered_set<sqlite3_int64> tagIds, typeIds;
    db_.exec("BEGIN IMMEDIATE");
    for (pugi::xml_node e : tags) {
      bindText(tag_, 1, e.text().get());
      db_.done(tag_);
      tagIds.insert(db_.lastId());
    }
    for (pugi::xml_node e : types) {
      bindText(type_, 1, e.text().get());
      db_.done(type_);
      typeIds.insert(db_.lastId());
    }
    std::size_t written = 0;
    for (pugi::xml_node m : materials) {
      sqlite3_int64 informationId = 0, physicalId = 0;
      if (pugi::xml_node a = m.child("information_asset"); a && !nil(a)) {
        sqlite3_bind_text(root_, 1, "tarnlib::InformationAsset", -1, SQLITE_STATIC);
        db_.done(root_);
        informationId = db_.lastId();
        sqlite3_bind_int64(information_, 1, informationId);
        int p = 2;
        static const char* const kTexts[] = {"name",           "description", "label",   "manufacturer", "mark",
                                             "model",          "classification", "cost", "keynote",      "url"};
        for (const char* name : kTexts) bindText(information_, p++, childText(a, name));
        pugi::xml_node code = a.child("unique_code");
        if (!code || nil(code)) sqlite3_bind_null(information_, p);
        else bindText(information_, p, code.text().get());
        db_.done(information_);
      }
      if (pugi::xml_node a = m.child("physical_asset"); a && !nil(a)) {
        sqlite3_bind_text(root_, 1, "tarnlib::PhysicalAsset", -1, SQLITE_STATIC);
        db_.done(root_);
        physicalId = db_.lastId();
        sqlite3_bind_int64(physical_, 1, physicalId);
        bindText(physical_, 2, childText(a, "name"));
        bindText(physical_, 3, childText(a, "description"));
        bindReal(physical_, 4, a.child("density"));
        bindReal(physical_, 5, a.child("specific_heat"));
        bindReal(physical_, 6, a.child("thermal_conductivity"));
        db_.done(physical_);
      }
      if (m.child("bim_asset")) throw std::runtime_error("raw import: the baseline reads no BIM assets");
      int p = 1;
      bindText(material_, p++, childText(m, "name"));
      if (pugi::xml_node type = m.child("type")) {
        const sqlite3_int64 id = type.attribute("id").as_ullong();
        if (!typeIds.count(id)) throw std::runtime_error("raw import: no type " + std::to_string(id));
        sqlite3_bind_int64(material_, p++, id);
      } else {
        sqlite3_bind_null(material_, p++);
      }
      bindText(material_, p++, childText(m, "description"));
      bindText(material_, p++, childText(m, "comments"));
      bindText(material_, p++, childText(m, "appearance"));
      p = bindPattern(material_, p, m.child("cut_pattern"));
      p = bindPattern(material_, p, m.child("surface_pattern"));
      for (sqlite3_int64 id : {informationId, physicalId, sqlite3_int64{0}}) {
        if (id) sqlite3_bind_int64(material_, p++, id);
        else sqlite3_bind_null(material_, p++);
      }
      db_.done(material_);
      const sqlite3_int64 id = db_.lastId();
      int index = 0;
      for (pugi::xml_node t : m.child("tag").children("tag")) {
        const sqlite3_int64 tagId = t.attribute("id").as_ullong();
        if (!tagIds.count(tagId)) throw std::runtime_error("raw import: no tag " + std::to_string(tagId));
        sqlite3_bind_int64(tagRow_, 1, id);
        sqlite3_bind_int(tagRow_, 2, index++);
        sqlite3_bind_int64(tagRow_, 3, tagId);
        db_.done(tagRow_);
      }
      for (pugi::xml_node v : m.child("custom_value").children("value")) {
        sqlite3_bind_int64(valueRow_, 1, id);
        sqlite3_bind_int64(valueRow_, 2, v.attribute("id").as_ullong());
        bindText(valueRow_, 3, v.text().get());
        db_.done(valueRow_);
      }
      ++written;
    }
    db_.exec("COMMIT");
    return written;
  }

 private:
  Sqlite db_;
  sqlite3_stmt* type_;
  sqlite3_stmt* tag_;
  sqlite3_stmt* root_;
  sqlite3_stmt* information_;
  sqlite3_stmt* physical_;
  sqlite3_stmt* material_;
  sqlite3_stmt* tagRow_;
  sqlite3_stmt* valueRow_;
};

// ---- Checks -----------------------------------------------------------------------

std::size_t materialRows(const std::string& path) {
  Sqlite db(path);
  sqlite3_stmt* count = db.prepare("SELECT count(*) FROM tarnlib_Material");
  if (sqlite3_step(count) != SQLITE_ROW) db.fail("count");
  return static_cast<std::size_t>(sqlite3_column_int64(count, 0));
}

// Where two texts first differ, with some of both around it; empty when equal.
std::string firstDifference(const std::string& a, const std::string& b, const char* nameA, const char* nameB) {
  if (a == b) return std::string();
  std::size_t at = 0;
  while (at < a.size() && at < b.size() && a[at] == b[at]) ++at;
  const std::size_t from = at > 200 ? at - 200 : 0;
  return "first difference at byte " + std::to_string(at) + "\n--- " + nameA + ":\n" + a.substr(from, 400) +
         "\n--- " + nameB + ":\n" + b.substr(from, 400) + "\n";
}

// Every row of the tables an import writes, one line per row.
std::string rowsOf(const std::string& path) {
  static const char* const kTables[] = {
      "tarnlib_Tag",   "tarnlib_MaterialType",      "tarnlib_Asset",        "tarnlib_InformationAsset",
      "tarnlib_PhysicalAsset", "tarnlib_BimAsset",  "tarnlib_Material",     "tarnlib_Material_tags",
      "tarnlib_Material_custom_values", "tarnlib_CustomProperty", "tarnlib_Layer"};
  Sqlite db(path);
  std::string out;
  for (const char* table : kTables) {
    sqlite3_stmt* rows = db.prepare((std::string("SELECT * FROM ") + table + " ORDER BY 1, 2").c_str());
    while (sqlite3_step(rows) == SQLITE_ROW) {
      out += table;
      for (int c = 0; c < sqlite3_column_count(rows); ++c) {
        out += c ? "|" : ":";
        out += sqlite3_column_type(rows, c) == SQLITE_NULL ? std::string("NULL") : columnText(rows, c);
      }
      out += '\n';
    }
  }
  return out;
}

// The documents and rows of both sides agree before any clock starts.
struct Verdict {
  std::size_t oursBytes = 0, rawBytes = 0;
  bool sameDocument = false, sameRows = false, roundTrip = false;
};

Verdict& verdict() {
  static Verdict instance;
  return instance;
}

// The document the import runs read: the library's export of the source.
std::string& document() {
  static std::string text;
  return text;
}

void verify() {
  Files& f = files();
  Verdict& v = verdict();
  {
    auto library = openLibrary(f.source);
    document() = exportOurs(*library);
  }
  const std::string raw = ExportRaw(f.source)();
  v.oursBytes = document().size();
  v.rawBytes = raw.size();
  const std::string docDiff = firstDifference(document(), raw, "tarnlib", "raw");
  v.sameDocument = docDiff.empty();
  if (!v.sameDocument) std::printf("export: the documents differ, %s", docDiff.c_str());

  f.fresh(f.work);
  f.fresh(f.other);
  std::string reexported;
  {
    auto library = openLibrary(f.work);
    importOurs(*library, document().data(), document().size());
    reexported = exportOurs(*library);
  }
  ImportRaw(f.other)(document().data(), document().size());
  const std::string rowDiff = firstDifference(rowsOf(f.work), rowsOf(f.other), "tarnlib", "raw");
  v.sameRows = rowDiff.empty();
  if (!v.sameRows) std::printf("import: the rows differ, %s", rowDiff.c_str());
  const std::string tripDiff = firstDifference(document(), reexported, "exported", "imported and exported again");
  v.roundTrip = tripDiff.empty();
  if (!v.roundTrip) std::printf("round trip: the documents differ, %s", tripDiff.c_str());
}

// ---- Memory -------------------------------------------------------------------------

long long statusKb(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::size_t length = std::strlen(field);
  while (std::getline(status, line))
    if (line.compare(0, length, field) == 0 && line[length] == ':') return std::atoll(line.c_str() + length + 1);
  return -1;
}

// Makes the high-water mark the present resident size; false where the
// kernel cannot.
bool resetPeak() {
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5";
  clear.flush();
  return static_cast<bool>(clear);
}

// Runs `work` in a child process and returns what it returns; a child that
// fails makes this throw.
long long inChild(const std::function<long long()>& work) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) throw std::runtime_error("pipe");
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork");
  if (pid == 0) {
    close(pipeEnds[0]);
    int code = 0;
    long long result = -1;
    try {
      result = work();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "child: %s\n", e.what());
      code = 1;
    }
    if (write(pipeEnds[1], &result, sizeof result) != sizeof result) code = 1;
    std::fflush(nullptr);
    _exit(code);
  }
  close(pipeEnds[1]);
  long long result = -1;
  const bool got = read(pipeEnds[0], &result, sizeof result) == sizeof result;
  close(pipeEnds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (!got || !WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error("a child process failed");
  return result;
}

// The resident memory `work` adds at its peak, in kB; `prepare` runs first and
// does not count.
long long peakIncreaseKb(const std::function<void()>& prepare, const std::function<void()>& work) {
  return inChild([&] {
    prepare();
    const long long before = statusKb("VmRSS");
    if (!resetPeak()) throw std::runtime_error("cannot reset the peak (/proc/self/clear_refs)");
    work();
    return statusKb("VmHWM") - before;
  });
}

struct MemoryFigures {
  int materials = 0;
  long long bytes = 0;
  long long parseKb = 0, oursKb = 0, rawKb = 0;
};

MemoryFigures& memoryFigures() {
  static MemoryFigures instance;
  return instance;
}

// Writes the memory document: as many materials as make about `mb` MB,
// estimated from the size of a small export, written and exported by the
// library.
void writeMemoryDocument(int mb) {
  MemoryFigures& m = memoryFigures();
  m.materials = static_cast<int>(inChild([mb] {
    Files& f = files();
    const int probe = 1000;
    fillLibrary(f.memory, probe);
    const double perMaterial = static_cast<double>(exportOurs(*openLibrary(f.memory)).size()) / probe;
    const int n = std::max(1, static_cast<int>(mb * 1e6 / perMaterial));
    fillLibrary(f.memory, n);
    writeFile(f.document, exportOurs(*openLibrary(f.memory)));
    return static_cast<long long>(n);
  }));
  m.bytes = static_cast<long long>(fs::file_size(files().document));
}

void measureMemory() {
  Files& f = files();
  MemoryFigures& m = memoryFigures();
  malloc_trim(0);
  m.parseKb = peakIncreaseKb([] {}, [&] {
    pugi::xml_document doc;
    if (!doc.load_file(f.document.c_str())) throw std::runtime_error("parse failed");
  });
  // Each import opens its file before the count starts.
  std::shared_ptr<Library> library;
  m.oursKb = peakIncreaseKb(
      [&] {
        f.fresh(f.work);
        library = openLibrary(f.work);
      },
      [&] {
        pugi::xml_document doc;
        if (!doc.load_file(f.document.c_str())) throw std::runtime_error("parse failed");
        pugi::xml_node root = doc.document_element();
        Messages messages;
        library->importFromXml(root, messages.options());
        messages.check("memory import");
      });
  std::unique_ptr<ImportRaw> raw;
  m.rawKb = peakIncreaseKb(
      [&] {
        f.fresh(f.other);
        raw = std::make_unique<ImportRaw>(f.other);
      },
      [&] {
        pugi::xml_document doc;
        if (!doc.load_file(f.document.c_str())) throw std::runtime_error("parse failed");
        if (raw->write(doc) != static_cast<std::size_t>(m.materials)) throw std::runtime_error("raw import failed");
      });
}

// ---- Runs ---------------------------------------------------------------------------

void BM_Export(benchmark::State& state) {
  const Files& f = files();
  auto library = openLibrary(f.source);
  ExportRaw raw(f.source);
  const std::size_t expected = verdict().oursBytes;
  paired(
      state, "export",
      [&] {
        std::string text;
        const double seconds = secondsOf([&] { text = exportOurs(*library); });
        if (text.size() != expected) throw std::runtime_error("export: wrong document size");
        return seconds;
      },
      [&] {
        std::string text;
        const double seconds = secondsOf([&] { text = raw(); });
        if (text.size() != verdict().rawBytes) throw std::runtime_error("raw export: wrong document size");
        return seconds;
      });
}

void BM_Import(benchmark::State& state) {
  const Files& f = files();
  const std::string& text = document();
  const std::size_t n = static_cast<std::size_t>(settings().n);
  paired(
      state, "import",
      [&] {
        f.fresh(f.work);
        double seconds = 0;
        {
          auto library = openLibrary(f.work);
          seconds = secondsOf([&] { importOurs(*library, text.data(), text.size()); });
        }
        if (materialRows(f.work) != n) throw std::runtime_error("import: wrong number of materials");
        return seconds;
      },
      [&] {
        f.fresh(f.work);
        double seconds = 0;
        std::size_t written = 0;
        {
          ImportRaw raw(f.work);
          seconds = secondsOf([&] { written = raw(text.data(), text.size()); });
        }
        if (written != n || materialRows(f.work) != n) throw std::runtime_error("raw import: wrong result");
        return seconds;
      });
}

BENCHMARK(BM_Export)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Import)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  takeArguments(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const Settings& s = settings();
  files();

  // Memory first, from a parent that holds nothing big yet.
  if (s.memoryMb > 0) {
    std::printf("writing the memory document (about %d MB)...\n", s.memoryMb);
    writeMemoryDocument(s.memoryMb);
    std::printf("measuring the memory of its import...\n");
    measureMemory();
  }

  std::printf("writing the library to export (%d materials)...\n", s.n);
  fillLibrary(files().source, s.n);
  std::printf("checking both sides' documents and rows...\n");
  verify();

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  const Verdict& v = verdict();
  tarnlib::bench::printSummary(std::to_string(s.n) + " materials with classes, tags and assets",
                               {{"export", "export to a string", 1.5}, {"import", "import from a string", 1.5}});
  std::printf("documents: tarnlib %zu bytes, raw %zu bytes (%s); imported rows %s; round trip %s\n",
              v.oursBytes, v.rawBytes, v.sameDocument ? "identical" : "DIFFERENT", v.sameRows ? "identical" : "DIFFERENT",
              v.roundTrip ? "identical" : "DIFFERENT");
  if (s.memoryMb > 0) {
    const MemoryFigures& m = memoryFigures();
    const double ratio = static_cast<double>(m.oursKb) / static_cast<double>(m.parseKb);
    std::printf("\nimport of a %.1f MB document (%d materials); peak resident memory added\n", m.bytes / 1e6,
                m.materials);
    std::printf("%-28s %10s %15s %8s   %s\n", "", "MB", "parse only MB", "ratio", "target");
    std::printf("%-28s %10.1f %15.1f %7.2fx   <= 1.5x %s\n", "tarnlib parse + import", m.oursKb / 1024.0,
                m.parseKb / 1024.0, ratio, ratio <= 1.5 ? "" : "MISSED");
    std::printf("%-28s %10.1f %15.1f %7.2fx   -\n", "raw parse + inserts", m.rawKb / 1024.0, m.parseKb / 1024.0,
                static_cast<double>(m.rawKb) / static_cast<double>(m.parseKb));
  }
  return 0;
}
