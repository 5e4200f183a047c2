#pragma once
// modTools: the proper-casing of data field names.

#include <string>
#include <string_view>

namespace qorvintr::support::modTools {

// Lower case, with the first character and every character that follows a blank (code 32 only)
// in upper case: "DATA FIELD" -> "Data Field", "AUTODF0" -> "Autodf0". A text ending in a blank
// keeps its lower-cased form there (the step past the last character changes nothing).
std::u16string ProperCase(std::u16string_view text);

}  // namespace qorvintr::support::modTools
