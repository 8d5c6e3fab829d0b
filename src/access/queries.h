// The conditions that keys and criteria records become, over a class's tables.
// Values are always bound; only table and column names from the descriptions
// are written into the SQL text.
#ifndef TARNLIB_ACCESS_QUERIES_H_
#define TARNLIB_ACCESS_QUERIES_H_

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "access/mapping.h"
#include "access/selection.h"
#include "tarnlib/criteria.h"
#include "tarnlib/keys.h"

namespace tarnlib {
struct AssetCriteria;
struct UnitCriteria;
struct AbstractDefinitionCriteria;
struct PropertySetCriteria;
}

namespace tarnlib::access {

// "table"."column" of the class's table that holds `column`.
std::string columnOf(const Mapping& mapping, const std::string& column);

// Appends " AND "-joined condition of `criteria` on `column`; nothing for anything.
void appendCondition(const StringCriteria& criteria, const std::string& column, std::string& where,
                     std::vector<SqlValue>& values);
void appendAnd(std::string& where, const std::string& condition);

// A query for get/count: the rows to read, and for criteria whose count is not
// the number of rows (a tag filter counts an object once per matching tag) the
// count statement.
struct Query {
  Selection selection;
  std::optional<std::string> countSql;
  std::vector<SqlValue> countValues;
};

// The rows matching `where`, an " AND "-joined condition; every row when empty.
Query whereQuery(std::string where, std::vector<SqlValue> values);

Query queryFor(const Mapping& mapping, const NameKey& key);
Query queryFor(const Mapping& mapping, const NameTypeKey& key);
Query queryFor(const Mapping& mapping, const NameCriteria& criteria);
Query queryFor(const Mapping& mapping, const CustomPropertyCriteria& criteria);
Query queryFor(const Mapping& mapping, const AssetKey& key);
Query queryFor(const Mapping& mapping, const AssetCriteria& criteria);
Query queryFor(const Mapping& mapping, const MaterialCriteria& criteria);
Query queryFor(const Mapping& mapping, const CompositionCriteria& criteria);
Query queryFor(const Mapping& mapping, const ProfileKey& key);
Query queryFor(const Mapping& mapping, const ProfileNameKey& key);
Query queryFor(const Mapping& mapping, const ProfileCriteria& criteria);
Query queryFor(const Mapping& mapping, const ProfileNameCriteria& criteria);
Query queryFor(const Mapping& mapping, const UnitCriteria& criteria);
Query queryFor(const Mapping& mapping, const DefinitionKey& key);
Query queryFor(const Mapping& mapping, const AbstractDefinitionCriteria& criteria);
Query queryFor(const Mapping& mapping, const PropertySetCriteria& criteria);

// Appends the conditions of a criteria record over the columns of `table`, the
// quoted name or alias of the class's (single) table.
using ConditionBuilder =
    std::function<void(const std::string& table, std::string& where, std::vector<SqlValue>& values)>;

// A query over a class that carries tags in "<table>_tags": with no tag names,
// the conditions over the table itself; otherwise the filter view, which keeps
// the objects carrying at least one of the tags and counts one per matching tag.
Query tagFilteredQuery(const Mapping& mapping, const std::set<OdString>& tags,
                       const ConditionBuilder& conditions);

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_QUERIES_H_
