// The lexer: characters, words, look-ahead, give-back and the word tests.
#include <gtest/gtest.h>

#include <vector>

#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

class Lexer : public InterpreterTest {
 protected:
  std::int16_t Open(const std::u16string& text) { return seam().AddInstance(text); }
  std::vector<std::u16string> Words(std::int16_t n, int count) {
    std::vector<std::u16string> words;
    auto s = seam();
    for (int i = 0; i < count; ++i) words.push_back(s.GetNextWord(n));
    return words;
  }
  using W = std::vector<std::u16string>;
};

TEST_F(Lexer, SpacedAssignmentReadsNameOperatorNameOperatorNumberThenEolForever) {
  std::int16_t n = Open(u"A = B + 1");
  EXPECT_EQ(Words(n, 8), (W{u"A", u"=", u"B", u"+", u"1", u"<EOL>", u"<EOL>", u"<EOL>"}));
}

TEST_F(Lexer, OperatorCharacterEndsTheNameBeforeItAndIsReadAgain) {
  std::int16_t n = Open(u"A=B+1");
  EXPECT_EQ(Words(n, 6), (W{u"A", u"=", u"B", u"+", u"1", u"<EOL>"}));
}

TEST_F(Lexer, LessOrEqualIsOneWord) {
  std::int16_t n = Open(u"X <= 5");
  EXPECT_EQ(Words(n, 3), (W{u"X", u"<=", u"5"}));
}

TEST_F(Lexer, OperatorCharactersRunTogetherIntoOneWord) {
  std::int16_t n = Open(u"5+-3");
  EXPECT_EQ(Words(n, 4), (W{u"5", u"+-", u"3", u"<EOL>"}));
}

TEST_F(Lexer, ParenthesisAndCommaStayAtTheEndOfTheWordTheyEnd) {
  std::int16_t n = Open(u"Format(A, B)");
  EXPECT_EQ(Words(n, 4), (W{u"Format(", u"A,", u"B)", u"<EOL>"}));
}

TEST_F(Lexer, ParenthesisAloneIsAWord) {
  std::int16_t n = Open(u"( A )");
  EXPECT_EQ(Words(n, 4), (W{u"(", u"A", u")", u"<EOL>"}));
}

TEST_F(Lexer, CarriageReturnStaysOnTheWordAndLineFeedGivesTheEmptyWord) {
  std::int16_t n = Open(u"5\r\nB");
  EXPECT_EQ(Words(n, 4), (W{u"5\r", u"", u"B", u"<EOL>"}));
}

TEST_F(Lexer, CarriageReturnAloneIsEol) {
  std::int16_t n = Open(u"A \r");
  EXPECT_EQ(Words(n, 2), (W{u"A", u"<EOL>"}));
}

TEST_F(Lexer, StringLiteralWithItsBlankIsOneWordWithItsDelimiters) {
  std::int16_t n = Open(u"\"a b\" C");
  EXPECT_EQ(Words(n, 3), (W{u"\"a b\"", u"C", u"<EOL>"}));
}

TEST_F(Lexer, UnterminatedLiteralEndsWithTheEndOfTextMarker) {
  std::int16_t n = Open(u"\"abc");
  EXPECT_EQ(Words(n, 1), (W{u"\"abc\x7f"}));
}

TEST_F(Lexer, LiteralRunsOnIntoTheLettersAfterIt) {
  std::int16_t n = Open(u"\"ab\"cd E");
  EXPECT_EQ(Words(n, 2), (W{u"\"ab\"cd", u"E"}));
}

TEST_F(Lexer, DoubledDelimiterComesBackAsOneWord) {
  std::int16_t n = Open(u"\"a\"\"b\"");
  EXPECT_EQ(Words(n, 2), (W{u"\"a\"\"b\"", u"<EOL>"}));
}

TEST_F(Lexer, DateLiteralKeepsBothDelimiters) {
  std::int16_t n = Open(u"#1/2/2002#");
  EXPECT_EQ(Words(n, 2), (W{u"#1/2/2002#", u"<EOL>"}));
}

TEST_F(Lexer, TabsStayInsideWords) {
  std::int16_t n = Open(u"A\tB C");
  EXPECT_EQ(Words(n, 2), (W{u"A\tB", u"C"}));
}

TEST_F(Lexer, ExclamationEndsANameAsAnOperatorCharacter) {
  std::int16_t n = Open(u"A!=B");
  EXPECT_EQ(Words(n, 3), (W{u"A", u"!=", u"B"}));
}

TEST_F(Lexer, PeekNextWordBeforeABlankGivesTheWordAndLeavesItToBeReadAgain) {
  std::int16_t n = Open(u"B )");
  auto s = seam();
  EXPECT_EQ(s.PeekNextWord(n), u"B");
  EXPECT_EQ(s.ReadPosition(n), 0);
  EXPECT_EQ(s.GetNextWord(n), u"B");
}

TEST_F(Lexer, PeekNextWordBeforeAnOperatorMovesBackOneCharacterTooFar) {
  std::int16_t n = Open(u"1 B+1");
  auto s = seam();
  EXPECT_EQ(s.GetNextWord(n), u"1");
  EXPECT_EQ(s.ReadPosition(n), 2);
  EXPECT_EQ(s.PeekNextWord(n), u"B");
  // B ended at the operator, which was given back; the word's give-back takes one more.
  EXPECT_EQ(s.ReadPosition(n), 1);
  EXPECT_EQ(s.GetNextWord(n), u"B");
}

TEST_F(Lexer, PeekNextWordAtTheEndGivesTheEmptyTextAndConsumesTheEnd) {
  std::int16_t n = Open(u"A");
  auto s = seam();
  s.GetNextWord(n);
  std::int16_t before = s.ReadPosition(n);
  EXPECT_EQ(s.PeekNextWord(n), u"");
  EXPECT_EQ(s.ReadPosition(n), before + 1);
}

TEST_F(Lexer, PeekNextWordDropsTheCarriageReturnOfItsWord) {
  std::int16_t n = Open(u"AB\rC");
  EXPECT_EQ(seam().PeekNextWord(n), u"AB");
}

TEST_F(Lexer, GetNextCharPastTheEndGivesTheMarkerAndKeepsCounting) {
  std::int16_t n = Open(u"A");
  auto s = seam();
  EXPECT_EQ(s.GetNextChar(n), u'A');
  EXPECT_EQ(s.GetNextChar(n), 127);
  EXPECT_EQ(s.GetNextChar(n), 127);
  EXPECT_EQ(s.ReadPosition(n), 3);
  EXPECT_TRUE(s.PutLastChar(n));
  EXPECT_EQ(s.ReadPosition(n), 2);
}

TEST_F(Lexer, PeekNextCharDoesNotConsume) {
  std::int16_t n = Open(u"AB");
  auto s = seam();
  EXPECT_EQ(s.PeekNextChar(n), u'A');
  EXPECT_EQ(s.GetNextChar(n), u'A');
  EXPECT_EQ(s.PeekNextChar(n), u'B');
}

TEST_F(Lexer, ReadPositionLimitRaisesSubscriptOutOfRangeIntoGetNextCharsTrap) {
  std::int16_t n = Open(u"A");
  auto s = seam();
  s.ReadPosition(n) = 32767;
  EXPECT_EQ(s.GetNextChar(n), InterpreterSeam::kNoChar);
  EXPECT_EQ(s.ReadPosition(n), 32767);
  ExpectOneReport(*errors, u"GetNextChar", u"Error: -2147220983 - Subscript out of range");
}

TEST_F(Lexer, TextBeyond32766CharactersCannotBeRead) {
  std::u16string text(32766, u'A');
  text += u"BC";
  std::int16_t n = Open(text);
  auto s = seam();
  s.ReadPosition(n) = 32766;
  EXPECT_EQ(s.GetNextChar(n), u'B');
  EXPECT_EQ(s.GetNextChar(n), InterpreterSeam::kNoChar);
}

TEST_F(Lexer, AWordAtTheReadLimitIsTheEndOfTheText) {
  std::int16_t n = Open(std::u16string(32767, u'A') + u" B");
  auto s = seam();
  s.ReadPosition(n) = 32767;
  EXPECT_EQ(s.GetNextWord(n), u"<EOL>");
  ExpectOneReport(*errors, u"GetNextChar", u"Error: -2147220983 - Subscript out of range");
}

TEST_F(Lexer, ALiteralOpenAtTheLimitEndsThereInsteadOfLooping) {
  std::u16string text(32765, u'A');
  text += u" \"abc";
  std::int16_t n = Open(text);
  auto s = seam();
  s.ReadPosition(n) = 32766;
  EXPECT_EQ(s.GetNextWord(n), u"\"");
}

TEST_F(Lexer, PositionBeforeTheTextIsAnInvalidCall) {
  std::int16_t n = Open(u"B+1");
  auto s = seam();
  EXPECT_EQ(s.PeekNextWord(n), u"B");
  EXPECT_EQ(s.ReadPosition(n), -1);
  EXPECT_EQ(s.GetNextChar(n), InterpreterSeam::kNoChar);
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 5 - Invalid procedure call or argument");
}

TEST_F(Lexer, PutLastWordMovesBackTheWordAndOneMoreAndNothingForTheEmptyWord) {
  std::int16_t n = Open(u"ABCDEF");
  auto s = seam();
  s.ReadPosition(n) = 6;
  EXPECT_TRUE(s.PutLastWord(n, u"DEF"));
  EXPECT_EQ(s.ReadPosition(n), 2);
  EXPECT_TRUE(s.PutLastWord(n, u""));
  EXPECT_EQ(s.ReadPosition(n), 2);
}

TEST_F(Lexer, PutLastWordPast16BitsOverflows) {
  std::int16_t n = Open(u"A");
  auto s = seam();
  s.ReadPosition(n) = -32767;
  // "Always True" holds for its normal end; a handled error answers the failure value.
  EXPECT_FALSE(s.PutLastWord(n, u"AB"));
  EXPECT_EQ(s.ReadPosition(n), -32767);
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 6 - Overflow");
}

TEST_F(Lexer, IsOperatorIsASubstringSearchOfTheOperatorList) {
  auto s = seam();
  EXPECT_TRUE(s.IsOperator(u"!"));
  EXPECT_TRUE(s.IsOperator(u","));
  EXPECT_TRUE(s.IsOperator(u"+ -"));
  EXPECT_TRUE(s.IsOperator(u" <= "));
  EXPECT_FALSE(s.IsOperator(u" "));
  EXPECT_FALSE(s.IsOperator(u""));
  EXPECT_FALSE(s.IsOperator(u"A"));
  EXPECT_FALSE(s.IsOperator(u"%"));
}

TEST_F(Lexer, IsDelimiterIsTrueForABlankAndTheEmptyTextAndFalseForATab) {
  auto s = seam();
  EXPECT_TRUE(s.IsDelimiter(u" "));
  EXPECT_TRUE(s.IsDelimiter(u""));
  EXPECT_TRUE(s.IsDelimiter(u"("));
  EXPECT_TRUE(s.IsDelimiter(u","));
  EXPECT_TRUE(s.IsDelimiter(u"\""));
  EXPECT_FALSE(s.IsDelimiter(u"\t"));
  EXPECT_FALSE(s.IsDelimiter(u")"));
}

TEST_F(Lexer, IsFunctionIsACaseBlindSubstringSearch) {
  auto s = seam();
  EXPECT_TRUE(s.IsFunction(u"if"));
  EXPECT_TRUE(s.IsFunction(u"FORMAT"));
  EXPECT_TRUE(s.IsFunction(u"formathl7datetime"));
  EXPECT_TRUE(s.IsFunction(u"DATE"));
  EXPECT_TRUE(s.IsFunction(u"AT"));
  EXPECT_FALSE(s.IsFunction(u"Format("));
  EXPECT_FALSE(s.IsFunction(u"  "));
  EXPECT_FALSE(s.IsFunction(u"Sum"));
}

TEST_F(Lexer, LiteralTestsLookAtBothEndsOfTheTrimmedWord) {
  auto s = seam();
  EXPECT_TRUE(s.IsStringLiteral(u" \"abc\" "));
  EXPECT_TRUE(s.IsStringLiteral(u"\""));
  EXPECT_FALSE(s.IsStringLiteral(u"abc\""));
  EXPECT_FALSE(s.IsStringLiteral(u""));
  EXPECT_TRUE(s.IsDateLiteral(u"#1/2/2002#"));
  EXPECT_TRUE(s.IsDateLiteral(u"#"));
  EXPECT_FALSE(s.IsDateLiteral(u"#1/2/2002"));
}

TEST_F(Lexer, IsDataFieldLooksUpTheProperCasedTrimmedWord) {
  AddField("Patient Name", automation::Value::String(u"Smith"), "String");
  auto s = seam();
  EXPECT_TRUE(s.IsDataField(u" PATIENT NAME "));
  EXPECT_FALSE(s.IsDataField(u"Patient"));
}

TEST_F(Lexer, ParenthesisTestsCompareTheWholeUntrimmedWord) {
  EXPECT_TRUE(InterpreterSeam::IsLeftParenthesis(u"("));
  EXPECT_FALSE(InterpreterSeam::IsLeftParenthesis(u" ("));
  EXPECT_TRUE(InterpreterSeam::IsRightParenthesis(u")"));
  EXPECT_FALSE(InterpreterSeam::IsRightParenthesis(u"A)"));
}

// Words already read are kept per text and position; the texts are read again as they stand.
TEST_F(Lexer, ATextReadAgainGivesTheSameWordsAndPositionsFromTheWordsKept) {
  const std::u16string text = u"Name & \"a b\" & #1/2/2003# + (Count <= 5)";
  std::int16_t first = Open(text);
  const W words = Words(first, 12);
  const std::int16_t end = seam().ReadPosition(first);
  EXPECT_EQ(words, (W{u"Name", u"&", u"\"a b\"", u"&", u"#1/2/2003#", u"+", u"(", u"Count",
                      u"<=", u"5)", u"<EOL>", u"<EOL>"}));
  EXPECT_EQ(seam().MemoTexts(), 1u);
  const std::size_t kept = seam().MemoWords();
  EXPECT_GE(kept, 11u);
  std::int16_t second = Open(text);
  EXPECT_EQ(Words(second, 12), words);
  EXPECT_EQ(seam().ReadPosition(second), end);
  // Nothing more was read the long way.
  EXPECT_EQ(seam().MemoWords(), kept);
  // A give-back and a look-ahead step over the kept words as over the text.
  std::int16_t third = Open(text);
  auto s = seam();
  EXPECT_EQ(s.GetNextWord(third), u"Name");
  EXPECT_EQ(s.PeekNextWord(third), u"&");
  EXPECT_EQ(s.GetNextWord(third), u"&");
  EXPECT_TRUE(s.PutLastWord(third, u"&"));
  EXPECT_EQ(s.GetNextWord(third), u"&");
}

// The host the unwatched runs are compared with takes no shortcut: it reads every word itself.
TEST_F(Lexer, AnInterpreterWithoutUnwatchedRunsKeepsNoWords) {
  seam().AllowUnwatched(false);
  std::int16_t n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 3), (W{u"A", u"+", u"1"}));
  EXPECT_EQ(seam().MemoTexts(), 0u);
  seam().AllowUnwatched(true);
  n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 3), (W{u"A", u"+", u"1"}));
  EXPECT_EQ(seam().MemoTexts(), 1u);
}

TEST_F(Lexer, AWordListThatGrowsReadsTheSameTextAnew) {
  std::int16_t n = Open(u"A;B");
  EXPECT_EQ(Words(n, 2), (W{u"A;B", u"<EOL>"}));
  auto s = seam();
  EXPECT_TRUE(s.AddDelimiter(u";"));
  EXPECT_EQ(s.MemoTexts(), 0u);
  // The delimiter now ends the word and stays on it, as a comma does.
  n = Open(u"A;B");
  EXPECT_EQ(Words(n, 3), (W{u"A;", u"B", u"<EOL>"}));
  // An operator character is a word of its own.
  EXPECT_TRUE(s.AddOperator(u"A"));
  n = Open(u"A;B");
  EXPECT_EQ(Words(n, 3), (W{u"A", u";", u"B"}));
  EXPECT_EQ(s.MemoTexts(), 1u);
}

// The function list decides what a word is taken for, not how it is read.
TEST_F(Lexer, ANewFunctionNameKeepsTheWordsRead) {
  std::int16_t n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 3), (W{u"A", u"+", u"1"}));
  auto s = seam();
  EXPECT_TRUE(s.AddFunction(u"Zap"));
  EXPECT_EQ(s.MemoTexts(), 1u);
  n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 3), (W{u"A", u"+", u"1"}));
}

TEST_F(Lexer, ATextSetThroughStrExpressionIsReadAsItNowStands) {
  std::int16_t n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 2), (W{u"A", u"+"}));
  interpreter->SetStrExpression(n, u"B - 2");
  seam().ReadPosition(n) = 0;
  EXPECT_EQ(Words(n, 3), (W{u"B", u"-", u"2"}));
}

TEST_F(Lexer, AWordKeptIsReadAgainWhileAProcedureIsMadeToFail) {
  std::int16_t n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 1), (W{u"A"}));
  // The same text and position: the reading runs again, and its failing trap reports each time.
  auto s = seam();
  s.FailIn(u"GetNextChar", 5);
  for (int i = 1; i <= 2; ++i) {
    n = Open(u"A + 1");
    (void)s.GetNextWord(n);
    EXPECT_GE(errors->Calls().size(), static_cast<std::size_t>(i));
  }
  const std::size_t reported = errors->Calls().size();
  EXPECT_EQ(reported % 2, 0u);
  s.StopFailing();
  n = Open(u"A + 1");
  EXPECT_EQ(Words(n, 2), (W{u"A", u"+"}));
  EXPECT_EQ(errors->Calls().size(), reported);
}

}  // namespace
}  // namespace qorvintr::testing_support
