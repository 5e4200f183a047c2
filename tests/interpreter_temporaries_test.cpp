// Temporary data fields: the creators, the name generator, the name list and the hold table.
#include <gtest/gtest.h>

#include "interpreter_fixture.h"
#include "qorvintr/components/defaults.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using automation::VarType;

class Temporaries : public InterpreterTest {
 protected:
  void SetUp() override {
    InterpreterTest::SetUp();
    interpreter->ResetMemory();
  }
};

TEST_F(Temporaries, FirstThreeCreationsAfterAResetAreAutodf1Autodf2Autodf3) {
  auto s = seam();
  EXPECT_EQ(s.CreateStringDataField(u"\"a\""), u"Autodf1");
  EXPECT_EQ(s.CreateOperatorDataField(u"+"), u"Autodf2");
  EXPECT_EQ(s.CreateNumericDataField(u"3"), u"Autodf3");
  EXPECT_EQ(s.AutoNameTop(), 2);
}

TEST_F(Temporaries, ACreatedFieldIsAutoWithTheGeneratedNameAndIsInTheCollection) {
  auto s = seam();
  std::u16string name = s.CreateStringDataField(u"\"abc\"");
  ASSERT_EQ(name, u"Autodf1");
  auto field = Field(name);
  EXPECT_EQ(field->DataClass(), u"Auto");
  EXPECT_EQ(field->Name(), u"Autodf1");
  EXPECT_EQ(field->DataType(), u"String");
  EXPECT_EQ(field->Data().GetString(), u"abc");
  std::u16string n = name;
  EXPECT_TRUE(fields->Exists(n));
}

TEST_F(Temporaries, AHostFieldNamedAutodf1IsSkippedAndItsNameStaysInTheList) {
  AddField("Autodf1", Value::String(u"host"), "String");
  auto s = seam();
  EXPECT_EQ(s.CreateStringDataField(u"\"x\""), u"Autodf2");
  EXPECT_EQ(s.AutoNameTop(), 1);
  EXPECT_EQ(s.AutoName(0), u"Autodf1");
  EXPECT_EQ(s.AutoName(1), u"Autodf2");
}

TEST_F(Temporaries, GivingBackTheLastNameHandsItOutAgain) {
  auto s = seam();
  s.GetNewDataFieldName();
  s.GetNewDataFieldName();
  EXPECT_EQ(s.GetNewDataFieldName(), u"Autodf3");
  EXPECT_TRUE(s.RemoveAutoDataFieldNameFromList(u"Autodf3"));
  EXPECT_EQ(s.GetNewDataFieldName(), u"Autodf3");
}

TEST_F(Temporaries, GivingBackAnEarlierNameCopiesTheSecondToLastIntoItsSlot) {
  auto s = seam();
  for (int i = 0; i < 4; ++i) s.GetNewDataFieldName();
  EXPECT_TRUE(s.RemoveAutoDataFieldNameFromList(u"Autodf2"));
  EXPECT_EQ(s.AutoNameTop(), 2);
  EXPECT_EQ(s.AutoName(0), u"Autodf1");
  EXPECT_EQ(s.AutoName(1), u"Autodf3");
  EXPECT_EQ(s.AutoName(2), u"Autodf3");
  EXPECT_EQ(s.AutoName(3), u"");
}

TEST_F(Temporaries, GivingBackTheSecondToLastNameLeavesItAndClearsTheLast) {
  auto s = seam();
  for (int i = 0; i < 3; ++i) s.GetNewDataFieldName();
  EXPECT_TRUE(s.RemoveAutoDataFieldNameFromList(u"Autodf2"));
  EXPECT_EQ(s.AutoNameTop(), 1);
  EXPECT_EQ(s.AutoName(1), u"Autodf2");
  EXPECT_EQ(s.AutoName(2), u"");
}

TEST_F(Temporaries, GivingBackAnUnknownNameFromAOneEntryListClearsItWithoutError) {
  auto s = seam();
  s.GetNewDataFieldName();
  EXPECT_TRUE(s.RemoveAutoDataFieldNameFromList(u"Other"));
  EXPECT_EQ(s.AutoNameTop(), -1);
  EXPECT_EQ(s.AutoName(0), u"");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(Temporaries, GivingBackAnUnknownNameFromALongerListIsASubscriptError) {
  auto s = seam();
  s.GetNewDataFieldName();
  s.GetNewDataFieldName();
  EXPECT_FALSE(s.RemoveAutoDataFieldNameFromList(u"Other"));
  ExpectOneReport(*errors, u"RemoveAutoDataFieldNameFromList",
                  u"Error: 9 - Subscript out of range");
  EXPECT_EQ(s.AutoNameTop(), 1);
}

TEST_F(Temporaries, GivingBackAnyNameFromAnEmptyListIsASubscriptError) {
  EXPECT_FALSE(seam().RemoveAutoDataFieldNameFromList(u"Autodf1"));
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 9 - Subscript out of range");
}

TEST_F(Temporaries, TheNameListGrowsPastSixEntries) {
  auto s = seam();
  for (int i = 1; i <= 7; ++i) {
    EXPECT_EQ(s.GetNewDataFieldName(), u"Autodf" + automation::FromUtf8(std::to_string(i)));
  }
  EXPECT_EQ(s.AutoNameListUBound(), 11);
}

TEST_F(Temporaries, NumericTextWithoutFractionIsLongAndWithFractionDouble) {
  auto s = seam();
  auto whole = Field(s.CreateNumericDataField(u"12"));
  EXPECT_EQ(whole->DataType(), u"Long");
  EXPECT_EQ(whole->Data().Type(), VarType::Long);
  EXPECT_EQ(whole->Data().GetLong(), 12);
  auto point_zero = Field(s.CreateNumericDataField(u"7.0"));
  EXPECT_EQ(point_zero->DataType(), u"Long");
  EXPECT_EQ(point_zero->Data().GetLong(), 7);
  auto fraction = Field(s.CreateNumericDataField(u"12.5"));
  EXPECT_EQ(fraction->DataType(), u"Double");
  EXPECT_EQ(fraction->Data().Type(), VarType::Double);
  EXPECT_EQ(fraction->Data().GetDouble(), 12.5);
  EXPECT_EQ(fraction->DataClass(), u"Auto");
}

// A short run of digits takes a shorter way to its Long; every text gives what the general
// steps (CDbl, then CLng where the number is whole) give.
TEST_F(Temporaries, DigitTextsGiveWhatTheGeneralStepsGive) {
  auto s = seam();
  for (const char16_t* text : {u"0", u"1", u"8", u"42", u"007", u"123456789", u"999999999",
                               u"1000000000", u"2147483647", u"12.5", u"1e3"}) {
    SCOPED_TRACE(automation::ToUtf8(text));
    const Value number_text = Value::String(text);
    const double x = automation::CDbl(number_text);
    const bool whole = x == static_cast<double>(automation::CLng(Value::Double(x)));
    auto field = Field(s.CreateNumericDataField(text));
    ASSERT_TRUE(field);
    EXPECT_EQ(field->DataClass(), u"Auto");
    if (whole) {
      EXPECT_EQ(field->DataType(), u"Long");
      ASSERT_EQ(field->Data().Type(), VarType::Long);
      EXPECT_EQ(field->Data().GetLong(), automation::CLng(number_text));
    } else {
      EXPECT_EQ(field->DataType(), u"Double");
      ASSERT_EQ(field->Data().Type(), VarType::Double);
      EXPECT_EQ(field->Data().GetDouble(), x);
    }
  }
  EXPECT_TRUE(errors->Calls().empty());
}

// With the stock components the interpreter pushes the temporary it has just added without
// looking it up. A host field that has since taken that name in the collection is the one a
// script reads.
TEST_F(Temporaries, AHostFieldThatTookTheNameOfTheLastTemporaryIsTheOneAScriptReads) {
  contract::UnregisterCreator(contract::kDataFieldProgId);
  components::RegisterDefaultComponents();
  ASSERT_EQ(seam().CreateNumericDataField(u"5"), u"Autodf1");  // added, held by no run
  std::u16string name = u"Autodf1";
  fields->Remove(name);
  AddField("Autodf1", Value::Long(99), "Long");
  std::u16string script = u"Autodf1";
  contract::DataFieldRef read = interpreter->RealizeRegularExpression(script);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->Data().GetLong(), 99);
  EXPECT_EQ(read, Field(u"Autodf1"));
}

TEST_F(Temporaries, NumericTextBeyond32BitsOverflows) {
  EXPECT_EQ(seam().CreateNumericDataField(u"3000000000"), u"");
  ExpectOneReport(*errors, u"CreateNumericDataField", u"Error: 6 - Overflow");
}

TEST_F(Temporaries, NonNumericTextIsATypeMismatch) {
  EXPECT_EQ(seam().CreateNumericDataField(u"abc"), u"");
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 13 - Type mismatch");
}

TEST_F(Temporaries, StringCreationStripsBlanksAndOnePairOfQuotes) {
  auto s = seam();
  EXPECT_EQ(Field(s.CreateStringDataField(u"  \"abc\"  "))->Data().GetString(), u"abc");
  EXPECT_EQ(Field(s.CreateStringDataField(u"abc\""))->Data().GetString(), u"abc\"");
  EXPECT_EQ(Field(s.CreateStringDataField(u"\""))->Data().GetString(), u"");
}

TEST_F(Temporaries, OperatorCreationIsTypedOperator) {
  auto field = Field(seam().CreateOperatorDataField(u"<="));
  EXPECT_EQ(field->DataType(), u"Operator");
  EXPECT_EQ(field->Data().GetString(), u"<=");
}

TEST_F(Temporaries, DateCreationStripsTheHashesAndParses) {
  auto field = Field(seam().CreateDateDataField(u" #3/14/2002# "));
  EXPECT_EQ(field->DataType(), u"Date");
  EXPECT_EQ(field->Data().Type(), VarType::Date);
  EXPECT_EQ(field->Data().GetDate(), 37329.0);
}

TEST_F(Temporaries, DateCreationOfABadTextIsATypeMismatch) {
  EXPECT_EQ(seam().CreateDateDataField(u"#not a date#"), u"");
  ExpectOneReport(*errors, u"CreateDateDataField", u"Error: 13 - Type mismatch");
}

TEST_F(Temporaries, DateCreationOfANumberTextGivesThatSerial) {
  auto field = Field(seam().CreateDateDataField(u"0"));
  EXPECT_EQ(field->DataType(), u"Date");
  EXPECT_EQ(field->Data().GetDate(), 0.0);
}

TEST_F(Temporaries, FromVariantTypesTheFieldByTheValuesTypeName) {
  auto s = seam();
  struct Case {
    Value value;
    const char16_t* type;
  } cases[] = {
      {Value::String(u"\"q\""), u"String"}, {Value::Long(5), u"Long"},
      {Value::Integer(5), u"Integer"},      {Value::Boolean(true), u"Boolean"},
      {Value::Single(1.5f), u"Single"},     {Value::Double(2.5), u"Double"},
      {Value::Date(37329.5), u"Date"},      {Value(), u"Variant"},
      {Value::Null(), u"Variant"},
  };
  for (const auto& c : cases) {
    auto field = Field(s.CreateDataFieldFromVariant(c.value));
    EXPECT_EQ(field->DataType(), c.type);
    EXPECT_EQ(field->DataClass(), u"Auto");
  }
  EXPECT_EQ(Field(u"Autodf1")->Data().GetString(), u"q");
  EXPECT_EQ(Field(u"Autodf7")->Data().GetDate(), 37329.5);
  EXPECT_TRUE(Field(u"Autodf8")->Data().IsEmpty());
}

TEST_F(Temporaries, FromVariantKeepsAnObjectAsVariant) {
  auto inner = components::MakeDataField(u"X", Value::Long(1), u"Long");
  auto field = Field(seam().CreateDataFieldFromVariant(Value::Object(inner)));
  EXPECT_EQ(field->DataType(), u"Variant");
  EXPECT_EQ(field->Data().GetObject(), inner);
}

TEST_F(Temporaries, FromVariantDateRoundTripsThroughTextToWholeSeconds) {
  auto field = Field(seam().CreateDataFieldFromVariant(Value::Date(37329.5 + 0.3 / 86400)));
  EXPECT_EQ(field->Data().GetDate(), 37329.5);
}

// A collection that refuses every field it is offered.
class RefusingCollection : public components::DataFieldCollection {
 public:
  std::int16_t AddObject(contract::DataFieldRef&) override { return 457; }
};

// The name goes back to the list, so that the next temporary is named as if the refused one had
// never been asked for.
TEST_F(Temporaries, ARefusedFieldGivesTheEmptyNameAndGivesItsNameBack) {
  interpreter->SetDataFields(std::make_shared<RefusingCollection>());
  auto s = seam();
  EXPECT_EQ(s.CreateStringDataField(u"\"b\""), u"");
  EXPECT_EQ(s.AutoNameTop(), -1);
  EXPECT_EQ(s.AutoName(0), u"");
  EXPECT_TRUE(errors->Calls().empty());
  interpreter->SetDataFields(fields);
  EXPECT_EQ(s.CreateStringDataField(u"\"b\""), u"Autodf1");
}

TEST_F(Temporaries, WithoutACollectionCreationFailsWithObjectNotSet) {
  interpreter->SetDataFields(nullptr);
  EXPECT_EQ(seam().CreateStringDataField(u"\"b\""), u"");
  ASSERT_FALSE(errors->Calls().empty());
  EXPECT_EQ(errors->Calls().back()[1].GetString(),
            u"Error: 91 - Object variable or With block variable not set");
  EXPECT_EQ(errors->Calls().back()[10].GetString(), u"CreateStringDataField");
}

TEST_F(Temporaries, AThirdTemporaryAtOneLevelGrowsTheSlotsFromOneToSix) {
  auto s = seam();
  s.AddNameToHoldArray(u"Autodf1", 0);
  s.AddNameToHoldArray(u"Autodf2", 0);
  EXPECT_EQ(s.HoldArrayUBound(2), 1);
  EXPECT_EQ(s.AddNameToHoldArray(u"Autodf3", 0), u"Autodf3");
  EXPECT_EQ(s.HoldArrayUBound(2), 6);
  EXPECT_EQ(s.HoldTop(0), 2);
  EXPECT_EQ(s.Hold(0, 0), u"Autodf1");
  EXPECT_EQ(s.Hold(0, 2), u"Autodf3");
  EXPECT_EQ(s.HoldArrayUBound(1), 15);
}

TEST_F(Temporaries, ALevelAbove15IsASubscriptError) {
  EXPECT_EQ(seam().AddNameToHoldArray(u"Autodf1", 16), u"");
  ExpectOneReport(*errors, u"AddNameToHoldArray", u"Error: 9 - Subscript out of range");
}

TEST_F(Temporaries, WithoutAResetLevel11StartsAtSlot1) {
  Interpreter fresh;
  InterpreterSeam s(fresh);
  s.AddNameToHoldArray(u"Autodf1", 11);
  EXPECT_EQ(s.HoldTop(11), 1);
  EXPECT_EQ(s.Hold(11, 0), u"");
  EXPECT_EQ(s.Hold(11, 1), u"Autodf1");
}

// A collection that answers no field for any name.
class AnswersNoField : public components::DataFieldCollection {
 public:
  contract::DataFieldRef Item(std::u16string&) override { return nullptr; }
};

TEST_F(Temporaries, PushHeldPushesTheCollectionsAnswerAsItComesAndPushHeldCheckedRaises91) {
  auto s = seam();
  interpreter->ResetMemory();
  std::int16_t n = s.AddInstance(u"A");
  interpreter->SetDataFields(std::make_shared<AnswersNoField>());
  std::u16string name = u"Autodf1";
  s.PushHeld(name, n);
  EXPECT_FALSE(s.Stack(n).IsStackEmpty());
  EXPECT_EQ(s.Stack(n).Pop(), nullptr);
  EXPECT_EQ(s.HoldTop(n), 0);
  EXPECT_EQ(s.Hold(n, 0), u"Autodf1");
  EXPECT_EQ(ErrorOf([&] { s.PushHeldChecked(name, n); }), automation::err::ObjectVariableNotSet);
  EXPECT_TRUE(s.Stack(n).IsStackEmpty());
  // Held before the lookup that failed, so that the level's closing still removes it.
  EXPECT_EQ(s.HoldTop(n), 1);
  EXPECT_EQ(s.Hold(n, 1), u"Autodf1");
}

}  // namespace
}  // namespace qorvintr::testing_support
