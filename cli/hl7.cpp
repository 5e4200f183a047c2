#include "cli/hl7.h"

#include <cstddef>
#include <map>
#include <string>

#include "automation/text.h"
#include "cli/text_io.h"

namespace qorvintr::cli {

namespace {

constexpr std::u16string_view kEncodingCharacters = u"^~\\&";

bool IsUpper(char16_t c) noexcept { return c >= u'A' && c <= u'Z'; }
bool IsDigit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

struct Position {
  std::u16string segment;
  std::size_t field = 0;
};

// SEG-N: three letters or digits, the first a letter, then a field number from 1.
Position ParsePosition(std::u16string_view name) {
  auto bad = [&] {
    return UsageError("run --hl7: '" + automation::ToUtf8(name) +
                      "' is not an HL7 field: write SEG-N, for instance PID-5");
  };
  if (name.size() < 5 || name[3] != u'-' || !IsUpper(name[0])) throw bad();
  for (std::size_t i = 1; i < 3; ++i) {
    if (!IsUpper(name[i]) && !IsDigit(name[i])) throw bad();
  }
  std::u16string_view digits = name.substr(4);
  if (digits[0] == u'0' || digits.size() > 4) throw bad();
  Position p{std::u16string(name.substr(0, 3)), 0};
  for (char16_t c : digits) {
    if (!IsDigit(c)) throw bad();
    p.field = p.field * 10 + static_cast<std::size_t>(c - u'0');
  }
  if (p.segment == u"MSH" && p.field <= 2) {
    throw UsageError("run --hl7: '" + automation::ToUtf8(name) +
                     "' is written by the message itself (MSH-1 is \"|\", MSH-2 is \"^~\\&\")");
  }
  return p;
}

struct Segment {
  std::u16string id;
  std::map<std::size_t, std::u16string> fields;  // position -> escaped value
};

}  // namespace

std::u16string Hl7Escape(std::u16string_view value) {
  std::u16string out;
  out.reserve(value.size());
  for (char16_t c : value) {
    switch (c) {
      case u'\\': out += u"\\E\\"; break;
      case u'|': out += u"\\F\\"; break;
      case u'\r': out += u"\\X0D\\"; break;
      case u'\n': out += u"\\X0A\\"; break;
      default: out += c; break;
    }
  }
  return out;
}

std::u16string Hl7Message(const std::vector<std::pair<std::u16string, std::u16string>>& fields) {
  std::vector<Segment> segments{Segment{u"MSH", {}}};
  for (const auto& [name, value] : fields) {
    Position p = ParsePosition(name);
    Segment* segment = nullptr;
    for (Segment& s : segments) {
      if (s.id == p.segment) segment = &s;
    }
    if (segment == nullptr) segment = &segments.emplace_back(Segment{p.segment, {}});
    segment->fields[p.field] = Hl7Escape(value);
  }
  std::u16string out;
  for (Segment& s : segments) {
    // The separator before MSH-2 is MSH-1 itself.
    if (s.id == u"MSH") s.fields[2] = std::u16string(kEncodingCharacters);
    std::size_t last = 0;
    for (const auto& [position, text] : s.fields) {
      if (!text.empty()) last = position;
    }
    out += s.id;
    for (std::size_t i = 1; i <= last; ++i) {
      if (s.id == u"MSH" && i == 1) continue;
      out += u'|';
      auto found = s.fields.find(i);
      if (found != s.fields.end()) out += found->second;
    }
    out += u'\r';
  }
  return out;
}

}  // namespace qorvintr::cli
