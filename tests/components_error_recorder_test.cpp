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

}  // namespace
