#pragma once
// Numbers as decimal text: whole numbers without allocation beyond the text they are appended
// to, and a Double's significant digits.

#include <charconv>
#include <cstdint>
#include <string>
#ifdef __EMSCRIPTEN__
#include <cstdio>
#endif

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

// "d.ddde+XX" with precision digits after the point, correctly rounded (halves to even on the
// exact binary value). The browser build's C++ library (Emscripten 3.1) has no floating-point
// to_chars; its C library rounds exactly too, so there it goes through it.
inline std::to_chars_result ScientificToChars(char* first, char* last, double value,
                                              int precision) {
#ifdef __EMSCRIPTEN__
  const int n = std::snprintf(first, static_cast<std::size_t>(last - first), "%.*e", precision,
                              value);
  if (n < 0 || n >= last - first) return {last, std::errc::value_too_large};
  return {first + n, std::errc{}};
#else
  return std::to_chars(first, last, value, std::chars_format::scientific, precision);
#endif
}

}  // namespace qorvintr::automation
