// Recorded runs: a script that ran unwatched once runs again from what its words did, without
// the lexer, the literals' parsing or a field per temporary. Hosts run the same field scripts
// for every message, so most runs are the second or later run of their script.
#include <string>
#include <utility>

#include "qorvintr/convert.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/reduce.h"
#include "interpreter/temporary_members.h"
#include "interpreter/trap.h"
#include "support/restoring.h"

namespace qorvintr::engine {

using automation::Value;

namespace {

// The room all recordings may take, and one of them (a script near the length limit records
// about two megabytes).
constexpr std::size_t kMostRecordedBytes = std::size_t{16} << 20;
constexpr std::size_t kMostBytesOfOneRun = std::size_t{4} << 20;

template <class Steps>
std::size_t BytesOf(const std::u16string& expression, const Steps& steps) {
  std::size_t bytes = 64 + expression.size() * sizeof(char16_t) +
                      steps.size() * sizeof(typename Steps::value_type);
  for (const auto& step : steps) {
    bytes += step.text.capacity() * sizeof(char16_t);
    if (step.data.IsString()) bytes += step.data.GetString().size() * sizeof(char16_t);
    if (step.call) {
      bytes += sizeof(*step.call) + 32 + step.call->word.capacity() * sizeof(char16_t);
      for (const std::u16string& word : step.call->words) {
        bytes += sizeof(word) + word.capacity() * sizeof(char16_t);
      }
    }
  }
  return bytes;
}

}  // namespace

// A replay's stack as the reduction runs on it.
struct Interpreter::RecordedItems {
  using Item = ReplayItem;
  std::vector<ReplayItem>& stack;
  std::vector<contract::DataFieldRef>& hosts;
  std::vector<ReplayTemporary>& temps;
  std::int32_t latest = -1;

  static bool IsNone(const Item& item) noexcept { return item.host < 0 && item.temp < 0; }
  bool Empty() const noexcept { return stack.empty(); }
  Item Pop() {
    Item top = stack.back();
    stack.pop_back();
    return top;
  }
  void Push(const Item& item) { stack.push_back(item); }
  const Value& Data(const Item& item, Value& holder) const {
    if (item.temp >= 0) return temps[static_cast<std::size_t>(item.temp)].data;
    if (item.host < 0) automation::Raise(automation::err::ObjectVariableNotSet);
    return reduce::ReadData(*hosts[static_cast<std::size_t>(item.host)], holder);
  }
  std::u16string_view DataType(const Item& item, std::u16string& holder) const {
    if (item.temp >= 0) return temps[static_cast<std::size_t>(item.temp)].type;
    if (item.host < 0) automation::Raise(automation::err::ObjectVariableNotSet);
    return reduce::ReadDataType(*hosts[static_cast<std::size_t>(item.host)], holder);
  }
  bool IsDate(const Item& item, const Value& data) const {
    const std::int8_t known = Known(item, &ReplayTemporary::date);
    return known >= 0 ? known != 0 : automation::IsDate(data);
  }
  bool IsNumeric(const Item& item, const Value& data) const {
    const std::int8_t known = Known(item, &ReplayTemporary::numeric);
    return known >= 0 ? known != 0 : automation::IsNumeric(data);
  }
  // A recorded literal's answer (1 or 0), or -1 where it is asked each time.
  std::int8_t Known(const Item& item, std::int8_t ReplayTemporary::*answer) const noexcept {
    return item.temp >= 0 ? temps[static_cast<std::size_t>(item.temp)].*answer : -1;
  }
  bool Reduced(const Item&, std::u16string_view, const Item&, UnifyRule, Value& value,
               bool& lent) {
    Make([&](ReplayTemporary& made) { lent = members::FromVariantTaking(made, value); });
    latest = static_cast<std::int32_t>(temps.size() - 1);
    return true;
  }
  // The result whose text the latest temporary took, as it was.
  const Value& LentBack() const { return temps[static_cast<std::size_t>(latest)].data; }
  Item Latest() const noexcept { return Item{-1, latest}; }

  // A new temporary, filled where it stays, as the next one made.
  void CheckRoom() const {
    if (temps.size() >= kMostUnwatched) throw Declined{};
  }
  template <class Fill>
  void Make(Fill&& fill) {
    CheckRoom();
    ReplayTemporary& made = temps.emplace_back();
    try {
      fill(made);
    } catch (...) {
      temps.pop_back();
      throw;
    }
  }
};

const Interpreter::RecordedRun* Interpreter::FindRecorded(const std::u16string& expression) const {
  if (recorded_.empty()) return nullptr;
  const auto found = recorded_.find(expression);
  return found == recorded_.end() ? nullptr : &found->second;
}

Interpreter::ReplayItem Interpreter::ReplayInstance(const RecordedRun& run,
                                                   std::u16string& expression,
                                                   std::int16_t& level, bool nested) {
  // As RunScript begins (the text is trimmed already: it was found by its trimmed text); a
  // script runs at level 0, a nested run at a level of its own.
  last_added_.reset();
  level = AddInstance(expression);
  if (nested ? level <= 0 || level > kDeepestLevel : level != 0) Decline();
  // The general run ends by popping this level's stack (91 without one).
  (void)InstanceStack(level);
  const ReplayItem top = ReplaySteps(run, level);
  ReadPosition(level) = run.end_position;
  return top;
}

Interpreter::ReplayItem Interpreter::ReplaySteps(const RecordedRun& run, std::int16_t level) {
  replay_stack_.clear();
  replay_hosts_.clear();
  replay_temps_.clear();
  RecordedItems items{replay_stack_, replay_hosts_, replay_temps_};
  bool reduced = false;
  for (const RecordedStep& step : run.steps) {
    switch (step.kind) {
      case RecordedStep::Kind::kTemporary:
        items.Make([&](ReplayTemporary& literal) {
          literal.type = step.type;
          literal.data = step.data;
          literal.date = step.date;
          literal.numeric = step.numeric;
        });
        break;
      case RecordedStep::Kind::kDateLiteral:
        items.Make([&](ReplayTemporary& date) { members::FromDateLiteral(date, step.text); });
        break;
      case RecordedStep::Kind::kField:
        // The field the word named when recorded must still be there, and read nothing but
        // itself.
        replay_hosts_.push_back(QuietHostField(step.text));
        items.Push(ReplayItem{static_cast<std::int32_t>(replay_hosts_.size() - 1), -1});
        continue;
      case RecordedStep::Kind::kReduce:
        reduce::Reduce(items, reduced);
        continue;
      case RecordedStep::Kind::kCall: {
        // The call runs before its temporary is made in the table: nothing of the call's
        // reading then refers into it.
        items.CheckRoom();
        const Value called = ReplayCall(*step.call, level);
        items.Make([&](ReplayTemporary& value) { members::FromVariant(value, called); });
        break;
      }
    }
    items.Push(ReplayItem{-1, static_cast<std::int32_t>(replay_temps_.size() - 1)});
  }
  // The driver's last reduction, and the value it leaves on top (an empty stack is 91).
  reduce::Reduce(items, reduced);
  if (items.Empty()) Decline();
  return items.Pop();
}

// Departure: a recorded call of Format, FormatHL7DateTime, Replace or DateCat reads its arguments again from the words its reading took (tests/interpreter_unwatched_test.cpp: RecordedCall.EachBuiltInThatReadsWordsIsReplayedAndEndsAsTheGeneralRun, RecordedCall.AWordThatNowNamesAFieldIsReadAsTheField, RecordedCall.AHostFieldNamedLikeTheBuiltInIsReadInstead)
automation::Value Interpreter::ReplayCall(const RecordedCall& call, std::int16_t level) {
  // The driver asks whether the word names a field before it asks whether it names a function.
  if (IsDataField(call.word)) Decline();
  const support::Restoring<const RecordedCall*> tape(tape_, &call);
  tape_next_ = 0;
  // The readers take the same words whatever the fields hold (a word that names a field now, or
  // no longer does, changes what is read from it, not how many words are read); a reading that
  // took more or fewer words all the same is left to the general run.
  contract::DataFieldRef stand_in;
  Value value;
  switch (call.which) {
    case TapedBuiltIn::kFormat:
      value = FormatValue(level, stand_in);
      break;
    case TapedBuiltIn::kFormatHL7DateTime:
      value = FormatHL7DateTimeValue(level);
      break;
    case TapedBuiltIn::kReplace:
      value = ReplaceValue(level, stand_in);
      break;
    case TapedBuiltIn::kDateCat:
      value = DateCatValue(level);
      break;
    case TapedBuiltIn::kNone:
      Decline();
  }
  if (tape_next_ != call.words.size()) Decline();
  return value;
}

Interpreter::NewField Interpreter::ReplayedField(const ReplayTemporary& value) {
  NewField field = NewTemporary(true);
  if (field.stock == nullptr) Decline();
  field.stock->AssignDataType(value.type);
  field.stock->AssignDataClass(members::kAuto);
  field.stock->DataSlot() = value.data;
  return field;
}

void Interpreter::ReplayScript(const RecordedRun& run, std::u16string& expression,
                               std::int16_t& level, contract::DataFieldRef& result,
                               std::size_t& made) {
  const ReplayItem top = ReplayInstance(run, expression, level, false);
  made = replay_temps_.size();
  if (top.temp >= 0) {
    const ReplayTemporary& value = replay_temps_[static_cast<std::size_t>(top.temp)];
    const std::size_t number = static_cast<std::size_t>(top.temp) + 1;
    const bool stock = StockCreator();
    if (!stock && !value.data.IsObject()) {
      // Under any other creator the host gets a field of that creator's: made holding what
      // the pooled field would have held, without the pooled field.
      result = MadeResult({TemporaryName(number).View(), value.type, members::kAuto, &value.data});
    } else {
      // Under the stock creator the pooled field itself is what the host gets.
      NewField field = ReplayedField(value);
      NameAsTemporary(*field.stock, number);
      result = stock ? std::move(field.ref) : UnwatchedResult(*field.stock);
    }
  } else if (top.host >= 0) {
    result = replay_hosts_[static_cast<std::size_t>(top.host)];
  } else {
    result.reset();
  }
}

void Interpreter::ReplayNested(const RecordedRun& run, std::u16string& expression,
                               std::int16_t& level, contract::DataFieldRef& result) {
  const ReplayItem top = ReplayInstance(run, expression, level, true);
  EndNestedReplay(level, top, result);
}

contract::DataFieldRef Interpreter::ReplayAtLevelOne(const RecordedRun& run) {
  // As ReplayNested at the level AddInstance would give, which the IF's replay has made sure
  // holds nothing; the closing then gives back the names its temporaries would have had.
  constexpr std::int16_t kLevel = 1;
  last_added_.reset();
  const ReplayItem top = ReplaySteps(run, kLevel);
  contract::DataFieldRef result;
  EndNestedReplay(kLevel, top, result);
  NoteUnwatchedClose(kLevel);
  return result;
}

void Interpreter::EndNestedReplay(std::int16_t level, const ReplayItem& top,
                                  contract::DataFieldRef& result) {
  const std::size_t made = replay_temps_.size();
  if (unwatched_made_.size() + made >= kMostUnwatched) Decline();
  // Every temporary the general run makes here takes the next number and a slot of this level,
  // and keeps them until the level closes; only the result is a field of its own.
  const std::int32_t live_before = unwatched_live_;
  if (top.temp >= 0) {
    NewField field = ReplayedField(replay_temps_[static_cast<std::size_t>(top.temp)]);
    KeepUnwatched(field);
    unwatched_numbers_.resize(unwatched_made_.size());
    unwatched_numbers_.back() = live_before + top.temp + 1;
    result = std::move(field.ref);
  } else if (top.host >= 0) {
    result = replay_hosts_[static_cast<std::size_t>(top.host)];
  } else {
    result.reset();
  }
  CountUnwatchedHolds(level, static_cast<std::int32_t>(made));
  // Nothing of the replay stays held: the host fields are held by the stack item or the result.
  replay_hosts_.clear();
  replay_temps_.clear();
  CountNestedReplayed();
}

void Interpreter::RecordMade() {
  // The temporary the word just made, as it is now: the reduction never changes a temporary.
  const std::u16string_view type =
      unwatched_made_.empty() ? std::u16string_view{}
                              : members::FixedTypeWord(unwatched_made_.back()->DataTypeRef());
  if (type.empty()) {
    recording_ = nullptr;
    return;
  }
  RecordedStep step;
  step.kind = RecordedStep::Kind::kTemporary;
  step.type = type;
  step.data = unwatched_made_.back()->DataRef();
  // Whether a text is a date depends on the text alone (a month and a day without a year take
  // the current one, but then an order that reads a year fits too), so a literal's answer is
  // found once.
  if (step.data.IsString()) {
    step.date = automation::IsDate(step.data) ? 1 : 0;
    // A text's reading as a number depends on the text alone (the locale is fixed).
    step.numeric = automation::IsNumeric(step.data) ? 1 : 0;
  }
  recording_->steps.push_back(std::move(step));
}

void Interpreter::RecordStep(RecordedStep::Kind kind, std::u16string_view text) {
  RecordedStep step;
  step.kind = kind;
  step.text = std::u16string(text);
  recording_->steps.push_back(std::move(step));
}

void Interpreter::KeepRecorded(const std::u16string& expression, RecordedRun&& run) {
  std::size_t bytes = BytesOf(expression, run.steps);
  // An IF statement's parts are pieces of its text, each kept once, and more are read later:
  // counted as twice the text from the start.
  if (run.statement) bytes += 2 * expression.size() * sizeof(char16_t) + 256;
  if (bytes > kMostBytesOfOneRun) return;
  // Full: start again with the scripts that come next (a host's scripts come round again).
  if (recorded_bytes_ + bytes > kMostRecordedBytes) ForgetRecorded();
  recorded_.emplace(expression, std::move(run));
  recorded_bytes_ += bytes;
}

void Interpreter::ForgetRecorded() noexcept {
  recorded_.clear();
  recorded_bytes_ = 0;
}

}  // namespace qorvintr::engine
