// Conversion of the two legacy layouts into the current schema: the oldest,
// unprefixed tables are first copied into the 'bimlib' schema, and the 'bimlib'
// schema (migrated within its own steps first) is then copied into the current
// tables. Everything runs inside the opening transaction with foreign keys off;
// an error propagates and the opening rolls the file back, except for a legacy
// material that cannot be written, which is skipped.
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "core/migration_internal.h"
#include "core/savepoint.h"
#include "core/schema_setup.h"
#include "db/error.h"
#include "db/table.h"

namespace tarnlib::schema {

namespace legacy {

namespace {

using db::ContainerKind;
using db::Table;

// The layouts below are the ones this converter reads: what the copy statements
// further down take from them, which is what the current tables need, and
// nothing more. The tests build their legacy files from these same texts.

void patternColumns(Table& t, const std::string& prefix) {
  t.integer(prefix + "type", "-1")
      .text(prefix + "name")
      .real(prefix + "scale", "1")
      .real(prefix + "angle", "0")
      .integer(prefix + "cross", "0");
}

// The identity data that a current material keeps in its information asset.
void identityColumns(Table& t, const char* codeColumn) {
  t.text("label")
      .text("manufacturer")
      .text("mark")
      .text("model")
      .text("classification")
      .text("cost")
      .text("keynote")
      .text("url")
      .text(codeColumn).nullable();
}

Table customValues(const std::string& owner, const std::string& property) {
  return Table::container(owner + "_custom_values", owner, ContainerKind::Map)
      .reference("property_id", property).nullable()
      .text("value");
}

Table tags(const std::string& owner, const std::string& tag) {
  return Table::container(owner + "_tags", owner, ContainerKind::Ordered).reference("tag_id", tag);
}

struct Step {
  int version;
  std::vector<Table> creates;
  std::vector<std::string> statements;  // after the new tables
};

std::vector<Table> bimlibBaseTables() {
  std::vector<Table> out;
  Table meta = Table::plain("bimlib_Meta");
  meta.integer("id").primaryKey().text("guid").integer("unit", "1").text("locale").text("region");
  out.push_back(meta);
  out.push_back(Table::root("bimlib_Tag").text("name").uniqueIndex("name", {"name"}));
  // Its unique index had a name without the table's until step 1005.
  out.push_back(Table::root("bimlib_CustomProperty").text("name").integer("object_type", "0"));
  out.push_back(Table::root("bimlib_Layer").text("name").uniqueIndex("name", {"name"}));
  out.push_back(Table::root("bimlib_MaterialType").text("name").uniqueIndex("name", {"name"}));

  // One row held a material with its identity and BIM data; "union_section"
  // (1002) and "physical_asset_id" (1006) came later.
  Table material = Table::root("bimlib_Material");
  material.text("name")
      .reference("type_id", "bimlib_MaterialType")
      .text("description")
      .text("comments")
      .text("appearance");
  patternColumns(material, "cut_pattern_");
  patternColumns(material, "surface_pattern_");
  identityColumns(material, "unique_code");
  material.reference("layer_id", "bimlib_Layer").nullable()
      .integer("default_function", "0")
      .integer("variable_thickness", "1")
      .uniqueIndex("name", {"name"});
  out.push_back(material);
  out.push_back(tags("bimlib_Material", "bimlib_Tag"));
  out.push_back(Table::container("bimlib_Material_thicknesses", "bimlib_Material",
                                 ContainerKind::Set)
                    .real("thickness").nullable());
  out.push_back(customValues("bimlib_Material", "bimlib_CustomProperty"));

  out.push_back(Table::root("bimlib_Composition")
                    .text("name")
                    .integer("type", "128")
                    .text("description")
                    .reference("layer_id", "bimlib_Layer").nullable()
                    .text("comments")
                    .integer("first_core_ply", "0")
                    .integer("last_core_ply", "0")
                    .integer("structural_ply", "0")
                    .integer("variable_ply").nullable()
                    .uniqueIndex("name", {"name"}));
  out.push_back(tags("bimlib_Composition", "bimlib_Tag"));
  out.push_back(Table::container("bimlib_Composition_plies", "bimlib_Composition",
                                 ContainerKind::Ordered)
                    .reference("material_id", "bimlib_Material")
                    .integer("function", "0")
                    .real("thickness", "1").nullable());
  out.push_back(customValues("bimlib_Composition", "bimlib_CustomProperty"));

  // The spatial tables are not carried over; they are here so that the steps
  // that change them run as they did.
  out.push_back(Table::root("bimlib_Site").text("name").text("description"));
  out.push_back(customValues("bimlib_Site", "bimlib_CustomProperty"));
  out.push_back(Table::root("bimlib_SpatialStructure", true).text("name").text("description"));
  out.push_back(customValues("bimlib_SpatialStructure", "bimlib_CustomProperty"));
  out.push_back(Table::derived("bimlib_Building", "bimlib_SpatialStructure")
                    .reference("site_id", "bimlib_Site").nullable());
  out.push_back(Table::derived("bimlib_Story", "bimlib_SpatialStructure")
                    .reference("building_id", "bimlib_Building").nullable()
                    .real("elevation", "0"));
  return out;
}

// Buildings and storeys became a tree of spatial structures at step 1004.
std::vector<Table> bimlibSpatialTables() {
  std::vector<Table> out;
  out.push_back(Table::root("bimlib_SpatialStructure", true)
                    .text("name")
                    .text("description")
                    .reference("parent_id", "bimlib_SpatialStructure").nullable()
                    .reference("site_id", "bimlib_Site").nullable());
  out.push_back(customValues("bimlib_SpatialStructure", "bimlib_CustomProperty"));
  out.push_back(Table::derived("bimlib_Building", "bimlib_SpatialStructure"));
  out.push_back(Table::derived("bimlib_Story", "bimlib_SpatialStructure").real("elevation", "0"));
  return out;
}

std::vector<Table> bimlibAssetTables() {
  std::vector<Table> out;
  out.push_back(Table::root("bimlib_Asset", true));
  out.push_back(Table::derived("bimlib_PhysicalAsset", "bimlib_Asset")
                    .text("name")
                    .text("description")
                    .real("density").nullable()
                    .real("specific_heat").nullable()
                    .real("thermal_conductivity").nullable()
                    .uniqueIndex("name", {"name"}));
  return out;
}

std::string addColumn(const char* table, const char* column) {
  return std::string("ALTER TABLE \"") + table + "\"\n  ADD COLUMN " + column;
}

std::vector<std::string> addressColumns(const char* table) {
  std::vector<std::string> out;
  for (const char* part : {"street", "city", "postal_code", "country"}) {
    const std::string column = std::string("\"address_") + part + "\" TEXT NOT NULL DEFAULT ''";
    out.push_back(addColumn(table, column.c_str()));
  }
  return out;
}

std::vector<std::string> buildingColumns(const char* table) {
  std::vector<std::string> out = addressColumns(table);
  out.push_back(addColumn(table, "\"fire_rating\" TEXT NOT NULL DEFAULT ''"));
  out.push_back(addColumn(table, "\"sprinkler_protected\" INTEGER NOT NULL DEFAULT 0"));
  out.push_back(addColumn(table, "\"gross_area\" REAL NULL"));
  out.push_back(addColumn(table, "\"storey_number\" INTEGER NULL"));
  return out;
}

const std::vector<Step>& bimlibSteps() {
  static const std::vector<Step> all = [] {
    std::vector<Step> out;
    out.push_back({kBimlibBase,
                   bimlibBaseTables(),
                   {"CREATE UNIQUE INDEX \"bimlib_object_type_name_i\"\n"
                    "  ON \"bimlib_CustomProperty\" (\n    \"object_type\",\n    \"name\")"}});
    out.push_back({1001, {}, {}});
    out.push_back(
        {1002, {}, {addColumn("bimlib_Material", "\"union_section\" INTEGER NOT NULL DEFAULT 0")}});
    out.push_back({1003,
                   {},
                   {"DROP TABLE IF EXISTS \"bimlib_Story\"",
                    "DROP TABLE IF EXISTS \"bimlib_Building\"",
                    "DROP TABLE IF EXISTS \"bimlib_SpatialStructure_custom_values\"",
                    "DROP TABLE IF EXISTS \"bimlib_SpatialStructure\""}});
    out.push_back({1004, bimlibSpatialTables(), {}});
    out.push_back({1005,
                   {},
                   {"DROP INDEX IF EXISTS \"bimlib_object_type_name_i\"",
                    "CREATE UNIQUE INDEX \"bimlib_CustomProperty_object_type_name_i\"\n"
                    "  ON \"bimlib_CustomProperty\" (\n    \"object_type\",\n    \"name\")"}});
    out.push_back({1006,
                   bimlibAssetTables(),
                   {addColumn("bimlib_Material",
                              "\"physical_asset_id\" INTEGER NULL "
                              "CONSTRAINT \"physical_asset_id_fk\" "
                              "REFERENCES \"bimlib_PhysicalAsset\" (\"id\")")}});
    std::vector<std::string> spatial = buildingColumns("bimlib_Building");
    for (std::string& sql : buildingColumns("bimlib_Story")) spatial.push_back(std::move(sql));
    out.push_back({1007, {}, spatial});
    out.push_back({1008, {}, addressColumns("bimlib_Site")});
    return out;
  }();
  return all;
}

}  // namespace

const std::vector<std::string>& bimlibStep(int version) {
  static const std::vector<std::vector<std::string>> texts = [] {
    std::vector<std::vector<std::string>> out;
    for (const Step& step : bimlibSteps()) {
      std::vector<std::string> sql;
      for (const Table& table : step.creates) {
        sql.push_back(table.createSql());
        for (std::string& index : table.indexSql()) sql.push_back(std::move(index));
      }
      sql.insert(sql.end(), step.statements.begin(), step.statements.end());
      out.push_back(std::move(sql));
    }
    return out;
  }();
  if (version < kBimlibBase || version > kBimlibCurrent) {
    throw std::out_of_range("no such 'bimlib' version: " + std::to_string(version));
  }
  return texts[static_cast<std::size_t>(version - kBimlibBase)];
}

const std::vector<std::string>& bimlibTables() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> out;
    for (const Step& step : bimlibSteps()) {
      for (const Table& table : step.creates) {
        if (std::find(out.begin(), out.end(), table.name()) == out.end()) {
          out.push_back(table.name());
        }
      }
    }
    return out;
  }();
  return names;
}

std::vector<std::string> unprefixedLayout(bool materialLayer, bool compositionLayer) {
  std::vector<Table> tables;
  Table meta = Table::plain("Meta");
  meta.integer("id").primaryKey().text("guid").integer("unit", "1").text("locale").text("region");
  tables.push_back(meta);
  tables.push_back(Table::root("Tag").text("name").uniqueIndex("name", {"name"}));
  tables.push_back(Table::root("CustomProperty")
                       .text("name")
                       .integer("object_type", "0")
                       .uniqueIndex("object_type_name", {"object_type", "name"}));
  tables.push_back(Table::root("Layer").text("name").uniqueIndex("name", {"name"}));
  tables.push_back(Table::root("MaterialType").text("name").uniqueIndex("name", {"name"}));

  Table material = Table::root("Material");
  material.text("name")
      .reference("type_id", "MaterialType")
      .text("description")
      .text("comments")
      .text("appearance");
  patternColumns(material, "cut_pattern_");
  patternColumns(material, "surface_pattern_");
  identityColumns(material, "code");
  if (materialLayer) material.reference("layer_id", "Layer").nullable();
  material.integer("function", "0")
      .integer("allow_custom_thickness", "1")
      .uniqueIndex("name", {"name"});
  tables.push_back(material);
  tables.push_back(tags("Material", "Tag"));
  tables.push_back(Table::container("Material_thicknesses", "Material", ContainerKind::Set)
                       .real("thickness").nullable());
  tables.push_back(customValues("Material", "CustomProperty"));

  Table composition = Table::root("Composition");
  composition.text("name").integer("type", "128").text("description");
  if (compositionLayer) composition.reference("layer_id", "Layer").nullable();
  composition.text("comments")
      .integer("first_core_layer", "0")
      .integer("last_core_layer", "0")
      .integer("structural_layer", "0")
      .integer("variable_layer").nullable()
      .uniqueIndex("name", {"name"});
  tables.push_back(composition);
  tables.push_back(tags("Composition", "Tag"));
  tables.push_back(Table::container("Composition_layers", "Composition", ContainerKind::Ordered)
                       .reference("material_id", "Material")
                       .integer("function", "0")
                       .real("thickness", "1").nullable());
  tables.push_back(customValues("Composition", "CustomProperty"));

  // Structural and thermal data were separate kinds of asset; the 'bimlib'
  // schema holds both in one physical asset.
  tables.push_back(Table::root("Asset", true)
                       .text("name")
                       .text("description")
                       .uniqueIndex("name", {"name"}));
  tables.push_back(tags("Asset", "Tag"));
  tables.push_back(Table::derived("StructuralAsset", "Asset").real("density").nullable());
  tables.push_back(Table::derived("ThermalAsset", "Asset")
                       .real("specific_heat").nullable()
                       .real("thermal_conductivity").nullable());

  std::vector<std::string> sql;
  for (const Table& table : tables) {
    sql.push_back(table.createSql());
    for (std::string& index : table.indexSql()) sql.push_back(std::move(index));
  }
  return sql;
}

}  // namespace legacy

namespace {

bool tableHasColumn(db::Connection& connection, const char* table, const char* column) {
  auto stmt = connection.prepareOnce("SELECT 1 FROM pragma_table_info(?) WHERE name = ?");
  stmt->bind(0, table).bind(1, column);
  return stmt->step();
}

void dropTables(db::Connection& connection, const std::vector<std::string>& names) {
  for (auto it = names.rbegin(); it != names.rend(); ++it) {
    connection.exec("DROP TABLE IF EXISTS " + db::quote(*it));
  }
}

// ---- The unprefixed layout into 'bimlib' ------------------------------------

const std::vector<std::string>& unprefixedTables() {
  static const std::vector<std::string> names = {
      "Meta", "Tag", "CustomProperty", "Layer", "MaterialType",
      "Material", "Material_tags", "Material_thicknesses", "Material_custom_values",
      "Composition", "Composition_tags", "Composition_layers", "Composition_custom_values",
      "Asset", "Asset_tags", "StructuralAsset", "ThermalAsset"};
  return names;
}

// The 'bimlib' schema as its last version defines it, with nothing in it.
void createBimlib(db::Connection& connection) {
  dropTables(connection, legacy::bimlibTables());
  connection.exec("DELETE FROM \"schema_version\"\n  WHERE \"name\" = 'bimlib'");
  for (int version = legacy::kBimlibBase; version <= legacy::kBimlibCurrent; ++version) {
    for (const std::string& sql : legacy::bimlibStep(version)) connection.exec(sql);
  }
  connection.exec(
      "INSERT OR IGNORE INTO \"schema_version\" (\n"
      "  \"name\", \"version\", \"migration\")\n"
      "  VALUES ('bimlib', 1008, 0)");
}

#define TARNLIB_MATERIAL_HEAD                                                               \
  "id, name, type_id, description, comments, appearance, cut_pattern_type, cut_pattern_name, " \
  "cut_pattern_scale, cut_pattern_angle, cut_pattern_cross, surface_pattern_type, "            \
  "surface_pattern_name, surface_pattern_scale, surface_pattern_angle, surface_pattern_cross, " \
  "label, manufacturer, mark, model, classification, cost, keynote, url, "

const char* const kMaterialWithLayer =
    "INSERT INTO bimlib_Material (" TARNLIB_MATERIAL_HEAD
    "unique_code, layer_id, default_function, variable_thickness) "
    "SELECT " TARNLIB_MATERIAL_HEAD
    "code, layer_id, function, allow_custom_thickness FROM Material";
const char* const kMaterialWithoutLayer =
    "INSERT INTO bimlib_Material (" TARNLIB_MATERIAL_HEAD
    "unique_code, default_function, variable_thickness) "
    "SELECT " TARNLIB_MATERIAL_HEAD "code, function, allow_custom_thickness FROM Material";

#undef TARNLIB_MATERIAL_HEAD

const char* const kCompositionWithLayer =
    "INSERT INTO bimlib_Composition (id, name, type, description, layer_id, comments, "
    "first_core_ply, last_core_ply, structural_ply, variable_ply) "
    "SELECT id, name, type, description, layer_id, comments, "
    "first_core_layer, last_core_layer, structural_layer, variable_layer FROM Composition";
const char* const kCompositionWithoutLayer =
    "INSERT INTO bimlib_Composition (id, name, type, description, comments, "
    "first_core_ply, last_core_ply, structural_ply, variable_ply) "
    "SELECT id, name, type, description, comments, "
    "first_core_layer, last_core_layer, structural_layer, variable_layer FROM Composition";

void convertUnprefixed(db::Connection& connection) {
  createBimlib(connection);
  const bool materialLayer = tableHasColumn(connection, "Material", "layer_id");
  const bool compositionLayer = tableHasColumn(connection, "Composition", "layer_id");
  const char* const copies[] = {
      "INSERT INTO bimlib_Meta SELECT id, guid, unit, locale, region FROM Meta",
      "INSERT INTO bimlib_Tag SELECT id, name FROM Tag",
      "INSERT INTO bimlib_CustomProperty SELECT id, name, object_type FROM CustomProperty",
      "INSERT INTO bimlib_Layer SELECT id, name FROM Layer",
      "INSERT INTO bimlib_MaterialType SELECT id, name FROM MaterialType",
      materialLayer ? kMaterialWithLayer : kMaterialWithoutLayer,
      "INSERT INTO bimlib_Material_tags SELECT object_id, \"index\", tag_id FROM Material_tags",
      "INSERT INTO bimlib_Material_thicknesses "
      "SELECT object_id, thickness FROM Material_thicknesses",
      "INSERT INTO bimlib_Material_custom_values "
      "SELECT object_id, property_id, value FROM Material_custom_values",
      compositionLayer ? kCompositionWithLayer : kCompositionWithoutLayer,
      "INSERT INTO bimlib_Composition_tags "
      "SELECT object_id, \"index\", tag_id FROM Composition_tags",
      "INSERT INTO bimlib_Composition_plies "
      "SELECT object_id, \"index\", material_id, function, thickness FROM Composition_layers",
      "INSERT INTO bimlib_Composition_custom_values "
      "SELECT object_id, property_id, value FROM Composition_custom_values",
      // Structural and thermal assets become physical assets; asset tags have
      // no counterpart and go.
      "INSERT INTO bimlib_Asset (id, typeid) "
      "SELECT id, 'bimlib::PhysicalAsset' FROM Asset "
      "WHERE id IN (SELECT id FROM StructuralAsset UNION SELECT id FROM ThermalAsset)",
      "INSERT INTO bimlib_PhysicalAsset "
      "(id, name, description, density, specific_heat, thermal_conductivity) "
      "SELECT a.id, a.name, a.description, s.density, t.specific_heat, t.thermal_conductivity "
      "FROM Asset AS a LEFT JOIN StructuralAsset AS s ON s.id = a.id "
      "LEFT JOIN ThermalAsset AS t ON t.id = a.id "
      "WHERE s.id IS NOT NULL OR t.id IS NOT NULL",
  };
  for (const char* sql : copies) connection.exec(sql);
  dropTables(connection, unprefixedTables());
  connection.exec("DELETE FROM \"schema_version\" WHERE \"name\" = ''");
}

// ---- 'bimlib' into the current schema ---------------------------------------

void migrateBimlib(db::Connection& connection, std::int64_t from) {
  for (int version = static_cast<int>(from) + 1; version <= legacy::kBimlibCurrent; ++version) {
    for (const std::string& sql : legacy::bimlibStep(version)) connection.exec(sql);
    connection.exec("UPDATE \"schema_version\"\n  SET \"version\" = " + std::to_string(version) +
                    ", \"migration\" = 1\n  WHERE \"name\" = 'bimlib'");
    connection.exec(
        "UPDATE \"schema_version\"\n  SET \"migration\" = 0\n  WHERE \"name\" = 'bimlib'");
  }
}

using Value = std::variant<std::monostate, std::int64_t, double, std::string>;

Value readValue(const db::Statement& stmt, int column) {
  switch (sqlite3_column_type(stmt.handle(), column)) {
    case SQLITE_NULL: return {};
    case SQLITE_INTEGER: return stmt.int64(column);
    case SQLITE_FLOAT: return stmt.real(column);
    default: return stmt.utf8(column);
  }
}

void bindValue(db::Statement& stmt, int index, const Value& value) {
  std::visit(
      [&](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          stmt.bindNull(index);
        } else {
          stmt.bind(index, v);
        }
      },
      value);
}

// The columns of a legacy material that its current material, its information
// asset and its BIM asset take.
const std::vector<std::string>& materialOwnColumns() {
  static const std::vector<std::string> names = {
      "id", "name", "type_id", "description", "comments", "appearance",
      "cut_pattern_type", "cut_pattern_name", "cut_pattern_scale", "cut_pattern_angle",
      "cut_pattern_cross", "surface_pattern_type", "surface_pattern_name", "surface_pattern_scale",
      "surface_pattern_angle", "surface_pattern_cross", "physical_asset_id"};
  return names;
}
const std::vector<std::string>& informationColumns() {
  static const std::vector<std::string> names = {
      "name", "description", "label", "manufacturer", "mark", "model", "classification",
      "cost", "keynote", "url", "unique_code"};
  return names;
}
const std::vector<std::string>& bimColumns() {
  static const std::vector<std::string> names = {"name", "layer_id", "union_section",
                                                 "default_function", "variable_thickness"};
  return names;
}

// Every column of a legacy material, in the order they are read.
const std::vector<std::string>& legacyMaterialColumns() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> out = materialOwnColumns();
    for (const auto* list : {&informationColumns(), &bimColumns()}) {
      for (const std::string& name : *list) {
        if (std::find(out.begin(), out.end(), name) == out.end()) out.push_back(name);
      }
    }
    return out;
  }();
  return names;
}

struct LegacyMaterial {
  std::vector<Value> values;  // in the order of legacyMaterialColumns()

  const Value& operator[](const std::string& name) const {
    const std::vector<std::string>& names = legacyMaterialColumns();
    const auto it = std::find(names.begin(), names.end(), name);
    return values[static_cast<std::size_t>(it - names.begin())];
  }
};

std::string joined(const std::vector<std::string>& names, const char* separator, bool quoted) {
  std::string out;
  for (const std::string& name : names) {
    if (!out.empty()) out += separator;
    out += quoted ? db::quote(name) : name;
  }
  return out;
}

std::string insertSql(const char* table, const std::vector<std::string>& columns) {
  std::vector<std::string> marks(columns.size(), "?");
  return std::string("INSERT INTO ") + db::quote(table) + " (" + joined(columns, ", ", true) +
         ") VALUES (" + joined(marks, ", ", false) + ")";
}

std::vector<LegacyMaterial> readMaterials(db::Connection& connection) {
  const std::vector<std::string>& names = legacyMaterialColumns();
  auto select = connection.prepareOnce("SELECT " + joined(names, ", ", true) +
                                       " FROM \"bimlib_Material\" ORDER BY \"id\"");
  std::vector<LegacyMaterial> out;
  while (select->step()) {
    LegacyMaterial material;
    for (int i = 0; i < static_cast<int>(names.size()); ++i) {
      material.values.push_back(readValue(*select, i));
    }
    out.push_back(std::move(material));
  }
  return out;
}

class MaterialWriter {
 public:
  explicit MaterialWriter(db::Connection& connection)
      : connection_(connection),
        root_(connection.prepareOnce("INSERT INTO tarnlib_Asset (typeid)  VALUES (?)")),
        information_(connection.prepareOnce(
            insertSql("tarnlib_InformationAsset", withId(informationColumns())))),
        bim_(connection.prepareOnce(
            insertSql("tarnlib_BimAsset", withId(bimColumns(), "description")))),
        thicknesses_(connection.prepareOnce(
            "SELECT thickness FROM bimlib_Material_thicknesses WHERE object_id=?")),
        thickness_(connection.prepareOnce(
            "INSERT INTO \"tarnlib_BimAsset_thicknesses\" (\"object_id\", \"thickness\") "
            "VALUES (?, ?)")),
        material_(connection.prepareOnce(insertSql(
            "tarnlib_Material", withAssets(materialOwnColumns())))) {}

  // Writes one legacy material as a current material with its two new assets.
  void write(const LegacyMaterial& legacy) {
    const std::int64_t informationId = newAsset("tarnlib::InformationAsset");
    bindColumns(*information_, informationId, legacy, informationColumns());
    run(*information_);

    const std::int64_t bimId = newAsset("tarnlib::BimAsset");
    const int next = bindColumns(*bim_, bimId, legacy, bimColumns());
    bim_->bind(next, "");  // the legacy row had one description, the material's
    run(*bim_);
    std::vector<Value> thicknesses;
    bindValue(*thicknesses_, 0, legacy["id"]);
    while (thicknesses_->step()) thicknesses.push_back(readValue(*thicknesses_, 0));
    thicknesses_->reset();
    for (const Value& thickness : thicknesses) {
      thickness_->bind(0, bimId);
      bindValue(*thickness_, 1, thickness);
      run(*thickness_);
    }

    const std::vector<std::string>& own = materialOwnColumns();
    int index = 0;
    for (const std::string& name : own) bindValue(*material_, index++, legacy[name]);
    material_->bind(index++, informationId);
    material_->bind(index, bimId);
    run(*material_);
  }

 private:
  static std::vector<std::string> withId(std::vector<std::string> columns,
                                         const char* extra = nullptr) {
    columns.insert(columns.begin(), "id");
    if (extra) columns.push_back(extra);
    return columns;
  }
  static std::vector<std::string> withAssets(std::vector<std::string> columns) {
    columns.push_back("information_asset_id");
    columns.push_back("bim_asset_id");
    return columns;
  }

  std::int64_t newAsset(const char* typeId) {
    root_->bind(0, typeId);
    run(*root_);
    return connection_.lastInsertId();
  }

  // Binds the id and then the named columns; returns the next parameter index.
  static int bindColumns(db::Statement& stmt, std::int64_t id, const LegacyMaterial& legacy,
                         const std::vector<std::string>& columns) {
    stmt.bind(0, id);
    int index = 1;
    for (const std::string& name : columns) bindValue(stmt, index++, legacy[name]);
    return index;
  }

  static void run(db::Statement& stmt) {
    // A failed step has reset the statement already; a finished one is reset
    // here so that the next material can bind.
    stmt.exec();
    stmt.reset();
  }

  db::Connection& connection_;
  std::unique_ptr<db::Statement> root_;
  std::unique_ptr<db::Statement> information_;
  std::unique_ptr<db::Statement> bim_;
  std::unique_ptr<db::Statement> thicknesses_;
  std::unique_ptr<db::Statement> thickness_;
  std::unique_ptr<db::Statement> material_;
};

void convertMaterials(db::Connection& connection) {
  MaterialWriter writer(connection);
  for (const LegacyMaterial& material : readMaterials(connection)) {
    Savepoint savepoint(connection);
    try {
      writer.write(material);
    } catch (const db::Error& error) {
      // A row the current tables refuse (a name or code that is no longer
      // unique, a required value missing) is left behind; anything else is a
      // failure of the file or the disk and ends the opening.
      if (!error.isConstraint()) throw;
      savepoint.rollback();
    }
  }
}

void convertBimlib(db::Connection& connection) {
  const char* const before[] = {
      "INSERT INTO \"tarnlib_Meta\" (\"id\", \"guid\", \"unit\", \"locale\", \"region\") "
      "SELECT id, guid, unit, locale, region FROM bimlib_Meta",
      "INSERT INTO \"tarnlib_Tag\" (\"id\", \"name\") SELECT id, name FROM bimlib_Tag",
      "INSERT INTO \"tarnlib_CustomProperty\" (\"id\", \"name\", \"object_type\") "
      "SELECT id, name, object_type FROM bimlib_CustomProperty",
      "INSERT INTO \"tarnlib_Layer\" (\"id\", \"name\") SELECT id, name FROM bimlib_Layer",
      // Physical assets were the only kind of asset the 'bimlib' schema had.
      "INSERT INTO \"tarnlib_Asset\" (\"id\", \"typeid\") "
      "SELECT id, 'tarnlib::PhysicalAsset' FROM bimlib_Asset",
      "INSERT INTO \"tarnlib_PhysicalAsset\" "
      "(\"id\", \"name\", \"description\", \"density\", \"specific_heat\", "
      "\"thermal_conductivity\") "
      "SELECT id, name, description, density, specific_heat, thermal_conductivity "
      "FROM bimlib_PhysicalAsset",
      "INSERT INTO \"tarnlib_MaterialType\" (\"id\", \"name\") "
      "SELECT id, name FROM bimlib_MaterialType",
  };
  for (const char* sql : before) connection.exec(sql);
  {
    // Without its metadata row the converted file could never be opened; leave
    // it as it is instead.
    auto meta = connection.prepareOnce("SELECT 1 FROM \"tarnlib_Meta\"");
    if (!meta->step()) db::fail(db::Condition::NotPersistent, "legacy library has no metadata row");
  }

  convertMaterials(connection);

  // Container rows of a material that was left behind would belong to nothing.
  const char* const after[] = {
      "INSERT INTO \"tarnlib_Material_tags\" (\"object_id\", \"index\", \"tag_id\") "
      "SELECT object_id, \"index\", tag_id FROM bimlib_Material_tags "
      "WHERE object_id IN (SELECT \"id\" FROM \"tarnlib_Material\")",
      "INSERT INTO \"tarnlib_Material_custom_values\" (\"object_id\", \"property_id\", \"value\") "
      "SELECT object_id, property_id, value FROM bimlib_Material_custom_values "
      "WHERE object_id IN (SELECT \"id\" FROM \"tarnlib_Material\")",
      "INSERT INTO \"tarnlib_Composition\" (\"id\", \"name\", \"type\", \"description\", "
      "\"layer_id\", \"comments\", \"first_core_ply\", \"last_core_ply\", \"structural_ply\", "
      "\"variable_ply\") "
      "SELECT id, name, type, description, layer_id, comments, first_core_ply, last_core_ply, "
      "structural_ply, variable_ply FROM bimlib_Composition",
      "INSERT INTO \"tarnlib_Composition_tags\" (\"object_id\", \"index\", \"tag_id\") "
      "SELECT object_id, \"index\", tag_id FROM bimlib_Composition_tags",
      "INSERT INTO \"tarnlib_Composition_plies\" "
      "(\"object_id\", \"index\", \"material_id\", \"function\", \"thickness\") "
      "SELECT object_id, \"index\", material_id, function, thickness FROM bimlib_Composition_plies",
      "INSERT INTO \"tarnlib_Composition_custom_values\" "
      "(\"object_id\", \"property_id\", \"value\") "
      "SELECT object_id, property_id, value FROM bimlib_Composition_custom_values",
  };
  for (const char* sql : after) connection.exec(sql);

  // Legacy compositions had no GUID; they get the ones a migrated file's
  // compositions get, so converting the same file twice agrees.
  assignNameBasedGuids(connection);

  dropTables(connection, legacy::bimlibTables());
  connection.exec("DELETE FROM \"schema_version\" WHERE \"name\" = 'bimlib'");
}

}  // namespace

bool convertLegacy(db::Connection& connection) {
  if (storedVersion(connection, "").value_or(0) > 0) convertUnprefixed(connection);
  const std::int64_t version = storedVersion(connection, "bimlib").value_or(0);
  if (version < legacy::kBimlibBase || version > legacy::kBimlibCurrent) return false;
  migrateBimlib(connection, version);
  convertBimlib(connection);
  return true;
}

}  // namespace tarnlib::schema
