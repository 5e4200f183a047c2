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
#include <typeinfo>
#include <unistd.h>
#include <vector>

#include "automation/datetime.h"
#include "automation/text.h"
#include "qorvintr/convert.h"
#include "qorvintr/value.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/defaults.h"
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
  bool other_kind = false;  // held by an OtherField instead of a stock field
};

// A data field of another kind than the stock one: its Data runs the host's own code (here
// answering what the stock field holds), which a run nobody can watch must not call.
class OtherField final : public components::DataFieldObject {
 public:
  using DataFieldObject::DataFieldObject;
  Value Data() override { return DataRef(); }
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

// How a host field may change between an input's two runs, so that the second run meets values
// and kinds other than those its script's recording was made with.
struct FieldChange {
  enum class Kind {
    kValue,      // the stock field gets the Data and DataType given
    kObject,     // its Data becomes a field object of its own
    kOtherKind,  // the stock field is replaced by an OtherField with the same members
    kGone,       // the field is taken out of the collection
  };
  Kind kind;
  const char16_t* name;
  Value data;
  const char16_t* type;
  const char* what;  // for the failure message
};

const std::vector<FieldChange>& FieldChanges() {
  using K = FieldChange::Kind;
  static const std::vector<FieldChange> changes = {
      {K::kValue, u"Count", Value::Long(0), u"Long", "Count holds Long 0"},
      {K::kValue, u"Count", Value::String(u"abc"), u"String", "Count holds String \"abc\""},
      {K::kValue, u"Count", Value::Long(42), u"String", "Count's DataType becomes String"},
      {K::kValue, u"Count", Value::Long(42), u"Operator", "Count's DataType becomes Operator"},
      {K::kValue, u"Count", Value::Integer(42), u"Integer", "Count holds Integer 42"},
      {K::kValue, u"Count", Value::Double(42.5), u"Double", "Count holds Double 42.5"},
      {K::kValue, u"Count", Value::Missing(), u"Variant", "Count holds the Error value Missing"},
      {K::kValue, u"Small", Value::Integer(32767), u"Integer", "Small holds Integer 32767"},
      {K::kValue, u"Amount", Value::String(u"12.5"), u"Double", "Amount holds String \"12.5\""},
      {K::kValue, u"Amount", Value::Double(-0.5), u"Double", "Amount holds Double -0.5"},
      {K::kValue, u"Amount", Value::Single(12.5f), u"Single", "Amount holds Single 12.5"},
      {K::kValue, u"Name", Value::Long(7), u"Long", "Name holds Long 7"},
      {K::kValue, u"Name", Value(), u"Variant", "Name holds Empty"},
      {K::kValue, u"Name", Value::Null(), u"Variant", "Name holds Null"},
      {K::kValue, u"VisitDate", Value::Date(kNow), u"Date", "VisitDate holds a Date"},
      {K::kValue, u"VisitDate", Value::String(u"bad"), u"Date", "VisitDate holds String \"bad\""},
      {K::kValue, u"Admitted", Value::String(u"3/14/2002"), u"String", "Admitted holds String \"3/14/2002\""},
      {K::kValue, u"Flag", Value::Long(-1), u"Long", "Flag holds Long -1"},
      {K::kValue, u"Flag", Value::Boolean(false), u"Boolean", "Flag holds False"},
      {K::kValue, u"Sep", Value::String(u"+"), u"String", "Sep holds String \"+\""},
      {K::kValue, u"Op", Value::String(u"*"), u"Operator", "Op holds Operator \"*\""},
      {K::kValue, u"Op", Value::String(u"+"), u"String", "Op's DataType becomes String"},
      {K::kValue, u"Blank", Value::String(u"0"), u"String", "Blank holds String \"0\""},
      {K::kValue, u"Code", Value::String(u""), u"String", "Code holds String \"\""},
      {K::kValue, u"Zone", Value::Long(-500), u"Long", "Zone holds Long -500"},
      {K::kValue, u"Ratio", Value::Double(1e308), u"Single", "Ratio holds Double 1E308"},
      {K::kValue, u"Neg", Value::Long(2147483647), u"Long", "Neg holds Long 2147483647"},
      {K::kValue, u"Big", Value::Double(0), u"Double", "Big holds Double 0"},
      {K::kValue, u"Void", Value::Long(1), u"Variant", "Void holds Long 1"},
      {K::kValue, u"Unknown", Value::String(u""), u"Variant", "Unknown holds String \"\""},
      {K::kValue, u"Pic", Value::String(u"#,##0"), u"String", "Pic holds String \"#,##0\""},
      {K::kValue, u"Stamp", Value::Date(kNow), u"Date", "Stamp holds a Date"},
      {K::kObject, u"Count", Value(), nullptr, "Count holds a field object"},
      {K::kObject, u"Name", Value(), nullptr, "Name holds a field object"},
      {K::kOtherKind, u"Count", Value(), nullptr, "Count is held by a field of another kind"},
      {K::kOtherKind, u"Name", Value(), nullptr, "Name is held by a field of another kind"},
      {K::kGone, u"Count", Value(), nullptr, "Count is taken out of the collection"},
      {K::kGone, u"Name", Value(), nullptr, "Name is taken out of the collection"},
  };
  return changes;
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
  // The same host again whose interpreter never runs a script unwatched (its temporaries kept to
  // itself while nobody can look): every run goes through both and must end alike.
  Host* twin = nullptr;
  bool unwatched_allowed = true;
  // While a field change holds: the fields and the expectations to go back to.
  std::vector<components::FieldCollection::Entry> saved_entries;
  std::vector<HostField> saved_expected;
};

Host* g_host = nullptr;
bool g_strict = false;
// QORVINTR_FUZZ_AVOID_FFFF=1: U+FFFF in a script becomes U+FFFE, to fuzz on past that known
// finding (the reader takes the character U+FFFF for its own "no character").
bool g_avoid_ffff = false;
std::u16string g_script;  // the script of the current run, for the failure message
const char* g_run = "first";                // which of the input's two runs, for the message
const char* g_change = "none";              // the host field change in force, for the message
qorvintr::fuzzing::RunCounts g_counts;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr,
               "\n*** QorvIntr fuzz check failed: %s\n*** %s run, host field change: %s\n"
               "*** script (%zu code units): %s\n",
               what, g_run, g_change, g_script.size(), automation::ToUtf8(g_script).c_str());
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
    InterpreterSeam(*host.interpreter).AllowUnwatched(host.unwatched_allowed);
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
  // The stock data field creator, as every host that takes the library's defaults has it: the
  // interpreter then makes its temporaries itself, and runs nobody can watch keep them to
  // themselves (which the twin host checks).
  components::RegisterDefaultComponents();

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

  static Host& twin = *new Host;
  for (Host* h : {&host, &twin}) {
    h->log = host.log;
    h->ini_log_on = host.ini_log_on;
    h->ini_log_off = host.ini_log_off;
    h->fields = std::make_shared<components::DataFieldCollection>();
    h->expected = HostFieldList();
    for (const HostField& f : h->expected) h->fields->Add(f.name, f.data, f.type);
    h->errors = std::make_shared<components::ErrorRecorder>();
  }
  twin.unwatched_allowed = false;
  host.twin = &twin;
  InitInterpreter(host, true);
  InitInterpreter(twin, true);
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
    if (!field || want.other_kind != (typeid(*field) == typeid(OtherField))) {
      Fail("a host field was replaced by another object");
    }
    if (!field->DataRef().SameAs(want.data)) Fail("a host field's value changed");
    if (field->NameRef() != want.name) Fail("a host field's name changed");
    if (field->DataTypeRef() != want.type) Fail("a host field's DataType changed");
  }
}

std::size_t ExpectedIndex(const Host& host, std::u16string_view name) {
  for (std::size_t i = 0; i < host.expected.size(); ++i) {
    if (host.expected[i].name == name) return i;
  }
  Fail("a field change names no host field");
}

// Changes one host field as the change says, and what the collection checks expect with it.
void ApplyChange(Host& host, const FieldChange& change) {
  components::FieldCollection& col = host.fields->Fields();
  host.saved_expected = host.expected;
  host.saved_entries.assign(col.begin(), col.end());
  const std::size_t index = ExpectedIndex(host, change.name);
  HostField& want = host.expected[index];
  auto* field = dynamic_cast<components::DataFieldObject*>(col.Find(change.name).get());
  if (!field) Fail("a host field was replaced by another object before its change");
  switch (change.kind) {
    case FieldChange::Kind::kValue:
      field->SetData(change.data);
      field->SetDataType(change.type);
      want.data = change.data;
      want.type = change.type;
      break;
    case FieldChange::Kind::kObject:
      want.data = Value::Object(components::MakeDataField(u"Inner", Value::Long(5), u"Long"));
      field->SetData(want.data);
      break;
    case FieldChange::Kind::kOtherKind:
      // In its place in the order: the collection is filled again.
      col.Clear();
      for (const auto& entry : host.saved_entries) {
        if (entry.key == change.name) {
          col.Add(std::make_shared<OtherField>(want.name, want.data, want.type), entry.key);
        } else {
          col.Add(entry.field, entry.key);
        }
      }
      want.other_kind = true;
      break;
    case FieldChange::Kind::kGone:
      col.Remove(change.name);
      host.expected.erase(host.expected.begin() + static_cast<std::ptrdiff_t>(index));
      break;
  }
}

// Back to the host's own fields: the same objects, in the same order, with their values.
void UndoChange(Host& host) {
  components::FieldCollection& col = host.fields->Fields();
  col.Clear();
  for (std::size_t i = 0; i < host.saved_entries.size(); ++i) {
    auto* field = dynamic_cast<components::DataFieldObject*>(host.saved_entries[i].field.get());
    if (!field) Fail("a host field was replaced by another object before its change");
    field->SetData(host.saved_expected[i].data);
    field->SetDataType(host.saved_expected[i].type);
    col.Add(host.saved_entries[i].field, host.saved_entries[i].key);
  }
  host.expected = std::move(host.saved_expected);
  host.saved_expected.clear();
  host.saved_entries.clear();
}

// What a run left that the host can see, for the comparison of the twins.
struct Seen {
  contract::DataFieldRef result;
  std::size_t log_entries = 0;
  std::size_t log_characters = 0;
  std::vector<components::ErrorRecorder::Call> reports;
};

Seen RunOne(Host& host, std::u16string script) {
  Seen seen;
  const std::size_t entries = host.log->entries;
  const std::size_t characters = host.log->characters;
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
  seen.reports.assign(host.errors->Calls().begin(), host.errors->Calls().end());
  host.errors->Clear();
  seen.result = std::move(result);
  seen.log_entries = host.log->entries - entries;
  seen.log_characters = host.log->characters - characters;
  return seen;
}

bool SameFields(contract::DataField& a, contract::DataField& b, int depth);

// Values alike: an object in each is alike when both are fields that are alike (each host has
// objects of its own), or both are the same kind of other object.
bool SameValues(const Value& a, const Value& b, int depth) {
  if (!a.IsObject() && !b.IsObject()) return a.SameAs(b);
  if (!a.IsObject() || !b.IsObject()) return false;
  if (!a.GetObject() || !b.GetObject()) return !a.GetObject() == !b.GetObject();
  auto* fa = dynamic_cast<contract::DataField*>(a.GetObject().get());
  auto* fb = dynamic_cast<contract::DataField*>(b.GetObject().get());
  if (!fa || !fb) return !fa == !fb;
  // A field may hold itself: a few levels tell enough.
  constexpr int kDeepest = 4;
  return depth >= kDeepest || SameFields(*fa, *fb, depth + 1);
}

bool SameFields(contract::DataField& a, contract::DataField& b, int depth) {
  return a.Name() == b.Name() && a.DataType() == b.DataType() &&
         a.DataClass() == b.DataClass() && SameValues(a.Data(), b.Data(), depth);
}

void CompareTwins(const Seen& a, const Seen& b) {
  if (static_cast<bool>(a.result) != static_cast<bool>(b.result)) {
    Fail("an unwatched run answered a field where the general run answered none, or the reverse");
  }
  if (a.result && !SameFields(*a.result, *b.result, 0)) {
    Fail("an unwatched run's answer differs from the general run's (Name, DataType, Data or DataClass)");
  }
  bool same_reports = a.reports.size() == b.reports.size();
  for (std::size_t i = 0; same_reports && i < a.reports.size(); ++i) {
    for (std::size_t k = 0; k < a.reports[i].arguments.size(); ++k) {
      if (!SameValues(a.reports[i][k], b.reports[i][k], 0)) same_reports = false;
    }
  }
  if (!same_reports) Fail("an unwatched run reported otherwise than the general run");
  if (a.log_entries != b.log_entries || a.log_characters != b.log_characters) {
    Fail("an unwatched run logged otherwise than the general run");
  }
}

// One of an input's runs on both hosts (the first after the fresh interpreter or re-Init the
// mode asks for), each followed by its ResetMemory unless the mode keeps the state; the twins
// must end alike. What the unwatched host did is counted.
struct RunCounted {
  bool answered = false;  // answered unwatched
  bool replayed = false;  // ... from a recording
  bool recorded = false;  // a recording was kept
  bool reset = false;     // ResetMemory followed
};

RunCounted RunBoth(Host& host, const qorvintr::fuzzing::RunMode& mode, bool first) {
  RunCounted counted;
  Seen seen[2];
  int n = 0;
  for (Host* h : {&host, host.twin}) {
    if (first && (mode.fresh || mode.log_on != h->log_on)) {
      h->log_on = mode.log_on;
      InitInterpreter(*h, mode.fresh);
    }
    InterpreterSeam seam(*h->interpreter);
    const std::int32_t answered = seam.UnwatchedAnswered();
    const std::int32_t replayed = seam.RecordedReplayed();
    const std::size_t recorded = seam.RecordedScripts();
    seen[n++] = RunOne(*h, g_script);
    bool reset = false;
    if (!mode.keep_state || ++h->runs_without_reset >= kMaxRunsWithoutReset) {
      try {
        h->interpreter->ResetMemory();
      } catch (...) {  // any exception at all is a finding: the host must never see one
        Fail("an exception left ResetMemory");
      }
      h->runs_without_reset = 0;
      reset = true;
      // After a reset no instance is open.
      if (InterpreterSeam(*h->interpreter).InstanceCounter() != -1) {
        Fail("ResetMemory left an instance open");
      }
    }
    if (h == &host) {
      counted.answered = seam.UnwatchedAnswered() != answered;
      counted.replayed = seam.RecordedReplayed() != replayed;
      // The script's own recording (an IF's condition and branches are recorded too).
      counted.recorded = seam.RecordedScripts() > recorded && seam.IsRecorded(g_script);
      counted.reset = reset;
    } else if (seam.UnwatchedAnswered() != 0) {
      Fail("the twin host's interpreter ran a script unwatched");
    }
  }
  CompareTwins(seen[0], seen[1]);
  return counted;
}

void Count(const RunCounted& counted, std::uint64_t& unwatched, std::uint64_t& replayed) {
  unwatched += counted.answered ? 1 : 0;
  replayed += counted.replayed ? 1 : 0;
}

}  // namespace

namespace qorvintr::fuzzing {

RunMode ModeOfInput(const std::uint8_t* data, std::size_t size) {
  RunMode mode;
  if (size == 0) return mode;
  const std::uint8_t b = data[0];
  mode.fresh = (b & 0x04) != 0;
  mode.keep_state = (b & 0x08) != 0;
  mode.log_on = (b & 0x10) != 0;
  if ((b & 0x20) != 0 && size >= 2) {
    mode.change = static_cast<int>(data[size - 1] % FieldChanges().size());
  }
  return mode;
}

const RunCounts& Counts() { return g_counts; }

std::string CountsLine() {
  const RunCounts& c = g_counts;
  return "fuzz host: " + std::to_string(c.inputs) + " inputs run twice (" +
         std::to_string(c.changed) + " with a host field changed between); unwatched: first runs " +
         std::to_string(c.first_unwatched) + " (" + std::to_string(c.first_replayed) +
         " replayed), second runs " + std::to_string(c.second_unwatched) + " (" +
         std::to_string(c.second_replayed) + " replayed); replays required " +
         std::to_string(c.replays_required) + ", all made";
}

void SetUp() {
  const char* strict = std::getenv("QORVINTR_FUZZ_STRICT");
  g_strict = strict && *strict == '1';
  const char* avoid = std::getenv("QORVINTR_FUZZ_AVOID_FFFF");
  g_avoid_ffff = avoid && *avoid == '1';
  g_host = &SetUpHost();
  std::atexit([] { std::fprintf(stderr, "%s\n", CountsLine().c_str()); });
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
  g_script = std::move(script);
  if (g_avoid_ffff) {
    for (char16_t& c : g_script) {
      if (c == 0xFFFF) c = 0xFFFE;
    }
  }
  Host& host = *g_host;
  ++g_counts.inputs;
  g_run = "first";
  g_change = "none";
  const RunCounted first = RunBoth(host, mode, true);
  Count(first, g_counts.first_unwatched, g_counts.first_replayed);
  const FieldChange* change =
      mode.change >= 0 ? &FieldChanges()[static_cast<std::size_t>(mode.change)] : nullptr;
  if (change != nullptr) {
    ++g_counts.changed;
    g_change = change->what;
    ApplyChange(host, *change);
    ApplyChange(*host.twin, *change);
  }
  g_run = "second";
  const RunCounted second = RunBoth(host, mode, false);
  Count(second, g_counts.second_unwatched, g_counts.second_replayed);
  // The recording a first run that answered unwatched left (or replayed) is found again by the
  // same text after the reset, over the same fields: the second run must answer from it.
  if (first.answered && (first.replayed || first.recorded) && first.reset && change == nullptr) {
    ++g_counts.replays_required;
    if (!second.replayed) {
      Fail("the second run of a script that answered unwatched did not answer from its recording");
    }
  }
  if (change != nullptr) {
    UndoChange(host);
    UndoChange(*host.twin);
    CheckCollection(host);
    CheckCollection(*host.twin);
  }
  g_run = "first";
  g_change = "none";
}

}  // namespace qorvintr::fuzzing
