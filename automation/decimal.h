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

// The same with leading zeros up to min_digits digits (the sign, if any, comes before them).
inline void AppendDecimal(std::u16string& text, std::int64_t value, int min_digits) {
  char digits[24];
  char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  char* first = digits;
  if (value < 0) text.push_back(static_cast<char16_t>(*first++));
  for (auto count = end - first; count < min_digits; ++count) text.push_back(u'0');
  text.append(first, end);
}

inline std::u16string DecimalText(std::int64_t value) {
  std::u16string text;
  AppendDecimal(text, value);
  return text;
}

}  // namespace qorvintr::automation
