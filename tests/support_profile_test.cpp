#include "support/profile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support_temp_folder.h"

namespace {

using qorvintr::support::ReadProfileString;
using qorvintr::testing_support::TempFolder;

class Profile : public ::testing::Test {
 protected:
  std::u16string Ini(const std::string& bytes) {
    return folder_.Write("settings.ini", bytes).u16string();
  }
  std::u16string Read(const std::u16string& file, std::u16string_view key,
                      std::u16string_view section = u"Upload",
                      std::u16string_view default_value = u"") {
    return ReadProfileString(section, key, default_value, file);
  }
  TempFolder folder_;
};

TEST_F(Profile, ReadsAKeyOfASection) {
  auto f = Ini("[Other]\r\nLogSize=9\r\n[Upload]\r\nLogSize=5\r\nNumLogs=4\r\n");
  EXPECT_EQ(Read(f, u"LogSize"), u"5");
  EXPECT_EQ(Read(f, u"NumLogs"), u"4");
  EXPECT_EQ(Read(f, u"LogSize", u"Other"), u"9");
}

TEST_F(Profile, SectionAndKeyMatchWithoutRegardToCase) {
  auto f = Ini("[UPLOAD]\nwritedebuglog=True\n");
  EXPECT_EQ(Read(f, u"WriteDebugLog", u"upload"), u"True");
  EXPECT_EQ(Read(f, u"WRITEDEBUGLOG", u"Upload"), u"True");
}

TEST_F(Profile, ValueKeepsItsOwnCase) {
  auto f = Ini("[Upload]\nWriteDebugLog=true\n");
  EXPECT_EQ(Read(f, u"WriteDebugLog"), u"true");
}

TEST_F(Profile, MissingKeySectionOrFileGivesTheDefault) {
  auto f = Ini("[Upload]\nLogSize=5\n");
  EXPECT_EQ(Read(f, u"NumLogs", u"Upload", u"3"), u"3");
  EXPECT_EQ(Read(f, u"LogSize", u"Download", u"dflt"), u"dflt");
  auto missing = (folder_.path() / "no-such.ini").u16string();
  EXPECT_EQ(Read(missing, u"LogSize", u"Upload", u"dflt"), u"dflt");
  EXPECT_EQ(Read(u"", u"LogSize", u"Upload", u"dflt"), u"dflt");
}

TEST_F(Profile, AFolderInsteadOfAFileGivesTheDefault) {
  EXPECT_EQ(Read(folder_.u16(), u"LogSize", u"Upload", u"dflt"), u"dflt");
}

TEST_F(Profile, EmptyFileGivesTheDefault) {
  auto f = Ini("");
  EXPECT_EQ(Read(f, u"LogSize", u"Upload", u"d"), u"d");
}

TEST_F(Profile, DefaultLosesTrailingBlanks) {
  auto f = Ini("[Upload]\n");
  EXPECT_EQ(Read(f, u"X", u"Upload", u"  abc   "), u"  abc");
}

TEST_F(Profile, EmptyValueIsEmptyNotTheDefault) {
  auto f = Ini("[Upload]\nSeparator=\n");
  EXPECT_EQ(Read(f, u"Separator", u"Upload", u"dflt"), u"");
}

TEST_F(Profile, BlanksAndTabsAroundKeysAndValuesAreIgnored) {
  auto f = Ini("  [ Upload ]  \n \t LogSize \t =  \t 5 x \t \n");
  EXPECT_EQ(Read(f, u"LogSize"), u"5 x");
}

TEST_F(Profile, MatchingQuotesAroundTheWholeValueAreRemoved) {
  auto f = Ini(
      "[Upload]\n"
      "A=\"in double\"\n"
      "B='in single'\n"
      "C=\"mixed'\n"
      "D=\"\n"
      "E=\"\"\n"
      "F= \" padded \" \n"
      "G=x\"y\"\n");
  EXPECT_EQ(Read(f, u"A"), u"in double");
  EXPECT_EQ(Read(f, u"B"), u"in single");
  EXPECT_EQ(Read(f, u"C"), u"\"mixed'");
  EXPECT_EQ(Read(f, u"D"), u"\"");
  EXPECT_EQ(Read(f, u"E"), u"");
  EXPECT_EQ(Read(f, u"F"), u" padded ");
  EXPECT_EQ(Read(f, u"G"), u"x\"y\"");
}

TEST_F(Profile, CommentLinesAreIgnored) {
  auto f = Ini("[Upload]\n;WriteDebugLog=True\n; LogSize=7\nLogSize=5\n");
  EXPECT_EQ(Read(f, u"WriteDebugLog", u"Upload", u"off"), u"off");
  EXPECT_EQ(Read(f, u"LogSize"), u"5");
}

TEST_F(Profile, MalformedLinesAreIgnored) {
  auto f = Ini("[Upload]\ngarbage line\n=orphan\n[Broken\nLogSize=5\n");
  EXPECT_EQ(Read(f, u"garbage line", u"Upload", u"d"), u"d");
  EXPECT_EQ(Read(f, u"LogSize"), u"5");  // "[Broken" is no header: still in Upload
  EXPECT_EQ(Read(f, u""), u"orphan");     // "=orphan" holds the empty key
}

TEST_F(Profile, KeysBeforeAnySectionBelongToNone) {
  auto f = Ini("LogSize=8\n[Upload]\nNumLogs=2\n");
  EXPECT_EQ(Read(f, u"LogSize", u"Upload", u"d"), u"d");
}

TEST_F(Profile, FirstMatchingSectionAndFirstMatchingKeyWin) {
  auto f = Ini("[Upload]\nLogSize=1\nLogSize=2\n[Other]\n[upload]\nLogSize=3\nNumLogs=4\n");
  EXPECT_EQ(Read(f, u"LogSize"), u"1");
  EXPECT_EQ(Read(f, u"NumLogs", u"Upload", u"d"), u"d");
}

TEST_F(Profile, ValueMayHoldEqualsSigns) {
  auto f = Ini("[Upload]\nSeparator===END==\n");
  EXPECT_EQ(Read(f, u"Separator"), u"==END==");
}

TEST_F(Profile, AnyLineEndingSplitsLines) {
  auto f = Ini("[Upload]\rA=1\rB=2\r\nC=3\nD=4");
  EXPECT_EQ(Read(f, u"A"), u"1");
  EXPECT_EQ(Read(f, u"B"), u"2");
  EXPECT_EQ(Read(f, u"C"), u"3");
  EXPECT_EQ(Read(f, u"D"), u"4");
}

TEST_F(Profile, AtMost127CharactersComeBack) {
  std::string longer(300, 'x');
  auto f = Ini("[Upload]\nDebugLogPath=" + longer + "\nExact=" + std::string(127, 'y') + "\n");
  EXPECT_EQ(Read(f, u"DebugLogPath"), std::u16string(127, u'x'));
  EXPECT_EQ(Read(f, u"Exact"), std::u16string(127, u'y'));
  EXPECT_EQ(ReadProfileString(u"Upload", u"DebugLogPath", u"", f, 10),
            std::u16string(9, u'x'));
  EXPECT_EQ(ReadProfileString(u"Upload", u"DebugLogPath", u"", f, 0), u"");
  EXPECT_EQ(ReadProfileString(u"Upload", u"Missing", std::u16string(200, u'd'), f),
            std::u16string(127, u'd'));
}

TEST_F(Profile, Utf8TextWithOrWithoutMarkIsRead) {
  auto plain = Ini("[Upload]\nDebugLogPath=/tmp/caf\xC3\xA9\n");
  EXPECT_EQ(Read(plain, u"DebugLogPath"), u"/tmp/caf\u00E9");
  auto marked = folder_.Write("marked.ini", "\xEF\xBB\xBF[Upload]\nLogSize=5\n").u16string();
  EXPECT_EQ(Read(marked, u"LogSize"), u"5");
}

TEST_F(Profile, AnsiTextIsReadAsWindows1252) {
  auto f = Ini("[Upload]\nSeparator=caf\xE9 \x80\n");
  EXPECT_EQ(Read(f, u"Separator"), u"caf\u00E9 \u20AC");
}

TEST_F(Profile, Utf16TextWithItsMarkIsRead) {
  std::u16string text = u"[Upload]\r\nLogSize=5\r\n";
  std::string bytes = "\xFF\xFE";
  for (char16_t c : text) {
    bytes.push_back(static_cast<char>(c & 0xFF));
    bytes.push_back(static_cast<char>(c >> 8));
  }
  auto f = folder_.Write("wide.ini", bytes).u16string();
  EXPECT_EQ(Read(f, u"LogSize"), u"5");
}

TEST_F(Profile, BinaryGarbageGivesTheDefault) {
  std::string junk;
  for (int i = 0; i < 4096; ++i) junk.push_back(static_cast<char>((i * 131 + 7) & 0xFF));
  junk.erase(std::remove(junk.begin(), junk.end(), '['), junk.end());
  auto f = Ini(junk);
  EXPECT_EQ(Read(f, u"LogSize", u"Upload", u"d"), u"d");
}

TEST_F(Profile, FileNameWithLoneSurrogateGivesTheDefault) {
  std::u16string odd = folder_.u16() + u"/bad\xD800name.ini";
  EXPECT_EQ(Read(odd, u"LogSize", u"Upload", u"d"), u"d");
}

}  // namespace
