#pragma once
// The corpus's field lines and values as a C++ host holds them: the typed Data of a field line,
// and a value as the command prints it. Shared by every runner of the corpus through the library.

#include <string>

#include "qorvintr/convert.h"
#include "qorvintr/utf8.h"
#include "qorvintr/value.h"
#include "case_file.h"

namespace qorvintr::scripts {

// The value of a field of that type from its text (String and Variant keep the text).
inline automation::Value FieldValue(const std::string& type, const automation::Value& text) {
  using automation::Value;
  if (type == "Long") return Value::Long(automation::CLng(text));
  if (type == "Integer") return Value::Integer(automation::CInt(text));
  if (type == "Boolean") return Value::Boolean(automation::CBool(text));
  if (type == "Single") return Value::Single(automation::CSng(text));
  if (type == "Double") return Value::Double(automation::CDbl(text));
  if (type == "Date") return Value::Date(automation::CDate(text));
  return text;
}

// The Data of a field line, typed as the fields file types it.
inline automation::Value FieldData(const FieldLine& f) {
  return FieldValue(f.type, automation::Value::String(automation::FromUtf8(f.value)));
}

// A value as the command prints it: the platform's text, an object through its default member,
// Empty as the empty text, Null as "Null".
inline std::string ValueText(const automation::Value& v) {
  try {
    automation::Value d = automation::Dereference(v);
    if (d.IsNull()) return "Null";
    if (d.IsEmpty()) return "";
    if (d.IsMissing()) return "";
    return automation::ToUtf8(automation::CStr(d));
  } catch (const automation::AutomationError& e) {
    return "<error " + std::to_string(e.Number()) + ">";
  }
}

}  // namespace qorvintr::scripts
