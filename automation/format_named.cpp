// Format's named formats: General Date, Long Date ... Yes/No, True/False, On/Off.

#include <string>

#include "automation/chars.h"
#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/format_internal.h"
#include "automation/locale.h"

namespace qorvintr::automation::format_internal {

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

}  // namespace qorvintr::automation::format_internal
