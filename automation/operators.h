#pragma once
// The platform's operators on tagged values, with its result kinds:
// - whole numbers: Integer overflow widens to Long then Double, Long to Double; Booleans count as
//   -1/0 and give Integer; Empty counts as 0 of the other side's kind (Empty with Empty: Integer);
// - Single stays Single, except with a Long or a Double (Double) and when a sum, difference or
//   product leaves the Single range (Double; a quotient out of range raises 6);
// - dates: a date with a number gives a date, the difference of two dates a Double, "*" and "/"
//   a Double; a date sum outside the calendar raises 6, and so does a Long or Double outside it
//   subtracted from or with a date (it is made a date first);
// - "/" on whole numbers gives Double; "\" rounds both sides half to even, then truncates
//   (Integer for 16-bit, Boolean and Empty operands, Long otherwise);
// - texts: "+" joins two texts (Empty beside a text is the empty text); otherwise a text is
//   converted to Double with the number parser (13 when it is not a number);
// - Null in gives Null out; a Double result out of range raises 6; division by zero (Empty counts
//   as zero) raises 11, 0 / 0 raises 6; an omitted argument raises 13.
// Objects stand for their default member.

#include "qorvintr/value.h"

namespace qorvintr::automation {

Value Add(const Value& a, const Value& b);
Value Subtract(const Value& a, const Value& b);
Value Multiply(const Value& a, const Value& b);
Value Divide(const Value& a, const Value& b);          // by zero raises 11
Value IntegerDivide(const Value& a, const Value& b);   // by zero raises 11
// "&": both as their text (Booleans "True"/"False", dates their general date); Null and Empty as
// ""; Null with Null gives Null.
Value Concatenate(const Value& a, const Value& b);

// The platform's comparison of two values: texts by UTF-16 code unit (the binary mode); numbers,
// Booleans (-1/0) and dates (their serial) numerically, in Single precision when either side is
// a Single; any number is less than any text; Empty is 0 beside a number and "" beside a text;
// Null with anything gives Null.
enum class Comparison { Less, Equal, Greater, Null };
Comparison Compare(const Value& a, const Value& b);

// The comparison operators: Boolean, or Null when either side is Null.
Value LessThan(const Value& a, const Value& b);
Value GreaterThan(const Value& a, const Value& b);
Value LessOrEqual(const Value& a, const Value& b);
Value GreaterOrEqual(const Value& a, const Value& b);
Value Equal(const Value& a, const Value& b);
Value NotEqual(const Value& a, const Value& b);

// A value compared with a literal of a numeric kind, as the language compares them (the 0 of
// "value <> 0", the True of "value = True"). A literal has a declared type, so the comparison
// is numeric whenever the value holds, or reads as, a number: a text the number parser accepts
// is that number, Empty is 0, Booleans are -1/0 and dates their serial. A text that is no number
// is a type mismatch (13), except that a text the Boolean conversion accepts ("True", "False")
// meets a Boolean literal as that Boolean. Null compares as Null. This is not the platform's
// comparison of two values above, which ranks every text above every number.
Comparison CompareWithLiteral(const Value& value, const Value& literal);

}  // namespace qorvintr::automation
