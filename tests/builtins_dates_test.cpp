// DateCompare and DateCat: the argument cleaning, the comparison and its trace, the joined
// date/time temporary, and their error traps.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "automation/format.h"
#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

class DateBuiltins : public InterpreterTest {
 protected:
  void SetUp() override {
    InterpreterTest::SetUp();
    interpreter->ResetMemory();
  }
  std::int16_t Open(const std::u16string& text) { return seam().AddInstance(text); }
  std::int16_t Compare(const std::u16string& arguments) {
    return seam().PerformDateCompare(Open(arguments));
  }

  // The debug log's messages, without the line break and time stamp each entry begins with.
  std::vector<std::u16string> Messages() const {
    std::vector<std::u16string> messages;
    for (const auto& entry : log->entries) {
      std::size_t stamp_end = entry.find(u"\r\n", 2);
      messages.push_back(stamp_end == std::u16string::npos ? entry : entry.substr(stamp_end + 2));
    }
    return messages;
  }
};

// ---- RemoveCommas ----------------------------------------------------------------------------

TEST_F(DateBuiltins, RemoveCommasDropsEveryComma) {
  Value v = InterpreterSeam::RemoveCommas(Value::String(u",March 14,, 2002,"));
  EXPECT_TRUE(v.IsString());
  EXPECT_EQ(v.GetString(), u"March 14 2002");
}

TEST_F(DateBuiltins, RemoveCommasOfTheEmptyTextIsTheEmptyText) {
  Value v = InterpreterSeam::RemoveCommas(Value::String(u""));
  EXPECT_TRUE(v.IsString());
  EXPECT_EQ(v.GetString(), u"");
  EXPECT_EQ(InterpreterSeam::RemoveCommas(Value()).GetString(), u"");
}

TEST_F(DateBuiltins, RemoveCommasTakesTheTextOfOtherValues) {
  EXPECT_EQ(InterpreterSeam::RemoveCommas(Value::Double(1.5)).GetString(), u"1.5");
}

TEST_F(DateBuiltins, RemoveCommasCountsWithSixteenBits) {
  std::u16string longest(32766, u',');
  longest.back() = u'x';
  EXPECT_EQ(InterpreterSeam::RemoveCommas(Value::String(longest)).GetString(), u"x");
  // A counter that must pass 32767 overflows.
  for (std::size_t length : {32767u, 40000u}) {
    EXPECT_EQ(ErrorOf([&] {
                InterpreterSeam::RemoveCommas(Value::String(std::u16string(length, u'a')));
              }),
              automation::err::Overflow)
        << length;
  }
}

// ---- DateCompare -----------------------------------------------------------------------------

TEST_F(DateBuiltins, EarlierLaterAndEqualDates) {
  EXPECT_EQ(Compare(u"#03/14/2002#, #03/15/2002#"), -1);
  EXPECT_EQ(Compare(u"#03/15/2002#, #03/14/2002#"), 1);
  EXPECT_EQ(Compare(u"#03/14/2002#, #03/14/2002#"), 0);
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(DateBuiltins, TheTimeOfDayCounts) {
  EXPECT_EQ(Compare(u"#03/14/2002 10:00#, #03/14/2002 09:00#"), 1);
}

TEST_F(DateBuiltins, QuotedAndHashDelimitedDatesCompareAsTheirDates) {
  EXPECT_EQ(Compare(u"\"03/14/2002\", #03/14/2002#"), 0);
  EXPECT_EQ(Compare(u"\"03/14/2002\" , \"03/13/2002\""), 1);
}

TEST_F(DateBuiltins, CommasOfADateAreRemovedFirst) {
  EXPECT_EQ(Compare(u"\"March 14, 2002\", #03/14/2002#"), 0);
  EXPECT_EQ(Compare(u"#March 14, 2002#, \"March 15, 2002\""), -1);
}

TEST_F(DateBuiltins, AFirstArgumentThatIsNeitherADateNorAFieldComparesAsDay0) {
  EXPECT_EQ(Compare(u"abc, #12/30/1899#"), 0);
  EXPECT_EQ(Compare(u"abc, #03/14/2002#"), -1);
  EXPECT_EQ(Compare(u"#12/29/1899#, abc"), -1);
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(DateBuiltins, DataFieldNamesCompareByTheirData) {
  AddField("A", Value::String(u"03/15/2002"), "String");
  AddField("B", Value::Date(37329), "Date");
  EXPECT_EQ(Compare(u"A, B"), 1);
  EXPECT_EQ(Compare(u"B, A"), -1);
  EXPECT_EQ(Compare(u"B, #03/14/2002#"), 0);
}

TEST_F(DateBuiltins, PerformDateCompareLeavesNothingOnTheStack) {
  std::int16_t n = Open(u"#03/14/2002#, #03/15/2002#");
  EXPECT_EQ(seam().PerformDateCompare(n), -1);
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
}

TEST_F(DateBuiltins, TraceOfTwoDates) {
  EXPECT_EQ(Compare(u"#03/14/2002#, \"03/15/2002 9:30 AM\""), -1);
  const std::vector<std::u16string> expected = {
      u"Interpreter - PerformDateCompare\r\nCalling DateCompare with: \r\n"
      u"vntDate1: 03/14/2002\r\nvntDate2: 03/15/2002 9:30 AM",
      u"Interpreter - DateCompare\r\ndate1: 03/14/2002\r\ndate2: 03/15/2002 9:30 AM\r\n"
      u"dte1: 3/14/2002\r\ndte2: 3/15/2002 9:30:00 AM",
      u"Interpreter - DateCompare\r\n(After Comparison)\r\ndte1: 3/14/2002\r\n"
      u"dte2: 3/15/2002 9:30:00 AM\r\nResult: -1",
      u"Interpreter - PerformDateCompare\r\nReturn From Call to DateCompare: -1",
  };
  EXPECT_EQ(Messages(), expected);
  // Each entry is a line break, the time stamp, a line break and the message.
  EXPECT_EQ(log->entries[0].rfind(u"\r\n3/14/2002 9:30:00 AM\r\n", 0), 0u);
}

TEST_F(DateBuiltins, TraceAfterConversionHasTwoBlanksBeforeTheParenthesis) {
  AddField("A", Value::String(u"03/15/2002"), "String");
  EXPECT_EQ(Compare(u"A, abc"), 1);
  const std::vector<std::u16string> expected = {
      u"Interpreter - PerformDateCompare\r\nCalling DateCompare with: \r\n"
      u"vntDate1: A\r\nvntDate2: abc",
      u"Interpreter - DateCompare\r\ndate1: A\r\ndate2: abc\r\n"
      u"dte1: 12:00:00 AM\r\ndte2: 12:00:00 AM",
      u"Interpreter - DateCompare\r\ndte1  (After Conversion): 3/15/2002",
      u"Interpreter - DateCompare\r\ndte2  (After Conversion): 12:00:00 AM",
      u"Interpreter - DateCompare\r\n(After Comparison)\r\ndte1: 3/15/2002\r\n"
      u"dte2: 12:00:00 AM\r\nResult: 1",
      u"Interpreter - PerformDateCompare\r\nReturn From Call to DateCompare: 1",
  };
  EXPECT_EQ(Messages(), expected);
}

TEST_F(DateBuiltins, NoTraceWhenTheDebugLogIsOff) {
  support::modDebugLog::ResetDebugLog();
  ASSERT_FALSE(support::modDebugLog::IsDebugLogEnabled());
  AddField("A", Value::String(u"03/15/2002"), "String");
  EXPECT_EQ(Compare(u"A, #03/14/2002#"), 1);
  EXPECT_TRUE(log->entries.empty());
}

TEST_F(DateBuiltins, DateCompareTakesValuesOfAnyKind) {
  Value a = Value::Date(37329.5);
  Value b = Value::String(u"3/14/2002 11:00 AM");
  EXPECT_EQ(seam().DateCompare(a, b), 1);
  Value c = Value::Long(37329);
  Value d = Value::String(u"3/14/2002");
  EXPECT_EQ(seam().DateCompare(c, d), 0);
  // The arguments are by reference but left as they were.
  EXPECT_EQ(b.GetString(), u"3/14/2002 11:00 AM");
}

TEST_F(DateBuiltins, DateCompareFailureIsLoggedNotReportedAndAnswersZero) {
  AddField("A", Value::String(u"not a date"), "String");
  EXPECT_EQ(Compare(u"A, #03/14/2002#"), 0);
  EXPECT_TRUE(errors->Calls().empty());
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - DateCompare - Error Trap\r\nError: 13\r\nType mismatch"));
  // PerformDateCompare goes on with the failure value.
  EXPECT_EQ(Messages().back(),
            u"Interpreter - PerformDateCompare\r\nReturn From Call to DateCompare: 0");
}

TEST_F(DateBuiltins, DateCompareOfNullFailsInItsTrap) {
  Value a = Value::Null();
  Value b = Value::String(u"3/14/2002");
  EXPECT_EQ(seam().DateCompare(a, b), 0);
  EXPECT_TRUE(errors->Calls().empty());
  EXPECT_TRUE(LogHas(log->entries, u"Interpreter - DateCompare - Error Trap\r\nError: 94\r\n"));
  // The first trace joins Null as nothing.
  EXPECT_TRUE(LogHas(log->entries, u"date1: \r\ndate2: 3/14/2002\r\n"));
}

TEST_F(DateBuiltins, PerformDateCompareFailureIsReportedAndAnswersZero) {
  // A word as long as the reader can reach overflows the comma walk's counter.
  std::int16_t n = Open(std::u16string(32767, u'7'));
  EXPECT_EQ(seam().PerformDateCompare(n), 0);
  const std::vector<std::u16string> reported = ReportedProcedures();
  ASSERT_FALSE(reported.empty());
  EXPECT_EQ(reported.back(), u"PerformDateCompare");
  EXPECT_EQ(errors->Calls().back()[1].GetString(), u"Error: 6 - Overflow");
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - PerformDateCompare - Error Trap\r\nError: 6\r\nOverflow"));
}

TEST_F(DateBuiltins, PerformDateCompareTrapTitleAndReportedName) {
  std::int16_t n = Open(u"#03/14/2002#, #03/15/2002#");
  seam().FailIn(u"PerformDateCompare", 5);
  EXPECT_EQ(seam().PerformDateCompare(n), 0);
  seam().StopFailing();
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][10].GetString(), u"PerformDateCompare");
  EXPECT_TRUE(
      LogHas(log->entries, u"Interpreter - PerformDateCompare - Error Trap\r\nError: 5\r\n"));
}

// ---- DateCat ---------------------------------------------------------------------------------

TEST_F(DateBuiltins, DateCatWithBothWordsEmptyYieldsJanuary1st1900AtMidnight) {
  // A line feed with nothing before it is the empty word.
  std::int16_t n = Open(u"\n\n");
  EXPECT_TRUE(seam().PerformDateCat(n));
  auto top = seam().Stack(n).PeekStack();
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->DataType(), u"Date");
  EXPECT_TRUE(top->Data().SameAs(Value::Date(2)));  // 01/01/1900 00:00
}

TEST_F(DateBuiltins, DateCatJoinsADateFieldAndATimeField) {
  AddField("D", Value::String(u"03/14/2002"), "String");
  AddField("T", Value::String(u"9:30 AM"), "String");
  std::int16_t n = Open(u"D T");
  EXPECT_TRUE(seam().PerformDateCat(n));
  auto top = seam().Stack(n).Pop();
  ASSERT_NE(top, nullptr);
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
  EXPECT_EQ(top->DataType(), u"Date");
  EXPECT_EQ(top->DataClass(), u"Auto");
  EXPECT_EQ(automation::Format(top->Data(), u"mm/dd/yyyy hh:nn"), u"03/14/2002 09:30");
  EXPECT_EQ(seam().Hold(n, seam().HoldTop(n)), top->Name());
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(DateBuiltins, DateCatWithAnEmptyTimeWordTakesMidnight) {
  AddField("D", Value::Date(37329), "Date");
  std::int16_t n = Open(u"D\n\n");
  EXPECT_TRUE(seam().PerformDateCat(n));
  EXPECT_TRUE(seam().Stack(n).PeekStack()->Data().SameAs(Value::Date(37329)));
}

TEST_F(DateBuiltins, DateCatOfAWordThatNamesNoFieldFailsInTheLookupWithoutReport) {
  std::int16_t n = Open(u"X Y");
  EXPECT_FALSE(seam().PerformDateCat(n));
  EXPECT_TRUE(seam().Stack(n).IsStackEmpty());
  EXPECT_TRUE(errors->Calls().empty());
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - PerformDateCat - Error Trap\r\nError: 5\r\n"
                     u"Invalid procedure call or argument"));
}

TEST_F(DateBuiltins, DateCatAcceptsNoLiteralAndNoWordWithItsComma) {
  AddField("D", Value::String(u"03/14/2002"), "String");
  AddField("T", Value::String(u"9:30 AM"), "String");
  EXPECT_FALSE(seam().PerformDateCat(Open(u"D, T")));
  EXPECT_FALSE(seam().PerformDateCat(Open(u"#03/14/2002# T")));
  EXPECT_TRUE(errors->Calls().empty());
}

TEST_F(DateBuiltins, DateCatJoinThatIsNoDateIsATypeMismatch) {
  AddField("D", Value::String(u"someday"), "String");
  AddField("T", Value::String(u"9:30 AM"), "String");
  std::int16_t n = Open(u"D T");
  EXPECT_FALSE(seam().PerformDateCat(n));
  EXPECT_TRUE(errors->Calls().empty());
  EXPECT_TRUE(LogHas(log->entries,
                     u"Interpreter - PerformDateCat - Error Trap\r\nError: 13\r\nType mismatch"));
}

TEST_F(DateBuiltins, BuiltinsSurviveAnInstanceThatIsNotOpen) {
  EXPECT_EQ(seam().PerformDateCompare(40), 0);
  EXPECT_FALSE(seam().PerformDateCat(40));
}

}  // namespace
}  // namespace qorvintr::testing_support
