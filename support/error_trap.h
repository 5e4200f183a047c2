#pragma once
// The error trap that every procedure of the component runs under.
//
// A procedure's body runs inside RunTrapped. Whatever it throws is turned into the platform's
// terms (TrappedError), handed to the procedure's handler, and the procedure answers its failure
// value. Every handler writes the trap text to the debug log (LogErrorTrap); the interpreter's
// handlers also report to the host's error object, which is the interpreter's business and is
// layered on top (engine::Interpreter::Trapped):
//
//   return support::RunTrapped<support::OnHandlerError::kDrop>(0, [&] { ...body...; return 1; },
//       [&](const support::TrappedError& e) { support::LogErrorTrap(u"modX", u"Proc", e); });
//
// An error raised by the handler itself goes where the trap says: on to the caller, as an error
// raised inside an error handler does on the platform, or nowhere, where no caller's trap is
// left to take it.

#include <cstdint>
#include <optional>
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

// Writes the trap text to the debug log. A log that fails raises, like any handler step; the
// trap decides where that error goes.
void LogErrorTrap(std::u16string_view module, std::u16string_view procedure,
                  const TrappedError& error);

// Runs step; an error it raises is dropped. The one place where errors end without a trace.
template <class Step>
void IgnoreErrors(Step&& step) noexcept {
  try {
    std::forward<Step>(step)();
  } catch (...) {
    // Dropped on purpose: the caller has said this step may fail unnoticed.
  }
}

// What becomes of an error that the handler raises while it handles another one.
enum class OnHandlerError {
  // It leaves the trap for the caller, whose own trap takes it.
  kRaise,
  // It is dropped: the trap sits where no caller's trap is left (an entry point).
  kDrop,
};

// Runs body(); on any error calls handler(error) and answers failure.
template <OnHandlerError kOnHandlerError, class Result, class Body, class Handler>
Result RunTrapped(Result failure, Body&& body,
                  Handler&& handler) noexcept(kOnHandlerError == OnHandlerError::kDrop) {
  // Made only on failure: the interpreter's traps run around every character it reads.
  std::optional<TrappedError> error;
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    // Every error is the trap's: it goes to the handler in the platform's terms.
    error.emplace(CaptureCurrentError());
  }
  if constexpr (kOnHandlerError == OnHandlerError::kDrop) {
    IgnoreErrors([&] { std::forward<Handler>(handler)(static_cast<const TrappedError&>(*error)); });
  } else {
    std::forward<Handler>(handler)(static_cast<const TrappedError&>(*error));
  }
  return failure;
}

}  // namespace qorvintr::support
