// A C++ host's view: built with the public headers as its only include path and linked with the
// library hosts get, so anything private that leaks into a public header fails to build here.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "qorvintr/qorvintr.h"

namespace {

using qorvintr::automation::Value;

class PublicApi : public ::testing::Test {
 protected:
  void SetUp() override {
    qorvintr::components::RegisterDefaultComponents();
    fields->Add(u"Visit Date", Value::String(u"3/14/2002"), u"String");
    fields->Add(u"Amount", Value::Double(1250.5), u"Double");
  }
  std::shared_ptr<qorvintr::components::DataFieldCollection> fields =
      std::make_shared<qorvintr::components::DataFieldCollection>();
  std::shared_ptr<qorvintr::components::ErrorRecorder> recorder =
      std::make_shared<qorvintr::components::ErrorRecorder>();
};

TEST_F(PublicApi, InitTakesPlainArgumentsAndThePropertiesAnswer) {
  qorvintr::Interpreter interpreter;
  EXPECT_TRUE(interpreter.Init(fields, recorder, u"Upload", u"HL7"));
  EXPECT_EQ(interpreter.DataFields(), fields);
  EXPECT_EQ(interpreter.objError(), recorder);
  EXPECT_EQ(interpreter.Release(), u"02.01.0000");
  EXPECT_EQ(interpreter.Major(), u"2");
  EXPECT_EQ(interpreter.Minor(), u"1");
  EXPECT_EQ(interpreter.Revision(), u"0");
  interpreter.ResetMemory();
  EXPECT_TRUE(recorder->Calls().empty());
}

TEST_F(PublicApi, AScriptAnswersItsValueAndLeavesOnlyTheHostsFields) {
  qorvintr::Interpreter interpreter;
  interpreter.Init(fields, recorder, u"Upload", u"HL7");
  qorvintr::contract::DataFieldRef result =
      interpreter.RealizeRegularExpression(u"Format Amount, \"#,##0.00\"");
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->Name(), u"Autodf1");
  EXPECT_EQ(result->DataType(), u"String");
  EXPECT_EQ(qorvintr::automation::CStr(result->Data()), u"1,250.50");
  EXPECT_EQ(fields->Count(), 2);
}

TEST_F(PublicApi, OnlyTheReferenceFormTrimsTheCallersText) {
  qorvintr::Interpreter interpreter;
  interpreter.Init(fields, recorder, u"Upload", u"HL7");
  std::u16string script = u"  Amount * 2  ";
  EXPECT_EQ(qorvintr::automation::CDbl(interpreter.RealizeRegularExpression(script)->Data()),
            2501.0);
  EXPECT_EQ(script, u"Amount * 2");
  const std::u16string kept = u"  Amount  ";
  EXPECT_EQ(interpreter.RealizeRegularExpression(std::u16string_view(kept))->Name(), u"Amount");
  EXPECT_EQ(kept, u"  Amount  ");
}

TEST_F(PublicApi, AFailingScriptAnswersTheErrorFieldAndReports) {
  qorvintr::Interpreter interpreter;
  interpreter.Init(fields, recorder, u"Upload", u"HL7");
  qorvintr::contract::DataFieldRef result = interpreter.RealizeRegularExpression(u"7 / 0");
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->Name(), u"Error");
  ASSERT_EQ(recorder->Calls().size(), 1u);
  EXPECT_EQ(recorder->Calls()[0][10].GetString(), u"EvaluateExpression");
  EXPECT_EQ(recorder->Calls()[0][6].GetString(), u"Upload");
}

TEST_F(PublicApi, TheCallersExpressionIndexErrorIsTheCallers) {
  qorvintr::Interpreter interpreter;
  try {
    interpreter.SetStrExpression(0, u"1");
    FAIL() << "an instance that is not open took a text";
  } catch (const qorvintr::automation::AutomationError& e) {
    EXPECT_EQ(e.Number(), 9);
  }
}

TEST_F(PublicApi, AnInterpreterMovesWithItsState) {
  qorvintr::Interpreter first;
  first.Init(fields, recorder, u"Upload", u"HL7");
  qorvintr::Interpreter second = std::move(first);
  EXPECT_EQ(second.DataFields(), fields);
  EXPECT_EQ(second.RealizeRegularExpression(u"Amount")->Name(), u"Amount");
}

TEST_F(PublicApi, TheSettingsFileNameIsKept) {
  qorvintr::Interpreter interpreter;
  interpreter.SetOrlinaIniFilename(u"/nowhere/host.ini");
  EXPECT_EQ(interpreter.OrlinaIniFilename(), u"/nowhere/host.ini");
  interpreter.SetOrlinaIniFilename(u"");
}

TEST_F(PublicApi, TheVersionHeaderMatchesTheRelease) {
  EXPECT_EQ(QORVINTR_VERSION_MAJOR, 2);
  EXPECT_EQ(qorvintr::automation::FromUtf8(QORVINTR_VERSION_TEXT), u"2.1.0");
}

}  // namespace
