#pragma once
// Private to the interpreter: UCase of a trimmed word, made on the stack for a short ASCII word
// (UCase gives the same units there). The lexer and IF compare words with the language's
// keywords and lists per word read, and this spares them an allocation each.

#include <cstddef>
#include <string>
#include <string_view>

#include "automation/chars.h"
#include "automation/text.h"

namespace qorvintr::engine {

class UpperWord {
 public:
  explicit UpperWord(std::u16string_view word) {
    const std::u16string_view trimmed = automation::TrimView(word);
    if (trimmed.size() <= kShortWord && automation::IsAsciiText(trimmed)) {
      for (std::size_t i = 0; i < trimmed.size(); ++i) units_[i] = automation::AsciiUpper(trimmed[i]);
      view_ = std::u16string_view(units_, trimmed.size());
    } else {
      long_ = automation::UCase(trimmed);
      view_ = long_;
    }
  }
  UpperWord(const UpperWord&) = delete;
  UpperWord& operator=(const UpperWord&) = delete;
  std::u16string_view view() const noexcept { return view_; }

 private:
  static constexpr std::size_t kShortWord = 32;
  char16_t units_[kShortWord];
  std::u16string long_;
  std::u16string_view view_;
};

}  // namespace qorvintr::engine
