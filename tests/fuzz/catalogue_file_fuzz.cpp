// Fuzz target of opening a damaged catalogue file: the input is the file,
// kept in memory; it is opened read-only and then writable (which may migrate
// it), and every read operation runs on each opening. Refusing the file or
// throwing one of the library's exceptions is fine; a crash, leak, undefined
// behaviour or hang is not.
//
// Flipping bytes of a database mostly gives pages SQLite refuses, so under
// libFuzzer half of the mutations are edits of the database instead: a value of
// a random row and column replaced by one that a damaged or hostile file
// could hold, a row deleted, the schema version changed or a table dropped.
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnlib;
  fuzz::ScratchFile file("catalogue-fuzz");
  MemFile* memory = file.create();
  if (!memory || memory->write(data, size, 0) != size) return 0;
  for (const bool readOnly : {true, false}) {
    try {
      auto library = Library::open(file.path(), readOnly);
      if (library) fuzz::readEverything(*library);
    } catch (const Exception&) {
    }
  }
  return 0;
}

#ifdef TARNLIB_FUZZING_ENGINE

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

std::vector<std::string> column(sqlite3* db, const std::string& sql) {
  std::vector<std::string> out;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) return out;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(statement, 0);
    out.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
  }
  sqlite3_finalize(statement);
  return out;
}

std::string quoted(const std::string& name) {
  std::string out = "\"";
  for (char c : name) out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
}

// One edit of the database in `db`; false when the file offered nothing to edit.
bool editDatabase(sqlite3* db, std::mt19937& random) {
  const std::vector<std::string> tables =
      column(db, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
  if (tables.empty()) return false;
  const std::string& table = tables[random() % tables.size()];
  const std::vector<std::string> columns = column(db, "SELECT name FROM pragma_table_info(" +
                                                          std::string("'") + table + "') ORDER BY cid");
  const std::vector<std::string> rows = column(db, "SELECT count(*) FROM " + quoted(table));
  const long count = rows.empty() ? 0 : std::atol(rows[0].c_str());
  const std::string row =
      " WHERE rowid = (SELECT rowid FROM " + quoted(table) + " LIMIT 1 OFFSET " +
      std::to_string(count > 0 ? random() % count : 0) + ")";
  static const char* const kValues[] = {
      "NULL", "0", "1", "2", "3", "-1", "7", "44", "1013", "2147483647", "-2147483648", "4294967295",
      "9223372036854775807", "-9223372036854775808", "1e308", "-1e308", "9e999", "-9e999", "0.5", "1e-320",
      "''", "'x'", "'%'", "X'00FF'", "'{00000000-0000-0000-0000-000000000000}'", "'not a guid'",
      "'{\"x\":1}'", "'[1,2'", "char(55296)", "randomblob(8)"};
  std::string sql;
  switch (random() % 8) {
    case 0:
    case 1:
    case 2:
    case 3:
      if (columns.empty()) return false;
      sql = "UPDATE OR IGNORE " + quoted(table) + " SET " + quoted(columns[random() % columns.size()]) + " = " +
            kValues[random() % (sizeof kValues / sizeof *kValues)] + row;
      break;
    case 4:
      if (columns.empty()) return false;
      // Another row's value of the same column: a duplicate key or a
      // reference to another object.
      {
        const std::string& name = quoted(columns[random() % columns.size()]);
        sql = "UPDATE OR IGNORE " + quoted(table) + " SET " + name + " = (SELECT " + name + " FROM " +
              quoted(table) + " LIMIT 1 OFFSET " + std::to_string(count > 0 ? random() % count : 0) + ")" + row;
      }
      break;
    case 5:
      sql = "DELETE FROM " + quoted(table) + row;
      break;
    case 6:
      sql = "UPDATE schema_version SET version = " + std::to_string(1000 + random() % 16);
      break;
    default:
      sql = random() % 4 == 0 ? "DROP TABLE " + quoted(table)
                              : "INSERT INTO " + quoted(table) + " SELECT * FROM " + quoted(table) + row;
      break;
  }
  return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The input with one edit of its database, written into `data`; 0 when the
// input is not a database or the edited one does not fit.
std::size_t mutateDatabase(std::uint8_t* data, std::size_t size, std::size_t maxSize, std::mt19937& random) {
  sqlite3* db = nullptr;
  std::size_t result = 0;
  if (sqlite3_open(":memory:", &db) == SQLITE_OK) {
    auto* copy = static_cast<unsigned char*>(sqlite3_malloc64(size ? size : 1));
    if (copy) std::memcpy(copy, data, size);
    if (copy && sqlite3_deserialize(db, "main", copy, static_cast<sqlite3_int64>(size),
                                    static_cast<sqlite3_int64>(size),
                                    SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE) == SQLITE_OK) {
      sqlite3_exec(db, "PRAGMA ignore_check_constraints = 1", nullptr, nullptr, nullptr);
      if (editDatabase(db, random)) {
        sqlite3_int64 length = 0;
        unsigned char* bytes = sqlite3_serialize(db, "main", &length, 0);
        if (bytes && length > 0 && static_cast<std::size_t>(length) <= maxSize) {
          std::memcpy(data, bytes, static_cast<std::size_t>(length));
          result = static_cast<std::size_t>(length);
        }
        sqlite3_free(bytes);
      }
    }
  }
  sqlite3_close(db);
  return result;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  std::mt19937 random(seed);
  if (random() % 2 == 0) {
    const std::size_t edited = mutateDatabase(data, size, maxSize, random);
    if (edited > 0) return edited;
  }
  return LLVMFuzzerMutate(data, size, maxSize);
}

#endif  // TARNLIB_FUZZING_ENGINE
