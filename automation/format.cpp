// The platform's Format: the value as each kind of picture sees it, and the choice of section.
// The pictures themselves: format_internal.h and the format_*.cpp beside this file.

#include "automation/format.h"

#include <cmath>
#include <optional>
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/format_internal.h"

namespace qorvintr::automation {

namespace format_internal {

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
    case VarType::Boolean: return v.GetBoolean() ? u"-1" : u"0";  // as a number, not True/False
    case VarType::Error:
    case VarType::Object: Raise(err::TypeMismatch);
    default: return CStr(v);  // numbers, dates and texts as the text conversion writes them
  }
}

namespace {

// Null takes the fourth section of a numeric picture, the second of a text picture, and shows
// nothing without one.
void AppendNullSection(std::u16string& out, const Sections& sec) {
  if (sec.kind == PictureKind::Text) {
    if (sec.count >= 2) FormatTextSection(out, sec.part[1], u"");
  } else if (sec.kind == PictureKind::Number && sec.count >= 4) {
    FormatNumberSection(out, sec.part[3], 0, 15, false);
  } else if (sec.kind == PictureKind::Literal && sec.count >= 4) {
    AppendLiteralSection(out, sec.part[3]);
  }
}

}  // namespace

std::u16string FormatPicture(const Value& v, std::u16string_view picture, int first_day,
                             int first_week) {
  const Sections sec = Split(picture);
  std::u16string out;
  out.reserve(picture.size() + 16);

  if (v.IsNull()) {
    AppendNullSection(out, sec);
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
      const std::u16string_view section =
          (view.empty() && sec.count >= 2) ? sec.part[1] : sec.part[0];
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
      // Kept: 5 for a Boolean or Empty (tests/automation_format_test.cpp: FormatNumber.BooleanOrEmptyWithLiteralOnlyPictureIsInvalid)
      if (v.Type() == VarType::Date) {
        AppendLiteralSection(out, sec.part[0]);
        return out;
      }
      if (v.Type() == VarType::Boolean || v.IsEmpty()) Raise(err::InvalidProcedureCall);
      [[fallthrough]];
    case PictureKind::Number: {
      // Kept: a date under a numeric picture keeps its date text (tests/automation_format_test.cpp: FormatNumber.DateUnderNumericPictureKeepsItsDateText)
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

}  // namespace format_internal

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
  if (picture.empty()) return format_internal::PlainText(v);
  const format_internal::Named named = format_internal::LookupNamed(picture);
  if (named != format_internal::Named::None) {
    return format_internal::FormatNamed(v, named, first_day, first_week);
  }
  return format_internal::FormatPicture(v, picture, first_day, first_week);
}

}  // namespace qorvintr::automation

