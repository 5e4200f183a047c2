#pragma once
// Text functions of the platform (the UTF-8 edges are in qorvintr/utf8.h).

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "qorvintr/utf8.h"

namespace qorvintr::automation {

// The platform's text comparison modes. Binary compares UTF-16 code units; Text compares them
// after the simple lower-case mapping (case-insensitive; no further linguistic rules).
enum class CompareMode : int { Binary = 0, Text = 1 };

// Trim, LTrim, RTrim remove blanks (character 32) only.
std::u16string Trim(std::u16string_view s);
std::u16string LTrim(std::u16string_view s);
std::u16string RTrim(std::u16string_view s);
std::u16string_view TrimView(std::u16string_view s) noexcept;
// Whether two texts hold the same code units: one comparison of their bytes, where the standard
// comparison of char16_t texts goes unit by unit (a script text is compared per lookup).
inline bool SameUnits(std::u16string_view a, std::u16string_view b) noexcept {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0;
}
// Whether piece occurs in text (as text.find(piece) != npos, the empty piece included), with the
// units after the first compared as bytes.
inline bool ContainsUnits(std::u16string_view text, std::u16string_view piece) noexcept {
  if (piece.empty()) return true;
  if (piece.size() > text.size()) return false;
  const char16_t first = piece.front();
  const std::size_t rest = (piece.size() - 1) * sizeof(char16_t);
  for (std::size_t i = 0, last = text.size() - piece.size(); i <= last; ++i) {
    if (text[i] == first && std::memcmp(text.data() + i + 1, piece.data() + 1, rest) == 0) {
      return true;
    }
  }
  return false;
}
// The same for keys of a map of texts.
struct SameUnitsKey {
  bool operator()(const std::u16string& a, const std::u16string& b) const noexcept {
    return SameUnits(a, b);
  }
};
// One character to one character (the Unicode simple case mappings inside the Basic Multilingual
// Plane; characters whose only capital is two letters, such as sharp s, stay). Lengths and
// positions never change; surrogates are left alone.
std::u16string UCase(std::u16string_view s);
std::u16string LCase(std::u16string_view s);
// LCase of one code unit, without a text to hold it.
char16_t LCaseChar(char16_t c) noexcept;
std::int32_t Len(std::u16string_view s) noexcept;
// Mid(s, start[, length]): start is 1-based; length -1 (left out) takes the rest; start < 1 or
// length < -1 raise 5.
std::u16string Mid(std::u16string_view s, std::int32_t start, std::int32_t length = -1);
std::u16string Left(std::u16string_view s, std::int32_t length);   // length < 0 raises 5
std::u16string Right(std::u16string_view s, std::int32_t length);  // length < 0 raises 5
// InStr([start,] s, find[, compare]): 1-based position or 0; start < 1 raises 5. A start past
// the end gives 0 (so does an empty s); otherwise an empty find gives start.
std::int32_t InStr(std::int32_t start, std::u16string_view s, std::u16string_view find,
                   CompareMode mode = CompareMode::Binary);
// Replace(s, find, replacement[, start[, count[, compare]]]): the result begins at position
// start (the characters before it are dropped); count -1 replaces all. start < 1 or
// count < -1 raise 5. A start past the end gives ""; an empty find or a count of 0 gives the
// text from start unchanged.
std::u16string Replace(std::u16string_view s, std::u16string_view find,
                       std::u16string_view replacement, std::int32_t start = 1,
                       std::int32_t count = -1, CompareMode mode = CompareMode::Binary);
// StrComp-style comparison: -1, 0, 1.
int CompareText(std::u16string_view a, std::u16string_view b, CompareMode mode) noexcept;

}  // namespace qorvintr::automation
