#include "core/schema.h"

#include <iterator>
#include <stdexcept>

#include "objects/tables.h"

namespace tarnlib::schema {

const std::vector<db::Table>& tables() {
  // Built once on first use; the initialisation of a function-local static is
  // thread-safe.
  static const std::vector<db::Table> all = [] {
    std::vector<db::Table> out;
    for (auto area : {tables::meta, tables::tagsLayersProperties, tables::assets,
                      tables::materials, tables::compositions, tables::profiles,
                      tables::shapes, tables::units, tables::properties}) {
      std::vector<db::Table> part = area();
      out.insert(out.end(), std::make_move_iterator(part.begin()),
                 std::make_move_iterator(part.end()));
    }
    return out;
  }();
  return all;
}

const db::Table& table(const std::string& name) {
  for (const db::Table& t : tables())
    if (t.name() == name) return t;
  throw std::out_of_range("no such table in the schema: " + name);
}

}  // namespace tarnlib::schema
