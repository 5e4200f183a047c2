#pragma once
// The options the eval, batch and run commands share, and the data fields they describe.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qorvintr/value.h"

namespace qorvintr::cli {

// Host fields carry this DataClass (the interpreter's own temporaries carry "Auto").
inline constexpr std::u16string_view kHostDataClass = u"Host";
inline constexpr std::u16string_view kDefaultSystem = u"Upload";
inline constexpr std::u16string_view kDefaultApplication = u"qorvintr";

struct FieldDefinition {
  std::u16string name;
  std::u16string data_type;  // one of the type words, spelt as the interpreter compares them
  automation::Value data;
};

struct Options {
  // In the order given; a later one replaces an earlier one.
  std::vector<FieldDefinition> fields;
  std::optional<std::string> ini;     // the host's INI file (UTF-8 name as given)
  bool log_stderr = false;
  bool errors = false;
  std::u16string system{kDefaultSystem};
  std::u16string application{kDefaultApplication};
  std::optional<double> now;          // a date serial
  std::vector<std::string> fields_files;  // the --fields files, in order
  std::optional<std::string> scripts; // run: the scripts file
  bool hl7 = false;                   // run: the HL7 message instead of the table
  std::optional<unsigned> jobs;       // batch: --jobs
  bool stats = false;                 // batch: --stats
  bool json = false;                  // check: --json
  std::vector<std::string> operands;  // what is left: the script, or the batch file
};

enum class CommandName { kEval, kBatch, kRun, kCheck, kExplain };

// The most --jobs admits.
inline constexpr unsigned kMaxJobs = 256;

// Reads the options of a command from args (the words after the command's name): run admits
// --scripts and --hl7, batch --jobs and --stats, check --json. Throws UsageError.
Options ParseOptions(const std::vector<std::string>& args, CommandName command);

// One field from NAME=VALUE or NAME:TYPE=VALUE (the value taken as it is); where names it in
// messages. Throws UsageError.
FieldDefinition ParseFieldDefinition(std::u16string_view definition, std::string_view where);

// The fields of a fields file (see the help text for its format). Throws UsageError.
std::vector<FieldDefinition> ReadFieldsFile(const std::string& path);

}  // namespace qorvintr::cli
