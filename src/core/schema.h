// The current schema of a library file: every table in creation order, and the
// version bookkeeping constants.
#ifndef TARNLIB_CORE_SCHEMA_H_
#define TARNLIB_CORE_SCHEMA_H_

#include <string>
#include <vector>

#include "db/table.h"

namespace tarnlib::schema {

constexpr const char* kSchemaName = "tarnlib";
constexpr int kCurrentVersion = 1013;
constexpr int kOldestMigratableVersion = 1003;
constexpr int kCompatibility = 1000;

// Every table of the current schema, in creation order: each table is followed by
// its container tables.
const std::vector<db::Table>& tables();

// The description of one table; throws std::out_of_range for an unknown name.
const db::Table& table(const std::string& name);

}  // namespace tarnlib::schema

#endif  // TARNLIB_CORE_SCHEMA_H_
