#include "support/error_trap.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "automation/error.h"
#include "support/debug_log.h"

namespace qorvintr::support {

namespace {
// The platform's number for a failure it has no better word for.
constexpr std::int32_t kInternalError = 51;

TrappedError Plain(std::int32_t number) noexcept {
  TrappedError e;
  e.number = number;
  try {
    e.description = std::u16string(automation::ErrorDescription(number));
  } catch (...) {
  }
  return e;
}
}  // namespace

TrappedError CaptureCurrentError() noexcept {
  try {
    throw;
  } catch (const automation::AutomationError& a) {
    TrappedError e;
    e.number = a.Number();
    try {
      e.source = a.Source();
      e.description = a.Description();
    } catch (...) {
    }
    return e;
  } catch (const std::bad_alloc&) {
    return Plain(automation::err::OutOfMemory);
  } catch (const std::length_error&) {
    return Plain(automation::err::OutOfStringSpace);
  } catch (...) {
    return Plain(kInternalError);
  }
}

std::u16string ErrorTrapText(std::u16string_view module, std::u16string_view procedure,
                             const TrappedError& error) {
  std::u16string text;
  text.reserve(module.size() + procedure.size() + error.description.size() + 40);
  text += module;
  text += u" - ";
  text += procedure;
  text += u" - Error Trap\r\nError: ";
  std::string digits = std::to_string(error.number);
  text.append(digits.begin(), digits.end());
  text += u"\r\n";
  text += error.description;
  return text;
}

void LogErrorTrap(std::u16string_view module, std::u16string_view procedure,
                  const TrappedError& error) noexcept {
  try {
    modDebugLog::WriteDebugLog(ErrorTrapText(module, procedure, error));
  } catch (...) {
  }
}

}  // namespace qorvintr::support
