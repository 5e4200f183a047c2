#pragma once
// Dates as the platform keeps them: a double serial, days since 30 December 1899, the fraction
// the time of day. Negative serials are dates before 1899-12-30 whose fraction still counts
// forward as the time of day (-1.25 is 12/29/1899 6:00:00 AM).

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "qorvintr/value.h"

namespace qorvintr::automation {

// The calendar runs from 1 January 100 to 31 December 9999, every moment of both days included.
// A negative serial's fraction counts forward, so 1 January 100 takes the serials from -657434
// (midnight) down to just above -657435 (-657434.5 is 1/1/100 12:00:00 PM), and the last day
// those from 2958465 up to just below 2958466.
inline constexpr double kFirstDateDay = -657434.0;  // 1 January 100
inline constexpr double kLastDateDay = 2958465.0;   // 31 December 9999

// Whether a serial is a moment of the calendar (NaN is not): what every date conversion,
// date text, Format picture and date sum checks.
constexpr bool InDateRange(double serial) noexcept {
  return serial > kFirstDateDay - 1.0 && serial < kLastDateDay + 1.0;
}

struct DateParts {
  int year = 1899;
  int month = 12;
  int day = 30;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int weekday = 7;      // 1 = Sunday ... 7 = Saturday
  int day_of_year = 364;
};

// Splits a serial into its parts; the time is rounded to the nearest second as the platform does.
DateParts SplitDate(double serial) noexcept;
// Whole-day serial of a calendar date (no range check, proleptic Gregorian).
double DaySerial(int year, int month, int day) noexcept;

// DateSerial(year, month, day): months and days out of range roll over; years 0-29 are 2000-2029
// and 30-99 are 1930-1999; a result outside the valid range raises 5.
double DateSerial(int year, int month, int day);
// TimeSerial(hour, minute, second), rolling over; may be negative.
double TimeSerial(int hour, int minute, int second);
// DateValue / TimeValue: the date part / the time part of a value converted to a date.
double DateValue(const Value& v);
double TimeValue(const Value& v);

// Text to date as the platform parses it in en-US. nullopt when rejected.
std::optional<double> ParseDate(std::u16string_view text) noexcept;
// The same, raising 13 on rejection.
double TextToDate(std::u16string_view text);

// The platform's text of a date: "3/14/2002 9:30:00 AM"; the date alone when there is no time
// ("3/14/2002"); the time alone when the date part is 30 December 1899 ("9:30:00 AM",
// "12:00:00 AM" for 0).
std::u16string DateToText(double serial);

// The clock seam: Now() reads it. Tests fix "now" with SetClock; an empty function restores the
// system clock (local time).
using Clock = std::function<double()>;
void SetClock(Clock clock);
double Now();

}  // namespace qorvintr::automation
