#include "db/statement.h"

#include <sqlite3.h>

#include <cmath>
#include <cstdio>
#include <string>

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

// Decodes well-formed UTF-8 of at most `length` characters into `out`; the
// number of characters, or -1, leaving the text to OdString::fromUtf8 and its
// replacements, at the first sequence that is not well formed (a stray or
// missing continuation byte, an overlong form, a surrogate, a code point above
// U+10FFFF).
long decodeUtf8(const unsigned char* text, std::size_t length, wchar_t* out) {
  wchar_t* to = out;
  const unsigned char* end = text + length;
  for (const unsigned char* p = text; p != end;) {
    const unsigned lead = *p;
    if (lead < 0x80) {
      *to++ = static_cast<wchar_t>(lead);
      ++p;
      continue;
    }
    int more = 0;
    unsigned code = 0;
    unsigned low = 0x80;  // the bounds of the second byte
    unsigned high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
      more = 1;
      code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      more = 2;
      code = lead & 0x0F;
      if (lead == 0xE0) low = 0xA0;   // overlong
      if (lead == 0xED) high = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      more = 3;
      code = lead & 0x07;
      if (lead == 0xF0) low = 0x90;   // overlong
      if (lead == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
      return -1;
    }
    if (end - p <= more) return -1;
    for (int k = 1; k <= more; ++k) {
      const unsigned byte = p[k];
      if (k == 1 ? (byte < low || byte > high) : (byte & 0xC0) != 0x80) return -1;
      code = (code << 6) | (byte & 0x3F);
    }
    *to++ = static_cast<wchar_t>(code);
    p += more + 1;
  }
  return to - out;
}

}  // namespace

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
  check(db_, sqlite3_prepare_v3(db_, sql.data(), static_cast<int>(sql.size()),
                                SQLITE_PREPARE_PERSISTENT, &stmt_, nullptr));
  texts_.resize(static_cast<std::size_t>(sqlite3_bind_parameter_count(stmt_)));
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
  if (index < 0 || static_cast<std::size_t>(index) >= texts_.size() || utf8.data() == nullptr) {
    // Not a parameter of this statement, which SQLite reports, or no text at
    // all, which SQLite binds as NULL.
    check(db_, sqlite3_bind_text(stmt_, index + 1, utf8.data(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT));
    return *this;
  }
  std::string& kept = texts_[static_cast<std::size_t>(index)];
  kept.assign(utf8.data(), utf8.size());
  return bindKept(index);
}

Statement& Statement::bind(int index, const OdString& text) {
  checkText(text);
  if (index < 0 || static_cast<std::size_t>(index) >= texts_.size()) return bind(index, text.toUtf8());
  // Encoded straight into the parameter's buffer: valid text (checked above)
  // needs no replacement characters.
  std::string& kept = texts_[static_cast<std::size_t>(index)];
  const wchar_t* from = text.c_str();
  const auto length = static_cast<std::size_t>(text.getLength());
  kept.resize(4 * length);
  char* to = kept.data();
  for (std::size_t i = 0; i < length; ++i) {
    const auto code = static_cast<std::uint32_t>(from[i]);
    if (code < 0x80) {
      *to++ = static_cast<char>(code);
    } else if (code < 0x800) {
      *to++ = static_cast<char>(0xC0 | (code >> 6));
      *to++ = static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      *to++ = static_cast<char>(0xE0 | (code >> 12));
      *to++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      *to++ = static_cast<char>(0x80 | (code & 0x3F));
    } else {
      *to++ = static_cast<char>(0xF0 | (code >> 18));
      *to++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      *to++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      *to++ = static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  kept.resize(static_cast<std::size_t>(to - kept.data()));
  return bindKept(index);
}

Statement& Statement::bindKept(int index) {
  // The buffer stays put until this parameter is bound again or the
  // statement goes, so SQLite need not copy it.
  const std::string& kept = texts_[static_cast<std::size_t>(index)];
  check(db_, sqlite3_bind_text(stmt_, index + 1, kept.data(), static_cast<int>(kept.size()), SQLITE_STATIC));
  return *this;
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
  const auto* text = sqlite3_column_text(stmt_, column);
  if (!text) return OdString();
  const auto length = static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column));
  // The text of a row (a name, a description) is decoded on the stack and the
  // string allocated once at its size: the hot path of every load.
  constexpr std::size_t kOnStack = 256;
  if (length <= kOnStack) {
    wchar_t decoded[kOnStack];
    const long count = decodeUtf8(text, length, decoded);
    if (count >= 0) return OdString(std::wstring(decoded, static_cast<std::size_t>(count)));
  }
  return OdString::fromUtf8(reinterpret_cast<const char*>(text), length);
}

bool Statement::busy() const { return sqlite3_stmt_busy(stmt_) != 0; }

}  // namespace tarnlib::db
