#pragma once
// The platform's conversions between kinds (en-US), and its numeric and date tests.
//
// Behaviour is the language runtime's: CStr(True) is "True", a Date gives its general date
// text, Null converted to anything but a Variant raises 94 "Invalid use of Null", objects are
// converted through their default member, whole-number targets round halves to even, a value out
// of range raises 6 "Overflow", a conversion that cannot be made raises 13 "Type mismatch".

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "qorvintr/value.h"

namespace qorvintr::automation {

std::u16string CStr(const Value& v);
bool CBool(const Value& v);
std::int16_t CInt(const Value& v);
std::int32_t CLng(const Value& v);
float CSng(const Value& v);
double CDbl(const Value& v);
// A date serial. Text is parsed as a date first; a text that is no date but is numeric becomes
// that serial (CDate("1") is 12/31/1899).
double CDate(const Value& v);

// The general "change type": converts to the given kind (Empty and Null as the platform does:
// Empty becomes 0, "" or False; Null to a kind other than Null/Empty raises 94).
Value ChangeType(const Value& v, VarType to);

// IsNumeric: numbers, Booleans and Empty are numeric; a text when the number parser accepts it;
// dates, Null and errors are not; an object through its default member.
bool IsNumeric(const Value& v);
// IsDate: dates, and texts the date parser accepts; an object through its default member.
bool IsDate(const Value& v);

// Text to number as the platform parses it: blanks around, sign, thousands separators, decimal
// point, exponent, &H / &O, currency sign, parentheses for a negative. nullopt when rejected.
std::optional<double> ParseNumber(std::u16string_view text) noexcept;
// The same, raising 13 on rejection.
double TextToDouble(std::u16string_view text);

// Number to text as the platform writes it: up to 15 significant digits for a Double and 7 for
// a Single, scientific form "1E+20" / "1.5E-05" outside the plain range.
std::u16string DoubleToText(double d);
std::u16string SingleToText(float f);

// Rounds to a whole number, halves to the even neighbour (the platform's rule for conversions).
double RoundHalfEven(double d) noexcept;

}  // namespace qorvintr::automation
