// Format's numeric sections: digit placeholders, decimal point, thousands grouping and scaling,
// percent, exponent and the minus sign.

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

#include "automation/decimal.h"
#include "automation/format_internal.h"
#include "automation/locale.h"

namespace qorvintr::automation::format_internal {

namespace {

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

// The digits of a magnitude with `significant` significant digits.
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
  *ScientificToChars(buf, buf + sizeof buf - 1, magnitude, significant - 1).ptr = '\0';
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

// What a numeric section asks for, read from its tokens before anything is written.
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

// Walks a numeric section's tokens. `exponent_here` tells whether an E+ / E- at that token is an
// exponent: only after a digit placeholder or the decimal point; before them it is literal text.
template <class Visit>
void ForEachNumberToken(std::u16string_view s, Visit&& visit) {
  bool after_digit = false;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    const bool exponent_here = after_digit;
    if (t.kind == Tok::Zero || t.kind == Tok::Hash || t.kind == Tok::Point) after_digit = true;
    visit(t, exponent_here);
  }
}

NumberLayout Analyze(std::u16string_view s) noexcept {
  NumberLayout l;
  enum { kInt, kDec, kExp } part = kInt;
  int pending_commas = 0;     // commas right after the integer digits (scaling, unless digits follow)
  bool adjacent = false;      // the previous token was an integer digit or such a comma
  ForEachNumberToken(s, [&](const Token& t, bool exponent_here) {
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
  });
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

// The number's digits as the layout shows them: percent and the thousands the commas drop
// applied, rounded to the decimal places and, with an exponent, the point moved to follow the
// integer placeholders (`exponent` tells how far).
Digits PlaceDigits(double magnitude, int significant, const NumberLayout& l, int& exponent) {
  Digits d = ToDigits(magnitude, significant);
  if (d.count != 0) {
    if (l.percent) d.point += 2;
    d.point -= 3 * l.scale;
  }
  exponent = 0;
  if (!l.has_exponent) {
    d.RoundTo(l.dec_places);
    return d;
  }
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
  return d;
}

// How many decimals are written: the significant ones up to the places, and at least as many as
// reach the last '0' placeholder.
int DecimalsShown(const Digits& d, const NumberLayout& l) noexcept {
  int shown = d.FractionCount();
  if (shown > l.dec_places) shown = l.dec_places;
  return shown > l.dec_shown ? shown : l.dec_shown;
}

// Writes a numeric section token by token: integer placeholders take the integer digits, decimal
// ones the fraction, exponent ones the exponent; the minus sign goes before the first digit or
// point; everything else is literal text.
class NumberSectionWriter {
 public:
  NumberSectionWriter(std::u16string& out, std::u16string_view s, const NumberLayout& layout,
                      const Digits& digits, const IntegerField& integer,
                      const IntegerField& exponent_field, int exponent, bool negative)
      : out_(out),
        s_(s),
        layout_(layout),
        digits_(digits),
        integer_(integer),
        exponent_field_(exponent_field),
        exponent_(exponent),
        decimals_shown_(DecimalsShown(digits, layout)),
        sign_pending_(negative) {}

  void Write() {
    ForEachNumberToken(s_, [this](const Token& t, bool exponent_here) {
      switch (t.kind) {
        case Tok::Zero:
        case Tok::Hash:
          Placeholder();
          break;
        case Tok::Point:
          Point();
          break;
        case Tok::Comma:
          if (part_ == Part::Integer && int_index_ == 0) out_.push_back(u',');
          break;
        case Tok::Percent:
          out_.push_back(u'%');
          break;
        case Tok::Exponent:
          if (exponent_here && part_ != Part::Exponent && layout_.has_exponent) {
            Exponent(t);
          } else {
            AppendSource(out_, s_, t);
          }
          break;
        default:
          AppendSource(out_, s_, t);
          break;
      }
    });
  }

 private:
  enum class Part : std::uint8_t { Integer, Fraction, Exponent };

  void Sign() {
    if (sign_pending_) {
      out_.push_back(u'-');
      sign_pending_ = false;
    }
  }

  void Placeholder() {
    switch (part_) {
      case Part::Integer:
        Sign();
        integer_.Placeholder(out_, int_index_++);
        integer_written_ = true;
        break;
      case Part::Fraction:
        if (dec_index_ < decimals_shown_) {
          out_.push_back(static_cast<char16_t>(digits_.FractionDigit(dec_index_)));
        }
        ++dec_index_;
        break;
      case Part::Exponent:
        exponent_field_.Placeholder(out_, exp_index_++);
        break;
    }
  }

  void Point() {
    if (part_ != Part::Integer) {
      out_.push_back(u'.');
      return;
    }
    Sign();
    if (!integer_written_ && layout_.int_places == 0) integer_.All(out_);
    integer_written_ = true;
    out_.append(CurrentLocale().decimal_point);
    part_ = Part::Fraction;
  }

  void Exponent(const Token& t) {
    if (!integer_written_ && layout_.int_places == 0 && part_ == Part::Integer) {
      Sign();
      integer_written_ = true;
    }
    out_.push_back(s_[t.pos]);
    if (exponent_ < 0) {
      out_.push_back(u'-');
    } else if (s_[t.pos + 1] == u'+') {
      out_.push_back(u'+');
    }
    part_ = Part::Exponent;
    if (layout_.exp_places == 0) exponent_field_.All(out_);
  }

  std::u16string& out_;
  const std::u16string_view s_;
  const NumberLayout& layout_;
  const Digits& digits_;
  const IntegerField& integer_;
  const IntegerField& exponent_field_;
  const int exponent_;
  const int decimals_shown_;
  Part part_ = Part::Integer;
  int int_index_ = 0;
  int dec_index_ = 0;
  int exp_index_ = 0;
  bool sign_pending_;
  bool integer_written_ = false;
};

}  // namespace

void FormatNumberSection(std::u16string& out, std::u16string_view s, double magnitude,
                         int significant, bool negative) {
  const NumberLayout layout = Analyze(s);
  int exponent = 0;
  const Digits digits = PlaceDigits(magnitude, significant, layout, exponent);

  // Integer digits: a buffer on the stack unless the value is huge.
  const int int_count = digits.IntegerCount();
  std::string int_digits;  // only long for huge values
  char small[64];
  const char* int_ptr = small;
  if (int_count <= static_cast<int>(sizeof small)) {
    IntegerDigits(digits, small, static_cast<int>(sizeof small));
  } else {
    int_digits.resize(static_cast<std::size_t>(int_count));
    IntegerDigits(digits, int_digits.data(), int_count);
    int_ptr = int_digits.data();
  }
  const IntegerField integer(int_ptr, int_count, layout.int_places, layout.first_zero,
                             layout.grouping);

  char exp_buf[8];
  const int exp_len = static_cast<int>(
      std::to_chars(exp_buf, exp_buf + sizeof exp_buf, exponent < 0 ? -exponent : exponent).ptr -
      exp_buf);
  const IntegerField exponent_field(exp_buf, exp_len, layout.exp_places, layout.exp_first_zero,
                                    false);

  NumberSectionWriter(out, s, layout, digits, integer, exponent_field, exponent, negative).Write();
}

}  // namespace qorvintr::automation::format_internal
