// Helpers for tests of object access: the whole content of a catalogue file as
// one canonical text, a fixture with a new library, a reactor that writes down
// what it is told, and a counter of the SQL statements a library runs inside
// the caller's transaction.
#ifndef TARNLIB_TESTS_SUPPORT_CATALOGUE_H_
#define TARNLIB_TESTS_SUPPORT_CATALOGUE_H_

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/transaction_impl.h"
#include "sql.h"
#include "temp_dir.h"
#include "tarnlib/library.h"
#include "tarnlib/transaction.h"

namespace tarnlib::testing {

// Every non-empty catalogue table, one line per table: "name: row; row", rows
// sorted so that the text does not depend on insertion order. The metadata row
// (it carries a random GUID) and the AUTOINCREMENT counters are left out unless
// `everything`: then a failed write that bumped a counter shows as a change.
inline std::string catalogueText(const std::string& path, bool everything = false) {
  RawDb db(path);
  std::string text;
  const std::string tables =
      everything ? "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name"
                 : "SELECT name FROM sqlite_master WHERE type='table' AND name LIKE 'tarnlib\\_%' "
                   "ESCAPE '\\' AND name <> 'tarnlib_Meta' ORDER BY name";
  for (const std::string& table : db.rows(tables)) {
    std::vector<std::string> rows = db.rows("SELECT * FROM \"" + table + "\"");
    if (rows.empty()) continue;
    std::sort(rows.begin(), rows.end());
    text += table + ":";
    for (std::size_t i = 0; i < rows.size(); ++i) text += (i ? "; " : " ") + rows[i];
    text += "\n";
  }
  return text;
}

// The names of objects in their order, as UTF-8, separated by "|".
template <class T>
std::string names(const std::vector<TnSmartPtr<T>>& objects) {
  std::string out;
  for (const auto& o : objects) out += (out.empty() ? "" : "|") + o->name().toUtf8();
  return out;
}

// A new millimetre library "lib" in a scratch folder.
class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    library = Library::create(dir.odFile("lib"), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
  }
  template <class T>
  TnSmartPtr<T> store(const TnSmartPtr<T>& object) {
    auto stored = library->save<T>(object);
    EXPECT_TRUE(stored);
    return stored;
  }
  // The names of what the vector forms of get<T> load.
  template <class T>
  std::string loaded() {
    std::vector<TnSmartPtr<T>> out;
    library->get<T>(out);
    return names(out);
  }
  template <class T>
  std::string loaded(const typename ObjectTraits<T>::criteria_type& criteria) {
    std::vector<TnSmartPtr<T>> out;
    library->get<T>(out, criteria);
    return names(out);
  }
  std::string text(bool everything = false) { return catalogueText(dir.file("lib"), everything); }
  RawDb raw() { return RawDb(dir.file("lib")); }

  TempDir dir;
  std::shared_ptr<Library> library;
};

// Writes down every notification as a short token, in order:
//   begin, end<reason>, saved(<type>:<id>), committed(<type>:<id>,...),
//   before(<type>:<id>), after(<type>:<id>).
class RecordingReactor : public Library::Reactor {
 public:
  void transactionBegun(const Library&) override {
    ++begun;
    log("begin");
  }
  void transactionEnded(const Library&, End reason) override {
    log("end" + std::to_string(static_cast<int>(reason)));
  }
  bool beforeRemove(const Library&, const ObjectInfo& object) override {
    log("before(" + key(object.type, object.id) + ")");
    return !veto;
  }
  void afterRemove(const Library&, const ObjectInfo& object) override {
    log("after(" + key(object.type, object.id) + ")");
  }
  void objectSaved(const Library&, ObjectType type, std::uint32_t id) override {
    // Told inside the transaction that writes the object.
    log("saved(" + key(type, id) + (Transaction::hasCurrent() ? "" : " outside") + ")");
  }
  void objectsCommitted(const Library&, const std::set<ObjectKey>& objects) override {
    std::string list;
    for (const ObjectKey& k : objects) list += (list.empty() ? "" : ",") + key(k.type, k.id);
    log("committed(" + list + ")");
  }

  void clear() {
    events.clear();
    begun = 0;
  }

  std::string events;  // tokens separated by spaces
  int begun = 0;       // transactions begun
  bool veto = false;   // beforeRemove answers false

 private:
  static std::string key(ObjectType type, std::uint32_t id) {
    return std::to_string(static_cast<int>(type)) + ":" + std::to_string(id);
  }
  void log(const std::string& token) { events += (events.empty() ? "" : " ") + token; }
};

// Counts the statements that the connection of `transaction` (begun and made
// current by the test, so that library operations join it) starts running.
// Detaches before the connection goes back to the library's pool.
class StatementCounter {
 public:
  explicit StatementCounter(Transaction& transaction)
      : db_(detail::TransactionAccess::impl(transaction).connection().handle()) {
    sqlite3_trace_v2(db_, SQLITE_TRACE_STMT, &StatementCounter::onStatement, this);
  }
  ~StatementCounter() { sqlite3_trace_v2(db_, 0, nullptr, nullptr); }
  StatementCounter(const StatementCounter&) = delete;
  StatementCounter& operator=(const StatementCounter&) = delete;

  // Statements started since the last call.
  int take() {
    const int n = count_;
    count_ = 0;
    return n;
  }

 private:
  static int onStatement(unsigned, void* self, void*, void*) {
    ++static_cast<StatementCounter*>(self)->count_;
    return 0;
  }
  sqlite3* db_;
  int count_ = 0;
};

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_CATALOGUE_H_
