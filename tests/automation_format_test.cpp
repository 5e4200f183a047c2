// Format: named formats and the picture language for numbers, dates and texts (en-US).

#include "automation/format.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <string>

#include "qorvintr/error.h"
#include "automation/text.h"
#include "qorvintr/value.h"
#include "test_support.h"

namespace au = qorvintr::automation;

namespace {

// 14 March 2002, a Thursday.
constexpr double kMarch14 = 37329.0;
constexpr double Time(int h, int m, int s) { return (h * 3600.0 + m * 60.0 + s) / 86400.0; }

std::string F(const au::Value& v, std::u16string_view picture, int first_day = 1,
              int first_week = 1) {
  return au::ToUtf8(au::Format(v, picture, first_day, first_week));
}
au::Value D(double d) { return au::Value::Double(d); }
au::Value Dt(double serial) { return au::Value::Date(serial); }
au::Value S(std::u16string_view s) { return au::Value::String(s); }

// The platform error number Format raises for the value and picture, or 0.
int FormatError(const au::Value& v, std::u16string_view picture, int first_day = 1,
                int first_week = 1) {
  return qorvintr::testing_support::ErrorOf(
      [&] { au::Format(v, picture, first_day, first_week); });
}

class Field : public au::Object {
 public:
  explicit Field(au::Value v) : value_(std::move(v)) {}
  std::u16string ClassName() const override { return u"DataField"; }
  au::Value DefaultValue() override { return value_; }

 private:
  au::Value value_;
};

}  // namespace

// ----- numbers --------------------------------------------------------------------------------

TEST(FormatNumber, ThousandsAndTwoDecimals) {
  EXPECT_EQ(F(D(1234.5), u"#,##0.00"), "1,234.50");
  EXPECT_EQ(F(D(1234567.891), u"#,##0.00"), "1,234,567.89");
  EXPECT_EQ(F(D(-1234567.5), u"#,##0"), "-1,234,568");
  EXPECT_EQ(F(D(999.999), u"#,##0.00"), "1,000.00");
}

TEST(FormatNumber, HalvesRoundAwayFromZero) {
  EXPECT_EQ(F(D(0.5), u"0"), "1");
  EXPECT_EQ(F(D(1.5), u"0"), "2");
  EXPECT_EQ(F(D(2.5), u"0"), "3");
  EXPECT_EQ(F(D(-2.5), u"0"), "-3");
  EXPECT_EQ(F(D(0.6), u"#"), "1");
  EXPECT_EQ(F(D(0.05), u"0.0"), "0.1");
}

TEST(FormatNumber, RoundsTheFifteenDigitDecimalNotTheBinaryValue) {
  // 0.285 and 1.005 are stored slightly below the half; the platform rounds what it would write.
  EXPECT_EQ(F(D(0.285), u"0.00"), "0.29");
  EXPECT_EQ(F(D(1.005), u"0.00"), "1.01");
  EXPECT_EQ(F(D(2.675), u"0.00"), "2.68");
  EXPECT_EQ(F(D(1.0049999), u"0.00"), "1.00");
}

TEST(FormatNumber, NegativeThatRoundsToZeroKeepsItsSign) {
  EXPECT_EQ(F(D(-0.001), u"0.00"), "-0.00");
  EXPECT_EQ(F(D(-0.4), u"0"), "-0");
  EXPECT_EQ(F(D(-0.004), u"0.00;(0.00)"), "(0.00)");
}

TEST(FormatNumber, ZeroSectionIsChosenByTheValueBeforeRounding) {
  EXPECT_EQ(F(D(0), u"0;;\"zero\""), "zero");
  EXPECT_EQ(F(D(0.001), u"0;;\"zero\""), "0");
  EXPECT_EQ(F(D(-0.004), u"0.00;(0.00);\"zero\""), "(0.00)");
}

TEST(FormatNumber, NegativeSectionDropsTheMinusSign) {
  EXPECT_EQ(F(D(-1234.5), u"#,##0.00;(#,##0.00)"), "(1,234.50)");
  EXPECT_EQ(F(D(-5), u"0;\"neg\";\"zero\""), "neg");
  EXPECT_EQ(F(D(5), u"0;\"neg\";\"zero\""), "5");
}

TEST(FormatNumber, EmptySectionsStandForTheFirst) {
  EXPECT_EQ(F(D(-5), u"0;;"), "-5");
  EXPECT_EQ(F(D(-5), u"0;"), "-5");
  EXPECT_EQ(F(D(0), u"0;-0;"), "0");
  EXPECT_EQ(F(D(5), u";"), "");
}

TEST(FormatNumber, MoreThanFourSectionsIsInvalid) {
  EXPECT_EQ(FormatError(D(5), u"0;1;2;3;4"), au::err::InvalidProcedureCall);
}

TEST(FormatNumber, ExtraIntegerDigitsGoToTheFirstPlaceholder) {
  EXPECT_EQ(F(D(12345), u"00"), "12345");
  EXPECT_EQ(F(au::Value::Long(1234567), u"###-####"), "123-4567");
  EXPECT_EQ(F(au::Value::Long(12), u"###-####"), "-12");
  EXPECT_EQ(F(au::Value::Long(5551234), u"(###) ###-####"), "() 555-1234");
  EXPECT_EQ(F(D(12345.678), u"0-0.0-0"), "1234-5.6-8");
}

TEST(FormatNumber, ZeroPlaceholdersPadFromTheFirstZero) {
  EXPECT_EQ(F(D(5), u"#0#"), "05");
  EXPECT_EQ(F(D(5), u"0##"), "005");
  EXPECT_EQ(F(au::Value::Integer(7), u"000"), "007");
  EXPECT_EQ(F(D(0), u"#"), "");
  EXPECT_EQ(F(D(0), u"0"), "0");
}

TEST(FormatNumber, OptionalDecimalsKeepTheDecimalPoint) {
  EXPECT_EQ(F(D(1), u"0.##"), "1.");
  EXPECT_EQ(F(D(1.25), u"0.##"), "1.25");
  EXPECT_EQ(F(D(0), u"#.##"), ".");
  EXPECT_EQ(F(D(0.25), u"#.##"), ".25");
  EXPECT_EQ(F(D(123.4), u"0.0#0#"), "123.400");
  EXPECT_EQ(F(D(123.456), u"00.#0"), "123.46");
}

TEST(FormatNumber, IntegerDigitsShowWithoutIntegerPlaceholders) {
  EXPECT_EQ(F(D(123.456), u".0"), "123.5");
  EXPECT_EQ(F(D(0.456), u".00"), ".46");
}

TEST(FormatNumber, CommasBeforeThePointOrAtTheEndScaleByThousands) {
  EXPECT_EQ(F(D(123456789), u"##0,,"), "123");
  EXPECT_EQ(F(D(123456789), u"#,##0,,"), "123");
  EXPECT_EQ(F(D(1234567), u"#,"), "1235");
  EXPECT_EQ(F(D(1234567), u"0,.0"), "1234.6");
  EXPECT_EQ(F(D(1234567), u"#,##0,\"K\""), "1,235K");
}

TEST(FormatNumber, CommaAfterALiteralGroupsInsteadOfScaling) {
  EXPECT_EQ(F(au::Value::Long(-42), u"0P,"), "-42P");
  EXPECT_EQ(F(au::Value::Long(1234567), u"0 ,"), "1,234,567 ");
  EXPECT_EQ(F(au::Value::Long(1234567), u"0,P0"), "1,234,56P7");
  EXPECT_EQ(F(au::Value::Long(1234567), u"0,P"), "1235P");  // right after the digits: scales
}

TEST(FormatNumber, CommaBetweenDigitsGroupsThousands) {
  EXPECT_EQ(F(D(1234567), u"0,0"), "1,234,567");
  EXPECT_EQ(F(D(1234567), u"#,#"), "1,234,567");
  EXPECT_EQ(F(D(1234567), u",0"), ",1234567");  // before any digit: literal
}

TEST(FormatNumber, PercentMultipliesByOneHundred) {
  EXPECT_EQ(F(D(0.5), u"0%"), "50%");
  EXPECT_EQ(F(D(0.125), u"0.0%"), "12.5%");
  EXPECT_EQ(F(D(-0.5), u"0%"), "-50%");
  EXPECT_EQ(F(D(0.285), u"0%"), "29%");
  EXPECT_EQ(F(D(5), u"%0"), "%500");  // anywhere in the picture
}

TEST(FormatNumber, ScientificPictures) {
  EXPECT_EQ(F(D(1234.5), u"0.00E+00"), "1.23E+03");
  EXPECT_EQ(F(D(0.0012345), u"0.00E+00"), "1.23E-03");
  EXPECT_EQ(F(D(1234.5), u"0.00E-00"), "1.23E03");
  EXPECT_EQ(F(D(0.0012345), u"0.00E-00"), "1.23E-03");
  EXPECT_EQ(F(D(1234.5), u"0.00e+00"), "1.23e+03");
  EXPECT_EQ(F(D(12345), u"##0.0E+0"), "123.5E+2");
  EXPECT_EQ(F(D(12345), u"00.00E+00"), "12.35E+03");
  EXPECT_EQ(F(D(12345), u".00E+00"), ".12E+05");
  EXPECT_EQ(F(D(0), u"0.00E+00"), "0.00E+00");
  EXPECT_EQ(F(D(9.999), u"0.00E+00"), "1.00E+01");
  EXPECT_EQ(F(D(-12345), u"0.00E+00"), "-1.23E+04");
  EXPECT_EQ(F(D(1e-300), u"0.00E+00"), "1.00E-300");
}

TEST(FormatNumber, ExponentMayFollowTheDecimalPoint) {
  EXPECT_EQ(F(D(5), u"#.E+0"), "5.E+0");
  EXPECT_EQ(F(D(1234.5678), u".0E-0"), ".1E4");
}

TEST(FormatNumber, ExponentWithoutSignOrBeforeDigitsIsLiteral) {
  EXPECT_EQ(F(D(12345), u"0E"), "12345E");
  EXPECT_EQ(F(D(5), u"E+0"), "E+5");
  EXPECT_EQ(F(D(5), u"0 E+0"), "5 E+0");
}

TEST(FormatNumber, LiteralCharactersQuotesAndBackslashes) {
  EXPECT_EQ(F(D(5), u"0 kg"), "5 kg");
  EXPECT_EQ(F(D(42), u"\"Total: \"0"), "Total: 42");
  EXPECT_EQ(F(D(5), u"\\$0.00"), "$5.00");
  EXPECT_EQ(F(D(5), u"(0)"), "(5)");
  EXPECT_EQ(F(D(5), u"0/0"), "0/5");
  EXPECT_EQ(F(D(5), u"0\\;0"), "0;5");
  EXPECT_EQ(F(D(5), u"\"a;b\"0"), "a;b5");
  EXPECT_EQ(F(D(5), u"0\"abc"), "5abc");  // an unclosed quote runs to the end
  EXPECT_EQ(F(D(5), u"0\\"), "5");         // a backslash at the end shows nothing
  EXPECT_EQ(F(D(5), u"0 hello"), "5 hello");
}

TEST(FormatNumber, MinusSignGoesBeforeTheFirstDigit) {
  EXPECT_EQ(F(D(-5), u"$0"), "$-5");
  EXPECT_EQ(F(D(-5), u"+0"), "+-5");
}

TEST(FormatNumber, LiteralOnlyPictureShowsItsText) {
  EXPECT_EQ(F(D(5), u"x"), "x");
  EXPECT_EQ(F(D(-5), u"\"abc\""), "abc");
  EXPECT_EQ(F(D(-5), u"x;y"), "y");
  EXPECT_EQ(F(D(-5), u";0"), "0");  // the first section decides: only literal text
}

TEST(FormatNumber, DoubleShowsFifteenSignificantDigits) {
  EXPECT_EQ(F(D(1e20), u"0"), "100000000000000000000");
  EXPECT_EQ(F(D(123456789012345678.0), u"#,##0"), "123,456,789,012,346,000");
  EXPECT_EQ(F(D(0.1), u"0.00000000000000000000"), "0.10000000000000000000");
}

TEST(FormatNumber, SingleShowsSevenSignificantDigits) {
  EXPECT_EQ(F(au::Value::Single(0.1f), u"0.0000000000"), "0.1000000000");
  EXPECT_EQ(F(au::Value::Single(16777216.0f), u"0"), "16777220");
}

TEST(FormatNumber, BooleansAreMinusOneAndZero) {
  EXPECT_EQ(F(au::Value::Boolean(true), u"0"), "-1");
  EXPECT_EQ(F(au::Value::Boolean(true), u"0;(0)"), "(1)");
  EXPECT_EQ(F(au::Value::Boolean(false), u"0;(0);\"zero\""), "zero");
}

TEST(FormatNumber, NumericTextFormatsAsANumber) {
  EXPECT_EQ(F(S(u"1,234.5"), u"0.00"), "1234.50");
  EXPECT_EQ(F(S(u"  12  "), u"0.00"), "12.00");
  EXPECT_EQ(F(S(u"(5)"), u"0.00"), "-5.00");
  EXPECT_EQ(F(S(u"-5"), u"0;(0)"), "(5)");
}

TEST(FormatNumber, TextThatIsNoNumberIsShownAsItIs) {
  EXPECT_EQ(F(S(u"abc"), u"0.00"), "abc");
  EXPECT_EQ(F(S(u"12abc"), u"0.00"), "12abc");
  EXPECT_EQ(F(S(u"3/14/2002"), u"0.00"), "3/14/2002");
  EXPECT_EQ(F(S(u""), u"0;(0);z"), "");
}

TEST(FormatNumber, MinusZeroTextTakesTheNegativeSection) {
  EXPECT_EQ(F(S(u"-0"), u"0"), "-0");
  EXPECT_EQ(F(S(u"-0"), u"0;(0);z"), "(0)");
  EXPECT_EQ(F(D(-0.0), u"0;(0);z"), "z");
}

TEST(FormatNumber, ZoneOffsetPictureOfHl7) {
  // "+0000; -0000": the negative section begins with a blank that the caller strips.
  EXPECT_EQ(F(S(u"-500"), u"+0000; -0000"), " -0500");
  EXPECT_EQ(F(S(u"500"), u"+0000; -0000"), "+0500");
  EXPECT_EQ(F(S(u"0"), u"+0000; -0000"), "+0000");
  EXPECT_EQ(F(au::Value::Long(130), u"+0000; -0000"), "+0130");
  EXPECT_EQ(F(S(u"abc"), u"+0000; -0000"), "abc");
}

TEST(FormatNumber, EmptyIsZero) {
  EXPECT_EQ(F(au::Value(), u"0.00"), "0.00");
  EXPECT_EQ(F(au::Value(), u"0;(0);\"zero\""), "zero");
}

TEST(FormatNumber, DateUnderNumericPictureKeepsItsDateText) {
  EXPECT_EQ(F(Dt(kMarch14 + 0.5), u"0.00"), "3/14/2002 12:00:00 PM");
}

TEST(FormatNumber, BooleanOrEmptyWithLiteralOnlyPictureIsInvalid) {
  EXPECT_EQ(FormatError(au::Value::Boolean(true), u"x"), au::err::InvalidProcedureCall);
  EXPECT_EQ(FormatError(au::Value(), u"x;y"), au::err::InvalidProcedureCall);
}

TEST(FormatKind, FirstDecidingTokenChoosesTheKindOfPicture) {
  EXPECT_EQ(F(D(5), u"%yyyy"), "%1900");      // % and , decide nothing: the date letters do
  EXPECT_EQ(F(D(5), u",yyyy"), ",1900");
  EXPECT_EQ(F(D(5), u"/0"), "/0");            // a date separator decides: a date picture
  EXPECT_EQ(F(D(5), u">yyyy"), "yyyy5");      // < > ! decide a text picture
  EXPECT_EQ(F(D(5), u"!0"), "05");
  EXPECT_EQ(F(S(u"abc"), u">0"), "0ABC");
  EXPECT_EQ(F(D(0), u"&xyyyyy+"), "0xyyyyy+");  // five y are only refused in a date picture
  EXPECT_EQ(F(D(5), u"yyyy 0"), "1900 0");
}

// ----- Null -----------------------------------------------------------------------------------

TEST(FormatNull, NullIsEmptyTextOrItsSection) {
  EXPECT_EQ(F(au::Value::Null(), u"0.00"), "");
  EXPECT_EQ(F(au::Value::Null(), u""), "");
  EXPECT_EQ(F(au::Value::Null(), u"Currency"), "");
  EXPECT_EQ(F(au::Value::Null(), u"yyyy"), "");
  EXPECT_EQ(F(au::Value::Null(), u"#,##0.00;(#,##0.00);\\Z\\e\\r\\o;\\N\\u\\l\\l"), "Null");
  EXPECT_EQ(F(au::Value::Null(), u"@;\"nul\""), "nul");
}

// ----- dates ----------------------------------------------------------------------------------

TEST(FormatDate, DayTokens) {
  const au::Value v = Dt(kMarch14 + Time(9, 30, 1));
  EXPECT_EQ(F(v, u"d dd ddd dddd"), "14 14 Thu Thursday");
  EXPECT_EQ(F(Dt(kMarch14 - 5), u"d dd"), "9 09");
  EXPECT_EQ(F(v, u"ddddd"), "3/14/2002");
  EXPECT_EQ(F(v, u"dddddd"), "Thursday, March 14, 2002");
  EXPECT_EQ(F(Dt(kMarch14 - 5), u"dddddd"), "Saturday, March 9, 2002");
  EXPECT_EQ(F(Dt(kMarch14 - 5), u"dddddddd"), "Saturday, March 9, 20029");
}

TEST(FormatDate, MonthQuarterYearTokens) {
  const au::Value v = Dt(kMarch14 + Time(9, 30, 1));
  EXPECT_EQ(F(v, u"m mm mmm mmmm"), "3 03 Mar March");
  EXPECT_EQ(F(v, u"q"), "1");
  EXPECT_EQ(F(Dt(kMarch14 + 245), u"q"), "4");
  EXPECT_EQ(F(v, u"y"), "73");
  EXPECT_EQ(F(v, u"yy"), "02");
  EXPECT_EQ(F(v, u"yyy"), "0273");
  EXPECT_EQ(F(v, u"yyyy"), "2002");
  EXPECT_EQ(FormatError(v, u"yyyyy"), au::err::InvalidProcedureCall);
}

TEST(FormatDate, TimeTokens) {
  const au::Value v = Dt(kMarch14 + Time(19, 6, 1));
  EXPECT_EQ(F(v, u"h:m:s"), "19:6:1");
  EXPECT_EQ(F(v, u"hh:nn:ss"), "19:06:01");
  EXPECT_EQ(F(v, u"h hh hhh"), "19 19 1919");
  EXPECT_EQ(F(v, u"ttttt"), "7:06:01 PM");
  EXPECT_EQ(F(v, u"tttt"), "tttt");
  EXPECT_EQ(F(v, u"ttttttt"), "7:06:01 PMtt");
}

TEST(FormatDate, MAfterAnHourIsMinutes) {
  const au::Value v = Dt(kMarch14 + Time(19, 6, 1));
  EXPECT_EQ(F(v, u"hh:mm:ss"), "19:06:01");
  EXPECT_EQ(F(v, u"h \"x\" mm"), "19 x 06");
  EXPECT_EQ(F(v, u"h:mm:ss m"), "19:06:01 3");  // the flag is used up
  EXPECT_EQ(F(v, u"mm hh"), "03 19");
  EXPECT_EQ(F(v, u"mm:ss"), "03:01");
  EXPECT_EQ(F(v, u"hh:mmm"), "19:Mar");
}

TEST(FormatDate, MixedCaseHhNnSsIsTwentyFourHourTime) {
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"Hh:Nn:Ss"), "19:06:01");
  EXPECT_EQ(F(Dt(kMarch14 + Time(7, 6, 1)), u"HhNnSs"), "070601");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"HH:MM:SS"), "19:06:01");
  EXPECT_EQ(F(Dt(kMarch14), u"YYYY-MM-DD"), "2002-03-14");
}

TEST(FormatDate, Hl7Pictures) {
  const au::Value v = Dt(kMarch14 + Time(9, 30, 5));
  EXPECT_EQ(F(v, u"yyyymmddhhnnss"), "20020314093005");
  EXPECT_EQ(F(v, u"yyyymmdd"), "20020314");
  EXPECT_EQ(F(S(u"3/14/2002 17:45:10"), u"Hh:Nn:Ss"), "17:45:10");
  EXPECT_EQ(F(S(u"3/14/2002 9:30"), u"yyyymmddhhnnss"), "20020314093000");
  EXPECT_EQ(F(S(u"2002-03-14"), u"yyyymmdd"), "20020314");
}

TEST(FormatDate, AmPmMarkersSwitchToTwelveHours) {
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"hh:nn AM/PM"), "07:06 PM");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"hh:nn am/pm"), "07:06 pm");
  EXPECT_EQ(F(Dt(kMarch14 + Time(0, 6, 1)), u"h:nn AM/PM"), "12:06 AM");
  EXPECT_EQ(F(Dt(kMarch14 + Time(12, 6, 1)), u"h:nn AM/PM"), "12:06 PM");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"hh:nn A/P"), "07:06 P");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"hh:nn a/p"), "07:06 p");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"hh:nn a/P"), "07:06 p");
  EXPECT_EQ(F(Dt(kMarch14 + Time(9, 6, 1)), u"hh:nn A/p"), "09:06 A");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"hh:nn AMPM"), "07:06 PM");
  EXPECT_EQ(F(Dt(kMarch14 + Time(9, 6, 1)), u"hh AmPm"), "09 AM");
}

TEST(FormatDate, IncompleteAmPmIsLiteralText) {
  const au::Value v = Dt(kMarch14 + Time(9, 30, 1));
  EXPECT_EQ(F(v, u"hh AM/P"), "09 A30/P");
  EXPECT_EQ(F(v, u"hh:nn Am/Pm"), "09:30 A30/P3");  // m after the hour: minutes
}

TEST(FormatDate, SeparatorsQuotesAndEscapes) {
  const au::Value v = Dt(kMarch14 + Time(19, 6, 1));
  EXPECT_EQ(F(v, u"dd.mm.yyyy"), "14.03.2002");
  EXPECT_EQ(F(v, u"dd-mmm-yy"), "14-Mar-02");
  EXPECT_EQ(F(v, u"\"Date: \"yyyy"), "Date: 2002");
  EXPECT_EQ(F(v, u"\\d\\a\\t\\e yyyy"), "date 2002");
  EXPECT_EQ(F(v, u"yyyy 0 # %"), "2002 0 # %");
  EXPECT_EQ(F(v, u"d/m/y"), "14/3/73");
}

TEST(FormatDate, GeneralDateToken) {
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u"c"), "3/14/2002 7:06:01 PM");
  EXPECT_EQ(F(Dt(kMarch14), u"c"), "3/14/2002");
  EXPECT_EQ(F(Dt(0.5), u"c"), "12:00:00 PM");
}

TEST(FormatDate, OnlyTheFirstSectionIsUsed) {
  EXPECT_EQ(F(Dt(kMarch14), u"yyyy;mm"), "2002");
  EXPECT_EQ(F(Dt(-37329.25), u"yyyy;mm"), "1797");
}

TEST(FormatDate, TimeRoundsToTheSecondAndCarriesIntoTheDay) {
  EXPECT_EQ(F(Dt(37329.999999), u"yyyy-mm-dd hh:nn:ss"), "2002-03-15 00:00:00");
  EXPECT_EQ(F(Dt(-1.25), u"yyyy-mm-dd hh:nn:ss"), "1899-12-29 06:00:00");
}

TEST(FormatDate, EarlyYearsAreNotPadded) {
  EXPECT_EQ(F(Dt(-657434.0), u"yyyy-mm-dd"), "100-01-01");
  EXPECT_EQ(F(Dt(-657434.0), u"ddddd"), "1/1/100");
}

TEST(FormatDate, EveryMomentOfFirstJanuary100IsADate) {
  // A negative serial's fraction counts forward: -657434.5 is 1/1/100 12:00 PM.
  EXPECT_EQ(F(Dt(-657434.5), u"mm/dd/yyyy hh:nn"), "01/01/100 12:00");
  EXPECT_EQ(F(Dt(-657434.99998843), u"mm/dd/yyyy hh:nn:ss"), "01/01/100 23:59:59");
  EXPECT_EQ(F(D(-657434.5), u"mm/dd/yyyy hh:nn"), "01/01/100 12:00");
  EXPECT_EQ(F(S(u"1/1/100 12:00 PM"), u"mm/dd/yyyy hh:nn"), "01/01/100 12:00");
  EXPECT_EQ(F(S(u"-657434.5"), u"mm/dd/yyyy hh:nn"), "01/01/100 12:00");
  EXPECT_EQ(F(Dt(-657434.5), u"Long Date"), "Friday, January 1, 100");
  EXPECT_EQ(F(Dt(-657434.5), u"Short Date"), "1/1/100");
  EXPECT_EQ(F(Dt(-657434.5), u"Long Time"), "12:00:00 PM");
  EXPECT_EQ(F(Dt(-657434.5), u"Short Time"), "12:00");
  EXPECT_EQ(F(Dt(-657434.5), u"w ww q y"), "6 1 1 1");
}

TEST(FormatDate, MomentsOutsideTheCalendarAreNoDates) {
  // 12/31/99 11:59:59 PM and 1/1/10000: a date raises 5 as its text does, a number stays a number.
  EXPECT_EQ(FormatError(Dt(-657435.99998843), u"mm/dd/yyyy hh:nn:ss"), 5);
  EXPECT_EQ(FormatError(Dt(-657435.0), u"Long Date"), 5);
  EXPECT_EQ(FormatError(Dt(2958466.0), u"mm/dd/yyyy"), 5);
  EXPECT_EQ(F(D(-657435.99998843), u"mm/dd/yyyy"), "-657435.99998843");
  EXPECT_EQ(F(D(2958466), u"mm/dd/yyyy"), "2958466");
  EXPECT_EQ(F(S(u"-657435"), u"mm/dd/yyyy"), "-657435");
}

TEST(FormatDate, EveryMomentOfThirtyFirstDecember9999IsADate) {
  EXPECT_EQ(F(Dt(2958465.99998843), u"mm/dd/yyyy hh:nn:ss"), "12/31/9999 23:59:59");
  EXPECT_EQ(F(D(2958465.99998843), u"Long Date"), "Friday, December 31, 9999");
}

TEST(FormatDate, NumbersAndTextsBecomeDates) {
  EXPECT_EQ(F(D(37329), u"yyyymmdd"), "20020314");
  EXPECT_EQ(F(au::Value::Boolean(true), u"yyyy-mm-dd"), "1899-12-29");
  EXPECT_EQ(F(S(u"37329"), u"yyyymmdd"), "20020314");
  EXPECT_EQ(F(S(u"Jan 5 2003"), u"yyyy-mm-dd"), "2003-01-05");
  EXPECT_EQ(F(au::Value(), u"yyyy-mm-dd"), "1899-12-30");
}

TEST(FormatDate, ValueThatIsNoDateIsShownAsItIs) {
  EXPECT_EQ(F(S(u"abc"), u"yyyy"), "abc");
  EXPECT_EQ(F(S(u"25:00"), u"hh:nn"), "25:00");
  EXPECT_EQ(F(S(u""), u"yyyy"), "");
  EXPECT_EQ(F(D(1e10), u"yyyy"), "10000000000");
  EXPECT_EQ(F(S(u"20020314"), u"yyyymmdd"), "20020314");
}

TEST(FormatDate, WeekdayCountsFromTheFirstDayOfWeek) {
  const au::Value v = Dt(kMarch14);  // Thursday
  EXPECT_EQ(F(v, u"w"), "5");
  EXPECT_EQ(F(v, u"w", 2), "4");
  EXPECT_EQ(F(v, u"w", 7), "6");
  EXPECT_EQ(F(v, u"w", 0), "5");  // the system's: Sunday
}

TEST(FormatDate, WeekOfYearFollowsTheFirstWeekRule) {
  EXPECT_EQ(F(Dt(kMarch14), u"ww"), "11");
  EXPECT_EQ(F(Dt(kMarch14), u"ww", 2, 2), "11");
  EXPECT_EQ(F(Dt(37622), u"ww", 2, 2), "1");       // 2003-01-01, a Wednesday
  EXPECT_EQ(F(Dt(36891), u"ww", 1, 1), "54");      // 2000-12-31: a leap year begun on Saturday
  EXPECT_EQ(F(Dt(36526), u"ww", 1, 2), "52");      // 2000-01-01 belongs to 1999's last week
  EXPECT_EQ(F(Dt(36526), u"ww", 1, 3), "52");
  EXPECT_EQ(F(Dt(36526), u"ww", 1, 1), "1");
  EXPECT_EQ(F(Dt(kMarch14), u"ww", 0, 0), "11");
}

TEST(FormatDate, OutOfRangeWeekArgumentsAreInvalid) {
  EXPECT_EQ(FormatError(Dt(kMarch14), u"ww", 8, 1), au::err::InvalidProcedureCall);
  EXPECT_EQ(FormatError(Dt(kMarch14), u"ww", -1, 1), au::err::InvalidProcedureCall);
  EXPECT_EQ(FormatError(Dt(kMarch14), u"ww", 1, 4), au::err::InvalidProcedureCall);
}

// ----- texts ----------------------------------------------------------------------------------

TEST(FormatText, AtFillsFromTheRightWithBlanks) {
  EXPECT_EQ(F(S(u"abc"), u"@@@@@"), "  abc");
  EXPECT_EQ(F(S(u"ab"), u"@@@@-@@"), "    -ab");
  EXPECT_EQ(F(S(u"1234"), u"@@@-@@@@"), "   -1234");
  EXPECT_EQ(F(S(u"5551234"), u"@@@-@@@@"), "555-1234");
  EXPECT_EQ(F(au::Value::Long(12), u"@@@@"), "  12");
}

TEST(FormatText, AmpersandShowsNothingForAMissingCharacter) {
  EXPECT_EQ(F(S(u"abc"), u"&&&&&"), "abc");
  EXPECT_EQ(F(S(u"ab"), u"&-&-&"), "-a-b");
}

TEST(FormatText, ExclamationFillsFromTheLeft) {
  EXPECT_EQ(F(S(u"abc"), u"!@@@@@"), "abc  ");
  EXPECT_EQ(F(S(u"ab"), u"!@-@-@"), "a-b- ");
  EXPECT_EQ(F(S(u"abc"), u"@@@@@!"), "abc  ");
}

TEST(FormatText, ExtraCharactersFollowThePicture) {
  EXPECT_EQ(F(S(u"abcdef"), u"(@@@)"), "(abc)def");
  EXPECT_EQ(F(S(u"abc"), u"x@x"), "xaxbc");
  EXPECT_EQ(F(S(u"abcdef"), u"@@@"), "abcdef");
}

TEST(FormatText, LessAndGreaterChangeTheCaseOfTheTextOnly) {
  EXPECT_EQ(F(S(u"Hello"), u"<"), "hello");
  EXPECT_EQ(F(S(u"Hello"), u">"), "HELLO");
  EXPECT_EQ(F(S(u"AbC"), u"<@\"XY\""), "aXYbc");
  EXPECT_EQ(F(S(u"AbC"), u"<>"), "abc");
  EXPECT_EQ(F(S(u"Hello"), u"@-@-@"), "H-e-llo");  // no case change without < or >
}

TEST(FormatText, SecondSectionIsForEmptyText) {
  EXPECT_EQ(F(S(u""), u"@;\"empty\""), "empty");
  EXPECT_EQ(F(S(u"abc"), u"@;x"), "abc");
  EXPECT_EQ(F(S(u""), u"@"), " ");
  EXPECT_EQ(F(au::Value(), u"@@@"), "   ");
}

// ----- named formats ------------------------------------------------------------------------

TEST(FormatNamed, DateAndTimeNames) {
  const au::Value v = Dt(kMarch14 + Time(19, 6, 1));
  EXPECT_EQ(F(v, u"General Date"), "3/14/2002 7:06:01 PM");
  EXPECT_EQ(F(v, u"Long Date"), "Thursday, March 14, 2002");
  EXPECT_EQ(F(v, u"Medium Date"), "14-Mar-02");
  EXPECT_EQ(F(v, u"Short Date"), "3/14/2002");
  EXPECT_EQ(F(v, u"Long Time"), "7:06:01 PM");
  EXPECT_EQ(F(v, u"Medium Time"), "07:06 PM");
  EXPECT_EQ(F(v, u"Short Time"), "19:06");
}

TEST(FormatNamed, NamesMatchWithoutRegardToCase) {
  const au::Value v = Dt(kMarch14 + Time(19, 6, 1));
  EXPECT_EQ(F(v, u"general date"), "3/14/2002 7:06:01 PM");
  EXPECT_EQ(F(v, u"LONG DATE"), "Thursday, March 14, 2002");
  EXPECT_EQ(F(D(1234.5), u"currency"), "$1,234.50");
  EXPECT_EQ(F(D(1234.5), u"STANDARD"), "1,234.50");
}

TEST(FormatNamed, NumberNames) {
  EXPECT_EQ(F(D(1234567.891), u"General Number"), "1234567.891");
  EXPECT_EQ(F(D(1234.5), u"Currency"), "$1,234.50");
  EXPECT_EQ(F(D(-1234.5), u"Currency"), "($1,234.50)");
  EXPECT_EQ(F(D(1234.5), u"Fixed"), "1234.50");
  EXPECT_EQ(F(D(-0.5), u"Fixed"), "-0.50");
  EXPECT_EQ(F(D(1234.567), u"Standard"), "1,234.57");
  EXPECT_EQ(F(D(0.125), u"Percent"), "12.50%");
  EXPECT_EQ(F(D(1234.5), u"Scientific"), "1.23E+03");
}

TEST(FormatNamed, YesNoTrueFalseOnOff) {
  EXPECT_EQ(F(D(1234.5), u"Yes/No"), "Yes");
  EXPECT_EQ(F(D(0), u"Yes/No"), "No");
  EXPECT_EQ(F(D(1234.5), u"True/False"), "True");
  EXPECT_EQ(F(au::Value::Boolean(false), u"True/False"), "False");
  EXPECT_EQ(F(D(5), u"On/Off"), "On");
  EXPECT_EQ(F(D(0), u"On/Off"), "Off");
  EXPECT_EQ(F(S(u"abc"), u"Yes/No"), "abc");
  EXPECT_EQ(F(S(u"5"), u"Yes/No"), "Yes");
  EXPECT_EQ(F(au::Value(), u"Yes/No"), "No");
}

TEST(FormatNamed, TextsConvertWhenTheyCan) {
  EXPECT_EQ(F(S(u"5"), u"Currency"), "$5.00");
  EXPECT_EQ(F(S(u"3/14/2002"), u"General Number"), "3/14/2002");
  EXPECT_EQ(F(S(u"3/14/2002"), u"Long Date"), "Thursday, March 14, 2002");
  EXPECT_EQ(F(S(u"5"), u"Long Date"), "Thursday, January 4, 1900");
  EXPECT_EQ(F(S(u"abc"), u"Long Date"), "abc");
}

// ----- empty picture, values, objects, robustness --------------------------------------------

TEST(FormatPlain, EmptyPictureIsThePlainConversion) {
  EXPECT_EQ(F(D(0.3), u""), "0.3");
  EXPECT_EQ(F(au::Value::Single(0.3f), u""), "0.3");
  EXPECT_EQ(F(au::Value::Integer(-7), u""), "-7");
  EXPECT_EQ(F(au::Value::Boolean(true), u""), "-1");
  EXPECT_EQ(F(Dt(kMarch14 + Time(19, 6, 1)), u""), "3/14/2002 7:06:01 PM");
  EXPECT_EQ(F(S(u"abc"), u""), "abc");
  EXPECT_EQ(F(au::Value(), u""), "");
  EXPECT_EQ(F(D(1e20), u""), "1E+20");
}

TEST(FormatValue, ObjectFormatsItsDefaultMember) {
  auto field = std::make_shared<Field>(S(u"3/14/2002 17:45:10"));
  EXPECT_EQ(F(au::Value::Object(field), u"HhNnSs"), "174510");
  EXPECT_EQ(FormatError(au::Value::Object(nullptr), u"0"), au::err::ObjectVariableNotSet);
}

TEST(FormatValue, ErrorValueIsATypeMismatch) {
  EXPECT_EQ(FormatError(au::Value::Missing(), u"0"), au::err::TypeMismatch);
}

TEST(FormatRobustness, LongPicturesAndLongTexts) {
  const std::u16string zeros(5000, u'0');
  const std::string out = F(D(42), zeros);
  ASSERT_EQ(out.size(), 5000u);
  EXPECT_EQ(out.substr(4998), "42");
  const std::u16string ats(3000, u'@');
  EXPECT_EQ(F(S(u"x"), ats).size(), 3000u);
  const std::u16string text(40000, u'z');
  EXPECT_EQ(au::Format(S(text), u"@@").size(), 40000u);
  std::u16string decimals = u"0.";
  decimals.append(4000, u'0');
  EXPECT_EQ(F(D(1.5), decimals).size(), 4002u);
  EXPECT_EQ(F(D(1e300), u"0").size(), 301u);
}

TEST(FormatRobustness, RandomPicturesNeverCrash) {
  // Pictures drawn from the picture alphabet plus odd UTF-16 (lone surrogates); every call must
  // either answer or raise the platform's error 5.
  const std::u16string alphabet =
      u"0#.,%Ee+-@&<>!\"\\;/:dDwWmMqQyYhHnNsScCtTaApP xz$()\xD800\xDC00\xFFFF";
  std::mt19937 rng(12345);
  const au::Value values[] = {D(1234.5678),       D(-0.0005),        D(0),
                              Dt(kMarch14 + 0.75), S(u"abc"),         S(u"-12.5"),
                              S(u"3/14/2002"),     au::Value(),       au::Value::Null(),
                              au::Value::Boolean(true), au::Value::Single(2.5f), D(1e300),
                              D(-1e-300), D(std::numeric_limits<double>::infinity()),
                              D(std::numeric_limits<double>::quiet_NaN()), Dt(2958465.99999999),
                              Dt(-657434.0), au::Value::Integer(-32768)};
  int answered = 0;
  for (int round = 0; round < 4000; ++round) {
    std::u16string picture;
    const int len = static_cast<int>(rng() % 24);
    for (int i = 0; i < len; ++i) picture.push_back(alphabet[rng() % alphabet.size()]);
    for (const au::Value& v : values) {
      try {
        au::Format(v, picture, static_cast<int>(rng() % 8), static_cast<int>(rng() % 4));
        ++answered;
      } catch (const au::AutomationError& e) {
        // 5 for a picture or argument the platform rejects, or a date out of range.
        EXPECT_EQ(e.Number(), au::err::InvalidProcedureCall) << au::ToUtf8(picture);
      }
    }
  }
  EXPECT_GT(answered, 0);
}
