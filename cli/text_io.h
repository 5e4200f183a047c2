#pragma once
// The command's edges: escapes that keep one script or one value on one line, reading text files
// as UTF-8, writing UTF-8, and the text a value is shown as.

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qorvintr/value.h"

namespace qorvintr::cli {

// Reads \r, \n, \t and \\ as carriage return, line feed, tab and backslash. Any other backslash
// stands for itself, so the integer-division operator "\" can be written as it is (unless a
// letter r, n or t or a second backslash follows it).
std::u16string Unescape(std::u16string_view text);

// Writes backslash, tab, carriage return and line feed as \\, \t, \r and \n, so that a value
// always prints on one line and reads back with Unescape.
std::u16string EscapeLine(std::u16string_view text);

// The text without the blanks and tabs around it.
std::u16string_view TrimBlanksAndTabs(std::u16string_view text) noexcept;
// A line that fields and scripts files skip: nothing but blanks and tabs, or "#" first after them.
bool IsBlankOrComment(std::u16string_view line) noexcept;

// Reads a text one line at a time, as it arrives (UTF-8, an optional byte order mark, LF or
// CR LF line ends): a line is answered as soon as its line end has been read, so that a pipe
// that stays open is read line by line. A final line without a line end counts; an empty text
// has no lines. What it holds is one line.
class LineReader {
 public:
  // Standard input.
  LineReader() noexcept;
  // A file; `what` names it in messages. Throws UsageError when it is a folder or cannot be
  // opened.
  LineReader(const std::string& path, std::string_view what);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // The next line, or false at the end of the text. Throws UsageError when a read fails.
  bool Next(std::u16string& line);

 private:
  bool NextBytes(std::string_view& bytes);

  std::FILE* in_;
  bool owned_ = false;
  bool at_start_ = true;
  std::string read_error_;
  char* buffer_ = nullptr;  // the line being read
  std::size_t capacity_ = 0;
};

// The lines of a text file, read as LineReader reads them. Throws UsageError when the file
// cannot be read.
std::vector<std::u16string> ReadLines(const std::string& path, std::string_view what);

// True when the stream goes to a pipe, a socket or a terminal: someone may be waiting for each
// line, so the command flushes after every one.
bool IsPipeOrTerminal(std::FILE* stream) noexcept;

// A value as the command shows it: the platform's text (CStr); an object through its default
// member; Empty as the empty text; Null as the word Null; an object reference that is not set as
// the word Nothing. A value that has no text (a failing default member) shows the error.
std::u16string ValueText(const automation::Value& value);

// A scripts file's line, FIELD<TAB>SCRIPT: the field trimmed, the script as written and with
// its escapes read.
struct ScriptLine {
  std::u16string field;
  std::u16string written;
  std::u16string script;
};

// The line cut at its first tab; nothing when it has no tab. The field may come out empty.
std::optional<ScriptLine> CutScriptLine(std::u16string_view line);

// The scripts of a scripts file, blank lines and comments skipped. Throws UsageError for a line
// without a tab or without a field name before it (with the file's name and line number).
std::vector<ScriptLine> ReadScriptsFile(const std::string& path);

// UTF-8 writers (standard output and error), no conversion of line ends.
void WriteOut(std::u16string_view text);
void WriteOut(std::string_view utf8);
void WriteErr(std::u16string_view text);
void WriteErr(std::string_view utf8);

// The error of the command line: the message is printed on standard error and the command exits
// with status 2.
class UsageError {
 public:
  explicit UsageError(std::string message) : message_(std::move(message)) {}
  const std::string& message() const noexcept { return message_; }

 private:
  std::string message_;
};

}  // namespace qorvintr::cli
