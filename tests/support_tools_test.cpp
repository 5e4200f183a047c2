#include "support/tools.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include "automation/error.h"

namespace {

namespace tools = qorvintr::support::modTools;
using qorvintr::automation::AutomationError;
using qorvintr::support::DynArray;
using qorvintr::support::DynArray2D;

constexpr std::int16_t kTrue = -1;
constexpr std::int16_t kFalse = 0;

int ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const AutomationError& e) {
    return e.Number();
  }
  return 0;
}

// All six arguments given, as the interpreter passes them.
std::u16string Hl7(std::u16string date, std::u16string time, std::u16string separator,
                   std::int16_t with_time, std::int16_t with_zone, std::u16string zone) {
  return tools::ConvertToHL7DateTime(std::move(date), &time, &separator, &with_time, &with_zone,
                                     &zone);
}

// ---- Character constants ------------------------------------------------------------------

TEST(CharacterConstants, FiftyTwoOneCharacterTextsForTheListedCodes) {
  tools::InitCharacterConstants();
  int count = 0;
  for (int code = 0; code < 130; ++code) {
    const std::u16string& c = tools::CharacterConstant(code);
    bool listed = (code >= 1 && code <= 7) || (code >= 14 && code <= 47) ||
                  (code >= 91 && code <= 96) || (code >= 123 && code <= 127);
    if (listed) {
      ASSERT_EQ(c.size(), 1u) << code;
      EXPECT_EQ(c[0], static_cast<char16_t>(code));
      ++count;
    } else {
      EXPECT_TRUE(c.empty()) << code;
    }
  }
  EXPECT_EQ(count, 52);
}

TEST(CharacterConstants, TheOnesTheInterpreterUses) {
  tools::InitCharacterConstants();
  EXPECT_EQ(tools::ChrBlank(), u" ");
  EXPECT_EQ(tools::ChrDoubleQuote(), u"\"");
  EXPECT_EQ(tools::ChrHash(), u"#");
  EXPECT_EQ(tools::ChrComma(), u",");
  EXPECT_EQ(tools::ChrDelete(), u"\x7F");
}

TEST(CharacterConstants, AreEmptyOnAThreadThatDidNotFillThem) {
  tools::InitCharacterConstants();
  std::u16string seen = u"unset";
  std::u16string after;
  std::thread t([&] {
    seen = tools::ChrComma();
    tools::InitCharacterConstants();
    after = tools::ChrComma();
  });
  t.join();
  EXPECT_EQ(seen, u"");
  EXPECT_EQ(after, u",");
}

// ---- ProperCase ---------------------------------------------------------------------------

TEST(ProperCase, OfTheEmptyTextIsTheEmptyText) { EXPECT_EQ(tools::ProperCase(u""), u""); }

TEST(ProperCase, OfDataFieldIsDataField) {
  EXPECT_EQ(tools::ProperCase(u"DATA FIELD"), u"Data Field");
}

TEST(ProperCase, OfTheSeedAUTODF0IsAutodf0) {
  EXPECT_EQ(tools::ProperCase(u"AUTODF0"), u"Autodf0");
  EXPECT_EQ(tools::ProperCase(u"FormatHL7DateTime"), u"Formathl7datetime");
}

TEST(ProperCase, OnlyABlankStartsAWord) {
  EXPECT_EQ(tools::ProperCase(u"a\tb-c.d1e"), u"A\tb-c.d1e");
}

TEST(ProperCase, TwoBlanksInARowKeepBothAndCapitaliseTheLetterAfter) {
  EXPECT_EQ(tools::ProperCase(u"one  two"), u"One  Two");
  EXPECT_EQ(tools::ProperCase(u" lead"), u" Lead");
}

TEST(ProperCase, ATextEndingInABlankDoesNotFail) {
  EXPECT_EQ(tools::ProperCase(u"end "), u"End ");
  EXPECT_EQ(tools::ProperCase(u" "), u" ");
}

TEST(ProperCase, TheFunctionListIsStoredInCapitalisedWordForm) {
  EXPECT_EQ(tools::ProperCase(u"If, Format, FormatHL7DateTime, Replace, DateCat, DateCompare"),
            u"If, Format, Formathl7datetime, Replace, Datecat, Datecompare");
}

TEST(ProperCase, AnyUtf16ContentIsHandled) {
  std::u16string odd = u"\xD800x \xDC00y \u00E9t\u00C9";
  std::u16string result = tools::ProperCase(odd);
  EXPECT_EQ(result.size(), odd.size());
  EXPECT_EQ(result[0], u'\xD800');
  EXPECT_EQ(result[1], u'x');
}

// ---- FormatTimeText -----------------------------------------------------------------------

TEST(FormatTimeText, GivesTwoDigitTwentyFourHourTime) {
  std::u16string t = u"2:05:09 PM";
  EXPECT_EQ(tools::FormatTimeText(t), u"14:05:09");
  std::u16string d = u"03/14/2002 17:45:10";
  EXPECT_EQ(tools::FormatTimeText(d), u"17:45:10");
}

TEST(FormatTimeText, ATextThatIsNoDateRaisesTypeMismatch) {
  std::u16string t = u"not a time";
  EXPECT_EQ(ErrorOf([&] { tools::FormatTimeText(t); }), 13);
}

// ---- ConvertToHL7DateTime -----------------------------------------------------------------

TEST(ConvertToHL7DateTime, DateTimeAndZoneMinus500Gives20020314093000Minus0500) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", kTrue, kTrue, u"-500"), u"20020314093000-0500");
}

TEST(ConvertToHL7DateTime, ZoneZeroGivesPlus0000) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", kTrue, kTrue, u"0"), u"20020314093000+0000");
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", kTrue, kTrue, u"530"), u"20020314093000+0530");
}

TEST(ConvertToHL7DateTime, DateWithDashSeparatorIsRewrittenToSlashesBeforeParsing) {
  EXPECT_EQ(Hl7(u"2002-03-14", u"", u"-", kFalse, kFalse, u""), u"20020314");
  // A separator the date parser would never take shows that the text is rewritten.
  EXPECT_EQ(Hl7(u"03x14x2002", u"", u"x", kFalse, kFalse, u""), u"20020314");
}

TEST(ConvertToHL7DateTime, OnlyTheFirstCharacterOfALongerSeparatorIsOverwritten) {
  // "03ab14ab2002" becomes "03/b14/b2002", which is no date.
  EXPECT_EQ(Hl7(u"03ab14ab2002", u"", u"ab", kFalse, kFalse, u""), u"00000000");
}

TEST(ConvertToHL7DateTime, AnEmptySeparatorBecomesSlashInTheCallersVariable) {
  std::u16string time = u"";
  std::u16string separator = u"";
  std::int16_t with_time = kFalse, with_zone = kFalse;
  std::u16string zone = u"";
  EXPECT_EQ(tools::ConvertToHL7DateTime(u"03/14/2002", &time, &separator, &with_time,
                                        &with_zone, &zone),
            u"20020314");
  EXPECT_EQ(separator, u"/");
}

TEST(ConvertToHL7DateTime, AnInvalidDateGivesTheZeroFormsTheFlagsSelect) {
  EXPECT_EQ(Hl7(u"not a date", u"", u"/", kFalse, kFalse, u""), u"00000000");
  EXPECT_EQ(Hl7(u"not a date", u"", u"/", kFalse, kTrue, u"-500"), u"00000000");
  EXPECT_EQ(Hl7(u"not a date", u"", u"/", kTrue, kFalse, u""), u"00000000000000");
  EXPECT_EQ(Hl7(u"not a date", u"", u"/", kTrue, kTrue, u"-500"), u"00000000000000-0000");
  EXPECT_EQ(Hl7(u"", u"", u"/", kTrue, kTrue, u""), u"00000000000000-0000");
}

TEST(ConvertToHL7DateTime, AnInvalidTimeWithAValidDateGivesTime000000) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"half past nine", u"/", kTrue, kFalse, u""), u"20020314000000");
}

TEST(ConvertToHL7DateTime, TimeZeroTakesTheTimeFromADateTextThatHoldsOne) {
  EXPECT_EQ(Hl7(u"03/14/2002 17:45:10", u"0", u"/", kTrue, kFalse, u""), u"20020314174510");
}

TEST(ConvertToHL7DateTime, TimeZeroWithADateTextWithoutTimeGivesMidnight) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"0", u"/", kTrue, kFalse, u""), u"20020314000000");
}

TEST(ConvertToHL7DateTime, IncludeTimeWithAnEmptyTimeTakesTheTimeOfDayFromTheDateText) {
  EXPECT_EQ(Hl7(u"03/14/2002 17:45:10", u"", u"/", kTrue, kFalse, u""), u"20020314174510");
  EXPECT_EQ(Hl7(u"03/14/2002", u"", u"/", kTrue, kFalse, u""), u"20020314000000");
}

TEST(ConvertToHL7DateTime, IncludeTimeSetTo1GivesTime000000ThoughTheTimeFormIsProduced) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", 1, kFalse, u""), u"20020314000000");
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", 1, kTrue, u"-500"), u"20020314000000-0500");
}

TEST(ConvertToHL7DateTime, IncludeZoneIsIgnoredWhenIncludeTimeIsClear) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", kFalse, kTrue, u"-500"), u"20020314");
}

TEST(ConvertToHL7DateTime, AnAbsentZoneWithIncludeZoneGivesFourteenCharacters) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"9:30", u"/", kTrue, kTrue, u""), u"20020314093000");
}

TEST(ConvertToHL7DateTime, ATimeTextWithADatePartUsesOnlyItsTimeOfDay) {
  EXPECT_EQ(Hl7(u"03/14/2002", u"01/01/1990 23:59:59", u"/", kTrue, kFalse, u""),
            u"20020314235959");
}

TEST(ConvertToHL7DateTime, LeftOutArgumentsTakeTheirDefaults) {
  EXPECT_EQ(tools::ConvertToHL7DateTime(u"03/14/2002"), u"20020314");
  std::u16string time = u"9:30";
  std::int16_t with_time = kTrue;
  std::int16_t with_zone = kTrue;
  // Zone left out: "0".
  EXPECT_EQ(tools::ConvertToHL7DateTime(u"03/14/2002", &time, nullptr, &with_time, &with_zone),
            u"20020314093000+0000");
}

TEST(ConvertToHL7DateTime, ASeparatorPastPosition32767Overflows) {
  std::u16string date(40000, u'1');
  date += u"-";
  EXPECT_EQ(ErrorOf([&] { Hl7(date, u"", u"-", kFalse, kFalse, u""); }), 6);
}

TEST(ConvertToHL7DateTime, AnyTextGivesAResultOrAPlatformErrorNeverACrash) {
  std::mt19937 rng(12345);
  const std::u16string alphabet = u"0123456789/-:. APMapm#\"',+\xD800\xDC00\u00E9\x7F\t";
  const std::u16string seps[] = {u"/", u"-", u"", u".", u"--", u"\xD800"};
  for (int i = 0; i < 3000; ++i) {
    std::u16string date, time, zone;
    int n = static_cast<int>(rng() % 24);
    for (int k = 0; k < n; ++k) date += alphabet[rng() % alphabet.size()];
    n = static_cast<int>(rng() % 10);
    for (int k = 0; k < n; ++k) time += alphabet[rng() % alphabet.size()];
    n = static_cast<int>(rng() % 6);
    for (int k = 0; k < n; ++k) zone += alphabet[rng() % alphabet.size()];
    if (i % 7 == 0) time = u"0";
    std::int16_t flags[] = {kTrue, kFalse, 1};
    try {
      std::u16string r = Hl7(date, time, seps[rng() % 6], flags[rng() % 3], flags[rng() % 3], zone);
      EXPECT_LE(r.size(), 64u);
    } catch (const AutomationError&) {
      // A platform error is an acceptable answer.
    }
  }
}

// ---- IsArrayEmpty -------------------------------------------------------------------------

TEST(IsArrayEmpty, OfANeverDimensionedArrayIsTrue) {
  DynArray<std::u16string> a;
  EXPECT_TRUE(tools::IsArrayEmpty(a));
  DynArray2D<std::u16string> b;
  EXPECT_TRUE(tools::IsArrayEmpty(b));
}

TEST(IsArrayEmpty, AfterTheArrayIsGivenOneElementItIsFalse) {
  DynArray<std::u16string> a;
  a.ReDim(0, 0);
  EXPECT_FALSE(tools::IsArrayEmpty(a));
  DynArray2D<std::u16string> b;
  b.ReDim(0, 0, 0, 0);
  EXPECT_FALSE(tools::IsArrayEmpty(b));
}

TEST(IsArrayEmpty, AfterEraseItIsTrueAgain) {
  DynArray<int> a;
  a.ReDim(0, 5);
  a.Erase();
  EXPECT_TRUE(tools::IsArrayEmpty(a));
}

}  // namespace
