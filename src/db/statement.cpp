#include "db/statement.h"

#include <sqlite3.h>

#include <cmath>
#include <cstdio>

#include "db/error.h"

namespace tarnlib::db {

namespace {

// Values that SQLite would not give back as they were handed over are refused
// before they reach a row: a lone surrogate or a code point above U+10FFFF
// would become U+FFFD in UTF-8, so two different names would be one row; a NaN
// would become NULL, so a number would read back as absent.
void checkText(const OdString& text) {
  const wchar_t* c = text.c_str();
  for (int i = 0; i < text.getLength(); ++i) {
    const auto code = static_cast<std::uint32_t>(c[i]);
    if (code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF)) continue;
    char detail[96];
    std::snprintf(detail, sizeof detail, "text with U+%04X at position %d is not valid Unicode",
                  static_cast<unsigned>(code), i + 1);
    throw Error(Condition::Database, SQLITE_MISMATCH, SQLITE_MISMATCH, detail);
  }
}

}  // namespace

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
  check(db_, sqlite3_prepare_v3(db_, sql.data(), static_cast<int>(sql.size()),
                                SQLITE_PREPARE_PERSISTENT, &stmt_, nullptr));
}

Statement::~Statement() { sqlite3_finalize(stmt_); }

void Statement::reset() noexcept {
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

Statement& Statement::bindNull(int index) {
  check(db_, sqlite3_bind_null(stmt_, index + 1));
  return *this;
}

Statement& Statement::bind(int index, std::int64_t value) {
  check(db_, sqlite3_bind_int64(stmt_, index + 1, value));
  return *this;
}

Statement& Statement::bind(int index, double value) {
  if (std::isnan(value))
    throw Error(Condition::Database, SQLITE_MISMATCH, SQLITE_MISMATCH, "a number that is NaN cannot be stored");
  check(db_, sqlite3_bind_double(stmt_, index + 1, value));
  return *this;
}

Statement& Statement::bind(int index, std::string_view utf8) {
  check(db_, sqlite3_bind_text(stmt_, index + 1, utf8.data(), static_cast<int>(utf8.size()),
                               SQLITE_TRANSIENT));
  return *this;
}

Statement& Statement::bind(int index, const OdString& text) {
  checkText(text);
  return bind(index, text.toUtf8());
}

bool Statement::step() {
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  // Keep the statement reusable for the next attempt, after taking the message.
  Error error = errorOf(db_, rc);
  sqlite3_reset(stmt_);
  throw error;
}

int Statement::exec() {
  while (step()) {
  }
  return sqlite3_changes(db_);
}

int Statement::columnCount() const { return sqlite3_column_count(stmt_); }
bool Statement::isNull(int column) const {
  return sqlite3_column_type(stmt_, column) == SQLITE_NULL;
}
std::int64_t Statement::int64(int column) const { return sqlite3_column_int64(stmt_, column); }
double Statement::real(int column) const { return sqlite3_column_double(stmt_, column); }

std::string Statement::utf8(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)))
              : std::string();
}

OdString Statement::text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
  return text ? OdString::fromUtf8(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)))
              : OdString();
}

bool Statement::busy() const { return sqlite3_stmt_busy(stmt_) != 0; }

}  // namespace tarnlib::db
