#include "access/selection.h"

namespace tarnlib::access {

void bindSqlValue(db::Statement& stmt, int param, const SqlValue& value) {
  std::visit(
      [&](const auto& v) {
        using V = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<V, std::nullptr_t>) stmt.bindNull(param);
        else stmt.bind(param, v);
      },
      value);
}

std::string idArray(const std::vector<std::uint32_t>& ids) {
  std::string json = "[";
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i) json += ',';
    json += std::to_string(ids[i]);
  }
  json += ']';
  return json;
}

}  // namespace tarnlib::access
