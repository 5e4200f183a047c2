// The IF statement: IF condition THEN branch [ELSEIF condition THEN branch ...] [ELSE branch]
// END IF. The condition and the chosen branch run as nested scripts.
#include <exception>
#include <string>
#include <vector>

#include "automation/convert.h"
#include "automation/operators.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/trap.h"

namespace qorvintr {

using automation::Value;

namespace {

constexpr std::u16string_view kEol = u"<EOL>";
constexpr std::int16_t kEndedAtElseIf = 32000;
constexpr std::int16_t kEndedAtElse = 32001;

[[noreturn]] void RaiseIfSyntaxError() {
  automation::Raise(automation::err::ObjectError(2433), u"Interpreter.PerformIf",
                    u"Syntax error");
}

void DropCarriageReturn(std::u16string& word) {
  if (!word.empty() && word.back() == u'\r') word.pop_back();
}

// "If r = True": a value compared with the Boolean True, as the language compares a value with a
// Boolean (the value taken as a Boolean; Null is never equal).
bool EqualsTrue(const Value& r) {
  Value v = automation::Dereference(r);
  if (v.IsNull()) return false;
  return automation::CBool(v);
}

}  // namespace

// Each ELSEIF is an IF statement of its own, run by a nested PerformIf at the same level. The
// nesting is kept as a list of waiting frames instead of nested calls, so that a long ELSEIF
// chain cannot exhaust the thread's stack; each frame keeps its own error trap, and an error
// raised by one frame's handler goes to the waiting frame's trap, as with nested calls.
bool Interpreter::PerformIf(std::int16_t& intLevel) {
  std::vector<Value> waiting;   // the r of each frame whose ELSEIF runs further in
  bool inner_result = false;    // what the frame just finished answered
  std::exception_ptr escaped;   // an error raised by the just-finished frame's handler

  // A frame's steps, from its condition up to where its ELSEIF chain goes in (descend set), or
  // to its end.
  for (;;) {
    Value r;
    bool descend = false;
    try {
      inner_result = Trapped(u"PerformIf", u"PerformIf", false, [&] {
        std::u16string condition = automation::Trim(GetIfCondition(intLevel));
        // An ELSEIF gave back its IF, which now starts the condition.
        if (condition.size() >= 3 && condition.compare(0, 3, u"IF ") == 0) condition.erase(0, 3);
        r = Value::Object(RealizeRegularExpression(condition));
        if (automation::IsNumeric(r) && automation::TypeName(r) != u"Boolean") {
          r = automation::NotEqual(r, Value::Integer(0));
        }
        if (EqualsTrue(r)) {
          std::int16_t code = 0;
          std::u16string branch = GetStatements(intLevel, code);
          r = Value::Object(RealizeRegularExpression(branch));
        } else {
          std::int16_t code = 0;
          GetStatements(intLevel, code);
          if (code == kEndedAtElseIf) {
            descend = true;
            return true;
          }
          if (code == kEndedAtElse) {
            std::u16string branch;
            for (;;) {
              const std::int16_t before = ReadPosition(intLevel);
              branch = GetStatements(intLevel, code);
              if (!automation::TrimView(branch).empty()) break;
              // An ELSE with no word would be collected again and again without end; once the
              // reading stops moving, or has run off the end of the text, the branch is empty
              // and none runs.
              const std::int16_t after = ReadPosition(intLevel);
              if (after == before || static_cast<std::int64_t>(after) >
                                         static_cast<std::int64_t>(InstanceText(intLevel).size())) {
                break;
              }
            }
            if (!automation::TrimView(branch).empty()) {
              r = Value::Object(RealizeRegularExpression(branch));
            }
          }
        }
        FinishIf(intLevel, r);
        return true;
      });
    } catch (...) {
      inner_result = false;
      escaped = std::current_exception();
    }
    if (!descend || escaped) break;
    waiting.push_back(std::move(r));
  }

  // The waiting frames, innermost first: take the inner statement's value when it answered
  // True, then finish as usual.
  while (!waiting.empty()) {
    Value r = std::move(waiting.back());
    waiting.pop_back();
    std::exception_ptr raised = escaped;
    escaped = nullptr;
    const bool inner = inner_result;
    try {
      inner_result = Trapped(u"PerformIf", u"PerformIf", false, [&] {
        if (raised) std::rethrow_exception(raised);
        if (inner) r = Value::Object(InstanceStack(intLevel).Pop());
        FinishIf(intLevel, r);
        return true;
      });
    } catch (...) {
      inner_result = false;
      escaped = std::current_exception();
    }
  }
  if (escaped) std::rethrow_exception(escaped);
  return inner_result;
}

// The end of every IF statement: skip to its END IF, and leave its value on the level's stack.
void Interpreter::FinishIf(std::int16_t& intLevel, const Value& r) {
  RemoveEndIf(intLevel);
  std::u16string name = CreateDataFieldFromVariant(r);
  InstanceStack(intLevel).Push(HostFields()->Item(name));
  AddNameToHoldArray(name, intLevel);
}

std::u16string Interpreter::GetIfCondition(std::int16_t& intLevel) {
  return Trapped(u"GetIfCondition", u"GetIfCondition", std::u16string{}, [&] {
    std::u16string condition;
    std::u16string word = GetNextWord(intLevel);
    DropCarriageReturn(word);
    for (;;) {
      if (automation::UCase(automation::TrimView(word)) == u"THEN") break;
      if (word == kEol) break;
      if (!condition.empty()) condition += u' ';
      condition += word;
      word = GetNextWord(intLevel);
      DropCarriageReturn(word);
    }
    return condition;
  });
}

std::u16string Interpreter::GetStatements(std::int16_t& intLevel, std::int16_t& intBranch) {
  return Trapped(u"GetStatements", u"GetStatements", std::u16string{}, [&] {
    std::u16string statements;
    bool first_word = true;
    for (;;) {
      std::u16string word = GetNextWord(intLevel);
      DropCarriageReturn(word);
      const std::u16string u = automation::UCase(automation::TrimView(word));
      if (u == u"ELSE") {
        if (!first_word) {
          intBranch = kEndedAtElse;
          PutLastWord(intLevel, word);
          break;
        }
      } else if (u == u"ELSEIF") {
        // Giving back "IF" moves the reading back three characters, so that the IF at the end
        // of ELSEIF starts the next statement.
        intBranch = kEndedAtElseIf;
        PutLastWord(intLevel, u"IF");
        break;
      } else if (u == u"ENDIF") {
        PutLastWord(intLevel, word);
        break;
      } else if (u == u"END") {
        if (automation::TrimView(PeekNextWord(intLevel)) != u"IF") RaiseIfSyntaxError();
        PutLastWord(intLevel, word);
        break;
      } else if (u == kEol) {
        RaiseIfSyntaxError();
      } else {
        statements += word;
      }
      first_word = false;
    }
    return statements;
  });
}

bool Interpreter::RemoveEndIf(std::int16_t& intLevel) {
  return Trapped(u"RemoveEndIf", u"RemoveEndIf", false, [&] {
    std::u16string word = GetNextWord(intLevel);
    DropCarriageReturn(word);
    for (;;) {
      if (automation::TrimView(word) == u"END IF" || word == kEol || word == u"ENDIF") return true;
      if (automation::TrimView(word) == u"END") {
        std::u16string next = GetNextWord(intLevel);
        DropCarriageReturn(next);
        if (automation::TrimView(next) == u"IF") return true;
        RaiseIfSyntaxError();
      }
      word = GetNextWord(intLevel);
      DropCarriageReturn(word);
    }
  });
}

}  // namespace qorvintr
