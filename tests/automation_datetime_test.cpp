// Dates as the platform keeps, parses and writes them (en-US).

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>

#include "automation/chars.h"
#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "qorvintr/utf8.h"
#include "test_support.h"

namespace au = qorvintr::automation;
using au::DateToText;
using au::ParseDate;

namespace {

// 14 March 2002, the day most examples use.
constexpr double kPi2002 = 37329.0;

// The edges of the calendar, on both sides: 12/31/99 (no date), all of 1/1/100, all of
// 12/31/9999, 1/1/10000 (no date). A negative serial's fraction counts forward.
constexpr double kMidnight12_31_99 = -657435.0;
constexpr double kLastSecond12_31_99 = -657435.99998843;  // 12/31/99 11:59:59 PM
constexpr double kNoon1_1_100 = -657434.5;
constexpr double kLastSecond1_1_100 = -657434.99998843;   // 1/1/100 11:59:59 PM
constexpr double kLastSecond12_31_9999 = 2958465.99998843;
constexpr double kMidnight1_1_10000 = 2958466.0;

// Fixes "now" for the tests that read the current year; restores the system clock afterwards.
class FixedClock {
 public:
  explicit FixedClock(double serial) { au::SetClock([serial] { return serial; }); }
  ~FixedClock() { au::SetClock(nullptr); }
  FixedClock(const FixedClock&) = delete;
  FixedClock& operator=(const FixedClock&) = delete;
};

using qorvintr::testing_support::ErrorOf;

std::string Text(double serial) {
  std::string out;
  for (char16_t c : DateToText(serial)) out.push_back(static_cast<char>(c));
  return out;
}

double Parsed(std::u16string_view text) {
  const std::optional<double> d = ParseDate(text);
  EXPECT_TRUE(d.has_value()) << "rejected";
  return d.value_or(-1e300);
}

bool Rejected(std::u16string_view text) { return !ParseDate(text).has_value(); }

}  // namespace

// ---------------------------------------------------------------------------------------------
// Serials and their parts

TEST(DateSerials, DaySerialCountsFromThirtiethDecember1899) {
  EXPECT_EQ(au::DaySerial(1899, 12, 30), 0.0);
  EXPECT_EQ(au::DaySerial(1899, 12, 31), 1.0);
  EXPECT_EQ(au::DaySerial(1900, 1, 1), 2.0);
  EXPECT_EQ(au::DaySerial(2002, 3, 14), kPi2002);
  EXPECT_EQ(au::DaySerial(100, 1, 1), au::kFirstDateDay);
  EXPECT_EQ(au::DaySerial(9999, 12, 31), au::kLastDateDay);
}

TEST(DateSerials, EveryMomentOfFirstAndLastDayIsInRange) {
  EXPECT_TRUE(au::InDateRange(au::kFirstDateDay));
  EXPECT_TRUE(au::InDateRange(kNoon1_1_100));
  EXPECT_TRUE(au::InDateRange(kLastSecond1_1_100));
  EXPECT_TRUE(au::InDateRange(-657434.999999999));
  EXPECT_TRUE(au::InDateRange(au::kLastDateDay));
  EXPECT_TRUE(au::InDateRange(kLastSecond12_31_9999));
  EXPECT_FALSE(au::InDateRange(kMidnight12_31_99));
  EXPECT_FALSE(au::InDateRange(kLastSecond12_31_99));
  EXPECT_FALSE(au::InDateRange(kMidnight1_1_10000));
  EXPECT_FALSE(au::InDateRange(NAN));
}

TEST(DateSerials, Year1900IsNoLeapYear) {
  // The platform's calendar is the plain Gregorian one: no 29 February 1900.
  EXPECT_EQ(au::DaySerial(1900, 3, 1) - au::DaySerial(1900, 2, 28), 1.0);
  EXPECT_EQ(au::DaySerial(2000, 3, 1) - au::DaySerial(2000, 2, 28), 2.0);
}

TEST(DateSerials, SplitDateGivesCalendarPartsWeekdayAndDayOfYear) {
  const au::DateParts p = au::SplitDate(kPi2002 + 0.395833333333333);
  EXPECT_EQ(p.year, 2002);
  EXPECT_EQ(p.month, 3);
  EXPECT_EQ(p.day, 14);
  EXPECT_EQ(p.hour, 9);
  EXPECT_EQ(p.minute, 30);
  EXPECT_EQ(p.second, 0);
  EXPECT_EQ(p.weekday, 5);  // a Thursday
  EXPECT_EQ(p.day_of_year, 73);
}

TEST(DateSerials, ZeroSerialIsSaturdayThirtiethDecember1899) {
  const au::DateParts p = au::SplitDate(0);
  EXPECT_EQ(p.year, 1899);
  EXPECT_EQ(p.month, 12);
  EXPECT_EQ(p.day, 30);
  EXPECT_EQ(p.weekday, 7);
  EXPECT_EQ(p.day_of_year, 364);
  EXPECT_EQ(au::SplitDate(1).weekday, 1);  // Sunday
}

TEST(DateSerials, NegativeSerialTimeCountsForward) {
  // -1.25: one day back (29 December 1899), and a quarter of a day forward into it.
  const au::DateParts p = au::SplitDate(-1.25);
  EXPECT_EQ(p.day, 29);
  EXPECT_EQ(p.hour, 6);
  EXPECT_EQ(p.minute, 0);
  const au::DateParts q = au::SplitDate(-1.75);
  EXPECT_EQ(q.day, 29);
  EXPECT_EQ(q.hour, 18);
}

TEST(DateSerials, NegativeFractionOfDayZeroIsStillThirtiethDecember) {
  const au::DateParts p = au::SplitDate(-0.5);
  EXPECT_EQ(p.day, 30);
  EXPECT_EQ(p.month, 12);
  EXPECT_EQ(p.hour, 12);
}

TEST(DateSerials, SplitDateRoundsTimeToNearestSecond) {
  EXPECT_EQ(au::SplitDate(10.4 / 86400).second, 10);
  EXPECT_EQ(au::SplitDate(10.5 / 86400).second, 11);
  EXPECT_EQ(au::SplitDate(kPi2002 + 59.6 / 86400).minute, 1);
  EXPECT_EQ(au::SplitDate(kPi2002 + 59.6 / 86400).second, 0);
}

TEST(DateSerials, HalfSecondLessAHairStillRoundsUp) {
  // The platform allows under a microsecond of slack below the half second.
  EXPECT_EQ(au::SplitDate((10.5 - 5e-7) / 86400).second, 11);
  EXPECT_EQ(au::SplitDate((10.5 - 2e-6) / 86400).second, 10);
}

TEST(DateSerials, RoundingUpToMidnightRollsIntoNextDay) {
  const au::DateParts p = au::SplitDate(kPi2002 + 0.99999999);
  EXPECT_EQ(p.day, 15);
  EXPECT_EQ(p.hour, 0);
  EXPECT_EQ(p.second, 0);
  // Before 1899 the next day is the next calendar day too: 29 December 23:59:59.99 becomes
  // 30 December.
  const au::DateParts q = au::SplitDate(-1.99999999);
  EXPECT_EQ(q.day, 30);
  EXPECT_EQ(q.hour, 0);
}

// ---------------------------------------------------------------------------------------------
// DateSerial and TimeSerial

TEST(DateSerialFunction, BuildsTheDate) {
  EXPECT_EQ(au::DateSerial(2002, 3, 14), kPi2002);
  EXPECT_EQ(au::DateSerial(1899, 12, 30), 0.0);
}

TEST(DateSerialFunction, TwoDigitYearsBelowThirtyAreThisCentury) {
  EXPECT_EQ(au::DateSerial(2, 3, 14), kPi2002);
  EXPECT_EQ(au::DateSerial(0, 1, 1), au::DaySerial(2000, 1, 1));
  EXPECT_EQ(au::DateSerial(29, 12, 31), au::DaySerial(2029, 12, 31));
}

TEST(DateSerialFunction, TwoDigitYearsFromThirtyAreLastCentury) {
  EXPECT_EQ(au::DateSerial(30, 1, 1), au::DaySerial(1930, 1, 1));
  EXPECT_EQ(au::DateSerial(99, 12, 31), au::DaySerial(1999, 12, 31));
  EXPECT_EQ(au::DateSerial(100, 1, 1), au::kFirstDateDay);  // three digits are taken as given
}

TEST(DateSerialFunction, MonthsAndDaysRollOver) {
  EXPECT_EQ(au::DateSerial(2002, 13, 1), au::DaySerial(2003, 1, 1));
  EXPECT_EQ(au::DateSerial(2002, 0, 1), au::DaySerial(2001, 12, 1));
  EXPECT_EQ(au::DateSerial(2002, -1, 1), au::DaySerial(2001, 11, 1));
  EXPECT_EQ(au::DateSerial(2002, 3, 0), au::DaySerial(2002, 2, 28));
  EXPECT_EQ(au::DateSerial(2002, 2, 29), au::DaySerial(2002, 3, 1));
  EXPECT_EQ(au::DateSerial(2002, 3, -1), au::DaySerial(2002, 2, 27));
  EXPECT_EQ(au::DateSerial(2002, 1, 366), au::DaySerial(2003, 1, 1));
  EXPECT_EQ(au::DateSerial(99, 13, 1), au::DaySerial(2000, 1, 1));
}

TEST(DateSerialFunction, OutsideValidRangeRaisesInvalidProcedureCall) {
  EXPECT_EQ(ErrorOf([] { au::DateSerial(10000, 1, 1); }), 5);
  EXPECT_EQ(ErrorOf([] { au::DateSerial(100, 1, 0); }), 5);
  EXPECT_EQ(ErrorOf([] { au::DateSerial(-1, 1, 1); }), 5);
  EXPECT_EQ(ErrorOf([] { au::DateSerial(9999, 12, 32); }), 5);
  EXPECT_EQ(ErrorOf([] { au::DateSerial(2147483647, 2147483647, 2147483647); }), 5);
  EXPECT_EQ(au::DateSerial(9999, 12, 31), au::kLastDateDay);
}

TEST(TimeSerialFunction, BuildsTheTimeOfDay) {
  EXPECT_EQ(Text(au::TimeSerial(9, 30, 0)), "9:30:00 AM");
  EXPECT_EQ(Text(au::TimeSerial(23, 59, 59)), "11:59:59 PM");
  EXPECT_EQ(au::TimeSerial(12, 0, 0), 0.5);
  EXPECT_EQ(au::TimeSerial(0, 0, 0), 0.0);
}

TEST(TimeSerialFunction, PartsRollOver) {
  EXPECT_EQ(Text(au::TimeSerial(12 - 6, -15, 0)), "5:45:00 AM");
  EXPECT_EQ(Text(au::TimeSerial(0, 90, 75)), "1:31:15 AM");
  EXPECT_EQ(Text(au::TimeSerial(25, 0, 0)), "12/31/1899 1:00:00 AM");
}

TEST(TimeSerialFunction, MomentsOutsideTheCalendarOverflow) {
  // 657434 days of hours before day zero is 1/1/100 midnight; a second earlier is 12/31/99.
  constexpr int kHoursTo1_1_100 = -657434 * 24;
  EXPECT_EQ(au::TimeSerial(kHoursTo1_1_100, 0, 0), au::kFirstDateDay);
  EXPECT_EQ(Text(au::TimeSerial(kHoursTo1_1_100 + 12, 0, 0)), "1/1/100 12:00:00 PM");
  EXPECT_EQ(Text(au::TimeSerial(kHoursTo1_1_100 + 23, 59, 59)), "1/1/100 11:59:59 PM");
  EXPECT_EQ(ErrorOf([] { au::TimeSerial(kHoursTo1_1_100, 0, -1); }), 6);
  EXPECT_EQ(ErrorOf([] { au::TimeSerial(kHoursTo1_1_100 - 12, 0, 0); }), 6);
  constexpr int kHoursTo12_31_9999 = 2958465 * 24;
  EXPECT_EQ(Text(au::TimeSerial(kHoursTo12_31_9999 + 23, 59, 59)), "12/31/9999 11:59:59 PM");
  EXPECT_EQ(ErrorOf([] { au::TimeSerial(kHoursTo12_31_9999 + 24, 0, 0); }), 6);
}

TEST(TimeSerialFunction, NegativeTimeIsBeforeThirtiethDecember) {
  // One hour before midnight of day zero: 29 December 1899, 11 PM, written the platform's way.
  const double t = au::TimeSerial(-1, 0, 0);
  EXPECT_LT(t, 0.0);
  EXPECT_EQ(Text(t), "12/29/1899 11:00:00 PM");
}

// ---------------------------------------------------------------------------------------------
// DateValue and TimeValue

TEST(DateValueFunction, TakesDatePartOfText) {
  EXPECT_EQ(au::DateValue(au::Value::String(u"3/14/2002 9:30 PM")), kPi2002);
  EXPECT_EQ(au::DateValue(au::Value::String(u"March 14, 2002")), kPi2002);
  EXPECT_EQ(au::DateValue(au::Value::String(u"9:30")), 0.0);
}

TEST(DateValueFunction, TakesDatePartOfDateBeforeEighteenNinetyNine) {
  EXPECT_EQ(au::DateValue(au::Value::Date(-1.25)), -1.0);
}

TEST(DateValueFunction, DateIsRoundedToTheSecondLikeItsText) {
  // 23:59:59.9999 on 14 March is shown as midnight of the 15th, and DateValue agrees.
  EXPECT_EQ(au::DateValue(au::Value::Date(kPi2002 + 0.99999999)), kPi2002 + 1);
  EXPECT_EQ(au::TimeValue(au::Value::Date(kPi2002 + 0.99999999)), 0.0);
}

TEST(DateValueFunction, NumbersAreSerials) {
  EXPECT_EQ(au::DateValue(au::Value::Double(kPi2002 + 0.75)), kPi2002);
  EXPECT_EQ(au::DateValue(au::Value::Long(37329)), kPi2002);
  EXPECT_EQ(au::DateValue(au::Value::Boolean(true)), -1.0);
  EXPECT_EQ(au::DateValue(au::Value()), 0.0);
}

TEST(DateValueFunction, BadTextRaisesTypeMismatch) {
  EXPECT_EQ(ErrorOf([] { au::DateValue(au::Value::String(u"abc")); }), 13);
  EXPECT_EQ(ErrorOf([] { au::DateValue(au::Value::String(u"")); }), 13);
}

TEST(DateValueFunction, NullRaisesInvalidUseOfNull) {
  EXPECT_EQ(ErrorOf([] { au::DateValue(au::Value::Null()); }), 94);
  EXPECT_EQ(ErrorOf([] { au::TimeValue(au::Value::Null()); }), 94);
}

TEST(DateValueFunction, NumberOutsideDateRangeOverflows) {
  EXPECT_EQ(ErrorOf([] { au::DateValue(au::Value::Double(1e10)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::TimeValue(au::Value::Double(-1e10)); }), 6);
}

TEST(DateValueFunction, EveryMomentOfFirstAndLastDayIsADate) {
  EXPECT_EQ(au::DateValue(au::Value::Double(kNoon1_1_100)), au::kFirstDateDay);
  EXPECT_EQ(au::DateValue(au::Value::Double(kLastSecond1_1_100)), au::kFirstDateDay);
  EXPECT_EQ(au::TimeValue(au::Value::Double(kLastSecond1_1_100)), 86399.0 / 86400);
  EXPECT_EQ(au::DateValue(au::Value::Date(kLastSecond12_31_9999)), au::kLastDateDay);
  EXPECT_EQ(au::TimeValue(au::Value::Date(kLastSecond12_31_9999)), 86399.0 / 86400);
  for (double outside : {kMidnight12_31_99, kLastSecond12_31_99, kMidnight1_1_10000}) {
    EXPECT_EQ(ErrorOf([outside] { au::DateValue(au::Value::Double(outside)); }), 6);
    EXPECT_EQ(ErrorOf([outside] { au::TimeValue(au::Value::Date(outside)); }), 6);
  }
}

TEST(TimeValueFunction, TakesTimePartOfText) {
  EXPECT_EQ(Text(au::TimeValue(au::Value::String(u"3/14/2002 9:30 PM"))), "9:30:00 PM");
  EXPECT_EQ(au::TimeValue(au::Value::String(u"3/14/2002")), 0.0);
  EXPECT_EQ(au::TimeValue(au::Value::String(u"12:00 PM")), 0.5);
}

TEST(TimeValueFunction, TimeOfNegativeSerialCountsForward) {
  EXPECT_EQ(au::TimeValue(au::Value::Date(-1.25)), 0.25);
  EXPECT_EQ(au::TimeValue(au::Value::String(u"12/29/1899 6:00 AM")), 0.25);
}

TEST(TimeValueFunction, TimeIsRoundedToSecond) {
  EXPECT_EQ(au::TimeValue(au::Value::Double(kPi2002 + 10.6 / 86400)), 11.0 / 86400);
}

// ---------------------------------------------------------------------------------------------
// Parsing: month/day/year and its variants

TEST(ParseDateText, MonthDayYearWithSlashes) {
  EXPECT_EQ(Parsed(u"3/14/2002"), kPi2002);
  EXPECT_EQ(Parsed(u"03/14/2002"), kPi2002);
}

TEST(ParseDateText, DashesAndBlanksSeparateLikeSlashes) {
  EXPECT_EQ(Parsed(u"3-14-2002"), kPi2002);
  EXPECT_EQ(Parsed(u"3 14 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"3/14-2002"), kPi2002);
  EXPECT_EQ(Parsed(u"3 / 14 / 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"3,14,2002"), kPi2002);
}

TEST(ParseDateText, DotIsATimeSeparatorNotADateSeparator) {
  EXPECT_TRUE(Rejected(u"3.14.2002"));
  EXPECT_EQ(Parsed(u"9.30"), Parsed(u"9:30"));
}

TEST(ParseDateText, YearFirstIsRead) {
  EXPECT_EQ(Parsed(u"2002-03-14"), kPi2002);
  EXPECT_EQ(Parsed(u"2002/3/14"), kPi2002);
  EXPECT_EQ(Parsed(u"2002 March 14"), kPi2002);
}

TEST(ParseDateText, DayAndMonthSwapWhenFirstCannotBeMonth) {
  EXPECT_EQ(Parsed(u"14/3/2002"), kPi2002);
  EXPECT_EQ(Parsed(u"31/12/99"), au::DaySerial(1999, 12, 31));
}

TEST(ParseDateText, YearMonthDayIsTriedBeforeDayMonthYear) {
  // 13/1/2 cannot be month/day/year; year/month/day (2013-01-02) comes before 13 January 2002.
  EXPECT_EQ(Parsed(u"13/1/2"), au::DaySerial(2013, 1, 2));
  // 13/1/2002 cannot be year/month/day either: day/month/year.
  EXPECT_EQ(Parsed(u"13/1/2002"), au::DaySerial(2002, 1, 13));
  // Last comes year/day/month.
  EXPECT_EQ(Parsed(u"2002/13/2"), au::DaySerial(2002, 2, 13));
}

TEST(ParseDateText, ImpossibleDayIsRejected) {
  EXPECT_TRUE(Rejected(u"2/30/2002"));
  EXPECT_TRUE(Rejected(u"2/29/2001"));
  EXPECT_EQ(Parsed(u"2/29/2000"), au::DaySerial(2000, 2, 29));
  EXPECT_TRUE(Rejected(u"2/29/1900"));
  EXPECT_TRUE(Rejected(u"13/13/2002"));
  EXPECT_TRUE(Rejected(u"0/1/2002"));
  EXPECT_TRUE(Rejected(u"3/0/2002"));
}

TEST(ParseDateText, TwoDigitYearsUseTheTwentyTwentyNineCutOff) {
  EXPECT_EQ(Parsed(u"3/14/02"), kPi2002);
  EXPECT_EQ(Parsed(u"3/14/0"), au::DaySerial(2000, 3, 14));
  EXPECT_EQ(Parsed(u"3/14/29"), au::DaySerial(2029, 3, 14));
  EXPECT_EQ(Parsed(u"3/14/30"), au::DaySerial(1930, 3, 14));
  EXPECT_EQ(Parsed(u"3/14/99"), au::DaySerial(1999, 3, 14));
}

TEST(ParseDateText, YearIsItsValueNotItsDigitCount) {
  EXPECT_EQ(Parsed(u"3/14/0002"), kPi2002);
  EXPECT_EQ(Parsed(u"3/14/100"), au::DaySerial(100, 3, 14));
  EXPECT_EQ(Parsed(u"0003/0014/2002"), kPi2002);
}

TEST(ParseDateText, YearsOutsideOneHundredToNineThousandNineHundredNinetyNineAreRejected) {
  EXPECT_TRUE(Rejected(u"3/14/10000"));
  EXPECT_EQ(Parsed(u"12/31/9999"), au::kLastDateDay);
  EXPECT_EQ(Parsed(u"1/1/100"), au::kFirstDateDay);
  EXPECT_TRUE(Rejected(u"99999999999/1/2"));
}

TEST(ParseDateText, MonthAndDayAloneTakeTheCurrentYear) {
  FixedClock clock(au::DaySerial(2011, 6, 1) + 0.5);
  EXPECT_EQ(Parsed(u"3/14"), au::DaySerial(2011, 3, 14));
  EXPECT_EQ(Parsed(u"14/3"), au::DaySerial(2011, 3, 14));
  EXPECT_EQ(Parsed(u"March 14"), au::DaySerial(2011, 3, 14));
  EXPECT_EQ(Parsed(u"14 Mar"), au::DaySerial(2011, 3, 14));
}

TEST(ParseDateText, ClockOutsideTheCalendarGivesWayToTheSystemClock) {
  {
    FixedClock clock(kLastSecond1_1_100);
    EXPECT_EQ(Parsed(u"3/14"), au::DaySerial(100, 3, 14));
  }
  {
    // A "now" on 12/31/99 is no date: the year comes from the system clock instead (a year 99
    // would reject the text).
    FixedClock clock(kLastSecond12_31_99);
    EXPECT_GT(au::SplitDate(Parsed(u"3/14")).year, 2020);
  }
}

TEST(ParseDateText, EveryMonthAndDayWordIsReadInAnyCaseAndOtherWordsAreNot) {
  const std::u16string months[] = {u"January", u"February", u"March", u"April",
                                   u"May", u"June", u"July", u"August",
                                   u"September", u"October", u"November", u"December"};
  const std::u16string days[] = {u"Sunday", u"Monday", u"Tuesday", u"Wednesday",
                                 u"Thursday", u"Friday", u"Saturday"};
  auto upper = [](std::u16string word) {
    for (char16_t& c : word) c = au::AsciiUpper(c);
    return word;
  };
  auto lower = [](std::u16string word) {
    for (char16_t& c : word) c = au::AsciiLower(c);
    return word;
  };
  for (int m = 0; m < 12; ++m) {
    const double expected = au::DateSerial(2002, m + 1, 14);
    for (const std::u16string& word : {months[m], months[m].substr(0, 3)}) {
      for (const std::u16string& spelt : {word, upper(word), lower(word)}) {
        EXPECT_EQ(ParseDate(spelt + u" 14, 2002"), expected) << au::ToUtf8(spelt);
      }
    }
  }
  for (const std::u16string& day : days) {
    for (const std::u16string& word : {day, day.substr(0, 3)}) {
      for (const std::u16string& spelt : {word, upper(word), lower(word)}) {
        EXPECT_EQ(ParseDate(spelt + u", 3/14/2002"), au::DateSerial(2002, 3, 14))
            << au::ToUtf8(spelt);
      }
    }
  }
  // Words that share a first letter and length with one of them, or only a first letter.
  for (const char16_t* word : {u"Mayor 14, 2002", u"Smith 14, 2002", u"Junk 14, 2002",
                               u"Sept 14, 2002", u"Fridays, 3/14/2002", u"Smith"}) {
    EXPECT_FALSE(ParseDate(word).has_value()) << au::ToUtf8(word);
  }
}

TEST(ParseDateText, FailingClockGivesWayToTheSystemClock) {
  au::SetClock([]() -> double { throw std::runtime_error("no clock"); });
  const std::optional<double> d = ParseDate(u"3/14");
  au::SetClock(nullptr);
  ASSERT_TRUE(d.has_value());
  EXPECT_GT(au::SplitDate(*d).year, 2020);
}

TEST(ParseDateText, TwentyNinthFebruaryAloneDependsOnCurrentYear) {
  {
    FixedClock clock(au::DaySerial(2012, 1, 1));
    EXPECT_EQ(Parsed(u"2/29"), au::DaySerial(2012, 2, 29));
  }
  {
    // Not a day in 2011: the 29 becomes a year, 1 February 2029.
    FixedClock clock(au::DaySerial(2011, 1, 1));
    EXPECT_EQ(Parsed(u"2/29"), au::DaySerial(2029, 2, 1));
  }
}

TEST(ParseDateText, MonthAndYearGiveTheFirstOfTheMonth) {
  EXPECT_EQ(Parsed(u"3/2002"), au::DaySerial(2002, 3, 1));
  EXPECT_EQ(Parsed(u"2002-3"), au::DaySerial(2002, 3, 1));
  EXPECT_EQ(Parsed(u"3/45"), au::DaySerial(1945, 3, 1));
  EXPECT_EQ(Parsed(u"March 2002"), au::DaySerial(2002, 3, 1));
  EXPECT_EQ(Parsed(u"12/32"), au::DaySerial(1932, 12, 1));
  EXPECT_TRUE(Rejected(u"13/2002"));
}

// ---------------------------------------------------------------------------------------------
// Parsing: month names

TEST(ParseDateText, MonthNamesInAnyCommonOrder) {
  EXPECT_EQ(Parsed(u"March 14, 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"March 14 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"14 Mar 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"Mar 14 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"14-Mar-2002"), kPi2002);
  EXPECT_EQ(Parsed(u"14Mar2002"), kPi2002);
  EXPECT_EQ(Parsed(u"Sep 14 2002"), au::DaySerial(2002, 9, 14));
}

TEST(ParseDateText, MonthNamesIgnoreCase) {
  EXPECT_EQ(Parsed(u"MARCH 14 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"mAr 14 2002"), kPi2002);
}

TEST(ParseDateText, OnlyFullNamesAndThreeLetterAbbreviationsAreMonths) {
  EXPECT_TRUE(Rejected(u"Sept 14 2002"));
  EXPECT_TRUE(Rejected(u"Marc 14 2002"));
  EXPECT_TRUE(Rejected(u"Ma 14 2002"));
  EXPECT_TRUE(Rejected(u"Marchh 14 2002"));
}

TEST(ParseDateText, MonthNameMustFillTheMonth) {
  // The numbers around a month name are year and day in the first order that leaves the month
  // to the name: "14-Mar-02" reads as year 14, day 2.
  EXPECT_EQ(Parsed(u"14-Mar-02"), au::DaySerial(2014, 3, 2));
  EXPECT_EQ(Parsed(u"1 2 Mar"), au::DaySerial(2001, 3, 2));
  EXPECT_EQ(Parsed(u"Mar 1 2"), au::DaySerial(2002, 3, 1));
}

TEST(ParseDateText, LoneMonthNameIsNoDate) {
  EXPECT_TRUE(Rejected(u"March"));
  EXPECT_TRUE(Rejected(u"Jan"));
  EXPECT_TRUE(Rejected(u"Mar 9:30"));
}

TEST(ParseDateText, DayNamesAreSkipped) {
  EXPECT_EQ(Parsed(u"Thursday, March 14, 2002"), kPi2002);
  EXPECT_EQ(Parsed(u"Thu 3/14/2002"), kPi2002);
  EXPECT_EQ(Parsed(u"3/14/2002 Mon"), kPi2002);  // even the wrong one
  EXPECT_TRUE(Rejected(u"Monday"));
}

// ---------------------------------------------------------------------------------------------
// Parsing: times

TEST(ParseDateText, TimeAloneHasDateZero) {
  EXPECT_EQ(Parsed(u"9:30"), 9.5 / 24);
  EXPECT_EQ(Parsed(u"9:30:15"), 9.0 / 24 + 30.0 / 1440 + 15.0 / 86400);
  EXPECT_EQ(Parsed(u"0:00"), 0.0);
  EXPECT_EQ(Text(Parsed(u"23:59:59")), "11:59:59 PM");
}

TEST(ParseDateText, AmAndPmDesignators) {
  EXPECT_EQ(Text(Parsed(u"9:30 AM")), "9:30:00 AM");
  EXPECT_EQ(Text(Parsed(u"9:30 PM")), "9:30:00 PM");
  EXPECT_EQ(Text(Parsed(u"9:30pm")), "9:30:00 PM");
  EXPECT_EQ(Parsed(u"12:00 AM"), 0.0);
  EXPECT_EQ(Parsed(u"12:00 PM"), 0.5);
  EXPECT_EQ(Text(Parsed(u"12:30 AM")), "12:30:00 AM");
  EXPECT_EQ(Parsed(u"0 PM"), 0.5);
}

TEST(ParseDateText, SingleLetterDesignators) {
  EXPECT_EQ(Text(Parsed(u"9:30 a")), "9:30:00 AM");
  EXPECT_EQ(Text(Parsed(u"9:30 p")), "9:30:00 PM");
  EXPECT_EQ(Text(Parsed(u"9p")), "9:00:00 PM");
}

TEST(ParseDateText, HourWithDesignatorIsATime) {
  EXPECT_EQ(Parsed(u"9 AM"), 9.0 / 24);
  EXPECT_EQ(Parsed(u"9AM"), 9.0 / 24);
  EXPECT_EQ(Parsed(u"9 PM"), 21.0 / 24);
  EXPECT_EQ(Parsed(u"12 AM"), 0.0);
}

TEST(ParseDateText, TwentyFourHourTimeIgnoresDesignator) {
  EXPECT_EQ(Text(Parsed(u"13:00 AM")), "1:00:00 PM");
  EXPECT_EQ(Text(Parsed(u"13:00 PM")), "1:00:00 PM");
  EXPECT_EQ(Text(Parsed(u"21:30")), "9:30:00 PM");
}

TEST(ParseDateText, OutOfRangeTimePartsAreRejected) {
  EXPECT_TRUE(Rejected(u"24:00"));
  EXPECT_TRUE(Rejected(u"9:60"));
  EXPECT_TRUE(Rejected(u"9:30:60"));
  EXPECT_TRUE(Rejected(u"25 PM"));
  EXPECT_TRUE(Rejected(u"9:30:15:10"));
}

TEST(ParseDateText, FractionalSecondsAreRejected) {
  EXPECT_TRUE(Rejected(u"9:30:15.5"));
}

TEST(ParseDateText, DanglingTimeSeparatorIsRejected) {
  EXPECT_TRUE(Rejected(u"9:"));
  EXPECT_TRUE(Rejected(u":30"));
  EXPECT_TRUE(Rejected(u"9:30:"));
  EXPECT_EQ(Parsed(u"9::30"), Parsed(u"9:30"));  // doubled separators are one
}

TEST(ParseDateText, DesignatorMustFollowItsTime) {
  EXPECT_TRUE(Rejected(u"AM"));
  EXPECT_TRUE(Rejected(u"am 9:30"));
  EXPECT_TRUE(Rejected(u"PM 9:30"));
  EXPECT_TRUE(Rejected(u"9:30 AM PM"));
  EXPECT_TRUE(Rejected(u"9:30 A.M."));
  EXPECT_TRUE(Rejected(u"3/14/2002 AM"));
}

// ---------------------------------------------------------------------------------------------
// Parsing: date and time together

TEST(ParseDateText, DateThenTime) {
  EXPECT_EQ(Text(Parsed(u"3/14/2002 9:30")), "3/14/2002 9:30:00 AM");
  EXPECT_EQ(Text(Parsed(u"3/14/2002 9:30:15 PM")), "3/14/2002 9:30:15 PM");
  EXPECT_EQ(Text(Parsed(u"3/14/2002 21:30")), "3/14/2002 9:30:00 PM");
  EXPECT_EQ(Text(Parsed(u"3/14/2002, 9:30")), "3/14/2002 9:30:00 AM");
  EXPECT_EQ(Text(Parsed(u"2002-03-14 09:30:00")), "3/14/2002 9:30:00 AM");
}

TEST(ParseDateText, TimeThenDate) {
  EXPECT_EQ(Text(Parsed(u"9:30 AM 3/14/2002")), "3/14/2002 9:30:00 AM");
  EXPECT_EQ(Text(Parsed(u"9:30 3/14/2002")), "3/14/2002 9:30:00 AM");
}

TEST(ParseDateText, SerialIsDayPlusHoursMinutesSecondsAddedInTurn) {
  // Built as the platform builds it, so the serial matches to the last bit.
  EXPECT_EQ(Parsed(u"3/14/2002 9:30"), kPi2002 + 9.0 / 24 + 30.0 / 1440);
  EXPECT_EQ(Parsed(u"10/16/2032 8:43 PM"), 48503.0 + 20.0 / 24 + 43.0 / 1440);
}

TEST(ParseDateText, TimeBeforeEighteenNinetyNineCountsForward) {
  EXPECT_EQ(Parsed(u"12/29/1899 6:00 AM"), -1.25);
  EXPECT_EQ(Parsed(u"1/1/100 6:00"), au::kFirstDateDay - 0.25);
}

TEST(ParseDateText, TimeInsideTheDateIsRejected) {
  EXPECT_TRUE(Rejected(u"3/14 9:30 2002"));
  EXPECT_TRUE(Rejected(u"3 9:30 14 2002"));
  EXPECT_TRUE(Rejected(u"9:30 3/14/2002 10:15"));
}

TEST(ParseDateText, HourWithoutDesignatorAfterDateIsRejected) {
  // A fourth number is no hour unless a separator or designator makes it one.
  EXPECT_TRUE(Rejected(u"3/14/2002 9"));
  EXPECT_EQ(Text(Parsed(u"3/14/2002 9 AM")), "3/14/2002 9:00:00 AM");
}

// ---------------------------------------------------------------------------------------------
// Parsing: what is no date

TEST(ParseDateText, EmptyTextIsNoDate) {
  EXPECT_TRUE(Rejected(u""));
  EXPECT_TRUE(Rejected(u"   "));
}

TEST(ParseDateText, LoneNumberIsNoDate) {
  EXPECT_TRUE(Rejected(u"1"));
  EXPECT_TRUE(Rejected(u"0"));
  EXPECT_TRUE(Rejected(u"-1"));
  EXPECT_TRUE(Rejected(u"2002"));
  EXPECT_TRUE(Rejected(u"37329"));
}

TEST(ParseDateText, DecimalNumberReadsAsHoursAndMinutes) {
  // The dot separates time parts: "1.5" is 1:05 AM, and a serial with a fraction is no date.
  EXPECT_EQ(Text(Parsed(u"1.5")), "1:05:00 AM");
  EXPECT_EQ(Text(Parsed(u"12.30")), "12:30:00 PM");
  EXPECT_TRUE(Rejected(u"37329.5"));
}

TEST(ParseDateText, GarbageIsNoDate) {
  EXPECT_TRUE(Rejected(u"abc"));
  EXPECT_TRUE(Rejected(u"3/14/2002x"));
  EXPECT_TRUE(Rejected(u"3/14/2002 9:30 PM 5"));
  EXPECT_TRUE(Rejected(u"2002-03-14T09:30:00"));
  EXPECT_TRUE(Rejected(u"March 14th 2002"));
  EXPECT_TRUE(Rejected(u"\uFF13/14/2002"));  // full-width digit
}

TEST(ParseDateText, BlanksAroundAreIgnored) {
  EXPECT_EQ(Parsed(u"  3/14/2002  "), kPi2002);
  EXPECT_EQ(Parsed(u"\t3/14/2002\u00A0"), kPi2002);
  EXPECT_EQ(Parsed(u"\u30003/14/2002"), kPi2002);
}

TEST(ParseDateText, BlanksAreTheNumberParsersBlanks) {
  // Both parsers step over the Unicode white space and nothing else (the platform's parsers
  // agree); printable ASCII other than the space has meanings of its own and is left out.
  const std::u16string blanks =
      u"\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008"
      u"\u2009\u200A\u2028\u2029\u202F\u205F\u3000";
  int found = 0;
  for (char32_t code = 1; code <= 0xFFFF; ++code) {
    if ((code > 0x20 && code < 0x7F) || (code >= 0xD800 && code <= 0xDFFF)) continue;
    const auto c = static_cast<char16_t>(code);
    const bool blank = blanks.find(c) != std::u16string::npos;
    found += blank ? 1 : 0;
    EXPECT_EQ(au::IsBlank(c), blank) << static_cast<int>(code);
    EXPECT_EQ(ParseDate(c + std::u16string(u"3/14/2002") + c + u"9:30" + c).has_value(), blank)
        << static_cast<int>(code);
    EXPECT_EQ(au::ParseNumber(c + std::u16string(u"12") + c).has_value(), blank)
        << static_cast<int>(code);
  }
  EXPECT_EQ(found, 25);
}

TEST(ParseDateText, LeadingCommaIsABlank) {
  EXPECT_EQ(Parsed(u",3/14/2002"), kPi2002);
  EXPECT_EQ(Parsed(u"3/,14/2002"), kPi2002);
}

TEST(ParseDateText, SeparatorAsLastCharacterIsRejected) {
  EXPECT_TRUE(Rejected(u"3/14/2002,"));
  EXPECT_TRUE(Rejected(u"3/14/2002 ,"));
  EXPECT_TRUE(Rejected(u"3/14/2002-"));
  EXPECT_TRUE(Rejected(u"3/14/"));
  EXPECT_EQ(Parsed(u"3/14/2002, "), kPi2002);  // a blank after it is fine
}

TEST(ParseDateText, LeadingDateSeparatorIsRejected) {
  EXPECT_TRUE(Rejected(u"/3/14/2002"));
  EXPECT_TRUE(Rejected(u"-3/14/2002"));
  EXPECT_TRUE(Rejected(u"- 9:30"));
}

TEST(ParseDateText, MoreThanTwoDateSeparatorsAreRejected) {
  EXPECT_TRUE(Rejected(u"3//14/2002"));
  EXPECT_TRUE(Rejected(u"3/ /14/2002"));
  EXPECT_TRUE(Rejected(u"3/14/2002 - 9:30"));
  FixedClock clock(au::DaySerial(2011, 6, 1));
  EXPECT_EQ(Parsed(u"3//14"), au::DaySerial(2011, 3, 14));  // two are fine, wherever they are
}

TEST(ParseDateText, FourNumbersAreNoDate) {
  EXPECT_TRUE(Rejected(u"1 2 3 4"));
  EXPECT_TRUE(Rejected(u"9 3/14/2002"));
}

TEST(ParseDateText, TextEndsAtNul) {
  const std::u16string text(u"3/14/2002\0junk", 14);
  EXPECT_EQ(Parsed(text), kPi2002);
}

TEST(ParseDateText, AnyUtf16IsSafe) {
  const char16_t lone[] = {0xD800, u'3', 0xDC00, 0};
  EXPECT_TRUE(Rejected(lone));
  std::u16string big(100000, u'1');
  EXPECT_TRUE(Rejected(big));
  std::u16string many;
  for (int i = 0; i < 5000; ++i) many += u"1/";
  EXPECT_TRUE(Rejected(many));
  std::u16string blanks(50000, u' ');
  EXPECT_TRUE(Rejected(blanks));
  for (char16_t c = 0; c < 0xFFFF; c += 7) {
    const char16_t s[] = {u'3', c, u'1', u'4', c, u'2', u'0', u'0', u'2', 0};
    (void)ParseDate(s);  // must not crash; the answer is not the point here
  }
}

TEST(ParseDateText, TextToDateRaisesTypeMismatch) {
  EXPECT_EQ(au::TextToDate(u"3/14/2002"), kPi2002);
  EXPECT_EQ(ErrorOf([] { au::TextToDate(u"abc"); }), 13);
  EXPECT_EQ(ErrorOf([] { au::TextToDate(u"1"); }), 13);
}

// ---------------------------------------------------------------------------------------------
// Date to text

TEST(DateText, DateAndTime) {
  EXPECT_EQ(Text(kPi2002 + 0.395833333333333), "3/14/2002 9:30:00 AM");
  EXPECT_EQ(Text(kPi2002 + 0.75), "3/14/2002 6:00:00 PM");
}

TEST(DateText, DateAloneWhenNoTime) {
  EXPECT_EQ(Text(kPi2002), "3/14/2002");
  EXPECT_EQ(Text(1), "12/31/1899");
  EXPECT_EQ(Text(-1), "12/29/1899");
}

TEST(DateText, TimeAloneOnDayZero) {
  EXPECT_EQ(Text(0.395833333333333), "9:30:00 AM");
  EXPECT_EQ(Text(0.5), "12:00:00 PM");
  EXPECT_EQ(Text(-0.5), "12:00:00 PM");
}

TEST(DateText, ZeroIsMidnight) {
  EXPECT_EQ(Text(0), "12:00:00 AM");
  EXPECT_EQ(Text(-0.0), "12:00:00 AM");
}

TEST(DateText, NegativeSerialTimeCountsForward) {
  EXPECT_EQ(Text(-1.25), "12/29/1899 6:00:00 AM");
  EXPECT_EQ(Text(-1.75), "12/29/1899 6:00:00 PM");
}

TEST(DateText, YearWithoutLeadingZeros) {
  EXPECT_EQ(Text(au::kFirstDateDay), "1/1/100");
  EXPECT_EQ(Text(au::DaySerial(999, 7, 4)), "7/4/999");
}

TEST(DateText, WhatIsShownIsDecidedBeforeRounding) {
  // A time that rounds to midnight still shows; a day-zero time that rounds up to the next day
  // still shows as a time alone.
  EXPECT_EQ(Text(kPi2002 + 0.000005), "3/14/2002 12:00:00 AM");
  EXPECT_EQ(Text(kPi2002 + 0.99999999), "3/15/2002 12:00:00 AM");
  EXPECT_EQ(Text(0.99999999), "12:00:00 AM");
  EXPECT_EQ(Text(-1.99999999), "12/30/1899 12:00:00 AM");
}

TEST(DateText, RoundsToNearestSecond) {
  EXPECT_EQ(Text(kPi2002 + 10.49 / 86400), "3/14/2002 12:00:10 AM");
  EXPECT_EQ(Text(kPi2002 + 10.5 / 86400), "3/14/2002 12:00:11 AM");
}

TEST(DateText, EdgesOfValidRange) {
  EXPECT_EQ(Text(au::kLastDateDay), "12/31/9999");
  EXPECT_EQ(Text(kLastSecond12_31_9999), "12/31/9999 11:59:59 PM");
  EXPECT_EQ(Text(kLastSecond1_1_100), "1/1/100 11:59:59 PM");
  EXPECT_EQ(Text(2958465.99999), "12/31/9999 11:59:59 PM");
  EXPECT_EQ(Text(2958465.99999999), "1/1/10000 12:00:00 AM");
  EXPECT_EQ(Text(-657434.5), "1/1/100 12:00:00 PM");
}

TEST(DateText, OutsideValidRangeRaisesInvalidProcedureCall) {
  EXPECT_EQ(ErrorOf([] { DateToText(2958466); }), 5);
  EXPECT_EQ(ErrorOf([] { DateToText(-657435); }), 5);
  EXPECT_EQ(ErrorOf([] { DateToText(kLastSecond12_31_99); }), 5);
  EXPECT_EQ(ErrorOf([] { DateToText(1e300); }), 5);
  EXPECT_EQ(ErrorOf([] { DateToText(INFINITY); }), 5);
}

TEST(DateText, NotANumberIsTheZeroDateWithTime) {
  EXPECT_EQ(Text(NAN), "12/30/1899 12:00:00 AM");
}

TEST(DateText, TextParsesBackToTheSameSecond) {
  for (double d : {kPi2002, kPi2002 + 0.25, 0.75, -1.25, -657434.5, 2958465.5, 36525.999988426}) {
    const double back = Parsed(DateToText(d));
    EXPECT_EQ(DateToText(back), DateToText(d));
  }
}

// ---------------------------------------------------------------------------------------------
// The clock

TEST(Clock, NowReadsTheClockSeam) {
  FixedClock clock(kPi2002 + 0.5);
  EXPECT_EQ(au::Now(), kPi2002 + 0.5);
}

TEST(Clock, EmptyClockRestoresSystemTime) {
  au::SetClock([] { return 1.0; });
  au::SetClock(nullptr);
  const double now = au::Now();
  // The system clock is somewhere after 2020 and before the end of the valid range.
  EXPECT_GT(now, au::DaySerial(2020, 1, 1));
  EXPECT_TRUE(au::InDateRange(now));
}
