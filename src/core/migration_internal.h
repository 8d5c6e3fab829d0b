// Internals of migration and legacy conversion that the two share and that the
// tests use to build old files: the GUID assignment of step 1012 and the table
// layouts of the two legacy schemas.
#ifndef TARNLIB_CORE_MIGRATION_INTERNAL_H_
#define TARNLIB_CORE_MIGRATION_INTERNAL_H_

#include <string>
#include <vector>

#include "db/connection.h"

namespace tarnlib::schema {

// Gives every composition, then every profile, whose "guid" is empty the
// name-based GUID of its name in the namespace of the library's GUID (or the
// fixed stand-in when that is empty). Rows that hold a GUID keep it.
void assignNameBasedGuids(db::Connection& connection);

namespace legacy {

constexpr int kBimlibBase = 1000;
constexpr int kBimlibCurrent = 1008;

// The statements of one version of the 'bimlib' schema: kBimlibBase creates the
// tables as that version had them, each later version holds its migration step.
// Creating the schema at its current version runs them all in order.
const std::vector<std::string>& bimlibStep(int version);

// The names of every table any 'bimlib' version had, in creation order.
const std::vector<std::string>& bimlibTables();

// The CREATE statements of the oldest, unprefixed layout. Its materials and its
// compositions were written with or without a "layer_id" column; the converter
// reads either.
std::vector<std::string> unprefixedLayout(bool materialLayer, bool compositionLayer);

}  // namespace legacy
}  // namespace tarnlib::schema

#endif  // TARNLIB_CORE_MIGRATION_INTERNAL_H_
