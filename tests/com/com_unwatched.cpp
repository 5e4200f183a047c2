// Runs nobody can watch, over the COM servers' own objects: an interpreter of this build (with the
// test seam) over QorvDFld.DataFields and the COM creators, as QorvIntr.dll wires it. Each script
// runs on two hosts alike but for one thing, unwatched runs allowed or forbidden, and everything
// the host can see must be the same; the counts tell which runs were taken unwatched.
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "qorvintr/utf8.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "automation/datetime.h"
#include "com/creators.h"
#include "com/dispatch_client.h"
#include "com_test_support.h"
#include "interpreter_seam.h"
#include "support/debug_log.h"

using namespace comtest;
using qorvintr::automation::Value;
namespace automation = qorvintr::automation;
namespace contract = qorvintr::contract;
namespace com = qorvintr::com;
using qorvintr::engine::Interpreter;
using qorvintr::engine::InterpreterSeam;

namespace {

std::string Utf8(const std::u16string& s) { return automation::ToUtf8(s); }

class RecordingLog : public contract::LogWriter {
 public:
  Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
             std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view text) override {
    entries.emplace_back(text);
    return Value::Long(0);
  }
  std::vector<std::u16string> entries;
};

// The log the interpreter of the current host writes to.
std::shared_ptr<RecordingLog> g_log;

class RecordingError : public contract::HostError {
 public:
  Value ReportError(const Value& code, const Value& text, const Value&, const Value&,
                    const Value&, const Value&, Value&, Value&, const Value&, Value&,
                    const Value& procedure) override {
    calls.push_back(automation::CStr(code) + u" " + automation::CStr(text) + u" in " +
                    automation::CStr(procedure));
    return Value::Long(0);
  }
  std::vector<std::u16string> calls;
};

// A field the host wrote in C++: every read is the host's code, and counted.
class HostField : public contract::DataField {
 public:
  explicit HostField(int& reads) : reads_(reads) {}
  Value Data() override {
    ++reads_;
    return Value::Long(7);
  }
  void SetData(const Value&) override {}
  std::u16string DataType() override {
    ++reads_;
    return u"Long";
  }
  void SetDataType(std::u16string) override {}
  std::u16string Name() override { return u"HostOwn"; }
  void SetName(std::u16string) override {}
  std::u16string DataClass() override { return u""; }
  void SetDataClass(std::u16string) override {}
  Value DefaultValue() override {
    ++reads_;
    return Value::Long(3);
  }
  std::u16string ClassName() const override { return u"HostField"; }

 private:
  int& reads_;
};

// What a host sees of one run.
struct Seen {
  std::u16string result;
  std::vector<std::u16string> reported;
  std::vector<std::u16string> log;
  std::int32_t fields = 0;
  int host_reads = 0;
  bool operator==(const Seen&) const = default;
};

std::string Show(const Seen& s) {
  std::string out = Utf8(s.result) + " | fields " + std::to_string(s.fields) + " | reads " +
                    std::to_string(s.host_reads);
  for (const auto& r : s.reported) out += " | report " + Utf8(r);
  for (const auto& l : s.log) out += " | log " + Utf8(l);
  return out;
}

// One interpreter over a new QorvDFld.DataFields holding the test's host fields.
struct Host {
  explicit Host(bool allowed) {
    com::InterpreterCreated();
    CLSID clsid{};
    CHECK_HR(CLSIDFromProgID(L"QorvDFld.DataFields", &clsid), S_OK);
    IDispatch* dispatch = nullptr;
    CHECK_HR(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                              reinterpret_cast<void**>(&dispatch)),
             S_OK);
    fields = com::AdaptDataFields(dispatch);
    if (dispatch) dispatch->Release();
    // The direct adapter of our own collection, as QorvIntr.dll gets it.
    CHECK(fields && fields->ClassName() == u"DataFields");
    errors = std::make_shared<RecordingError>();
    interpreter = std::make_unique<Interpreter>();
    std::u16string ini = IniFile();
    interpreter->SetOrlinaIniFilename(ini);
    CHECK(interpreter->Init(fields, errors, u"TestSystem", u"TestApp"));
    InterpreterSeam(*interpreter).AllowUnwatched(allowed);
    AddOwn(u"Count", Value::Long(5), u"Long");
    AddOwn(u"Label", Value::String(u"ab"), u"String");
  }
  ~Host() {
    interpreter.reset();
    com::InterpreterDestroyed();
  }

  static std::u16string IniFile() {
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    std::wstring path = std::wstring(folder) + L"qorvintr_unwatched.ini";
    HANDLE f = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    const char text[] = "[Upload]\r\nWriteDebugLog=True\r\n";
    DWORD written = 0;
    WriteFile(f, text, sizeof text - 1, &written, nullptr);
    CloseHandle(f);
    return std::u16string(path.begin(), path.end());
  }

  // A QorvDFld.DataField made by the registered creator, added to the collection.
  contract::DataFieldRef AddOwn(std::u16string name, const Value& data, std::u16string type) {
    contract::DataFieldRef field =
        contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId);
    field->SetName(name);
    field->SetDataType(std::move(type));
    field->SetData(data);
    CHECK(fields->AddObject(field) == 0);
    return field;
  }

  Seen Run(const char* script) {
    const std::size_t reports_before = errors->calls.size();
    g_log->entries.clear();
    std::u16string text = automation::FromUtf8(script);
    contract::DataFieldRef result = interpreter->RealizeRegularExpression(text);
    Seen seen;
    seen.result = u"Nothing";
    if (result) {
      // The host gets one of QorvDFld's own fields, whichever way the run went.
      CHECK(dynamic_cast<const com::DirectDataField*>(result.get()) != nullptr);
      const Value data = result->Data();
      seen.result = result->Name() + u"|" + result->DataType() + u"|" + result->DataClass() +
                    u"|" + (data.IsObject() ? u"(object)" : automation::CStr(data));
    }
    for (std::size_t i = reports_before; i < errors->calls.size(); ++i) {
      seen.reported.push_back(errors->calls[i]);
    }
    seen.log = g_log->entries;
    seen.fields = fields->mCol()->Count();
    seen.host_reads = host_reads;
    return seen;
  }

  std::int32_t Answered() { return InterpreterSeam(*interpreter).UnwatchedAnswered(); }
  std::int32_t Declined() { return InterpreterSeam(*interpreter).UnwatchedDeclined(); }

  contract::DataFieldsRef fields;
  std::shared_ptr<RecordingError> errors;
  std::unique_ptr<Interpreter> interpreter;
  int host_reads = 0;
};

// Runs the script three times on both hosts; answers how many of the allowed host's runs were
// taken unwatched and how many declined.
struct Tried {
  std::int32_t answered = 0;
  std::int32_t declined = 0;
  std::size_t reported = 0;  // reports of the general host's last run
  std::size_t logged = 0;    // and its log entries
};
template <class Prepare>
Tried Compare(const char* script, Prepare&& prepare) {
  Host general(false);
  Host unwatched(true);
  prepare(general);
  prepare(unwatched);
  Tried tried;
  for (int round = 0; round < 3; ++round) {
    Seen g = general.Run(script);
    tried.reported = g.reported.size();
    tried.logged = g.log.size();
    Seen u = unwatched.Run(script);
    if (!(g == u)) {
      std::printf("DIFFERS %s (round %d)\n  general:   %s\n  unwatched: %s\n", script, round,
                  Show(g).c_str(), Show(u).c_str());
    }
    CHECK(g == u);
  }
  CHECK(general.Answered() == 0 && general.Declined() == 0);
  tried.answered = unwatched.Answered();
  tried.declined = unwatched.Declined();
  return tried;
}
Tried Compare(const char* script) {
  return Compare(script, [](Host&) {});
}

// Scripts over our own objects only: alike, and taken unwatched once the creator has found
// QorvDFld's own factory (the first run of the thread goes the general way).
void OwnObjectsRunUnwatched() {
  const char* scripts[] = {"Count + 8",          "1 + 2 * 3 - 4 / 2", "\"ab\" & \"cd\"",
                           "Count <= 50",        "Label & \"x\"",     "Count - 1",
                           "#3/14/2002# + 1",    "Count",             "Count * 2 + 1"};
  for (const char* script : scripts) {
    Tried t = Compare(script);
    if (t.answered < 2) std::printf("NOT UNWATCHED %s: %d answered\n", script, t.answered);
    CHECK(t.answered >= 2);
    CHECK(t.declined == 0);
  }
}

// Departure: an unwatched run declines at a host field of the library's own collection behind another module unless reading it runs nothing of the host's (tests/com/com_unwatched.cpp: HostObjectsKeepRunsGeneral)
void HostObjectsKeepRunsGeneral() {
  // A field the host wrote, in our collection: never read by an unwatched attempt.
  Tried t = Compare("HostOwn + 1", [](Host& h) {
    contract::DataFieldRef own = std::make_shared<HostField>(h.host_reads);
    CHECK(h.fields->AddObject(own) == 0);
  });
  CHECK(t.answered == 0);
  CHECK(t.declined == 3);
  // One of QorvDFld's fields whose Data holds the host's object: reading it would run the
  // object's default member.
  t = Compare("Holder + 1", [](Host& h) {
    auto object = std::make_shared<HostField>(h.host_reads);
    h.AddOwn(u"Holder", Value::Object(object), u"Variant");
  });
  CHECK(t.answered == 0);
  CHECK(t.declined == 3);
}

// A key of the collection named like a temporary keeps every run general (none is tried).
void AKeyLikeATemporaryKeepsRunsGeneral() {
  for (const char* key : {"Autodf1", "AUTODF9", "autodfx"}) {
    Tried t = Compare("Count + 8", [key](Host& h) {
      h.AddOwn(automation::FromUtf8(key), Value::Long(1), u"Long");
    });
    CHECK(t.answered == 0);
    CHECK(t.declined == 0);
  }
}

// Error scripts report and log exactly as the general run does (the unwatched attempt declines).
void ErrorsAnswerAsBefore() {
  const char* scripts[] = {"Count / 0", "\"ab\" * 2", "Label - Count"};
  for (const char* script : scripts) {
    Tried t = Compare(script);
    if (t.reported == 0) std::printf("NO REPORT %s\n", script);
    CHECK(t.reported > 0 && t.logged > 0);
    CHECK(t.answered == 0);
    CHECK(t.declined == 3);
  }
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  automation::SetClock([] { return 37329.395833333336; });
  com::RegisterComCreators();
  // The log of this process: recorded (the creator of data fields stays the COM one).
  g_log = std::make_shared<RecordingLog>();
  contract::RegisterCreator(contract::kLogProgId, [] { return g_log; });
  OwnObjectsRunUnwatched();
  HostObjectsKeepRunsGeneral();
  AKeyLikeATemporaryKeepsRunsGeneral();
  ErrorsAnswerAsBefore();
  qorvintr::support::modDebugLog::ResetDebugLog();
  CoUninitialize();
  std::printf("%d checks, %d failed\n", g_checks, g_failures);
  return g_failures == 0 ? 0 : 1;
}
