#pragma once
// The commands of qorvintr. Each takes the words after its name, prints its results on
// standard output and answers the exit status; a usage error is thrown as UsageError.

#include <string>
#include <vector>

#include "cli/options.h"
#include "qorvintr/contract/data_field.h"

namespace qorvintr::cli {

int EvalCommand(const std::vector<std::string>& args);
int BatchCommand(const std::vector<std::string>& args);
// The one script of eval and explain (a usage error for none or more than one).
std::u16string OneScript(const Options& options, const std::string& command);
// eval's exit status for a script's answer: 0 a value, 1 the "Error" field, 3 none.
int EvalStatus(const contract::DataFieldRef& result);
// Exit status as eval's; the trace comes first.
int ExplainCommand(const std::vector<std::string>& args);
// Exit status 0: no warning; 1: warnings.
int CheckCommand(const std::vector<std::string>& args);
// argv0 helps find the bundled example next to the program.
int RunCommand(const std::vector<std::string>& args, const char* argv0);

}  // namespace qorvintr::cli
