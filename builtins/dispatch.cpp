// Function dispatch: the built-in named by the word reads its own arguments and leaves its value
// on the level's stack.
#include <string>

#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/trap.h"

namespace qorvintr::engine {

using automation::Value;

Interpreter::TapedBuiltIn Interpreter::TapedBuiltInNamed(std::u16string_view upper_name) noexcept {
  if (upper_name == u"FORMAT") return TapedBuiltIn::kFormat;
  if (upper_name == u"FORMATHL7DATETIME") return TapedBuiltIn::kFormatHL7DateTime;
  if (upper_name == u"REPLACE") return TapedBuiltIn::kReplace;
  if (upper_name == u"DATECAT") return TapedBuiltIn::kDateCat;
  return TapedBuiltIn::kNone;
}

Value Interpreter::PerformFunction(std::u16string_view function, std::int16_t level) {
  return Trapped(u"PerformFunction", u"PerformFunction", Value(), [&]() -> Value {
    const std::u16string name = automation::UCase(automation::TrimView(function));
    if (name == u"IF") return Value::Boolean(PerformIf(level));
    switch (TapedBuiltInNamed(name)) {
      case TapedBuiltIn::kFormat:
        return Value::Boolean(PerformFormat(level));
      case TapedBuiltIn::kFormatHL7DateTime:
        return Value::Boolean(PerformFormatHL7DateTime(level));
      case TapedBuiltIn::kReplace:
        return Value::Boolean(PerformReplace(level));
      case TapedBuiltIn::kDateCat:
        return Value::Boolean(PerformDateCat(level));
      case TapedBuiltIn::kNone:
        break;
    }
    if (name == u"DATECOMPARE") {
      const std::int16_t c = PerformDateCompare(level);
      if (c >= -1 && c <= 1) {
        // Kept: the comparison's value becomes a "Date" temporary made from its text (tests/interpreter_driver_test.cpp: Scripts.DateCompareGivingZeroLeavesADateTemporaryMadeFromTheTextZero)
        std::u16string text = c < 0 ? u"-1" : (c == 0 ? u"0" : u"1");
        std::u16string field = CreateDateDataField(text);
        // The error carries the driver's name as its source, not this procedure's.
        // Kept: a refused temporary is "Object required" (tests/interpreter_driver_test.cpp: Scripts.ARefusedDateCompareTemporaryIsObjectRequiredInPerformFunctionsTrap)
        if (field.empty()) RaiseObjectRequired();
        PushHeld(field, level);
      }
      return Value::Integer(c);
    }
    // The words prepared for a better error are never raised.
    // Kept: an unknown name ends in an overflow (tests/interpreter_driver_test.cpp: Scripts.AnUnknownFunctionWordOverflowsInPerformFunction)
    automation::Raise(automation::err::Overflow);
  });
}

}  // namespace qorvintr::engine
