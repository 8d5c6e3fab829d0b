// A prepared SQLite statement with typed binding and reading. Parameters and
// columns are numbered from 0 here (SQLite numbers parameters from 1). Text is
// bound and read as UTF-8; OdString overloads convert at this boundary.
#ifndef TARNLIB_DB_STATEMENT_H_
#define TARNLIB_DB_STATEMENT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarnlib/platform/OdString.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tarnlib::db {

class Statement {
 public:
  Statement(sqlite3* db, std::string_view sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // Rewinds the statement and clears its bindings; never throws.
  void reset() noexcept;

  Statement& bindNull(int index);
  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, int value) { return bind(index, static_cast<std::int64_t>(value)); }
  Statement& bind(int index, unsigned value) { return bind(index, static_cast<std::int64_t>(value)); }
  Statement& bind(int index, bool value) { return bind(index, static_cast<std::int64_t>(value)); }
  Statement& bind(int index, double value);
  Statement& bind(int index, std::string_view utf8);
  Statement& bind(int index, const char* utf8) { return bind(index, std::string_view(utf8)); }
  Statement& bind(int index, const std::string& utf8) { return bind(index, std::string_view(utf8)); }
  Statement& bind(int index, const OdString& text);
  template <class T>
  Statement& bind(int index, const std::optional<T>& value) {
    return value ? bind(index, *value) : bindNull(index);
  }

  // Advances to the next row; false when the statement is done.
  bool step();
  // Runs the statement to its end; returns the number of rows it changed.
  int exec();

  int columnCount() const;
  bool isNull(int column) const;
  std::int64_t int64(int column) const;
  int integer(int column) const { return static_cast<int>(int64(column)); }
  std::uint32_t id(int column) const { return static_cast<std::uint32_t>(int64(column)); }
  double real(int column) const;
  std::string utf8(int column) const;
  OdString text(int column) const;

  bool busy() const;
  sqlite3_stmt* handle() const { return stmt_; }

 private:
  Statement& bindKept(int index);

  sqlite3* db_;
  sqlite3_stmt* stmt_ = nullptr;
  // The text bound to each parameter, kept here for SQLite to read in place;
  // the buffers are reused from one execution to the next.
  std::vector<std::string> texts_;
};

}  // namespace tarnlib::db

#endif  // TARNLIB_DB_STATEMENT_H_
