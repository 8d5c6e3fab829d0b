// The library's long writes, each with the catalogue file it starts from, for
// the tests that break them in the middle (a failing disk, a power cut, a kill)
// and then check that the file holds all or none of the write. `scale`
// multiplies the work of a write so that a kill can land inside it.
#ifndef TARNLIB_TESTS_SUPPORT_WRITE_OPERATIONS_H_
#define TARNLIB_TESTS_SUPPORT_WRITE_OPERATIONS_H_

#include <pugixml.hpp>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "old_files.h"
#include "sql.h"
#include "tarnlib/tarnlib.h"

namespace tarnlib::testing {

// A catalogue file and, unless the write is the opening itself, the library
// open on it.
struct Session {
  std::string path;
  std::shared_ptr<Library> library;
};

// Runs the write; false or a library exception when it did not happen.
using Write = std::function<bool(Session&)>;

struct WriteOperation {
  std::string name;
  bool opens;  // the write is Library::open of an older file
  // Writes the starting catalogue to `path`, and beside it what the write reads
  // (`path` + ".source" for a copy or sync, + ".xml" for an import).
  std::function<void(const std::string& path, int scale)> makeFile;
  // Makes what the write takes from memory (new objects, a parsed document);
  // `path` is where makeFile wrote.
  std::function<Write(const std::string& path, int scale)> prepare;
};

// Every table with its CREATE text and its rows as SQL literals, rows sorted.
// GUID columns are masked: a write gives new objects random GUIDs.
inline std::string catalogueState(const std::string& path) {
  RawDb db(path);
  std::string text;
  for (const std::string& row : db.rows("SELECT type, name, sql FROM sqlite_master ORDER BY type, name"))
    text += row + "\n";
  for (const std::string& table : db.rows("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
    std::string select;
    for (const std::string& column : db.rows("SELECT name FROM pragma_table_info('" + table + "')")) {
      select += select.empty() ? "" : ", ";
      select += column.find("guid") != std::string::npos ? "'guid'" : "quote(\"" + column + "\")";
    }
    std::vector<std::string> rows = db.rows("SELECT " + select + " FROM \"" + table + "\"");
    std::sort(rows.begin(), rows.end());
    text += table + ":\n";
    for (const std::string& row : rows) text += "  " + row + "\n";
  }
  return text;
}

namespace write_detail {

inline std::wstring numbered(const wchar_t* prefix, int i) { return prefix + std::to_wstring(i); }

inline std::shared_ptr<Library> newLibrary(const std::string& path) {
  auto library = Library::create(OdString(path), LibraryUnit::Millimeter);
  if (!library) throw std::runtime_error("cannot create " + path);
  return library;
}

// A material as a catalogue author makes one: a new type, an existing and a new
// tag, a physical and a BIM asset with a new layer and thicknesses.
inline TnSmartPtr<Material> richMaterial(const std::wstring& name) {
  auto material = Material::create(OdString(name.c_str()), MaterialType::create(L"Masonry"));
  material->set_description(L"fired clay \xE4 \U0001D11E");
  material->add_tag(L"red");
  material->add_tag(OdString((L"tag of " + name).c_str()));
  auto physical = PhysicalAsset::create(OdString((name + L" physical").c_str()));
  physical->set_density(1800);
  physical->set_thermal_conductivity(0.8);
  material->set_physical_asset(physical);
  auto bim = BimAsset::create(OdString((name + L" BIM").c_str()));
  bim->set_layer(Layer::create(L"A-WALL"));
  bim->set_thicknesses() = {115, 240};
  material->set_bim_asset(bim);
  return material;
}

// Saves every object in one transaction of the caller's.
template <class T>
bool saveAll(Session& s, const std::vector<TnSmartPtr<T>>& objects) {
  Transaction transaction(s.library, Transaction::kBeginCurrent);
  for (const auto& object : objects) {
    if (!s.library->save(object)) return false;
  }
  transaction.commit();
  return true;
}

// A catalogue of `count` materials, every third one in a wall.
inline void materialsAndWalls(const std::string& path, int count) {
  auto library = newLibrary(path);
  Transaction transaction(library, Transaction::kBeginCurrent);
  auto wall = Composition::create(L"Wall");
  for (int i = 0; i < count; ++i) {
    auto material = library->save(richMaterial(numbered(L"Existing ", i)));
    if (i % 3 == 0) wall->append_ply(Composition::Ply(material, MaterialFunction::Structure, 100.0 + i));
  }
  library->save(wall);
  transaction.commit();
}

inline Write openWrite() {
  return [](Session& s) {
    s.library = Library::open(OdString(s.path));
    return s.library != nullptr;
  };
}

}  // namespace write_detail

inline std::vector<WriteOperation> writeOperations() {
  using namespace write_detail;
  std::vector<WriteOperation> out;

  out.push_back({"SaveMaterial", false,
                 [](const std::string& path, int) { materialsAndWalls(path, 2); },
                 [](const std::string&, int scale) -> Write {
                   std::vector<TnSmartPtr<Material>> materials;
                   for (int i = 0; i < scale; ++i) materials.push_back(richMaterial(numbered(L"Brick ", i)));
                   return [materials](Session& s) { return saveAll(s, materials); };
                 }});

  out.push_back({"SaveComposition", false,
                 [](const std::string& path, int) { materialsAndWalls(path, 2); },
                 [](const std::string&, int scale) -> Write {
                   std::vector<TnSmartPtr<Composition>> walls;
                   for (int i = 0; i < scale; ++i) {
                     auto wall = Composition::create(OdString(numbered(L"Wall ", i).c_str()));
                     wall->set_composition_type(CompositionType::create(L"External wall"));
                     wall->add_tag(L"outer");
                     for (int k = 0; k < 3; ++k)
                       wall->append_ply(Composition::Ply(richMaterial(numbered(L"Ply ", i * 3 + k)),
                                                         MaterialFunction::Structure, 50.0 + k));
                     walls.push_back(wall);
                   }
                   return [walls](Session& s) {
                     // One ply is a material already stored.
                     auto existing = s.library->get<Material>(NameKey(L"Existing 0"));
                     for (const auto& wall : walls) wall->set_ply(0).material = existing;
                     return saveAll(s, walls);
                   };
                 }});

  out.push_back({"Remove", false,
                 [](const std::string& path, int scale) { materialsAndWalls(path, 3 + 20 * (scale - 1)); },
                 [](const std::string&, int) -> Write {
                   return [](Session& s) {
                     std::vector<TnSmartPtr<Material>> all;
                     s.library->get<Material>(all);
                     std::set<std::uint32_t> ids;
                     for (const auto& m : all) ids.insert(m->id());
                     Library::RemoveResults results;
                     s.library->remove<Material>(ids, results);
                     return true;
                   };
                 }});

  out.push_back({"Purge", false,
                 [](const std::string& path, int scale) { materialsAndWalls(path, 3 + 20 * (scale - 1)); },
                 [](const std::string&, int) -> Write {
                   return [](Session& s) {
                     s.library->purge();
                     return true;
                   };
                 }});

  out.push_back({"MigrateOldFile", true,
                 [](const std::string& path, int scale) {
                   writeOldLibrary(path, 1004, kLibraryGuid);
                   RawDb db(path);
                   fillTables(db, 1004, 2 * scale);
                 },
                 [](const std::string&, int) { return openWrite(); }});

  out.push_back({"ConvertLegacyFile", true,
                 [](const std::string& path, int scale) {
                   writeBimlib(path, 1008);
                   RawDb db(path);
                   fillBimlib(db, 1008);
                   db.exec("BEGIN");
                   for (int i = 0; i < 20 * (scale - 1); ++i)
                     db.exec("INSERT INTO bimlib_Tag VALUES (" + std::to_string(100 + i) + ", 'tag " + std::to_string(i) + "')");
                   db.exec("COMMIT");
                 },
                 [](const std::string&, int) { return openWrite(); }});

  out.push_back({"ImportXml", false,
                 [](const std::string& path, int scale) {
                   materialsAndWalls(path, 2);
                   materialsAndWalls(path + ".source", 3 * scale);
                   auto source = Library::open(OdString(path + ".source"), true);
                   pugi::xml_document document;
                   pugi::xml_node root = document.append_child("library");
                   Library::ExportOptions options;
                   options.referencesByName = true;
                   source->exportToXml(root, options);
                   document.save_file((path + ".xml").c_str());
                 },
                 [](const std::string& path, int) -> Write {
                   auto document = std::make_shared<pugi::xml_document>();
                   document->load_file((path + ".xml").c_str());
                   return [document](Session& s) {
                     pugi::xml_node root = document->document_element();
                     s.library->importFromXml(root, Library::ImportOptions());
                     return true;
                   };
                 }});

  out.push_back({"CopyCompositions", false,
                 [](const std::string& path, int scale) {
                   materialsAndWalls(path, 2);
                   materialsAndWalls(path + ".source", 3 * scale);
                 },
                 [](const std::string& path, int) -> Write {
                   const std::string source = path + ".source";
                   return [source](Session& s) {
                     s.library->copyAll<Composition>(Library::open(OdString(source), true));
                     return true;
                   };
                 }});

  out.push_back({"Sync", false,
                 [](const std::string& path, int scale) {
                   materialsAndWalls(path, 3 * scale);
                   materialsAndWalls(path + ".source", 4 * scale);
                   // The source differs in every other material and has more.
                   RawDb db(path + ".source");
                   db.exec("UPDATE tarnlib_Material SET description = 'changed' WHERE id % 2 = 0");
                 },
                 [](const std::string& path, int) -> Write {
                   const std::string source = path + ".source";
                   return [source](Session& s) {
                     s.library->syncAll(Library::open(OdString(source), true), {}, nullptr, nullptr);
                     return true;
                   };
                 }});
  return out;
}

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_WRITE_OPERATIONS_H_
