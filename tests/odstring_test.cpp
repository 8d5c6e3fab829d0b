#include "tarnlib/platform/OdString.h"

#include <gtest/gtest.h>

TEST(OdString, Utf8RoundTripKeepsCharactersBeyondBmp) {
  const OdString text(L"Stahl \u00e4 \u20ac \U0001F600 \"q\" %_");
  EXPECT_EQ(OdString(text.toUtf8()), text);
  EXPECT_EQ(text.toUtf16().size(), static_cast<size_t>(text.getLength() + 1));
  EXPECT_EQ(OdString::fromUtf16(text.toUtf16()), text);
}

TEST(OdString, InvalidUtf8BecomesReplacementCharacter) {
  const OdString text(std::string("a\xC3(b\xFF", 5));
  EXPECT_EQ(text, OdString(L"a\uFFFD(b\uFFFD"));
}

TEST(OdString, FormatReplaceAndSlices) {
  OdString s;
  s.format(L"SELECT %ls FROM %s WHERE id=%d OR id=%u", L"x", "t", -3, 7u);
  EXPECT_EQ(s, OdString(L"SELECT x FROM t WHERE id=-3 OR id=7"));
  OdString path(L"a\\b\\c");
  EXPECT_EQ(path.replace(L'\\', L'/'), 2);
  EXPECT_EQ(path, L"a/b/c");
  OdString words(L"one two one");
  EXPECT_EQ(words.replace(OdString(L"one"), OdString(L"1")), 2);
  EXPECT_EQ(words, L"1 two 1");
  EXPECT_EQ(OdString(L"abcdef").left(2), L"ab");
  EXPECT_EQ(OdString(L"abcdef").mid(4), L"ef");
  EXPECT_EQ(OdString(L"abcdef").mid(1, 2), L"bc");
  EXPECT_EQ(OdString(L"abc").mid(7), L"");
}

TEST(OdString, LongFormatGrowsBuffer) {
  const std::wstring big(5000, L'x');
  OdString s;
  s.format(L"[%ls]", big.c_str());
  EXPECT_EQ(s.getLength(), 5002);
}
