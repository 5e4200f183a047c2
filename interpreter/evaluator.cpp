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
#include "interpreter/trap.h"

namespace qorvintr::engine {

using automation::Value;
using automation::VarType;

namespace {

// A stack item used as a field; an empty reference is the platform's 91.
// Departure: an empty stack item used as an operand is error 91 (tests/fuzz_regressions_test.cpp: FuzzRegressions.AFailedFunctionBeforeEqualsIsReportedNotACrash)
contract::DataField& Item(const contract::DataFieldRef& item) {
  if (!item) automation::Raise(automation::err::ObjectVariableNotSet);
  return *item;
}

// A field that is exactly the stock one reads its members without copies (nothing the host
// wrote runs on such a read); any other field is asked through its members, as always. The
// type is told by its type_info's address: mingw-w64 compares unequal types' names with strcmp,
// for every read of a host's or a COM field; a stock field of another module would only take
// the members' way.
const components::DataFieldObject* Stock(contract::DataField& field) noexcept {
  return &typeid(field) == &typeid(components::DataFieldObject)
             ? static_cast<const components::DataFieldObject*>(&field)
             : nullptr;
}
const Value& ReadData(contract::DataField& field, Value& holder) {
  if (const components::DataFieldObject* stock = Stock(field)) return stock->DataRef();
  holder = field.Data();
  return holder;
}
const std::u16string& ReadDataType(contract::DataField& field, std::u16string& holder) {
  if (const components::DataFieldObject* stock = Stock(field)) return stock->DataTypeRef();
  holder = field.DataType();
  return holder;
}

// The text of a field's Data, as a String parameter receives it.
std::u16string DataText(const contract::DataFieldRef& field) {
  Value holder;
  return automation::CStr(ReadData(Item(field), holder));
}

// "If value = 0": a numeric comparison with the whole number 0, as the language compares a
// value with a number (a text that is no number is a type mismatch; Null is never equal).
bool EqualsZero(const Value& value) {
  return automation::CompareWithLiteral(value, Value::Integer(0)) == automation::Comparison::Equal;
}

// Brings both operands to one kind before the operator applies. The first rule that applies
// decides; when none of the numeric kinds is named, both values keep what they held (the
// previous reduction's values, Empty at first).
// Kept: no numeric kind named leaves both values as they were (tests/interpreter_evaluator_test.cpp: Evaluator.NumericTypesWithoutAKnownNameKeepTheValuesOfThePreviousReduction)
UnifyRule Unify(contract::DataField& left, contract::DataField& right, Value& lv, Value& rv) {
  // The date test is made on the left item only (twice on the platform; once suffices, it has
  // no side effects).
  // Kept: only the left item is tested for a date (tests/interpreter_evaluator_test.cpp: Evaluator.ADateTextOnTheRightIsNotTestedSoTheTextsCompare)
  Value left_holder;
  Value right_holder;
  const Value& left_data = ReadData(left, left_holder);
  if (automation::IsDate(left_data)) {
    lv = Value::Date(automation::CDate(left_data));
    rv = Value::Date(automation::CDate(ReadData(right, right_holder)));
    return UnifyRule::kDates;
  }
  std::u16string left_type_holder;
  std::u16string right_type_holder;
  const std::u16string& left_type = ReadDataType(left, left_type_holder);
  const std::u16string& right_type = ReadDataType(right, right_type_holder);
  if (left_type == right_type) {
    lv = left_data;
    rv = ReadData(right, right_holder);
    return UnifyRule::kSameType;
  }
  if ((left_type == u"Date" && right_type != u"Date") || !automation::IsNumeric(left_data)) {
    lv = Value::String(automation::CStr(left_data));
    rv = Value::String(automation::CStr(ReadData(right, right_holder)));
    return UnifyRule::kTexts;
  }
  const Value& right_data = ReadData(right, right_holder);
  if (!automation::IsNumeric(right_data)) {
    lv = Value::String(automation::CStr(left_data));
    rv = Value::String(automation::CStr(right_data));
    return UnifyRule::kRightNotNumber;
  }
  auto either = [&](std::u16string_view type) { return left_type == type || right_type == type; };
  if (either(u"Double")) {
    lv = Value::Double(automation::CDbl(left_data));
    rv = Value::Double(automation::CDbl(right_data));
    return UnifyRule::kDouble;
  }
  if (either(u"Single")) {
    lv = Value::Single(automation::CSng(left_data));
    rv = Value::Single(automation::CSng(right_data));
    return UnifyRule::kSingle;
  }
  if (either(u"Long")) {
    lv = Value::Long(automation::CLng(left_data));
    rv = Value::Long(automation::CLng(right_data));
    return UnifyRule::kLong;
  }
  if (either(u"Integer")) {
    lv = Value::Integer(automation::CInt(left_data));
    rv = Value::Integer(automation::CInt(right_data));
    return UnifyRule::kInteger;
  }
  if (either(u"Boolean")) {
    lv = Value::Boolean(automation::CBool(left_data));
    rv = Value::Boolean(automation::CBool(right_data));
    return UnifyRule::kBoolean;
  }
  return UnifyRule::kNone;
}

[[noreturn]] void RaiseFromEvaluator(std::int32_t code, std::u16string_view description) {
  RaiseObjectError(code, kEvaluatorSource, description);
}

// Applies the operator to the unified values. "&" on anything but two texts leaves the result
// as it was.
void Apply(std::u16string_view op, const Value& lv, const Value& rv, Value& result) {
  if (op == u"<") {
    result = automation::LessThan(lv, rv);
  } else if (op == u">") {
    result = automation::GreaterThan(lv, rv);
  } else if (op == u"<=") {
    result = automation::LessOrEqual(lv, rv);
  } else if (op == u">=") {
    result = automation::GreaterOrEqual(lv, rv);
  } else if (op == u"<>" || op == u"!=") {
    result = automation::NotEqual(lv, rv);
  } else if (op == u"=" || op == u"==") {
    result = automation::Equal(lv, rv);
  } else if (op == u"+") {
    result = automation::Add(lv, rv);
  } else if (op == u"-") {
    result = automation::Subtract(lv, rv);
  } else if (op == u"*") {
    result = automation::Multiply(lv, rv);
  } else if (op == u"/") {
    if (EqualsZero(rv)) RaiseFromEvaluator(kDivisionByZeroCode, u"Division by zero");
    result = automation::Divide(lv, rv);
  } else if (op == u"\\") {
    if (EqualsZero(rv)) RaiseFromEvaluator(kDivisionByZeroCode, u"Division by zero");
    result = automation::IntegerDivide(lv, rv);
  } else if (op == u"&") {
    // Kept: "&" on anything but two texts leaves the result as it was (tests/interpreter_evaluator_test.cpp: Evaluator.AmpersandOnTwoLongsGivesThePreviousResultOfTheSameCall)
    if (lv.IsString() && rv.IsString()) result = automation::Concatenate(lv, rv);
  } else {
    RaiseFromEvaluator(kInvalidCallCode, u"Invalid procedure call or argument");
  }
}

}  // namespace

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

// Kept: no precedence, a run of operators groups from the right (tests/interpreter_evaluator_test.cpp: Evaluator.ARunOfOperatorsGroupsFromTheRight)
bool Interpreter::EvaluateExpression(std::int16_t level) {
  bool result = false;
  Trapped(u"EvaluateExpression", u"EvaluateExpression", false, [&] {
    support::Stack& stack = InstanceStack(level);
    contract::DataFieldRef right;
    contract::DataFieldRef op;
    contract::DataFieldRef left;
    std::u16string op_text;
    Value lv;
    Value rv;
    Value value;
    std::u16string result_name;
    bool done = false;
    while (!done) {
      if (!stack.IsStackEmpty()) right = stack.Pop();
      if (!stack.IsStackEmpty()) {
        op = stack.Pop();
      } else {
        op.reset();
      }
      if (!op) {
        stack.Push(right);
        done = true;
        result = true;
        continue;
      }
      std::u16string op_data = DataText(op);
      // Kept: a parenthesis ends the reduction, which then answers False (tests/interpreter_evaluator_test.cpp: Evaluator.AReductionStopsAtALeftParenthesisWhichIsDroppedAndTheResultIsFalse)
      if (IsRightParenthesis(op_data) || IsLeftParenthesis(op_data)) {
        stack.Push(right);
        done = true;
        continue;
      }
      // Kept: an operand in the operator's place drops the two items (tests/interpreter_evaluator_test.cpp: Evaluator.TwoOperandsWithNoOperatorLeaveOnlyTheUpperOne)
      std::u16string type_holder;
      if (ReadDataType(Item(op), type_holder) != u"Operator") {
        op_text.clear();
        continue;
      }
      op_text = std::move(op_data);
      if (!stack.IsStackEmpty()) {
        left = stack.Pop();
        if (!op_text.empty()) {
          const UnifyRule rule = Unify(Item(left), Item(right), lv, rv);
          Apply(op_text, lv, rv, value);
          result_name = CreateDataFieldFromVariant(value);
          Notify([&](RunListener& l) {
            l.OnReduce(level, left, op_text, right, rule, value, result_name);
          });
          AddNameToHoldArray(result_name, level);
        }
      }
      // Publish: the latest result of this call, or the right item when there is none yet.
      // Kept: an operator without a left operand is dropped (tests/interpreter_evaluator_test.cpp: Evaluator.AnOperatorWithoutALeftOperandPushesTheRightItemBack)
      if (automation::TrimView(result_name).empty()) {
        stack.Push(right);
        result = true;
      } else {
        stack.Push(MColField(result_name));
      }
    }
    return result;
  });
  return result;
}

}  // namespace qorvintr::engine
