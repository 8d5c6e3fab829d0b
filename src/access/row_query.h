// Browsing queries: plain rows read in one SQL query under the transaction
// scope, for pickers and listings that need no objects.
#ifndef TARNLIB_ACCESS_ROW_QUERY_H_
#define TARNLIB_ACCESS_ROW_QUERY_H_

#include <string>
#include <vector>

#include "access/selection.h"
#include "core/transaction_impl.h"

namespace tarnlib::access {

// The rows of `sql` with `values` bound, each made by `read(statement)`. An
// attempt that meets a busy database starts over with no rows.
template <class Row, class Read>
std::vector<Row> queryRows(const Library& library, const std::string& sql, const std::vector<SqlValue>& values,
                           Read read) {
  return inTransaction(library, Access::Read, [&](Transaction::Impl& tx) {
    std::vector<Row> rows;
    auto stmt = tx.connection().prepare(sql);
    for (std::size_t i = 0; i < values.size(); ++i) bindSqlValue(*stmt, static_cast<int>(i), values[i]);
    while (stmt->step()) rows.push_back(read(*stmt));
    return rows;
  });
}

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_ROW_QUERY_H_
