// Several writers on one file, and a writer killed in the middle of its
// transaction.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "db/connection.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;

constexpr int kWrites = 40;

OdString numbered(const char* prefix, int i) { return OdString(prefix + std::to_string(i)); }

// Writes `kWrites` values into one metadata field; returns how many failed.
int writeMany(const std::shared_ptr<Library>& library, const char* prefix, bool locale) {
  int failures = 0;
  for (int i = 0; i < kWrites; ++i) {
    try {
      if (locale) library->locale(numbered(prefix, i));
      else library->region(numbered(prefix, i));
    } catch (const Exception&) {
      ++failures;
    }
  }
  return failures;
}

TEST(LibraryConcurrency, TwoThreadsAndAProcessWriteMetadataWithoutLoss) {
  TempDir dir;
  const std::string path = dir.file("shared");
  ASSERT_TRUE(Library::create(OdString(path), LibraryUnit::Millimeter));
  // Every update of the row is recorded, so that a lost write shows.
  RawDb(path).exec(
      "CREATE TABLE audit(locale TEXT, region TEXT);"
      "CREATE TRIGGER meta_audit AFTER UPDATE ON tarnlib_Meta BEGIN "
      "INSERT INTO audit VALUES (NEW.locale, NEW.region); END");

  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    int failures = 1;
    if (auto library = Library::open(OdString(path))) failures = writeMany(library, "p", true);
    _exit(failures == 0 ? 0 : 1);
  }
  auto library = Library::open(OdString(path));
  ASSERT_TRUE(library);
  int failures[2] = {0, 0};
  std::thread localeWriter([&] { failures[0] = writeMany(library, "t", true); });
  std::thread regionWriter([&] { failures[1] = writeMany(library, "r", false); });
  localeWriter.join();
  regionWriter.join();
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the writing process failed";
  EXPECT_EQ(failures[0], 0);
  EXPECT_EQ(failures[1], 0);

  // Every value written shows up in the row at some point.
  RawDb raw(path);
  EXPECT_EQ(raw.value("SELECT (SELECT count(DISTINCT locale) FROM audit WHERE locale GLOB 't*'), "
                      "(SELECT count(DISTINCT locale) FROM audit WHERE locale GLOB 'p*'), "
                      "(SELECT count(DISTINCT region) FROM audit WHERE region GLOB 'r*')"),
            std::to_string(kWrites) + "|" + std::to_string(kWrites) + "|" + std::to_string(kWrites));
  // The region writer was never overwritten by a locale writer's old copy.
  EXPECT_EQ(raw.value("SELECT region FROM tarnlib_Meta"), "r" + std::to_string(kWrites - 1));
}

TEST(LibraryConcurrency, ProcessKilledInsideWriteLeavesPreviousContent) {
  TempDir dir;
  const std::string path = dir.file("killed");
  {
    auto library = Library::create(OdString(path), LibraryUnit::Millimeter);
    library->locale(L"before");
    library->save<Tag>(Tag::create(L"kept"));
  }
  int pipeFds[2];
  ASSERT_EQ(pipe(pipeFds), 0);
  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    close(pipeFds[0]);
    auto library = Library::open(OdString(path));
    Transaction tx(library, Transaction::kBeginCurrent);
    library->locale(L"after");
    for (int i = 0; i < 2000; ++i) library->save<Tag>(Tag::create(numbered("lost ", i)));
    // Tell the parent the transaction holds uncommitted writes, then wait to die.
    const char ready = 1;
    if (write(pipeFds[1], &ready, 1) != 1) _exit(3);
    pause();
    _exit(0);
  }
  close(pipeFds[1]);
  char ready = 0;
  ASSERT_EQ(read(pipeFds[0], &ready, 1), 1);
  close(pipeFds[0]);
  kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));

  auto library = Library::open(OdString(path));
  ASSERT_TRUE(library);
  EXPECT_EQ(library->locale(), OdString(L"before"));
  EXPECT_EQ(library->count<Tag>(), 1u);
  library.reset();
  EXPECT_EQ(RawDb(path).value("PRAGMA integrity_check"), "ok");
}

// Writers whose commits a long reader keeps failing: every save the library
// acknowledged is in the file afterwards, whichever attempt committed it.
TEST(LibraryConcurrency, AcknowledgedSavesSurviveCommitsBusiedByAReader) {
  TempDir dir;
  const std::string path = dir.file("saves");
  db::Connection::setBusyTimeoutForTesting(20);
  auto library = Library::create(OdString(path), LibraryUnit::Millimeter);
  ASSERT_TRUE(library);
  std::atomic<bool> writing{true};
  std::thread reader([&] {
    RawDb raw(path);
    // It waits for a committing writer rather than fail; it is the writers
    // whose commits are meant to fail.
    raw.exec("PRAGMA busy_timeout=5000");
    while (writing) {
      raw.exec("BEGIN");
      raw.value("SELECT count(*) FROM tarnlib_Tag");
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
      raw.exec("COMMIT");
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  std::vector<std::string> acknowledged[4];
  std::vector<std::thread> writers;
  for (int w = 0; w < 4; ++w) {
    writers.emplace_back([&, w] {
      for (int i = 0; i < 25; ++i) {
        const std::string name = "w" + std::to_string(w) + "-" + std::to_string(i);
        auto tag = Tag::create(OdString(name));
        try {
          if (library->save<Tag>(tag)) acknowledged[w].push_back(name + "|" + std::to_string(tag->id()));
        } catch (const Exception&) {
          // Refused after every retry: not acknowledged, so not counted.
        }
      }
    });
  }
  for (std::thread& t : writers) t.join();
  writing = false;
  reader.join();
  db::Connection::setBusyTimeoutForTesting(db::Connection::kBusyTimeoutMs);

  RawDb raw(path);
  std::size_t total = 0;
  for (const auto& names : acknowledged) {
    total += names.size();
    for (const std::string& row : names) {
      const std::string name = row.substr(0, row.find('|'));
      EXPECT_EQ(name + "|" + raw.value("SELECT id FROM tarnlib_Tag WHERE name = '" + name + "'"), row);
    }
  }
  EXPECT_GT(total, 0u);
}

}  // namespace
}  // namespace tarnlib
