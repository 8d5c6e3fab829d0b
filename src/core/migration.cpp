// Migration of files of the current schema written by older versions: the steps
// from 1004 to 1013, each recorded in "schema_version" as it runs. Tables that a
// step creates come from the table descriptions as they stood at that version;
// the ALTER texts are kept literally, as the files written by every other tool
// carry them.
#include <functional>
#include <string>
#include <vector>

#include "core/migration_internal.h"
#include "core/schema.h"
#include "core/schema_setup.h"
#include "db/error.h"
#include "tarnlib/guid.h"

namespace tarnlib::schema {

namespace {

void createTablesOfStep(db::Connection& connection, int step) {
  for (const db::Table& table : tables()) {
    if (table.since() != step) continue;
    connection.exec(table.createSql(step));
    for (const std::string& index : table.indexSql()) connection.exec(index);
  }
}

std::string addColumn(const char* table, const std::string& column) {
  return std::string("ALTER TABLE \"") + table + "\"\n  ADD COLUMN " + column;
}

std::vector<std::string> backgroundColourColumns() {
  std::vector<std::string> out;
  for (const char* prefix : {"cut_pattern_", "surface_pattern_"}) {
    const std::string p = std::string("\"") + prefix + "background_color_";
    out.push_back(addColumn("tarnlib_Material", p + "type\" INTEGER NOT NULL DEFAULT -1"));
    for (const char* part : {"red", "green", "blue", "alpha"})
      out.push_back(addColumn("tarnlib_Material", p + part + "\" REAL NOT NULL DEFAULT 0"));
  }
  return out;
}

// The namespace of the GUIDs that step 1012 gives: the library's own GUID, or
// the fixed stand-in when the library has none.
OdString guidNamespace(db::Connection& connection) {
  auto stmt = connection.prepareOnce("SELECT \"guid\" FROM \"tarnlib_Meta\"");
  OdString guid = stmt->step() ? stmt->text(0) : OdString();
  return guid.isEmpty() ? OdString(kLibraryGuidFallbackNamespace) : guid;
}

}  // namespace

// The same library always yields the same GUIDs for the same rows, so two copies
// of one old file migrated apart still agree.
void assignNameBasedGuids(db::Connection& connection) {
  const OdString ns = guidNamespace(connection);
  struct Source {
    const char* select;
    const char* update;
  };
  const Source sources[] = {
      {"SELECT \"id\", \"name\" FROM \"tarnlib_Composition\" WHERE \"guid\" = ''",
       "UPDATE \"tarnlib_Composition\" SET \"guid\" = ? WHERE \"id\" = ?"},
      {"SELECT p.\"id\", coalesce(s.\"name\", '') || coalesce(n.\"name\", '') || p.\"size\" "
       "FROM \"tarnlib_Profile\" AS p "
       "LEFT JOIN \"tarnlib_ProfileName\" AS n ON n.\"id\" = p.\"name_id\" "
       "LEFT JOIN \"tarnlib_ProfileStandard\" AS s ON s.\"id\" = n.\"standard_id\" "
       "WHERE p.\"guid\" = ''",
       "UPDATE \"tarnlib_Profile\" SET \"guid\" = ? WHERE \"id\" = ?"},
  };
  for (const Source& source : sources) {
    std::vector<std::pair<std::int64_t, OdString>> rows;
    {
      auto select = connection.prepareOnce(source.select);
      while (select->step()) rows.emplace_back(select->int64(0), select->text(1));
    }
    auto update = connection.prepareOnce(source.update);
    for (const auto& [id, name] : rows) {
      update->bind(0, nameBasedGuid(ns, name)).bind(1, id).exec();
      update->reset();
    }
  }
}

namespace {

struct Step {
  int version;
  std::vector<std::string> statements;  // run after the step's new tables
  std::function<void(db::Connection&)> dataMigration;
};

const std::vector<Step>& steps() {
  static const std::vector<Step> all = {
      {1004, {}, nullptr},
      {1005, {addColumn("tarnlib_BimAsset", "\"union_elevation\" INTEGER NOT NULL DEFAULT 0")}, nullptr},
      {1006,
       {addColumn("tarnlib_BimAsset",
                  "\"layer_elevation_id\" INTEGER NULL CONSTRAINT \"layer_elevation_id_fk\" "
                  "REFERENCES \"tarnlib_Layer\" (\"id\")")},
       nullptr},
      {1007, {addColumn("tarnlib_LShapeProfile", "\"centreOfGravityInY\" REAL NULL")}, nullptr},
      {1008,
       {addColumn("tarnlib_Composition",
                  "\"composition_type_id\" INTEGER NULL CONSTRAINT \"composition_type_id_fk\" "
                  "REFERENCES \"tarnlib_CompositionType\" (\"id\")")},
       nullptr},
      {1009,
       {addColumn("tarnlib_Profile", "\"offset_x\" REAL NULL DEFAULT 0"),
        addColumn("tarnlib_Profile", "\"offset_y\" REAL NULL DEFAULT 0")},
       nullptr},
      {1010,
       {addColumn("tarnlib_Material", "\"cut_pattern_annotative\" INTEGER NOT NULL DEFAULT 0"),
        addColumn("tarnlib_Material", "\"surface_pattern_annotative\" INTEGER NOT NULL DEFAULT 0")},
       nullptr},
      {1011, {}, nullptr},
      {1012,
       {addColumn("tarnlib_Composition", "\"guid\" TEXT NOT NULL DEFAULT ''"),
        addColumn("tarnlib_Profile", "\"guid\" TEXT NOT NULL DEFAULT ''")},
       assignNameBasedGuids},
      {1013, backgroundColourColumns(), nullptr},
  };
  return all;
}

void recordVersion(db::Connection& connection, int version) {
  connection.exec("UPDATE \"schema_version\"\n  SET \"version\" = " + std::to_string(version) +
                  ", \"migration\" = 1\n  WHERE \"name\" = 'tarnlib'");
}

void clearMigrationFlag(db::Connection& connection) {
  connection.exec("UPDATE \"schema_version\"\n  SET \"migration\" = 0\n  WHERE \"name\" = 'tarnlib'");
}

bool migrationFlagSet(db::Connection& connection) {
  auto stmt = connection.prepareOnce(
      "SELECT \"migration\" FROM \"schema_version\" WHERE \"name\" = 'tarnlib'");
  return stmt->step() && stmt->int64(0) != 0;
}

}  // namespace

void migrate(db::Connection& connection, std::int64_t from) {
  // A step whose schema pass was recorded but whose data pass did not finish is
  // completed first; its data migration only fills what is still missing.
  if (migrationFlagSet(connection)) {
    for (const Step& step : steps()) {
      if (step.version == from && step.dataMigration) step.dataMigration(connection);
    }
    clearMigrationFlag(connection);
  }
  for (const Step& step : steps()) {
    if (step.version <= from) continue;
    createTablesOfStep(connection, step.version);
    for (const std::string& sql : step.statements) connection.exec(sql);
    recordVersion(connection, step.version);
    // The GUID data migration belongs to files that had no GUID columns yet.
    if (step.dataMigration && from < step.version) step.dataMigration(connection);
    clearMigrationFlag(connection);
  }
}

}  // namespace tarnlib::schema
