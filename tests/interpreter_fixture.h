#pragma once
// An interpreter wired to the stock components, a recording error object and a recording log,
// with the debug log switched on through a throwaway INI file and the clock fixed.

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/text.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "interpreter/interpreter.h"
#include "interpreter_seam.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"
#include "test_support.h"

namespace qorvintr::testing_support {

using engine::Interpreter;
using engine::InterpreterSeam;

// A log object that keeps every entry it is given.
class RecordingLog : public contract::LogWriter {
 public:
  automation::Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
                         std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    ++init_calls;
    return automation::Value::Long(0);
  }
  automation::Value WriteLogMsg(std::u16string_view text) override {
    entries.emplace_back(text);
    return automation::Value::Long(0);
  }
  int init_calls = 0;
  std::vector<std::u16string> entries;
};

inline std::u16string U(const char* s) { return automation::FromUtf8(s); }

class InterpreterTest : public ::testing::Test {
 protected:
  // 3/14/2002 9:30:00 AM
  static constexpr double kNow = 37329.395833333336;

  void SetUp() override {
    support::modDebugLog::ResetDebugLog();
    automation::SetClock([] { return kNow; });
    log = std::make_shared<RecordingLog>();
    contract::RegisterCreator(contract::kLogProgId, [l = log] { return l; });
    contract::RegisterCreator(contract::kDataFieldProgId,
                              [] { return std::make_shared<components::DataFieldObject>(); });
    ini = folder.Write("host.ini", "[Upload]\r\nWriteDebugLog=True\r\n");
    std::u16string ini_name = ini.u16string();
    interpreter = std::make_unique<Interpreter>();
    interpreter->SetOrlinaIniFilename(ini_name);
    fields = std::make_shared<components::DataFieldCollection>();
    errors = std::make_shared<components::ErrorRecorder>();
    contract::DataFieldsRef f = fields;
    contract::HostErrorRef e = errors;
    std::u16string system = u"TestSystem";
    std::u16string application = u"TestApp";
    ASSERT_TRUE(interpreter->Init(f, e, system, application));
    log->entries.clear();
  }

  void TearDown() override {
    interpreter.reset();
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(contract::kDataFieldProgId);
    support::modDebugLog::ResetDebugLog();
    automation::SetClock({});
  }

  InterpreterSeam seam() { return InterpreterSeam(*interpreter); }

  // A host field.
  std::shared_ptr<components::DataFieldObject> AddField(const char* name, automation::Value data,
                                                        const char* type) {
    return fields->Add(U(name), std::move(data), U(type));
  }

  // The field's Data as the tests compare it.
  contract::DataFieldRef Field(const std::u16string& name) {
    std::u16string n = name;
    return fields->Item(n);
  }

  // The procedure names reported to the error object, in order.
  std::vector<std::u16string> ReportedProcedures() const {
    std::vector<std::u16string> names;
    for (const auto& call : errors->Calls()) names.push_back(call[10].GetString());
    return names;
  }

  TempFolder folder;
  std::filesystem::path ini;
  std::shared_ptr<RecordingLog> log;
  std::unique_ptr<Interpreter> interpreter;
  std::shared_ptr<components::DataFieldCollection> fields;
  std::shared_ptr<components::ErrorRecorder> errors;
};

// Runs body on a thread of its own with a 1 MB stack, the common size of a host's thread. An
// interpreter the body makes is made on the thread that uses it, as a host does (its module
// state is per thread).
inline void RunOnOneMegabyteStack(const std::function<void()>& body) {
  pthread_attr_t attr;
  ASSERT_EQ(pthread_attr_init(&attr), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, 1024 * 1024), 0);
  auto start = [](void* arg) -> void* {
    (*static_cast<const std::function<void()>*>(arg))();
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attr, start, const_cast<std::function<void()>*>(&body)), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attr);
}

// Whole scripts through RealizeRegularExpression.
class ScriptTest : public InterpreterTest {
 protected:
  // Runs a script and checks what every run must leave behind: the instance counter back where
  // it was and no temporary left in the host's collection.
  contract::DataFieldRef Run(std::u16string script) {
    const std::int16_t counter = seam().InstanceCounter();
    const std::int32_t count = fields->Count();
    contract::DataFieldRef result = interpreter->RealizeRegularExpression(script);
    EXPECT_EQ(seam().InstanceCounter(), counter);
    EXPECT_EQ(fields->Count(), count);
    return result;
  }
  // The result as the command prints it: name, type and the data as text.
  static std::u16string Line(const contract::DataFieldRef& f) {
    if (!f) return u"Nothing";
    automation::Value data = f->Data();
    std::u16string text = data.IsNull() ? u"Null" : automation::CStr(data);
    return f->Name().substr(0, 6) + u"|" + f->DataType() + u"|" + text;
  }
  // The field a failed script answers: "Error", a Boolean False.
  static bool IsError(const contract::DataFieldRef& f) {
    return f && f->Name() == u"Error" && f->DataType() == u"Boolean" &&
           f->Data().Type() == automation::VarType::Boolean && !f->Data().GetBoolean();
  }
};

}  // namespace qorvintr::testing_support
