#include "support/hl7_date.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "qorvintr/error.h"
#include "test_support.h"

namespace {

namespace tools = qorvintr::support::modTools;
using qorvintr::automation::AutomationError;
using qorvintr::testing_support::ErrorOf;

constexpr std::int16_t kTrue = -1;
constexpr std::int16_t kFalse = 0;

// All six arguments given, as the interpreter passes them.
std::u16string Hl7(std::u16string date, std::u16string time, std::u16string separator,
                   std::int16_t with_time, std::int16_t with_zone, std::u16string zone) {
  return tools::ConvertToHL7DateTime(std::move(date), &time, &separator, &with_time, &with_zone,
                                     &zone);
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

}  // namespace
