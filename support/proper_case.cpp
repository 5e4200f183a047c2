#include "support/proper_case.h"

#include <cstddef>

#include "automation/chars.h"
#include "automation/text.h"

namespace qorvintr::support::modTools {

namespace {

char16_t UpperChar(char16_t c) {
  if (c < 0x80) return automation::AsciiUpper(c);
  std::u16string upper = automation::UCase(std::u16string_view(&c, 1));
  return upper.size() == 1 ? upper[0] : c;
}

// The same steps for a text of ASCII characters only (names of fields and temporaries almost
// always are), in one pass and one allocation: every letter lowered, the first character and
// each one after a blank raised.
std::u16string ProperCaseAscii(std::u16string_view text) {
  std::u16string out(text.size(), u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool starts_word = i == 0 || text[i - 1] == u' ';
    out[i] = starts_word ? automation::AsciiUpper(text[i]) : automation::AsciiLower(text[i]);
  }
  return out;
}

bool IsAscii(std::u16string_view text) noexcept {
  for (char16_t c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

}  // namespace

std::u16string ProperCase(std::u16string_view text) {
  if (text.empty()) return {};
  if (IsAscii(text)) return ProperCaseAscii(text);
  std::u16string copy = automation::LCase(text);
  std::size_t position = 0;  // 1-based, as the platform counts
  for (;;) {
    ++position;
    // Kept: past the end of a text ending in a blank this step changes nothing (tests/support_proper_case_test.cpp: ATextEndingInABlankDoesNotFail)
    if (position <= copy.size()) copy[position - 1] = UpperChar(copy[position - 1]);
    // Kept: only a blank starts a word, searched in the unchanged input (tests/support_proper_case_test.cpp: OnlyABlankStartsAWord)
    std::size_t hit = text.find(u' ', position - 1);
    if (hit == std::u16string_view::npos) break;
    position = hit + 1;
  }
  return copy;
}

}  // namespace qorvintr::support::modTools
