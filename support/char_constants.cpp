#include "support/char_constants.h"

#include <array>
#include <cstddef>

namespace qorvintr::support::modTools {

namespace {

bool HasConstant(int code) noexcept {
  return (code >= 1 && code <= 7) || (code >= 14 && code <= 47) || (code >= 91 && code <= 96) ||
         (code >= 123 && code <= 127);
}

// The texts never change once made, so every thread reads the same ones; what is per thread
// is only whether InitCharacterConstants has run there. The flag has no destructor: mingw-w64
// frees a thread's emulated thread-locals before running their destructors, so a per-thread
// array of texts was destroyed in freed memory when its thread ended.
const std::array<std::u16string, 128>& Constants() {
  static const std::array<std::u16string, 128> constants = [] {
    std::array<std::u16string, 128> made;
    for (int code = 1; code < 128; ++code) {
      if (HasConstant(code)) made[static_cast<std::size_t>(code)].assign(1, static_cast<char16_t>(code));
    }
    return made;
  }();
  return constants;
}

thread_local bool t_initialised = false;

}  // namespace

void InitCharacterConstants() {
  (void)Constants();
  t_initialised = true;
}

const std::u16string& CharacterConstant(int code) noexcept {
  static const std::u16string kNone;
  if (!t_initialised || !HasConstant(code)) return kNone;
  return Constants()[static_cast<std::size_t>(code)];
}

}  // namespace qorvintr::support::modTools
