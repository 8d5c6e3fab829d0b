// The raw-SQLite side of the benchmarks: a connection with the statements it
// prepared, and text binding and reading without conversions.
#ifndef TARNLIB_BENCH_RAW_SQLITE_H_
#define TARNLIB_BENCH_RAW_SQLITE_H_

#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace tarnlib::bench {

class Sqlite {
 public:
  explicit Sqlite(const std::string& path) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) fail("open");
    exec("PRAGMA foreign_keys=ON");  // as every library connection has it
  }
  ~Sqlite() {
    for (sqlite3_stmt* s : statements_) sqlite3_finalize(s);
    sqlite3_close_v2(db_);
  }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  void exec(const char* sql) {
    if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(sql);
  }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &stmt, nullptr) != SQLITE_OK) fail(sql);
    statements_.push_back(stmt);
    return stmt;
  }
  void done(sqlite3_stmt* stmt) {
    if (sqlite3_step(stmt) != SQLITE_DONE) fail(sqlite3_sql(stmt));
    sqlite3_reset(stmt);
  }
  sqlite3_int64 lastId() const { return sqlite3_last_insert_rowid(db_); }
  [[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + sqlite3_errmsg(db_));
  }

 private:
  sqlite3* db_ = nullptr;
  std::vector<sqlite3_stmt*> statements_;
};

inline void bindText(sqlite3_stmt* stmt, int param, const std::string& text) {
  sqlite3_bind_text(stmt, param, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

inline std::string columnText(sqlite3_stmt* stmt, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
  if (!text) return std::string();
  return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, column)));
}

}  // namespace tarnlib::bench

#endif  // TARNLIB_BENCH_RAW_SQLITE_H_
