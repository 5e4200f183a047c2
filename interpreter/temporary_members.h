#pragma once
// Private to the interpreter: what a temporary made from a date literal or from a value holds,
// written once for the fields the creators fill (temporaries.cpp) and for the values a recorded
// run makes again (recorded.cpp). A Sink takes SetDataType, SetData and SetDataClass, in the
// order a field's members are written.

#include <string>
#include <string_view>

#include "qorvintr/convert.h"
#include "qorvintr/value.h"
#include "automation/datetime.h"
#include "automation/text.h"

namespace qorvintr::engine::members {

using automation::Value;

inline constexpr std::u16string_view kAuto = u"Auto";

// Kept: the closing delimiter comes off only after an opening one (tests/interpreter_temporaries_test.cpp: Temporaries.StringCreationStripsBlanksAndOnePairOfQuotes)
inline std::u16string_view StrippedView(std::u16string_view text, char16_t delimiter) {
  std::u16string_view t = automation::TrimView(text);
  if (!t.empty() && t.front() == delimiter) {
    t.remove_prefix(1);
    if (!t.empty() && t.back() == delimiter) t.remove_suffix(1);
  }
  return t;
}
inline std::u16string StripDelimiters(std::u16string_view text, char16_t delimiter) {
  return std::u16string(StrippedView(text, delimiter));
}

// The DataType words temporaries are given, each kept once: a recorded run keeps views of them.
inline std::u16string_view FixedTypeWord(std::u16string_view word) noexcept {
  static constexpr std::u16string_view kWords[] = {u"Operator", u"String",  u"Long",
                                                   u"Double",   u"Integer", u"Boolean",
                                                   u"Single",   u"Date",    u"Variant"};
  for (std::u16string_view fixed : kWords) {
    if (fixed == word) return fixed;
  }
  return {};
}

template <class Sink>
void FromDateLiteral(Sink& field, std::u16string_view text) {
  field.SetDataType(u"Date");
  field.SetDataClass(kAuto);
  field.SetData(Value::Date(automation::CDate(Value::String(StripDelimiters(text, u'#')))));
}

template <class Sink>
void FromVariant(Sink& field, const Value& value) {
  // The type name decides; an object's type name is its class name, so objects, Empty and
  // Null are kept unchanged as "Variant".
  // Kept: an object, Empty or Null becomes a "Variant" holding it (tests/interpreter_temporaries_test.cpp: Temporaries.FromVariantKeepsAnObjectAsVariant)
  switch (value.Type()) {
    case automation::VarType::String:
      field.SetDataType(u"String");
      field.SetData(Value::String(StripDelimiters(value.GetString(), u'"')));
      break;
    case automation::VarType::Long:
      field.SetDataType(u"Long");
      field.SetData(value);
      break;
    case automation::VarType::Integer:
      field.SetDataType(u"Integer");
      field.SetData(value);
      break;
    case automation::VarType::Boolean:
      field.SetDataType(u"Boolean");
      field.SetData(value);
      break;
    case automation::VarType::Single:
      field.SetDataType(u"Single");
      field.SetData(value);
      break;
    case automation::VarType::Double:
      field.SetDataType(u"Double");
      field.SetData(value);
      break;
    case automation::VarType::Date: {
      // Kept: a date makes a round trip through its text, to whole seconds (tests/interpreter_temporaries_test.cpp: Temporaries.FromVariantDateRoundTripsThroughTextToWholeSeconds)
      std::u16string text = StripDelimiters(automation::DateToText(value.GetDate()), u'#');
      field.SetDataType(u"Date");
      field.SetData(Value::Date(automation::CDate(Value::String(std::move(text)))));
      break;
    }
    default:
      field.SetDataType(u"Variant");
      field.SetData(value);
      break;
  }
  field.SetDataClass(kAuto);
}

// As FromVariant, but a text that keeps all its characters is moved out of value rather than
// copied; true when it was (value is then left without it).
template <class Sink>
bool FromVariantTaking(Sink& field, Value& value) {
  if (!value.IsString()) {
    FromVariant(field, value);
    return false;
  }
  const std::u16string& text = value.GetString();
  if (StrippedView(text, u'"').size() != text.size()) {
    FromVariant(field, value);
    return false;
  }
  field.SetDataType(u"String");
  field.SetData(std::move(value));
  field.SetDataClass(kAuto);
  return true;
}

}  // namespace qorvintr::engine::members
