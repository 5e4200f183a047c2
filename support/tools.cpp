#include "support/tools.h"

#include <array>
#include <limits>

#include "automation/convert.h"
#include "automation/datetime.h"
#include "automation/error.h"
#include "automation/format.h"
#include "automation/text.h"
#include "automation/value.h"

namespace qorvintr::support::modTools {

namespace {

using automation::Value;

thread_local std::array<std::u16string, 128> t_constants;

bool HasConstant(int code) noexcept {
  return (code >= 1 && code <= 7) || (code >= 14 && code <= 47) || (code >= 91 && code <= 96) ||
         (code >= 123 && code <= 127);
}

char16_t UpperChar(char16_t c) {
  if (c < 0x80) return (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - (u'a' - u'A')) : c;
  std::u16string upper = automation::UCase(std::u16string_view(&c, 1));
  return upper.size() == 1 ? upper[0] : c;
}

// A 1-based position held in the platform's 16-bit Integer.
std::int16_t Position16(std::size_t zero_based_hit) {
  if (zero_based_hit + 1 > static_cast<std::size_t>(std::numeric_limits<std::int16_t>::max())) {
    automation::Raise(automation::err::Overflow);
  }
  return static_cast<std::int16_t>(zero_based_hit + 1);
}

}  // namespace

void InitCharacterConstants() {
  for (int code = 1; code < 128; ++code) {
    if (HasConstant(code)) t_constants[static_cast<std::size_t>(code)].assign(1, static_cast<char16_t>(code));
  }
}

const std::u16string& CharacterConstant(int code) noexcept {
  static const std::u16string kNone;
  if (!HasConstant(code)) return kNone;
  return t_constants[static_cast<std::size_t>(code)];
}

std::u16string ProperCase(std::u16string_view text) {
  if (text.empty()) return {};
  std::u16string copy = automation::LCase(text);
  std::size_t position = 0;  // 1-based, as the platform counts
  for (;;) {
    ++position;
    if (position <= copy.size()) copy[position - 1] = UpperChar(copy[position - 1]);
    // The next blank of the unchanged input, from this position on.
    std::size_t hit = text.find(u' ', position - 1);
    if (hit == std::u16string_view::npos) break;
    position = hit + 1;
  }
  return copy;
}

std::u16string FormatTimeText(std::u16string& text) {
  double when = automation::CDate(Value::String(text));
  return automation::Format(Value::Date(when), u"Hh:Nn:Ss");
}

std::u16string ConvertToHL7DateTime(std::u16string date_text, const std::u16string* time_text,
                                    std::u16string* separator, std::int16_t* include_time,
                                    std::int16_t* include_zone, std::u16string* zone_text) {
  // Left-out arguments get their declared defaults in local variables.
  std::u16string time = time_text != nullptr ? *time_text : std::u16string();
  std::u16string local_separator = u"/";
  std::int16_t local_include_time = 0;
  std::int16_t local_include_zone = 0;
  std::u16string local_zone = u"0";
  std::u16string& sep = separator != nullptr ? *separator : local_separator;
  std::int16_t& with_time = include_time != nullptr ? *include_time : local_include_time;
  std::int16_t& with_zone = include_zone != nullptr ? *include_zone : local_include_zone;
  std::u16string& zone = zone_text != nullptr ? *zone_text : local_zone;
  if (sep.empty()) sep.assign(1, u'/');

  if (time == u"0") {
    time = date_text.find(u':') != std::u16string::npos ? FormatTimeText(date_text)
                                                         : std::u16string(u"00:00:00");
  }

  if (sep != u"/") {
    // Only the first character of a longer separator is overwritten; the rest stays.
    std::size_t hit = date_text.find(sep);
    while (hit != std::u16string::npos) {
      std::int16_t position = Position16(hit);
      date_text[static_cast<std::size_t>(position - 1)] = u'/';
      if (position == std::numeric_limits<std::int16_t>::max()) {
        automation::Raise(automation::err::Overflow);  // the next start does not fit 16 bits
      }
      hit = date_text.find(sep, static_cast<std::size_t>(position));
    }
  }

  Value date_value = Value::String(date_text);
  if (!automation::IsDate(date_value)) {
    if (with_time != 0) return with_zone != 0 ? u"00000000000000-0000" : u"00000000000000";
    return u"00000000";
  }

  double time_of_day = 0;
  if (with_time == -1) {
    if (!time.empty()) {
      Value time_value = Value::String(time);
      time_of_day = automation::IsDate(time_value)
                        ? automation::CDate(time_value)
                        : automation::CDate(Value::String(u"00:00:00"));
    } else {
      time_of_day = automation::TimeValue(date_value);
    }
  }
  // Otherwise the platform yields once to its message loop here; this component has none to
  // serve, and the time stays midnight.

  double date = automation::DateValue(date_value);
  std::u16string result = automation::Format(Value::Date(date), u"yyyymmdd");
  if (with_time == 0) return result;
  result += automation::Format(Value::Date(time_of_day), u"HhNnSs");
  if (with_zone == 0) return result;
  std::u16string zone_part = automation::Format(Value::String(zone), u"+0000; -0000");
  if (!zone_part.empty() && zone_part.front() == u' ') zone_part.erase(0, 1);
  result += zone_part;
  return result;
}

}  // namespace qorvintr::support::modTools
