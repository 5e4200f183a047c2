// qorvintr explain: the interpreter's own account of a run, step by step, through its listener.
// The listener only watches: a run with one answers exactly as a run without.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "automation/text.h"
#include "cli/explain.h"
#include "cli/options.h"
#include "cli/session.h"

namespace qorvintr::cli {
namespace {

using automation::FromUtf8;
using automation::ToUtf8;

Options HostOptions() {
  Options options;
  options.errors = true;
  for (const char* f : {"Pages:Long=3", "Amount:Double=1.5", "Phone=555.1", "Sex=F",
                        "D:Date=3/14/2002", "T=9:30"}) {
    options.fields.push_back(ParseFieldDefinition(FromUtf8(f), "test"));
  }
  options.now = 37329.395833333336;
  return options;
}

struct Watched {
  std::string answer;
  std::u16string reports;
  std::vector<TraceStep> steps;
};

Watched RunScript(const char* script, bool listen) {
  FixedClock clock(HostOptions().now);
  Session session(HostOptions());
  Watched w;
  session.PrintErrorsInto(&w.reports);
  TraceRecorder trace;
  if (listen) session.Listen(&trace);
  w.answer = ToUtf8(ResultLine(session.Run(FromUtf8(script))));
  session.Listen(nullptr);
  w.steps = trace.steps();
  return w;
}

std::vector<std::string> Texts(const std::vector<TraceStep>& steps, const std::string& kind) {
  std::vector<std::string> out;
  for (const TraceStep& s : steps) {
    if (s.kind == kind) out.push_back(ToUtf8(s.text));
  }
  return out;
}

const char* const kScripts[] = {
    "Pages * 2 + 1",
    "(Amount - 1 ) * 2",
    "IF Sex = \"M\" THEN \"M\" ELSEIF Sex = \"F\" THEN \"F\" ELSE \"U\" END IF",
    "Replace Phone, \".\" , \"-\"",
    "Format Amount, \"0.00\"",
    "FormatHL7DateTime D, 0, /, True",
    "DateCat D T",
    "DateCompare D, \"3/15/2002\"",
    "1 / 0",
    "Nope",
};

TEST(Explain, AListenerChangesNothing) {
  for (const char* script : kScripts) {
    SCOPED_TRACE(script);
    const Watched quiet = RunScript(script, false);
    const Watched watched = RunScript(script, true);
    EXPECT_EQ(watched.answer, quiet.answer);
    EXPECT_EQ(watched.reports, quiet.reports);
    EXPECT_TRUE(quiet.steps.empty());
    EXPECT_FALSE(watched.steps.empty());
  }
}

TEST(Explain, EveryKindOfStepIsTold) {
  std::map<std::string, int> kinds;
  for (const char* script : kScripts) {
    for (const TraceStep& s : RunScript(script, true).steps) ++kinds[s.kind];
  }
  for (const char* kind : {"run", "word", "push", "reduce", "call", "branch", "failure", "remove",
                           "end"}) {
    EXPECT_GT(kinds[kind], 0) << kind;
  }
}

TEST(Explain, ReductionsGroupFromTheRightWithTheirRuleAndGeneratedNames) {
  const Watched w = RunScript("Pages * 2 + 1", true);
  EXPECT_EQ(w.answer, "Autodf6\tLong\t9");
  const std::vector<std::string> reduce = Texts(w.steps, "reduce");
  ASSERT_EQ(reduce.size(), 2u);
  EXPECT_EQ(reduce[0],
            "reduce Autodf2 = 2 (Long)  +  Autodf4 = 1 (Long)  [the same DataType: the values as "
            "they are]  -> Autodf5 = 3 (Long)");
  EXPECT_EQ(reduce[1],
            "reduce Pages = 3 (Long)  *  Autodf5 = 3 (Long)  [the same DataType: the values as "
            "they are]  -> Autodf6 = 9 (Long)");
  const std::vector<std::string> mixed = Texts(RunScript("Amount + Pages", true).steps, "reduce");
  ASSERT_EQ(mixed.size(), 1u);
  EXPECT_NE(mixed[0].find("[a Double among them: both as Double]"), std::string::npos) << mixed[0];
}

TEST(Explain, EveryTemporaryPushedIsRemovedOnce) {
  for (const char* script : kScripts) {
    SCOPED_TRACE(script);
    const Watched w = RunScript(script, true);
    std::map<std::pair<int, std::string>, int> held;
    for (const TraceStep& s : w.steps) {
      const std::string text = ToUtf8(s.text);
      if (s.kind == "push" && text.find("a temporary") != std::string::npos) {
        ++held[{s.level, text.substr(5, text.find(' ', 5) - 5)}];
      } else if (s.kind == "remove") {
        --held[{s.level, text.substr(7, text.find(' ', 7) - 7)}];
      }
    }
    for (const auto& [key, count] : held) EXPECT_LE(count, 0) << key.second;
  }
}

TEST(Explain, BranchesAndCallsCarryWhatTheyRead) {
  const Watched w =
      RunScript("IF Sex = \"M\" THEN \"M\" ELSEIF Sex = \"F\" THEN \"F\" ELSE \"U\" END IF", true);
  EXPECT_EQ(Texts(w.steps, "branch"),
            (std::vector<std::string>{
                "IF condition Sex = \"M\" is False (Boolean): ELSEIF runs",
                "IF condition Sex = \"F\" is True (Boolean): THEN runs"}));
  const Watched r = RunScript("Replace Phone, \".\" , \"-\"", true);
  EXPECT_EQ(Texts(r.steps, "call"),
            (std::vector<std::string>{"call Replace(field: \"Phone\", text: \"555.1\", find: \".\", "
                                      "replacement: \"-\", start: \"1\", count: \"-1\", "
                                      "compare: \"-1\")"}));
}

TEST(Explain, AFailureShowsItsReportAndItsWord) {
  const Watched w = RunScript("1 / 0", true);
  EXPECT_EQ(w.answer, "Error\tBoolean\tFalse");
  const std::vector<std::string> failures = Texts(w.steps, "failure");
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_NE(failures[0].find("at the word \"0\""), std::string::npos);
  // The report comes as the host got it, before the failure it led to.
  TraceRecorder trace;
  Options options = HostOptions();
  FixedClock clock(options.now);
  Session session(options);
  std::u16string reports;
  session.PrintErrorsInto(&reports);
  trace.FollowReports(&reports);
  session.Listen(&trace);
  session.Run(u"1 / 0");
  session.Listen(nullptr);
  trace.TakeReports();
  const auto& steps = trace.steps();
  const auto report = std::find_if(steps.begin(), steps.end(),
                                   [](const TraceStep& s) { return s.kind == "report"; });
  const auto failure = std::find_if(steps.begin(), steps.end(),
                                    [](const TraceStep& s) { return s.kind == "failure"; });
  ASSERT_NE(report, steps.end());
  ASSERT_NE(failure, steps.end());
  EXPECT_LT(report - steps.begin(), failure - steps.begin());
  EXPECT_NE(ToUtf8(report->text).find("Division by zero"), std::string::npos);
}

}  // namespace
}  // namespace qorvintr::cli
