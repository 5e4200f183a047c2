#pragma once
// The platform's operators on tagged values, with its result kinds: Integer overflow widens to
// Long then Double, Long to Double; Booleans count as -1/0 and give Integer; Single stays
// Single; "/" on whole numbers gives Double; "\" rounds both sides half to even, then truncates;
// "+" joins two texts; "-", "*", "/", "\" convert texts to numbers; Null in gives Null out.
// Objects stand for their default member.

#include "automation/value.h"

namespace qorvintr::automation {

Value Add(const Value& a, const Value& b);
Value Subtract(const Value& a, const Value& b);
Value Multiply(const Value& a, const Value& b);
Value Divide(const Value& a, const Value& b);          // by zero raises 11
Value IntegerDivide(const Value& a, const Value& b);   // by zero raises 11
Value Concatenate(const Value& a, const Value& b);     // "&": both as text; Null as ""

// The platform's comparison of two values.
enum class Comparison { Less, Equal, Greater, Null };
Comparison Compare(const Value& a, const Value& b);

// The comparison operators: Boolean, or Null when either side is Null.
Value LessThan(const Value& a, const Value& b);
Value GreaterThan(const Value& a, const Value& b);
Value LessOrEqual(const Value& a, const Value& b);
Value GreaterOrEqual(const Value& a, const Value& b);
Value Equal(const Value& a, const Value& b);
Value NotEqual(const Value& a, const Value& b);

}  // namespace qorvintr::automation
