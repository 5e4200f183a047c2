// Function dispatch: the built-in named by the word reads its own arguments and leaves its value
// on the level's stack.
#include <string>

#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/trap.h"

namespace qorvintr {

using automation::Value;

Value Interpreter::PerformFunction(std::u16string_view strFunction, std::int16_t& intLevel) {
  return Trapped(u"PerformFunction", u"PerformFunction", Value(), [&]() -> Value {
    const std::u16string name = automation::UCase(automation::TrimView(strFunction));
    if (name == u"IF") return Value::Boolean(PerformIf(intLevel));
    if (name == u"FORMAT") return Value::Boolean(PerformFormat(intLevel));
    if (name == u"FORMATHL7DATETIME") return Value::Boolean(PerformFormatHL7DateTime(intLevel));
    if (name == u"REPLACE") return Value::Boolean(PerformReplace(intLevel));
    if (name == u"DATECAT") return Value::Boolean(PerformDateCat(intLevel));
    if (name == u"DATECOMPARE") {
      const std::int16_t c = PerformDateCompare(intLevel);
      if (c >= -1 && c <= 1) {
        // The comparison's value becomes a "Date" temporary made from its text; kept as it is.
        std::u16string text = c < 0 ? u"-1" : (c == 0 ? u"0" : u"1");
        std::u16string field = CreateDateDataField(text);
        if (field.empty()) {
          // The source names the driver, not this procedure.
          automation::Raise(automation::err::ObjectErrorBase + 936,
                            u"Interpreter.RealizeRegularExpression", u"Object required");
        }
        InstanceStack(intLevel).Push(HostFields()->Item(field));
        AddNameToHoldArray(field, intLevel);
      }
      return Value::Integer(c);
    }
    // An unknown name ends in an overflow; the words prepared for a better error are never
    // raised, and this is kept.
    automation::Raise(automation::err::Overflow);
  });
}

}  // namespace qorvintr
