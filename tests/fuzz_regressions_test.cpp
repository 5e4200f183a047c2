// Scripts the fuzz target (fuzz/fuzz_scripts.cpp) found, minimised, with what a run must do
// instead: never crash, the instance counter back where it was, no temporary left behind, and
// the answer the rules give.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

class FuzzRegressions : public ScriptTest {
 protected:
  void SetUp() override {
    ScriptTest::SetUp();
    AddField("Count", Value::Long(42), "Long");
    AddField("Name", Value::String(u"Smith, John"), "String");
  }
};

// A failed built-in pushes nothing; the reduction before "=" then pushes the empty reference,
// which ends up as the left operand of "=". Using it as a field is the platform's error 91 in
// EvaluateExpression (reported), and the driver's Pop of the emptied stack then gives the
// "Error" field. Found as "IF t = 42 THEN ..." (t is a function word by the substring test).
TEST_F(FuzzRegressions, AFailedFunctionBeforeEqualsIsReportedNotACrash) {
  auto r = Run(u"DATE = 1");
  EXPECT_TRUE(IsError(r));
  std::vector<std::u16string> reported = ReportedProcedures();
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_EQ(reported[0], u"PerformFunction");
  EXPECT_EQ(reported[1], u"EvaluateExpression");
  EXPECT_EQ(errors->Calls()[1][1].GetString().rfind(u"Error: 91 - ", 0), 0u);
}

// The condition's run answers the "Error" field, whose value False counts as a false condition:
// no branch runs and the statement's value is False.
TEST_F(FuzzRegressions, AFailedFunctionInAnIfConditionBeforeEqualsIsNotACrash) {
  AddField("Found", Value::String(u"FOUND"), "String");
  auto r = Run(u"IF t = 42 THEN Found ENDIF");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->DataType(), u"Boolean");
  EXPECT_TRUE(r->Data().Type() == automation::VarType::Boolean && !r->Data().GetBoolean());
}

// The reader answers U+FFFF for "no character" when it fails, and so took the character
// U+FFFF in a script for the end of the text: a literal holding it was cut, and the character
// vanished elsewhere. It is a character like any other.
TEST_F(FuzzRegressions, TheCharacterFFFFInALiteralIsKept) {
  const std::u16string text = u"a\uFFFFb";
  auto r = Run(u"\"" + text + u"\"");
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->DataType(), u"String");
  EXPECT_EQ(automation::CStr(r->Data()), text);
}

TEST_F(FuzzRegressions, TheCharacterFFFFAloneIsASyntaxError) {
  EXPECT_TRUE(IsError(Run(u"\uFFFF")));
  EXPECT_TRUE(LogHas(log->entries, u"Syntax error\r\nExpression:\uFFFF\r\nWord: \uFFFF"));
}

TEST_F(FuzzRegressions, TheCharacterFFFFAfterANumberIsASyntaxError) {
  EXPECT_TRUE(IsError(Run(u"Count + 1\uFFFF")));
}

// When nothing is left on the stack the driver answers no field at all (not the "Error"
// field): hosts must test for none as well as for "Error".
TEST_F(FuzzRegressions, AnUnknownFunctionWordAloneAnswersNoFieldAndIsReported) {
  EXPECT_EQ(Run(u"DATE"), nullptr);
  EXPECT_EQ(ReportedProcedures(), std::vector<std::u16string>{u"PerformFunction"});
}

TEST_F(FuzzRegressions, AFailedDateCatAnswersNoFieldAndOnlyLogs) {
  EXPECT_EQ(Run(u"DateCat"), nullptr);
  EXPECT_TRUE(errors->Calls().empty());
  EXPECT_TRUE(LogHas(log->entries, u"Interpreter - PerformDateCat - Error Trap"));
}

TEST_F(FuzzRegressions, TheEndOfTextCharacterAloneAnswersNoField) {
  EXPECT_EQ(Run(std::u16string(1, char16_t{127})), nullptr);
  EXPECT_TRUE(errors->Calls().empty());
}

// IF in a condition nests: the condition runs as a new instance, one level deeper. Levels above
// 15 have no row in the hold table, so a temporary made there (here the literal 1 at the
// deepest level) was added to the host's collection, could not be recorded (error 9 in
// AddNameToHoldArray), and stayed in the collection after the run.
TEST_F(FuzzRegressions, DeeplyNestedIfConditionsLeaveNoTemporaryBehind) {
  std::u16string script;
  for (int i = 0; i < 31; ++i) script += u"IF ";
  script += u"1 THEN 2 END IF";
  Run(script);  // Run checks the collection and the counter.
  for (const auto& entry : fields->Fields()) EXPECT_NE(entry.field->DataClass(), u"Auto");
}

// The hold table's slots of a level are given back only by ResetMemory, and their count is a
// 16-bit number. A host that never resets fills level 0 after about 32767 temporaries (here
// eleven runs of a 1000-term sum, 2998 temporaries each): AddNameToHoldArray then overflows
// (error 6, reported), and every temporary made after that stayed in the host's collection.
TEST_F(FuzzRegressions, AHostThatNeverResetsLeavesNoTemporaryBehindWhenTheHoldTableIsFull) {
  std::u16string sum = u"1";
  for (int i = 1; i < 1000; ++i) sum += u" + 1";
  const std::int32_t count = fields->Count();
  for (int run = 1; run <= 12; ++run) {
    std::u16string script = sum;
    interpreter->RealizeRegularExpression(script);
    ASSERT_EQ(fields->Count(), count) << "after run " << run;
  }
}

// Each IF in a condition is one more nested run of the driver, with no bound but the length of
// the script: a script within the 32766-character limit recursed deep enough to overflow a
// 1 MB thread stack (the platform's default for a host's thread).
TEST_F(FuzzRegressions, NestedIfConditionsUpToTheLengthLimitFitAOneMegabyteStack) {
  const std::int32_t count = fields->Count();
  bool answered = false;
  std::int16_t counter_after = 0;
  RunOnOneMegabyteStack([&] {
    Interpreter on_thread;
    on_thread.Init(fields, errors, u"S", u"A");
    std::u16string script;
    for (int i = 0; i < 10900; ++i) script += u"IF ";
    script += u"1 THEN 2 END IF";
    answered = on_thread.RealizeRegularExpression(script) != nullptr;
    counter_after = InterpreterSeam(on_thread).InstanceCounter();
  });
  EXPECT_TRUE(answered);
  EXPECT_EQ(counter_after, -1);
  EXPECT_EQ(fields->Count(), count);
}

// An interpreter that outlives its thread's module state (a C++ host's static or global
// interpreter, destroyed at exit after the thread's thread_local objects) must still end
// cleanly: its teardown released the debug log's object a second time, through the already
// destroyed module state.
// Runs one script with a function-local static interpreter and the debug log on, then exits.
[[noreturn]] void RunWithAStaticInterpreterAndExit() {
  TempFolder folder;
  std::filesystem::path ini = folder.Write("host.ini", "[Upload]\r\nWriteDebugLog=True\r\n");
  contract::RegisterCreator(contract::kLogProgId, [] { return std::make_shared<RecordingLog>(); });
  contract::RegisterCreator(contract::kDataFieldProgId,
                            [] { return std::make_shared<components::DataFieldObject>(); });
  static Interpreter interpreter;
  std::u16string ini_name = ini.u16string();
  interpreter.SetOrlinaIniFilename(ini_name);
  contract::DataFieldsRef fields = std::make_shared<components::DataFieldCollection>();
  contract::HostErrorRef errors = std::make_shared<components::ErrorRecorder>();
  std::u16string system = u"S";
  std::u16string application = u"A";
  interpreter.Init(fields, errors, system, application);
  std::u16string script = u"1 + 1";
  interpreter.RealizeRegularExpression(script);
  std::exit(0);
}

TEST(FuzzRegressionsDeathTest, AStaticInterpreterEndsCleanlyAtExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(RunWithAStaticInterpreterAndExit(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qorvintr::testing_support
