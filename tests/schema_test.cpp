#include "core/schema.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/sql.h"

namespace {

using tarnlib::db::Table;
using tarnlib::db::TableKind;
using tarnlib::testing::RawDb;
namespace schema = tarnlib::schema;

// The texts, order and foreign keys of the current tables are pinned by the
// recorded schema file (library_test); these are the rules behind them.
TEST(Schema, TablesFollowTheirParentsAndReferencesResolve) {
  const std::vector<Table>& all = schema::tables();
  std::set<std::string> created;
  for (const Table& t : all) {
    if (t.kind() == TableKind::Derived || t.kind() == TableKind::Container) {
      EXPECT_TRUE(created.count(t.parent())) << t.name() << " before its parent " << t.parent();
    }
    for (const auto& c : t.columns()) {
      if (!c.refTable.empty()) {
        EXPECT_NO_THROW(schema::table(c.refTable)) << t.name() << "." << c.name;
      }
    }
    EXPECT_TRUE(created.insert(t.name()).second) << "twice: " << t.name();
  }
  EXPECT_EQ(&schema::table("tarnlib_Unit"), &all[42]);
  EXPECT_THROW(schema::table("tarnlib_Nothing"), std::out_of_range);
}

// A file of the oldest migratable version: no profile, unit or property tables,
// and the columns of later steps missing.
TEST(Schema, OldestVersionCreatesInSqliteWithoutLaterTablesAndColumns) {
  RawDb old(":memory:");
  old.exec("PRAGMA foreign_keys=ON");
  for (const Table& t : schema::tables()) {
    if (t.since() > schema::kOldestMigratableVersion) continue;
    old.exec(t.createSql(schema::kOldestMigratableVersion));
    for (const std::string& sql : t.indexSql()) old.exec(sql);
  }
  EXPECT_EQ(old.value("SELECT count(*) FROM sqlite_master WHERE name GLOB 'tarnlib_*' AND type='table'"), "17");
  EXPECT_EQ(old.value("SELECT count(*) FROM pragma_table_info('tarnlib_Material')"), "19");
  EXPECT_EQ(old.value("SELECT count(*) FROM pragma_table_info('tarnlib_Composition')"), "12");
  EXPECT_EQ(old.value("SELECT count(*) FROM pragma_table_info('tarnlib_BimAsset')"), "7");
}

}  // namespace
