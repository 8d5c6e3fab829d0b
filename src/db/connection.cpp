#include "db/connection.h"

#include <sqlite3.h>

#include <atomic>

#include "db/error.h"

namespace tarnlib::db {

namespace {
std::atomic<int> gBusyTimeoutMs{Connection::kBusyTimeoutMs};
}  // namespace

void Connection::setBusyTimeoutForTesting(int milliseconds) { gBusyTimeoutMs = milliseconds; }

Connection::Connection(const std::string& path, const std::string& vfs, int flags) {
  const int rc = sqlite3_open_v2(path.c_str(), &db_, flags | SQLITE_OPEN_NOMUTEX,
                                 vfs.empty() ? nullptr : vfs.c_str());
  if (rc != SQLITE_OK) {
    Error error = errorOf(db_, rc);
    sqlite3_close_v2(db_);
    db_ = nullptr;
    throw error;
  }
  sqlite3_extended_result_codes(db_, 1);
  sqlite3_busy_timeout(db_, gBusyTimeoutMs.load());
  try {
    exec("PRAGMA foreign_keys=ON");
  } catch (...) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
    throw;
  }
}

Connection::~Connection() {
  cache_.clear();  // statements are finalized before the connection closes
  sqlite3_close_v2(db_);
}

void Connection::exec(const std::string& sql) {
  char* message = nullptr;
  const int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message);
  sqlite3_free(message);  // the connection keeps the same text for errorOf
  if (rc != SQLITE_OK) fail(db_, rc);
}

StatementHandle Connection::prepare(std::string_view sql) {
  auto it = cache_.find(std::string(sql));
  if (it == cache_.end()) {
    it = cache_.emplace(std::string(sql), Cached{std::make_unique<Statement>(db_, sql), false}).first;
  }
  return borrow(it->second, sql);
}

StatementHandle Connection::prepareKept(const std::string& sql) {
  Cached*& cached = kept_[&sql];
  if (!cached) {
    auto it = cache_.find(sql);
    if (it == cache_.end()) it = cache_.emplace(sql, Cached{std::make_unique<Statement>(db_, sql), false}).first;
    cached = &it->second;
  }
  return borrow(*cached, sql);
}

StatementHandle Connection::borrow(Cached& cached, std::string_view sql) {
  if (cached.borrowed) {
    auto own = std::make_unique<Statement>(db_, sql);
    Statement* raw = own.get();
    return StatementHandle(raw, nullptr, std::move(own));
  }
  cached.borrowed = true;
  return StatementHandle(cached.stmt.get(), &cached.borrowed, nullptr);
}

std::unique_ptr<Statement> Connection::prepareOnce(std::string_view sql) {
  return std::make_unique<Statement>(db_, sql);
}

bool Connection::readOnly() const { return sqlite3_db_readonly(db_, "main") == 1; }
bool Connection::inTransaction() const { return sqlite3_get_autocommit(db_) == 0; }
std::int64_t Connection::lastInsertId() const { return sqlite3_last_insert_rowid(db_); }
bool Connection::deferredViolations() const {
  int current = 0;
  int highwater = 0;
  sqlite3_db_status(db_, SQLITE_DBSTATUS_DEFERRED_FKS, &current, &highwater, 0);
  return current != 0;
}

int Connection::changes() const { return sqlite3_changes(db_); }

}  // namespace tarnlib::db
