#include "qorvintr/components/error_recorder.h"

#include <gtest/gtest.h>

#include "qorvintr/convert.h"
#include "qorvintr/value.h"

namespace {

using qorvintr::automation::Value;
using qorvintr::components::ErrorRecorder;

Value Report(qorvintr::contract::HostError& target, Value& system, Value& application,
             Value& module, const char16_t* procedure) {
  return target.ReportError(Value::Long(150100), Value::String(u"Error: 5 - Invalid"),
                            Value::Date(37329.5), Value::Integer(4), Value::Integer(15),
                            Value::Missing(), system, application,
                            Value::String(u"02.01.0000"), module, Value::String(procedure));
}

TEST(ErrorRecorder, RecordsEveryCallWithItsElevenArguments) {
  ErrorRecorder rec;
  Value system = Value::String(u"Sys"), app = Value::String(u"App"),
        module = Value::String(u"Interpreter");
  Report(rec, system, app, module, u"AddInstance");
  Report(rec, system, app, module, u"PerformFormat");
  ASSERT_EQ(rec.Calls().size(), 2u);
  const auto& call = rec.Calls()[0];
  EXPECT_TRUE(call[0].SameAs(Value::Long(150100)));
  EXPECT_TRUE(call[1].SameAs(Value::String(u"Error: 5 - Invalid")));
  EXPECT_TRUE(call[2].SameAs(Value::Date(37329.5)));
  EXPECT_TRUE(call[3].SameAs(Value::Integer(4)));
  EXPECT_TRUE(call[4].SameAs(Value::Integer(15)));
  EXPECT_TRUE(call[5].IsMissing());
  EXPECT_TRUE(call[6].SameAs(Value::String(u"Sys")));
  EXPECT_TRUE(call[7].SameAs(Value::String(u"App")));
  EXPECT_TRUE(call[8].SameAs(Value::String(u"02.01.0000")));
  EXPECT_TRUE(call[9].SameAs(Value::String(u"Interpreter")));
  EXPECT_TRUE(call[10].SameAs(Value::String(u"AddInstance")));
  EXPECT_TRUE(rec.Calls()[1][10].SameAs(Value::String(u"PerformFormat")));
  rec.Clear();
  EXPECT_TRUE(rec.Calls().empty());
}

TEST(ErrorRecorder, AnswersZeroUnlessToldOtherwise) {
  ErrorRecorder rec;
  Value s, a, m;
  EXPECT_EQ(qorvintr::automation::CLng(Report(rec, s, a, m, u"P")), 0);
  rec.SetResult(Value::Long(-1));
  EXPECT_EQ(qorvintr::automation::CLng(Report(rec, s, a, m, u"P")), -1);
}

TEST(ErrorRecorder, MayChangeTheByReferenceArguments) {
  ErrorRecorder rec;
  rec.SetByReferenceHook([](Value& system, Value& application, Value& module) {
    system = Value::String(u"NewSys");
    application = Value::String(u"NewApp");
    module = Value::String(u"NewModule");
  });
  Value system = Value::String(u"Sys"), app = Value::String(u"App"),
        module = Value::String(u"Interpreter");
  Report(rec, system, app, module, u"P");
  EXPECT_TRUE(system.SameAs(Value::String(u"NewSys")));
  EXPECT_TRUE(app.SameAs(Value::String(u"NewApp")));
  EXPECT_TRUE(module.SameAs(Value::String(u"NewModule")));
  // The record keeps what arrived.
  EXPECT_TRUE(rec.Calls()[0][6].SameAs(Value::String(u"Sys")));
}

Value ReportProcedure(ErrorRecorder& rec, int n) {
  Value s, a, m;
  std::u16string name = u"P" + qorvintr::automation::CStr(Value::Long(n));
  return Report(rec, s, a, m, name.c_str());
}

std::u16string ProcedureOf(const ErrorRecorder::Call& call) { return call[10].GetString(); }

TEST(ErrorRecorder, KeepsTheLastHundredCallsByDefaultAndCountsThemAll) {
  ErrorRecorder rec;
  EXPECT_EQ(rec.Keep(), ErrorRecorder::kKeepByDefault);
  EXPECT_EQ(ErrorRecorder::kKeepByDefault, 100u);
  for (int i = 1; i <= 1000; ++i) ReportProcedure(rec, i);
  EXPECT_EQ(rec.Count(), 1000u);
  ASSERT_EQ(rec.Calls().size(), 100u);
  EXPECT_EQ(ProcedureOf(rec.Calls().front()), u"P901");
  EXPECT_EQ(ProcedureOf(rec.Calls().back()), u"P1000");
}

TEST(ErrorRecorder, TheKeptCallsAreTheLastOnesOldestFirst) {
  ErrorRecorder rec(3);
  for (int i = 1; i <= 7; ++i) ReportProcedure(rec, i);
  ASSERT_EQ(rec.Calls().size(), 3u);
  EXPECT_EQ(ProcedureOf(rec.Calls()[0]), u"P5");
  EXPECT_EQ(ProcedureOf(rec.Calls()[1]), u"P6");
  EXPECT_EQ(ProcedureOf(rec.Calls()[2]), u"P7");
  EXPECT_EQ(rec.Count(), 7u);
}

TEST(ErrorRecorder, EveryCallIsKeptWhenAskedFor) {
  ErrorRecorder rec(ErrorRecorder::kKeepEveryCall);
  for (int i = 1; i <= 5000; ++i) ReportProcedure(rec, i);
  ASSERT_EQ(rec.Calls().size(), 5000u);
  EXPECT_EQ(rec.Count(), 5000u);
  for (int i = 1; i <= 5000; ++i) {
    ASSERT_EQ(ProcedureOf(rec.Calls()[static_cast<std::size_t>(i - 1)]),
              u"P" + qorvintr::automation::CStr(Value::Long(i)));
  }
}

TEST(ErrorRecorder, KeepingNoneStillCountsAndAnswers) {
  ErrorRecorder rec(0);
  rec.SetResult(Value::Long(7));
  EXPECT_EQ(qorvintr::automation::CLng(ReportProcedure(rec, 1)), 7);
  ReportProcedure(rec, 2);
  EXPECT_TRUE(rec.Calls().empty());
  EXPECT_EQ(rec.Count(), 2u);
}

TEST(ErrorRecorder, ALowerKeepDropsTheOldestAtOnceAndAHigherOneKeepsMore) {
  ErrorRecorder rec(10);
  for (int i = 1; i <= 10; ++i) ReportProcedure(rec, i);
  rec.SetKeep(4);
  ASSERT_EQ(rec.Calls().size(), 4u);
  EXPECT_EQ(ProcedureOf(rec.Calls().front()), u"P7");
  rec.SetKeep(6);
  for (int i = 11; i <= 13; ++i) ReportProcedure(rec, i);
  ASSERT_EQ(rec.Calls().size(), 6u);
  EXPECT_EQ(ProcedureOf(rec.Calls().front()), u"P8");
  EXPECT_EQ(ProcedureOf(rec.Calls().back()), u"P13");
  EXPECT_EQ(rec.Count(), 13u);
}

TEST(ErrorRecorder, ClearForgetsTheCallsAndTheCount) {
  ErrorRecorder rec(2);
  for (int i = 1; i <= 5; ++i) ReportProcedure(rec, i);
  rec.Clear();
  EXPECT_TRUE(rec.Calls().empty());
  EXPECT_EQ(rec.Count(), 0u);
  ReportProcedure(rec, 6);
  EXPECT_EQ(rec.Count(), 1u);
  EXPECT_EQ(ProcedureOf(rec.Calls().back()), u"P6");
}

TEST(ErrorRecorder, TheHookStillSeesEveryCallWhenNoneIsKept) {
  ErrorRecorder rec(0);
  int seen = 0;
  rec.SetByReferenceHook([&](Value&, Value&, Value&) { ++seen; });
  for (int i = 1; i <= 3; ++i) ReportProcedure(rec, i);
  EXPECT_EQ(seen, 3);
}

}  // namespace
