#include "access/queries.h"

#include <stdexcept>

namespace tarnlib::access {

std::string columnOf(const Mapping& mapping, const std::string& column) {
  const db::Table* table = mapping.tableOf(column);
  if (!table) throw std::logic_error(mapping.className() + " has no column " + column);
  return db::quote(table->name()) + '.' + db::quote(column);
}

void appendAnd(std::string& where, const std::string& condition) {
  if (!where.empty()) where += " AND ";
  where += condition;
}

void appendCondition(const StringCriteria& criteria, const std::string& column, std::string& where,
                     std::vector<SqlValue>& values) {
  using Mode = StringCriteria::Mode;
  const std::string text = criteria.str().toUtf8();
  switch (criteria.mode()) {
    case Mode::anything:
      return;
    case Mode::unset:
      appendAnd(where, column + " IS NULL");
      return;
    case Mode::empty:
      appendAnd(where, column + " = ?");
      values.emplace_back(std::string());
      return;
    case Mode::equals:
      appendAnd(where, column + " = ?");
      values.emplace_back(text);
      return;
    case Mode::contains:
      appendAnd(where, column + " LIKE ?");
      values.emplace_back("%" + text + "%");
      return;
    case Mode::startsWith:
      appendAnd(where, column + " LIKE ?");
      values.emplace_back(text + "%");
      return;
    case Mode::endsWith:
      appendAnd(where, column + " LIKE ?");
      values.emplace_back("%" + text);
      return;
    case Mode::like:
      appendAnd(where, column + " LIKE ?");
      values.emplace_back(text);
      return;
  }
}

Query whereQuery(std::string where, std::vector<SqlValue> values) {
  Query q;
  q.selection = where.empty() ? Selection::all() : Selection::matching(std::move(where), std::move(values));
  return q;
}

Query queryFor(const Mapping& mapping, const NameKey& key) {
  return whereQuery(columnOf(mapping, "name") + " = ?", {key.name.toUtf8()});
}

Query queryFor(const Mapping& mapping, const NameTypeKey& key) {
  return whereQuery(columnOf(mapping, "name") + " = ? AND " + columnOf(mapping, "object_type") + " = ?",
                    {key.name.toUtf8(), static_cast<std::int64_t>(key.object_type)});
}

Query queryFor(const Mapping& mapping, const NameCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, columnOf(mapping, "name"), where, values);
  return whereQuery(std::move(where), std::move(values));
}

Query queryFor(const Mapping& mapping, const CustomPropertyCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, columnOf(mapping, "name"), where, values);
  if (criteria.object_type != ObjectType{0}) {
    const std::string column = columnOf(mapping, "object_type");
    // Generic properties apply to every type.
    appendAnd(where, "(" + column + " = ? OR " + column + " = 0)");
    values.emplace_back(static_cast<std::int64_t>(criteria.object_type));
  }
  return whereQuery(std::move(where), std::move(values));
}

Query tagFilteredQuery(const Mapping& mapping, const std::set<OdString>& tags,
                       const ConditionBuilder& conditions) {
  const std::string table = db::quote(mapping.table().name());
  std::string where;
  std::vector<SqlValue> values;
  if (tags.empty()) {
    conditions(table, where, values);
    return whereQuery(std::move(where), std::move(values));
  }
  conditions("\"Object\"", where, values);
  // Sorted and deduplicated as UTF-8, the order the bound list is written in.
  std::set<std::string> names;
  for (const OdString& tag : tags) names.insert(tag.toUtf8());
  std::string marks;
  for (const std::string& name : names) {
    marks += marks.empty() ? "?" : ", ?";
    values.emplace_back(name);
  }
  appendAnd(where, "\"tarnlib_Tag\".\"name\" IN (" + marks + ")");
  const std::string tagTable = mapping.table().name() + "_tags";
  const std::string alias = db::quote("Object_" + tagTable);
  const std::string view = " FROM " + table + " AS \"Object\"" +
                           " LEFT JOIN " + db::quote(tagTable) + " AS " + alias + " ON " + alias +
                           ".\"object_id\"=\"Object\".\"id\"" +
                           " LEFT JOIN \"tarnlib_Tag\" ON " + alias + ".\"tag_id\"=\"tarnlib_Tag\".\"id\"" +
                           " WHERE " + where;
  Query q;
  q.countSql = "SELECT DISTINCT count(\"Object\".\"id\")" + view;
  q.countValues = values;
  q.selection = Selection::matching(table + ".\"id\" IN (SELECT DISTINCT \"Object\".\"id\"" + view + ")",
                                    std::move(values));
  return q;
}

}  // namespace tarnlib::access
