#include "support/char_constants.h"

#include <array>
#include <cstddef>

namespace qorvintr::support::modTools {

namespace {

thread_local std::array<std::u16string, 128> t_constants;

bool HasConstant(int code) noexcept {
  return (code >= 1 && code <= 7) || (code >= 14 && code <= 47) || (code >= 91 && code <= 96) ||
         (code >= 123 && code <= 127);
}

}  // namespace

void InitCharacterConstants() {
  for (int code = 1; code < 128; ++code) {
    if (HasConstant(code)) t_constants[static_cast<std::size_t>(code)].assign(1, static_cast<char16_t>(code));
  }
}

const std::u16string& CharacterConstant(int code) noexcept {
  static const std::u16string kNone;
  if (!HasConstant(code)) return kNone;
  return t_constants[static_cast<std::size_t>(code)];
}

}  // namespace qorvintr::support::modTools
