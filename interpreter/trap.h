#pragma once
// Private to the interpreter: the error trap every procedure runs under, and the checked 16-bit
// arithmetic of its counters and positions.

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "automation/error.h"
#include "interpreter/interpreter.h"
#include "support/error_trap.h"

namespace qorvintr {

// Counters, positions and indexes are 16-bit with overflow detection: a result out of range is
// the platform's error 6, like any other error of the procedure.
inline std::int16_t Checked16(std::int64_t value) {
  if (value < INT16_MIN || value > INT16_MAX) automation::Raise(automation::err::Overflow);
  return static_cast<std::int16_t>(value);
}
inline std::int16_t Add16(std::int16_t a, std::int64_t b) { return Checked16(a + b); }

// The procedures that keep their failures to the debug log; every other one reports to the host.
inline constexpr std::u16string_view kNoReport{};

template <class Result, class Title, class Reported, class Body>
Result Interpreter::Trapped(const Title& title, const Reported& reported, Result failure,
                            Body&& body) {
  // Made only on failure: the traps run around every character the lexer reads.
  std::optional<support::TrappedError> error;
  try {
    if (fault_injector_) fault_injector_(std::u16string_view(title));
    return std::forward<Body>(body)();
  } catch (...) {
    error.emplace(support::CaptureCurrentError());
  }
  HandleError(std::u16string_view(title), std::u16string_view(reported), *error);
  return failure;
}

}  // namespace qorvintr
