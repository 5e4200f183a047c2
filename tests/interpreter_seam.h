#pragma once
// The tests' narrow way in to the interpreter's private procedures and state.

#include <cstdint>
#include <string>
#include <string_view>

#include "automation/text.h"
#include "interpreter/interpreter.h"

namespace qorvintr::engine {

class InterpreterSeam {
 public:
  explicit InterpreterSeam(Interpreter& interpreter) : i_(interpreter) {}

  // Object
  bool AddOperator(std::u16string s) { return i_.AddOperator(std::move(s)); }
  bool AddDelimiter(std::u16string s) { return i_.AddDelimiter(std::move(s)); }
  bool AddFunction(std::u16string s) { return i_.AddFunction(std::move(s)); }
  std::int16_t AddInstance(std::u16string s) { return i_.AddInstance(s); }
  const std::u16string& FunctionList() const { return i_.function_list_; }
  const std::u16string& OperatorList() const { return i_.operator_list_; }
  const std::u16string& DelimiterList() const { return i_.delimiter_list_; }
  std::int16_t InstanceCounter() const { return i_.instance_counter_; }
  std::int16_t& InstanceCounterRef() { return i_.instance_counter_; }
  const std::u16string& ExpressionText(std::int16_t n) const { return i_.expression_texts_(n); }
  std::int16_t& ReadPosition(std::int16_t n) { return i_.read_positions_(n); }
  std::int32_t ExpressionTextsUBound() const { return i_.expression_texts_.UBound(); }
  std::int32_t ReadPositionsUBound() const { return i_.read_positions_.UBound(); }
  std::int32_t StacksUBound() const { return i_.stacks_.UBound(); }
  bool StacksDimensioned() const { return i_.stacks_.IsDimensioned(); }
  support::Stack& Stack(std::int16_t n) { return i_.InstanceStack(n); }
  const automation::Value& SystemName() const { return i_.system_name_; }
  const automation::Value& ModuleName() const { return i_.module_name_; }

  // Makes the procedure whose trap carries this title fail with the error, once per call.
  void FailIn(std::u16string title, std::int32_t number) {
    i_.fault_injector_ = [title = std::move(title), number](std::u16string_view t) {
      if (t == title) automation::Raise(number);
    };
  }
  void StopFailing() { i_.fault_injector_ = nullptr; }

  // Unwatched runs: allowed (as by default) or not, and how many answered or declined.
  void AllowUnwatched(bool allowed) { i_.unwatched_allowed_ = allowed; }
  std::int32_t UnwatchedAnswered() const { return i_.unwatched_answered_; }
  std::int32_t UnwatchedDeclined() const { return i_.unwatched_declined_; }
  // Recorded runs: how many answered from a recording, how many scripts are kept, their room.
  std::int32_t RecordedReplayed() const { return i_.recorded_replayed_; }
  // Nested runs (an IF's condition or branch) answered from a recording.
  std::int32_t NestedReplayed() const { return i_.nested_replayed_; }
  std::size_t RecordedScripts() const { return i_.recorded_.size(); }
  // Whether a recording the next run of this text (trimmed as a run trims it) answers from is
  // kept: not a mark that the script is more than one IF statement.
  bool IsRecorded(std::u16string_view text) const {
    const auto* run = i_.FindRecorded(std::u16string(automation::TrimView(text)));
    return run != nullptr && (!run->statement || run->statement->whole);
  }
  std::size_t RecordedBytes() const { return i_.recorded_bytes_; }
  // Words already read: how many texts have their words kept, and how many words in all.
  std::size_t MemoTexts() const { return i_.word_memos_.size(); }
  std::size_t MemoWords() const {
    std::size_t n = 0;
    for (const auto& [text, memo] : i_.word_memos_) n += memo.words.size();
    return n;
  }
  std::size_t MemoScans() const {
    std::size_t n = 0;
    for (const auto& [text, memo] : i_.word_memos_) n += memo.scans.size();
    return n;
  }

  // Lexer
  static constexpr std::int32_t kNoChar = Interpreter::kNoChar;
  std::int32_t GetNextChar(std::int16_t n) { return i_.GetNextChar(n); }
  bool PutLastChar(std::int16_t n) { return i_.PutLastChar(n); }
  std::int32_t PeekNextChar(std::int16_t n) { return i_.PeekNextChar(n); }
  std::u16string GetNextWord(std::int16_t n) { return i_.GetNextWord(n); }
  bool PutLastWord(std::int16_t n, std::u16string_view w) { return i_.PutLastWord(n, w); }
  std::u16string PeekNextWord(std::int16_t n) { return i_.PeekNextWord(n); }
  std::u16string GetLiteralString(std::int16_t n) { return i_.GetLiteralString(n); }
  std::u16string GetLiteralDate(std::int16_t n) { return i_.GetLiteralDate(n); }
  bool IsFunction(std::u16string_view w) { return i_.IsFunction(w); }
  bool IsOperator(std::u16string_view w) { return i_.IsOperator(w); }
  bool IsDelimiter(std::u16string_view w) { return i_.IsDelimiter(w); }
  bool IsStringLiteral(std::u16string_view w) { return i_.IsStringLiteral(w); }
  bool IsDateLiteral(std::u16string_view w) { return i_.IsDateLiteral(w); }
  bool IsDataField(std::u16string_view w) { return i_.IsDataField(w); }
  static bool IsLeftParenthesis(std::u16string_view w) { return Interpreter::IsLeftParenthesis(w); }
  static bool IsRightParenthesis(std::u16string_view w) {
    return Interpreter::IsRightParenthesis(w);
  }

  // Evaluator
  bool EvaluateExpression(std::int16_t n) { return i_.EvaluateExpression(n); }
  static std::u16string StripStringDelimiters(std::u16string_view s) {
    return Interpreter::StripStringDelimiters(s);
  }
  static std::u16string StripDateDelimiters(std::u16string_view s) {
    return Interpreter::StripDateDelimiters(s);
  }

  // Temporaries
  std::u16string CreateStringDataField(std::u16string_view s) { return i_.CreateStringDataField(s); }
  std::u16string CreateOperatorDataField(std::u16string_view s) {
    return i_.CreateOperatorDataField(s);
  }
  std::u16string CreateNumericDataField(std::u16string_view s) {
    return i_.CreateNumericDataField(s);
  }
  std::u16string CreateDateDataField(std::u16string_view s) { return i_.CreateDateDataField(s); }
  std::u16string CreateDataFieldFromVariant(const automation::Value& v) {
    return i_.CreateDataFieldFromVariant(v);
  }
  std::u16string GetNewDataFieldName() { return i_.GetNewDataFieldName(); }
  bool RemoveAutoDataFieldNameFromList(std::u16string_view s) {
    return i_.RemoveAutoDataFieldNameFromList(s);
  }
  std::u16string AddNameToHoldArray(const std::u16string& s, std::int16_t level) {
    return i_.AddNameToHoldArray(s, level);
  }
  void PushHeld(std::u16string& name, std::int16_t level) { i_.PushHeld(name, level); }
  void PushHeldChecked(std::u16string& name, std::int16_t level) {
    i_.PushHeldChecked(name, level);
  }
  // Built-in functions
  automation::Value PerformFunction(std::u16string_view w, std::int16_t n) {
    return i_.PerformFunction(w, n);
  }
  bool PerformIf(std::int16_t n) { return i_.PerformIf(n); }
  std::u16string GetIfCondition(std::int16_t n) { return i_.GetIfCondition(n); }
  std::u16string GetStatements(std::int16_t n, std::int16_t& ended_at) {
    return i_.GetStatements(n, ended_at);
  }
  bool RemoveEndIf(std::int16_t n) { return i_.RemoveEndIf(n); }
  std::u16string GetElseStatements(std::int16_t n) { return i_.GetElseStatements(n); }
  bool PerformFormat(std::int16_t n) { return i_.PerformFormat(n); }
  bool GetFormatArguments(std::int16_t n, contract::DataFieldRef& field, std::u16string& format) {
    return i_.GetFormatArguments(n, field, format);
  }
  bool PerformFormatHL7DateTime(std::int16_t n) { return i_.PerformFormatHL7DateTime(n); }
  bool PerformGetHL7DateTimeFormatArguments(std::int16_t n, std::u16string& date,
                                            std::u16string& time, std::u16string& separator,
                                            std::int16_t& include_time,
                                            std::int16_t& include_zone, std::u16string& zone) {
    return i_.PerformGetHL7DateTimeFormatArguments(n, date, time, separator, include_time,
                                                   include_zone, zone);
  }
  bool PerformReplace(std::int16_t n) { return i_.PerformReplace(n); }
  bool GetReplaceArguments(std::int16_t n, contract::DataFieldRef& source, std::u16string& find,
                           std::u16string& replacement, std::int32_t& start,
                           std::int32_t& count, std::int32_t& compare) {
    return i_.GetReplaceArguments(n, source, find, replacement, start, count, compare);
  }
  std::int16_t PerformDateCompare(std::int16_t n) { return i_.PerformDateCompare(n); }
  std::int16_t DateCompare(const automation::Value& a, const automation::Value& b) {
    return i_.DateCompare(a, b);
  }
  static automation::Value RemoveCommas(const automation::Value& v) {
    return Interpreter::RemoveCommas(v);
  }
  bool PerformDateCat(std::int16_t n) { return i_.PerformDateCat(n); }

  std::int16_t AutoNameTop() const { return i_.auto_name_top_; }
  const std::u16string& AutoName(std::int32_t n) const { return i_.auto_names_(n); }
  std::int32_t AutoNameListUBound() const { return i_.auto_names_.UBound(); }
  std::int16_t HoldTop(std::int32_t level) const { return i_.hold_top_(level); }
  std::int32_t HoldTopUBound() const { return i_.hold_top_.UBound(); }
  const std::u16string& Hold(std::int32_t level, std::int32_t slot) const {
    return i_.hold_array_(level, slot);
  }
  std::int32_t HoldArrayUBound(int dimension) const { return i_.hold_array_.UBound(dimension); }

 private:
  Interpreter& i_;
};

}  // namespace qorvintr::engine
