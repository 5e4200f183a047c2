#include "cli/check.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "automation/chars.h"
#include "automation/datetime.h"
#include "automation/text.h"
#include "interpreter/limits.h"
#include "qorvintr/convert.h"

namespace qorvintr::cli {

namespace {

using automation::AsciiUpper;

using engine::kEndOfText;
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

std::u16string Upper(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) c = AsciiUpper(c);
  return out;
}

// The interpreter's lists as it keeps them, each entry after ", ": any piece of the operator list
// is an operator word (so "!" and "," are too), and the function test searches the upper-cased
// function list.
const std::u16string& OperatorList() {
  static const std::u16string list = u", " + std::u16string(engine::kOperatorNames);
  return list;
}
const std::u16string& FunctionList() {
  static const std::u16string list = u", " + Upper(engine::kFunctionNames);
  return list;
}

std::u16string_view TrimBlanks(std::u16string_view s) {
  while (!s.empty() && s.front() == u' ') s.remove_prefix(1);
  while (!s.empty() && s.back() == u' ') s.remove_suffix(1);
  return s;
}

bool IsOperatorChar(char16_t c) {
  return c == u'+' || c == u'-' || c == u'*' || c == u'/' || c == u'\\' || c == u'<' ||
         c == u'>' || c == u'=' || c == u'!' || c == u'&';
}

bool IsOperatorWord(std::u16string_view word) {
  word = TrimBlanks(word);
  return !word.empty() && OperatorList().find(word) != std::u16string::npos;
}

// The interpreter's function test: a piece of the upper-cased list, so "DATE" passes too.
bool PassesFunctionTest(std::u16string_view word) {
  const std::u16string upper = Upper(TrimBlanks(word));
  return !upper.empty() && FunctionList().find(upper) != std::u16string::npos;
}

bool IsFunctionName(std::u16string_view word) {
  const std::u16string upper = Upper(TrimBlanks(word));
  if (upper.empty()) return false;
  // A whole entry of the list: after ", " and up to the next "," or the end.
  const std::u16string& list = FunctionList();
  for (std::size_t at = list.find(upper); at != std::u16string::npos; at = list.find(upper, at + 1)) {
    const std::size_t end = at + upper.size();
    if (at >= 2 && list.compare(at - 2, 2, u", ") == 0 && (end == list.size() || list[end] == u',')) {
      return true;
    }
  }
  return false;
}

bool IsQuoted(std::u16string_view w, char16_t quote) {
  return !w.empty() && w.front() == quote && w.back() == quote;
}

bool IsNumber(std::u16string_view w) { return automation::ParseNumber(w).has_value(); }

bool IsDateText(std::u16string_view w) { return automation::ParseDate(w).has_value(); }

// What a name may look like when the host's fields are not known.
bool LooksLikeName(std::u16string_view w) {
  if (w.empty()) return false;
  for (char16_t c : w) {
    if (c == u'"' || c == u'#' || c == u'(' || c == u')' || c == u',' || IsOperatorChar(c)) {
      return false;
    }
  }
  return !IsNumber(w);
}

// One word as the reader returns it, and where it stands.
struct Word {
  std::u16string text;      // trimmed, without the carriage return that ended a line
  std::size_t begin = 0;    // offset of its first character (after leading blanks)
  std::size_t end = 0;      // offset after its last character
  bool eol = false;         // "<EOL>": the end of the text or a line end with nothing before it
  bool line_end = false;    // a carriage return ended it
};

// Cuts the script into words as the interpreter's reader does: a "(", "," or ")" ends a word and
// stays at its end, a literal runs on into the word it stands in, operator characters end a name
// and run together, a line feed ends a word and is dropped.
std::vector<Word> ReadWords(std::u16string_view text) {
  std::vector<Word> words;
  std::size_t pos = 0;
  const std::size_t n = text.size();
  auto char_at = [&](std::size_t p) { return p < n ? text[p] : kEndOfText; };
  while (pos <= n) {
    std::u16string buffer;
    std::size_t begin = kNone;
    bool done = false;
    while (!done) {
      const std::size_t at = pos;
      char16_t c = char_at(pos++);
      std::u16string piece(1, c);
      if (c == kEndOfText || c == u'\r' || c == u'(' || c == u',' || c == u')') {
        done = true;
      } else if (c == u'"' || c == u'#') {
        while (true) {
          const char16_t d = char_at(pos++);
          piece += d;
          if (d == kEndOfText || d == c) break;
        }
      } else if (c == u' ') {
        if (!TrimBlanks(buffer).empty()) done = true;
      } else if (c == u'\n') {
        done = true;
        piece.clear();
      } else if (IsOperatorChar(c)) {
        if (!TrimBlanks(buffer).empty() && !IsOperatorWord(buffer)) {
          --pos;
          piece.clear();
          done = true;
        } else if (!IsOperatorWord(std::u16string(1, char_at(pos)))) {  // "," passes this test
          done = true;
        }
      }
      if (!piece.empty() && !(piece[0] == kEndOfText && !buffer.empty())) {
        if (begin == kNone && piece != u" ") begin = at;
        buffer += piece;
      }
    }
    Word w;
    w.end = pos > n ? n : pos;
    w.begin = begin == kNone ? std::min(w.end, n) : begin;
    if (buffer == std::u16string(1, kEndOfText) || buffer == u"\r") {
      w.eol = true;
      w.begin = std::min(w.begin, n);
    } else {
      std::u16string_view t = TrimBlanks(buffer);
      if (!t.empty() && t.back() == u'\r') {
        w.line_end = true;
        t.remove_suffix(1);
      }
      w.text = std::u16string(t);
      // The end of the word itself, without the blank or line end that closed it.
      w.end = w.begin + w.text.size();
    }
    words.push_back(std::move(w));
    if (pos > n) break;
  }
  return words;
}

bool AllOperatorChars(std::u16string_view w) {
  return !w.empty() && std::all_of(w.begin(), w.end(), IsOperatorChar);
}

// The operators the evaluator applies; any other operator word fails when it is reduced.
// The evaluator applies exactly the operator list's whole entries; a piece of one (such as "!")
// passes the lexer's test but is refused when applied.
bool IsKnownOperator(std::u16string_view op) {
  std::u16string_view rest = engine::kOperatorNames;
  while (!rest.empty()) {
    const std::size_t blank = rest.find(u' ');
    if (rest.substr(0, blank) == op) return true;
    if (blank == std::u16string_view::npos) break;
    rest.remove_prefix(blank + 1);
  }
  return false;
}

int Precedence(std::u16string_view op) {
  if (op == u"*" || op == u"/" || op == u"\\") return 3;
  if (op == u"+" || op == u"-") return 2;
  if (op == u"&") return 1;
  return 0;
}

// Pairs whose value does not depend on the grouping: a + b - c, a * b / c, a & b & c.
bool GroupingFree(std::u16string_view first, std::u16string_view second) {
  return (first == u"+" && (second == u"+" || second == u"-")) ||
         (first == u"*" && (second == u"*" || second == u"/")) ||
         (first == u"&" && second == u"&");
}

struct Span {
  std::size_t begin, end;
};

// Operands and operators of one group (the text between "(" and ")", or before and after "=").
struct Chain {
  std::vector<Span> operands;
  std::vector<std::pair<std::u16string, std::size_t>> operators;  // word, offset
  bool plain = true;  // no function call in it (whose arguments run on)
  std::size_t open = kNone;  // offset of the "(" that opened it
};

class Checker {
 public:
  Checker(std::u16string_view script, const CheckFields& fields)
      : script_(script), words_(ReadWords(script)), fields_(fields) {
    for (const std::u16string& name : fields.names) folded_.insert(Upper(name));
  }

  std::vector<CheckWarning> Run() {
    Expression(0, words_.size(), false);
    std::stable_sort(warnings_.begin(), warnings_.end(),
                     [](const CheckWarning& a, const CheckWarning& b) { return a.offset < b.offset; });
    return std::move(warnings_);
  }

 private:
  // ---- Reading ---------------------------------------------------------------------------

  // The next word of the range, or kNone at its end or at "<EOL>" (consumed).
  std::size_t Next() {
    if (cursor_ >= stop_) return kNone;
    const std::size_t i = cursor_++;
    return words_[i].eol ? kNone : i;
  }
  const std::u16string& Text(std::size_t i) const { return words_[i].text; }

  // A word whose ")" closes the parenthesis of a "Name(" already warned about: the ")" is
  // read as if it were not there, so one mistake gives one warning.
  std::u16string Unexempt(std::size_t i) const {
    std::u16string t = Text(i);
    if (!t.empty() && t.back() == u')' && exempt_.count(words_[i].end - 1)) t.pop_back();
    return t;
  }

  bool IsField(std::u16string_view w) const {
    if (!fields_.known) return LooksLikeName(w) && !IsFunctionName(w);
    return folded_.count(Upper(TrimBlanks(w))) != 0;
  }

  // ---- Warnings ----------------------------------------------------------------------------

  void Warn(const char* kind, std::size_t offset, std::u16string_view word, std::string message,
            std::optional<std::u16string> rewrite) {
    if (abandoned_) return;
    for (const CheckWarning& w : warnings_) {
      if (w.offset == offset && w.kind == kind) return;
    }
    CheckWarning w;
    w.kind = kind;
    w.offset = offset;
    for (std::size_t p = 0; p < offset && p < script_.size(); ++p) {
      const char16_t c = script_[p];
      if (c == u'\n' || (c == u'\r' && (p + 1 >= script_.size() || script_[p + 1] != u'\n'))) {
        ++w.line;
        w.column = 1;
      } else if (c != u'\r') {
        ++w.column;
      }
    }
    w.word = std::u16string(word);
    w.message = std::move(message);
    w.rewrite = std::move(rewrite);
    warnings_.push_back(std::move(w));
  }
  void Warn(const char* kind, std::size_t i, std::string message,
            std::optional<std::u16string> rewrite) {
    Warn(kind, words_[i].begin, Text(i), std::move(message), std::move(rewrite));
  }

  static std::string U8(std::u16string_view s) { return automation::ToUtf8(s); }

  std::u16string Edited(std::size_t at, std::size_t length, std::u16string_view with) const {
    std::u16string out(script_);
    out.replace(at, length, with);
    return out;
  }
  std::u16string InsertBlankBeforeLast(std::size_t i) const {
    return Edited(words_[i].end - 1, 0, u" ");
  }

  // The ")" that closes the "(" at offset open, literals skipped; kNone when none does.
  std::size_t MatchingParen(std::size_t open) const {
    int depth = 0;
    for (std::size_t p = open; p < script_.size(); ++p) {
      const char16_t c = script_[p];
      if (c == u'"' || c == u'#') {
        const std::size_t close = script_.find(c, p + 1);
        if (close == std::u16string_view::npos) return kNone;
        p = close;
      } else if (c == u'(') {
        ++depth;
      } else if (c == u')' && --depth == 0) {
        return p;
      }
    }
    return kNone;
  }

  // The script without the "(" at open and its ")": a blank stays where the "(" was glued.
  std::u16string WithoutParens(std::size_t open, std::size_t close) const {
    std::u16string out(script_);
    if (close != kNone) {
      std::size_t from = close;
      while (from > 0 && out[from - 1] == u' ') --from;
      out.erase(from, close + 1 - from);
    }
    const bool blank_before = open > 0 && out[open - 1] == u' ';
    const bool blank_after = open + 1 < out.size() && out[open + 1] == u' ';
    out.replace(open, 1, blank_before || blank_after ? u"" : u" ");
    return out;
  }

  std::u16string NearestField(std::u16string_view word) const {
    const std::u16string w = Upper(word);
    std::u16string best;
    std::size_t best_distance = 3;
    for (const std::u16string& name : fields_.names) {
      const std::u16string u = Upper(name);
      std::vector<std::size_t> row(u.size() + 1);
      for (std::size_t j = 0; j <= u.size(); ++j) row[j] = j;
      for (std::size_t i = 1; i <= w.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= u.size(); ++j) {
          const std::size_t up = row[j];
          row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (w[i - 1] == u[j - 1] ? 0 : 1)});
          diagonal = up;
        }
      }
      if (row[u.size()] < best_distance) {
        best_distance = row[u.size()];
        best = name;
      }
    }
    return best;
  }

  void UnknownWord(std::size_t i, std::u16string_view w, const std::string& what) {
    const std::u16string nearest = NearestField(w);
    std::optional<std::u16string> rewrite;
    std::string message = "'" + U8(w) + "' is no field of the host" + what;
    if (!nearest.empty()) {
      message += "; did you mean " + U8(nearest) + "?";
      rewrite = Edited(words_[i].begin, w.size(), nearest);
    }
    Warn("unknown-word", i, std::move(message), std::move(rewrite));
  }

  // ---- The statement driver ----------------------------------------------------------------

  // Follows the driver over words [from, to). In a branch the words stand for a text of their
  // own (joined without blanks); the checks are the same.
  void Expression(std::size_t from, std::size_t to, bool nested) {
    const std::size_t saved_cursor = cursor_, saved_stop = stop_;
    cursor_ = from;
    stop_ = to;
    int state = 1;
    std::vector<Chain> chains(1);
    std::size_t last_operator = kNone;
    std::size_t last_operand = kNone;
    while (cursor_ < stop_) {
      const std::size_t i = cursor_++;
      const Word& word = words_[i];
      if (word.eol && state == 1 && last_operator != kNone && word.begin < script_.size() &&
          (last_operand == kNone || last_operand < last_operator)) {
        Warn("syntax", word.begin, u"",
             "a line ends right after the operator '" + U8(Text(last_operator)) +
                 "': the operand on the next line is read as a second operand (Syntax error); "
                 "break the line before the operator",
             std::nullopt);
        continue;
      }
      if (word.eol || word.text.empty()) continue;
      const std::u16string w = Unexempt(i);
      if (IsStrayKeyword(w)) {
        Warn("if-block", i, "'" + U8(w) + "' belongs to an IF statement, and there is none open here",
             std::nullopt);
        continue;
      }
      if (state == 1) {
        state = 2;
        if (w == u"(") {
          chains.emplace_back();
          chains.back().open = word.begin;
          state = 1;
        } else if (IsQuoted(w, u'"') || IsQuoted(w, u'#') || IsNumber(w)) {
          LiteralValue(i, w);
          chains.back().operands.push_back({word.begin, word.end});
          last_operand = i;
        } else if (word.line_end && branches_ == 0 && LooksLikeName(w)) {
          Warn("syntax", i,
               "the name '" + U8(w) + "' ends a line: the line break stays part of the word, which "
               "then names no field (Syntax error); break the line before an operator instead",
               std::nullopt);
          chains.back().operands.push_back({word.begin, word.end});
          last_operand = i;
        } else if (IsField(w)) {
          chains.back().operands.push_back({word.begin, word.end});
          last_operand = i;
        } else if (IsFunctionName(w)) {
          chains.back().plain = false;
          chains.back().operands.push_back({word.begin, word.end});
          Function(i, Upper(w));
          last_operand = i;
        } else {
          OperandTrap(i, w, chains);
          last_operand = i;
        }
      } else {
        state = 1;
        if (w == u")") {
          if (chains.size() > 1) {
            Chain inner = std::move(chains.back());
            chains.pop_back();
            CheckGrouping(inner);
            chains.back().operands.push_back({inner.open, word.end});
            chains.back().plain = chains.back().plain && inner.plain;
          } else {
            Warn("syntax", i, "')' closes no '(': the script fails (Syntax error)",
                 Edited(word.begin, 1, u""));
          }
          state = 2;
        } else if ((IsOperatorWord(w) || AllOperatorChars(w)) && w != u",") {
          last_operator = i;
          if (!IsKnownOperator(w)) {
            std::optional<std::u16string> rewrite;
            if (w == u"=<") rewrite = Edited(word.begin, 2, u"<=");
            if (w == u"=>") rewrite = Edited(word.begin, 2, u">=");
            if (w == u"><") rewrite = Edited(word.begin, 2, u"<>");
            Warn("syntax", i,
                 "'" + U8(w) + "' is no operator of the language (operator characters written "
                 "together make one word); the script fails",
                 std::move(rewrite));
          }
          if (w == u"=") {
            CheckGrouping(chains.back());
            const std::size_t open = chains.back().open;
            chains.back() = Chain{};
            chains.back().open = open;
          } else {
            chains.back().operators.emplace_back(w, word.begin);
          }
        } else {
          state = 2;
          MissingOperator(i, w, last_operand);
        }
      }
    }
    if (state == 1 && last_operator != kNone && cursor_ >= stop_ &&
        (last_operand == kNone || last_operand < last_operator)) {
      Warn("syntax", last_operator,
           "the operator '" + U8(Text(last_operator)) +
               "' has no operand after it: the script's value is the operator itself",
           std::nullopt);
    }
    // A "(" left open is closed by the end of the script: the same value as with its ")".
    while (chains.size() > 1) {
      CheckGrouping(chains.back());
      chains.pop_back();
    }
    CheckGrouping(chains.back());
    // A nested range is the caller's to move past.
    if (nested) cursor_ = saved_cursor;
    stop_ = saved_stop;
  }

  // A date literal that is no date, a number too big for the interpreter's numbers.
  void LiteralValue(std::size_t i, const std::u16string& w) {
    if (IsQuoted(w, u'#') && w.size() >= 2 && !IsDateText(std::u16string_view(w).substr(1, w.size() - 2))) {
      Warn("syntax", i, "the date literal " + U8(w) + " is no date: the script fails", std::nullopt);
    } else if (IsNumber(w)) {
      const double v = *automation::ParseNumber(w);
      if (v > 2147483647.0 || v < -2147483648.0) {
        Warn("syntax", i,
             "the number " + U8(w) + " is beyond what a script's number holds "
             "(-2147483648 to 2147483647): the script fails (Overflow)",
             std::nullopt);
      }
    }
  }

  // A word where an operand is expected that is no literal, number, field or function.
  void OperandTrap(std::size_t i, const std::u16string& w, std::vector<Chain>& chains) {
    const Word& word = words_[i];
    if (w.size() > 1 && w.back() == u'(' && IsFunctionName(w.substr(0, w.size() - 1))) {
      const std::size_t open = word.end - 1;
      const std::size_t close = MatchingParen(open);
      if (close != kNone) exempt_.insert(close);
      const std::u16string name(TrimBlanks(std::u16string_view(w).substr(0, w.size() - 1)));
      Warn("function-paren", i,
           "'" + U8(w) + "' is no function: a \"(\" ends a word and stays part of it, so the "
           "name must be followed by a blank, and the arguments go without parentheses",
           WithoutParens(open, close));
      chains.back().plain = false;
      Function(i, Upper(name));
      return;
    }
    if (w.size() > 1 && w.back() == u')') {
      const std::u16string head = w.substr(0, w.size() - 1);
      Warn("glued-paren", i,
           "'" + U8(w) + "' is not read as " + U8(head) +
               " followed by ')': a \")\" glued to a word stays part of it (Syntax error); "
               "write a blank before it",
           InsertBlankBeforeLast(i));
      chains.back().operands.push_back({word.begin, word.end - 1});
      // The ")" closes the group as a word of its own would.
      if (chains.size() > 1) {
        Chain inner = std::move(chains.back());
        chains.pop_back();
        CheckGrouping(inner);
        chains.back().operands.push_back({inner.open, word.end});
      }
      return;
    }
    if (w.size() > 1 && w.back() == u',') {
      Warn("syntax", i,
           "the comma in '" + U8(w) + "' separates nothing here: only a function's "
           "arguments take commas (Syntax error)",
           std::nullopt);
      return;
    }
    const std::u16string upper = Upper(w);
    if (upper == u"TRUE" || upper == u"FALSE") {
      BooleanWord(i, w, upper == u"TRUE");
      chains.back().operands.push_back({word.begin, word.end});
      return;
    }
    if ((w.front() == u'"' || w.front() == u'#') && w.size() > 1) {
      Warn("syntax", i,
           "'" + U8(w) + "' is a literal that runs on into the word after it (or is not closed): "
           "the script fails (Syntax error)",
           std::nullopt);
      return;
    }
    if (PassesFunctionTest(w)) {
      Warn("unknown-word", i,
           "'" + U8(w) + "' is no field of the host, and the interpreter takes it for a function "
           "name that it does not know (error 6, Overflow; the script answers nothing)",
           std::nullopt);
      return;
    }
    if (fields_.known) {
      UnknownWord(i, w, ": the script fails (Syntax error)");
    } else {
      Warn("syntax", i, "'" + U8(w) + "' is no operand: the script fails (Syntax error)",
           std::nullopt);
    }
  }

  void BooleanWord(std::size_t i, const std::u16string& w, bool is_true) {
    // IF Flag = True: the field alone is the test; = False: compare with 0.
    std::optional<std::u16string> rewrite;
    if (i >= 2 && Text(i - 1) == u"=" && IsField(Text(i - 2))) {
      const std::size_t from = words_[i - 2].end;
      rewrite = is_true ? Edited(from, words_[i].end - from, u"")
                        : Edited(words_[i].begin, w.size(), u"0");
    } else {
      rewrite = Edited(words_[i].begin, w.size(), is_true ? u"(0 - 1 )" : u"0");
    }
    Warn("boolean-word", i,
         "'" + U8(w) + "' is no value in a script: it is read as a field name" +
             std::string(fields_.known ? " (there is none)" : "") +
             "; test a Boolean field alone, or compare with 0",
         std::move(rewrite));
  }

  void MissingOperator(std::size_t i, const std::u16string& w, std::size_t before) {
    if (w.size() > 1 && w.back() == u')') {
      Warn("glued-paren", i,
           "'" + U8(w) + "' is not read as ')': a \")\" glued to a word stays part of it "
           "(Syntax error); write a blank before it",
           InsertBlankBeforeLast(i));
      return;
    }
    std::string message = "two operands in a row";
    if (before != kNone) message += " ('" + U8(Text(before)) + "' and '" + U8(w) + "')";
    message += ": an operator is missing between them (Syntax error)";
    Warn("syntax", i, std::move(message), std::nullopt);
  }

  // Operators group from the right without precedence: warn where that differs from the
  // reading a writer expects, and give the grouping spelled out.
  void CheckGrouping(const Chain& chain) {
    const auto& ops = chain.operators;
    if (!chain.plain || ops.size() < 2 || chain.operands.size() != ops.size() + 1) return;
    std::size_t at = kNone;
    for (std::size_t k = 0; k + 1 < ops.size(); ++k) {
      if (Precedence(ops[k].first) >= Precedence(ops[k + 1].first) &&
          !GroupingFree(ops[k].first, ops[k + 1].first)) {
        at = k;
        break;
      }
    }
    if (at == kNone) return;
    // The usual reading (precedence, then left to right) as a tree, written so that the
    // right-grouping reader takes it that way: a compound left operand gets "( ... )".
    struct Node {
      std::u16string text;
      bool compound = false;
    };
    std::vector<Node> operands;
    for (const Span& s : chain.operands) {
      operands.push_back({std::u16string(script_.substr(s.begin, s.end - s.begin)), false});
    }
    std::vector<Node> values;
    std::vector<std::u16string> pending;
    auto reduce = [&] {
      Node right = std::move(values.back());
      values.pop_back();
      Node left = std::move(values.back());
      values.pop_back();
      std::u16string text = left.compound ? u"(" + left.text + u" )" : left.text;
      text += u" " + pending.back() + u" " + right.text;
      pending.pop_back();
      values.push_back({std::move(text), true});
    };
    values.push_back(operands[0]);
    for (std::size_t k = 0; k < ops.size(); ++k) {
      while (!pending.empty() && Precedence(pending.back()) >= Precedence(ops[k].first)) reduce();
      pending.push_back(ops[k].first);
      values.push_back(operands[k + 1]);
    }
    while (!pending.empty()) reduce();
    const std::size_t begin = chain.operands.front().begin;
    const std::size_t end = chain.operands.back().end;
    const std::u16string written(script_.substr(begin, end - begin));
    Warn("right-grouping", ops[at].second, ops[at].first,
         "operators have no precedence and group from the right: '" + U8(written) +
             "' is read with '" + U8(ops[at + 1].first) + "' first; for the usual reading write '" +
             U8(values.back().text) + "'",
         Edited(begin, end - begin, values.back().text));
  }

  // ---- Built-ins ---------------------------------------------------------------------------

  void Function(std::size_t i, const std::u16string& name) {
    if (name == u"IF") If(i);
    else if (name == u"FORMAT") Format(i);
    else if (name == u"FORMATHL7DATETIME") FormatHL7DateTime(i);
    else if (name == u"REPLACE") Replace(i);
    else if (name == u"DATECAT") DateCat(i);
    else if (name == u"DATECOMPARE") DateCompare(i);
  }

  static bool IsStrayKeyword(const std::u16string& w) {
    const std::u16string u = Upper(w);
    return u == u"THEN" || u == u"ELSE" || u == u"ELSEIF" || u == u"END" || u == u"ENDIF";
  }

  static std::u16string DropFinalComma(std::u16string w) {
    if (!w.empty() && w.back() == u',') w.pop_back();
    return w;
  }

  // Format (A, ... / Replace (A, ...: after an opening "(" the reader does not drop the comma.
  void OpeningParenArgument(std::size_t name_word, std::size_t paren, std::size_t arg) {
    if (arg == kNone || Text(arg).empty() || Text(arg).back() != u',') return;
    const std::size_t open = words_[paren].begin;
    const std::size_t close = MatchingParen(open);
    if (close != kNone) exempt_.insert(close);
    Warn("arguments", arg,
         "after '" + U8(Text(name_word)) + " (' the first argument keeps its comma, so '" +
             U8(Text(arg)) + "' names no field (error 450); leave the parentheses out",
         WithoutParens(open, close));
  }

  void Format(std::size_t name_word) {
    std::size_t a = Next();
    if (a == kNone) return NeedsArguments(name_word, "a field and a picture");
    std::u16string field = DropFinalComma(Unexempt(a));
    if (field == u"(") {
      const std::size_t paren = a;
      a = Next();
      OpeningParenArgument(name_word, paren, a);
      if (a == kNone) return;
      field = DropFinalComma(Unexempt(a));
    }
    FieldArgument(a, field, "Format's first argument must be a field (error 450)");
    std::size_t p = Next();
    if (p != kNone && Text(p) == u",") p = Next();
    if (p == kNone) return NeedsArguments(name_word, "a picture after the field");
    std::u16string picture = Unexempt(p);
    if (!picture.empty() && picture.back() == u')') picture.pop_back();
    if (picture.empty() || picture.front() == u'"' || (fields_.known && IsField(picture))) return;
    bool plain_number = true;
    for (char16_t c : picture) plain_number = plain_number && ((c >= u'0' && c <= u'9') || c == u'.');
    if (plain_number) return;
    // The picture the writer meant runs on to the next blank (an operator character or "#"
    // cut it into words).
    const std::size_t begin = words_[p].begin;
    std::size_t end = begin;
    while (end < script_.size() && script_[end] != u' ' && script_[end] != u'\r' &&
           script_[end] != u'\n' && !(script_[end] == u')' && exempt_.count(end))) {
      ++end;
    }
    const std::u16string meant(script_.substr(begin, end - begin));
    std::string message = "the picture " + U8(meant) + " is not quoted: ";
    message += fields_.known ? std::string("it is taken as written only because no field has that "
                                           "name, and")
                             : std::string("a host field of that name would be used instead, and");
    message += " a picture with operator characters, '#' or blanks is cut into words; quote it";
    Warn("format-picture", begin, meant, std::move(message),
         Edited(begin, end - begin, u"\"" + meant + u"\""));
    // The rest of the picture is part of this one warning.
    while (cursor_ < stop_ && words_[cursor_].begin < end && !words_[cursor_].eol) ++cursor_;
  }

  void FormatHL7DateTime(std::size_t name_word) {
    const std::size_t d = Next();
    if (d == kNone) return NeedsArguments(name_word, "a date");
    const std::u16string date = DropFinalComma(Unexempt(d));
    if (date.size() > 1 && date.front() == u'"') {
      Warn("arguments", d,
           "the date " + U8(date) + " keeps its quotes and is no date (error 449); write it "
           "without quotes, or give it as a field",
           Edited(words_[d].begin, words_[d].text.size(),
                  DropFinalComma(Text(d)).substr(1, date.size() - 2) +
                      (Text(d).back() == u',' ? u"," : u"")));
    } else if (!IsField(date) && !IsDateText(date)) {
      if (fields_.known) UnknownWord(d, date, " nor a date (error 449)");
    }
    for (int argument = 2; argument <= 6; ++argument) {
      const std::size_t a = Next();
      if (a == kNone) return;
      std::u16string w = Unexempt(a);
      if (argument == 6) {
        if (IsOperatorWord(w)) {
          const std::size_t digits = Next();
          if (digits != kNone) w += Unexempt(digits);
        }
        return;
      }
      w = DropFinalComma(w);
      if (w.empty() || w == u",") continue;
      if ((argument == 4 || argument == 5) && !(fields_.known && IsField(w)) && w != u"True" &&
          w != u"False") {
        const std::u16string upper = Upper(w);
        const bool meant_true = upper == u"TRUE" || upper == u"-1" || upper == u"1" ||
                                upper == u"YES" || upper == u"Y";
        const std::u16string flag = meant_true ? u"True" : u"False";
        Warn("flag", a,
             "the flag '" + U8(w) + "' must be written True or False exactly as here (error 450, "
             "and the rest of the arguments is not read)",
             Edited(words_[a].begin, w.size(), flag));
      }
    }
  }

  void Replace(std::size_t name_word) {
    std::size_t s = Next();
    if (s == kNone) return NeedsArguments(name_word, "a field, the text to find and its replacement");
    std::u16string source = DropFinalComma(Unexempt(s));
    if (source == u"(") {
      const std::size_t paren = s;
      s = Next();
      OpeningParenArgument(name_word, paren, s);
      if (s == kNone) return;
      source = DropFinalComma(Unexempt(s));
    }
    FieldArgument(s, source, "Replace's first argument must be a field (error 450)");
    for (int argument = 2; argument <= 3; ++argument) {
      std::size_t a = Next();
      if (a != kNone && Text(a) == u",") a = Next();
      if (a == kNone) return NeedsArguments(name_word, "the text to find and its replacement");
      const std::u16string w = Unexempt(a);
      if (w.size() > 1 && w.back() == u',') {
        const std::u16string head = w.substr(0, w.size() - 1);
        Warn("literal-comma", a,
             "the comma stays part of the word '" + U8(w) + "', so " +
                 (head.front() == u'"' ? "the text is '" + U8(w.substr(1)) + "' instead of '" +
                                             U8(head.substr(1, head.size() - 2)) + "'"
                                       : "'" + U8(head) + "' is not read as a field") +
                 "; write a blank before the comma",
             InsertBlankBeforeLast(a));
      } else if (argument == 3 && w.size() > 1 && w.back() == u')' && w.front() != u'"' &&
                 IsField(w.substr(0, w.size() - 1))) {
        Warn("glued-paren", a,
             "'" + U8(w) + "' is not read as the field " + U8(w.substr(0, w.size() - 1)) +
                 ": Replace takes the text " + U8(w.substr(0, w.size() - 1)) +
                 " as written; write a blank before the ')'",
             InsertBlankBeforeLast(a));
      }
    }
    static const char* kOptional[] = {"start", "count", "compare"};
    for (const char* what : kOptional) {
      std::size_t a = Next();
      if (a != kNone && Text(a) == u",") a = Next();
      if (a == kNone) return;
      std::u16string w = Unexempt(a);
      if (!w.empty() && w.back() == u')') w.pop_back();
      if (w.empty()) return;
      if (!IsNumber(w) && !IsField(w)) {
        Warn("arguments", a,
             "Replace reads '" + U8(w) + "' as its " + what +
                 " argument, which must be a number (error 450): its arguments run on to the end "
                 "of the script",
             std::nullopt);
        return;
      }
    }
  }

  void DateCat(std::size_t) {
    for (int argument = 1; argument <= 2; ++argument) {
      const std::size_t a = Next();
      if (a == kNone) return;
      const std::u16string w = Unexempt(a);
      if (w.empty()) continue;
      if (w.back() == u',' && w.size() > 1) {
        Warn("arguments", a,
             "DateCat takes its two fields without a comma: '" + U8(w) +
                 "' names no field and the script fails",
             Edited(words_[a].end - 1, 1, u""));
      } else if (w.front() == u'"' || w.front() == u'#') {
        Warn("arguments", a, "DateCat takes fields only, not the literal " + U8(w), std::nullopt);
      } else if (fields_.known && !IsField(w)) {
        UnknownWord(a, w, ": DateCat takes fields only");
      }
    }
  }

  void DateCompare(std::size_t) {
    for (int argument = 1; argument <= 2; ++argument) {
      const std::size_t a = Next();
      if (a == kNone) return;
      std::u16string w;
      for (char16_t c : Unexempt(a)) {
        if (c != u',') w += c;
      }
      if (!w.empty() && w.front() == u'"') w.erase(0, 1);
      if (!w.empty() && w.back() == u'"') w.pop_back();
      if (!w.empty() && w.front() == u'#') w.erase(0, 1);
      if (!w.empty() && w.back() == u'#') w.pop_back();
      if (fields_.known && !w.empty() && !IsDateText(w) && !IsField(w)) {
        UnknownWord(a, w, " nor a date: it compares as 12/30/1899");
      }
    }
  }

  void FieldArgument(std::size_t a, const std::u16string& w, const char* rule) {
    if (w.empty()) return;
    if (w.front() == u'"' || w.front() == u'#' || IsNumber(w)) {
      Warn("arguments", a, std::string(rule) + ", not the literal " + U8(w), std::nullopt);
    } else if (fields_.known && !IsField(w)) {
      UnknownWord(a, w, std::string(": ") + rule);
    }
  }

  void NeedsArguments(std::size_t name_word, const char* what) {
    Warn("arguments", name_word, U8(Text(name_word)) + " needs " + what, std::nullopt);
  }

  // ---- IF ----------------------------------------------------------------------------------

  static bool EndsBranch(const std::u16string& upper) {
    return upper == u"ELSE" || upper == u"ELSEIF" || upper == u"ENDIF" || upper == u"END";
  }

  // Moves the cursor to the word that ends a branch (ELSE, ELSEIF, ENDIF, END) and answers it,
  // or kNone when the line or the text ends first.
  std::size_t BranchEnd() {
    while (cursor_ < stop_ && !words_[cursor_].eol) {
      const std::u16string u = Upper(Text(cursor_));
      if (EndsBranch(u)) return cursor_;
      if (u == u"IF") {
        Warn("if-block", cursor_,
             "an IF inside a branch is not nested: the first END IF, ELSE or ELSEIF that "
             "follows ends the outer branch",
             std::nullopt);
        // What follows is read so differently that further warnings would mislead.
        abandoned_ = true;
      }
      ++cursor_;
    }
    return kNone;
  }

  void NotClosed(std::size_t if_word) {
    // A line end with nothing before it: an empty line, or a blank before the line break.
    const bool early = cursor_ < stop_ && words_[cursor_].eol && words_[cursor_].begin < script_.size();
    if (early) {
      Warn("if-block", if_word,
           "the IF is not closed before a line ends: a line that ends with a blank, \")\" or "
           "\",\", or an empty line, ends the branch (Syntax error)",
           std::nullopt);
    } else {
      Warn("if-block", if_word, "the IF is never closed: END IF is missing (Syntax error)",
           Edited(script_.size(), 0, u" END IF"));
    }
    // The words after it are read out of their statement: more warnings would mislead.
    abandoned_ = true;
  }

  void If(std::size_t if_word) {
    // The condition: every word up to THEN, or up to the end of the line.
    const std::size_t condition = cursor_;
    std::size_t then = kNone;
    while (cursor_ < stop_) {
      const std::size_t i = cursor_++;
      if (words_[i].eol) break;
      if (Upper(Text(i)) == u"THEN") {
        then = i;
        break;
      }
    }
    if (then == kNone) {
      Warn("if-block", if_word,
           "IF without THEN on its line: the whole rest of the line is the condition, and no "
           "branch runs",
           std::nullopt);
      return;
    }
    Expression(condition, then, true);
    const std::size_t then_begin = cursor_;
    const std::size_t then_end = BranchEnd();
    if (then_end == kNone) {
      NotClosed(if_word);
      Branch(then_begin, cursor_);
      return;
    }
    Branch(then_begin, then_end);
    const std::u16string u = Upper(Text(then_end));
    if (u == u"ELSEIF") {
      cursor_ = then_end + 1;
      If(then_end);  // the IF at the end of ELSEIF starts a new statement
      SkipToEndIf();
      return;
    }
    if (u == u"ELSE") {
      cursor_ = then_end + 1;
      const std::size_t else_begin = cursor_;
      const std::size_t else_end = BranchEnd();
      const std::size_t last = else_end == kNone ? cursor_ : else_end;
      bool empty = true;
      for (std::size_t k = else_begin; k < last; ++k) empty = empty && Text(k).empty();
      if (empty) {
        const std::size_t from = words_[then_end].begin;
        const std::size_t to = last < words_.size() && !words_[last].eol ? words_[last].begin
                                                                          : words_[then_end].end;
        Warn("if-block", then_end, "an ELSE with nothing after it: leave the ELSE out",
             Edited(from, to - from, u""));
      } else {
        Branch(else_begin, last);
      }
      if (else_end == kNone) {
        NotClosed(if_word);
        return;
      }
      const std::u16string v = Upper(Text(else_end));
      if (v == u"ELSE" || v == u"ELSEIF") {
        Warn("if-block", else_end,
             "'" + U8(Text(else_end)) + "' after the ELSE branch: the ELSE branch must come last",
             std::nullopt);
        cursor_ = else_end + 1;
        SkipToEndIf();
        return;
      }
      cursor_ = else_end;
    } else {
      cursor_ = then_end;
    }
    EndIf();
  }

  // A branch runs as a text of its own, its words joined without blanks.
  void Branch(std::size_t from, std::size_t to) {
    std::u16string joined;
    std::vector<std::u16string> written;
    for (std::size_t k = from; k < to; ++k) {
      joined += Text(k);
      if (!Text(k).empty()) written.push_back(Text(k));
    }
    std::vector<std::u16string> read;
    for (const Word& w : ReadWords(joined)) {
      if (!w.eol && !w.text.empty()) read.push_back(w.text);
    }
    std::size_t first = from;
    while (first + 1 < to && Text(first).empty()) ++first;
    if (read != written && from < to) {
      Warn("branch-joined", words_[first].begin, Text(first),
           "the words of an IF branch are joined without blanks, so the branch runs as '" +
               U8(joined) + "': a branch can be a literal, a field or an operator expression "
               "without a function call or a \")\"; compute the rest in a field of its own",
           std::nullopt);
      return;
    }
    // The branch's line ends were dropped with the words' carriage returns.
    ++branches_;
    Expression(from, to, true);
    --branches_;
  }

  // END IF or ENDIF at the cursor, written so that every path of the IF accepts it.
  void EndIf() {
    const std::size_t i = cursor_++;
    const std::u16string& w = Text(i);
    if (Upper(w) == u"ENDIF") {
      if (w != u"ENDIF") {
        Warn("if-block", i, "write ENDIF in capitals: the end of a branch taken is found by "
             "the exact word", Edited(words_[i].begin, w.size(), u"ENDIF"));
      }
      return;
    }
    const std::size_t next = cursor_ < stop_ ? cursor_ : kNone;
    if (next == kNone || words_[next].eol || Upper(Text(next)) != u"IF") {
      Warn("if-block", i, "END must be followed by IF (Syntax error)",
           Edited(words_[i].begin, w.size(), u"END IF"));
      return;
    }
    ++cursor_;
    if (w != u"END" || Text(next) != u"IF") {
      Warn("if-block", i, "write END IF in capitals: '" + U8(w) + " " + U8(Text(next)) +
           "' is not found when a branch is skipped (Syntax error)",
           Edited(words_[i].begin, words_[next].end - words_[i].begin, u"END IF"));
    }
  }

  // After an ELSEIF chain the outer IF skips on to the next END IF, ENDIF or line end.
  void SkipToEndIf() {
    while (cursor_ < stop_ && !words_[cursor_].eol) {
      const std::u16string& w = Text(cursor_);
      if (w == u"ENDIF" || (w == u"END" && cursor_ + 1 < stop_ && Text(cursor_ + 1) == u"IF")) {
        cursor_ += w == u"END" ? 2 : 1;
        return;
      }
      ++cursor_;
    }
  }

  std::u16string_view script_;
  std::vector<Word> words_;
  const CheckFields& fields_;
  std::set<std::u16string> folded_;
  std::set<std::size_t> exempt_;
  bool abandoned_ = false;
  int branches_ = 0;
  std::vector<CheckWarning> warnings_;
  std::size_t cursor_ = 0;
  std::size_t stop_ = 0;
};

}  // namespace

std::vector<CheckWarning> CheckScript(std::u16string_view script, const CheckFields& fields) {
  return Checker(script, fields).Run();
}

}  // namespace qorvintr::cli
