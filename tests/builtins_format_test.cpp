// Format and FormatHL7DateTime: their argument readers, the values they leave on the stack, and
// their error traps.
#include <gtest/gtest.h>

#include <string>

#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

constexpr char16_t kWrongArgumentsWithStop[] =
    u"Error: 450 - Wrong number of arguments or invalid property assignment.";
constexpr char16_t kWrongArgumentsWithoutStop[] =
    u"Error: 450 - Wrong number of arguments or invalid property assignment";

class FormatBuiltins : public InterpreterTest {
 protected:
  void SetUp() override {
    InterpreterTest::SetUp();
    interpreter->ResetMemory();
  }
  std::int16_t Open(const std::u16string& text) { return seam().AddInstance(text); }

  // Runs FormatHL7DateTime over the argument text and answers the text it left on the stack.
  std::u16string HL7(const std::u16string& arguments) {
    std::int16_t n = Open(arguments);
    EXPECT_TRUE(seam().PerformFormatHL7DateTime(n));
    auto top = seam().Stack(n).PeekStack();
    if (!top) {
      ADD_FAILURE() << "nothing on the stack";
      return {};
    }
    EXPECT_EQ(top->DataType(), u"String");
    return top->Data().GetString();
  }
  std::u16string Format(const std::u16string& arguments) {
    std::int16_t n = Open(arguments);
    EXPECT_TRUE(seam().PerformFormat(n));
    auto top = seam().Stack(n).PeekStack();
    if (!top) {
      ADD_FAILURE() << "nothing on the stack";
      return {};
    }
    return top->Data().GetString();
  }

  struct HL7Arguments {
    bool answer = false;
    std::u16string date, time, separator, zone;
    std::int16_t include_time = 0, include_zone = 0;
  };
  HL7Arguments ReadHL7(std::int16_t n) {
    HL7Arguments a;
    a.answer = seam().PerformGetHL7DateTimeFormatArguments(n, a.date, a.time, a.separator,
                                                           a.include_time, a.include_zone, a.zone);
    return a;
  }
};

// ---- FormatHL7DateTime ---------------------------------------------------------------------

TEST_F(FormatBuiltins, HL7WithTheDateOnlyYieldsTheEightDigitDate) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  EXPECT_EQ(HL7(u"A"), u"20020314");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(FormatBuiltins, HL7TakesALiteralWordThatIsADate) {
  EXPECT_EQ(HL7(u"14Mar2002"), u"20020314");
}

TEST_F(FormatBuiltins, HL7DateThatIsNoDateRaises449ArgumentNotOptional) {
  AddField("A", Value::String(u"abc"), "String");
  std::int16_t n = Open(u"A, 9:30");
  HL7Arguments a = ReadHL7(n);
  EXPECT_FALSE(a.answer);
  EXPECT_TRUE(a.date.empty());
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments",
                  u"Error: 449 - Argument not optional");
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - PerformGetHL7DateTimeFormatArguments - Error Trap\r\n"
                     u"Error: 449\r\nArgument not optional"));
}

TEST_F(FormatBuiltins, HL7LiteralThatIsNoDateRaises449) {
  std::int16_t n = Open(u"xyz");
  EXPECT_FALSE(ReadHL7(n).answer);
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments",
                  u"Error: 449 - Argument not optional");
}

TEST_F(FormatBuiltins, HL7GoesOnAfterItsReaderFailedAndFormatsTheEmptyDateAsZeros) {
  AddField("A", Value::String(u"abc"), "String");
  // The reader's failure is reported by the reader; the conversion then sees no date at all.
  EXPECT_EQ(HL7(u"A"), u"00000000");
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments",
                  u"Error: 449 - Argument not optional");
}

TEST_F(FormatBuiltins, HL7TimeZeroWithADateFieldHoldingATimeTakesTheTimeFromTheDate) {
  AddField("A", Value::String(u"03/14/2002 17:45:10"), "String");
  EXPECT_EQ(HL7(u"A, 0, , True"), u"20020314174510");
}

TEST_F(FormatBuiltins, HL7LoneCommaStandsForAnOmittedSeparator) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 9:30, , True, False");
  HL7Arguments a = ReadHL7(n);
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.date, u"03/14/2002");
  EXPECT_EQ(a.time, u"9:30");
  EXPECT_EQ(a.separator, u"");
  EXPECT_EQ(a.include_time, -1);
  EXPECT_EQ(a.include_zone, 0);
}

TEST_F(FormatBuiltins, HL7SeparatorGivenAsALongDataFieldIsIgnoredAndSlashIsUsed) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("L", Value::Long(3), "Long");
  std::int16_t n = Open(u"A, 0, L");
  HL7Arguments a = ReadHL7(n);
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.separator, u"");
  EXPECT_EQ(HL7(u"A, 0, L"), u"20020314");
}

TEST_F(FormatBuiltins, HL7SeparatorGivenAsAStringDataFieldIsUsed) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("S", Value::String(u"3"), "String");
  // Its "3" is rewritten to "/", which spoils the date.
  EXPECT_EQ(HL7(u"A, 0, S"), u"00000000");
}

TEST_F(FormatBuiltins, HL7LiteralSeparatorIsTakenAsWrittenQuotesIncluded) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 0, \"3\"");
  EXPECT_EQ(ReadHL7(n).separator, u"\"3\"");
  EXPECT_EQ(HL7(u"A, 0, \"3\""), u"20020314");  // the quoted text is not in the date
  EXPECT_EQ(HL7(u"A, 0, 3"), u"00000000");
}

TEST_F(FormatBuiltins, HL7SeparatorWrittenAsAnOperatorCharacterKeepsItsCommaInOneWord) {
  AddField("A", Value::String(u"03-14-2002 17:45:10"), "String");
  // The comma passes the operator test, so "-," is one word and loses its comma like any other.
  std::int16_t n = Open(u"A, 0, -, True, True, 5");
  HL7Arguments a = ReadHL7(n);
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.separator, u"-");
  EXPECT_EQ(a.include_time, -1);
  EXPECT_EQ(a.include_zone, -1);
  EXPECT_EQ(a.zone, u"5");
  EXPECT_EQ(HL7(u"A, 0, -, True, True, 5"), u"20020314174510+0005");
}

TEST_F(FormatBuiltins, HL7FlagWrittenInLowerCaseRaises450WithAFullStop) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 9:30, , true");
  HL7Arguments a = ReadHL7(n);
  EXPECT_FALSE(a.answer);
  EXPECT_EQ(a.include_time, 0);
  // What was read before the failure stays.
  EXPECT_EQ(a.date, u"03/14/2002");
  EXPECT_EQ(a.time, u"9:30");
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments", kWrongArgumentsWithStop);
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - PerformGetHL7DateTimeFormatArguments - Error Trap\r\n"
                     u"Error: 450\r\nWrong number of arguments or invalid property assignment."));
}

TEST_F(FormatBuiltins, HL7FlagWrittenTrueIsAccepted) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  EXPECT_EQ(HL7(u"A, 9:30, , True"), u"20020314093000");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(FormatBuiltins, HL7FlagsFromBooleanFieldsAndOtherFieldsIgnored) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("T", Value::Boolean(true), "Boolean");
  AddField("L", Value::Long(-1), "Long");
  std::int16_t n = Open(u"A, 9:30, , T, L");
  HL7Arguments a = ReadHL7(n);
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.include_time, -1);
  EXPECT_EQ(a.include_zone, 0);
}

TEST_F(FormatBuiltins, HL7ZoneWrittenAsMinusSignAndDigitsYieldsMinus0500) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 9:30, , True, True, -0500");
  HL7Arguments a = ReadHL7(n);
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.zone, u"-0500");
  EXPECT_EQ(HL7(u"A, 9:30, , True, True, -0500"), u"20020314093000-0500");
}

TEST_F(FormatBuiltins, HL7ZoneFromANumericDataField) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("Z", Value::Long(-500), "Long");
  EXPECT_EQ(HL7(u"A, 9:30, , True, True, Z"), u"20020314093000-0500");
}

TEST_F(FormatBuiltins, HL7ZoneThatIsNoNumberRaises450) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("Z", Value::String(u"EST"), "String");
  std::int16_t n = Open(u"A, 9:30, , True, True, Z");
  EXPECT_FALSE(ReadHL7(n).answer);
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments", kWrongArgumentsWithStop);
  errors->Clear();
  n = Open(u"A, 9:30, , True, True, EST");
  EXPECT_FALSE(ReadHL7(n).answer);
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments", kWrongArgumentsWithStop);
}

TEST_F(FormatBuiltins, HL7ZoneKeepsAClosingParenthesisAndIsThenNoNumber) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 9:30, , True, True, -0500)");
  EXPECT_FALSE(ReadHL7(n).answer);
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments", kWrongArgumentsWithStop);
}

TEST_F(FormatBuiltins, HL7AbsentZoneWithIncludeZoneGivesFourteenCharacters) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  EXPECT_EQ(HL7(u"A, 9:30, , True, True"), u"20020314093000");
}

TEST_F(FormatBuiltins, HL7TimeLiteralThatIsNoDateNorZeroRaises450) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 25:99");
  EXPECT_FALSE(ReadHL7(n).answer);
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments", kWrongArgumentsWithStop);
}

TEST_F(FormatBuiltins, HL7LoneCommaAsTimeIsStrippedToNothingAndRaises450) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, , , True");
  EXPECT_FALSE(ReadHL7(n).answer);
  ExpectOneReport(*errors, u"PerformGetHL7DateTimeFormatArguments", kWrongArgumentsWithStop);
}

TEST_F(FormatBuiltins, HL7TimeFieldThatHoldsNoDateIsPassedOverWithoutError) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("T", Value::String(u"later"), "String");
  std::int16_t n = Open(u"A, T, , True");
  HL7Arguments a = ReadHL7(n);
  EXPECT_TRUE(a.answer);
  EXPECT_EQ(a.time, u"");
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(FormatBuiltins, HL7TimeFromADataField) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  AddField("T", Value::String(u"2:05:09 PM"), "String");
  EXPECT_EQ(HL7(u"A, T, , True"), u"20020314140509");
}

TEST_F(FormatBuiltins, HL7ReadsNothingAfterTheSixthArgument) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A, 9:30, , True, True, 0 Rest");
  EXPECT_TRUE(ReadHL7(n).answer);
  EXPECT_EQ(seam().GetNextWord(n), u"Rest");
}

TEST_F(FormatBuiltins, HL7LeavesItsTextAsAStringTemporaryRecordedForTheInstance) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A");
  EXPECT_TRUE(seam().PerformFormatHL7DateTime(n));
  auto top = seam().Stack(n).Pop();
  ASSERT_NE(top, nullptr);
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
  EXPECT_EQ(top->DataClass(), u"Auto");
  EXPECT_EQ(seam().Hold(n, seam().HoldTop(n)), top->Name());
  EXPECT_EQ(Field(top->Name()), top);
}

TEST_F(FormatBuiltins, HL7FailureIsTrappedReportedAndAnswersFalse) {
  AddField("A", Value::String(u"03/14/2002"), "String");
  std::int16_t n = Open(u"A");
  // The temporary cannot be made, so the lookup of its (empty) name fails.
  seam().FailIn(u"CreateDataFieldFromVariant", 7);
  EXPECT_FALSE(seam().PerformFormatHL7DateTime(n));
  seam().StopFailing();
  ASSERT_EQ(errors->Calls().size(), 2u);
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"CreateDataFieldFromVariant");
  EXPECT_EQ(errors->Calls()[1][10].GetString(), u"PerformFormatHL7DateTime");
  EXPECT_EQ(errors->Calls()[1][1].GetString(),
            u"Error: 5 - Invalid procedure call or argument");
  EXPECT_TRUE(
      LogHas(log->entries, u"Interpreter - PerformFormatHL7DateTime - Error Trap\r\nError: 5\r\n"));
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
}

// ---- Format --------------------------------------------------------------------------------

TEST_F(FormatBuiltins, FormatOfANameThatIsNoDataFieldRaises450WithoutAFullStop) {
  std::int16_t n = Open(u"Nope, \"mm\"");
  contract::DataFieldRef field;
  std::u16string picture;
  EXPECT_FALSE(seam().GetFormatArguments(n, field, picture));
  EXPECT_EQ(field, nullptr);
  ExpectOneReport(*errors, u"GetFormatArguments", kWrongArgumentsWithoutStop);
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - GetFormatArguments - Error Trap\r\nError: 450\r\n"
                     u"Wrong number of arguments or invalid property assignment"));
  EXPECT_FALSE(LogHas(log->entries, u"assignment."));
}

TEST_F(FormatBuiltins, FormatGoesOnAfterItsReaderFailedAndFormatsTheEmptyStandIn) {
  std::int16_t n = Open(u"Nope, \"mm\"");
  EXPECT_TRUE(seam().PerformFormat(n));
  auto top = seam().Stack(n).PeekStack();
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->DataType(), u"String");
  EXPECT_EQ(top->Data().GetString(), u"");
  ExpectOneReport(*errors, u"GetFormatArguments", kWrongArgumentsWithoutStop);
}

TEST_F(FormatBuiltins, FormatWithAQuotedPictureUsesThePictureWithoutTheQuotes) {
  AddField("A", Value::Date(37329.395833333336), "Date");
  std::int16_t n = Open(u"A, \"mm/dd/yyyy hh:nn\")");
  contract::DataFieldRef field;
  std::u16string picture;
  EXPECT_TRUE(seam().GetFormatArguments(n, field, picture));
  EXPECT_EQ(picture, u"mm/dd/yyyy hh:nn");
  EXPECT_EQ(field, Field(u"A"));
  EXPECT_EQ(Format(u"A, \"mm/dd/yyyy hh:nn\")"), u"03/14/2002 09:30");
}

TEST_F(FormatBuiltins, FormatWithADataFieldAsThePictureUsesItsValue) {
  AddField("A", Value::Date(37329.395833333336), "Date");
  AddField("Yyyy", Value::String(u"mm"), "String");
  EXPECT_EQ(Format(u"A, Yyyy"), u"03");
  EXPECT_EQ(Format(u"A, Yyyy )"), u"03");
}

TEST_F(FormatBuiltins, FormatPictureFieldNameCarryingItsParenthesisIsTakenLiterally) {
  AddField("A", Value::Date(37329.395833333336), "Date");
  AddField("Yyyy", Value::String(u"mm"), "String");
  EXPECT_EQ(Format(u"A, Yyyy)"), u"2002");
}

TEST_F(FormatBuiltins, FormatCountsWeeksFromSundayAndTheWeekOfJanuary1) {
  // 1 January 2005 is a Saturday: the seventh day of its week, in week 1 of the year.
  AddField("D", Value::String(u"1/1/2005"), "String");
  EXPECT_EQ(Format(u"D, \"w ww\""), u"7 1");
}

TEST_F(FormatBuiltins, FormatSkipsAnOpeningParenthesisThatIsAWordOfItsOwn) {
  AddField("A", Value::Long(5), "Long");
  EXPECT_EQ(Format(u"( A , \"000\" )"), u"005");
}

TEST_F(FormatBuiltins, FormatNameAfterAnOpeningParenthesisKeepsItsCommaAndIsNoField) {
  AddField("A", Value::Long(5), "Long");
  std::int16_t n = Open(u"(A, \"000\")");
  contract::DataFieldRef field;
  std::u16string picture;
  EXPECT_FALSE(seam().GetFormatArguments(n, field, picture));
  ExpectOneReport(*errors, u"GetFormatArguments", kWrongArgumentsWithoutStop);
}

TEST_F(FormatBuiltins, FormatLeavesAStringTemporaryRecordedForTheInstance) {
  AddField("A", Value::Double(1234.5), "Double");
  std::int16_t n = Open(u"A, \"#,##0.00\"");
  EXPECT_TRUE(seam().PerformFormat(n));
  auto top = seam().Stack(n).Pop();
  ASSERT_NE(top, nullptr);
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
  EXPECT_EQ(top->DataType(), u"String");
  EXPECT_EQ(top->Data().GetString(), u"1,234.50");
  EXPECT_EQ(top->DataClass(), u"Auto");
  EXPECT_EQ(seam().Hold(n, seam().HoldTop(n)), top->Name());
  // The host's field is left as it was.
  EXPECT_EQ(Field(u"A")->Data().GetDouble(), 1234.5);
}

TEST_F(FormatBuiltins, FormatFailureIsTrappedReportedAndAnswersFalse) {
  AddField("A", Value::Long(5), "Long");
  std::int16_t n = Open(u"A, \"000\"");
  seam().FailIn(u"CreateDataFieldFromVariant", 7);
  EXPECT_FALSE(seam().PerformFormat(n));
  seam().StopFailing();
  ASSERT_EQ(errors->Calls().size(), 2u);
  EXPECT_EQ(errors->Calls()[1][10].GetString(), u"PerformFormat");
  EXPECT_TRUE(LogHas(log->entries, u"Interpreter - PerformFormat - Error Trap\r\nError: 5\r\n"));
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
}

TEST_F(FormatBuiltins, FormatWithoutAFieldCreatorFailsInItsOwnTrap) {
  contract::UnregisterCreator(contract::kDataFieldProgId);
  std::int16_t n = Open(u"A, \"000\"");
  EXPECT_FALSE(seam().PerformFormat(n));
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"PerformFormat");
  EXPECT_TRUE(LogHas(log->entries, u"Interpreter - PerformFormat - Error Trap\r\n"));
}

TEST_F(FormatBuiltins, ReadersAnswerFalseForAnInstanceThatIsNotOpen) {
  contract::DataFieldRef field;
  std::u16string picture;
  // The lexer's own traps report first; the readers then fail on what they got.
  EXPECT_FALSE(seam().GetFormatArguments(40, field, picture));
  EXPECT_FALSE(ReadHL7(40).answer);
  EXPECT_FALSE(seam().PerformFormat(40));
  EXPECT_FALSE(seam().PerformFormatHL7DateTime(40));
}

}  // namespace
}  // namespace qorvintr::testing_support
