// The fuzz host: one long-lived interpreter and the checks of every run (see fuzz_host.h).
#include "fuzz_host.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "automation/datetime.h"
#include "automation/text.h"
#include "qorvintr/convert.h"
#include "qorvintr/value.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "interpreter/interpreter.h"
#include "interpreter_seam.h"
#include "support/debug_log.h"

using qorvintr::engine::Interpreter;
using qorvintr::engine::InterpreterSeam;
using qorvintr::automation::Value;
namespace automation = qorvintr::automation;
namespace components = qorvintr::components;
namespace contract = qorvintr::contract;
namespace modDebugLog = qorvintr::support::modDebugLog;

// A sanitizer report must end the run: the fuzzer only sees a finding when the process stops.
extern "C" const char* __ubsan_default_options() {
  return "halt_on_error=1:print_stacktrace=1";
}

// A sanitizer report must end the run: the fuzzer only sees a finding when the process stops.
namespace {

constexpr int kMaxRunsWithoutReset = 32;
// 3/14/2002 9:30:00 AM: a fixed clock keeps runs repeatable.
constexpr double kNow = 37329.395833333336;

// The debug log's writer: keeps nothing, only counts, so logging costs no disk.
class CountingLog : public contract::LogWriter {
 public:
  Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
             std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view text) override {
    ++entries;
    characters += text.size();
    return Value::Long(0);
  }
  std::uint64_t entries = 0;
  std::uint64_t characters = 0;
};

struct HostField {
  const char16_t* name;
  Value data;
  const char16_t* type;
};

// The host's own fields: what upload scripts typically read, and one at least of every
// DataType word (a Variant holding Empty and one holding Null, a field typed "Operator").
std::vector<HostField> HostFieldList() {
  return {
      {u"Name", Value::String(u"Smith, John"), u"String"},
      {u"Count", Value::Long(42), u"Long"},
      {u"Small", Value::Integer(7), u"Integer"},
      {u"Amount", Value::Double(12.5), u"Double"},
      {u"VisitDate", Value::String(u"3/14/2002"), u"Date"},
      {u"VisitTime", Value::String(u"9:30 AM"), u"String"},
      {u"Admitted", Value::Date(kNow), u"Date"},
      {u"Flag", Value::Boolean(true), u"Boolean"},
      {u"Sep", Value::String(u"^"), u"String"},
      {u"Zone", Value::String(u"-0500"), u"String"},
      {u"Blank", Value::String(u""), u"String"},
      {u"Code", Value::String(u"A)B,C\"D"), u"String"},
      {u"Ratio", Value::Single(0.25f), u"Single"},
      {u"Off", Value::Boolean(false), u"Boolean"},
      {u"Neg", Value::Long(-2147483647 - 1), u"Long"},
      {u"Big", Value::Double(1e308), u"Double"},
      {u"Void", Value(), u"Variant"},
      {u"Unknown", Value::Null(), u"Variant"},
      {u"Op", Value::String(u"+"), u"Operator"},
      {u"Pic", Value::String(u"0.00"), u"String"},
      {u"Stamp", Value::String(u"20020314093000"), u"String"},
  };
}

struct Host {
  std::shared_ptr<components::DataFieldCollection> fields;
  std::shared_ptr<components::ErrorRecorder> errors;
  std::shared_ptr<CountingLog> log;
  std::unique_ptr<Interpreter> interpreter;
  std::vector<HostField> expected;
  std::u16string ini_log_on;
  std::u16string ini_log_off;
  bool log_on = false;
  int runs_without_reset = 0;
};

Host* g_host = nullptr;
bool g_strict = false;
// QORVINTR_FUZZ_AVOID_FFFF=1: U+FFFF in a script becomes U+FFFE, to fuzz on past that known
// finding (the reader takes the character U+FFFF for its own "no character").
bool g_avoid_ffff = false;
std::u16string g_script;  // the script of the current run, for the failure message

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "\n*** QorvIntr fuzz check failed: %s\n*** script (%zu code units): %s\n",
               what, g_script.size(), automation::ToUtf8(g_script).c_str());
  std::fflush(stderr);
  std::abort();
}

std::u16string WriteIni(const std::filesystem::path& folder, const char* file,
                        const char* content) {
  std::filesystem::path path = folder / file;
  std::ofstream out(path, std::ios::binary);
  out << content;
  out.close();
  if (!out) {
    std::fprintf(stderr, "cannot write %s\n", path.string().c_str());
    std::abort();
  }
  return path.u16string();
}

// Creation and Init, as a host does it; the debug log follows the INI file named first.
void InitInterpreter(Host& host, bool fresh) {
  try {
    if (fresh || !host.interpreter) {
      host.interpreter.reset();
      host.interpreter = std::make_unique<Interpreter>();
    }
    modDebugLog::ResetDebugLog();
    std::u16string ini = host.log_on ? host.ini_log_on : host.ini_log_off;
    host.interpreter->SetOrlinaIniFilename(ini);
    contract::DataFieldsRef f = host.fields;
    contract::HostErrorRef e = host.errors;
    std::u16string system = u"Upload";
    std::u16string application = u"HL7";
    if (!host.interpreter->Init(f, e, system, application)) Fail("Init answered False");
  } catch (...) {  // any exception at all is a finding: the host must never see one
    Fail("an exception left the interpreter's creation or Init");
  }
}

Host& SetUpHost() {
  // Never destroyed: the interpreter's teardown touches the thread's module state, which is
  // gone by the time static objects are destroyed at exit.
  static Host& host = *new Host;
  automation::SetClock([] { return kNow; });
  host.log = std::make_shared<CountingLog>();
  contract::RegisterCreator(contract::kLogProgId, [l = host.log] { return l; });
  contract::RegisterCreator(contract::kDataFieldProgId,
                            [] { return std::make_shared<components::DataFieldObject>(); });

  std::error_code ec;
  std::filesystem::path folder =
      std::filesystem::temp_directory_path(ec) / ("qorvintr-fuzz-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder, ec);
  static std::filesystem::path g_folder = folder;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(g_folder, ignored);
  });
  host.ini_log_on = WriteIni(folder, "on.ini", "[Upload]\r\nWriteDebugLog=True\r\n");
  host.ini_log_off = WriteIni(folder, "off.ini", "[Upload]\r\nWriteDebugLog=False\r\n");

  host.fields = std::make_shared<components::DataFieldCollection>();
  host.expected = HostFieldList();
  for (const HostField& f : host.expected) host.fields->Add(f.name, f.data, f.type);
  host.errors = std::make_shared<components::ErrorRecorder>();
  InitInterpreter(host, true);
  return host;
}

// When a run may answer no field. The driver pops whatever the evaluator leaves, and the
// evaluator leaves the empty reference when nothing was pushed: a blank script (blanks, tabs,
// line ends, or the end-of-text character 127, which the reader takes for the end), or a
// built-in that failed. Failures are reported to the host, except DateCat's, which only goes to
// the debug log. QORVINTR_FUZZ_STRICT=1 allows a blank script only.
bool NoFieldAllowed(const Host& host) {
  bool blank = true;
  for (char16_t c : g_script) {
    if (c != u' ' && c != u'\t' && c != u'\r' && c != u'\n' && c != 127) blank = false;
  }
  if (blank || g_strict) return blank;
  if (!host.errors->Calls().empty()) return true;
  return automation::UCase(g_script).find(u"DATECAT") != std::u16string::npos;
}

void CheckCollection(Host& host) {
  const components::FieldCollection& col = host.fields->Fields();
  if (col.size() != host.expected.size()) Fail("the host's collection changed size (a temporary left behind or a host field removed)");
  std::size_t i = 0;
  for (const auto& entry : col) {
    const HostField& want = host.expected[i++];
    if (entry.key != want.name) Fail("the host's collection holds a name that is not the host's");
    if (!entry.field) Fail("the host's collection holds no object under a host name");
    auto* field = dynamic_cast<components::DataFieldObject*>(entry.field.get());
    if (!field) Fail("a host field was replaced by another object");
    if (!field->DataRef().SameAs(want.data)) Fail("a host field's value changed");
    if (field->NameRef() != want.name) Fail("a host field's name changed");
  }
}

void RunOne(Host& host, std::u16string script) {
  Interpreter& interpreter = *host.interpreter;
  InterpreterSeam seam(interpreter);
  const std::int16_t counter = seam.InstanceCounter();
  contract::DataFieldRef result;
  try {
    result = interpreter.RealizeRegularExpression(script);
  } catch (...) {  // any exception at all is a finding: the host must never see one
    Fail("an exception left RealizeRegularExpression");
  }
  if (seam.InstanceCounter() != counter) Fail("the instance counter is not back where it was");
  CheckCollection(host);
  if (!result) {
    if (!NoFieldAllowed(host)) {
      Fail("no result field for a script that is not blank, and no failure to explain it");
    }
  } else {
    // The answer must be readable like any field.
    try {
      (void)result->Name();
      (void)result->DataType();
      (void)result->Data();
    } catch (...) {  // any exception at all is a finding: the result must be readable
      Fail("the result field cannot be read");
    }
  }
  host.errors->Clear();
}

}  // namespace

namespace qorvintr::fuzzing {

RunMode ModeFromByte(std::uint8_t b) {
  RunMode mode;
  mode.fresh = (b & 0x04) != 0;
  mode.keep_state = (b & 0x08) != 0;
  mode.log_on = (b & 0x10) != 0;
  return mode;
}

void SetUp() {
  const char* strict = std::getenv("QORVINTR_FUZZ_STRICT");
  g_strict = strict && *strict == '1';
  const char* avoid = std::getenv("QORVINTR_FUZZ_AVOID_FFFF");
  g_avoid_ffff = avoid && *avoid == '1';
  g_host = &SetUpHost();
}

std::string HostFieldsFile() {
  std::string text;
  for (const HostField& f : HostFieldList()) {
    const std::u16string_view type = f.type;
    // A fields file has no Operator type, and its Variant keeps a text: no Empty, no Null.
    if (type == u"Operator" || type == u"Variant") continue;
    text += automation::ToUtf8(f.name) + ":" + automation::ToUtf8(type) + "=" +
            automation::ToUtf8(automation::CStr(f.data)) + "\n";
  }
  return text;
}

const std::u16string* HostFieldNames(std::size_t& count) {
  static const std::vector<std::u16string> names = [] {
    std::vector<std::u16string> list;
    for (const HostField& f : HostFieldList()) list.emplace_back(f.name);
    return list;
  }();
  count = names.size();
  return names.data();
}

void Run(const RunMode& mode, std::u16string script) {
  Host& host = *g_host;
  if (mode.fresh || mode.log_on != host.log_on) {
    host.log_on = mode.log_on;
    InitInterpreter(host, mode.fresh);
  }
  g_script = std::move(script);
  if (g_avoid_ffff) {
    for (char16_t& c : g_script) {
      if (c == 0xFFFF) c = 0xFFFE;
    }
  }
  RunOne(host, g_script);

  if (!mode.keep_state || ++host.runs_without_reset >= kMaxRunsWithoutReset) {
    try {
      host.interpreter->ResetMemory();
    } catch (...) {  // any exception at all is a finding: the host must never see one
      Fail("an exception left ResetMemory");
    }
    host.runs_without_reset = 0;
    // After a reset no instance is open.
    if (InterpreterSeam(*host.interpreter).InstanceCounter() != -1) {
      Fail("ResetMemory left an instance open");
    }
  }
}

}  // namespace qorvintr::fuzzing
