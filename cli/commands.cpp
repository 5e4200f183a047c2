#include "cli/commands.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string_view>

#include "automation/text.h"
#include "cli/hl7.h"
#include "cli/options.h"
#include "cli/paths.h"
#include "cli/session.h"
#include "cli/text_io.h"

namespace qorvintr::cli {

namespace {

constexpr std::string_view kExampleFields = "document-fields.txt";
constexpr std::string_view kExampleScripts = "hl7-scripts.txt";

template <class Number>
std::u16string NumberText(Number n) {
  return automation::FromUtf8(std::to_string(n));
}

bool IsErrorField(const contract::DataFieldRef& field) {
  return field && field->Name() == u"Error";
}

void PrintResultLine(const contract::DataFieldRef& field) {
  std::u16string line = ResultLine(field);
  line += u'\n';
  WriteOut(line);
}

}  // namespace

std::u16string OneScript(const Options& options, const std::string& command) {
  if (options.operands.empty()) throw UsageError(command + ": a SCRIPT is needed");
  if (options.operands.size() > 1) {
    throw UsageError(command + ": one SCRIPT only (quote a script that has blanks); got '" +
                     options.operands[1] + "' too");
  }
  return automation::FromUtf8(options.operands[0]);
}

int EvalStatus(const contract::DataFieldRef& result) {
  if (!result) return 3;
  return IsErrorField(result) ? 1 : 0;
}

int EvalCommand(const std::vector<std::string>& args) {
  const Options options = ParseOptions(args, CommandName::kEval);
  const std::u16string script = OneScript(options, "eval");
  FixedClock clock(options.now);
  Session session(options);
  contract::DataFieldRef result = session.Run(script);
  PrintResultLine(result);
  return EvalStatus(result);
}

namespace {

// The bundled example: beside the source tree of a build folder (build/<preset>/qorvintr), where
// an installed command's package keeps it (<prefix>/share/doc/qorvintr/examples for
// <prefix>/bin/qorvintr), or in the current folder.
std::filesystem::path ExampleFolder(const char* argv0) {
  std::vector<std::filesystem::path> candidates;
  const std::filesystem::path exe = ExecutableFolder(argv0);
  if (!exe.empty()) {
    candidates.push_back(exe / ".." / ".." / "examples");
    candidates.push_back(exe / "examples");
    candidates.push_back(exe / ".." / "share" / "doc" / "qorvintr" / "examples");
  }
  candidates.push_back(std::filesystem::path("examples"));
  std::error_code ec;
  for (const std::filesystem::path& c : candidates) {
    if (std::filesystem::is_regular_file(c / kExampleFields, ec) &&
        std::filesystem::is_regular_file(c / kExampleScripts, ec)) {
      return c.lexically_normal();
    }
  }
  throw UsageError(
      "run: the bundled example (examples/document-fields.txt, examples/hl7-scripts.txt) was "
      "not found; give --fields FILE and --scripts FILE");
}

// Columns are measured in characters (code points), which is what a terminal shows for the
// texts of this table.
std::size_t Width(std::u16string_view text) {
  std::size_t n = 0;
  for (char16_t c : text) {
    if (c < 0xDC00 || c > 0xDFFF) ++n;
  }
  return n;
}

void Pad(std::u16string& line, std::u16string_view text, std::size_t width) {
  line += text;
  line.append(width > Width(text) ? width - Width(text) : 0, u' ');
}

struct Row {
  std::u16string field, value, script;
  std::u16string text;  // the value unescaped; empty for Error and Nothing
};

// Runs the scripts one after the other: a row for each, and the count of those that answered
// the field named "Error".
std::vector<Row> RunScripts(Session& session, const std::vector<ScriptLine>& scripts,
                            int& failed) {
  std::vector<Row> rows;
  rows.reserve(scripts.size());
  for (const ScriptLine& s : scripts) {
    contract::DataFieldRef result = session.Run(s.script);
    Row row{s.field, {}, s.written, {}};
    if (!result) {
      row.value = u"(nothing)";
    } else if (IsErrorField(result)) {
      row.value = u"Error";
      ++failed;
    } else {
      row.text = ValueText(result->Data());
      row.value = EscapeLine(row.text);
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

// The rows under a header and a rule, each column as wide as its widest text.
std::u16string Table(const std::vector<Row>& rows) {
  const Row header{u"FIELD", u"VALUE", u"SCRIPT", {}};
  std::size_t field_width = Width(header.field), value_width = Width(header.value);
  for (const Row& r : rows) {
    field_width = std::max(field_width, Width(r.field));
    value_width = std::max(value_width, Width(r.value));
  }
  std::u16string out;
  auto add_row = [&](const Row& r) {
    std::u16string line;
    Pad(line, r.field, field_width + 2);
    Pad(line, r.value, value_width + 2);
    line += r.script;
    while (!line.empty() && line.back() == u' ') line.pop_back();
    out += line;
    out += u'\n';
  };
  add_row(header);
  add_row(Row{std::u16string(field_width, u'-'), std::u16string(value_width, u'-'),
              std::u16string(Width(header.script), u'-'), {}});
  for (const Row& r : rows) add_row(r);
  return out;
}

}  // namespace

int RunCommand(const std::vector<std::string>& args, const char* argv0) {
  Options options = ParseOptions(args, CommandName::kRun);
  if (!options.operands.empty()) {
    throw UsageError("run: unexpected '" + options.operands[0] +
                     "' (give files with --fields and --scripts)");
  }
  if (options.fields_files.empty()) {
    const std::string fields_file = PathToUtf8(ExampleFolder(argv0) / kExampleFields);
    std::vector<FieldDefinition> bundled = ReadFieldsFile(fields_file);
    // The bundled fields come first, so that --field can change one of them.
    options.fields.insert(options.fields.begin(), bundled.begin(), bundled.end());
    options.fields_files.push_back(fields_file);
  }
  std::string scripts_file;
  if (options.scripts) {
    scripts_file = *options.scripts;
  } else {
    scripts_file = PathToUtf8(ExampleFolder(argv0) / kExampleScripts);
  }
  const std::vector<ScriptLine> scripts = ReadScriptsFile(scripts_file);
  if (options.hl7) {
    // A field name that is not SEG-N is a usage error before any script runs.
    std::vector<std::pair<std::u16string, std::u16string>> names;
    for (const ScriptLine& s : scripts) names.emplace_back(s.field, std::u16string());
    Hl7Message(names);
  }

  FixedClock clock(options.now);
  Session session(options);
  int failed = 0;
  const std::vector<Row> rows = RunScripts(session, scripts, failed);
  const std::u16string summary = NumberText(rows.size()) + u" scripts, " + NumberText(failed) +
                                 u" answered Error, " + NumberText(session.reported_errors()) +
                                 u" errors reported to the host\n";

  if (options.hl7) {
    std::vector<std::pair<std::u16string, std::u16string>> values;
    for (const Row& r : rows) values.emplace_back(r.field, r.text);
    WriteOut(Hl7Message(values));
    // Standard output is the message alone; a failure is told beside it.
    if (failed > 0) WriteErr(u"qorvintr run: " + summary);
    return failed > 0 ? 1 : 0;
  }

  std::u16string out;
  out += u"Document fields: ";
  for (std::size_t i = 0; i < options.fields_files.size(); ++i) {
    if (i > 0) out += u", ";
    out += automation::FromUtf8(options.fields_files[i]);
  }
  out += u" (" + NumberText(session.field_count()) + u" fields)\n";
  out += u"HL7 field scripts: " + automation::FromUtf8(scripts_file) + u" (" +
         NumberText(scripts.size()) + u" scripts)\n\n";
  out += Table(rows);
  out += u'\n';
  out += summary;
  WriteOut(out);
  return failed > 0 ? 1 : 0;
}

}  // namespace qorvintr::cli
