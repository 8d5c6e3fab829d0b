// Library files: creating, opening, refusing, metadata, read-only and memory files.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "db/connection.h"
#include "support/catalogue.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/guid.h"
#include "tarnlib/library.h"
#include "tarnlib/memfs.h"
#include "tarnlib/tag.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;

TEST(LibraryCreate, NewFileHasCurrentSchemaAndMetadataAndIsKeptOnCreateAgain) {
  TempDir dir;
  auto library = Library::create(dir.odFile("a.tlib"), LibraryUnit::Inch);
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->isNew());
  EXPECT_FALSE(library->isReadOnly());
  EXPECT_EQ(library->version(), 1013u);
  EXPECT_EQ(library->unit(), LibraryUnit::Inch);
  const OdString guid = library->guid();
  EXPECT_EQ(deriveGuid(guid), guid) << "not a canonical UUID: " << guid.toUtf8();
  EXPECT_NE(Library::create(dir.odFile("b"), LibraryUnit::Inch)->guid(), guid);
  EXPECT_TRUE(library->locale().isEmpty());
  EXPECT_EQ(library->filename(), dir.odFile("a.tlib"));
  library.reset();
  RawDb raw(dir.file("a.tlib"));
  EXPECT_EQ(raw.value("SELECT name, version, migration, compatibility FROM schema_version"),
            "tarnlib|1013|0|1000");
  EXPECT_EQ(raw.value("SELECT guid, unit, locale, region FROM tarnlib_Meta"), guid.toUtf8() + "|0||");

  // Creating an existing library opens it as it is.
  auto again = Library::create(dir.odFile("a.tlib"), LibraryUnit::Millimeter, L"other");
  ASSERT_TRUE(again);
  EXPECT_FALSE(again->isNew());
  EXPECT_EQ(again->unit(), LibraryUnit::Inch);
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

// A UUID is kept as given, any other text names the GUID.
TEST(LibraryCreate, GuidTextFollowsDerivation) {
  TempDir dir;
  const OdString uuid(L"4b7009ef-0317-4504-a674-282d1b5bb08f");
  EXPECT_EQ(Library::create(dir.odFile("1"), LibraryUnit::Millimeter, uuid)->guid(), uuid);
  EXPECT_EQ(Library::create(dir.odFile("2"), LibraryUnit::Millimeter, L"Walls")->guid(), deriveGuid(L"Walls"));
}

TEST(LibraryOpen, MissingOrJunkFilesAreRefusedEmptyOrForeignOnesAdopted) {
  TempDir dir;
  EXPECT_FALSE(Library::open(dir.odFile("missing.tlib")));
  EXPECT_FALSE(Library::open(dir.odFile("missing.tlib"), true));
  EXPECT_FALSE(std::filesystem::exists(dir.file("missing.tlib")));

  const std::string junk(4096, 'x');
  testing::writeBytes(dir.file("junk"), junk);
  EXPECT_FALSE(Library::open(dir.odFile("junk")));
  EXPECT_FALSE(Library::create(dir.odFile("junk"), LibraryUnit::Inch));
  EXPECT_EQ(testing::readBytes(dir.file("junk")), junk);

  testing::writeBytes(dir.file("empty"), "");
  auto empty = Library::open(dir.odFile("empty"));
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->isNew());
  EXPECT_EQ(empty->unit(), LibraryUnit::Millimeter);

  RawDb(dir.file("foreign")).exec("CREATE TABLE notes(x TEXT); INSERT INTO notes VALUES ('kept')");
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

TEST_F(LibraryVersions, NewerFileOpensOnlyWhenItsCompatibilityAllows) {
  auto library = Library::open(OdString(fileAt(1020, 1000)));
  ASSERT_TRUE(library);
  EXPECT_EQ(library->version(), 1020u);

  // Too new or too old: refused, byte for byte.
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

// A catalogue whose version record is lost or garbled still holds its objects:
// no opening, read-only or not, may take it for an empty file and drop them.
TEST_F(LibraryVersions, DamagedVersionOfACatalogueWithRows_RefusedAndUnchanged) {
  const std::vector<std::pair<const char*, const char*>> damage = {
      {"row missing", "DELETE FROM schema_version"},
      {"table missing", "DROP TABLE schema_version"},
      {"zero", "UPDATE schema_version SET version = 0"},
      {"negative", "UPDATE schema_version SET version = -1013"},
      {"not a number", "UPDATE schema_version SET version = 'x1013'"},
      {"fraction", "UPDATE schema_version SET version = 1013.5"},
  };
  for (const auto& [name, sql] : damage) {
    SCOPED_TRACE(name);
    const std::string path = dir.file(name);
    {
      auto library = Library::create(OdString(path), LibraryUnit::Millimeter);
      ASSERT_TRUE(library);
      ASSERT_TRUE(library->save<Tag>(Tag::create(L"kept")));
    }
    RawDb(path).exec(sql);
    const std::string before = testing::readBytes(path);
    EXPECT_FALSE(Library::open(OdString(path), true));
    EXPECT_FALSE(Library::open(OdString(path), false));
    EXPECT_FALSE(Library::create(OdString(path), LibraryUnit::Millimeter));
    EXPECT_EQ(testing::readBytes(path), before);
  }
  // The same damage to a catalogue without a single row is repaired as before.
  const std::string path = dir.file("no rows");
  ASSERT_TRUE(Library::create(OdString(path), LibraryUnit::Millimeter));
  RawDb(path).exec("DELETE FROM tarnlib_Meta; UPDATE schema_version SET version = 0");
  auto library = Library::open(OdString(path), true);
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->isNew());
}

TEST(LibraryOpen, FileBusyWhileOpening_WaitedForLikeAnyOperation) {
  TempDir dir;
  const std::string path = dir.file("busy");
  ASSERT_TRUE(Library::create(OdString(path), LibraryUnit::Millimeter));
  // Another connection holds the file exclusively past one busy timeout, not
  // past the seven attempts of the retry rule.
  db::Connection::setBusyTimeoutForTesting(200);
  RawDb holder(path);
  holder.exec("BEGIN EXCLUSIVE");
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    holder.exec("COMMIT");
  });
  auto library = Library::open(OdString(path));
  release.join();
  db::Connection::setBusyTimeoutForTesting(db::Connection::kBusyTimeoutMs);
  EXPECT_TRUE(library);
}

TEST(LibraryOpen, ReadOnlyOpenOfWalFile_LeavesNoWalOrShmBehind) {
  TempDir dir;
  const std::string path = dir.file("wal");
  ASSERT_TRUE(Library::create(OdString(path), LibraryUnit::Millimeter));
  RawDb(path).exec("PRAGMA journal_mode=WAL");
  {
    auto library = Library::open(OdString(path), true);
    ASSERT_TRUE(library);
    EXPECT_TRUE(library->isReadOnly());
    EXPECT_EQ(library->count<Tag>(), 0u);
  }
  EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
  EXPECT_FALSE(std::filesystem::exists(path + "-shm"));
  // While another connection has the file open, its files are left to it.
  RawDb other(path);
  other.exec("INSERT INTO tarnlib_Tag (name) VALUES ('t')");
  Library::open(OdString(path), true).reset();
  EXPECT_EQ(RawDb(path).value("SELECT name FROM tarnlib_Tag"), "t");
}

TEST(LibraryMeta, SettersWriteOnlyChangesAndCopyKeepsUnitAndGuid) {
  TempDir dir;
  auto library = Library::create(dir.odFile("a"), LibraryUnit::Millimeter);
  testing::RecordingReactor reactor;
  library->setReactor(&reactor);
  library->locale(L"de-AT");
  library->region(L"\U0001F3D4 Alps");
  EXPECT_EQ(reactor.begun, 2);
  library->locale(L"de-AT");
  library->region(L"\U0001F3D4 Alps");
  EXPECT_EQ(reactor.begun, 2);
  library->setReactor(nullptr);
  EXPECT_TRUE(library->vacuum());

  auto other = Library::create(dir.odFile("b"), LibraryUnit::Inch);
  other->copyMeta(library);
  EXPECT_EQ(other->locale(), OdString(L"de-AT"));
  EXPECT_EQ(other->unit(), LibraryUnit::Inch);
  EXPECT_NE(other->guid(), library->guid());
  other.reset();
  EXPECT_EQ(Library::open(dir.odFile("b"))->region(), OdString(L"\U0001F3D4 Alps"));
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
