// qorvintr check: warns about the language's traps in scripts, without running them.
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "automation/text.h"
#include "cli/check.h"
#include "cli/commands.h"
#include "cli/options.h"
#include "cli/text_io.h"

namespace qorvintr::cli {

namespace {

struct Source {
  std::string where;         // "script", a file's name, or "-"
  std::size_t file_line = 0; // 0: not from a file
  std::u16string field;      // the HL7 field of a scripts file's line
  std::u16string script;
};

// A file's lines: FIELD<TAB>SCRIPT lines (a scripts file) or one script per line (a batch
// file); blank lines and comments are skipped.
void AddLines(const std::string& where, const std::vector<std::u16string>& lines,
              std::vector<Source>& sources) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::u16string_view line = lines[i];
    if (IsBlankOrComment(line)) continue;
    Source s{where, i + 1, {}, {}};
    if (std::optional<ScriptLine> cut = CutScriptLine(line); cut && !cut->field.empty()) {
      s.field = std::move(cut->field);
      s.script = std::move(cut->script);
    } else {
      s.script = Unescape(line);
    }
    sources.push_back(std::move(s));
  }
}

std::string Json(std::u16string_view text) {
  std::string out = "\"";
  for (char c : automation::ToUtf8(text)) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}
std::string Json(const std::string& utf8) { return Json(automation::FromUtf8(utf8)); }

std::string Where(const Source& s) {
  std::string where = s.where;
  if (s.file_line > 0) where += ":" + std::to_string(s.file_line);
  if (!s.field.empty()) where += " " + automation::ToUtf8(s.field);
  return where;
}

// The script's line that holds the offset, and the offset's column in it.
std::u16string LineOf(std::u16string_view script, std::size_t offset) {
  std::size_t begin = offset;
  while (begin > 0 && script[begin - 1] != u'\r' && script[begin - 1] != u'\n') --begin;
  std::size_t end = offset;
  while (end < script.size() && script[end] != u'\r' && script[end] != u'\n') ++end;
  return std::u16string(script.substr(begin, end - begin));
}

void PrintText(const Source& s, const CheckWarning& w) {
  std::u16string text = automation::FromUtf8(Where(s) + ":" + std::to_string(w.line) + ":" +
                                             std::to_string(w.column) + ": warning [" + w.kind +
                                             "]: " + w.message + "\n");
  const std::u16string line = LineOf(s.script, w.offset);
  text += u"    " + EscapeLine(line) + u"\n    ";
  for (std::size_t i = 1; i < static_cast<std::size_t>(w.column) && i <= line.size(); ++i) {
    text += line[i - 1] == u'\t' ? u"  " : u" ";
  }
  text += u"^\n";
  if (w.rewrite) text += u"    rewrite: " + EscapeLine(*w.rewrite) + u"\n";
  WriteOut(text);
}

std::string JsonObject(const Source& s, const CheckWarning& w) {
  std::string o = "{\"source\":" + Json(s.where);
  o += ",\"file_line\":" + (s.file_line > 0 ? std::to_string(s.file_line) : std::string("null"));
  o += ",\"field\":" + (s.field.empty() ? std::string("null") : Json(s.field));
  o += ",\"line\":" + std::to_string(w.line) + ",\"column\":" + std::to_string(w.column);
  o += ",\"kind\":" + Json(w.kind) + ",\"word\":" + Json(w.word);
  o += ",\"message\":" + Json(w.message);
  o += ",\"rewrite\":" + (w.rewrite ? Json(*w.rewrite) : std::string("null"));
  o += ",\"script\":" + Json(s.script) + "}";
  return o;
}

}  // namespace

int CheckCommand(const std::vector<std::string>& args) {
  const Options options = ParseOptions(args, CommandName::kCheck);
  if (options.operands.empty()) throw UsageError("check: a SCRIPT or a FILE is needed");
  std::vector<Source> sources;
  for (const std::string& operand : options.operands) {
    std::error_code ec;
    if (operand == "-") {
      LineReader reader;
      std::vector<std::u16string> lines;
      std::u16string line;
      while (reader.Next(line)) lines.push_back(line);
      AddLines("-", lines, sources);
    } else if (std::filesystem::is_regular_file(operand, ec)) {
      AddLines(operand, ReadLines(operand, "scripts file"), sources);
    } else if (std::filesystem::is_directory(operand, ec)) {
      throw UsageError("check: '" + operand + "' is a folder, not a scripts file");
    } else {
      sources.push_back({"script", 0, {}, automation::FromUtf8(operand)});
    }
  }
  CheckFields fields;
  fields.known = !options.fields.empty();
  for (const FieldDefinition& f : options.fields) fields.names.push_back(f.name);

  std::size_t count = 0, scripts_with = 0;
  bool first = true;
  if (options.json) WriteOut(std::string_view("["));
  for (const Source& s : sources) {
    const std::vector<CheckWarning> warnings = CheckScript(s.script, fields);
    count += warnings.size();
    if (!warnings.empty()) ++scripts_with;
    for (const CheckWarning& w : warnings) {
      if (options.json) {
        WriteOut((first ? "\n" : ",\n") + JsonObject(s, w));
        first = false;
      } else {
        PrintText(s, w);
      }
    }
  }
  if (options.json) {
    WriteOut(std::string_view(first ? "]\n" : "\n]\n"));
  } else {
    WriteOut(std::to_string(count) + (count == 1 ? " warning" : " warnings") + " in " +
             std::to_string(scripts_with) + " of " + std::to_string(sources.size()) +
             (sources.size() == 1 ? " script" : " scripts") +
             (fields.known ? "" : " (no fields given: every name is taken for a field)") + "\n");
  }
  return count == 0 ? 0 : 1;
}

}  // namespace qorvintr::cli
