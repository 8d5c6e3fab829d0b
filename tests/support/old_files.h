// Builders of library files as older versions and the legacy layouts left them,
// and canonical texts of a file's schema and rows to compare files by content.
#ifndef TARNLIB_TESTS_SUPPORT_OLD_FILES_H_
#define TARNLIB_TESTS_SUPPORT_OLD_FILES_H_

#include <gtest/gtest.h>

#include <boost/uuid/detail/sha1.hpp>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/migration_internal.h"
#include "core/schema.h"
#include "sql.h"
#include "tarnlib/library.h"

namespace tarnlib::testing {

inline std::vector<const db::Table*> tablesAt(int version) {
  std::vector<const db::Table*> out;
  for (const db::Table& t : schema::tables()) {
    if (t.since() <= version) out.push_back(&t);
  }
  return out;
}

inline std::vector<std::string> columnsAt(const db::Table& table, int version) {
  std::vector<std::string> out;
  for (const db::Column& c : table.columns()) {
    if (c.since <= version) out.push_back(c.name);
  }
  return out;
}

// The version table as the mapper creates it, without "compatibility".
inline void writeVersionRow(RawDb& db, const std::string& schema, int version, int migration = 0) {
  db.exec(
      "CREATE TABLE IF NOT EXISTS \"schema_version\" (\n"
      "  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
      "  \"version\" INTEGER NOT NULL,\n"
      "  \"migration\" INTEGER NOT NULL)");
  db.exec("INSERT INTO schema_version VALUES ('" + schema + "', " + std::to_string(version) + ", " +
          std::to_string(migration) + ")");
}

// A file of the current schema as version `version` (1003 to 1012) left it:
// every table that existed then, with the columns it had, and one metadata row.
inline void writeOldLibrary(const std::string& path, int version, const std::string& libraryGuid) {
  RawDb db(path);
  db.exec("BEGIN");
  for (const db::Table* t : tablesAt(version)) {
    db.exec(t->createSql(version));
    for (const std::string& index : t->indexSql()) db.exec(index);
  }
  writeVersionRow(db, "tarnlib", version);
  db.exec("INSERT INTO tarnlib_Meta VALUES (1, '" + libraryGuid + "', 1, 'de', 'AT')");
  db.exec("COMMIT");
}

// Puts rows 1..`rows` into every table but the metadata one. Each value is made
// of its table, column and row, so unique indexes hold; every reference points
// at the row with the same number in its target table.
inline void fillTables(RawDb& db, int version, int rows) {
  db.exec("BEGIN");
  for (const db::Table* t : tablesAt(version)) {
    if (t->name() == "tarnlib_Meta") continue;
    for (int r = 1; r <= rows; ++r) {
      std::string names;
      std::string values;
      for (const db::Column& c : t->columns()) {
        if (c.since > version) continue;
        std::string value;
        if (c.name == "typeid") {
          value = "'tarnlib::" + t->name().substr(8) + "'";
        } else if (c.name == "index") {
          value = "0";
        } else if (c.name == "id" || !c.refTable.empty()) {
          value = std::to_string(r);
        } else if (c.type == db::ColumnType::Text) {
          value = "'" + t->name().substr(8) + "." + c.name + " \xC3\xA4\xF0\x9D\x84\x9E " +
                  std::to_string(r) + "'";
        } else if (c.type == db::ColumnType::Real) {
          value = std::to_string(r) + ".25";
        } else {
          value = std::to_string(r + 40);
        }
        names += (names.empty() ? "" : ", ") + db::quote(c.name);
        values += (values.empty() ? "" : ", ") + value;
      }
      db.exec("INSERT INTO " + db::quote(t->name()) + " (" + names + ") VALUES (" + values + ")");
    }
  }
  db.exec("COMMIT");
}

// Each table that existed at `version`, with its rows in rowid order, each
// row the SQL literals of the columns that existed then.
inline std::map<std::string, std::vector<std::string>> rowsAt(RawDb& db, int version) {
  std::map<std::string, std::vector<std::string>> out;
  for (const db::Table* t : tablesAt(version)) {
    std::string select;
    for (const std::string& c : columnsAt(*t, version)) {
      select += (select.empty() ? "quote(" : ", quote(") + db::quote(c) + ")";
    }
    out[t->name()] =
        db.rows("SELECT " + select + " FROM " + db::quote(t->name()) + " ORDER BY rowid");
  }
  return out;
}

// The schema of a file as SQLite understands it, whatever the CREATE texts:
// per table its columns, indexes and foreign keys, each as a sorted set.
using LogicalSchema = std::map<std::string, std::string>;

inline LogicalSchema logicalSchema(RawDb& db) {
  LogicalSchema out;
  for (const std::string& table : db.rows("SELECT name FROM sqlite_master WHERE type = 'table'")) {
    const std::string q = "'" + table + "'";
    auto sorted = [&](const std::string& sql) {
      std::vector<std::string> rows = db.rows(sql);
      return std::set<std::string>(rows.begin(), rows.end());
    };
    std::string& text = out[table];
    for (const std::string& row :
         sorted("SELECT name, type, \"notnull\", dflt_value, pk FROM pragma_table_info(" + q + ")"))
      text += "column " + row + "\n";
    for (const std::string& row :
         sorted("SELECT name, \"unique\" FROM pragma_index_list(" + q + ")"))
      text += "index " + row + "\n";
    for (const std::string& row :
         sorted("SELECT \"table\", \"from\", \"to\" FROM pragma_foreign_key_list(" + q + ")"))
      text += "key " + row + "\n";
  }
  return out;
}

// The tables in which two schemas differ, each with both descriptions; empty
// when they are the same.
inline std::string schemaDifferences(const LogicalSchema& actual, const LogicalSchema& expected) {
  std::string out;
  std::set<std::string> names;
  for (const auto& entry : actual) names.insert(entry.first);
  for (const auto& entry : expected) names.insert(entry.first);
  for (const std::string& name : names) {
    const auto a = actual.find(name);
    const auto e = expected.find(name);
    const std::string have = a == actual.end() ? "(missing)\n" : a->second;
    const std::string want = e == expected.end() ? "(missing)\n" : e->second;
    if (have != want) out += name + "\nhas:\n" + have + "wants:\n" + want;
  }
  return out;
}

// Checks that the file at `path` is a current library: its version row, and
// its tables as SQLite sees them against those of a library newly created at
// `freshPath` (made on the first call).
inline void expectCurrentSchema(const std::string& path, const std::string& freshPath) {
  if (!std::filesystem::exists(freshPath)) {
    ASSERT_TRUE(Library::create(OdString(freshPath), LibraryUnit::Millimeter));
  }
  RawDb db(path);
  RawDb fresh(freshPath);
  EXPECT_EQ(db.rows("SELECT name, version, migration, compatibility FROM schema_version"),
            std::vector<std::string>{"tarnlib|1013|0|1000"});
  EXPECT_EQ(schemaDifferences(logicalSchema(db), logicalSchema(fresh)), "");
}

// A 'bimlib' file at `version` (1000 to 1008) with no rows: the base tables and
// the steps up to `version`, as the converter itself defines them.
inline void writeBimlib(const std::string& path, int version) {
  RawDb db(path);
  db.exec("BEGIN");
  for (int v = schema::legacy::kBimlibBase; v <= version; ++v) {
    for (const std::string& sql : schema::legacy::bimlibStep(v)) db.exec(sql);
  }
  writeVersionRow(db, "bimlib", version);
  db.exec("COMMIT");
}

inline constexpr const char* kLibraryGuid = "0b9d2c4e-5a61-4f7b-8c3d-2e1f0a9b8c7d";

// Brick and mineral wool in a wall, with the same values in both layouts: `p`
// is the table prefix, "bimlib_" or none; the unprefixed layout may lack the
// layer columns of materials or compositions and names some columns its own way.
inline void insertCommonRows(RawDb& db, const std::string& p, bool materialLayer = true,
                      bool compositionLayer = true) {
  const bool bimlib = !p.empty();
  db.exec("INSERT INTO " + p + "Meta VALUES (1, '" + kLibraryGuid + "', 0, 'de', 'CH');"
          "INSERT INTO " + p + "Tag VALUES (3, 'warm'), (7, 'outer \xF0\x9D\x84\x9E');"
          "INSERT INTO " + p + "CustomProperty VALUES (2, 'fire class', 4);"
          "INSERT INTO " + p + "Layer VALUES (5, 'A-WALL'), (9, 'A-WALL-INSL');"
          "INSERT INTO " + p + "MaterialType VALUES (4, 'Masonry');"
          "INSERT INTO " + p + "Material (id, name, type_id, description, comments, appearance, "
          "cut_pattern_type, cut_pattern_name, cut_pattern_scale, cut_pattern_angle, "
          "cut_pattern_cross, surface_pattern_type, surface_pattern_name, surface_pattern_scale, "
          "surface_pattern_angle, surface_pattern_cross, label, manufacturer, mark, model, "
          "classification, cost, keynote, url, " + (bimlib ? "unique_code, " : "code, ") +
          (materialLayer ? "layer_id, " : "") +
          (bimlib ? "default_function, variable_thickness" : "function, allow_custom_thickness") +
          ") VALUES "
          "(11, 'Brick', 4, 'Clay brick', 'fired', 'red', 2, 'ANSI31', 2.5, 45.0, 1, 0, 'Solid', 1.0, "
          "0.0, 0, 'B', 'Acme', 'M1', 'NF', 'Pr_20', '12.50', 'K-04', 'http://b', 'BR-1', " +
          (materialLayer ? "5, " : "") + "2, 0),"
          "(12, 'Mineral wool \xC3\xA4', 4, '', '', '', -1, '', 1.0, 0.0, 0, -1, '', 1.0, 0.0, 0, "
          "'', '', '', '', '', '', '', '', NULL, " + (materialLayer ? "NULL, " : "") + "3, 1);"
          "INSERT INTO " + p + "Material_thicknesses VALUES (11, 115.0), (11, 240.0), (12, 50.0);"
          "INSERT INTO " + p + "Material_tags VALUES (11, 0, 3), (11, 1, 7);"
          "INSERT INTO " + p + "Material_custom_values VALUES (11, 2, 'A1');"
          "INSERT INTO " + p + "Composition VALUES (31, 'Wall 365', 128, 'outer wall', " +
          (compositionLayer ? "9, " : "") + "'c', 0, 1, 0, 1);"
          "INSERT INTO " + p + "Composition_tags VALUES (31, 0, 7);"
          "INSERT INTO " + p + (bimlib ? "Composition_plies" : "Composition_layers") +
          " VALUES (31, 0, 11, 1, 240.0), (31, 1, 12, 2, 125.0);"
          "INSERT INTO " + p + "Composition_custom_values VALUES (31, 2, 'REI 90');");
}

// The rows of insertCommonRows and, where the 'bimlib' version is new enough,
// what later versions added.
inline void fillBimlib(RawDb& db, int version) {
  insertCommonRows(db, "bimlib_");
  db.exec("INSERT INTO bimlib_Site (id, name, description) VALUES (1, 'Campus', '');"
          "INSERT INTO bimlib_Site_custom_values VALUES (1, 2, 'x')");
  // Between the steps that dropped and re-created them there were no buildings.
  if (version != 1003) {
    db.exec(
        "INSERT INTO bimlib_SpatialStructure (id, typeid, name, description) "
        "VALUES (1, 'bimlib::Building', 'Hall', '');"
        "INSERT INTO bimlib_SpatialStructure_custom_values VALUES (1, 2, 'y');"
        "INSERT INTO bimlib_Building (id) VALUES (1)");
  }
  if (version >= 1002) db.exec("UPDATE bimlib_Material SET union_section = 1 WHERE id = 11");
  if (version >= 1006) {
    db.exec(
        "INSERT INTO bimlib_Asset VALUES (21, 'bimlib::PhysicalAsset');"
        "INSERT INTO bimlib_PhysicalAsset VALUES (21, 'Clay', 'fired clay', 1800.0, 840.0, 0.8);"
        "UPDATE bimlib_Material SET physical_asset_id = 21 WHERE id = 11");
  }
}

// A file of the oldest, unprefixed layout with no rows.
inline void writeUnprefixed(const std::string& path, bool materialLayer, bool compositionLayer) {
  RawDb db(path);
  db.exec("BEGIN");
  for (const std::string& sql : schema::legacy::unprefixedLayout(materialLayer, compositionLayer))
    db.exec(sql);
  writeVersionRow(db, "", 1);
  db.exec("COMMIT");
}

// The name-based GUID that a library should store for `name` (UTF-8) in the
// namespace `ns`, worked out here on its own: SHA-1 over the namespace bytes and
// each UTF-16 code unit of the name widened to low, high, 0, 0; version 5.
inline std::string expectedNameGuid(const std::string& ns, const std::string& name) {
  std::vector<unsigned char> input;
  auto hex = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::string digits;
  for (char c : ns)
    if (c != '-') digits += c;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    input.push_back(static_cast<unsigned char>(hex(digits[i]) << 4 | hex(digits[i + 1])));
  for (std::size_t i = 0; i < name.size();) {
    const auto lead = static_cast<unsigned char>(name[i]);
    const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint32_t cp = length == 1 ? lead : lead & (0x7F >> length);
    for (int k = 1; k < length; ++k)
      cp = cp << 6 | (static_cast<unsigned char>(name[i + k]) & 0x3F);
    i += static_cast<std::size_t>(length);
    std::vector<std::uint32_t> units{cp};
    if (cp > 0xFFFF) units = {0xD800 + ((cp - 0x10000) >> 10), 0xDC00 + ((cp - 0x10000) & 0x3FF)};
    for (std::uint32_t unit : units) {
      for (unsigned char b : {unit & 0xFF, unit >> 8, 0u, 0u}) input.push_back(b);
    }
  }
  boost::uuids::detail::sha1 sha;
  sha.process_bytes(input.data(), input.size());
  boost::uuids::detail::sha1::digest_type digest;
  sha.get_digest(digest);
  unsigned char bytes[16];
  for (int i = 0; i < 16; ++i) {
    if constexpr (sizeof(digest[0]) == 1) {
      bytes[i] = static_cast<unsigned char>(digest[i]);
    } else {
      bytes[i] = static_cast<unsigned char>(digest[i / 4] >> (24 - 8 * (i % 4)));
    }
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x50);
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
  std::string out;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
    out += "0123456789abcdef"[bytes[i] >> 4];
    out += "0123456789abcdef"[bytes[i] & 0x0F];
  }
  return out;
}

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_OLD_FILES_H_
