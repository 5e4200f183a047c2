// The interpreter object: tables, instances, reset, version, Init and the error trap.
#include <gtest/gtest.h>

#include "interpreter_fixture.h"
#include "qorvintr/version.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using automation::VarType;

TEST_F(InterpreterTest, NewObjectHasTheThreeTableTextsEachBeginningWithCommaBlank) {
  Interpreter fresh;
  InterpreterSeam s(fresh);
  EXPECT_EQ(s.FunctionList(), u", If, Format, Formathl7datetime, Replace, Datecat, Datecompare");
  EXPECT_EQ(s.OperatorList(), u", + - * / \\ < > = == <= >= <> != &");
  EXPECT_EQ(s.DelimiterList(), u", (,  , ,, \"");
  EXPECT_EQ(s.InstanceCounter(), -1);
}

TEST_F(InterpreterTest, CreationLeavesHoldTopOfLevels11To15AtZero) {
  Interpreter fresh;
  InterpreterSeam s(fresh);
  for (int level = 0; level <= 10; ++level) EXPECT_EQ(s.HoldTop(level), -1) << level;
  for (int level = 11; level <= 15; ++level) EXPECT_EQ(s.HoldTop(level), 0) << level;
  EXPECT_EQ(s.HoldArrayUBound(1), 15);
  EXPECT_EQ(s.HoldArrayUBound(2), 1);
}

TEST_F(InterpreterTest, AddFunctionAppendsTheWordInProperCaseAndAddOperatorUnchanged) {
  auto s = seam();
  std::u16string functions = s.FunctionList();
  std::u16string operators = s.OperatorList();
  EXPECT_TRUE(s.AddFunction(u"DateAdd"));
  EXPECT_TRUE(s.AddOperator(u"^"));
  EXPECT_EQ(s.FunctionList(), functions + u", Dateadd");
  EXPECT_EQ(s.OperatorList(), operators + u", ^");
  EXPECT_TRUE(s.IsFunction(u"dateadd"));
}

TEST_F(InterpreterTest, FirstAddInstanceAfterCreationReturnsZero) {
  EXPECT_EQ(seam().AddInstance(u"A"), 0);
}

TEST_F(InterpreterTest, SeventhInstanceReturnsSixAndGrowsTheThreeArraysToEleven) {
  auto s = seam();
  for (int i = 0; i < 6; ++i) EXPECT_EQ(s.AddInstance(u"A"), i);
  EXPECT_EQ(s.ExpressionTextsUBound(), 5);
  EXPECT_EQ(s.AddInstance(u"B"), 6);
  EXPECT_EQ(s.ExpressionTextsUBound(), 11);
  EXPECT_EQ(s.ReadPositionsUBound(), 11);
  EXPECT_EQ(s.StacksUBound(), 11);
  EXPECT_EQ(s.ExpressionText(6), u"B");
}

TEST_F(InterpreterTest, AddInstanceStoresTheScriptTrimmedWithPositionZeroAndAnEmptyStack) {
  auto s = seam();
  std::int16_t n = s.AddInstance(u"   A + 1  ");
  EXPECT_EQ(s.ExpressionText(n), u"A + 1");
  EXPECT_EQ(s.ReadPosition(n), 0);
  EXPECT_TRUE(s.Stack(n).IsStackEmpty());
}

TEST_F(InterpreterTest, AddInstanceKeepsTabsAroundTheScript) {
  auto s = seam();
  std::int16_t n = s.AddInstance(u"\tA ");
  EXPECT_EQ(s.ExpressionText(n), u"\tA");
}

TEST_F(InterpreterTest, AfterResetMemoryAddInstanceReturnsZeroAndHoldTopIsMinusOneForAllSixteen) {
  auto s = seam();
  s.AddInstance(u"A");
  s.AddInstance(u"B");
  interpreter->ResetMemory();
  EXPECT_EQ(s.InstanceCounter(), -1);
  EXPECT_EQ(s.AutoNameTop(), -1);
  EXPECT_FALSE(s.StacksDimensioned());
  for (int level = 0; level <= 15; ++level) EXPECT_EQ(s.HoldTop(level), -1) << level;
  EXPECT_EQ(s.ReadPosition(3), -1);
  EXPECT_EQ(s.AutoNameListUBound(), 5);
  EXPECT_EQ(s.AddInstance(u"C"), 0);
}

TEST_F(InterpreterTest, ResetMemoryKeepsTheTablesTheCollectionAndTheErrorObject) {
  auto s = seam();
  std::u16string functions = s.FunctionList();
  interpreter->ResetMemory();
  EXPECT_EQ(s.FunctionList(), functions);
  EXPECT_EQ(interpreter->DataFields(), fields);
  EXPECT_EQ(interpreter->objError(), errors);
}

TEST_F(InterpreterTest, ResetMemoryDoesNotRemoveTemporariesFromTheHostCollection) {
  auto s = seam();
  interpreter->ResetMemory();
  std::u16string name = s.CreateStringDataField(u"\"x\"");
  interpreter->ResetMemory();
  EXPECT_TRUE(fields->Exists(name));
}

TEST_F(InterpreterTest, ReleaseIsTwoDigitMajorMinorAndFourDigitRevision) {
  EXPECT_EQ(QORVINTR_VERSION_MAJOR, 2);
  EXPECT_EQ(QORVINTR_VERSION_MINOR, 1);
  EXPECT_EQ(QORVINTR_VERSION_REVISION, 0);
  EXPECT_EQ(interpreter->Release(), u"02.01.0000");
  EXPECT_EQ(interpreter->Major(), u"2");
  EXPECT_EQ(interpreter->Minor(), u"1");
  EXPECT_EQ(interpreter->Revision(), u"0");
}

TEST_F(InterpreterTest, TeardownOfAnObjectThatNeverOpenedAnInstanceCompletes) {
  auto fresh = std::make_unique<Interpreter>();
  fresh.reset();
  SUCCEED();
}

TEST_F(InterpreterTest, TeardownReleasesTheLogObject) {
  ASSERT_NE(support::modDebugLog::LogObject(), nullptr);
  interpreter.reset();
  EXPECT_EQ(support::modDebugLog::LogObject(), nullptr);
}

TEST_F(InterpreterTest, InitWritesTheVersionBannerToTheDebugLog) {
  contract::DataFieldsRef f = fields;
  contract::HostErrorRef e = errors;
  std::u16string system = u"S";
  std::u16string application = u"A";
  ASSERT_TRUE(interpreter->Init(f, e, system, application));
  ASSERT_EQ(log->entries.size(), 1u);
  EXPECT_EQ(log->entries[0],
            u"\r\n3/14/2002 9:30:00 AM\r\n"
            u"------------------------------\r\n"
            u"-     Interpreter - Init     -\r\n"
            u"------------------------------\r\n"
            u"Interpreter Version: 02.01.0000");
  EXPECT_EQ(seam().ModuleName().GetString(), u"Interpreter");
  EXPECT_EQ(seam().SystemName().GetString(), u"S");
}

TEST_F(InterpreterTest, InitWithLoggingOffWritesNoBanner) {
  support::modDebugLog::ResetDebugLog();
  auto off_ini = folder.Write("off.ini", "[Upload]\r\nWriteDebugLog=true\r\n");
  std::u16string name = off_ini.u16string();
  interpreter->SetOrlinaIniFilename(name);
  contract::DataFieldsRef f = fields;
  contract::HostErrorRef e = errors;
  std::u16string system = u"S";
  std::u16string application = u"A";
  EXPECT_TRUE(interpreter->Init(f, e, system, application));
  EXPECT_TRUE(log->entries.empty());
}

TEST_F(InterpreterTest, OrlinaIniFilenameSetsThePublicFieldAndTheDebugLogSettingsFile) {
  std::u16string name = u"C:\\host\\orlina.ini";
  interpreter->SetOrlinaIniFilename(name);
  EXPECT_EQ(interpreter->OrlinaIniFilename(), name);
  EXPECT_EQ(support::modDebugLog::IniFileName(), name);
}

TEST_F(InterpreterTest, ThePublicFieldsLetSetsTheNameButNotTheDebugLogSettingsFile) {
  std::u16string before = support::modDebugLog::IniFileName();
  interpreter->SetOrlinaIniFilenameOnly(u"C:\\other.ini");
  EXPECT_EQ(interpreter->OrlinaIniFilename(), u"C:\\other.ini");
  EXPECT_EQ(support::modDebugLog::IniFileName(), before);
}

TEST_F(InterpreterTest, InitTakesTheHostsObjectsAndNamesAsTheyAre) {
  EXPECT_TRUE(interpreter->Init(fields, errors, u"Upload", u"HL7"));
  EXPECT_EQ(interpreter->DataFields(), fields);
  EXPECT_EQ(interpreter->objError(), errors);
  EXPECT_EQ(seam().SystemName().GetString(), u"Upload");
}

TEST_F(InterpreterTest, StrExpressionLetStoresTheTextOfAnOpenInstance) {
  auto s = seam();
  std::int16_t n = s.AddInstance(u"A");
  interpreter->SetStrExpression(n, u"B + 1");
  EXPECT_EQ(s.ExpressionText(n), u"B + 1");
}

TEST_F(InterpreterTest, StrExpressionLetOutsideTheArraysIsTheCallersSubscriptError) {
  std::int16_t n = 99;
  seam().AddInstance(u"A");
  EXPECT_EQ(ErrorOf([&] { interpreter->SetStrExpression(n, u"B"); }), 9);
}

TEST_F(InterpreterTest, AFailingProcedureReportsElevenArgumentsWith150100FirstAndItsNameLast) {
  auto s = seam();
  s.AddInstance(u"A");
  EXPECT_EQ(s.GetNextChar(99), InterpreterSeam::kNoChar);  // instance 99 is outside the arrays
  ASSERT_EQ(errors->Calls().size(), 1u);
  const auto& call = errors->Calls()[0];
  EXPECT_EQ(call[0].Type(), VarType::Long);
  EXPECT_EQ(call[0].GetLong(), 150100);
  EXPECT_EQ(call[1].GetString(), u"Error: 9 - Subscript out of range");
  EXPECT_EQ(call[2].Type(), VarType::Date);
  EXPECT_EQ(call[2].GetDate(), kNow);
  EXPECT_EQ(call[3].Type(), VarType::Integer);
  EXPECT_EQ(call[3].GetInteger(), 4);
  EXPECT_EQ(call[4].Type(), VarType::Integer);
  EXPECT_EQ(call[4].GetInteger(), 15);
  EXPECT_TRUE(call[5].IsMissing());
  EXPECT_EQ(call[6].GetString(), u"TestSystem");
  EXPECT_EQ(call[7].GetString(), u"TestApp");
  EXPECT_EQ(call[8].GetString(), u"02.01.0000");
  EXPECT_EQ(call[9].GetString(), u"Interpreter");
  EXPECT_EQ(call[10].GetString(), u"GetNextChar");
  ASSERT_EQ(log->entries.size(), 1u);
  EXPECT_EQ(log->entries[0],
            u"\r\n3/14/2002 9:30:00 AM\r\nInterpreter - GetNextChar - Error Trap\r\nError: 9\r\n"
            u"Subscript out of range");
}

TEST_F(InterpreterTest, AHostThatChangesTheByReferenceArgumentsChangesTheInterpretersNames) {
  errors->SetByReferenceHook([](Value& system, Value&, Value& module) {
    system = Value::String(u"Changed");
    module = Value::String(u"Other");
  });
  auto s = seam();
  s.GetNextChar(99);
  EXPECT_EQ(s.SystemName().GetString(), u"Changed");
  EXPECT_EQ(s.ModuleName().GetString(), u"Other");
  s.GetNextChar(99);
  ASSERT_EQ(errors->Calls().size(), 2u);
  EXPECT_EQ(errors->Calls()[1][6].GetString(), u"Changed");
  EXPECT_EQ(errors->Calls()[1][9].GetString(), u"Other");
}

TEST_F(InterpreterTest, AnErrorObjectThatAnswersNonZeroStillGetsTheFailureValue) {
  errors->SetResult(Value::Long(1));
  EXPECT_EQ(seam().GetNextChar(99), InterpreterSeam::kNoChar);
  EXPECT_EQ(errors->Calls().size(), 1u);
}

TEST_F(InterpreterTest, AnErrorInsideTheHandlerReachesTheCaller) {
  // Without an error object the report itself fails (91). That failure leaves GetNextChar's
  // handler for the caller: PeekNextChar's own trap takes it, and its handler fails the same
  // way, so the error reaches PeekNextChar's caller, where the statement driver's handler
  // (which reports to no one) would end it.
  interpreter->SetObjError(nullptr);
  auto s = seam();
  EXPECT_EQ(ErrorOf([&] { s.PeekNextChar(99); }), 91);
  ASSERT_EQ(log->entries.size(), 2u);
  EXPECT_NE(log->entries[0].find(u"Interpreter - GetNextChar - Error Trap\r\nError: 9\r\n"),
            std::u16string::npos);
  EXPECT_NE(log->entries[1].find(u"Interpreter - PeekNextChar - Error Trap\r\nError: 91\r\n"),
            std::u16string::npos);
}

TEST_F(InterpreterTest, AddInstanceFailureLeavesTheCounterRaisedAndAnswersZero) {
  auto s = seam();
  s.AddInstance(u"A");
  // The next counter is 32763; growing the arrays to counter + 5 overflows 16 bits.
  s.InstanceCounterRef() = 32762;
  EXPECT_EQ(s.AddInstance(u"B"), 0);
  EXPECT_EQ(s.InstanceCounter(), 32763);
  ExpectOneReport(*errors, u"AddInstance", u"Error: 6 - Overflow");
}

TEST_F(InterpreterTest, AddInstanceAtTheLastCounterValueOverflows) {
  auto s = seam();
  s.InstanceCounterRef() = 32767;
  EXPECT_EQ(s.AddInstance(u"A"), 0);
  EXPECT_EQ(s.InstanceCounter(), 32767);
  ASSERT_EQ(errors->Calls().size(), 1u);
  EXPECT_EQ(errors->Calls()[0][1].GetString(), u"Error: 6 - Overflow");
}

}  // namespace
}  // namespace qorvintr::testing_support
