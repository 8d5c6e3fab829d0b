// Library files: creating, opening, refusing, metadata, read-only and memory files.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/guid.h"
#include "tarnlib/library.h"
#include "tarnlib/memfs.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;

// Counts the transactions a library runs.
class CountingReactor : public Library::Reactor {
 public:
  void transactionBegun(const Library&) override { ++begun; }
  void transactionEnded(const Library&, End reason) override { ended.push_back(reason); }
  int begun = 0;
  std::vector<End> ended;
};

bool isCanonicalGuid(const OdString& text) {
  const std::string s = text.toUtf8();
  if (s.size() != 36) return false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? s[i] != '-' : !std::isxdigit(static_cast<unsigned char>(s[i])) || std::isupper(s[i]))
      return false;
  }
  return true;
}

TEST(LibraryCreate, NewFileHasCurrentSchemaAndMetadata) {
  TempDir dir;
  auto library = Library::create(dir.odFile("a.tlib"), LibraryUnit::Inch);
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->isNew());
  EXPECT_FALSE(library->isReadOnly());
  EXPECT_EQ(library->version(), 1013u);
  EXPECT_EQ(library->unit(), LibraryUnit::Inch);
  EXPECT_TRUE(isCanonicalGuid(library->guid())) << library->guid().toUtf8();
  EXPECT_TRUE(library->locale().isEmpty());
  EXPECT_EQ(library->filename(), dir.odFile("a.tlib"));

  const OdString guid = library->guid();
  library.reset();
  RawDb raw(dir.file("a.tlib"));
  EXPECT_EQ(raw.value("SELECT name, version, migration, compatibility FROM schema_version"),
            "tarnlib|1013|0|1000");
  EXPECT_EQ(raw.value("SELECT count(*) FROM sqlite_master WHERE type='table' AND name LIKE 'tarnlib_%'"),
            "53");
  EXPECT_EQ(raw.value("SELECT guid, unit, locale, region FROM tarnlib_Meta"), guid.toUtf8() + "|0||");

  auto again = Library::open(dir.odFile("a.tlib"));
  ASSERT_TRUE(again);
  EXPECT_FALSE(again->isNew());
  EXPECT_EQ(again->guid(), guid);
}

TEST(LibraryCreate, SchemaTextEqualsTheRecordedOne) {
  TempDir dir;
  ASSERT_TRUE(Library::create(dir.odFile("a"), LibraryUnit::Millimeter));
  std::string dump;
  for (const std::string& sql :
       RawDb(dir.file("a")).rows("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"))
    dump += sql + ";\n";
  EXPECT_EQ(dump, testing::readBytes(std::string(TARNLIB_TEST_DATA_DIR) + "/schema-1013.sql"));
}

TEST(LibraryCreate, GuidTextFollowsDerivation) {
  TempDir dir;
  const OdString uuid(L"4b7009ef-0317-4504-a674-282d1b5bb08f");
  EXPECT_EQ(Library::create(dir.odFile("1"), LibraryUnit::Millimeter, uuid)->guid(), uuid);
  const OdString a = Library::create(dir.odFile("2"), LibraryUnit::Millimeter, L"Walls")->guid();
  const OdString b = Library::create(dir.odFile("3"), LibraryUnit::Millimeter, L"Walls")->guid();
  EXPECT_EQ(a, b);
  EXPECT_EQ(a, deriveGuid(L"Walls"));
  EXPECT_NE(Library::create(dir.odFile("4"), LibraryUnit::Millimeter)->guid(),
            Library::create(dir.odFile("5"), LibraryUnit::Millimeter)->guid());
}

TEST(LibraryCreate, ExistingLibraryIsOpenedAsItIs) {
  TempDir dir;
  const OdString guid = Library::create(dir.odFile("a"), LibraryUnit::Inch)->guid();
  auto library = Library::create(dir.odFile("a"), LibraryUnit::Millimeter, L"other");
  ASSERT_TRUE(library);
  EXPECT_FALSE(library->isNew());
  EXPECT_EQ(library->unit(), LibraryUnit::Inch);
  EXPECT_EQ(library->guid(), guid);
}

TEST(LibraryOpen, MissingFileGivesNullAndCreatesNothing) {
  TempDir dir;
  EXPECT_FALSE(Library::open(dir.odFile("missing.tlib")));
  EXPECT_FALSE(Library::open(dir.odFile("missing.tlib"), true));
  EXPECT_FALSE(std::filesystem::exists(dir.file("missing.tlib")));
}

TEST(LibraryOpen, FileThatIsNotADatabaseIsRefusedUnchanged) {
  TempDir dir;
  const std::string junk(4096, 'x');
  testing::writeBytes(dir.file("junk"), junk);
  EXPECT_FALSE(Library::open(dir.odFile("junk")));
  EXPECT_FALSE(Library::create(dir.odFile("junk"), LibraryUnit::Inch));
  EXPECT_EQ(testing::readBytes(dir.file("junk")), junk);
}

TEST(LibraryOpen, EmptyOrForeignDatabaseBecomesEmptyLibrary) {
  TempDir dir;
  testing::writeBytes(dir.file("empty"), "");
  auto empty = Library::open(dir.odFile("empty"));
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->isNew());
  EXPECT_EQ(empty->unit(), LibraryUnit::Millimeter);

  { RawDb(dir.file("foreign")).exec("CREATE TABLE notes(x TEXT); INSERT INTO notes VALUES ('kept')"); }
  ASSERT_TRUE(Library::open(dir.odFile("foreign")));
  EXPECT_EQ(RawDb(dir.file("foreign")).value("SELECT x FROM notes"), "kept");
}

class LibraryVersions : public ::testing::Test {
 protected:
  // A current library whose recorded version and compatibility are rewritten.
  std::string fileAt(int version, int compatibility) {
    const std::string path = dir.file(std::to_string(version) + "-" + std::to_string(compatibility));
    EXPECT_TRUE(Library::create(OdString(path), LibraryUnit::Millimeter));
    RawDb(path).exec("UPDATE schema_version SET version=" + std::to_string(version) +
                     ", compatibility=" + std::to_string(compatibility));
    return path;
  }
  TempDir dir;
};

TEST_F(LibraryVersions, NewerFileOpensWhenItsCompatibilityAllows) {
  auto library = Library::open(OdString(fileAt(1020, 1000)));
  ASSERT_TRUE(library);
  EXPECT_EQ(library->version(), 1020u);
}

TEST_F(LibraryVersions, TooNewOrTooOldFilesAreRefusedByteForByte) {
  for (const std::string& path : {fileAt(1020, 1014), fileAt(1002, 1000)}) {
    const std::string before = testing::readBytes(path);
    EXPECT_FALSE(Library::open(OdString(path))) << path;
    EXPECT_FALSE(Library::open(OdString(path), true)) << path;
    EXPECT_EQ(testing::readBytes(path), before) << path;
  }
}

TEST_F(LibraryVersions, ThreeColumnVersionTableGainsCompatibility) {
  const std::string path = dir.file("three");
  ASSERT_TRUE(Library::create(OdString(path), LibraryUnit::Millimeter));
  {
    RawDb raw(path);
    raw.exec("DROP TABLE schema_version; CREATE TABLE schema_version(name TEXT NOT NULL PRIMARY KEY, "
             "version INTEGER NOT NULL, migration INTEGER NOT NULL); "
             "DROP TABLE tarnlib_Meta");
  }
  // Without a version row the file counts as foreign: the schema is made anew.
  ASSERT_TRUE(Library::open(OdString(path)));
  EXPECT_EQ(RawDb(path).value("SELECT version, compatibility FROM schema_version"), "1013|1000");
}

TEST(LibraryMeta, SettersWriteOnlyChanges) {
  TempDir dir;
  auto library = Library::create(dir.odFile("a"), LibraryUnit::Millimeter);
  CountingReactor reactor;
  library->setReactor(&reactor);
  library->locale(L"de-AT");
  library->region(L"\U0001F3D4 Alps");
  EXPECT_EQ(reactor.begun, 2);
  library->locale(L"de-AT");
  library->region(L"\U0001F3D4 Alps");
  EXPECT_EQ(reactor.begun, 2);
  library->setReactor(nullptr);

  auto other = Library::create(dir.odFile("b"), LibraryUnit::Inch);
  other->copyMeta(library);
  EXPECT_EQ(other->locale(), OdString(L"de-AT"));
  EXPECT_EQ(other->region(), OdString(L"\U0001F3D4 Alps"));
  EXPECT_EQ(other->unit(), LibraryUnit::Inch);
  EXPECT_NE(other->guid(), library->guid());

  other.reset();
  auto reopened = Library::open(dir.odFile("b"));
  EXPECT_EQ(reopened->region(), OdString(L"\U0001F3D4 Alps"));
}

TEST(LibraryReadOnly, RefusesWritesAndVacuumLeavingFileUnchanged) {
  TempDir dir;
  ASSERT_TRUE(Library::create(dir.odFile("a"), LibraryUnit::Millimeter));
  const std::string before = testing::readBytes(dir.file("a"));
  auto library = Library::open(dir.odFile("a"), true);
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->isReadOnly());
  EXPECT_THROW(library->locale(L"fr"), LibraryReadOnly);
  EXPECT_TRUE(library->locale().isEmpty());
  EXPECT_FALSE(library->vacuum());
  library.reset();
  EXPECT_EQ(testing::readBytes(dir.file("a")), before);
}

TEST(LibraryVacuum, SucceedsOnWritableLibrary) {
  TempDir dir;
  auto library = Library::create(dir.odFile("a"), LibraryUnit::Millimeter);
  EXPECT_TRUE(library->vacuum());
}

TEST(LibraryMemory, LivesInMemFsAndSavesToDisk) {
  TempDir dir;
  const OdString name(L"memvfs://library-memory-test");
  {
    auto library = Library::create(name, LibraryUnit::Inch, L"memory");
    ASSERT_TRUE(library);
    library->locale(L"en");
  }
  MemFile* file = MemFs::instance().open(L"library-memory-test", false);
  ASSERT_NE(file, nullptr);
  EXPECT_GT(file->size(), 0u);

  auto reopened = Library::open(name, true);
  ASSERT_TRUE(reopened);
  EXPECT_EQ(reopened->locale(), OdString(L"en"));
  EXPECT_EQ(reopened->guid(), deriveGuid(L"memory"));
  reopened.reset();

  std::string bytes(file->size(), '\0');
  ASSERT_EQ(file->read(bytes.data(), bytes.size(), 0), bytes.size());
  testing::writeBytes(dir.file("saved"), bytes);
  auto onDisk = Library::open(dir.odFile("saved"));
  ASSERT_TRUE(onDisk);
  EXPECT_EQ(onDisk->locale(), OdString(L"en"));
  EXPECT_TRUE(MemFs::instance().remove(L"library-memory-test"));
  EXPECT_FALSE(Library::open(name));
}

}  // namespace
}  // namespace tarnlib
