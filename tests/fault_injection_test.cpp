// Every long write of the library, failed at each of its disk calls in turn: the
// Nth write, sync or truncate of the catalogue and its journal returns an I/O
// error, or the machine loses power there. After each failure the caller has the
// library's exception, the file opens sound with all or none of the write, and
// the same objects, written again, store everything.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <set>
#include <sstream>
#include <tuple>

#include "support/fault_vfs.h"
#include "support/temp_dir.h"
#include "support/write_operations.h"

namespace tarnlib {
namespace {

using testing::FaultVfs;
using testing::Session;
using testing::WriteOperation;
using testing::catalogueState;

// Runs the write; true when it reported success. Anything but a library
// exception (a crash, a std::exception escaping the interface) fails the test.
bool attempt(const testing::Write& write, Session& session) {
  try {
    return write(session);
  } catch (const Exception&) {
    return false;
  }
}

// The lines of `actual` that `expected` lacks and the reverse, for a message
// short enough to read.
std::string differences(const std::string& actual, const std::string& expected) {
  auto lines = [](const std::string& text) {
    std::multiset<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.insert(line);
    return out;
  };
  const auto a = lines(actual);
  const auto e = lines(expected);
  std::string out;
  for (const std::string& line : a)
    if (e.count(line) < a.count(line)) out += "+ " + line + "\n";
  for (const std::string& line : e)
    if (a.count(line) < e.count(line)) out += "- " + line + "\n";
  return out;
}

Session openSession(const WriteOperation& op, const std::string& path) {
  Session session{path, nullptr};
  if (!op.opens) session.library = Library::open(OdString(path));
  return session;
}

struct Figures {
  int faults = 0;
  int calls = 0;
};

// Walks N from 1 until the write gets through without meeting its Nth call.
Figures walk(const WriteOperation& op, FaultVfs::Mode mode, const testing::TempDir& dir) {
  const std::string start = dir.file("start");
  const std::string path = dir.file("work");
  op.makeFile(start, 1);
  const std::string before = catalogueState(start);
  std::string after;
  {
    std::filesystem::copy_file(start, path, std::filesystem::copy_options::overwrite_existing);
    Session session = openSession(op, path);
    EXPECT_TRUE(attempt(op.prepare(start, 1), session)) << "the write fails without faults";
    session.library.reset();
    after = catalogueState(path);
    EXPECT_NE(after, before);
  }

  Figures figures;
  FaultVfs vfs;
  for (int n = 1;; ++n) {
    SCOPED_TRACE(op.name + (mode == FaultVfs::Mode::kIoError ? ", I/O error" : ", power cut") +
                 " at call " + std::to_string(n));
    std::filesystem::copy_file(start, path, std::filesystem::copy_options::overwrite_existing);
    Session session = openSession(op, path);
    const testing::Write write = op.prepare(start, 1);
    vfs.arm(path, mode, n);
    const bool done = attempt(write, session);
    vfs.disarm();
    if (!vfs.faulted()) {
      figures.calls = vfs.calls();
      EXPECT_TRUE(done);
      EXPECT_EQ(differences(catalogueState(path), after), "");
      break;
    }
    ++figures.faults;
    if (mode == FaultVfs::Mode::kPowerCut) {
      session.library.reset();
      vfs.restoreDurable();
    }
    const std::string state = catalogueState(path);
    EXPECT_EQ(testing::RawDb(path).value("PRAGMA integrity_check"), "ok");
    if (done) {
      EXPECT_EQ(differences(state, after), "") << "the write reported success but is not in the file";
    } else if (state != after) {
      EXPECT_EQ(differences(state, before), "") << "the file holds part of the write";
    }
    if (::testing::Test::HasFailure()) break;

    // Written again with the same objects, the write stores everything, on the
    // same library after an I/O error and on a new one after a power cut.
    if (!session.library && !op.opens) session = openSession(op, path);
    EXPECT_TRUE(attempt(write, session)) << "the retry fails";
    session.library.reset();
    EXPECT_EQ(differences(catalogueState(path), after), "") << "the retry did not store everything";
    if (::testing::Test::HasFailure()) break;
  }
  return figures;
}

class FaultInjection : public ::testing::TestWithParam<std::tuple<WriteOperation, FaultVfs::Mode>> {};

TEST_P(FaultInjection, EveryFailedCallLeavesAllOrNoneAndARetryStoresAll) {
  const auto& [op, mode] = GetParam();
  testing::TempDir dir;
  const Figures figures = walk(op, mode, dir);
  std::cout << "[ figures  ] " << op.name << (mode == FaultVfs::Mode::kIoError ? " I/O error" : " power cut")
            << ": " << figures.calls << " calls, " << figures.faults << " faults injected\n";
}

INSTANTIATE_TEST_SUITE_P(Writes, FaultInjection,
                         ::testing::Combine(::testing::ValuesIn(testing::writeOperations()),
                                            ::testing::Values(FaultVfs::Mode::kIoError, FaultVfs::Mode::kPowerCut)),
                         [](const auto& info) {
                           return std::get<0>(info.param).name +
                                  (std::get<1>(info.param) == FaultVfs::Mode::kIoError ? "_IoError" : "_PowerCut");
                         });

}  // namespace
}  // namespace tarnlib
