// The platform's operators on tagged values: result kinds, widening, conversions and errors.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "qorvintr/error.h"
#include "automation/operators.h"
#include "qorvintr/value.h"
#include "test_support.h"

namespace au = qorvintr::automation;
using au::Comparison;
using au::Value;
using au::VarType;

namespace {

using qorvintr::testing_support::ErrorOf;

Value I2(int n) { return Value::Integer(static_cast<std::int16_t>(n)); }
Value I4(std::int32_t n) { return Value::Long(n); }
Value R4(float f) { return Value::Single(f); }
Value R8(double d) { return Value::Double(d); }
Value D(double serial) { return Value::Date(serial); }
Value S(std::u16string_view s) { return Value::String(s); }
Value B(bool b) { return Value::Boolean(b); }
Value E() { return Value(); }
Value N() { return Value::Null(); }

// Asserts kind and value together.
void ExpectValue(const Value& got, const Value& want) {
  EXPECT_EQ(got.Type(), want.Type()) << "kind " << static_cast<int>(got.Type()) << " instead of "
                                     << static_cast<int>(want.Type());
  EXPECT_TRUE(got.SameAs(want)) << "value differs (kind " << static_cast<int>(got.Type()) << ")";
}

// An object whose default member answers a fixed value (a data field's Data).
class Field : public au::Object {
 public:
  explicit Field(Value v) : v_(std::move(v)) {}
  std::u16string ClassName() const override { return u"DataField"; }
  Value DefaultValue() override { return v_; }

 private:
  Value v_;
};

Value Obj(Value v) { return Value::Object(std::make_shared<Field>(std::move(v))); }

}  // namespace

// --- "+", "-", "*": whole numbers ----------------------------------------------------------------

TEST(OperatorsInteger, IntegerAddGivesInteger) { ExpectValue(au::Add(I2(5), I2(3)), I2(8)); }

TEST(OperatorsInteger, IntegerAddOverflowWidensToLong) {
  ExpectValue(au::Add(I2(32767), I2(1)), I4(32768));
  ExpectValue(au::Add(I2(-32768), I2(-1)), I4(-32769));
}

TEST(OperatorsInteger, IntegerSubtractOverflowWidensToLong) {
  ExpectValue(au::Subtract(I2(-32768), I2(1)), I4(-32769));
  ExpectValue(au::Subtract(I2(-32768), I2(-1)), I2(-32767));
}

TEST(OperatorsInteger, IntegerMultiplyOverflowWidensToLong) {
  ExpectValue(au::Multiply(I2(32767), I2(32767)), I4(1073676289));
  ExpectValue(au::Multiply(I2(-32768), I2(-1)), I4(32768));
  ExpectValue(au::Multiply(I2(181), I2(181)), I2(32761));
}

TEST(OperatorsInteger, IntegerWithLongGivesLong) {
  ExpectValue(au::Add(I2(1), I4(2)), I4(3));
  ExpectValue(au::Multiply(I4(7), I2(2)), I4(14));
}

TEST(OperatorsInteger, LongAddOverflowWidensToDouble) {
  ExpectValue(au::Add(I4(2147483647), I4(1)), R8(2147483648.0));
  ExpectValue(au::Subtract(I4(-2147483647 - 1), I4(1)), R8(-2147483649.0));
}

TEST(OperatorsInteger, LongMultiplyOverflowWidensToDouble) {
  ExpectValue(au::Multiply(I4(65536), I4(65536)), R8(4294967296.0));
  ExpectValue(au::Multiply(I4(-2147483647 - 1), I4(-1)), R8(2147483648.0));
}

TEST(OperatorsInteger, BooleanWithBooleanGivesInteger) {
  ExpectValue(au::Add(B(true), B(true)), I2(-2));
  ExpectValue(au::Subtract(B(false), B(true)), I2(1));
  ExpectValue(au::Multiply(B(true), B(true)), I2(1));
}

TEST(OperatorsInteger, BooleanTakesTheOtherNumbersKind) {
  ExpectValue(au::Add(B(true), I2(1)), I2(0));
  ExpectValue(au::Add(B(true), I4(1)), I4(0));
  ExpectValue(au::Add(B(true), R4(0.5f)), R4(-0.5f));
  ExpectValue(au::Add(B(true), R8(0.5)), R8(-0.5));
}

TEST(OperatorsInteger, BooleanWithIntegerOverflowWidensToLong) {
  ExpectValue(au::Add(B(true), I2(-32768)), I4(-32769));
}

TEST(OperatorsInteger, EmptyWithEmptyGivesIntegerZero) {
  ExpectValue(au::Add(E(), E()), I2(0));
  ExpectValue(au::Subtract(E(), E()), I2(0));
  ExpectValue(au::Multiply(E(), E()), I2(0));
}

TEST(OperatorsInteger, EmptyCountsAsZeroOfTheOtherKind) {
  ExpectValue(au::Add(E(), I4(5)), I4(5));
  ExpectValue(au::Subtract(E(), B(true)), I2(1));
  ExpectValue(au::Add(R4(1.5f), E()), R4(1.5f));
  ExpectValue(au::Add(E(), D(3)), D(3));
  ExpectValue(au::Subtract(E(), R8(2)), R8(-2));
}

// --- "+", "-", "*": Single and Double ----------------------------------------------------------

TEST(OperatorsFloat, SingleWithSingleOrIntegerStaysSingle) {
  ExpectValue(au::Add(R4(0.1f), R4(0.2f)), R4(0.1f + 0.2f));
  ExpectValue(au::Add(R4(16777216.0f), I2(1)), R4(16777216.0f));
  ExpectValue(au::Multiply(R4(1.5f), I2(2)), R4(3.0f));
}

TEST(OperatorsFloat, SingleWithLongGivesDouble) {
  ExpectValue(au::Add(R4(16777216.0f), I4(1)), R8(16777217.0));
  ExpectValue(au::Multiply(R4(3), I4(3)), R8(9));
}

TEST(OperatorsFloat, SingleWithDoubleGivesDouble) {
  ExpectValue(au::Add(R4(0.1f), R8(0.2)), R8(static_cast<double>(0.1f) + 0.2));
}

TEST(OperatorsFloat, SingleOverflowWidensToDouble) {
  ExpectValue(au::Add(R4(3e38f), R4(3e38f)), R8(static_cast<double>(3e38f) * 2));
  ExpectValue(au::Multiply(R4(3e38f), R4(10)), R8(static_cast<double>(3e38f) * 10));
}

TEST(OperatorsFloat, DoubleArithmeticIsPlainDouble) {
  ExpectValue(au::Add(R8(0.1), R8(0.2)), R8(0.1 + 0.2));
  ExpectValue(au::Multiply(R8(1e-300), R8(1e-300)), R8(0));
}

TEST(OperatorsFloat, DoubleOverflowRaises6) {
  EXPECT_EQ(ErrorOf([] { au::Add(R8(1.7e308), R8(1.7e308)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Multiply(R8(1e300), R8(1e300)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Subtract(R8(-1e308), R8(1e308)); }), 6);
}

// --- "+", "-", "*": texts -------------------------------------------------------------------------

TEST(OperatorsText, PlusJoinsTwoTexts) {
  ExpectValue(au::Add(S(u"5"), S(u"3")), S(u"53"));
  ExpectValue(au::Add(S(u""), S(u"")), S(u""));
}

TEST(OperatorsText, PlusWithEmptyKeepsTheText) {
  ExpectValue(au::Add(S(u"abc"), E()), S(u"abc"));
  ExpectValue(au::Add(E(), S(u"abc")), S(u"abc"));
}

TEST(OperatorsText, TextPlusNumberConvertsTheTextToDouble) {
  ExpectValue(au::Add(S(u"1.5"), I2(2)), R8(3.5));
  ExpectValue(au::Add(I2(2), S(u"32767")), R8(32769));
  ExpectValue(au::Add(S(u"1"), B(true)), R8(0));
  ExpectValue(au::Add(S(u"  12  "), I2(1)), R8(13));
}

TEST(OperatorsText, TextThatIsNoNumberRaises13) {
  EXPECT_EQ(ErrorOf([] { au::Add(S(u"abc"), I2(1)); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Add(S(u""), I2(1)); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Add(S(u"True"), I2(1)); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Subtract(S(u"a"), S(u"b")); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Subtract(E(), S(u"abc")); }), 13);
}

TEST(OperatorsText, DateTextIsNoNumberInArithmetic) {
  EXPECT_EQ(ErrorOf([] { au::Add(S(u"1/1/2000"), I2(1)); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Add(D(1), S(u"1/1/2000")); }), 13);
}

TEST(OperatorsText, MinusTimesConvertBothTexts) {
  ExpectValue(au::Subtract(S(u"1"), S(u"2")), R8(-1));
  ExpectValue(au::Multiply(S(u"2"), S(u"3")), R8(6));
  ExpectValue(au::Subtract(S(u"5"), E()), R8(5));
  ExpectValue(au::Subtract(E(), S(u"5")), R8(-5));
}

TEST(OperatorsText, TextWithDateGivesDate) { ExpectValue(au::Add(S(u"3"), D(3)), D(6)); }

// --- Dates ----------------------------------------------------------------------------------------

TEST(OperatorsDate, DatePlusNumberGivesDate) {
  ExpectValue(au::Add(D(37329), I2(1)), D(37330));
  ExpectValue(au::Add(I2(1), D(37329)), D(37330));
  ExpectValue(au::Add(D(-1.25), R8(0.5)), D(-0.75));
}

TEST(OperatorsDate, DatePlusDateGivesDate) { ExpectValue(au::Add(D(1), D(1)), D(2)); }

TEST(OperatorsDate, DateMinusDateGivesDouble) {
  ExpectValue(au::Subtract(D(37329), D(37329.5)), R8(-0.5));
}

TEST(OperatorsDate, DateMinusNumberGivesDate) {
  ExpectValue(au::Subtract(D(37329), I2(1)), D(37328));
  ExpectValue(au::Subtract(I4(5), D(1)), D(4));
}

TEST(OperatorsDate, DateSumOutsideTheCalendarRaises6) {
  EXPECT_EQ(ErrorOf([] { au::Add(D(2958465), I2(1)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Add(D(-657434), I2(-1)); }), 6);
  ExpectValue(au::Add(D(2958465), R8(0.999)), D(2958465.999));
  ExpectValue(au::Add(D(-657434), R8(-0.99)), D(-657434.99));
}

TEST(OperatorsDate, SumsCoverEveryMomentOfFirstAndLastDay) {
  // 1/1/100 runs from -657434 down to just above -657435; 12/31/9999 up to just below 2958466.
  ExpectValue(au::Add(D(-657434), R8(-0.5)), D(-657434.5));
  ExpectValue(au::Add(D(-657434), R8(-0.99998843)), D(-657434.99998843));
  ExpectValue(au::Add(D(2958465), R8(0.99998843)), D(2958465.99998843));
  EXPECT_EQ(ErrorOf([] { au::Add(D(-657435.99998843), I2(0)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Add(D(-657434.99998843), R8(-1)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Add(D(2958465.99998843), R8(0.00001157)); }), 6);
}

TEST(OperatorsDate, NumbersTurnedIntoDatesCoverEveryMomentOfFirstAndLastDay) {
  ExpectValue(au::Subtract(R8(-657434.99998843), D(0)), D(-657434.99998843));
  ExpectValue(au::Subtract(D(0), R8(2958465.99998843)), D(-2958465.99998843));
  EXPECT_EQ(ErrorOf([] { au::Subtract(R8(-657435.99998843), D(0)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Subtract(D(0), R8(2958466)); }), 6);
}

TEST(OperatorsDate, DateDifferenceIsNotRangeChecked) {
  ExpectValue(au::Subtract(D(-657434), R8(1)), D(-657435));
  ExpectValue(au::Subtract(D(2958465), I2(-1)), D(2958466));
  ExpectValue(au::Subtract(D(0), I4(657435)), D(-657435));
}

TEST(OperatorsDate, SubtractingWithDateOverflowsForLongOrDoubleOutsideCalendar) {
  EXPECT_EQ(ErrorOf([] { au::Subtract(I4(-657435), D(0)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Subtract(D(0), I4(2147483647)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Subtract(R8(-700000), D(0)); }), 6);
  ExpectValue(au::Subtract(I4(-657434), D(0)), D(-657434));
  // A Single or a text is not turned into a date first.
  ExpectValue(au::Subtract(R4(-700000), D(0)), D(-700000));
  ExpectValue(au::Subtract(S(u"-700000"), D(0)), D(-700000));
}

TEST(OperatorsDate, DateTimesOrDividedGivesDouble) {
  ExpectValue(au::Multiply(D(3), I2(3)), R8(9));
  ExpectValue(au::Divide(D(3), D(3)), R8(1));
}

// --- Null, errors, objects ------------------------------------------------------------------------

TEST(OperatorsNull, NullInGivesNullOut) {
  for (const Value& other : {E(), N(), B(true), I2(1), I4(1), R4(1), R8(1), D(1), S(u"abc")}) {
    EXPECT_TRUE(au::Add(N(), other).IsNull());
    EXPECT_TRUE(au::Add(other, N()).IsNull());
    EXPECT_TRUE(au::Subtract(other, N()).IsNull());
    EXPECT_TRUE(au::Multiply(N(), other).IsNull());
    EXPECT_TRUE(au::Divide(other, N()).IsNull());
    EXPECT_TRUE(au::IntegerDivide(N(), other).IsNull());
    EXPECT_EQ(au::Compare(other, N()), Comparison::Null);
  }
}

TEST(OperatorsNull, OmittedArgumentInArithmeticRaises13) {
  EXPECT_EQ(ErrorOf([] { au::Add(Value::Missing(), I2(1)); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Divide(I2(1), Value::Missing()); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Concatenate(Value::Missing(), S(u"x")); }), 13);
  EXPECT_EQ(ErrorOf([] { au::Compare(Value::Missing(), I2(1)); }), 13);
}

TEST(OperatorsObject, ObjectStandsForItsDefaultMember) {
  ExpectValue(au::Add(Obj(I2(2)), I2(3)), I2(5));
  ExpectValue(au::Add(Obj(S(u"a")), Obj(S(u"b"))), S(u"ab"));
  ExpectValue(au::Concatenate(Obj(S(u"a")), I2(1)), S(u"a1"));
  EXPECT_EQ(au::Compare(Obj(I4(2)), Obj(R8(2))), Comparison::Equal);
  ExpectValue(au::Add(Obj(Obj(I4(1))), I4(1)), I4(2));
}

TEST(OperatorsObject, NothingRaises91) {
  EXPECT_EQ(ErrorOf([] { au::Add(Value::Object(nullptr), I2(1)); }), 91);
  EXPECT_EQ(ErrorOf([] { au::Compare(I2(1), Value::Object(nullptr)); }), 91);
}

// --- "/" ------------------------------------------------------------------------------------------

TEST(OperatorsDivide, WholeNumbersDivideToDouble) {
  ExpectValue(au::Divide(I2(7), I2(2)), R8(3.5));
  ExpectValue(au::Divide(I4(1), I4(3)), R8(1.0 / 3));
  ExpectValue(au::Divide(B(true), B(true)), R8(1));
  ExpectValue(au::Divide(I2(-32768), I2(-1)), R8(32768));
}

TEST(OperatorsDivide, SingleDividesToSingleUnlessLongOrDouble) {
  ExpectValue(au::Divide(R4(1), R4(3)), R4(1.0f / 3));
  ExpectValue(au::Divide(I2(1), R4(3)), R4(1.0f / 3));
  ExpectValue(au::Divide(E(), R4(3)), R4(0));
  ExpectValue(au::Divide(I4(1), R4(3)), R8(1.0 / 3));
  ExpectValue(au::Divide(R4(1), D(4)), R8(0.25));
}

TEST(OperatorsDivide, TextsDivideAsNumbers) { ExpectValue(au::Divide(S(u"1"), S(u"4")), R8(0.25)); }

TEST(OperatorsDivide, EmptyDividendIsZero) {
  const Value r = au::Divide(E(), B(true));
  EXPECT_EQ(r.Type(), VarType::Double);
  EXPECT_EQ(r.GetDouble(), 0.0);
  EXPECT_TRUE(std::signbit(r.GetDouble()));
}

TEST(OperatorsDivide, DivisionByZeroRaises11) {
  EXPECT_EQ(ErrorOf([] { au::Divide(I2(1), I2(0)); }), 11);
  EXPECT_EQ(ErrorOf([] { au::Divide(R8(-1), R8(0)); }), 11);
  EXPECT_EQ(ErrorOf([] { au::Divide(B(true), B(false)); }), 11);
  EXPECT_EQ(ErrorOf([] { au::Divide(I2(1), S(u"0")); }), 11);
}

TEST(OperatorsDivide, DivisionByEmptyRaises11) {
  EXPECT_EQ(ErrorOf([] { au::Divide(I2(5), E()); }), 11);
  EXPECT_EQ(ErrorOf([] { au::Divide(R4(5), E()); }), 11);
}

TEST(OperatorsDivide, ZeroByZeroRaises6) {
  EXPECT_EQ(ErrorOf([] { au::Divide(I2(0), I2(0)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Divide(R4(0), R4(0)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Divide(E(), E()); }), 6);
}

TEST(OperatorsDivide, QuotientOutOfRangeRaises6) {
  EXPECT_EQ(ErrorOf([] { au::Divide(R8(1e308), R8(0.001)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::Divide(R4(3e38f), R4(0.001f)); }), 6);
}

// --- "\" ------------------------------------------------------------------------------------------

TEST(OperatorsIntegerDivide, SixteenBitOperandsGiveInteger) {
  ExpectValue(au::IntegerDivide(I2(7), I2(2)), I2(3));
  ExpectValue(au::IntegerDivide(I2(-7), I2(2)), I2(-3));
  ExpectValue(au::IntegerDivide(B(true), B(true)), I2(1));
  ExpectValue(au::IntegerDivide(I2(-7), B(true)), I2(7));
  ExpectValue(au::IntegerDivide(E(), I2(1)), I2(0));
}

TEST(OperatorsIntegerDivide, OtherOperandsGiveLong) {
  ExpectValue(au::IntegerDivide(I2(7), I4(2)), I4(3));
  ExpectValue(au::IntegerDivide(R4(7), R4(2)), I4(3));
  ExpectValue(au::IntegerDivide(E(), R8(1)), I4(0));
  ExpectValue(au::IntegerDivide(D(36526.75), I2(1)), I4(36527));
  ExpectValue(au::IntegerDivide(S(u"10"), S(u"3")), I4(3));
}

TEST(OperatorsIntegerDivide, OperandsRoundHalfToEvenThenQuotientTruncates) {
  ExpectValue(au::IntegerDivide(R8(2.5), R8(1)), I4(2));
  ExpectValue(au::IntegerDivide(R8(3.5), R8(1)), I4(4));
  ExpectValue(au::IntegerDivide(R8(7), R8(2.5)), I4(3));
  ExpectValue(au::IntegerDivide(R8(7), R8(1.5)), I4(3));
  ExpectValue(au::IntegerDivide(R8(-7.5), R8(2)), I4(-4));
  ExpectValue(au::IntegerDivide(R8(-6.5), R8(2)), I4(-3));
  ExpectValue(au::IntegerDivide(S(u"7.5"), S(u"2")), I4(4));
}

TEST(OperatorsIntegerDivide, DivisorRoundingToZeroRaises11) {
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(R8(7), R8(0.4)); }), 11);
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(R8(7), R8(0.5)); }), 11);
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(I2(7), I2(0)); }), 11);
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(I2(7), E()); }), 11);
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(E(), E()); }), 11);
  ExpectValue(au::IntegerDivide(R8(7), R8(0.6)), I4(7));
}

TEST(OperatorsIntegerDivide, OperandOutsideLongRangeRaises6) {
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(R8(3e9), I2(1)); }), 6);
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(R8(2147483647.5), I2(1)); }), 6);
  ExpectValue(au::IntegerDivide(R8(-2147483648.5), I2(1)), I4(-2147483647 - 1));
}

TEST(OperatorsIntegerDivide, LongMinimumByMinusOneRaises6) {
  EXPECT_EQ(ErrorOf([] { au::IntegerDivide(I4(-2147483647 - 1), I4(-1)); }), 6);
}

TEST(OperatorsIntegerDivide, IntegerMinimumByMinusOneStaysSixteenBit) {
  ExpectValue(au::IntegerDivide(I2(-32768), I2(-1)), I2(-32768));
}

// --- "&" ------------------------------------------------------------------------------------------

TEST(OperatorsConcatenate, JoinsTexts) {
  ExpectValue(au::Concatenate(S(u"ab"), S(u"cd")), S(u"abcd"));
}

TEST(OperatorsConcatenate, NumbersBooleansAndDatesJoinAsTheirText) {
  ExpectValue(au::Concatenate(I2(-5), S(u"x")), S(u"-5x"));
  ExpectValue(au::Concatenate(R8(1.5), I4(2)), S(u"1.52"));
  ExpectValue(au::Concatenate(B(true), B(false)), S(u"TrueFalse"));
  ExpectValue(au::Concatenate(D(36526.5), S(u"")), S(u"1/1/2000 12:00:00 PM"));
  ExpectValue(au::Concatenate(R8(1e20), S(u"")), S(u"1E+20"));
}

TEST(OperatorsConcatenate, NullAndEmptyJoinAsEmptyText) {
  ExpectValue(au::Concatenate(N(), S(u"a")), S(u"a"));
  ExpectValue(au::Concatenate(I2(3), N()), S(u"3"));
  ExpectValue(au::Concatenate(E(), E()), S(u""));
  ExpectValue(au::Concatenate(N(), E()), S(u""));
}

TEST(OperatorsConcatenate, NullWithNullGivesNull) { EXPECT_TRUE(au::Concatenate(N(), N()).IsNull()); }

// --- Comparison -----------------------------------------------------------------------------------

TEST(OperatorsCompare, TextsCompareByCodeUnit) {
  EXPECT_EQ(au::Compare(S(u"a"), S(u"B")), Comparison::Greater);
  EXPECT_EQ(au::Compare(S(u"A"), S(u"a")), Comparison::Less);
  EXPECT_EQ(au::Compare(S(u"10"), S(u"9")), Comparison::Less);
  EXPECT_EQ(au::Compare(S(u"abc"), S(u"ab")), Comparison::Greater);
  EXPECT_EQ(au::Compare(S(u"a-b"), S(u"ab")), Comparison::Less);
  EXPECT_EQ(au::Compare(S(u""), S(u"")), Comparison::Equal);
}

TEST(OperatorsCompare, NumbersCompareNumericallyAcrossKinds) {
  EXPECT_EQ(au::Compare(I2(3), I4(3)), Comparison::Equal);
  EXPECT_EQ(au::Compare(I4(100000), I2(5)), Comparison::Greater);
  EXPECT_EQ(au::Compare(I4(2147483647), R8(2147483647.5)), Comparison::Less);
  EXPECT_EQ(au::Compare(R8(-0.0), R8(0.0)), Comparison::Equal);
  EXPECT_EQ(au::Compare(B(true), I2(-1)), Comparison::Equal);
  EXPECT_EQ(au::Compare(B(true), B(false)), Comparison::Less);
}

TEST(OperatorsCompare, SingleComparesInSinglePrecision) {
  EXPECT_EQ(au::Compare(R4(0.1f), R8(0.1)), Comparison::Equal);
  EXPECT_EQ(au::Compare(R8(0.3), R4(0.3f)), Comparison::Equal);
  EXPECT_EQ(au::Compare(R4(0.1f), R8(0.1000001)), Comparison::Less);
  EXPECT_EQ(au::Compare(I4(16777217), R4(16777216.0f)), Comparison::Equal);
  EXPECT_EQ(au::Compare(R4(1), R8(1e300)), Comparison::Less);
  EXPECT_EQ(au::Compare(R4(1), R8(-1e300)), Comparison::Greater);
}

TEST(OperatorsCompare, DatesCompareBySerial) {
  EXPECT_EQ(au::Compare(D(37329), D(37330)), Comparison::Less);
  EXPECT_EQ(au::Compare(D(36526.5), R8(36526.5)), Comparison::Equal);
  EXPECT_EQ(au::Compare(D(-1.25), D(-1.5)), Comparison::Greater);
}

TEST(OperatorsCompare, NumberIsLessThanAnyText) {
  EXPECT_EQ(au::Compare(I2(3), S(u"3")), Comparison::Less);
  EXPECT_EQ(au::Compare(S(u"1"), R8(1)), Comparison::Greater);
  EXPECT_EQ(au::Compare(S(u"2"), I2(10)), Comparison::Greater);
  EXPECT_EQ(au::Compare(D(36526), S(u"1/1/2000")), Comparison::Less);
  EXPECT_EQ(au::Compare(B(true), S(u"True")), Comparison::Less);
  EXPECT_EQ(au::Compare(R8(1e300), S(u"")), Comparison::Less);
}

TEST(OperatorsCompare, EmptyIsZeroBesideNumbers) {
  EXPECT_EQ(au::Compare(E(), I2(0)), Comparison::Equal);
  EXPECT_EQ(au::Compare(E(), R8(-1)), Comparison::Greater);
  EXPECT_EQ(au::Compare(E(), B(true)), Comparison::Greater);
  EXPECT_EQ(au::Compare(I2(3), E()), Comparison::Greater);
  EXPECT_EQ(au::Compare(E(), E()), Comparison::Equal);
}

TEST(OperatorsCompare, EmptyIsEmptyTextBesideTexts) {
  EXPECT_EQ(au::Compare(E(), S(u"")), Comparison::Equal);
  EXPECT_EQ(au::Compare(E(), S(u"a")), Comparison::Less);
  EXPECT_EQ(au::Compare(S(u"1"), E()), Comparison::Greater);
  EXPECT_EQ(au::Compare(S(u""), E()), Comparison::Equal);
}

TEST(OperatorsCompare, ComparisonOperatorsGiveBoolean) {
  ExpectValue(au::LessThan(I2(1), I2(2)), B(true));
  ExpectValue(au::LessThan(I2(2), I2(2)), B(false));
  ExpectValue(au::LessOrEqual(I2(2), I2(2)), B(true));
  ExpectValue(au::GreaterThan(S(u"b"), S(u"a")), B(true));
  ExpectValue(au::GreaterOrEqual(S(u"a"), S(u"b")), B(false));
  ExpectValue(au::Equal(R8(2), I4(2)), B(true));
  ExpectValue(au::NotEqual(R8(2), I4(2)), B(false));
  ExpectValue(au::NotEqual(S(u"10"), I4(10)), B(true));
}

TEST(OperatorsCompare, ComparisonOperatorsGiveNullForNull) {
  EXPECT_TRUE(au::LessThan(N(), I2(1)).IsNull());
  EXPECT_TRUE(au::Equal(N(), N()).IsNull());
  EXPECT_TRUE(au::NotEqual(S(u"a"), N()).IsNull());
  EXPECT_TRUE(au::GreaterOrEqual(E(), N()).IsNull());
}

// --- A value against a literal of a numeric kind ---------------------------------------------

namespace {

Comparison WithZero(const Value& v) { return au::CompareWithLiteral(v, I2(0)); }
Comparison WithTrue(const Value& v) { return au::CompareWithLiteral(v, B(true)); }

class Holder : public au::Object {
 public:
  explicit Holder(Value v) : v_(std::move(v)) {}
  Value DefaultValue() override { return v_; }
  std::u16string ClassName() const override { return u"Holder"; }

 private:
  Value v_;
};

}  // namespace

TEST(CompareWithLiteral, ATextThatReadsAsANumberIsThatNumber) {
  for (const char16_t* zero : {u"0", u"0.0", u" 0", u"-0", u"0e5", u"(0)"}) {
    EXPECT_EQ(WithZero(S(zero)), Comparison::Equal);
  }
  EXPECT_EQ(WithZero(S(u"5")), Comparison::Greater);
  EXPECT_EQ(WithZero(S(u"-1")), Comparison::Less);
  EXPECT_EQ(WithZero(S(u"0.5")), Comparison::Greater);
  EXPECT_EQ(WithTrue(S(u"-1")), Comparison::Equal);
  EXPECT_EQ(WithTrue(S(u"1")), Comparison::Greater);
  // The platform's comparison of two values puts the text above the number instead.
  EXPECT_EQ(au::Compare(S(u"0"), I2(0)), Comparison::Greater);
}

TEST(CompareWithLiteral, ATextThatIsNoNumberIsATypeMismatch) {
  EXPECT_EQ(ErrorOf([] { WithZero(S(u"abc")); }), 13);
  EXPECT_EQ(ErrorOf([] { WithZero(S(u"")); }), 13);
  EXPECT_EQ(ErrorOf([] { WithTrue(S(u"abc")); }), 13);
  // "True" and "False" are no numbers, so against 0 they do not compare either.
  EXPECT_EQ(ErrorOf([] { WithZero(S(u"True")); }), 13);
}

TEST(CompareWithLiteral, TrueAndFalseTextsMeetABooleanLiteralAsBooleans) {
  EXPECT_EQ(WithTrue(S(u"True")), Comparison::Equal);
  EXPECT_EQ(WithTrue(S(u"False")), Comparison::Greater);
}

TEST(CompareWithLiteral, NumbersBooleansAndDatesCompareNumerically) {
  EXPECT_EQ(WithZero(I4(0)), Comparison::Equal);
  EXPECT_EQ(WithZero(R8(-2.5)), Comparison::Less);
  EXPECT_EQ(WithZero(R4(0.0f)), Comparison::Equal);
  EXPECT_EQ(WithZero(B(false)), Comparison::Equal);
  EXPECT_EQ(WithTrue(B(true)), Comparison::Equal);
  EXPECT_EQ(WithTrue(B(false)), Comparison::Greater);
  // A whole number other than -1 is not True, though it counts as true in a condition.
  EXPECT_EQ(WithTrue(I2(5)), Comparison::Greater);
  EXPECT_EQ(WithTrue(I4(-1)), Comparison::Equal);
  // A date by its serial: only 12/29/1899 (-1) equals True, only 12/30/1899 equals 0.
  EXPECT_EQ(WithTrue(D(37329.0)), Comparison::Greater);
  EXPECT_EQ(WithTrue(D(-1.0)), Comparison::Equal);
  EXPECT_EQ(WithZero(D(0.0)), Comparison::Equal);
  EXPECT_EQ(WithZero(D(0.5)), Comparison::Greater);
}

TEST(CompareWithLiteral, EmptyIsZeroAndNullIsNull) {
  EXPECT_EQ(WithZero(Value()), Comparison::Equal);
  EXPECT_EQ(WithTrue(Value()), Comparison::Greater);
  EXPECT_EQ(WithZero(Value::Null()), Comparison::Null);
  EXPECT_EQ(WithTrue(Value::Null()), Comparison::Null);
}

TEST(CompareWithLiteral, AnObjectIsComparedThroughItsDefaultMember) {
  EXPECT_EQ(WithZero(Value::Object(std::make_shared<Holder>(S(u"0")))), Comparison::Equal);
  EXPECT_EQ(WithTrue(Value::Object(std::make_shared<Holder>(D(37329.0)))), Comparison::Greater);
  EXPECT_EQ(WithZero(Value::Object(std::make_shared<Holder>(Value::Null()))), Comparison::Null);
}
