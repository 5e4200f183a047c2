#include "qorvintr/error.h"

#include "automation/text.h"

namespace qorvintr::automation {

std::u16string_view ErrorDescription(std::int32_t number) noexcept {
  switch (number) {
    case 3: return u"Return without GoSub";
    case 5: return u"Invalid procedure call or argument";
    case 6: return u"Overflow";
    case 7: return u"Out of memory";
    case 9: return u"Subscript out of range";
    case 10: return u"This array is fixed or temporarily locked";
    case 11: return u"Division by zero";
    case 13: return u"Type mismatch";
    case 14: return u"Out of string space";
    case 17: return u"Can't perform requested operation";
    case 28: return u"Out of stack space";
    case 35: return u"Sub or Function not defined";
    case 48: return u"Error in loading DLL";
    case 51: return u"Internal error";
    case 52: return u"Bad file name or number";
    case 53: return u"File not found";
    case 54: return u"Bad file mode";
    case 55: return u"File already open";
    case 57: return u"Device I/O error";
    case 58: return u"File already exists";
    case 61: return u"Disk full";
    case 62: return u"Input past end of file";
    case 67: return u"Too many files";
    case 68: return u"Device unavailable";
    case 70: return u"Permission denied";
    case 71: return u"Disk not ready";
    case 74: return u"Can't rename with different drive";
    case 75: return u"Path/File access error";
    case 76: return u"Path not found";
    case 91: return u"Object variable or With block variable not set";
    case 92: return u"For loop not initialized";
    case 93: return u"Invalid pattern string";
    case 94: return u"Invalid use of Null";
    case 424: return u"Object required";
    case 429: return u"ActiveX component can't create object";
    case 430: return u"Class does not support Automation or does not support expected interface";
    case 438: return u"Object doesn't support this property or method";
    case 440: return u"Automation error";
    case 446: return u"Object doesn't support named arguments";
    case 448: return u"Named argument not found";
    case 449: return u"Argument not optional";
    case 450: return u"Wrong number of arguments or invalid property assignment";
    case 451: return u"Property let procedure not defined and property get procedure did not return an object";
    case 457: return u"This key is already associated with an element of this collection";
    case 458: return u"Variable uses an Automation type not supported in Visual Basic";
    default: return {};
  }
}

namespace {
std::u16string DefaultDescription(std::int32_t number) {
  std::u16string_view known = ErrorDescription(number);
  if (!known.empty()) return std::u16string(known);
  // The platform's words for a number it does not know.
  if (number > 0 && number <= 65535) return u"Application-defined or object-defined error";
  return u"Automation error";
}
}  // namespace

AutomationError::AutomationError(std::int32_t number, std::u16string source,
                                 std::u16string description)
    : number_(number),
      source_(std::move(source)),
      description_(description.empty() ? DefaultDescription(number) : std::move(description)) {}

const char* AutomationError::what() const noexcept {
  if (what_.empty()) {
    try {
      what_ = "error " + std::to_string(number_) + ": " + ToUtf8(description_);
    } catch (...) {
      // what() must not throw: without memory for the message a fixed text stands in.
      return "automation error";
    }
  }
  return what_.c_str();
}

void Raise(std::int32_t number, std::u16string source, std::u16string description) {
  throw AutomationError(number, std::move(source), std::move(description));
}

}  // namespace qorvintr::automation
