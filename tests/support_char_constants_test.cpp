#include "support/char_constants.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

namespace tools = qorvintr::support::modTools;

TEST(CharacterConstants, FiftyTwoOneCharacterTextsForTheListedCodes) {
  tools::InitCharacterConstants();
  int count = 0;
  for (int code = 0; code < 130; ++code) {
    const std::u16string& c = tools::CharacterConstant(code);
    bool listed = (code >= 1 && code <= 7) || (code >= 14 && code <= 47) ||
                  (code >= 91 && code <= 96) || (code >= 123 && code <= 127);
    if (listed) {
      ASSERT_EQ(c.size(), 1u) << code;
      EXPECT_EQ(c[0], static_cast<char16_t>(code));
      ++count;
    } else {
      EXPECT_TRUE(c.empty()) << code;
    }
  }
  EXPECT_EQ(count, 52);
}

TEST(CharacterConstants, TheOnesTheInterpreterUses) {
  tools::InitCharacterConstants();
  EXPECT_EQ(tools::ChrBlank(), u" ");
  EXPECT_EQ(tools::ChrDoubleQuote(), u"\"");
  EXPECT_EQ(tools::ChrComma(), u",");
  // The lexer's date-literal delimiter and end-of-text marker.
  EXPECT_EQ(tools::CharacterConstant(35), u"#");
  EXPECT_EQ(tools::CharacterConstant(127), u"\x7F");
}

TEST(CharacterConstants, AreEmptyOnAThreadThatDidNotFillThem) {
  tools::InitCharacterConstants();
  std::u16string seen = u"unset";
  std::u16string after;
  std::thread t([&] {
    seen = tools::ChrComma();
    tools::InitCharacterConstants();
    after = tools::ChrComma();
  });
  t.join();
  EXPECT_EQ(seen, u"");
  EXPECT_EQ(after, u",");
}

}  // namespace
