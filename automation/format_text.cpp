// Format's text sections: @ and & placeholders, < and > for the case, ! to fill from the left.

#include <string>

#include "automation/format_internal.h"
#include "automation/text.h"

namespace qorvintr::automation::format_internal {

void FormatTextSection(std::u16string& out, std::u16string_view s, std::u16string_view text) {
  long places = 0;
  bool left_to_right = false;
  bool lower = false;
  bool upper = false;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    switch (t.kind) {
      case Tok::At: case Tok::Amp: ++places; break;
      case Tok::Bang: left_to_right = true; break;
      case Tok::Lower: lower = true; break;
      case Tok::Upper: upper = true; break;
      default: break;
    }
  }
  // < and > change the case of the text only, not of the picture's literals.
  std::u16string changed;
  if (lower || upper) {
    changed = lower ? LCase(text) : UCase(text);
    text = changed;
  }
  const long len = static_cast<long>(text.size());
  // A text shorter than the placeholders fills them from the right unless the picture has "!";
  // a longer one fills them from the left and the rest follows the whole picture.
  const bool from_right = !left_to_right && len < places;
  long index = 0;
  for (std::size_t i = 0; i < s.size();) {
    const Token t = NextToken(s, i);
    i += t.len;
    switch (t.kind) {
      case Tok::At:
      case Tok::Amp: {
        const long j = from_right ? len - places + index : index;
        if (j >= 0 && j < len) {
          out.push_back(text[static_cast<std::size_t>(j)]);
        } else if (t.kind == Tok::At) {
          out.push_back(u' ');
        }
        ++index;
        break;
      }
      case Tok::Bang: case Tok::Lower: case Tok::Upper: break;
      default: AppendSource(out, s, t); break;
    }
  }
  if (len > places) out.append(text.substr(static_cast<std::size_t>(places)));
}

}  // namespace qorvintr::automation::format_internal
