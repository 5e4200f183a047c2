// The interpreter object: creation, Init, version, instances, reset, teardown, the error trap.
#include "interpreter/interpreter.h"

#include <string>

#include "automation/convert.h"
#include "automation/datetime.h"
#include "automation/format.h"
#include "automation/text.h"
#include "interpreter/trap.h"
#include "qorvintr/version.h"
#include "support/debug_log.h"
#include "support/tools.h"

namespace qorvintr {

using automation::Value;
namespace modDebugLog = support::modDebugLog;
namespace modTools = support::modTools;

namespace {
constexpr std::int32_t kInterpreterErrorCode = 150100;

}  // namespace

Interpreter::Interpreter() {
  modTools::InitCharacterConstants();
  if (!AddFunction(u"If, Format, FormatHL7DateTime, Replace, DateCat, DateCompare")) return;
  if (!AddOperator(u"+ - * / \\ < > = == <= >= <> != &")) return;
  std::u16string delimiters = u"(";
  delimiters += u", ";
  delimiters += modTools::ChrBlank();
  delimiters += u", ";
  delimiters += modTools::ChrComma();
  delimiters += u", ";
  delimiters += modTools::ChrDoubleQuote();
  if (!AddDelimiter(std::move(delimiters))) return;
  instance_counter_ = -1;
  try {
    HoldArray.ReDim(0, 15, 0, 1);
    HoldTop.ReDim(0, 15);
    // Levels 11 to 15 start at 0, not -1; ResetMemory sets all sixteen.
    for (std::int32_t i = 0; i <= 10; ++i) HoldTop(i) = -1;
  } catch (...) {
    // Creation has no error trap of its own; an allocation failure leaves the tables
    // undimensioned, which the first temporary then dimensions.
  }
}

Interpreter::~Interpreter() {
  // Every step ignores errors.
  std::int32_t upper = -1;
  try {
    upper = stacks_.UBound();
  } catch (...) {
    upper = -1;
  }
  for (std::int32_t i = 0; i <= upper; ++i) {
    try {
      if (stacks_(i)) stacks_(i)->EmptyStack();
    } catch (...) {
    }
  }
  stacks_.Erase();
  modDebugLog::ReleaseDebugLog();
}

// ---- Version --------------------------------------------------------------------------------

std::u16string Interpreter::Release() const {
  try {
    std::u16string text = automation::Format(Value::Long(QORVINTR_VERSION_MAJOR), u"##00");
    text += u".";
    text += automation::Format(Value::Long(QORVINTR_VERSION_MINOR), u"##00");
    text += u".";
    text += automation::Format(Value::Long(QORVINTR_VERSION_REVISION), u"0000");
    return text;
  } catch (...) {
    return {};
  }
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

void Interpreter::SetStrExpression(std::int16_t& intIndex, std::u16string vData) {
  expression_texts_(intIndex) = std::move(vData);
}

void Interpreter::SetOrlinaIniFilename(std::u16string& vData) {
  g_orlina_ini_filename = vData;
  modDebugLog::SetIniFileName(vData);
}

// ---- Init -----------------------------------------------------------------------------------

bool Interpreter::Init(contract::DataFieldsRef& objDataFields, contract::HostErrorRef& objError,
                       std::u16string& strSystem, std::u16string& strApplication) {
  try {
    return Trapped(u"Init", kNoReport, false, [&] {
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
      DataFields_ = objDataFields;
      objError_ = objError;
      system_name_ = Value::String(strSystem);
      application_name_ = Value::String(strApplication);
      module_name_ = Value::String(u"Interpreter");
      return true;
    });
  } catch (...) {
    // A failing debug log inside the trap itself: the host still gets an answer.
    return false;
  }
}

// ---- Tables ---------------------------------------------------------------------------------

bool Interpreter::AddOperator(std::u16string strOperators) {
  return Trapped(u"AddOperator", kNoReport, false, [&] {
    // Each append either happens whole or not at all: the set follows the list exactly.
    operator_list_ += u", ";
    operator_chars_.Mark(u", ");
    operator_list_ += strOperators;
    operator_chars_.Mark(strOperators);
    return true;
  });
}

bool Interpreter::AddDelimiter(std::u16string strDelimiters) {
  return Trapped(u"AddDelimiter", kNoReport, false, [&] {
    delimiter_list_ += u", ";
    delimiter_chars_.Mark(u", ");
    delimiter_list_ += strDelimiters;
    delimiter_chars_.Mark(strDelimiters);
    return true;
  });
}

bool Interpreter::AddFunction(std::u16string strFunctions) {
  return Trapped(u"AddFunction", kNoReport, false, [&] {
    function_list_ += u", ";
    function_list_ += modTools::ProperCase(strFunctions);
    function_list_upper_ = automation::UCase(function_list_);
    return true;
  });
}

// ---- Instances ------------------------------------------------------------------------------

std::int16_t Interpreter::AddInstance(std::u16string& strExpression) {
  return Trapped(u"AddInstance", u"AddInstance", std::int16_t{0}, [&] {
    instance_counter_ = Add16(instance_counter_, 1);
    if (modTools::IsArrayEmpty(expression_texts_)) {
      expression_texts_.ReDim(0, 5);
      read_positions_.ReDim(0, 5);
    } else if (instance_counter_ > expression_texts_.UBound()) {
      std::int16_t upper = Add16(instance_counter_, 5);
      expression_texts_.ReDimPreserve(0, upper);
      read_positions_.ReDimPreserve(0, upper);
    }
    if (modTools::IsArrayEmpty(stacks_)) {
      stacks_.ReDim(0, 5);
    } else if (instance_counter_ > stacks_.UBound()) {
      stacks_.ReDimPreserve(0, Add16(instance_counter_, 5));
    }
    expression_texts_(instance_counter_) = automation::Trim(strExpression);
    read_positions_(instance_counter_) = 0;
    stacks_(instance_counter_) = std::make_shared<support::Stack>();
    return instance_counter_;
  });
}

void Interpreter::ResetMemory() noexcept {
  // Each step runs on its own; a failing step is skipped.
  auto step = [](auto&& f) {
    try {
      f();
    } catch (...) {
    }
  };
  step([&] { instance_counter_ = -1; });
  step([&] { AutoNameTop = -1; });
  step([&] { expression_texts_.ReDim(0, 5); });
  step([&] { read_positions_.ReDim(0, 5); });
  step([&] { AutoNameList.ReDim(0, 5); });
  step([&] { HoldArray.ReDim(0, 15, 0, 1); });
  step([&] { HoldTop.ReDim(0, 15); });
  for (std::int32_t i = 0; i <= 5; ++i) {
    step([&] { expression_texts_(i).clear(); });
    step([&] { read_positions_(i) = -1; });
    step([&] { AutoNameList(i).clear(); });
  }
  for (std::int32_t i = 0; i <= 15; ++i) step([&] { HoldTop(i) = -1; });
  // Entries never used hold no stack; emptying one would fail and be skipped, so they are
  // simply passed over.
  if (stacks_.IsDimensioned()) {
    const std::int32_t upper = stacks_.UBound();
    for (std::int32_t i = 0; i <= upper; ++i) {
      if (stacks_(i)) stacks_(i)->EmptyStack();
    }
  }
  stacks_.Erase();
}

// ---- Per-instance state ---------------------------------------------------------------------

contract::DataFieldsRef Interpreter::HostFields() const {
  if (!DataFields_) automation::Raise(automation::err::ObjectVariableNotSet);
  return DataFields_;
}

contract::DataFieldRef Interpreter::HostField(std::u16string& name) const {
  contract::DataFieldRef field = HostFields()->Item(name);
  if (!field) automation::Raise(automation::err::ObjectVariableNotSet);
  return field;
}

contract::DataFieldRef Interpreter::MColField(std::u16string_view name) const {
  contract::KeyedCollectionRef inner = HostFields()->mCol();
  if (!inner) automation::Raise(automation::err::ObjectVariableNotSet);
  contract::DataFieldRef field = inner->Item(name);
  if (!field) automation::Raise(automation::err::ObjectVariableNotSet);
  return field;
}

support::Stack& Interpreter::InstanceStack(std::int16_t intInstance) {
  support::StackRef& stack = stacks_(intInstance);
  if (!stack) automation::Raise(automation::err::ObjectVariableNotSet);
  return *stack;
}

// ---- The error trap -------------------------------------------------------------------------

void Interpreter::HandleError(std::u16string_view title, std::u16string_view reported,
                              const support::TrappedError& error) {
  modDebugLog::WriteDebugLog(support::ErrorTrapText(u"Interpreter", title, error));
  if (reported.empty()) return;
  if (!objError_) automation::Raise(automation::err::ObjectVariableNotSet);
  std::u16string text = u"Error: ";
  text += automation::CStr(Value::Long(error.number));
  text += u" - ";
  text += error.description;
  contract::HostErrorRef target = objError_;  // the host may drop its object while reporting
  Value answer = target->ReportError(
      Value::Long(kInterpreterErrorCode), Value::String(std::move(text)),
      Value::Date(automation::Now()), Value::Integer(4), Value::Integer(15), Value::Missing(),
      system_name_, application_name_, Value::String(Release()), module_name_,
      Value::String(reported));
  (void)automation::CLng(answer);
}

}  // namespace qorvintr
