#pragma once
// Whole numbers as decimal text, without allocation beyond the text they are appended to.

#include <charconv>
#include <cstdint>
#include <string>

namespace qorvintr::automation {

// Appends the decimal text of value ("-" for negatives, no blanks, no leading zeros).
inline void AppendDecimal(std::u16string& text, std::int64_t value) {
  char digits[24];
  char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  text.append(digits, end);
}

inline std::u16string DecimalText(std::int64_t value) {
  std::u16string text;
  AppendDecimal(text, value);
  return text;
}

}  // namespace qorvintr::automation
