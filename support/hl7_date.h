#pragma once
// modTools: HL7 date/time text, and the time-of-day formatter it uses.

#include <cstdint>
#include <string>

namespace qorvintr::support::modTools {

// The text as a date/time (the platform's conversion), formatted "Hh:Nn:Ss": 14:05:09. A text
// that is no date raises 13.
std::u16string FormatTimeText(std::u16string& text);

// HL7 date/time text: YYYYMMDD, YYYYMMDDHHMMSS or YYYYMMDDHHMMSS+ZZZZ.
// The optional arguments are pointers: null means "left out". The flags hold the platform's
// Boolean (-1 True, 0 False); include_time must be exactly -1 for a time of day to be taken,
// while any non-zero value selects the longer forms. Separator, flags and zone text are by
// reference: an empty separator is replaced by "/" in the caller's variable. Defaults of left-out
// arguments: time "", separator "/", flags False, zone "0".
// A date text the platform does not take as a date gives the zero forms "00000000",
// "00000000000000" or "00000000000000-0000"; other platform errors (such as 6 "Overflow" for a
// separator found past position 32767) reach the caller.
std::u16string ConvertToHL7DateTime(std::u16string date_text,
                                    const std::u16string* time_text = nullptr,
                                    std::u16string* separator = nullptr,
                                    std::int16_t* include_time = nullptr,
                                    std::int16_t* include_zone = nullptr,
                                    std::u16string* zone_text = nullptr);

}  // namespace qorvintr::support::modTools
