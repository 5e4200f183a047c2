#pragma once
// What the pieces of Format share (private to automation/format*.cpp; the public face is
// format.h).
//
// A picture is read without building a token list: one scan splits it into sections and decides
// what kind of picture it is (number, date, text, or literal text only); a second scan over the
// chosen section writes the result. Both scans use the same token reader, so they always agree.
//
//   format_tokens.cpp   picture tokens, sections, literal text
//   format_number.cpp   numeric sections
//   format_date.cpp     date and time sections, the locale's own date and time pictures
//   format_text.cpp     text sections
//   format_named.cpp    the named formats
//   format.cpp          values as each kind of picture sees them, the choice of section, Format

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "automation/datetime.h"
#include "qorvintr/value.h"

namespace qorvintr::automation::format_internal {

// ---------------------------------------------------------------------------------------------
// Picture tokens (format_tokens.cpp)

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

// Reads the token at `i` of a section (sections never contain an unquoted, unescaped ';').
Token NextToken(std::u16string_view s, std::size_t i) noexcept;

enum class PictureKind : std::uint8_t { Literal, Number, Date, Text };

struct Sections {
  std::array<std::u16string_view, 4> part{};
  int count = 0;
  PictureKind kind = PictureKind::Literal;
};

// Splits the picture at its unquoted, unescaped semicolons and decides its kind from the first
// section's first token that belongs to one kind only. More than four sections, or five y in a
// date picture, raise 5 (the platform answers E_INVALIDARG).
Sections Split(std::u16string_view picture);

// A token as literal text: what it shows as written (quotes and backslash removed).
void AppendSource(std::u16string& out, std::u16string_view s, const Token& t);
// A section of literal text only: every character as it is written (quotes and backslashes
// removed).
void AppendLiteralSection(std::u16string& out, std::u16string_view s);

// ---------------------------------------------------------------------------------------------
// Sections of each kind

// Formats a number with one section of a numeric picture (format_number.cpp). `magnitude` is
// the absolute value; `negative` asks for a minus sign (put where the number starts, before its
// first digit).
void FormatNumberSection(std::u16string& out, std::u16string_view s, double magnitude,
                         int significant, bool negative);

// A date with one section of a date picture (format_date.cpp).
void FormatDateSection(std::u16string& out, std::u16string_view s, double serial, int first_day,
                       int first_week);
// Renders one of the locale's own pictures (short date, long date, long time), which use the
// system's letters: d M y for the date, h (12-hour) H (24-hour) m s for the time, t/tt for AM/PM.
void AppendLocalePicture(std::u16string& out, std::u16string_view pic, const DateParts& p);

// A text with one section of a text picture (format_text.cpp).
void FormatTextSection(std::u16string& out, std::u16string_view s, std::u16string_view text);

// ---------------------------------------------------------------------------------------------
// Values as the three kinds of picture see them (format.cpp)

// A number for a numeric picture.
struct Number {
  double value = 0;
  int significant = 15;
  bool negative = false;  // a text keeps its minus sign even on zero ("-0")
};

// nullopt when the value is no number (the text is then shown as it is).
std::optional<Number> AsNumber(const Value& v);
// A date serial for a date picture; nullopt when the value is no date in range.
std::optional<double> AsDate(const Value& v);
// The value as the text a text picture places, and the plain conversion of an empty picture.
std::u16string PlainText(const Value& v);

// The value under a picture that is no named format.
std::u16string FormatPicture(const Value& v, std::u16string_view picture, int first_day,
                             int first_week);

// ---------------------------------------------------------------------------------------------
// Named formats (format_named.cpp)

enum class Named : std::uint8_t {
  None, GeneralDate, LongDate, MediumDate, ShortDate, LongTime, MediumTime, ShortTime,
  GeneralNumber, Currency, Fixed, Standard, Percent, Scientific, YesNo, TrueFalse, OnOff,
};

// The named format the picture names (letters in any case), or None.
Named LookupNamed(std::u16string_view picture) noexcept;
std::u16string FormatNamed(const Value& v, Named named, int first_day, int first_week);

}  // namespace qorvintr::automation::format_internal
