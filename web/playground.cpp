// The playground's engine: the qorvintr command's own pieces (its options, session, checker and
// run command) reached from the page through embind, so that the page answers exactly what the
// command answers. The page's script only shows what comes back from here.
#include <emscripten/bind.h>
#include <emscripten/val.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "automation/text.h"
#include "cli/check.h"
#include "cli/explain.h"
#include "cli/commands.h"
#include "cli/options.h"
#include "cli/session.h"
#include "cli/text_io.h"
#include "qorvintr/version.h"

namespace qorvintr::playground {

using emscripten::val;

namespace {

// The bundled example, embedded in the module at these names (the page's working folder is /),
// so that the run's header names the same files as `bash scripts/run.sh` does.
constexpr const char* kExampleFields = "examples/document-fields.txt";
constexpr const char* kExampleScripts = "examples/hl7-scripts.txt";
// The page's own fields, written out as a fields file when the run should use them.
constexpr const char* kPageFields = "playground-fields.txt";
constexpr const char* kPastedFields = "/tmp/pasted-fields.txt";
constexpr const char* kOutFile = "/tmp/stdout.txt";
constexpr const char* kErrFile = "/tmp/stderr.txt";

std::string FileText(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const char* path, std::string_view text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

// Standard output and standard error go to files while one of the command's pieces runs; what
// it wrote is read back afterwards. In the module nothing else writes to them.
class Captured {
 public:
  Captured() {
    std::fflush(stdout);
    std::fflush(stderr);
    std::freopen(kOutFile, "wb", stdout);
    std::freopen(kErrFile, "wb", stderr);
  }
  std::string Out() {
    std::fflush(stdout);
    return FileText(kOutFile);
  }
  std::string Err() {
    std::fflush(stderr);
    return FileText(kErrFile);
  }
};

val Text(std::u16string_view text) { return val(std::u16string(text)); }
val Utf8(std::string_view text) { return Text(automation::FromUtf8(text)); }

// The page's fields ({name, type, value} objects) as the command's --field words:
// NAME:TYPE=VALUE takes the value as it is, as the page's table holds it.
void AddFieldWords(const val& fields, std::vector<std::string>& args) {
  if (fields.isNull() || fields.isUndefined()) return;
  const unsigned count = fields["length"].as<unsigned>();
  for (unsigned i = 0; i < count; ++i) {
    const val field = fields[i];
    args.push_back("--field");
    args.push_back(field["name"].as<std::string>() + ":" + field["type"].as<std::string>() + "=" +
                   field["value"].as<std::string>());
  }
}

// Standard error of `eval --errors --log-stderr` cut into its parts: each ReportError line
// ("ReportError: ...", one line) and each debug-log entry (CR LF, time stamp, CR LF, message,
// then the line feed the command adds). An entry runs to the line feed that comes before the
// next part or the end.
void SplitStandardError(std::string_view err, val& errors, val& log) {
  constexpr std::string_view kReport = "ReportError: ";
  std::size_t at = 0;
  while (at < err.size()) {
    std::size_t end = err.find('\n', at);
    if (err.substr(at, kReport.size()) != kReport) {
      while (end != std::string_view::npos && end + 1 < err.size() &&
             err.substr(end + 1, 2) != "\r\n" && err.substr(end + 1, kReport.size()) != kReport) {
        end = err.find('\n', end + 1);
      }
    }
    if (end == std::string_view::npos) end = err.size();
    const std::string_view part = err.substr(at, end - at);
    if (part.substr(0, kReport.size()) == kReport) {
      errors.call<void>("push", Utf8(part));
    } else {
      log.call<void>("push", Utf8(part));
    }
    at = end + 1;
  }
}

val Warnings(const std::u16string& script, const cli::Options& options) {
  // As `qorvintr check --field ...` does: with fields given, a name that is none of them is
  // unknown.
  cli::CheckFields fields;
  fields.known = !options.fields.empty();
  for (const cli::FieldDefinition& f : options.fields) fields.names.push_back(f.name);
  val list = val::array();
  for (const cli::CheckWarning& w : cli::CheckScript(script, fields)) {
    val item = val::object();
    item.set("kind", Utf8(w.kind));
    item.set("line", w.line);
    item.set("column", w.column);
    item.set("word", Text(w.word));
    item.set("message", Utf8(w.message));
    item.set("rewrite", w.rewrite ? Text(*w.rewrite) : val::null());
    list.call<void>("push", item);
  }
  return list;
}

}  // namespace

// One script over the page's fields, as `qorvintr eval --errors --log-stderr [--now NOW]
// --field ... -- SCRIPT` runs it: the result line, the ReportError lines, the debug log's
// entries and standard error as the command writes it, and the warnings of `qorvintr check`.
val Evaluate(const std::string& script, const val& fields, const std::string& now) {
  std::vector<std::string> args{"--errors", "--log-stderr"};
  if (!now.empty()) {
    args.push_back("--now");
    args.push_back(now);
  }
  AddFieldWords(fields, args);
  args.push_back("--");
  args.push_back(script);

  val answer = val::object();
  const std::u16string text = automation::FromUtf8(script);
  cli::Options options;
  std::string err;
  try {
    options = cli::ParseOptions(args, cli::CommandName::kEval);
    Captured captured;
    {
      cli::FixedClock clock(options.now);
      cli::Session session(options);
      // The steps of `qorvintr explain`, from the interpreter's own listener.
      cli::TraceRecorder recorder;
      session.Listen(&recorder);
      const contract::DataFieldRef result = session.Run(text);
      session.Listen(nullptr);
      val trace = val::array();
      for (const cli::TraceStep& step : recorder.steps()) {
        val item = val::object();
        item.set("kind", Utf8(step.kind));
        item.set("level", step.level);
        item.set("text", Text(std::u16string(static_cast<std::size_t>(step.level < 0 ? 0 : step.level) * 2, u' ') + step.text));
        trace.call<void>("push", item);
      }
      answer.set("trace", trace);
      answer.set("line", Text(cli::ResultLine(result)));
      answer.set("nothing", !result);
      answer.set("error", result && result->Name() == u"Error");
    }
    err = captured.Err();
  } catch (const cli::UsageError& e) {
    answer.set("usage", Utf8(e.message()));
    return answer;
  }
  val errors = val::array();
  val log = val::array();
  SplitStandardError(err, errors, log);
  answer.set("errors", errors);
  answer.set("log", log);
  answer.set("stderr", Utf8(err));
  answer.set("warnings", Warnings(text, options));
  return answer;
}

// The whole example, as `qorvintr run --scripts examples/hl7-scripts.txt` prints it (with
// --hl7: the message), over the bundled fields (fields null) or the page's own.
val Run(const val& fields, const std::string& now, bool hl7) {
  std::vector<std::string> args{"--fields"};
  if (fields.isNull() || fields.isUndefined()) {
    args.push_back(kExampleFields);
  } else {
    std::u16string file;
    const unsigned count = fields["length"].as<unsigned>();
    for (unsigned i = 0; i < count; ++i) {
      const val field = fields[i];
      file += field["name"].as<std::u16string>() + u":" + field["type"].as<std::u16string>() +
              u"=" + cli::EscapeLine(field["value"].as<std::u16string>()) + u"\n";
    }
    WriteFile(kPageFields, automation::ToUtf8(file));
    args.push_back(kPageFields);
  }
  args.push_back("--scripts");
  args.push_back(kExampleScripts);
  if (!now.empty()) {
    args.push_back("--now");
    args.push_back(now);
  }
  if (hl7) args.push_back("--hl7");

  val answer = val::object();
  Captured captured;
  try {
    answer.set("status", cli::RunCommand(args, nullptr));
  } catch (const cli::UsageError& e) {
    answer.set("usage", Utf8(e.message()));
  }
  answer.set("out", Utf8(captured.Out()));
  answer.set("err", Utf8(captured.Err()));
  return answer;
}

// The fields of a fields file's text, read as `--fields` reads them, each with its value as
// the table shows it (escapes read), or the command's message for a malformed line.
val ReadFields(const std::string& text) {
  val answer = val::object();
  WriteFile(kPastedFields, text);
  std::vector<cli::FieldDefinition> definitions;
  try {
    definitions = cli::ReadFieldsFile(kPastedFields);
  } catch (const cli::UsageError& e) {
    answer.set("usage", Utf8(e.message()));
    return answer;
  }
  // ReadFieldsFile took every line that is not blank or a comment, and each has an "=".
  val list = val::array();
  std::size_t next = 0;
  for (const std::u16string& line : cli::ReadLines(kPastedFields, "fields file")) {
    if (cli::IsBlankOrComment(line)) continue;
    const cli::FieldDefinition& d = definitions[next++];
    val item = val::object();
    item.set("name", Text(d.name));
    item.set("type", Text(d.data_type));
    item.set("value", Text(cli::Unescape(std::u16string_view(line).substr(line.find(u'=') + 1))));
    list.call<void>("push", item);
  }
  answer.set("fields", list);
  return answer;
}

std::string ExampleFieldsText() { return FileText(kExampleFields); }

// The example's scripts for the page's list: FIELD<TAB>SCRIPT lines, escapes read.
val ExampleScripts() {
  val list = val::array();
  for (const cli::ScriptLine& s : cli::ReadScriptsFile(kExampleScripts)) {
    val item = val::object();
    item.set("field", Text(s.field));
    item.set("script", Text(s.script));
    list.call<void>("push", item);
  }
  return list;
}

std::string Version() { return QORVINTR_VERSION_TEXT; }

EMSCRIPTEN_BINDINGS(qorvintr_playground) {
  emscripten::function("evaluate", &Evaluate);
  emscripten::function("run", &Run);
  emscripten::function("readFields", &ReadFields);
  emscripten::function("exampleFieldsText", &ExampleFieldsText);
  emscripten::function("exampleScripts", &ExampleScripts);
  emscripten::function("version", &Version);
}

}  // namespace qorvintr::playground
