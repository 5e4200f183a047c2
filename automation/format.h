#pragma once
// The platform's Format function with its picture language (en-US).

#include <string>
#include <string_view>

#include "qorvintr/value.h"

namespace qorvintr::automation {

// First day of the week: 0 = the system's (Sunday in en-US), 1 = Sunday ... 7 = Saturday.
// First week of the year: 0 = the system's (the week of January 1), 1 = the week of January 1,
// 2 = the first week with four days, 3 = the first full week.
//
// Numeric pictures (0 # . , % E+ E- literals "quoted" \x, up to four ; sections), date and time
// pictures (d..dddddd w ww m..mmmm q y yy yyyy h hh n nn s ss ttttt c AM/PM am/pm A/P a/p AMPM /
// :, letters matched without regard to case), text pictures (@ & < > !), and the named formats
// (General Date, Long Date, Medium Date, Short Date, Long Time, Medium Time, Short Time, General
// Number, Currency, Fixed, Standard, Percent, Scientific, Yes/No, True/False, On/Off).
// Null formats to the empty text (or the fourth section). Objects through their default member.
std::u16string Format(const Value& value, std::u16string_view picture = {},
                      int first_day_of_week = 1, int first_week_of_year = 1);

}  // namespace qorvintr::automation
