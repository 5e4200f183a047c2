// Unwatched runs: a run that only the interpreter's own code can see keeps its temporaries to
// itself; everything else declines and the general run answers. Each test runs its script both
// ways on the same host (ResetMemory between) and compares all the host can see.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "automation/datetime.h"
#include "qorvintr/components/defaults.h"
#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

using automation::Value;

// What a host can see of one run.
struct Seen {
  std::u16string result;
  std::vector<std::u16string> reported;
  std::vector<std::u16string> log;
  std::vector<std::u16string> fields;
  bool operator==(const Seen&) const = default;
};

void PrintTo(const Seen& s, std::ostream* os) {
  *os << automation::ToUtf8(s.result) << " reports " << s.reported.size() << " log "
      << s.log.size() << " fields " << s.fields.size();
}

// A host's own kind of field: reading it may run the host's code.
class HostOwnField : public components::DataFieldObject {};

// A listener that only listens.
class QuietListener : public engine::RunListener {
 public:
  void OnRunStart(std::int16_t, std::u16string_view) override {}
  void OnRunEnd(std::int16_t, const contract::DataFieldRef&) override {}
  void OnWord(std::int16_t, std::u16string_view) override {}
  void OnPush(std::int16_t, std::u16string_view, const contract::DataFieldRef&, bool) override {}
  void OnReduce(std::int16_t, const contract::DataFieldRef&, std::u16string_view,
                const contract::DataFieldRef&, engine::UnifyRule, const Value&,
                std::u16string_view) override {}
  void OnCall(std::int16_t, std::u16string_view,
              const std::vector<std::pair<std::u16string, std::u16string>>&) override {}
  void OnBranch(std::int16_t, std::u16string_view, const Value&, std::u16string_view) override {}
  void OnFailure(std::int16_t, std::int32_t, std::u16string_view, std::u16string_view) override {}
  void OnRemove(std::int16_t, std::u16string_view) override {}
};

class Unwatched : public ScriptTest {
 protected:
  void SetUp() override {
    ScriptTest::SetUp();
    contract::UnregisterCreator(contract::kDataFieldProgId);
    ASSERT_EQ(components::RegisterDefaultComponents(), 1);
    AddField("Count", Value::Long(5), "Long");
    interpreter->ResetMemory();
  }

  // A field as the host reads it; a field in its Data (an IF's value) the same way.
  static std::u16string Members(const contract::DataFieldRef& field) {
    const Value data = field->Data();
    std::u16string text = field->Name() + u"|" + field->DataType() + u"|";
    if (!data.IsObject()) return text + automation::CStr(data);
    auto inner = std::dynamic_pointer_cast<contract::DataField>(data.GetObject());
    return text + (inner ? u"{" + Members(inner) + u"}" : u"(object)");
  }

  // One run as the host sees it.
  Seen RunOnce(const char* script) {
    const std::size_t reports_before = errors->Calls().size();
    log->entries.clear();
    contract::DataFieldRef result = Run(U(script));
    Seen seen;
    seen.result = u"Nothing";
    if (result) seen.result = Members(result);
    for (std::size_t i = reports_before; i < errors->Calls().size(); ++i) {
      seen.reported.push_back(automation::CStr(errors->Calls()[i][1]) + u" in " +
                              errors->Calls()[i][10].GetString());
    }
    seen.log = log->entries;
    for (const auto& entry : fields->Fields()) seen.fields.push_back(entry.key);
    return seen;
  }

  // The script the general way, then with unwatched runs allowed, each after ResetMemory so that
  // both start alike; both must look the same. Answers what the host saw.
  Seen BothWays(const char* script) {
    interpreter->ResetMemory();
    seam().AllowUnwatched(false);
    const Seen general = RunOnce(script);
    const std::string general_tables = Tables();
    interpreter->ResetMemory();
    seam().AllowUnwatched(true);
    const Seen unwatched = RunOnce(script);
    EXPECT_EQ(unwatched, general) << script;
    EXPECT_EQ(Tables(), general_tables) << script;
    return unwatched;
  }

  // The name list and the hold table: tops, bounds and entries.
  std::string Tables() {
    InterpreterSeam s = seam();
    std::string out = "names " + std::to_string(s.AutoNameTop()) + "/" +
                      std::to_string(s.AutoNameListUBound());
    for (std::int32_t i = 0; i <= s.AutoNameListUBound(); ++i) {
      out += " [" + automation::ToUtf8(s.AutoName(i)) + "]";
    }
    out += " holds " + std::to_string(s.HoldArrayUBound(1)) + "x" +
           std::to_string(s.HoldArrayUBound(2)) + " tops";
    for (std::int32_t level = 0; level <= s.HoldTopUBound(); ++level) {
      out += " " + std::to_string(s.HoldTop(level));
      for (std::int32_t slot = 0; slot <= s.HoldArrayUBound(2); ++slot) {
        if (!s.Hold(level, slot).empty()) out += "!" + automation::ToUtf8(s.Hold(level, slot));
      }
    }
    return out + " instances " + std::to_string(s.InstanceCounter());
  }

  // A host's own kind of field in the collection.
  void AddOwnField(std::u16string name, std::u16string type, Value data) {
    contract::DataFieldRef own = std::make_shared<HostOwnField>();
    own->SetName(std::move(name));
    own->SetDataType(std::move(type));
    own->SetData(std::move(data));
    ASSERT_EQ(fields->AddObject(own), 0);
  }

  std::int32_t Answered() { return seam().UnwatchedAnswered(); }
  std::int32_t Declined() { return seam().UnwatchedDeclined(); }
};

TEST_F(Unwatched, ARunOfOperatorsStaysUnwatchedAndEndsAsTheGeneralRun) {
  const Seen seen = BothWays("(Count + 8 ) * 2");
  EXPECT_EQ(Answered(), 1);
  EXPECT_EQ(Declined(), 0);
  // "(", "8", "+", Count + 8, "*", "2", then the product: the seventh temporary.
  EXPECT_EQ(seen.result, u"Autodf7|Long|26");
  EXPECT_TRUE(seen.reported.empty());
}

TEST_F(Unwatched, AHostFieldAloneAnswersItself) {
  const Seen seen = BothWays("Count");
  EXPECT_EQ(Answered(), 1);
  EXPECT_EQ(seen.result, u"Count|Long|5");
}

TEST_F(Unwatched, ATypeMismatchMidScriptDeclinesAndTheGeneralRunReports) {
  const Seen seen = BothWays("Count + \"abc\" * 2");
  EXPECT_EQ(Answered(), 0);
  EXPECT_EQ(Declined(), 1);
  EXPECT_FALSE(seen.reported.empty());
}

TEST_F(Unwatched, ASyntaxErrorDeclinesAndTheGeneralRunLogsIt) {
  const Seen seen = BothWays("5 6");
  EXPECT_EQ(Declined(), 1);
  EXPECT_FALSE(seen.log.empty());
}

TEST_F(Unwatched, AHostFieldThatIsNotStockDeclines) {
  AddOwnField(u"Own", u"Long", Value::Long(2));
  if (HasFatalFailure()) return;
  const Seen seen = BothWays("Own + 1");
  EXPECT_EQ(Answered(), 0);
  EXPECT_EQ(Declined(), 1);
  EXPECT_EQ(seen.result, u"Autodf3|Long|3");
}

TEST_F(Unwatched, AStockHostFieldHoldingAnObjectDeclines) {
  AddField("Ref", Value::Object(Field(u"Count")), "Variant");
  BothWays("Ref + 1");
  EXPECT_EQ(Answered(), 0);
  EXPECT_EQ(Declined(), 1);
}

TEST_F(Unwatched, AListenerKeepsRunsGeneral) {
  QuietListener listener;
  interpreter->SetListener(&listener);
  BothWays("Count + 8");
  interpreter->SetListener(nullptr);
  EXPECT_EQ(Answered() + Declined(), 0);
}

TEST_F(Unwatched, AWordThatCouldNameATemporaryDeclines) {
  BothWays("autodf1 + 1");
  EXPECT_EQ(Declined(), 1);
  BothWays("8 + AUTODF2");
  EXPECT_EQ(Declined(), 2);
  // The general run finds the temporary of that name: the "+" just made.
  const Seen seen = BothWays("Count + Autodf1");
  EXPECT_EQ(Declined(), 3);
  EXPECT_EQ(seen.result, u"Autodf2|String|5+");
  EXPECT_EQ(Answered(), 0);
}

TEST_F(Unwatched, AHostFieldNamedLikeATemporaryKeepsRunsGeneral) {
  AddField("Autodf3", Value::Long(1), "Long");
  const Seen seen = BothWays("Count + 8");
  EXPECT_EQ(Answered() + Declined(), 0);
  // The numbering skipped the host's name.
  EXPECT_EQ(seen.result, u"Autodf4|Long|13");
  std::u16string name = u"AUTODF3";
  fields->Remove(name);
  BothWays("Count + 8");
  EXPECT_EQ(Answered(), 1);
}

TEST_F(Unwatched, ARunAtADeeperLevelKeepsRunsGeneral) {
  seam().InstanceCounterRef() = 20;
  seam().AllowUnwatched(true);
  contract::DataFieldRef result = Run(u"Count + 8");
  EXPECT_TRUE(IsError(result));
  EXPECT_EQ(Answered() + Declined(), 0);
  EXPECT_FALSE(log->entries.empty());
}

TEST_F(Unwatched, AnIfStaysUnwatchedAndEndsAsTheGeneralRun) {
  // The IF's value is a Variant temporary holding the field its branch answered: both named as
  // the general run names them.
  Seen seen = BothWays("IF Count > 1 THEN 1 ELSE 2 END IF");
  EXPECT_EQ(Answered(), 1);
  EXPECT_EQ(seen.result, u"Autodf1|Variant|{Autodf1|Long|1}");
  seen = BothWays("8 + IF Count > 100 THEN \"HIGH\" ELSEIF Count > 2 THEN \"MID\" ELSE \"LOW\" END IF");
  EXPECT_EQ(Answered(), 2);
  EXPECT_EQ(seen.result, u"Autodf5|String|8MID");
  // A condition false with no ELSE answers its value.
  seen = BothWays("IF Count > 100 THEN 1 END IF");
  EXPECT_EQ(seen.result, u"Autodf1|Boolean|False");
  EXPECT_EQ(Answered(), 3);
  // A script that is one IF statement is kept as its parts and replayed; one with a word
  // before the IF is not.
  BothWays("IF Count > 1 THEN 1 ELSE 2 END IF");
  EXPECT_EQ(seam().RecordedReplayed(), 1);
  BothWays("8 + IF Count > 100 THEN \"HIGH\" ELSEIF Count > 2 THEN \"MID\" ELSE \"LOW\" END IF");
  EXPECT_EQ(seam().RecordedReplayed(), 1);
  EXPECT_EQ(Declined(), 0);
  // An error in the condition declines, and the general run reports it.
  seen = BothWays("IF Count + \"x\" THEN 1 ELSE 2 END IF");
  EXPECT_EQ(Declined(), 1);
  EXPECT_FALSE(seen.reported.empty());
}

TEST_F(Unwatched, BuiltInsStayUnwatchedButDateCompare) {
  AddField("Name", Value::String(u"Smith, John"), "String");
  AddField("D", Value::String(u"3/14/2002"), "Date");
  AddField("T", Value::String(u"9:30 AM"), "String");
  BothWays("8 + format Count, \"0.00\"");
  EXPECT_EQ(BothWays("Replace Name, \",\" , \"^\"").result, u"Autodf1|String|Smith^ John");
  BothWays("IF Count > 1 THEN 1 ELSE 2 END IF + format Count, \"0.00\"");
  EXPECT_EQ(BothWays("FormatHL7DateTime D, T, /, True, True, -0500").result,
            u"Autodf1|String|20020314093000-0500");
  EXPECT_EQ(BothWays("DateCat D T").result, u"Autodf1|Date|3/14/2002 9:30:00 AM");
  EXPECT_EQ(Answered(), 5);
  EXPECT_EQ(Declined(), 0);
  // DateCompare writes its steps to the debug log: a script naming it is not tried.
  BothWays("IF DateCompare \"1/1/2000\" \"1/2/2000\" = 1 THEN 1 ELSE 2 END IF");
  EXPECT_EQ(Answered() + Declined(), 5);
  // A piece of a built-in's name is a function word too: it fails, and the general run reports.
  const Seen seen = BothWays("8 + Cat");
  EXPECT_EQ(Declined(), 1);
  EXPECT_FALSE(seen.log.empty());
  // An IF's branch that fails logs its error and the IF goes on: the run declines, and the
  // general run logs it (the branch ends at the comma: "ReplaceName," is no word it knows).
  const Seen failed = BothWays("IF Count > 1 THEN Replace Name, \",\" , \"^\" ELSE 2 END IF");
  EXPECT_EQ(Declined(), 2);
  EXPECT_FALSE(failed.log.empty());
  EXPECT_EQ(failed.result, u"Autodf1|Variant|{Error|Boolean|False}");
}

TEST_F(Unwatched, ABuiltInReadingAFieldThatCouldRunTheHostsCodeDeclines) {
  AddField("Ref", Value::Object(Field(u"Count")), "Variant");
  BothWays("Format Ref, \"0.00\"");
  EXPECT_EQ(Answered(), 0);
  EXPECT_EQ(Declined(), 1);
  AddOwnField(u"Own", u"String", Value::String(u"a,b"));
  if (HasFatalFailure()) return;
  const Seen seen = BothWays("Replace Own, \",\" , \"^\"");
  EXPECT_EQ(Answered(), 0);
  EXPECT_EQ(Declined(), 2);
  EXPECT_EQ(seen.result, u"Autodf1|String|a^b");
}

TEST_F(Unwatched, OnlyTheWholeNameDateCompareKeepsAScriptFromBeingTried) {
  BothWays("8 + DATECOMPARE");
  EXPECT_EQ(Answered() + Declined(), 0);
  // A word that only holds a name, or a piece of one, is tried and declines where it is read.
  BothWays("8 + Count + Formats");
  EXPECT_EQ(Answered() + Declined(), 1);
  BothWays("8 + Count + Compare");
  EXPECT_EQ(Answered() + Declined(), 2);
  BothWays("8 + Count + DateCompared");
  EXPECT_EQ(Answered() + Declined(), 3);
  BothWays("8 + Count + ADateCompare");
  EXPECT_EQ(Answered() + Declined(), 4);
  // The whole name between other characters, at the start or at the end.
  BothWays("(dateCompare(Count, 8) )");
  BothWays("\"x\"&DateCompare");
  BothWays("DateCompare");
  EXPECT_EQ(Answered() + Declined(), 4);
}

TEST_F(Unwatched, TheAnswerAboutDateCompareIsKeptWithTheTextsWords) {
  // The first run of a text asks, the next runs of the same text take the answer kept with its
  // words: the script naming DateCompare is never tried, the other is tried every time.
  const char* naming = "IF DateCompare \"1/1/2000\" \"1/2/2000\" = 1 THEN 1 ELSE 2 END IF";
  const char* not_naming = "Format Count, \"0.00\"";
  for (int run = 1; run <= 3; ++run) {
    EXPECT_EQ(BothWays(naming).result, u"Autodf1|Variant|{Autodf1|Long|2}");
    EXPECT_EQ(Answered() + Declined(), run - 1);
    BothWays(not_naming);
    EXPECT_EQ(Answered(), run);
  }
  EXPECT_EQ(Declined(), 0);
}

TEST_F(Unwatched, ANonStockCreatorKeepsRunsGeneral) {
  contract::UnregisterCreator(contract::kDataFieldProgId);
  contract::RegisterCreator(contract::kDataFieldProgId,
                            [] { return std::make_shared<components::DataFieldObject>(); });
  BothWays("Count + 8");
  EXPECT_EQ(Answered() + Declined(), 0);
}

TEST_F(Unwatched, TheTablesEndAsTheGeneralRunLeavesThemWhenTheyGrow) {
  // 23 temporaries read and 11 reductions: the name list and the hold slots grow several times.
  const char* script = "1 + 2 + 3 + 4 + 5 + 6 + 7 + 8 + 9 + 10 + 11 + 12";
  const Seen seen = BothWays(script);
  EXPECT_EQ(seen.result, u"Autodf34|Long|78");
  EXPECT_GT(seam().AutoNameListUBound(), 30);
  EXPECT_GT(seam().HoldArrayUBound(2), 30);
  // Again without a reset between, from the grown tables, both ways.
  seam().AllowUnwatched(false);
  RunOnce(script);
  const std::string general = Tables();
  seam().AllowUnwatched(true);
  const Seen again = RunOnce(script);
  EXPECT_EQ(Tables(), general);
  EXPECT_EQ(again, seen);
  EXPECT_EQ(Answered(), 2);
}

TEST_F(Unwatched, TheCollectionCountsKeysThatBeginLikeATemporarysName) {
  components::FieldCollection col;
  auto field = std::make_shared<components::DataFieldObject>();
  EXPECT_TRUE(col.TryAdd(field, u"AUTODF9"));
  EXPECT_TRUE(col.TryAdd(field, u"autodfx"));
  EXPECT_TRUE(col.TryAdd(field, u"Autod"));
  EXPECT_TRUE(col.TryAdd(field, u"Count"));
  EXPECT_FALSE(col.TryAdd(field, u"autoDF9"));
  EXPECT_EQ(col.GeneratedLikeKeys(), 2u);
  EXPECT_TRUE(col.TryRemove(u"autodf9"));
  EXPECT_EQ(col.GeneratedLikeKeys(), 1u);
  EXPECT_TRUE(col.TryRemove(u"Count"));
  EXPECT_EQ(col.GeneratedLikeKeys(), 1u);
  col.Clear();
  EXPECT_EQ(col.GeneratedLikeKeys(), 0u);
}

// Recorded runs: a script that ran unwatched once runs again from its recording. Each test
// records a script, changes what the host holds, and compares the next run with the general run
// of the same moment (BothWays runs the general way first, then the recording).
class Recorded : public Unwatched {
 protected:
  // Runs the script once unwatched, so that it is recorded.
  void Record(const char* script) {
    interpreter->ResetMemory();
    seam().AllowUnwatched(true);
    RunOnce(script);
    ASSERT_GT(seam().RecordedScripts(), 0u) << script;
  }
  std::int32_t Replayed() { return seam().RecordedReplayed(); }
};

TEST_F(Recorded, TheSecondRunOfAScriptIsReplayedAndEndsAsTheGeneralRun) {
  Record("(Count + 8 ) * 2");
  EXPECT_EQ(Replayed(), 0);
  const Seen seen = BothWays("(Count + 8 ) * 2");
  EXPECT_EQ(Replayed(), 1);
  EXPECT_EQ(seen.result, u"Autodf7|Long|26");
  // Blanks around the script are trimmed before it is looked up.
  BothWays("  (Count + 8 ) * 2 ");
  EXPECT_EQ(Replayed(), 2);
}

TEST_F(Recorded, EachReplayAnswersAFieldOfItsOwn) {
  Record("Count * 3");
  contract::DataFieldRef first = Run(u"Count * 3");
  contract::DataFieldRef second = Run(u"Count * 3");
  EXPECT_EQ(Replayed(), 2);
  ASSERT_TRUE(first && second);
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(Line(first), u"Autodf|Long|15");
  first->SetData(Value::Long(0));
  EXPECT_EQ(Line(second), u"Autodf|Long|15");
  EXPECT_EQ(first->DataClass(), u"Auto");
  EXPECT_EQ(second->DataClass(), u"Auto");
}

TEST_F(Recorded, TheFieldsValuesAndKindsOfTheDayDecide) {
  Record("Count & \"x\" + 1");
  Field(u"Count")->SetData(Value::String(u"7"));
  Field(u"Count")->SetDataType(u"String");
  const Seen seen = BothWays("Count & \"x\" + 1");
  EXPECT_EQ(Replayed(), 1);
  EXPECT_TRUE(seen.reported.empty());
  Field(u"Count")->SetData(Value::Double(2.5));
  Field(u"Count")->SetDataType(u"Double");
  BothWays("Count & \"x\" + 1");
  EXPECT_EQ(Replayed() + Declined(), 2);
}

// A literal's answer to IsDate is found when it is recorded: whether a text is a date does not
// change with the year ("2/29" reads as February 2029 when this year has no 29 February).
TEST_F(Recorded, ALiteralAnswersIsDateAsTheGeneralRunInEveryYear) {
  struct ClockInYear {
    explicit ClockInYear(int year) {
      const double now = automation::DateSerial(year, 6, 1);
      automation::SetClock([now] { return now; });
    }
    ~ClockInYear() { automation::SetClock(nullptr); }
  };
  // A date on the left: the right text is none, the run answers the mismatch.
  const char* const kLeapDay = "\"2/29\" & \"x\"";
  // No date on the left: two texts joined.
  const char* const kText = "\"2/29x\" & \"y\"";
  // Two dates: "&" leaves the value as it was (none yet).
  const char* const kTimes = "\"1:30\" & \"2:00\"";
  Record(kText);
  Record(kTimes);
  for (const int y : {2023, 2024}) {
    const ClockInYear year(y);
    const std::int32_t before = Replayed();
    const Seen leap = BothWays(kLeapDay);
    EXPECT_EQ(leap.result, u"Error|Boolean|False") << y;
    EXPECT_FALSE(leap.reported.empty()) << y;
    EXPECT_EQ(BothWays(kText).result, u"Autodf4|String|2/29xy") << y;
    const Seen times = BothWays(kTimes);
    EXPECT_TRUE(times.reported.empty()) << y;
    EXPECT_EQ(Replayed(), before + 2) << y;
  }
}

// A literal's reading as a number is found when it is recorded, on the left and on the right.
TEST_F(Recorded, ALiteralAnswersIsNumericAsTheGeneralRun) {
  AddField("Num", Value::Long(41), "Long");
  const char* const kScripts[] = {"\"12\" + Num", "\"x\" + Num", "Num + \" 1e2\"",
                                  "Num & \"abc\"", "\"&H10\" - Num"};
  for (const char* script : kScripts) Record(script);
  const std::int32_t before = Replayed();
  std::vector<std::u16string> results;
  for (const char* script : kScripts) results.push_back(BothWays(script).result);
  EXPECT_EQ(Replayed(), before + 5);
  EXPECT_EQ(results, (std::vector<std::u16string>{u"Autodf3|Long|53", u"Autodf3|String|x41",
                                                  u"Autodf3|Long|141", u"Autodf3|String|41abc",
                                                  u"Autodf3|Long|-25"}));
}

// The replay moves a result's text into its temporary rather than copying it; an "&" that
// then meets two numbers or two dates keeps that text, as the general run keeps its value.
TEST_F(Recorded, AnAmpersandThatKeepsTheLastResultKeepsTheTextTheReplayMoved) {
  const char* const kNumbers = "5 & \"1234\" & \"56789\"";
  const char* const kDates = "\"3/4/2021\" & \"1/2/\" & \"2020\"";
  // Trimmed when its temporary is made: the text is copied, and what "&" keeps is untrimmed.
  const char* const kTrimmed = "5 & \" 1234\" & \"56789\"";
  Record(kNumbers);
  Record(kDates);
  Record(kTrimmed);
  const std::int32_t before = Replayed();
  EXPECT_EQ(BothWays(kNumbers).result, u"Autodf7|String|123456789");
  EXPECT_EQ(BothWays(kDates).result, u"Autodf7|String|1/2/2020");
  EXPECT_EQ(BothWays(kTrimmed).result, u"Autodf7|String|123456789");
  EXPECT_EQ(Replayed(), before + 3);
}

TEST_F(Recorded, AFieldGoneSinceDeclinesAndTheGeneralRunAnswers) {
  AddField("Gone", Value::Long(1), "Long");
  Record("Gone + 1");
  std::u16string name = u"Gone";
  fields->Remove(name);
  const Seen seen = BothWays("Gone + 1");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_EQ(seen.result, u"Error|Boolean|False");
  EXPECT_FALSE(seen.log.empty());
}

TEST_F(Recorded, AFieldThatNowHoldsAnObjectOrIsTheHostsOwnDeclines) {
  AddField("Ref", Value::Long(1), "Long");
  Record("Ref + 1");
  Field(u"Ref")->SetData(Value::Object(Field(u"Count")));
  BothWays("Ref + 1");
  EXPECT_EQ(Replayed(), 0);
  std::u16string name = u"Ref";
  fields->Remove(name);
  AddOwnField(u"Ref", u"Long", Value::Long(2));
  if (HasFatalFailure()) return;
  const Seen seen = BothWays("Ref + 1");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_EQ(seen.result, u"Autodf3|Long|3");
}

TEST_F(Recorded, AnErrorOnTheValuesOfTheDayIsReportedByTheGeneralRun) {
  AddField("Divisor", Value::Long(4), "Long");
  Record("Count / Divisor");
  Field(u"Divisor")->SetData(Value::Long(0));
  const Seen seen = BothWays("Count / Divisor");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_FALSE(seen.reported.empty());
}

TEST_F(Recorded, ADateLiteralIsReadAgainAtEachRun) {
  // A date without a year takes the clock's.
  automation::SetClock([] { return 36526.0; });  // 1/1/2000
  Record("#3/14# + 1");
  automation::SetClock([] { return 38353.0; });  // 1/1/2005
  const Seen seen = BothWays("#3/14# + 1");
  EXPECT_EQ(Replayed(), 1);
  EXPECT_EQ(seen.result, u"Autodf4|Date|3/15/2005");
}

TEST_F(Recorded, AHostFieldNamedLikeATemporaryStillKeepsRunsGeneral) {
  Record("Count + 8");
  AddField("Autodf3", Value::Long(1), "Long");
  const Seen seen = BothWays("Count + 8");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_EQ(seen.result, u"Autodf4|Long|13");
}

TEST_F(Recorded, ANewWordInTheListsForgetsEveryRecording) {
  Record("Count + 8");
  EXPECT_EQ(seam().RecordedScripts(), 1u);
  EXPECT_TRUE(seam().AddOperator(u"^"));
  EXPECT_EQ(seam().RecordedScripts(), 0u);
  // A new function name changes what a word is taken for.
  Record("Count + 8");
  EXPECT_EQ(seam().RecordedScripts(), 1u);
  EXPECT_TRUE(seam().AddFunction(u"Zap"));
  EXPECT_EQ(seam().RecordedScripts(), 0u);
}

TEST_F(Recorded, AnIfsConditionAndBranchRunFromTheirRecordingsWithinTheRun) {
  const char* script = "IF Count > 3 THEN Count * 2 + 8 ELSE \"LOW\" & Count END IF";
  Seen seen = BothWays(script);
  // The condition, the branch taken and the statement are recorded.
  EXPECT_EQ(seam().RecordedScripts(), 3u);
  EXPECT_TRUE(seam().IsRecorded(u"Count > 3"));
  // The branch as its words were joined, without blanks.
  EXPECT_TRUE(seam().IsRecorded(u"Count*2+8"));
  EXPECT_TRUE(seam().IsRecorded(automation::FromUtf8(script)));
  EXPECT_EQ(seam().NestedReplayed(), 0);
  EXPECT_EQ(seen.result, u"Autodf1|Variant|{Autodf6|Long|50}");
  seen = BothWays(script);
  EXPECT_EQ(seam().NestedReplayed(), 2);
  EXPECT_EQ(seen.result, u"Autodf1|Variant|{Autodf6|Long|50}");
  EXPECT_EQ(Replayed(), 1);
  // The other branch has not been read: the run reads the script word by word (the condition
  // replayed on the way), and the ELSE branch runs the general way, recorded on the way.
  Field(u"Count")->SetData(Value::Long(1));
  seen = BothWays(script);
  EXPECT_EQ(seam().NestedReplayed(), 4);
  EXPECT_EQ(seam().RecordedScripts(), 4u);
  EXPECT_EQ(Replayed(), 1);
  seen = BothWays(script);
  EXPECT_EQ(seam().NestedReplayed(), 6);
  EXPECT_EQ(Replayed(), 2);
  EXPECT_EQ(seen.result, u"Autodf1|Variant|{Autodf3|String|LOW1}");
  EXPECT_EQ(Declined(), 0);
}

TEST_F(Recorded, ReplayedNestedRunsNumberTheTemporariesAroundThemAsTheGeneralRun) {
  // Temporaries before the IF, in an ELSEIF chain, two IFs in one script, a host field's text and
  // a date: each run twice, so that the second replays what the first recorded.
  AddField("Name", Value::String(u"Smith"), "String");
  const char* const scripts[] = {
      "8 + IF Count > 100 THEN \"HIGH\" ELSEIF Count > 2 THEN \"MID\" ELSE \"LOW\" END IF",
      "3 + IF Count > 1 THEN Count * 2 ELSE 0 END IF * IF Count < 9 THEN 2 ELSE 1 END IF",
      "IF Name = \"Smith\" THEN Name & \"!\" ELSE \"?\" END IF",
      "IF Count - 5 THEN 1 ELSEIF Count THEN #3/14/2002# + Count END IF & \"!\"",
  };
  for (const char* script : scripts) {
    const Seen first = BothWays(script);
    const std::int32_t replayed = seam().NestedReplayed();
    const std::int32_t declined = Declined();
    const Seen second = BothWays(script);
    EXPECT_EQ(Declined(), declined) << script;
    EXPECT_GT(seam().NestedReplayed(), replayed) << script;
    EXPECT_EQ(second, first) << script;
  }
}

TEST_F(Recorded, ANestedReplayThatFailsOnTheValuesOfTheDayLeavesTheRunToTheGeneralOne) {
  AddField("Divisor", Value::Long(4), "Long");
  const char* script = "IF Count / Divisor > 1 THEN 1 ELSE 2 END IF";
  BothWays(script);
  EXPECT_TRUE(seam().IsRecorded(u"Count / Divisor > 1"));
  Field(u"Divisor")->SetData(Value::Long(0));
  const Seen seen = BothWays(script);
  EXPECT_EQ(Declined(), 1);
  EXPECT_FALSE(seen.reported.empty());
  // A field gone since: the replay declines, the general run reports.
  std::u16string name = u"Divisor";
  fields->Remove(name);
  const Seen gone = BothWays(script);
  EXPECT_EQ(Declined(), 2);
  EXPECT_FALSE(gone.log.empty());
}

// A script that is one IF statement: kept as its parts, each way it goes read once word by word.
class RecordedIf : public Recorded {};

TEST_F(RecordedIf, EachWayTheStatementGoesIsReadOnceAndThenReplayed) {
  const char* script =
      "IF Count > 100 THEN \"HIGH\" ELSEIF Count > 10 THEN \"MID\" ELSE \"LOW\" END IF";
  const struct {
    std::int32_t count;
    const char16_t* result;
  } ways[] = {{200, u"Autodf1|Variant|{Autodf1|String|HIGH}"},
              {50, u"Autodf2|Variant|{Autodf1|Variant|{Autodf1|String|MID}}"},
              {1, u"Autodf2|Variant|{Autodf1|Variant|{Autodf1|String|LOW}}"}};
  std::int32_t replayed = 0;
  for (const auto& way : ways) {
    Field(u"Count")->SetData(Value::Long(way.count));
    // The first run of a way reads it (the first of all records the statement), the second
    // replays it.
    EXPECT_EQ(BothWays(script).result, way.result) << way.count;
    EXPECT_EQ(Replayed(), replayed) << way.count;
    EXPECT_EQ(BothWays(script).result, way.result) << way.count;
    EXPECT_EQ(Replayed(), ++replayed) << way.count;
  }
  // Every way known: a way met again is replayed at once.
  Field(u"Count")->SetData(Value::Long(200));
  EXPECT_EQ(BothWays(script).result, ways[0].result);
  EXPECT_EQ(Replayed(), replayed + 1);
  EXPECT_EQ(Declined(), 0);
  // A way the replay has not met yet costs no decline: 7 runs, 7 answered.
  EXPECT_EQ(Answered(), 7);
}

TEST_F(RecordedIf, ReplaysEndAsTheGeneralRunWhateverTheValuesOfTheDay) {
  AddField("Name", Value::String(u"Smith"), "String");
  // Conditions of every kind (a number, a text, a Boolean field, a date), empty branches, no
  // ELSE, ENDIF, a nested IF in a branch, a branch that is a host field.
  const char* const scripts[] = {
      "IF Count THEN 1 ELSE 2 END IF",
      "IF Count - 5 THEN Count * 2 ELSEIF Count THEN #3/14/2002# + Count END IF",
      "IF Name = \"Smith\" THEN Name & \"!\" ELSE \"?\" END IF",
      "IF Count > 3 THEN Name ENDIF",
      "IF Count > 3 THEN 1 ELSE END IF",
      "IF Count > 3 THEN IF Count > 6 THEN \"A\" ELSE \"B\" END IF ELSE \"C\" END IF",
      "IF Count > 3 THEN \"x\" ELSEIF Count > 1 THEN \"y\" ELSEIF Count > 0 THEN \"z\" END IF",
      "if Count > 3 then \"x\" else \"y\" END IF",
  };
  const Value days[] = {Value::Long(5), Value::Long(0), Value::Long(9), Value::Long(2),
                        Value::Long(1), Value::String(u"7"), Value::Double(-1.5)};
  for (const char* script : scripts) {
    for (int pass = 0; pass < 2; ++pass) {
      for (const Value& day : days) {
        Field(u"Count")->SetData(day);
        Field(u"Count")->SetDataType(day.IsString() ? u"String" : u"Long");
        BothWays(script);
      }
    }
  }
  // Most runs of the second pass are replays; the general run answered the rest alike.
  EXPECT_GE(Replayed(), 40);
}

TEST_F(RecordedIf, AScriptWithMoreThanTheStatementIsNotReplayed) {
  // Words after the END IF make temporaries of their own; a word before the IF is read first.
  const char* const scripts[] = {"IF Count > 1 THEN 1 ELSE 2 END IF & \"!\"",
                                 "IF Count > 1 THEN 1 ELSE 2 END IF = 1",
                                 "( IF Count > 1 THEN 1 ELSE 2 END IF )"};
  for (const char* script : scripts) {
    for (int run = 0; run < 3; ++run) BothWays(script);
  }
  EXPECT_EQ(Replayed(), 0);
}

TEST_F(RecordedIf, AConditionThatFailsLeavesTheRunToTheGeneralOne) {
  const Seen seen = BothWays("IF ag THEN ELLE A&");
  EXPECT_EQ(seen.result, u"Autodf1|Boolean|False");
  BothWays("IF ag THEN ELLE A&");
}

TEST_F(RecordedIf, AHostFieldNamedLikeTheIfIsReadInstead) {
  const char* script = "IF Count > 1 THEN 1 ELSE 2 END IF";
  BothWays(script);
  BothWays(script);
  EXPECT_EQ(Replayed(), 1);
  AddField("If", Value::Long(3), "Long");
  const Seen seen = BothWays(script);
  EXPECT_EQ(Replayed(), 1);
  EXPECT_EQ(Declined(), 1);
  EXPECT_EQ(seen.result, u"Error|Boolean|False");
}

// Format, FormatHL7DateTime, Replace and DateCat are recorded as the words they read.
class RecordedCall : public Recorded {
 protected:
  void SetUp() override {
    Recorded::SetUp();
    AddField("Name", Value::String(u"Smith, John"), "String");
    AddField("VisitDate", Value::String(u"3/14/2002"), "Date");
    AddField("VisitTime", Value::String(u"9:30 AM"), "String");
  }
};

TEST_F(RecordedCall, EachBuiltInThatReadsWordsIsReplayedAndEndsAsTheGeneralRun) {
  const char* const scripts[] = {
      "Replace Name, \"h\" , \"H\" , 1, 1",
      "Format Count, \"0.00\"",
      "FormatHL7DateTime VisitDate, VisitTime, /, True, True, -0500",
      "DateCat VisitDate VisitTime",
      "\"<\" & Format Count, \"0.0\"",
  };
  const char16_t* const expected[] = {
      u"Autodf1|String|SmitH, John",
      u"Autodf1|String|5.00",
      u"Autodf1|String|20020314093000-0500",
      u"Autodf1|Date|3/14/2002 9:30:00 AM",
      u"Autodf4|String|<5.0",
  };
  for (std::size_t i = 0; i < std::size(scripts); ++i) {
    Record(scripts[i]);
    const std::int32_t before = Replayed();
    const Seen seen = BothWays(scripts[i]);
    EXPECT_EQ(Replayed(), before + 1) << scripts[i];
    EXPECT_EQ(seen.result, expected[i]) << scripts[i];
    EXPECT_TRUE(seen.reported.empty()) << scripts[i];
  }
}

TEST_F(RecordedCall, TheFieldsValuesOfTheDayAreRead) {
  Record("Replace Name, \"h\" , \"H\"");
  Field(u"Name")->SetData(Value::String(u"hush"));
  const Seen seen = BothWays("Replace Name, \"h\" , \"H\"");
  EXPECT_EQ(Replayed(), 1);
  EXPECT_EQ(seen.result, u"Autodf1|String|HusH");
}

TEST_F(RecordedCall, AWordThatNowNamesAFieldIsReadAsTheField) {
  // When recorded, Picture named no field and was the picture itself.
  Record("Format Count, Picture");
  AddField("Picture", Value::String(u"0.000"), "String");
  const Seen seen = BothWays("Format Count, Picture");
  EXPECT_EQ(Replayed(), 1);
  EXPECT_EQ(seen.result, u"Autodf1|String|5.000");
}

TEST_F(RecordedCall, AHostFieldNamedLikeTheBuiltInIsReadInstead) {
  Record("Replace Name, \"h\" , \"H\"");
  AddField("Replace", Value::String(u"r"), "String");
  BothWays("Replace Name, \"h\" , \"H\"");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_EQ(Declined(), 1);
}

TEST_F(RecordedCall, AFailureOnTheValuesOfTheDayIsReportedByTheGeneralRun) {
  AddField("Start", Value::Long(2), "Long");
  Record("Replace Name, \"h\" , \"H\" , Start");
  Field(u"Start")->SetData(Value::String(u"two"));
  const Seen seen = BothWays("Replace Name, \"h\" , \"H\" , Start");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_EQ(seen.reported,
            std::vector<std::u16string>{u"Error: 450 - Wrong number of arguments or invalid "
                                        u"property assignment in GetReplaceArguments"});
  std::u16string name = u"Name";
  Field(u"Start")->SetData(Value::Long(1));
  fields->Remove(name);
  const Seen gone = BothWays("Replace Name, \"h\" , \"H\" , Start");
  EXPECT_EQ(Replayed(), 0);
  EXPECT_FALSE(gone.reported.empty());
}

TEST_F(RecordedCall, AConditionThatCallsABuiltInIsReplayedWithinTheStatement) {
  // The condition keeps its blanks (a branch's words are joined, which no built-in survives).
  const char* script = "IF Format Count, \"0\" = \"5\" THEN \"yes\" ELSE \"no\" END IF";
  BothWays(script);
  EXPECT_EQ(BothWays(script).result, u"Autodf1|Variant|{Autodf1|String|yes}");
  EXPECT_EQ(Replayed(), 1);
  // The other way is read once, then replayed too.
  Field(u"Count")->SetData(Value::Long(6));
  BothWays(script);
  const Seen seen = BothWays(script);
  EXPECT_EQ(Replayed(), 2);
  EXPECT_EQ(seen.result, u"Autodf1|Variant|{Autodf1|String|no}");
}

TEST_F(Recorded, TheRecordingsKeepToTheirRoom) {
  // Long distinct scripts, far more than the room holds: it is emptied and filled again.
  std::string chain = "Count";
  for (int i = 0; i < 200; ++i) chain += " + 1";
  std::size_t most = 0;
  for (int i = 0; i < 3000; ++i) {
    RunOnce((chain + " + " + std::to_string(i + 1)).c_str());
    most = std::max(most, seam().RecordedBytes());
    interpreter->ResetMemory();
  }
  EXPECT_GT(most, std::size_t{1} << 20);
  EXPECT_LE(most, std::size_t{16} << 20);
  EXPECT_LT(seam().RecordedScripts(), 3000u);
}

}  // namespace
}  // namespace qorvintr::testing_support
