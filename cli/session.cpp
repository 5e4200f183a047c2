#include "cli/session.h"

#include <fstream>
#include <utility>

#include "automation/datetime.h"
#include "automation/text.h"
#include "cli/text_io.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/log_writer.h"
#include "support/debug_log.h"

namespace qorvintr::cli {

using automation::Value;

namespace {

// The debug log's writer for --log-stderr: every entry goes to standard error exactly as the
// debug log builds it (it starts with CR LF and the time stamp), then a line feed.
class StandardErrorLog : public contract::LogWriter {
 public:
  Value Init(std::u16string_view, std::u16string_view, std::u16string&, std::int16_t,
             std::int32_t&, bool, std::u16string&, std::u16string_view) override {
    return Value::Long(0);
  }
  Value WriteLogMsg(std::u16string_view text) override {
    std::string line = automation::ToUtf8(text);
    line += '\n';
    WriteErr(std::string_view(line));
    return Value::Long(0);
  }
};

// What the generated INI holds when --log-stderr comes without --ini.
constexpr std::string_view kLoggingIni = "[Upload]\r\nWriteDebugLog=True\r\n";

}  // namespace

std::u16string ReportErrorLine(const std::array<Value, 11>& arguments) {
  std::u16string line = u"ReportError: ";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0) line += u" | ";
    const Value& a = arguments[i];
    if (a.IsMissing()) continue;
    line += EscapeLine(ValueText(a));
  }
  return line;
}

Value PrintingErrorObject::ReportError(const Value& code, const Value& text, const Value& when,
                                       const Value& arg4, const Value& arg5, const Value& arg6,
                                       Value& system, Value& application, const Value& release,
                                       Value& module, const Value& procedure) {
  ++calls_;
  if (print_) {
    std::u16string line = ReportErrorLine(
        {code, text, when, arg4, arg5, arg6, system, application, release, module, procedure});
    line += u'\n';
    if (sink_ != nullptr) {
      *sink_ += line;
    } else {
      WriteErr(line);
    }
  }
  return Value::Long(0);
}

FixedClock::FixedClock(std::optional<double> now) {
  if (!now) return;
  const double serial = *now;
  automation::SetClock([serial] { return serial; });
  fixed_ = true;
}

FixedClock::~FixedClock() {
  if (fixed_) automation::SetClock({});
}

Session::Session(const Options& options) {
  // The INI file: the one given, or (for --log-stderr alone) one that switches the log on.
  std::u16string ini_name;
  if (options.ini) {
    const std::filesystem::path given = PathFromUtf8(*options.ini);
    std::error_code ec;
    if (!std::filesystem::is_regular_file(given, ec) || !std::ifstream(given, std::ios::binary)) {
      throw UsageError("cannot read INI file '" + *options.ini + "'");
    }
    // The platform looks for a name without a folder in its own folder; give it the full name.
    std::filesystem::path full = std::filesystem::absolute(given, ec);
    ini_name = automation::FromUtf8(PathToUtf8(ec ? given : full));
  } else if (options.log_stderr) {
    generated_ini_.emplace("qorvintr-log", kLoggingIni);
    ini_name = automation::FromUtf8(PathToUtf8(generated_ini_->path()));
  }

  if (options.log_stderr) {
    contract::RegisterCreator(contract::kLogProgId, [] {
      return std::static_pointer_cast<automation::Object>(std::make_shared<StandardErrorLog>());
    });
  }
  components::RegisterDefaultComponents();

  fields_ = std::make_shared<components::DataFieldCollection>();
  for (const FieldDefinition& definition : options.fields) {
    // A later definition of a name replaces the earlier one (names are compared without regard
    // to case, as the collection compares them).
    fields_->Fields().TryRemove(definition.name);
    fields_->Add(definition.name, definition.data, definition.data_type,
                 std::u16string(kHostDataClass));
  }
  errors_ = std::make_shared<PrintingErrorObject>(options.errors);

  interpreter_ = std::make_unique<engine::Interpreter>();
  if (!ini_name.empty()) interpreter_->SetOrlinaIniFilename(ini_name);
  contract::DataFieldsRef fields = fields_;
  contract::HostErrorRef errors = errors_;
  std::u16string system = options.system;
  std::u16string application = options.application;
  interpreter_->Init(fields, errors, system, application);
}

Session::~Session() {
  interpreter_.reset();
  support::modDebugLog::ResetDebugLog();
}

contract::DataFieldRef Session::Run(std::u16string script) {
  return interpreter_->RealizeRegularExpression(script);
}

contract::DataFieldRef Session::RunAlone(std::u16string script) {
  contract::DataFieldRef result = interpreter_->RealizeRegularExpression(script);
  interpreter_->ResetMemory();
  return result;
}

std::u16string ResultLine(const contract::DataFieldRef& field) {
  if (!field) return u"Nothing";
  std::u16string line = EscapeLine(field->Name());
  line += u'\t';
  line += EscapeLine(field->DataType());
  line += u'\t';
  line += EscapeLine(ValueText(field->Data()));
  return line;
}

}  // namespace qorvintr::cli
