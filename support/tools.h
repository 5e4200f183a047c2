#pragma once
// modTools: the one-character constants, proper-casing, HL7 date/time text, the time-of-day
// formatter and the test for an empty dynamic array.

#include <cstdint>
#include <string>
#include <string_view>

#include "support/dynarray.h"

namespace qorvintr::support::modTools {

// ---- One-character constants --------------------------------------------------------------
// 52 texts of one character each, for the codes 1-7, 14-47, 91-96 and 123-127, kept once per
// thread. They are empty until InitCharacterConstants has run on the thread.
void InitCharacterConstants();
// The constant of a code; the empty text for a code that has none (or before initialisation).
const std::u16string& CharacterConstant(int code) noexcept;
inline const std::u16string& ChrBlank() noexcept { return CharacterConstant(32); }
inline const std::u16string& ChrDoubleQuote() noexcept { return CharacterConstant(34); }
inline const std::u16string& ChrHash() noexcept { return CharacterConstant(35); }
inline const std::u16string& ChrComma() noexcept { return CharacterConstant(44); }
inline const std::u16string& ChrDelete() noexcept { return CharacterConstant(127); }

// ---- Text ---------------------------------------------------------------------------------
// Lower case, with the first character and every character that follows a blank (code 32 only)
// in upper case: "DATA FIELD" -> "Data Field", "AUTODF0" -> "Autodf0". A text ending in a blank
// keeps its lower-cased form there (the step past the last character changes nothing).
std::u16string ProperCase(std::u16string_view text);

// ---- Dates --------------------------------------------------------------------------------
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

// ---- Arrays -------------------------------------------------------------------------------
// True when the array was never dimensioned or has been erased (asking its upper bound would
// raise 9); never raises.
template <class T>
bool IsArrayEmpty(const DynArray<T>& array) noexcept {
  return !array.IsDimensioned();
}
template <class T>
bool IsArrayEmpty(const DynArray2D<T>& array) noexcept {
  return !array.IsDimensioned();
}

}  // namespace qorvintr::support::modTools
