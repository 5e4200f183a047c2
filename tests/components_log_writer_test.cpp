#include "qorvintr/components/log_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "qorvintr/convert.h"
#include "qorvintr/value.h"
#include "support_temp_folder.h"

namespace {

namespace fs = std::filesystem;
using qorvintr::automation::CLng;
using qorvintr::components::RotatingLogWriter;
using qorvintr::testing_support::ReadFile;
using qorvintr::testing_support::TempFolder;

struct Options {
  std::int16_t number_of_logs = 3;
  std::int32_t log_size = 1048576;
  bool flag = true;
  std::u16string separator = u"<END OF ENTRY>";
  std::u16string title = u"Debug Log";
};

std::int32_t Init(RotatingLogWriter& w, std::u16string path, Options o = {}) {
  return CLng(w.Init(u"OrUpDebg", u"Log", path, o.number_of_logs, o.log_size, o.flag,
                     o.separator, o.title));
}

std::int32_t Write(RotatingLogWriter& w, std::u16string_view text) {
  return CLng(w.WriteLogMsg(text));
}

std::vector<std::string> FilesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(RotatingLogWriter, WritesEachEntryFollowedByTheSeparatorAndFlushesAtOnce) {
  TempFolder folder;
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, folder.u16(), {3, 1048576, true, u"##", u"Debug Log"}), 0);
  EXPECT_EQ(w.CurrentFile(), folder.path() / "OrUpDebg.Log");
  EXPECT_EQ(Write(w, u"\r\nfirst"), 0);
  // Read while the writer is still open: the entry is already on disk.
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), "Debug Log\r\n\r\nfirst\r\n##\r\n");
  EXPECT_EQ(Write(w, u"second"), 0);
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"),
            "Debug Log\r\n\r\nfirst\r\n##\r\nsecond\r\n##\r\n");
}

TEST(RotatingLogWriter, TextIsWrittenAsUtf8AndLoneSurrogatesBecomeReplacementCharacters) {
  TempFolder folder;
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, folder.u16(), {3, 0, true, u"-", u""}), 0);
  EXPECT_EQ(Write(w, u"caf\u00E9 \xD800!"), 0);
  EXPECT_EQ(ReadFile(w.CurrentFile()), "caf\xC3\xA9 \xEF\xBF\xBD!\r\n-\r\n");
}

TEST(RotatingLogWriter, AMissingFolderAnswersNonZero) {
  TempFolder folder;
  RotatingLogWriter w;
  EXPECT_NE(Init(w, (folder.path() / "missing" / "deeper").u16string()), 0);
  EXPECT_NE(Write(w, u"x"), 0);
  EXPECT_TRUE(FilesIn(folder.path()).empty());
}

TEST(RotatingLogWriter, AnEmptyPathAnswersNonZero) {
  RotatingLogWriter w;
  EXPECT_NE(Init(w, u""), 0);
  EXPECT_NE(Write(w, u"x"), 0);
}

TEST(RotatingLogWriter, AnUnwritableLogFileAnswersNonZero) {
  TempFolder folder;
  fs::create_directory(folder.path() / "OrUpDebg.Log");  // a folder where the file should be
  RotatingLogWriter w;
  EXPECT_NE(Init(w, folder.u16()), 0);
  EXPECT_NE(Write(w, u"x"), 0);
}

TEST(RotatingLogWriter, WritingBeforeInitAnswersNonZero) {
  RotatingLogWriter w;
  EXPECT_EQ(Write(w, u"x"), 52);
}

TEST(RotatingLogWriter, KeepsAtMostTheConfiguredNumberOfFilesRotatingBySize) {
  TempFolder folder;
  RotatingLogWriter w;
  Options o{3, 200, true, u"<END OF ENTRY>", u"Debug Log"};
  ASSERT_EQ(Init(w, folder.u16(), o), 0);
  std::vector<std::string> entries;
  for (int i = 0; i < 60; ++i) {
    std::string text = "entry number " + std::to_string(i) + " with some words";
    entries.push_back(text);
    ASSERT_EQ(Write(w, std::u16string(text.begin(), text.end())), 0) << i;
  }
  EXPECT_EQ(FilesIn(folder.path()),
            (std::vector<std::string>{"OrUpDebg.1.Log", "OrUpDebg.2.Log", "OrUpDebg.Log"}));
  // No file passes the limit, each starts with the title, and together the oldest-to-newest
  // files end with the most recent entries in order.
  std::string all;
  for (const char* name : {"OrUpDebg.2.Log", "OrUpDebg.1.Log", "OrUpDebg.Log"}) {
    std::string text = ReadFile(folder.path() / name);
    EXPECT_LE(text.size(), 200u) << name;
    ASSERT_EQ(text.rfind("Debug Log\r\n", 0), 0u) << name;
    all += text.substr(11);
  }
  std::string expected_tail;
  std::size_t kept = 0;
  for (std::size_t i = entries.size(); i-- > 0;) {
    std::string piece = entries[i] + "\r\n<END OF ENTRY>\r\n";
    if (expected_tail.size() + piece.size() > all.size()) break;
    expected_tail = piece + expected_tail;
    ++kept;
  }
  EXPECT_GE(kept, 6u);
  EXPECT_EQ(all.substr(all.size() - expected_tail.size()), expected_tail);
  EXPECT_EQ(all.find(entries[0] + "\r\n"), std::string::npos);  // the oldest fell away
  EXPECT_NE(all.find(entries.back()), std::string::npos);
}

TEST(RotatingLogWriter, AnEntryLargerThanTheLimitGoesWholeIntoAFileOfItsOwn) {
  TempFolder folder;
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, folder.u16(), {3, 50, true, u"|", u""}), 0);
  ASSERT_EQ(Write(w, u"small"), 0);
  std::u16string big(300, u'b');
  ASSERT_EQ(Write(w, big), 0);
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), std::string(300, 'b') + "\r\n|\r\n");
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.1.Log"), "small\r\n|\r\n");
  ASSERT_EQ(Write(w, u"after"), 0);
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), "after\r\n|\r\n");
}

TEST(RotatingLogWriter, WithOneFileTheFileStartsOver) {
  TempFolder folder;
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, folder.u16(), {1, 30, true, u"|", u""}), 0);
  ASSERT_EQ(Write(w, u"aaaaaaaaaa"), 0);
  ASSERT_EQ(Write(w, u"bbbbbbbbbb"), 0);
  ASSERT_EQ(Write(w, u"cccccccccc"), 0);
  EXPECT_EQ(FilesIn(folder.path()), (std::vector<std::string>{"OrUpDebg.Log"}));
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), "cccccccccc\r\n|\r\n");
}

TEST(RotatingLogWriter, ZeroFilesCountsAsOneAndZeroSizeMeansNoLimit) {
  TempFolder folder;
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, folder.u16(), {0, 0, true, u"|", u""}), 0);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(Write(w, u"0123456789"), 0);
  EXPECT_EQ(FilesIn(folder.path()), (std::vector<std::string>{"OrUpDebg.Log"}));
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log").size(), 100u * 15u);  // 10 + CR LF + "|" + CR LF
}

TEST(RotatingLogWriter, TrueFlagAppendsToTheExistingFileFalseMovesItAside) {
  TempFolder folder;
  {
    RotatingLogWriter w;
    ASSERT_EQ(Init(w, folder.u16(), {3, 0, true, u"|", u"T"}), 0);
    ASSERT_EQ(Write(w, u"one"), 0);
  }
  {
    RotatingLogWriter w;
    ASSERT_EQ(Init(w, folder.u16(), {3, 0, true, u"|", u"T"}), 0);
    ASSERT_EQ(Write(w, u"two"), 0);
  }
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), "T\r\none\r\n|\r\ntwo\r\n|\r\n");
  {
    RotatingLogWriter w;
    ASSERT_EQ(Init(w, folder.u16(), {3, 0, false, u"|", u"T"}), 0);
    ASSERT_EQ(Write(w, u"three"), 0);
  }
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), "T\r\nthree\r\n|\r\n");
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.1.Log"), "T\r\none\r\n|\r\ntwo\r\n|\r\n");
}

TEST(RotatingLogWriter, APathNamingAFileInAnExistingFolderIsUsedAsTheCurrentFile) {
  TempFolder folder;
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, (folder.path() / "debug.txt").u16string(), {2, 20, true, u"|", u""}), 0);
  ASSERT_EQ(Write(w, u"0123456789"), 0);
  ASSERT_EQ(Write(w, u"abcdefghij"), 0);
  EXPECT_EQ(FilesIn(folder.path()), (std::vector<std::string>{"debug.1.txt", "debug.txt"}));
  EXPECT_EQ(ReadFile(folder.path() / "debug.txt"), "abcdefghij\r\n|\r\n");
}

TEST(RotatingLogWriter, RotationContinuesAcrossARestart) {
  TempFolder folder;
  Options o{2, 40, true, u"|", u""};
  {
    RotatingLogWriter w;
    ASSERT_EQ(Init(w, folder.u16(), o), 0);
    ASSERT_EQ(Write(w, u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaa"), 0);  // 29 + 5 bytes
  }
  RotatingLogWriter w;
  ASSERT_EQ(Init(w, folder.u16(), o), 0);
  ASSERT_EQ(Write(w, u"bbbbbbbbbb"), 0);
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.1.Log"), "aaaaaaaaaaaaaaaaaaaaaaaaaaaaa\r\n|\r\n");
  EXPECT_EQ(ReadFile(folder.path() / "OrUpDebg.Log"), "bbbbbbbbbb\r\n|\r\n");
}

#ifdef __linux__
std::size_t OpenFileCount() {
  std::size_t n = 0;
  for (const auto& e : fs::directory_iterator("/proc/self/fd")) {
    (void)e;
    ++n;
  }
  return n;
}
#endif

// A log that runs for months rotates thousands of times: it holds one file open and no more.
TEST(RotatingLogWriter, ThousandsOfRotationsAndInitsHoldOneFileOpen) {
#ifndef __linux__
  GTEST_SKIP() << "counts the open files through /proc/self/fd";
#else
  TempFolder folder;
  const std::size_t before = OpenFileCount();
  {
    RotatingLogWriter w;
    ASSERT_EQ(Init(w, folder.u16(), {3, 64, true, u"--", u"T"}), 0);
    for (int i = 0; i < 3000; ++i) {
      // Each entry is larger than half the limit: every write after the first rotates.
      ASSERT_EQ(Write(w, u"an entry of forty characters, more or less"), 0) << i;
      if (i % 500 == 499) {
        ASSERT_EQ(Init(w, folder.u16(), {3, 64, true, u"--", u"T"}), 0);
      }
    }
    EXPECT_EQ(OpenFileCount(), before + 1);
    EXPECT_EQ(FilesIn(folder.path()),
              (std::vector<std::string>{"OrUpDebg.1.Log", "OrUpDebg.2.Log", "OrUpDebg.Log"}));
  }
  EXPECT_EQ(OpenFileCount(), before);
#endif
}

}  // namespace
