#pragma once
// run --hl7: the outgoing HL7 v2 message the field scripts make, one segment per line ending
// in CR.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qorvintr::cli {

// A value as it stands in a field: backslash, "|", CR and LF become \E\, \F\, \X0D\ and
// \X0A\; "^", "~" and "&" stay, because scripts write components and repetitions on purpose.
std::u16string Hl7Escape(std::u16string_view value);

// The message of (FIELD, value) pairs in the order of the scripts file; FIELD is SEG-N (PID-5:
// the fifth field of PID). MSH comes first, with MSH-1 "|" and MSH-2 "^~\&", so that MSH-3 is
// the first field after the encoding characters; the other segments follow in the order they
// first appear. Missing fields are empty, trailing empty ones are left out, a later value for
// the same field replaces an earlier one. Every segment ends with CR. Throws UsageError for a
// FIELD that is not SEG-N, and for MSH-1 and MSH-2, which are not the scripts' to write.
std::u16string Hl7Message(const std::vector<std::pair<std::u16string, std::u16string>>& fields);

}  // namespace qorvintr::cli
