// Values the file cannot give back as they were handed over are refused before
// anything is stored, rather than replaced: two names that differ only in an
// invalid code point would otherwise become one row, and the second save would
// bind to the first object.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/catalogue.h"
#include "tarnlib/asset.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/material.h"
#include "tarnlib/tag.h"

namespace tarnlib {
namespace {

using StoredValuesTest = testing::LibraryTest;

OdString withCode(const wchar_t* prefix, std::uint32_t code) {
  std::wstring text(prefix);
  text.push_back(static_cast<wchar_t>(code));
  return OdString(text.c_str());
}

TEST_F(StoredValuesTest, TextWithInvalidCodePoint_RefusedAndNothingStored) {
  store(Material::create(withCode(L"Brick ", 0xFFFD), TnSmartPtr<const MaterialType>()));
  const std::string before = text(true);
  for (std::uint32_t code : {0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu, 0x110000u, 0x7FFFFFFFu}) {
    SCOPED_TRACE(code);
    // The material comes with a new tag and asset, which must not stay either.
    auto material = Material::create(withCode(L"Brick ", code), TnSmartPtr<const MaterialType>());
    material->add_tag(Tag::create(L"masonry"));
    material->set_physical_asset(PhysicalAsset::create(L"Brick"));
    try {
      library->save<Material>(material);
      ADD_FAILURE() << "saved";
    } catch (const DatabaseError& e) {
      EXPECT_NE(std::wstring(e.what()).find(L"is not valid Unicode"), std::wstring::npos) << e.what();
    }
    EXPECT_EQ(material->id(), 0u);
    EXPECT_EQ(material->tags().front()->id(), 0u);
    EXPECT_EQ(text(true), before);
  }
  // Characters beyond U+FFFF are valid and come back as they were.
  auto clef = store(Material::create(withCode(L"Clef ", 0x1D11E), TnSmartPtr<const MaterialType>()));
  EXPECT_EQ(library->get<Material>(clef->id())->name(), withCode(L"Clef ", 0x1D11E));
}

TEST_F(StoredValuesTest, MetadataWithInvalidCodePoint_RefusedAndUnchanged) {
  EXPECT_THROW(library->locale(withCode(L"de-", 0xD800)), DatabaseError);
  EXPECT_EQ(library->locale(), OdString(L""));
  EXPECT_EQ(raw().value("SELECT locale FROM tarnlib_Meta"), "");
}

TEST_F(StoredValuesTest, NaN_RefusedWhereANumberIsStored) {
  auto asset = PhysicalAsset::create(L"Steel");
  asset->set_density(std::numeric_limits<double>::quiet_NaN());
  EXPECT_THROW(library->save<PhysicalAsset>(asset), DatabaseError);
  EXPECT_EQ(raw().value("SELECT count(*) FROM tarnlib_Asset"), "0");
  // Infinity is a number SQLite keeps.
  asset->set_density(std::numeric_limits<double>::infinity());
  ASSERT_TRUE(library->save<PhysicalAsset>(asset));
  EXPECT_TRUE(std::isinf(library->get<PhysicalAsset>(asset->id())->density()));
}

}  // namespace
}  // namespace tarnlib
