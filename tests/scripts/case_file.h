#pragma once
// Reading the whole-script corpus (*.cases in this folder). Shared by the library runner
// (tests/scripts_corpus_test.cpp) and the command runner (command_runner.cpp); the format is
// described in README.md. Standard library only, UTF-8 throughout.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qorvintr::scripts {

// What the host's clock, names and version say in every case.
inline constexpr const char* kNowText = "3/14/2002 9:30:00 AM";
inline constexpr double kNowSerial = 37329.395833333336;  // the same moment as a date serial
inline constexpr const char* kSystem = "QorvSys";
inline constexpr const char* kApplication = "QorvApp";

// The entry Init writes when it opens the debug log; every case with logging on expects it
// first, before the entries its file lists.
inline std::string BannerEntry(const std::string& release) {
  return std::string("\r\n") + kNowText +
         "\r\n------------------------------\r\n-     Interpreter - Init     -\r\n"
         "------------------------------\r\nInterpreter Version: " +
         release;
}

struct Event {
  enum Kind { kError, kLog } kind;
  std::string text;  // error: the eleven arguments joined by " | "; log: the whole entry
};

struct Case {
  std::string family;  // the file's stem
  std::string name;
  std::string file;
  int line = 0;              // where "case:" stands
  std::vector<std::string> field_lines;  // NAME[:TYPE]=VALUE, as the command's fields file has them
  std::string script;        // unescaped
  bool has_script = false;
  std::string result;        // unescaped: "Name\tType\tData" or "Nothing"
  bool has_result = false;
  std::vector<Event> events;  // in the order they happen
  bool logging = true;
  std::vector<std::string> ini_lines;  // the [Upload] section, when the case gives its own
  std::string parse_error;   // non-empty: the block is malformed
};

// The escapes of the corpus: \t \r \n \\ and \uXXXX (written out as UTF-8).
inline bool Unescape(const std::string& in, std::string& out, std::string& why) {
  out.clear();
  for (std::size_t i = 0; i < in.size(); ++i) {
    char c = in[i];
    if (c != '\\') {
      out += c;
      continue;
    }
    if (++i >= in.size()) {
      why = "a backslash ends the line";
      return false;
    }
    switch (in[i]) {
      case 't': out += '\t'; break;
      case 'r': out += '\r'; break;
      case 'n': out += '\n'; break;
      case '\\': out += '\\'; break;
      case 'u': {
        if (i + 4 >= in.size()) {
          why = "\\u needs four hex digits";
          return false;
        }
        unsigned code = 0;
        for (int k = 1; k <= 4; ++k) {
          char h = in[i + k];
          code <<= 4;
          if (h >= '0' && h <= '9') code |= static_cast<unsigned>(h - '0');
          else if (h >= 'a' && h <= 'f') code |= static_cast<unsigned>(h - 'a' + 10);
          else if (h >= 'A' && h <= 'F') code |= static_cast<unsigned>(h - 'A' + 10);
          else {
            why = "\\u needs four hex digits";
            return false;
          }
        }
        if (code >= 0xD800 && code <= 0xDFFF) {
          why = "\\u of a surrogate cannot be written as UTF-8";
          return false;
        }
        i += 4;
        if (code < 0x80) {
          out += static_cast<char>(code);
        } else if (code < 0x800) {
          out += static_cast<char>(0xC0 | (code >> 6));
          out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
          out += static_cast<char>(0xE0 | (code >> 12));
          out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
          out += static_cast<char>(0x80 | (code & 0x3F));
        }
        break;
      }
      default:
        why = std::string("unknown escape \\") + in[i];
        return false;
    }
  }
  return true;
}

// Shows a text with the corpus's escapes, for failure messages.
inline std::string Escape(const std::string& in) {
  std::string out;
  for (unsigned char c : in) {
    switch (c) {
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      case '\n': out += "\\n"; break;
      case '\\': out += "\\\\"; break;
      default:
        if (c < 0x20 || c == 0x7F) {
          const char* hex = "0123456789ABCDEF";
          out += "\\u00";
          out += hex[c >> 4];
          out += hex[c & 15];
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out;
}

// Reads one .cases file. A malformed block still comes back, with parse_error set, so that the
// runners report it as a failing case instead of dropping it.
inline std::vector<Case> ReadCaseFile(const std::filesystem::path& file) {
  std::vector<Case> cases;
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    Case c;
    c.family = file.stem().string();
    c.name = "unreadable_file";
    c.file = file.string();
    c.parse_error = "cannot read " + file.string();
    cases.push_back(c);
    return cases;
  }
  std::string line;
  int number = 0;
  auto fail = [&](const std::string& why) {
    if (cases.empty()) {
      Case c;
      c.family = file.stem().string();
      c.name = "line_" + std::to_string(number);
      c.file = file.string();
      c.line = number;
      cases.push_back(c);
    }
    if (cases.back().parse_error.empty()) {
      cases.back().parse_error = file.filename().string() + ":" + std::to_string(number) + ": " + why;
    }
  };
  while (std::getline(in, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::size_t colon = line.find(':');
    if (colon == std::string::npos) {
      fail("expected \"key: value\"");
      continue;
    }
    std::string key = line.substr(0, colon);
    std::string value = line.substr(colon + 1);
    if (!value.empty() && value[0] == ' ') value.erase(0, 1);
    if (key == "case") {
      Case c;
      c.family = file.stem().string();
      c.name = value;
      c.file = file.string();
      c.line = number;
      bool ok = !value.empty() && std::all_of(value.begin(), value.end(), [](char ch) {
        return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') ||
               ch == '_';
      });
      for (const Case& other : cases) {
        if (other.name == value) ok = false;
      }
      cases.push_back(c);
      if (!ok) fail("case names are letters, digits and _, unique in the file");
      continue;
    }
    if (cases.empty()) {
      fail("\"" + key + "\" before the first case");
      continue;
    }
    Case& c = cases.back();
    std::string text;
    std::string why;
    if (key == "field") {
      if (value.find('=') == std::string::npos) fail("a field needs NAME[:TYPE]=VALUE");
      c.field_lines.push_back(value);
    } else if (key == "script") {
      if (c.has_script) fail("a second script");
      if (!Unescape(value, c.script, why)) fail(why);
      c.has_script = true;
    } else if (key == "result") {
      if (c.has_result) fail("a second result");
      if (!Unescape(value, c.result, why)) fail(why);
      c.has_result = true;
    } else if (key == "error") {
      if (!Unescape(value, text, why)) fail(why);
      c.events.push_back({Event::kError, text});
    } else if (key == "log") {
      if (!Unescape(value, text, why)) fail(why);
      c.events.push_back({Event::kLog, text});
    } else if (key == "ini") {
      c.ini_lines.push_back(value);
    } else if (key == "logging") {
      if (value == "off") c.logging = false;
      else if (value == "on") c.logging = true;
      else fail("logging is on or off");
    } else {
      fail("unknown key \"" + key + "\"");
    }
  }
  for (Case& c : cases) {
    if (c.parse_error.empty() && (!c.has_script || !c.has_result)) {
      c.parse_error = c.file + ":" + std::to_string(c.line) + ": a case needs a script and a result";
    }
  }
  return cases;
}

// The host's INI file of a case: section [Upload] with WriteDebugLog=True (or False when the case
// has its log off), or exactly the case's own lines.
inline std::string IniText(const Case& c) {
  std::string text = "[Upload]\r\n";
  if (c.ini_lines.empty()) {
    text += std::string("WriteDebugLog=") + (c.logging ? "True" : "False") + "\r\n";
  } else {
    for (const std::string& line : c.ini_lines) text += line + "\r\n";
  }
  return text;
}

// Every case of every .cases file in the folder, files in name order.
inline std::vector<Case> ReadCorpus(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
    if (entry.path().extension() == ".cases") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<Case> all;
  for (const auto& f : files) {
    std::vector<Case> more = ReadCaseFile(f);
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

// One field line of the fields file format: NAME[:TYPE]=VALUE with the escapes \t \r \n \\.
struct FieldLine {
  std::string name;
  std::string type = "String";
  std::string value;
};

inline bool ParseFieldLine(const std::string& line, FieldLine& out, std::string& why) {
  std::size_t eq = line.find('=');
  if (eq == std::string::npos) {
    why = "no '='";
    return false;
  }
  std::string left = line.substr(0, eq);
  std::size_t colon = left.find(':');
  if (colon == std::string::npos) {
    out.name = left;
    out.type = "String";
  } else {
    out.name = left.substr(0, colon);
    out.type = left.substr(colon + 1);
  }
  static const char* kTypes[] = {"String", "Long",  "Integer", "Boolean",
                                 "Single", "Double", "Date",   "Variant"};
  if (std::find_if(std::begin(kTypes), std::end(kTypes),
                   [&](const char* t) { return out.type == t; }) == std::end(kTypes)) {
    why = "unknown type " + out.type;
    return false;
  }
  std::string raw = line.substr(eq + 1);
  // The fields file knows \t \r \n \\ only.
  out.value.clear();
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\\') {
      out.value += raw[i];
      continue;
    }
    if (++i >= raw.size()) {
      why = "a backslash ends the field";
      return false;
    }
    switch (raw[i]) {
      case 't': out.value += '\t'; break;
      case 'r': out.value += '\r'; break;
      case 'n': out.value += '\n'; break;
      case '\\': out.value += '\\'; break;
      default:
        why = std::string("unknown escape \\") + raw[i];
        return false;
    }
  }
  return true;
}

}  // namespace qorvintr::scripts
