#include "automation/datetime.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <utility>

#include "automation/chars.h"
#include "automation/decimal.h"
#include "qorvintr/error.h"
#include "automation/locale.h"

namespace qorvintr::automation {

namespace {

// ---------------------------------------------------------------------------------------------
// Calendar arithmetic (proleptic Gregorian), on whole days relative to 30 December 1899.

constexpr std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) noexcept {
  y -= m <= 2 ? 1 : 0;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

constexpr std::int64_t kEpochDays = DaysFromCivil(1899, 12, 30);

struct Civil {
  std::int64_t year;
  int month;
  int day;
};

constexpr Civil CivilFromDays(std::int64_t z) noexcept {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t y = static_cast<std::int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {y + (m <= 2 ? 1 : 0), static_cast<int>(m), static_cast<int>(d)};
}

constexpr bool IsLeap(std::int64_t y) noexcept {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

constexpr int DaysInMonth(std::int64_t y, int m) noexcept {
  constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

// A serial from a whole day number and seconds into that day: before 30 December 1899 the
// fraction still counts forward, so it is subtracted from the (negative) day. Hours, minutes and
// seconds are added one after the other, as the platform adds them, so that the serial comes out
// the same to the last bit.
double Compose(std::int64_t day, std::int64_t seconds) noexcept {
  const double h = static_cast<double>(seconds / 3600) / 24.0;
  const double m = static_cast<double>(seconds / 60 % 60) / 1440.0;
  const double s = static_cast<double>(seconds % 60) / 86400.0;
  const auto d = static_cast<double>(day);
  return day >= 0 ? d + h + m + s : d - h - m - s;
}

// The serial's whole day and its time of day in seconds, rounded to the nearest second; a time
// that rounds up to midnight moves to the next calendar day (for a negative serial too).
void SplitSerial(double serial, std::int64_t& day, std::int64_t& seconds) noexcept {
  double whole = std::trunc(serial);
  // A hundred-billionth of a day (under a microsecond) of slack, so that a time a hair short of
  // the half second still rounds up, as the platform does.
  double frac = std::fabs(serial - whole) + 1e-11;
  auto secs = static_cast<std::int64_t>(std::floor(frac * 86400.0 + 0.5));
  auto d = static_cast<std::int64_t>(whole);
  if (secs >= 86400) {
    secs -= 86400;
    d += 1;
  }
  day = d;
  seconds = secs;
}

// ---------------------------------------------------------------------------------------------
// The clock seam.

std::mutex& ClockMutex() {
  static std::mutex m;
  return m;
}

Clock& ClockSlot() {
  static Clock clock;
  return clock;
}

double SystemNow() noexcept {
  const std::time_t t = std::time(nullptr);
  std::tm local{};
#if defined(_WIN32)
  localtime_s(&local, &t);
#else
  localtime_r(&t, &local);
#endif
  const std::int64_t day =
      DaysFromCivil(local.tm_year + 1900, static_cast<unsigned>(local.tm_mon + 1),
                    static_cast<unsigned>(local.tm_mday)) -
      kEpochDays;
  const std::int64_t secs = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
  return Compose(day, secs);
}

// ---------------------------------------------------------------------------------------------
// Text to date.

// The platform reads a date text into a short list of entries (numbers and month names), each
// marking what followed it: a time separator, an AM/PM designator.
struct Entry {
  std::int32_t value;  // the number, or the month 1-12 of a month name
  bool is_month_name;
  bool time_sep;       // followed by ":" or "."
  std::uint8_t ampm;   // 0 none, 1 AM, 2 PM
};

constexpr std::size_t kMaxEntries = 16;

// Words: month names and abbreviations (a month), day names and abbreviations (skipped), the
// AM/PM designators and their first letters. Anything else rejects the text.
enum class WordKind { Month, Day, Am, Pm, Unknown };

// Which first letters the month and day words of each length have, so that most words that are
// none of them (a name, a code) are told after one look instead of 38 comparisons.
class WordFilter {
 public:
  explicit WordFilter(const LocaleData& loc) noexcept {
    for (const auto* names : {&loc.month_names, &loc.month_abbreviations}) {
      for (std::u16string_view name : *names) Add(name);
    }
    for (const auto* names : {&loc.day_names, &loc.day_abbreviations}) {
      for (std::u16string_view name : *names) Add(name);
    }
  }
  // False only when no month or day word has the word's length and first letter.
  bool MayBeOne(std::u16string_view word) const noexcept {
    if (word.empty()) return true;
    const char16_t first = AsciiLower(word[0]);
    if (first < u'a' || first > u'z') return true;
    return (masks_[Slot(word.size())] >> (first - u'a') & 1u) != 0;
  }

 private:
  static constexpr std::size_t kLongest = 15;  // longer words share the last slot
  static std::size_t Slot(std::size_t size) noexcept { return size < kLongest ? size : kLongest; }
  void Add(std::u16string_view name) noexcept {
    std::uint32_t& mask = masks_[Slot(name.size())];
    const char16_t first = name.empty() ? u'\0' : AsciiLower(name[0]);
    // A word of another alphabet can match nothing but itself: its slot lets every word by.
    mask |= first >= u'a' && first <= u'z' ? std::uint32_t{1} << (first - u'a') : ~std::uint32_t{0};
  }
  std::array<std::uint32_t, kLongest + 1> masks_{};
};

WordKind ClassifyWord(std::u16string_view word, std::int32_t& month) noexcept {
  const LocaleData& loc = CurrentLocale();
  // The designators first: they are the short words, and the common ones after a time.
  if (word.size() <= 2) {
    if (EqualsIgnoreAsciiCase(word, loc.am) ||
        (word.size() == 1 && !loc.am.empty() && AsciiLower(word[0]) == AsciiLower(loc.am[0]))) {
      return WordKind::Am;
    }
    if (EqualsIgnoreAsciiCase(word, loc.pm) ||
        (word.size() == 1 && !loc.pm.empty() && AsciiLower(word[0]) == AsciiLower(loc.pm[0]))) {
      return WordKind::Pm;
    }
  }
  static const WordFilter filter(loc);  // the locale is fixed
  if (!filter.MayBeOne(word)) return WordKind::Unknown;
  for (int i = 0; i < 12; ++i) {
    if (EqualsIgnoreAsciiCase(word, loc.month_names[i]) ||
        EqualsIgnoreAsciiCase(word, loc.month_abbreviations[i])) {
      month = i + 1;
      return WordKind::Month;
    }
  }
  for (int i = 0; i < 7; ++i) {
    if (EqualsIgnoreAsciiCase(word, loc.day_names[i]) ||
        EqualsIgnoreAsciiCase(word, loc.day_abbreviations[i])) {
      return WordKind::Day;
    }
  }
  return WordKind::Unknown;
}

// Two-digit years: 0-29 are 2000-2029, 30-99 are 1930-1999.
constexpr std::int32_t ExpandYear(std::int32_t y) noexcept {
  if (y < 30) return y + 2000;
  if (y < 100) return y + 1900;
  return y;
}

// Tries one order of the date items; the order names the role of each item (m, d, y).
bool TryOrder(const Entry* items, int count, const char* order, std::int32_t current_year,
              std::int32_t& y, std::int32_t& m, std::int32_t& d) noexcept {
  std::int32_t year = -1;
  std::int32_t month = -1;
  std::int32_t day = -1;
  bool any_name = false;
  for (int i = 0; i < count; ++i) any_name = any_name || items[i].is_month_name;
  for (int i = 0; i < count; ++i) {
    const Entry& it = items[i];
    switch (order[i]) {
      case 'm':
        // With a month name among the items, the month is taken from a name.
        if (any_name && !it.is_month_name) return false;
        month = it.value;
        break;
      case 'd':
        day = it.value;
        break;
      default:
        year = it.value;
        break;
    }
  }
  if (year < 0) {
    year = current_year;
  } else {
    year = ExpandYear(year);
  }
  if (day < 0) day = 1;
  if (month < 1 || month > 12) return false;
  if (year < 100 || year > 9999) return false;
  if (day < 1 || day > DaysInMonth(year, month)) return false;
  y = year;
  m = month;
  d = day;
  return true;
}

int CurrentYear() noexcept {
  double now = 0;
  try {
    now = Now();
  } catch (...) {
    // A clock seam that fails (a host's or a test's function) must not end a parse that cannot
    // raise: the system clock stands in, as it does for a "now" outside the calendar.
    now = SystemNow();
  }
  if (!InDateRange(now)) now = SystemNow();
  return SplitDate(now).year;
}

// The entries of a date text, in order.
struct Entries {
  std::array<Entry, kMaxEntries> items;  // written before read: below count only
  std::size_t count = 0;
};

// Reads a text into entries: numbers and month names, with the time separators and the AM/PM
// designator marked on the entry before them; blanks, commas, day names and up to two date
// separators are passed over. False when the text holds anything else, or too many entries.
bool ReadEntries(std::u16string_view text, Entries& out) noexcept {
  auto& entries = out.items;
  std::size_t& n = out.count;
  const std::size_t len = text.size();
  int date_seps = 0;
  bool have_ampm = false;
  std::size_t i = 0;
  while (i < len) {
    const char16_t c = text[i];
    if (IsBlank(c) || c == u',') {
      ++i;
      continue;
    }
    if (IsAsciiDigit(c)) {
      if (n >= kMaxEntries) return false;
      std::int32_t value = 0;
      while (i < len && IsAsciiDigit(text[i])) {
        if (value < 100000000) value = value * 10 + (text[i] - u'0');
        ++i;
      }
      entries[n++] = {value, false, false, 0};
      continue;
    }
    if (IsAsciiLetter(c)) {
      const std::size_t start = i;
      while (i < len && IsAsciiLetter(text[i])) ++i;
      std::int32_t month = 0;
      const WordKind kind = ClassifyWord(text.substr(start, i - start), month);
      switch (kind) {
        case WordKind::Month:
          if (n >= kMaxEntries) return false;
          entries[n++] = {month, true, false, 0};
          break;
        case WordKind::Day:
          break;
        case WordKind::Am:
        case WordKind::Pm:
          // The designator belongs to the entry before it, and only one is allowed.
          if (n == 0 || have_ampm) return false;
          have_ampm = true;
          entries[n - 1].ampm = kind == WordKind::Am ? 1 : 2;
          break;
        case WordKind::Unknown:
          return false;
      }
      continue;
    }
    if (c == u'/' || c == u'-') {
      if (n == 0 || ++date_seps > 2) return false;
      ++i;
      continue;
    }
    // Kept: "." separates time parts too, so "1.5" is 1:05 AM (tests/automation_datetime_test.cpp: ParseDateText.DecimalNumberReadsAsHoursAndMinutes)
    if (c == u':' || c == u'.') {
      if (n == 0) return false;
      entries[n - 1].time_sep = true;
      ++i;
      continue;
    }
    return false;
  }
  return true;
}

// Where the time stands among the entries, [first, end), and the time of day it gives in seconds
// (first == end == count when there is no time).
struct TimeEntries {
  std::size_t first = 0;
  std::size_t end = 0;
  std::int64_t seconds = 0;
};

// The time: from the first entry marked by a time separator or a designator, through the entries
// its separators join on (hour, minute, second). The other entries are the date; they must lie
// all before or all after the time. nullopt when the time or its place is not right.
std::optional<TimeEntries> ReadTime(const Entries& entries) noexcept {
  const auto& items = entries.items;
  const std::size_t n = entries.count;
  TimeEntries time;
  std::size_t& t = time.first;
  std::size_t& e = time.end;  // one past the time
  while (t < n && !items[t].time_sep && items[t].ampm == 0) ++t;
  e = t;
  if (t == n) return time;
  std::int32_t parts[3] = {0, 0, 0};
  int count = 0;
  int ampm = 0;
  while (true) {
    if (e >= n || count >= 3) return std::nullopt;
    parts[count++] = items[e].value;
    if (items[e].ampm != 0) ampm = items[e].ampm;
    if (!items[e++].time_sep) break;
  }
  for (std::size_t k = e; k < n; ++k) {
    if (items[k].time_sep || items[k].ampm != 0) return std::nullopt;
  }
  if (t > 0 && e < n) return std::nullopt;
  std::int32_t h = parts[0];
  if (h > 23 || parts[1] > 59 || parts[2] > 59) return std::nullopt;
  if (ampm == 1 && h == 12) h = 0;
  if (ampm == 2 && h < 12) h += 12;
  time.seconds = static_cast<std::int64_t>(h) * 3600 + parts[1] * 60 + parts[2];
  return time;
}

// The day two or three date entries name, trying the orders of month, day and year the platform
// tries, first fit wins; two entries without a year take the current one. False when none fits.
bool ReadDay(const Entry* items, int count, std::int64_t& day) noexcept {
  static constexpr const char* kTwo[] = {"md", "dm", "my", "ym"};
  static constexpr const char* kThree[] = {"mdy", "ymd", "dmy", "ydm"};
  const std::int32_t current_year = count == 2 ? CurrentYear() : 0;
  std::int32_t y = 0;
  std::int32_t m = 0;
  std::int32_t d = 0;
  const auto& orders = count == 2 ? kTwo : kThree;
  for (const char* order : orders) {
    if (TryOrder(items, count, order, current_year, y, m, d)) {
      day = DaysFromCivil(y, static_cast<unsigned>(m), static_cast<unsigned>(d)) - kEpochDays;
      return true;
    }
  }
  return false;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

DateParts SplitDate(double serial) noexcept {
  DateParts p;
  if (!(serial > -1e9 && serial < 1e9)) return p;  // not a date: keep the zero date
  std::int64_t day = 0;
  std::int64_t secs = 0;
  SplitSerial(serial, day, secs);
  const Civil c = CivilFromDays(day + kEpochDays);
  p.year = static_cast<int>(c.year);
  p.month = c.month;
  p.day = c.day;
  p.hour = static_cast<int>(secs / 3600);
  p.minute = static_cast<int>(secs / 60 % 60);
  p.second = static_cast<int>(secs % 60);
  // 30 December 1899 was a Saturday (7).
  p.weekday = static_cast<int>(((day % 7) + 7 + 6) % 7) + 1;
  p.day_of_year = static_cast<int>(day + kEpochDays - DaysFromCivil(c.year, 1, 1)) + 1;
  return p;
}

double DaySerial(int year, int month, int day) noexcept {
  // Months outside 1-12 fold into the year so that any combination gives a day.
  std::int64_t total = static_cast<std::int64_t>(year) * 12 + (month - 1);
  std::int64_t y = total >= 0 ? total / 12 : (total - 11) / 12;
  auto m = static_cast<unsigned>(total - y * 12 + 1);
  return static_cast<double>(DaysFromCivil(y, m, 1) - kEpochDays + (day - 1));
}

double DateSerial(int year, int month, int day) {
  std::int64_t y = year;
  if (y >= 0 && y <= 29) {
    y += 2000;
  } else if (y >= 30 && y <= 99) {
    y += 1900;
  }
  std::int64_t total = y * 12 + (static_cast<std::int64_t>(month) - 1);
  std::int64_t yy = total >= 0 ? total / 12 : (total - 11) / 12;
  auto mm = static_cast<unsigned>(total - yy * 12 + 1);
  if (yy < -1000000 || yy > 1000000) Raise(err::InvalidProcedureCall);
  const std::int64_t serial =
      DaysFromCivil(yy, mm, 1) - kEpochDays + (static_cast<std::int64_t>(day) - 1);
  if (!InDateRange(static_cast<double>(serial))) Raise(err::InvalidProcedureCall);
  return static_cast<double>(serial);
}

double TimeSerial(int hour, int minute, int second) {
  const std::int64_t total = static_cast<std::int64_t>(hour) * 3600 +
                             static_cast<std::int64_t>(minute) * 60 + second;
  // A negative total is a moment before 30 December 1899, written the platform's way.
  const std::int64_t day = total >= 0 ? total / 86400 : -((-total + 86399) / 86400);
  const std::int64_t secs = total - day * 86400;
  const double serial = Compose(day, secs);
  if (!InDateRange(serial)) Raise(err::Overflow);
  return serial;
}

namespace {

// The serial a DateValue / TimeValue argument stands for: a text is parsed as a date, a date is
// itself, a number is taken as a serial (outside the date range it overflows), True is -1 and
// Empty is 0.
double ValueAsSerial(const Value& v) {
  if (v.IsObject()) return ValueAsSerial(Dereference(v));
  double serial = 0;
  switch (v.Type()) {
    case VarType::String:
      return TextToDate(v.GetString());
    case VarType::Empty:
      return 0;
    case VarType::Null:
      Raise(err::InvalidUseOfNull);
    case VarType::Boolean:
      return v.GetBoolean() ? -1 : 0;
    case VarType::Integer:
      return v.GetInteger();
    case VarType::Long:
      return v.GetLong();
    case VarType::Single:
      serial = v.GetSingle();
      break;
    case VarType::Double:
      serial = v.GetDouble();
      break;
    case VarType::Date:
      serial = v.GetDate();
      break;
    default:
      Raise(err::TypeMismatch);
  }
  if (!InDateRange(serial)) Raise(err::Overflow);
  return serial;
}

}  // namespace

double DateValue(const Value& v) {
  std::int64_t day = 0;
  std::int64_t secs = 0;
  SplitSerial(ValueAsSerial(v), day, secs);
  return static_cast<double>(day);
}

double TimeValue(const Value& v) {
  std::int64_t day = 0;
  std::int64_t secs = 0;
  SplitSerial(ValueAsSerial(v), day, secs);
  return static_cast<double>(secs) / 86400.0;
}

std::optional<double> ParseDate(std::u16string_view text) noexcept {
  // The platform reads a text up to its first NUL.
  text = text.substr(0, text.find(u'\0'));
  // A separator as the very last character rejects the text (blanks after it do not).
  if (!text.empty()) {
    const char16_t last = text.back();
    if (last == u',' || last == u'/' || last == u'-' || last == u':' || last == u'.') {
      return std::nullopt;
    }
  }
  Entries entries;
  if (!ReadEntries(text, entries) || entries.count == 0) return std::nullopt;
  const std::optional<TimeEntries> time = ReadTime(entries);
  if (!time) return std::nullopt;

  // The date is what the time leaves: the entries before it, or those after it.
  const bool date_first = time->first > 0;
  const Entry* items = entries.items.data() + (date_first ? 0 : time->end);
  const int item_count = static_cast<int>(date_first ? time->first : entries.count - time->end);
  if (item_count == 1 || item_count > 3) return std::nullopt;  // a lone number is no date
  std::int64_t day = 0;
  if (item_count > 0 && !ReadDay(items, item_count, day)) return std::nullopt;
  return Compose(day, time->seconds);
}

double TextToDate(std::u16string_view text) {
  if (auto d = ParseDate(text)) return *d;
  Raise(err::TypeMismatch);
}

std::u16string DateToText(double serial) {
  std::int64_t day = 0;
  std::int64_t secs = 0;
  bool show_date = true;
  bool show_time = true;
  if (std::isnan(serial)) {
    // Kept: NaN is written as the zero date with the zero time, both shown (tests/automation_datetime_test.cpp: DateText.NotANumberIsTheZeroDateWithTime)
  } else {
    if (!InDateRange(serial)) Raise(err::InvalidProcedureCall);
    // Kept: what is shown is decided on the serial as given, before the time is rounded (tests/automation_datetime_test.cpp: DateText.WhatIsShownIsDecidedBeforeRounding)
    const double whole = std::trunc(serial);
    show_date = whole != 0.0;
    show_time = serial != whole;
    SplitSerial(serial, day, secs);
  }
  const LocaleData& loc = CurrentLocale();
  std::u16string out;
  out.reserve(24);
  if (show_date) {
    const Civil c = CivilFromDays(day + kEpochDays);
    AppendDecimal(out, c.month);
    out.append(loc.date_separator);
    AppendDecimal(out, c.day);
    out.append(loc.date_separator);
    AppendDecimal(out, c.year);
  }
  if (show_time || !show_date) {
    if (show_date) out.push_back(u' ');
    const std::int64_t h = secs / 3600;
    const std::int64_t h12 = h % 12 == 0 ? 12 : h % 12;
    AppendDecimal(out, h12);
    out.append(loc.time_separator);
    AppendDecimal(out, secs / 60 % 60, 2);
    out.append(loc.time_separator);
    AppendDecimal(out, secs % 60, 2);
    out.push_back(u' ');
    out.append(h < 12 ? loc.am : loc.pm);
  }
  return out;
}

void SetClock(Clock clock) {
  std::lock_guard<std::mutex> lock(ClockMutex());
  ClockSlot() = std::move(clock);
}

double Now() {
  Clock clock;
  {
    std::lock_guard<std::mutex> lock(ClockMutex());
    clock = ClockSlot();
  }
  if (clock) return clock();
  return SystemNow();
}

}  // namespace qorvintr::automation
