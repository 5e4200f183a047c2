// The IF statement: IF condition THEN branch [ELSEIF condition THEN branch ...] [ELSE branch]
// END IF. The condition and the chosen branch run as nested scripts.
#include <exception>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/operators.h"
#include "automation/text.h"
#include "qorvintr/components/data_field.h"
#include "interpreter/interpreter.h"
#include "interpreter/upper_word.h"
#include "interpreter/limits.h"
#include "interpreter/trap.h"

namespace qorvintr::engine {

using automation::Value;

namespace {

// A word that ended its line comes with the carriage return; IF reads it without.
std::u16string WithoutCarriageReturn(std::u16string word) {
  if (!word.empty() && word.back() == u'\r') word.pop_back();
  return word;
}

// "If value = True": True is a literal of a numeric kind, so a value that holds or reads as a
// number meets it numerically (5 is not True, nor is a date). A condition that is Null counts as
// False.
bool EqualsTrue(const Value& value) {
  return automation::CompareWithLiteral(value, Value::Boolean(true)) ==
         automation::Comparison::Equal;
}

// "value <> 0" with the literal 0: a text "0" is the number 0 (not a text above every number).
Value NotZero(const Value& value) {
  const automation::Comparison c = automation::CompareWithLiteral(value, Value::Integer(0));
  if (c == automation::Comparison::Null) return Value::Null();
  return Value::Boolean(c != automation::Comparison::Equal);
}

// The common condition is a stock field holding a Boolean or a whole number: a "DataField", so
// not a Boolean, and numeric; it is then "not 0" as a Boolean, which is True or not. Answered
// from the field directly (the general steps dereference it three times); nothing for any
// other value.
std::optional<bool> StockFieldCondition(const Value& value) noexcept {
  if (!value.IsObject() || !value.GetObject()) return std::nullopt;
  const automation::Object& object = *value.GetObject();
  if (typeid(object) != typeid(components::DataFieldObject)) return std::nullopt;
  const Value& data = static_cast<const components::DataFieldObject&>(object).DataRef();
  switch (data.Type()) {
    case automation::VarType::Boolean: return data.GetBoolean();
    case automation::VarType::Integer: return data.GetInteger() != 0;
    case automation::VarType::Long: return data.GetLong() != 0;
    default: return std::nullopt;
  }
}

// The condition's value as the statement takes it; true when its THEN branch runs.
// Kept: a number other than a Boolean is true when it is not 0 (tests/builtins_if_test.cpp: IfScripts.ANumericConditionOfFiveIsTrueAndZeroFalse)
bool ConditionHolds(Value& value) {
  if (const std::optional<bool> holds = StockFieldCondition(value)) {
    value = Value::Boolean(*holds);
    return *holds;
  }
  if (automation::IsNumeric(value) && automation::TypeName(value) != u"Boolean") {
    value = NotZero(value);
  }
  return EqualsTrue(value);
}

}  // namespace

// Each ELSEIF is an IF statement of its own, run by a nested PerformIf at the same level. The
// nesting is kept as a list of waiting frames instead of nested calls, so that a long ELSEIF
// chain cannot exhaust the thread's stack; each frame keeps its own error trap, and an error
// raised by one frame's handler goes to the waiting frame's trap, as with nested calls.
// Departure: the ELSEIF chain as a loop of frames (tests/builtins_if_test.cpp: IfScripts.AnElseIfChainAsLongAsAScriptFitsAOneMegabyteStack, IfSteps.AnErrorRaisedByAnInnerFramesHandlerGoesToTheWaitingFramesTrap)
bool Interpreter::PerformIf(std::int16_t level) {
  std::vector<Value> waiting;   // the value of each frame whose ELSEIF runs further in
  bool inner_result = false;    // what the frame just finished answered
  std::exception_ptr escaped;   // an error raised by the just-finished frame's handler

  // One frame's steps under its own trap, as one call of PerformIf.
  auto run_frame = [&](auto&& steps) {
    try {
      inner_result = Trapped(u"PerformIf", u"PerformIf", false, steps);
    } catch (...) {
      // Raised by the frame's handler: it belongs to the waiting frame's trap, as it would
      // reach the caller's trap in nested calls.
      inner_result = false;
      escaped = std::current_exception();
    }
  };

  // The frames from the outermost in, each up to where its ELSEIF chain goes in, or to its end.
  for (;;) {
    Value value;
    bool descend = false;
    run_frame([&] {
      descend = RunIfBranches(level, value);
      if (!descend) FinishIf(level, value);
      return true;
    });
    if (!descend || escaped) break;
    waiting.push_back(std::move(value));
  }

  // The waiting frames, innermost first: take the inner statement's value when it answered
  // True, then finish as usual.
  while (!waiting.empty()) {
    Value value = std::move(waiting.back());
    waiting.pop_back();
    std::exception_ptr raised = std::exchange(escaped, nullptr);
    const bool inner = inner_result;
    run_frame([&] {
      if (raised) std::rethrow_exception(raised);
      if (inner) value = Value::Object(InstanceStack(level).Pop());
      FinishIf(level, value);
      return true;
    });
  }
  if (escaped) std::rethrow_exception(escaped);
  return inner_result;
}

bool Interpreter::RunIfBranches(std::int16_t level, Value& value) {
  std::u16string condition = automation::Trim(GetIfCondition(level));
  // An ELSEIF gave back its IF, which now starts the condition.
  if (condition.size() >= 3 && condition.compare(0, 3, u"IF ") == 0) condition.erase(0, 3);
  value = Value::Object(RealizeRegularExpression(condition));
  // The statement a run nobody watches may keep is at level 0; nested ones are not kept.
  const bool learns = if_learning_.active && level == 0;
  std::int16_t ended_at = 0;
  if (ConditionHolds(value)) {
    Notify([&](RunListener& l) { l.OnBranch(level, condition, value, u"THEN"); });
    std::u16string branch = GetStatements(level, ended_at);
    if (learns) LearnIfFrame(condition, branch, ended_at, true);
    value = Value::Object(RealizeRegularExpression(branch));
    return false;
  }
  const std::u16string branch = GetStatements(level, ended_at);
  if (learns) LearnIfFrame(condition, branch, ended_at, false);
  Notify([&](RunListener& l) {
    l.OnBranch(level, condition, value,
               ended_at == kEndedAtElseIf ? u"ELSEIF" : ended_at == kEndedAtElse ? u"ELSE" : u"none");
  });
  if (ended_at == kEndedAtElseIf) return true;
  if (ended_at == kEndedAtElse) {
    std::u16string else_branch = GetElseStatements(level);
    if (learns) LearnIfElse(else_branch);
    if (!automation::TrimView(else_branch).empty()) {
      value = Value::Object(RealizeRegularExpression(else_branch));
    }
  }
  return false;
}

std::u16string Interpreter::GetElseStatements(std::int16_t level) {
  const ScanStart scan = StartScan(level, Scan::kElseStatements);
  if (scan.found != nullptr) return scan.found->text;
  std::int16_t ended_at = kEndedAtElse;
  std::u16string branch;
  std::int16_t furthest = ReadPosition(level);
  for (;;) {
    branch = GetStatements(level, ended_at);
    if (!automation::TrimView(branch).empty()) break;
    // An ELSE with no word would be collected again and again without end; once the reading
    // gets no further than it has been (it may step back and forth over a line end that
    // fails each time), or has run off the end of the text, the branch is empty and none runs.
    // Departure: an ELSE with no word stops (tests/builtins_if_test.cpp: IfScripts.AnEmptyElseEndsInsteadOfRepeatingForever, IfScripts.AnElseThatFailsBackAndForthOverALineEndStops)
    const std::int16_t after = ReadPosition(level);
    if (after <= furthest ||
        static_cast<std::int64_t>(after) > static_cast<std::int64_t>(InstanceText(level).size())) {
      break;
    }
    furthest = after;
  }
  KeepScan(level, Scan::kElseStatements, scan, branch, 0);
  return branch;
}

// The end of every IF statement: skip to its END IF, and leave its value on the level's stack.
void Interpreter::FinishIf(std::int16_t level, const Value& value) {
  RemoveEndIf(level);
  PushIfValue(level, value);
}

void Interpreter::PushIfValue(std::int16_t level, const Value& value) {
  std::u16string name = CreateDataFieldFromVariant(value);
  PushHeld(name, level);
}

std::u16string Interpreter::GetIfCondition(std::int16_t level) {
  const ScanStart scan = StartScan(level, Scan::kCondition);
  if (scan.found != nullptr) return scan.found->text;
  std::u16string read = Trapped(u"GetIfCondition", u"GetIfCondition", std::u16string{}, [&] {
    std::u16string condition;
    std::u16string word = WithoutCarriageReturn(GetNextWord(level));
    for (;;) {
      if (UpperWord(word).view() == u"THEN") break;
      if (word == kEndOfLine) break;
      if (!condition.empty()) condition += u' ';
      condition += word;
      word = WithoutCarriageReturn(GetNextWord(level));
    }
    return condition;
  });
  KeepScan(level, Scan::kCondition, scan, read, 0);
  return read;
}

std::u16string Interpreter::GetStatements(std::int16_t level, std::int16_t& ended_at) {
  const ScanStart scan = StartScan(level, Scan::kStatements);
  if (scan.found != nullptr) {
    if (scan.found->ended_at != 0) ended_at = scan.found->ended_at;
    return scan.found->text;
  }
  std::int16_t ended = 0;  // set only when the branch ends at ELSE or ELSEIF
  std::u16string branch = Trapped(u"GetStatements", u"GetStatements", std::u16string{}, [&] {
    std::u16string statements;
    bool first_word = true;
    for (;;) {
      std::u16string word = WithoutCarriageReturn(GetNextWord(level));
      const UpperWord upper_word(word);
      const std::u16string_view upper = upper_word.view();
      if (upper == u"ELSE") {
        // Kept: an ELSE that is the branch's first word is passed over (tests/builtins_if_test.cpp: IfSteps.GetStatementsPassesOverAnElseThatIsTheFirstWord)
        if (!first_word) {
          ended = kEndedAtElse;
          PutLastWord(level, word);
          break;
        }
      } else if (upper == u"ELSEIF") {
        // Giving back "IF" moves the reading back three characters, so that the IF at the end
        // of ELSEIF starts the next statement.
        // Kept: ELSEIF gives back its last three characters (tests/builtins_if_test.cpp: IfSteps.GetStatementsEndingAtElseIfAnswers32000AndGivesBackItsIf)
        ended = kEndedAtElseIf;
        PutLastWord(level, u"IF");
        break;
      } else if (upper == u"ENDIF") {
        PutLastWord(level, word);
        break;
      } else if (upper == u"END") {
        // Kept: END must be followed by IF in capitals (tests/builtins_if_test.cpp: IfScripts.EndWithALowerCaseIfIsASyntaxError)
        if (automation::TrimView(PeekNextWord(level)) != u"IF") RaiseSyntaxError(kIfSource);
        PutLastWord(level, word);
        break;
      } else if (upper == kEndOfLine) {
        RaiseSyntaxError(kIfSource);
      } else {
        // Kept: the branch's words are joined without separators (tests/builtins_if_test.cpp: IfSteps.GetStatementsJoinsTheBranchWordsWithoutSeparators)
        statements += word;
      }
      first_word = false;
    }
    return statements;
  });
  if (ended != 0) ended_at = ended;
  KeepScan(level, Scan::kStatements, scan, branch, ended);
  return branch;
}

bool Interpreter::RemoveEndIf(std::int16_t level) {
  const ScanStart scan = StartScan(level, Scan::kEndIf);
  if (scan.found != nullptr) return true;
  const bool removed = Trapped(u"RemoveEndIf", u"RemoveEndIf", false, [&] {
    std::u16string word = WithoutCarriageReturn(GetNextWord(level));
    for (;;) {
      // Kept: only END IF and ENDIF as written end the skipping (tests/scripts/if.cases: lower_case_end_if_is_skipped_after_the_branch_that_ran)
      if (automation::TrimView(word) == u"END IF" || word == kEndOfLine || word == u"ENDIF") {
        return true;
      }
      if (automation::TrimView(word) == u"END") {
        std::u16string next = WithoutCarriageReturn(GetNextWord(level));
        if (automation::TrimView(next) == u"IF") return true;
        RaiseSyntaxError(kIfSource);
      }
      word = WithoutCarriageReturn(GetNextWord(level));
    }
  });
  if (removed) KeepScan(level, Scan::kEndIf, scan, std::u16string{}, 0);
  return removed;
}

// ---- An IF statement kept whole ------------------------------------------------------------

void Interpreter::LearnIfFrame(const std::u16string& condition, const std::u16string& branch,
                               std::int16_t ended_at, bool taken) {
  RecordedIf& statement = *if_learning_.statement;
  const std::size_t frame = if_learning_.frame++;
  if (frame == statement.frames.size()) {
    // The nested run looks its recording up by the trimmed text.
    statement.frames.push_back({std::u16string(automation::TrimView(condition)),
                                std::u16string(automation::TrimView(branch)), ended_at});
  }
  if (taken) if_learning_.taken = static_cast<std::int32_t>(frame);
}

void Interpreter::LearnIfElse(const std::u16string& branch) {
  RecordedIf& statement = *if_learning_.statement;
  if (statement.else_read) return;
  statement.else_branch = automation::TrimView(branch);
  statement.else_read = true;
}

void Interpreter::KeepLearnedIf(const std::u16string& expression, std::int16_t end_position,
                                bool in_recordings) {
  const std::shared_ptr<RecordedIf> statement = std::move(if_learning_.statement);
  // A word after the END IF that made a temporary: the script is more than the statement.
  if (unwatched_made_.size() != if_learning_.made_after) statement->whole = false;
  if (if_learning_.taken >= 0) {
    statement->frames[static_cast<std::size_t>(if_learning_.taken)].end = end_position;
  } else {
    statement->none_end = end_position;
  }
  if (in_recordings) return;
  RecordedRun run;
  run.statement = statement;
  KeepRecorded(expression, std::move(run));
}

void Interpreter::IfGap() {
  if_gap_ = true;
  Decline();
}

contract::DataFieldRef Interpreter::NestedValue(const std::u16string& text) {
  if (const RecordedRun* run = FindRecorded(text); run != nullptr && !run->statement) {
    return ReplayAtLevelOne(*run);
  }
  std::u16string expression = text;
  contract::DataFieldRef value = RealizeRegularExpression(expression);
  // The nested run met what the general run must answer for.
  if (declined_) Decline();
  return value;
}

// Departure: a script that is one IF statement runs again from its parts, its conditions and branch as nested runs at level 1 (tests/interpreter_unwatched_test.cpp: RecordedIf.EachWayTheStatementGoesIsReadOnceAndThenReplayed, RecordedIf.ReplaysEndAsTheGeneralRunWhateverTheValuesOfTheDay; tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
void Interpreter::ReplayIf(const RecordedIf& statement, std::u16string& expression,
                           std::int16_t& level, contract::DataFieldRef& result) {
  // As RunScript begins, up to the IF word, which would be a host field of that name.
  last_added_.reset();
  level = AddInstance(expression);
  if (level != 0) Decline();
  (void)InstanceStack(level);
  if (IsDataField(statement.word)) Decline();
  // The nested runs replayed without a level of their own leave level 1 as they find it, where
  // AddInstance and CloseInstance would have emptied it: it must hold nothing already.
  constexpr std::int16_t kNested = 1;
  // Read through the table's const side: a row reached for writing is refilled by ResetMemory.
  const support::DynArray2D<std::u16string>& holds = hold_array_;
  if (hold_top_(kNested) != -1) Decline();
  const std::int32_t last_slot = holds.UBound(2);
  for (std::int32_t slot = 0; slot <= last_slot; ++slot) {
    if (!holds(kNested, slot).empty()) Decline();
  }
  if (stacks_.UBound() < kNested || (stacks_(kNested) && !stacks_(kNested)->IsStackEmpty())) {
    Decline();
  }
  unwatched_name_all_ = true;

  // PerformIf's frames: the values of those whose ELSEIF ran further in are kept to the end, as
  // the general run keeps them.
  std::vector<Value> waiting;
  Value value;
  std::int16_t end = kUnknownEnd;
  for (std::size_t frame = 0;; ++frame) {
    if (frame >= statement.frames.size()) IfGap();
    const RecordedIf::Frame& f = statement.frames[frame];
    value = Value::Object(NestedValue(f.condition));
    if (ConditionHolds(value)) {
      end = f.end;
      if (end == kUnknownEnd) IfGap();
      value = Value::Object(NestedValue(f.branch));
      break;
    }
    if (f.ended_at == kEndedAtElseIf) {
      waiting.push_back(std::move(value));
      continue;
    }
    end = statement.none_end;
    if (end == kUnknownEnd || (f.ended_at == kEndedAtElse && !statement.else_read)) IfGap();
    if (f.ended_at == kEndedAtElse && !statement.else_branch.empty()) {
      value = Value::Object(NestedValue(statement.else_branch));
    }
    break;
  }
  // Each value goes when the general run's would: a field nobody holds any more may serve as
  // the next temporary.
  PushIfValue(level, value);
  value = Value();
  while (!waiting.empty()) {
    // The frame further out takes the inner statement's value.
    Value outer = std::move(waiting.back());
    waiting.pop_back();
    outer = Value::Object(InstanceStack(level).Pop());
    PushIfValue(level, outer);
  }
  // Nothing follows the END IF: the driver's last reduction leaves the statement's value.
  ReadPosition(level) = end;
  result = InstanceStack(level).Pop();
}

}  // namespace qorvintr::engine
