// Format and FormatHL7DateTime: read their arguments from the instance's text, format, and leave
// the text as a temporary on the instance's stack.
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/format.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/trap.h"
#include "support/tools.h"

namespace qorvintr::engine {

using automation::Value;

namespace {

// Format's calendar: Sunday starts the week, and the week of January 1 is the first week.
constexpr int kSunday = 1;
constexpr int kFirstWeekOfJanuary1 = 1;

[[noreturn]] void RaiseArgumentNotOptional() {
  automation::Raise(automation::err::ArgumentNotOptional, {}, u"Argument not optional");
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

// The HL7 reader's argument words are trimmed and lose one final comma (all but the zone's).
std::u16string HL7Argument(std::u16string word) {
  TrimBlanks(word);
  StripFinalComma(word);
  return word;
}

// The platform's date and number tests on a text, without wrapping it in a value first.
bool IsDateText(std::u16string_view text) noexcept {
  return automation::ParseDate(text).has_value();
}
bool IsNumberText(std::u16string_view text) noexcept {
  return automation::ParseNumber(text).has_value();
}

// A flag literal: only these two spellings.
// Kept: the flag literals are case-sensitive (tests/builtins_format_test.cpp: FormatBuiltins.HL7FlagWrittenInLowerCaseRaises450WithAFullStop)
std::int16_t FlagFromWord(std::u16string_view word) {
  if (word == u"True") return -1;
  if (word == u"False") return 0;
  RaiseWrongArguments(kWrongArgumentsHL7);
}

}  // namespace

bool Interpreter::PerformGetHL7DateTimeFormatArguments(
    std::int16_t level, std::u16string& date, std::u16string& time, std::u16string& separator,
    std::int16_t& include_time, std::int16_t& include_zone, std::u16string& zone) {
  return Trapped(u"PerformGetHL7DateTimeFormatArguments",
                 u"PerformGetHL7DateTimeFormatArguments", false, [&] {
    // Each step reads one argument; the first one to meet the end of the text ends the list.
    ReadHL7Date(level, date);
    if (ReadHL7Time(level, time) && ReadHL7Separator(level, separator) &&
        ReadHL7Flag(level, include_time) && ReadHL7Flag(level, include_zone)) {
      ReadHL7Zone(level, zone);
    }
    return true;
  });
}

// The date is the one argument that must be there, and must be a date.
void Interpreter::ReadHL7Date(std::int16_t level, std::u16string& date) {
  std::u16string word = HL7Argument(GetNextWord(level));
  if (IsDataField(word)) {
    Value data = HostField(word)->Data();
    if (!automation::IsDate(data)) RaiseArgumentNotOptional();
    date = automation::CStr(data);
  } else {
    if (!IsDateText(word)) RaiseArgumentNotOptional();
    date = std::move(word);
  }
}

// Time: a field that holds no date is passed over; a literal must be a date or "0" (the lone
// comma, stripped to nothing, is neither).
bool Interpreter::ReadHL7Time(std::int16_t level, std::u16string& time) {
  std::u16string word = HL7Argument(GetNextWord(level));
  if (word == kEndOfLine) return false;
  if (word == u",") return true;
  if (IsDataField(word)) {
    Value data = HostField(word)->Data();
    if (automation::IsDate(data)) time = automation::CStr(data);
  } else {
    // Kept: a lone comma as the time is stripped to nothing and refused (tests/builtins_format_test.cpp: FormatBuiltins.HL7LoneCommaAsTimeIsStrippedToNothingAndRaises450)
    if (!IsDateText(word) && word != u"0") RaiseWrongArguments(kWrongArgumentsHL7);
    time = std::move(word);
  }
  return true;
}

// Separator: only a "String" field counts; a literal is taken as written, quotes and all.
bool Interpreter::ReadHL7Separator(std::int16_t level, std::u16string& separator) {
  std::u16string word = HL7Argument(GetNextWord(level));
  if (word == kEndOfLine) return false;
  if (word == u"," || word.empty()) return true;
  if (IsDataField(word)) {
    contract::DataFieldRef field = HostField(word);
    // Kept: a separator field of another type is passed over (tests/builtins_format_test.cpp: FormatBuiltins.HL7SeparatorGivenAsALongDataFieldIsIgnoredAndSlashIsUsed)
    if (field->DataType() == u"String") separator = automation::CStr(field->Data());
  } else {
    // Kept: a literal separator is taken as written, quotes included (tests/builtins_format_test.cpp: FormatBuiltins.HL7LiteralSeparatorIsTakenAsWrittenQuotesIncluded)
    separator = std::move(word);
  }
  return true;
}

// A flag: only a "Boolean" field counts; a literal is True or False, as spelt.
bool Interpreter::ReadHL7Flag(std::int16_t level, std::int16_t& flag) {
  std::u16string word = HL7Argument(GetNextWord(level));
  if (word == kEndOfLine) return false;
  if (word == u"," || word.empty()) return true;
  if (IsDataField(word)) {
    contract::DataFieldRef field = HostField(word);
    if (field->DataType() == u"Boolean") {
      flag = automation::CBool(field->Data()) ? std::int16_t{-1} : std::int16_t{0};
    }
  } else {
    flag = FlagFromWord(word);
  }
  return true;
}

// Zone: a sign is a word of its own for the lexer, so the number after it is joined on. No
// final comma is removed here.
// Kept: the zone keeps what follows it, a closing parenthesis too (tests/builtins_format_test.cpp: FormatBuiltins.HL7ZoneKeepsAClosingParenthesisAndIsThenNoNumber)
void Interpreter::ReadHL7Zone(std::int16_t level, std::u16string& zone) {
  std::u16string word = GetNextWord(level);
  TrimBlanks(word);
  if (IsOperator(word)) {
    std::u16string number = GetNextWord(level);
    TrimBlanks(number);
    word += number;
  }
  if (word == kEndOfLine) return;
  if (IsDataField(word)) {
    Value data = HostField(word)->Data();
    if (!automation::IsNumeric(data)) RaiseWrongArguments(kWrongArgumentsHL7);
    zone = automation::CStr(data);
  } else {
    if (!IsNumberText(word)) RaiseWrongArguments(kWrongArgumentsHL7);
    zone = std::move(word);
  }
}

bool Interpreter::PerformFormatHL7DateTime(std::int16_t level) {
  return Trapped(u"PerformFormatHL7DateTime", u"PerformFormatHL7DateTime", false, [&] {
    std::u16string name = CreateDataFieldFromVariant(FormatHL7DateTimeValue(level));
    PushHeldChecked(name, level);
    return true;
  });
}

Value Interpreter::FormatHL7DateTimeValue(std::int16_t level) {
  std::u16string date;
  std::u16string time;
  std::u16string separator;
  std::int16_t include_time = 0;
  std::int16_t include_zone = 0;
  std::u16string zone;
  // The reader reports its own failure; what it had read by then is formatted all the same.
  // Kept: FormatHL7DateTime formats what its failed reader left (tests/builtins_format_test.cpp: FormatBuiltins.HL7GoesOnAfterItsReaderFailedAndFormatsTheEmptyDateAsZeros)
  PerformGetHL7DateTimeFormatArguments(level, date, time, separator, include_time, include_zone,
                                       zone);
  Notify([&](RunListener& l) {
    l.OnCall(level, u"FormatHL7DateTime",
             {{u"date", date},
              {u"time", time},
              {u"separator", separator},
              {u"include time", include_time ? u"True" : u"False"},
              {u"include zone", include_zone ? u"True" : u"False"},
              {u"zone", zone}});
  });
  // Every argument is passed, so the conversion's own defaults for left-out ones never apply:
  // an absent zone is the empty text, not "0".
  return Value::String(support::modTools::ConvertToHL7DateTime(
      std::move(date), &time, &separator, &include_time, &include_zone, &zone));
}

bool Interpreter::GetFormatArguments(std::int16_t level, contract::DataFieldRef& field,
                                     std::u16string& picture) {
  return Trapped(u"GetFormatArguments", u"GetFormatArguments", false, [&] {
    std::u16string word = GetNextWord(level);
    StripFinalComma(word);
    // Kept: the word after an opening parenthesis keeps its comma (tests/builtins_format_test.cpp: FormatBuiltins.FormatNameAfterAnOpeningParenthesisKeepsItsCommaAndIsNoField)
    if (word == u"(") word = GetNextWord(level);
    if (!IsDataField(word)) RaiseWrongArguments(kWrongArguments);
    field = HostField(word);

    word = GetNextWord(level);
    if (word == u",") word = GetNextWord(level);
    if (IsDataField(word)) {
      picture = automation::CStr(HostField(word)->Data());
    } else {
      picture = std::move(word);
    }
    // Kept: a picture field's name that carries its parenthesis is the picture itself (tests/builtins_format_test.cpp: FormatBuiltins.FormatPictureFieldNameCarryingItsParenthesisIsTakenLiterally)
    if (!picture.empty() && picture.back() == u')') picture.pop_back();
    picture = StripStringDelimiters(picture);
    return true;
  });
}

bool Interpreter::PerformFormat(std::int16_t level) {
  return Trapped(u"PerformFormat", u"PerformFormat", false, [&] {
    // A fresh field stands in until the reader hands over the named one; when the reader fails
    // first, the empty stand-in is what gets formatted.
    // Kept: Format formats the empty stand-in its failed reader left (tests/builtins_format_test.cpp: FormatBuiltins.FormatGoesOnAfterItsReaderFailedAndFormatsTheEmptyStandIn)
    contract::DataFieldRef field = NewDataField();
    std::u16string name = CreateDataFieldFromVariant(FormatValue(level, field));
    PushHeldChecked(name, level);
    field.reset();
    return true;
  });
}

Value Interpreter::FormatValue(std::int16_t level, contract::DataFieldRef& field) {
  std::u16string picture;
  GetFormatArguments(level, field, picture);
  if (!field) automation::Raise(automation::err::ObjectVariableNotSet);
  Notify([&](RunListener& l) {
    l.OnCall(level, u"Format", {{u"field", field->Name()}, {u"picture", picture}});
  });
  return Value::String(automation::Format(field->Data(), picture, kSunday, kFirstWeekOfJanuary1));
}

}  // namespace qorvintr::engine
