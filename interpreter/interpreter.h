#pragma once
// The interpreter object: one per host, one script at a time.
//
// The public members keep the order of the dispatch interface _Interpreter. Every private
// procedure runs under the shared error trap (Trapped below): it logs, reports to the host's
// error object where the procedure reports, and answers its failure value; nothing escapes.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "automation/value.h"
#include "contract/data_field.h"
#include "contract/host_error.h"
#include "support/dynarray.h"
#include "support/error_trap.h"
#include "support/stack.h"

namespace qorvintr {

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
  void SetObjError(contract::HostErrorRef vData) { objError_ = std::move(vData); }
  contract::HostErrorRef objError() const { return objError_; }
  // Stores the expression text of an open instance; an index outside the instance arrays is
  // the caller's error and raises 9 "Subscript out of range" (this member has no error trap).
  void SetStrExpression(std::int16_t& intIndex, std::u16string vData);
  void SetDataFields(contract::DataFieldsRef vData) { DataFields_ = std::move(vData); }
  contract::DataFieldsRef DataFields() const { return DataFields_; }
  bool Init(contract::DataFieldsRef& objDataFields, contract::HostErrorRef& objError,
            std::u16string& strSystem, std::u16string& strApplication);
  // Runs one script; answers the data field holding its value, the "Error" field on failure,
  // or none (an empty script). The caller's text is trimmed in place.
  contract::DataFieldRef RealizeRegularExpression(std::u16string& strExpression);
  // The public field; OrlinaIniFilename reads and writes it too.
  std::u16string g_orlina_ini_filename;
  // Also sets the process-wide (per thread) settings file of the debug log.
  void SetOrlinaIniFilename(std::u16string& vData);
  std::u16string OrlinaIniFilename() const { return g_orlina_ini_filename; }
  void ResetMemory() noexcept;

 private:
  friend class InterpreterSeam;

  // ---- The error trap -------------------------------------------------------------------
  // Runs body; on an error writes "Interpreter - <title> - Error Trap" with the number and
  // description to the debug log, reports to the host as <reported> unless that is empty, and
  // answers failure. An error raised by the handler itself (a failing error object or log)
  // reaches the caller's own trap, as it does on the platform.
  // The titles are taken as given (mostly literals) and measured only when used: the traps run
  // around every character the lexer reads.
  template <class Result, class Title, class Reported, class Body>
  Result Trapped(const Title& title, const Reported& reported, Result failure, Body&& body);
  void HandleError(std::u16string_view title, std::u16string_view reported,
                   const support::TrappedError& error);

  // ---- Object (tables, instances) -------------------------------------------------------
  bool AddOperator(std::u16string strOperators);
  bool AddDelimiter(std::u16string strDelimiters);
  bool AddFunction(std::u16string strFunctions);
  std::int16_t AddInstance(std::u16string& strExpression);

  // ---- Lexer ----------------------------------------------------------------------------
  // A character, or kNoChar for the empty text the reader answers when its trap fired.
  static constexpr std::int32_t kNoChar = -1;
  std::int32_t GetNextChar(std::int16_t& intInstance);
  bool PutLastChar(std::int16_t& intInstance);
  std::int32_t PeekNextChar(std::int16_t& intInstance);
  std::u16string GetNextWord(std::int16_t& intInstance);
  bool PutLastWord(std::int16_t& intInstance, std::u16string_view strWord);
  std::u16string PeekNextWord(std::int16_t& intInstance);
  std::u16string GetLiteralString(std::int16_t& intInstance);
  std::u16string GetLiteralDate(std::int16_t& intInstance);
  bool IsFunction(std::u16string_view strWord);
  bool IsOperator(std::u16string_view strWord);
  bool IsDelimiter(std::u16string_view strChar);
  bool IsStringLiteral(std::u16string_view strWord);
  bool IsDateLiteral(std::u16string_view strWord);
  bool IsDataField(std::u16string_view strWord);
  static bool IsLeftParenthesis(std::u16string_view strWord) noexcept { return strWord == u"("; }
  static bool IsRightParenthesis(std::u16string_view strWord) noexcept {
    return strWord == u")";
  }
  std::u16string GetLiteral(std::int16_t& intInstance, char16_t delimiter);

  // ---- Expression evaluator -------------------------------------------------------------
  bool EvaluateExpression(std::int16_t& intInstance);
  static std::u16string StripStringDelimiters(std::u16string_view strText);
  static std::u16string StripDateDelimiters(std::u16string_view strText);

  // ---- Temporary data fields ------------------------------------------------------------
  std::u16string CreateStringDataField(std::u16string_view strText);
  std::u16string CreateOperatorDataField(std::u16string_view strText);
  std::u16string CreateNumericDataField(std::u16string_view strText);
  std::u16string CreateDateDataField(std::u16string_view strText);
  std::u16string CreateDataFieldFromVariant(const automation::Value& vntValue);
  std::u16string GetNewDataFieldName();
  bool RemoveAutoDataFieldNameFromList(std::u16string_view strName);
  std::u16string AddNameToHoldArray(const std::u16string& strName, std::int16_t intLevel);
  contract::DataFieldRef NewDataField();
  std::u16string AddAutoField(contract::DataFieldRef& field);

  // ---- Built-in functions (builtins/, one file per family) --------------------------------
  automation::Value PerformFunction(std::u16string_view strFunction, std::int16_t& intLevel);
  bool PerformIf(std::int16_t& intLevel);
  void FinishIf(std::int16_t& intLevel, const automation::Value& r);
  std::u16string GetIfCondition(std::int16_t& intLevel);
  std::u16string GetStatements(std::int16_t& intLevel, std::int16_t& intBranch);
  bool RemoveEndIf(std::int16_t& intLevel);
  bool PerformFormat(std::int16_t& intInstance);
  bool GetFormatArguments(std::int16_t& intInstance, contract::DataFieldRef& objDataField,
                          std::u16string& strFormat);
  bool PerformFormatHL7DateTime(std::int16_t& intInstance);
  // The flags are the platform's Booleans (-1 True, 0 False).
  bool PerformGetHL7DateTimeFormatArguments(std::int16_t& intInstance, std::u16string& strDate,
                                            std::u16string& strTime,
                                            std::u16string& strSeparator,
                                            std::int16_t& blnIncludeTime,
                                            std::int16_t& blnIncludeZone,
                                            std::u16string& strZone);
  bool PerformReplace(std::int16_t& intLevel);
  bool GetReplaceArguments(std::int16_t& intLevel, contract::DataFieldRef& objSource,
                           std::u16string& strFind, std::u16string& strReplacement,
                           std::int32_t& lngStart, std::int32_t& lngCount,
                           std::int32_t& lngCompare);
  std::int16_t PerformDateCompare(std::int16_t& intInstance);
  std::int16_t DateCompare(automation::Value& vntDate1, automation::Value& vntDate2);
  static automation::Value RemoveCommas(const automation::Value& vntText);
  bool PerformDateCat(std::int16_t& intInstance);

  // ---- Shared pieces --------------------------------------------------------------------
  // The host's collection; none set raises 91 (object variable not set).
  contract::DataFieldsRef HostFields() const;
  // The host's field of that name (the name by reference, as the collection takes it); an
  // answer of no object raises 91 too.
  contract::DataFieldRef HostField(std::u16string& name) const;
  // The same through the collection underneath (its mCol).
  contract::DataFieldRef MColField(std::u16string_view name) const;
  support::Stack& InstanceStack(std::int16_t intInstance);
  // Asked for every character read: inline.
  const std::u16string& InstanceText(std::int16_t intInstance) const {
    return expression_texts_(intInstance);
  }
  std::int16_t& ReadPosition(std::int16_t intInstance) { return read_positions_(intInstance); }

  // ---- State, in the order of declaration -------------------------------------------------
  support::DynArray<std::u16string> expression_texts_;
  support::DynArray<std::int16_t> read_positions_;
  std::int16_t instance_counter_ = 0;
  std::u16string function_list_;
  std::u16string function_list_upper_;  // the function list upper-cased, for IsFunction
  std::u16string delimiter_list_;
  std::u16string operator_list_;
  // Which ASCII characters occur in the two lists above, for the one-character questions the
  // lexer asks of every character. The lists only grow, so a character once marked stays.
  struct AsciiSet {
    std::uint64_t bits[2] = {0, 0};
    void Mark(std::u16string_view text) noexcept {
      for (char16_t c : text) {
        if (c < 128) bits[c >> 6] |= std::uint64_t{1} << (c & 63);
      }
    }
    bool Has(char16_t c) const noexcept { return (bits[c >> 6] >> (c & 63)) & 1; }
  };
  AsciiSet delimiter_chars_;
  AsciiSet operator_chars_;
  support::DynArray<support::StackRef> stacks_;
  contract::DataFieldsRef DataFields_;
  contract::HostErrorRef objError_;
  support::DynArray<std::u16string> AutoNameList;
  std::int16_t AutoNameTop = 0;
  support::DynArray2D<std::u16string> HoldArray;
  support::DynArray<std::int16_t> HoldTop;
  automation::Value system_name_ = automation::Value::String(u"");
  automation::Value application_name_ = automation::Value::String(u"");
  automation::Value module_name_ = automation::Value::String(u"");

  // Tests make a chosen procedure fail through this: it runs first inside every trap, given
  // the trap's title. Empty in every host.
  std::function<void(std::u16string_view)> fault_injector_;
};

}  // namespace qorvintr
