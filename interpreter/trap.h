#pragma once
// Private to the interpreter: the error trap every procedure runs under, the errors raised on
// purpose, and the checked 16-bit arithmetic of counters and positions.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "qorvintr/error.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "support/error_trap.h"

namespace qorvintr::engine {

// Counters, positions and indexes are 16-bit with overflow detection: a result out of range is
// the platform's error 6, like any other error of the procedure.
inline std::int16_t Checked16(std::int64_t value) {
  if (value < INT16_MIN || value > INT16_MAX) automation::Raise(automation::err::Overflow);
  return static_cast<std::int16_t>(value);
}
inline std::int16_t Add16(std::int16_t a, std::int64_t b) { return Checked16(a + b); }

// The procedures that keep their failures to the debug log; every other one reports to the host.
// Kept: AddOperator, AddDelimiter, AddFunction, Init, IsDataField, DateCompare and PerformDateCat report to no one (tests/interpreter_traps_test.cpp: Traps.EveryProcedureWritesItsTitleAndReportsItsName)
inline constexpr std::u16string_view kNoReport{};

// ---- Errors raised on purpose ----------------------------------------------------------------

[[noreturn]] inline void RaiseObjectError(std::int32_t code, std::u16string_view source,
                                          std::u16string_view description) {
  automation::Raise(automation::err::ObjectError(code), std::u16string(source),
                    std::u16string(description));
}
// A temporary the collection refused; raised under the driver's name wherever it happens.
[[noreturn]] inline void RaiseObjectRequired() {
  RaiseObjectError(kObjectRequiredCode, kDriverSource, u"Object required");
}
[[noreturn]] inline void RaiseSyntaxError(std::u16string_view source) {
  RaiseObjectError(kSyntaxErrorCode, source, u"Syntax error");
}
// The reader at its last position.
[[noreturn]] inline void RaiseReadLimit() {
  RaiseObjectError(kSubscriptCode, kReaderSource, u"Subscript out of range");
}

// The argument readers' 450, with the reader's own description.
[[noreturn]] inline void RaiseWrongArguments(std::u16string_view description) {
  automation::Raise(automation::err::WrongNumberOfArguments, {}, std::u16string(description));
}
// Format's and Replace's description; FormatHL7DateTime's ends in a full stop.
// Kept: the two descriptions differ by the full stop (tests/builtins_format_test.cpp: FormatBuiltins.FormatOfANameThatIsNoDataFieldRaises450WithoutAFullStop, FormatBuiltins.HL7FlagWrittenInLowerCaseRaises450WithAFullStop)
inline constexpr std::u16string_view kWrongArguments =
    u"Wrong number of arguments or invalid property assignment";
inline constexpr std::u16string_view kWrongArgumentsHL7 =
    u"Wrong number of arguments or invalid property assignment.";

// ---- The trap ------------------------------------------------------------------------------

template <support::OnHandlerError kOnHandlerError, class Result, class Title, class Reported,
          class Body>
Result Interpreter::Trapped(const Title& title, const Reported& reported, Result failure,
                            Body&& body) {
  return support::RunTrapped<kOnHandlerError>(
      std::move(failure),
      [&]() -> Result {
        InjectFault(std::u16string_view(title));
        return std::forward<Body>(body)();
      },
      [&](const support::TrappedError& error) {
        ++traps_met_;
        // Departure: an unwatched run that meets an error reports nothing and declines, and the general run reports it (tests/interpreter_unwatched_test.cpp: Unwatched.ATypeMismatchMidScriptDeclinesAndTheGeneralRunReports)
        if (unwatched_) [[unlikely]] Decline();
        HandleError(std::u16string_view(title), std::u16string_view(reported), error);
      });
}

}  // namespace qorvintr::engine
