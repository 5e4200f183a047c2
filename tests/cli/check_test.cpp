// qorvintr check: every kind of warning on a script that has the trap, with the place it names and
// the rewrite it suggests; each rewrite is then run by the interpreter, which must answer what the
// writer meant where the original answered otherwise. Then the checker over the whole corpus and
// the bundled example.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "automation/text.h"
#include "cli/check.h"
#include "cli/options.h"
#include "cli/session.h"
#include "tests/scripts/case_file.h"

namespace qorvintr::cli {
namespace {

using automation::FromUtf8;
using automation::ToUtf8;

const char* const kFields[] = {"Amount:Double=1.5", "Phone=555.1", "Sep=-",
                               "Flag:Boolean=True", "D:Date=3/14/2002", "T=9:30",
                               "Pages:Long=3"};

Options HostOptions() {
  Options options;
  for (const char* f : kFields) options.fields.push_back(ParseFieldDefinition(FromUtf8(f), "test"));
  return options;
}

CheckFields HostFields() {
  CheckFields fields;
  fields.known = true;
  for (const FieldDefinition& f : HostOptions().fields) fields.names.push_back(f.name);
  return fields;
}

std::string Answer(const std::u16string& script) {
  Session session(HostOptions());
  return ToUtf8(ResultLine(session.Run(script)));
}

struct Trap {
  const char* kind;
  const char* script;
  int line, column;
  const char* rewrite;         // nullptr: none is offered
  const char* answer_before;   // what the interpreter answers for the script as written
  const char* answer_after;    // and for the rewrite
};

// One script per trap; the answers are the interpreter's, so the rewrite is proven, not assumed.
const Trap kTraps[] = {
    {"function-paren", "Format(Amount, \"0.00\")", 1, 1, "Format Amount, \"0.00\"",
     "Error\tBoolean\tFalse", "Autodf1\tString\t1.50"},
    {"glued-paren", "(Amount + 1) * 2", 1, 11, "(Amount + 1 ) * 2", "Error\tBoolean\tFalse",
     "Autodf7\tDouble\t5"},
    {"literal-comma", "Replace Phone, \".\", \"-\"", 1, 16, "Replace Phone, \".\" , \"-\"",
     "Autodf1\tString\t555.1", "Autodf1\tString\t555-1"},
    {"right-grouping", "Pages * 2 + 1", 1, 7, "(Pages * 2 ) + 1", "Autodf6\tLong\t9",
     "Autodf7\tLong\t7"},
    {"boolean-word", "IF Flag = True THEN \"yes\" ELSE \"no\" END IF", 1, 11,
     "IF Flag THEN \"yes\" ELSE \"no\" END IF", "Autodf1\tVariant\tno", "Autodf1\tVariant\tyes"},
    {"unknown-word", "Amonut + 1", 1, 1, "Amount + 1", "Error\tBoolean\tFalse",
     "Autodf3\tDouble\t2.5"},
    {"if-block", "IF Amount > 9 THEN 1 ELSE 2 end if", 1, 29,
     "IF Amount > 9 THEN 1 ELSE 2 END IF", "Autodf1\tBoolean\tFalse", "Autodf1\tVariant\t2"},
    {"branch-joined", "IF Amount > 1 THEN Format Amount, \"0.0\" ELSE \"none\" END IF", 1, 20,
     nullptr, "Autodf1\tVariant\tFalse", nullptr},
    {"format-picture", "Format D, mm/dd/yyyy", 1, 11, "Format D, \"mm/dd/yyyy\"",
     "Error\tBoolean\tFalse", "Autodf1\tString\t03/14/2002"},
    {"flag", "FormatHL7DateTime D, 0, /, true", 1, 28, "FormatHL7DateTime D, 0, /, True",
     "Autodf1\tString\t20020314", "Autodf1\tString\t20020314000000"},
    {"arguments", "DateCat D, T", 1, 9, "DateCat D T", "Error\tBoolean\tFalse",
     "Autodf1\tDate\t3/14/2002 9:30:00 AM"},
    {"syntax", "Amount )", 1, 8, "Amount ", "Error\tBoolean\tFalse", "Amount\tDouble\t1.5"},
};

TEST(Check, EveryKindHasATrapHere) {
  std::set<std::string> kinds;
  for (const Trap& t : kTraps) kinds.insert(t.kind);
  for (const char* kind : kCheckKinds) EXPECT_EQ(kinds.count(kind), 1u) << kind;
}

TEST(Check, EachTrapIsFoundWhereItIsAndItsRewriteDoesWhatWasMeant) {
  for (const Trap& t : kTraps) {
    SCOPED_TRACE(t.script);
    const std::u16string script = FromUtf8(t.script);
    const std::vector<CheckWarning> warnings = CheckScript(script, HostFields());
    ASSERT_EQ(warnings.size(), 1u) << (warnings.empty() ? "" : warnings[1 % warnings.size()].kind);
    const CheckWarning& w = warnings[0];
    EXPECT_EQ(w.kind, t.kind);
    EXPECT_EQ(w.line, t.line);
    EXPECT_EQ(w.column, t.column);
    EXPECT_FALSE(w.message.empty());
    EXPECT_EQ(Answer(script), t.answer_before);
    if (t.rewrite == nullptr) {
      EXPECT_FALSE(w.rewrite.has_value());
      continue;
    }
    ASSERT_TRUE(w.rewrite.has_value());
    EXPECT_EQ(ToUtf8(*w.rewrite), t.rewrite);
    EXPECT_EQ(Answer(*w.rewrite), t.answer_after);
    // The rewrite mends the trap for good.
    EXPECT_TRUE(CheckScript(*w.rewrite, HostFields()).empty());
  }
}

TEST(Check, MoreTrapsOfEachKind) {
  struct More {
    const char* script;
    const char* kind;
    const char* rewrite;
  };
  const More more[] = {
      {"Replace(Phone, \".\" , \"-\")", "function-paren", "Replace Phone, \".\" , \"-\""},
      {"Replace (Phone, \".\" , \"-\")", "arguments", "Replace Phone, \".\" , \"-\""},
      {"Format (Amount, \"0\")", "arguments", "Format Amount, \"0\""},
      {"Replace Phone, \".\" , Sep)", "glued-paren", "Replace Phone, \".\" , Sep )"},
      {"Amount - 1 - 2", "right-grouping", "(Amount - 1 ) - 2"},
      {"Amount + 1 < 2", "right-grouping", "(Amount + 1 ) < 2"},
      {"Date", "unknown-word", nullptr},
      {"IF Amount > 9 THEN 1 ELSE END IF", "if-block", "IF Amount > 9 THEN 1 END IF"},
      {"IF Amount > 9 1 ELSE 2 END IF", "if-block", nullptr},
      {"ELSE 2", "if-block", nullptr},
      {"IF Amount > 1 THEN 1", "if-block", "IF Amount > 1 THEN 1 END IF"},
      {"IF Amount > 9 THEN IF Amount > 0 THEN 1 END IF ELSE 2 END IF", "if-block", nullptr},
      {"IF Amount > 9 THEN 1 \r\nELSE 2 END IF", "if-block", nullptr},
      {"Format Amount, Currency", "format-picture", "Format Amount, \"Currency\""},
      {"Amount 2", "syntax", nullptr},
      {"Amount +", "syntax", nullptr},
      {"Amount Pages", "syntax", nullptr},
      {"5 =< 3", "syntax", "5 <= 3"},
      {"5 ! 3", "syntax", nullptr},
      {"1 +\r\n2", "syntax", nullptr},
      {"Amount\r\n+ 1", "syntax", nullptr},
      {"#notadate#", "syntax", nullptr},
      {"3000000000 + 1", "syntax", nullptr},
      {"FormatHL7DateTime \"3/14/2002\"", "arguments", "FormatHL7DateTime 3/14/2002"},
  };
  for (const More& m : more) {
    SCOPED_TRACE(m.script);
    const std::vector<CheckWarning> warnings = CheckScript(FromUtf8(m.script), HostFields());
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].kind, m.kind);
    if (m.rewrite == nullptr) {
      EXPECT_FALSE(warnings[0].rewrite.has_value());
    } else {
      ASSERT_TRUE(warnings[0].rewrite.has_value());
      EXPECT_EQ(ToUtf8(*warnings[0].rewrite), m.rewrite);
    }
  }
}

TEST(Check, CleanScriptsGetNoWarning) {
  const char* clean[] = {
      "Amount + 1",
      "(Amount - 1 ) * 2",
      "Pages * (2 + 1 )",
      "Format Amount, \"#,##0.00\"",
      "Format Amount, 0.00",
      "Replace Phone, \".\" , \"-\"",
      "FormatHL7DateTime D, 0, /, True, True, -0500",
      "DateCat D T",
      "DateCompare D, \"3/15/2002\"",
      "IF Amount > 1 THEN \"high\" ELSEIF Amount > 0 THEN \"low\" ELSE \"none\" END IF",
      "IF Amount > 1 THEN\r\n  \"high\"\r\nELSE\r\n  \"low\"\r\nEND IF",
      "Amount + 1 = 2.5",
      "(Amount + 1",
      "\"a\" & \"b\" & \"c\"",
  };
  for (const char* script : clean) {
    SCOPED_TRACE(script);
    const std::vector<CheckWarning> warnings = CheckScript(FromUtf8(script), HostFields());
    EXPECT_TRUE(warnings.empty()) << (warnings.empty() ? "" : warnings[0].kind + ": " + warnings[0].message);
  }
}

// check's idea of the operators the evaluator applies, against the interpreter: each one check
// takes is applied (no Error), each operator-character word it refuses fails when run.
TEST(Check, TheOperatorsCheckKnowsAreTheOnesTheInterpreterApplies) {
  const char* known[] = {"+", "-", "*", "/", "\\", "<", ">", "=", "==", "<=", ">=", "<>", "!=", "&"};
  for (const char* op : known) {
    const std::u16string script = u"Pages " + FromUtf8(op) + u" 2";
    SCOPED_TRACE(op);
    EXPECT_TRUE(CheckScript(script, HostFields()).empty());
    EXPECT_NE(Answer(script).rfind("Error\t", 0), 0u) << Answer(script);
  }
  const char* unknown[] = {"!", "=<", "=>", "><", "&&", "**", "+-", "<<"};
  for (const char* op : unknown) {
    const std::u16string script = u"Pages " + FromUtf8(op) + u" 2";
    SCOPED_TRACE(op);
    const std::vector<CheckWarning> warnings = CheckScript(script, HostFields());
    ASSERT_FALSE(warnings.empty());
    EXPECT_EQ(warnings[0].kind, "syntax");
    EXPECT_EQ(Answer(script).rfind("Error\t", 0), 0u) << Answer(script);
  }
}

TEST(Check, WithoutFieldsEveryNameIsAField) {
  CheckFields unknown;
  EXPECT_TRUE(CheckScript(u"Whatever + 1", unknown).empty());
  const auto warnings = CheckScript(u"Whatever * 2 + 1", unknown);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].kind, "right-grouping");
}

TEST(Check, LinesAndColumnsCountFromOne) {
  const auto warnings =
      CheckScript(u"IF Amount > 1 THEN\r\n  \"high\"\r\nELSE\r\n  Amonut\r\nEND IF", HostFields());
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].kind, "unknown-word");
  EXPECT_EQ(warnings[0].line, 4);
  EXPECT_EQ(warnings[0].column, 3);
}

// Every script of the corpus, with its own fields: the checker reads each to its end, and a
// script it finds clean does not fail for a reason it knows of (its answer is no Error, or the
// Error comes from the values: a division by zero, an overflow, a type mismatch ...).
TEST(Check, TheWholeCorpus) {
  const std::vector<scripts::Case> cases = scripts::ReadCorpus(QORVINTR_SCRIPTS_DIR);
  ASSERT_GT(cases.size(), 100u);
  std::size_t warned = 0, checked = 0, clean_errors = 0;
  for (const scripts::Case& c : cases) {
    if (!c.has_script) continue;
    CheckFields fields;
    fields.known = true;
    for (const std::string& line : c.field_lines) {
      fields.names.push_back(ParseFieldDefinition(FromUtf8(line), "corpus").name);
    }
    const std::vector<CheckWarning> warnings = CheckScript(FromUtf8(c.script), fields);
    ++checked;
    if (!warnings.empty()) ++warned;
    if (warnings.empty() && c.result.rfind("Error\t", 0) == 0) {
      ++clean_errors;
      // Failures of the values themselves, which no reading of the text can see.
      const std::set<std::string> value_failures = {
          "lower_case_true_leaves_the_log_off", "no_switch_leaves_the_log_off",
          "text_that_is_no_number_is_a_type_mismatch", "division_by_zero",
          "integer_division_by_zero", "division_by_a_zero_field",
          "division_by_zero_with_logging_off", "minus_on_words_is_a_type_mismatch",
          "date_text_on_the_left_converts_the_right"};
      EXPECT_EQ(value_failures.count(c.name), 1u)
          << c.name << ": the script fails, and check does not say why: " << c.script;
    }
    for (const CheckWarning& w : warnings) {
      EXPECT_NE(std::find_if(std::begin(kCheckKinds), std::end(kCheckKinds),
                             [&](const char* k) { return w.kind == k; }),
                std::end(kCheckKinds));
      EXPECT_GE(w.line, 1);
      EXPECT_GE(w.column, 1);
      EXPECT_LE(w.offset, c.script.size() + 1) << c.name;
    }
  }
  std::printf("corpus: %zu scripts checked, %zu with warnings, %zu without one that answer Error\n",
              checked, warned, clean_errors);
  EXPECT_GT(warned, 0u);
}

}  // namespace
}  // namespace qorvintr::cli
