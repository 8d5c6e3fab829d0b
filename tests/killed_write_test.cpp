// Every long write of the library, done by a child process that is killed with
// SIGKILL at a random moment of it: the catalogue file always opens sound with
// all or none of the write.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <thread>

#include "support/temp_dir.h"
#include "support/write_operations.h"

namespace tarnlib {
namespace {

using testing::Session;
using testing::WriteOperation;
using testing::catalogueState;
using Clock = std::chrono::steady_clock;

// TARNLIB_SOAK multiplies the kills for a longer run than the test suite's.
int kills() {
  const char* soak = std::getenv("TARNLIB_SOAK");
  return 20 * (soak ? std::max(1, std::atoi(soak)) : 1);
}
constexpr int kScale = 25;  // enough work that a kill lands inside the write

// Forks a child that opens `path`, makes the write's inputs, tells the parent
// on a pipe that the write begins, writes, and exits 0 when the write reported
// success. Returns the child's pid; `ready` is the pipe's read end.
pid_t startChild(const WriteOperation& op, const std::string& start, const std::string& path, int& ready) {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  const pid_t child = fork();
  if (child != 0) {
    close(fds[1]);
    ready = fds[0];
    return child;
  }
  close(fds[0]);
  int status = 2;
  try {
    Session session{path, op.opens ? nullptr : Library::open(OdString(path))};
    const testing::Write write = op.prepare(start, kScale);
    const char begun = 1;
    if (::write(fds[1], &begun, 1) == 1) status = write(session) ? 0 : 1;
  } catch (...) {
    status = 3;
  }
  _exit(status);
}

// Waits for the child to begin its write; false when it died before.
bool awaitBegin(int ready) {
  char begun = 0;
  const bool ok = read(ready, &begun, 1) == 1;
  close(ready);
  return ok;
}

class KilledWrite : public ::testing::TestWithParam<WriteOperation> {};

TEST_P(KilledWrite, TheFileHoldsAllOrNoneOfTheWrite) {
  const WriteOperation& op = GetParam();
  testing::TempDir dir;
  const std::string start = dir.file("start");
  const std::string path = dir.file("work");
  op.makeFile(start, kScale);
  const std::string before = catalogueState(start);

  // The whole write once, timed from its beginning to the child's exit.
  std::filesystem::copy_file(start, path);
  int ready = -1;
  pid_t child = startChild(op, start, path, ready);
  ASSERT_GT(child, 0);
  ASSERT_TRUE(awaitBegin(ready));
  const Clock::time_point begun = Clock::now();
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  const auto duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begun);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the write fails without a kill";
  const std::string after = catalogueState(path);

  std::mt19937 random(20261125);
  std::uniform_int_distribution<long> moment(0, duration.count());
  int none = 0;
  int all = 0;
  for (int kill = 0; kill < kills(); ++kill) {
    std::filesystem::copy_file(start, path, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(path + "-journal");
    child = startChild(op, start, path, ready);
    ASSERT_GT(child, 0);
    ASSERT_TRUE(awaitBegin(ready));
    std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
    ::kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, &status, 0), child);

    SCOPED_TRACE("kill " + std::to_string(kill));
    EXPECT_EQ(testing::RawDb(path).value("PRAGMA integrity_check"), "ok");
    const std::string state = catalogueState(path);
    if (state == before) {
      ++none;
    } else {
      EXPECT_EQ(state, after) << "the file holds part of the write";
      ++all;
    }
    if (HasFailure()) return;
  }
  std::cout << "[ figures  ] " << op.name << ": " << kills() << " kills in a " << duration.count() / 1000
            << " ms write, " << none << " left none of it, " << all << " all\n";
}

INSTANTIATE_TEST_SUITE_P(Writes, KilledWrite, ::testing::ValuesIn(testing::writeOperations()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tarnlib
