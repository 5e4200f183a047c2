#pragma once
// qorvintr explain: the steps of a run as the interpreter reports them to a listener, kept as a
// list (for the playground) and written as text (for the command).

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "interpreter/listener.h"

namespace qorvintr::cli {

struct TraceStep {
  std::int16_t level = 0;
  std::string kind;     // run, word, push, reduce, call, branch, report, failure, remove, end
  std::u16string text;  // the step, readable
};

class TraceRecorder final : public engine::RunListener {
 public:
  // The host's ReportError lines, as the session writes them into *reports, become steps of
  // their own, in their place among the others.
  void FollowReports(const std::u16string* reports) noexcept { reports_ = reports; }
  // Takes the report lines written since the last step.
  void TakeReports();

  const std::vector<TraceStep>& steps() const noexcept { return steps_; }

  void OnRunStart(std::int16_t level, std::u16string_view script) override;
  void OnRunEnd(std::int16_t level, const contract::DataFieldRef& result) override;
  void OnWord(std::int16_t level, std::u16string_view word) override;
  void OnPush(std::int16_t level, std::u16string_view name, const contract::DataFieldRef& field,
              bool held) override;
  void OnReduce(std::int16_t level, const contract::DataFieldRef& left, std::u16string_view op,
                const contract::DataFieldRef& right, engine::UnifyRule rule,
                const automation::Value& result, std::u16string_view result_name) override;
  void OnCall(std::int16_t level, std::u16string_view function,
              const std::vector<std::pair<std::u16string, std::u16string>>& arguments) override;
  void OnBranch(std::int16_t level, std::u16string_view condition, const automation::Value& value,
                std::u16string_view taken) override;
  void OnFailure(std::int16_t level, std::int32_t number, std::u16string_view description,
                 std::u16string_view word) override;
  void OnRemove(std::int16_t level, std::u16string_view name) override;

 private:
  void Add(std::int16_t level, const char* kind, std::u16string text);
  std::vector<TraceStep> steps_;
  const std::u16string* reports_ = nullptr;
  std::size_t reports_taken_ = 0;
  std::int16_t last_level_ = 0;
};

// The steps as lines, indented by level.
std::u16string TraceText(const std::vector<TraceStep>& steps);

// A field as the trace shows it: its name, DataType and value.
std::u16string FieldText(const contract::DataFieldRef& field);

}  // namespace qorvintr::cli
