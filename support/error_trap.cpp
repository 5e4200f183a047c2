#include "support/error_trap.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "automation/decimal.h"
#include "qorvintr/error.h"
#include "support/debug_log.h"

namespace qorvintr::support {

namespace {
// The platform's number for a failure it has no better word for.
constexpr std::int32_t kInternalError = 51;

TrappedError Plain(std::int32_t number) noexcept {
  TrappedError e;
  e.number = number;
  // Without memory for the description the number alone is reported.
  IgnoreErrors([&] { e.description = std::u16string(automation::ErrorDescription(number)); });
  return e;
}
}  // namespace

TrappedError CaptureCurrentError() noexcept {
  try {
    throw;
  } catch (const automation::AutomationError& a) {
    TrappedError e;
    e.number = a.Number();
    // Without memory for the texts the number alone is reported.
    IgnoreErrors([&] {
      e.source = a.Source();
      e.description = a.Description();
    });
    return e;
  } catch (const std::bad_alloc&) {
    return Plain(automation::err::OutOfMemory);
  } catch (const std::length_error&) {
    return Plain(automation::err::OutOfStringSpace);
  } catch (...) {
    // Whatever else was thrown is the platform's internal error.
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
  automation::AppendDecimal(text, error.number);
  text += u"\r\n";
  text += error.description;
  return text;
}

void LogErrorTrap(std::u16string_view module, std::u16string_view procedure,
                  const TrappedError& error) {
  modDebugLog::WriteDebugLog(ErrorTrapText(module, procedure, error));
}

}  // namespace qorvintr::support
