#pragma once
// Character classes and ASCII case folding shared by the platform layer and the layers above.
// Full Unicode case mapping lives in text.h (UCase/LCase); these are the cheap ASCII forms that
// names, keywords and format tokens are compared with.

#include <string_view>

namespace qorvintr::automation {

constexpr bool IsAsciiDigit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }
constexpr bool IsAsciiUpper(char16_t c) noexcept { return c >= u'A' && c <= u'Z'; }
constexpr bool IsAsciiLower(char16_t c) noexcept { return c >= u'a' && c <= u'z'; }
constexpr bool IsAsciiLetter(char16_t c) noexcept { return IsAsciiUpper(c) || IsAsciiLower(c); }

constexpr char16_t AsciiLower(char16_t c) noexcept {
  return IsAsciiUpper(c) ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}
constexpr char16_t AsciiUpper(char16_t c) noexcept {
  return IsAsciiLower(c) ? static_cast<char16_t>(c - (u'a' - u'A')) : c;
}

constexpr bool IsAsciiText(std::u16string_view text) noexcept {
  for (char16_t c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

// The blanks the platform's number and date parsers step over (the same set in both): the
// Unicode white space - tab to carriage return, space, next line, no-break space, ogham space
// mark, the spaces U+2000 to U+200A, line and paragraph separators, narrow no-break space,
// medium mathematical space and the ideographic space. Zero-width spaces and the byte-order
// mark are not blanks.
constexpr bool IsBlank(char16_t c) noexcept {
  if (c == u' ' || (c >= 0x09 && c <= 0x0D)) return true;
  if (c < 0x85) return false;
  return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) ||
         c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

// Equal when the texts differ only in the case of ASCII letters.
template <class A, class B>
constexpr bool EqualsIgnoreAsciiCase(const A& a, const B& b) noexcept {
  if (a.size() != b.size()) return false;
  for (decltype(a.size()) i = 0; i < a.size(); ++i) {
    if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
  }
  return true;
}

}  // namespace qorvintr::automation
