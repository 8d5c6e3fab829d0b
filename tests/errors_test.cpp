// Exceptions and the id mapping. The translation hook is in material_test.
#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "tarnlib/exceptions.h"
#include "tarnlib/id_mapping.h"

namespace {

using namespace tarnlib;

template <class E>
std::wstring whatOf(const E& e) {
  const Exception& base = e;
  return base.what();
}

TEST(Exceptions, FixedTextsKeepTheirSpelling) {
  EXPECT_EQ(whatOf(UnknownError()), L"Unkown error");
  EXPECT_EQ(whatOf(UnnamedRecoverable()), L"Recoverable error");
  EXPECT_EQ(whatOf(ForcedRollback()), L"Forced rollback");
  EXPECT_EQ(whatOf(LibraryReadOnly()), L"Library is read only");
  EXPECT_EQ(whatOf(AlreadyInTransaction()), L"Transaction already in progress in this thread");
  EXPECT_EQ(whatOf(RetryLimitExceeded()), L"To many retry attempts");
  EXPECT_EQ(whatOf(ObjectNotFound()), L"Object not found");
  EXPECT_EQ(whatOf(NullPointer()), L"'nullptr' as required property");
  EXPECT_EQ(whatOf(InappropriateCustomProperty()), L"Inappropriate custom property");
  EXPECT_EQ(whatOf(ObjectInUse()), L"Object is still referenced by other object");
  EXPECT_EQ(whatOf(ObjectNotUnique(L"Beton")), L"An other object with the same values exists");
  EXPECT_EQ(ObjectNotUnique(L"Beton").text(), L"Beton");
  EXPECT_TRUE(ObjectNotUnique().text().isEmpty());
}

TEST(Exceptions, DatabaseErrorPrefixesDetail) {
  EXPECT_EQ(whatOf(DatabaseError()), L"Database error");
  EXPECT_EQ(whatOf(DatabaseError(OdString())), L"Database error");
  EXPECT_EQ(whatOf(DatabaseError(L"disk I/O error")), L"Database error - disk I/O error");
  EXPECT_EQ(whatOf(TransactionError(L"x")), L"Database error - x");

  // what() must stay valid in a copy once the original is gone.
  DatabaseError copy;
  {
    DatabaseError original(L"locked");
    copy = original;
  }
  EXPECT_EQ(whatOf(copy), L"Database error - locked");
}

TEST(Exceptions, CaughtThroughTheirBases) {
  auto catchesRecoverable = [](auto thrown) {
    try {
      throw thrown;
    } catch (const Recoverable&) {
      return true;
    } catch (...) {
      return false;
    }
  };
  EXPECT_TRUE(catchesRecoverable(ForcedRollback()));
  EXPECT_TRUE(catchesRecoverable(UnnamedRecoverable()));
  EXPECT_FALSE(catchesRecoverable(RetryLimitExceeded()));

  try {
    throw AlreadyInTransaction();
  } catch (const DatabaseError& e) {
    EXPECT_EQ(std::wstring(e.what()), L"Transaction already in progress in this thread");
  }
  EXPECT_THROW(throw ObjectNotUnique(), ConsistencyError);
  EXPECT_THROW(throw ObjectInUse(), Exception);
}

// Stand-ins for library addresses; never dereferenced.
const Library* libraryAt(int& token) { return reinterpret_cast<const Library*>(&token); }

TEST(IdMappingTest, SourceLibraryIsPartOfTheKeyAndAbsentKeysLeaveOutputAlone) {
  int a = 0, b = 0;
  IdMapping mapping(nullptr);
  mapping.assign({ObjectType::Material, 5, libraryAt(a)}, {10, 0});
  mapping.assign({ObjectType::Material, 5, libraryAt(b)}, {11, 1});
  mapping.assign({ObjectType::Tag, 5, libraryAt(a)}, {12, 0});
  EXPECT_EQ(mapping.size(), 3u);
  IdMapping::Value value;
  ASSERT_TRUE(mapping.compute({ObjectType::Material, 5, libraryAt(b)}, value));
  EXPECT_EQ(value, (IdMapping::Value{11, 1}));
  mapping.assign({ObjectType::Material, 5, libraryAt(b)}, {13, 0});  // replaces
  EXPECT_EQ(mapping.size(), 3u);
  ASSERT_TRUE(mapping.compute({ObjectType::Material, 5, libraryAt(b)}, value));
  EXPECT_EQ(value.id, 13u);

  const IdMapping::Key absent(ObjectType::Layer, 1, libraryAt(a));
  IdMapping::Value untouched{77, 3};
  EXPECT_FALSE(mapping.compute(absent, untouched));
  EXPECT_EQ(untouched, (IdMapping::Value{77, 3}));
  EXPECT_FALSE(mapping.has(absent));
  EXPECT_FALSE(mapping.remove(absent));
  mapping.assign(absent, IdMapping::Value());
  EXPECT_TRUE(mapping.has(absent));
  ASSERT_TRUE(mapping.compute(absent, untouched));
  EXPECT_EQ(untouched, (IdMapping::Value{0, -1}));
  EXPECT_TRUE(mapping.remove(absent));
  EXPECT_EQ(mapping.size(), 3u);
}

TEST(IdMappingTest, IteratesByLibraryThenSignedTypeThenId) {
  int token[2] = {0, 0};
  const Library* low = libraryAt(token[0]);
  const Library* high = libraryAt(token[1]);
  IdMapping mapping(nullptr);
  IdMapping::Key negative;
  negative.type = -1;
  negative.library = high;
  mapping.assign({ObjectType::Tag, 2, high}, {});
  mapping.assign({ObjectType::Tag, 1, high}, {});
  mapping.assign(negative, {});
  mapping.assign({ObjectType::PropertySet, 0xFFFFFFFFu, low}, {});

  std::vector<IdMapping::Key> order;
  for (const auto& entry : mapping) order.push_back(entry.first);
  ASSERT_EQ(order.size(), 4u);
  EXPECT_EQ(order[0].library, low);
  EXPECT_EQ(order[1], negative);
  EXPECT_EQ(order[2], (IdMapping::Key{ObjectType::Tag, 1, high}));
  EXPECT_EQ(order[3], (IdMapping::Key{ObjectType::Tag, 2, high}));
}

}  // namespace
