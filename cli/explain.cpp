#include "cli/explain.h"

#include "automation/text.h"
#include "cli/commands.h"
#include "cli/options.h"
#include "cli/session.h"
#include "cli/text_io.h"

namespace qorvintr::cli {

namespace {

std::u16string Quoted(std::u16string_view text) { return u"\"" + EscapeLine(text) + u"\""; }

// A value with its kind: 3 (Long).
std::u16string ValueWithKind(const automation::Value& value) {
  return EscapeLine(ValueText(value)) + u" (" + automation::TypeName(value) + u")";
}

}  // namespace

std::u16string FieldText(const contract::DataFieldRef& field) {
  if (!field) return u"Nothing";
  return field->Name() + u" = " + EscapeLine(ValueText(field->Data())) + u" (" + field->DataType() +
         u")";
}

void TraceRecorder::TakeReports() {
  if (reports_ == nullptr) return;
  while (reports_taken_ < reports_->size()) {
    std::size_t end = reports_->find(u'\n', reports_taken_);
    if (end == std::u16string::npos) end = reports_->size();
    steps_.push_back({last_level_, "report", reports_->substr(reports_taken_, end - reports_taken_)});
    reports_taken_ = end + 1;
  }
}

void TraceRecorder::Add(std::int16_t level, const char* kind, std::u16string text) {
  TakeReports();
  last_level_ = level;
  steps_.push_back({level, kind, std::move(text)});
}

void TraceRecorder::OnRunStart(std::int16_t level, std::u16string_view script) {
  Add(level, "run", u"run at level " + automation::FromUtf8(std::to_string(level)) + u": " +
                        EscapeLine(script));
}

void TraceRecorder::OnRunEnd(std::int16_t level, const contract::DataFieldRef& result) {
  Add(level, "end", u"value of level " + automation::FromUtf8(std::to_string(level)) + u": " +
                        FieldText(result));
}

void TraceRecorder::OnWord(std::int16_t level, std::u16string_view word) {
  Add(level, "word", u"word: " + EscapeLine(word));
}

void TraceRecorder::OnPush(std::int16_t level, std::u16string_view name,
                           const contract::DataFieldRef& field, bool held) {
  Add(level, "push",
      u"push " + FieldText(field) +
          (held ? u", a temporary (held until the run ends)" : u", the host's field") +
          (field && field->Name() != name ? u" [asked for " + std::u16string(name) + u"]" : u""));
}

void TraceRecorder::OnReduce(std::int16_t level, const contract::DataFieldRef& left,
                             std::u16string_view op, const contract::DataFieldRef& right,
                             engine::UnifyRule rule, const automation::Value& result,
                             std::u16string_view result_name) {
  Add(level, "reduce",
      u"reduce " + FieldText(left) + u"  " + std::u16string(op) + u"  " + FieldText(right) +
          u"  [" + std::u16string(engine::UnifyRuleText(rule)) + u"]  -> " +
          std::u16string(result_name) + u" = " + ValueWithKind(result));
}

void TraceRecorder::OnCall(
    std::int16_t level, std::u16string_view function,
    const std::vector<std::pair<std::u16string, std::u16string>>& arguments) {
  std::u16string text = u"call " + std::u16string(function) + u"(";
  bool first = true;
  for (const auto& [name, value] : arguments) {
    if (!first) text += u", ";
    first = false;
    text += name + u": " + Quoted(value);
  }
  Add(level, "call", text + u")");
}

void TraceRecorder::OnBranch(std::int16_t level, std::u16string_view condition,
                             const automation::Value& value, std::u16string_view taken) {
  Add(level, "branch",
      u"IF condition " + EscapeLine(condition) + u" is " + ValueWithKind(value) + u": " +
          (taken == u"none" ? std::u16string(u"no branch runs") : std::u16string(taken) + u" runs"));
}

void TraceRecorder::OnFailure(std::int16_t level, std::int32_t number,
                              std::u16string_view description, std::u16string_view word) {
  Add(level, "failure",
      u"the run fails at the word " + Quoted(word) + u": error " +
          automation::FromUtf8(std::to_string(number)) + u", " + EscapeLine(description) +
          u"; its value is the field named Error");
}

void TraceRecorder::OnRemove(std::int16_t level, std::u16string_view name) {
  Add(level, "remove", u"remove " + std::u16string(name) + u" from the collection");
}

std::u16string TraceText(const std::vector<TraceStep>& steps) {
  std::u16string text;
  for (const TraceStep& step : steps) {
    text.append(static_cast<std::size_t>(step.level < 0 ? 0 : step.level) * 2 + 2, u' ');
    text += step.text;
    text += u'\n';
  }
  return text;
}

int ExplainCommand(const std::vector<std::string>& args) {
  Options options = ParseOptions(args, CommandName::kExplain);
  // The host's reports show among the steps.
  options.errors = true;
  const std::u16string script = OneScript(options, "explain");
  FixedClock clock(options.now);
  Session session(options);
  TraceRecorder trace;
  std::u16string reports;
  session.PrintErrorsInto(&reports);
  trace.FollowReports(&reports);
  session.Listen(&trace);
  contract::DataFieldRef result = session.Run(script);
  session.Listen(nullptr);
  trace.TakeReports();
  WriteOut(TraceText(trace.steps()));
  WriteOut(ResultLine(result) + u"\n");
  return EvalStatus(result);
}

}  // namespace qorvintr::cli
