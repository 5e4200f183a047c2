// Whole scripts through RealizeRegularExpression: the statement driver and function dispatch.
#include <gtest/gtest.h>

#include "qorvintr/convert.h"
#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

class Scripts : public ScriptTest {};

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
  EXPECT_TRUE(LogHas(log->entries, u"Word: 4)"));
}

TEST_F(Scripts, ARightParenthesisWithoutALeftOneIsASyntaxError) {
  auto r = Run(u"5 )");
  EXPECT_TRUE(IsError(r));
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - RealizeRegularExpression - Error Trap\r\nError: -2147218559"
                     u"\r\nSyntax error\r\nExpression:5 )\r\nWord: )"));
}

TEST_F(Scripts, TwoOperandsInARowAreASyntaxError) {
  EXPECT_TRUE(IsError(Run(u"5 6")));
  EXPECT_TRUE(LogHas(log->entries, u"Syntax error\r\nExpression:5 6\r\nWord: 6"));
}

TEST_F(Scripts, AnUnknownWordWhereAnOperandIsExpectedIsASyntaxError) {
  EXPECT_TRUE(IsError(Run(u"Nowhere + 1")));
  EXPECT_TRUE(LogHas(log->entries, u"Word: Nowhere"));
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

TEST_F(Scripts, ARunGivesItsLevelsHoldSlotsBack) {
  Run(u"1 + 2");
  EXPECT_EQ(seam().HoldTop(0), -1);
}

// A collection whose Remove fails the first time it is asked.
class RemoveFailsOnce : public components::DataFieldCollection {
 public:
  void Remove(std::u16string& name) override {
    if (!failed_) {
      failed_ = true;
      automation::Raise(automation::err::InvalidProcedureCall);
    }
    DataFieldCollection::Remove(name);
  }

 private:
  bool failed_ = false;
};

TEST_F(Scripts, ClosingGoesOnAfterAFailingStep) {
  auto collection = std::make_shared<RemoveFailsOnce>();
  interpreter->SetDataFields(collection);
  std::u16string script = u"1 + 2";
  auto r = interpreter->RealizeRegularExpression(script);
  EXPECT_TRUE(IsError(r));
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - RealizeRegularExpression - Error Trap\r\n"
                     u"Error: 5\r\nInvalid procedure call or argument\r\n"
                     u"Expression:1 + 2"));
  // The last temporary's removal failed; the three before it were removed all the same.
  ASSERT_EQ(collection->Count(), 1);
  EXPECT_EQ(collection->Fields().ItemAt(1)->Name(), u"Autodf4");
  EXPECT_EQ(seam().InstanceCounter(), -1);
  EXPECT_EQ(seam().HoldTop(0), -1);
  EXPECT_TRUE(errors->Calls().empty());
}

// ---- Function dispatch ----------------------------------------------------------------

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

TEST_F(Scripts, ARefusedDateCompareTemporaryIsObjectRequiredInPerformFunctionsTrap) {
  auto s = seam();
  interpreter->ResetMemory();
  std::int16_t level = s.AddInstance(u"#3/14/2002#, #3/14/2002#");
  s.FailIn(u"CreateDateDataField", 5);
  Value v = s.PerformFunction(u"DateCompare", level);
  s.StopFailing();
  EXPECT_TRUE(v.IsEmpty());
  std::vector<std::u16string> reported = ReportedProcedures();
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_EQ(reported[0], u"CreateDateDataField");
  EXPECT_EQ(reported[1], u"PerformFunction");
  EXPECT_EQ(errors->Calls()[1][1].GetString(), u"Error: -2147220568 - Object required");
  EXPECT_TRUE(s.Stack(level).IsStackEmpty());
}

}  // namespace
}  // namespace qorvintr::testing_support
