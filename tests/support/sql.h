// Raw SQLite access for tests that look at or prepare a file behind the
// library's back.
#ifndef TARNLIB_TESTS_SUPPORT_SQL_H_
#define TARNLIB_TESTS_SUPPORT_SQL_H_

#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace tarnlib::testing {

class RawDb {
 public:
  explicit RawDb(const std::string& path, const char* vfs = nullptr,
                 int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) {
    if (sqlite3_open_v2(path.c_str(), &db_, flags, vfs) != SQLITE_OK) {
      std::string message = sqlite3_errmsg(db_);
      sqlite3_close(db_);
      throw std::runtime_error(message);
    }
  }
  ~RawDb() { sqlite3_close(db_); }
  RawDb(const RawDb&) = delete;
  RawDb& operator=(const RawDb&) = delete;

  // Runs statements; throws with SQLite's message on failure.
  void exec(const std::string& sql) {
    char* error = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      std::string message = error ? error : "error";
      sqlite3_free(error);
      throw std::runtime_error(message + " in: " + sql);
    }
  }

  // Every row of a query, each column as text ("NULL" for null), joined by "|".
  std::vector<std::string> rows(const std::string& sql) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK)
      throw std::runtime_error(std::string(sqlite3_errmsg(db_)) + " in: " + sql);
    std::vector<std::string> out;
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      std::string row;
      for (int i = 0; i < sqlite3_column_count(stmt); ++i) {
        if (i) row += '|';
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, i));
        row += text ? text : "NULL";
      }
      out.push_back(row);
    }
    sqlite3_finalize(stmt);
    return out;
  }

  std::string value(const std::string& sql) {
    auto r = rows(sql);
    return r.empty() ? std::string() : r.front();
  }

  sqlite3* handle() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_SQL_H_
