// One SQLite connection with its cache of prepared statements. A connection is
// used by one thread at a time: the library hands each active transaction its own.
#ifndef TARNLIB_DB_CONNECTION_H_
#define TARNLIB_DB_CONNECTION_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "db/statement.h"

struct sqlite3;

namespace tarnlib::db {

class Connection;

// A statement borrowed from a connection's cache; it is reset and given back
// when the handle goes. A statement already borrowed (a query run while another
// use of the same text is still stepping) is served by a fresh one.
class StatementHandle {
 public:
  StatementHandle(Statement* stmt, bool* borrowed, std::unique_ptr<Statement> own)
      : stmt_(stmt), borrowed_(borrowed), own_(std::move(own)) {}
  StatementHandle(StatementHandle&& other) noexcept
      : stmt_(other.stmt_), borrowed_(other.borrowed_), own_(std::move(other.own_)) {
    other.stmt_ = nullptr;
  }
  StatementHandle& operator=(StatementHandle&&) = delete;
  ~StatementHandle() {
    if (!stmt_) return;
    stmt_->reset();
    if (borrowed_) *borrowed_ = false;
  }

  Statement* operator->() const { return stmt_; }
  Statement& operator*() const { return *stmt_; }

 private:
  Statement* stmt_;
  bool* borrowed_;  // the cache entry's flag; null for a statement of its own
  std::unique_ptr<Statement> own_;
};

class Connection {
 public:
  // How long a connection waits for another connection's lock before SQLite
  // reports it busy and the retry rule takes over. Writers that wait here do not
  // burn their seven attempts on a short overlap; 5 s rides out a queue of
  // several writers whose commits each wait for a slow disk's sync.
  static constexpr int kBusyTimeoutMs = 5000;
  // Tests shorten the wait to reach the retry rule quickly; applies to
  // connections opened afterwards.
  static void setBusyTimeoutForTesting(int milliseconds);

  // Opens `path` through the VFS named `vfs` (empty for SQLite's default) with
  // the given SQLITE_OPEN_* flags and switches foreign keys on. Throws Error.
  Connection(const std::string& path, const std::string& vfs, int flags);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Runs one or more statements without results (sqlite3_exec).
  void exec(const std::string& sql);
  // A statement of the cache, prepared on first use.
  StatementHandle prepare(std::string_view sql);
  // The same for a text that is never freed nor changed (a mapping's kept
  // statements): found by the text's address, without hashing the text on
  // every call.
  StatementHandle prepareKept(const std::string& sql);
  // A statement outside the cache, for texts that are run once.
  std::unique_ptr<Statement> prepareOnce(std::string_view sql);

  bool readOnly() const;
  bool inTransaction() const;
  // Whether deferred foreign-key violations are waiting for the commit.
  bool deferredViolations() const;
  std::int64_t lastInsertId() const;
  int changes() const;
  sqlite3* handle() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
  struct Cached {
    std::unique_ptr<Statement> stmt;
    bool borrowed = false;
  };
  StatementHandle borrow(Cached& cached, std::string_view sql);

  std::unordered_map<std::string, Cached> cache_;  // nodes are stable: handles point into them
  std::unordered_map<const std::string*, Cached*> kept_;
};

}  // namespace tarnlib::db

#endif  // TARNLIB_DB_CONNECTION_H_
