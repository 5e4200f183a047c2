// qorvintr: runs field scripts over a set of data fields from the shell.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "automation/text.h"
#include "cli/commands.h"
#include "cli/text_io.h"
#include "interpreter/interpreter.h"
#include "qorvintr/version.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#include <shellapi.h>
#endif

namespace {

using qorvintr::cli::UsageError;

const char kUsage[] =
    "Usage:\n"
    "  qorvintr eval  [OPTIONS] SCRIPT        run one script, print its result line\n"
    "  qorvintr batch [OPTIONS] [FILE | -]    run the scripts of FILE (or standard input),\n"
    "                                         one per line, print one result line for each\n"
    "  qorvintr run   [--fields FILE] [--scripts FILE] [OPTIONS]\n"
    "                                         evaluate the scripts of an HL7 message's fields\n"
    "                                         over a document's data fields, as a table; the\n"
    "                                         bundled example (examples/) stands in for a\n"
    "                                         file not given\n"
    "  qorvintr explain [OPTIONS] SCRIPT      run one script as eval does and print, before\n"
    "                                         its result line, how the interpreter took it:\n"
    "                                         each word, push, reduction (operands, operator,\n"
    "                                         unification rule, result, generated name),\n"
    "                                         built-in call, IF branch, report and removal\n"
    "  qorvintr check [OPTIONS] SCRIPT|FILE|- ...\n"
    "                                         read scripts without running them and warn\n"
    "                                         about the language's traps, each with its line\n"
    "                                         and column and a rewrite (exit status 1 when\n"
    "                                         there is a warning)\n"
    "  qorvintr --help | -h | help            this text\n"
    "  qorvintr --version                     the version\n"
    "\n"
    "QorvIntr runs short field scripts (operators, If, Format, FormatHL7DateTime, Replace,\n"
    "DateCat, DateCompare, IF ... THEN ... ELSEIF ... ELSE ... END IF) over named, typed data\n"
    "fields, as a document system does for the fields of its outgoing HL7 messages.\n"
    "\n"
    "Options (eval, explain, batch, run; check takes --field and --fields), applied from left\n"
    "to right:\n"
    "  --field NAME=VALUE       a host data field, DataType String\n"
    "  --field NAME:TYPE=VALUE  a host data field of DataType TYPE: String, Long, Integer,\n"
    "                           Boolean, Single, Double, Date or Variant (any case); the value\n"
    "                           is converted as the platform converts text (Date: CDate;\n"
    "                           String and Variant keep the text); a NAME that holds \":\"\n"
    "                           needs a TYPE\n"
    "  --fields FILE            host data fields from FILE (format below)\n"
    "  --ini FILE               the host's INI file (OrlinaIniFilename, set before Init): in\n"
    "                           section [Upload], WriteDebugLog=True switches the debug log on,\n"
    "                           written to files by the stock log writer (DebugLogPath, LogSize,\n"
    "                           NumLogs, Separator)\n"
    "  --log-stderr             the debug log's entries go to standard error instead of files,\n"
    "                           each as the log builds it (CR LF, time stamp, CR LF, message)\n"
    "                           and a line feed; with --ini the INI still decides whether there\n"
    "                           is a log, without --ini a temporary INI with WriteDebugLog=True\n"
    "                           switches it on\n"
    "  --errors                 print each ReportError call on standard error as one line:\n"
    "                           ReportError: CODE | TEXT | DATE | 4 | 15 |  | SYSTEM |\n"
    "                           APPLICATION | RELEASE | MODULE | PROCEDURE\n"
    "  --system NAME            the system name given to Init (default: Upload)\n"
    "  --application NAME       the application name given to Init (default: qorvintr)\n"
    "  --now DATETIME           fix the clock, e.g. \"3/14/2002 9:30:00 AM\" (the log's time\n"
    "                           stamps, ReportError's date)\n"
    "  --scripts FILE           (run) the scripts file (format below)\n"
    "  --hl7                    (run) print the HL7 v2 message instead of the table: FIELD is\n"
    "                           SEG-N (PID-5: the fifth field of PID); MSH first, MSH-1 being\n"
    "                           \"|\" and MSH-2 \"^~\\&\", then the segments in the order they\n"
    "                           first appear; each segment ends with CR; trailing empty fields\n"
    "                           are left out; Error and Nothing give an empty field (the count\n"
    "                           of Error answers goes to standard error); in a value \\ | CR LF\n"
    "                           become \\E\\ \\F\\ \\X0D\\ \\X0A\\, and ^ ~ & stay as written\n"
    "  --jobs N                 (batch) answer with N interpreters at once, one thread each\n"
    "                           (default: one per core; 1 with --ini or --log-stderr, whose\n"
    "                           debug log belongs to one interpreter); the answers keep the\n"
    "                           order of the lines and are the same as with --jobs 1\n"
    "  --stats                  (batch) print on standard error how many scripts were run and\n"
    "                           how many per second\n"
    "  --json                   (check) the warnings as a JSON array: source, file_line,\n"
    "                           field, line, column, kind, word, message, rewrite, script\n"
    "  --                       the words after it are operands, even if they start with -\n"
    "Host data fields have DataClass \"Host\". A field given again (its name in any case)\n"
    "replaces the earlier one.\n"
    "\n"
    "Result line (eval, batch): NAME<TAB>DATATYPE<TAB>DATA, DATA being the platform's text of\n"
    "the value (CStr; an object: its default member; Empty: empty; Null: the word Null), or\n"
    "the word Nothing when no data field came back (an empty script). Backslash, tab, CR and\n"
    "LF are written \\\\, \\t, \\r and \\n, so that a result is one line.\n"
    "\n"
    "Exit status: eval: 0 a value, 1 the result is the field named \"Error\" (the script\n"
    "failed), 3 Nothing; batch: 0; run: 0, or 1 when a script answered \"Error\";\n"
    "explain: as eval; check: 0 no warning, 1 warnings;\n"
    "2: a usage error (bad option, malformed field, unreadable file), with a message;\n"
    "4: the command itself failed (for instance out of memory).\n"
    "\n"
    "Files (UTF-8; LF or CR LF line ends). Escapes \\t \\r \\n \\\\ stand for tab, CR, LF and\n"
    "backslash; any other backslash stands for itself.\n"
    "  fields file   one field per line: NAME=VALUE or NAME:TYPE=VALUE; blank lines and lines\n"
    "                starting with # are skipped; blanks around NAME and TYPE are dropped; the\n"
    "                VALUE is everything after the first \"=\", with escapes\n"
    "  batch file    one script per line, with escapes (an IF block over several lines fits\n"
    "                on one: IF A = 1 THEN\\r\\n\"one\"\\r\\nELSE\\r\\n\"other\"\\r\\nEND IF); every\n"
    "                line, an empty one too, gives one result line; each line is answered\n"
    "                as soon as it is read (flushed at once when the output is a pipe or a\n"
    "                terminal), and as by a fresh interpreter, whatever came before it\n"
    "  scripts file  one HL7 field per line: FIELD<TAB>SCRIPT, the script with escapes;\n"
    "                blank lines and lines starting with # are skipped\n"
    "check reads an operand that names a file as a scripts file (a line without a tab is a\n"
    "script of its own, as in a batch file), - as standard input, and any other operand as\n"
    "a script. With --field or --fields a name that is no field is a warning; without\n"
    "them every name is taken for a field. Kinds of warning: function-paren, glued-paren,\n"
    "literal-comma, right-grouping, boolean-word, unknown-word, if-block, branch-joined,\n"
    "format-picture, flag, arguments, syntax.\n"
    "\n"
    "Writing scripts: words are separated by blanks, and a word keeps a \"(\", \",\" or \")\"\n"
    "that ends it (a text literal too: write \"x\" , not \"x\",), so a function name is\n"
    "followed by a blank and its arguments are written without parentheses:\n"
    "  FormatHL7DateTime BirthDate, 0, /, True, True, -0500    Format Amount, \"#,##0.00\"\n"
    "  Replace Name, \", \" , \"^\"    DateCat AdmitDate AdmitTime    DateCompare A, B\n"
    "Operators have no precedence and group from the right (2 * 3 + 1 is 8); group with\n"
    "( ... ), with a blank before \")\". The words of an IF branch are joined without blanks,\n"
    "so a branch is a literal, a field or an operator expression, not a function call.\n"
    "\n"
    "Examples:\n"
    "  qorvintr eval --field Amount:Double=1250.5 'Format Amount, \"#,##0.00\"'\n"
    "  qorvintr eval --field Sex=F \\\n"
    "    'IF Sex = \"M\" THEN \"M\" ELSEIF Sex = \"F\" THEN \"F\" ELSE \"U\" END IF'\n"
    "  printf '%s\\n' 'A + 1' '\"a\" & \"b\"' | qorvintr batch --field A:Long=41\n"
    "  qorvintr run --errors\n"
    "  qorvintr check --fields examples/document-fields.txt examples/hl7-scripts.txt\n"
    "  qorvintr explain --field Pages:Long=3 'Pages * 2 + 1'\n";

int Usage(const std::string& message) {
  qorvintr::cli::WriteErr("qorvintr: " + message + "\n");
  qorvintr::cli::WriteErr(std::string_view("Try 'qorvintr --help'.\n"));
  return 2;
}

std::vector<std::string> Arguments(int argc, char** argv) {
  std::vector<std::string> args;
#ifdef _WIN32
  // The command line as the system keeps it (UTF-16), so that any text reaches the scripts.
  int count = 0;
  LPWSTR* wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide != nullptr) {
    for (int i = 0; i < count; ++i) {
      std::u16string text;
      for (const wchar_t* p = wide[i]; *p != 0; ++p) text += static_cast<char16_t>(*p);
      args.push_back(qorvintr::automation::ToUtf8(text));
    }
    LocalFree(wide);
    return args;
  }
#endif
  for (int i = 0; i < argc; ++i) args.emplace_back(argv[i] != nullptr ? argv[i] : "");
  return args;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
  // UTF-8 bytes and line ends pass as they are.
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
#endif
  try {
    std::vector<std::string> args = Arguments(argc, argv);
    if (args.size() < 2) return Usage("a command is needed: eval, explain, batch, run or check");
    const std::string command = args[1];
    std::vector<std::string> rest(args.begin() + 2, args.end());
    if (command == "--help" || command == "-h" || command == "help") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (command == "--version") {
      qorvintr::engine::Interpreter interpreter;
      qorvintr::cli::WriteOut(u"qorvintr " +
                              qorvintr::automation::FromUtf8(QORVINTR_VERSION_TEXT) +
                              u" (interpreter release " + interpreter.Release() + u")\n");
      return 0;
    }
    // Help asked for after a command's name.
    for (const std::string& word : rest) {
      if (word == "--") break;
      if (word == "--help" || word == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
      }
    }
    if (command == "eval") return qorvintr::cli::EvalCommand(rest);
    if (command == "batch") return qorvintr::cli::BatchCommand(rest);
    if (command == "check") return qorvintr::cli::CheckCommand(rest);
    if (command == "explain") return qorvintr::cli::ExplainCommand(rest);
    if (command == "run") {
      return qorvintr::cli::RunCommand(rest, args.empty() ? nullptr : argv[0]);
    }
    if (!command.empty() && command[0] == '-') return Usage("unknown option '" + command + "'");
    return Usage("unknown command '" + command + "' (eval, explain, batch, run, check, help)");
  } catch (const UsageError& e) {
    return Usage(e.message());
  } catch (const std::exception& e) {
    qorvintr::cli::WriteErr(std::string("qorvintr: ") + e.what() + "\n");
    return 4;
  }
}
