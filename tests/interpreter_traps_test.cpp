// Every procedure's error trap: its title in the debug log, and the name it reports to the
// host's error object (or that it reports nothing).
#include <gtest/gtest.h>

#include <functional>

#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

struct TrapCase {
  const char16_t* title;
  const char16_t* reported;  // nullptr: the procedure does not report to the host
  std::function<void(InterpreterSeam&, std::int16_t)> call;
};

class Traps : public InterpreterTest {};

TEST_F(Traps, EveryProcedureWritesItsTitleAndReportsItsName) {
  const TrapCase cases[] = {
      {u"AddOperator", nullptr, [](InterpreterSeam& s, std::int16_t) { s.AddOperator(u"^"); }},
      {u"AddDelimiter", nullptr, [](InterpreterSeam& s, std::int16_t) { s.AddDelimiter(u";"); }},
      {u"AddFunction", nullptr, [](InterpreterSeam& s, std::int16_t) { s.AddFunction(u"X"); }},
      {u"AddInstance", u"AddInstance",
       [](InterpreterSeam& s, std::int16_t) { s.AddInstance(u"A"); }},
      {u"GetNextChar", u"GetNextChar", [](InterpreterSeam& s, std::int16_t n) { s.GetNextChar(n); }},
      {u"PutLastChar", u"PutLastChar", [](InterpreterSeam& s, std::int16_t n) { s.PutLastChar(n); }},
      {u"PeekNextChar", u"PeekNextChar",
       [](InterpreterSeam& s, std::int16_t n) { s.PeekNextChar(n); }},
      {u"GetNextWord", u"GetNextWord", [](InterpreterSeam& s, std::int16_t n) { s.GetNextWord(n); }},
      {u"PutLastWord", u"PutLastWord",
       [](InterpreterSeam& s, std::int16_t n) { s.PutLastWord(n, u"A"); }},
      {u"PeekNextWord", u"PeekNextWord",
       [](InterpreterSeam& s, std::int16_t n) { s.PeekNextWord(n); }},
      // The string literal's trap carries another title and reports the date literal's name.
      {u"GetStringLiteral", u"GetLiteralDate",
       [](InterpreterSeam& s, std::int16_t n) { s.GetLiteralString(n); }},
      {u"GetLiteralDate", u"GetLiteralDate",
       [](InterpreterSeam& s, std::int16_t n) { s.GetLiteralDate(n); }},
      {u"IsFunction", u"IsFunction", [](InterpreterSeam& s, std::int16_t) { s.IsFunction(u"If"); }},
      {u"IsOperator", u"IsOperator", [](InterpreterSeam& s, std::int16_t) { s.IsOperator(u"+"); }},
      {u"IsDelimiter", u"IsDelimiter",
       [](InterpreterSeam& s, std::int16_t) { s.IsDelimiter(u" "); }},
      // The misspelt title is the component's own.
      {u"IsAtringLiteral", u"IsStringLiteral",
       [](InterpreterSeam& s, std::int16_t) { s.IsStringLiteral(u"\"a\""); }},
      {u"IsDateLiteral", u"IsDateLiteral",
       [](InterpreterSeam& s, std::int16_t) { s.IsDateLiteral(u"#1/1/2000#"); }},
      {u"IsDataField", nullptr, [](InterpreterSeam& s, std::int16_t) { s.IsDataField(u"A"); }},
      {u"EvaluateExpression", u"EvaluateExpression",
       [](InterpreterSeam& s, std::int16_t n) { s.EvaluateExpression(n); }},
      {u"CreateStringDataField", u"CreateStringDataField",
       [](InterpreterSeam& s, std::int16_t) { s.CreateStringDataField(u"\"a\""); }},
      {u"CreateOperatorDataField", u"CreateOperatorDataField",
       [](InterpreterSeam& s, std::int16_t) { s.CreateOperatorDataField(u"+"); }},
      {u"CreateNumericDataField", u"CreateNumericDataField",
       [](InterpreterSeam& s, std::int16_t) { s.CreateNumericDataField(u"1"); }},
      {u"CreateDateDataField", u"CreateDateDataField",
       [](InterpreterSeam& s, std::int16_t) { s.CreateDateDataField(u"#1/1/2000#"); }},
      {u"CreateDataFieldFromVariant", u"CreateDataFieldFromVariant",
       [](InterpreterSeam& s, std::int16_t) { s.CreateDataFieldFromVariant(Value::Long(1)); }},
      {u"GetNewDataFieldName", u"GetNewDataFieldName",
       [](InterpreterSeam& s, std::int16_t) { s.GetNewDataFieldName(); }},
      {u"RemoveAutoDataFieldNameFromList", u"RemoveAutoDataFieldNameFromList",
       [](InterpreterSeam& s, std::int16_t) { s.RemoveAutoDataFieldNameFromList(u"Autodf1"); }},
      {u"AddNameToHoldArray", u"AddNameToHoldArray",
       [](InterpreterSeam& s, std::int16_t) { s.AddNameToHoldArray(u"Autodf1", 0); }},
  };
  auto s = seam();
  std::int16_t n = s.AddInstance(u"A + 1");
  for (const auto& c : cases) {
    SCOPED_TRACE(automation::ToUtf8(c.title));
    errors->Clear();
    log->entries.clear();
    s.FailIn(c.title, 5);
    c.call(s, n);
    s.StopFailing();
    ASSERT_FALSE(log->entries.empty());
    std::u16string expected = u"\r\nInterpreter - ";
    expected += c.title;
    expected += u" - Error Trap\r\nError: 5\r\nInvalid procedure call or argument";
    EXPECT_NE(log->entries[0].find(expected), std::u16string::npos)
        << automation::ToUtf8(log->entries[0]);
    if (c.reported == nullptr) {
      EXPECT_TRUE(errors->Calls().empty());
    } else {
      ExpectOneReport(*errors, c.reported, u"Error: 5 - Invalid procedure call or argument");
    }
  }
}

TEST_F(Traps, InitsTrapReportsNothingAndInitAnswersFalse) {
  auto s = seam();
  s.FailIn(u"Init", 5);
  contract::DataFieldsRef f = fields;
  contract::HostErrorRef e = errors;
  std::u16string system = u"S";
  std::u16string application = u"A";
  EXPECT_FALSE(interpreter->Init(f, e, system, application));
  EXPECT_TRUE(errors->Calls().empty());
  ASSERT_EQ(log->entries.size(), 1u);
  EXPECT_NE(log->entries[0].find(u"Interpreter - Init - Error Trap\r\nError: 5\r\n"),
            std::u16string::npos);
}

TEST_F(Traps, AProcedureThatFailsBeforeInitReportsNothingWhenThereIsNoErrorObject) {
  Interpreter fresh;
  InterpreterSeam s(fresh);
  // IsDataField without a collection fails (91) and, not reporting, simply answers False.
  EXPECT_FALSE(s.IsDataField(u"A"));
}

}  // namespace
}  // namespace qorvintr::testing_support
