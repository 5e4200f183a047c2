#pragma once
// The oracle's case and answer format, shared by the Windows program (which asks the platform's
// own runtime) and the Linux program (which asks our automation layer). Both sides read the same
// case files and must print the same bytes for the same behaviour.
//
// A case is one line: OP<TAB>ARG1<TAB>ARG2...   Blank lines and lines starting with '#' are
// skipped (but still counted, so an answer can name its line).
//
// Typed literals (arguments and answers):
//   E              Empty
//   N              Null
//   B:-1  B:0      Boolean
//   I2:n  I4:n     Integer, Long
//   R4:x  R8:x     Single, Double (x as written by C++ from_chars: 1.5, -2e-300, inf, nan)
//   D:serial       Date as its serial (days since 1899-12-30; fraction = time of day)
//   D:yyyy-mm-dd[Thh:mm:ss]   Date written as a calendar date (arguments only; the time counts
//                  forward from the day even before 1899-12-30, as the platform keeps it)
//   S:text         String; escapes \t \n \r \\ \uXXXX (any UTF-16 unit, lone surrogates too);
//                  other bytes are UTF-8
// Answers additionally:
//   ERR:n          the run-time error number the language runtime would raise
//   ERR:0xXXXXXXXX an HRESULT with no run-time number of its own
//   LT EQ GT NULL  result of cmp
//   VT<n>:text     a result kind the format has no tag for (Windows only; should never appear)
//   BADCASE:why    the case line itself is malformed (always a failure of the harness)
//   CRASH:what     an exception that is not a platform error escaped (Linux side)
//
// Numbers print as the shortest text that reads back to the same value (std::to_chars), so R8
// and R4 answers compare exactly.
//
// Ops (see oracle_win.cpp for the platform function behind each):
//   num S            text to Double              date S        text to Date
//   datetext D|R8    Date to text                r8text R8     Double to text
//   r4text R4        Single to text
//   change VTNAME v  change kind (VTNAME: Empty Null Integer Long Single Double Date String
//                    Boolean)
//   cdate v          the language's CDate (a numeric text is taken as a serial)
//   format v S:picture [firstday] [firstweek]     (plain integers; default 1 and 1)
//   add sub mul div idiv cat a b                   operators
//   cmp a b          LT / EQ / GT / NULL (texts compared by code unit)
//   cmptext a b      the same, texts compared without regard to case (Windows only)
//   round R8         round to a whole number
//   fix v  int v     (Windows only)
//
// Program arguments: [-n] [-s K] FILE...   ('-' reads standard input).
//   Each answer line is  <case line><TAB>=><TAB><answer>
//   With -n it is prefixed by  <file stem>:<line number><TAB>  (the stem of '-' is "stdin").
//   -s K skips the first K cases (counted over all files), to go on after a case that killed
//   the process: the case is printed before it is answered, so a dead process leaves an
//   unfinished last line naming it.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qorvintr::oracle {

struct Literal {
  enum class Kind { Empty, Null, Boolean, Integer, Long, Single, Double, Date, String };
  Kind kind = Kind::Empty;
  std::int32_t i = 0;   // Boolean (-1/0), Integer, Long
  float f = 0;          // Single
  double d = 0;         // Double, Date
  std::u16string s;     // String
};

// Thrown by the parsers for a malformed case; the driver prints BADCASE:<what>.
struct BadCase {
  std::string what;
};

Literal ParseLiteral(std::string_view field);
std::string FormatLiteral(const Literal& v);

// Answer pieces.
std::string FormatDouble(double d);
std::string FormatSingle(float f);
std::string EscapeText(std::u16string_view s);
std::u16string UnescapeText(std::string_view s);   // throws BadCase on a bad escape

// Whole-day serial of a calendar date (proleptic Gregorian).
double CivilToSerial(int year, int month, int day);

struct Case {
  std::string line;                 // the case line as written (no line end)
  std::string op;
  std::vector<std::string> args;    // fields after the op
};

// The answer for one case; may throw BadCase.
using Answerer = std::function<std::string(const Case&)>;

// Reads the arguments (see above), answers every case, prints the answer lines. Returns the
// process exit code: 0, or 2 on a usage error or an unreadable file.
int RunOracle(int argc, char** argv, const Answerer& answer);

// Argument helpers for the answerers.
void ExpectArgs(const Case& c, std::size_t min, std::size_t max);
int ParsePlainInt(std::string_view field);

}  // namespace qorvintr::oracle
