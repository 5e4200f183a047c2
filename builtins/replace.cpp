// Replace: substitutes text inside a data field's value and leaves the result as a temporary on
// the level's stack.
#include <string>

#include "qorvintr/convert.h"
#include "qorvintr/error.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/trap.h"

namespace qorvintr::engine {

using automation::Value;

namespace {

// The replace operation's compare argument: -1 is the module's own comparison, which is the
// binary one; 0 binary, 1 text. Any other value is refused by the operation (5), the database
// comparison (2) included, since no database supplies its rules here.
// Kept: compare 2 and beyond are refused in PerformReplace (tests/builtins_replace_test.cpp: ReplaceBuiltin.CompareOutsideTheKnownModesFailsInPerformReplace)
automation::CompareMode CompareModeOf(std::int32_t compare) {
  switch (compare) {
    case -1:
    case 0:
      return automation::CompareMode::Binary;
    case 1:
      return automation::CompareMode::Text;
    default:
      automation::Raise(automation::err::InvalidProcedureCall);
  }
}

}  // namespace

bool Interpreter::GetReplaceArguments(std::int16_t level, contract::DataFieldRef& source,
                                      std::u16string& find, std::u16string& replacement,
                                      std::int32_t& start, std::int32_t& count,
                                      std::int32_t& compare) {
  return Trapped(u"GetReplaceArguments", u"GetReplaceArguments", false, [&] {
    start = 1;
    count = -1;
    compare = -1;

    // Source: a data field; only here is a final comma removed before the field test, and the
    // word after an opening parenthesis keeps its own.
    // Kept: the source after an opening parenthesis keeps its comma (tests/builtins_replace_test.cpp: ReplaceBuiltin.SourceAfterAnOpeningParenthesisKeepsItsCommaAndIsNoField)
    std::u16string word = GetNextWord(level);
    if (!word.empty() && word.back() == u',') word.pop_back();
    if (word == u"(") word = GetNextWord(level);
    if (!IsDataField(word)) RaiseWrongArguments(kWrongArguments);
    source = MColField(word);

    // Find and replacement are tested as the lexer gave them: a name that carries its comma or
    // closing parenthesis is no field and is taken as text. Whatever comes next is taken, even
    // the end of the text.
    // Kept: a find name carrying its comma is taken as text (tests/builtins_replace_test.cpp: ReplaceBuiltin.FindFromAFieldAndFindFieldNameCarryingItsCommaIsNoField)
    // Kept: a missing find or replacement takes whatever comes next (tests/builtins_replace_test.cpp: ReplaceBuiltin.MissingFindAndReplacementAreTakenFromWhateverComesNext)
    auto text_argument = [&](std::u16string& out) {
      word = GetNextWord(level);
      if (word == u",") word = GetNextWord(level);
      if (IsDataField(word)) {
        out = automation::CStr(MColField(word)->Data());
      } else {
        out = std::move(word);
      }
    };
    text_argument(find);
    find = StripStringDelimiters(find);
    text_argument(replacement);
    // The closing parenthesis comes off the chosen value, so a field's value ending in ")"
    // loses it too.
    // Kept: a replacement field's value loses its final ")" (tests/builtins_replace_test.cpp: ReplaceBuiltin.ReplacementFieldValueEndingInAParenthesisLosesIt)
    if (!replacement.empty() && replacement.back() == u')') replacement.pop_back();
    replacement = StripStringDelimiters(replacement);

    // Start, count and compare are optional whole numbers; the first one missing ends the list.
    auto number_argument = [&](std::int32_t& out) {
      word = GetNextWord(level);
      if (word == u",") word = GetNextWord(level);
      if (!word.empty() && word.back() == u')') word.pop_back();
      if (word.empty() || word == kEndOfLine) return false;
      if (IsDataField(word)) {
        Value data = MColField(word)->Data();
        if (!automation::IsNumeric(data)) RaiseWrongArguments(kWrongArguments);
        out = automation::CLng(data);
      } else {
        // A short run of digits is the whole number it spells (what the two steps below give
        // for it, without parsing it twice).
        if (SmallWholeNumber(word, out)) return true;
        // Kept: "-1" is read as the sign alone, which is no number (tests/builtins_replace_test.cpp: ReplaceBuiltin.NegativeLiteralNumberIsReadAsItsSignAloneAndRaises450)
        if (!automation::ParseNumber(word)) RaiseWrongArguments(kWrongArguments);
        out = automation::CLng(Value::String(std::move(word)));
      }
      return true;
    };
    if (number_argument(start) && number_argument(count)) number_argument(compare);
    return true;
  });
}

bool Interpreter::PerformReplace(std::int16_t level) {
  return Trapped(u"PerformReplace", u"PerformReplace", false, [&] {
    // A fresh field stands in until the reader hands over the source; when the reader fails
    // first, the empty stand-in's text (nothing) is what gets replaced in.
    // Kept: replacing goes on after the reader failed (tests/builtins_replace_test.cpp: ReplaceBuiltin.GoesOnAfterItsReaderFailedWithTheEmptyStandIn)
    contract::DataFieldRef source = NewDataField();
    std::u16string name = CreateDataFieldFromVariant(ReplaceValue(level, source));
    PushHeldChecked(name, level);
    source.reset();
    return true;
  });
}

Value Interpreter::ReplaceValue(std::int16_t level, contract::DataFieldRef& source) {
  std::u16string find;
  std::u16string replacement;
  std::int32_t start = 1;
  std::int32_t count = -1;
  std::int32_t compare = -1;
  GetReplaceArguments(level, source, find, replacement, start, count, compare);
  if (!source) automation::Raise(automation::err::ObjectVariableNotSet);
  const std::u16string text = automation::CStr(source->Data());
  Notify([&](RunListener& l) {
    l.OnCall(level, u"Replace",
             {{u"field", source->Name()},
              {u"text", text},
              {u"find", find},
              {u"replacement", replacement},
              {u"start", automation::CStr(Value::Long(start))},
              {u"count", automation::CStr(Value::Long(count))},
              {u"compare", automation::CStr(Value::Long(compare))}});
  });
  return Value::String(
      automation::Replace(text, find, replacement, start, count, CompareModeOf(compare)));
}

}  // namespace qorvintr::engine
