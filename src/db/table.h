// Table descriptions: the one place where the layout of every table of the file
// format is written down. The CREATE TABLE/INDEX texts, the statements that read
// and write objects, the unique-key lookups and the schemas of older versions (for
// migration tests) are all derived from these descriptions.
#ifndef TARNLIB_DB_TABLE_H_
#define TARNLIB_DB_TABLE_H_

#include <initializer_list>
#include <string>
#include <vector>

namespace tarnlib::db {

enum class ColumnType { Integer, Real, Text };

// What a column's foreign key does.
enum class ForeignKey {
  None,
  Deferred,  // a reference to another object: checked at commit
  Cascade,   // the id of a derived row or the owner of a container row
};

struct Column {
  std::string name;
  ColumnType type = ColumnType::Integer;
  bool nullable = false;
  std::string defaultValue;  // SQL text after DEFAULT; empty for none
  bool primaryKey = false;
  bool autoIncrement = false;
  ForeignKey foreignKey = ForeignKey::None;
  std::string refTable;   // target of the foreign key, always its "id"
  int since = 0;          // schema version whose migration step added the column; 0 = always there
};

struct Index {
  std::string name;
  bool unique = false;
  std::vector<std::string> columns;
};

enum class TableKind {
  Root,       // owns an AUTOINCREMENT id; polymorphic roots add "typeid"
  Derived,    // id shared with the row of the base table
  Container,  // elements of a collection member of an owner table
  Plain,      // a record with a key of its own (metadata, default units)
};

enum class ContainerKind { None, Ordered, Set, Map };

class Table {
 public:
  // "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT, plus "typeid" for a
  // polymorphic root.
  static Table root(std::string name, bool polymorphic = false);
  // "id" INTEGER NOT NULL PRIMARY KEY, with "id_fk" to the base table ON DELETE CASCADE.
  static Table derived(std::string name, const std::string& base);
  // "object_id" (and "index" when ordered) with "object_id_fk" to the owner table,
  // and the owner-id and position indexes.
  static Table container(std::string name, const std::string& owner, ContainerKind kind);
  static Table plain(std::string name);

  // Column builders: each appends one column and returns the table for chaining.
  Table& integer(const std::string& column, std::string defaultValue = "");
  Table& real(const std::string& column, std::string defaultValue = "");
  Table& text(const std::string& column, std::string defaultValue = "");
  // A reference to another object: "<column>" INTEGER with "<column>_fk",
  // DEFERRABLE INITIALLY DEFERRED.
  Table& reference(const std::string& column, const std::string& target);
  // Modifiers of the column appended last.
  Table& nullable();
  Table& primaryKey();
  Table& since(int version);

  // "<table>_<suffix>_i" over the given columns.
  Table& uniqueIndex(const std::string& suffix, std::initializer_list<const char*> columns);
  Table& index(const std::string& suffix, std::initializer_list<const char*> columns);
  Table& since_table(int version);

  const std::string& name() const { return name_; }
  TableKind kind() const { return kind_; }
  ContainerKind containerKind() const { return containerKind_; }
  bool polymorphic() const { return polymorphic_; }
  // The base table of a derived table or the owner of a container.
  const std::string& parent() const { return parent_; }
  int since() const { return since_; }
  const std::vector<Column>& columns() const { return columns_; }
  const std::vector<Index>& indexes() const { return indexes_; }
  const Column* column(const std::string& name) const;

  // The CREATE TABLE text, with the columns that exist at `version` (0 = current).
  std::string createSql(int version = 0) const;
  // The CREATE INDEX texts, one statement each.
  std::vector<std::string> indexSql() const;

 private:
  Table(std::string name, TableKind kind) : name_(std::move(name)), kind_(kind) {}
  Table& add(const std::string& column, ColumnType type, std::string defaultValue);
  Column& last();

  std::string name_;
  TableKind kind_;
  ContainerKind containerKind_ = ContainerKind::None;
  bool polymorphic_ = false;
  std::string parent_;
  int since_ = 0;
  std::vector<Column> columns_;
  std::vector<Index> indexes_;
};

// Double-quotes an identifier for SQL; only names from the table descriptions
// and the code are ever quoted, never user data.
std::string quote(const std::string& identifier);

}  // namespace tarnlib::db

#endif  // TARNLIB_DB_TABLE_H_
