// Files of the current schema written by older versions: every version from
// 1003 is brought to 1013 with its rows, GUIDs are given by name, an interrupted
// step is taken up again, and a step that fails leaves the file as it was.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <vector>
#include <string>

#include "support/old_files.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/library.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;

constexpr const char* kLibraryGuid = "6f1c1f0e-8d1a-4f5e-9a55-3a0f2f3d7c10";
constexpr const char* kFallbackNamespace = "ede5cbb9-34d1-402a-92f2-894430583e67";

using Guids = std::map<std::string, std::string>;

// The rows of `sql` as a map from the first column to the rest.
Guids keyed(RawDb& db, const std::string& sql) {
  Guids out;
  for (const std::string& row : db.rows(sql)) out[row.substr(0, row.find('|'))] = row.substr(row.find('|') + 1);
  return out;
}

// The GUID of every composition ("c" and id) and profile ("p" and id).
Guids storedGuids(RawDb& db) {
  return keyed(db, "SELECT 'c' || id, guid FROM tarnlib_Composition "
                   "UNION ALL SELECT 'p' || id, guid FROM tarnlib_Profile");
}

// What the GUIDs of an old file's rows must become: a composition's named by
// its name, a profile's by its standard's name, its profile name and its size.
Guids expectedGuids(RawDb& db, const std::string& ns) {
  std::string sql = "SELECT 'c' || id, name FROM tarnlib_Composition";
  if (!db.value("SELECT name FROM sqlite_master WHERE name = 'tarnlib_Profile'").empty())
    sql += " UNION ALL SELECT 'p' || p.id, coalesce(s.name, '') || coalesce(n.name, '') || p.size "
           "FROM tarnlib_Profile AS p LEFT JOIN tarnlib_ProfileName AS n ON n.id = p.name_id "
           "LEFT JOIN tarnlib_ProfileStandard AS s ON s.id = n.standard_id";
  Guids out = keyed(db, sql);
  for (auto& entry : out) entry.second = testing::expectedNameGuid(ns, entry.second);
  return out;
}

class Migration : public ::testing::Test {
 protected:
  std::string oldFile(const std::string& name, int version, const std::string& guid = kLibraryGuid) {
    const std::string path = dir.file(name);
    testing::writeOldLibrary(path, version, guid);
    return path;
  }
  void expectCurrent(const std::string& path) { testing::expectCurrentSchema(path, dir.file("fresh")); }

  TempDir dir;
};

TEST_F(Migration, EveryOldVersionReachesTheCurrentSchemaWithItsRows) {
  for (int version = 1003; version <= 1012; ++version) {
    SCOPED_TRACE(version);
    const std::string path = oldFile(std::to_string(version), version);
    std::map<std::string, std::vector<std::string>> before;
    Guids guids;
    {
      RawDb db(path);
      testing::fillTables(db, version, 2);
      before = testing::rowsAt(db, version);
      // A file at 1012 already has its GUIDs; they stay as they are.
      guids = version < 1012 ? expectedGuids(db, kLibraryGuid) : storedGuids(db);
    }

    // A read-only open migrates in place first.
    const bool readOnly = version % 2 == 1;
    auto library = Library::open(OdString(path), readOnly);
    ASSERT_TRUE(library);
    EXPECT_EQ(library->isReadOnly(), readOnly);
    EXPECT_EQ(library->version(), 1013u);
    EXPECT_FALSE(library->isNew());
    EXPECT_EQ(library->guid(), OdString(kLibraryGuid));
    library.reset();

    expectCurrent(path);
    RawDb db(path);
    EXPECT_EQ(testing::rowsAt(db, version), before);
    EXPECT_EQ(storedGuids(db), guids);
    EXPECT_EQ(guids.size(), version < 1004 ? 2u : 4u);
  }
}

TEST_F(Migration, GuidsAreNamedInTheLibraryNamespaceAndRepeatable) {
  auto write = [&](const std::string& name, const std::string& libraryGuid) {
    const std::string path = oldFile(name, 1011, libraryGuid);
    RawDb db(path);
    db.exec(
        "INSERT INTO tarnlib_Composition (id, name, description, comments) VALUES "
        "(4, 'Wall \xC3\xA4', '', ''), (9, 'Wand \xF0\x9D\x84\x9E', '', ''), (10, '', '', '');"
        "INSERT INTO tarnlib_ProfileStandard VALUES (1, 'EN');"
        "INSERT INTO tarnlib_ProfileName (id, standard_id, name, type) VALUES "
        "(1, 1, 'HEA', 1), (2, NULL, 'Flat \xF0\x9D\x84\x9E', 2);"
        "INSERT INTO tarnlib_Profile (id, typeid, name_id, size, description) VALUES "
        "(1, 'tarnlib::IShapeProfile', 1, '200', ''), (2, 'tarnlib::RectangleProfile', 2, '10x20', "
        "''),"
        "(3, 'tarnlib::IShapeProfile', 1, '', '')");
    return path;
  };
  const Guids expected = {
      {"c4", testing::expectedNameGuid(kLibraryGuid, "Wall \xC3\xA4")},
      {"c9", testing::expectedNameGuid(kLibraryGuid, "Wand \xF0\x9D\x84\x9E")},
      {"c10", testing::expectedNameGuid(kLibraryGuid, "")},
      {"p1", testing::expectedNameGuid(kLibraryGuid, "ENHEA200")},
      {"p2", testing::expectedNameGuid(kLibraryGuid,
                                       "Flat \xF0\x9D\x84\x9E"
                                       "10x20")},
      {"p3", testing::expectedNameGuid(kLibraryGuid, "ENHEA")},
  };

  // Two copies of one file, migrated apart, agree; so does the same GUID spelt
  // in upper case with braces.
  const std::string a = write("a", kLibraryGuid);
  const std::string b = dir.file("b");
  std::filesystem::copy_file(a, b);
  std::string braced = std::string("{") + kLibraryGuid + "}";
  for (char& c : braced) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const std::string c = write("c", braced);
  for (const std::string& path : {a, b, c}) {
    SCOPED_TRACE(path);
    ASSERT_TRUE(Library::open(OdString(path)));
    RawDb db(path);
    EXPECT_EQ(storedGuids(db), expected);
  }

  // Without a library GUID the fixed stand-in namespace is used.
  const std::string unnamed = write("unnamed", "");
  ASSERT_TRUE(Library::open(OdString(unnamed)));
  RawDb db(unnamed);
  const Guids guids = storedGuids(db);
  EXPECT_EQ(guids.at("c4"), testing::expectedNameGuid(kFallbackNamespace, "Wall \xC3\xA4"));
  EXPECT_EQ(guids.at("p1"), testing::expectedNameGuid(kFallbackNamespace, "ENHEA200"));
}

TEST_F(Migration, InterruptedStepIsTakenUpAgainFromItsVersion) {
  // The schema pass of 1012 was recorded, its GUID pass did not finish.
  const std::string guids = oldFile("1012", 1012);
  {
    RawDb db(guids);
    db.exec(
        "UPDATE schema_version SET migration = 1;"
        "INSERT INTO tarnlib_Composition (id, name, description, comments, guid) VALUES "
        "(1, 'Done', '', '', 'a3e7c5de-0000-4000-8000-000000000001'), (2, 'Pending', '', '', '');"
        "INSERT INTO tarnlib_ProfileName (id, standard_id, name, type) VALUES (1, NULL, 'HEB', 1);"
        "INSERT INTO tarnlib_Profile (id, typeid, name_id, size, description, guid) VALUES "
        "(1, 'tarnlib::IShapeProfile', 1, '300', '', '')");
  }
  ASSERT_TRUE(Library::open(OdString(guids)));
  RawDb db(guids);
  EXPECT_EQ(storedGuids(db), (Guids{{"c1", "a3e7c5de-0000-4000-8000-000000000001"},
                                    {"c2", testing::expectedNameGuid(kLibraryGuid, "Pending")},
                                    {"p1", testing::expectedNameGuid(kLibraryGuid, "HEB300")}}));
  expectCurrent(guids);

  const std::string earlier = oldFile("1008", 1008);
  RawDb(earlier).exec("UPDATE schema_version SET migration = 1");
  ASSERT_TRUE(Library::open(OdString(earlier)));
  expectCurrent(earlier);
}

TEST_F(Migration, FailingStepLeavesTheFileByteForByte) {
  struct Case {
    const char* name;
    int version;
    const char* obstacle;
  };
  const Case cases[] = {
      // A table of step 1011 already there.
      {"create", 1010, "CREATE TABLE \"tarnlib_Measure\" (x TEXT)"},
      // A column of step 1005 already there.
      {"alter", 1004, "ALTER TABLE tarnlib_BimAsset ADD COLUMN union_elevation INTEGER"},
      // The last step, after all others ran in the same transaction.
      {"last", 1003,
       "ALTER TABLE tarnlib_Material ADD COLUMN surface_pattern_background_color_alpha REAL"},
      // The GUID pass of step 1012 cannot write.
      {"guids", 1011,
       "INSERT INTO tarnlib_Composition (name, description, comments) VALUES ('x', '', '');"
       "CREATE TRIGGER no_guid BEFORE UPDATE ON tarnlib_Composition "
       "BEGIN SELECT RAISE(ABORT, 'no'); END"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = oldFile(c.name, c.version);
    RawDb(path).exec(c.obstacle);
    const std::string before = testing::readBytes(path);
    EXPECT_FALSE(Library::open(OdString(path)));
    EXPECT_FALSE(Library::open(OdString(path), true));
    EXPECT_EQ(testing::readBytes(path), before);
    EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
  }
}

}  // namespace
}  // namespace tarnlib
