// The statement driver: runs one script from its first word to its value.
#include <string>
#include <typeinfo>
#include <utility>

#include "qorvintr/convert.h"
#include "automation/chars.h"
#include "automation/text.h"
#include "qorvintr/contract/creation.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/trap.h"
#include "support/debug_log.h"
#include "support/restoring.h"

namespace qorvintr::engine {

using automation::Value;

namespace {

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

// The driver's trap text: the usual one, then the script and the word.
std::u16string DriverTrapText(const support::TrappedError& error, std::u16string_view expression,
                              std::u16string_view word) {
  std::u16string text = support::ErrorTrapText(u"Interpreter", u"RealizeRegularExpression", error);
  // Kept: no blank after "Expression:" (tests/interpreter_driver_test.cpp: Scripts.ARightParenthesisWithoutALeftOneIsASyntaxError)
  text += u"\r\nExpression:";
  text += expression;
  text += u"\r\nWord: ";
  text += word;
  return text;
}

// Whether two texts are the same in any case of their ASCII letters.
bool SameIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (automation::AsciiUpper(a[k]) != automation::AsciiUpper(b[k])) return false;
  }
  return true;
}

// The built-in that unwatched runs leave to the general run: DateCompare writes its steps to the
// debug log as it goes.
constexpr std::u16string_view kDecliningBuiltIn = u"DateCompare";

// The word PerformFunction takes for it: any case, blanks around.
bool IsDateCompareWord(std::u16string_view word) noexcept {
  return SameIgnoringCase(automation::TrimView(word), kDecliningBuiltIn);
}

// Whether a word of the text (a run of ASCII letters and digits) is DateCompare, in any case.
// Such a script would decline at the name; this only spares the attempt, for a word it misses
// (a piece of a name, say) declines where it is read.
bool NamesADecliningBuiltIn(std::u16string_view text) noexcept {
  auto is_word_unit = [](char16_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
  };
  // Asked of every script that is not recorded: only where a "d" starts a word is it compared.
  const std::size_t length = kDecliningBuiltIn.size();
  for (std::size_t i = 0; i + length <= text.size(); ++i) {
    if ((text[i] | 0x20) != u'd' || (i > 0 && is_word_unit(text[i - 1]))) continue;
    if (i + length < text.size() && is_word_unit(text[i + length])) continue;
    if (SameIgnoringCase(text.substr(i, length), kDecliningBuiltIn)) return true;
  }
  return false;
}

// The caller's script trimmed in place (the same text as Trim gives, without a new one when
// nothing goes).
void TrimInPlace(std::u16string& expression) {
  const std::u16string_view trimmed = automation::TrimView(expression);
  if (trimmed.size() != expression.size()) expression = std::u16string(trimmed);
}

// A temporary the collection refused (its name empty) is "Object required".
void RequireCreated(const std::u16string& name) {
  if (name.empty()) RaiseObjectRequired();
}

}  // namespace

contract::DataFieldRef Interpreter::RealizeRegularExpression(std::u16string& expression) {
  const EnteredCall call(*this);
  contract::DataFieldRef result;
  // Departure: a run nobody can watch keeps its temporaries to itself, and declines to the general run on anything that could show (tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
  if (MayRunUnwatched() && RunUnwatched(expression, result)) return result;

  std::u16string word;
  std::int16_t level = 0;

  // The driver's own handler instead of a report: log with the script and the word, answer the
  // "Error" field. It never raises.
  auto on_error = [&](const support::TrappedError& error) {
    // A nested run (an IF's) inside a run nobody watches: the outer run declines, and its
    // general run meets the error again and answers for it.
    if (unwatched_) {
      declined_ = true;
      return;
    }
    last_added_.reset();  // the log may run the host's code
    Notify([&](RunListener& l) { l.OnFailure(level, error.number, error.description, word); });
    // A failing log must not keep the host from its answer.
    support::IgnoreErrors(
        [&] { support::modDebugLog::WriteDebugLog(DriverTrapText(error, expression, word)); });
    // No field at all when even the "Error" field cannot be made.
    contract::DataFieldRef error_field;
    support::IgnoreErrors([&] { error_field = MakeErrorField(); });
    result = std::move(error_field);
  };

  support::RunTrapped<support::OnHandlerError::kDrop>(
      false,
      [&] {
        InjectFault(u"RealizeRegularExpression");
        if (unwatched_) {
          RunNestedUnwatched(expression, level, word, result);
        } else {
          RunScript(expression, level, word, result);
        }
        return true;
      },
      on_error);

  CloseInstance(level, on_error);
  Notify([&](RunListener& l) { l.OnRunEnd(level, result); });
  return result;
}

void Interpreter::RunScript(std::u16string& expression, std::int16_t& level, std::u16string& word,
                            contract::DataFieldRef& result, WordMemo* words) {
  // The host may have changed its collection since the last temporary was added.
  last_added_.reset();
  TrimInPlace(expression);
  // AddInstance answers 0 on failure, which the run then takes for instance 0; any other answer
  // is a slot it has just written, so never below 0.
  level = AddInstance(expression);
  StartReadingWith(level, words, expression);
  Notify([&](RunListener& l) { l.OnRunStart(level, expression); });
  // Only levels 0 to 15 can hold temporaries. A deeper run (an IF nested in IF conditions
  // sixteen deep) would leave the temporaries it cannot record in the host's collection,
  // and nest without bound: it ends here with the subscript error such a level gives.
  // Departure: a run deeper than level 15 ends with error 9 (tests/builtins_if_test.cpp: IfScripts.ARunDeeperThanLevel15EndsWithError9)
  if (level > kDeepestLevel) automation::Raise(automation::err::SubscriptOutOfRange);
  DriverState state = DriverState::kOperandExpected;
  std::int16_t depth = 0;
  for (;;) {
    const std::u16string& text = InstanceText(level);
    const std::int16_t position = ReadPosition(level);
    if (static_cast<std::int64_t>(position) > static_cast<std::int64_t>(text.size())) {
      break;
    }
    // A text longer than the reader can reach would keep the loop at the read limit
    // forever; it ends here as the reader's own error.
    // Departure: the driver at the read limit answers the "Error" field (tests/interpreter_driver_test.cpp: Scripts.AScriptBeyondTheReadLimitAnswersTheErrorFieldInsteadOfLooping)
    if (position >= kReadLimit) RaiseReadLimit();
    word = GetNextWord(level);
    // Its words come trimmed already; trimming again would only copy them.
    if (!word.empty() && (word.front() == u' ' || word.back() == u' ')) {
      word = automation::Trim(word);
    }
    Notify([&](RunListener& l) { l.OnWord(level, word); });
    // Asked on every word: a level without its stack fails here, before the word is used.
    (void)InstanceStack(level);
    state = state == DriverState::kOperandExpected ? ReadOperand(level, word, depth)
                                                   : ReadOperator(level, word, depth);
    // An unwatched run that declined at this word ends here (never set in the general run).
    if (declined_) [[unlikely]] return;
  }
  EvaluateExpression(level);
  result = InstanceStack(level).Pop();
}

void Interpreter::RunNestedUnwatched(std::u16string& expression, std::int16_t& level,
                                     std::u16string& word, contract::DataFieldRef& result) {
  TrimInPlace(expression);
  // Departure: an IF's condition and branches inside a run nobody watches are recorded and then replayed at their own level (tests/interpreter_unwatched_test.cpp: Recorded.AnIfsConditionAndBranchRunFromTheirRecordingsWithinTheRun, Recorded.ReplayedNestedRunsNumberTheTemporariesAroundThemAsTheGeneralRun, Recorded.ANestedReplayThatFailsOnTheValuesOfTheDayLeavesTheRunToTheGeneralOne)
  if (const RecordedRun* recorded = FindRecorded(expression);
      recorded != nullptr && !recorded->statement) {
    ReplayNested(*recorded, expression, level, result);
    return;
  }
  // The run that holds this one has a built-in, so it records nothing itself.
  RecordedRun recording;
  const support::Restoring<RecordedRun*> recording_here(recording_, &recording);
  RunScript(expression, level, word, result);
  // Kept only when every step was followed and the run ended as a run ends: a decline or an
  // error leaves the reading part way.
  if (recording_ != &recording || declined_) return;
  recording.end_position = ReadPosition(level);
  support::IgnoreErrors([&] { KeepRecorded(expression, std::move(recording)); });
}

// Departure: only a level-0 run over the stock collection and creator (or the library's own behind another module), with no listener, no fault injection and no host field named like a temporary, is tried unwatched (tests/interpreter_unwatched_test.cpp: Unwatched.AListenerKeepsRunsGeneral, Unwatched.ANonStockCreatorKeepsRunsGeneral, Unwatched.AHostFieldNamedLikeATemporaryKeepsRunsGeneral, Unwatched.ARunAtADeeperLevelKeepsRunsGeneral)
bool Interpreter::MayRunUnwatched() {
  if (!UnwatchedAllowed() || listener_ != nullptr || FaultsInjected() ||
      !UnwatchedFieldsReady()) {
    return false;
  }
  // A run at level 0 whose temporaries would be named from Autodf1 on: the list is empty (after
  // ResetMemory or after a run that closed) or has never been made (a new interpreter, whose
  // first name starts the list at 0), and no field the host has could be taken for one of them,
  // so that no generated name is skipped.
  if (instance_counter_ != -1) return false;
  if (auto_name_top_ != -1 && (auto_name_top_ != 0 || auto_names_.IsDimensioned())) return false;
  if (!UnwatchedCreatorReady()) return false;
  // The hold table in the shape every run leaves it: sixteen rows, level 0's top at -1 and its
  // slots empty (the closing would remove any name left in one).
  if (!hold_array_.IsDimensioned() || !hold_top_.IsDimensioned()) return false;
  if (hold_array_.LBound(1) != 0 || hold_array_.UBound(1) != kDeepestLevel ||
      hold_array_.LBound(2) != 0 || hold_top_.LBound() != 0 ||
      hold_top_.UBound() != kDeepestLevel || hold_top_(0) != -1) {
    return false;
  }
  // Read through the const table: looking makes no element.
  const auto& holds = std::as_const(hold_array_);
  const std::int32_t last_slot = holds.UBound(2);
  for (std::int32_t slot = 0; slot <= last_slot; ++slot) {
    if (!holds(0, slot).empty()) return false;
  }
  return !auto_names_.IsDimensioned() || auto_names_.LBound() == 0;
}

bool Interpreter::UnwatchedFieldsReady() {
  if (stock_fields_) return stock_fields_.generated_like_keys(stock_fields_.collection) == 0;
  return own_fields_ && own_fields_.generated_like_keys(own_fields_.collection) == 0;
}

bool Interpreter::UnwatchedCreatorReady() {
  if (StockCreator()) return true;
  const std::uint64_t generation = contract::stock::CreatorGeneration();
  if (generation != own_creator_generation_) {
    own_creator_test_ = contract::stock::OwnCreatorTest(contract::kDataFieldProgId);
    own_field_maker_ = contract::stock::OwnFieldMaker(contract::kDataFieldProgId);
    own_creator_generation_ = generation;
  }
  return own_creator_test_ != nullptr && own_creator_test_();
}

contract::DataFieldRef Interpreter::UnwatchedHostField(std::u16string_view name) {
  // Departure: an unwatched run declines at a host field of the library's own collection behind another module unless reading it runs nothing of the host's (tests/com/com_unwatched.cpp: HostObjectsKeepRunsGeneral)
  contract::DataFieldRef field;
  if (own_fields_) field = own_fields_.find_quiet(own_fields_.collection, name);
  if (!field) Decline();
  return field;
}

void Interpreter::Decline() {
  declined_ = true;
  throw Declined{};
}

void Interpreter::CheckUnwatchedRead(const contract::DataFieldRef& field) {
  // A stock field's members run nothing of the host's; an object in its Data would (its
  // default member), and so would any other kind of field. Told by the flag: nothing reads the
  // field before the driver stops after this word.
  const contract::DataField* f = field.get();
  if (f == nullptr || typeid(*f) != typeid(components::DataFieldObject) ||
      static_cast<const components::DataFieldObject*>(f)->DataRef().IsObject()) {
    declined_ = true;
  }
}

bool Interpreter::RunUnwatched(std::u16string& expression, contract::DataFieldRef& result) {
  // Trimmed as RunScript trims it, so that a recording is found by the run's own text.
  TrimInPlace(expression);
  // Departure: a script that ran unwatched before runs again from its recording, without the lexer (tests/interpreter_unwatched_test.cpp: Recorded.TheSecondRunOfAScriptIsReplayedAndEndsAsTheGeneralRun; tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
  const RecordedRun* recorded = FindRecorded(expression);
  // A script kept as one IF statement is replayed from its parts, unless the last replay met a
  // part not read yet: then it is read word by word, and what it reads is kept. A script known
  // to be more than the statement is read word by word, as a script with any other IF is.
  std::shared_ptr<RecordedIf> statement;
  const bool relearn = std::exchange(if_relearn_, false);
  if (recorded != nullptr && recorded->statement) {
    statement = recorded->statement;
    if (relearn || !statement->whole) recorded = nullptr;
  }
  if_learning_ = IfLearning{};
  if (recorded == nullptr) if_learning_.statement = statement;
  // A script that is not recorded is read word by word: its words are found here once, and
  // answer the question of DateCompare for the next run of the same text.
  WordMemo* words = recorded == nullptr ? TextWordMemo(expression) : nullptr;
  if (words != nullptr && words->names_declining < 0) {
    words->names_declining = NamesADecliningBuiltIn(expression);
  }
  if (recorded == nullptr &&
      (words != nullptr ? words->names_declining != 0 : NamesADecliningBuiltIn(expression))) {
    return false;
  }
  std::int16_t level = 0;
  std::u16string word;
  const std::int16_t name_top = auto_name_top_;
  const bool names_made = auto_names_.IsDimensioned();
  unwatched_made_.clear();
  unwatched_numbers_.clear();
  unwatched_live_ = 0;
  for (std::int32_t& held : unwatched_held_) held = 0;
  unwatched_most_live_ = 0;
  unwatched_most_held_ = 0;
  unwatched_name_all_ = false;
  declined_ = false;
  unwatched_ = true;
  RecordedRun recording;
  std::size_t made = 0;
  try {
    if (recorded != nullptr && recorded->statement) {
      ReplayIf(*recorded->statement, expression, level, result);
    } else if (recorded != nullptr) {
      ReplayScript(*recorded, expression, level, result, made);
    } else {
      recording_ = &recording;
      RunScript(expression, level, word, result, words);
      made = unwatched_made_.size();
      if (!declined_) recording.end_position = ReadPosition(level);
    }
  } catch (...) {
    // Any error at all, a decline included: nothing has been reported or logged, and the general
    // run meets it again and answers for it.
    declined_ = true;
  }
  // A recording that could not follow some step is none.
  const bool recorded_fully = recording_ != nullptr;
  recording_ = nullptr;
  taping_ = nullptr;
  tape_ = nullptr;
  unwatched_ = false;
  unwatched_last_.reset();
  if (!declined_ && level != 0) declined_ = true;
  if (!declined_) {
    try {
      if (recorded != nullptr && !recorded->statement) {
        SettleUnwatched(level, made, made, made);
      } else {
        SettleUnwatched(level, static_cast<std::size_t>(unwatched_held_[0]),
                        static_cast<std::size_t>(unwatched_most_live_),
                        static_cast<std::size_t>(unwatched_most_held_));
        NameUnwatchedResult(result);
      }
    } catch (...) {
      // Only memory can fail here: the tables are grown as far as the general run grows them
      // anyway, and the rest is set back below.
      declined_ = true;
    }
  }
  if (!declined_) {
    auto on_error = [&](const support::TrappedError&) { declined_ = true; };
    CloseInstance(level, on_error);
  }
  const bool answered = !declined_;
  if (!answered) {
    // Back to where the run began (MayRunUnwatched's shape): no instance, no names, no holds.
    instance_counter_ = -1;
    auto_name_top_ = name_top;
    if (!names_made) auto_names_.Erase();
    support::IgnoreErrors([&] { hold_top_(0) = -1; });
    support::IgnoreErrors([&] {
      if (stacks_.IsDimensioned() && stacks_(0)) stacks_(0)->EmptyStack();
    });
    result.reset();
    declined_ = false;
  } else if (recorded == nullptr && recorded_fully) {
    // Keeping it is no part of the run: a failure only means the script is not kept.
    support::IgnoreErrors([&] { KeepRecorded(expression, std::move(recording)); });
  } else if (recorded == nullptr && if_learning_.done) {
    support::IgnoreErrors(
        [&] { KeepLearnedIf(expression, recording.end_position, statement != nullptr); });
  }
  if_learning_ = IfLearning{};
  unwatched_made_.clear();
  // Nothing of the run stays held: a host field may go, and its module with it.
  replay_hosts_.clear();
  replay_temps_.clear();
  // A replay that met a part of its IF statement not read yet: the same run again, word by
  // word, reads it (its state is as the run found it).
  if (std::exchange(if_gap_, false) && !answered) {
    if_relearn_ = true;
    return RunUnwatched(expression, result);
  }
  CountUnwatched(answered);
  if (answered && recorded != nullptr) CountReplayed();
  return answered;
}

DriverState Interpreter::ReadOperand(std::int16_t level, std::u16string& word,
                                     std::int16_t& depth) {
  if (IsLeftParenthesis(word)) {
    std::u16string name = CreateOperatorDataField(word);
    RequireCreated(name);
    depth = Add16(depth, 1);
    PushHeld(name, level);
    if (recording_ != nullptr) RecordMade();
    return DriverState::kOperandExpected;
  }
  if (IsStringLiteral(word)) {
    std::u16string name = CreateStringDataField(word);
    RequireCreated(name);
    PushHeld(name, level);
    if (recording_ != nullptr) RecordMade();
  } else if (IsDateLiteral(word)) {
    std::u16string name = CreateDateDataField(word);
    RequireCreated(name);
    PushHeld(name, level);
    if (recording_ != nullptr) RecordStep(RecordedStep::Kind::kDateLiteral, word);
  } else if (std::int32_t whole = 0; SmallWholeNumber(word, whole) ||
                                      automation::ParseNumber(word).has_value()) {
    // IsNumeric of the text, uncopied (a short run of digits is a number without the scan).
    std::u16string name = CreateNumericDataField(word);
    RequireCreated(name);
    PushHeld(name, level);
    if (recording_ != nullptr) RecordMade();
  } else if (IsDataField(word)) {
    // The host's own field: nothing to release later.
    PushItem(word, level);
    Notify([&](RunListener& l) { l.OnPush(level, word, InstanceStack(level).PeekStack(), false); });
    if (recording_ != nullptr) RecordStep(RecordedStep::Kind::kField, word);
  } else if (IsFunction(word)) {
    RecordedCall call;
    // This word's IF is the statement being learned (a built-in in its condition is not).
    bool learns_if = false;
    // Told by the flag rather than thrown: the driver stops after this word (a throw would cost a
    // script of its own).
    if (unwatched_) {
      // Departure: an IF in a run nobody watches runs its condition and branch as nested runs nobody watches either, and Format, FormatHL7DateTime, Replace and DateCat read their host fields quietly; DateCompare, which writes its steps to the debug log, declines (tests/interpreter_unwatched_test.cpp: Unwatched.AnIfStaysUnwatchedAndEndsAsTheGeneralRun, Unwatched.BuiltInsStayUnwatchedButDateCompare)
      if (IsDateCompareWord(word)) {
        declined_ = true;
        return DriverState::kOperatorExpected;
      }
      // A recorded run goes on through a built-in whose reading can be taped; any other
      // built-in ends the recording: the run is not kept.
      const std::u16string_view name = automation::TrimView(word);
      if (recording_ != nullptr) {
        call.which = TapedBuiltInNamed(automation::UCase(name));
        if (call.which == TapedBuiltIn::kNone) recording_ = nullptr;
      }
      unwatched_name_all_ = true;
      // An IF that is the script's first word (nothing made or pushed before it) may be kept
      // as the statement it reads. UCase keeps the length: other built-ins' names are passed
      // over without it.
      if (level == 0 && name.size() == 2 && if_learning_.MayLearn() && !if_learning_.done &&
          unwatched_made_.empty() && InstanceStack(level).IsStackEmpty() &&
          automation::UCase(name) == u"IF") {
        if (!if_learning_.statement) {
          if_learning_.statement = std::make_shared<RecordedIf>();
          if_learning_.statement->word = word;
        }
        if_learning_.active = true;
        learns_if = true;
      }
    }
    // The function reads its own arguments and pushes its own value.
    // Kept: the function's answer is not looked at; a failed one pushes nothing (tests/fuzz_regressions_test.cpp: FuzzRegressions.AFailedFunctionBeforeEqualsIsReportedNotACrash)
    if (call.which == TapedBuiltIn::kNone) {
      (void)PerformFunction(word, level);
    } else {
      call.word = word;
      const support::Restoring<RecordedCall*> taping(taping_, &call);
      (void)PerformFunction(word, level);
      // The call made one temporary, as any step that makes one.
      if (recording_ != nullptr) {
        RecordedStep step;
        step.kind = RecordedStep::Kind::kCall;
        step.call = std::make_shared<const RecordedCall>(std::move(call));
        recording_->steps.push_back(std::move(step));
      }
    }
    if (learns_if) {
      if_learning_.active = false;
      if_learning_.done = true;
      if_learning_.made_after = unwatched_made_.size();
    }
  } else if (word.empty() || word == u" ") {
    return DriverState::kOperandExpected;
  } else if (word == kEndOfLine) {
    // Nothing to do: the end of a line where an operand may stand.
  } else {
    RaiseSyntaxError(kDriverSource);
  }
  return DriverState::kOperatorExpected;
}

DriverState Interpreter::ReadOperator(std::int16_t level, std::u16string& word,
                                      std::int16_t& depth) {
  if (IsRightParenthesis(word)) {
    if (depth <= 0) RaiseSyntaxError(kDriverSource);
    EvaluateExpression(level);
    if (recording_ != nullptr) RecordStep(RecordedStep::Kind::kReduce);
    depth = Add16(depth, -1);
    return DriverState::kOperatorExpected;
  }
  if (IsOperator(word)) {
    // A second operator character joins the first: "==", "<=", ">=", "<>", "!=".
    const std::int32_t next = PeekNextChar(level);
    const char16_t unit = static_cast<char16_t>(next);
    if (next != kNoChar && IsOperator(std::u16string_view(&unit, 1))) {
      const std::int32_t c = GetNextChar(level);
      if (c != kNoChar) word += static_cast<char16_t>(c);
    }
    // Kept: "=" first reduces everything left of it (tests/interpreter_driver_test.cpp: Scripts.EverythingLeftOfEqualsIsReducedBeforeEquals)
    if (word == u"=") {
      EvaluateExpression(level);
      if (recording_ != nullptr) RecordStep(RecordedStep::Kind::kReduce);
    }
    std::u16string name = CreateOperatorDataField(word);
    RequireCreated(name);
    PushHeld(name, level);
    if (recording_ != nullptr) RecordMade();
    return DriverState::kOperandExpected;
  }
  if (word.empty() || word == u" " || word == kEndOfLine) return DriverState::kOperatorExpected;
  RaiseSyntaxError(kDriverSource);
}

// Close the level, on the normal path and after a failure alike. A step that fails goes to the
// handler and the closing goes on with the next step, so that it always ends.
// Departure: closing continues after a failing step (tests/interpreter_driver_test.cpp: Scripts.ClosingGoesOnAfterAFailingStep)
template <class OnError>
void Interpreter::CloseInstance(std::int16_t level, OnError& on_error) {
  // A nested level of a run nobody watches gives back the names its temporaries would have had.
  if (unwatched_) NoteUnwatchedClose(level);
  auto close_step = [&](auto&& step) {
    support::RunTrapped<support::OnHandlerError::kDrop>(
        false,
        [&] {
          step();
          return true;
        },
        on_error);
  };
  std::int32_t last_slot = -1;
  const bool has_hold_row = level >= 0 && level <= kDeepestLevel;
  if (has_hold_row) close_step([&] { last_slot = hold_array_.UBound(2); });
  for (std::int32_t slot = last_slot; slot >= 0; --slot) {
    // An empty slot in range is passed over at once, without making it: a run mostly leaves
    // most of its slots empty (a run nobody watched, all of them). Any other goes through the
    // step, which reports what reading it raises.
    const std::u16string* held = std::as_const(hold_array_).Peek(level, slot);
    if (held != nullptr && held->empty()) continue;
    close_step([&] {
      // Kept: the result temporary goes too; the caller's reference stays valid (tests/interpreter_driver_test.cpp: Scripts.TheResultTemporaryIsNoLongerInTheCollectionButStaysValid)
      std::u16string& entry = hold_array_(level, slot);
      std::u16string name = std::move(entry);
      entry.clear();
      last_added_.reset();
      if (stock_fields_) {
        // The stock Remove: a name not held raises 5.
        if (!stock_fields_.try_remove(stock_fields_.collection, name)) {
          automation::Raise(automation::err::InvalidProcedureCall);
        }
      } else {
        HostFields()->Remove(name);
      }
      RemoveAutoDataFieldNameFromList(name);
      Notify([&](RunListener& l) { l.OnRemove(level, name); });
    });
  }
  // The level's slots are all free again. Starting its next run at the first slot keeps a host
  // that never resets from growing the table (and its 16-bit slot count) run after run until
  // temporaries could no longer be recorded and would stay in its collection.
  // Departure: HoldTop is set back to -1 when a run closes (tests/interpreter_driver_test.cpp: Scripts.ARunGivesItsLevelsHoldSlotsBack)
  if (has_hold_row) close_step([&] { hold_top_(level) = -1; });
  close_step([&] { instance_counter_ = Add16(instance_counter_, -1); });
  close_step([&] { InstanceStack(level).EmptyStack(); });
}

}  // namespace qorvintr::engine
