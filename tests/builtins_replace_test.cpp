// Replace: its argument reader, with the word forms the lexer delivers, the substitution, and its
// error traps.
#include <gtest/gtest.h>

#include <string>

#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

constexpr char16_t kWrongArguments[] =
    u"Error: 450 - Wrong number of arguments or invalid property assignment";

class ReplaceBuiltin : public InterpreterTest {
 protected:
  void SetUp() override {
    InterpreterTest::SetUp();
    interpreter->ResetMemory();
  }
  std::int16_t Open(const std::u16string& text) { return seam().AddInstance(text); }

  // Runs Replace over the argument text and answers the text it left on the stack.
  std::u16string Replace(const std::u16string& arguments) {
    std::int16_t n = Open(arguments);
    EXPECT_TRUE(seam().PerformReplace(n));
    auto top = seam().Stack(n).PeekStack();
    if (!top) {
      ADD_FAILURE() << "nothing on the stack";
      return {};
    }
    EXPECT_EQ(top->DataType(), u"String");
    return top->Data().GetString();
  }

  struct Arguments {
    bool answer = false;
    contract::DataFieldRef source;
    std::u16string find, replacement;
    std::int32_t start = 0, count = 0, compare = 0;
  };
  Arguments Read(const std::u16string& text) {
    std::int16_t n = Open(text);
    Arguments a;
    a.answer = seam().GetReplaceArguments(n, a.source, a.find, a.replacement, a.start, a.count,
                                          a.compare);
    return a;
  }
};

TEST_F(ReplaceBuiltin, ReplacesEveryOccurrenceByDefault) {
  AddField("A", Value::String(u"axbx"), "String");
  // The find literal stands before a blank, so its comma is a word of its own.
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\")"), u"ayby");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(ReplaceBuiltin, ReadsTheDefaultsStartOneCountAllCompareDefault) {
  AddField("A", Value::String(u"axbx"), "String");
  Arguments a = Read(u"A, \"x\" , \"y\")");
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.source, Field(u"A"));
  EXPECT_EQ(a.find, u"x");
  EXPECT_EQ(a.replacement, u"y");
  EXPECT_EQ(a.start, 1);
  EXPECT_EQ(a.count, -1);
  EXPECT_EQ(a.compare, -1);
}

TEST_F(ReplaceBuiltin, FindLiteralFollowedDirectlyByACommaKeepsTheComma) {
  AddField("A", Value::String(u"axbx"), "String");
  // The lexer ends the literal's word only at the comma and keeps it: the find text is x",
  // (the opening quote alone is stripped) and nothing is replaced.
  Arguments a = Read(u"A, \"x\", \"y\")");
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.find, u"x\",");
  EXPECT_EQ(a.replacement, u"y");
  EXPECT_EQ(Replace(u"A, \"x\", \"y\")"), u"axbx");
}

TEST_F(ReplaceBuiltin, StartDropsTheTextBeforeIt) {
  AddField("A", Value::String(u"axbx"), "String");
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\" , 3)"), u"by");
}

TEST_F(ReplaceBuiltin, CountLimitsTheReplacements) {
  AddField("A", Value::String(u"axbx"), "String");
  // "1," passes the number test with its comma (a thousands separator to the parser).
  Arguments a = Read(u"A, \"x\" , \"y\" , 1, 1)");
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.start, 1);
  EXPECT_EQ(a.count, 1);
  EXPECT_EQ(a.compare, -1);
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\" , 1, 1)"), u"aybx");
}

TEST_F(ReplaceBuiltin, ALiteralSourceRaises450) {
  Arguments a = Read(u"\"abc\", \"a\" , \"b\")");
  EXPECT_FALSE(a.answer);
  EXPECT_EQ(a.source, nullptr);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - GetReplaceArguments - Error Trap\r\nError: 450\r\n"
                     u"Wrong number of arguments or invalid property assignment"));
}

TEST_F(ReplaceBuiltin, ReplacementFieldNameCarryingTheParenthesisIsTakenLiterally) {
  AddField("A", Value::String(u"axbx"), "String");
  AddField("B", Value::String(u"q"), "String");
  EXPECT_EQ(Replace(u"A, \"x\" , B)"), u"aBbB");
}

TEST_F(ReplaceBuiltin, ReplacementFieldNameBeforeABlankTakesTheFieldsValue) {
  AddField("A", Value::String(u"axbx"), "String");
  AddField("B", Value::String(u"q"), "String");
  EXPECT_EQ(Replace(u"A, \"x\" , B )"), u"aqbq");
}

TEST_F(ReplaceBuiltin, ReplacementFieldValueEndingInAParenthesisLosesIt) {
  AddField("A", Value::String(u"axbx"), "String");
  AddField("B", Value::String(u"(q)"), "String");
  EXPECT_EQ(Replace(u"A, \"x\" , B )"), u"a(qb(q");
}

TEST_F(ReplaceBuiltin, FindFromAFieldAndFindFieldNameCarryingItsCommaIsNoField) {
  AddField("A", Value::String(u"axbX,"), "String");
  AddField("X", Value::String(u"x"), "String");
  EXPECT_EQ(Replace(u"A, X , \"y\")"), u"aybX,");
  // "X," is not a field name: the text X, itself is looked for.
  EXPECT_EQ(Replace(u"A, X, \"y\")"), u"axby");
}

TEST_F(ReplaceBuiltin, SourceFieldLosesItsCommaBeforeTheFieldTest) {
  AddField("A", Value::String(u"axbx"), "String");
  Arguments a = Read(u"A, \"x\" , \"y\"");
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.source, Field(u"A"));
}

TEST_F(ReplaceBuiltin, OpeningParenthesisIsOptional) {
  AddField("A", Value::String(u"axbx"), "String");
  EXPECT_EQ(Replace(u"( A , \"x\" , \"y\" )"), u"ayby");
}

TEST_F(ReplaceBuiltin, SourceAfterAnOpeningParenthesisKeepsItsCommaAndIsNoField) {
  AddField("A", Value::String(u"axbx"), "String");
  Arguments a = Read(u"(A, \"x\" , \"y\")");
  EXPECT_FALSE(a.answer);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
}

TEST_F(ReplaceBuiltin, MissingFindAndReplacementAreTakenFromWhateverComesNext) {
  AddField("A", Value::String(u"axbx"), "String");
  Arguments a = Read(u"A");
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.find, u"<EOL>");
  EXPECT_EQ(a.replacement, u"<EOL>");
  EXPECT_EQ(a.start, 1);
  EXPECT_EQ(Replace(u"A"), u"axbx");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(ReplaceBuiltin, StartArgumentOfAbcRaises450) {
  AddField("A", Value::String(u"axbx"), "String");
  Arguments a = Read(u"A, \"x\" , \"y\" , abc)");
  EXPECT_FALSE(a.answer);
  // What was read before the failure stays.
  EXPECT_EQ(a.find, u"x");
  EXPECT_EQ(a.replacement, u"y");
  EXPECT_EQ(a.start, 1);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
}

TEST_F(ReplaceBuiltin, NumbersFromDataFields) {
  AddField("A", Value::String(u"axbxcx"), "String");
  AddField("S", Value::Long(3), "Long");
  AddField("C", Value::String(u"1"), "String");
  Arguments a = Read(u"A, \"x\" , \"y\" , S , C , C )");
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.start, 3);
  EXPECT_EQ(a.count, 1);
  EXPECT_EQ(a.compare, 1);
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\" , S , C )"), u"bycx");
}

TEST_F(ReplaceBuiltin, NumberFieldThatIsNotNumericRaises450) {
  AddField("A", Value::String(u"axbx"), "String");
  AddField("S", Value::String(u"three"), "String");
  Arguments a = Read(u"A, \"x\" , \"y\" , S )");
  EXPECT_FALSE(a.answer);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
}

TEST_F(ReplaceBuiltin, CountThatIsNotNumericRaises450AndCompareToo) {
  AddField("A", Value::String(u"axbx"), "String");
  EXPECT_FALSE(Read(u"A, \"x\" , \"y\" , 1, many)").answer);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
  errors->Clear();
  EXPECT_FALSE(Read(u"A, \"x\" , \"y\" , 1, 2, binary)").answer);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
}

TEST_F(ReplaceBuiltin, StartBeyondThirtyTwoBitsIsAnOverflowInTheReader) {
  AddField("A", Value::String(u"axbx"), "String");
  EXPECT_FALSE(Read(u"A, \"x\" , \"y\" , 99999999999)").answer);
  ExpectOneReport(*errors, u"GetReplaceArguments", u"Error: 6 - Overflow");
}

TEST_F(ReplaceBuiltin, TextCompareReplacesWithoutRegardToCase) {
  AddField("A", Value::String(u"aXbx"), "String");
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\" , 1, 2, 1)"), u"ayby");
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\" , 1, 2, 0)"), u"aXby");
  // The default comparison is the binary one.
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\")"), u"aXby");
}

TEST_F(ReplaceBuiltin, StartBelowOneFailsInPerformReplace) {
  AddField("A", Value::String(u"axbx"), "String");
  std::int16_t n = Open(u"A, \"x\" , \"y\" , 0)");
  EXPECT_FALSE(seam().PerformReplace(n));
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
  ExpectOneReport(*errors, u"PerformReplace", u"Error: 5 - Invalid procedure call or argument");
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - PerformReplace - Error Trap\r\nError: 5\r\n"
                     u"Invalid procedure call or argument"));
}

TEST_F(ReplaceBuiltin, CountBelowMinusOneFailsInPerformReplace) {
  AddField("A", Value::String(u"axbx"), "String");
  AddField("N", Value::Long(-2), "Long");
  std::int16_t n = Open(u"A, \"x\" , \"y\" , 1, N )");
  EXPECT_FALSE(seam().PerformReplace(n));
  ExpectOneReport(*errors, u"PerformReplace", u"Error: 5 - Invalid procedure call or argument");
}

TEST_F(ReplaceBuiltin, NegativeLiteralNumberIsReadAsItsSignAloneAndRaises450) {
  AddField("A", Value::String(u"axbx"), "String");
  // The sign is an operator character and a word of its own; a count of -1 can only come from a
  // data field.
  Arguments a = Read(u"A, \"x\" , \"y\" , 1, -1)");
  EXPECT_FALSE(a.answer);
  EXPECT_EQ(a.start, 1);
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
}

TEST_F(ReplaceBuiltin, CompareOutsideTheKnownModesFailsInPerformReplace) {
  AddField("A", Value::String(u"axbx"), "String");
  std::int16_t n = Open(u"A, \"x\" , \"y\" , 1, 2, 2)");
  EXPECT_FALSE(seam().PerformReplace(n));
  ExpectOneReport(*errors, u"PerformReplace", u"Error: 5 - Invalid procedure call or argument");
}

TEST_F(ReplaceBuiltin, GoesOnAfterItsReaderFailedWithTheEmptyStandIn) {
  std::int16_t n = Open(u"\"abc\", \"a\" , \"b\")");
  EXPECT_TRUE(seam().PerformReplace(n));
  auto top = seam().Stack(n).PeekStack();
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->Data().GetString(), u"");
  ExpectOneReport(*errors, u"GetReplaceArguments", kWrongArguments);
}

TEST_F(ReplaceBuiltin, LeavesAStringTemporaryRecordedForTheLevelAndTheSourceUnchanged) {
  AddField("A", Value::Long(1201), "Long");
  std::int16_t n = Open(u"A, \"1\" , \"7\" )");
  EXPECT_TRUE(seam().PerformReplace(n));
  auto top = seam().Stack(n).Pop();
  ASSERT_NE(top, nullptr);
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
  EXPECT_EQ(top->DataType(), u"String");
  EXPECT_EQ(top->Data().GetString(), u"7207");
  EXPECT_EQ(top->DataClass(), u"Auto");
  EXPECT_EQ(seam().Hold(n, seam().HoldTop(n)), top->Name());
  EXPECT_EQ(Field(u"A")->Data().GetLong(), 1201);
}

TEST_F(ReplaceBuiltin, FailureOfTheTemporaryIsTrappedInPerformReplace) {
  AddField("A", Value::String(u"axbx"), "String");
  std::int16_t n = Open(u"A, \"x\" , \"y\")");
  seam().FailIn(u"CreateDataFieldFromVariant", 7);
  EXPECT_FALSE(seam().PerformReplace(n));
  seam().StopFailing();
  ASSERT_EQ(errors->Calls().size(), 2u);
  EXPECT_EQ(errors->Calls()[1][10].GetString(), u"PerformReplace");
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
}

TEST_F(ReplaceBuiltin, SurvivesLongTextsAndLoneSurrogates) {
  std::u16string text(5000, u'x');
  text += u'\xD800';
  AddField("A", Value::String(text), "String");
  std::u16string expected(5000, u'y');
  expected += u'\xD800';
  EXPECT_EQ(Replace(u"A, \"x\" , \"y\")"), expected);
  EXPECT_EQ(Replace(u"A, \"\xDC00\" , \"y\")"), text);
}

}  // namespace
}  // namespace qorvintr::testing_support
