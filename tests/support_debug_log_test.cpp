#include "support/debug_log.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "qorvintr/value.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "support_temp_folder.h"
#include "test_support.h"

namespace {

namespace dbg = qorvintr::support::modDebugLog;
using qorvintr::automation::Value;
using qorvintr::testing_support::ErrorOf;
using qorvintr::testing_support::ReadFile;
using qorvintr::testing_support::TempFolder;

// A log object that remembers how it was called.
class FakeLog : public qorvintr::contract::LogWriter {
 public:
  struct InitCall {
    std::u16string key, kind, path;
    std::int16_t number_of_logs = 0;
    std::int32_t log_size = 0;
    bool flag = false;
    std::u16string separator, title;
  };
  Value Init(std::u16string_view key, std::u16string_view kind, std::u16string& path,
             std::int16_t number_of_logs, std::int32_t& log_size, bool flag,
             std::u16string& separator, std::u16string_view title) override {
    inits.push_back(InitCall{std::u16string(key), std::u16string(kind), path, number_of_logs,
                             log_size, flag, separator, std::u16string(title)});
    if (init_error != 0) qorvintr::automation::Raise(init_error);
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view text) override {
    messages.emplace_back(text);
    return write_answer;
  }
  std::vector<InitCall> inits;
  std::vector<std::u16string> messages;
  Value write_answer = Value::Long(0);
  int init_error = 0;
};

class DebugLog : public ::testing::Test {
 protected:
  void SetUp() override {
    dbg::ResetDebugLog();
    dbg::SetIniFileName(u"");
    made_.clear();
    RegisterLogCreator();
    // 3/14/2002 9:30:00 AM
    qorvintr::automation::SetClock([] { return 37329.0 + 9.5 / 24.0; });
  }
  void TearDown() override {
    qorvintr::automation::SetClock({});
    qorvintr::contract::UnregisterCreator(qorvintr::contract::kLogProgId);
    dbg::ResetDebugLog();
    dbg::SetIniFileName(u"");
  }
  void RegisterLogCreator() {
    qorvintr::contract::RegisterCreator(qorvintr::contract::kLogProgId, [this] {
      auto log = std::make_shared<FakeLog>();
      log->write_answer = next_write_answer_;
      log->init_error = next_init_error_;
      made_.push_back(log);
      return std::static_pointer_cast<qorvintr::automation::Object>(log);
    });
  }
  void UseIni(const std::string& upload_section) {
    auto file = folder_.Write("host.ini", "[Upload]\r\n" + upload_section);
    dbg::SetIniFileName(file.u16string());
  }
  FakeLog* LastLog() { return made_.empty() ? nullptr : made_.back().get(); }

  TempFolder folder_;
  std::vector<std::shared_ptr<FakeLog>> made_;
  Value next_write_answer_ = Value::Long(0);
  int next_init_error_ = 0;
};

TEST_F(DebugLog, NoIniFileNameReadDebugLogSettingsReturnsFalseAndInitDebugLogReturnsMinus1) {
  EXPECT_FALSE(dbg::ReadDebugLogSettings());
  std::u16string start = u"hello";
  EXPECT_EQ(dbg::InitDebugLog(start), -1);
  EXPECT_TRUE(made_.empty());
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
}

TEST_F(DebugLog, NoIniFileNameChangesNoSetting) {
  EXPECT_FALSE(dbg::ReadDebugLogSettings());
  const auto& s = dbg::Settings();
  EXPECT_FALSE(s.enabled);
  EXPECT_EQ(s.log_path, u"");
  EXPECT_EQ(s.log_size, 1048576);
  EXPECT_EQ(s.number_of_logs, 3);
  EXPECT_EQ(s.separator, u"<END OF ENTRY>");
}

TEST_F(DebugLog, WriteDebugLogSetToLowerCaseTrueLeavesLoggingOff) {
  UseIni("WriteDebugLog=true\r\n");
  EXPECT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  std::u16string start;
  EXPECT_EQ(dbg::InitDebugLog(start), -1);
  EXPECT_TRUE(made_.empty());
}

TEST_F(DebugLog, WriteDebugLogExactlyTrueSwitchesLoggingOn) {
  UseIni("WriteDebugLog = True \r\n");
  EXPECT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_TRUE(dbg::IsDebugLogEnabled());
}

TEST_F(DebugLog, LogSize5Gives5242880Bytes) {
  UseIni("LogSize=5\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().log_size, 5242880);
}

TEST_F(DebugLog, LogSizeAbcGives1048576) {
  UseIni("LogSize=abc\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().log_size, 1048576);
}

TEST_F(DebugLog, LogSizeMissingOrEmptyGives1048576) {
  UseIni("LogSize=\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().log_size, 1048576);
}

TEST_F(DebugLog, LogSize2047StillFitsAnd2048RaisesOverflow) {
  UseIni("LogSize=2047\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().log_size, 2047 * 1048576);
  UseIni("LogSize=2048\r\nWriteDebugLog=True\r\n");
  EXPECT_EQ(ErrorOf([] { dbg::ReadDebugLogSettings(); }), 6);
  // The keys after LogSize were not applied: logging stays off.
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  UseIni("LogSize=99999999999\r\n");
  EXPECT_EQ(ErrorOf([] { dbg::ReadDebugLogSettings(); }), 6);
}

TEST_F(DebugLog, LogSizeOverflowInsideInitDebugLogIsTrappedNotThrown) {
  UseIni("LogSize=4096\r\nWriteDebugLog=True\r\n");
  std::u16string start = u"x";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  EXPECT_TRUE(made_.empty());
}

TEST_F(DebugLog, NumLogsNotNumericGives3) {
  UseIni("NumLogs=many\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().number_of_logs, 3);
  UseIni("NumLogs=7\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().number_of_logs, 7);
}

TEST_F(DebugLog, AnEmptySeparatorGivesEndOfEntry) {
  UseIni("Separator=\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().separator, u"<END OF ENTRY>");
  UseIni("Separator=  ----  \r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().separator, u"----");
}

TEST_F(DebugLog, PathIsReadTrimmedAndQuotesRemoved) {
  UseIni("DebugLogPath=\"  C:\\Logs  \"\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().log_path, u"C:\\Logs");
}

TEST_F(DebugLog, AMissingIniFileLeavesLoggingOffWithDefaults) {
  dbg::SetIniFileName((folder_.path() / "absent.ini").u16string());
  EXPECT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  EXPECT_EQ(dbg::Settings().log_size, 1048576);
  EXPECT_EQ(dbg::Settings().number_of_logs, 3);
  EXPECT_EQ(dbg::Settings().separator, u"<END OF ENTRY>");
  std::u16string start;
  EXPECT_EQ(dbg::InitDebugLog(start), -1);
}

TEST_F(DebugLog, AMalformedIniFileFallsBackToDefaults) {
  auto file = folder_.Write("broken.ini", "\x01\x02[[[Upload\r\nWriteDebugLog\r\n==\r\n\xFF\xFE\xFD");
  dbg::SetIniFileName(file.u16string());
  EXPECT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  EXPECT_EQ(dbg::Settings().log_size, 1048576);
}

TEST_F(DebugLog, WithLoggingOffWriteDebugLogReturns0AndCallsNothing) {
  EXPECT_EQ(dbg::WriteDebugLog(u"anything"), 0);
  EXPECT_TRUE(made_.empty());
  EXPECT_EQ(dbg::LogObject(), nullptr);
}

TEST_F(DebugLog, InitDebugLogCreatesTheLogAndCallsInitWithItsEightArguments) {
  UseIni("WriteDebugLog=True\r\nDebugLogPath=/logs\r\nLogSize=2\r\nNumLogs=4\r\nSeparator=##\r\n");
  std::u16string start = u"Started";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  ASSERT_EQ(made_.size(), 1u);
  FakeLog* log = LastLog();
  EXPECT_EQ(dbg::LogObject().get(), log);
  ASSERT_EQ(log->inits.size(), 1u);
  const auto& call = log->inits[0];
  EXPECT_EQ(call.key, u"OrUpDebg");
  EXPECT_EQ(call.kind, u"Log");
  EXPECT_EQ(call.path, u"/logs");
  EXPECT_EQ(call.number_of_logs, 4);
  EXPECT_EQ(call.log_size, 2 * 1048576);
  EXPECT_TRUE(call.flag);
  EXPECT_EQ(call.separator, u"##");
  EXPECT_EQ(call.title, u"Debug Log");
  ASSERT_EQ(log->messages.size(), 1u);
  EXPECT_EQ(log->messages[0], u"\r\n3/14/2002 9:30:00 AM\r\nStarted");
}

TEST_F(DebugLog, InitDebugLogWithAnEmptyStartMessageWritesDebugLogInitialized) {
  UseIni("WriteDebugLog=True\r\n");
  std::u16string start = u"   ";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  EXPECT_EQ(start, u"Debug Log Initialized");
  ASSERT_NE(LastLog(), nullptr);
  ASSERT_EQ(LastLog()->messages.size(), 1u);
  EXPECT_EQ(LastLog()->messages[0], u"\r\n3/14/2002 9:30:00 AM\r\nDebug Log Initialized");
}

TEST_F(DebugLog, InitDebugLogWritesTheStartMessageTrimmedAndLeavesTheCallersText) {
  UseIni("WriteDebugLog=True\r\n");
  std::u16string start = u"  banner  ";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  EXPECT_EQ(start, u"  banner  ");
  EXPECT_EQ(LastLog()->messages.at(0), u"\r\n3/14/2002 9:30:00 AM\r\nbanner");
}

TEST_F(DebugLog, InitDebugLogReturnsMinus3WhenTheFirstEntryIsNotWritten) {
  UseIni("WriteDebugLog=True\r\n");
  next_write_answer_ = Value::Long(75);
  std::u16string start = u"x";
  EXPECT_EQ(dbg::InitDebugLog(start), -3);
}

TEST_F(DebugLog, InitDebugLogReadsTheSettingsOnlyWhileTheSwitchIsOff) {
  UseIni("WriteDebugLog=True\r\nNumLogs=4\r\n");
  std::u16string start = u"x";
  ASSERT_EQ(dbg::InitDebugLog(start), 0);
  UseIni("WriteDebugLog=True\r\nNumLogs=9\r\n");
  ASSERT_EQ(dbg::InitDebugLog(start), 0);
  ASSERT_EQ(made_.size(), 2u);
  EXPECT_EQ(made_[1]->inits.at(0).number_of_logs, 4);
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  EXPECT_EQ(dbg::Settings().number_of_logs, 9);
}

TEST_F(DebugLog, WriteDebugLogBuildsTheEntryAndAnswersTheLogObjectsAnswer) {
  UseIni("WriteDebugLog=True\r\n");
  std::u16string start = u"x";
  ASSERT_EQ(dbg::InitDebugLog(start), 0);
  LastLog()->write_answer = Value::Long(7);
  EXPECT_EQ(dbg::WriteDebugLog(u"Interpreter - DateCompare\r\nline two"), 7);
  EXPECT_EQ(LastLog()->messages.back(),
            u"\r\n3/14/2002 9:30:00 AM\r\nInterpreter - DateCompare\r\nline two");
  LastLog()->write_answer = Value::String(u"12");
  EXPECT_EQ(dbg::WriteDebugLog(u"y"), 12);
  LastLog()->write_answer = Value::String(u"no number");
  EXPECT_EQ(ErrorOf([] { dbg::WriteDebugLog(u"z"); }), 13);
}

// Later entries are not written and raise nothing; the next InitDebugLog reads the settings
// again and creates the log once it can.
TEST_F(DebugLog, FailureToCreateTheLogObjectIsTrappedAndLeavesLoggingOff) {
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kLogProgId);
  UseIni("WriteDebugLog=True\r\n");
  std::u16string start = u"x";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  EXPECT_EQ(dbg::LogObject(), nullptr);
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  EXPECT_EQ(ErrorOf([] { EXPECT_EQ(dbg::WriteDebugLog(u"y"), 0); }), 0);
  RegisterLogCreator();
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  EXPECT_TRUE(dbg::IsDebugLogEnabled());
  ASSERT_NE(LastLog(), nullptr);
}

TEST_F(DebugLog, FailureInTheLogObjectsInitIsTrappedAndWrittenToTheLog) {
  UseIni("WriteDebugLog=True\r\n");
  next_init_error_ = 5;
  std::u16string start = u"x";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  ASSERT_NE(LastLog(), nullptr);
  ASSERT_EQ(LastLog()->messages.size(), 1u);
  EXPECT_EQ(LastLog()->messages[0],
            u"\r\n3/14/2002 9:30:00 AM\r\nmodDebugLog - InitDebugLog - Error Trap\r\nError: 5\r\n"
            u"Invalid procedure call or argument");
}

TEST_F(DebugLog, NumberOfLogsBeyond16BitsOverflowsInsideTheTrap) {
  UseIni("WriteDebugLog=True\r\nNumLogs=40000\r\n");
  std::u16string start = u"x";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  ASSERT_NE(LastLog(), nullptr);
  EXPECT_TRUE(LastLog()->inits.empty());
  ASSERT_EQ(LastLog()->messages.size(), 1u);
  EXPECT_NE(LastLog()->messages[0].find(u"Error: 6\r\nOverflow"), std::u16string::npos);
}

TEST_F(DebugLog, ReleaseDebugLogDropsTheLogObject) {
  UseIni("WriteDebugLog=True\r\n");
  std::u16string start = u"x";
  ASSERT_EQ(dbg::InitDebugLog(start), 0);
  std::weak_ptr<FakeLog> watch = made_.back();
  made_.clear();
  EXPECT_FALSE(watch.expired());
  dbg::ReleaseDebugLog();
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(dbg::LogObject(), nullptr);
}

TEST_F(DebugLog, SettingsAreKeptPerThread) {
  UseIni("WriteDebugLog=True\r\n");
  ASSERT_TRUE(dbg::ReadDebugLogSettings());
  ASSERT_TRUE(dbg::IsDebugLogEnabled());
  bool other_enabled = true;
  std::u16string other_ini = u"unset";
  std::thread t([&] {
    other_enabled = dbg::IsDebugLogEnabled();
    other_ini = dbg::IniFileName();
  });
  t.join();
  EXPECT_FALSE(other_enabled);
  EXPECT_EQ(other_ini, u"");
}

TEST_F(DebugLog, WritesReachAFileThroughTheStockLogComponent) {
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kLogProgId);
  qorvintr::components::RegisterDefaultComponents();
  TempFolder logs;
  UseIni("WriteDebugLog=True\r\nDebugLogPath=" + logs.path().string() + "\r\n");
  std::u16string start = u"Interpreter Version: 02.01.0000";
  EXPECT_EQ(dbg::InitDebugLog(start), 0);
  EXPECT_EQ(dbg::WriteDebugLog(u"second"), 0);
  dbg::ReleaseDebugLog();
  std::string text = ReadFile(logs.path() / "OrUpDebg.Log");
  EXPECT_EQ(text,
            "Debug Log\r\n"
            "\r\n3/14/2002 9:30:00 AM\r\nInterpreter Version: 02.01.0000\r\n<END OF ENTRY>\r\n"
            "\r\n3/14/2002 9:30:00 AM\r\nsecond\r\n<END OF ENTRY>\r\n");
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kDataFieldProgId);
}

TEST_F(DebugLog, AMissingLogFolderGivesMinus3AndNoCrash) {
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kLogProgId);
  qorvintr::components::RegisterDefaultComponents();
  UseIni("WriteDebugLog=True\r\nDebugLogPath=" + (folder_.path() / "no" / "such").string() +
         "\r\n");
  std::u16string start = u"x";
  EXPECT_EQ(dbg::InitDebugLog(start), -3);
  EXPECT_NE(dbg::WriteDebugLog(u"y"), 0);
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kDataFieldProgId);
}

}  // namespace
