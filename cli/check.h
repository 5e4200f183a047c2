#pragma once
// The script checker behind `qorvintr check`: it reads a script word by word exactly as the
// interpreter's reader cuts it, follows the statement driver, the built-ins' argument readers and
// the IF statement through the words without running anything, and warns where the script will
// not do what it seems to say. Each warning names the word, its line and column, and, where one
// exists, the script rewritten with that one thing mended.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qorvintr::cli {

// The kinds of warning, as `check` prints them and `--json` names them.
inline constexpr const char* kCheckKinds[] = {
    "function-paren",   // Format(A, ...): the "(" glued to a function name
    "glued-paren",      // (A + B): a ")" glued to the word before it
    "literal-comma",    // Replace A, ".", "-": a literal (or a name) directly followed by ","
    "right-grouping",   // A * 2 + 1: operators group from the right, without precedence
    "boolean-word",     // True / true as a value: there is no such word in a script
    "unknown-word",     // a name that is no field, no function, no keyword
    "if-block",         // IF without THEN or END IF, a stray ELSE, END if, a nested IF ...
    "branch-joined",    // an IF branch whose words, joined without blanks, read otherwise
    "format-picture",   // Format A, Currency: a bare picture is looked up as a field first
    "flag",             // FormatHL7DateTime's flags must be True or False as written
    "arguments",        // DateCat A, B / Replace (A, ...: an argument the reader cannot take
    "syntax",           // two operands in a row, a dangling operator, an unclosed "(" ...
};

struct CheckWarning {
  std::string kind;             // one of kCheckKinds
  std::size_t offset = 0;       // where the word starts, from 0, in the script
  int line = 1;                 // 1-based, lines ended by CR, LF or CR LF
  int column = 1;               // 1-based, in UTF-16 code units
  std::u16string word;          // the word as written
  std::string message;          // what happens, in one sentence (UTF-8)
  std::optional<std::u16string> rewrite;  // the whole script with this one thing mended
};

// The host's field names when they are known (then a name that is none of them is unknown);
// when they are not, every name is taken for a field.
struct CheckFields {
  bool known = false;
  std::vector<std::u16string> names;
};

// The warnings of one script, in the order of the text.
std::vector<CheckWarning> CheckScript(std::u16string_view script, const CheckFields& fields);

}  // namespace qorvintr::cli
