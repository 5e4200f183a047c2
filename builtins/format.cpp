// Format and FormatHL7DateTime: read their arguments from the instance's text, format, and leave
// the text as a temporary on the instance's stack.
#include <string>

#include "automation/convert.h"
#include "automation/datetime.h"
#include "automation/error.h"
#include "automation/format.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/trap.h"
#include "support/tools.h"

namespace qorvintr {

using automation::Value;

namespace {

constexpr std::u16string_view kEol = u"<EOL>";

// Format's calendar: Sunday starts the week, and the week of January 1 is the first week.
constexpr int kSunday = 1;
constexpr int kFirstWeekOfJanuary1 = 1;

// The HL7 reader's 450 ends in a full stop and Format's does not; both texts are the
// component's own and are kept apart on purpose.
constexpr std::u16string_view kWrongArgumentsHL7 =
    u"Wrong number of arguments or invalid property assignment.";
constexpr std::u16string_view kWrongArgumentsFormat =
    u"Wrong number of arguments or invalid property assignment";

[[noreturn]] void RaiseArgumentNotOptional() {
  automation::Raise(automation::err::ArgumentNotOptional, {}, u"Argument not optional");
}
[[noreturn]] void RaiseWrongArguments(std::u16string_view description) {
  automation::Raise(automation::err::WrongNumberOfArguments, {}, std::u16string(description));
}

void TrimBlanks(std::u16string& word) {
  const std::u16string_view trimmed = automation::TrimView(word);
  if (trimmed.size() == word.size()) return;
  const std::size_t first = static_cast<std::size_t>(trimmed.data() - word.data());
  word.erase(first + trimmed.size());
  word.erase(0, first);
}

void StripFinalComma(std::u16string& word) noexcept {
  if (!word.empty() && word.back() == u',') word.pop_back();
}

// The platform's date and number tests on a text, without wrapping it in a value first.
bool IsDateText(std::u16string_view text) noexcept {
  return automation::ParseDate(text).has_value();
}
bool IsNumberText(std::u16string_view text) noexcept {
  return automation::ParseNumber(text).has_value();
}

// A flag literal: only these two spellings.
std::int16_t FlagFromWord(std::u16string_view word) {
  if (word == u"True") return -1;
  if (word == u"False") return 0;
  RaiseWrongArguments(kWrongArgumentsHL7);
}

}  // namespace

bool Interpreter::PerformGetHL7DateTimeFormatArguments(
    std::int16_t& intInstance, std::u16string& strDate, std::u16string& strTime,
    std::u16string& strSeparator, std::int16_t& blnIncludeTime, std::int16_t& blnIncludeZone,
    std::u16string& strZone) {
  return Trapped(u"PerformGetHL7DateTimeFormatArguments",
                 u"PerformGetHL7DateTimeFormatArguments", false, [&] {
    // Every argument word is trimmed and loses one final comma, except the zone's.
    auto next_argument = [&] {
      std::u16string word = GetNextWord(intInstance);
      TrimBlanks(word);
      StripFinalComma(word);
      return word;
    };

    // The date is the one argument that must be there, and must be a date.
    std::u16string word = next_argument();
    if (IsDataField(word)) {
      Value data = HostField(word)->Data();
      if (!automation::IsDate(data)) RaiseArgumentNotOptional();
      strDate = automation::CStr(data);
    } else {
      if (!IsDateText(word)) RaiseArgumentNotOptional();
      strDate = std::move(word);
    }

    // Time: a field that holds no date is passed over; a literal must be a date or "0" (the
    // lone comma, stripped to nothing, is neither).
    word = next_argument();
    if (word == kEol) return true;
    if (word != u",") {
      if (IsDataField(word)) {
        Value data = HostField(word)->Data();
        if (automation::IsDate(data)) strTime = automation::CStr(data);
      } else {
        if (!IsDateText(word) && word != u"0") RaiseWrongArguments(kWrongArgumentsHL7);
        strTime = std::move(word);
      }
    }

    // Separator: only a "String" field counts; a literal is taken as written, quotes and all.
    word = next_argument();
    if (word == kEol) return true;
    if (word != u"," && !word.empty()) {
      if (IsDataField(word)) {
        contract::DataFieldRef field = HostField(word);
        if (field->DataType() == u"String") strSeparator = automation::CStr(field->Data());
      } else {
        strSeparator = std::move(word);
      }
    }

    // The two flags: only a "Boolean" field counts; a literal is True or False, as spelt.
    for (std::int16_t* flag : {&blnIncludeTime, &blnIncludeZone}) {
      word = next_argument();
      if (word == kEol) return true;
      if (word == u"," || word.empty()) continue;
      if (IsDataField(word)) {
        contract::DataFieldRef field = HostField(word);
        if (field->DataType() == u"Boolean") {
          *flag = automation::CBool(field->Data()) ? std::int16_t{-1} : std::int16_t{0};
        }
      } else {
        *flag = FlagFromWord(word);
      }
    }

    // Zone: a sign is a word of its own for the lexer, so the number after it is joined on.
    // No final comma is removed here.
    word = GetNextWord(intInstance);
    TrimBlanks(word);
    if (IsOperator(word)) {
      std::u16string number = GetNextWord(intInstance);
      TrimBlanks(number);
      word += number;
    }
    if (word == kEol) return true;
    if (IsDataField(word)) {
      Value data = HostField(word)->Data();
      if (!automation::IsNumeric(data)) RaiseWrongArguments(kWrongArgumentsHL7);
      strZone = automation::CStr(data);
    } else {
      if (!IsNumberText(word)) RaiseWrongArguments(kWrongArgumentsHL7);
      strZone = std::move(word);
    }
    return true;
  });
}

bool Interpreter::PerformFormatHL7DateTime(std::int16_t& intInstance) {
  return Trapped(u"PerformFormatHL7DateTime", u"PerformFormatHL7DateTime", false, [&] {
    std::u16string date;
    std::u16string time;
    std::u16string separator;
    std::int16_t include_time = 0;
    std::int16_t include_zone = 0;
    std::u16string zone;
    // The reader reports its own failure; what it had read by then is formatted all the same.
    PerformGetHL7DateTimeFormatArguments(intInstance, date, time, separator, include_time,
                                         include_zone, zone);
    // Every argument is passed, so the conversion's own defaults for left-out ones never apply:
    // an absent zone is the empty text, not "0".
    std::u16string text = support::modTools::ConvertToHL7DateTime(
        std::move(date), &time, &separator, &include_time, &include_zone, &zone);
    std::u16string name = CreateDataFieldFromVariant(Value::String(std::move(text)));
    InstanceStack(intInstance).Push(HostField(name));
    AddNameToHoldArray(name, intInstance);
    return true;
  });
}

bool Interpreter::GetFormatArguments(std::int16_t& intInstance,
                                     contract::DataFieldRef& objDataField,
                                     std::u16string& strFormat) {
  return Trapped(u"GetFormatArguments", u"GetFormatArguments", false, [&] {
    std::u16string word = GetNextWord(intInstance);
    StripFinalComma(word);
    // The word after an opening parenthesis keeps its comma.
    if (word == u"(") word = GetNextWord(intInstance);
    if (!IsDataField(word)) RaiseWrongArguments(kWrongArgumentsFormat);
    objDataField = HostField(word);

    word = GetNextWord(intInstance);
    if (word == u",") word = GetNextWord(intInstance);
    if (IsDataField(word)) {
      strFormat = automation::CStr(HostField(word)->Data());
    } else {
      strFormat = std::move(word);
    }
    if (!strFormat.empty() && strFormat.back() == u')') strFormat.pop_back();
    strFormat = StripStringDelimiters(strFormat);
    return true;
  });
}

bool Interpreter::PerformFormat(std::int16_t& intInstance) {
  return Trapped(u"PerformFormat", u"PerformFormat", false, [&] {
    // A fresh field stands in until the reader hands over the named one; when the reader fails
    // first, the empty stand-in is what gets formatted.
    contract::DataFieldRef field = NewDataField();
    std::u16string picture;
    GetFormatArguments(intInstance, field, picture);
    if (!field) automation::Raise(automation::err::ObjectVariableNotSet);
    std::u16string text =
        automation::Format(field->Data(), picture, kSunday, kFirstWeekOfJanuary1);
    std::u16string name = CreateDataFieldFromVariant(Value::String(std::move(text)));
    InstanceStack(intInstance).Push(HostField(name));
    AddNameToHoldArray(name, intInstance);
    field.reset();
    return true;
  });
}

}  // namespace qorvintr
