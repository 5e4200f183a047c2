// Format's picture tokens and sections: the one reader both scans of a picture use.

#include <array>
#include <cstddef>

#include "automation/chars.h"
#include "qorvintr/error.h"
#include "automation/format_internal.h"

namespace qorvintr::automation::format_internal {

namespace {

// The kind of picture a token makes; Literal for a token every kind shows as it is.
PictureKind KindOf(Tok t) noexcept {
  switch (t) {
    case Tok::Zero: case Tok::Hash: case Tok::Point:
      return PictureKind::Number;
    case Tok::At: case Tok::Amp: case Tok::Lower: case Tok::Upper: case Tok::Bang:
      return PictureKind::Text;
    case Tok::Day: case Tok::Week: case Tok::Month: case Tok::Quarter: case Tok::Year:
    case Tok::Hour: case Tok::Minute: case Tok::Second: case Tok::GeneralDate:
    case Tok::LongTime: case Tok::AmPm: case Tok::DateSep: case Tok::TimeSep: case Tok::Invalid:
      return PictureKind::Date;
    default:
      return PictureKind::Literal;
  }
}

// How many characters from `i` are the letter `lower`, in either case.
std::size_t RunLength(std::u16string_view s, std::size_t i, char16_t lower) noexcept {
  std::size_t n = 0;
  while (i + n < s.size() && AsciiLower(s[i + n]) == lower) ++n;
  return n;
}

// The end of the section that starts at `i`: the next ';' outside quotes and escapes.
std::size_t SectionEnd(std::u16string_view picture, std::size_t i) noexcept {
  while (i < picture.size() && picture[i] != u';') {
    if (picture[i] == u'"') {
      ++i;
      while (i < picture.size() && picture[i] != u'"') ++i;
      if (i < picture.size()) ++i;
    } else if (picture[i] == u'\\' && i + 1 < picture.size()) {
      i += 2;
    } else {
      ++i;
    }
  }
  return i;
}

}  // namespace

Token NextToken(std::u16string_view s, std::size_t i) noexcept {
  Token t;
  t.pos = i;
  if (i >= s.size()) return t;
  const char16_t c = s[i];
  auto make = [&](Tok k, std::size_t len, int n = 0) {
    t.kind = k;
    t.len = len;
    t.n = static_cast<std::uint8_t>(n);
    return t;
  };
  switch (c) {
    case u'"': {
      std::size_t j = i + 1;
      while (j < s.size() && s[j] != u'"') ++j;
      // An unclosed quote runs to the end of the section.
      return make(Tok::Quoted, (j < s.size() ? j + 1 : j) - i);
    }
    case u'\\':
      if (i + 1 < s.size()) return make(Tok::Escaped, 2);
      return make(Tok::Quoted, 1);  // a lone backslash at the end shows nothing
    case u'0': return make(Tok::Zero, 1);
    case u'#': return make(Tok::Hash, 1);
    case u'.': return make(Tok::Point, 1);
    case u',': return make(Tok::Comma, 1);
    case u'%': return make(Tok::Percent, 1);
    case u'@': return make(Tok::At, 1);
    case u'&': return make(Tok::Amp, 1);
    case u'<': return make(Tok::Lower, 1);
    case u'>': return make(Tok::Upper, 1);
    case u'!': return make(Tok::Bang, 1);
    case u'/': return make(Tok::DateSep, 1);
    case u':': return make(Tok::TimeSep, 1);
    default: break;
  }
  const char16_t lc = AsciiLower(c);
  // A run of one letter in either case, up to `most` long; the token's count is the length taken.
  auto letters = [&](Tok k, std::size_t most) {
    const std::size_t n = RunLength(s, i, lc);
    const std::size_t take = n > most ? most : n;
    return make(k, take, static_cast<int>(take));
  };
  switch (lc) {
    case u'e':
      if (i + 1 < s.size() && (s[i + 1] == u'+' || s[i + 1] == u'-')) return make(Tok::Exponent, 2);
      return make(Tok::Char, 1);
    case u'd': return letters(Tok::Day, 7);
    case u'w': return letters(Tok::Week, 2);
    case u'm': return letters(Tok::Month, 5);
    case u'q': return make(Tok::Quarter, 1);
    case u'y': {
      const std::size_t n = RunLength(s, i, u'y');
      if (n >= 5) return make(Tok::Invalid, n);
      const std::size_t take = n == 4 ? 4 : (n >= 2 ? 2 : 1);
      return make(Tok::Year, take, static_cast<int>(take));
    }
    case u'h': return letters(Tok::Hour, 2);
    case u'n': return letters(Tok::Minute, 2);
    case u's': return letters(Tok::Second, 2);
    case u'c': return make(Tok::GeneralDate, 1);
    case u't': {
      const std::size_t n = RunLength(s, i, u't');
      if (n >= 5) return make(Tok::LongTime, 5);
      return make(Tok::Char, 1);
    }
    case u'a': {
      const std::u16string_view rest = s.substr(i);
      if (rest.substr(0, 5) == u"AM/PM") return make(Tok::AmPm, 5, 1);
      if (rest.substr(0, 5) == u"am/pm") return make(Tok::AmPm, 5, 2);
      if (rest.size() >= 4 &&
          EqualsIgnoreAsciiCase(rest.substr(0, 4), std::u16string_view(u"ampm"))) {
        return make(Tok::AmPm, 4, 4);
      }
      if (rest.size() >= 3 && rest[1] == u'/' && AsciiLower(rest[2]) == u'p') {
        return make(Tok::AmPm, 3, 3);
      }
      return make(Tok::Char, 1);
    }
    default:
      return make(Tok::Char, 1);
  }
}

Sections Split(std::u16string_view picture) {
  Sections r;
  bool decided = false;
  bool invalid = false;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = SectionEnd(picture, start);
    if (r.count == 4) Raise(err::InvalidProcedureCall);
    const std::u16string_view section = picture.substr(start, end - start);
    r.part[r.count++] = section;
    for (std::size_t i = 0; i < section.size();) {
      const Token t = NextToken(section, i);
      if (t.kind == Tok::Invalid) invalid = true;
      if (!decided && r.count == 1) {
        const PictureKind k = KindOf(t.kind);
        if (k != PictureKind::Literal) {
          r.kind = k;
          decided = true;
        }
      }
      i += t.len;
    }
    if (end >= picture.size()) break;
    start = end + 1;
  }
  // Kept: five or more y are refused in a date picture only; elsewhere they are literal text (tests/automation_format_test.cpp: FormatKind.FirstDecidingTokenChoosesTheKindOfPicture)
  if (invalid && r.kind == PictureKind::Date) Raise(err::InvalidProcedureCall);
  return r;
}

void AppendSource(std::u16string& out, std::u16string_view s, const Token& t) {
  switch (t.kind) {
    case Tok::Quoted: {
      std::size_t b = t.pos + 1;
      std::size_t e = t.pos + t.len;
      if (e > b && e <= s.size() && s[e - 1] == u'"' && e - 1 >= b) --e;
      if (b < e) out.append(s.substr(b, e - b));
      break;
    }
    case Tok::Escaped: out.push_back(s[t.pos + 1]); break;
    default: out.append(s.substr(t.pos, t.len)); break;
  }
}

// A section of literal text only: every character as it is written (quotes and backslashes
// removed).
void AppendLiteralSection(std::u16string& out, std::u16string_view s) {
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    AppendSource(out, s, t);
    i += t.len;
  }
}

}  // namespace qorvintr::automation::format_internal
