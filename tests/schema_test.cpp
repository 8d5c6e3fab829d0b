#include "core/schema.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tarnlib::db::Table;
using tarnlib::db::TableKind;
namespace schema = tarnlib::schema;

using Db = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;

Db openMemory() {
  sqlite3* raw = nullptr;
  EXPECT_EQ(sqlite3_open(":memory:", &raw), SQLITE_OK);
  return Db(raw, &sqlite3_close);
}

void exec(sqlite3* db, const std::string& sql) {
  char* error = nullptr;
  const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error);
  EXPECT_EQ(rc, SQLITE_OK) << (error ? error : "") << "\n" << sql;
  sqlite3_free(error);
}

// Rows of a PRAGMA, each as the texts of the given columns joined by '|'.
std::vector<std::string> pragmaRows(sqlite3* db, const std::string& pragma,
                                    std::initializer_list<int> columns) {
  sqlite3_stmt* stmt = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, pragma.c_str(), -1, &stmt, nullptr), SQLITE_OK) << pragma;
  std::vector<std::string> rows;
  while (sqlite3_step(stmt) == SQLITE_ROW) {
    std::string row;
    for (int c : columns) {
      if (!row.empty()) row += '|';
      const unsigned char* text = sqlite3_column_text(stmt, c);
      row += text ? reinterpret_cast<const char*>(text) : "NULL";
    }
    rows.push_back(row);
  }
  sqlite3_finalize(stmt);
  return rows;
}

// Creates every table that exists at `version` (0 = current) with its indexes.
void createAll(sqlite3* db, int version) {
  for (const Table& t : schema::tables()) {
    if (version != 0 && t.since() > version) continue;
    exec(db, t.createSql(version));
    for (const std::string& sql : t.indexSql()) exec(db, sql);
  }
}

TEST(Schema, TableListInCreationOrder) {
  const std::vector<Table>& all = schema::tables();
  ASSERT_EQ(all.size(), 53u);
  std::set<std::string> names;
  for (const Table& t : all) {
    EXPECT_EQ(t.name().rfind("tarnlib_", 0), 0u) << t.name();
    EXPECT_TRUE(names.insert(t.name()).second) << "twice: " << t.name();
  }
  const std::vector<std::string> first = {"tarnlib_Meta", "tarnlib_Tag", "tarnlib_CustomProperty",
                                          "tarnlib_Layer", "tarnlib_Asset"};
  const std::vector<std::string> middle = {"tarnlib_Profile", "tarnlib_Profile_merge_guids",
                                           "tarnlib_CustomProfile", "tarnlib_ParametrizedProfile",
                                           "tarnlib_CircleProfile"};
  const std::vector<std::string> last = {"tarnlib_ValueDefinition", "tarnlib_PropertySet",
                                         "tarnlib_PropertySet_definitions",
                                         "tarnlib_PropertySet_entity_types"};
  for (size_t i = 0; i < first.size(); ++i) EXPECT_EQ(all[i].name(), first[i]);
  for (size_t i = 0; i < middle.size(); ++i) EXPECT_EQ(all[21 + i].name(), middle[i]);
  for (size_t i = 0; i < last.size(); ++i) EXPECT_EQ(all[49 + i].name(), last[i]);
  EXPECT_EQ(all[40].name(), "tarnlib_AsymmetricIShapeProfile");
  EXPECT_EQ(all[41].name(), "tarnlib_Measure");

  EXPECT_EQ(&schema::table("tarnlib_Unit"), &all[42]);
  EXPECT_THROW(schema::table("tarnlib_Nothing"), std::out_of_range);
}

TEST(Schema, DdlTextsAsTheFileStoresThem) {
  const Table& bim = schema::table("tarnlib_BimAsset");
  EXPECT_EQ(bim.createSql(),
            "CREATE TABLE \"tarnlib_BimAsset\" (\n"
            "  \"id\" INTEGER NOT NULL PRIMARY KEY,\n"
            "  \"name\" TEXT NOT NULL,\n"
            "  \"description\" TEXT NOT NULL,\n"
            "  \"layer_id\" INTEGER NULL,\n"
            "  \"layer_elevation_id\" INTEGER NULL,\n"
            "  \"union_section\" INTEGER NOT NULL DEFAULT 0,\n"
            "  \"union_elevation\" INTEGER NOT NULL DEFAULT 0,\n"
            "  \"default_function\" INTEGER NOT NULL DEFAULT 0,\n"
            "  \"variable_thickness\" INTEGER NOT NULL DEFAULT 1,\n"
            "  CONSTRAINT \"id_fk\"\n"
            "    FOREIGN KEY (\"id\")\n"
            "    REFERENCES \"tarnlib_Asset\" (\"id\")\n"
            "    ON DELETE CASCADE,\n"
            "  CONSTRAINT \"layer_id_fk\"\n"
            "    FOREIGN KEY (\"layer_id\")\n"
            "    REFERENCES \"tarnlib_Layer\" (\"id\")\n"
            "    DEFERRABLE INITIALLY DEFERRED,\n"
            "  CONSTRAINT \"layer_elevation_id_fk\"\n"
            "    FOREIGN KEY (\"layer_elevation_id\")\n"
            "    REFERENCES \"tarnlib_Layer\" (\"id\")\n"
            "    DEFERRABLE INITIALLY DEFERRED)");
  EXPECT_EQ(bim.indexSql(), std::vector<std::string>{"CREATE UNIQUE INDEX \"tarnlib_BimAsset_name_i\"\n"
                                                     "  ON \"tarnlib_BimAsset\" (\"name\")"});

  // Before steps 1005 and 1006 the two elevation columns and their constraint were absent.
  const std::string old = bim.createSql(1003);
  EXPECT_EQ(old.find("union_elevation"), std::string::npos);
  EXPECT_EQ(old.find("layer_elevation_id"), std::string::npos);
  EXPECT_NE(old.find("\"union_section\" INTEGER NOT NULL DEFAULT 0,\n  \"default_function\""),
            std::string::npos);

  EXPECT_EQ(schema::table("tarnlib_CustomProperty").indexSql(),
            std::vector<std::string>{"CREATE UNIQUE INDEX \"tarnlib_CustomProperty_object_type_name_i\"\n"
                                     "  ON \"tarnlib_CustomProperty\" (\n"
                                     "    \"object_type\",\n"
                                     "    \"name\")"});
}

TEST(Schema, ReferencesAndParentsResolve) {
  const std::vector<Table>& all = schema::tables();
  std::set<std::string> created;
  for (const Table& t : all) {
    if (t.kind() == TableKind::Derived || t.kind() == TableKind::Container) {
      EXPECT_TRUE(created.count(t.parent())) << t.name() << " before its parent " << t.parent();
    }
    for (const auto& c : t.columns()) {
      if (!c.refTable.empty()) {
        EXPECT_NO_THROW(schema::table(c.refTable)) << t.name() << "." << c.name;
      }
    }
    created.insert(t.name());
  }
}

TEST(Schema, CreatesInSqliteAtCurrentAndOldestVersion) {
  Db db = openMemory();
  exec(db.get(), "PRAGMA foreign_keys=ON");
  createAll(db.get(), 0);

  // id, table, from, to, on_delete of each foreign key.
  using Rows = std::vector<std::string>;
  auto keys = [&](const std::string& table) {
    Rows rows = pragmaRows(db.get(), "PRAGMA foreign_key_list(\"" + table + "\")", {2, 3, 6});
    return std::set<std::string>(rows.begin(), rows.end());
  };
  using Keys = std::set<std::string>;
  EXPECT_EQ(keys("tarnlib_Material"),
            (Keys{"tarnlib_MaterialType|type_id|NO ACTION",
                  "tarnlib_InformationAsset|information_asset_id|NO ACTION",
                  "tarnlib_PhysicalAsset|physical_asset_id|NO ACTION",
                  "tarnlib_BimAsset|bim_asset_id|NO ACTION"}));
  EXPECT_EQ(keys("tarnlib_Composition_plies"),
            (Keys{"tarnlib_Composition|object_id|CASCADE", "tarnlib_Material|material_id|NO ACTION"}));
  EXPECT_EQ(keys("tarnlib_AsymmetricIShapeProfile"), (Keys{"tarnlib_IShapeProfile|id|CASCADE"}));
  EXPECT_EQ(keys("tarnlib_DefaultUnit"),
            (Keys{"tarnlib_Measure|measure_id|NO ACTION", "tarnlib_Unit|unit_id|NO ACTION"}));
  EXPECT_EQ(pragmaRows(db.get(), "PRAGMA table_info(\"tarnlib_DefaultUnit\")", {1, 5}),
            (Rows{"measure_id|1", "unit_id|0"}));
  EXPECT_EQ(pragmaRows(db.get(), "PRAGMA index_list(\"tarnlib_PropertySet_definitions\")", {1, 2}),
            (Rows{"tarnlib_PropertySet_definitions_index_i|0",
                  "tarnlib_PropertySet_definitions_object_id_i|0"}));

  // A file of the oldest migratable version: no profile, unit or property tables,
  // and the columns of later steps missing.
  Db old = openMemory();
  createAll(old.get(), schema::kOldestMigratableVersion);
  EXPECT_EQ(pragmaRows(old.get(), "SELECT count(*) FROM sqlite_master WHERE type='table' AND "
                                  "name LIKE 'tarnlib\\_%' ESCAPE '\\'", {0}),
            Rows{"17"});
  EXPECT_EQ(pragmaRows(old.get(), "SELECT count(*) FROM pragma_table_info('tarnlib_Material')", {0}),
            Rows{"19"});
  EXPECT_EQ(pragmaRows(old.get(), "SELECT count(*) FROM pragma_table_info('tarnlib_Composition')", {0}),
            Rows{"12"});
}

}  // namespace
