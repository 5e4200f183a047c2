// The platform's Format: named formats and the picture language for numbers, dates and texts.
//
// A picture is read without building a token list: one scan splits it into sections and decides
// what kind of picture it is (number, date, text, or literal text only); a second scan over the
// chosen section writes the result. Both scans use the same token reader, so they always agree.

#include "automation/format.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "automation/chars.h"
#include "automation/convert.h"
#include "automation/datetime.h"
#include "automation/decimal.h"
#include "automation/error.h"
#include "automation/locale.h"
#include "automation/text.h"

namespace qorvintr::automation {

namespace {

// ---------------------------------------------------------------------------------------------
// Decimal digits of a number, rounded the way Format rounds: on the decimal digits the platform
// writes (15 significant digits for a Double, 7 for a Single), halves away from zero.

struct Digits {
  char d[24];      // significant digits, no trailing zeros; count 0 means the value is zero
  int count = 0;
  int point = 0;   // value = 0.d[0]d[1]... x 10^point

  // Digit j of the integer part, counted from the left of all `IntegerCount()` digits.
  int IntegerCount() const noexcept { return count == 0 ? 0 : (point > 0 ? point : 0); }
  char IntegerDigit(int j) const noexcept { return j < count ? d[j] : '0'; }
  // Digit k after the decimal point (0 = tenths).
  char FractionDigit(int k) const noexcept {
    const int i = point + k;
    return (i < 0 || i >= count) ? '0' : d[i];
  }
  // How many digits after the point are significant.
  int FractionCount() const noexcept { return count == 0 ? 0 : (count - point > 0 ? count - point : 0); }

  void Trim() noexcept {
    while (count > 0 && d[count - 1] == '0') --count;
    if (count == 0) point = 0;
  }

  // Rounds to `decimals` places after the point, halves away from zero.
  void RoundTo(int decimals) noexcept {
    if (count == 0) return;
    const long keep = static_cast<long>(point) + decimals;
    if (keep >= count) return;
    if (keep < 0) {
      count = 0;
      point = 0;
      return;
    }
    const bool up = d[keep] >= '5';
    count = static_cast<int>(keep);
    if (up) {
      int i = count - 1;
      while (i >= 0 && d[i] == '9') --i;
      if (i < 0) {
        d[0] = '1';
        count = 1;
        ++point;
      } else {
        ++d[i];
        count = i + 1;
      }
    }
    Trim();
  }
};

Digits ToDigits(double magnitude, int significant) {
  Digits r;
  if (!(magnitude > 0) || !std::isfinite(magnitude)) return r;
  // Whole numbers that fit the significant digits (the usual case: counts, offsets, years) need
  // no text conversion.
  if (magnitude < 1e15 && magnitude == std::floor(magnitude)) {
    char whole[24];
    const char* end =
        std::to_chars(whole, whole + sizeof whole, static_cast<std::uint64_t>(magnitude)).ptr;
    const int n = static_cast<int>(end - whole);
    if (n <= significant) {
      r.point = n;
      while (r.count < n) {
        r.d[r.count] = whole[r.count];
        ++r.count;
      }
      r.Trim();
      return r;
    }
  }
  char buf[48];
  std::snprintf(buf, sizeof buf, "%.*e", significant - 1, magnitude);
  // "d.dddde+XX"
  const char* p = buf;
  r.d[r.count++] = *p++;
  if (*p == '.') {
    ++p;
    while (*p >= '0' && *p <= '9' && r.count < significant) r.d[r.count++] = *p++;
  }
  while (*p && *p != 'e') ++p;
  int exponent = 0;
  if (*p == 'e') {
    ++p;
    bool neg = false;
    if (*p == '-' || *p == '+') neg = *p++ == '-';
    while (*p >= '0' && *p <= '9') exponent = exponent * 10 + (*p++ - '0');
    if (neg) exponent = -exponent;
  }
  r.point = exponent + 1;
  r.Trim();
  return r;
}

// ---------------------------------------------------------------------------------------------
// Picture tokens

enum class Tok : std::uint8_t {
  End,
  Char,       // one literal character (picture[pos])
  Quoted,     // "text": the characters between the quotes
  Escaped,    // \x: the character after the backslash
  Zero, Hash, Point, Comma, Percent,
  Exponent,   // E+ E- e+ e-
  At, Amp, Lower, Upper, Bang,
  DateSep, TimeSep,
  Day,        // n = 1..7 letters
  Week,       // n = 1..2
  Month,      // n = 1..5
  Quarter,
  Year,       // n = 1, 2, 4
  Hour,       // n = 1..2
  Minute,     // n = 1..2 (n / nn)
  Second,     // n = 1..2
  GeneralDate,  // c
  LongTime,     // ttttt
  AmPm,         // AM/PM, am/pm, A/P (any case), AMPM (any case)
  Invalid,      // a run of letters the platform rejects (five or more y)
};

struct Token {
  Tok kind = Tok::End;
  std::uint8_t n = 0;
  std::size_t pos = 0;  // in the section
  std::size_t len = 0;
};

enum class PictureKind : std::uint8_t { Literal, Number, Date, Text };

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

std::size_t RunLength(std::u16string_view s, std::size_t i, char16_t lower) noexcept {
  std::size_t n = 0;
  while (i + n < s.size() && AsciiLower(s[i + n]) == lower) ++n;
  return n;
}

// Reads the token at `i` of a section (sections never contain an unquoted, unescaped ';').
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
      if (rest.size() >= 4 && EqualsIgnoreAsciiCase(rest.substr(0, 4), std::u16string_view(u"ampm"))) return make(Tok::AmPm, 4, 4);
      if (rest.size() >= 3 && rest[1] == u'/' && AsciiLower(rest[2]) == u'p') {
        return make(Tok::AmPm, 3, 3);
      }
      return make(Tok::Char, 1);
    }
    default:
      return make(Tok::Char, 1);
  }
}

// ---------------------------------------------------------------------------------------------
// Sections

struct Sections {
  std::array<std::u16string_view, 4> part{};
  int count = 0;
  PictureKind kind = PictureKind::Literal;
};

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

// Splits the picture at its unquoted, unescaped semicolons and decides its kind from the first
// section's first token that belongs to one kind only. More than four sections, or five y in a
// date picture, raise 5 (the platform answers E_INVALIDARG).
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
  // Five or more y are refused in a date picture only; elsewhere they are literal text.
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

// ---------------------------------------------------------------------------------------------
// Numbers

struct NumberLayout {
  int int_places = 0;     // digit placeholders before the decimal point
  int first_zero = -1;    // index of the first '0' among them
  int dec_places = 0;
  int dec_shown = 0;      // decimals always shown: through the last '0'
  int exp_places = 0;
  int exp_first_zero = -1;
  int scale = 0;          // thousands of the value dropped by commas before the point or end
  bool has_point = false;
  bool has_exponent = false;
  bool grouping = false;
  bool percent = false;
};

NumberLayout Analyze(std::u16string_view s) noexcept {
  NumberLayout l;
  enum { kInt, kDec, kExp } part = kInt;
  int pending_commas = 0;     // commas right after the integer digits (scaling, unless digits follow)
  bool adjacent = false;      // the previous token was an integer digit or such a comma
  bool after_digit = false;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    const bool exponent_here = after_digit;
    if (t.kind == Tok::Zero || t.kind == Tok::Hash || t.kind == Tok::Point) after_digit = true;
    switch (t.kind) {
      case Tok::Zero:
      case Tok::Hash:
        if (part == kInt) {
          if (pending_commas > 0) l.grouping = true;
          pending_commas = 0;
          adjacent = true;
          if (t.kind == Tok::Zero && l.first_zero < 0) l.first_zero = l.int_places;
          ++l.int_places;
        } else if (part == kDec) {
          ++l.dec_places;
          if (t.kind == Tok::Zero) l.dec_shown = l.dec_places;
        } else {
          if (t.kind == Tok::Zero && l.exp_first_zero < 0) l.exp_first_zero = l.exp_places;
          ++l.exp_places;
        }
        break;
      case Tok::Point:
        if (part == kInt) {
          l.has_point = true;
          l.scale += pending_commas;
          pending_commas = 0;
          part = kDec;
        }
        break;
      case Tok::Comma:
        if (part == kInt && adjacent) {
          ++pending_commas;
        } else if (part != kInt || l.int_places > 0) {
          l.grouping = true;
        }
        break;
      case Tok::Percent:
        l.percent = true;
        break;
      case Tok::Exponent:
        // E+ / E- counts only after a digit placeholder or the decimal point; before them it is
        // literal text.
        if (exponent_here && part != kExp && !l.has_exponent) {
          l.has_exponent = true;
          if (part == kInt) l.scale += pending_commas;
          pending_commas = 0;
          part = kExp;
        }
        break;
      default:
        break;
    }
    if (t.kind != Tok::Comma && !(part == kInt && (t.kind == Tok::Zero || t.kind == Tok::Hash))) {
      adjacent = false;
    }
  }
  l.scale += pending_commas;
  return l;
}

// Writes digit placeholders of an integer field, right-aligned: the first placeholder takes every
// digit the field has no room for; '0' placeholders from the first one on show zeros.
class IntegerField {
 public:
  IntegerField(const char* digits, int count, int places, int first_zero, bool grouping)
      : digits_(digits), count_(count), places_(places), grouping_(grouping) {
    const int min_digits = first_zero < 0 ? 0 : places - first_zero;
    pad_ = min_digits > count ? min_digits - count : 0;
  }
  int Length() const noexcept { return count_ + pad_; }
  // The digit at index j (0 = leftmost) of the padded digits.
  char At(int j) const noexcept { return j < pad_ ? '0' : digits_[j - pad_]; }
  void Put(std::u16string& out, int j) const {
    out.push_back(static_cast<char16_t>(At(j)));
    const int from_right = Length() - 1 - j;
    if (grouping_ && from_right > 0 && from_right % 3 == 0) {
      out.append(CurrentLocale().thousands_separator);
    }
  }
  // Placeholder number `index` (0 = leftmost).
  void Placeholder(std::u16string& out, int index) const {
    const int j = Length() - places_ + index;
    if (index == 0) {
      for (int k = 0; k <= j; ++k) Put(out, k);
    } else if (j >= 0) {
      Put(out, j);
    }
  }
  // Every digit at once (a picture without integer placeholders still shows the integer part).
  void All(std::u16string& out) const {
    for (int k = 0; k < Length(); ++k) Put(out, k);
  }

 private:
  const char* digits_;
  int count_;
  int places_;
  int pad_ = 0;
  bool grouping_;
};

// The integer digits of `d` as characters (no leading zeros; empty for a value below one).
int IntegerDigits(const Digits& d, char* buf, int cap) {
  const int n = d.IntegerCount();
  int len = 0;
  for (int j = 0; j < n && len < cap; ++j) buf[len++] = d.IntegerDigit(j);
  return len;
}

// Formats a number with one section of a numeric picture. `magnitude` is the absolute value;
// `negative` asks for a minus sign (put where the number starts, before its first digit).
void FormatNumberSection(std::u16string& out, std::u16string_view s, double magnitude,
                         int significant, bool negative) {
  const NumberLayout l = Analyze(s);
  Digits d = ToDigits(magnitude, significant);
  if (d.count != 0) {
    if (l.percent) d.point += 2;
    d.point -= 3 * l.scale;
  }
  int exponent = 0;
  if (l.has_exponent) {
    if (d.count != 0) {
      const int target = l.int_places;
      exponent = d.point - target;
      d.point = target;
      d.RoundTo(l.dec_places);
      if (d.count != 0 && d.point > target) {
        exponent += d.point - target;
        d.point = target;
      }
    }
  } else {
    d.RoundTo(l.dec_places);
  }

  // Integer digits: a buffer on the stack unless the value is huge.
  const int int_count = d.IntegerCount();
  std::string int_digits;  // only long for huge values
  char small[64];
  const char* int_ptr = small;
  if (int_count <= static_cast<int>(sizeof small)) {
    IntegerDigits(d, small, static_cast<int>(sizeof small));
  } else {
    int_digits.resize(static_cast<std::size_t>(int_count));
    IntegerDigits(d, int_digits.data(), int_count);
    int_ptr = int_digits.data();
  }
  const IntegerField integer(int_ptr, int_count, l.int_places, l.first_zero, l.grouping);

  char exp_buf[8];
  const int exp_len = static_cast<int>(
      std::to_chars(exp_buf, exp_buf + sizeof exp_buf, exponent < 0 ? -exponent : exponent).ptr -
      exp_buf);
  const IntegerField exp_field(exp_buf, exp_len, l.exp_places, l.exp_first_zero, false);

  const int dec_shown = [&] {
    int sig = d.FractionCount();
    if (sig > l.dec_places) sig = l.dec_places;
    return sig > l.dec_shown ? sig : l.dec_shown;
  }();

  enum { kInt, kDec, kExp } part = kInt;
  int int_index = 0;
  int dec_index = 0;
  int exp_index = 0;
  bool sign_pending = negative;
  bool integer_written = false;
  bool after_digit = false;
  auto sign = [&] {
    if (sign_pending) {
      out.push_back(u'-');
      sign_pending = false;
    }
  };
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    const bool exponent_here = after_digit;
    if (t.kind == Tok::Zero || t.kind == Tok::Hash || t.kind == Tok::Point) after_digit = true;
    switch (t.kind) {
      case Tok::Zero:
      case Tok::Hash:
        if (part == kInt) {
          sign();
          integer.Placeholder(out, int_index++);
          integer_written = true;
        } else if (part == kDec) {
          if (dec_index < dec_shown) out.push_back(static_cast<char16_t>(d.FractionDigit(dec_index)));
          ++dec_index;
        } else {
          exp_field.Placeholder(out, exp_index++);
        }
        break;
      case Tok::Point:
        if (part == kInt) {
          sign();
          if (!integer_written && l.int_places == 0) integer.All(out);
          integer_written = true;
          out.append(CurrentLocale().decimal_point);
          part = kDec;
        } else {
          out.push_back(u'.');
        }
        break;
      case Tok::Comma:
        if (part == kInt && int_index == 0) out.push_back(u',');
        break;
      case Tok::Percent:
        out.push_back(u'%');
        break;
      case Tok::Exponent:
        if (exponent_here && part != kExp && l.has_exponent) {
          if (!integer_written && l.int_places == 0 && part == kInt) {
            sign();
            integer_written = true;
          }
          out.push_back(s[t.pos]);
          if (exponent < 0) {
            out.push_back(u'-');
          } else if (s[t.pos + 1] == u'+') {
            out.push_back(u'+');
          }
          part = kExp;
          if (l.exp_places == 0) exp_field.All(out);
        } else {
          AppendSource(out, s, t);
        }
        break;
      default:
        AppendSource(out, s, t);
        break;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Dates

// Day of the week counted from the given first day (1 = Sunday ... 7 = Saturday).
int WeekdayFrom(int weekday, int first_day) noexcept { return (weekday - first_day + 7) % 7 + 1; }

double FloorDay(double serial) noexcept { return std::floor(serial); }

int WeekdayOfDay(double day) noexcept {
  const long long n = static_cast<long long>(day);
  return static_cast<int>(((n % 7) + 7 + 6) % 7) + 1;
}

// The first day of week 1 of a year, by the first-week rule.
double FirstWeekStart(int year, int first_day, int first_week) noexcept {
  const double jan1 = DaySerial(year, 1, 1);
  const int before = (WeekdayOfDay(jan1) - first_day + 7) % 7;  // days of its week before Jan 1
  double start = jan1 - before;
  if (first_week == 2) {
    if (7 - before < 4) start += 7;
  } else if (first_week == 3) {
    if (before != 0) start += 7;
  }
  return start;
}

int WeekOfYear(double serial, const DateParts& p, int first_day, int first_week) noexcept {
  const double day = FloorDay(serial);
  double start = FirstWeekStart(p.year, first_day, first_week);
  if (day < start) start = FirstWeekStart(p.year - 1, first_day, first_week);
  return static_cast<int>((day - start) / 7) + 1;
}

// Renders one of the locale's own pictures (short date, long date, long time), which use the
// system's letters: d M y for the date, h (12-hour) H (24-hour) m s for the time, t/tt for AM/PM.
void AppendLocalePicture(std::u16string& out, std::u16string_view pic, const DateParts& p) {
  const LocaleData& loc = CurrentLocale();
  for (std::size_t i = 0; i < pic.size();) {
    const char16_t c = pic[i];
    std::size_t n = 1;
    while (i + n < pic.size() && pic[i + n] == c) ++n;
    switch (c) {
      case u'd':
        if (n == 1) AppendDecimal(out, p.day);
        else if (n == 2) AppendDecimal(out, p.day, 2);
        else if (n == 3) out.append(loc.day_abbreviations[static_cast<std::size_t>(p.weekday - 1)]);
        else out.append(loc.day_names[static_cast<std::size_t>(p.weekday - 1)]);
        break;
      case u'M':
        if (n == 1) AppendDecimal(out, p.month);
        else if (n == 2) AppendDecimal(out, p.month, 2);
        else if (n == 3) out.append(loc.month_abbreviations[static_cast<std::size_t>(p.month - 1)]);
        else out.append(loc.month_names[static_cast<std::size_t>(p.month - 1)]);
        break;
      case u'y':
        if (n <= 2) AppendDecimal(out, p.year % 100, n == 1 ? 1 : 2);
        else AppendDecimal(out, p.year);
        break;
      case u'h': AppendDecimal(out, p.hour % 12 == 0 ? 12 : p.hour % 12, n >= 2 ? 2 : 1); break;
      case u'H': AppendDecimal(out, p.hour, n >= 2 ? 2 : 1); break;
      case u'm': AppendDecimal(out, p.minute, n >= 2 ? 2 : 1); break;
      case u's': AppendDecimal(out, p.second, n >= 2 ? 2 : 1); break;
      case u't': {
        const std::u16string_view s = p.hour < 12 ? loc.am : loc.pm;
        out.append(n >= 2 ? s : s.substr(0, 1));
        break;
      }
      case u'\'': {
        std::size_t j = i + 1;
        while (j < pic.size() && pic[j] != u'\'') out.push_back(pic[j++]);
        n = (j < pic.size() ? j + 1 : j) - i;
        break;
      }
      default:
        out.append(pic.substr(i, n));
        break;
    }
    i += n;
  }
}

void FormatDateSection(std::u16string& out, std::u16string_view s, double serial, int first_day,
                       int first_week) {
  const DateParts p = SplitDate(serial);
  const LocaleData& loc = CurrentLocale();
  // A section with any AM/PM marker counts hours on a 12-hour clock.
  bool twelve = false;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    if (t.kind == Tok::AmPm) twelve = true;
    i += t.len;
  }
  const bool pm = p.hour >= 12;
  bool after_hour = false;  // an m or mm right after an hour means minutes
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    switch (t.kind) {
      case Tok::Day:
        switch (t.n) {
          case 1: AppendDecimal(out, p.day); break;
          case 2: AppendDecimal(out, p.day, 2); break;
          case 3: out.append(loc.day_abbreviations[static_cast<std::size_t>(p.weekday - 1)]); break;
          case 4: out.append(loc.day_names[static_cast<std::size_t>(p.weekday - 1)]); break;
          case 5: AppendLocalePicture(out, loc.short_date, p); break;
          default: AppendLocalePicture(out, loc.long_date, p); break;
        }
        break;
      case Tok::Week:
        if (t.n == 1) AppendDecimal(out, WeekdayFrom(p.weekday, first_day));
        else AppendDecimal(out, WeekOfYear(serial, p, first_day, first_week));
        break;
      case Tok::Month:
        if (t.n <= 2 && after_hour) {
          AppendDecimal(out, p.minute, t.n);
        } else if (t.n <= 2) {
          AppendDecimal(out, p.month, t.n);
        } else if (t.n == 3) {
          out.append(loc.month_abbreviations[static_cast<std::size_t>(p.month - 1)]);
        } else if (t.n == 4) {
          out.append(loc.month_names[static_cast<std::size_t>(p.month - 1)]);
        } else {
          AppendDecimal(out, p.day_of_year);
        }
        after_hour = false;
        break;
      case Tok::Quarter: AppendDecimal(out, (p.month - 1) / 3 + 1); break;
      case Tok::Year:
        if (t.n == 1) AppendDecimal(out, p.day_of_year);
        else if (t.n == 2) AppendDecimal(out, p.year % 100, 2);
        else AppendDecimal(out, p.year);
        break;
      case Tok::Hour: {
        int h = p.hour;
        if (twelve) h = h % 12 == 0 ? 12 : h % 12;
        AppendDecimal(out, h, t.n);
        after_hour = true;
        break;
      }
      case Tok::Minute: AppendDecimal(out, p.minute, t.n); break;
      case Tok::Second: AppendDecimal(out, p.second, t.n); break;
      case Tok::GeneralDate: out.append(DateToText(serial)); break;
      case Tok::LongTime: AppendLocalePicture(out, loc.long_time, p); break;
      case Tok::AmPm:
        switch (t.n) {
          case 1: out.append(pm ? u"PM" : u"AM"); break;
          case 2: out.append(pm ? u"pm" : u"am"); break;
          case 3: {
            // The case of the A decides the case of both letters.
            const bool small = s[t.pos] == u'a';
            out.push_back(pm ? (small ? u'p' : u'P') : (small ? u'a' : u'A'));
            break;
          }
          default: out.append(pm ? loc.pm : loc.am); break;
        }
        break;
      case Tok::DateSep: out.append(loc.date_separator); break;
      case Tok::TimeSep: out.append(loc.time_separator); break;
      default: AppendSource(out, s, t); break;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Texts

void FormatTextSection(std::u16string& out, std::u16string_view s, std::u16string_view text) {
  long places = 0;
  bool left_to_right = false;
  bool lower = false;
  bool upper = false;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    switch (t.kind) {
      case Tok::At: case Tok::Amp: ++places; break;
      case Tok::Bang: left_to_right = true; break;
      case Tok::Lower: lower = true; break;
      case Tok::Upper: upper = true; break;
      default: break;
    }
  }
  // < and > change the case of the text only, not of the picture's literals.
  std::u16string changed;
  if (lower || upper) {
    changed = lower ? LCase(text) : UCase(text);
    text = changed;
  }
  const long len = static_cast<long>(text.size());
  // A text shorter than the placeholders fills them from the right unless the picture has "!";
  // a longer one fills them from the left and the rest follows the whole picture.
  const bool from_right = !left_to_right && len < places;
  long index = 0;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    switch (t.kind) {
      case Tok::At:
      case Tok::Amp: {
        const long j = from_right ? len - places + index : index;
        if (j >= 0 && j < len) {
          out.push_back(text[static_cast<std::size_t>(j)]);
        } else if (t.kind == Tok::At) {
          out.push_back(u' ');
        }
        ++index;
        break;
      }
      case Tok::Bang: case Tok::Lower: case Tok::Upper: break;
      default: AppendSource(out, s, t); break;
    }
  }
  if (len > places) out.append(text.substr(static_cast<std::size_t>(places)));
}

// ---------------------------------------------------------------------------------------------
// Values as the three kinds of picture see them

// A number for a numeric picture; nullopt when the value is no number (the text is then shown
// as it is).
struct Number {
  double value = 0;
  int significant = 15;
  bool negative = false;  // a text keeps its minus sign even on zero ("-0")
};

std::optional<Number> AsNumber(const Value& v) {
  switch (v.Type()) {
    case VarType::Empty: return Number{0, 15, false};
    case VarType::Boolean:
      return Number{v.GetBoolean() ? -1.0 : 0.0, 15, v.GetBoolean()};
    case VarType::Integer:
      return Number{static_cast<double>(v.GetInteger()), 15, v.GetInteger() < 0};
    case VarType::Long: return Number{static_cast<double>(v.GetLong()), 15, v.GetLong() < 0};
    case VarType::Single: return Number{static_cast<double>(v.GetSingle()), 7, v.GetSingle() < 0};
    case VarType::Double: return Number{v.GetDouble(), 15, v.GetDouble() < 0};
    case VarType::String: {
      const std::optional<double> d = ParseNumber(v.GetString());
      if (!d) return std::nullopt;
      return Number{*d, 15, std::signbit(*d)};
    }
    default: return std::nullopt;
  }
}

// A date serial for a date picture; nullopt when the value is no date in range.
std::optional<double> AsDate(const Value& v) {
  double serial = 0;
  switch (v.Type()) {
    case VarType::Empty: serial = 0; break;
    case VarType::Date: serial = v.GetDate(); break;
    case VarType::Boolean: serial = v.GetBoolean() ? -1.0 : 0.0; break;
    case VarType::Integer: serial = v.GetInteger(); break;
    case VarType::Long: serial = v.GetLong(); break;
    case VarType::Single: serial = v.GetSingle(); break;
    case VarType::Double: serial = v.GetDouble(); break;
    case VarType::String: {
      if (std::optional<double> d = ParseDate(v.GetString())) {
        serial = *d;
      } else if (std::optional<double> n = ParseNumber(v.GetString())) {
        serial = *n;
      } else {
        return std::nullopt;
      }
      break;
    }
    default: return std::nullopt;
  }
  if (!InDateRange(serial)) return std::nullopt;
  return serial;
}

// The value as the text a text picture places, and the plain conversion of an empty picture.
std::u16string PlainText(const Value& v) {
  switch (v.Type()) {
    case VarType::Empty:
    case VarType::Null: return {};
    case VarType::Boolean: return v.GetBoolean() ? u"-1" : u"0";
    case VarType::Integer: return DecimalText(v.GetInteger());
    case VarType::Long: return DecimalText(v.GetLong());
    case VarType::Single: return SingleToText(v.GetSingle());
    case VarType::Double: return DoubleToText(v.GetDouble());
    case VarType::Date: return DateToText(v.GetDate());
    case VarType::String: return v.GetString();
    default: Raise(err::TypeMismatch);
  }
}

// ---------------------------------------------------------------------------------------------
// Named formats

enum class Named : std::uint8_t {
  None, GeneralDate, LongDate, MediumDate, ShortDate, LongTime, MediumTime, ShortTime,
  GeneralNumber, Currency, Fixed, Standard, Percent, Scientific, YesNo, TrueFalse, OnOff,
};

Named LookupNamed(std::u16string_view picture) noexcept {
  // Cheap rejection first: every name is 5 to 14 characters and starts with one of these letters.
  if (picture.size() < 5 || picture.size() > 14) return Named::None;
  switch (AsciiLower(picture[0])) {
    case u'g': case u'l': case u'm': case u's': case u'c': case u'f': case u'p': case u'y':
    case u't': case u'o': break;
    default: return Named::None;
  }
  struct Entry {
    std::u16string_view name;
    Named named;
  };
  static constexpr Entry kNames[] = {
      {u"General Date", Named::GeneralDate}, {u"Long Date", Named::LongDate},
      {u"Medium Date", Named::MediumDate},   {u"Short Date", Named::ShortDate},
      {u"Long Time", Named::LongTime},       {u"Medium Time", Named::MediumTime},
      {u"Short Time", Named::ShortTime},     {u"General Number", Named::GeneralNumber},
      {u"Currency", Named::Currency},        {u"Fixed", Named::Fixed},
      {u"Standard", Named::Standard},        {u"Percent", Named::Percent},
      {u"Scientific", Named::Scientific},    {u"Yes/No", Named::YesNo},
      {u"True/False", Named::TrueFalse},     {u"On/Off", Named::OnOff},
  };
  for (const Entry& e : kNames) {
    if (EqualsIgnoreAsciiCase(picture, e.name)) return e.named;
  }
  return Named::None;
}

std::u16string FormatPicture(const Value& v, std::u16string_view picture, int first_day,
                             int first_week);

std::u16string FormatNamed(const Value& v, Named named, int first_day, int first_week) {
  if (v.IsNull()) return {};
  switch (named) {
    case Named::GeneralDate: {
      const std::optional<double> d = AsDate(v);
      return d ? DateToText(*d) : PlainText(v);
    }
    case Named::LongDate:
    case Named::ShortDate:
    case Named::LongTime: {
      const std::optional<double> d = AsDate(v);
      if (!d) return PlainText(v);
      const LocaleData& loc = CurrentLocale();
      std::u16string out;
      AppendLocalePicture(out,
                          named == Named::LongDate    ? loc.long_date
                          : named == Named::ShortDate ? loc.short_date
                                                      : loc.long_time,
                          SplitDate(*d));
      return out;
    }
    case Named::MediumDate: return FormatPicture(v, u"dd-mmm-yy", first_day, first_week);
    case Named::MediumTime: return FormatPicture(v, u"hh:nn AMPM", first_day, first_week);
    case Named::ShortTime: return FormatPicture(v, u"hh:nn", first_day, first_week);
    case Named::GeneralNumber: {
      if (v.IsString()) {
        const std::optional<double> d = ParseNumber(v.GetString());
        return d ? DoubleToText(*d) : v.GetString();
      }
      if (v.Type() == VarType::Date) return DoubleToText(v.GetDate());
      return PlainText(v);
    }
    case Named::Currency:
      return FormatPicture(v, u"$#,##0.00;($#,##0.00)", first_day, first_week);
    case Named::Fixed: return FormatPicture(v, u"0.00", first_day, first_week);
    case Named::Standard: return FormatPicture(v, u"#,##0.00", first_day, first_week);
    case Named::Percent: return FormatPicture(v, u"0.00%", first_day, first_week);
    case Named::Scientific: return FormatPicture(v, u"0.00E+00", first_day, first_week);
    case Named::YesNo:
    case Named::TrueFalse:
    case Named::OnOff: {
      std::optional<Number> n = AsNumber(v);
      if (!n && v.Type() == VarType::Date) n = Number{v.GetDate(), 15, false};
      if (!n) return PlainText(v);
      const bool on = n->value != 0;
      if (named == Named::YesNo) return on ? u"Yes" : u"No";
      if (named == Named::TrueFalse) return on ? u"True" : u"False";
      return on ? u"On" : u"Off";
    }
    case Named::None: break;
  }
  return {};
}

// ---------------------------------------------------------------------------------------------
// Pictures

std::u16string FormatPicture(const Value& v, std::u16string_view picture, int first_day,
                             int first_week) {
  const Sections sec = Split(picture);
  std::u16string out;
  out.reserve(picture.size() + 16);

  if (v.IsNull()) {
    // Null takes the fourth section of a numeric picture, the second of a text picture.
    if (sec.kind == PictureKind::Text) {
      if (sec.count >= 2) FormatTextSection(out, sec.part[1], u"");
    } else if (sec.kind == PictureKind::Number && sec.count >= 4) {
      FormatNumberSection(out, sec.part[3], 0, 15, false);
    } else if (sec.kind == PictureKind::Literal && sec.count >= 4) {
      AppendLiteralSection(out, sec.part[3]);
    }
    return out;
  }

  switch (sec.kind) {
    case PictureKind::Text: {
      std::u16string text;
      std::u16string_view view;
      if (v.IsString()) {
        view = v.GetString();
      } else {
        text = PlainText(v);
        view = text;
      }
      // The second section is for the empty text.
      const std::u16string_view section = (view.empty() && sec.count >= 2) ? sec.part[1] : sec.part[0];
      FormatTextSection(out, section, view);
      return out;
    }
    case PictureKind::Date: {
      const std::optional<double> d = AsDate(v);
      if (!d) return PlainText(v);
      FormatDateSection(out, sec.part[0], *d, first_day, first_week);
      return out;
    }
    case PictureKind::Literal:
      // Only literal text: a date shows the first section; Booleans and Empty are refused as the
      // platform refuses them.
      if (v.Type() == VarType::Date) {
        AppendLiteralSection(out, sec.part[0]);
        return out;
      }
      if (v.Type() == VarType::Boolean || v.IsEmpty()) Raise(err::InvalidProcedureCall);
      [[fallthrough]];
    case PictureKind::Number: {
      // A date under a numeric picture keeps its date text.
      if (v.Type() == VarType::Date) return DateToText(v.GetDate());
      const std::optional<Number> n = AsNumber(v);
      if (!n) return PlainText(v);
      // Positive; negative (without its sign); zero. An empty section stands for the first.
      std::u16string_view section = sec.part[0];
      bool negative = n->negative;
      if (negative && sec.count >= 2 && !sec.part[1].empty()) {
        section = sec.part[1];
        negative = false;
      } else if (!negative && n->value == 0 && sec.count >= 3 && !sec.part[2].empty()) {
        section = sec.part[2];
      }
      if (sec.kind == PictureKind::Literal) {
        AppendLiteralSection(out, section);
      } else {
        FormatNumberSection(out, section, std::fabs(n->value), n->significant, negative);
      }
      return out;
    }
  }
  return out;
}

}  // namespace

std::u16string Format(const Value& value, std::u16string_view picture, int first_day_of_week,
                      int first_week_of_year) {
  if (first_day_of_week < 0 || first_day_of_week > 7 || first_week_of_year < 0 ||
      first_week_of_year > 3) {
    Raise(err::InvalidProcedureCall);
  }
  // "Use the system's": Sunday and the week of January 1 in en-US.
  const int first_day = first_day_of_week == 0 ? 1 : first_day_of_week;
  const int first_week = first_week_of_year == 0 ? 1 : first_week_of_year;

  // Only an object needs a copy: its default member.
  Value member;
  if (value.IsObject()) member = Dereference(value);
  const Value& v = value.IsObject() ? member : value;
  if (v.Type() == VarType::Error) Raise(err::TypeMismatch);
  if (picture.empty()) return PlainText(v);
  const Named named = LookupNamed(picture);
  if (named != Named::None) return FormatNamed(v, named, first_day, first_week);
  return FormatPicture(v, picture, first_day, first_week);
}

}  // namespace qorvintr::automation
