// Which rows of a type an operation reads: all, a list of ids, or a condition
// over the type's tables with its bound values.
#ifndef TARNLIB_ACCESS_SELECTION_H_
#define TARNLIB_ACCESS_SELECTION_H_

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "db/statement.h"

namespace tarnlib::access {

using SqlValue = std::variant<std::nullptr_t, std::int64_t, double, std::string>;

void bindSqlValue(db::Statement& stmt, int param, const SqlValue& value);

struct Selection {
  enum class Kind { All, Ids, Where };
  Kind kind = Kind::All;
  std::vector<std::uint32_t> ids;  // Kind::Ids
  // Kind::Where: a condition with "?" placeholders over the type's tables,
  // columns qualified with their table names, and the values in order.
  std::string where;
  std::vector<SqlValue> values;

  static Selection all() { return Selection{}; }
  static Selection of(std::vector<std::uint32_t> ids) {
    Selection s;
    s.kind = Kind::Ids;
    s.ids = std::move(ids);
    return s;
  }
  static Selection matching(std::string where, std::vector<SqlValue> values) {
    Selection s;
    s.kind = Kind::Where;
    s.where = std::move(where);
    s.values = std::move(values);
    return s;
  }
};

// The ids as one JSON array text, bound as a single value and unpacked by
// json_each in the query: one statement whatever the number of ids.
std::string idArray(const std::vector<std::uint32_t>& ids);

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_SELECTION_H_
