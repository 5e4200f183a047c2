#pragma once
// The locale data the platform layer formats and parses with. Only en-US (LCID 1033) for now;
// everything locale-specific is read from here so another locale can be added.

#include <array>
#include <string_view>

namespace qorvintr::automation {

struct LocaleData {
  std::u16string_view decimal_point;
  std::u16string_view thousands_separator;
  std::u16string_view date_separator;
  std::u16string_view time_separator;
  std::u16string_view am;
  std::u16string_view pm;
  std::u16string_view currency_symbol;
  std::u16string_view short_date;   // picture of the short date
  std::u16string_view long_date;    // picture of the long date
  std::u16string_view long_time;    // picture of the long time
  std::array<std::u16string_view, 12> month_names;
  std::array<std::u16string_view, 12> month_abbreviations;
  std::array<std::u16string_view, 7> day_names;           // Sunday first
  std::array<std::u16string_view, 7> day_abbreviations;   // Sunday first
};

const LocaleData& CurrentLocale() noexcept;

}  // namespace qorvintr::automation
