// DateCompare and DateCat: compare two dates to -1, 0 or 1 (with a trace in the debug log), and
// join a date field and a time field into one date/time temporary.
#include <optional>
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/trap.h"
#include "support/debug_log.h"

namespace qorvintr::engine {

using automation::Value;
namespace modDebugLog = support::modDebugLog;

namespace {

constexpr std::u16string_view kCrLf = u"\r\n";

// A value as the trace joins it onto its text: Null joins as nothing.
std::u16string TraceText(const Value& value) {
  return value.IsNull() ? std::u16string() : automation::CStr(value);
}

// The two dates DateCompare works with, one line each, as both of its traces end.
void AppendBothDates(std::u16string& trace, double first_date, double second_date) {
  trace += kCrLf;
  trace += u"dte1: ";
  trace += automation::DateToText(first_date);
  trace += kCrLf;
  trace += u"dte2: ";
  trace += automation::DateToText(second_date);
}

// CDate with its errors ignored (zero then). A text that is neither a date nor a number, such
// as a field's name, is the usual case here: it is answered without raising and catching.
double DateOrZero(const Value& value) noexcept {
  if (value.IsString()) {
    // CDate's own first reading of a text.
    if (std::optional<double> date = automation::ParseDate(value.GetString())) return *date;
    if (!automation::ParseNumber(value.GetString())) return 0;
  }
  try {
    return automation::CDate(value);
  } catch (...) {
    // Any failure of the conversion is the zero date.
    return 0;
  }
}

}  // namespace

Value Interpreter::RemoveCommas(const Value& value) {
  std::u16string converted;
  if (!value.IsString()) converted = automation::CStr(value);
  const std::u16string& text = value.IsString() ? value.GetString() : converted;
  if (text.empty()) return Value::String(std::u16string());
  // The walk counts with a 16-bit counter from 1 to the length: a length beyond 32767 does not
  // fit it, and one of exactly 32767 overflows on the step past the last character.
  // Kept: 32767 characters and more overflow (tests/builtins_dates_test.cpp: DateBuiltins.RemoveCommasCountsWithSixteenBits)
  if (text.size() >= std::size_t{kCounterMax}) automation::Raise(automation::err::Overflow);
  std::u16string result;
  result.reserve(text.size());
  for (char16_t c : text) {
    if (c != u',') result += c;
  }
  return Value::String(std::move(result));
}

std::int16_t Interpreter::PerformDateCompare(std::int16_t level) {
  return Trapped(u"PerformDateCompare", u"PerformDateCompare", std::int16_t{0}, [&] {
    // Each argument loses its commas, then its quotes, then its "#" delimiters.
    auto next_date = [&] {
      std::u16string word = GetNextWord(level);
      const Value without_commas = RemoveCommas(Value::String(automation::TrimView(word)));
      return Value::String(
          StripDateDelimiters(StripStringDelimiters(without_commas.GetString())));
    };
    Value first = next_date();
    Value second = next_date();
    Notify([&](RunListener& l) {
      l.OnCall(level, u"DateCompare", {{u"first", first.GetString()}, {u"second", second.GetString()}});
    });

    if (modDebugLog::IsDebugLogEnabled()) {
      std::u16string trace = u"Interpreter - PerformDateCompare";
      trace += kCrLf;
      trace += u"Calling DateCompare with: ";
      trace += kCrLf;
      trace += u"vntDate1: ";
      trace += first.GetString();
      trace += kCrLf;
      trace += u"vntDate2: ";
      trace += second.GetString();
      modDebugLog::WriteDebugLog(trace);
    }
    const std::int16_t result = DateCompare(first, second);
    if (modDebugLog::IsDebugLogEnabled()) {
      std::u16string trace = u"Interpreter - PerformDateCompare";
      trace += kCrLf;
      trace += u"Return From Call to DateCompare: ";
      trace += automation::CStr(Value::Long(result));
      modDebugLog::WriteDebugLog(trace);
    }
    return result;
  });
}

std::int16_t Interpreter::DateCompare(const Value& first, const Value& second) {
  return Trapped(u"DateCompare", kNoReport, std::int16_t{0}, [&]() -> std::int16_t {
    // Conversions that fail leave their date at zero (30 December 1899, midnight); the first
    // trace is written under the same indulgence.
    // Kept: a value that is no date compares as day 0 (tests/builtins_dates_test.cpp: DateBuiltins.AFirstArgumentThatIsNeitherADateNorAFieldComparesAsDay0)
    double first_date = 0;
    double second_date = 0;
    first_date = DateOrZero(first);
    second_date = DateOrZero(second);
    if (modDebugLog::IsDebugLogEnabled()) {
      support::IgnoreErrors([&] {
        std::u16string trace = u"Interpreter - DateCompare";
        trace += kCrLf;
        trace += u"date1: ";
        trace += TraceText(first);
        trace += kCrLf;
        trace += u"date2: ";
        trace += TraceText(second);
        AppendBothDates(trace, first_date, second_date);
        modDebugLog::WriteDebugLog(trace);
      });
    }

    // From here on a failure is the trap's. A value that is no date may name a data field, whose
    // Data is then the date.
    auto from_field = [&](const Value& value, double& date, std::u16string_view label) {
      if (automation::IsDate(value)) return;
      std::u16string name = automation::CStr(value);
      if (IsDataField(name)) date = automation::CDate(HostField(name)->Data());
      if (modDebugLog::IsDebugLogEnabled()) {
        std::u16string trace = u"Interpreter - DateCompare";
        trace += kCrLf;
        trace += label;
        trace += automation::DateToText(date);
        modDebugLog::WriteDebugLog(trace);
      }
    };
    // Kept: two blanks before "(After Conversion)" (tests/builtins_dates_test.cpp: DateBuiltins.TraceAfterConversionHasTwoBlanksBeforeTheParenthesis)
    from_field(first, first_date, u"dte1  (After Conversion): ");
    from_field(second, second_date, u"dte2  (After Conversion): ");

    // Day and time of day both count.
    std::int16_t result = 0;
    if (first_date < second_date) {
      result = -1;
    } else if (first_date > second_date) {
      result = 1;
    }

    if (modDebugLog::IsDebugLogEnabled()) {
      std::u16string trace = u"Interpreter - DateCompare";
      trace += kCrLf;
      trace += u"(After Comparison)";
      AppendBothDates(trace, first_date, second_date);
      trace += kCrLf;
      trace += u"Result: ";
      trace += automation::CStr(Value::Long(result));
      modDebugLog::WriteDebugLog(trace);
    }
    return result;
  });
}

bool Interpreter::PerformDateCat(std::int16_t level) {
  return Trapped(u"PerformDateCat", kNoReport, false, [&] {
    std::u16string name = CreateDataFieldFromVariant(DateCatValue(level));
    PushHeldChecked(name, level);
    return true;
  });
}

Value Interpreter::DateCatValue(std::int16_t level) {
  // No literal is accepted: a word that is not empty must name a field, or the lookup fails.
  // Kept: DateCat takes no literal (tests/builtins_dates_test.cpp: DateBuiltins.DateCatAcceptsNoLiteralAndNoWordWithItsComma)
  std::u16string word = GetNextWord(level);
  std::u16string text =
      word.empty() ? std::u16string(u"01/01/1900") : automation::CStr(HostField(word)->Data());
  text += u' ';
  word = GetNextWord(level);
  if (word.empty()) {
    text += u"12:00 AM";
  } else {
    text += automation::CStr(HostField(word)->Data());
  }
  Notify([&](RunListener& l) { l.OnCall(level, u"DateCat", {{u"date and time", text}}); });
  return Value::Date(automation::CDate(Value::String(std::move(text))));
}

}  // namespace qorvintr::engine
