#pragma once
// The interpreter as a C++ host sees it: the members of the component's dispatch interface
// _Interpreter, in the same order, and nothing of its inner workings.
//
// One object serves one caller at a time. A failing script never raises: it answers the data
// field named "Error", logs, and reports to the error object given to Init.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/host_error.h"

namespace qorvintr {

namespace engine {
class Interpreter;
}

class Interpreter {
 public:
  Interpreter();
  ~Interpreter();
  Interpreter(Interpreter&&) noexcept;
  Interpreter& operator=(Interpreter&&) noexcept;
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  // "02.01.0000" for version 2.1, revision 0; the numbers alone as decimal text.
  std::u16string Release() const;
  std::u16string Major() const;
  std::u16string Minor() const;
  std::u16string Revision() const;

  void SetObjError(contract::HostErrorRef error);
  contract::HostErrorRef objError() const;
  // Replaces the script text of an open instance; an index outside the instances raises
  // automation::AutomationError 9 "Subscript out of range" (the caller's error).
  void SetStrExpression(std::int16_t index, std::u16string text);
  void SetDataFields(contract::DataFieldsRef fields);
  contract::DataFieldsRef DataFields() const;

  // Keeps the collection, the error object and the two names for the error reports; writes the
  // version banner when the debug log is on. False only when the debug log itself failed.
  bool Init(const contract::DataFieldsRef& fields, const contract::HostErrorRef& error,
            std::u16string_view system, std::u16string_view application);

  // Runs one script and answers the data field holding its value, the field named "Error" when
  // it failed, or none for an empty script. This form trims the caller's text in place, as the
  // component's by-reference parameter does; the other leaves its argument alone.
  contract::DataFieldRef RealizeRegularExpression(std::u16string& script);
  contract::DataFieldRef RealizeRegularExpression(std::u16string_view script);

  // The settings file of the debug log (section [Upload]); applies to the calling thread.
  void SetOrlinaIniFilename(std::u16string_view file_name);
  std::u16string OrlinaIniFilename() const;

  // Closes every open instance and empties the tables of temporary names.
  void ResetMemory() noexcept;

 private:
  std::unique_ptr<engine::Interpreter> engine_;
};

}  // namespace qorvintr
