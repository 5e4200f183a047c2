// The lexer: reads the script of one instance character by character and word by word, with
// look-ahead and give-back, and classifies words.
#include <algorithm>
#include <string>

#include "automation/chars.h"
#include "automation/text.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/upper_word.h"
#include "interpreter/trap.h"
#include "support/tools.h"

namespace qorvintr::engine {

namespace {
constexpr char16_t kStringDelimiter = 34;
constexpr char16_t kDateDelimiter = 35;
constexpr char16_t kCarriageReturn = 13;
constexpr char16_t kLineFeed = 10;

// A one-character text of a character answered by GetNextChar (empty for the empty text).
struct CharText {
  explicit CharText(std::int32_t c) noexcept : unit(static_cast<char16_t>(c)), empty(c < 0) {}
  std::u16string_view view() const noexcept {
    return empty ? std::u16string_view{} : std::u16string_view(&unit, 1);
  }
  char16_t unit;
  bool empty;
};

bool HasNonBlank(std::u16string_view s) noexcept {
  for (char16_t c : s) {
    if (c != u' ') return true;
  }
  return false;
}
}  // namespace

bool Interpreter::IsPlainChar(char16_t c) const noexcept {
  switch (c) {
    case kEndOfText: case kCarriageReturn: case kLineFeed: case kStringDelimiter:
    case kDateDelimiter: case u'(': case u',': case u')': case u' ':
      return false;
    default:
      return !delimiter_chars_.Has(c) && !operator_chars_.Has(c);
  }
}

std::int32_t Interpreter::GetNextChar(std::int16_t level) {
  return Trapped(u"GetNextChar", u"GetNextChar", kNoChar, [&]() -> std::int32_t {
    std::int16_t& position = ReadPosition(level);
    if (position < kReadLimit) {
      ++position;
    } else {
      RaiseReadLimit();
    }
    const std::u16string& text = InstanceText(level);
    if (static_cast<std::size_t>(position) > text.size()) return kEndOfText;
    // A position moved before the text by give-backs is an invalid character position.
    // Kept: reading before the text is error 5 in GetNextChar's trap (tests/interpreter_lexer_test.cpp: Lexer.PositionBeforeTheTextIsAnInvalidCall)
    if (position < 1) automation::Raise(automation::err::InvalidProcedureCall);
    return text[position - 1];
  });
}

std::int32_t Interpreter::ReadNextChar(std::int16_t level) {
  if (!FaultsInjected()) {
    std::int16_t* position = read_positions_.Find(level);
    const std::u16string* text = expression_texts_.Find(level);
    if (position != nullptr && text != nullptr && *position >= 0 && *position < kReadLimit) {
      ++*position;
      if (static_cast<std::size_t>(*position) > text->size()) return kEndOfText;
      return (*text)[*position - 1];
    }
  }
  return GetNextChar(level);
}

void Interpreter::AppendPlainRun(std::int16_t level, std::u16string& buffer) {
  std::int16_t* position = read_positions_.Find(level);
  const std::u16string* text = expression_texts_.Find(level);
  if (position == nullptr || text == nullptr || *position < 0) return;
  const std::size_t start = static_cast<std::size_t>(*position);
  const std::size_t end = std::min<std::size_t>(text->size(), kReadLimit);
  std::size_t at = start;
  while (at < end && (*text)[at] < 128 && IsPlainChar((*text)[at])) ++at;
  if (at == start) return;
  // A short run unit by unit: cheaper than the general append for a word's few units.
  constexpr std::size_t kShortRun = 8;
  if (at - start <= kShortRun) {
    for (std::size_t i = start; i < at; ++i) buffer.push_back((*text)[i]);
  } else {
    buffer.append(*text, start, at - start);
  }
  *position = static_cast<std::int16_t>(at);
}

bool Interpreter::PutLastChar(std::int16_t level) {
  return Trapped(u"PutLastChar", u"PutLastChar", false, [&] {
    std::int16_t& position = ReadPosition(level);
    position = Add16(position, -1);
    return true;
  });
}

std::int32_t Interpreter::PeekNextChar(std::int16_t level) {
  return Trapped(u"PeekNextChar", u"PeekNextChar", kNoChar, [&] {
    std::int32_t c = GetNextChar(level);
    PutLastChar(level);
    return c;
  });
}

namespace {
// The room the words read may take, and the longest text whose words are kept.
constexpr std::size_t kMostWordMemoBytes = std::size_t{8} << 20;
constexpr std::size_t kLongestMemoText = 8192;
}  // namespace

std::u16string Interpreter::GetNextWord(std::int16_t level) {
  if (tape_ != nullptr || taping_ != nullptr) [[unlikely]] {
    // A recorded built-in reads the words its recording read, and no more.
    if (tape_ != nullptr) {
      if (tape_next_ >= tape_->words.size()) Decline();
      return tape_->words[tape_next_++];
    }
    std::u16string word = ReadWord(level);
    taping_->words.push_back(word);
    return word;
  }
  return ReadWord(level);
}

std::u16string Interpreter::ReadWord(std::int16_t level) {
  // Departure: a word read before from the same text and position is answered from the words kept, without reading again (mechanism only) (tests/interpreter_lexer_test.cpp: Lexer.ATextReadAgainGivesTheSameWordsAndPositionsFromTheWordsKept, Lexer.AWordListThatGrowsReadsTheSameTextAnew; tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
  std::int16_t start = 0;
  WordMemo* memo = ReadingMemo(level, start);
  if (memo == nullptr || static_cast<std::size_t>(start) >= memo->at.size()) {
    return ReadNextWord(level);
  }
  if (const std::int32_t known = memo->at[static_cast<std::size_t>(start)]; known > 0) {
    const MemoWord& read = memo->words[static_cast<std::size_t>(known - 1)];
    ReadPosition(level) = read.end;
    return read.word;
  }
  const std::uint64_t traps = traps_met_;
  std::u16string word = ReadNextWord(level);
  const std::size_t bytes = sizeof(MemoWord) + word.capacity() * sizeof(char16_t);
  if (MayKeepReading(level, memo, traps, bytes)) {
    support::IgnoreErrors([&] {
      memo->words.push_back(MemoWord{word, ReadPosition(level)});
      memo->at[static_cast<std::size_t>(start)] = static_cast<std::int32_t>(memo->words.size());
      word_memo_bytes_ += bytes;
    });
  }
  return word;
}

Interpreter::WordMemo* Interpreter::ReadingMemo(std::int16_t level, std::int16_t& start) {
  // A test that makes procedures fail on purpose reads everything for itself, and so does the
  // host tests compare with, which takes no shortcut.
  WordMemo* memo = FaultsInjected() || !UnwatchedAllowed() ? nullptr : LevelWordMemo(level);
  const std::int16_t* position = memo != nullptr ? read_positions_.Find(level) : nullptr;
  if (position == nullptr || *position < 0) return nullptr;
  start = *position;
  return memo;
}

bool Interpreter::MayKeepReading(std::int16_t level, const WordMemo* memo, std::uint64_t traps,
                                 std::size_t bytes) const noexcept {
  // Nothing failed on the way, the level still reads the same text, and there is room.
  return traps_met_ == traps && level_memos_[level] == memo &&
         word_memo_bytes_ + bytes <= kMostWordMemoBytes;
}

std::uint32_t Interpreter::ScanKey(Scan kind, std::int16_t start) noexcept {
  return static_cast<std::uint32_t>(kind) << 16 | static_cast<std::uint16_t>(start);
}

Interpreter::ScanStart Interpreter::StartScan(std::int16_t level, Scan kind) {
  // Departure: an IF's scan from a text and position read before is answered from what it read then (mechanism only) (tests/builtins_if_test.cpp: IfSteps.ScansReadAgainFromTheSamePlaceAnswerAsTheFirstReading, IfSteps.AKeptBranchSetsWhereItEndedWhateverTheCallerHeldBefore, IfSteps.AScanThatMetATrapIsNotKeptAndFailsAgain, IfScripts.OneIfTextRunAgainChoosesEachBranchByItsCondition)
  ScanStart scan;
  scan.memo = ReadingMemo(level, scan.start);
  if (scan.memo == nullptr) return scan;
  scan.traps = traps_met_;
  if (auto found = scan.memo->scans.find(ScanKey(kind, scan.start));
      found != scan.memo->scans.end()) {
    scan.found = &found->second;
    ReadPosition(level) = found->second.end;
  }
  return scan;
}

void Interpreter::KeepScan(std::int16_t level, Scan kind, const ScanStart& start,
                           const std::u16string& text, std::int16_t ended_at) {
  const std::size_t bytes = 64 + sizeof(MemoScan) + text.capacity() * sizeof(char16_t);
  if (start.memo == nullptr || !MayKeepReading(level, start.memo, start.traps, bytes)) return;
  support::IgnoreErrors([&] {
    start.memo->scans.try_emplace(ScanKey(kind, start.start),
                                  MemoScan{text, ended_at, ReadPosition(level)});
    word_memo_bytes_ += bytes;
  });
}

Interpreter::WordMemo* Interpreter::LevelWordMemo(std::int16_t level) {
  if (level < 0 || level > kDeepestLevel) return nullptr;
  WordMemo*& memo = level_memos_[level];
  if (memo != nullptr) return memo;
  const std::u16string* text = expression_texts_.Find(level);
  if (text != nullptr) memo = TextWordMemo(*text);
  return memo;
}

Interpreter::WordMemo* Interpreter::TextWordMemo(const std::u16string& text) {
  if (text.size() > kLongestMemoText) return nullptr;
  WordMemo* memo = nullptr;
  support::IgnoreErrors([&] {
    auto found = word_memos_.find(text);
    if (found == word_memos_.end()) {
      // Full: start again with the texts that come next (a host's scripts come round again).
      const std::size_t bytes =
          64 + text.size() * sizeof(char16_t) + (text.size() + 2) * sizeof(std::int32_t);
      if (word_memo_bytes_ + bytes > kMostWordMemoBytes) ForgetWordMemos();
      found = word_memos_.try_emplace(text).first;
      // Every position a word can start at, the one after the end included.
      found->second.at.assign(text.size() + 2, 0);
      word_memo_bytes_ += bytes;
    }
    memo = &found->second;
  });
  return memo;
}

void Interpreter::StartReadingWith(std::int16_t level, WordMemo* memo,
                                   std::u16string_view text) noexcept {
  // Only while the level holds that text (a failed AddInstance leaves another one there).
  if (memo == nullptr || level < 0 || level > kDeepestLevel) return;
  const std::u16string* held = expression_texts_.Find(level);
  if (held != nullptr && automation::SameUnits(*held, text)) level_memos_[level] = memo;
}

void Interpreter::LevelTextChanged(std::int16_t level) noexcept {
  if (level >= 0 && level <= kDeepestLevel) level_memos_[level] = nullptr;
}

void Interpreter::ForgetWordMemos() noexcept {
  for (WordMemo*& memo : level_memos_) memo = nullptr;
  word_memos_.clear();
  word_memo_bytes_ = 0;
}

void Interpreter::WordListsChanged() noexcept {
  ForgetRecorded();
  ForgetWordMemos();
}

std::u16string Interpreter::ReadNextWord(std::int16_t level) {
  return Trapped(u"GetNextWord", u"GetNextWord", std::u16string{}, [&] {
    std::u16string buffer;
    bool done = false;
    bool reader_failed = false;
    // The one-character questions below cannot fail for an ASCII character, and are answered
    // here from the character sets; they are asked when a test makes procedures fail on purpose.
    const bool answer_here = !FaultsInjected();
    while (!done) {
      if (answer_here) AppendPlainRun(level, buffer);
      const std::int32_t c = ReadNextChar(level);
      const bool ascii = answer_here && c >= 0 && c < 128;
      // A plain ASCII character (no delimiter, operator, quote, date sign or line end) only
      // joins the word: the questions below would all answer no.
      if (ascii && IsPlainChar(static_cast<char16_t>(c))) {
        buffer += static_cast<char16_t>(c);
        continue;
      }
      if (c == kNoChar) reader_failed = true;
      std::u16string literal;  // a literal replaces the delimiter that opened it
      bool use_literal = false;
      bool drop = false;  // the character is replaced by the empty text
      // Kept: the character that ends a word stays on it: "4)", "A," and "X\r" (tests/interpreter_lexer_test.cpp: Lexer.ParenthesisAndCommaStayAtTheEndOfTheWordTheyEnd)
      if (c == kEndOfText || c == kCarriageReturn || c == u'(' || c == u',' || c == u')') {
        done = true;
      } else if (c == kStringDelimiter) {
        literal = GetLiteralString(level);
        use_literal = true;
      } else if (c == kDateDelimiter) {
        literal = GetLiteralDate(level);
        use_literal = true;
      } else if (ascii ? c == u' ' || delimiter_chars_.Has(static_cast<char16_t>(c))
                       : IsDelimiter(CharText(c).view())) {
        if (HasNonBlank(buffer) || c != u' ') done = true;
      } else if (c == kLineFeed) {
        done = true;
        drop = true;
      } else if (ascii ? c != u' ' && operator_chars_.Has(static_cast<char16_t>(c))
                       : IsOperator(CharText(c).view())) {
        if (HasNonBlank(buffer) && !IsOperator(buffer)) {
          PutLastChar(level);
          drop = true;
          done = true;
        }
        if (!IsOperator(CharText(PeekNextChar(level)).view())) done = true;
      }
      if (use_literal) {
        buffer += literal;
      } else if (!drop && c != kNoChar && !(c == kEndOfText && !buffer.empty())) {
        buffer += static_cast<char16_t>(c);
      }
    }
    if (buffer.size() == 1 && (buffer[0] == kEndOfText || buffer[0] == kCarriageReturn)) {
      return std::u16string(kEndOfLine);
    }
    // The reader has reached its limit and will give nothing more: that is the end of the text
    // for every caller, which would otherwise wait for a word that cannot come.
    // Departure: a word read at the reader's limit is "<EOL>" (tests/interpreter_lexer_test.cpp: Lexer.AWordAtTheReadLimitIsTheEndOfTheText)
    if (reader_failed && !HasNonBlank(buffer)) return std::u16string(kEndOfLine);
    // Trimmed in place (blanks only, as Trim); the usual word only ends in the blank that
    // ended it.
    while (!buffer.empty() && buffer.back() == u' ') buffer.pop_back();
    std::size_t leading = 0;
    while (leading < buffer.size() && buffer[leading] == u' ') ++leading;
    if (leading > 0) buffer.erase(0, leading);
    return buffer;
  });
}

bool Interpreter::PutLastWord(std::int16_t level, std::u16string_view word) {
  return Trapped(u"PutLastWord", u"PutLastWord", false, [&] {
    if (!word.empty()) {
      std::int16_t& position = ReadPosition(level);
      // The one extra character stands for the character that ended the word.
      // Kept: one more than the word even when no character ended it (tests/interpreter_lexer_test.cpp: Lexer.PeekNextWordBeforeAnOperatorMovesBackOneCharacterTooFar)
      position = Add16(position, -(static_cast<std::int64_t>(word.size()) + 1));
    }
    return true;
  });
}

std::u16string Interpreter::PeekNextWord(std::int16_t level) {
  return Trapped(u"PeekNextWord", u"PeekNextWord", std::u16string{}, [&] {
    std::u16string word = GetNextWord(level);
    if (!word.empty() && word.back() == kCarriageReturn) word.pop_back();
    // Kept: at the end the end is consumed and the empty text answered (tests/interpreter_lexer_test.cpp: Lexer.PeekNextWordAtTheEndGivesTheEmptyTextAndConsumesTheEnd)
    if (word != kEndOfLine) {
      PutLastWord(level, word);
      return word;
    }
    return std::u16string{};
  });
}

std::u16string Interpreter::GetLiteral(std::int16_t level, char16_t delimiter) {
  std::u16string buffer(1, delimiter);
  for (;;) {
    const std::int32_t c = ReadNextChar(level);
    // The empty text means GetNextChar has reached its limit and will answer nothing else:
    // the literal ends there instead of waiting for a character that cannot come.
    // Departure: a literal open at the reader's limit ends there (tests/interpreter_lexer_test.cpp: Lexer.ALiteralOpenAtTheLimitEndsThereInsteadOfLooping)
    if (c == kNoChar) break;
    buffer += static_cast<char16_t>(c);
    if (c == kEndOfText || c == delimiter) break;
  }
  if (automation::TrimView(buffer) == std::u16string_view(&kEndOfText, 1)) {
    return std::u16string(kEndOfLine);
  }
  return buffer;
}

std::u16string Interpreter::GetLiteralString(std::int16_t level) {
  // Kept: the trap carries the title GetStringLiteral and reports GetLiteralDate (tests/interpreter_traps_test.cpp: Traps.EveryProcedureWritesItsTitleAndReportsItsName)
  return Trapped(u"GetStringLiteral", u"GetLiteralDate", std::u16string{},
                 [&] { return GetLiteral(level, kStringDelimiter); });
}

std::u16string Interpreter::GetLiteralDate(std::int16_t level) {
  return Trapped(u"GetLiteralDate", u"GetLiteralDate", std::u16string{},
                 [&] { return GetLiteral(level, kDateDelimiter); });
}

bool Interpreter::IsFunction(std::u16string_view word) {
  return Trapped(u"IsFunction", u"IsFunction", false, [&] {
    const UpperWord upper_word(word);
    const std::u16string_view upper = upper_word.view();
    if (upper.empty() || upper == u" ") return false;
    // Kept: any piece of the list counts, "DATE" and "AT" included (tests/interpreter_lexer_test.cpp: Lexer.IsFunctionIsACaseBlindSubstringSearch)
    return automation::ContainsUnits(function_list_upper_, upper);
  });
}

bool Interpreter::IsOperator(std::u16string_view word) {
  return Trapped(u"IsOperator", u"IsOperator", false, [&] {
    if (word.size() == 1) {
      // One character, the lexer's usual question: a blank trims to nothing, which is no
      // operator.
      const char16_t c = word[0];
      if (c == u' ') return false;
      if (c < 128) return operator_chars_.Has(c);
    }
    std::u16string_view trimmed = automation::TrimView(word);
    if (trimmed.empty() || trimmed == u" ") return false;
    // Kept: any piece of the list counts, "+ -" and "," included (tests/interpreter_lexer_test.cpp: Lexer.IsOperatorIsASubstringSearchOfTheOperatorList)
    return operator_list_.find(trimmed) != std::u16string::npos;
  });
}

bool Interpreter::IsDelimiter(std::u16string_view text) {
  return Trapped(u"IsDelimiter", u"IsDelimiter", false, [&] {
    // The empty text is found at the start of any text, so a blank is always a delimiter.
    // Kept: the empty text and a blank are delimiters (tests/interpreter_lexer_test.cpp: Lexer.IsDelimiterIsTrueForABlankAndTheEmptyTextAndFalseForATab)
    if (text.empty()) return true;
    if (text.size() == 1) {
      const char16_t c = text[0];
      if (c == u' ') return true;
      if (c < 128) return delimiter_chars_.Has(c);
    }
    return delimiter_list_.find(automation::TrimView(text)) != std::u16string::npos;
  });
}

bool Interpreter::IsStringLiteral(std::u16string_view word) {
  // Kept: the trap title is spelt "IsAtringLiteral" (tests/interpreter_traps_test.cpp: Traps.EveryProcedureWritesItsTitleAndReportsItsName)
  return Trapped(u"IsAtringLiteral", u"IsStringLiteral", false, [&] {
    std::u16string_view trimmed = automation::TrimView(word);
    return !trimmed.empty() && trimmed.front() == kStringDelimiter &&
           trimmed.back() == kStringDelimiter;
  });
}

bool Interpreter::IsDateLiteral(std::u16string_view word) {
  return Trapped(u"IsDateLiteral", u"IsDateLiteral", false, [&] {
    std::u16string_view trimmed = automation::TrimView(word);
    return !trimmed.empty() && trimmed.front() == kDateDelimiter &&
           trimmed.back() == kDateDelimiter;
  });
}

bool Interpreter::IsDataField(std::u16string_view word) {
  return Trapped(u"IsDataField", kNoReport, false, [&] {
    const std::u16string_view trimmed = automation::TrimView(word);
    // Departure: an unwatched run declines at a word that could name one of its temporaries, which the general run would find (tests/interpreter_unwatched_test.cpp: Unwatched.AWordThatCouldNameATemporaryDeclines)
    if (unwatched_ && (!automation::IsAsciiText(trimmed) ||
                       contract::stock::AsciiBeginsLikeATemporary(trimmed))) {
      Decline();
    }
    // The stock collection compares names without regard to case, and ProperCase changes only
    // the case of an ASCII text: the text itself finds the same field.
    if (stock_fields_ && automation::IsAsciiText(trimmed)) {
      return stock_fields_.exists(stock_fields_.collection, trimmed);
    }
    std::u16string name = support::modTools::ProperCase(trimmed);
    return HostFields()->Exists(name);
  });
}

}  // namespace qorvintr::engine
