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

}  // namespace

std::u16string ProperCase(std::u16string_view text) {
  if (text.empty()) return {};
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
