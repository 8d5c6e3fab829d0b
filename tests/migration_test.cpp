// Files of the current schema written by older versions: every version from
// 1003 is brought to 1013 with its rows, GUIDs are given by name, an interrupted
// step is taken up again, and a step that fails leaves the file as it was.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
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

// The GUID of every composition ("c" and id) and profile ("p" and id).
Guids storedGuids(RawDb& db) {
  Guids out;
  for (const char* sql : {"SELECT 'c' || id, guid FROM tarnlib_Composition",
                          "SELECT 'p' || id, guid FROM tarnlib_Profile"}) {
    for (const std::string& row : db.rows(sql)) {
      const auto bar = row.find('|');
      out[row.substr(0, bar)] = row.substr(bar + 1);
    }
  }
  return out;
}

// What the GUIDs of an old file's rows must become: a composition's from its
// name, a profile's from its standard's name, its profile name and its size.
Guids expectedGuids(RawDb& db, const std::string& ns) {
  Guids out;
  auto split = [](const std::string& row) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t bar; (bar = row.find('|', start)) != std::string::npos; start = bar + 1)
      parts.push_back(row.substr(start, bar - start));
    parts.push_back(row.substr(start));
    return parts;
  };
  for (const std::string& row : db.rows("SELECT id, name FROM tarnlib_Composition")) {
    const auto p = split(row);
    out["c" + p[0]] = testing::expectedNameGuid(ns, p[1]);
  }
  const bool hasProfiles =
      !db.value("SELECT name FROM sqlite_master WHERE name = 'tarnlib_Profile'").empty();
  if (!hasProfiles) return out;
  std::map<std::string, std::string> standards;
  for (const std::string& row : db.rows("SELECT id, name FROM tarnlib_ProfileStandard")) {
    const auto p = split(row);
    standards[p[0]] = p[1];
  }
  std::map<std::string, std::string> names;
  for (const std::string& row : db.rows("SELECT id, standard_id, name FROM tarnlib_ProfileName")) {
    const auto p = split(row);
    names[p[0]] = (standards.count(p[1]) ? standards[p[1]] : "") + p[2];
  }
  for (const std::string& row : db.rows("SELECT id, name_id, size FROM tarnlib_Profile")) {
    const auto p = split(row);
    out["p" + p[0]] = testing::expectedNameGuid(ns, names[p[1]] + p[2]);
  }
  return out;
}

class Migration : public ::testing::Test {
 protected:
  // The tables of `path` that differ from a newly created library's.
  std::string schemaDifferences(const std::string& path) {
    if (fresh_.empty()) {
      EXPECT_TRUE(Library::create(dir.odFile("fresh"), LibraryUnit::Millimeter));
      RawDb db(dir.file("fresh"));
      fresh_ = testing::logicalSchema(db);
    }
    RawDb db(path);
    return testing::schemaDifferences(testing::logicalSchema(db), fresh_);
  }

  std::string oldFile(const std::string& name, int version,
                      const std::string& guid = kLibraryGuid) {
    const std::string path = dir.file(name);
    testing::writeOldLibrary(path, version, guid);
    return path;
  }

  TempDir dir;

 private:
  testing::LogicalSchema fresh_;
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

    auto library = Library::open(OdString(path));
    ASSERT_TRUE(library);
    EXPECT_EQ(library->version(), 1013u);
    EXPECT_FALSE(library->isNew());
    EXPECT_EQ(library->guid(), OdString(kLibraryGuid));
    library.reset();

    RawDb db(path);
    EXPECT_EQ(db.rows("SELECT name, version, migration, compatibility FROM schema_version"),
              std::vector<std::string>{"tarnlib|1013|0|1000"});
    EXPECT_EQ(schemaDifferences(path), "");
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
  {
    RawDb db(guids);
    EXPECT_EQ(storedGuids(db), (Guids{{"c1", "a3e7c5de-0000-4000-8000-000000000001"},
                                      {"c2", testing::expectedNameGuid(kLibraryGuid, "Pending")},
                                      {"p1", testing::expectedNameGuid(kLibraryGuid, "HEB300")}}));
    EXPECT_EQ(db.value("SELECT version, migration, compatibility FROM schema_version"),
              "1013|0|1000");
    EXPECT_EQ(schemaDifferences(guids), "");
  }

  const std::string earlier = oldFile("1008", 1008);
  RawDb(earlier).exec("UPDATE schema_version SET migration = 1");
  ASSERT_TRUE(Library::open(OdString(earlier)));
  RawDb db(earlier);
  EXPECT_EQ(db.value("SELECT version, migration FROM schema_version"), "1013|0");
  EXPECT_EQ(schemaDifferences(earlier), "");
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

TEST_F(Migration, ReadOnlyOpenMigratesInPlaceFirst) {
  const std::string path = oldFile("1011", 1011);
  auto library = Library::open(OdString(path), true);
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->isReadOnly());
  EXPECT_EQ(library->version(), 1013u);
  library.reset();
  RawDb db(path);
  EXPECT_EQ(db.value("SELECT version, migration, compatibility FROM schema_version"),
            "1013|0|1000");
  EXPECT_EQ(schemaDifferences(path), "");
}

}  // namespace
}  // namespace tarnlib
