#pragma once
// The error trap that every procedure of the component runs under.
//
// A procedure's body runs inside RunTrapped. Whatever it throws is turned into the platform's
// terms (TrappedError), handed to the procedure's handler, and the procedure answers its failure
// value; nothing escapes. The handler decides what the trap reports: every trap writes its text
// to the debug log (LogErrorTrap); the interpreter's traps also report to the host's error
// object, which is the interpreter's business and is layered on top of these pieces:
//
//   return support::RunTrapped(false, [&] { ...body...; return true; },
//       [&](const support::TrappedError& e) {
//         support::LogErrorTrap(u"Interpreter", u"AddInstance", e);
//         /* ReportError to the host here */
//       });

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace qorvintr::support {

struct TrappedError {
  std::int32_t number = 0;
  std::u16string source;
  std::u16string description;
};

// The exception in flight, in the platform's terms: an AutomationError as it is; running out of
// memory as 7 "Out of memory"; a text grown past its limit as 14 "Out of string space"; anything
// else as 51 "Internal error". Call it only inside a catch block.
TrappedError CaptureCurrentError() noexcept;

// "<module> - <procedure> - Error Trap" CR LF "Error: <number>" CR LF "<description>".
std::u16string ErrorTrapText(std::u16string_view module, std::u16string_view procedure,
                             const TrappedError& error);

// Writes the trap text to the debug log. A log that fails itself is ignored: a trap must never
// raise.
void LogErrorTrap(std::u16string_view module, std::u16string_view procedure,
                  const TrappedError& error) noexcept;

// Runs body(); on any error calls handler(error) (whose own errors are swallowed) and answers
// failure.
template <class Result, class Body, class Handler>
Result RunTrapped(Result failure, Body&& body, Handler&& handler) noexcept {
  TrappedError error;
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    error = CaptureCurrentError();
  }
  try {
    std::forward<Handler>(handler)(static_cast<const TrappedError&>(error));
  } catch (...) {
  }
  return failure;
}

}  // namespace qorvintr::support
