// The internal conditions a database failure becomes. Every SQLite result code
// passes through check(), the only place that reads codes; the transaction scope
// and the object-access layer act on the condition, and error translation turns
// what escapes into the library's public exceptions.
#ifndef TARNLIB_DB_ERROR_H_
#define TARNLIB_DB_ERROR_H_

#include <exception>
#include <string>

struct sqlite3;

namespace tarnlib::db {

enum class Condition {
  NotPersistent,      // load, update or erase of a row that is not there
  AlreadyPersistent,  // insert of a derived or container row that collides
  NullPointer,        // a required reference missing at insert or update
  Recoverable,        // busy or locked: the whole attempt may be retried
  ForcedRollback,     // SQLite rolled the transaction back on its own
  OutOfMemory,
  Database,           // anything else, with SQLite's codes and message
};

class Error : public std::exception {
 public:
  Error(Condition condition, int code, int extendedCode, std::string message)
      : condition_(condition), code_(code), extendedCode_(extendedCode), message_(std::move(message)) {}

  Condition condition() const { return condition_; }
  int code() const { return code_; }
  int extendedCode() const { return extendedCode_; }
  const std::string& message() const { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }
  bool isConstraint() const { return condition_ == Condition::Database && code_ == 19; }

 private:
  Condition condition_;
  int code_;
  int extendedCode_;
  std::string message_;
};

// The condition of a failed result code, with the connection's message.
Error errorOf(sqlite3* db, int rc);
[[noreturn]] inline void fail(sqlite3* db, int rc) { throw errorOf(db, rc); }
[[noreturn]] void fail(Condition condition, const std::string& message);

// Returns rc when it is SQLITE_OK, SQLITE_ROW or SQLITE_DONE; throws otherwise.
inline int check(sqlite3* db, int rc) {
  if (rc != 0 && rc != 100 && rc != 101) fail(db, rc);
  return rc;
}

}  // namespace tarnlib::db

#endif  // TARNLIB_DB_ERROR_H_
