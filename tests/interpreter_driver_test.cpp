// Whole scripts through RealizeRegularExpression: the statement driver and the IF statement.
#include <gtest/gtest.h>
#include <pthread.h>

#include "automation/convert.h"
#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

class Scripts : public InterpreterTest {
 protected:
  // Runs a script and checks what every run must leave behind: the instance counter back where
  // it was and no temporary left in the host's collection.
  contract::DataFieldRef Run(std::u16string script) {
    const std::int16_t counter = seam().InstanceCounter();
    const std::int32_t count = fields->Count();
    contract::DataFieldRef result = interpreter->RealizeRegularExpression(script);
    EXPECT_EQ(seam().InstanceCounter(), counter);
    EXPECT_EQ(fields->Count(), count);
    return result;
  }
  // The result as the command prints it: name, type and the data as text.
  std::u16string Line(const contract::DataFieldRef& f) {
    if (!f) return u"Nothing";
    Value data = f->Data();
    std::u16string text = data.IsNull() ? u"Null" : automation::CStr(data);
    return f->Name().substr(0, 6) + u"|" + f->DataType() + u"|" + text;
  }
  bool IsError(const contract::DataFieldRef& f) {
    return f && f->Name() == u"Error" && f->DataType() == u"Boolean" &&
           f->Data().Type() == automation::VarType::Boolean && !f->Data().GetBoolean();
  }
  bool LogHas(std::u16string_view text) {
    for (const auto& e : log->entries) {
      if (e.find(text) != std::u16string::npos) return true;
    }
    return false;
  }
};

TEST_F(Scripts, AnEmptyScriptAnswersNoField) { EXPECT_EQ(Run(u""), nullptr); }

TEST_F(Scripts, ANumberIsALongTemporary) { EXPECT_EQ(Line(Run(u"42")), u"Autodf|Long|42"); }

TEST_F(Scripts, AHostFieldAnswersItself) {
  auto a = AddField("A", Value::Long(7), "Long");
  EXPECT_EQ(Run(u"A"), a);
}

TEST_F(Scripts, ArithmeticGroupsFromTheRight) {
  EXPECT_EQ(Line(Run(u"10 - 4 - 3")), u"Autodf|Long|9");
  EXPECT_EQ(Line(Run(u"2 * 3 + 4")), u"Autodf|Long|14");
}

TEST_F(Scripts, ParenthesesGroupFirst) {
  EXPECT_EQ(Line(Run(u"(10 - 4 ) - 3")), u"Autodf|Long|3");
  EXPECT_EQ(Line(Run(u"( 2 * 3 ) + 4")), u"Autodf|Long|10");
}

TEST_F(Scripts, ARightParenthesisStuckToANumberMakesAWordThatIsNoOperand) {
  // The word "4)" keeps its parenthesis and is neither a number nor anything else.
  EXPECT_TRUE(IsError(Run(u"(10 - 4) - 3")));
  EXPECT_TRUE(LogHas(u"Word: 4)"));
}

TEST_F(Scripts, ARightParenthesisWithoutALeftOneIsASyntaxError) {
  auto r = Run(u"5 )");
  EXPECT_TRUE(IsError(r));
  EXPECT_TRUE(LogHas(u"Interpreter - RealizeRegularExpression - Error Trap\r\nError: -2147218559"
                     u"\r\nSyntax error\r\nExpression:5 )\r\nWord: )"));
}

TEST_F(Scripts, TwoOperandsInARowAreASyntaxError) {
  EXPECT_TRUE(IsError(Run(u"5 6")));
  EXPECT_TRUE(LogHas(u"Syntax error\r\nExpression:5 6\r\nWord: 6"));
}

TEST_F(Scripts, AnUnknownWordWhereAnOperandIsExpectedIsASyntaxError) {
  EXPECT_TRUE(IsError(Run(u"Nowhere + 1")));
  EXPECT_TRUE(LogHas(u"Word: Nowhere"));
}

TEST_F(Scripts, TheDriversOwnHandlerReportsNothingToTheHost) {
  Run(u"5 6");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(Scripts, LessOrEqualAfterAFieldNameIsOneOperator) {
  AddField("A", Value::Long(3), "Long");
  EXPECT_EQ(Line(Run(u"A<=5")), u"Autodf|Boolean|True");
  EXPECT_EQ(Line(Run(u"A <= 2")), u"Autodf|Boolean|False");
}

TEST_F(Scripts, EverythingLeftOfEqualsIsReducedBeforeEquals) {
  AddField("A", Value::Long(2), "Long");
  EXPECT_EQ(Line(Run(u"A + 1 = 3")), u"Autodf|Boolean|True");
}

TEST_F(Scripts, TheCallersScriptIsTrimmedInPlace) {
  std::u16string script = u"   1 + 1   ";
  interpreter->RealizeRegularExpression(script);
  EXPECT_EQ(script, u"1 + 1");
}

TEST_F(Scripts, AFailedRunAlsoRestoresTheCounterAndRemovesItsTemporaries) {
  AddField("A", Value::Long(2), "Long");
  EXPECT_TRUE(IsError(Run(u"A + 1 + 2 6")));
}

TEST_F(Scripts, TheResultTemporaryIsNoLongerInTheCollectionButStaysValid) {
  auto r = Run(u"1 + 2");
  std::u16string name = r->Name();
  EXPECT_FALSE(fields->Exists(name));
  EXPECT_EQ(r->Data().GetLong(), 3);
}

TEST_F(Scripts, TextLiteralsJoin) {
  EXPECT_EQ(Line(Run(u"\"ab\" & \"cd\"")), u"Autodf|String|abcd");
  EXPECT_EQ(Line(Run(u"\"ab\" + \"cd\"")), u"Autodf|String|abcd");
}

TEST_F(Scripts, ADateLiteralIsADate) {
  EXPECT_EQ(Line(Run(u"#3/14/2002#")), u"Autodf|Date|3/14/2002");
}

TEST_F(Scripts, AScriptBeyondTheReadLimitAnswersTheErrorFieldInsteadOfLooping) {
  std::u16string script(32800, u' ');
  script[0] = u'1';
  script.back() = u'2';
  script[32780] = u'+';
  EXPECT_TRUE(IsError(Run(script)));
}

// ---- IF ---------------------------------------------------------------------------------

TEST_F(Scripts, IfWithATrueConditionRunsTheThenBranch) {
  AddField("A", Value::Long(1), "Long");
  AddField("X", Value::String(u"chosen"), "String");
  auto r = Run(u"IF A = 1 THEN X ENDIF");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->DataType(), u"Variant");
  EXPECT_EQ(automation::CStr(r->Data()), u"chosen");
}

TEST_F(Scripts, IfWithAFalseConditionAndNoElseIsFalse) {
  AddField("A", Value::Long(2), "Long");
  AddField("X", Value::String(u"chosen"), "String");
  EXPECT_EQ(Line(Run(u"IF A = 1 THEN X ENDIF")), u"Autodf|Boolean|False");
}

TEST_F(Scripts, IfWithAFalseConditionRunsTheElseBranch) {
  EXPECT_EQ(automation::CStr(Run(u"IF 1 = 2 THEN \"x\" ELSE \"y\" END IF")->Data()), u"y");
}

TEST_F(Scripts, ElseIfGivesItsBranchThroughTheInnerIfsResult) {
  auto r = Run(u"IF 1 = 2 THEN \"x\" ELSEIF 2 = 2 THEN \"y\" END IF");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(automation::CStr(r->Data()), u"y");
}

TEST_F(Scripts, LowerCaseThenAndElseAreAccepted) {
  EXPECT_EQ(automation::CStr(Run(u"IF 1 = 2 then \"x\" else \"y\" END IF")->Data()), u"y");
}

TEST_F(Scripts, EndWithALowerCaseIfIsASyntaxError) {
  Run(u"IF 1 = 1 THEN \"x\" END if");
  ASSERT_FALSE(errors->Calls().empty());
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: -2147218559 - Syntax error");
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"GetStatements");
}

TEST_F(Scripts, EndAtTheEndOfTheLineIsASyntaxError) {
  Run(u"IF 1 = 1 THEN \"x\" END");
  ASSERT_FALSE(errors->Calls().empty());
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: -2147218559 - Syntax error");
}

TEST_F(Scripts, ANumericConditionOfFiveIsTrueAndZeroFalse) {
  EXPECT_EQ(automation::CStr(Run(u"IF 5 THEN \"yes\" END IF")->Data()), u"yes");
  EXPECT_EQ(Line(Run(u"IF 0 THEN \"yes\" END IF")), u"Autodf|Boolean|False");
}

TEST_F(Scripts, AnEmptyElseEndsInsteadOfRepeatingForever) {
  EXPECT_EQ(Line(Run(u"IF 0 THEN \"yes\" ELSE END IF")), u"Autodf|Boolean|False");
}

TEST_F(Scripts, AnElseRunningOffTheLineEnds) {
  auto r = Run(u"IF 0 THEN \"yes\" ELSE");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->DataType(), u"Boolean");
}

TEST_F(Scripts, ABranchOfTwoLinesRunsAsOneTextWithoutSeparators) {
  auto r = Run(u"IF 1 THEN \"a\"\r\n& \"b\" END IF");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(automation::CStr(r->Data()), u"ab");
}

TEST_F(Scripts, AnUnknownFunctionWordOverflowsInPerformFunction) {
  Run(u"DATE");
  ASSERT_FALSE(errors->Calls().empty());
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 6 - Overflow");
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"PerformFunction");
}

TEST_F(Scripts, DateCompareGivingZeroLeavesADateTemporaryMadeFromTheTextZero) {
  auto s = seam();
  interpreter->ResetMemory();
  std::int16_t level = s.AddInstance(u"#3/14/2002#, #3/14/2002#");
  Value v = s.PerformFunction(u"DateCompare", level);
  EXPECT_EQ(v.Type(), automation::VarType::Integer);
  EXPECT_EQ(v.GetInteger(), 0);
  auto top = s.Stack(level).PeekStack();
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->DataType(), u"Date");
  EXPECT_EQ(top->Data().GetDate(), 0.0);
}

// A host's thread commonly has a 1 MB stack; an ELSEIF chain as long as a script can be must
// fit it.
struct ChainRun {
  contract::DataFieldsRef fields;
  contract::HostErrorRef errors;
  std::u16string answer;
};

void* RunLongElseIfChain(void* arg) {
  auto* run = static_cast<ChainRun*>(arg);
  Interpreter interpreter;
  std::u16string system = u"S";
  std::u16string application = u"A";
  interpreter.Init(run->fields, run->errors, system, application);
  std::u16string script = u"IF 0 THEN 1";
  while (script.size() < 32700) script += u" ELSEIF 0 THEN 1";
  script += u" ELSEIF 1 THEN \"last\" END IF";
  contract::DataFieldRef r = interpreter.RealizeRegularExpression(script);
  if (r) run->answer = automation::CStr(r->Data());
  return nullptr;
}

TEST_F(Scripts, AnElseIfChainAsLongAsAScriptFitsAOneMegabyteStack) {
  ChainRun run{fields, errors, {}};
  pthread_attr_t attr;
  ASSERT_EQ(pthread_attr_init(&attr), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, 1024 * 1024), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attr, RunLongElseIfChain, &run), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attr);
  EXPECT_EQ(run.answer, u"last");
}

TEST_F(Scripts, ANestedElseIfTakesTheInnerStatementsValue) {
  auto r = Run(u"IF 0 THEN 1 ELSEIF 0 THEN 2 ELSEIF 0 THEN 3 ELSE 4 END IF");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(automation::CStr(r->Data()), u"4");
}

}  // namespace
}  // namespace qorvintr::testing_support
