// The table descriptions of the catalogue classes, one function per area. Each
// returns its tables in creation order; the schema puts the areas in order.
#ifndef TARNLIB_OBJECTS_TABLES_H_
#define TARNLIB_OBJECTS_TABLES_H_

#include <vector>

#include "db/table.h"

namespace tarnlib::tables {

std::vector<db::Table> meta();          // "tarnlib_Meta"
std::vector<db::Table> tagsLayersProperties();
std::vector<db::Table> assets();
std::vector<db::Table> materials();
std::vector<db::Table> compositions();
std::vector<db::Table> profiles();      // standards, names, profile root, custom profiles
std::vector<db::Table> shapes();        // "tarnlib_ParametrizedProfile" and the sixteen shapes
std::vector<db::Table> units();
std::vector<db::Table> properties();

}  // namespace tarnlib::tables

#endif  // TARNLIB_OBJECTS_TABLES_H_
