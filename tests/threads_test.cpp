// The library used by several threads at once: each thread keeps its own interpreter, its own
// collection and error object, and runs the whole script corpus (tests/scripts/*.cases) through
// them, one case after the other as a long-lived host does (fields replaced, Init, run,
// ResetMemory). Every thread must give, case for case, exactly what one thread alone gives: the
// result line, every ReportError call and log entry in order, the instance counter back, and
// only the case's own fields left in the collection. The tsan preset runs this test under
// ThreadSanitizer (scripts/test.sh).
//
// What the threads share is what every host in a process shares: the creation registry (one log
// creator and the data field creator, registered before the threads start) and the fixed clock.
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "automation/datetime.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter_seam.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "qorvintr/convert.h"
#include "scripts/case_file.h"
#include "scripts/case_fields.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;
using engine::Interpreter;
using engine::InterpreterSeam;
using scripts::Case;

constexpr int kThreads = 8;

std::filesystem::path CorpusFolder() {
  return std::filesystem::path(__FILE__).parent_path() / "scripts";
}

std::string Utf8(std::u16string_view s) { return automation::ToUtf8(s); }

// A value as the command prints it (Empty as the empty text, Null as "Null").
std::string ValueText(const Value& v) {
  try {
    Value d = automation::Dereference(v);
    if (d.IsNull()) return "Null";
    if (d.IsEmpty() || d.IsMissing()) return "";
    return Utf8(automation::CStr(d));
  } catch (const automation::AutomationError& e) {
    return "<error " + std::to_string(e.Number()) + ">";
  }
}

// The running thread's record of what its current case reported and logged. The log creator is
// one for the whole process; the log object it makes writes to the record of the thread that
// asked for it, which is the thread whose interpreter reads its INI file.
thread_local std::string* t_transcript = nullptr;

class ThreadLog : public contract::LogWriter {
 public:
  Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
             std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view text) override {
    if (t_transcript) *t_transcript += "log: " + scripts::Escape(Utf8(text)) + "\n";
    return Value::Long(0);
  }
};

struct Outcome {
  std::string result;      // the result line
  std::string transcript;  // every report and log entry, in order, then what was left
};

// One host: its own interpreter, collection and error object, over every case in turn.
std::vector<Outcome> RunCorpus(const std::vector<Case>& corpus) {
  std::vector<Outcome> out(corpus.size());
  TempFolder folder;
  auto fields = std::make_shared<components::DataFieldCollection>();
  auto errors = std::make_shared<components::ErrorRecorder>();
  errors->SetByReferenceHook([&](Value&, Value&, Value&) {
    const auto& call = errors->Calls().back();
    std::string text = "error:";
    for (std::size_t i = 0; i < 11; ++i) text += (i ? " | " : " ") + ValueText(call[i]);
    if (t_transcript) *t_transcript += scripts::Escape(text) + "\n";
  });
  Interpreter interpreter;
  for (std::size_t i = 0; i < corpus.size(); ++i) {
    const Case& c = corpus[i];
    Outcome& o = out[i];
    t_transcript = &o.transcript;
    fields->Fields().Clear();
    errors->Clear();
    bool fields_ok = true;
    std::string why;
    for (const std::string& line : c.field_lines) fields_ok = scripts::AddCaseField(*fields, line, why) && fields_ok;
    if (!fields_ok) o.transcript += "a field line does not parse\n";
    std::vector<std::u16string> host_names;
    for (const auto& entry : fields->Fields()) host_names.push_back(entry.key);

    std::u16string ini = folder.Write("case" + std::to_string(i) + ".ini", scripts::IniText(c)).u16string();
    support::modDebugLog::ResetDebugLog();
    interpreter.SetOrlinaIniFilename(ini);
    contract::DataFieldsRef f = fields;
    contract::HostErrorRef e = errors;
    std::u16string system = automation::FromUtf8(scripts::kSystem);
    std::u16string application = automation::FromUtf8(scripts::kApplication);
    if (!interpreter.Init(f, e, system, application)) o.transcript += "Init answered False\n";

    std::u16string script = automation::FromUtf8(c.script);
    contract::DataFieldRef result = interpreter.RealizeRegularExpression(script);
    o.result = "Nothing";
    if (result) {
      o.result = Utf8(result->Name()) + "\t" + Utf8(result->DataType()) + "\t" + ValueText(result->Data());
    }
    o.transcript += "instance counter " + std::to_string(InterpreterSeam(interpreter).InstanceCounter()) + "\n";
    std::vector<std::u16string> left;
    for (const auto& entry : fields->Fields()) left.push_back(entry.key);
    if (left != host_names) o.transcript += "the collection holds more or fewer than the case's fields\n";
    interpreter.ResetMemory();
  }
  t_transcript = nullptr;
  return out;
}

class Threads : public ::testing::Test {
 protected:
  void SetUp() override {
    corpus_ = scripts::ReadCorpus(CorpusFolder());
    automation::SetClock([] { return scripts::kNowSerial; });
    contract::RegisterCreator(contract::kLogProgId, [] { return std::make_shared<ThreadLog>(); });
    contract::RegisterCreator(contract::kDataFieldProgId,
                              [] { return std::make_shared<components::DataFieldObject>(); });
  }
  void TearDown() override {
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(contract::kDataFieldProgId);
    support::modDebugLog::ResetDebugLog();
    automation::SetClock({});
  }
  std::vector<Case> corpus_;
};

// The one-thread run is itself right: every result line, report and log entry is the case's.
TEST_F(Threads, OneThreadGivesEveryCaseItsOwnAnswer) {
  ASSERT_GE(corpus_.size(), 150u);
  const std::string banner = "log: " + scripts::Escape(scripts::BannerEntry(Utf8(Interpreter().Release()))) + "\n";
  std::vector<Outcome> alone = RunCorpus(corpus_);
  for (std::size_t i = 0; i < corpus_.size(); ++i) {
    const Case& c = corpus_[i];
    std::string expected = c.logging ? banner : "";
    for (const scripts::Event& e : c.events) {
      expected += scripts::Escape((e.kind == scripts::Event::kError ? "error: " : "log: ") + e.text) + "\n";
    }
    expected += "instance counter -1\n";
    EXPECT_EQ(scripts::Escape(alone[i].result), scripts::Escape(c.result)) << c.family << ":" << c.name;
    EXPECT_EQ(alone[i].transcript, expected) << c.family << ":" << c.name;
  }
}

TEST_F(Threads, EightThreadsAnswerExactlyAsOneThreadDoes) {
  ASSERT_GE(corpus_.size(), 150u);
  const std::vector<Outcome> alone = RunCorpus(corpus_);

  std::vector<std::vector<Outcome>> results(kThreads);
  {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] { results[static_cast<std::size_t>(t)] = RunCorpus(corpus_); });
    }
    for (std::thread& th : threads) th.join();
  }

  for (int t = 0; t < kThreads; ++t) {
    const std::vector<Outcome>& mine = results[static_cast<std::size_t>(t)];
    ASSERT_EQ(mine.size(), alone.size()) << "thread " << t;
    for (std::size_t i = 0; i < alone.size(); ++i) {
      const Case& c = corpus_[i];
      EXPECT_EQ(mine[i].result, alone[i].result) << "thread " << t << ", " << c.family << ":" << c.name;
      EXPECT_EQ(mine[i].transcript, alone[i].transcript) << "thread " << t << ", " << c.family << ":" << c.name;
    }
  }
}

// The debug log's settings and log object belong to the thread, not to the interpreter: a second
// interpreter's Init on the same thread decides for the first one too, and an interpreter run on
// another thread logs by that thread's settings (here: none).
TEST_F(Threads, TheDebugLogBelongsToTheThreadThatCalledInit) {
  TempFolder folder;
  std::u16string log_on = folder.Write("on.ini", "[Upload]\r\nWriteDebugLog=True\r\n").u16string();
  std::u16string log_off = folder.Write("off.ini", "[Upload]\r\nWriteDebugLog=False\r\n").u16string();
  auto fields = std::make_shared<components::DataFieldCollection>();
  auto errors = std::make_shared<components::ErrorRecorder>();
  contract::DataFieldsRef f = fields;
  contract::HostErrorRef e = errors;
  std::u16string system = u"S", application = u"A";
  const std::u16string script = u"DateCompare 3/14/2002, 3/15/2002";
  std::string transcript;
  t_transcript = &transcript;
  support::modDebugLog::ResetDebugLog();

  Interpreter first;
  first.SetOrlinaIniFilename(log_on);
  ASSERT_TRUE(first.Init(f, e, system, application));
  std::u16string s1 = script;
  first.RealizeRegularExpression(s1);
  EXPECT_NE(transcript.find("Calling DateCompare"), std::string::npos) << transcript;

  // Another thread: its own settings, the log is off there.
  std::string other_transcript;
  std::thread([&] {
    t_transcript = &other_transcript;
    std::u16string s2 = script;
    first.RealizeRegularExpression(s2);
    t_transcript = nullptr;
  }).join();
  EXPECT_EQ(other_transcript, "");

  // A second interpreter initialised on this thread with the log off switches it off for both.
  transcript.clear();
  Interpreter second;
  second.SetOrlinaIniFilename(log_off);
  ASSERT_TRUE(second.Init(f, e, system, application));
  std::u16string s3 = script;
  first.RealizeRegularExpression(s3);
  EXPECT_EQ(transcript, "");
  t_transcript = nullptr;
}

}  // namespace
}  // namespace qorvintr::testing_support
