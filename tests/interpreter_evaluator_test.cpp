// The expression evaluator: reduction of an instance's stack, operand unification, operators.
#include <gtest/gtest.h>

#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using automation::VarType;

class Evaluator : public InterpreterTest {
 protected:
  void SetUp() override {
    InterpreterTest::SetUp();
    interpreter->ResetMemory();
    level = seam().AddInstance(u"");
  }
  // Pushes a loose operand field (not in the collection; operands need not be).
  void PushValue(Value v, const char* type) {
    seam().Stack(level).Push(components::MakeDataField(U("Op"), std::move(v), U(type)));
  }
  void PushOperator(const char* op) {
    std::u16string name = seam().CreateOperatorDataField(U(op));
    ASSERT_FALSE(name.empty());
    seam().Stack(level).Push(Field(name));
  }
  void PushParenthesis(const char* p) { PushOperator(p); }
  contract::DataFieldRef Top() { return seam().Stack(level).PeekStack(); }
  bool Evaluate() { return seam().EvaluateExpression(level); }
  std::int16_t level = 0;
};

TEST_F(Evaluator, ASingleFieldStaysOnTheStackAndTheResultIsTrue) {
  PushValue(Value::Long(5), "Long");
  auto before = Top();
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top(), before);
}

TEST_F(Evaluator, AnEmptyStackGetsAnEmptyReferencePushedAndTheResultIsTrue) {
  EXPECT_TRUE(Evaluate());
  EXPECT_FALSE(seam().Stack(level).IsStackEmpty());
  EXPECT_EQ(Top(), nullptr);
}

TEST_F(Evaluator, TwoPlusThreeIntegersLeavesOneTemporaryHoldingFive) {
  PushValue(Value::Integer(2), "Integer");
  PushOperator("+");
  PushValue(Value::Integer(3), "Integer");
  EXPECT_TRUE(Evaluate());
  auto top = seam().Stack(level).Pop();
  EXPECT_TRUE(seam().Stack(level).IsStackEmpty());
  EXPECT_EQ(top->DataType(), u"Integer");
  EXPECT_EQ(top->Data().GetInteger(), 5);
  EXPECT_EQ(top->DataClass(), u"Auto");
  EXPECT_EQ(seam().Hold(level, seam().HoldTop(level)), top->Name());
}

TEST_F(Evaluator, AReductionStopsAtALeftParenthesisWhichIsDroppedAndTheResultIsFalse) {
  PushParenthesis("(");
  PushValue(Value::Integer(2), "Integer");
  PushOperator("*");
  PushValue(Value::Integer(3), "Integer");
  EXPECT_FALSE(Evaluate());
  auto top = seam().Stack(level).Pop();
  EXPECT_EQ(top->Data().GetInteger(), 6);
  EXPECT_TRUE(seam().Stack(level).IsStackEmpty());
}

TEST_F(Evaluator, DivisionByZeroIsReportedFromTheEvaluatorAndTheResultIsFalse) {
  PushValue(Value::Long(7), "Long");
  PushOperator("/");
  PushValue(Value::Long(0), "Long");
  EXPECT_FALSE(Evaluate());
  ExpectOneReport(*errors, u"EvaluateExpression", u"Error: -2147220981 - Division by zero");
  ASSERT_EQ(log->entries.size(), 1u);
  EXPECT_NE(log->entries[0].find(u"Interpreter - EvaluateExpression - Error Trap\r\n"
                                 u"Error: -2147220981\r\nDivision by zero"),
            std::u16string::npos);
  // The items of the failed pass are not pushed back.
  EXPECT_TRUE(seam().Stack(level).IsStackEmpty());
}

TEST_F(Evaluator, IntegerDivisionByZeroIsTheSameError) {
  PushValue(Value::Long(7), "Long");
  PushOperator("\\");
  PushValue(Value::Long(0), "Long");
  EXPECT_FALSE(Evaluate());
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: -2147220981 - Division by zero");
}

TEST_F(Evaluator, SevenBackslashTwoIntegersIsThreeAndSlashIsThreePointFive) {
  PushValue(Value::Integer(7), "Integer");
  PushOperator("\\");
  PushValue(Value::Integer(2), "Integer");
  EXPECT_TRUE(Evaluate());
  auto quotient = seam().Stack(level).Pop();
  EXPECT_EQ(quotient->DataType(), u"Integer");
  EXPECT_EQ(quotient->Data().GetInteger(), 3);

  PushValue(Value::Integer(7), "Integer");
  PushOperator("/");
  PushValue(Value::Integer(2), "Integer");
  EXPECT_TRUE(Evaluate());
  auto ratio = seam().Stack(level).Pop();
  EXPECT_EQ(ratio->DataType(), u"Double");
  EXPECT_EQ(ratio->Data().GetDouble(), 3.5);
}

TEST_F(Evaluator, TwoStringFieldsCompareAsTexts) {
  PushValue(Value::String(u"10"), "String");
  PushOperator("<");
  PushValue(Value::String(u"9"), "String");
  EXPECT_TRUE(Evaluate());
  auto top = Top();
  EXPECT_EQ(top->DataType(), u"Boolean");
  EXPECT_TRUE(top->Data().GetBoolean());
}

TEST_F(Evaluator, AStringAndALongFieldCompareAsLongs) {
  PushValue(Value::String(u"10"), "String");
  PushOperator("<");
  PushValue(Value::Long(9), "Long");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->DataType(), u"Boolean");
  EXPECT_FALSE(Top()->Data().GetBoolean());
}

TEST_F(Evaluator, ADateTextOnTheLeftConvertsTheRightAndAbcIsATypeMismatch) {
  PushValue(Value::String(u"2002-01-31"), "String");
  PushOperator("<");
  PushValue(Value::String(u"abc"), "String");
  EXPECT_FALSE(Evaluate());
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 13 - Type mismatch");
}

TEST_F(Evaluator, ADateTextOnTheRightIsNotTestedSoTheTextsCompare) {
  PushValue(Value::String(u"abc"), "String");
  PushOperator("<");
  PushValue(Value::String(u"2002-01-31"), "String");
  EXPECT_TRUE(Evaluate());
  EXPECT_FALSE(Top()->Data().GetBoolean());
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(Evaluator, TwoDateTextsCompareAsDates) {
  PushValue(Value::String(u"1/31/2002"), "String");
  PushOperator("<");
  PushValue(Value::String(u"12/1/2001"), "String");
  EXPECT_TRUE(Evaluate());
  EXPECT_FALSE(Top()->Data().GetBoolean());
}

TEST_F(Evaluator, AmpersandJoinsTwoStringFields) {
  PushValue(Value::String(u"ab"), "String");
  PushOperator("&");
  PushValue(Value::String(u"cd"), "String");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->DataType(), u"String");
  EXPECT_EQ(Top()->Data().GetString(), u"abcd");
}

TEST_F(Evaluator, AmpersandOnTwoLongsGivesAnEmptyValueInTheFirstReduction) {
  PushValue(Value::Long(1), "Long");
  PushOperator("&");
  PushValue(Value::Long(2), "Long");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->DataType(), u"Variant");
  EXPECT_TRUE(Top()->Data().IsEmpty());
}

TEST_F(Evaluator, AmpersandOnTwoLongsGivesThePreviousResultOfTheSameCall) {
  PushValue(Value::Long(1), "Long");
  PushOperator("&");
  PushValue(Value::Long(2), "Long");
  PushOperator("+");
  PushValue(Value::Long(3), "Long");
  EXPECT_TRUE(Evaluate());
  // 2 + 3 first, then 1 & 5 keeps the 5.
  EXPECT_EQ(Top()->DataType(), u"Long");
  EXPECT_EQ(Top()->Data().GetLong(), 5);
}

TEST_F(Evaluator, AnOperatorOutsideTheTableIsAnInvalidProcedureCall) {
  PushValue(Value::Long(1), "Long");
  PushOperator("%");
  PushValue(Value::Long(2), "Long");
  EXPECT_FALSE(Evaluate());
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(),
            u"Error: -2147220987 - Invalid procedure call or argument");
}

TEST_F(Evaluator, EachSpellingOfTheOperatorTableGivesItsOwnResult) {
  struct Case {
    const char* op;
    VarType type;
    double number;  // the result as a number (a Boolean as -1/0)
  };
  const Case cases[] = {
      {"<", VarType::Boolean, 0},  {">", VarType::Boolean, -1}, {"<=", VarType::Boolean, 0},
      {">=", VarType::Boolean, -1}, {"<>", VarType::Boolean, -1}, {"!=", VarType::Boolean, -1},
      {"=", VarType::Boolean, 0},  {"==", VarType::Boolean, 0},  {"+", VarType::Long, 9},
      {"-", VarType::Long, 5},     {"*", VarType::Long, 14},     {"/", VarType::Double, 3.5},
      {"\\", VarType::Long, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.op);
    PushValue(Value::Long(7), "Long");
    PushOperator(c.op);
    PushValue(Value::Long(2), "Long");
    EXPECT_TRUE(Evaluate());
    auto top = seam().Stack(level).Pop();
    ASSERT_NE(top, nullptr);
    const Value data = top->Data();
    ASSERT_EQ(data.Type(), c.type);
    switch (c.type) {
      case VarType::Boolean: EXPECT_EQ(data.GetBoolean() ? -1 : 0, c.number); break;
      case VarType::Long: EXPECT_EQ(data.GetLong(), c.number); break;
      default: EXPECT_EQ(data.GetDouble(), c.number); break;
    }
  }
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(Evaluator, NearMissesOfTheOperatorSpellingsAreInvalidProcedureCalls) {
  for (const char* op : {"=<", "=>", "<<", "><", "!", "!<", "&&", "++", "+=", "<=>"}) {
    SCOPED_TRACE(op);
    errors->Clear();
    PushValue(Value::Long(7), "Long");
    PushOperator(op);
    PushValue(Value::Long(2), "Long");
    EXPECT_FALSE(Evaluate());
    ASSERT_EQ(errors->Calls().size(), 1u);
    EXPECT_EQ(errors->Calls()[0][1].GetString(),
              u"Error: -2147220987 - Invalid procedure call or argument");
  }
}

TEST_F(Evaluator, TwoOperandsWithNoOperatorLeaveOnlyTheUpperOne) {
  PushValue(Value::Long(1), "Long");
  PushValue(Value::Long(2), "Long");
  EXPECT_TRUE(Evaluate());
  auto top = seam().Stack(level).Pop();
  EXPECT_EQ(top->Data().GetLong(), 2);
  EXPECT_TRUE(seam().Stack(level).IsStackEmpty());
}

TEST_F(Evaluator, ARunOfOperatorsGroupsFromTheRight) {
  // 10 - 4 - 3 is 10 - (4 - 3) = 9.
  PushValue(Value::Long(10), "Long");
  PushOperator("-");
  PushValue(Value::Long(4), "Long");
  PushOperator("-");
  PushValue(Value::Long(3), "Long");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->Data().GetLong(), 9);
}

TEST_F(Evaluator, TimesBeforePlusStillGroupsFromTheRight) {
  // 2 * 3 + 4 is 2 * (3 + 4) = 14.
  PushValue(Value::Long(2), "Long");
  PushOperator("*");
  PushValue(Value::Long(3), "Long");
  PushOperator("+");
  PushValue(Value::Long(4), "Long");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->Data().GetLong(), 14);
}

TEST_F(Evaluator, AnOperatorWithoutALeftOperandPushesTheRightItemBack) {
  PushOperator("-");
  PushValue(Value::Long(4), "Long");
  EXPECT_TRUE(Evaluate());
  auto top = seam().Stack(level).Pop();
  EXPECT_EQ(top->Data().GetLong(), 4);
  EXPECT_TRUE(seam().Stack(level).IsStackEmpty());
}

TEST_F(Evaluator, StringAndLongFieldsWithDifferentTypesAddAsLongs) {
  PushValue(Value::String(u"2"), "String");
  PushOperator("+");
  PushValue(Value::Long(3), "Long");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->DataType(), u"Long");
  EXPECT_EQ(Top()->Data().GetLong(), 5);
}

TEST_F(Evaluator, TwoStringFieldsAddAsTexts) {
  PushValue(Value::String(u"2"), "String");
  PushOperator("+");
  PushValue(Value::String(u"3"), "String");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->Data().GetString(), u"23");
}

TEST_F(Evaluator, ANonNumericRightOperandMakesBothTexts) {
  PushValue(Value::Long(2), "Long");
  PushOperator("+");
  PushValue(Value::String(u"x"), "String");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->DataType(), u"String");
  EXPECT_EQ(Top()->Data().GetString(), u"2x");
}

TEST_F(Evaluator, NumericTypesWithoutAKnownNameKeepTheValuesOfThePreviousReduction) {
  // "Variant" on both sides of differing type words: no conversion, and in the first reduction
  // both values are Empty, so the sum is Empty + Empty.
  PushValue(Value::Long(2), "Variant");
  PushOperator("+");
  PushValue(Value::Long(3), "Currency");
  EXPECT_TRUE(Evaluate());
  EXPECT_EQ(Top()->DataType(), u"Integer");
  EXPECT_EQ(Top()->Data().GetInteger(), 0);
}

TEST_F(Evaluator, StripStringDelimitersTakesTheInnerTextOfAQuotedText) {
  EXPECT_EQ(InterpreterSeam::StripStringDelimiters(u"  \"inner\"  "), u"inner");
  EXPECT_EQ(InterpreterSeam::StripStringDelimiters(u" inner\" "), u"inner\"");
  EXPECT_EQ(InterpreterSeam::StripStringDelimiters(u"\""), u"");
  EXPECT_EQ(InterpreterSeam::StripStringDelimiters(u"\"open"), u"open");
  EXPECT_EQ(InterpreterSeam::StripDateDelimiters(u" #1/2/2002# "), u"1/2/2002");
  EXPECT_EQ(InterpreterSeam::StripDateDelimiters(u"1/2/2002#"), u"1/2/2002#");
}

TEST_F(Evaluator, AnInstanceOutsideTheArraysIsCaughtByTheTrap) {
  EXPECT_FALSE(seam().EvaluateExpression(40));
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 9 - Subscript out of range");
}

}  // namespace
}  // namespace qorvintr::testing_support
