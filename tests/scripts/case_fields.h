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
#include "field_values.h"

namespace qorvintr::scripts {

// Adds the field of one line; false (and why) when the line does not parse.
inline bool AddCaseField(components::DataFieldCollection& fields, const std::string& line,
                         std::string& why) {
  FieldLine f;
  if (!ParseFieldLine(line, f, why)) return false;
  fields.Add(automation::FromUtf8(f.name), FieldData(f), automation::FromUtf8(f.type));
  return true;
}

}  // namespace qorvintr::scripts
