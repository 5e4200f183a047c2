#pragma once
// modTools: the one-character constants, kept once per thread.

#include <string>

namespace qorvintr::support::modTools {

// 52 texts of one character each, for the codes 1-7, 14-47, 91-96 and 123-127. They are empty
// until InitCharacterConstants has run on the thread.
void InitCharacterConstants();
// The constant of a code; the empty text for a code that has none (or before initialisation).
const std::u16string& CharacterConstant(int code) noexcept;
// The ones the interpreter's lookup texts are built from.
inline const std::u16string& ChrBlank() noexcept { return CharacterConstant(32); }
inline const std::u16string& ChrDoubleQuote() noexcept { return CharacterConstant(34); }
inline const std::u16string& ChrComma() noexcept { return CharacterConstant(44); }

}  // namespace qorvintr::support::modTools
