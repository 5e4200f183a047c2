#include "automation/operators.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/text.h"

namespace qorvintr::automation {

namespace {

// The value an operator works on: an object stands for its default member. Plain values are
// used in place, so numeric operations never copy a text.
const Value& Operand(const Value& v, Value& holder) {
  if (!v.IsObject()) return v;
  holder = Dereference(v);
  return holder;
}

// Runs an arithmetic operator's body `f` on both operands taken as values; Null on either side
// makes the result Null before any kind is looked at.
template <typename F>
Value UnlessNull(const Value& a0, const Value& b0, F f) {
  Value ha, hb;
  const Value& a = Operand(a0, ha);
  const Value& b = Operand(b0, hb);
  if (a.IsNull() || b.IsNull()) return Value::Null();
  return f(a, b);
}

// The arithmetic class of an operand, in the order the result kind is decided. A text counts as
// a Double (it is converted with the number parser); Empty counts as a 16-bit zero that yields
// to the other side's kind.
enum class Cls : std::uint8_t { Empty, Boolean, Integer, Long, Single, Double, Date, String };

Cls ClassOf(const Value& v) {
  switch (v.Type()) {
    case VarType::Empty: return Cls::Empty;
    case VarType::Boolean: return Cls::Boolean;
    case VarType::Integer: return Cls::Integer;
    case VarType::Long: return Cls::Long;
    case VarType::Single: return Cls::Single;
    case VarType::Double: return Cls::Double;
    case VarType::Date: return Cls::Date;
    case VarType::String: return Cls::String;
    default: break;
  }
  // Error values (an omitted argument) and anything else take no part in arithmetic.
  Raise(err::TypeMismatch);
}

bool IsSmall(Cls c) { return c == Cls::Empty || c == Cls::Boolean || c == Cls::Integer; }

// Whole-number reads for the 16/32-bit classes (Empty, Boolean, Integer, Long).
std::int32_t WholeOf(const Value& v) {
  switch (v.Type()) {
    case VarType::Boolean:
    case VarType::Integer: return v.GetInteger();
    case VarType::Long: return v.GetLong();
    default: return 0;
  }
}

// Any operand as a Double; a text goes through the number parser (13 when it is no number).
double DoubleOf(const Value& v) {
  switch (v.Type()) {
    case VarType::Boolean:
    case VarType::Integer: return v.GetInteger();
    case VarType::Long: return v.GetLong();
    case VarType::Single: return v.GetSingle();
    case VarType::Double:
    case VarType::Date: return v.GetDouble();
    case VarType::String: return TextToDouble(v.GetString());
    default: return 0;
  }
}

// Operands of the Single class are Empty, Boolean, Integer or Single: all exact in a float.
float SingleOf(const Value& v) {
  return v.Type() == VarType::Single ? v.GetSingle() : static_cast<float>(WholeOf(v));
}

// The platform reports a Double result that leaves the finite range as an overflow.
Value FiniteDouble(double d) {
  if (!std::isfinite(d)) Raise(err::Overflow);
  return Value::Double(d);
}

// A 32-bit whole-number result; a result that does not fit becomes a Double.
Value LongOrDouble(std::int64_t r) {
  if (r >= std::numeric_limits<std::int32_t>::min() &&
      r <= std::numeric_limits<std::int32_t>::max()) {
    return Value::Long(static_cast<std::int32_t>(r));
  }
  return Value::Double(static_cast<double>(r));
}

// A 16-bit whole-number result; a result that does not fit becomes a Long.
Value IntegerOrLong(std::int32_t r) {
  if (r >= std::numeric_limits<std::int16_t>::min() &&
      r <= std::numeric_limits<std::int16_t>::max()) {
    return Value::Integer(static_cast<std::int16_t>(r));
  }
  return Value::Long(r);
}

enum class Op : std::uint8_t { Add, Subtract, Multiply };

template <typename T>
T Apply(Op op, T a, T b) {
  switch (op) {
    case Op::Add: return a + b;
    case Op::Subtract: return a - b;
    case Op::Multiply: return a * b;
  }
  return a;
}

// "+", "-" and "*" once texts are no longer to be joined.
Value NumericArithmetic(Op op, const Value& a, const Value& b) {
  const Cls ca = ClassOf(a);
  const Cls cb = ClassOf(b);

  if (ca == Cls::Date || cb == Cls::Date) {
    if (op == Op::Subtract) {
      // Subtracting with a date turns a Long or Double operand into a date first, so one outside
      // the calendar's range overflows (other kinds go through as numbers).
      // Kept: a Single or a text is not checked (tests/automation_operators_test.cpp: OperatorsDate.SubtractingWithDateOverflowsForLongOrDoubleOutsideCalendar)
      for (const Value* v : {&a, &b}) {
        if ((v->Type() == VarType::Long || v->Type() == VarType::Double) &&
            !InDateRange(DoubleOf(*v))) {
          Raise(err::Overflow);
        }
      }
    }
    const double r = Apply(op, DoubleOf(a), DoubleOf(b));
    if (op == Op::Multiply) return FiniteDouble(r);
    // The difference of two dates is a number of days.
    if (op == Op::Subtract && ca == Cls::Date && cb == Cls::Date) return FiniteDouble(r);
    // A sum outside the calendar's range is an overflow.
    // Kept: a difference is not checked (tests/automation_operators_test.cpp: OperatorsDate.DateDifferenceIsNotRangeChecked)
    if (op == Op::Add && !InDateRange(r)) Raise(err::Overflow);
    return Value::Date(r);
  }
  if (ca == Cls::Double || cb == Cls::Double || ca == Cls::String || cb == Cls::String) {
    return FiniteDouble(Apply(op, DoubleOf(a), DoubleOf(b)));
  }
  if (ca == Cls::Single || cb == Cls::Single) {
    // With a Long the precision of a Single is not enough: the platform answers a Double.
    if (ca == Cls::Long || cb == Cls::Long) return FiniteDouble(Apply(op, DoubleOf(a), DoubleOf(b)));
    const float r = Apply(op, SingleOf(a), SingleOf(b));
    if (std::isinf(r)) {
      // A Single result out of range widens to a Double.
      return FiniteDouble(Apply(op, static_cast<double>(SingleOf(a)),
                                static_cast<double>(SingleOf(b))));
    }
    return Value::Single(r);
  }
  if (ca == Cls::Long || cb == Cls::Long) {
    return LongOrDouble(Apply<std::int64_t>(op, WholeOf(a), WholeOf(b)));
  }
  // Empty, Boolean and Integer: 16-bit arithmetic widening to 32 bits (16 x 16 bits always fits).
  return IntegerOrLong(Apply<std::int32_t>(op, WholeOf(a), WholeOf(b)));
}

Value Arithmetic(Op op, const Value& a0, const Value& b0) {
  return UnlessNull(a0, b0, [op](const Value& a, const Value& b) -> Value {
    if (op == Op::Add) {
      // "+" joins texts; Empty beside a text is the empty text.
      if (a.IsString() && (b.IsString() || b.IsEmpty())) {
        if (b.IsEmpty()) return a;
        std::u16string joined;
        joined.reserve(a.GetString().size() + b.GetString().size());
        joined.append(a.GetString()).append(b.GetString());
        return Value::String(std::move(joined));
      }
      if (a.IsEmpty() && b.IsString()) return b;
    }
    return NumericArithmetic(op, a, b);
  });
}

// A whole number for "\": rounded half to even, 32-bit range or overflow.
std::int32_t LongForDivision(const Value& v) {
  switch (v.Type()) {
    case VarType::Empty:
    case VarType::Boolean:
    case VarType::Integer:
    case VarType::Long: return WholeOf(v);
    default: break;
  }
  const double r = std::nearbyint(DoubleOf(v));  // the default rounding: halves to even
  if (!(r >= -2147483648.0 && r <= 2147483647.0)) Raise(err::Overflow);
  return static_cast<std::int32_t>(r);
}

// The text of an operand of "&".
void AppendText(std::u16string& out, const Value& v) {
  switch (v.Type()) {
    case VarType::Empty:
    case VarType::Null: return;
    case VarType::String: out.append(v.GetString()); return;
    case VarType::Error: Raise(err::TypeMismatch);
    default: out.append(CStr(v)); return;
  }
}

// A Double in Single precision, rounded as the hardware rounds; beyond the Single range it is an
// infinity (a plain cast would be undefined there).
float ToSingle(double d) {
  constexpr double kMax = std::numeric_limits<float>::max();
  if (std::fabs(d) <= kMax || std::isnan(d)) return static_cast<float>(d);
  // Up to half a unit above the largest Single still rounds down to it.
  constexpr double kHalfUlpAbove = 340282356779733661637539395458142568448.0;  // 2^128 - 2^103
  const float big = std::fabs(d) < kHalfUlpAbove ? std::numeric_limits<float>::max()
                                                 : std::numeric_limits<float>::infinity();
  return d < 0 ? -big : big;
}

// Anything neither less nor equal is greater (so a NaN, which only the oracle's literals can
// produce, compares greater, as in the platform).
template <typename T>
Comparison Order(T x, T y) {
  if (x < y) return Comparison::Less;
  if (x == y) return Comparison::Equal;
  return Comparison::Greater;
}

// Numbers (Empty as 0, Booleans as -1/0, dates as their serial) compared numerically. When one
// side is a Single the platform compares in Single precision.
Comparison CompareNumbers(const Value& a, const Value& b) {
  if (a.Type() == VarType::Single || b.Type() == VarType::Single) {
    return Order(ToSingle(DoubleOf(a)), ToSingle(DoubleOf(b)));
  }
  // Every Integer and Long is exact in a Double.
  return Order(DoubleOf(a), DoubleOf(b));
}

Value Truth(Comparison c, bool less, bool equal, bool greater) {
  switch (c) {
    case Comparison::Less: return Value::Boolean(less);
    case Comparison::Equal: return Value::Boolean(equal);
    case Comparison::Greater: return Value::Boolean(greater);
    case Comparison::Null: break;
  }
  return Value::Null();
}

}  // namespace

Value Add(const Value& a, const Value& b) { return Arithmetic(Op::Add, a, b); }
Value Subtract(const Value& a, const Value& b) { return Arithmetic(Op::Subtract, a, b); }
Value Multiply(const Value& a, const Value& b) { return Arithmetic(Op::Multiply, a, b); }

Value Divide(const Value& a0, const Value& b0) {
  return UnlessNull(a0, b0, [](const Value& a, const Value& b) -> Value {
    const Cls ca = ClassOf(a);
    const Cls cb = ClassOf(b);

    // Single only when the other side is at most 16-bit or a Single; everything else is Double.
    const bool single = (ca == Cls::Single && (IsSmall(cb) || cb == Cls::Single)) ||
                        (cb == Cls::Single && IsSmall(ca));
    if (single) {
      const float x = SingleOf(a), y = SingleOf(b);
      // Zero by zero has no value: the platform calls it an overflow.
      if (y == 0) Raise(x == 0 ? err::Overflow : err::DivisionByZero);
      const float r = x / y;
      if (std::isinf(r)) Raise(err::Overflow);
      return Value::Single(r);
    }
    const double x = DoubleOf(a), y = DoubleOf(b);
    if (y == 0) Raise(x == 0 ? err::Overflow : err::DivisionByZero);
    return FiniteDouble(x / y);
  });
}

Value IntegerDivide(const Value& a0, const Value& b0) {
  return UnlessNull(a0, b0, [](const Value& a, const Value& b) -> Value {
    const Cls ca = ClassOf(a);
    const Cls cb = ClassOf(b);

    if (IsSmall(ca) && IsSmall(cb)) {
      const std::int32_t x = WholeOf(a), y = WholeOf(b);
      if (y == 0) Raise(err::DivisionByZero);
      // The 16-bit quotient is kept to 16 bits, as the platform does (-32768 \ -1 stays -32768).
      return Value::Integer(static_cast<std::int16_t>(x / y));
    }
    const std::int32_t x = LongForDivision(a);
    const std::int32_t y = LongForDivision(b);
    if (y == 0) Raise(err::DivisionByZero);
    if (x == std::numeric_limits<std::int32_t>::min() && y == -1) Raise(err::Overflow);
    return Value::Long(x / y);
  });
}

Value Concatenate(const Value& a0, const Value& b0) {
  Value ha, hb;
  const Value& a = Operand(a0, ha);
  const Value& b = Operand(b0, hb);
  // Only two Nulls give Null; one Null is the empty text.
  if (a.IsNull() && b.IsNull()) return Value::Null();
  std::u16string out;
  if (a.IsString() && b.IsString()) {
    out.reserve(a.GetString().size() + b.GetString().size());
  }
  AppendText(out, a);
  AppendText(out, b);
  return Value::String(std::move(out));
}

Comparison Compare(const Value& a0, const Value& b0) {
  Value ha, hb;
  const Value& a = Operand(a0, ha);
  const Value& b = Operand(b0, hb);
  if (a.IsNull() || b.IsNull()) return Comparison::Null;
  if (a.Type() == VarType::Error || b.Type() == VarType::Error) Raise(err::TypeMismatch);

  if (a.IsString() || b.IsString()) {
    if (a.IsString() && b.IsString()) {
      return Order(CompareText(a.GetString(), b.GetString(), CompareMode::Binary), 0);
    }
    // Empty beside a text is the empty text.
    if (a.IsEmpty()) return b.GetString().empty() ? Comparison::Equal : Comparison::Less;
    if (b.IsEmpty()) return a.GetString().empty() ? Comparison::Equal : Comparison::Greater;
    // A number (or date, or Boolean) is less than any text.
    return a.IsString() ? Comparison::Greater : Comparison::Less;
  }
  return CompareNumbers(a, b);
}

Value LessThan(const Value& a, const Value& b) { return Truth(Compare(a, b), true, false, false); }
Value GreaterThan(const Value& a, const Value& b) {
  return Truth(Compare(a, b), false, false, true);
}
Value LessOrEqual(const Value& a, const Value& b) { return Truth(Compare(a, b), true, true, false); }
Value GreaterOrEqual(const Value& a, const Value& b) {
  return Truth(Compare(a, b), false, true, true);
}
Value Equal(const Value& a, const Value& b) { return Truth(Compare(a, b), false, true, false); }
Value NotEqual(const Value& a, const Value& b) { return Truth(Compare(a, b), true, false, true); }

Comparison CompareWithLiteral(const Value& value, const Value& literal) {
  const Value v = Dereference(value);
  if (v.IsNull() || literal.IsNull()) return Comparison::Null;
  const double number = CDbl(literal);
  double x = 0;
  if (v.Type() == VarType::String && literal.Type() == VarType::Boolean) {
    // The text is read once: as a number when it is one, else as a Boolean text.
    const std::optional<double> n = ParseNumber(v.GetString());
    x = n ? *n : (CBool(v) ? -1.0 : 0.0);
  } else {
    x = CDbl(v);
  }
  if (x < number) return Comparison::Less;
  if (x > number) return Comparison::Greater;
  return Comparison::Equal;
}

}  // namespace qorvintr::automation
