#pragma once
// Text is UTF-16 inside; these convert at the edges (files, command lines, C++ literals).

#include <string>
#include <string_view>

namespace qorvintr::automation {

// Invalid UTF-8 becomes U+FFFD; a lone surrogate becomes U+FFFD.
std::u16string FromUtf8(std::string_view s);
std::string ToUtf8(std::u16string_view s);

}  // namespace qorvintr::automation
