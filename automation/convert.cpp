#include "qorvintr/convert.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#ifdef __EMSCRIPTEN__
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#endif

#include "automation/chars.h"
#include "automation/datetime.h"
#include "automation/decimal.h"
#include "qorvintr/error.h"
#include "automation/locale.h"

namespace qorvintr::automation {

namespace {

// The browser build's C++ library (Emscripten 3.1) has no floating-point to_chars and
// from_chars; its C library converts exactly too (correctly rounded both ways), so there the
// two go through it.
std::from_chars_result DoubleFromChars(const char* first, const char* last, double& value) {
#ifdef __EMSCRIPTEN__
  const std::string text(first, last);
  char* end = nullptr;
  errno = 0;
  const double read = std::strtod(text.c_str(), &end);
  const char* ptr = first + (end - text.c_str());
  if (end == text.c_str()) return {first, std::errc::invalid_argument};
  if (errno == ERANGE) return {ptr, std::errc::result_out_of_range};
  value = read;
  return {ptr, std::errc{}};
#else
  return std::from_chars(first, last, value);
#endif
}

// ---------------------------------------------------------------------------------------------
// Text to number.
//
// The platform reads a number in three stages, and its rules are looser than they look:
//  - before the number: blanks, and at most one each of "+", "-", "(" and the currency sign, in
//    any order;
//  - the number: "&H" / "&O" digits (not after a currency sign), or decimal digits with
//    thousands separators (anywhere after the first digit or the decimal point, even in the
//    fraction), one decimal point, and an exponent (not after a leading currency sign) whose
//    sign may be written more than once and whose digits a thousands separator ends (digits after
//    that belong to the mantissa again, even when the exponent came first);
//  - after the number: blanks, thousands separators, currency signs, ")" when "(" opened, and
//    "+" / "-" unless the same sign came before the number (repeating them is allowed);
//    a "(" must be closed unless a "-" stands somewhere.
// The platform takes a zero-terminated text, so a NUL character ends the text.
// A hexadecimal or octal number ignores its signs and parentheses, and is sized by the kind
// asked for: an Integer takes a 16-bit pattern ("&HFFFF" is -1), a Long a 32-bit pattern
// ("&HFFFF" is 65535, "&HFFFFFFFF" is -1), the other kinds the value up to 2^31 (exactly 2^31
// reads as -2^31, as the platform runtime answers); anything wider overflows.

enum class ScanStatus : unsigned char { Ok, Mismatch, Overflow };

// Enough significant digits to round any decimal text to the nearest double (a double's exact
// decimal expansion has at most 767 significant digits); further digits only mark the text as
// "more than shown".
constexpr int kMaxDigits = 800;
// Exponents beyond this over- or underflow whatever the digits (no text is that long); capping
// keeps the arithmetic in range for any number of exponent digits.
constexpr std::int64_t kExponentCap = 1000000000000;

struct NumberScan {
  bool negative = false;
  bool radix = false;            // &H / &O
  std::uint32_t radix_value = 0;  // the bits as written (at most 32)
  // Decimal: value = digits * 10^scale; digits hold no leading zeros.
  int digit_count = 0;
  bool sticky = false;           // nonzero digits dropped beyond kMaxDigits
  std::int64_t scale = 0;
  std::array<char, kMaxDigits> digits;   // filled up to digit_count; left unset for speed
};

inline int HexDigit(char16_t c) noexcept {
  if (IsAsciiDigit(c)) return c - u'0';
  const char16_t upper = AsciiUpper(c);
  if (upper >= u'A' && upper <= u'F') return upper - u'A' + 10;
  return -1;
}

// The locale's one-character symbols (en-US: "." "," "$"); a longer symbol never matches here.
struct NumberSymbols {
  char16_t decimal_point;
  char16_t thousands;
  char16_t currency;
};

NumberSymbols Symbols() noexcept {
  const LocaleData& loc = CurrentLocale();
  auto one = [](std::u16string_view s, char16_t fallback) {
    return s.size() == 1 ? s[0] : fallback;
  };
  return {one(loc.decimal_point, u'.'), one(loc.thousands_separator, u','),
          one(loc.currency_symbol, u'$')};
}

// What stood before the number.
struct Lead {
  bool plus = false;
  bool minus = false;
  bool paren = false;
  bool currency = false;
};

// Before the number: blanks, and at most one each of "+", "-", "(" and the currency sign, in any
// order. Leaves `i` at the first character that is none of these.
Lead ScanLead(std::u16string_view text, std::size_t& i, const NumberSymbols& sym) noexcept {
  Lead lead;
  for (; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (IsBlank(c)) continue;
    if (c == u'+') {
      if (lead.plus) break;
      lead.plus = true;
    } else if (c == u'-') {
      if (lead.minus) break;
      lead.minus = true;
    } else if (c == u'(') {
      if (lead.paren) break;
      lead.paren = true;
    } else if (c == sym.currency) {
      if (lead.currency) break;
      lead.currency = true;
    } else {
      break;
    }
  }
  return lead;
}

// After the digits, from `i` to the end: blanks (and, after a decimal number, its separators), a
// sign the lead did not give and the ")" of a leading "(". False for anything else or a "(" left
// open without a sign to stand for; a trailing "-" sets trail_minus.
bool ScanTrail(std::u16string_view text, std::size_t i, const Lead& lead, bool separators,
               const NumberSymbols& sym, bool& trail_minus) noexcept {
  bool closed = false;
  for (; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (IsBlank(c) || (separators && (c == sym.thousands || c == sym.currency))) continue;
    // Kept: a trailing sign may be written again ("1--") (tests/automation_convert_test.cpp: ParseNumber.RepeatedTrailingSignIsAccepted)
    if (c == u'+') {
      if (lead.plus) return false;
    } else if (c == u'-') {
      if (lead.minus) return false;
      trail_minus = true;
    } else if (c == u')') {
      if (!lead.paren) return false;
      closed = true;
    } else {
      return false;
    }
  }
  // Kept: a "(" needs no ")" when a "-" stands (tests/automation_convert_test.cpp: ParseNumber.UnbalancedParenthesesAreRejectedUnlessAMinusStands)
  return !(lead.paren && !closed && !lead.minus && !trail_minus);
}

// "&H" / "&O" and its digits, from the "&" at `i`; the signs and parentheses around do not count.
ScanStatus ScanRadix(std::u16string_view text, std::size_t i, const Lead& lead,
                     const NumberSymbols& sym, NumberScan& out) noexcept {
  if (lead.currency || i + 1 >= text.size()) return ScanStatus::Mismatch;
  const char16_t kind = text[i + 1];
  int shift;
  if (AsciiUpper(kind) == u'H') shift = 4;
  else if (AsciiUpper(kind) == u'O') shift = 3;
  else return ScanStatus::Mismatch;
  i += 2;
  std::uint64_t value = 0;
  bool wide = false, any = false;
  for (; i < text.size(); ++i) {
    const int d = HexDigit(text[i]);
    if (d < 0 || d >= (1 << shift)) break;
    any = true;
    if (!wide) {
      value = (value << shift) | static_cast<unsigned>(d);
      if (value > 0xFFFFFFFFull) wide = true;
    }
  }
  bool trail_minus = false;
  if (!any || !ScanTrail(text, i, lead, false, sym, trail_minus)) return ScanStatus::Mismatch;
  if (wide) return ScanStatus::Overflow;
  out.radix = true;
  out.radix_value = static_cast<std::uint32_t>(value);
  return ScanStatus::Ok;
}

// Decimal digits with thousands separators, one decimal point and an exponent, from `i`.
ScanStatus ScanDecimal(std::u16string_view text, std::size_t i, const Lead& lead,
                       const NumberSymbols& sym, NumberScan& out) noexcept {
  bool any_digit = false, dot = false, exp = false, exp_digit = false, exp_closed = false;
  bool exp_negative = false;
  std::int64_t exponent = 0;
  int count = 0;
  bool sticky = false;
  std::int64_t scale = 0;
  for (; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (IsAsciiDigit(c)) {
      if (exp && !exp_closed) {
        exp_digit = true;
        if (exponent < kExponentCap) exponent = exponent * 10 + (c - u'0');
        continue;
      }
      any_digit = true;
      if (c == u'0' && count == 0) {
        if (dot) --scale;   // a leading zero of the fraction
        continue;
      }
      if (count < kMaxDigits) {
        out.digits[static_cast<std::size_t>(count++)] = static_cast<char>(c);
        if (dot) --scale;
      } else {
        if (c != u'0') sticky = true;
        if (!dot) ++scale;
      }
    } else if (c == sym.thousands) {
      if (!any_digit && !dot && !exp_digit) break;
      // Kept: it ends the exponent's digits; later ones go to the mantissa (tests/automation_convert_test.cpp: ParseNumber.ThousandsSeparatorEndsTheExponentDigits)
      if (exp && exp_digit) exp_closed = true;
    } else if (c == sym.decimal_point) {
      if (dot || exp) break;
      dot = true;
    } else if (c == u'e' || c == u'E') {
      if (exp || lead.currency) break;
      exp = true;
    } else if ((c == u'+' || c == u'-') && exp && !exp_digit) {
      // Kept: the exponent's sign may be written more than once (tests/automation_convert_test.cpp: ParseNumber.ExponentSignMayBeWrittenMoreThanOnce)
      if (c == u'-') exp_negative = true;
    } else {
      break;
    }
  }
  if (!any_digit || (exp && !exp_digit)) return ScanStatus::Mismatch;
  bool trail_minus = false;
  if (!ScanTrail(text, i, lead, true, sym, trail_minus)) return ScanStatus::Mismatch;

  out.negative = lead.minus || trail_minus || lead.paren;
  out.digit_count = count;
  out.sticky = sticky;
  out.scale = scale + (exp_negative ? -exponent : exponent);
  return ScanStatus::Ok;
}

ScanStatus Scan(std::u16string_view text, NumberScan& out) noexcept {
  static const NumberSymbols sym = Symbols();
  text = text.substr(0, text.find(u'\0'));
  std::size_t i = 0;
  const Lead lead = ScanLead(text, i, sym);
  if (i == text.size()) return ScanStatus::Mismatch;
  if (text[i] == u'&') return ScanRadix(text, i, lead, sym, out);
  return ScanDecimal(text, i, lead, sym, out);
}

// Powers of ten that a double holds exactly.
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The scanned decimal as the nearest double; Overflow when it passes the largest double.
ScanStatus DecimalValue(const NumberScan& s, double& out) noexcept {
  const double sign = s.negative ? -1.0 : 1.0;
  if (s.digit_count == 0) {
    out = sign * 0.0;
    return ScanStatus::Ok;
  }
  // Position of the leading digit: the value lies in [10^lead, 10^(lead+1)).
  const std::int64_t lead = s.digit_count + s.scale - 1;
  if (lead > 310) return ScanStatus::Overflow;
  if (lead < -330) {
    out = sign * 0.0;
    return ScanStatus::Ok;
  }
  if (s.digit_count <= 15 && !s.sticky && s.scale >= -22 && s.scale <= 22) {
    // Both factors are exact, so one operation rounds correctly.
    std::int64_t m = 0;
    for (int k = 0; k < s.digit_count; ++k) m = m * 10 + (s.digits[static_cast<std::size_t>(k)] - '0');
    const double dm = static_cast<double>(m);
    out = sign * (s.scale >= 0 ? dm * kExactPowers[s.scale] : dm / kExactPowers[-s.scale]);
    return ScanStatus::Ok;
  }
  char buf[kMaxDigits + 32];
  std::memcpy(buf, s.digits.data(), static_cast<std::size_t>(s.digit_count));
  std::size_t len = static_cast<std::size_t>(s.digit_count);
  std::int64_t scale = s.scale;
  if (s.sticky) {
    // A nonzero digit past everything kept stands for the dropped ones: it keeps the text off
    // any halfway point without moving it across one.
    buf[len++] = '1';
    --scale;
  }
  buf[len++] = 'e';
  auto [end, ec] = std::to_chars(buf + len, buf + sizeof buf, scale);
  if (ec != std::errc{}) return ScanStatus::Overflow;
  double value = 0;
  auto result = DoubleFromChars(buf, end, value);
  if (result.ec == std::errc::result_out_of_range) {
    if (lead > 0) return ScanStatus::Overflow;
    value = 0;
  } else if (result.ec != std::errc{}) {
    return ScanStatus::Overflow;
  }
  if (std::isinf(value)) return ScanStatus::Overflow;
  out = sign * value;
  return ScanStatus::Ok;
}

// How wide a whole-number target reads a hexadecimal or octal pattern.
enum class RadixWidth { Other, Integer, Long };

ScanStatus RadixValue(std::uint32_t bits, RadixWidth width, double& out) noexcept {
  switch (width) {
    case RadixWidth::Integer:
      if (bits > 0xFFFFu) return ScanStatus::Overflow;
      out = static_cast<std::int16_t>(static_cast<std::uint16_t>(bits));
      return ScanStatus::Ok;
    case RadixWidth::Long:
      out = static_cast<std::int32_t>(bits);
      return ScanStatus::Ok;
    case RadixWidth::Other:
      break;
  }
  if (bits > 0x80000000u) return ScanStatus::Overflow;
  // Kept: exactly &H80000000 reads as -2^31 (tests/automation_convert_test.cpp: ParseNumber.HexTextAsANumberKeepsItsValueUpToTwoToThe31)
  out = bits == 0x80000000u ? -2147483648.0 : static_cast<double>(bits);
  return ScanStatus::Ok;
}

ScanStatus ParseToDouble(std::u16string_view text, double& out) noexcept {
  NumberScan s;
  const ScanStatus st = Scan(text, s);
  if (st != ScanStatus::Ok) return st;
  if (s.radix) return RadixValue(s.radix_value, RadixWidth::Other, out);
  return DecimalValue(s, out);
}

// The scanned text rounded to a whole number, halves to even, decided on the decimal digits as
// written (so "2.50000000000000000001" rounds up although it reads as the double 2.5).
ScanStatus ParseToWhole(std::u16string_view text, RadixWidth width, double& out) noexcept {
  NumberScan s;
  const ScanStatus st = Scan(text, s);
  if (st != ScanStatus::Ok) return st;
  if (s.radix) return RadixValue(s.radix_value, width, out);
  const std::int64_t int_digits = s.digit_count + s.scale;   // digits before the point
  if (s.digit_count == 0 || int_digits < 0) {
    out = 0;
    return ScanStatus::Ok;
  }
  if (int_digits > 18) {
    // Far beyond any whole-number kind: the double says how far.
    return DecimalValue(s, out);
  }
  std::int64_t whole = 0;
  const int n = s.digit_count;
  for (std::int64_t k = 0; k < int_digits; ++k) {
    whole = whole * 10 + (k < n ? s.digits[static_cast<std::size_t>(k)] - '0' : 0);
  }
  bool up = false;
  if (int_digits < n) {
    const int first = s.digits[static_cast<std::size_t>(int_digits)] - '0';
    if (first > 5) {
      up = true;
    } else if (first == 5) {
      bool more = s.sticky;
      for (int k = static_cast<int>(int_digits) + 1; k < n && !more; ++k) {
        more = s.digits[static_cast<std::size_t>(k)] != '0';
      }
      up = more || (whole & 1) != 0;
    }
  }
  if (up) ++whole;
  out = static_cast<double>(whole);
  if (s.negative) out = -out;
  return ScanStatus::Ok;
}

// ---------------------------------------------------------------------------------------------
// Number to text.

// Writes |d| (finite, nonzero) rounded to `digits` significant digits, halves away from zero as
// the platform rounds: the digits (no trailing zeros) and the decimal exponent of the first.
struct Rounded {
  char mant[24];
  int count;
  int exp10;
};

Rounded RoundSignificant(double a, int digits) noexcept {
  Rounded r{};
  // One digit more than wanted, correctly rounded, tells whether the cut could be a halfway case.
  char buf[40];
  auto res = ScientificToChars(buf, buf + sizeof buf, a, digits);
  // buf: d.ddd...de[+-]xx
  const char* e = static_cast<const char*>(std::memchr(buf, 'e', static_cast<std::size_t>(res.ptr - buf)));
  int exp10 = 0;
  std::from_chars(e + 1 + (e[1] == '+' ? 1 : 0), res.ptr, exp10);
  char d[24];
  int nd = 0;
  for (const char* q = buf; q < e; ++q) {
    if (*q != '.') d[nd++] = *q;
  }
  // d holds digits+1 digits; the last one decides, unless it is a 5, which may have been
  // rounded up from below: then the exact expansion decides (a double's never needs more than
  // 767 significant digits, so 781 show it whole). Halves go away from zero.
  bool up = d[digits] > '5';
  if (d[digits] == '5') {
    char exact[800];
    auto ex = ScientificToChars(exact, exact + sizeof exact, a, 780);
    (void)ex;
    // exact: d.ddd..., the digit at the cut is at index digits + 1 (past the point).
    up = exact[digits + 1] >= '5';
  }
  int count = digits;
  if (up) {
    int k = digits - 1;
    while (k >= 0 && d[k] == '9') d[k--] = '0';
    if (k < 0) {
      d[0] = '1';
      for (int j = 1; j < digits; ++j) d[j] = '0';
      ++exp10;
    } else {
      ++d[k];
    }
  }
  while (count > 1 && d[count - 1] == '0') --count;
  std::memcpy(r.mant, d, static_cast<std::size_t>(count));
  r.count = count;
  r.exp10 = exp10;
  return r;
}

// The platform's general number text: `digits` significant digits, plain for decimal exponents
// from -4 up to digits-1, otherwise "d.dddE+xx" (the exponent with at least two digits).
std::u16string NumberText(double d, int digits) {
  if (std::isnan(d)) return u"NAN";
  if (std::isinf(d)) return d < 0 ? u"-INF" : u"INF";
  if (d == 0) return u"0";   // also for -0
  const Rounded r = RoundSignificant(std::fabs(d), digits);
  char out[64];
  int n = 0;
  if (d < 0) out[n++] = '-';
  if (r.exp10 < -4 || r.exp10 >= digits) {
    out[n++] = r.mant[0];
    if (r.count > 1) {
      out[n++] = '.';
      for (int k = 1; k < r.count; ++k) out[n++] = r.mant[k];
    }
    out[n++] = 'E';
    out[n++] = r.exp10 < 0 ? '-' : '+';
    const int ax = r.exp10 < 0 ? -r.exp10 : r.exp10;
    if (ax < 10) out[n++] = '0';  // at least two digits
    n = static_cast<int>(std::to_chars(out + n, out + sizeof out, ax).ptr - out);
  } else if (r.exp10 < 0) {
    out[n++] = '0';
    out[n++] = '.';
    for (int k = -1; k > r.exp10; --k) out[n++] = '0';
    for (int k = 0; k < r.count; ++k) out[n++] = r.mant[k];
  } else {
    for (int k = 0; k <= r.exp10; ++k) out[n++] = k < r.count ? r.mant[k] : '0';
    if (r.count > r.exp10 + 1) {
      out[n++] = '.';
      for (int k = r.exp10 + 1; k < r.count; ++k) out[n++] = r.mant[k];
    }
  }
  return std::u16string(out, out + n);
}

// ---------------------------------------------------------------------------------------------
// Kind conversions.

// The largest magnitude a Single accepts: the platform's limit sits a little past the largest
// float, where rounding would otherwise give infinity.
constexpr double kSingleLimit = 3.402823567797336e38;

// The number an Error value names as a run-time error ("Error 5"): the language's CVErr values
// carry 800A0000 plus the number; an omitted argument is 448.
std::int32_t ErrorNumber(std::int32_t scode) noexcept {
  const auto u = static_cast<std::uint32_t>(scode);
  if (scode == kParamNotFound) return 448;
  if ((u & 0xFFFF0000u) == 0x800A0000u) return static_cast<std::int32_t>(u & 0xFFFFu);
  return scode;
}

[[noreturn]] void RaiseScan(ScanStatus st) {
  Raise(st == ScanStatus::Overflow ? err::Overflow : err::TypeMismatch);
}

double TextToWhole(std::u16string_view text, RadixWidth width) {
  double d = 0;
  const ScanStatus st = ParseToWhole(text, width, d);
  if (st != ScanStatus::Ok) RaiseScan(st);
  return d;
}

// The value a conversion reads: an object stands for its default member (kept in `member`, the
// only value copied); any other value is read in place.
const Value& ValueOf(const Value& in, Value& member) {
  return in.IsObject() ? (member = Dereference(in)) : in;
}

// The opening of every conversion to a kind: the value it reads, where Null converts to nothing
// (94 "Invalid use of Null").
const Value& ConvertedValue(const Value& in, Value& member) {
  const Value& v = ValueOf(in, member);
  if (v.IsNull()) Raise(err::InvalidUseOfNull);
  return v;
}

// A value that is no text, as a number: Empty is 0, True -1, a Date its serial. An Error value
// (an omitted argument, a CVErr) converts to no number: 13 "Type mismatch".
double NumberOf(const Value& v) {
  switch (v.Type()) {
    case VarType::Empty: return 0;
    case VarType::Boolean: return v.GetBoolean() ? -1 : 0;
    case VarType::Integer: return v.GetInteger();
    case VarType::Long: return v.GetLong();
    case VarType::Single: return v.GetSingle();
    case VarType::Double: return v.GetDouble();
    case VarType::Date: return v.GetDate();
    case VarType::Null: Raise(err::InvalidUseOfNull);
    case VarType::String:
    case VarType::Object:
    case VarType::Error: break;
  }
  Raise(err::TypeMismatch);
}

// A value for a whole-number kind: already rounded (half to even) and finite, or not a number.
double WholeOf(const Value& in, RadixWidth width) {
  Value member;
  const Value& v = ConvertedValue(in, member);
  if (v.IsString()) return TextToWhole(v.GetString(), width);
  // Whole kinds come back as they are; the others round half to even.
  return RoundHalfEven(NumberOf(v));
}

bool TextToBoolean(std::u16string_view text) {
  const std::size_t nul = text.find(u'\0');
  if (nul != std::u16string_view::npos) text = text.substr(0, nul);
  using namespace std::string_view_literals;
  if (EqualsIgnoreAsciiCase(text, u"True"sv) || text == u"#TRUE#") return true;
  if (EqualsIgnoreAsciiCase(text, u"False"sv) || text == u"#FALSE#") return false;
  double d = 0;
  const ScanStatus st = ParseToDouble(text, d);
  if (st != ScanStatus::Ok) RaiseScan(st);
  return d != 0;
}

double CheckDate(double serial) {
  if (!InDateRange(serial)) Raise(err::Overflow);
  return serial;
}

// The value IsNumeric and IsDate look at: an object's default member (kept in `deref`), or the
// value itself. Null for Nothing or an object without a default member: such an object is
// neither numeric nor a date.
const Value* TestedValue(const Value& in, Value& deref) {
  if (!in.IsObject()) return &in;
  if (!in.GetObject()) return nullptr;
  try {
    deref = Dereference(in);
  } catch (const AutomationError&) {
    return nullptr;
  }
  return &deref;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

std::optional<double> ParseNumber(std::u16string_view text) noexcept {
  double d = 0;
  if (ParseToDouble(text, d) != ScanStatus::Ok) return std::nullopt;
  return d;
}

double TextToDouble(std::u16string_view text) {
  double d = 0;
  const ScanStatus st = ParseToDouble(text, d);
  if (st != ScanStatus::Ok) RaiseScan(st);
  return d;
}

std::u16string DoubleToText(double d) { return NumberText(d, 15); }

std::u16string SingleToText(float f) { return NumberText(static_cast<double>(f), 7); }

double RoundHalfEven(double d) noexcept {
  // From 2^52 on every double is whole (and infinities and NaN stay as they are).
  if (!(std::fabs(d) < 4503599627370496.0)) return d;
  const double t = std::trunc(d);
  const double frac = std::fabs(d - t);
  double r = t;
  if (frac > 0.5 || (frac == 0.5 && std::fmod(t, 2.0) != 0)) r = t + (d < 0 ? -1.0 : 1.0);
  return r == 0 ? std::copysign(0.0, d) : r;
}

std::u16string CStr(const Value& in) {
  Value member;
  const Value& v = ConvertedValue(in, member);
  switch (v.Type()) {
    case VarType::Empty: return {};
    case VarType::Boolean: return v.GetBoolean() ? u"True" : u"False";
    case VarType::Integer: return DecimalText(v.GetInteger());
    case VarType::Long: return DecimalText(v.GetLong());
    case VarType::Single: return SingleToText(v.GetSingle());
    case VarType::Double: return DoubleToText(v.GetDouble());
    case VarType::Date: return DateToText(v.GetDate());
    case VarType::String: return v.GetString();
    case VarType::Error: return u"Error " + DecimalText(ErrorNumber(v.GetError()));
    case VarType::Null:
    case VarType::Object: break;
  }
  Raise(err::TypeMismatch);
}

bool CBool(const Value& in) {
  Value member;
  const Value& v = ConvertedValue(in, member);
  if (v.IsString()) return TextToBoolean(v.GetString());
  return NumberOf(v) != 0;
}

std::int16_t CInt(const Value& v) {
  const double d = WholeOf(v, RadixWidth::Integer);
  if (!(d >= -32768.0 && d <= 32767.0)) Raise(err::Overflow);
  return static_cast<std::int16_t>(d);
}

std::int32_t CLng(const Value& v) {
  if (v.Type() == VarType::Long) return v.GetLong();  // the usual operand, at once
  const double d = WholeOf(v, RadixWidth::Long);
  if (!(d >= -2147483648.0 && d <= 2147483647.0)) Raise(err::Overflow);
  return static_cast<std::int32_t>(d);
}

float CSng(const Value& v) {
  const double d = CDbl(v);
  if (std::isnan(d)) return std::numeric_limits<float>::quiet_NaN();
  if (std::fabs(d) > kSingleLimit) Raise(err::Overflow);
  const float f = static_cast<float>(d);
  // Kept: between the largest float and the limit, the largest float (tests/automation_convert_test.cpp: CSng.RangeEndsJustPastTheLargestSingle)
  if (std::isinf(f)) return std::copysign(std::numeric_limits<float>::max(), f);
  return f;
}

double CDbl(const Value& in) {
  if (in.Type() == VarType::Double) return in.GetDouble();  // the usual operand, at once
  Value member;
  const Value& v = ConvertedValue(in, member);
  if (v.IsString()) return TextToDouble(v.GetString());
  return NumberOf(v);
}

double CDate(const Value& in) {
  Value member;
  const Value& v = ConvertedValue(in, member);
  switch (v.Type()) {
    case VarType::String: {
      if (std::optional<double> date = ParseDate(v.GetString())) return *date;
      // No date: a number will do, but a text that is no Double either (too large included)
      // stays a type mismatch, as the failed date reading reported.
      std::optional<double> d = ParseNumber(v.GetString());
      if (!d) Raise(err::TypeMismatch);
      return CheckDate(*d);
    }
    // Longs, Singles and Doubles are checked against the calendar; Booleans and Integers always
    // lie in it, and a Date is taken as it is.
    case VarType::Long:
    case VarType::Single:
    case VarType::Double: return CheckDate(NumberOf(v));
    default: return NumberOf(v);
  }
}

Value ChangeType(const Value& in, VarType to) {
  if (to == VarType::Null) return Value::Null();
  if (in.IsNull()) Raise(err::InvalidUseOfNull);
  if (to == VarType::Empty) return Value();
  if (to == VarType::Object) {
    if (in.IsObject()) return in;
    Raise(err::TypeMismatch);
  }
  Value member;
  const Value& v = ValueOf(in, member);
  if (v.Type() == to) return v;
  if (v.Type() == VarType::Error) Raise(err::TypeMismatch);
  switch (to) {
    case VarType::Integer: return Value::Integer(CInt(v));
    case VarType::Long: return Value::Long(CLng(v));
    case VarType::Single: return Value::Single(CSng(v));
    case VarType::Double: return Value::Double(CDbl(v));
    // Only CDate falls back to a text's numeric value; the platform's change of kind takes
    // dates only.
    case VarType::Date:
      return Value::Date(v.IsString() ? TextToDate(v.GetString()) : CDate(v));
    case VarType::String: return Value::String(CStr(v));
    case VarType::Boolean: return Value::Boolean(CBool(v));
    case VarType::Empty:
    case VarType::Null:
    case VarType::Object:
    case VarType::Error: break;
  }
  Raise(err::TypeMismatch);
}

bool IsNumeric(const Value& in) {
  if (in.IsNumberKind()) return true;  // a plain number, at once
  // An object is numeric when its default member is; one that has none is not.
  Value deref;
  const Value* p = TestedValue(in, deref);
  if (!p) return false;
  switch (p->Type()) {
    case VarType::Empty:
    case VarType::Boolean:
    case VarType::Integer:
    case VarType::Long:
    case VarType::Single:
    case VarType::Double: return true;
    case VarType::String: return ParseNumber(p->GetString()).has_value();
    case VarType::Null:
    case VarType::Date:
    case VarType::Error:
    case VarType::Object: return false;
  }
  return false;
}

bool IsDate(const Value& in) {
  if (in.IsNumberKind()) return false;  // a plain number, at once
  Value deref;
  const Value* p = TestedValue(in, deref);
  if (!p) return false;
  switch (p->Type()) {
    case VarType::Date: return true;
    case VarType::String: return ParseDate(p->GetString()).has_value();
    default: return false;
  }
}

}  // namespace qorvintr::automation
