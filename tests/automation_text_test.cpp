// Text functions of the platform layer and the UTF-8 edges.

#include <gtest/gtest.h>

#include <string>

#include "qorvintr/error.h"
#include "automation/text.h"
#include "test_support.h"

namespace au = qorvintr::automation;
using au::CompareMode;

namespace {

using qorvintr::testing_support::ErrorOf;

}  // namespace

// --- UTF-8 edges ------------------------------------------------------------------------------

TEST(TextUtf8, FromUtf8DecodesOneToFourByteForms) {
  EXPECT_EQ(au::FromUtf8("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"),
            (std::u16string{u'A', 0x00E9, 0x20AC, 0xD83D, 0xDE00}));
}

TEST(TextUtf8, ToUtf8EncodesOneToFourByteForms) {
  EXPECT_EQ(au::ToUtf8(std::u16string{u'A', 0x00E9, 0x20AC, 0xD83D, 0xDE00}),
            "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(TextUtf8, RoundTripKeepsEveryBmpCharacterAndPair) {
  std::u16string all;
  for (char32_t c = 1; c < 0xD800; ++c) all.push_back(static_cast<char16_t>(c));
  for (char32_t c = 0xE000; c <= 0xFFFF; ++c) all.push_back(static_cast<char16_t>(c));
  all += u"\U0010FFFF\U00010000";
  EXPECT_EQ(au::FromUtf8(au::ToUtf8(all)), all);
}

TEST(TextUtf8, EmbeddedNulIsKept) {
  const std::string s("a\0b", 3);
  EXPECT_EQ(au::FromUtf8(s), std::u16string(u"a\0b", 3));
  EXPECT_EQ(au::ToUtf8(std::u16string(u"a\0b", 3)), s);
}

TEST(TextUtf8, LoneSurrogatesBecomeReplacementCharacter) {
  EXPECT_EQ(au::ToUtf8(std::u16string{0xD800}), "\xEF\xBF\xBD");
  EXPECT_EQ(au::ToUtf8(std::u16string{0xDC00, u'x'}), "\xEF\xBF\xBDx");
  EXPECT_EQ(au::ToUtf8(std::u16string{u'a', 0xD800, 0xD800, 0xDC00}),
            "a\xEF\xBF\xBD\xF0\x90\x80\x80");
  // A high surrogate at the very end.
  EXPECT_EQ(au::ToUtf8(std::u16string{u'a', 0xDBFF}), "a\xEF\xBF\xBD");
}

TEST(TextUtf8, InvalidBytesBecomeReplacementCharacter) {
  const std::u16string r(1, 0xFFFD);
  EXPECT_EQ(au::FromUtf8("\x80"), r);                   // stray continuation byte
  EXPECT_EQ(au::FromUtf8("\xFF"), r);                   // never a lead byte
  EXPECT_EQ(au::FromUtf8("\xC0\xAF"), r + r);           // overlong: C0 is no lead byte
  EXPECT_EQ(au::FromUtf8("\xE0\x80\xAF"), r + r + r);   // overlong three-byte form
  EXPECT_EQ(au::FromUtf8("\xED\xA0\x80"), r + r + r);   // an encoded surrogate
  EXPECT_EQ(au::FromUtf8("\xF4\x90\x80\x80"), r + r + r + r);  // above U+10FFFF
  EXPECT_EQ(au::FromUtf8("\xE2\x82"), r);               // truncated at the end: one replacement
  EXPECT_EQ(au::FromUtf8("\xE2\x82x"), r + u"x");       // truncated before an ASCII byte
  EXPECT_EQ(au::FromUtf8("\xF0\x9F\x98"), r);
}

TEST(TextUtf8, EveryByteSequenceDecodesWithoutFailing) {
  // All two-byte inputs: whatever comes back must encode again and contain no lone surrogate.
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const char in[2] = {static_cast<char>(a), static_cast<char>(b)};
      const std::u16string out = au::FromUtf8(std::string_view(in, 2));
      ASSERT_FALSE(out.empty());
      ASSERT_LE(out.size(), 2u);
      for (char16_t c : out) ASSERT_FALSE(c >= 0xD800 && c <= 0xDFFF);
      ASSERT_EQ(au::FromUtf8(au::ToUtf8(out)), out);
    }
  }
}

// --- Trim -------------------------------------------------------------------------------------

TEST(TextTrim, TrimRemovesBlanksOnly) {
  EXPECT_EQ(au::Trim(u"  ab c  "), u"ab c");
  EXPECT_EQ(au::Trim(u"\tab\t"), u"\tab\t");
  EXPECT_EQ(au::Trim(u"\u00A0ab\u3000"), u"\u00A0ab\u3000");
  EXPECT_EQ(au::Trim(u"\r\n x \n"), u"\r\n x \n");
}

TEST(TextTrim, LTrimAndRTrimWorkOnOneSide) {
  EXPECT_EQ(au::LTrim(u"  ab  "), u"ab  ");
  EXPECT_EQ(au::RTrim(u"  ab  "), u"  ab");
}

TEST(TextTrim, AllBlanksTrimToEmpty) {
  EXPECT_EQ(au::Trim(u"     "), u"");
  EXPECT_EQ(au::LTrim(u"   "), u"");
  EXPECT_EQ(au::RTrim(u"   "), u"");
  EXPECT_EQ(au::Trim(u""), u"");
  EXPECT_EQ(au::TrimView(u"  x "), u"x");
  EXPECT_TRUE(au::TrimView(u"   ").empty());
}

// --- Case -------------------------------------------------------------------------------------

TEST(TextCase, UCaseAndLCaseMapAscii) {
  EXPECT_EQ(au::UCase(u"abc XYZ 09 _@[`{"), u"ABC XYZ 09 _@[`{");
  EXPECT_EQ(au::LCase(u"ABC xyz 09 _@[`{"), u"abc xyz 09 _@[`{");
}

TEST(TextCase, UCaseMapsLatin1AndBeyond) {
  EXPECT_EQ(au::UCase(u"\u00E9\u00E0\u00FE\u00FF\u0101\u03B1\u0436"),
            u"\u00C9\u00C0\u00DE\u0178\u0100\u0391\u0416");
  EXPECT_EQ(au::LCase(u"\u00C9\u00C0\u00DE\u0178\u0100\u0391\u0416"),
            u"\u00E9\u00E0\u00FE\u00FF\u0101\u03B1\u0436");
}

TEST(TextCase, CharactersWithoutSingleCharacterMappingStay) {
  // Sharp s has no one-character capital in the simple mapping; the multiplication and division
  // signs sit among the Latin-1 letters but are no letters.
  EXPECT_EQ(au::UCase(u"\u00DF\u00D7\u00F7"), u"\u00DF\u00D7\u00F7");
  EXPECT_EQ(au::LCase(u"\u00D7\u00F7"), u"\u00D7\u00F7");
}

TEST(TextCase, CaseMappingKeepsLengthAndSurrogates) {
  const std::u16string s{0xD801, 0xDC00, u'a', 0xDC00, 0xD800};
  const std::u16string up = au::UCase(s);
  ASSERT_EQ(up.size(), s.size());
  EXPECT_EQ(up, (std::u16string{0xD801, 0xDC00, u'A', 0xDC00, 0xD800}));
}

// --- Len, Mid, Left, Right --------------------------------------------------------------------

TEST(TextMid, LenCountsUtf16Units) {
  EXPECT_EQ(au::Len(u""), 0);
  EXPECT_EQ(au::Len(u"abc"), 3);
  EXPECT_EQ(au::Len(u"\U0001F600"), 2);
}

TEST(TextMid, MidTakesFromOneBasedStart) {
  EXPECT_EQ(au::Mid(u"abcdef", 2, 3), u"bcd");
  EXPECT_EQ(au::Mid(u"abcdef", 4), u"def");
  EXPECT_EQ(au::Mid(u"abcdef", 5, 100), u"ef");
  EXPECT_EQ(au::Mid(u"abcdef", 2, 0), u"");
}

TEST(TextMid, MidStartPastEndIsEmpty) {
  EXPECT_EQ(au::Mid(u"abc", 4), u"");
  EXPECT_EQ(au::Mid(u"abc", 2147483647, 5), u"");
}

TEST(TextMid, MidStartBelowOneOrNegativeLengthRaises5) {
  EXPECT_EQ(ErrorOf([] { au::Mid(u"abc", 0); }), 5);
  EXPECT_EQ(ErrorOf([] { au::Mid(u"abc", -3, 1); }), 5);
  EXPECT_EQ(ErrorOf([] { au::Mid(u"abc", 1, -2); }), 5);
}

TEST(TextMid, LeftAndRightTakeUpToLength) {
  EXPECT_EQ(au::Left(u"abcdef", 2), u"ab");
  EXPECT_EQ(au::Left(u"abc", 10), u"abc");
  EXPECT_EQ(au::Left(u"abc", 0), u"");
  EXPECT_EQ(au::Right(u"abcdef", 2), u"ef");
  EXPECT_EQ(au::Right(u"abc", 10), u"abc");
  EXPECT_EQ(au::Right(u"abc", 0), u"");
}

TEST(TextMid, LeftAndRightNegativeLengthRaises5) {
  EXPECT_EQ(ErrorOf([] { au::Left(u"abc", -1); }), 5);
  EXPECT_EQ(ErrorOf([] { au::Right(u"abc", -1); }), 5);
}

// --- InStr ------------------------------------------------------------------------------------

TEST(TextInStr, InStrFindsOneBasedPosition) {
  EXPECT_EQ(au::InStr(1, u"abcabc", u"bc"), 2);
  EXPECT_EQ(au::InStr(3, u"abcabc", u"bc"), 5);
  EXPECT_EQ(au::InStr(1, u"abcabc", u"x"), 0);
  EXPECT_EQ(au::InStr(6, u"abcabc", u"c"), 6);
}

TEST(TextInStr, InStrBinaryIsCaseSensitive) {
  EXPECT_EQ(au::InStr(1, u"ABC", u"b", CompareMode::Binary), 0);
}

TEST(TextInStr, InStrTextIgnoresCase) {
  EXPECT_EQ(au::InStr(1, u"xABCx", u"abc", CompareMode::Text), 2);
  EXPECT_EQ(au::InStr(1, u"stra\u00C9e", u"\u00E9", CompareMode::Text), 5);
}

TEST(TextInStr, InStrEmptyFindAnswersStart) {
  EXPECT_EQ(au::InStr(1, u"abc", u""), 1);
  EXPECT_EQ(au::InStr(3, u"abc", u""), 3);
}

TEST(TextInStr, InStrStartPastEndOrEmptyTextAnswersZero) {
  EXPECT_EQ(au::InStr(4, u"abc", u"c"), 0);
  EXPECT_EQ(au::InStr(4, u"abc", u""), 0);
  EXPECT_EQ(au::InStr(1, u"", u""), 0);
  EXPECT_EQ(au::InStr(1, u"", u"a"), 0);
  EXPECT_EQ(au::InStr(1, u"ab", u"abc"), 0);
}

TEST(TextInStr, InStrStartBelowOneRaises5) {
  EXPECT_EQ(ErrorOf([] { au::InStr(0, u"abc", u"a"); }), 5);
  EXPECT_EQ(ErrorOf([] { au::InStr(-1, u"abc", u"a"); }), 5);
}

// --- Replace ----------------------------------------------------------------------------------

TEST(TextReplace, ReplaceReplacesEveryOccurrence) {
  EXPECT_EQ(au::Replace(u"axbx", u"x", u"y"), u"ayby");
  EXPECT_EQ(au::Replace(u"aaaa", u"aa", u"b"), u"bb");
  EXPECT_EQ(au::Replace(u"abc", u"b", u""), u"ac");
  EXPECT_EQ(au::Replace(u"abc", u"b", u"bbb"), u"abbbc");
}

TEST(TextReplace, ReplaceResultStartsAtStart) {
  EXPECT_EQ(au::Replace(u"axbx", u"x", u"y", 3), u"by");
  EXPECT_EQ(au::Replace(u"abcabc", u"z", u"y", 2), u"bcabc");
}

TEST(TextReplace, ReplaceCountLimitsReplacements) {
  EXPECT_EQ(au::Replace(u"axbx", u"x", u"y", 1, 1), u"aybx");
  EXPECT_EQ(au::Replace(u"xxxx", u"x", u"y", 2, 2), u"yyx");
}

TEST(TextReplace, ReplaceCountZeroReturnsTextFromStart) {
  EXPECT_EQ(au::Replace(u"axbx", u"x", u"y", 1, 0), u"axbx");
  EXPECT_EQ(au::Replace(u"axbx", u"x", u"y", 2, 0), u"xbx");
}

TEST(TextReplace, ReplaceEmptyFindReturnsTextFromStart) {
  EXPECT_EQ(au::Replace(u"abc", u"", u"y"), u"abc");
  EXPECT_EQ(au::Replace(u"abc", u"", u"y", 2), u"bc");
}

TEST(TextReplace, ReplaceStartPastEndReturnsEmpty) {
  EXPECT_EQ(au::Replace(u"abc", u"a", u"y", 4), u"");
  EXPECT_EQ(au::Replace(u"", u"a", u"y"), u"");
}

TEST(TextReplace, ReplaceStartBelowOneOrCountBelowMinusOneRaises5) {
  EXPECT_EQ(ErrorOf([] { au::Replace(u"abc", u"a", u"b", 0); }), 5);
  EXPECT_EQ(ErrorOf([] { au::Replace(u"abc", u"a", u"b", 1, -2); }), 5);
  EXPECT_EQ(ErrorOf([] { au::Replace(u"", u"a", u"b", 0); }), 5);
}

TEST(TextReplace, ReplaceTextModeIgnoresCaseAndKeepsTheRest) {
  EXPECT_EQ(au::Replace(u"aXbxC", u"x", u"-", 1, -1, CompareMode::Text), u"a-b-C");
  EXPECT_EQ(au::Replace(u"aXbx", u"x", u"-", 1, -1, CompareMode::Binary), u"aXb-");
}

TEST(TextReplace, ReplaceDoesNotRescanReplacement) {
  EXPECT_EQ(au::Replace(u"aa", u"a", u"aa"), u"aaaa");
}

// --- CompareText ------------------------------------------------------------------------------

TEST(TextCompare, BinaryCompareIsByCodeUnit) {
  EXPECT_EQ(au::CompareText(u"a", u"B", CompareMode::Binary), 1);
  EXPECT_EQ(au::CompareText(u"A", u"a", CompareMode::Binary), -1);
  EXPECT_EQ(au::CompareText(u"abc", u"abc", CompareMode::Binary), 0);
  EXPECT_EQ(au::CompareText(u"ab", u"abc", CompareMode::Binary), -1);
  EXPECT_EQ(au::CompareText(u"\uFFFF", std::u16string(1, 0xD800), CompareMode::Binary), 1);
  EXPECT_EQ(au::CompareText(u"", u"", CompareMode::Binary), 0);
}

TEST(TextCompare, TextCompareIgnoresCase) {
  EXPECT_EQ(au::CompareText(u"abc", u"ABC", CompareMode::Text), 0);
  EXPECT_EQ(au::CompareText(u"a", u"B", CompareMode::Text), -1);
  EXPECT_EQ(au::CompareText(u"\u00C9t\u00E9", u"\u00E9T\u00C9", CompareMode::Text), 0);
  EXPECT_EQ(au::CompareText(u"_", u"a", CompareMode::Text), -1);
}

TEST(TextCompare, AnyUtf16ContentIsHandled) {
  const std::u16string odd{0xD800, 0, 0xDFFF, 0xFFFF};
  EXPECT_EQ(au::Trim(odd), odd);
  EXPECT_EQ(au::UCase(odd), odd);
  EXPECT_EQ(au::InStr(1, odd, std::u16string{0, 0xDFFF}, CompareMode::Text), 2);
  EXPECT_EQ(au::Replace(odd, std::u16string(1, 0), u"x"), (std::u16string{0xD800, u'x', 0xDFFF, 0xFFFF}));
  const std::u16string big(100000, u'a');
  EXPECT_EQ(au::Replace(big, u"a", u"bb").size(), 200000u);
}

TEST(TextUnits, SameUnitsComparesLengthAndEveryUnit) {
  EXPECT_TRUE(au::SameUnits(u"", u""));
  EXPECT_TRUE(au::SameUnits(u"IF A THEN", u"IF A THEN"));
  EXPECT_FALSE(au::SameUnits(u"IF A THEN", u"IF A THEM"));
  EXPECT_FALSE(au::SameUnits(u"IF A", u"IF A "));
  // Units that differ only in one of their two bytes.
  EXPECT_FALSE(au::SameUnits(u"\u0141", u"\u0241"));
  EXPECT_FALSE(au::SameUnits(u"a", u"\u0161"));
}

TEST(TextUnits, ContainsUnitsAnswersAsFind) {
  const std::u16string list = u"IF,FORMAT,FORMATHL7DATETIME,REPLACE,DATECAT,DATECOMPARE";
  const std::u16string_view pieces[] = {u"",           u"IF",  u"FORMAT",   u"DATECOMPARE",
                                        u"E",          u"T,",  u",",        u"AT",
                                        u"IF,FORMAT,", u"DATECOMPAREX", u"IFF", u"REPLACES",
                                        u"format",     u"\u0141", list};
  for (std::u16string_view piece : pieces) {
    EXPECT_EQ(au::ContainsUnits(list, piece), list.find(piece) != std::u16string::npos)
        << au::ToUtf8(piece);
  }
  EXPECT_TRUE(au::ContainsUnits(list, u"DATECOMPARE"));
  EXPECT_FALSE(au::ContainsUnits(list, u"IFF"));
  EXPECT_TRUE(au::ContainsUnits(u"", u""));
  EXPECT_FALSE(au::ContainsUnits(u"", u"A"));
  EXPECT_FALSE(au::ContainsUnits(u"\u0141B", u"\u0241B"));
}
