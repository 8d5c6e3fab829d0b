#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "memfs/memfs_internal.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/memfs.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using Bytes = std::vector<unsigned char>;

Bytes pattern(std::size_t size, unsigned seed) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>((i * 7 + seed) % 251 + 1);
  return bytes;
}

Bytes contents(const MemFile& file) {
  Bytes bytes(static_cast<std::size_t>(file.size()));
  EXPECT_EQ(file.read(bytes.data(), bytes.size(), 0), bytes.size());
  return bytes;
}

bool allZero(const unsigned char* begin, const unsigned char* end) {
  return std::all_of(begin, end, [](unsigned char b) { return b == 0; });
}

// Every test removes the files it made, and no MemFile may outlive that.
class MemFileTest : public ::testing::Test {
 protected:
  void SetUp() override { baseline_ = memfs_internal::liveFiles(); }
  void TearDown() override {
    for (const OdString& name : names_) fs().remove(name);
    EXPECT_EQ(memfs_internal::liveFiles(), baseline_) << "a memory file outlived its test";
  }
  static MemFs& fs() { return MemFs::instance(); }
  void track(const OdString& name) { names_.push_back(name); }
  MemFile* create(const wchar_t* name) {
    track(name);
    return fs().open(name, true);
  }

  std::size_t baseline_ = 0;
  std::vector<OdString> names_;
};

// What the byte-vector model below cannot see: holes without blocks, bytes past
// a short read left alone, blocks given up by truncation.
TEST_F(MemFileTest, HolesAndCutOffTailsHaveNoBlocks) {
  MemFile* file = create(L"sparse");
  EXPECT_EQ(file->rawBlock(0), nullptr) << "an empty file covers no block";
  ASSERT_EQ(file->write("abc", 3, 5000), 3u);
  const MemFile& view = *file;
  for (std::uint64_t i = 0; i < 4; ++i) EXPECT_EQ(view.rawBlock(i), nullptr) << "block " << i;
  EXPECT_NE(view.rawBlock(4), nullptr);
  EXPECT_EQ(file->rawBlock(5), nullptr) << "block 5 lies past the size";
  unsigned char buffer[10];
  std::memset(buffer, 0xEE, sizeof buffer);
  EXPECT_EQ(file->read(buffer, 10, 5001), 2u);
  EXPECT_EQ(buffer[2], 0xEE) << "bytes past the end must not be touched";

  // The writable overload allocates a zeroed block whose bytes are file bytes.
  unsigned char* block = file->rawBlock(1);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(allZero(block, block + file->blocksize()));
  block[0] = 42;
  EXPECT_EQ(contents(*file)[1024], 42);

  file->truncate(100);
  EXPECT_EQ(file->rawBlock(1), nullptr) << "kept memory is not part of the file";
  ASSERT_EQ(file->write("z", 1, 2999), 1u);
  EXPECT_EQ(contents(*file)[1024], 0) << "growing again brings back nothing cut off";
}

// Writes, truncations and reads around block boundaries, against a byte vector.
TEST_F(MemFileTest, RandomOperations_MatchByteVector) {
  MemFile* file = create(L"model");
  Bytes model;
  std::mt19937 random(20240611);
  auto pick = [&random](std::uint64_t limit) {
    return std::uniform_int_distribution<std::uint64_t>(0, limit)(random);
  };
  for (int step = 0; step < 3000; ++step) {
    // One offset in four sits on a block boundary or a byte either side of one.
    const std::uint64_t offset = pick(3) == 0 ? (pick(5) + 1) * 1024 + pick(2) - 1 : pick(6500);
    const auto at = static_cast<std::ptrdiff_t>(offset);
    const auto op = pick(3);
    if (op == 0) {
      file->truncate(offset);
      if (offset < model.size()) model.resize(static_cast<std::size_t>(offset));
    } else if (op == 1 || op == 2) {
      const Bytes data = pattern(static_cast<std::size_t>(pick(2600)), static_cast<unsigned>(step));
      ASSERT_EQ(file->write(data.data(), data.size(), offset), data.size());
      if (!data.empty()) {
        model.resize(std::max<std::size_t>(model.size(), offset + data.size()), 0);
        std::copy(data.begin(), data.end(), model.begin() + at);
      }
    } else {
      Bytes got(static_cast<std::size_t>(pick(3000)));
      const std::uint64_t n = file->read(got.data(), got.size(), offset);
      ASSERT_EQ(n, offset >= model.size() ? 0 : std::min<std::uint64_t>(got.size(), model.size() - offset));
      const auto end = got.begin() + static_cast<std::ptrdiff_t>(n);
      ASSERT_TRUE(n == 0 || std::equal(got.begin(), end, model.begin() + at)) << "step " << step;
    }
    ASSERT_EQ(file->size(), model.size()) << "step " << step;
  }
  EXPECT_EQ(contents(*file), model);
}

TEST_F(MemFileTest, SwapAndCopy_MoveContentsButNotNames) {
  MemFile* a = create(L"a");
  MemFile* b = create(L"b");
  const Bytes aData = pattern(1500, 1);
  a->write(aData.data(), aData.size(), 0);
  b->write("xyz", 3, 3000);
  a->swap(b);
  EXPECT_EQ(a->filename(), L"a");
  EXPECT_EQ(contents(*b), aData);
  EXPECT_EQ(a->size(), 3003u);

  track(L"c");
  MemFile* c = a->copy(L"c");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(fs().open(L"c", false), c);
  EXPECT_EQ(contents(*c), contents(*a));
  EXPECT_EQ(static_cast<const MemFile*>(c)->rawBlock(0), nullptr) << "holes stay holes";
  c->write("!", 1, 3002);
  EXPECT_NE(contents(*c), contents(*a)) << "a copy shares no blocks with its source";

  EXPECT_EQ(a->copy(L"b"), nullptr) << "an existing file is never overwritten";
  EXPECT_EQ(fs().copy(L"missing", L"d"), nullptr);
  MemFile* unnamed = fs().copy(L"b", OdString());
  ASSERT_NE(unnamed, nullptr);
  track(unnamed->filename());
  EXPECT_EQ(contents(*unnamed), aData);
}

TEST_F(MemFileTest, OpenAndRemove_ManageNames) {
  EXPECT_EQ(fs().open(L"named", false), nullptr);
  MemFile* named = create(L"named");
  EXPECT_EQ(fs().open(L"named", true), named);
  EXPECT_EQ(fs().open(L"Named", false), nullptr) << "names compare exactly";
  EXPECT_EQ(fs().open(OdString(), false), nullptr);

  MemFile* first = fs().createUnique();
  MemFile* second = fs().open(OdString(), true);
  track(first->filename());
  track(second->filename());
  EXPECT_FALSE(first->filename().isEmpty());
  EXPECT_NE(first->filename(), second->filename());
  EXPECT_EQ(fs().open(second->filename(), false), second);

  named->write("1", 1, 0);
  EXPECT_TRUE(fs().remove(named));
  EXPECT_FALSE(fs().remove(named));
  EXPECT_EQ(memfs_internal::liveFiles(), baseline_ + 2) << "no handle held it, so it is freed";
  EXPECT_EQ(create(L"named")->size(), 0u) << "a new file of a removed name starts empty";
  EXPECT_TRUE(fs().remove(L"named"));
  EXPECT_FALSE(fs().remove(L"named"));
}

TEST(MemVfsRegistration, IsCountedAndNeverDefault) {
  const bool before = sqlite3_vfs_find("memvfs") != nullptr;
  EXPECT_STREQ(memvfs_name(), "memvfs");
  ASSERT_TRUE(register_memvfs());
  ASSERT_TRUE(register_memvfs());
  sqlite3_vfs* vfs = sqlite3_vfs_find("memvfs");
  ASSERT_NE(vfs, nullptr);
  EXPECT_NE(sqlite3_vfs_find(nullptr), vfs);

  unregister_memvfs();
  EXPECT_EQ(sqlite3_vfs_find("memvfs"), vfs) << "one registration is still counted";
  unregister_memvfs();
  EXPECT_EQ(sqlite3_vfs_find("memvfs") != nullptr, before);
  if (!before) {
    // An unmatched unregister must not leave the count below zero.
    unregister_memvfs();
    ASSERT_TRUE(register_memvfs());
    EXPECT_NE(sqlite3_vfs_find("memvfs"), nullptr);
    unregister_memvfs();
  }
}

constexpr int kExisting = SQLITE_OPEN_READWRITE;
constexpr const char* kItems = "SELECT id, name FROM item ORDER BY id";
const std::vector<std::string> kFilled{"1|steel", "2|oak", "3|glass"};

class MemVfsTest : public MemFileTest {
 protected:
  void SetUp() override {
    MemFileTest::SetUp();
    ASSERT_TRUE(register_memvfs());
  }
  void TearDown() override {
    unregister_memvfs();
    MemFileTest::TearDown();
  }
  // Three committed rows, kFilled.
  static void fill(RawDb& c) {
    c.exec("CREATE TABLE item(id INTEGER PRIMARY KEY, name TEXT NOT NULL);"
           "BEGIN; INSERT INTO item(name) VALUES ('steel'), ('oak'), ('glass'); COMMIT");
  }
};

TEST_F(MemVfsTest, Database_PersistsAcrossConnectionsAndRollsBack) {
  track(L"somefile");
  {
    RawDb c("somefile", "memvfs");
    fill(c);
    EXPECT_NE(fs().open(L"somefile", false), nullptr);
    EXPECT_EQ(fs().open(L"somefile-journal", false), nullptr) << "the journal is deleted at commit";
    // A tiny page cache makes SQLite write changed pages into the file before the
    // rollback, which then has to restore them from the journal.
    c.exec("PRAGMA cache_size=2; BEGIN; UPDATE item SET name='brick' WHERE id=2;"
           "DELETE FROM item WHERE id=3; CREATE TABLE filler(b BLOB);"
           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<200) "
           "INSERT INTO filler SELECT randomblob(900) FROM n; ROLLBACK");
    EXPECT_EQ(c.rows(kItems), kFilled);
  }
  RawDb again("somefile", "memvfs", kExisting);
  EXPECT_EQ(again.rows(kItems), kFilled);
  EXPECT_EQ(again.value("SELECT count(*) FROM sqlite_schema WHERE name='filler'"), "0");
  EXPECT_EQ(again.value("PRAGMA integrity_check"), "ok");

  sqlite3* missing = nullptr;
  EXPECT_EQ(sqlite3_open_v2("nofile", &missing, kExisting, "memvfs"), SQLITE_CANTOPEN);
  sqlite3_close(missing);
  EXPECT_EQ(fs().open(L"nofile", false), nullptr) << "opening without create makes no file";
}

TEST_F(MemVfsTest, RemovedFile_StaysWithConnectionUntilClose) {
  track(L"live");
  {
    RawDb c("live", "memvfs");
    fill(c);
    ASSERT_TRUE(fs().remove(L"live"));
    EXPECT_EQ(memfs_internal::liveFiles(), baseline_ + 1) << "the connection still holds it";
    MemFile* successor = fs().open(L"live", true);
    c.exec("INSERT INTO item(name) VALUES ('slate')");
    EXPECT_EQ(c.value("SELECT count(*) FROM item"), "4");
    EXPECT_EQ(successor->size(), 0u) << "a new file of the name is not the detached one";
  }
  EXPECT_EQ(memfs_internal::liveFiles(), baseline_ + 1) << "the detached file goes with its last handle";
}

// A copy is a database of its own; a host saves a memory library by writing
// the file's bytes to disk, and loads one by writing a disk file's bytes into a
// memory file.
TEST_F(MemVfsTest, DatabaseBytesMoveBetweenMemoryFilesAndDisk) {
  track(L"original");
  track(L"duplicate");
  {
    RawDb c("original", "memvfs");
    fill(c);
  }
  ASSERT_NE(fs().copy(L"original", L"duplicate"), nullptr);
  {
    RawDb copy("duplicate", "memvfs", kExisting);
    EXPECT_EQ(copy.rows(kItems), kFilled);
    copy.exec("INSERT INTO item(name) VALUES ('copper')");
  }
  EXPECT_EQ(RawDb("original", "memvfs", kExisting).rows(kItems), kFilled);

  testing::TempDir dir;
  const Bytes bytes = contents(*fs().open(L"original", false));
  testing::writeBytes(dir.file("saved"), std::string(bytes.begin(), bytes.end()));
  {
    RawDb disk(dir.file("saved"), nullptr, kExisting);
    EXPECT_EQ(disk.rows(kItems), kFilled);
    EXPECT_EQ(disk.value("PRAGMA temp_store"), "0") << "only memvfs connections are changed";
    disk.exec("INSERT INTO item(name) VALUES ('clay')");
  }
  const std::string saved = testing::readBytes(dir.file("saved"));
  ASSERT_EQ(create(L"loaded")->write(saved.data(), saved.size(), 0), saved.size());
  RawDb loaded("loaded", "memvfs", kExisting);
  EXPECT_EQ(loaded.value("SELECT count(*) FROM item"), "4");
  EXPECT_EQ(loaded.value("PRAGMA integrity_check"), "ok");
}

// Sorting and VACUUM spill into temporary files past the page cache, and memvfs
// keeps none; its connections must hold temporary storage in memory instead.
TEST_F(MemVfsTest, LargeDatabase_SortsAndVacuumsPastTheCache) {
  track(L"big");
  RawDb c("big", "memvfs");
  EXPECT_EQ(c.value("PRAGMA temp_store"), "2");
  c.exec("PRAGMA cache_size=4; CREATE TABLE t(k INTEGER, pad BLOB);"
         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<3000) "
         "INSERT INTO t SELECT (i * 7919) % 3001, randomblob(300) FROM n;"
         "DELETE FROM t WHERE k % 2 = 0;");
  EXPECT_EQ(c.value("SELECT count(*), sum(prev <= pad) FROM "
                    "(SELECT pad, lag(pad, 1, x'') OVER (ORDER BY pad) AS prev FROM t)"),
            "1500|1500");
  const std::uint64_t before = fs().open(L"big", false)->size();
  c.exec("VACUUM");
  EXPECT_LT(fs().open(L"big", false)->size(), before);
  EXPECT_EQ(c.value("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(c.value("SELECT count(*), sum(k) FROM t"), "1500|2250000");
}

// The VFS's own contract, driven through its method tables.
class MemVfsHandleTest : public MemVfsTest {
 protected:
  void SetUp() override {
    MemVfsTest::SetUp();
    vfs_ = sqlite3_vfs_find("memvfs");
    ASSERT_LE(static_cast<std::size_t>(vfs_->szOsFile), sizeof storage_);
  }
  sqlite3_file* handle() { return reinterpret_cast<sqlite3_file*>(storage_); }
  const sqlite3_io_methods* open(const char* name, int flags) {
    EXPECT_EQ(vfs_->xOpen(vfs_, name, handle(), flags, nullptr), SQLITE_OK);
    return handle()->pMethods;
  }

  sqlite3_vfs* vfs_ = nullptr;
  alignas(std::max_align_t) unsigned char storage_[64] = {};
};

TEST_F(MemVfsHandleTest, Files_OnlyDatabasesAndJournalsAreKept) {
  const int temp = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_DELETEONCLOSE;
  char buffer[4] = {'x', 'x', 'x', 'x'};
  sqlite3_int64 size = -1;
  const sqlite3_io_methods* io = open(nullptr, temp | SQLITE_OPEN_TEMP_DB);
  EXPECT_EQ(io->xWrite(handle(), "abc", 3, 0), SQLITE_OK);
  EXPECT_EQ(io->xRead(handle(), buffer, 4, 0), SQLITE_IOERR_SHORT_READ);
  EXPECT_EQ(std::string(buffer, 4), std::string(4, '\0'));
  EXPECT_EQ(io->xFileSize(handle(), &size), SQLITE_OK);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(memfs_internal::liveFiles(), baseline_);
  io->xClose(handle());

  io = open(nullptr, temp | SQLITE_OPEN_SUBJOURNAL);
  EXPECT_EQ(memfs_internal::liveFiles(), baseline_ + 1);
  EXPECT_EQ(io->xWrite(handle(), "abc", 3, 2000), SQLITE_OK);
  EXPECT_EQ(io->xRead(handle(), buffer, 3, 2000), SQLITE_OK);
  EXPECT_EQ(std::string(buffer, 3), "abc");
  io->xClose(handle());
  EXPECT_EQ(memfs_internal::liveFiles(), baseline_) << "a delete-on-close file goes at close";

  open(nullptr, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MAIN_DB)->xClose(handle());
  EXPECT_EQ(memfs_internal::liveFiles(), baseline_) << "a nameless file that outlives its close is not kept";

  create(L"short")->write("0123456789", 10, 0);
  io = open("short", SQLITE_OPEN_READWRITE | SQLITE_OPEN_MAIN_DB);
  char wide[16];
  std::memset(wide, 'x', sizeof wide);
  EXPECT_EQ(io->xRead(handle(), wide, 16, 4), SQLITE_IOERR_SHORT_READ);
  EXPECT_EQ(std::string(wide, 16), std::string("456789") + std::string(10, '\0'));
  io->xClose(handle());
  EXPECT_NE(fs().open(L"short", false), nullptr) << "closing a named file keeps it";
}

TEST_F(MemVfsHandleTest, FileSystemServices) {
  create(L"present");
  int result = -1;
  EXPECT_EQ(vfs_->xAccess(vfs_, "present", SQLITE_ACCESS_EXISTS, &result), SQLITE_OK);
  EXPECT_EQ(result, 0) << "every file is reported absent";

  char path[8];
  EXPECT_EQ(vfs_->xFullPathname(vfs_, "1234567", sizeof path, path), SQLITE_OK);
  EXPECT_STREQ(path, "1234567");
  EXPECT_EQ(vfs_->xFullPathname(vfs_, "12345678", sizeof path, path), SQLITE_CANTOPEN);

  char message[64];
  vfs_->xDlError(vfs_, sizeof message, message);
  EXPECT_STREQ(message, "Loadable extensions are not supported");

  EXPECT_EQ(vfs_->xDelete(vfs_, "present", 0), SQLITE_OK);
  EXPECT_EQ(fs().open(L"present", false), nullptr);
  EXPECT_EQ(vfs_->xDelete(vfs_, "present", 0), SQLITE_OK) << "deleting an absent file is no error";
}

}  // namespace
}  // namespace tarnlib
