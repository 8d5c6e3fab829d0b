#include "db/table.h"

#include <stdexcept>

namespace tarnlib::db {

std::string quote(const std::string& identifier) { return '"' + identifier + '"'; }

Table Table::root(std::string name, bool polymorphic) {
  Table t(std::move(name), TableKind::Root);
  t.polymorphic_ = polymorphic;
  t.integer("id").primaryKey();
  t.last().autoIncrement = true;
  if (polymorphic) t.text("typeid");
  return t;
}

Table Table::derived(std::string name, const std::string& base) {
  Table t(std::move(name), TableKind::Derived);
  t.parent_ = base;
  t.integer("id").primaryKey();
  t.last().foreignKey = ForeignKey::Cascade;
  t.last().refTable = base;
  return t;
}

Table Table::container(std::string name, const std::string& owner, ContainerKind kind) {
  Table t(std::move(name), TableKind::Container);
  t.parent_ = owner;
  t.containerKind_ = kind;
  t.integer("object_id");
  t.last().foreignKey = ForeignKey::Cascade;
  t.last().refTable = owner;
  t.index("object_id", {"object_id"});
  if (kind == ContainerKind::Ordered) {
    t.integer("index");
    t.index("index", {"index"});
  }
  return t;
}

Table Table::plain(std::string name) { return Table(std::move(name), TableKind::Plain); }

Table& Table::add(const std::string& column, ColumnType type, std::string defaultValue) {
  Column c;
  c.name = column;
  c.type = type;
  c.defaultValue = std::move(defaultValue);
  columns_.push_back(std::move(c));
  return *this;
}

Table& Table::integer(const std::string& column, std::string defaultValue) {
  return add(column, ColumnType::Integer, std::move(defaultValue));
}
Table& Table::real(const std::string& column, std::string defaultValue) {
  return add(column, ColumnType::Real, std::move(defaultValue));
}
Table& Table::text(const std::string& column, std::string defaultValue) {
  return add(column, ColumnType::Text, std::move(defaultValue));
}

Table& Table::reference(const std::string& column, const std::string& target) {
  integer(column);
  last().foreignKey = ForeignKey::Deferred;
  last().refTable = target;
  return *this;
}

Column& Table::last() {
  if (columns_.empty()) throw std::logic_error("table description without columns: " + name_);
  return columns_.back();
}

Table& Table::nullable() {
  last().nullable = true;
  return *this;
}
Table& Table::primaryKey() {
  last().primaryKey = true;
  return *this;
}
Table& Table::since(int version) {
  last().since = version;
  return *this;
}
Table& Table::since_table(int version) {
  since_ = version;
  return *this;
}

Table& Table::uniqueIndex(const std::string& suffix, std::initializer_list<const char*> columns) {
  indexes_.push_back(Index{name_ + "_" + suffix + "_i", true, {columns.begin(), columns.end()}});
  return *this;
}

Table& Table::index(const std::string& suffix, std::initializer_list<const char*> columns) {
  indexes_.push_back(Index{name_ + "_" + suffix + "_i", false, {columns.begin(), columns.end()}});
  return *this;
}

const Column* Table::column(const std::string& name) const {
  for (const Column& c : columns_)
    if (c.name == name) return &c;
  return nullptr;
}

namespace {

const char* typeName(ColumnType type) {
  switch (type) {
    case ColumnType::Integer: return "INTEGER";
    case ColumnType::Real: return "REAL";
    case ColumnType::Text: return "TEXT";
  }
  return "";
}

}  // namespace

std::string Table::createSql(int version) const {
  std::string sql = "CREATE TABLE " + quote(name_) + " (";
  const char* sep = "\n  ";
  std::vector<const Column*> present;
  for (const Column& c : columns_) {
    if (version != 0 && c.since > version) continue;
    present.push_back(&c);
    sql += sep;
    sep = ",\n  ";
    sql += quote(c.name) + ' ' + typeName(c.type) + (c.nullable ? " NULL" : " NOT NULL");
    if (!c.defaultValue.empty()) sql += " DEFAULT " + c.defaultValue;
    if (c.primaryKey) sql += " PRIMARY KEY";
    if (c.autoIncrement) sql += " AUTOINCREMENT";
  }
  for (const Column* c : present) {
    if (c->foreignKey == ForeignKey::None) continue;
    sql += ",\n  CONSTRAINT " + quote(c->name + "_fk") + "\n    FOREIGN KEY (" + quote(c->name) +
           ")\n    REFERENCES " + quote(c->refTable) + " (\"id\")\n    " +
           (c->foreignKey == ForeignKey::Cascade ? "ON DELETE CASCADE"
                                                 : "DEFERRABLE INITIALLY DEFERRED");
  }
  sql += ')';
  return sql;
}

std::vector<std::string> Table::indexSql() const {
  std::vector<std::string> out;
  for (const Index& index : indexes_) {
    std::string sql = std::string(index.unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
                      quote(index.name) + "\n  ON " + quote(name_) + " (";
    if (index.columns.size() == 1) {
      sql += quote(index.columns.front());
    } else {
      const char* sep = "\n    ";
      for (const std::string& c : index.columns) {
        sql += sep + quote(c);
        sep = ",\n    ";
      }
    }
    sql += ')';
    out.push_back(std::move(sql));
  }
  return out;
}

}  // namespace tarnlib::db
