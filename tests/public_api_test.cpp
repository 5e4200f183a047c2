// A C++ host's view: everything through the public header only.
#include <gtest/gtest.h>

#include "qorvintr/qorvintr.h"

namespace {

using qorvintr::automation::Value;

TEST(PublicApi, AHostCreatesInitialisesAndReadsTheProperties) {
  qorvintr::components::RegisterDefaultComponents();
  auto fields = std::make_shared<qorvintr::components::DataFieldCollection>();
  fields->Add(u"Visit Date", Value::String(u"3/14/2002"), u"String");
  auto recorder = std::make_shared<qorvintr::components::ErrorRecorder>();
  qorvintr::contract::DataFieldsRef f = fields;
  qorvintr::contract::HostErrorRef e = recorder;
  std::u16string system = u"Upload";
  std::u16string application = u"HL7";
  qorvintr::engine::Interpreter interpreter;
  EXPECT_TRUE(interpreter.Init(f, e, system, application));
  EXPECT_EQ(interpreter.DataFields(), fields);
  EXPECT_EQ(interpreter.objError(), recorder);
  EXPECT_EQ(interpreter.Release(), u"02.01.0000");
  interpreter.ResetMemory();
  EXPECT_TRUE(recorder->Calls().empty());
}

}  // namespace
