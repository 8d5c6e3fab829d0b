#include "tarnlib/guid.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <stdexcept>

namespace {

using tarnlib::deriveGuid;
using tarnlib::Guid;
using tarnlib::kGuidDerivationNamespace;
using tarnlib::kLibraryGuidFallbackNamespace;
using tarnlib::nameBasedGuid;

// Canonical text with the given version digit and the RFC variant.
bool isCanonical(const OdString& text, char version) {
  const std::string s = text.toUtf8();
  if (s.size() != 36 || s[14] != version || std::string("89ab").find(s[19]) == std::string::npos) return false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (i == 8 || i == 13 || i == 18 || i == 23 ? c != '-' : !std::isxdigit(c) || std::isupper(c)) return false;
  }
  return true;
}

TEST(GuidRandom, CanonicalVersionFourAndDistinct) {
  std::set<OdString> seen;
  for (int i = 0; i < 64; ++i) {
    const Guid guid;
    EXPECT_TRUE(isCanonical(guid.toString(), '4')) << guid.toString().toUtf8();
    seen.insert(guid.toString());
  }
  EXPECT_EQ(seen.size(), 64u);
}

TEST(GuidText, KeptAsGivenAndComparedAsText) {
  const OdString upper(L"4B7009EF-0317-4504-A674-282D1B5BB08F");
  EXPECT_EQ(Guid(upper).toString(), upper);
  EXPECT_EQ(Guid(L"not a uuid").toString(), L"not a uuid");
  EXPECT_EQ(Guid(L"x"), Guid(L"x"));
  // Two spellings of one UUID are different values.
  EXPECT_NE(Guid(upper), Guid(kGuidDerivationNamespace));
  EXPECT_LT(Guid(upper), Guid(kGuidDerivationNamespace));  // 'B' < 'b'
  EXPECT_LT(Guid(L"a"), Guid(L"ab"));
  EXPECT_TRUE(Guid(OdString()).isEmpty());
}

TEST(GuidDerive, UuidSpellingsGiveCanonicalFormOtherTextsAreNames) {
  for (const wchar_t* spelling :
       {L"4b7009ef-0317-4504-a674-282d1b5bb08f", L"{4B7009EF-0317-4504-A674-282D1B5BB08F}",
        L"4B7009EF03174504a674282d1b5bb08f", L"{4b7009ef03174504a674282d1b5bb08f}"}) {
    EXPECT_EQ(deriveGuid(spelling), OdString(kGuidDerivationNamespace)) << OdString(spelling).toUtf8();
  }
  for (const wchar_t* text :
       {L"4b7009ef-0317-4504-a674-282d1b5bb08", L"4b7009ef-0317-4504-a674-282d1b5bb08f0",
        L"4b7009ef03174504-a674-282d1b5bb08f", L"4b7009ef-0317-4504-a674282d-1b5bb08f",
        L"{4b7009ef-0317-4504-a674-282d1b5bb08f", L"4b7009ef-0317-4504-a674-282d1b5bb08f}",
        L"4b7009ef-0317-4504-a674-282d1b5bb0g8", L" 4b7009ef-0317-4504-a674-282d1b5bb08f", L"{}"}) {
    const OdString derived = deriveGuid(text);
    EXPECT_TRUE(isCanonical(derived, '5')) << OdString(text).toUtf8();
    EXPECT_EQ(derived, nameBasedGuid(kGuidDerivationNamespace, text));
  }
  // No text: a new random one.
  const OdString a = deriveGuid(OdString());
  EXPECT_TRUE(isCanonical(a, '4'));
  EXPECT_NE(a, deriveGuid(OdString()));
}

// Expected values computed independently with Python's uuid and hashlib
// modules: SHA-1 over the namespace bytes, then each UTF-16 code unit of the
// name as (low, high, 0, 0).
TEST(GuidNameBased, MatchesStoredDerivation) {
  EXPECT_EQ(deriveGuid(L"Generic"), L"3c27b714-a394-5daf-8595-204ba9a5b405");
  EXPECT_EQ(deriveGuid(L"Stahl S235 \u00e4 \U0001F600"), L"7956466f-cc99-5a33-be18-20420b2b0555");
  EXPECT_EQ(deriveGuid(L"\U0001F600"), L"2c12954c-c77d-59f8-837d-ce0dfb15926e");
  EXPECT_EQ(nameBasedGuid(kLibraryGuidFallbackNamespace, L"HEA100"), L"88e4bbed-f832-5f38-a4d3-689a9070b07c");
  // The namespace in any spelling; the name exactly.
  EXPECT_EQ(nameBasedGuid(L"{4B7009EF03174504A674282D1B5BB08F}", L"Generic"), deriveGuid(L"Generic"));
  EXPECT_NE(nameBasedGuid(kGuidDerivationNamespace, L"generic"), deriveGuid(L"Generic"));
  EXPECT_THROW(nameBasedGuid(L"library", L"Walls"), std::invalid_argument);
}

}  // namespace
