#pragma once
// A case's field line (NAME[:TYPE]=VALUE) as a data field of the stock collection, its value
// converted from the text as the fields file of the qorvintr command converts it. Shared by the
// library runner of the corpus (tests/scripts_corpus_test.cpp), the threads test and the soak.

#include <string>

#include "automation/text.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/convert.h"
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

// Adds the field of one line; false (and why) when the line does not parse.
inline bool AddCaseField(components::DataFieldCollection& fields, const std::string& line,
                         std::string& why) {
  FieldLine f;
  if (!ParseFieldLine(line, f, why)) return false;
  automation::Value text = automation::Value::String(automation::FromUtf8(f.value));
  fields.Add(automation::FromUtf8(f.name), FieldValue(f.type, text), automation::FromUtf8(f.type));
  return true;
}

}  // namespace qorvintr::scripts
