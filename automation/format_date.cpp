// Format's date and time sections, and the locale's own date and time pictures.

#include <cmath>
#include <cstddef>
#include <string>

#include "automation/datetime.h"
#include "automation/decimal.h"
#include "automation/format_internal.h"
#include "automation/locale.h"

namespace qorvintr::automation::format_internal {

namespace {

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

std::u16string_view DayAbbreviation(const DateParts& p, const LocaleData& loc) noexcept {
  return loc.day_abbreviations[static_cast<std::size_t>(p.weekday - 1)];
}
std::u16string_view DayName(const DateParts& p, const LocaleData& loc) noexcept {
  return loc.day_names[static_cast<std::size_t>(p.weekday - 1)];
}
std::u16string_view MonthAbbreviation(const DateParts& p, const LocaleData& loc) noexcept {
  return loc.month_abbreviations[static_cast<std::size_t>(p.month - 1)];
}
std::u16string_view MonthName(const DateParts& p, const LocaleData& loc) noexcept {
  return loc.month_names[static_cast<std::size_t>(p.month - 1)];
}

// A run of `letters` day or month letters: one the number, two the number with two digits, three
// the short name, more the full name.
void AppendNumberOrName(std::u16string& out, std::size_t letters, int number,
                        std::u16string_view abbreviation, std::u16string_view name) {
  if (letters <= 2) {
    AppendDecimal(out, number, static_cast<int>(letters));
  } else {
    out.append(letters == 3 ? abbreviation : name);
  }
}

}  // namespace

void AppendLocalePicture(std::u16string& out, std::u16string_view pic, const DateParts& p) {
  const LocaleData& loc = CurrentLocale();
  for (std::size_t i = 0; i < pic.size();) {
    const char16_t c = pic[i];
    std::size_t n = 1;
    while (i + n < pic.size() && pic[i + n] == c) ++n;
    switch (c) {
      case u'd':
        AppendNumberOrName(out, n, p.day, DayAbbreviation(p, loc), DayName(p, loc));
        break;
      case u'M':
        AppendNumberOrName(out, n, p.month, MonthAbbreviation(p, loc), MonthName(p, loc));
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

namespace {

// Whether a section has an AM/PM marker: its hours then count on a 12-hour clock.
bool HasAmPm(std::u16string_view s) noexcept {
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    if (t.kind == Tok::AmPm) return true;
    i += t.len;
  }
  return false;
}

// d, dd, ddd, dddd: the day and the weekday; ddddd and dddddd: the short and the long date.
void AppendDay(std::u16string& out, const Token& t, const DateParts& p, const LocaleData& loc) {
  if (t.n <= 4) {
    AppendNumberOrName(out, t.n, p.day, DayAbbreviation(p, loc), DayName(p, loc));
  } else {
    AppendLocalePicture(out, t.n == 5 ? loc.short_date : loc.long_date, p);
  }
}

// AM/PM, am/pm, A/P, AMPM: the marker in the picture's case (AMPM: the locale's own).
void AppendAmPm(std::u16string& out, std::u16string_view s, const Token& t, bool pm,
                const LocaleData& loc) {
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
}

}  // namespace

void FormatDateSection(std::u16string& out, std::u16string_view s, double serial, int first_day,
                       int first_week) {
  const DateParts p = SplitDate(serial);
  const LocaleData& loc = CurrentLocale();
  const bool twelve = HasAmPm(s);
  bool after_hour = false;  // an m or mm right after an hour means minutes
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    switch (t.kind) {
      case Tok::Day: AppendDay(out, t, p, loc); break;
      case Tok::Week:
        if (t.n == 1) AppendDecimal(out, WeekdayFrom(p.weekday, first_day));
        else AppendDecimal(out, WeekOfYear(serial, p, first_day, first_week));
        break;
      case Tok::Month:
        if (t.n <= 2 && after_hour) {
          AppendDecimal(out, p.minute, t.n);
        } else if (t.n <= 2) {
          AppendDecimal(out, p.month, t.n);
        } else if (t.n <= 4) {
          AppendNumberOrName(out, t.n, p.month, MonthAbbreviation(p, loc), MonthName(p, loc));
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
      case Tok::AmPm: AppendAmPm(out, s, t, p.hour >= 12, loc); break;
      case Tok::DateSep: out.append(loc.date_separator); break;
      case Tok::TimeSep: out.append(loc.time_separator); break;
      default: AppendSource(out, s, t); break;
    }
  }
}

}  // namespace qorvintr::automation::format_internal
