// The IF statement: whole statements through RealizeRegularExpression, and its steps
// (GetIfCondition, GetStatements, RemoveEndIf, PerformIf) one by one through the seam.
#include <gtest/gtest.h>

#include <string>

#include "qorvintr/convert.h"
#include "interpreter/limits.h"
#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using engine::kEndedAtElse;
using engine::kEndedAtElseIf;

class IfScripts : public ScriptTest {
 protected:
  // The text of the value a script answers.
  std::u16string ValueText(std::u16string script) {
    contract::DataFieldRef r = Run(std::move(script));
    if (!r) {
      ADD_FAILURE() << "no field";
      return {};
    }
    return automation::CStr(r->Data());
  }
};

class IfSteps : public InterpreterTest {
 protected:
  void SetUp() override {
    InterpreterTest::SetUp();
    interpreter->ResetMemory();
  }
  std::int16_t Open(const std::u16string& text) { return seam().AddInstance(text); }
  std::u16string NextWord(std::int16_t level) { return seam().GetNextWord(level); }
  // Runs PerformIf, which must answer True, and answers the value it left on the stack.
  contract::DataFieldRef PerformIfTop(std::int16_t level) {
    EXPECT_TRUE(seam().PerformIf(level));
    return seam().Stack(level).PeekStack();
  }
};

// ---- Whole statements ------------------------------------------------------------------------

TEST_F(IfScripts, IfWithATrueConditionRunsTheThenBranch) {
  AddField("A", Value::Long(1), "Long");
  AddField("X", Value::String(u"chosen"), "String");
  auto r = Run(u"IF A = 1 THEN X ENDIF");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->DataType(), u"Variant");
  EXPECT_EQ(automation::CStr(r->Data()), u"chosen");
}

TEST_F(IfScripts, IfWithAFalseConditionAndNoElseIsFalse) {
  AddField("A", Value::Long(2), "Long");
  AddField("X", Value::String(u"chosen"), "String");
  EXPECT_EQ(Line(Run(u"IF A = 1 THEN X ENDIF")), u"Autodf|Boolean|False");
}

TEST_F(IfScripts, IfWithAFalseConditionRunsTheElseBranch) {
  EXPECT_EQ(ValueText(u"IF 1 = 2 THEN \"x\" ELSE \"y\" END IF"), u"y");
}

TEST_F(IfScripts, ElseIfGivesItsBranchThroughTheInnerIfsResult) {
  EXPECT_EQ(ValueText(u"IF 1 = 2 THEN \"x\" ELSEIF 2 = 2 THEN \"y\" END IF"), u"y");
}

TEST_F(IfScripts, LowerCaseThenAndElseAreAccepted) {
  EXPECT_EQ(ValueText(u"IF 1 = 2 then \"x\" else \"y\" END IF"), u"y");
}

TEST_F(IfScripts, EndWithALowerCaseIfIsASyntaxError) {
  Run(u"IF 1 = 1 THEN \"x\" END if");
  ASSERT_FALSE(errors->Calls().empty());
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: -2147218559 - Syntax error");
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"GetStatements");
}

TEST_F(IfScripts, EndAtTheEndOfTheLineIsASyntaxError) {
  Run(u"IF 1 = 1 THEN \"x\" END");
  ASSERT_FALSE(errors->Calls().empty());
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: -2147218559 - Syntax error");
}

TEST_F(IfScripts, ANumericConditionOfFiveIsTrueAndZeroFalse) {
  EXPECT_EQ(ValueText(u"IF 5 THEN \"yes\" END IF"), u"yes");
  EXPECT_EQ(Line(Run(u"IF 0 THEN \"yes\" END IF")), u"Autodf|Boolean|False");
}

TEST_F(IfScripts, AnEmptyElseEndsInsteadOfRepeatingForever) {
  EXPECT_EQ(Line(Run(u"IF 0 THEN \"yes\" ELSE END IF")), u"Autodf|Boolean|False");
}

// Found by fuzzing: the ELSE branch meets a line end alone (a syntax error, reported), and the
// next try reads END, fails on "IF+" and steps back over the line end: the reading went back and
// forth between two places for ever. It stops once it gets no further than it has been.
TEST_F(IfScripts, AnElseThatFailsBackAndForthOverALineEndStops) {
  EXPECT_EQ(Line(Run(u"IF 0 THEN 1 ELSE \rEND IF+ 1")), u"Error|Boolean|False");
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: -2147218559 - Syntax error");
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"GetStatements");
}

TEST_F(IfScripts, AnElseRunningOffTheLineEnds) {
  auto r = Run(u"IF 0 THEN \"yes\" ELSE");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->DataType(), u"Boolean");
}

TEST_F(IfScripts, ABranchOfTwoLinesRunsAsOneTextWithoutSeparators) {
  EXPECT_EQ(ValueText(u"IF 1 THEN \"a\"\r\n& \"b\" END IF"), u"ab");
}

// An ELSEIF chain as long as a script can be must fit a host's thread.
TEST_F(IfScripts, AnElseIfChainAsLongAsAScriptFitsAOneMegabyteStack) {
  std::u16string answer;
  RunOnOneMegabyteStack([&] {
    Interpreter on_thread;
    on_thread.Init(fields, errors, u"S", u"A");
    std::u16string script = u"IF 0 THEN 1";
    while (script.size() < 32700) script += u" ELSEIF 0 THEN 1";
    script += u" ELSEIF 1 THEN \"last\" END IF";
    contract::DataFieldRef r = on_thread.RealizeRegularExpression(script);
    if (r) answer = automation::CStr(r->Data());
  });
  EXPECT_EQ(answer, u"last");
}

TEST_F(IfScripts, ANestedElseIfTakesTheInnerStatementsValue) {
  EXPECT_EQ(ValueText(u"IF 0 THEN 1 ELSEIF 0 THEN 2 ELSEIF 0 THEN 3 ELSE 4 END IF"), u"4");
}

// Sixteen levels hold temporaries (0 to 15). IF conditions nested deep enough to open a
// seventeenth level end there with error 9 instead of running on.
TEST_F(IfScripts, ARunDeeperThanLevel15EndsWithError9) {
  std::u16string script;
  for (int i = 0; i < 33; ++i) script += u"IF ";
  script += u"1 THEN 2 END IF";
  Run(script);
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - RealizeRegularExpression - Error Trap\r\n"
                     u"Error: 9\r\nSubscript out of range\r\nExpression:"));
}

TEST_F(IfScripts, RunsWithinLevel15DoNotMeetError9) {
  std::u16string script;
  for (int i = 0; i < 29; ++i) script += u"IF ";
  script += u"1 THEN 2 END IF";
  Run(script);
  EXPECT_FALSE(LogHas(log->entries, u"Error: 9\r\nSubscript out of range"));
}

// ---- GetIfCondition --------------------------------------------------------------------------

TEST_F(IfSteps, GetIfConditionJoinsTheWordsBeforeThenWithBlanks) {
  std::int16_t n = Open(u"A = 1 THEN X ENDIF");
  EXPECT_EQ(seam().GetIfCondition(n), u"A = 1");
  EXPECT_EQ(NextWord(n), u"X");
}

TEST_F(IfSteps, GetIfConditionTakesThenInAnyCase) {
  std::int16_t n = Open(u"A then X ENDIF");
  EXPECT_EQ(seam().GetIfCondition(n), u"A");
  EXPECT_EQ(NextWord(n), u"X");
}

TEST_F(IfSteps, GetIfConditionWithoutThenRunsToTheEndOfTheText) {
  std::int16_t n = Open(u"A = 1 X");
  EXPECT_EQ(seam().GetIfCondition(n), u"A = 1 X");
  EXPECT_EQ(NextWord(n), u"<EOL>");
  EXPECT_TRUE(errors->Calls().empty());
}

// ---- GetStatements ---------------------------------------------------------------------------

TEST_F(IfSteps, GetStatementsEndingAtElseAnswers32001AndGivesTheElseBack) {
  std::int16_t n = Open(u"X ELSE Y END IF");
  std::int16_t ended_at = 0;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
  EXPECT_EQ(ended_at, 32001);
  EXPECT_EQ(ended_at, kEndedAtElse);
  EXPECT_EQ(NextWord(n), u"ELSE");
}

TEST_F(IfSteps, GetStatementsEndingAtElseIfAnswers32000AndGivesBackItsIf) {
  std::int16_t n = Open(u"X ELSEIF B THEN Y END IF");
  std::int16_t ended_at = 0;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
  EXPECT_EQ(ended_at, 32000);
  EXPECT_EQ(ended_at, kEndedAtElseIf);
  EXPECT_EQ(NextWord(n), u"IF");
  EXPECT_EQ(NextWord(n), u"B");
}

TEST_F(IfSteps, GetStatementsEndingAtEndIfLeavesTheCodeAsItWas) {
  for (const char16_t* text : {u"X END IF", u"X ENDIF"}) {
    std::int16_t n = Open(text);
    std::int16_t ended_at = 7;
    EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
    EXPECT_EQ(ended_at, 7);
    EXPECT_EQ(NextWord(n).substr(0, 3), u"END");
  }
}

TEST_F(IfSteps, GetStatementsJoinsTheBranchWordsWithoutSeparators) {
  std::int16_t n = Open(u"\"a\" & \"b\" END IF");
  std::int16_t ended_at = 0;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"\"a\"&\"b\"");
}

TEST_F(IfSteps, GetStatementsPassesOverAnElseThatIsTheFirstWord) {
  std::int16_t n = Open(u"ELSE 4 END IF");
  std::int16_t ended_at = 0;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"4");
  EXPECT_EQ(ended_at, 0);
}

TEST_F(IfSteps, GetStatementsMeetingTheEndOfTheTextIsASyntaxError) {
  std::int16_t n = Open(u"X");
  std::int16_t ended_at = 0;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"");
  ExpectOneReport(*errors, u"GetStatements", u"Error: -2147218559 - Syntax error");
}

// ---- RemoveEndIf -----------------------------------------------------------------------------

TEST_F(IfSteps, RemoveEndIfSkipsToJustAfterEndIf) {
  std::int16_t n = Open(u"X Y END IF Z");
  EXPECT_TRUE(seam().RemoveEndIf(n));
  EXPECT_EQ(NextWord(n), u"Z");
  n = Open(u"X ENDIF Z");
  EXPECT_TRUE(seam().RemoveEndIf(n));
  EXPECT_EQ(NextWord(n), u"Z");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(IfSteps, RemoveEndIfAtTheEndOfTheTextIsDone) {
  std::int16_t n = Open(u"X Y");
  EXPECT_TRUE(seam().RemoveEndIf(n));
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(IfSteps, RemoveEndIfWithEndNotFollowedByIfIsASyntaxError) {
  std::int16_t n = Open(u"X END");
  EXPECT_FALSE(seam().RemoveEndIf(n));
  ExpectOneReport(*errors, u"RemoveEndIf", u"Error: -2147218559 - Syntax error");
}

// ---- Scans read again --------------------------------------------------------------------------

TEST_F(IfSteps, ScansReadAgainFromTheSamePlaceAnswerAsTheFirstReading) {
  const std::u16string text = u"A = 1 THEN X ELSE Y END IF Z";
  std::size_t words = 0;
  for (int round = 0; round < 2; ++round) {
    std::int16_t n = Open(text);
    std::int16_t ended_at = 0;
    EXPECT_EQ(seam().GetIfCondition(n), u"A = 1");
    EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
    EXPECT_EQ(ended_at, kEndedAtElse);
    EXPECT_EQ(seam().GetElseStatements(n), u"Y");
    EXPECT_TRUE(seam().RemoveEndIf(n));
    EXPECT_EQ(NextWord(n), u"Z");
    // Condition, branch, the ELSE branch (and the branch it collects), the skip to END IF.
    EXPECT_EQ(seam().MemoScans(), 5u);
    if (round == 0) words = seam().MemoWords();
  }
  // The second round read no word the long way.
  EXPECT_EQ(seam().MemoWords(), words);
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(IfSteps, AKeptBranchSetsWhereItEndedWhateverTheCallerHeldBefore) {
  // Read first with the ELSE's own mark already held, then with none: the ELSE is answered.
  std::int16_t n = Open(u"X ELSE Y END IF");
  std::int16_t ended_at = kEndedAtElse;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
  EXPECT_EQ(ended_at, kEndedAtElse);
  n = Open(u"X ELSE Y END IF");
  ended_at = 0;
  EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
  EXPECT_EQ(ended_at, kEndedAtElse);
  // A branch ending at END IF leaves whatever the caller held, each time.
  for (std::int16_t held : {std::int16_t{7}, std::int16_t{0}, kEndedAtElseIf}) {
    n = Open(u"X END IF");
    ended_at = held;
    EXPECT_EQ(seam().GetStatements(n, ended_at), u"X");
    EXPECT_EQ(ended_at, held);
  }
}

TEST_F(IfSteps, AScanThatMetATrapIsNotKeptAndFailsAgain) {
  for (int round = 0; round < 2; ++round) {
    std::int16_t n = Open(u"X END");
    EXPECT_FALSE(seam().RemoveEndIf(n));
    n = Open(u"X");
    std::int16_t ended_at = 0;
    EXPECT_EQ(seam().GetStatements(n, ended_at), u"");
  }
  EXPECT_EQ(ReportedProcedures(),
            (std::vector<std::u16string>{u"RemoveEndIf", u"GetStatements", u"RemoveEndIf",
                                         u"GetStatements"}));
  EXPECT_EQ(seam().MemoScans(), 0u);
}

TEST_F(IfSteps, AnInterpreterWithoutUnwatchedRunsKeepsNoScans) {
  seam().AllowUnwatched(false);
  std::int16_t n = Open(u"A THEN X END IF");
  EXPECT_EQ(seam().GetIfCondition(n), u"A");
  EXPECT_EQ(seam().MemoScans(), 0u);
}

TEST_F(IfScripts, OneIfTextRunAgainChoosesEachBranchByItsCondition) {
  auto count = AddField("Count", Value::Long(5), "Long");
  const std::u16string script =
      u"IF Count > 100 THEN \"HIGH\" ELSEIF Count > 10 THEN \"MID\" ELSE \"LOW\" END IF";
  for (auto [value, expected] : {std::pair{5, u"LOW"}, std::pair{50, u"MID"},
                                 std::pair{500, u"HIGH"}, std::pair{5, u"LOW"},
                                 std::pair{50, u"MID"}}) {
    count->SetData(Value::Long(value));
    EXPECT_EQ(ValueText(script), expected) << value;
  }
}

// ---- PerformIf -------------------------------------------------------------------------------

TEST_F(IfSteps, PerformIfLeavesTheChosenBranchAsAVariantTemporaryOfItsLevel) {
  std::int16_t n = Open(u"1 = 1 THEN \"x\" ELSE \"y\" END IF");
  auto top = PerformIfTop(n);
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->DataType(), u"Variant");
  EXPECT_EQ(automation::CStr(top->Data()), u"x");
  EXPECT_EQ(seam().HoldTop(n), 0);
  EXPECT_EQ(seam().Hold(n, 0), top->Name());
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(IfSteps, PerformIfWithAFalseConditionAndNoElseLeavesFalse) {
  auto top = PerformIfTop(Open(u"0 THEN \"x\" END IF"));
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->DataType(), u"Boolean");
  EXPECT_FALSE(top->Data().GetBoolean());
}

TEST_F(IfSteps, PerformIfTakesAnElseIfsValueFromTheInnerStatement) {
  std::int16_t n = Open(u"0 THEN 1 ELSEIF 1 THEN \"y\" END IF");
  auto top = PerformIfTop(n);
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(automation::CStr(top->Data()), u"y");
  // The inner statement's temporary and the outer one's, both at this level.
  EXPECT_EQ(seam().HoldTop(n), 1);
}

TEST_F(IfSteps, PerformIfFailureIsTrappedReportedAndAnswersFalse) {
  std::int16_t n = Open(u"1 THEN 2 END IF");
  seam().FailIn(u"PerformIf", 5);
  EXPECT_FALSE(seam().PerformIf(n));
  seam().StopFailing();
  ExpectOneReport(*errors, u"PerformIf", u"Error: 5 - Invalid procedure call or argument");
  EXPECT_TRUE(LogHas(log->entries, u"Interpreter - PerformIf - Error Trap\r\nError: 5\r\n"));
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
}

// The ELSEIF frames behave as nested calls: an error raised by the inner frame's handler (here
// the error object's own failure) is taken by the waiting frame's trap.
TEST_F(IfSteps, AnErrorRaisedByAnInnerFramesHandlerGoesToTheWaitingFramesTrap) {
  int calls = 0;
  errors->SetByReferenceHook([&](Value&, Value&, Value&) {
    if (++calls == 1) automation::Raise(automation::err::DivisionByZero);
  });
  // The inner condition is a text that is no Boolean: 13 in the inner frame.
  std::int16_t n = Open(u"0 THEN 1 ELSEIF \"abc\" THEN 2 END IF");
  EXPECT_FALSE(seam().PerformIf(n));
  std::vector<std::u16string> reported = ReportedProcedures();
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_EQ(reported[0], u"PerformIf");
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 13 - Type mismatch");
  EXPECT_EQ(reported[1], u"PerformIf");
  EXPECT_EQ(errors->Calls()[1][1].GetString(), u"Error: 11 - Division by zero");
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
}

TEST_F(IfSteps, AnErrorRaisedByTheOutermostFramesHandlerReachesTheCaller) {
  interpreter->SetObjError(nullptr);
  std::int16_t n = Open(u"1 THEN 2 END IF");
  seam().FailIn(u"PerformIf", 5);
  EXPECT_EQ(ErrorOf([&] { seam().PerformIf(n); }), automation::err::ObjectVariableNotSet);
  seam().StopFailing();
  EXPECT_TRUE(LogHas(log->entries, u"Interpreter - PerformIf - Error Trap\r\nError: 5\r\n"));
}

}  // namespace
}  // namespace qorvintr::testing_support
