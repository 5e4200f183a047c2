#include "automation/text.h"

#include <algorithm>
#include <cstddef>

#include "automation/chars.h"
#include "qorvintr/error.h"

namespace qorvintr::automation {

namespace {

constexpr char16_t kReplacementChar = 0xFFFD;
constexpr char16_t kBlank = 32;

bool IsHighSurrogate(char16_t c) noexcept { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) noexcept { return c >= 0xDC00 && c <= 0xDFFF; }

// Case mapping: the simple (one character to one character) mappings of the Basic Multilingual
// Plane. A run maps first, first + stride, ... last by adding delta; runs are sorted and do not
// overlap. Surrogates are never mapped, so a mapped text keeps its length and positions.
struct CaseRun {
  char16_t first;
  char16_t last;
  std::uint8_t stride;
  std::int32_t delta;
};

constexpr CaseRun kUpperRuns[] = {
    {0x0061, 0x007A, 1, -32}, {0x00B5, 0x00B5, 1, 743}, {0x00E0, 0x00F6, 1, -32},
    {0x00F8, 0x00FE, 1, -32}, {0x00FF, 0x00FF, 1, 121}, {0x0101, 0x012F, 2, -1},
    {0x0131, 0x0131, 1, -232}, {0x0133, 0x0137, 2, -1}, {0x013A, 0x0148, 2, -1},
    {0x014B, 0x0177, 2, -1}, {0x017A, 0x017E, 2, -1}, {0x017F, 0x017F, 1, -300},
    {0x0180, 0x0180, 1, 195}, {0x0183, 0x0185, 2, -1}, {0x0188, 0x0188, 1, -1},
    {0x018C, 0x018C, 1, -1}, {0x0192, 0x0192, 1, -1}, {0x0195, 0x0195, 1, 97},
    {0x0199, 0x0199, 1, -1}, {0x019A, 0x019A, 1, 163}, {0x019E, 0x019E, 1, 130},
    {0x01A1, 0x01A5, 2, -1}, {0x01A8, 0x01A8, 1, -1}, {0x01AD, 0x01AD, 1, -1},
    {0x01B0, 0x01B0, 1, -1}, {0x01B4, 0x01B6, 2, -1}, {0x01B9, 0x01B9, 1, -1},
    {0x01BD, 0x01BD, 1, -1}, {0x01BF, 0x01BF, 1, 56}, {0x01C5, 0x01C5, 1, -1},
    {0x01C6, 0x01C6, 1, -2}, {0x01C8, 0x01C8, 1, -1}, {0x01C9, 0x01C9, 1, -2},
    {0x01CB, 0x01CB, 1, -1}, {0x01CC, 0x01CC, 1, -2}, {0x01CE, 0x01DC, 2, -1},
    {0x01DD, 0x01DD, 1, -79}, {0x01DF, 0x01EF, 2, -1}, {0x01F2, 0x01F2, 1, -1},
    {0x01F3, 0x01F3, 1, -2}, {0x01F5, 0x01F5, 1, -1}, {0x01F9, 0x021F, 2, -1},
    {0x0223, 0x0233, 2, -1}, {0x023C, 0x023C, 1, -1}, {0x023F, 0x0240, 1, 10815},
    {0x0242, 0x0242, 1, -1}, {0x0247, 0x024F, 2, -1}, {0x0250, 0x0250, 1, 10783},
    {0x0251, 0x0251, 1, 10780}, {0x0252, 0x0252, 1, 10782}, {0x0253, 0x0253, 1, -210},
    {0x0254, 0x0254, 1, -206}, {0x0256, 0x0257, 1, -205}, {0x0259, 0x0259, 1, -202},
    {0x025B, 0x025B, 1, -203}, {0x025C, 0x025C, 1, 42319}, {0x0260, 0x0260, 1, -205},
    {0x0261, 0x0261, 1, 42315}, {0x0263, 0x0263, 1, -207}, {0x0265, 0x0265, 1, 42280},
    {0x0266, 0x0266, 1, 42308}, {0x0268, 0x0268, 1, -209}, {0x0269, 0x0269, 1, -211},
    {0x026A, 0x026A, 1, 42308}, {0x026B, 0x026B, 1, 10743}, {0x026C, 0x026C, 1, 42305},
    {0x026F, 0x026F, 1, -211}, {0x0271, 0x0271, 1, 10749}, {0x0272, 0x0272, 1, -213},
    {0x0275, 0x0275, 1, -214}, {0x027D, 0x027D, 1, 10727}, {0x0280, 0x0280, 1, -218},
    {0x0282, 0x0282, 1, 42307}, {0x0283, 0x0283, 1, -218}, {0x0287, 0x0287, 1, 42282},
    {0x0288, 0x0288, 1, -218}, {0x0289, 0x0289, 1, -69}, {0x028A, 0x028B, 1, -217},
    {0x028C, 0x028C, 1, -71}, {0x0292, 0x0292, 1, -219}, {0x029D, 0x029D, 1, 42261},
    {0x029E, 0x029E, 1, 42258}, {0x0345, 0x0345, 1, 84}, {0x0371, 0x0373, 2, -1},
    {0x0377, 0x0377, 1, -1}, {0x037B, 0x037D, 1, 130}, {0x03AC, 0x03AC, 1, -38},
    {0x03AD, 0x03AF, 1, -37}, {0x03B1, 0x03C1, 1, -32}, {0x03C2, 0x03C2, 1, -31},
    {0x03C3, 0x03CB, 1, -32}, {0x03CC, 0x03CC, 1, -64}, {0x03CD, 0x03CE, 1, -63},
    {0x03D0, 0x03D0, 1, -62}, {0x03D1, 0x03D1, 1, -57}, {0x03D5, 0x03D5, 1, -47},
    {0x03D6, 0x03D6, 1, -54}, {0x03D7, 0x03D7, 1, -8}, {0x03D9, 0x03EF, 2, -1},
    {0x03F0, 0x03F0, 1, -86}, {0x03F1, 0x03F1, 1, -80}, {0x03F2, 0x03F2, 1, 7},
    {0x03F3, 0x03F3, 1, -116}, {0x03F5, 0x03F5, 1, -96}, {0x03F8, 0x03F8, 1, -1},
    {0x03FB, 0x03FB, 1, -1}, {0x0430, 0x044F, 1, -32}, {0x0450, 0x045F, 1, -80},
    {0x0461, 0x0481, 2, -1}, {0x048B, 0x04BF, 2, -1}, {0x04C2, 0x04CE, 2, -1},
    {0x04CF, 0x04CF, 1, -15}, {0x04D1, 0x052F, 2, -1}, {0x0561, 0x0586, 1, -48},
    {0x10D0, 0x10FA, 1, 3008}, {0x10FD, 0x10FF, 1, 3008}, {0x13F8, 0x13FD, 1, -8},
    {0x1C80, 0x1C80, 1, -6254}, {0x1C81, 0x1C81, 1, -6253}, {0x1C82, 0x1C82, 1, -6244},
    {0x1C83, 0x1C84, 1, -6242}, {0x1C85, 0x1C85, 1, -6243}, {0x1C86, 0x1C86, 1, -6236},
    {0x1C87, 0x1C87, 1, -6181}, {0x1C88, 0x1C88, 1, 35266}, {0x1D79, 0x1D79, 1, 35332},
    {0x1D7D, 0x1D7D, 1, 3814}, {0x1D8E, 0x1D8E, 1, 35384}, {0x1E01, 0x1E95, 2, -1},
    {0x1E9B, 0x1E9B, 1, -59}, {0x1EA1, 0x1EFF, 2, -1}, {0x1F00, 0x1F07, 1, 8},
    {0x1F10, 0x1F15, 1, 8}, {0x1F20, 0x1F27, 1, 8}, {0x1F30, 0x1F37, 1, 8},
    {0x1F40, 0x1F45, 1, 8}, {0x1F51, 0x1F57, 2, 8}, {0x1F60, 0x1F67, 1, 8},
    {0x1F70, 0x1F71, 1, 74}, {0x1F72, 0x1F75, 1, 86}, {0x1F76, 0x1F77, 1, 100},
    {0x1F78, 0x1F79, 1, 128}, {0x1F7A, 0x1F7B, 1, 112}, {0x1F7C, 0x1F7D, 1, 126},
    {0x1FB0, 0x1FB1, 1, 8}, {0x1FBE, 0x1FBE, 1, -7205}, {0x1FD0, 0x1FD1, 1, 8},
    {0x1FE0, 0x1FE1, 1, 8}, {0x1FE5, 0x1FE5, 1, 7}, {0x214E, 0x214E, 1, -28},
    {0x2170, 0x217F, 1, -16}, {0x2184, 0x2184, 1, -1}, {0x24D0, 0x24E9, 1, -26},
    {0x2C30, 0x2C5F, 1, -48}, {0x2C61, 0x2C61, 1, -1}, {0x2C65, 0x2C65, 1, -10795},
    {0x2C66, 0x2C66, 1, -10792}, {0x2C68, 0x2C6C, 2, -1}, {0x2C73, 0x2C73, 1, -1},
    {0x2C76, 0x2C76, 1, -1}, {0x2C81, 0x2CE3, 2, -1}, {0x2CEC, 0x2CEE, 2, -1},
    {0x2CF3, 0x2CF3, 1, -1}, {0x2D00, 0x2D25, 1, -7264}, {0x2D27, 0x2D27, 1, -7264},
    {0x2D2D, 0x2D2D, 1, -7264}, {0xA641, 0xA66D, 2, -1}, {0xA681, 0xA69B, 2, -1},
    {0xA723, 0xA72F, 2, -1}, {0xA733, 0xA76F, 2, -1}, {0xA77A, 0xA77C, 2, -1},
    {0xA77F, 0xA787, 2, -1}, {0xA78C, 0xA78C, 1, -1}, {0xA791, 0xA793, 2, -1},
    {0xA794, 0xA794, 1, 48}, {0xA797, 0xA7A9, 2, -1}, {0xA7B5, 0xA7C3, 2, -1},
    {0xA7C8, 0xA7CA, 2, -1}, {0xA7D1, 0xA7D1, 1, -1}, {0xA7D7, 0xA7D9, 2, -1},
    {0xA7F6, 0xA7F6, 1, -1}, {0xAB53, 0xAB53, 1, -928}, {0xAB70, 0xABBF, 1, -38864},
    {0xFF41, 0xFF5A, 1, -32},
};
constexpr CaseRun kLowerRuns[] = {
    {0x0041, 0x005A, 1, 32}, {0x00C0, 0x00D6, 1, 32}, {0x00D8, 0x00DE, 1, 32},
    {0x0100, 0x012E, 2, 1}, {0x0130, 0x0130, 1, -199}, {0x0132, 0x0136, 2, 1},
    {0x0139, 0x0147, 2, 1}, {0x014A, 0x0176, 2, 1}, {0x0178, 0x0178, 1, -121},
    {0x0179, 0x017D, 2, 1}, {0x0181, 0x0181, 1, 210}, {0x0182, 0x0184, 2, 1},
    {0x0186, 0x0186, 1, 206}, {0x0187, 0x0187, 1, 1}, {0x0189, 0x018A, 1, 205},
    {0x018B, 0x018B, 1, 1}, {0x018E, 0x018E, 1, 79}, {0x018F, 0x018F, 1, 202},
    {0x0190, 0x0190, 1, 203}, {0x0191, 0x0191, 1, 1}, {0x0193, 0x0193, 1, 205},
    {0x0194, 0x0194, 1, 207}, {0x0196, 0x0196, 1, 211}, {0x0197, 0x0197, 1, 209},
    {0x0198, 0x0198, 1, 1}, {0x019C, 0x019C, 1, 211}, {0x019D, 0x019D, 1, 213},
    {0x019F, 0x019F, 1, 214}, {0x01A0, 0x01A4, 2, 1}, {0x01A6, 0x01A6, 1, 218},
    {0x01A7, 0x01A7, 1, 1}, {0x01A9, 0x01A9, 1, 218}, {0x01AC, 0x01AC, 1, 1},
    {0x01AE, 0x01AE, 1, 218}, {0x01AF, 0x01AF, 1, 1}, {0x01B1, 0x01B2, 1, 217},
    {0x01B3, 0x01B5, 2, 1}, {0x01B7, 0x01B7, 1, 219}, {0x01B8, 0x01B8, 1, 1},
    {0x01BC, 0x01BC, 1, 1}, {0x01C4, 0x01C4, 1, 2}, {0x01C5, 0x01C5, 1, 1},
    {0x01C7, 0x01C7, 1, 2}, {0x01C8, 0x01C8, 1, 1}, {0x01CA, 0x01CA, 1, 2},
    {0x01CB, 0x01DB, 2, 1}, {0x01DE, 0x01EE, 2, 1}, {0x01F1, 0x01F1, 1, 2},
    {0x01F2, 0x01F4, 2, 1}, {0x01F6, 0x01F6, 1, -97}, {0x01F7, 0x01F7, 1, -56},
    {0x01F8, 0x021E, 2, 1}, {0x0220, 0x0220, 1, -130}, {0x0222, 0x0232, 2, 1},
    {0x023A, 0x023A, 1, 10795}, {0x023B, 0x023B, 1, 1}, {0x023D, 0x023D, 1, -163},
    {0x023E, 0x023E, 1, 10792}, {0x0241, 0x0241, 1, 1}, {0x0243, 0x0243, 1, -195},
    {0x0244, 0x0244, 1, 69}, {0x0245, 0x0245, 1, 71}, {0x0246, 0x024E, 2, 1},
    {0x0370, 0x0372, 2, 1}, {0x0376, 0x0376, 1, 1}, {0x037F, 0x037F, 1, 116},
    {0x0386, 0x0386, 1, 38}, {0x0388, 0x038A, 1, 37}, {0x038C, 0x038C, 1, 64},
    {0x038E, 0x038F, 1, 63}, {0x0391, 0x03A1, 1, 32}, {0x03A3, 0x03AB, 1, 32},
    {0x03CF, 0x03CF, 1, 8}, {0x03D8, 0x03EE, 2, 1}, {0x03F4, 0x03F4, 1, -60},
    {0x03F7, 0x03F7, 1, 1}, {0x03F9, 0x03F9, 1, -7}, {0x03FA, 0x03FA, 1, 1},
    {0x03FD, 0x03FF, 1, -130}, {0x0400, 0x040F, 1, 80}, {0x0410, 0x042F, 1, 32},
    {0x0460, 0x0480, 2, 1}, {0x048A, 0x04BE, 2, 1}, {0x04C0, 0x04C0, 1, 15},
    {0x04C1, 0x04CD, 2, 1}, {0x04D0, 0x052E, 2, 1}, {0x0531, 0x0556, 1, 48},
    {0x10A0, 0x10C5, 1, 7264}, {0x10C7, 0x10C7, 1, 7264}, {0x10CD, 0x10CD, 1, 7264},
    {0x13A0, 0x13EF, 1, 38864}, {0x13F0, 0x13F5, 1, 8}, {0x1C90, 0x1CBA, 1, -3008},
    {0x1CBD, 0x1CBF, 1, -3008}, {0x1E00, 0x1E94, 2, 1}, {0x1E9E, 0x1E9E, 1, -7615},
    {0x1EA0, 0x1EFE, 2, 1}, {0x1F08, 0x1F0F, 1, -8}, {0x1F18, 0x1F1D, 1, -8},
    {0x1F28, 0x1F2F, 1, -8}, {0x1F38, 0x1F3F, 1, -8}, {0x1F48, 0x1F4D, 1, -8},
    {0x1F59, 0x1F5F, 2, -8}, {0x1F68, 0x1F6F, 1, -8}, {0x1F88, 0x1F8F, 1, -8},
    {0x1F98, 0x1F9F, 1, -8}, {0x1FA8, 0x1FAF, 1, -8}, {0x1FB8, 0x1FB9, 1, -8},
    {0x1FBA, 0x1FBB, 1, -74}, {0x1FBC, 0x1FBC, 1, -9}, {0x1FC8, 0x1FCB, 1, -86},
    {0x1FCC, 0x1FCC, 1, -9}, {0x1FD8, 0x1FD9, 1, -8}, {0x1FDA, 0x1FDB, 1, -100},
    {0x1FE8, 0x1FE9, 1, -8}, {0x1FEA, 0x1FEB, 1, -112}, {0x1FEC, 0x1FEC, 1, -7},
    {0x1FF8, 0x1FF9, 1, -128}, {0x1FFA, 0x1FFB, 1, -126}, {0x1FFC, 0x1FFC, 1, -9},
    {0x2126, 0x2126, 1, -7517}, {0x212A, 0x212A, 1, -8383}, {0x212B, 0x212B, 1, -8262},
    {0x2132, 0x2132, 1, 28}, {0x2160, 0x216F, 1, 16}, {0x2183, 0x2183, 1, 1},
    {0x24B6, 0x24CF, 1, 26}, {0x2C00, 0x2C2F, 1, 48}, {0x2C60, 0x2C60, 1, 1},
    {0x2C62, 0x2C62, 1, -10743}, {0x2C63, 0x2C63, 1, -3814}, {0x2C64, 0x2C64, 1, -10727},
    {0x2C67, 0x2C6B, 2, 1}, {0x2C6D, 0x2C6D, 1, -10780}, {0x2C6E, 0x2C6E, 1, -10749},
    {0x2C6F, 0x2C6F, 1, -10783}, {0x2C70, 0x2C70, 1, -10782}, {0x2C72, 0x2C72, 1, 1},
    {0x2C75, 0x2C75, 1, 1}, {0x2C7E, 0x2C7F, 1, -10815}, {0x2C80, 0x2CE2, 2, 1},
    {0x2CEB, 0x2CED, 2, 1}, {0x2CF2, 0x2CF2, 1, 1}, {0xA640, 0xA66C, 2, 1},
    {0xA680, 0xA69A, 2, 1}, {0xA722, 0xA72E, 2, 1}, {0xA732, 0xA76E, 2, 1},
    {0xA779, 0xA77B, 2, 1}, {0xA77D, 0xA77D, 1, -35332}, {0xA77E, 0xA786, 2, 1},
    {0xA78B, 0xA78B, 1, 1}, {0xA78D, 0xA78D, 1, -42280}, {0xA790, 0xA792, 2, 1},
    {0xA796, 0xA7A8, 2, 1}, {0xA7AA, 0xA7AA, 1, -42308}, {0xA7AB, 0xA7AB, 1, -42319},
    {0xA7AC, 0xA7AC, 1, -42315}, {0xA7AD, 0xA7AD, 1, -42305}, {0xA7AE, 0xA7AE, 1, -42308},
    {0xA7B0, 0xA7B0, 1, -42258}, {0xA7B1, 0xA7B1, 1, -42282}, {0xA7B2, 0xA7B2, 1, -42261},
    {0xA7B3, 0xA7B3, 1, 928}, {0xA7B4, 0xA7C2, 2, 1}, {0xA7C4, 0xA7C4, 1, -48},
    {0xA7C5, 0xA7C5, 1, -42307}, {0xA7C6, 0xA7C6, 1, -35384}, {0xA7C7, 0xA7C9, 2, 1},
    {0xA7D0, 0xA7D0, 1, 1}, {0xA7D6, 0xA7D8, 2, 1}, {0xA7F5, 0xA7F5, 1, 1},
    {0xFF21, 0xFF3A, 1, 32},
};

template <std::size_t N>
char16_t MapCase(const CaseRun (&runs)[N], char16_t c) noexcept {
  const CaseRun* end = runs + N;
  const CaseRun* it = std::upper_bound(runs, end, c, [](char16_t ch, const CaseRun& r) {
    return ch < r.first;
  });
  if (it == runs) return c;
  --it;
  if (c > it->last || (c - it->first) % it->stride != 0) return c;
  return static_cast<char16_t>(c + it->delta);
}

char16_t ToUpperChar(char16_t c) noexcept {
  if (c < 0x80) return AsciiUpper(c);
  return MapCase(kUpperRuns, c);
}

char16_t ToLowerChar(char16_t c) noexcept {
  if (c < 0x80) return AsciiLower(c);
  return MapCase(kLowerRuns, c);
}

// The folding used by the text (case-insensitive) comparison mode. Folding to lower case keeps
// punctuation such as "_" ahead of letters, as the platform's linguistic order does.
char16_t FoldChar(char16_t c) noexcept { return ToLowerChar(c); }

std::u16string Fold(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) c = FoldChar(c);
  return out;
}

// Position of find in s at or after from (0-based), or npos. find is not empty.
std::size_t Find(std::u16string_view s, std::u16string_view find, std::size_t from,
                 CompareMode mode, std::u16string_view folded_s,
                 std::u16string_view folded_find) noexcept {
  if (mode == CompareMode::Binary) return s.find(find, from);
  return folded_s.find(folded_find, from);
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

}  // namespace

std::u16string FromUtf8(std::string_view s) {
  std::u16string out;
  out.reserve(s.size());
  const std::size_t n = s.size();
  std::size_t i = 0;
  while (i < n) {
    const auto b0 = static_cast<unsigned char>(s[i]);
    if (b0 < 0x80) {
      out.push_back(b0);
      ++i;
      continue;
    }
    // Lead byte: the number of continuation bytes and the range the second byte must lie in
    // (which rules out overlong forms, encoded surrogates and values above U+10FFFF).
    int extra = 0;
    unsigned lo = 0x80, hi = 0xBF;
    char32_t cp = 0;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
      extra = 1; cp = b0 & 0x1F;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
      extra = 2; cp = b0 & 0x0F;
      if (b0 == 0xE0) lo = 0xA0;
      if (b0 == 0xED) hi = 0x9F;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
      extra = 3; cp = b0 & 0x07;
      if (b0 == 0xF0) lo = 0x90;
      if (b0 == 0xF4) hi = 0x8F;
    } else {
      out.push_back(kReplacementChar);
      ++i;
      continue;
    }
    std::size_t j = i + 1;
    bool ok = true;
    for (int k = 0; k < extra; ++k, ++j) {
      if (j >= n) { ok = false; break; }
      const auto b = static_cast<unsigned char>(s[j]);
      const unsigned first_lo = k == 0 ? lo : 0x80;
      const unsigned first_hi = k == 0 ? hi : 0xBF;
      if (b < first_lo || b > first_hi) { ok = false; break; }
      cp = (cp << 6) | (b & 0x3F);
    }
    if (!ok) {
      // One replacement for the longest valid beginning of a sequence; resume at the byte
      // that broke it.
      out.push_back(kReplacementChar);
      i = j;
      continue;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
    i = j;
  }
  return out;
}

std::string ToUtf8(std::u16string_view s) {
  std::string out;
  out.reserve(s.size());
  const std::size_t n = s.size();
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t c = s[i];
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (IsHighSurrogate(c) && i + 1 < n && IsLowSurrogate(s[i + 1])) {
      const char32_t cp = 0x10000 + ((static_cast<char32_t>(c) - 0xD800) << 10) +
                          (static_cast<char32_t>(s[i + 1]) - 0xDC00);
      AppendUtf8(out, cp);
      ++i;
    } else if (IsHighSurrogate(c) || IsLowSurrogate(c)) {
      AppendUtf8(out, kReplacementChar);
    } else {
      AppendUtf8(out, c);
    }
  }
  return out;
}

std::u16string_view TrimView(std::u16string_view s) noexcept {
  std::size_t b = 0, e = s.size();
  while (b < e && s[b] == kBlank) ++b;
  while (e > b && s[e - 1] == kBlank) --e;
  return s.substr(b, e - b);
}

std::u16string Trim(std::u16string_view s) { return std::u16string(TrimView(s)); }

std::u16string LTrim(std::u16string_view s) {
  std::size_t b = 0;
  while (b < s.size() && s[b] == kBlank) ++b;
  return std::u16string(s.substr(b));
}

std::u16string RTrim(std::u16string_view s) {
  std::size_t e = s.size();
  while (e > 0 && s[e - 1] == kBlank) --e;
  return std::u16string(s.substr(0, e));
}

std::u16string UCase(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) c = ToUpperChar(c);
  return out;
}

char16_t LCaseChar(char16_t c) noexcept { return ToLowerChar(c); }

std::u16string LCase(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) c = ToLowerChar(c);
  return out;
}

std::int32_t Len(std::u16string_view s) noexcept {
  // A text longer than the 32-bit range cannot come from the platform; clamp rather than wrap.
  return s.size() > 0x7FFFFFFFu ? 0x7FFFFFFF : static_cast<std::int32_t>(s.size());
}

std::u16string Mid(std::u16string_view s, std::int32_t start, std::int32_t length) {
  // length -1 stands for "to the end" (the argument left out).
  if (start < 1 || length < -1) Raise(err::InvalidProcedureCall);
  const std::size_t from = static_cast<std::size_t>(start) - 1;
  if (from >= s.size()) return {};
  if (length == -1) return std::u16string(s.substr(from));
  return std::u16string(s.substr(from, static_cast<std::size_t>(length)));
}

std::u16string Left(std::u16string_view s, std::int32_t length) {
  if (length < 0) Raise(err::InvalidProcedureCall);
  return std::u16string(s.substr(0, static_cast<std::size_t>(length)));
}

std::u16string Right(std::u16string_view s, std::int32_t length) {
  if (length < 0) Raise(err::InvalidProcedureCall);
  const auto n = static_cast<std::size_t>(length);
  if (n >= s.size()) return std::u16string(s);
  return std::u16string(s.substr(s.size() - n));
}

std::int32_t InStr(std::int32_t start, std::u16string_view s, std::u16string_view find,
                   CompareMode mode) {
  if (start < 1) Raise(err::InvalidProcedureCall);
  const std::size_t from = static_cast<std::size_t>(start) - 1;
  // A start past the end finds nothing, not even the empty text (so InStr("", "") is 0).
  if (from >= s.size()) return 0;
  if (find.empty()) return start;
  if (find.size() > s.size() - from) return 0;
  std::size_t pos;
  if (mode == CompareMode::Binary) {
    pos = s.find(find, from);
  } else {
    const std::u16string fs = Fold(s), ff = Fold(find);
    pos = fs.find(ff, from);
  }
  return pos == std::u16string_view::npos ? 0 : static_cast<std::int32_t>(pos + 1);
}

std::u16string Replace(std::u16string_view s, std::u16string_view find,
                       std::u16string_view replacement, std::int32_t start, std::int32_t count,
                       CompareMode mode) {
  if (start < 1 || count < -1) Raise(err::InvalidProcedureCall);
  const std::size_t from = static_cast<std::size_t>(start) - 1;
  if (from >= s.size()) return {};
  const std::u16string_view tail = s.substr(from);
  if (find.empty() || count == 0) return std::u16string(tail);

  std::u16string folded_tail, folded_find;
  if (mode != CompareMode::Binary) {
    folded_tail = Fold(tail);
    folded_find = Fold(find);
  }
  std::size_t pos = Find(tail, find, 0, mode, folded_tail, folded_find);
  if (pos == std::u16string_view::npos) return std::u16string(tail);

  std::u16string out;
  out.reserve(tail.size());
  std::size_t copied = 0;
  std::int32_t done = 0;
  while (pos != std::u16string_view::npos && (count == -1 || done < count)) {
    out.append(tail.substr(copied, pos - copied));
    out.append(replacement);
    copied = pos + find.size();
    ++done;
    pos = Find(tail, find, copied, mode, folded_tail, folded_find);
  }
  out.append(tail.substr(copied));
  return out;
}

int CompareText(std::u16string_view a, std::u16string_view b, CompareMode mode) noexcept {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i) {
    char16_t x = a[i], y = b[i];
    if (mode != CompareMode::Binary) {
      x = FoldChar(x);
      y = FoldChar(y);
    }
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

}  // namespace qorvintr::automation
