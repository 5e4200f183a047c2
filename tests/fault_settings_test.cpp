// Hostile settings and files: INI files that are huge, binary, unreadable or a folder, log folders
// that cannot be written (read-only, missing, a full device), and log sizes and counts at and
// beyond their limits. Whatever the debug log meets, a script answers what it answers with the
// log off, reports the same errors, and nothing leaves the interpreter. Stock components only,
// as a host that calls RegisterDefaultComponents has them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/interpreter.h"
#include "scripts/case_file.h"
#include "scripts/field_values.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"

namespace qorvintr::testing_support {
namespace {

namespace fs = std::filesystem;
using automation::Value;

constexpr double kNow = 37329.395833333336;  // 3/14/2002 9:30:00 AM

// Scripts that succeed and that fail in several places, so that the log is written from the
// banner, from the driver's trap and from the traps of the built-ins.
const std::vector<std::u16string>& Scripts() {
  static const std::vector<std::u16string> scripts = {
      u"2 + 3",
      u"(1 + 2) * 4",
      u"10 / 0",
      u"2 +",
      u")",
      u"IF A > 1 THEN \"big\" ELSE \"small\" END IF",
      u"Replace(B, \"a\", \"o\")",
      u"Format(Nope, \"0.00\")",
      u"FormatHL7DateTime(D, \"x\")",
      u"DateCompare(D, \"not a date\")",
  };
  return scripts;
}

// What a run of every script gave: each result line, and how many errors were reported.
struct Answers {
  std::vector<std::string> lines;
  std::uint64_t reports = 0;
  bool init = false;
  bool operator==(const Answers& o) const { return lines == o.lines && reports == o.reports; }
};

void PrintTo(const Answers& a, std::ostream* os) {
  *os << "init " << a.init << ", " << a.reports << " reports:";
  for (const auto& line : a.lines) *os << " [" << line << "]";
}

std::string Line(const contract::DataFieldRef& f) {
  if (!f) return "Nothing";
  return automation::ToUtf8(f->Name()) + "\t" + automation::ToUtf8(f->DataType()) + "\t" +
         scripts::ValueText(f->Data());
}

class HostileSettings : public ::testing::Test {
 protected:
  void SetUp() override {
    support::modDebugLog::ResetDebugLog();
    automation::SetClock([] { return kNow; });
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(contract::kDataFieldProgId);
    components::RegisterDefaultComponents();
  }
  void TearDown() override {
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(contract::kDataFieldProgId);
    support::modDebugLog::ResetDebugLog();
    automation::SetClock({});
  }

  // Every script through one interpreter whose settings file is ini, `rounds` times over.
  static Answers RunAll(const std::u16string& ini, int rounds = 1) {
    support::modDebugLog::ResetDebugLog();
    auto fields = std::make_shared<components::DataFieldCollection>();
    fields->Add(u"A", Value::Long(5), u"Long");
    fields->Add(u"B", Value::String(u"banana"), u"String");
    fields->Add(u"D", Value::Date(kNow), u"Date");
    auto errors = std::make_shared<components::ErrorRecorder>(0);
    Answers answers;
    Interpreter interpreter;
    interpreter.SetOrlinaIniFilename(ini);
    answers.init = interpreter.Init(fields, errors, u"QorvSys", u"QorvApp");
    for (int round = 0; round < rounds; ++round) {
      for (const auto& script : Scripts()) {
        answers.lines.push_back(Line(interpreter.RealizeRegularExpression(std::u16string_view(script))));
        interpreter.ResetMemory();
      }
    }
    EXPECT_EQ(fields->Count(), 3) << "temporaries left in the collection";
    answers.reports = errors->Count();
    support::modDebugLog::ResetDebugLog();
    return answers;
  }

  // The answers with the log off.
  Answers Reference(int rounds = 1) {
    return RunAll(folder_.Write("off.ini", "[Upload]\r\nWriteDebugLog=False\r\n").u16string(),
                  rounds);
  }

  // An INI that switches the log on with these further lines.
  std::u16string Ini(const std::string& name, const std::string& lines) {
    return folder_.Write(name, "[Upload]\r\nWriteDebugLog=True\r\n" + lines).u16string();
  }

  static std::string Path(const fs::path& p) { return p.string(); }

  static std::vector<fs::path> Files(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder, ec)) files.push_back(e.path());
    return files;
  }

  TempFolder folder_;
};

TEST_F(HostileSettings, TheLogWrittenToAWritableFolderChangesNoAnswer) {
  const Answers off = Reference();
  TempFolder logs;
  const Answers on = RunAll(Ini("on.ini", "DebugLogPath=" + Path(logs.path()) + "\r\n"));
  EXPECT_EQ(on, off);
  EXPECT_TRUE(on.init);
  // The log was really written: the banner and the traps of the failing scripts.
  const std::string text = ReadFile(logs.path() / "OrUpDebg.Log");
  EXPECT_NE(text.find("Interpreter - Init"), std::string::npos);
  EXPECT_NE(text.find("RealizeRegularExpression"), std::string::npos);
}

// ---- The INI file itself -------------------------------------------------------------------

TEST_F(HostileSettings, AHugeIniIsReadToItsSectionAtTheEnd) {
  const Answers off = Reference();
  TempFolder logs;
  std::string text;
  text.reserve(17u << 20);
  const std::string filler = "; " + std::string(125, 'x') + "\r\n";
  while (text.size() < (16u << 20)) text += filler;
  text += "[Upload]\r\nWriteDebugLog=True\r\nDebugLogPath=" + Path(logs.path()) + "\r\n";
  const fs::path ini = folder_.Write("huge.ini", text);
  EXPECT_EQ(RunAll(ini.u16string()), off);
  EXPECT_TRUE(fs::exists(logs.path() / "OrUpDebg.Log")) << "the section at the end was read";
}

TEST_F(HostileSettings, ABinaryIniLeavesTheLogOff) {
  const Answers off = Reference();
  std::string bytes;
  for (int i = 0; i < 70000; ++i) bytes += static_cast<char>((i * 7919 + i / 13) & 0xFF);
  const fs::path ini = folder_.Write("binary.ini", bytes);
  const Answers a = RunAll(ini.u16string());
  EXPECT_EQ(a, off);
  EXPECT_TRUE(a.init);
  // With NUL bytes and the section in the middle of them, the log still comes on when the
  // lines say so; only the answer matters.
  const fs::path mixed = folder_.Write(
      "mixed.ini", bytes + "\r\n[Upload]\r\nWriteDebugLog=True\r\nDebugLogPath=" +
                       Path(folder_.path()) + "\r\n" + bytes);
  EXPECT_EQ(RunAll(mixed.u16string()), off);
}

TEST_F(HostileSettings, AnUnreadableIniLeavesTheLogOff) {
  const Answers off = Reference();
  TempFolder logs;
  const fs::path ini =
      folder_.Write("locked.ini", "[Upload]\r\nWriteDebugLog=True\r\nDebugLogPath=" +
                                      Path(logs.path()) + "\r\n");
  fs::permissions(ini, fs::perms::none);
  EXPECT_EQ(RunAll(ini.u16string()), off);
  if (geteuid() != 0) {
    EXPECT_TRUE(Files(logs.path()).empty()) << "an unreadable INI switched the log on";
  }
  // Readable to nobody, the super-user included: a file whose read fails.
  EXPECT_EQ(RunAll(u"/proc/self/mem"), off);
  // A device that never ends and one that has nothing.
  EXPECT_EQ(RunAll(u"/dev/zero"), off);
  EXPECT_EQ(RunAll(u"/dev/null"), off);
}

TEST_F(HostileSettings, AnIniThatIsAFolderOrMissingLeavesTheLogOff) {
  const Answers off = Reference();
  EXPECT_EQ(RunAll(folder_.u16()), off);
  EXPECT_EQ(RunAll((folder_.path() / "no such.ini").u16string()), off);
  EXPECT_EQ(RunAll(u""), off);
}

// ---- The log folder ------------------------------------------------------------------------

TEST_F(HostileSettings, AReadOnlyLogFolderChangesNoAnswer) {
  const Answers off = Reference();
  TempFolder logs;
  fs::permissions(logs.path(), fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(RunAll(Ini("ro.ini", "DebugLogPath=" + Path(logs.path()) + "\r\n")), off);
  if (geteuid() != 0) {
    EXPECT_TRUE(Files(logs.path()).empty());
  }
  fs::permissions(logs.path(), fs::perms::owner_all);
  // A folder nobody can create a file in, the super-user included.
  EXPECT_EQ(RunAll(Ini("proc.ini", "DebugLogPath=/proc\r\n")), off);
  EXPECT_FALSE(fs::exists("/proc/OrUpDebg.Log"));
}

TEST_F(HostileSettings, AMissingLogFolderChangesNoAnswerAndIsNotCreated) {
  const Answers off = Reference();
  const fs::path missing = folder_.path() / "gone" / "deeper";
  EXPECT_EQ(RunAll(Ini("missing.ini", "DebugLogPath=" + Path(missing) + "\r\n")), off);
  EXPECT_EQ(RunAll(Ini("missing-file.ini", "DebugLogPath=" + Path(missing / "x.log") + "\r\n")),
            off);
  EXPECT_FALSE(fs::exists(folder_.path() / "gone"));
  // No path at all: the log object refuses to open.
  EXPECT_EQ(RunAll(Ini("empty.ini", "DebugLogPath=\r\n")), off);
}

TEST_F(HostileSettings, ALogOnAFullDeviceChangesNoAnswer) {
  const Answers off = Reference();
  // The log file of a folder of our own is the full device, so that a rotation could only ever
  // move the link, never the device.
  TempFolder logs;
  std::error_code ec;
  fs::create_symlink("/dev/full", logs.path() / "OrUpDebg.Log", ec);
  ASSERT_FALSE(ec) << ec.message();
  EXPECT_EQ(RunAll(Ini("full.ini", "DebugLogPath=" + Path(logs.path()) + "\r\n")), off);
  EXPECT_TRUE(fs::is_symlink(logs.path() / "OrUpDebg.Log"));
  EXPECT_EQ(fs::read_symlink(logs.path() / "OrUpDebg.Log"), fs::path("/dev/full"));
}

TEST_F(HostileSettings, ALogFileThatIsAFolderChangesNoAnswer) {
  const Answers off = Reference();
  TempFolder logs;
  fs::create_directory(logs.path() / "OrUpDebg.Log");
  EXPECT_EQ(RunAll(Ini("dir.ini", "DebugLogPath=" + Path(logs.path()) + "\r\n")), off);
}

// ---- Sizes and counts ----------------------------------------------------------------------

TEST_F(HostileSettings, LogSizesAndCountsAtAndBeyondTheirLimitsChangeNoAnswer) {
  const Answers off = Reference();
  const char* sizes[] = {"0", "-1", "1", "2047", "2048", "-2049", "99999999999", "1e3", "abc", ""};
  const char* counts[] = {"0", "-1", "1", "32767", "32768", "-32769", "2147483648", "x", ""};
  int n = 0;
  for (const char* size : sizes) {
    for (const char* count : counts) {
      SCOPED_TRACE(std::string("LogSize=") + size + " NumLogs=" + count);
      TempFolder logs;
      const std::u16string ini =
          Ini("limits" + std::to_string(n++) + ".ini",
              "DebugLogPath=" + Path(logs.path()) + "\r\nLogSize=" + size + "\r\nNumLogs=" +
                  count + "\r\n");
      EXPECT_EQ(RunAll(ini), off);
      EXPECT_LE(Files(logs.path()).size(), 1u) << "one file for this little";
    }
  }
}

// Scripts long enough that each failure's log entry holds a good part of a megabyte: the log of
// the smallest size limit (1 MB) rotates over its files, never holding more than NumLogs.
TEST_F(HostileSettings, ARotatingLogKeepsItsNumberOfFilesAndChangesNoAnswer) {
  const std::u16string long_failure = u"\"" + std::u16string(300000, u'x') + u"\" +";
  auto run = [&](const std::u16string& ini) {
    support::modDebugLog::ResetDebugLog();
    auto fields = std::make_shared<components::DataFieldCollection>();
    auto errors = std::make_shared<components::ErrorRecorder>(0);
    Interpreter interpreter;
    interpreter.SetOrlinaIniFilename(ini);
    interpreter.Init(fields, errors, u"QorvSys", u"QorvApp");
    std::vector<std::string> lines;
    for (int i = 0; i < 12; ++i) {
      lines.push_back(Line(interpreter.RealizeRegularExpression(std::u16string_view(long_failure))));
    }
    EXPECT_EQ(fields->Count(), 0);
    support::modDebugLog::ResetDebugLog();
    return lines;
  };
  const auto off = run(folder_.Write("off.ini", "[Upload]\r\nWriteDebugLog=False\r\n").u16string());
  for (const char* count : {"1", "2", "3"}) {
    SCOPED_TRACE(std::string("NumLogs=") + count);
    TempFolder logs;
    const std::u16string ini = Ini(std::string("rot") + count + ".ini",
                                   "DebugLogPath=" + Path(logs.path()) +
                                       "\r\nLogSize=1\r\nNumLogs=" + count + "\r\n");
    EXPECT_EQ(run(ini), off);
    const auto files = Files(logs.path());
    EXPECT_EQ(files.size(), static_cast<std::size_t>(std::stoi(count)));
    for (const auto& f : files) {
      // An entry never splits; a file holds at most the limit and one entry beyond it.
      EXPECT_LE(fs::file_size(f), 2u * 1048576u) << f;
    }
  }
}

}  // namespace
}  // namespace qorvintr::testing_support
