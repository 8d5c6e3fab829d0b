// LibraryManager: one handle per file name while a client holds it.
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "tarnlib/library_manager.h"

namespace tarnlib {
namespace {

using testing::TempDir;

TEST(LibraryManager, OneLibraryPerNameWhileAClientHoldsIt) {
  TempDir dir;
  LibraryManager manager;
  const std::string path = dir.file("sub-lib");
  std::string backslashed = path;
  for (char& c : backslashed)
    if (c == '/') c = '\\';
  // Backslashes are only a spelling here: the file itself is reached by the
  // forward-slash name, which the manager maps both to.
  auto first = manager.create(OdString(path), LibraryUnit::Inch);
  ASSERT_TRUE(first);
  EXPECT_EQ(manager.open(OdString(backslashed)), first);
  EXPECT_EQ(manager.open(OdString(path), true), first);
  EXPECT_FALSE(first->isReadOnly());
  EXPECT_EQ(manager.create(OdString(path), LibraryUnit::Millimeter, L"x")->unit(), LibraryUnit::Inch);

  // Dropped, it is opened anew.
  first.reset();
  auto readOnly = manager.open(OdString(path), true);
  ASSERT_TRUE(readOnly);
  EXPECT_TRUE(readOnly->isReadOnly());

  // A failed open leaves no entry; names differing in case are other names.
  EXPECT_FALSE(manager.open(dir.odFile("later")));
  ASSERT_TRUE(Library::create(dir.odFile("later"), LibraryUnit::Inch));
  EXPECT_TRUE(manager.open(dir.odFile("later")));
  EXPECT_FALSE(manager.open(dir.odFile("LATER")));
}

TEST(LibraryManager, ReactorReachesEveryLiveLibrary) {
  TempDir dir;
  Library::Reactor reactor;
  LibraryManager manager(&reactor);
  auto a = manager.create(dir.odFile("a"), LibraryUnit::Inch);
  EXPECT_EQ(a->reactor(), &reactor);
  manager.setReactor(nullptr);
  EXPECT_NE(a->reactor(), &reactor);
  auto b = manager.create(dir.odFile("b"), LibraryUnit::Inch);
  EXPECT_EQ(b->reactor(), a->reactor());
}

}  // namespace
}  // namespace tarnlib
