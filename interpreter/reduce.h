#pragma once
// Private to the interpreter: the evaluator's reduction, written once for every kind of stack it
// runs on - an instance's stack of data fields, and the values of a recorded run replayed
// (recorded.cpp). An Items type gives the stack and what is read from its items:
//
//   using Item = ...;                        // copyable; Item{} is the empty item
//   static bool IsNone(const Item&);
//   bool Empty(); Item Pop(); void Push(const Item&);
//   const Value& Data(const Item&, Value& holder);                  // 91 for the empty item
//   std::u16string_view DataType(const Item&, std::u16string& holder);  // the same
//   bool IsDate(const Item&, const Value& data);     // automation::IsDate of the item's data
//   bool IsNumeric(const Item&, const Value& data);  // automation::IsNumeric of it
//   // The reduction's value as a new temporary; false when none was made.
//   bool Reduced(const Item& left, std::u16string_view op, const Item& right, UnifyRule rule,
//                const Value& value);
//   Item Latest();                           // the temporary the last Reduced made
//   // Optional: Reduced may take value's text instead (lent set when it did), and LentBack
//   // gives back the value it took.
//   bool Reduced(..., Value& value, bool& lent);  const Value& LentBack();

#include <string>
#include <string_view>
#include <typeinfo>

#include "qorvintr/convert.h"
#include "automation/text.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/contract/data_field.h"
#include "interpreter/listener.h"

namespace qorvintr::engine::reduce {

using automation::Value;

// A field that is exactly the stock one reads its members without copies (nothing the host
// wrote runs on such a read); any other field is asked through its members, as always. The
// type is told by its type_info's address: mingw-w64 compares unequal types' names with strcmp,
// for every read of a host's or a COM field; a stock field of another module would only take
// the members' way.
inline const components::DataFieldObject* Stock(const contract::DataField& field) noexcept {
  return &typeid(field) == &typeid(components::DataFieldObject)
             ? static_cast<const components::DataFieldObject*>(&field)
             : nullptr;
}
inline const Value& ReadData(contract::DataField& field, Value& holder) {
  if (const components::DataFieldObject* stock = Stock(field)) return stock->DataRef();
  holder = field.Data();
  return holder;
}
inline const std::u16string& ReadDataType(contract::DataField& field, std::u16string& holder) {
  if (const components::DataFieldObject* stock = Stock(field)) return stock->DataTypeRef();
  holder = field.DataType();
  return holder;
}

// Two type words alike. The temporaries' words are the fixed ones, so the same storage usually
// tells it; otherwise the units are compared here, inline: automation::SameUnits goes through
// memcmp, a call into the C runtime for a few bytes under Wine (with it, arithmetic took 1.00 us
// a call through COM against 0.92).
inline bool SameWord(std::u16string_view a, std::u16string_view b) noexcept {
  return a.size() == b.size() && (a.data() == b.data() || a == b);
}

// Applies the operator to the unified values. "&" on anything but two texts leaves the result
// as it was.
void Apply(std::u16string_view op, const Value& lv, const Value& rv, Value& result);
inline bool KeepsResult(std::u16string_view op, const Value& lv, const Value& rv) noexcept {
  return op.size() == 1 && op[0] == u'&' && !(lv.IsString() && rv.IsString());
}

// An operand's data into its unified value: what was read into the holder (a host field's
// copy) is moved, saving a second copy of a text; a temporary's own data is copied.
inline void TakeData(const Value& data, Value& holder, Value& into) {
  if (&data == &holder) {
    into = std::move(holder);
  } else {
    into = data;
  }
}
// The same as a text (CStr): a text is taken as TakeData takes it (CStr of a text is itself).
inline void TakeText(const Value& data, Value& holder, Value& into) {
  if (data.IsString()) {
    TakeData(data, holder, into);
  } else {
    into = Value::String(automation::CStr(data));
  }
}

// Brings both operands to one kind before the operator applies. The first rule that applies
// decides; when none of the numeric kinds is named, both values keep what they held (the
// previous reduction's values, Empty at first).
// Kept: no numeric kind named leaves both values as they were (tests/interpreter_evaluator_test.cpp: Evaluator.NumericTypesWithoutAKnownNameKeepTheValuesOfThePreviousReduction)
template <class Items, class Item>
UnifyRule Unify(Items& items, const Item& left, const Item& right, Value& lv, Value& rv) {
  // The date test is made on the left item only (twice on the platform; once suffices, it has
  // no side effects).
  // Kept: only the left item is tested for a date (tests/interpreter_evaluator_test.cpp: Evaluator.ADateTextOnTheRightIsNotTestedSoTheTextsCompare)
  using namespace std::string_view_literals;
  Value left_holder;
  Value right_holder;
  const Value& left_data = items.Data(left, left_holder);
  if (items.IsDate(left, left_data)) {
    lv = Value::Date(automation::CDate(left_data));
    rv = Value::Date(automation::CDate(items.Data(right, right_holder)));
    return UnifyRule::kDates;
  }
  std::u16string left_type_holder;
  std::u16string right_type_holder;
  const std::u16string_view left_type = items.DataType(left, left_type_holder);
  const std::u16string_view right_type = items.DataType(right, right_type_holder);
  if (SameWord(left_type, right_type)) {
    TakeData(left_data, left_holder, lv);
    TakeData(items.Data(right, right_holder), right_holder, rv);
    return UnifyRule::kSameType;
  }
  if ((SameWord(left_type, u"Date"sv) && !SameWord(right_type, u"Date"sv)) ||
      !items.IsNumeric(left, left_data)) {
    TakeText(left_data, left_holder, lv);
    TakeText(items.Data(right, right_holder), right_holder, rv);
    return UnifyRule::kTexts;
  }
  const Value& right_data = items.Data(right, right_holder);
  if (!items.IsNumeric(right, right_data)) {
    TakeText(left_data, left_holder, lv);
    TakeText(right_data, right_holder, rv);
    return UnifyRule::kRightNotNumber;
  }
  auto either = [&](std::u16string_view type) {
    return SameWord(left_type, type) || SameWord(right_type, type);
  };
  if (either(u"Double"sv)) {
    lv = Value::Double(automation::CDbl(left_data));
    rv = Value::Double(automation::CDbl(right_data));
    return UnifyRule::kDouble;
  }
  if (either(u"Single"sv)) {
    lv = Value::Single(automation::CSng(left_data));
    rv = Value::Single(automation::CSng(right_data));
    return UnifyRule::kSingle;
  }
  if (either(u"Long"sv)) {
    lv = Value::Long(automation::CLng(left_data));
    rv = Value::Long(automation::CLng(right_data));
    return UnifyRule::kLong;
  }
  if (either(u"Integer"sv)) {
    lv = Value::Integer(automation::CInt(left_data));
    rv = Value::Integer(automation::CInt(right_data));
    return UnifyRule::kInteger;
  }
  if (either(u"Boolean"sv)) {
    lv = Value::Boolean(automation::CBool(left_data));
    rv = Value::Boolean(automation::CBool(right_data));
    return UnifyRule::kBoolean;
  }
  return UnifyRule::kNone;
}

// Reduces the stack three items at a time (right operand, operator, left operand) until an item
// that is no operator, a parenthesis or the bottom; result as EvaluateExpression answers it
// (set on the way, so that a failure later in the loop leaves what was set).
// Kept: no precedence, a run of operators groups from the right (tests/interpreter_evaluator_test.cpp: Evaluator.ARunOfOperatorsGroupsFromTheRight)
template <class Items>
void Reduce(Items& items, bool& result) {
  using namespace std::string_view_literals;
  using Item = typename Items::Item;
  Item right{};
  Item op{};
  Item left{};
  std::u16string op_text;
  Value lv;
  Value rv;
  Value value;
  bool lent = false;  // value's text taken by the latest temporary
  bool has_latest = false;
  bool done = false;
  while (!done) {
    if (!items.Empty()) right = items.Pop();
    if (!items.Empty()) {
      op = items.Pop();
    } else {
      op = Item{};
    }
    if (Items::IsNone(op)) {
      items.Push(right);
      done = true;
      result = true;
      continue;
    }
    // The operator item's data as text (a text is taken as it is, into storage reused from one
    // item to the next).
    Value data_holder;
    const Value& op_data = items.Data(op, data_holder);
    if (op_data.IsString()) {
      op_text.assign(op_data.GetString());
    } else {
      op_text = automation::CStr(op_data);
    }
    // Kept: a parenthesis ends the reduction, which then answers False (tests/interpreter_evaluator_test.cpp: Evaluator.AReductionStopsAtALeftParenthesisWhichIsDroppedAndTheResultIsFalse)
    if (op_text == u")"sv || op_text == u"("sv) {
      items.Push(right);
      done = true;
      continue;
    }
    // Kept: an operand in the operator's place drops the two items (tests/interpreter_evaluator_test.cpp: Evaluator.TwoOperandsWithNoOperatorLeaveOnlyTheUpperOne)
    std::u16string type_holder;
    if (!SameWord(items.DataType(op, type_holder), u"Operator"sv)) {
      op_text.clear();
      continue;
    }
    if (!items.Empty()) {
      left = items.Pop();
      if (!op_text.empty()) {
        const UnifyRule rule = Unify(items, left, right, lv, rv);
        if constexpr (requires { items.LentBack(); }) {
          // The items may take the last result's text rather than copy it: an operator that
          // keeps the previous result gets it back from the temporary that took it.
          if (lent && KeepsResult(op_text, lv, rv)) value = items.LentBack();
          lent = false;
          Apply(op_text, lv, rv, value);
          has_latest = items.Reduced(left, op_text, right, rule, value, lent);
        } else {
          Apply(op_text, lv, rv, value);
          has_latest = items.Reduced(left, op_text, right, rule, value);
        }
      }
    }
    // Publish: the latest result of this call, or the right item when there is none yet.
    // Kept: an operator without a left operand is dropped (tests/interpreter_evaluator_test.cpp: Evaluator.AnOperatorWithoutALeftOperandPushesTheRightItemBack)
    if (!has_latest) {
      items.Push(right);
      result = true;
    } else {
      items.Push(items.Latest());
    }
  }
}

}  // namespace qorvintr::engine::reduce
