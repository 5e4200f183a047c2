// The interpreter object: creation, Init, version, instances, reset, teardown, the error trap.
#include "interpreter/interpreter.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/format.h"
#include "automation/text.h"
#include "interpreter/limits.h"
#include "interpreter/trap.h"
#include "qorvintr/version.h"
#include "support/debug_log.h"
#include "support/tools.h"

namespace qorvintr::engine {

using automation::Value;
namespace modDebugLog = support::modDebugLog;
namespace modTools = support::modTools;

namespace {

// How many emptied Stacks ResetMemory keeps for the next instances.
constexpr std::size_t kSpareStacks = 16;

// Creation sets HoldTop to -1 for the levels up to this one only.
constexpr std::int16_t kLastLevelClearedAtCreation = 10;

// Release has no trap of its own: any failure answers the empty text.
void NoHandler(const support::TrappedError&) noexcept {}

}  // namespace

Interpreter::Interpreter() {
  modTools::InitCharacterConstants();
  if (!AddFunction(std::u16string(kFunctionNames))) return;
  if (!AddOperator(std::u16string(kOperatorNames))) return;
  std::u16string delimiters = u"(";
  delimiters += u", ";
  delimiters += modTools::ChrBlank();
  delimiters += u", ";
  delimiters += modTools::ChrComma();
  delimiters += u", ";
  delimiters += modTools::ChrDoubleQuote();
  if (!AddDelimiter(std::move(delimiters))) return;
  instance_counter_ = -1;
  // Creation has no error trap of its own; an allocation failure leaves the tables
  // undimensioned, which the first temporary then dimensions.
  support::IgnoreErrors([&] {
    hold_array_.ReDim(0, kDeepestLevel, 0, kFirstHoldSlotUpperBound);
    hold_top_.ReDim(0, kDeepestLevel);
    // ResetMemory sets all sixteen.
    // Kept: creation leaves HoldTop 0, not -1, for levels 11 to 15 (tests/interpreter_object_test.cpp: InterpreterTest.CreationLeavesHoldTopOfLevels11To15AtZero)
    for (std::int32_t i = 0; i <= kLastLevelClearedAtCreation; ++i) hold_top_(i) = -1;
  });
}

Interpreter::~Interpreter() {
  // Every step ignores errors.
  std::int32_t upper = -1;
  support::IgnoreErrors([&] { upper = stacks_.UBound(); });
  for (std::int32_t i = 0; i <= upper; ++i) {
    support::IgnoreErrors([&] {
      if (stacks_(i)) stacks_(i)->EmptyStack();
    });
  }
  stacks_.Erase();
  modDebugLog::ReleaseDebugLog();
}

// ---- Version --------------------------------------------------------------------------------

std::u16string Interpreter::Release() const {
  return support::RunTrapped<support::OnHandlerError::kDrop>(
      std::u16string{},
      [] {
        std::u16string text = automation::Format(Value::Long(QORVINTR_VERSION_MAJOR), u"##00");
        text += u".";
        text += automation::Format(Value::Long(QORVINTR_VERSION_MINOR), u"##00");
        text += u".";
        text += automation::Format(Value::Long(QORVINTR_VERSION_REVISION), u"0000");
        return text;
      },
      NoHandler);
}

std::u16string Interpreter::Major() const {
  return automation::CStr(Value::Long(QORVINTR_VERSION_MAJOR));
}
std::u16string Interpreter::Minor() const {
  return automation::CStr(Value::Long(QORVINTR_VERSION_MINOR));
}
std::u16string Interpreter::Revision() const {
  return automation::CStr(Value::Long(QORVINTR_VERSION_REVISION));
}

// ---- Properties -----------------------------------------------------------------------------

void Interpreter::SetStrExpression(std::int16_t& index, std::u16string text) {
  expression_texts_(index) = std::move(text);
  LevelTextChanged(index);
}

void Interpreter::SetOrlinaIniFilename(std::u16string& name) {
  orlina_ini_filename_ = name;
  modDebugLog::SetIniFileName(name);
}

// ---- Init -----------------------------------------------------------------------------------

bool Interpreter::Init(const contract::DataFieldsRef& data_fields,
                       const contract::HostErrorRef& error_object, std::u16string_view system,
                       std::u16string_view application) {
  // An entry point: a debug log that fails inside the trap itself still leaves the host an
  // answer.
  const EnteredCall call(*this);
  return Trapped<support::OnHandlerError::kDrop>(u"Init", kNoReport, false, [&] {
    // What the scripts need is kept first: settings the log cannot use (a LogSize or NumLogs
    // beyond 32 bits) still fail Init, but no longer every script after it.
    // Departure: Init keeps the collection, the error object and the names before it reads the log's settings (tests/fault_settings_test.cpp: HostileSettings.LogSizesAndCountsAtAndBeyondTheirLimitsChangeNoAnswer)
    KeepDataFields(data_fields);
    error_object_ = error_object;
    system_name_ = Value::String(system);
    application_name_ = Value::String(application);
    module_name_ = Value::String(u"Interpreter");
    modDebugLog::ReadDebugLogSettings();
    if (modDebugLog::IsDebugLogEnabled()) {
      std::u16string banner =
          u"------------------------------\r\n"
          u"-     Interpreter - Init     -\r\n"
          u"------------------------------\r\n"
          u"Interpreter Version: ";
      banner += Release();
      modDebugLog::InitDebugLog(banner);
    }
    return true;
  });
}

// ---- Tables ---------------------------------------------------------------------------------

bool Interpreter::AddOperator(std::u16string operators) {
  WordListsChanged();
  return Trapped(u"AddOperator", kNoReport, false, [&] {
    // Each append either happens whole or not at all: the set follows the list exactly.
    operator_list_ += u", ";
    operator_chars_.Mark(u", ");
    operator_list_ += operators;
    operator_chars_.Mark(operators);
    return true;
  });
}

bool Interpreter::AddDelimiter(std::u16string delimiters) {
  WordListsChanged();
  return Trapped(u"AddDelimiter", kNoReport, false, [&] {
    delimiter_list_ += u", ";
    delimiter_chars_.Mark(u", ");
    delimiter_list_ += delimiters;
    delimiter_chars_.Mark(delimiters);
    return true;
  });
}

bool Interpreter::AddFunction(std::u16string functions) {
  // The words read do not depend on this list; what a word is taken for does.
  ForgetRecorded();
  return Trapped(u"AddFunction", kNoReport, false, [&] {
    function_list_ += u", ";
    // Kept: the names are listed in ProperCase form, "Formathl7datetime" (tests/interpreter_object_test.cpp: InterpreterTest.AddFunctionAppendsTheWordInProperCaseAndAddOperatorUnchanged)
    function_list_ += modTools::ProperCase(functions);
    function_list_upper_ = automation::UCase(function_list_);
    return true;
  });
}

// ---- Instances ------------------------------------------------------------------------------

std::int16_t Interpreter::AddInstance(std::u16string_view expression) {
  // Kept: a failure answers 0 with the counter already raised, like instance 0 (tests/interpreter_object_test.cpp: InterpreterTest.AddInstanceFailureLeavesTheCounterRaisedAndAnswersZero)
  return Trapped(u"AddInstance", u"AddInstance", std::int16_t{0}, [&] {
    instance_counter_ = Add16(instance_counter_, 1);
    if (modTools::IsArrayEmpty(expression_texts_)) {
      expression_texts_.ReDim(0, kFirstUpperBound);
      read_positions_.ReDim(0, kFirstUpperBound);
    } else if (instance_counter_ > expression_texts_.UBound()) {
      std::int16_t upper = Add16(instance_counter_, kGrowth);
      expression_texts_.ReDimPreserve(0, upper);
      read_positions_.ReDimPreserve(0, upper);
    }
    if (modTools::IsArrayEmpty(stacks_)) {
      stacks_.ReDim(0, kFirstUpperBound);
    } else if (instance_counter_ > stacks_.UBound()) {
      stacks_.ReDimPreserve(0, Add16(instance_counter_, kGrowth));
    }
    // Into the text the slot already has (a reset keeps its storage).
    expression_texts_(instance_counter_).assign(automation::TrimView(expression));
    LevelTextChanged(instance_counter_);
    read_positions_(instance_counter_) = 0;
    support::StackRef& stack = stacks_(instance_counter_);
    if (stack && stack.use_count() == 1) {
      stack->Clear();  // what replacing it would release; the object itself serves again
    } else if (!spare_stacks_.empty()) {
      stack = std::move(spare_stacks_.back());
      spare_stacks_.pop_back();
    } else {
      stack = std::make_shared<support::Stack>();
    }
    return instance_counter_;
  });
}

void Interpreter::ResetMemory() noexcept {
  // Departure: a ResetMemory the host asks for from inside one of the interpreter's calls is done when the outermost call ends (tests/fault_injection_test.cpp: Reentry.AResetAskedForMidRunIsDoneWhenTheRunEnds)
  if (calls_running_ > 0) {
    reset_waiting_ = true;
    return;
  }
  const EnteredCall call(*this);
  ResetMemoryNow();
}

void Interpreter::ResetWaiting() noexcept {
  reset_waiting_ = false;
  const EnteredCall call(*this);
  ResetMemoryNow();
  // One reset answers every one asked for while it was waiting, and during it.
  reset_waiting_ = false;
}

void Interpreter::ResetMemoryNow() noexcept {
  // Each step runs on its own; a failing step is skipped.
  using support::IgnoreErrors;
  IgnoreErrors([&] { instance_counter_ = -1; });
  IgnoreErrors([&] { auto_name_top_ = -1; });
  // Every level's text goes: its words are found again by the next text.
  std::fill(std::begin(level_memos_), std::end(level_memos_), nullptr);
  // A ReDim leaves its elements at their default value, the marks -1 where a table has them; only
  // a table whose ReDim failed keeps what it held, to be cleared entry by entry.
  bool texts = false;
  bool positions = false;
  bool names = false;
  bool tops = false;
  IgnoreErrors([&] {
    expression_texts_.ReDim(0, kFirstUpperBound);
    texts = true;
  });
  IgnoreErrors([&] {
    read_positions_.ReDimAll(0, kFirstUpperBound, -1);
    positions = true;
  });
  IgnoreErrors([&] {
    auto_names_.ReDim(0, kFirstUpperBound);
    names = true;
  });
  IgnoreErrors([&] { hold_array_.ReDim(0, kDeepestLevel, 0, kFirstHoldSlotUpperBound); });
  IgnoreErrors([&] {
    hold_top_.ReDimAll(0, kDeepestLevel, -1);
    tops = true;
  });
  // An element out of range is the only way these steps fail: it is passed over.
  if (!texts || !positions || !names) {
    for (std::int32_t i = 0; i <= kFirstUpperBound; ++i) {
      if (std::u16string* text = expression_texts_.Find(i)) text->clear();
      if (std::int16_t* position = read_positions_.Find(i)) *position = -1;
      if (std::u16string* name = auto_names_.Find(i)) name->clear();
    }
  }
  if (!tops) {
    for (std::int32_t i = 0; i <= kDeepestLevel; ++i) {
      if (std::int16_t* top = hold_top_.Find(i)) *top = -1;
    }
  }
  // Entries never used hold no stack; emptying one would fail and be skipped, so they are
  // simply passed over.
  for (support::StackRef& stack : stacks_.Elements()) {
    if (!stack) continue;
    stack->EmptyStack();
    // Its items go now, as they would with the Stack; a Stack only the table holds is kept
    // for the next instances.
    if (stack.use_count() == 1 && spare_stacks_.size() < kSpareStacks) {
      stack->Clear();
      IgnoreErrors([&] { spare_stacks_.push_back(std::move(stack)); });
    }
  }
  stacks_.Erase();
}

// ---- Per-instance state ---------------------------------------------------------------------

void Interpreter::KeepDataFields(contract::DataFieldsRef data_fields) {
  last_added_.reset();
  stock_fields_ = contract::stock::ProbeFields(data_fields.get());
  own_fields_ = stock_fields_ ? contract::stock::OwnFieldsView{}
                              : contract::stock::ProbeOwnFields(data_fields.get());
  data_fields_ = std::move(data_fields);
}

contract::DataFieldsRef Interpreter::HostFields() const {
  if (!data_fields_) automation::Raise(automation::err::ObjectVariableNotSet);
  return data_fields_;
}

contract::DataFieldRef Interpreter::HostField(std::u16string& name) {
  if (unwatched_) return QuietHostField(name);
  contract::DataFieldRef field = HostFields()->Item(name);
  if (!field) automation::Raise(automation::err::ObjectVariableNotSet);
  return field;
}

contract::DataFieldRef Interpreter::QuietHostField(std::u16string_view name) {
  if (!stock_fields_) return UnwatchedHostField(name);
  const contract::DataFieldRef* field = stock_fields_.find(stock_fields_.collection, name);
  if (field == nullptr) Decline();
  CheckUnwatchedRead(*field);
  if (declined_) Decline();
  return *field;
}

contract::DataFieldRef Interpreter::MColField(std::u16string_view name) {
  if (unwatched_) {
    // The temporary just made, which the lookup would find; any other name a host field.
    // Departure: an unwatched run's reduction result is taken without the lookup (tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
    if (name != kUnwatchedName) return QuietHostField(name);
    if (!unwatched_last_) Decline();
    return unwatched_last_;
  }
  if (const contract::DataFieldRef* just_added = JustAdded(name)) return *just_added;
  if (stock_fields_) {
    // mCol of the stock collection is the FieldCollection: a name not held raises 5.
    const contract::DataFieldRef* field = stock_fields_.find(stock_fields_.collection, name);
    if (!field) automation::Raise(automation::err::InvalidProcedureCall);
    if (!*field) automation::Raise(automation::err::ObjectVariableNotSet);
    return *field;
  }
  contract::KeyedCollectionRef inner = HostFields()->mCol();
  if (!inner) automation::Raise(automation::err::ObjectVariableNotSet);
  contract::DataFieldRef field = inner->Item(name);
  if (!field) automation::Raise(automation::err::ObjectVariableNotSet);
  return field;
}

support::Stack& Interpreter::InstanceStack(std::int16_t level) {
  support::StackRef& stack = stacks_(level);
  if (!stack) automation::Raise(automation::err::ObjectVariableNotSet);
  return *stack;
}

// ---- The error trap -------------------------------------------------------------------------

void Interpreter::HandleError(std::u16string_view title, std::u16string_view reported,
                              const support::TrappedError& error) {
  // The log and the host's error object may run the host's code.
  last_added_.reset();
  support::LogErrorTrap(u"Interpreter", title, error);
  if (reported.empty()) return;
  if (!error_object_) automation::Raise(automation::err::ObjectVariableNotSet);
  std::u16string text = u"Error: ";
  text += automation::CStr(Value::Long(error.number));
  text += u" - ";
  text += error.description;
  contract::HostErrorRef target = error_object_;  // the host may drop its object while reporting
  // Kept: ReportError gets the three names by reference; a host's change stays (tests/interpreter_object_test.cpp: InterpreterTest.AHostThatChangesTheByReferenceArgumentsChangesTheInterpretersNames)
  Value answer = target->ReportError(
      Value::Long(kInterpreterErrorCode), Value::String(std::move(text)),
      Value::Date(automation::Now()), Value::Integer(kReportFourthArgument),
      Value::Integer(kReportFifthArgument), Value::Missing(), system_name_, application_name_,
      Value::String(Release()), module_name_, Value::String(reported));
  // Kept: ReportError's answer is read as a number and otherwise ignored (tests/interpreter_object_test.cpp: InterpreterTest.AnErrorObjectThatAnswersNonZeroStillGetsTheFailureValue)
  (void)automation::CLng(answer);
}

}  // namespace qorvintr::engine
