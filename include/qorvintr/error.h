#pragma once
// The platform's run-time errors: a number, a source and a description.

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace qorvintr::automation {

namespace err {
inline constexpr std::int32_t InvalidProcedureCall = 5;
inline constexpr std::int32_t Overflow = 6;
inline constexpr std::int32_t OutOfMemory = 7;
inline constexpr std::int32_t SubscriptOutOfRange = 9;
inline constexpr std::int32_t ArrayFixedOrLocked = 10;
inline constexpr std::int32_t DivisionByZero = 11;
inline constexpr std::int32_t TypeMismatch = 13;
inline constexpr std::int32_t OutOfStringSpace = 14;
inline constexpr std::int32_t ObjectVariableNotSet = 91;
inline constexpr std::int32_t InvalidUseOfNull = 94;
inline constexpr std::int32_t ObjectRequired = 424;
inline constexpr std::int32_t CantCreateObject = 429;
inline constexpr std::int32_t NoAutomationSupport = 430;
inline constexpr std::int32_t MemberNotSupported = 438;
inline constexpr std::int32_t NamedArgumentsNotSupported = 446;
inline constexpr std::int32_t ArgumentNotOptional = 449;
inline constexpr std::int32_t WrongNumberOfArguments = 450;
inline constexpr std::int32_t KeyAlreadyAssociated = 457;
// Errors defined by an object: the base plus 512 plus the object's own code.
inline constexpr std::int32_t ObjectErrorBase = static_cast<std::int32_t>(0x80040000u);
inline constexpr std::int32_t ObjectError(std::int32_t code) { return ObjectErrorBase + 512 + code; }
}  // namespace err

// The platform's description of a run-time error number; empty when it has none of its own.
std::u16string_view ErrorDescription(std::int32_t number) noexcept;

class AutomationError : public std::exception {
 public:
  // An empty description takes the platform's own description of the number.
  explicit AutomationError(std::int32_t number, std::u16string source = {},
                           std::u16string description = {});

  std::int32_t Number() const noexcept { return number_; }
  const std::u16string& Source() const noexcept { return source_; }
  const std::u16string& Description() const noexcept { return description_; }
  // The message in UTF-8, made when first asked for (raising stays cheap).
  const char* what() const noexcept override;

 private:
  std::int32_t number_;
  std::u16string source_;
  std::u16string description_;
  mutable std::string what_;
};

[[noreturn]] void Raise(std::int32_t number, std::u16string source = {},
                        std::u16string description = {});

}  // namespace qorvintr::automation
