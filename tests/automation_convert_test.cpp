// Conversions between kinds, the number parser and the number texts (en-US).

#include "qorvintr/convert.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "qorvintr/error.h"
#include "test_support.h"

namespace qorvintr::automation {
namespace {

using namespace std::string_literals;

using testing_support::ErrorOf;

double Parsed(std::u16string_view text) {
  std::optional<double> d = ParseNumber(text);
  EXPECT_TRUE(d.has_value()) << "rejected: " << std::string(text.begin(), text.end());
  return d.value_or(std::numeric_limits<double>::quiet_NaN());
}

bool Rejected(std::u16string_view text) { return !ParseNumber(text).has_value(); }

// An object whose default member is a fixed value, or raises when told to.
class FieldObject : public Object {
 public:
  explicit FieldObject(Value v, int raise = 0) : value_(std::move(v)), raise_(raise) {}
  std::u16string ClassName() const override { return u"DataField"; }
  Value DefaultValue() override {
    if (raise_) Raise(raise_);
    return value_;
  }

 private:
  Value value_;
  int raise_;
};

Value Field(Value v) { return Value::Object(std::make_shared<FieldObject>(std::move(v))); }

constexpr std::int32_t kCVErr5 = static_cast<std::int32_t>(0x800A0005u);

// ---------------------------------------------------------------------------------------------
// ParseNumber / TextToDouble

TEST(ParseNumber, ReadsPlainIntegersAndDecimals) {
  EXPECT_EQ(Parsed(u"0"), 0.0);
  EXPECT_EQ(Parsed(u"42"), 42.0);
  EXPECT_EQ(Parsed(u"1.5"), 1.5);
  EXPECT_EQ(Parsed(u".5"), 0.5);
  EXPECT_EQ(Parsed(u"5."), 5.0);
  EXPECT_EQ(Parsed(u"00001"), 1.0);
  EXPECT_EQ(Parsed(u"-.5"), -0.5);
}

TEST(ParseNumber, SkipsBlanksAroundIncludingUnicodeSpaces) {
  EXPECT_EQ(Parsed(u"  42  "), 42.0);
  EXPECT_EQ(Parsed(u"\t1\r\n"), 1.0);
  EXPECT_EQ(Parsed(u"\u00A01\u3000"), 1.0);
  EXPECT_EQ(Parsed(u"\u20071\u2029"), 1.0);
  // Zero-width characters and the byte-order mark are not blanks.
  EXPECT_TRUE(Rejected(u"\u200B1"));
  EXPECT_TRUE(Rejected(u"\uFEFF1"));
  EXPECT_TRUE(Rejected(u"\u001F1"));
}

TEST(ParseNumber, RejectsBlanksInsideTheNumber) {
  EXPECT_TRUE(Rejected(u"1 2"));
  EXPECT_TRUE(Rejected(u"1 .5"));
  EXPECT_TRUE(Rejected(u"1e 5"));
  EXPECT_TRUE(Rejected(u"1 e5"));
}

TEST(ParseNumber, SignMayStandBeforeOrAfterTheNumber) {
  EXPECT_EQ(Parsed(u"+1"), 1.0);
  EXPECT_EQ(Parsed(u"-1"), -1.0);
  EXPECT_EQ(Parsed(u"1-"), -1.0);
  EXPECT_EQ(Parsed(u"1+"), 1.0);
  EXPECT_EQ(Parsed(u"- 1"), -1.0);
  EXPECT_EQ(Parsed(u"1 - "), -1.0);
  EXPECT_EQ(Parsed(u"-+1"), -1.0);
  EXPECT_EQ(Parsed(u"+1-"), -1.0);
  EXPECT_EQ(Parsed(u"-1+"), -1.0);
}

TEST(ParseNumber, SameSignTwiceBeforeOrOnBothSidesIsRejected) {
  EXPECT_TRUE(Rejected(u"--1"));
  EXPECT_TRUE(Rejected(u"++1"));
  EXPECT_TRUE(Rejected(u"- -1"));
  EXPECT_TRUE(Rejected(u"-1-"));
  EXPECT_TRUE(Rejected(u"+1+"));
}

TEST(ParseNumber, RepeatedTrailingSignIsAccepted) {
  EXPECT_EQ(Parsed(u"1--"), -1.0);
  EXPECT_EQ(Parsed(u"1-+"), -1.0);
}

TEST(ParseNumber, ParenthesesMakeTheNumberNegative) {
  EXPECT_EQ(Parsed(u"(1)"), -1.0);
  EXPECT_EQ(Parsed(u"( 42 )"), -42.0);
  EXPECT_EQ(Parsed(u"(.5)"), -0.5);
  // A sign with the parentheses does not turn it back.
  EXPECT_EQ(Parsed(u"-(1)"), -1.0);
  EXPECT_EQ(Parsed(u"(-1)"), -1.0);
  EXPECT_EQ(Parsed(u"(1)-"), -1.0);
  EXPECT_EQ(Parsed(u"(+1)"), -1.0);
  // Closing more than once is accepted.
  EXPECT_EQ(Parsed(u"(1)))"), -1.0);
}

TEST(ParseNumber, UnbalancedParenthesesAreRejectedUnlessAMinusStands) {
  EXPECT_TRUE(Rejected(u"(1"));
  EXPECT_TRUE(Rejected(u"1)"));
  EXPECT_TRUE(Rejected(u"((1))"));
  EXPECT_TRUE(Rejected(u"(+1"));
  EXPECT_TRUE(Rejected(u"(1)("));
  EXPECT_EQ(Parsed(u"-(1"), -1.0);
  EXPECT_EQ(Parsed(u"(1-"), -1.0);
}

TEST(ParseNumber, CurrencySignBeforeOrAfter) {
  EXPECT_EQ(Parsed(u"$1"), 1.0);
  EXPECT_EQ(Parsed(u"1$"), 1.0);
  EXPECT_EQ(Parsed(u"$ 1,234.50"), 1234.5);
  EXPECT_EQ(Parsed(u"-$1"), -1.0);
  EXPECT_EQ(Parsed(u"$-1"), -1.0);
  EXPECT_EQ(Parsed(u"($1)"), -1.0);
  EXPECT_EQ(Parsed(u"$1$$"), 1.0);
  EXPECT_TRUE(Rejected(u"$$1"));
  EXPECT_TRUE(Rejected(u"1$5"));
  EXPECT_TRUE(Rejected(u"$"));
}

TEST(ParseNumber, LeadingCurrencySignForbidsExponentAndHex) {
  EXPECT_TRUE(Rejected(u"$1e5"));
  EXPECT_EQ(Parsed(u"1e5$"), 1e5);
  EXPECT_TRUE(Rejected(u"$&H1"));
}

TEST(ParseNumber, ThousandsSeparatorsAreIgnoredAfterTheFirstDigit) {
  EXPECT_EQ(Parsed(u"1,000"), 1000.0);
  EXPECT_EQ(Parsed(u"1,000,000.25"), 1000000.25);
  // Grouping is not checked.
  EXPECT_EQ(Parsed(u"1,2,3"), 123.0);
  EXPECT_EQ(Parsed(u"1,,2"), 12.0);
  EXPECT_EQ(Parsed(u"1,"), 1.0);
  EXPECT_EQ(Parsed(u"1 ,,"), 1.0);
  // Even in the fraction.
  EXPECT_EQ(Parsed(u"1.000,5"), 1.0005);
  EXPECT_EQ(Parsed(u".,5"), 0.5);
  EXPECT_TRUE(Rejected(u",1"));
  EXPECT_TRUE(Rejected(u",.5"));
  EXPECT_TRUE(Rejected(u","));
}

TEST(ParseNumber, OneDecimalPointOnly) {
  EXPECT_TRUE(Rejected(u"1..2"));
  EXPECT_TRUE(Rejected(u"1.2.3"));
  EXPECT_TRUE(Rejected(u"."));
  EXPECT_TRUE(Rejected(u"-."));
  EXPECT_TRUE(Rejected(u"1 . 5"));
}

TEST(ParseNumber, ReadsExponents) {
  EXPECT_EQ(Parsed(u"1e5"), 1e5);
  EXPECT_EQ(Parsed(u"1E+5"), 1e5);
  EXPECT_EQ(Parsed(u"1e-5"), 1e-5);
  EXPECT_EQ(Parsed(u"1.5e3"), 1500.0);
  EXPECT_EQ(Parsed(u"5.e2"), 500.0);
  EXPECT_EQ(Parsed(u"1e0000000000000000000000005"), 1e5);
  EXPECT_EQ(Parsed(u"1e5-"), -1e5);
  EXPECT_TRUE(Rejected(u"1e"));
  EXPECT_TRUE(Rejected(u"1e+"));
  EXPECT_TRUE(Rejected(u"e5"));
  EXPECT_TRUE(Rejected(u".e5"));
  EXPECT_TRUE(Rejected(u"1e5.5"));
  EXPECT_TRUE(Rejected(u"1e5e5"));
  // "D" is no exponent letter here.
  EXPECT_TRUE(Rejected(u"1d5"));
}

TEST(ParseNumber, ExponentSignMayBeWrittenMoreThanOnce) {
  EXPECT_EQ(Parsed(u"1e--5"), 1e-5);
  EXPECT_EQ(Parsed(u"1e+-5"), 1e-5);
  EXPECT_EQ(Parsed(u"1e,-5"), 1e-5);
}

TEST(ParseNumber, ThousandsSeparatorEndsTheExponentDigits) {
  // Digits after it belong to the mantissa again.
  EXPECT_EQ(Parsed(u"1e5,5"), 1.5e6);
  EXPECT_EQ(Parsed(u"12e1,2"), 1220.0);
  EXPECT_EQ(Parsed(u"1e5,"), 1e5);
  EXPECT_EQ(Parsed(u"e5,5"), 5e5);
  EXPECT_TRUE(Rejected(u"1e5,5e2"));
}

TEST(ParseNumber, RejectsEmptyTextAndLoneSymbols) {
  for (const char16_t* t : {u"", u" ", u"\t\t", u"-", u"+", u"$", u"()", u"(-)", u"--", u"&H",
                            u"&O", u"&", u"e", u"x1", u"1x", u"True", u"Inf", u"NaN", u"1/2"}) {
    EXPECT_TRUE(Rejected(t)) << std::string(t, t + std::char_traits<char16_t>::length(t));
  }
}

TEST(ParseNumber, OnlyAsciiDigitsCount) {
  EXPECT_TRUE(Rejected(u"\uFF11"));   // fullwidth 1
  EXPECT_TRUE(Rejected(u"\u0663"));   // Arabic-Indic 3
}

TEST(ParseNumber, ReadsHexadecimalAndOctal) {
  EXPECT_EQ(Parsed(u"&HFF"), 255.0);
  EXPECT_EQ(Parsed(u"&hff"), 255.0);
  EXPECT_EQ(Parsed(u" &H1E5 "), 485.0);
  EXPECT_EQ(Parsed(u"&O17"), 15.0);
  EXPECT_EQ(Parsed(u"&o17"), 15.0);
  EXPECT_EQ(Parsed(u"&H000000000000000000001"), 1.0);
  EXPECT_TRUE(Rejected(u"&17"));
  EXPECT_TRUE(Rejected(u"&O8"));
  EXPECT_TRUE(Rejected(u"&HG"));
  EXPECT_TRUE(Rejected(u"&H 1"));
  EXPECT_TRUE(Rejected(u"& H1"));
  EXPECT_TRUE(Rejected(u"&H1.5"));
  EXPECT_TRUE(Rejected(u"&H1,"));
  EXPECT_TRUE(Rejected(u"&H1$"));
  EXPECT_TRUE(Rejected(u"&B101"));
}

TEST(ParseNumber, HexTextAsANumberKeepsItsValueUpToTwoToThe31) {
  EXPECT_EQ(Parsed(u"&H7FFF"), 32767.0);
  EXPECT_EQ(Parsed(u"&H8000"), 32768.0);
  EXPECT_EQ(Parsed(u"&HFFFF"), 65535.0);
  EXPECT_EQ(Parsed(u"&O177777"), 65535.0);
  EXPECT_EQ(Parsed(u"&H7FFFFFFF"), 2147483647.0);
  // Exactly 2^31 reads as the negative Long pattern; anything above overflows.
  EXPECT_EQ(Parsed(u"&H80000000"), -2147483648.0);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"&H80000001"); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"&HFFFFFFFF"); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"&O37777777777"); }), err::Overflow);
}

TEST(ParseNumber, HexTextBeyondThirtyTwoBitsOverflows) {
  EXPECT_TRUE(Rejected(u"&H100000000"));
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"&H100000000"); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"&O40000000000"); }), err::Overflow);
  // A bad character still makes it a type mismatch.
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"&HFFFFFFFFFx"); }), err::TypeMismatch);
}

TEST(ParseNumber, HexTextIgnoresSignsAndParentheses) {
  EXPECT_EQ(Parsed(u"-&H1"), 1.0);
  EXPECT_EQ(Parsed(u"(&H1)"), 1.0);
  EXPECT_EQ(Parsed(u"&H1 -"), 1.0);
  EXPECT_TRUE(Rejected(u"-&H1-"));
  EXPECT_TRUE(Rejected(u"(&H1"));
  EXPECT_TRUE(Rejected(u"&H1)"));
}

TEST(ParseNumber, NulCharacterEndsTheText) {
  EXPECT_EQ(Parsed(u"1\0x"s), 1.0);
  EXPECT_EQ(Parsed(u"12\0 34"s), 12.0);
  EXPECT_TRUE(Rejected(u"\0"s u"1"));
}

TEST(ParseNumber, GivesTheNearestDouble) {
  EXPECT_EQ(Parsed(u"0.1"), 0.1);
  EXPECT_EQ(Parsed(u"0.30000000000000004"), 0.30000000000000004);
  EXPECT_EQ(Parsed(u"0.0796031688094"), 0.0796031688094);
  EXPECT_EQ(Parsed(u".83278553e-3"), .83278553e-3);
  EXPECT_EQ(Parsed(u"1e308"), 1e308);
  EXPECT_EQ(Parsed(u"1.7976931348623157e308"), DBL_MAX);
  EXPECT_EQ(Parsed(u"2.2250738585072014e-308"), 2.2250738585072014e-308);
  EXPECT_EQ(Parsed(u"4.9e-324"), 4.9e-324);
  EXPECT_EQ(Parsed(u"123456789012345678901234567890"), 123456789012345678901234567890.0);
  EXPECT_EQ(Parsed(u"9007199254740993"), 9007199254740992.0);
  EXPECT_EQ(Parsed(u"9007199254740993.0000000000000000001"), 9007199254740994.0);
}

TEST(ParseNumber, ManyDigitsStillRoundToTheNearestDouble) {
  // 0.1 written with two thousand digits after the 1: the tail decides nothing.
  std::u16string t = u"0.1" + std::u16string(2000, u'0') + u"1";
  EXPECT_EQ(Parsed(t), 0.1);
  // Exactly halfway between two doubles, then a nonzero digit far beyond the kept ones.
  std::u16string half = u"9007199254740993" + std::u16string(1000, u'0') + u"1e-1001";
  EXPECT_EQ(Parsed(half), 9007199254740994.0);
  std::u16string big = u"1" + std::u16string(300, u'0');
  EXPECT_EQ(Parsed(big), 1e300);
  std::u16string thousands = u"1";
  for (int i = 0; i < 100; ++i) thousands += u",000";
  EXPECT_EQ(Parsed(thousands), 1e300);
}

TEST(ParseNumber, HugeExponentsOverflowOrUnderflow) {
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"1e400"); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"-1e309"); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"1e99999999999"); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"1" + std::u16string(400, u'0')); }), err::Overflow);
  EXPECT_EQ(Parsed(u"1e-400"), 0.0);
  EXPECT_EQ(Parsed(u"1e-99999999999"), 0.0);
  EXPECT_EQ(Parsed(u"0e99999999999"), 0.0);
  EXPECT_EQ(Parsed(u"0." + std::u16string(5000, u'0') + u"1"), 0.0);
  EXPECT_TRUE(Rejected(u"1e400"));
}

TEST(ParseNumber, MinusZeroKeepsItsSign) {
  EXPECT_TRUE(std::signbit(Parsed(u"-0")));
  EXPECT_FALSE(std::signbit(Parsed(u"0.0")));
}

TEST(ParseNumber, AnyTextOfAnyLengthIsSafe) {
  std::mt19937 rng(12345);
  std::u16string alphabet = u"0123456789,.eE+-()$ &HhOo\tx\u00A0\uFFFF";
  alphabet += static_cast<char16_t>(0xD800);   // lone surrogates
  alphabet += static_cast<char16_t>(0xDC00);
  alphabet += u'\0';
  for (int round = 0; round < 20000; ++round) {
    std::u16string t(rng() % 24, u' ');
    for (char16_t& c : t) c = alphabet[rng() % alphabet.size()];
    std::optional<double> d = ParseNumber(t);
    if (d) {
      EXPECT_FALSE(std::isnan(*d));
    }
  }
  std::u16string lone(100000, static_cast<char16_t>(0xDC00));
  EXPECT_TRUE(Rejected(lone));
  std::u16string digits(200000, u'7');
  EXPECT_EQ(ErrorOf([&] { TextToDouble(digits); }), err::Overflow);
  std::u16string blanks(100000, u' ');
  EXPECT_TRUE(Rejected(blanks));
  EXPECT_EQ(Parsed(blanks + u"5" + blanks), 5.0);
}

TEST(TextToDouble, RaisesTypeMismatchForNonNumericText) {
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"abc"); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u""); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { TextToDouble(u"1..2"); }), err::TypeMismatch);
  EXPECT_EQ(TextToDouble(u" 1,000.5 "), 1000.5);
}

// ---------------------------------------------------------------------------------------------
// DoubleToText / SingleToText

TEST(DoubleToText, WritesUpToFifteenSignificantDigits) {
  EXPECT_EQ(DoubleToText(0), u"0");
  EXPECT_EQ(DoubleToText(1), u"1");
  EXPECT_EQ(DoubleToText(-1), u"-1");
  EXPECT_EQ(DoubleToText(0.1), u"0.1");
  EXPECT_EQ(DoubleToText(1.0 / 3), u"0.333333333333333");
  EXPECT_EQ(DoubleToText(2.0 / 3), u"0.666666666666667");
  EXPECT_EQ(DoubleToText(0.1 + 0.2), u"0.3");
  EXPECT_EQ(DoubleToText(123.456), u"123.456");
  EXPECT_EQ(DoubleToText(-2.25), u"-2.25");
  EXPECT_EQ(DoubleToText(12345.678901234567), u"12345.6789012346");
}

TEST(DoubleToText, MinusZeroIsZero) { EXPECT_EQ(DoubleToText(-0.0), u"0"); }

TEST(DoubleToText, SwitchesToScientificFromTheFifteenthPowerOfTen) {
  EXPECT_EQ(DoubleToText(100000000000000.0), u"100000000000000");
  EXPECT_EQ(DoubleToText(999999999999999.0), u"999999999999999");
  EXPECT_EQ(DoubleToText(123456789012345.0), u"123456789012345");
  EXPECT_EQ(DoubleToText(1e15), u"1E+15");
  EXPECT_EQ(DoubleToText(1234567890123456.0), u"1.23456789012346E+15");
  EXPECT_EQ(DoubleToText(1e20), u"1E+20");
  EXPECT_EQ(DoubleToText(-1.5e20), u"-1.5E+20");
  // Rounding to fifteen digits can carry into the next power of ten.
  EXPECT_EQ(DoubleToText(99999999999999.95), u"100000000000000");
  EXPECT_EQ(DoubleToText(9999999999999995.0), u"1E+16");
  EXPECT_EQ(DoubleToText(9999999999999994.0), u"9.99999999999999E+15");
}

TEST(DoubleToText, SwitchesToScientificBelowOneTenThousandth) {
  EXPECT_EQ(DoubleToText(0.0001), u"0.0001");
  EXPECT_EQ(DoubleToText(0.00015), u"0.00015");
  EXPECT_EQ(DoubleToText(0.000123456789012345), u"0.000123456789012345");
  EXPECT_EQ(DoubleToText(0.00001), u"1E-05");
  EXPECT_EQ(DoubleToText(0.000015), u"1.5E-05");
  EXPECT_EQ(DoubleToText(-0.000015), u"-1.5E-05");
  EXPECT_EQ(DoubleToText(0.0000999999999999999), u"9.99999999999999E-05");
  EXPECT_EQ(DoubleToText(0.00009999999999999995), u"0.0001");
}

TEST(DoubleToText, ExponentHasAtLeastTwoDigits) {
  EXPECT_EQ(DoubleToText(1e100), u"1E+100");
  EXPECT_EQ(DoubleToText(1e-100), u"1E-100");
  EXPECT_EQ(DoubleToText(DBL_MAX), u"1.79769313486232E+308");
  EXPECT_EQ(DoubleToText(4.9406564584124654e-324), u"4.94065645841247E-324");
}

TEST(DoubleToText, ExactHalvesRoundAwayFromZero) {
  EXPECT_EQ(DoubleToText(1000000000000005.0), u"1.00000000000001E+15");
  EXPECT_EQ(DoubleToText(1000000000000025.0), u"1.00000000000003E+15");
  EXPECT_EQ(DoubleToText(123456789012.3125), u"123456789012.313");
  EXPECT_EQ(DoubleToText(-123456789012.3125), u"-123456789012.313");
  EXPECT_EQ(DoubleToText(79106450401271.25), u"79106450401271.3");
  EXPECT_EQ(DoubleToText(100000000000000.5), u"100000000000001");
}

TEST(DoubleToText, NearHalvesRoundByTheExactValue) {
  // 329562123165.4795 is 329562123165.479492..., below the halfway point.
  EXPECT_EQ(DoubleToText(329562123165.4795), u"329562123165.479");
  EXPECT_EQ(DoubleToText(5057605244284.585), u"5057605244284.58");
  EXPECT_EQ(DoubleToText(0.1234567890123455), u"0.123456789012345");
}

TEST(DoubleToText, InfinityAndNaNHaveTexts) {
  EXPECT_EQ(DoubleToText(std::numeric_limits<double>::infinity()), u"INF");
  EXPECT_EQ(DoubleToText(-std::numeric_limits<double>::infinity()), u"-INF");
  EXPECT_EQ(DoubleToText(std::numeric_limits<double>::quiet_NaN()), u"NAN");
}

TEST(DoubleToText, TextReadsBackToFifteenDigits) {
  std::mt19937_64 rng(7);
  for (int i = 0; i < 2000; ++i) {
    const double d = std::ldexp(static_cast<double>(rng() >> 11), static_cast<int>(rng() % 200) - 150);
    const std::u16string t = DoubleToText(d);
    std::optional<double> back = ParseNumber(t);
    ASSERT_TRUE(back.has_value()) << i;
    EXPECT_NEAR(*back, d, std::fabs(d) * 1e-14);
  }
}

TEST(SingleToText, WritesUpToSevenSignificantDigits) {
  EXPECT_EQ(SingleToText(0.0f), u"0");
  EXPECT_EQ(SingleToText(-0.0f), u"0");
  EXPECT_EQ(SingleToText(0.1f), u"0.1");
  EXPECT_EQ(SingleToText(1.0f / 3), u"0.3333333");
  EXPECT_EQ(SingleToText(3.1415927f), u"3.141593");
  EXPECT_EQ(SingleToText(1234567.0f), u"1234567");
  EXPECT_EQ(SingleToText(9999999.0f), u"9999999");
  EXPECT_EQ(SingleToText(1.0000001f), u"1");
}

TEST(SingleToText, SwitchesToScientificFromTheSeventhPowerOfTen) {
  EXPECT_EQ(SingleToText(1e7f), u"1E+07");
  EXPECT_EQ(SingleToText(12345678.0f), u"1.234568E+07");
  EXPECT_EQ(SingleToText(16777216.0f), u"1.677722E+07");
  EXPECT_EQ(SingleToText(FLT_MAX), u"3.402823E+38");
  EXPECT_EQ(SingleToText(0.0001f), u"0.0001");
  EXPECT_EQ(SingleToText(1e-5f), u"1E-05");
  EXPECT_EQ(SingleToText(1.5e-5f), u"1.5E-05");
  EXPECT_EQ(SingleToText(1e-45f), u"1.401298E-45");
}

// ---------------------------------------------------------------------------------------------
// RoundHalfEven

TEST(RoundHalfEven, HalvesGoToTheEvenNeighbour) {
  EXPECT_EQ(RoundHalfEven(0.5), 0.0);
  EXPECT_EQ(RoundHalfEven(1.5), 2.0);
  EXPECT_EQ(RoundHalfEven(2.5), 2.0);
  EXPECT_EQ(RoundHalfEven(3.5), 4.0);
  EXPECT_EQ(RoundHalfEven(-0.5), 0.0);
  EXPECT_EQ(RoundHalfEven(-1.5), -2.0);
  EXPECT_EQ(RoundHalfEven(-2.5), -2.0);
  EXPECT_EQ(RoundHalfEven(32768.5), 32768.0);
  EXPECT_EQ(RoundHalfEven(2147483648.5), 2147483648.0);
  EXPECT_EQ(RoundHalfEven(4503599627370495.5), 4503599627370496.0);
}

TEST(RoundHalfEven, NonHalvesGoToTheNearest) {
  EXPECT_EQ(RoundHalfEven(0.49999999999999994), 0.0);
  EXPECT_EQ(RoundHalfEven(0.5000000000000001), 1.0);
  EXPECT_EQ(RoundHalfEven(2.5000000000000004), 3.0);
  EXPECT_EQ(RoundHalfEven(-0.6), -1.0);
  EXPECT_EQ(RoundHalfEven(123.456), 123.0);
}

TEST(RoundHalfEven, WholeNumbersInfinityAndNaNStay) {
  EXPECT_EQ(RoundHalfEven(4503599627370497.0), 4503599627370497.0);
  EXPECT_EQ(RoundHalfEven(1e300), 1e300);
  EXPECT_TRUE(std::isinf(RoundHalfEven(-std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(std::isnan(RoundHalfEven(std::numeric_limits<double>::quiet_NaN())));
  EXPECT_FALSE(std::signbit(RoundHalfEven(0.0)));
  EXPECT_TRUE(std::signbit(RoundHalfEven(-0.4)));
}

// ---------------------------------------------------------------------------------------------
// CStr

TEST(CStr, BooleanIsTrueOrFalse) {
  EXPECT_EQ(CStr(Value::Boolean(true)), u"True");
  EXPECT_EQ(CStr(Value::Boolean(false)), u"False");
}

TEST(CStr, EmptyIsEmptyTextAndNullRaises94) {
  EXPECT_EQ(CStr(Value()), u"");
  EXPECT_EQ(ErrorOf([] { CStr(Value::Null()); }), err::InvalidUseOfNull);
}

TEST(CStr, NumbersUseThePlatformTexts) {
  EXPECT_EQ(CStr(Value::Integer(-32768)), u"-32768");
  EXPECT_EQ(CStr(Value::Long(2147483647)), u"2147483647");
  EXPECT_EQ(CStr(Value::Long(INT32_MIN)), u"-2147483648");
  EXPECT_EQ(CStr(Value::Single(0.1f)), u"0.1");
  EXPECT_EQ(CStr(Value::Double(0.1f)), u"0.100000001490116");
  EXPECT_EQ(CStr(Value::Double(1e20)), u"1E+20");
}

TEST(CStr, DateUsesTheGeneralDateText) {
  EXPECT_EQ(CStr(Value::Date(36526)), u"1/1/2000");
  EXPECT_EQ(CStr(Value::Date(0)), u"12:00:00 AM");
  EXPECT_EQ(CStr(Value::Date(1.5)), u"12/31/1899 12:00:00 PM");
}

TEST(CStr, ErrorValueReadsErrorAndItsNumber) {
  EXPECT_EQ(CStr(Value::Error(kCVErr5)), u"Error 5");
  EXPECT_EQ(CStr(Value::Missing()), u"Error 448");
}

TEST(CStr, ObjectGivesItsDefaultMember) {
  EXPECT_EQ(CStr(Field(Value::String(u"abc"))), u"abc");
  EXPECT_EQ(CStr(Field(Value::Boolean(true))), u"True");
  EXPECT_EQ(ErrorOf([] { CStr(Value::Object(nullptr)); }), err::ObjectVariableNotSet);
  EXPECT_EQ(ErrorOf([] { CStr(Field(Value::Null())); }), err::InvalidUseOfNull);
}

// ---------------------------------------------------------------------------------------------
// CBool

TEST(CBool, TextTrueAndFalseInAnyCase) {
  EXPECT_TRUE(CBool(Value::String(u"True")));
  EXPECT_TRUE(CBool(Value::String(u"tRUE")));
  EXPECT_FALSE(CBool(Value::String(u"False")));
  EXPECT_FALSE(CBool(Value::String(u"FALSE")));
  EXPECT_TRUE(CBool(Value::String(u"#TRUE#")));
  EXPECT_FALSE(CBool(Value::String(u"#FALSE#")));
  EXPECT_TRUE(CBool(Value::String(u"True\0junk"s)));
}

TEST(CBool, TrueFalseTextWithBlanksOrOtherWordsIsTypeMismatch) {
  for (const char16_t* t : {u" True", u"True ", u"Yes", u"On", u"Tru", u"#true#", u"", u"abc"}) {
    EXPECT_EQ(ErrorOf([t] { CBool(Value::String(t)); }), err::TypeMismatch);
  }
}

TEST(CBool, NumericTextIsTrueWhenNotZero) {
  EXPECT_TRUE(CBool(Value::String(u"1")));
  EXPECT_TRUE(CBool(Value::String(u"-1")));
  EXPECT_TRUE(CBool(Value::String(u"0.1")));
  EXPECT_TRUE(CBool(Value::String(u" 2 ")));
  EXPECT_TRUE(CBool(Value::String(u"(1)")));
  EXPECT_FALSE(CBool(Value::String(u"0")));
  EXPECT_FALSE(CBool(Value::String(u"0.0")));
  EXPECT_FALSE(CBool(Value::String(u"&H0")));
  EXPECT_EQ(ErrorOf([] { CBool(Value::String(u"1e400")); }), err::Overflow);
}

TEST(CBool, OtherKinds) {
  EXPECT_FALSE(CBool(Value()));
  EXPECT_EQ(ErrorOf([] { CBool(Value::Null()); }), err::InvalidUseOfNull);
  EXPECT_TRUE(CBool(Value::Integer(5)));
  EXPECT_FALSE(CBool(Value::Long(0)));
  EXPECT_TRUE(CBool(Value::Double(0.0001)));
  EXPECT_FALSE(CBool(Value::Double(-0.0)));
  EXPECT_TRUE(CBool(Value::Single(-2.5f)));
  EXPECT_FALSE(CBool(Value::Date(0)));
  EXPECT_TRUE(CBool(Value::Date(1.5)));
  EXPECT_EQ(ErrorOf([] { CBool(Value::Error(kCVErr5)); }), err::TypeMismatch);
  EXPECT_TRUE(CBool(Field(Value::String(u"true"))));
}

// ---------------------------------------------------------------------------------------------
// CInt / CLng

TEST(CInt, RoundsHalfToEven) {
  EXPECT_EQ(CInt(Value::Double(0.5)), 0);
  EXPECT_EQ(CInt(Value::Double(1.5)), 2);
  EXPECT_EQ(CInt(Value::Double(2.5)), 2);
  EXPECT_EQ(CInt(Value::Double(3.5)), 4);
  EXPECT_EQ(CInt(Value::Double(-2.5)), -2);
  EXPECT_EQ(CInt(Value::Single(2.5f)), 2);
  EXPECT_EQ(CInt(Value::Date(2.5)), 2);
  EXPECT_EQ(CInt(Value::String(u"2.5")), 2);
  EXPECT_EQ(CInt(Value::String(u"3.5")), 4);
}

TEST(CInt, TextRoundsOnItsWrittenDigits) {
  // Both texts read as the double 3.5; the digits say which side of the half they are.
  EXPECT_EQ(CInt(Value::String(u"3.49999999999999999999")), 3);
  EXPECT_EQ(CInt(Value::String(u"2.50000000000000000001")), 3);
  EXPECT_EQ(CInt(Value::String(u"-2.50000000000000000001")), -3);
  EXPECT_EQ(CInt(Value::String(u"2.5" + std::u16string(3000, u'0') + u"1")), 3);
  EXPECT_EQ(CInt(Value::String(u"25e-1")), 2);
  EXPECT_EQ(CInt(Value::String(u"0.0000000000000000000000009")), 0);
  EXPECT_EQ(CInt(Value::String(u"$1,234.50")), 1234);
  EXPECT_EQ(CInt(Value::String(u"(7.5)")), -8);
}

TEST(CInt, OutOfRangeRaisesOverflow) {
  EXPECT_EQ(CInt(Value::Double(32767.4999)), 32767);
  EXPECT_EQ(CInt(Value::Double(-32768.5)), -32768);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Double(32767.5)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Double(-32768.50001)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Long(40000)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"32767.5")); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"1e400")); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Double(std::numeric_limits<double>::infinity())); }),
            err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Double(std::numeric_limits<double>::quiet_NaN())); }),
            err::Overflow);
}

TEST(CInt, HexTextWrapsToNegativeInteger) {
  EXPECT_EQ(CInt(Value::String(u"&HFFFF")), -1);
  EXPECT_EQ(CInt(Value::String(u"&H8000")), -32768);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"&HFFFFFFFF")); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"&H10000")); }), err::Overflow);
}

TEST(CInt, OtherKinds) {
  EXPECT_EQ(CInt(Value()), 0);
  EXPECT_EQ(CInt(Value::Boolean(true)), -1);
  EXPECT_EQ(CInt(Value::Boolean(false)), 0);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Null()); }), err::InvalidUseOfNull);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"abc")); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"")); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CInt(Value::String(u"True")); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CInt(Value::Error(kCVErr5)); }), err::TypeMismatch);
  EXPECT_EQ(CInt(Field(Value::String(u" 12 "))), 12);
}

TEST(CLng, RoundsHalfToEvenAndChecksRange) {
  EXPECT_EQ(CLng(Value::Double(2147483646.5)), 2147483646);
  EXPECT_EQ(CLng(Value::Double(-2147483648.5)), INT32_MIN);
  EXPECT_EQ(CLng(Value::Date(40000.75)), 40001);
  EXPECT_EQ(CLng(Value::String(u"7.0")), 7);
  EXPECT_EQ(CLng(Value::String(u"1,000,000")), 1000000);
  EXPECT_EQ(ErrorOf([] { CLng(Value::Double(2147483647.5)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CLng(Value::Double(-2147483649.0)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CLng(Value::String(u"3000000000")); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CLng(Value::String(u"2147483647.5")); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CLng(Value::String(u"9" + std::u16string(50, u'9'))); }), err::Overflow);
}

TEST(CLng, HexTextIsAThirtyTwoBitPattern) {
  EXPECT_EQ(CLng(Value::String(u"&HFFFF")), 65535);
  EXPECT_EQ(CLng(Value::String(u"&H8000")), 32768);
  EXPECT_EQ(CLng(Value::String(u"&H10000")), 65536);
  EXPECT_EQ(CLng(Value::String(u"&HFFFFFFFF")), -1);
  EXPECT_EQ(ErrorOf([] { CLng(Value::String(u"&H100000000")); }), err::Overflow);
}

// ---------------------------------------------------------------------------------------------
// CSng / CDbl

TEST(CSng, RangeEndsJustPastTheLargestSingle) {
  EXPECT_EQ(CSng(Value::Double(3.4028235e38)), FLT_MAX);
  EXPECT_EQ(CSng(Value::Double(3.40282356e38)), FLT_MAX);
  EXPECT_EQ(CSng(Value::Double(3.402823567797336e38)), FLT_MAX);
  EXPECT_EQ(ErrorOf([] { CSng(Value::Double(3.4028235677973362e38)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CSng(Value::Double(-3.5e38)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CSng(Value::String(u"1e39")); }), err::Overflow);
  EXPECT_EQ(CSng(Value::Double(1e-50)), 0.0f);
}

TEST(CSng, OtherKinds) {
  EXPECT_EQ(CSng(Value::String(u"0.1")), 0.1f);
  EXPECT_EQ(CSng(Value::Double(0.1)), 0.1f);
  EXPECT_EQ(CSng(Value::Date(1.5)), 1.5f);
  EXPECT_EQ(CSng(Value::Boolean(true)), -1.0f);
  EXPECT_EQ(CSng(Value()), 0.0f);
  EXPECT_EQ(ErrorOf([] { CSng(Value::Null()); }), err::InvalidUseOfNull);
}

TEST(CDbl, DateGivesItsSerialAndBooleanMinusOne) {
  EXPECT_EQ(CDbl(Value::Date(37329.75)), 37329.75);
  EXPECT_EQ(CDbl(Value::Boolean(true)), -1.0);
  EXPECT_EQ(CDbl(Value()), 0.0);
  EXPECT_EQ(CDbl(Value::Single(0.1f)), static_cast<double>(0.1f));
  EXPECT_EQ(CDbl(Value::String(u"1,000")), 1000.0);
  EXPECT_EQ(CDbl(Field(Value::Long(12))), 12.0);
}

TEST(CDbl, ImpossibleConversionsRaise) {
  EXPECT_EQ(ErrorOf([] { CDbl(Value::Null()); }), err::InvalidUseOfNull);
  EXPECT_EQ(ErrorOf([] { CDbl(Value::String(u"12/31/1999")); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CDbl(Value::String(u"True")); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CDbl(Value::Error(kCVErr5)); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CDbl(Value::Missing()); }), err::TypeMismatch);
}

// ---------------------------------------------------------------------------------------------
// CDate

TEST(CDate, NumberIsCheckedAgainstTheDateRange) {
  EXPECT_EQ(CDate(Value::Double(-657434)), -657434.0);
  // The fraction of a negative serial counts forward: still 1 January 100.
  EXPECT_EQ(CDate(Value::Double(-657434.99)), -657434.99);
  EXPECT_EQ(CDate(Value::Double(2958465.99999)), 2958465.99999);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Double(-657435)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Double(2958466)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Long(3000000)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Single(-1e6f)); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Double(std::numeric_limits<double>::quiet_NaN())); }),
            err::Overflow);
}

TEST(CDate, EveryMomentOfFirstAndLastDayIsADate) {
  // 1/1/100 noon and 11:59:59 PM, 12/31/9999 11:59:59 PM; 12/31/99 11:59:59 PM and 1/1/10000 not.
  for (double inside : {-657434.5, -657434.99998843, 2958465.99998843}) {
    EXPECT_EQ(CDate(Value::Double(inside)), inside);
    EXPECT_EQ(CDate(Value::String(DoubleToText(inside))), inside);
    EXPECT_EQ(ChangeType(Value::Double(inside), VarType::Date).GetDate(), inside);
  }
  for (double outside : {-657435.99998843, -657435.0, 2958466.0}) {
    EXPECT_EQ(ErrorOf([outside] { CDate(Value::Double(outside)); }), err::Overflow);
    EXPECT_EQ(ErrorOf([outside] { CDate(Value::String(DoubleToText(outside))); }), err::Overflow);
    EXPECT_EQ(ErrorOf([outside] { ChangeType(Value::Double(outside), VarType::Date); }),
              err::Overflow);
  }
  EXPECT_EQ(CDate(Value::String(u"1/1/100 11:59:59 PM")), -657434.999988426);
}

TEST(CDate, OtherKinds) {
  EXPECT_EQ(CDate(Value()), 0.0);
  EXPECT_EQ(CDate(Value::Boolean(true)), -1.0);
  EXPECT_EQ(CDate(Value::Integer(1)), 1.0);
  EXPECT_EQ(CDate(Value::Date(36526.5)), 36526.5);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Null()); }), err::InvalidUseOfNull);
  EXPECT_EQ(ErrorOf([] { CDate(Value::Error(kCVErr5)); }), err::TypeMismatch);
}

TEST(CDate, TextIsReadAsADateFirst) {
  EXPECT_EQ(CDate(Value::String(u"1/1/2000")), 36526.0);
  EXPECT_EQ(CDate(Field(Value::String(u"1/1/2000"))), 36526.0);
}

TEST(CDate, NumericTextThatIsNoDateGivesThatSerial) {
  EXPECT_EQ(CDate(Value::String(u"1")), 1.0);
  EXPECT_EQ(CDate(Value::String(u"36526")), 36526.0);
  EXPECT_EQ(CDate(Value::String(u"-0.5")), -0.5);
  EXPECT_EQ(ErrorOf([] { CDate(Value::String(u"3000000")); }), err::Overflow);
  EXPECT_EQ(ErrorOf([] { CDate(Value::String(u"1e400")); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { CDate(Value::String(u"abc")); }), err::TypeMismatch);
}

// ---------------------------------------------------------------------------------------------
// ChangeType

TEST(ChangeType, GivesTheRequestedKind) {
  EXPECT_TRUE(ChangeType(Value::String(u"12"), VarType::Integer).SameAs(Value::Integer(12)));
  EXPECT_TRUE(ChangeType(Value::Integer(12), VarType::Long).SameAs(Value::Long(12)));
  EXPECT_TRUE(ChangeType(Value::Double(2.5), VarType::Long).SameAs(Value::Long(2)));
  EXPECT_TRUE(ChangeType(Value::Double(0.1), VarType::Single).SameAs(Value::Single(0.1f)));
  EXPECT_TRUE(ChangeType(Value::Date(1.5), VarType::Double).SameAs(Value::Double(1.5)));
  EXPECT_TRUE(ChangeType(Value::Double(1.5), VarType::Date).SameAs(Value::Date(1.5)));
  EXPECT_TRUE(ChangeType(Value::Boolean(true), VarType::String).SameAs(Value::String(u"True")));
  EXPECT_TRUE(ChangeType(Value::String(u"false"), VarType::Boolean).SameAs(Value::Boolean(false)));
  EXPECT_TRUE(ChangeType(Value::Long(7), VarType::Long).SameAs(Value::Long(7)));
}

TEST(ChangeType, EmptyBecomesZeroEmptyTextOrFalse) {
  EXPECT_TRUE(ChangeType(Value(), VarType::Integer).SameAs(Value::Integer(0)));
  EXPECT_TRUE(ChangeType(Value(), VarType::Double).SameAs(Value::Double(0)));
  EXPECT_TRUE(ChangeType(Value(), VarType::String).SameAs(Value::String(u"")));
  EXPECT_TRUE(ChangeType(Value(), VarType::Boolean).SameAs(Value::Boolean(false)));
  EXPECT_TRUE(ChangeType(Value(), VarType::Date).SameAs(Value::Date(0)));
}

TEST(ChangeType, NullRaises94ExceptToNull) {
  EXPECT_TRUE(ChangeType(Value::Null(), VarType::Null).IsNull());
  for (VarType t : {VarType::Empty, VarType::Integer, VarType::String, VarType::Boolean,
                    VarType::Date}) {
    EXPECT_EQ(ErrorOf([t] { ChangeType(Value::Null(), t); }), err::InvalidUseOfNull);
  }
}

TEST(ChangeType, ToEmptyOrNullDropsTheValue) {
  EXPECT_TRUE(ChangeType(Value::Integer(5), VarType::Empty).IsEmpty());
  EXPECT_TRUE(ChangeType(Value::String(u"x"), VarType::Null).IsNull());
  EXPECT_TRUE(ChangeType(Value(), VarType::Null).IsNull());
}

TEST(ChangeType, TextToDateTakesDatesOnly) {
  EXPECT_TRUE(ChangeType(Value::String(u"1/1/2000"), VarType::Date).SameAs(Value::Date(36526)));
  EXPECT_EQ(ErrorOf([] { ChangeType(Value::String(u"1"), VarType::Date); }), err::TypeMismatch);
}

TEST(ChangeType, ErrorValuesAndObjects) {
  EXPECT_EQ(ErrorOf([] { ChangeType(Value::Error(kCVErr5), VarType::String); }),
            err::TypeMismatch);
  EXPECT_TRUE(ChangeType(Value::Error(kCVErr5), VarType::Error).SameAs(Value::Error(kCVErr5)));
  Value obj = Field(Value::String(u"42"));
  EXPECT_TRUE(ChangeType(obj, VarType::Object).SameAs(obj));
  EXPECT_TRUE(ChangeType(obj, VarType::Long).SameAs(Value::Long(42)));
  EXPECT_EQ(ErrorOf([] { ChangeType(Value::Integer(1), VarType::Object); }), err::TypeMismatch);
  EXPECT_EQ(ErrorOf([] { ChangeType(Value::String(u"x"), VarType::Error); }), err::TypeMismatch);
}

// ---------------------------------------------------------------------------------------------
// IsNumeric / IsDate

TEST(IsNumeric, NumbersBooleansAndEmptyAreNumeric) {
  EXPECT_TRUE(IsNumeric(Value()));
  EXPECT_TRUE(IsNumeric(Value::Boolean(false)));
  EXPECT_TRUE(IsNumeric(Value::Integer(1)));
  EXPECT_TRUE(IsNumeric(Value::Long(1)));
  EXPECT_TRUE(IsNumeric(Value::Single(1)));
  EXPECT_TRUE(IsNumeric(Value::Double(1)));
}

TEST(IsNumeric, DateNullAndErrorAreNot) {
  EXPECT_FALSE(IsNumeric(Value::Date(1)));
  EXPECT_FALSE(IsNumeric(Value::Null()));
  EXPECT_FALSE(IsNumeric(Value::Error(kCVErr5)));
  EXPECT_FALSE(IsNumeric(Value::Missing()));
}

TEST(IsNumeric, TextWhenTheNumberParserAcceptsIt) {
  EXPECT_TRUE(IsNumeric(Value::String(u"1,000")));
  EXPECT_TRUE(IsNumeric(Value::String(u"$5.00")));
  EXPECT_TRUE(IsNumeric(Value::String(u"(5)")));
  EXPECT_TRUE(IsNumeric(Value::String(u"5-")));
  EXPECT_TRUE(IsNumeric(Value::String(u"&HFF")));
  EXPECT_TRUE(IsNumeric(Value::String(u" 1e5 ")));
  EXPECT_FALSE(IsNumeric(Value::String(u"")));
  EXPECT_FALSE(IsNumeric(Value::String(u"abc")));
  EXPECT_FALSE(IsNumeric(Value::String(u"1/1/2000")));
  EXPECT_FALSE(IsNumeric(Value::String(u"True")));
  EXPECT_FALSE(IsNumeric(Value::String(u"-")));
  // Too large for a Double: the conversion would overflow.
  EXPECT_FALSE(IsNumeric(Value::String(u"1e400")));
}

TEST(IsNumeric, ObjectThroughItsDefaultMember) {
  EXPECT_TRUE(IsNumeric(Field(Value::String(u"12"))));
  EXPECT_FALSE(IsNumeric(Field(Value::String(u"x"))));
  EXPECT_FALSE(IsNumeric(Field(Value::Date(1))));
  EXPECT_FALSE(IsNumeric(Value::Object(nullptr)));
  EXPECT_FALSE(IsNumeric(Value::Object(std::make_shared<FieldObject>(Value(), err::MemberNotSupported))));
}

TEST(IsDate, DatesAndDateTexts) {
  EXPECT_TRUE(IsDate(Value::Date(0)));
  EXPECT_TRUE(IsDate(Value::String(u"1/1/2000")));
  EXPECT_TRUE(IsDate(Field(Value::String(u"1/1/2000"))));
  EXPECT_FALSE(IsDate(Value::String(u"abc")));
  EXPECT_FALSE(IsDate(Value::String(u"")));
}

TEST(IsDate, NumbersAreNotDates) {
  EXPECT_FALSE(IsDate(Value::Double(1)));
  EXPECT_FALSE(IsDate(Value::Long(36526)));
  EXPECT_FALSE(IsDate(Value::String(u"1")));
  EXPECT_FALSE(IsDate(Value()));
  EXPECT_FALSE(IsDate(Value::Null()));
  EXPECT_FALSE(IsDate(Value::Boolean(true)));
  EXPECT_FALSE(IsDate(Value::Object(nullptr)));
}

}  // namespace
}  // namespace qorvintr::automation
