// Creating the current schema in a file, the version bookkeeping of
// "schema_version", and bringing older files up to date.
#ifndef TARNLIB_CORE_SCHEMA_SETUP_H_
#define TARNLIB_CORE_SCHEMA_SETUP_H_

#include <cstdint>
#include <optional>

#include "db/connection.h"

namespace tarnlib::schema {

// The version recorded for the schema `name`; 0 when the table or row is
// missing; nothing when the recorded value is no version (negative, or not an
// integer), which is damage rather than a newer or an empty file.
std::optional<std::int64_t> storedVersion(db::Connection& connection, const char* name = "tarnlib");
// Whether any table of the current schema exists and holds a row.
bool holdsCatalogueRows(db::Connection& connection);
// The "compatibility" value of the current schema's row.
std::int64_t storedCompatibility(db::Connection& connection);
// Drops the current tables and creates them anew, recording version 1013.
void createCurrent(db::Connection& connection);
// Makes sure "schema_version" has its "compatibility" column and records ours.
void ensureCompatibility(db::Connection& connection);

// Runs the migration steps after `from` up to the current version.
void migrate(db::Connection& connection, std::int64_t from);
// Converts the content of the two legacy layouts, when the file has any, into the
// current tables. Returns whether something was converted.
bool convertLegacy(db::Connection& connection);

}  // namespace tarnlib::schema

#endif  // TARNLIB_CORE_SCHEMA_SETUP_H_
