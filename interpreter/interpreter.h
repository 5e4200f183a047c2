#pragma once
// The interpreter object: one per host, one script at a time.
//
// The public members keep the order of the dispatch interface _Interpreter. Every private
// procedure runs under the shared error trap (Trapped below): it logs, reports to the host's
// error object where the procedure reports, and answers its failure value; nothing escapes.
// Procedures keep the names the trap titles and reports carry (GetNextWord, PerformIf...);
// parameters, locals and members have plain C++ names. A "level" is the number of an open
// instance: the whole script runs at one level, each nested script (IF's condition and branch)
// at the next.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "qorvintr/components/data_field.h"
#include "qorvintr/value.h"
#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/host_error.h"
#include "automation/text.h"
#include "contract/stock.h"
#include "interpreter/limits.h"
#include "interpreter/listener.h"
#include "support/dynarray.h"
#include "support/error_trap.h"
#include "support/stack.h"

namespace qorvintr::engine {

class InterpreterSeam;

class Interpreter {
 public:
  Interpreter();
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  // ---- _Interpreter, in slot order ------------------------------------------------------
  // "02.01.0000" for version 2.1, revision 0.
  std::u16string Release() const;
  std::u16string Major() const;
  std::u16string Minor() const;
  std::u16string Revision() const;
  void SetObjError(contract::HostErrorRef error_object) { error_object_ = std::move(error_object); }
  contract::HostErrorRef objError() const { return error_object_; }
  // Stores the expression text of an open instance; an index outside the instance arrays is
  // the caller's error and raises 9 "Subscript out of range" (this member has no error trap).
  // The index is by reference, as the dispatch interface passes it.
  void SetStrExpression(std::int16_t& index, std::u16string text);
  void SetDataFields(contract::DataFieldsRef data_fields) { KeepDataFields(std::move(data_fields)); }
  contract::DataFieldsRef DataFields() const { return data_fields_; }
  // Reads the debug log's settings, writes the version banner, and keeps the collection, the
  // error object and the two names for the reports. False when that failed.
  bool Init(const contract::DataFieldsRef& data_fields, const contract::HostErrorRef& error_object,
            std::u16string_view system, std::u16string_view application);
  // Runs one script; answers the data field holding its value, the "Error" field on failure,
  // or none (an empty script). The caller's text is trimmed in place.
  contract::DataFieldRef RealizeRegularExpression(std::u16string& expression);
  // The host's settings file name (the dispatch interface's g_orlina_ini_filename, read through
  // OrlinaIniFilename too).
  std::u16string OrlinaIniFilename() const { return orlina_ini_filename_; }
  // OrlinaIniFilename's let: also sets the process-wide (per thread) settings file of the debug
  // log. The name is by reference, as the dispatch interface passes it.
  void SetOrlinaIniFilename(std::u16string& name);
  // g_orlina_ini_filename's let: the name alone; the debug log keeps its settings file.
  void SetOrlinaIniFilenameOnly(std::u16string name) { orlina_ini_filename_ = std::move(name); }
  void ResetMemory() noexcept;
  // Who watches the runs step by step (none by default; the listener must outlive its use).
  void SetListener(RunListener* listener) noexcept { listener_ = listener; }

 private:
#ifdef QORVINTR_TESTING
  friend class InterpreterSeam;
#endif

  // ---- The error trap -------------------------------------------------------------------
  // Runs body under support::RunTrapped; on an error writes "Interpreter - <title> - Error
  // Trap" with the number and description to the debug log, reports to the host as <reported>
  // unless that is empty, and answers failure. An error raised by the handler itself (a failing
  // error object or log) reaches the caller's own trap, as it does on the platform; at an entry
  // point (kDrop) it ends there.
  // The titles are taken as given (mostly literals) and measured only when used: the traps run
  // around every character the lexer reads.
  template <support::OnHandlerError kOnHandlerError = support::OnHandlerError::kRaise, class Result,
            class Title, class Reported, class Body>
  Result Trapped(const Title& title, const Reported& reported, Result failure, Body&& body);
  void HandleError(std::u16string_view title, std::u16string_view reported,
                   const support::TrappedError& error);

  // ---- Object (tables, instances) -------------------------------------------------------
  bool AddOperator(std::u16string operators);
  bool AddDelimiter(std::u16string delimiters);
  bool AddFunction(std::u16string functions);
  std::int16_t AddInstance(std::u16string_view expression);

  // ---- Lexer ----------------------------------------------------------------------------
  // A character, or kNoChar for the empty text the reader answers when its trap fired.
  static constexpr std::int32_t kNoChar = -1;
  std::int32_t GetNextChar(std::int16_t level);
  // GetNextChar's answer and step without the call, where GetNextChar cannot fail; anywhere
  // else (the read limit, a position before the text, no such level) GetNextChar itself.
  std::int32_t ReadNextChar(std::int16_t level);
  // Reads on while the characters are plain ASCII ones (IsPlainChar) and appends them, each
  // read as ReadNextChar would; stops before any other character and at the read limit.
  void AppendPlainRun(std::int16_t level, std::u16string& buffer);
  bool PutLastChar(std::int16_t level);
  std::int32_t PeekNextChar(std::int16_t level);
  std::u16string GetNextWord(std::int16_t level);
  // GetNextWord's reading of the text: from the words already read, or read now.
  std::u16string ReadWord(std::int16_t level);
  // GetNextWord's own reading, without the words already read.
  std::u16string ReadNextWord(std::int16_t level);
  bool PutLastWord(std::int16_t level, std::u16string_view word);
  std::u16string PeekNextWord(std::int16_t level);
  std::u16string GetLiteralString(std::int16_t level);
  std::u16string GetLiteralDate(std::int16_t level);
  bool IsFunction(std::u16string_view word);
  bool IsOperator(std::u16string_view word);
  bool IsDelimiter(std::u16string_view text);
  // An ASCII character that is none of the characters the word reader treats apart.
  bool IsPlainChar(char16_t c) const noexcept;
  bool IsStringLiteral(std::u16string_view word);
  bool IsDateLiteral(std::u16string_view word);
  bool IsDataField(std::u16string_view word);
  static bool IsLeftParenthesis(std::u16string_view word) noexcept { return word == u"("; }
  static bool IsRightParenthesis(std::u16string_view word) noexcept { return word == u")"; }
  std::u16string GetLiteral(std::int16_t level, char16_t delimiter);

  // ---- Statement driver: RealizeRegularExpression's steps (no trap of their own) ----------
  // One word where an operand may stand, and where an operator may stand; each answers the
  // state the driver goes on in.
  DriverState ReadOperand(std::int16_t level, std::u16string& word, std::int16_t& depth);
  DriverState ReadOperator(std::int16_t level, std::u16string& word, std::int16_t& depth);
  // Removes the level's temporaries and closes it; each step that fails goes to on_error and
  // the closing goes on (defined in driver.cpp, its only user).
  template <class OnError>
  void CloseInstance(std::int16_t level, OnError& on_error);
  struct WordMemo;
  // The run itself, from the trimming of the script to its value; level and word follow it for
  // the error handler. words: the script's words, when the caller has found them already.
  void RunScript(std::u16string& expression, std::int16_t& level, std::u16string& word,
                 contract::DataFieldRef& result, WordMemo* words = nullptr);

  // ---- Unwatched runs -------------------------------------------------------------------
  // While nothing but the interpreter's own code runs (the stock collection and creator, host
  // fields that are stock ones, no listener, no fault injection), a temporary's place in the
  // collection, its name and its table slots cannot be seen until the run ends. Such a run keeps
  // its temporaries to itself: the creators make the field and say kUnwatchedName, the pushes
  // take the field just made, and the end leaves the tables and names exactly as the removals
  // would have. Anything that could make a difference (an error, which reports and logs; a word
  // that could name a temporary; a host field that is not a stock one; a function) declines:
  // the run's traces are undone and the script runs again the general way from its start.
  static constexpr std::u16string_view kUnwatchedName = u"\uFFFF";
  // Whether this run may be tried unwatched: every condition that holds for its whole length.
  bool MayRunUnwatched();
  // True with the run's value in result; false when it declined, having changed nothing the
  // general run does not set alike.
  bool RunUnwatched(std::u16string& expression, contract::DataFieldRef& result);
  [[noreturn]] void Decline();
  // A host field about to be read in an unwatched run: declines (by the flag alone, for the
  // driver to stop after the word) unless reading it runs nothing.
  void CheckUnwatchedRead(const contract::DataFieldRef& field);
  // The temporaries' tables as the general run leaves them: held_here temporaries held at the
  // level (removed by its closing, which follows), at most most_names names in the list and most
  // most_holds slots held by one level at a time on the way.
  void SettleUnwatched(std::int16_t level, std::size_t held_here, std::size_t most_names,
                       std::size_t most_holds);
  // A temporary just made is held at the level (an unwatched run only counts it), and a nested
  // level closes (its temporaries' names go back).
  void NoteUnwatchedHold(std::int16_t level);
  // count temporaries just made at the level (0..kDeepestLevel), each with a name and a slot.
  void CountUnwatchedHolds(std::int16_t level, std::int32_t count) noexcept;
  void NoteUnwatchedClose(std::int16_t level) noexcept;
  // The names of the temporaries the run made (every one after a built-in: a result may hold
  // another in its Data; else the result alone), and the field the host gets for the result.
  void NameUnwatchedResult(contract::DataFieldRef& result);
  // Names a field as the temporary whose name would have had that number.
  static void NameAsTemporary(components::DataFieldObject& field, std::size_t number);
  // That name, written in place: a name of more than seven characters would be a heap text
  // per result.
  struct TemporaryName {
    explicit TemporaryName(std::size_t number) noexcept;
    std::u16string_view View() const noexcept { return {text, size}; }
    char16_t text[32];
    std::size_t size = 0;
  };
  // The conditions on the collection and the creator: the stock ones, or the library's own
  // reached through another module (the COM servers'), with no host key named like a temporary.
  bool UnwatchedFieldsReady();
  bool UnwatchedCreatorReady();
  // A host field of a collection of the second kind, read in an unwatched run: declines unless
  // reading it runs nothing of the host's.
  contract::DataFieldRef UnwatchedHostField(std::u16string_view name);
  // The result temporary as the host gets it when the creator is not the stock one: a field of
  // the registered creator with the pooled field's members.
  contract::DataFieldRef UnwatchedResult(components::DataFieldObject& field);
  // The same for a temporary held in a Data: the one field made for each pooled field.
  using MadeForPooled = std::vector<std::pair<const automation::Object*, contract::DataFieldRef>>;
  contract::DataFieldRef UnwatchedResult(components::DataFieldObject& field, MadeForPooled& made);
  // A field of the registered creator holding the content, made in one step by the creator's
  // own maker while the creator is the one the run was allowed under.
  contract::DataFieldRef MadeResult(const contract::stock::FieldContent& content);
  // The steps that take the next name slot and the next hold slot, tables grown as they must.
  void TakeAutoNameSlot();
  void TakeHoldSlot(std::int16_t level);
  struct Declined {};
  // Far below the 16-bit limits of the tables and the names, which the general run meets with
  // its errors.
  static constexpr std::size_t kMostUnwatched = 30000;

  // ---- Recorded runs --------------------------------------------------------------------
  // A built-in whose reading uses nothing but the words of its level's text and whose work
  // leaves one temporary: its call is recorded as the words it read, and replayed by the same
  // reading of the same words (the fields they name found again, on the values of the day).
  enum class TapedBuiltIn : std::uint8_t { kNone, kFormat, kFormatHL7DateTime, kReplace, kDateCat };
  static TapedBuiltIn TapedBuiltInNamed(std::u16string_view upper_name) noexcept;
  struct RecordedCall {
    TapedBuiltIn which = TapedBuiltIn::kNone;
    // The name as read (a host field of that name would be read instead), and what GetNextWord
    // gave its reading, in order.
    std::u16string word;
    std::vector<std::u16string> words;
  };
  // What an unwatched run did, kept per script text so that the same script runs again without
  // the lexer: the temporaries its words made (a date literal's is made again, its value may
  // depend on the clock), the host fields it pushed by name, and where it reduced. The reduction
  // itself runs again on the values of the day (reduce.h), as the general run would; anything
  // that does not go exactly as recorded (a field gone or no longer a stock one, an error)
  // declines to the general run.
  struct RecordedStep {
    enum class Kind : std::uint8_t { kTemporary, kDateLiteral, kField, kReduce, kCall };
    Kind kind = Kind::kReduce;
    std::u16string_view type;  // kTemporary: its DataType, one of the fixed words
    automation::Value data;    // kTemporary: its Data
    // kTemporary: IsDate and IsNumeric of its Data when that is a text (1 or 0), else -1:
    // asked each time.
    std::int8_t date = -1;
    std::int8_t numeric = -1;
    std::u16string text;       // kDateLiteral: the word; kField: the field's name
    std::shared_ptr<const RecordedCall> call;  // kCall
  };
  // A script that is one IF statement (its first word, with nothing after its END IF) is kept
  // as the statement's parts: each frame's condition and THEN branch, its ELSE branch, and where
  // the reading ends for each way the statement can go. A part is known once a run has read it:
  // a way the statement has not gone yet is run word by word once, which reads it.
  static constexpr std::int16_t kUnknownEnd = INT16_MIN;
  struct RecordedIf {
    struct Frame {
      std::u16string condition;  // as the nested run trims it, without an ELSEIF's IF
      std::u16string branch;     // the THEN branch as its words were joined
      std::int16_t ended_at = 0;
      std::int16_t end = kUnknownEnd;  // where the reading ends when this branch ran
    };
    std::u16string word;  // the IF as read: a host field of that name would be read instead
    bool whole = true;    // false: something follows the END IF, and the script is not replayed
    std::vector<Frame> frames;
    bool else_read = false;
    std::u16string else_branch;
    std::int16_t none_end = kUnknownEnd;  // where the reading ends when no branch ran
  };
  struct RecordedRun {
    std::vector<RecordedStep> steps;
    std::int16_t end_position = 0;  // where the reader stopped
    std::shared_ptr<RecordedIf> statement;  // set for a script that is one IF statement
  };
  // An IF statement being read by a run that may keep it.
  struct IfLearning {
    std::shared_ptr<RecordedIf> statement;  // none yet, or the one kept for the script
    bool active = false;   // the statement's frames are being run (level 0 only)
    bool done = false;     // the statement has ended; made_after: temporaries made by then
    std::size_t frame = 0;
    std::int32_t taken = -1;  // the frame whose branch ran
    std::size_t made_after = 0;
    // Not known to be more than the statement.
    bool MayLearn() const noexcept { return !statement || statement->whole; }
  };
  // A replay's stack item: the replay's host field or temporary of that number; neither is the
  // empty item.
  struct ReplayItem {
    std::int32_t host = -1;
    std::int32_t temp = -1;
  };
  // A replay's temporary: what the field would hold (its DataClass is always "Auto").
  struct ReplayTemporary {
    std::u16string_view type;
    automation::Value data;
    std::int8_t date = -1;     // a recorded literal's answer to IsDate, or -1
    std::int8_t numeric = -1;  // and to IsNumeric
    void SetDataType(std::u16string_view word) noexcept { type = word; }
    void SetData(automation::Value value) { data = std::move(value); }
    void SetDataClass(std::u16string_view) noexcept {}
  };
  struct RecordedItems;
  // The recorded run of the (trimmed) script, or none.
  const RecordedRun* FindRecorded(const std::u16string& expression) const;
  // Runs a recorded script at a new level as RunScript would; made counts its temporaries.
  void ReplayScript(const RecordedRun& run, std::u16string& expression, std::int16_t& level,
                    contract::DataFieldRef& result, std::size_t& made);
  // The recorded run at a new level (level 0 for a script, 1 on for a nested run, else it
  // declines): its steps on the replay's stack, from an empty one, and the reading position
  // the run ended at; answers the item left on top.
  ReplayItem ReplayInstance(const RecordedRun& run, std::u16string& expression,
                            std::int16_t& level, bool nested);
  // A nested run (an IF's condition or branch) inside a run nobody watches: replayed when its
  // text has a recording, otherwise run by RunScript and recorded on the way.
  void RunNestedUnwatched(std::u16string& expression, std::int16_t& level, std::u16string& word,
                          contract::DataFieldRef& result);
  // The nested run from its recording, leaving what the general nested run leaves: its level,
  // the counts its temporaries took and its result (a temporary of the run, or a host field).
  void ReplayNested(const RecordedRun& run, std::u16string& expression, std::int16_t& level,
                    contract::DataFieldRef& result);
  // A script that is one IF statement, from its parts: the conditions and the branch chosen run
  // as the general run runs them (a nested run of level 1 from its recording, or the general
  // nested run), and the statement's values are made as FinishIf makes them. A part not known
  // yet ends the replay as a decline that reads the script word by word at once (IfGap).
  void ReplayIf(const RecordedIf& statement, std::u16string& expression, std::int16_t& level,
                contract::DataFieldRef& result);
  [[noreturn]] void IfGap();
  // A condition's or branch's value at level 1 while level 0 runs an IF statement.
  contract::DataFieldRef NestedValue(const std::u16string& text);
  // The recorded nested run at level 1 without a level of its own: nothing of level 1 that
  // the host could tell is left otherwise (ReplayIf checks the level is free first).
  contract::DataFieldRef ReplayAtLevelOne(const RecordedRun& run);
  // What a nested replay leaves once its steps have run: the counts its temporaries took, and
  // its result (a temporary of the run, or a host field).
  void EndNestedReplay(std::int16_t level, const ReplayItem& top, contract::DataFieldRef& result);
  // The recorded steps on the replay's stack, from an empty one; answers the item on top.
  ReplayItem ReplaySteps(const RecordedRun& run, std::int16_t level);
  // A recorded built-in's value, its arguments read again from the words it read.
  automation::Value ReplayCall(const RecordedCall& call, std::int16_t level);
  // The IF statement's reading, noted while it is learned: a frame's parts, the ELSE branch.
  void LearnIfFrame(const std::u16string& condition, const std::u16string& branch,
                    std::int16_t ended_at, bool taken);
  void LearnIfElse(const std::u16string& branch);
  // At the end of an answered run that read an IF statement: keeps what it learned.
  void KeepLearnedIf(const std::u16string& expression, std::int16_t end_position,
                     bool in_recordings);
  // The driver's steps, written down while a run is being recorded.
  void RecordMade();
  void RecordStep(RecordedStep::Kind kind, std::u16string_view text = {});
  // Keeps the run just recorded, within the room the recordings may take.
  void KeepRecorded(const std::u16string& expression, RecordedRun&& run);
  // The recordings depend on the lists of words: any change of them drops every one.
  void ForgetRecorded() noexcept;

  // ---- Words already read -----------------------------------------------------------------
  // What GetNextWord reads is a function of the text, the position and the word lists, and
  // hosts read the same texts again and again (the same scripts, an IF's condition and branches,
  // a built-in's arguments): each word read from a position of a text is kept with the position
  // the reading ended at. A reading during which any trap fired is not kept.
  struct MemoWord {
    std::u16string word;
    std::int16_t end = 0;
  };
  // An IF's scans read words up to a keyword in the same way: what one read from a start
  // position (its text, the ELSE or ELSEIF it ended at, 0 for neither, and the position it
  // ended at) is kept as the words are.
  enum class Scan : std::uint8_t { kCondition, kStatements, kElseStatements, kEndIf };
  struct MemoScan {
    std::u16string text;
    std::int16_t ended_at = 0;
    std::int16_t end = 0;
  };
  struct WordMemo {
    // Whether the text names DateCompare, which a run nobody watches leaves to the general run:
    // -1 not asked yet, else 0 or 1.
    std::int8_t names_declining = -1;
    std::vector<std::int32_t> at;  // by start position: 1 + the index of its word; 0: not read
    std::vector<MemoWord> words;
    std::unordered_map<std::uint32_t, MemoScan> scans;  // by kind and start position
  };
  // The words of the level's text (found by the text on the level's first word), or none.
  WordMemo* LevelWordMemo(std::int16_t level);
  // The words of a text (made empty when there are none yet), or none for a text too long to
  // keep them.
  WordMemo* TextWordMemo(const std::u16string& text);
  // The level reads with memo, the words of text, from its first word.
  void StartReadingWith(std::int16_t level, WordMemo* memo, std::u16string_view text) noexcept;
  // The level's words when readings may be kept, with the reading position to start at.
  WordMemo* ReadingMemo(std::int16_t level, std::int16_t& start);
  // Whether a reading of bytes that began with traps fired so far may be kept in memo.
  bool MayKeepReading(std::int16_t level, const WordMemo* memo, std::uint64_t traps,
                      std::size_t bytes) const noexcept;
  // A scan about to start at the level's reading position. found: what it read there before
  // (the reading position is then where it ended); otherwise Keep keeps what it reads now, if
  // no trap fired on the way and the level still reads the same text.
  struct ScanStart {
    WordMemo* memo = nullptr;
    std::int16_t start = 0;
    std::uint64_t traps = 0;
    const MemoScan* found = nullptr;
  };
  ScanStart StartScan(std::int16_t level, Scan kind);
  static std::uint32_t ScanKey(Scan kind, std::int16_t start) noexcept;
  void KeepScan(std::int16_t level, Scan kind, const ScanStart& start, const std::u16string& text,
                std::int16_t ended_at);
  // The level's text is another one now.
  void LevelTextChanged(std::int16_t level) noexcept;
  void ForgetWordMemos() noexcept;
  // The operator or delimiter list grew: what was read and recorded before may read otherwise
  // now.
  void WordListsChanged() noexcept;

  // ---- Expression evaluator -------------------------------------------------------------
  bool EvaluateExpression(std::int16_t level);
  // The instance's stack as the reduction (reduce.h) runs on it.
  struct FieldStackItems;
  static std::u16string StripStringDelimiters(std::u16string_view text);
  static std::u16string StripDateDelimiters(std::u16string_view text);

  // ---- Temporary data fields ------------------------------------------------------------
  std::u16string CreateStringDataField(std::u16string_view text);
  std::u16string CreateOperatorDataField(std::u16string_view text);
  std::u16string CreateNumericDataField(std::u16string_view text);
  std::u16string CreateDateDataField(std::u16string_view text);
  std::u16string CreateDataFieldFromVariant(const automation::Value& value);
  std::u16string GetNewDataFieldName();
  // GetNewDataFieldName's steps and trap, answering the name where the list keeps it (the empty
  // text on failure): valid until the list changes.
  const std::u16string& NextAutoDataFieldName();
  bool RemoveAutoDataFieldNameFromList(std::u16string_view name);
  std::u16string AddNameToHoldArray(const std::u16string& name, std::int16_t level);
  contract::DataFieldRef NewDataField();
  // A new temporary. When the stock creator is the registered one the interpreter makes the
  // field itself (from a pool of fields nobody else holds) and writes its members directly: the
  // host cannot tell, since the stock creator would give the same empty field.
  struct NewField {
    contract::DataFieldRef ref;
    components::DataFieldObject* stock = nullptr;
    void SetName(std::u16string_view name) {
      if (stock) stock->AssignName(name); else ref->SetName(std::u16string(name));
    }
    void SetDataType(std::u16string_view type) {
      if (stock) stock->AssignDataType(type); else ref->SetDataType(std::u16string(type));
    }
    void SetDataClass(std::u16string_view data_class) {
      if (stock) stock->AssignDataClass(data_class);
      else ref->SetDataClass(std::u16string(data_class));
    }
    void SetData(automation::Value value) {
      if (stock) stock->DataSlot() = std::move(value); else ref->SetData(value);
    }
  };
  // members_written: the caller writes Name, DataType and DataClass before the field can be
  // seen, so a pooled field's old texts need not be cleared first.
  NewField NewTemporary(bool members_written);
  // A pooled temporary holding a replayed value, as the general run's temporary holds it.
  NewField ReplayedField(const ReplayTemporary& value);
  // Keeps a temporary made in an unwatched run: its creation order gives its name.
  void KeepUnwatched(const NewField& field);
  // Nine digits at most and nothing else: the Long a numeric temporary of the text holds.
  static bool SmallWholeNumber(std::u16string_view text, std::int32_t& value) noexcept;
  // The temporary the stock collection took last, while nothing can have changed the collection
  // since (no removal, no error report, no listener, no other collection): what its Item would
  // answer for that name, found without the lookup.
  const contract::DataFieldRef* JustAdded(std::u16string_view name) const noexcept {
    if (!last_added_ || listener_ != nullptr || !stock_fields_) return nullptr;
    const auto* field = static_cast<const components::DataFieldObject*>(last_added_.get());
    return field->NameRef() == name ? &last_added_ : nullptr;
  }
  bool StockCreator();
  // Adds the field, named taken, to the host's collection; answers its Name, or nothing when the
  // collection refused it.
  std::u16string AddAutoField(NewField& field, const std::u16string& taken);
  // The Create*DataField procedures' common steps under the trap of that title: a new field,
  // named from the list, filled, added.
  template <class Fill>
  std::u16string CreateTemporary(std::u16string_view title, Fill&& fill);
  // Takes the name in the slot off the list of temporaries' names, if the slot is its top.
  void GiveBackName(std::int16_t slot) noexcept;
  // Keeps the host's collection, and the direct view of it when it is the stock one.
  void KeepDataFields(contract::DataFieldsRef data_fields);
  // Pushes the temporary of that name on the level's stack and records it in the level's hold
  // slots, so that the level's run removes it again. The two differ in the lookup, and each
  // caller keeps the one it has always had:
  //  - PushHeld hands the collection's Item to the stack as it comes; a collection that
  //    answers no field leaves an empty item, which fails later where it is used. The driver's
  //    operands and operators, IF's value and DateCompare's value: the driver and DateCompare
  //    have already refused an empty name.
  //  - PushHeldChecked looks the field up with HostField, so that no field is error 91 in the
  //    caller's own trap: the values of Format, FormatHL7DateTime, Replace and DateCat, which
  //    push whatever name their temporary got, the empty one of a failed temporary included.
  // The name is by reference because the collection takes it so; the name recorded is the one
  // the collection left.
  void PushHeld(std::u16string& name, std::int16_t level);
  // Pushes the collection's Item of the name as it comes (PushHeld without the hold slot).
  void PushItem(std::u16string& name, std::int16_t level);
  void PushHeldChecked(std::u16string& name, std::int16_t level);
  template <class Push>
  void HoldAndPush(std::u16string& name, std::int16_t level, Push&& push);

  // ---- Built-in functions (builtins/, one file per family) --------------------------------
  automation::Value PerformFunction(std::u16string_view function, std::int16_t level);
  bool PerformIf(std::int16_t level);
  void FinishIf(std::int16_t level, const automation::Value& value);
  // FinishIf's second step: the statement's value as a temporary on the level's stack.
  void PushIfValue(std::int16_t level, const automation::Value& value);
  std::u16string GetIfCondition(std::int16_t level);
  // ended_at becomes kEndedAtElseIf or kEndedAtElse when the branch ended there.
  std::u16string GetStatements(std::int16_t level, std::int16_t& ended_at);
  bool RemoveEndIf(std::int16_t level);
  // PerformIf's steps (no trap of their own): the condition and the branch it chooses, into
  // value; true when the condition was false and an ELSEIF follows, whose statement runs next.
  bool RunIfBranches(std::int16_t level, automation::Value& value);
  std::u16string GetElseStatements(std::int16_t level);
  bool PerformFormat(std::int16_t level);
  // The taped built-ins' work without their trap and temporary: the arguments read, the value
  // made. field and source: the stand-in a failed reader leaves (none where nothing fails).
  automation::Value FormatValue(std::int16_t level, contract::DataFieldRef& field);
  automation::Value FormatHL7DateTimeValue(std::int16_t level);
  automation::Value ReplaceValue(std::int16_t level, contract::DataFieldRef& source);
  automation::Value DateCatValue(std::int16_t level);
  bool GetFormatArguments(std::int16_t level, contract::DataFieldRef& field,
                          std::u16string& picture);
  bool PerformFormatHL7DateTime(std::int16_t level);
  // The flags are the platform's Booleans (-1 True, 0 False).
  bool PerformGetHL7DateTimeFormatArguments(std::int16_t level, std::u16string& date,
                                            std::u16string& time, std::u16string& separator,
                                            std::int16_t& include_time, std::int16_t& include_zone,
                                            std::u16string& zone);
  // Its steps (no trap of their own), one argument each; false when the text ended there.
  void ReadHL7Date(std::int16_t level, std::u16string& date);
  bool ReadHL7Time(std::int16_t level, std::u16string& time);
  bool ReadHL7Separator(std::int16_t level, std::u16string& separator);
  bool ReadHL7Flag(std::int16_t level, std::int16_t& flag);
  void ReadHL7Zone(std::int16_t level, std::u16string& zone);
  bool PerformReplace(std::int16_t level);
  bool GetReplaceArguments(std::int16_t level, contract::DataFieldRef& source, std::u16string& find,
                           std::u16string& replacement, std::int32_t& start, std::int32_t& count,
                           std::int32_t& compare);
  std::int16_t PerformDateCompare(std::int16_t level);
  std::int16_t DateCompare(const automation::Value& first, const automation::Value& second);
  static automation::Value RemoveCommas(const automation::Value& text);
  bool PerformDateCat(std::int16_t level);

  // ---- Shared pieces --------------------------------------------------------------------
  // The host's collection; none set raises 91 (object variable not set).
  contract::DataFieldsRef HostFields() const;
  // The host's field of that name (the name by reference, as the collection takes it); an
  // answer of no object raises 91 too.
  contract::DataFieldRef HostField(std::u16string& name);
  // The host's field of that name as an unwatched run reads it: declines unless it is there and
  // reading it runs nothing of the host's.
  contract::DataFieldRef QuietHostField(std::u16string_view name);
  // The same through the collection underneath (its mCol).
  contract::DataFieldRef MColField(std::u16string_view name);
  support::Stack& InstanceStack(std::int16_t level);
  // Asked for every character read: inline.
  const std::u16string& InstanceText(std::int16_t level) const { return expression_texts_(level); }
  std::int16_t& ReadPosition(std::int16_t level) { return read_positions_(level); }

  // ---- State, in the order of declaration -------------------------------------------------
  std::u16string orlina_ini_filename_;
  support::DynArray<std::u16string> expression_texts_;
  support::DynArray<std::int16_t> read_positions_;
  std::int16_t instance_counter_ = 0;
  std::u16string function_list_;
  std::u16string function_list_upper_;  // the function list upper-cased, for IsFunction
  std::u16string delimiter_list_;
  std::u16string operator_list_;
  // Which ASCII characters occur in the two lists above, for the one-character questions the
  // lexer asks of every character. The lists only grow, so a character once marked stays.
  class AsciiSet {
   public:
    void Mark(std::u16string_view text) noexcept {
      for (char16_t c : text) {
        if (c < 128) bits_[c >> 6] |= std::uint64_t{1} << (c & 63);
      }
    }
    bool Has(char16_t c) const noexcept { return (bits_[c >> 6] >> (c & 63)) & 1; }

   private:
    std::uint64_t bits_[2] = {0, 0};
  };
  AsciiSet delimiter_chars_;
  AsciiSet operator_chars_;
  support::DynArray<support::StackRef> stacks_;
  std::vector<support::StackRef> spare_stacks_;  // emptied Stacks for AddInstance to reuse

  // The host may call the interpreter again from inside one of its calls (from its collection,
  // a field, its error object or the log). The calls running are counted, so that a ResetMemory
  // asked for meanwhile waits for the outermost one to end: the run under way still refers into
  // the tables a reset would make anew.
  class EnteredCall {
   public:
    explicit EnteredCall(Interpreter& interpreter) noexcept : interpreter_(interpreter) {
      ++interpreter_.calls_running_;
    }
    ~EnteredCall() {
      if (--interpreter_.calls_running_ == 0 && interpreter_.reset_waiting_) {
        interpreter_.ResetWaiting();
      }
    }
    EnteredCall(const EnteredCall&) = delete;
    EnteredCall& operator=(const EnteredCall&) = delete;

   private:
    Interpreter& interpreter_;
  };
  void ResetMemoryNow() noexcept;
  void ResetWaiting() noexcept;
  std::int32_t calls_running_ = 0;
  bool reset_waiting_ = false;
  contract::DataFieldsRef data_fields_;
  contract::stock::FieldsView stock_fields_;  // set when data_fields_ is the stock collection
  // Set when data_fields_ is the library's own collection behind another module's interface.
  contract::stock::OwnFieldsView own_fields_;
  // The quiet test of the registered creator of data fields, as of a registry generation.
  std::uint64_t own_creator_generation_ = ~std::uint64_t{0};
  contract::stock::QuietTest own_creator_test_ = nullptr;
  contract::stock::FieldMaker own_field_maker_ = nullptr;
  contract::HostErrorRef error_object_;
  // Whether the registered creator of data fields is the stock one, as of a registry generation.
  std::uint64_t creator_generation_ = ~std::uint64_t{0};
  bool stock_creator_ = false;
  // Fields the interpreter made; one that only the pool holds is free for the next temporary.
  std::vector<std::shared_ptr<components::DataFieldObject>> field_pool_;
  std::size_t pool_next_ = 0;
  // The stock temporary the stock collection took last (see JustAdded); reset by anything that
  // may change the collection.
  contract::DataFieldRef last_added_;
  // The temporaries' names, in the order made (AutoNameList and AutoNameTop).
  support::DynArray<std::u16string> auto_names_;
  std::int16_t auto_name_top_ = 0;
  // Per level, the names of the temporaries its run must remove (HoldArray and HoldTop).
  support::DynArray2D<std::u16string> hold_array_;
  support::DynArray<std::int16_t> hold_top_;
  automation::Value system_name_ = automation::Value::String(u"");
  automation::Value application_name_ = automation::Value::String(u"");
  automation::Value module_name_ = automation::Value::String(u"");
  RunListener* listener_ = nullptr;
  // The unwatched run under way, its temporaries in creation order (the later of two alike is
  // the live one: a field dropped from the stack may serve again), and the last one made.
  bool unwatched_ = false;
  bool declined_ = false;
  std::vector<components::DataFieldObject*> unwatched_made_;
  contract::DataFieldRef unwatched_last_;
  // What the general run's name list and hold table would have held: the number each temporary's
  // name would have had (parallel to unwatched_made_), how many names would be in the list and
  // how many slots each level would hold now, the most of each on the way, and whether every
  // temporary is to be named at the end (the run called a built-in: an IF's value holds the
  // field its branch answered).
  std::vector<std::int32_t> unwatched_numbers_;
  std::int32_t unwatched_live_ = 0;
  std::int32_t unwatched_held_[kDeepestLevel + 1] = {};
  std::int32_t unwatched_most_live_ = 0;
  std::int32_t unwatched_most_held_ = 0;
  bool unwatched_name_all_ = false;
  // The recorded runs by script text, how much room they take (roughly, in bytes), and the
  // recording under way (none: not recording).
  std::unordered_map<std::u16string, RecordedRun, std::hash<std::u16string>,
                     automation::SameUnitsKey>
      recorded_;
  std::size_t recorded_bytes_ = 0;
  RecordedRun* recording_ = nullptr;
  // A taped built-in's reading: the call whose words GetNextWord writes down, or the call whose
  // words it gives back (from the next one on).
  RecordedCall* taping_ = nullptr;
  const RecordedCall* tape_ = nullptr;
  std::size_t tape_next_ = 0;
  // The IF statement a run reads word by word, and the replay that met a part not known yet
  // (the next run of the script reads it word by word instead of replaying).
  IfLearning if_learning_;
  bool if_gap_ = false;
  bool if_relearn_ = false;
  // A replay's stack and temporaries, kept for the next one.
  std::vector<ReplayItem> replay_stack_;
  std::vector<contract::DataFieldRef> replay_hosts_;
  std::vector<ReplayTemporary> replay_temps_;
  // The words read, by text; the room they take (roughly, in bytes); each level's words, found
  // on its first word; and how many traps have fired (a reading that saw one is not kept).
  std::unordered_map<std::u16string, WordMemo, std::hash<std::u16string>,
                     automation::SameUnitsKey>
      word_memos_;
  std::size_t word_memo_bytes_ = 0;
  WordMemo* level_memos_[kDeepestLevel + 1] = {};
  std::uint64_t traps_met_ = 0;
  // Tells the listener, when there is one; otherwise one test of a null pointer.
  template <class Step>
  void Notify(Step&& step) {
    if (listener_ != nullptr) [[unlikely]] step(*listener_);
  }

#ifdef QORVINTR_TESTING
  // Tests make a chosen procedure fail through this: it runs first inside every trap, given
  // the trap's title. Only the library the tests link has it.
  std::function<void(std::u16string_view)> fault_injector_;
  void InjectFault(std::u16string_view title) {
    if (fault_injector_) fault_injector_(title);
  }
  bool FaultsInjected() const noexcept { return static_cast<bool>(fault_injector_); }
  // Tests forbid unwatched runs (and the words kept per text with them) to compare, and count
  // how runs went.
  bool unwatched_allowed_ = true;
  std::int32_t unwatched_answered_ = 0;
  std::int32_t unwatched_declined_ = 0;
  bool UnwatchedAllowed() const noexcept { return unwatched_allowed_; }
  void CountUnwatched(bool answered) noexcept {
    ++(answered ? unwatched_answered_ : unwatched_declined_);
  }
  std::int32_t recorded_replayed_ = 0;
  void CountReplayed() noexcept { ++recorded_replayed_; }
  std::int32_t nested_replayed_ = 0;
  void CountNestedReplayed() noexcept { ++nested_replayed_; }
#else
  static void InjectFault(std::u16string_view) noexcept {}
  static constexpr bool FaultsInjected() noexcept { return false; }
  static constexpr bool UnwatchedAllowed() noexcept { return true; }
  static void CountUnwatched(bool) noexcept {}
  static void CountReplayed() noexcept {}
  static void CountNestedReplayed() noexcept {}
#endif
};

}  // namespace qorvintr::engine
