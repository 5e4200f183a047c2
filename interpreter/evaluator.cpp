// The expression evaluator: reduces an instance's stack three items at a time (right operand,
// operator, left operand) into new temporaries, with no precedence of its own.
#include <string>
#include <typeinfo>

#include "qorvintr/convert.h"
#include "automation/operators.h"
#include "automation/text.h"
#include "qorvintr/components/data_field.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/reduce.h"
#include "interpreter/trap.h"

namespace qorvintr::engine {

using automation::Value;
using automation::VarType;

namespace {

// A stack item used as a field; an empty reference is the platform's 91.
// Departure: an empty stack item used as an operand is error 91 (tests/fuzz_regressions_test.cpp: FuzzRegressions.AFailedFunctionBeforeEqualsIsReportedNotACrash)
contract::DataField& Field(const contract::DataFieldRef& item) {
  if (!item) automation::Raise(automation::err::ObjectVariableNotSet);
  return *item;
}

// "If value = 0": a numeric comparison with the whole number 0, as the language compares a
// value with a number (a text that is no number is a type mismatch; Null is never equal).
bool EqualsZero(const Value& value) {
  return automation::CompareWithLiteral(value, Value::Integer(0)) == automation::Comparison::Equal;
}

[[noreturn]] void RaiseFromEvaluator(std::int32_t code, std::u16string_view description) {
  RaiseObjectError(code, kEvaluatorSource, description);
}

}  // namespace

void reduce::Apply(std::u16string_view op, const Value& lv, const Value& rv, Value& result) {
  // Told by length and characters: this runs once per reduction.
  const char16_t first = op.empty() ? u'\0' : op[0];
  const char16_t second = op.size() == 2 ? op[1] : u'\0';
  if (op.size() == 1) {
    switch (first) {
      case u'<': result = automation::LessThan(lv, rv); return;
      case u'>': result = automation::GreaterThan(lv, rv); return;
      case u'=': result = automation::Equal(lv, rv); return;
      case u'+': result = automation::Add(lv, rv); return;
      case u'-': result = automation::Subtract(lv, rv); return;
      case u'*': result = automation::Multiply(lv, rv); return;
      case u'/':
        if (EqualsZero(rv)) RaiseFromEvaluator(kDivisionByZeroCode, u"Division by zero");
        result = automation::Divide(lv, rv);
        return;
      case u'\\':
        if (EqualsZero(rv)) RaiseFromEvaluator(kDivisionByZeroCode, u"Division by zero");
        result = automation::IntegerDivide(lv, rv);
        return;
      case u'&':
        // Kept: "&" on anything but two texts leaves the result as it was (tests/interpreter_evaluator_test.cpp: Evaluator.AmpersandOnTwoLongsGivesThePreviousResultOfTheSameCall)
        if (!KeepsResult(op, lv, rv)) result = automation::Concatenate(lv, rv);
        return;
      default: break;
    }
  } else if (op.size() == 2) {
    if (first == u'<' && second == u'=') {
      result = automation::LessOrEqual(lv, rv);
      return;
    }
    if (first == u'>' && second == u'=') {
      result = automation::GreaterOrEqual(lv, rv);
      return;
    }
    if ((first == u'<' && second == u'>') || (first == u'!' && second == u'=')) {
      result = automation::NotEqual(lv, rv);
      return;
    }
    if (first == u'=' && second == u'=') {
      result = automation::Equal(lv, rv);
      return;
    }
  }
  RaiseFromEvaluator(kInvalidCallCode, u"Invalid procedure call or argument");
}


std::u16string_view UnifyRuleText(UnifyRule rule) {
  switch (rule) {
    case UnifyRule::kDates: return u"the left item is a date: both as dates";
    case UnifyRule::kSameType: return u"the same DataType: the values as they are";
    case UnifyRule::kTexts: return u"a Date with another kind, or a left item that is no number: both as texts";
    case UnifyRule::kRightNotNumber: return u"the right item is no number: both as texts";
    case UnifyRule::kDouble: return u"a Double among them: both as Double";
    case UnifyRule::kSingle: return u"a Single among them: both as Single";
    case UnifyRule::kLong: return u"a Long among them: both as Long";
    case UnifyRule::kInteger: return u"an Integer among them: both as Integer";
    case UnifyRule::kBoolean: return u"a Boolean among them: both as Boolean";
    case UnifyRule::kNone: return u"no numeric kind named: the values of the previous reduction";
  }
  return u"";
}

// The instance's stack of data fields, as the evaluator reduces it: each reduction's value a new
// temporary, held by the level and looked up again by its name.
struct Interpreter::FieldStackItems {
  using Item = contract::DataFieldRef;
  Interpreter& interpreter;
  support::Stack& stack;
  const std::int16_t level;
  std::u16string result_name;

  static bool IsNone(const Item& item) noexcept { return !item; }
  bool Empty() const noexcept { return stack.IsStackEmpty(); }
  Item Pop() { return stack.Pop(); }
  void Push(const Item& item) noexcept { stack.Push(item); }
  static const Value& Data(const Item& item, Value& holder) {
    return reduce::ReadData(Field(item), holder);
  }
  static std::u16string_view DataType(const Item& item, std::u16string& holder) {
    return reduce::ReadDataType(Field(item), holder);
  }
  static bool IsDate(const Item&, const Value& data) { return automation::IsDate(data); }
  static bool IsNumeric(const Item&, const Value& data) { return automation::IsNumeric(data); }
  bool Reduced(const Item& left, std::u16string_view op, const Item& right, UnifyRule rule,
               const Value& value) {
    result_name = interpreter.CreateDataFieldFromVariant(value);
    interpreter.Notify([&](RunListener& l) {
      l.OnReduce(level, left, op, right, rule, value, result_name);
    });
    interpreter.AddNameToHoldArray(result_name, level);
    return !automation::TrimView(result_name).empty();
  }
  Item Latest() { return interpreter.MColField(result_name); }
};

bool Interpreter::EvaluateExpression(std::int16_t level) {
  bool result = false;
  Trapped(u"EvaluateExpression", u"EvaluateExpression", false, [&] {
    FieldStackItems items{*this, InstanceStack(level), level, {}};
    reduce::Reduce(items, result);
    return result;
  });
  return result;
}

}  // namespace qorvintr::engine
