#include "cli/text_io.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "qorvintr/convert.h"
#include "qorvintr/error.h"
#include "automation/text.h"
#include "cli/paths.h"

namespace qorvintr::cli {

using automation::Value;
using automation::VarType;

std::u16string Unescape(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t c = text[i];
    if (c == u'\\' && i + 1 < text.size()) {
      switch (text[i + 1]) {
        case u'r': out += u'\r'; ++i; continue;
        case u'n': out += u'\n'; ++i; continue;
        case u't': out += u'\t'; ++i; continue;
        case u'\\': out += u'\\'; ++i; continue;
        default: break;
      }
    }
    out += c;
  }
  return out;
}

std::u16string EscapeLine(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (char16_t c : text) {
    switch (c) {
      case u'\\': out += u"\\\\"; break;
      case u'\t': out += u"\\t"; break;
      case u'\r': out += u"\\r"; break;
      case u'\n': out += u"\\n"; break;
      default: out += c; break;
    }
  }
  return out;
}

std::u16string_view TrimBlanksAndTabs(std::u16string_view text) noexcept {
  while (!text.empty() && (text.front() == u' ' || text.front() == u'\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == u' ' || text.back() == u'\t')) text.remove_suffix(1);
  return text;
}

bool IsBlankOrComment(std::u16string_view line) noexcept {
  const std::u16string_view content = TrimBlanksAndTabs(line);
  return content.empty() || content.front() == u'#';
}

namespace {

std::vector<std::u16string> SplitLines(const std::string& bytes) {
  std::string_view rest(bytes);
  if (rest.substr(0, 3) == "\xEF\xBB\xBF") rest.remove_prefix(3);
  std::vector<std::u16string> lines;
  while (!rest.empty()) {
    std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(automation::FromUtf8(line));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return lines;
}

}  // namespace

std::vector<std::u16string> ReadLines(const std::string& path, std::string_view what) {
  std::error_code ec;
  const std::filesystem::path file = PathFromUtf8(path);
  if (std::filesystem::is_directory(file, ec)) {
    throw UsageError(std::string(what) + " '" + path + "' is a folder, not a file");
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) throw UsageError("cannot read " + std::string(what) + " '" + path + "'");
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw UsageError("cannot read " + std::string(what) + " '" + path + "'");
  return SplitLines(bytes);
}

std::vector<std::u16string> ReadStandardInputLines() {
  std::string bytes;
  char buffer[65536];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, stdin)) > 0) bytes.append(buffer, n);
  return SplitLines(bytes);
}

std::u16string ValueText(const Value& value) {
  try {
    Value v = value;
    if (v.IsObject()) {
      if (!v.GetObject()) return u"Nothing";
      v = automation::Dereference(v);
    }
    switch (v.Type()) {
      case VarType::Empty: return u"";
      case VarType::Null: return u"Null";
      case VarType::Object: return v.GetObject() ? automation::TypeName(v) : u"Nothing";
      default: return automation::CStr(v);
    }
  } catch (const automation::AutomationError& e) {
    std::u16string text = u"<error ";
    std::string number = std::to_string(e.Number());
    text.append(number.begin(), number.end());
    text += u": ";
    text += e.Description();
    text += u">";
    return text;
  }
}

void WriteOut(std::u16string_view text) {
  const std::string bytes = automation::ToUtf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

void WriteErr(std::u16string_view text) { WriteErr(automation::ToUtf8(text)); }

void WriteErr(std::string_view utf8) {
  // Standard output may hold a result line written before this message; keep them in order
  // when both go to one place.
  std::fflush(stdout);
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
  std::fflush(stderr);
}

}  // namespace qorvintr::cli
