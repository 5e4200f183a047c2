// The statement driver: runs one script from its first word to its value.
#include <string>

#include "automation/convert.h"
#include "automation/text.h"
#include "contract/creation.h"
#include "interpreter/interpreter.h"
#include "interpreter/trap.h"
#include "support/debug_log.h"

namespace qorvintr {

using automation::Value;

namespace {

constexpr std::u16string_view kEol = u"<EOL>";
constexpr std::u16string_view kDriverSource = u"Interpreter.RealizeRegularExpression";

[[noreturn]] void RaiseFromDriver(std::int32_t code, std::u16string description) {
  automation::Raise(automation::err::ObjectError(code), std::u16string(kDriverSource),
                    std::move(description));
}
[[noreturn]] void RaiseSyntaxError() { RaiseFromDriver(2433, u"Syntax error"); }
[[noreturn]] void RaiseObjectRequired() { RaiseFromDriver(424, u"Object required"); }


// The value the host sees when a script fails: a field named "Error" holding the Boolean False.
// It is not added to the host's collection.
contract::DataFieldRef MakeErrorField() {
  contract::DataFieldRef field =
      contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId);
  field->SetName(u"Error");
  field->SetDataType(u"Boolean");
  field->SetData(Value::Boolean(false));
  return field;
}

}  // namespace

contract::DataFieldRef Interpreter::RealizeRegularExpression(std::u16string& strExpression) {
  contract::DataFieldRef result;
  std::u16string word;
  std::int16_t instance = 0;

  // The driver's own handler: log with the script and the word, answer the "Error" field.
  auto handle = [&](const support::TrappedError& error) {
    try {
      // The usual trap text, then the script and the word (no blank after "Expression:").
      std::u16string text =
          support::ErrorTrapText(u"Interpreter", u"RealizeRegularExpression", error);
      text += u"\r\nExpression:";
      text += strExpression;
      text += u"\r\nWord: ";
      text += word;
      support::modDebugLog::WriteDebugLog(text);
    } catch (...) {
      // A failing log must not keep the host from its answer.
    }
    try {
      result = MakeErrorField();
    } catch (...) {
      result.reset();
    }
  };

  try {
    if (fault_injector_) fault_injector_(u"RealizeRegularExpression");
    strExpression = automation::Trim(strExpression);
    instance = AddInstance(strExpression);
    // A negative instance number counts as a failure (AddInstance answers none today).
    if (instance < 0) automation::Raise(0, {}, u" ");
    // Only levels 0 to 15 can hold temporaries. A deeper run (an IF nested in IF conditions
    // sixteen deep) would leave the temporaries it cannot record in the host's collection, and
    // nest without bound: it ends here with the subscript error such a level gives.
    if (instance > 15) automation::Raise(automation::err::SubscriptOutOfRange);
    int state = 1;
    std::int16_t depth = 0;
    for (;;) {
      const std::u16string& text = InstanceText(instance);
      const std::int16_t position = ReadPosition(instance);
      if (static_cast<std::int64_t>(position) > static_cast<std::int64_t>(text.size())) break;
      // A text longer than the reader can reach would keep the loop at the read limit forever:
      // it ends here as the reader's own error.
      if (position >= 32767) {
        automation::Raise(automation::err::ObjectError(9), u"Interpreter.GetNextChar",
                          u"Subscript out of range");
      }
      word = automation::Trim(GetNextWord(instance));
      support::Stack& stack = InstanceStack(instance);
      if (state == 1) {
        state = 2;
        if (IsLeftParenthesis(word)) {
          std::u16string name = CreateOperatorDataField(word);
          if (name.empty()) RaiseObjectRequired();
          depth = Add16(depth, 1);
          stack.Push(HostFields()->Item(name));
          AddNameToHoldArray(name, instance);
          state = 1;
        } else if (IsStringLiteral(word)) {
          std::u16string name = CreateStringDataField(word);
          if (name.empty()) RaiseObjectRequired();
          stack.Push(HostFields()->Item(name));
          AddNameToHoldArray(name, instance);
        } else if (IsDateLiteral(word)) {
          std::u16string name = CreateDateDataField(word);
          if (name.empty()) RaiseObjectRequired();
          stack.Push(HostFields()->Item(name));
          AddNameToHoldArray(name, instance);
        } else if (automation::IsNumeric(Value::String(word))) {
          std::u16string name = CreateNumericDataField(word);
          if (name.empty()) RaiseObjectRequired();
          stack.Push(HostFields()->Item(name));
          AddNameToHoldArray(name, instance);
        } else if (IsDataField(word)) {
          // The host's own field: nothing to release later.
          stack.Push(HostFields()->Item(word));
        } else if (IsFunction(word)) {
          // The function reads its own arguments and pushes its own value.
          (void)PerformFunction(word, instance);
        } else if (word.empty() || word == u" ") {
          state = 1;
        } else if (word == kEol) {
          // Nothing to do: the end of a line where an operand may stand.
        } else {
          RaiseSyntaxError();
        }
      } else {
        state = 1;
        if (IsRightParenthesis(word)) {
          if (depth > 0) {
            EvaluateExpression(instance);
            depth = Add16(depth, -1);
          } else {
            RaiseSyntaxError();
          }
          state = 2;
        } else if (IsOperator(word)) {
          const std::int32_t next = PeekNextChar(instance);
          const char16_t unit = static_cast<char16_t>(next);
          if (next != kNoChar && IsOperator(std::u16string_view(&unit, 1))) {
            const std::int32_t c = GetNextChar(instance);
            if (c != kNoChar) word += static_cast<char16_t>(c);
          }
          // "=" joins the whole left side with the whole right side.
          if (word == u"=") EvaluateExpression(instance);
          std::u16string name = CreateOperatorDataField(word);
          if (name.empty()) RaiseObjectRequired();
          stack.Push(HostFields()->Item(name));
          AddNameToHoldArray(name, instance);
        } else if (word.empty() || word == u" " || word == kEol) {
          state = 2;
        } else {
          RaiseSyntaxError();
        }
      }
    }
    EvaluateExpression(instance);
    result = InstanceStack(instance).Pop();
  } catch (...) {
    handle(support::CaptureCurrentError());
  }

  // Close the instance, on the normal path and after a failure alike. A step that fails goes
  // to the handler and the closing goes on with the next step, so that it always ends.
  auto close_step = [&](auto&& step) {
    try {
      step();
    } catch (...) {
      handle(support::CaptureCurrentError());
    }
  };
  std::int32_t last_slot = -1;
  if (instance >= 0 && instance <= 15) close_step([&] { last_slot = HoldArray.UBound(2); });
  for (std::int32_t slot = last_slot; slot >= 0; --slot) {
    close_step([&] {
      std::u16string& entry = HoldArray(instance, slot);
      if (entry.empty()) return;
      std::u16string name = std::move(entry);
      entry.clear();
      HostFields()->Remove(name);
      RemoveAutoDataFieldNameFromList(name);
    });
  }
  // The level's slots are all free again. Starting its next run at the first slot keeps a host
  // that never resets from growing the table (and its 16-bit slot count) run after run until
  // temporaries could no longer be recorded and would stay in its collection.
  if (instance >= 0 && instance <= 15) close_step([&] { HoldTop(instance) = -1; });
  close_step([&] { instance_counter_ = Add16(instance_counter_, -1); });
  close_step([&] { InstanceStack(instance).EmptyStack(); });
  return result;
}

}  // namespace qorvintr
