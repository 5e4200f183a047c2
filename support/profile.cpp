#include "support/profile.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "automation/text.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#endif

namespace qorvintr::support {

namespace {

#ifdef _WIN32

std::string ToAnsi(std::u16string_view s) {
  if (s.empty()) return {};
  const auto* w = reinterpret_cast<const wchar_t*>(s.data());
  int n = WideCharToMultiByte(CP_ACP, 0, w, static_cast<int>(s.size()), nullptr, 0, nullptr,
                              nullptr);
  std::string out(static_cast<std::size_t>(n > 0 ? n : 0), '\0');
  if (n > 0) {
    WideCharToMultiByte(CP_ACP, 0, w, static_cast<int>(s.size()), out.data(), n, nullptr,
                        nullptr);
  }
  return out;
}

std::u16string FromAnsi(const char* s, int length) {
  if (length <= 0) return {};
  int n = MultiByteToWideChar(CP_ACP, 0, s, length, nullptr, 0);
  std::u16string out(static_cast<std::size_t>(n > 0 ? n : 0), u'\0');
  if (n > 0) {
    MultiByteToWideChar(CP_ACP, 0, s, length, reinterpret_cast<wchar_t*>(out.data()), n);
  }
  return out;
}

#else

// At most buffer_size - 1 characters, never ending in half of a surrogate pair.
std::u16string FitBuffer(std::u16string text, std::size_t buffer_size) {
  if (buffer_size == 0) return {};
  if (text.size() > buffer_size - 1) {
    text.resize(buffer_size - 1);
    if (!text.empty() && text.back() >= 0xD800 && text.back() <= 0xDBFF) text.pop_back();
  }
  return text;
}

std::u16string DefaultAnswer(std::u16string_view default_value, std::size_t buffer_size) {
  std::size_t end = default_value.size();
  while (end > 0 && default_value[end - 1] == u' ') --end;
  return FitBuffer(std::u16string(default_value.substr(0, end)), buffer_size);
}

bool IsBlank(char16_t c) noexcept { return c == u' ' || c == u'\t'; }

std::u16string_view TrimBlanks(std::u16string_view s) noexcept {
  std::size_t b = 0;
  std::size_t e = s.size();
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  return s.substr(b, e - b);
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() &&
         automation::CompareText(a, b, automation::CompareMode::Text) == 0;
}

// Strict UTF-8 check: no overlong forms, no surrogates, nothing past U+10FFFF.
bool IsValidUtf8(const std::string& s) noexcept {
  std::size_t i = 0;
  const std::size_t n = s.size();
  while (i < n) {
    auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t len;
    std::uint32_t cp;
    if (c >= 0xC2 && c <= 0xDF) {
      len = 2;
      cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      len = 3;
      cp = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > n) return false;
    for (std::size_t k = 1; k < len; ++k) {
      auto cc = static_cast<unsigned char>(s[i + k]);
      if ((cc & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (cc & 0x3F);
    }
    if ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
        (cp >= 0xD800 && cp <= 0xDFFF)) {
      return false;
    }
    i += len;
  }
  return true;
}

std::u16string FromWindows1252(const std::string& s) {
  static constexpr char16_t kHigh[32] = {
      0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  std::u16string out;
  out.reserve(s.size());
  for (char ch : s) {
    auto c = static_cast<unsigned char>(ch);
    out.push_back(c >= 0x80 && c < 0xA0 ? kHigh[c - 0x80] : static_cast<char16_t>(c));
  }
  return out;
}

std::u16string FromUtf16(const std::string& s, std::size_t start, bool big_endian) {
  std::u16string out;
  out.reserve((s.size() - start) / 2);
  for (std::size_t i = start; i + 1 < s.size(); i += 2) {
    auto a = static_cast<unsigned char>(s[i]);
    auto b = static_cast<unsigned char>(s[i + 1]);
    out.push_back(big_endian ? static_cast<char16_t>((a << 8) | b)
                             : static_cast<char16_t>((b << 8) | a));
  }
  return out;
}

// The whole file as text; false when it cannot be read.
bool ReadProfileText(std::u16string_view file_name, std::u16string& text) {
  try {
    std::filesystem::path path{std::u16string(file_name)};
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return false;
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && byte(0) == 0xFF && byte(1) == 0xFE) {
      text = FromUtf16(bytes, 2, false);
    } else if (bytes.size() >= 2 && byte(0) == 0xFE && byte(1) == 0xFF) {
      text = FromUtf16(bytes, 2, true);
    } else if (bytes.size() >= 3 && byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF) {
      text = automation::FromUtf8(std::string_view(bytes).substr(3));
    } else if (IsValidUtf8(bytes)) {
      text = automation::FromUtf8(bytes);
    } else {
      text = FromWindows1252(bytes);
    }
    return true;
  } catch (...) {
    // A name the file system cannot take (a lone surrogate), an unreadable or an absurdly large
    // file counts as missing, as the platform's read answers its default for them.
    return false;
  }
}

// The value of the key in the first section of that name, quotes removed; none when the
// section or the key is missing.
std::optional<std::u16string_view> FindValue(std::u16string_view text,
                                             std::u16string_view section,
                                             std::u16string_view key) {
  std::u16string_view rest(text);
  bool in_section = false;   // inside the first section of the wanted name
  bool section_seen = false; // that section has been passed already
  while (!rest.empty()) {
    std::size_t eol = rest.find_first_of(u"\r\n");
    std::u16string_view line = rest.substr(0, eol);
    if (eol == std::u16string_view::npos) {
      rest = {};
    } else {
      std::size_t skip = (rest[eol] == u'\r' && eol + 1 < rest.size() && rest[eol + 1] == u'\n')
                             ? 2
                             : 1;
      rest.remove_prefix(eol + skip);
    }
    line = TrimBlanks(line);
    if (line.empty() || line.front() == u';') continue;
    if (line.front() == u'[') {
      std::size_t close = line.find(u']');
      if (close == std::u16string_view::npos) continue;  // malformed: not a section header
      if (in_section) break;  // the first matching section has ended
      if (!section_seen && SameName(TrimBlanks(line.substr(1, close - 1)), section)) {
        in_section = true;
        section_seen = true;
      }
      continue;
    }
    if (!in_section) continue;
    std::size_t eq = line.find(u'=');
    if (eq == std::u16string_view::npos) continue;  // malformed: no "="
    // A line "=value" holds the key "" (the platform answers it for an empty key name).
    std::u16string_view name = TrimBlanks(line.substr(0, eq));
    if (!SameName(name, key)) continue;
    std::u16string_view value = TrimBlanks(line.substr(eq + 1));
    if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') &&
        value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    return value;
  }
  return std::nullopt;
}

#endif

}  // namespace

std::u16string ReadProfileString(std::u16string_view section, std::u16string_view key,
                                 std::u16string_view default_value,
                                 std::u16string_view file_name, std::size_t buffer_size) {
#ifdef _WIN32
  if (buffer_size == 0) return {};
  std::string a_section = ToAnsi(section);
  std::string a_key = ToAnsi(key);
  std::string a_default = ToAnsi(default_value);
  std::string a_file = ToAnsi(file_name);
  std::vector<char> buffer(buffer_size, '\0');
  DWORD n = GetPrivateProfileStringA(a_section.c_str(), a_key.c_str(), a_default.c_str(),
                                     buffer.data(), static_cast<DWORD>(buffer_size),
                                     a_file.c_str());
  return FromAnsi(buffer.data(), static_cast<int>(n));
#else
  std::u16string text;
  if (!ReadProfileText(file_name, text)) return DefaultAnswer(default_value, buffer_size);
  if (std::optional<std::u16string_view> value = FindValue(text, section, key)) {
    return FitBuffer(std::u16string(*value), buffer_size);
  }
  return DefaultAnswer(default_value, buffer_size);
#endif
}

}  // namespace qorvintr::support
