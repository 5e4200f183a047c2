#include "cli/text_io.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>

#include <sys/stat.h>
#include <sys/types.h>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

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

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// A line whose buffer grew past this is given back after use: one long line must not stay in
// memory for the rest of a long run.
constexpr std::size_t kKeptBuffer = std::size_t{1} << 20;

std::FILE* OpenForReading(const std::filesystem::path& file) {
#ifdef _WIN32
  return ::_wfopen(file.c_str(), L"rb");
#else
  return std::fopen(file.c_str(), "rb");
#endif
}

}  // namespace

LineReader::LineReader() noexcept : in_(stdin), read_error_("cannot read standard input") {}

LineReader::LineReader(const std::string& path, std::string_view what)
    : in_(nullptr), read_error_("cannot read " + std::string(what) + " '" + path + "'") {
  std::error_code ec;
  const std::filesystem::path file = PathFromUtf8(path);
  if (std::filesystem::is_directory(file, ec)) {
    throw UsageError(std::string(what) + " '" + path + "' is a folder, not a file");
  }
  in_ = OpenForReading(file);
  if (in_ == nullptr) throw UsageError(read_error_);
  owned_ = true;
}

LineReader::~LineReader() {
  if (owned_) std::fclose(in_);
  std::free(buffer_);
}

// The bytes of the next line with its line end, or false at the end of the text.
bool LineReader::NextBytes(std::string_view& bytes) {
  if (capacity_ > kKeptBuffer) {
    std::free(buffer_);
    buffer_ = nullptr;
    capacity_ = 0;
  }
#ifdef _WIN32
  // No getline here: the bytes one at a time, into a buffer grown as needed.
  std::size_t n = 0;
  for (int c; (c = std::getc(in_)) != EOF;) {
    if (n == capacity_) {
      const std::size_t grown = capacity_ == 0 ? 256 : capacity_ * 2;
      char* more = static_cast<char*>(std::realloc(buffer_, grown));
      if (more == nullptr) throw std::bad_alloc();
      buffer_ = more;
      capacity_ = grown;
    }
    buffer_[n++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (n == 0) {
    if (std::ferror(in_)) throw UsageError(read_error_);
    return false;
  }
  bytes = std::string_view(buffer_, n);
#else
  errno = 0;
  const ssize_t n = ::getline(&buffer_, &capacity_, in_);
  if (n < 0) {
    if (errno == ENOMEM) throw std::bad_alloc();
    if (std::ferror(in_)) throw UsageError(read_error_);
    return false;
  }
  bytes = std::string_view(buffer_, static_cast<std::size_t>(n));
#endif
  return true;
}

bool LineReader::Next(std::u16string& line) {
  std::string_view bytes;
  if (!NextBytes(bytes)) return false;
  if (at_start_) {
    at_start_ = false;
    if (bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
      bytes.remove_prefix(kByteOrderMark.size());
      // A text of nothing but the mark has no lines.
      if (bytes.empty()) return false;
    }
  }
  if (!bytes.empty() && bytes.back() == '\n') bytes.remove_suffix(1);
  if (!bytes.empty() && bytes.back() == '\r') bytes.remove_suffix(1);
  line = automation::FromUtf8(bytes);
  return true;
}

std::vector<std::u16string> ReadLines(const std::string& path, std::string_view what) {
  LineReader reader(path, what);
  std::vector<std::u16string> lines;
  for (std::u16string line; reader.Next(line);) lines.push_back(std::move(line));
  return lines;
}

std::optional<ScriptLine> CutScriptLine(std::u16string_view line) {
  const std::size_t tab = line.find(u'\t');
  if (tab == std::u16string_view::npos) return std::nullopt;
  ScriptLine s;
  s.field = automation::Trim(line.substr(0, tab));
  s.written = std::u16string(line.substr(tab + 1));
  s.script = Unescape(s.written);
  return s;
}

std::vector<ScriptLine> ReadScriptsFile(const std::string& path) {
  std::vector<ScriptLine> scripts;
  const std::vector<std::u16string> lines = ReadLines(path, "scripts file");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (IsBlankOrComment(lines[i])) continue;
    std::optional<ScriptLine> s = CutScriptLine(lines[i]);
    if (!s) {
      throw UsageError(path + ":" + std::to_string(i + 1) +
                       ": expected FIELD<TAB>SCRIPT, found no tab");
    }
    if (s->field.empty()) {
      throw UsageError(path + ":" + std::to_string(i + 1) + ": no field name before the tab");
    }
    scripts.push_back(std::move(*s));
  }
  return scripts;
}

bool IsPipeOrTerminal(std::FILE* stream) noexcept {
#ifdef _WIN32
  const int fd = _fileno(stream);
  struct _stat64 status;
  if (fd < 0 || _fstat64(fd, &status) != 0) return false;
  return (status.st_mode & _S_IFMT) == _S_IFIFO || _isatty(fd) != 0;
#else
  const int fd = fileno(stream);
  struct stat status;
  if (fd < 0 || fstat(fd, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || isatty(fd) == 1;
#endif
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

void WriteOut(std::u16string_view text) { WriteOut(automation::ToUtf8(text)); }

void WriteOut(std::string_view utf8) { std::fwrite(utf8.data(), 1, utf8.size(), stdout); }

void WriteErr(std::u16string_view text) { WriteErr(automation::ToUtf8(text)); }

void WriteErr(std::string_view utf8) {
  // Standard output may hold a result line written before this message; keep them in order
  // when both go to one place.
  std::fflush(stdout);
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
  std::fflush(stderr);
}

}  // namespace qorvintr::cli
