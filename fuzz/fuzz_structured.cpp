// libFuzzer target, structure-aware: the input bytes are choices, and a generator builds from
// them a script of the language's own pieces (host fields of every DataType, literals of every
// kind, operators, parentheses, the built-ins If, Format, FormatHL7DateTime, Replace, DateCat and
// DateCompare with right and wrong argument lists, IF / THEN / ELSEIF / ELSE / END IF blocks,
// line breaks), so that libFuzzer's byte mutations become changes of structure and the runs get
// past the lexer into the evaluator and the built-ins. Some choices put a piece slightly wrong
// (a missing comma, a lower-case keyword, an unclosed block) to reach the error paths as well.
//
// Input: the first byte is the run mode (fuzz_host.h; the text is always UTF-8), every further
// byte is one choice; once the bytes run out every choice is 0, which always ends the script.
// The host and the checks after every run are those of fuzz_scripts (fuzz_host.h).
//
//   cmake --preset fuzz-fast && cmake --build --preset fuzz-fast --target fuzz_structured
//   build/fuzz-fast/fuzz/fuzz_structured -timeout=10 corpus-structured
// QORVINTR_FUZZ_PRINT=1 prints each generated script on standard error (to look at a corpus).
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "automation/text.h"
#include "fuzz_host.h"

namespace {

// Deepest nesting of parentheses, calls and IF blocks; longest operator chain per level.
constexpr int kMaxDepth = 5;
constexpr int kMaxTerms = 6;

class Choices {
 public:
  Choices(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  std::uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  // One of n, 0 when the bytes have run out.
  std::size_t Pick(std::size_t n) { return Byte() % n; }
  // True with probability about k/256; never once the bytes have run out.
  bool Chance(unsigned k) { return pos_ < size_ && Byte() < k; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

template <std::size_t N>
std::string_view PickOf(Choices& c, const std::string_view (&list)[N]) {
  return list[c.Pick(N)];
}

const std::string_view kOperators[] = {"+", "-", "*", "/", "\\", "<", ">", "=", "==",
                                       "<=", ">=", "<>", "!=", "&", "*+-", "=<", "--"};
const std::string_view kTexts[] = {
    "\"abc\"", "\"\"", "\"0.00\"", "\"yyyymmdd\"", "\"hh:nn:ss AM/PM\"", "\"#,##0;(#);Z\"",
    "\"3/14/2002\"", "\"March 14, 2002\"", "\"12\"", "\"-0500\"", "\"a,b\"", "\"(x)\"",
    "\"True\"", "\" \"", "\"\"\"\"", "\"^\"", "\"20020314\"", "\"9:30 AM\"", "\"1E5\"",
    "\"dddd, mmmm d\"", "\"@@@\"", "\"x\"\"y\"", "\"A)B\"", "\"&H10\""};
const std::string_view kNumbers[] = {
    "0", "1", "-1", "42", "12.5", "2", "32767", "32768", "-32768", "2147483647", "2147483648",
    "-2147483648", "3000000000", "1E308", "1E309", "1e-5", ".5", "5.", "&HFFFF", "&H7FFFFFFF",
    "1.5E+3", "00", "1,000", "4294967296", "0.1", "9.999999999999999E+307"};
const std::string_view kDates[] = {
    "#3/14/2002#", "#3/14/2002 9:30 AM#", "#12:00 PM#", "#2/29/2000#", "#2/30/2001#",
    "#1/1/100#", "#12/31/9999 11:59:59 PM#", "#bad#", "##", "#3/14/2002", "#0:00#"};
const std::string_view kWords[] = {"True", "False", "true", "Autodf1", "Autodf2", "Missing",
                                   "END", "THEN", "ELSE", "<EOL>", "If", "IF", "x1"};
const std::string_view kBlanks[] = {" ", " ", " ", "", "  ", "\t", "\r\n", "\n", "\r"};
const std::string_view kPictures[] = {
    "\"0.00\"", "\"#,##0.00\"", "\"0.0;(0.0)\"", "\"yyyymmdd\"", "\"mm/dd/yyyy hh:nn\"",
    "\"Percent\"", "\"Currency\"", "\"Long Date\"", "\"@\"", "\"\"", "\"000\"", "\"ddd\"",
    "\"0%\"", "\"Yes/No\"", "\"0.00E+00\"", "\"hh:nn AM/PM\"", "\"#\""};

class Generator {
 public:
  explicit Generator(Choices& c) : c_(c) {
    fields_ = qorvintr::fuzzing::HostFieldNames(field_count_);
  }

  std::string Script() {
    Statement(0);
    // Further lines or statements, joined as a host might paste them.
    while (c_.Chance(24)) {
      out_ += c_.Chance(128) ? "\r\n" : " ";
      Statement(0);
    }
    return std::move(out_);
  }

 private:
  void Blank() { out_ += c_.Chance(40) ? PickOf(c_, kBlanks) : std::string_view(" "); }

  void Keyword(std::string_view word) {
    // Keywords in other cases: some are accepted, some not (END if).
    if (c_.Chance(20)) {
      for (char ch : word) {
        out_ += static_cast<char>(c_.Chance(128) ? std::tolower(static_cast<unsigned char>(ch)) : ch);
      }
    } else {
      out_ += word;
    }
  }

  void Field() {
    std::size_t i = c_.Pick(field_count_ + 2);
    if (i < field_count_) {
      out_ += qorvintr::automation::ToUtf8(fields_[i]);
    } else {
      out_ += PickOf(c_, kWords);
    }
  }

  // A text literal of a few characters chosen from an alphabet full of the lexer's signs.
  void RandomText() {
    static constexpr std::string_view kAlphabet = "aZ09 ,()#\"&+-/.:;\\\t^%E";
    out_ += '"';
    std::size_t n = c_.Pick(8);
    for (std::size_t i = 0; i < n; ++i) out_ += kAlphabet[c_.Pick(kAlphabet.size())];
    if (!c_.Chance(16)) out_ += '"';  // sometimes left open
  }

  void Literal() {
    switch (c_.Pick(6)) {
      case 0: out_ += PickOf(c_, kNumbers); break;
      case 1: out_ += PickOf(c_, kTexts); break;
      case 2: out_ += PickOf(c_, kDates); break;
      case 3: RandomText(); break;
      case 4: out_ += std::to_string(static_cast<int>(c_.Byte()) - 128); break;
      default: out_ += PickOf(c_, kWords); break;
    }
  }

  // A function argument: mostly a field or a literal, sometimes a whole expression.
  void Argument(int depth) {
    switch (c_.Pick(8)) {
      case 0: case 1: case 2: Field(); break;
      case 3: case 4: case 5: Literal(); break;
      case 6: if (depth < kMaxDepth) { Expression(depth + 1); } else { Field(); } break;
      default: break;  // an empty argument
    }
  }

  // A comma between arguments, sometimes missing or doubled.
  void Comma() {
    if (c_.Chance(12)) return;
    out_ += c_.Chance(8) ? ",," : ",";
    if (!c_.Chance(64)) out_ += ' ';
  }

  // NAME(a, b, ...) or NAME a, b with the given number of arguments (some dropped at the end).
  void Call(std::string_view name, std::size_t min_args, std::size_t max_args, int depth,
            void (Generator::*first)(int)) {
    Keyword(name);
    const bool parens = !c_.Chance(48);
    out_ += parens ? (c_.Chance(24) ? " (" : "(") : " ";
    std::size_t n = min_args + c_.Pick(max_args - min_args + 1);
    if (c_.Chance(10)) n = c_.Pick(max_args + 3);  // too few or too many
    for (std::size_t i = 0; i < n; ++i) {
      if (i > 0) Comma();
      if (i == 0 && first) {
        (this->*first)(depth);
      } else {
        Argument(depth);
      }
    }
    if (parens && !c_.Chance(16)) out_ += ')';
  }

  void FieldArgument(int) { c_.Chance(24) ? Literal() : Field(); }
  void PictureArgument(int) { c_.Chance(160) ? (void)(out_ += PickOf(c_, kPictures)) : Field(); }

  void Builtin(int depth) {
    switch (c_.Pick(6)) {
      case 0: {  // Format FIELD, PICTURE
        Keyword("Format");
        const bool parens = c_.Chance(100);
        out_ += parens ? " (" : " ";
        FieldArgument(depth);
        Comma();
        PictureArgument(depth);
        if (parens) out_ += ')';
        break;
      }
      case 1: Call("FormatHL7DateTime", 1, 6, depth, nullptr); break;
      case 2: Call("Replace", 3, 6, depth, &Generator::FieldArgument); break;
      case 3: Call("DateCat", 2, 2, depth, nullptr); break;
      case 4: Call("DateCompare", 2, 2, depth, nullptr); break;
      default: IfBlock(depth); break;
    }
  }

  void IfBlock(int depth) {
    Keyword("IF");
    Blank();
    Expression(depth + 1);
    Blank();
    if (!c_.Chance(8)) Keyword("THEN");
    Blank();
    Expression(depth + 1);
    while (c_.Chance(60)) {
      Blank();
      Keyword("ELSEIF");
      Blank();
      Expression(depth + 1);
      Blank();
      Keyword("THEN");
      Blank();
      Expression(depth + 1);
    }
    if (c_.Chance(96)) {
      Blank();
      Keyword("ELSE");
      Blank();
      if (!c_.Chance(8)) Expression(depth + 1);
    }
    Blank();
    switch (c_.Pick(8)) {
      case 0: Keyword("ENDIF"); break;
      case 1: break;  // never closed
      case 2: Keyword("END"); break;
      case 3: Keyword("END X"); break;
      default: Keyword("END IF"); break;
    }
  }

  void Term(int depth) {
    if (c_.Chance(24)) {
      out_ += '-';  // a sign read as an operator
    }
    switch (depth >= kMaxDepth ? c_.Pick(2) : c_.Pick(7)) {
      case 0: Field(); break;
      case 1: Literal(); break;
      case 2: case 3: Builtin(depth + 1); break;
      case 4: {
        out_ += '(';
        if (c_.Chance(24)) Blank();
        Expression(depth + 1);
        if (!c_.Chance(16)) out_ += ')';
        break;
      }
      case 5: Field(); break;
      default: Literal(); break;
    }
  }

  void Expression(int depth) {
    Term(depth);
    for (int i = 1; i < kMaxTerms && c_.Chance(depth == 0 ? 140 : 90); ++i) {
      Blank();
      if (c_.Chance(8)) {
        Field();  // two operands side by side
      } else {
        out_ += PickOf(c_, kOperators);
      }
      Blank();
      Term(depth);
    }
  }

  void Statement(int depth) {
    if (c_.Chance(32)) Blank();
    Expression(depth);
    if (c_.Chance(16)) Blank();
  }

  Choices& c_;
  const std::u16string* fields_ = nullptr;
  std::size_t field_count_ = 0;
  std::string out_;
};

bool g_print = false;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* print = std::getenv("QORVINTR_FUZZ_PRINT");
  g_print = print && *print == '1';
  qorvintr::fuzzing::SetUp();
  return 0;
}

std::u16string qorvintr::fuzzing::ScriptOfInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return {};
  Choices choices(data + 1, size - 1);
  return qorvintr::automation::FromUtf8(Generator(choices).Script());
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::u16string script = qorvintr::fuzzing::ScriptOfInput(data, size);
  if (g_print) std::fprintf(stderr, "%s\n", qorvintr::automation::ToUtf8(script).c_str());
  qorvintr::fuzzing::Run(qorvintr::fuzzing::ModeOfInput(data, size), std::move(script));
  return 0;
}
