#include "cli/options.h"

#include <array>
#include <string>
#include <utility>

#include "automation/chars.h"
#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/text.h"
#include "cli/text_io.h"

namespace qorvintr::cli {

using automation::Value;
using automation::VarType;

namespace {

struct TypeWord {
  std::u16string_view word;
  VarType kind;  // Empty: the text is kept (String, Variant)
};

constexpr std::array<TypeWord, 8> kTypeWords{{
    {u"String", VarType::Empty},
    {u"Long", VarType::Long},
    {u"Integer", VarType::Integer},
    {u"Boolean", VarType::Boolean},
    {u"Single", VarType::Single},
    {u"Double", VarType::Double},
    {u"Date", VarType::Date},
    {u"Variant", VarType::Empty},
}};

std::string Utf8(std::u16string_view s) { return automation::ToUtf8(s); }

}  // namespace

FieldDefinition ParseFieldDefinition(std::u16string_view definition, std::string_view where) {
  const std::size_t equals = definition.find(u'=');
  if (equals == std::u16string_view::npos) {
    throw UsageError(std::string(where) + ": '" + Utf8(definition) +
                     "' is not a field: write NAME=VALUE or NAME:TYPE=VALUE");
  }
  std::u16string_view head = definition.substr(0, equals);
  std::u16string_view value = definition.substr(equals + 1);
  std::u16string_view name = head;
  std::u16string_view type;
  const std::size_t colon = head.rfind(u':');
  if (colon != std::u16string_view::npos) {
    name = head.substr(0, colon);
    type = TrimBlanksAndTabs(head.substr(colon + 1));
  }
  name = TrimBlanksAndTabs(name);
  if (name.empty()) {
    throw UsageError(std::string(where) + ": '" + Utf8(definition) +
                     "' has no field name before '" +
                     (colon != std::u16string_view::npos ? ":" : "=") + "'");
  }

  FieldDefinition field;
  field.name = std::u16string(name);
  if (colon == std::u16string_view::npos) {
    field.data_type = u"String";
    field.data = Value::String(value);
    return field;
  }
  const TypeWord* found = nullptr;
  for (const TypeWord& t : kTypeWords) {
    if (automation::EqualsIgnoreAsciiCase(t.word, type)) found = &t;
  }
  if (found == nullptr) {
    throw UsageError(std::string(where) + ": unknown type '" + Utf8(type) + "' for field '" +
                     Utf8(name) +
                     "' (use String, Long, Integer, Boolean, Single, Double, Date or Variant)");
  }
  field.data_type = std::u16string(found->word);
  try {
    const Value text = Value::String(value);
    switch (found->kind) {
      case VarType::Empty: field.data = text; break;
      case VarType::Date: field.data = Value::Date(automation::CDate(text)); break;
      default: field.data = automation::ChangeType(text, found->kind); break;
    }
  } catch (const automation::AutomationError& e) {
    throw UsageError(std::string(where) + ": the value '" + Utf8(value) + "' of field '" +
                     Utf8(name) + "' cannot be converted to " + Utf8(found->word) + " (error " +
                     std::to_string(e.Number()) + ": " + Utf8(e.Description()) + ")");
  }
  return field;
}

std::vector<FieldDefinition> ReadFieldsFile(const std::string& path) {
  std::vector<FieldDefinition> fields;
  const std::vector<std::u16string> lines = ReadLines(path, "fields file");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::u16string_view line = lines[i];
    if (IsBlankOrComment(line)) continue;
    const std::size_t equals = line.find(u'=');
    const std::string where = path + ":" + std::to_string(i + 1);
    if (equals == std::u16string_view::npos) {
      // Let the field parser word the message.
      fields.push_back(ParseFieldDefinition(line, where));
      continue;
    }
    std::u16string definition(line.substr(0, equals + 1));
    definition += Unescape(line.substr(equals + 1));
    fields.push_back(ParseFieldDefinition(definition, where));
  }
  return fields;
}

Options ParseOptions(const std::vector<std::string>& args, CommandName command) {
  Options options;
  const std::string cmd = command == CommandName::kEval    ? "eval"
                          : command == CommandName::kBatch ? "batch"
                          : command == CommandName::kCheck ? "check"
                          : command == CommandName::kExplain ? "explain"
                                                           : "run";
  bool only_operands = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (only_operands || arg.size() < 2 || arg[0] != '-') {
      options.operands.push_back(arg);
      continue;
    }
    if (arg == "--") {
      only_operands = true;
      continue;
    }
    // --name=value or --name value.
    std::string name = arg;
    std::optional<std::string> inline_value;
    if (arg.rfind("--", 0) == 0) {
      const std::size_t equals = arg.find('=');
      if (equals != std::string::npos) {
        name = arg.substr(0, equals);
        inline_value = arg.substr(equals + 1);
      }
    }
    auto value = [&]() -> std::string {
      if (inline_value) return *inline_value;
      if (i + 1 >= args.size()) throw UsageError(cmd + ": option " + name + " needs a value");
      return args[++i];
    };
    auto no_value = [&] {
      if (inline_value) throw UsageError(cmd + ": option " + name + " takes no value");
    };

    if (command == CommandName::kCheck && name != "--field" && name != "--fields" &&
        name != "--json") {
      throw UsageError(cmd + ": unknown option '" + arg + "' (check takes --field, --fields and --json)");
    }
    if (name == "--field") {
      options.fields.push_back(
          ParseFieldDefinition(automation::FromUtf8(value()), cmd + ": --field"));
    } else if (name == "--fields") {
      const std::string file = value();
      for (FieldDefinition& f : ReadFieldsFile(file)) options.fields.push_back(std::move(f));
      options.fields_files.push_back(file);
    } else if (name == "--ini") {
      options.ini = value();
      if (options.ini->empty()) throw UsageError(cmd + ": --ini needs a file name");
    } else if (name == "--log-stderr") {
      no_value();
      options.log_stderr = true;
    } else if (name == "--errors") {
      no_value();
      options.errors = true;
    } else if (name == "--system") {
      options.system = automation::FromUtf8(value());
    } else if (name == "--application") {
      options.application = automation::FromUtf8(value());
    } else if (name == "--now") {
      const std::string text = value();
      std::optional<double> serial = automation::ParseDate(automation::FromUtf8(text));
      if (!serial) {
        throw UsageError(cmd + ": --now '" + text +
                         "' is not a date and time (write for instance \"3/14/2002 9:30:00 AM\")");
      }
      options.now = *serial;
    } else if (name == "--scripts" && command == CommandName::kRun) {
      options.scripts = value();
    } else if (name == "--hl7" && command == CommandName::kRun) {
      no_value();
      options.hl7 = true;
    } else if (name == "--jobs" && command == CommandName::kBatch) {
      const std::string text = value();
      unsigned jobs = 0;
      const bool digits = !text.empty() && text.size() <= 4 &&
                          text.find_first_not_of("0123456789") == std::string::npos;
      if (digits) jobs = static_cast<unsigned>(std::stoul(text));
      if (jobs < 1 || jobs > kMaxJobs) {
        throw UsageError(cmd + ": --jobs '" + text + "' is not a number from 1 to " +
                         std::to_string(kMaxJobs));
      }
      options.jobs = jobs;
    } else if (name == "--stats" && command == CommandName::kBatch) {
      no_value();
      options.stats = true;
    } else if (name == "--json" && command == CommandName::kCheck) {
      no_value();
      options.json = true;
    } else {
      throw UsageError(cmd + ": unknown option '" + arg + "' (see qorvintr --help)");
    }
  }
  return options;
}

}  // namespace qorvintr::cli
