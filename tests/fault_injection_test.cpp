// Fault injection at every outside call. A host whose collection, data fields, error object, log
// writer and object creators count every call the interpreter makes, and fail the k-th one in
// one of the ways a real host can. For every script of the corpus, every family of failure and
// every k up to the number of such calls the script makes (from Init on):
//  - nothing escapes Init, RealizeRegularExpression or ResetMemory;
//  - the instance counter is back;
//  - the collection holds nothing but the host's fields, and the temporaries whose own Remove
//    failed;
//  - the next clean run answers the line a clean run answers (after the host has taken out what
//    its failed Remove left and called ResetMemory, the documented way back).
// Three more families fail nothing: at the k-th call the host calls back into the interpreter
// (ResetMemory, a run of its own, or SetStrExpression on the run's own instance), and the call
// then goes on. There nothing may escape and
// nothing may crash, and once the host has taken out every temporary left and called
// ResetMemory, the next clean run answers as a clean host's.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/text.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/host_error.h"
#include "qorvintr/contract/log_writer.h"
#include "interpreter/interpreter.h"
#include "interpreter_seam.h"
#include "scripts/case_file.h"
#include "scripts/field_values.h"
#include "scripts/corpus.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using engine::Interpreter;
using engine::InterpreterSeam;
using scripts::Case;
using scripts::Corpus;
using scripts::CorpusFolder;

// ---- What is counted and how it fails ----------------------------------------------------------

// Every kind of outside call the interpreter makes.
enum class Call {
  kExists, kItem, kAddObject, kRemove, kMCol, kColItem, kColCount,  // the collection
  kField,                                                            // a data field's member
  kReport,                                                           // the error object
  kCreateField, kCreateLog,                                          // creation by identifier
  kLogInit, kLogWrite,                                               // the log writer
};

// The ways a real host fails, each over the calls it can happen at.
enum class Family {
  kRaise,                 // any call raises an automation error (a creator throws)
  kAddRefuses,            // AddObject answers non-zero and adds nothing
  kAddRaisesAfterAdding,  // AddObject adds the field, then raises
  kItemNothing,           // Item (of the collection or of its mCol) answers no field
  kReportNonZero,         // ReportError answers non-zero
  kCreateNothing,         // the creator of an identifier gives no object
  kLogNonZero,            // the log writer's Init or WriteLogMsg answers non-zero
  // A host that calls back into the interpreter from inside the call, which then goes on as
  // usual: nothing fails, but the run's state may change under it.
  kResetsMemory,          // ResetMemory, mid-run
  kRunsAnother,           // another script ("1 + 2") on the same interpreter, mid-run
  kSetsText,              // the text of instance 0 set to "7" (SetStrExpression), mid-run
};

bool Reenters(Family f) {
  return f == Family::kResetsMemory || f == Family::kRunsAnother || f == Family::kSetsText;
}

const char* CallName(Call c) {
  static const char* const kNames[] = {"Exists", "Item", "AddObject", "Remove", "mCol",
                                       "mCol.Item", "mCol.Count", "a field's member",
                                       "ReportError", "creating a data field", "creating the log",
                                       "the log's Init", "WriteLogMsg"};
  return kNames[static_cast<int>(c)];
}

const char* FamilyName(Family f) {
  switch (f) {
    case Family::kRaise: return "Raise";
    case Family::kAddRefuses: return "AddRefuses";
    case Family::kAddRaisesAfterAdding: return "AddRaisesAfterAdding";
    case Family::kItemNothing: return "ItemNothing";
    case Family::kReportNonZero: return "ReportNonZero";
    case Family::kCreateNothing: return "CreateNothing";
    case Family::kLogNonZero: return "LogNonZero";
    case Family::kResetsMemory: return "ResetsMemory";
    case Family::kRunsAnother: return "RunsAnother";
    case Family::kSetsText: return "SetsText";
  }
  return "?";
}

bool Counts(Family f, Call c) {
  switch (f) {
    case Family::kRaise: return true;
    case Family::kAddRefuses:
    case Family::kAddRaisesAfterAdding: return c == Call::kAddObject;
    case Family::kItemNothing: return c == Call::kItem || c == Call::kColItem;
    case Family::kReportNonZero: return c == Call::kReport;
    case Family::kCreateNothing: return c == Call::kCreateField || c == Call::kCreateLog;
    case Family::kLogNonZero: return c == Call::kLogInit || c == Call::kLogWrite;
    case Family::kResetsMemory:
    case Family::kRunsAnother:
    case Family::kSetsText: return true;
  }
  return false;
}

constexpr std::int32_t kInjectedError = automation::err::ObjectError(1001);

[[noreturn]] void RaiseInjected() {
  automation::Raise(kInjectedError, u"FaultHost", u"Injected failure");
}

// The counter all of one host's objects share.
struct Faults {
  Family family = Family::kRaise;
  int fail_at = 0;        // 0: nothing fails
  int seen = 0;           // calls of the family's kinds so far
  int host_inside = 0;    // > 0 while the host's own code calls its objects (not counted)
  std::set<std::u16string> remove_failed;  // temporaries left because their Remove failed
  Call failed = Call::kExists;             // the kind of the call that failed
  bool only_one_kind = false;              // count only calls of the kind `only`
  Call only = Call::kExists;
  std::vector<Call> log;                   // every counted call, in order
  std::function<void()> reenter;           // what a re-entering family does at its call

  // Counts the interpreter's call; true when this one is to fail.
  bool Hit(Call c) {
    if (host_inside > 0 || !Counts(family, c)) return false;
    if (only_one_kind && c != only) return false;
    log.push_back(c);
    ++seen;
    if (seen != fail_at) return false;
    failed = c;
    if (Reenters(family)) {
      // The interpreter's calls made from here are the re-entered run's, not counted.
      ++host_inside;
      if (reenter) reenter();
      --host_inside;
      return false;
    }
    return true;
  }
};

// The host's own work on its objects, which the interpreter did not ask for.
class HostInside {
 public:
  explicit HostInside(Faults& f) : f_(f) { ++f_.host_inside; }
  ~HostInside() { --f_.host_inside; }
  HostInside(const HostInside&) = delete;
  HostInside& operator=(const HostInside&) = delete;

 private:
  Faults& f_;
};

// ---- The host's objects --------------------------------------------------------------------------

class FaultField : public contract::DataField {
 public:
  explicit FaultField(Faults& f) : f_(f) {}
  FaultField(Faults& f, std::u16string name, Value data, std::u16string type)
      : f_(f), name_(std::move(name)), data_(std::move(data)), type_(std::move(type)) {}

  Value Data() override { Check(); return data_; }
  void SetData(const Value& v) override { Check(); data_ = v; }
  std::u16string DataType() override { Check(); return type_; }
  void SetDataType(std::u16string t) override { Check(); type_ = std::move(t); }
  std::u16string Name() override { Check(); return name_; }
  void SetName(std::u16string n) override { Check(); name_ = std::move(n); }
  std::u16string DataClass() override { Check(); return class_; }
  void SetDataClass(std::u16string c) override { Check(); class_ = std::move(c); }

 private:
  void Check() {
    if (f_.Hit(Call::kField)) RaiseInjected();
  }
  Faults& f_;
  std::u16string name_;
  Value data_;
  std::u16string type_;
  std::u16string class_;
};

class FaultKeyed : public contract::KeyedCollection {
 public:
  FaultKeyed(Faults& f, components::FieldCollectionRef inner) : f_(f), inner_(std::move(inner)) {}
  contract::DataFieldRef Item(std::u16string_view key) override {
    if (f_.Hit(Call::kColItem)) {
      if (f_.family == Family::kItemNothing) return nullptr;
      RaiseInjected();
    }
    return inner_->Item(key);
  }
  std::int32_t Count() override {
    if (f_.Hit(Call::kColCount)) RaiseInjected();
    return inner_->Count();
  }

 private:
  Faults& f_;
  components::FieldCollectionRef inner_;
};

class FaultFields : public contract::DataFields {
 public:
  explicit FaultFields(Faults& f)
      : f_(f),
        inner_(std::make_shared<components::FieldCollection>()),
        keyed_(std::make_shared<FaultKeyed>(f, inner_)) {}

  contract::DataFieldRef Item(std::u16string& name) override {
    if (f_.Hit(Call::kItem)) {
      if (f_.family == Family::kItemNothing) return nullptr;
      RaiseInjected();
    }
    return inner_->Item(name);
  }
  bool Exists(std::u16string& name) override {
    if (f_.Hit(Call::kExists)) RaiseInjected();
    return inner_->Contains(name);
  }
  std::int16_t AddObject(contract::DataFieldRef& field) override {
    const bool fail = f_.Hit(Call::kAddObject);
    if (fail && f_.family == Family::kRaise) RaiseInjected();
    if (fail && f_.family == Family::kAddRefuses) return 1;
    if (!field) return automation::err::ObjectVariableNotSet;
    HostInside inside(f_);
    if (!inner_->TryAdd(field, field->Name())) return automation::err::KeyAlreadyAssociated;
    if (fail) RaiseInjected();  // kAddRaisesAfterAdding
    return 0;
  }
  void Remove(std::u16string& name) override {
    if (f_.Hit(Call::kRemove)) {
      if (inner_->Contains(name)) f_.remove_failed.insert(name);
      RaiseInjected();
    }
    inner_->Remove(name);
  }
  contract::KeyedCollectionRef mCol() override {
    if (f_.Hit(Call::kMCol)) RaiseInjected();
    return keyed_;
  }

  // The host's side.
  void AddHostField(std::u16string name, Value data, std::u16string type) {
    inner_->Add(std::make_shared<FaultField>(f_, name, std::move(data), std::move(type)), name);
  }
  std::vector<std::u16string> Keys() const {
    std::vector<std::u16string> keys;
    for (const auto& e : *inner_) keys.push_back(e.key);
    return keys;
  }
  void HostRemove(const std::u16string& key) { inner_->TryRemove(key); }

 private:
  Faults& f_;
  components::FieldCollectionRef inner_;
  std::shared_ptr<FaultKeyed> keyed_;
};

class FaultError : public contract::HostError {
 public:
  explicit FaultError(Faults& f) : f_(f) {}
  Value ReportError(const Value&, const Value&, const Value&, const Value&, const Value&,
                    const Value&, Value&, Value&, const Value&, Value&, const Value&) override {
    ++reports;
    if (f_.Hit(Call::kReport)) {
      if (f_.family == Family::kReportNonZero) return Value::Long(-1);
      RaiseInjected();
    }
    return Value::Long(0);
  }
  int reports = 0;

 private:
  Faults& f_;
};

class FaultLog : public contract::LogWriter {
 public:
  explicit FaultLog(Faults& f) : f_(f) {}
  Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
             std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    if (f_.Hit(Call::kLogInit)) {
      if (f_.family == Family::kLogNonZero) return Value::Long(-1);
      RaiseInjected();
    }
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view) override {
    if (f_.Hit(Call::kLogWrite)) {
      if (f_.family == Family::kLogNonZero) return Value::Long(-1);
      RaiseInjected();
    }
    ++entries;
    return Value::Long(0);
  }
  int entries = 0;

 private:
  Faults& f_;
};

// ---- One run -------------------------------------------------------------------------------------

std::string Utf8(std::u16string_view s) { return automation::ToUtf8(s); }

// The result as the corpus writes it.
std::string ResultLine(const contract::DataFieldRef& result, Faults& faults) {
  if (!result) return "Nothing";
  HostInside inside(faults);
  return Utf8(result->Name()) + "\t" + Utf8(result->DataType()) + "\t" +
         scripts::ValueText(result->Data());
}

// What one faulted run saw.
struct Outcome {
  int calls = 0;  // calls of the family's kinds
  Call failed = Call::kExists;
  std::string escaped;  // what left an entry point, if anything (a re-entered one too)
  std::string inner;    // a re-entering host's own run's line
  std::int16_t counter = 0;
  bool stacks = false;  // whether the instances' stacks are there right after the run
  std::vector<std::u16string> left;   // temporaries left in the collection
  std::set<std::u16string> remove_failed;
  std::string result;
  std::string clean_result;  // the next clean run's line
  std::vector<std::u16string> clean_left;
};

// One host and one interpreter per run, as a host starts; the debug log's state is per thread
// and set back before each run.
class HostRun {
 public:
  HostRun(const Case& c, const std::u16string& ini) : fields_(std::make_shared<FaultFields>(faults_)),
        error_(std::make_shared<FaultError>(faults_)), log_(std::make_shared<FaultLog>(faults_)) {
    support::modDebugLog::ResetDebugLog();
    Faults& f = faults_;
    contract::RegisterCreator(contract::kDataFieldProgId, [&f]() -> automation::ObjectRef {
      if (f.Hit(Call::kCreateField)) {
        if (f.family == Family::kCreateNothing) return nullptr;
        RaiseInjected();
      }
      return std::make_shared<FaultField>(f);
    });
    std::shared_ptr<FaultLog> log = log_;
    contract::RegisterCreator(contract::kLogProgId, [&f, log]() -> automation::ObjectRef {
      if (f.Hit(Call::kCreateLog)) {
        if (f.family == Family::kCreateNothing) return nullptr;
        RaiseInjected();
      }
      return log;
    });
    for (const std::string& line : c.field_lines) {
      scripts::FieldLine fl;
      std::string why;
      if (!scripts::ParseFieldLine(line, fl, why)) continue;  // the corpus test reports it
      fields_->AddHostField(automation::FromUtf8(fl.name), scripts::FieldData(fl),
                            automation::FromUtf8(fl.type));
    }
    host_keys_ = fields_->Keys();
    faults_.reenter = [this] { Reenter(); };
    std::u16string ini_name = ini;
    interpreter_.SetOrlinaIniFilename(ini_name);
    script_ = automation::FromUtf8(c.script);
  }
  ~HostRun() {
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(contract::kDataFieldProgId);
    support::modDebugLog::ResetDebugLog();
  }
  HostRun(const HostRun&) = delete;
  HostRun& operator=(const HostRun&) = delete;

  Faults& faults() { return faults_; }
  std::vector<std::u16string> HostTemporaries() const { return Temporaries(); }

  Outcome Go(Family family, int fail_at) {
    Outcome o;
    faults_.family = family;
    faults_.fail_at = fail_at;
    contract::DataFieldRef result;
    try {
      contract::DataFieldsRef f = fields_;
      contract::HostErrorRef e = error_;
      (void)interpreter_.Init(f, e, u"QorvSys", u"QorvApp");
    } catch (...) {
      // Anything at all leaving the entry point is the finding; its kind does not matter.
      o.escaped = "Init";
    }
    try {
      std::u16string script = script_;
      result = interpreter_.RealizeRegularExpression(script);
    } catch (...) {
      // As above.
      o.escaped += " RealizeRegularExpression";
    }
    o.escaped += inner_escaped_;
    o.inner = inner_result_;
    o.calls = faults_.seen;
    o.failed = faults_.failed;
    faults_.fail_at = 0;
    o.counter = InterpreterSeam(interpreter_).InstanceCounter();
    o.stacks = InterpreterSeam(interpreter_).StacksDimensioned();
    o.result = ResultLine(result, faults_);
    o.left = Temporaries();
    o.remove_failed = faults_.remove_failed;

    // The host takes out what its own failed Remove left (after a re-entering call, every
    // temporary left: the run it reset or ran beside could not account for them), and starts
    // the interpreter afresh.
    if (Reenters(family) && fail_at > 0) {
      for (const auto& name : o.left) fields_->HostRemove(name);
      interpreter_.ResetMemory();
    } else if (!faults_.remove_failed.empty()) {
      for (const auto& name : faults_.remove_failed) fields_->HostRemove(name);
      interpreter_.ResetMemory();
    }
    std::u16string script = script_;
    o.clean_result = ResultLine(interpreter_.RealizeRegularExpression(script), faults_);
    o.clean_left = Temporaries();
    interpreter_.ResetMemory();
    return o;
  }

 private:
  std::vector<std::u16string> Temporaries() const {
    std::vector<std::u16string> left;
    for (const auto& key : fields_->Keys()) {
      if (std::find(host_keys_.begin(), host_keys_.end(), key) == host_keys_.end()) {
        left.push_back(key);
      }
    }
    return left;
  }

  // The re-entering host's call back into the interpreter, from inside the interpreter's call.
  void Reenter() {
    try {
      if (faults_.family == Family::kResetsMemory) {
        interpreter_.ResetMemory();
      } else if (faults_.family == Family::kSetsText) {
        // Raises 9 before the first run has made the table: the member has no trap, as its
        // callers know; that is its answer, not an escape.
        std::int16_t index = 0;
        try {
          interpreter_.SetStrExpression(index, u"7");
        } catch (const automation::AutomationError& e) {
          if (e.Number() != automation::err::SubscriptOutOfRange) throw;
        }
      } else {
        std::u16string script = u"1 + 2";
        inner_result_ = ResultLine(interpreter_.RealizeRegularExpression(script), faults_);
      }
    } catch (...) {
      // As for the outer entry points: anything leaving is the finding.
      inner_escaped_ += " the re-entered call";
    }
  }

  std::string inner_escaped_;
  std::string inner_result_;
  Faults faults_;
  std::shared_ptr<FaultFields> fields_;
  std::shared_ptr<FaultError> error_;
  std::shared_ptr<FaultLog> log_;
  std::vector<std::u16string> host_keys_;
  Interpreter interpreter_;
  std::u16string script_;
};

std::string Names(const std::vector<std::u16string>& names) {
  std::string out;
  for (const auto& n : names) out += (out.empty() ? "" : ",") + Utf8(n);
  return out;
}

// ---- The tests -----------------------------------------------------------------------------------

struct Param {
  Family family;
  std::string file;  // a corpus family (the .cases file's stem)
};

void PrintTo(const Param& p, std::ostream* os) { *os << FamilyName(p.family) << ":" << p.file; }

constexpr std::size_t kLongestScript = 4096;

class FaultInjection : public ::testing::TestWithParam<Param> {
 protected:
  void SetUp() override { automation::SetClock([] { return scripts::kNowSerial; }); }
  void TearDown() override { automation::SetClock({}); }
};

TEST_P(FaultInjection, NothingEscapesNothingStaysAndTheNextCleanRunAnswersAsBefore) {
  const Param& p = GetParam();
  int faulted_runs = 0;
  int cases = 0;
  for (const Case& c : Corpus()) {
    if (c.family != p.file || !c.parse_error.empty()) continue;
    // The script of the reader's limit takes a good part of a second a run and meets the host
    // no differently from a short one; the corpus runs it.
    if (c.script.size() > kLongestScript) continue;
    ++cases;
    SCOPED_TRACE(c.file + ":" + std::to_string(c.line) + " case " + c.name);
    TempFolder folder;
    const std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();

    // The clean run: its line and how many calls of the family it makes.
    Outcome clean;
    {
      HostRun run(c, ini);
      clean = run.Go(p.family, 0);
    }
    // A host field named like a temporary shifts the numbering of a second run, and may leave
    // one of its temporaries (tests/scripts/temporaries.cases): a faulted run is held to what
    // a clean host's second run gives.
    ASSERT_TRUE(clean.escaped.empty());
    ASSERT_TRUE(clean.left.empty()) << Names(clean.left);

    for (int k = 1; k <= clean.calls; ++k) {
      Outcome o;
      {
        HostRun run(c, ini);
        o = run.Go(p.family, k);
      }
      ++faulted_runs;
      const std::string where = "k=" + std::to_string(k) + " of " + std::to_string(clean.calls) +
                                " (" + CallName(o.failed) + ")";
      EXPECT_TRUE(o.escaped.empty()) << where << ": escaped from" << o.escaped;
      if ((p.family == Family::kResetsMemory || p.family == Family::kRunsAnother) &&
          clean.result != "Nothing") {
        // Nothing failed: the run answers a field as the clean one does (a text set anew
        // is another script, which may answer nothing).
        EXPECT_NE(o.result, "Nothing") << where;
      }
      if (p.family == Family::kRunsAnother) {
        // The host's own run answered a field too (which, depends on where it came in).
        EXPECT_NE(o.inner, "") << where;
        EXPECT_NE(o.inner, "Nothing") << where;
      }
      if (!Reenters(p.family)) {
        // A run reset or run beside cannot account for its state; with a failing call, the
        // run itself puts everything back.
        EXPECT_EQ(o.counter, -1) << where << ": instance counter";
        std::vector<std::u16string> unexpected;
        for (const auto& name : o.left) {
          if (!o.remove_failed.count(name)) unexpected.push_back(name);
        }
        EXPECT_TRUE(unexpected.empty()) << where << ": left in the collection: "
                                        << Names(unexpected) << " (faulted run answered "
                                        << o.result << ")";
      }
      // Where a clean host's two runs already differ (a host field named like a temporary: the
      // name skipped stays in the list), the numbering depends on the runs before; the
      // collection is checked all the same.
      if (clean.result == clean.clean_result) {
        EXPECT_EQ(o.clean_result, clean.clean_result) << where << ": the next clean run";
      }
      EXPECT_EQ(Names(o.clean_left), Names(clean.clean_left))
          << where << ": what the next clean run left";
    }
  }
  EXPECT_GT(cases, 0) << "no case in " << p.file;
  std::printf("[ faults   ] %s over %s: %d cases, %d faulted runs\n", FamilyName(p.family),
              p.file.c_str(), cases, faulted_runs);
}

// ---- The departures, one step each --------------------------------------------------------------

Case OneCase(const std::string& script) {
  Case c;
  c.family = "steps";
  c.name = "one";
  c.script = script;
  return c;
}

class FaultSteps : public FaultInjection {};

TEST_F(FaultSteps, AddObjectRaisingAfterAddingLeavesNothing) {
  TempFolder folder;
  const Case c = OneCase("1 + 2");
  const std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();
  HostRun run(c, ini);
  run.faults().only_one_kind = true;
  run.faults().only = Call::kAddObject;
  const Outcome o = run.Go(Family::kAddRaisesAfterAdding, 1);
  EXPECT_EQ(o.result, "Error\tBoolean\tFalse");
  EXPECT_TRUE(o.left.empty()) << Names(o.left);
  EXPECT_EQ(o.clean_result, "Autodf4\tLong\t3");
}

TEST_F(FaultSteps, AFailingItemAfterAddingLeavesNothing) {
  TempFolder folder;
  const Case c = OneCase("1 + 2");
  const std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();
  for (Family family : {Family::kRaise, Family::kItemNothing}) {
    HostRun run(c, ini);
    run.faults().only_one_kind = true;
    run.faults().only = Call::kItem;
    const Outcome o = run.Go(family, 1);  // the Item right after the first AddObject
    EXPECT_EQ(o.result, "Error\tBoolean\tFalse") << FamilyName(family);
    EXPECT_TRUE(o.left.empty()) << FamilyName(family) << ": " << Names(o.left);
    EXPECT_EQ(o.clean_result, "Autodf4\tLong\t3") << FamilyName(family);
  }
}

// Replace, Format and IF push their value the same way; a failing Item there leaves nothing.
TEST_F(FaultSteps, AFailingItemOfABuiltInsValueLeavesNothing) {
  for (const char* script : {"Replace B, \"a\", \"o\"", "Format A, \"0.00\"",
                             "IF 1 = 1 THEN 2 END IF"}) {
    TempFolder folder;
    Case c = OneCase(script);
    c.field_lines = {"A:Long=5", "B=banana"};
    const std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();
    int items = 0;
    {
      HostRun run(c, ini);
      run.faults().only_one_kind = true;
      run.faults().only = Call::kItem;
      items = run.Go(Family::kRaise, 0).calls;
    }
    ASSERT_GT(items, 0) << script;
    for (int k = 1; k <= items; ++k) {
      HostRun run(c, ini);
      run.faults().only_one_kind = true;
      run.faults().only = Call::kItem;
      const Outcome o = run.Go(Family::kRaise, k);
      EXPECT_TRUE(o.left.empty()) << script << " k=" << k << ": " << Names(o.left);
      EXPECT_NE(o.clean_result, "Error\tBoolean\tFalse") << script;
    }
  }
}

class Reentry : public FaultInjection {};

// The run the host reset from inside its collection's Item goes on undisturbed; the reset is
// done as it ends.
TEST_F(Reentry, AResetAskedForMidRunIsDoneWhenTheRunEnds) {
  TempFolder folder;
  const Case c = OneCase("1 + 2");
  const std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();
  Outcome clean;
  {
    HostRun run(c, ini);
    clean = run.Go(Family::kRaise, 0);
  }
  ASSERT_EQ(clean.result, "Autodf4\tLong\t3");
  ASSERT_TRUE(clean.stacks);  // a run nobody resets leaves its instance's stack
  HostRun run(c, ini);
  run.faults().only_one_kind = true;
  run.faults().only = Call::kItem;
  const Outcome o = run.Go(Family::kResetsMemory, 1);
  ASSERT_EQ(o.failed, Call::kItem);
  EXPECT_EQ(o.result, clean.result);
  EXPECT_TRUE(o.left.empty()) << Names(o.left);
  EXPECT_EQ(o.counter, -1);
  EXPECT_FALSE(o.stacks);  // the reset, done at the end
  EXPECT_EQ(o.clean_result, clean.result);
}

// A script the host runs from inside a field's member, on the same interpreter, is a run of
// its own: it answers its value, and the run it came into answers as it would have.
TEST_F(Reentry, AScriptRunFromInsideARunAnswersAndTheOuterRunGoesOn) {
  TempFolder folder;
  Case c = OneCase("A + 1");
  c.field_lines = {"A:Long=5"};
  const std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();
  Outcome clean;
  {
    HostRun run(c, ini);
    clean = run.Go(Family::kRaise, 0);
  }
  ASSERT_EQ(clean.result, "Autodf3\tLong\t6");
  HostRun run(c, ini);
  run.faults().only_one_kind = true;
  run.faults().only = Call::kField;
  const Outcome o = run.Go(Family::kRunsAnother, 1);
  ASSERT_EQ(o.failed, Call::kField);
  EXPECT_TRUE(o.escaped.empty()) << o.escaped;
  EXPECT_EQ(o.inner.substr(o.inner.find('\t')), "\tLong\t3") << o.inner;
  EXPECT_EQ(o.result.substr(o.result.find('\t')), "\tLong\t6") << o.result;
  EXPECT_EQ(o.counter, -1);
}

std::vector<Param> Params() {
  std::set<std::string> files;
  for (const Case& c : Corpus()) files.insert(c.family);
  std::vector<Param> params;
  for (Family f : {Family::kRaise, Family::kAddRefuses, Family::kAddRaisesAfterAdding,
                   Family::kItemNothing, Family::kReportNonZero, Family::kCreateNothing,
                   Family::kLogNonZero, Family::kResetsMemory, Family::kRunsAnother, Family::kSetsText}) {
    for (const auto& file : files) params.push_back({f, file});
  }
  return params;
}

std::string ParamName(const ::testing::TestParamInfo<Param>& info) {
  return std::string(FamilyName(info.param.family)) + "_" + info.param.file;
}

INSTANTIATE_TEST_SUITE_P(Corpus, FaultInjection, ::testing::ValuesIn(Params()), ParamName);

}  // namespace
}  // namespace qorvintr::testing_support
