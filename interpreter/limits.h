#pragma once
// Private to the interpreter: its fixed words, limits and numbers, each named once.

#include <cstdint>
#include <string_view>

namespace qorvintr::engine {

// ---- Words ---------------------------------------------------------------------------------

// What the lexer answers for the end of the text (and for a line end standing alone).
inline constexpr std::u16string_view kEndOfLine = u"<EOL>";
// What the reader returns past the end of the text.
inline constexpr char16_t kEndOfText = 127;
// The language's built-in functions and operators, as the interpreter adds them to its lists.
inline constexpr std::u16string_view kFunctionNames =
    u"If, Format, FormatHL7DateTime, Replace, DateCat, DateCompare";
inline constexpr std::u16string_view kOperatorNames = u"+ - * / \\ < > = == <= >= <> != &";

// ---- Limits --------------------------------------------------------------------------------

// Counters, positions and indexes are 16-bit: 32767 is the last value they hold, and so the
// last position the reader can reach.
inline constexpr std::int16_t kCounterMax = 32767;
inline constexpr std::int16_t kReadLimit = kCounterMax;

// The hold table has a row for each of the levels 0 to 15; only those levels can record their
// temporaries.
inline constexpr std::int16_t kDeepestLevel = 15;

// The hold table starts with slots 0 and 1 for every level.
inline constexpr std::int16_t kFirstHoldSlotUpperBound = 1;

// The instance, temporary-name and hold tables start at upper bound 5 and grow by 5.
inline constexpr std::int16_t kFirstUpperBound = 5;
inline constexpr std::int16_t kGrowth = 5;

// ---- The statement driver ------------------------------------------------------------------

enum class DriverState {
  kOperandExpected = 1,
  kOperatorExpected = 2,
};

// ---- IF ------------------------------------------------------------------------------------

// How GetStatements tells where a branch ended, when it ended at ELSEIF or ELSE (anything else
// leaves the code as it was).
inline constexpr std::int16_t kEndedAtElseIf = 32000;
inline constexpr std::int16_t kEndedAtElse = 32001;

// ---- The error report ----------------------------------------------------------------------

// The interpreter's error code, ReportError's first argument.
inline constexpr std::int32_t kInterpreterErrorCode = 150100;
// ReportError's fourth and fifth arguments: fixed values whose meaning is the host's.
inline constexpr std::int16_t kReportFourthArgument = 4;
inline constexpr std::int16_t kReportFifthArgument = 15;

// ---- Errors raised on purpose --------------------------------------------------------------

// Their numbers are the platform's object-error numbers (automation::err::ObjectError) of these
// codes; the sources name the raising procedure as the host sees it.
inline constexpr std::int32_t kInvalidCallCode = 5;
inline constexpr std::int32_t kSubscriptCode = 9;
inline constexpr std::int32_t kDivisionByZeroCode = 11;
inline constexpr std::int32_t kObjectRequiredCode = 424;
inline constexpr std::int32_t kSyntaxErrorCode = 2433;

inline constexpr std::u16string_view kDriverSource = u"Interpreter.RealizeRegularExpression";
inline constexpr std::u16string_view kReaderSource = u"Interpreter.GetNextChar";
inline constexpr std::u16string_view kEvaluatorSource = u"Interpreter.EvaluateExpression";
inline constexpr std::u16string_view kIfSource = u"Interpreter.PerformIf";

}  // namespace qorvintr::engine
