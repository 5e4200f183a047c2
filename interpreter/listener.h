#pragma once
// What a run does, step by step, for whoever wants to watch it (`qorvintr explain`, the
// playground). The interpreter calls a listener only when one is set: with none, each step costs
// one test of a pointer that is null.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qorvintr/contract/data_field.h"
#include "qorvintr/value.h"

namespace qorvintr::engine {

// How the evaluator brought two operands to one kind before the operator applied: the first rule
// that held.
enum class UnifyRule {
  kDates,          // the left item is a date: both as dates
  kSameType,       // both DataTypes are the same word: the values as they are
  kTexts,          // a Date field with another kind, or a left item that is no number: both as texts
  kRightNotNumber, // the right item is no number: both as texts
  kDouble,         // one of the DataTypes is Double (then Single, Long, Integer, Boolean)
  kSingle,
  kLong,
  kInteger,
  kBoolean,
  kNone,           // no numeric kind named: the values of the previous reduction
};

std::u16string_view UnifyRuleText(UnifyRule rule);

class RunListener {
 public:
  virtual ~RunListener() = default;

  // A run (the host's script, or an IF's condition or branch) starts at a level, and ends.
  virtual void OnRunStart(std::int16_t level, std::u16string_view script) = 0;
  virtual void OnRunEnd(std::int16_t level, const contract::DataFieldRef& result) = 0;
  // The driver read a word.
  virtual void OnWord(std::int16_t level, std::u16string_view word) = 0;
  // A field went on the level's stack: one of the host's (held false) or a temporary (held true).
  virtual void OnPush(std::int16_t level, std::u16string_view name,
                      const contract::DataFieldRef& field, bool held) = 0;
  // The evaluator applied an operator.
  virtual void OnReduce(std::int16_t level, const contract::DataFieldRef& left,
                        std::u16string_view op, const contract::DataFieldRef& right,
                        UnifyRule rule, const automation::Value& result,
                        std::u16string_view result_name) = 0;
  // A built-in read its arguments (name and value as text, in the order read).
  virtual void OnCall(std::int16_t level, std::u16string_view function,
                      const std::vector<std::pair<std::u16string, std::u16string>>& arguments) = 0;
  // An IF decided: its condition's text and value, and the branch that runs ("THEN", "ELSE",
  // "ELSEIF" or "none").
  virtual void OnBranch(std::int16_t level, std::u16string_view condition,
                        const automation::Value& value, std::u16string_view taken) = 0;
  // The run failed (it answers the "Error" field): the error and the word the driver was at.
  virtual void OnFailure(std::int16_t level, std::int32_t number, std::u16string_view description,
                         std::u16string_view word) = 0;
  // A temporary left the host's collection at the end of its run.
  virtual void OnRemove(std::int16_t level, std::u16string_view name) = 0;
};

}  // namespace qorvintr::engine
