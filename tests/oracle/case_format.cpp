#include "case_format.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <csignal>
#include <unistd.h>
#endif

namespace qorvintr::oracle {

namespace {

template <typename Int>
bool ParseInt(std::string_view s, Int& out) {
  if (s.empty()) return false;
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), out);
  return ec == std::errc() && p == s.data() + s.size();
}

template <typename Float>
bool ParseFloat(std::string_view s, Float& out) {
  if (s.empty()) return false;
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), out);
  return ec == std::errc() && p == s.data() + s.size();
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void AppendCodePoint(std::u16string& out, std::uint32_t cp) {
  if (cp >= 0x10000) {
    cp -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
  } else {
    out.push_back(static_cast<char16_t>(cp));
  }
}

// "yyyy-mm-dd" optionally followed by 'T' or ' ' and "hh:mm:ss".
bool ParseCalendarDate(std::string_view s, double& serial) {
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, se = 0;
  std::size_t dash1 = s.find('-', 1);  // a year may not be negative here; skip pos 0 anyway
  if (dash1 == std::string_view::npos) return false;
  std::size_t dash2 = s.find('-', dash1 + 1);
  if (dash2 == std::string_view::npos) return false;
  std::size_t tpos = s.find_first_of("T ", dash2 + 1);
  std::string_view day = s.substr(dash2 + 1, tpos == std::string_view::npos ? s.npos
                                                                           : tpos - dash2 - 1);
  if (!ParseInt(s.substr(0, dash1), y) || !ParseInt(s.substr(dash1 + 1, dash2 - dash1 - 1), mo) ||
      !ParseInt(day, d))
    return false;
  if (mo < 1 || mo > 12 || d < 1 || d > 31) return false;
  if (tpos != std::string_view::npos) {
    std::string_view t = s.substr(tpos + 1);
    std::size_t c1 = t.find(':');
    std::size_t c2 = c1 == t.npos ? t.npos : t.find(':', c1 + 1);
    if (c2 == t.npos) return false;
    if (!ParseInt(t.substr(0, c1), h) || !ParseInt(t.substr(c1 + 1, c2 - c1 - 1), mi) ||
        !ParseInt(t.substr(c2 + 1), se))
      return false;
    if (h < 0 || h > 23 || mi < 0 || mi > 59 || se < 0 || se > 59) return false;
  }
  double days = CivilToSerial(y, mo, d);
  double frac = (h * 3600.0 + mi * 60.0 + se) / 86400.0;
  serial = days >= 0 ? days + frac : days - frac;
  return true;
}

std::string Stem(const std::string& path) {
  if (path == "-") return "stdin";
  std::size_t slash = path.find_last_of("/\\");
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool ReadLine(std::FILE* f, std::string& line) {
  line.clear();
  int c;
  bool any = false;
  while ((c = std::getc(f)) != EOF) {
    any = true;
    if (c == '\n') break;
    line.push_back(static_cast<char>(c));
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return any;
}

std::vector<std::string> SplitTabs(const std::string& line) {
  std::vector<std::string> out;
  std::size_t start = 0;
  for (;;) {
    std::size_t tab = line.find('\t', start);
    out.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
    if (tab == std::string::npos) break;
    start = tab + 1;
  }
  return out;
}

// A case that kills the process finishes its own answer line as CRASH and ends the process with
// exit code 3; the caller reruns the rest with -s.
#ifdef _WIN32
LONG WINAPI OnCrash(EXCEPTION_POINTERS* info) {
  char buf[64];
  int n = std::snprintf(buf, sizeof buf, "CRASH:exception 0x%08lX\n",
                        static_cast<unsigned long>(info->ExceptionRecord->ExceptionCode));
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), buf, static_cast<DWORD>(n), &written, nullptr);
  TerminateProcess(GetCurrentProcess(), 3);
  return EXCEPTION_EXECUTE_HANDLER;
}

void InstallCrashHandler() {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(OnCrash);
}
#else
extern "C" void OnCrash(int sig) {
  char buf[32] = "CRASH:signal ";
  std::size_t n = std::strlen(buf);
  if (sig >= 10) buf[n++] = static_cast<char>('0' + sig / 10);
  buf[n++] = static_cast<char>('0' + sig % 10);
  buf[n++] = '\n';
  ssize_t ignored = write(1, buf, n);
  (void)ignored;
  _exit(3);
}

void InstallCrashHandler() {
  for (int sig : {SIGSEGV, SIGFPE, SIGBUS, SIGILL, SIGABRT}) std::signal(sig, OnCrash);
}
#endif

}  // namespace

double CivilToSerial(int year, int month, int day) {
  // Days from 1970-01-01 (Howard Hinnant's civil algorithm), then shift to 1899-12-30.
  long long y = static_cast<long long>(year) - (month <= 2 ? 1 : 0);
  long long era = (y >= 0 ? y : y - 399) / 400;
  long long yoe = y - era * 400;
  long long mp = (month + 9) % 12;
  long long doy = (153 * mp + 2) / 5 + day - 1;
  long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  long long days1970 = era * 146097 + doe - 719468;
  return static_cast<double>(days1970 + 25569);
}

std::u16string UnescapeText(std::string_view s) {
  std::u16string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c == '\\') {
      if (i + 1 >= s.size()) throw BadCase{"text ends in a lone backslash"};
      char e = s[i + 1];
      switch (e) {
        case 't': out.push_back(u'\t'); i += 2; continue;
        case 'n': out.push_back(u'\n'); i += 2; continue;
        case 'r': out.push_back(u'\r'); i += 2; continue;
        case '\\': out.push_back(u'\\'); i += 2; continue;
        case 'u': {
          if (i + 6 > s.size()) throw BadCase{"short \\u escape"};
          std::uint32_t v = 0;
          for (std::size_t k = 2; k < 6; ++k) {
            int h = HexDigit(s[i + k]);
            if (h < 0) throw BadCase{"bad \\u escape"};
            v = v * 16 + static_cast<std::uint32_t>(h);
          }
          out.push_back(static_cast<char16_t>(v));
          i += 6;
          continue;
        }
        default: throw BadCase{std::string("unknown escape \\") + e};
      }
    }
    if (c < 0x80) {
      out.push_back(c);
      ++i;
      continue;
    }
    int len = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 0;
    if (len == 0 || c >= 0xF8 || i + len > s.size()) throw BadCase{"invalid UTF-8 in text"};
    std::uint32_t cp = c & (0x7F >> len);
    for (int k = 1; k < len; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      if ((cc & 0xC0) != 0x80) throw BadCase{"invalid UTF-8 in text"};
      cp = (cp << 6) | (cc & 0x3F);
    }
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) throw BadCase{"invalid UTF-8 in text"};
    AppendCodePoint(out, cp);
    i += len;
  }
  return out;
}

std::string EscapeText(std::u16string_view s) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(s.size());
  for (char16_t c : s) {
    if (c == u'\\') {
      out += "\\\\";
    } else if (c == u'\t') {
      out += "\\t";
    } else if (c == u'\n') {
      out += "\\n";
    } else if (c == u'\r') {
      out += "\\r";
    } else if (c >= 0x20 && c < 0x7F) {
      out.push_back(static_cast<char>(c));
    } else {
      out += "\\u";
      out.push_back(kHex[(c >> 12) & 15]);
      out.push_back(kHex[(c >> 8) & 15]);
      out.push_back(kHex[(c >> 4) & 15]);
      out.push_back(kHex[c & 15]);
    }
  }
  return out;
}

std::string FormatDouble(double d) {
  if (std::isnan(d)) return "nan";
  char buf[64];
  auto [p, ec] = std::to_chars(buf, buf + sizeof buf, d);
  return std::string(buf, p);
}

std::string FormatSingle(float f) {
  if (std::isnan(f)) return "nan";
  char buf[64];
  auto [p, ec] = std::to_chars(buf, buf + sizeof buf, f);
  return std::string(buf, p);
}

Literal ParseLiteral(std::string_view field) {
  Literal v;
  if (field == "E") return v;
  if (field == "N") {
    v.kind = Literal::Kind::Null;
    return v;
  }
  std::size_t colon = field.find(':');
  if (colon == std::string_view::npos) throw BadCase{"not a typed literal: " + std::string(field)};
  std::string_view tag = field.substr(0, colon);
  std::string_view body = field.substr(colon + 1);
  if (tag == "S") {
    v.kind = Literal::Kind::String;
    v.s = UnescapeText(body);
  } else if (tag == "B") {
    v.kind = Literal::Kind::Boolean;
    if (body == "-1") v.i = -1;
    else if (body == "0") v.i = 0;
    else throw BadCase{"Boolean must be B:-1 or B:0"};
  } else if (tag == "I2") {
    v.kind = Literal::Kind::Integer;
    std::int16_t n;
    if (!ParseInt(body, n)) throw BadCase{"bad Integer: " + std::string(body)};
    v.i = n;
  } else if (tag == "I4") {
    v.kind = Literal::Kind::Long;
    std::int32_t n;
    if (!ParseInt(body, n)) throw BadCase{"bad Long: " + std::string(body)};
    v.i = n;
  } else if (tag == "R4") {
    v.kind = Literal::Kind::Single;
    if (!ParseFloat(body, v.f)) throw BadCase{"bad Single: " + std::string(body)};
  } else if (tag == "R8") {
    v.kind = Literal::Kind::Double;
    if (!ParseFloat(body, v.d)) throw BadCase{"bad Double: " + std::string(body)};
  } else if (tag == "D") {
    v.kind = Literal::Kind::Date;
    if (!ParseFloat(body, v.d) && !ParseCalendarDate(body, v.d))
      throw BadCase{"bad Date: " + std::string(body)};
  } else {
    throw BadCase{"unknown type tag: " + std::string(tag)};
  }
  return v;
}

std::string FormatLiteral(const Literal& v) {
  switch (v.kind) {
    case Literal::Kind::Empty: return "E";
    case Literal::Kind::Null: return "N";
    case Literal::Kind::Boolean: return v.i ? "B:-1" : "B:0";
    case Literal::Kind::Integer: return "I2:" + std::to_string(v.i);
    case Literal::Kind::Long: return "I4:" + std::to_string(v.i);
    case Literal::Kind::Single: return "R4:" + FormatSingle(v.f);
    case Literal::Kind::Double: return "R8:" + FormatDouble(v.d);
    case Literal::Kind::Date: return "D:" + FormatDouble(v.d);
    case Literal::Kind::String: return "S:" + EscapeText(v.s);
  }
  return "?";
}

void ExpectArgs(const Case& c, std::size_t min, std::size_t max) {
  if (c.args.size() < min || c.args.size() > max)
    throw BadCase{"wrong number of arguments for " + c.op};
}

int ParsePlainInt(std::string_view field) {
  int n;
  if (!ParseInt(field, n)) throw BadCase{"not an integer: " + std::string(field)};
  return n;
}

int RunOracle(int argc, char** argv, const Answerer& answer) {
#ifdef _WIN32
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  InstallCrashHandler();
  bool numbered = false;
  long skip = 0;
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "-n") == 0) {
      numbered = true;
    } else if (std::strcmp(argv[i], "-s") == 0 && i + 1 < argc) {
      skip = std::strtol(argv[++i], nullptr, 10);
    } else {
      files.emplace_back(argv[i]);
    }
  }
  if (files.empty()) {
    std::fprintf(stderr, "usage: %s [-n] [-s K] FILE... ('-' = standard input)\n", argv[0]);
    return 2;
  }
  long index = 0;
  int rc = 0;
  std::string line, out;
  for (const std::string& path : files) {
    bool is_stdin = path == "-";
    std::FILE* f = is_stdin ? stdin : std::fopen(path.c_str(), "rb");
    if (!f) {
      std::fprintf(stderr, "cannot open %s\n", path.c_str());
      rc = 2;
      continue;
    }
    std::string stem = Stem(path);
    long number = 0;
    while (ReadLine(f, line)) {
      ++number;
      if (line.empty() || line[0] == '#') continue;
      if (line.find_first_not_of(" \t") == std::string::npos) continue;
      if (index++ < skip) continue;
      // The case goes out before it is answered: should the answer kill the process, the
      // unfinished line names the case that did it, and a rerun with -s goes on after it.
      out.clear();
      if (numbered) out += stem + ":" + std::to_string(number) + "\t";
      out += line;
      out += "\t=>\t";
      std::fwrite(out.data(), 1, out.size(), stdout);
      std::fflush(stdout);
      std::vector<std::string> fields = SplitTabs(line);
      Case c{line, fields[0], std::vector<std::string>(fields.begin() + 1, fields.end())};
      std::string result;
      try {
        result = answer(c);
      } catch (const BadCase& b) {
        result = "BADCASE:" + b.what;
      } catch (const std::exception& e) {
        result = std::string("CRASH:") + e.what();
      } catch (...) {
        result = "CRASH:unknown exception";
      }
      result += "\n";
      std::fwrite(result.data(), 1, result.size(), stdout);
      std::fflush(stdout);
    }
    if (!is_stdin) std::fclose(f);
  }
  std::fflush(stdout);
  return rc;
}

}  // namespace qorvintr::oracle
