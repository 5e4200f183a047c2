// The whole-script corpus (tests/scripts/*.cases) run through the library: one test per case.
// Each case gets a fresh interpreter over the stock data fields, a recording error object and a
// recording log, with the debug log switched on through a throwaway INI file and the clock fixed;
// the result line and every ReportError call and log entry, in the order they happen, must be
// exactly as the case says.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/text.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "qorvintr/error.h"
#include "interpreter/interpreter.h"
#include "interpreter_seam.h"
#include "scripts/case_file.h"
#include "scripts/field_values.h"
#include "scripts/corpus.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"

namespace qorvintr::scripts {
// Test names already carry the case; a failure names it rather than dumping its bytes.
void PrintTo(const Case& c, std::ostream* os) { *os << c.family << ":" << c.name; }
}  // namespace qorvintr::scripts

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using engine::Interpreter;
using engine::InterpreterSeam;
using scripts::Case;
using scripts::Corpus;
using scripts::CorpusFolder;
using scripts::Event;
using scripts::ValueText;

std::string Utf8(std::u16string_view s) { return automation::ToUtf8(s); }

// The log object: every entry goes into the shared list of what happened.
class EventLog : public contract::LogWriter {
 public:
  explicit EventLog(std::vector<Event>& events) : events_(events) {}
  Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
             std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view text) override {
    events_.push_back({Event::kLog, Utf8(text)});
    return Value::Long(0);
  }

 private:
  std::vector<Event>& events_;
};

// Writes the fields of a case into the collection, typed as the fields file types them.
void AddField(components::DataFieldCollection& fields, const std::string& line) {
  scripts::FieldLine f;
  std::string why;
  ASSERT_TRUE(scripts::ParseFieldLine(line, f, why)) << line << ": " << why;
  fields.Add(automation::FromUtf8(f.name), scripts::FieldData(f), automation::FromUtf8(f.type));
}

std::string Describe(const std::vector<Event>& events) {
  std::string out;
  for (const Event& e : events) {
    out += e.kind == Event::kError ? "  error: " : "  log: ";
    out += scripts::Escape(e.text);
    out += "\n";
  }
  return out.empty() ? "  (nothing)\n" : out;
}

class ScriptCorpus : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    support::modDebugLog::ResetDebugLog();
    automation::SetClock([] { return scripts::kNowSerial; });
    contract::RegisterCreator(contract::kLogProgId,
                              [this] { return std::make_shared<EventLog>(events_); });
    contract::RegisterCreator(contract::kDataFieldProgId,
                              [] { return std::make_shared<components::DataFieldObject>(); });
  }
  void TearDown() override {
    interpreter_.reset();
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(contract::kDataFieldProgId);
    support::modDebugLog::ResetDebugLog();
    automation::SetClock({});
  }

  void RunCase();

  std::vector<Event> events_;
  std::unique_ptr<Interpreter> interpreter_;
};

// The same cases with the stock creator of data fields registered (as RegisterDefaultComponents
// does), so that the interpreter makes its temporaries itself: every answer must be the same.
class ScriptCorpusStockFields : public ScriptCorpus {
 protected:
  void SetUp() override {
    ScriptCorpus::SetUp();
    contract::UnregisterCreator(contract::kDataFieldProgId);
    ASSERT_EQ(components::RegisterDefaultComponents(), 1);
  }
};

TEST_P(ScriptCorpus, Runs) { RunCase(); }
TEST_P(ScriptCorpusStockFields, Runs) { RunCase(); }

void ScriptCorpus::RunCase() {
  const Case& c = GetParam();
  ASSERT_TRUE(c.parse_error.empty()) << c.parse_error;
  SCOPED_TRACE(c.file + ":" + std::to_string(c.line) + " case " + c.name);

  TempFolder folder;
  std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();

  auto fields = std::make_shared<components::DataFieldCollection>();
  for (const std::string& line : c.field_lines) {
    AddField(*fields, line);
    if (HasFatalFailure()) return;
  }
  std::vector<std::u16string> host_names;
  for (const auto& entry : fields->Fields()) host_names.push_back(entry.key);

  auto errors = std::make_shared<components::ErrorRecorder>();
  errors->SetByReferenceHook([&](Value&, Value&, Value&) {
    const auto& call = errors->Calls().back();
    std::string text;
    for (std::size_t i = 0; i < 11; ++i) {
      if (i) text += " | ";
      text += ValueText(call[i]);
    }
    events_.push_back({Event::kError, text});
  });

  interpreter_ = std::make_unique<Interpreter>();
  interpreter_->SetOrlinaIniFilename(ini);
  contract::DataFieldsRef f = fields;
  contract::HostErrorRef e = errors;
  std::u16string system = automation::FromUtf8(scripts::kSystem);
  std::u16string application = automation::FromUtf8(scripts::kApplication);
  ASSERT_TRUE(interpreter_->Init(f, e, system, application));

  std::vector<Event> expected;
  if (c.logging) expected.push_back({Event::kLog, scripts::BannerEntry(Utf8(interpreter_->Release()))});
  expected.insert(expected.end(), c.events.begin(), c.events.end());

  const std::u16string original = automation::FromUtf8(c.script);
  std::u16string script = original;
  contract::DataFieldRef result = interpreter_->RealizeRegularExpression(script);

  std::string line = "Nothing";
  if (result) line = Utf8(result->Name()) + "\t" + Utf8(result->DataType()) + "\t" + ValueText(result->Data());
  EXPECT_EQ(scripts::Escape(line), scripts::Escape(c.result)) << "result line";

  bool same = events_.size() == expected.size();
  for (std::size_t i = 0; same && i < expected.size(); ++i) {
    same = events_[i].kind == expected[i].kind && events_[i].text == expected[i].text;
  }
  EXPECT_TRUE(same) << "reported errors and log entries\nexpected:\n"
                    << Describe(expected) << "actual:\n"
                    << Describe(events_);

  // Every run closes the instance it opened, trims the caller's script in place and leaves only
  // the host's own fields behind.
  EXPECT_EQ(InterpreterSeam(*interpreter_).InstanceCounter(), -1) << "instance counter";
  EXPECT_EQ(Utf8(script), Utf8(automation::Trim(original))) << "the caller's script";
  std::vector<std::u16string> left;
  for (const auto& entry : fields->Fields()) left.push_back(entry.key);
  EXPECT_EQ(left, host_names) << "fields left in the collection";
}

// The same cases through two hosts of the stock fields that differ only in whether the
// interpreter may keep a run's temporaries to itself: each host runs the case once fresh, three
// times more without ResetMemory and three times with it before each run, and after every run
// everything either host can see must be the same, and the interpreter's tables too.
class ScriptCorpusUnwatched : public ScriptCorpusStockFields {
 protected:
  // What the host saw after each run; answered counts the runs that stayed unwatched.
  std::vector<std::string> Runs(const Case& c, bool allow_unwatched, std::int32_t& answered);
  // The runs that answered from the recording of an earlier run, over all calls of Runs.
  std::int32_t replayed_ = 0;
};

// Where a table cannot be read (never dimensioned), the error says so instead.
template <class Read>
std::string Read9(Read&& read) {
  try {
    return std::to_string(read());
  } catch (const automation::AutomationError& e) {
    return "error " + std::to_string(e.Number());
  }
}

std::string TableState(InterpreterSeam& seam) {
  std::string out = "instances " + std::to_string(seam.InstanceCounter());
  out += " texts " + Read9([&] { return seam.ExpressionTextsUBound(); });
  out += " positions " + Read9([&] { return seam.ReadPositionsUBound(); });
  out += " stacks " + (seam.StacksDimensioned() ? Read9([&] { return seam.StacksUBound(); })
                                                 : std::string("none"));
  out += "\nnames top " + std::to_string(seam.AutoNameTop()) + " upper ";
  const std::string names_upper = Read9([&] { return seam.AutoNameListUBound(); });
  out += names_upper + ":";
  if (names_upper.rfind("error", 0) != 0) {
    for (std::int32_t i = 0; i <= std::stoi(names_upper); ++i) out += " [" + Utf8(seam.AutoName(i)) + "]";
  }
  out += "\nholds " + Read9([&] { return seam.HoldArrayUBound(1); }) + " x " +
         Read9([&] { return seam.HoldArrayUBound(2); }) + " tops";
  const std::string tops_upper = Read9([&] { return seam.HoldTopUBound(); });
  if (tops_upper.rfind("error", 0) != 0) {
    for (std::int32_t level = 0; level <= std::stoi(tops_upper); ++level) {
      out += " " + std::to_string(seam.HoldTop(level));
    }
  }
  const std::string rows = Read9([&] { return seam.HoldArrayUBound(1); });
  const std::string slots = Read9([&] { return seam.HoldArrayUBound(2); });
  if (rows.rfind("error", 0) != 0 && slots.rfind("error", 0) != 0) {
    for (std::int32_t level = 0; level <= std::stoi(rows); ++level) {
      for (std::int32_t slot = 0; slot <= std::stoi(slots); ++slot) {
        const std::u16string& held = seam.Hold(level, slot);
        if (!held.empty()) out += " (" + std::to_string(level) + "," + std::to_string(slot) + ")=" + Utf8(held);
      }
    }
  }
  return out;
}

std::string FieldsState(const components::DataFieldCollection& fields) {
  std::string out = "fields:";
  for (const auto& entry : fields.Fields()) {
    out += " " + Utf8(entry.key) + "=" + Utf8(entry.field->DataType()) + ":" +
           ValueText(entry.field->Data());
  }
  return out;
}

// A field as the host can read it, and a field held in its Data the same way (an IF's value
// holds the field its branch answered).
std::string Members(const contract::DataFieldRef& field, int depth = 0) {
  std::string out = Utf8(field->Name()) + "\t" + Utf8(field->DataType()) + "\t" +
                    Utf8(field->DataClass()) + "\t";
  const Value data = field->Data();
  if (data.IsObject() && depth < 16) {
    if (auto inner = std::dynamic_pointer_cast<contract::DataField>(data.GetObject())) {
      return out + "{" + Members(inner, depth + 1) + "}";
    }
  }
  return out + ValueText(data);
}

std::vector<std::string> ScriptCorpusUnwatched::Runs(const Case& c, bool allow_unwatched,
                                                     std::int32_t& answered) {
  std::vector<std::string> seen;
  support::modDebugLog::ResetDebugLog();
  events_.clear();
  TempFolder folder;
  std::u16string ini = folder.Write("host.ini", scripts::IniText(c)).u16string();
  auto fields = std::make_shared<components::DataFieldCollection>();
  for (const std::string& line : c.field_lines) {
    AddField(*fields, line);
    if (HasFatalFailure()) return seen;
  }
  auto errors = std::make_shared<components::ErrorRecorder>();
  errors->SetByReferenceHook([&](Value&, Value&, Value&) {
    const auto& call = errors->Calls().back();
    // The host lists its collection while it is told of the error.
    events_.push_back({Event::kError, ValueText(call[1]) + " | " + ValueText(call[10]) + " | " +
                                          FieldsState(*fields)});
  });
  interpreter_ = std::make_unique<Interpreter>();
  InterpreterSeam seam(*interpreter_);
  seam.AllowUnwatched(allow_unwatched);
  interpreter_->SetOrlinaIniFilename(ini);
  std::u16string system = automation::FromUtf8(scripts::kSystem);
  std::u16string application = automation::FromUtf8(scripts::kApplication);
  EXPECT_TRUE(interpreter_->Init(fields, errors, system, application));
  // The host keeps each answer, as a host does until it has used it.
  std::vector<contract::DataFieldRef> results;
  for (int run = 0; run < 7; ++run) {
    if (run >= 4) interpreter_->ResetMemory();
    std::u16string script = automation::FromUtf8(c.script);
    contract::DataFieldRef result = interpreter_->RealizeRegularExpression(script);
    std::string line = "Nothing";
    if (result) line = Members(result);
    results.push_back(result);
    seen.push_back("run " + std::to_string(run) + ": " + scripts::Escape(line) + "\nscript " +
                   Utf8(script) + "\n" + Describe(events_) + FieldsState(*fields) + "\n" +
                   TableState(seam));
    events_.clear();
  }
  answered = seam.UnwatchedAnswered();
  replayed_ += seam.RecordedReplayed();
  // Runs after a failure that left a name in the list are not tried.
  EXPECT_LE(seam.UnwatchedAnswered() + seam.UnwatchedDeclined(), allow_unwatched ? 7 : 0);
  interpreter_.reset();
  return seen;
}

TEST_P(ScriptCorpusUnwatched, EndsAlikeBothWays) {
  const Case& c = GetParam();
  ASSERT_TRUE(c.parse_error.empty()) << c.parse_error;
  SCOPED_TRACE(c.file + ":" + std::to_string(c.line) + " case " + c.name);
  std::int32_t answered = 0;
  std::int32_t none = 0;
  const std::vector<std::string> general = Runs(c, false, none);
  const std::vector<std::string> unwatched = Runs(c, true, answered);
  ASSERT_EQ(general.size(), unwatched.size());
  for (std::size_t i = 0; i < general.size(); ++i) EXPECT_EQ(unwatched[i], general[i]);
  EXPECT_EQ(none, 0);
}

// The comparison proves something only where runs stayed unwatched: a good share of the corpus's
// runs must (most of its cases are functions and errors, which decline).
class ScriptCorpusUnwatchedTotal : public ScriptCorpusUnwatched {};
TEST_F(ScriptCorpusUnwatchedTotal, MostRunsOfTheCorpusStayUnwatched) {
  std::int32_t answered = 0;
  std::int32_t runs = 0;
  for (const Case& c : Corpus()) {
    if (!c.parse_error.empty()) continue;
    std::int32_t case_answered = 0;
    Runs(c, true, case_answered);
    answered += case_answered;
    runs += 7;
  }
  std::cout << "unwatched runs: " << answered << " of " << runs << ", " << replayed_
            << " of them replayed from a recording\n";
  EXPECT_GE(answered * 5, runs);
  // A case that answers unwatched once without IF or DateCompare is recorded: its six later runs
  // are replays (a run with IF is not recorded, unless it is one IF statement).
  EXPECT_GE(replayed_ * 3, answered);
}

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
  return info.param.family + "_" + info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Scripts, ScriptCorpus, ::testing::ValuesIn(Corpus()), CaseName);
INSTANTIATE_TEST_SUITE_P(Scripts, ScriptCorpusStockFields, ::testing::ValuesIn(Corpus()), CaseName);
INSTANTIATE_TEST_SUITE_P(Scripts, ScriptCorpusUnwatched, ::testing::ValuesIn(Corpus()), CaseName);

TEST(ScriptCorpusFiles, HoldEnoughWellFormedCases) {
  std::size_t good = 0;
  for (const Case& c : Corpus()) {
    EXPECT_TRUE(c.parse_error.empty()) << c.parse_error;
    if (c.parse_error.empty()) ++good;
  }
  EXPECT_GE(good, 150u) << "cases in " << CorpusFolder().string();
}

}  // namespace
}  // namespace qorvintr::testing_support
