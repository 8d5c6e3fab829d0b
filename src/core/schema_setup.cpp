#include "core/schema_setup.h"

#include "core/schema.h"
#include "db/error.h"

namespace tarnlib::schema {

namespace {

bool tableExists(db::Connection& connection, const char* name) {
  auto stmt = connection.prepare("SELECT 1 FROM sqlite_master WHERE type='table' AND name=?");
  stmt->bind(0, name);
  return stmt->step();
}

}  // namespace

std::optional<std::int64_t> storedVersion(db::Connection& connection, const char* name) {
  if (!tableExists(connection, "schema_version")) return 0;
  auto stmt = connection.prepare(
      "SELECT \"version\", typeof(\"version\") FROM \"schema_version\" WHERE \"name\" = ?");
  stmt->bind(0, name);
  if (!stmt->step()) return 0;
  if (stmt->utf8(1) != "integer" || stmt->int64(0) < 0) return std::nullopt;
  return stmt->int64(0);
}

bool holdsCatalogueRows(db::Connection& connection) {
  for (const db::Table& table : tables()) {
    if (!tableExists(connection, table.name().c_str())) continue;
    if (connection.prepareOnce("SELECT 1 FROM " + db::quote(table.name()) + " LIMIT 1")->step()) return true;
  }
  return false;
}

std::int64_t storedCompatibility(db::Connection& connection) {
  auto stmt = connection.prepare("SELECT compatibility FROM schema_version WHERE name=?");
  stmt->bind(0, kSchemaName);
  return stmt->step() ? stmt->int64(0) : 0;
}

void createCurrent(db::Connection& connection) {
  const auto& all = tables();
  for (auto it = all.rbegin(); it != all.rend(); ++it) {
    connection.exec("DROP TABLE IF EXISTS " + db::quote(it->name()));
  }
  connection.exec(
      "CREATE TABLE IF NOT EXISTS \"schema_version\" (\n"
      "  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
      "  \"version\" INTEGER NOT NULL,\n"
      "  \"migration\" INTEGER NOT NULL)");
  connection.exec("DELETE FROM \"schema_version\"\n  WHERE \"name\" = 'tarnlib'");
  for (const db::Table& table : all) {
    connection.exec(table.createSql());
    for (const std::string& index : table.indexSql()) connection.exec(index);
  }
  connection.exec(
      "INSERT OR IGNORE INTO \"schema_version\" (\n"
      "  \"name\", \"version\", \"migration\")\n"
      "  VALUES ('tarnlib', 1013, 0)");
}

void ensureCompatibility(db::Connection& connection) {
  connection.exec(
      "CREATE TABLE IF NOT EXISTS \"schema_version\" (\n"
      "  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
      "  \"version\" INTEGER NOT NULL,\n"
      "  \"migration\" INTEGER NOT NULL,\n"
      "  \"compatibility\" INTEGER NOT NULL DEFAULT 0)");
  bool threeColumns = false;
  {
    auto stmt = connection.prepareOnce("SELECT * FROM schema_version");
    threeColumns = stmt->columnCount() == 3;
  }
  if (threeColumns) {
    connection.exec(
        "ALTER TABLE \"schema_version\"  ADD COLUMN \"compatibility\" INTEGER NOT NULL DEFAULT 0");
  }
  auto update = connection.prepareOnce("UPDATE schema_version  SET compatibility=?  WHERE name=?");
  update->bind(0, kCompatibility).bind(1, kSchemaName).exec();
}

}  // namespace tarnlib::schema
