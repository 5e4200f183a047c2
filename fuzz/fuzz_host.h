// The host both fuzz targets run their scripts in: one long-lived interpreter over a collection
// of host fields of every DataType, the way a real host keeps it, and the checks every run must
// pass. A failed check prints the script and aborts, so libFuzzer keeps the input.
//
// Checked after every run:
//   - no exception left RealizeRegularExpression (nor Init, ResetMemory);
//   - the instance counter is back where it was;
//   - the host's collection holds exactly the host's fields, in order, with their values;
//   - the result is a data field; no field only for a blank script or after a failed built-in
//     (see NoFieldAllowed);
//   - a twin host whose interpreter never runs a script unwatched (temporaries kept to itself
//     while nobody can look) runs the same script with the same mode: the answers (Name,
//     DataType, Data, DataClass), the ReportError calls and the debug log entries are the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qorvintr::fuzzing {

// How a run is made, from the first byte of an input:
//   (b & 0x03) == 0x03  the script is raw UTF-16LE (fuzz_scripts only); otherwise UTF-8
//   b & 0x04            a fresh interpreter (created and initialised) before the run
//   b & 0x08            no ResetMemory after the run: state carries into the next runs (a reset
//                       still happens every kMaxRunsWithoutReset runs, as a host would)
//   b & 0x10            the debug log on (through the host's INI file and a re-Init)
struct RunMode {
  bool fresh = false;
  bool keep_state = false;
  bool log_on = false;
};
RunMode ModeFromByte(std::uint8_t b);

// Sets the host up once (LLVMFuzzerInitialize); reads QORVINTR_FUZZ_STRICT and
// QORVINTR_FUZZ_AVOID_FFFF from the environment.
void SetUp();

// One script through the host's interpreter, checked.
void Run(const RunMode& mode, std::u16string script);

// The script an input stands for, without its mode byte; each target defines it (the replay
// program prints it as a batch line for the comparison with the Windows build).
std::u16string ScriptOfInput(const std::uint8_t* data, std::size_t size);

// The host's fields as lines of qorvintr's fields file (NAME:TYPE=VALUE), those a fields file
// can say: the same values the library host holds.
std::string HostFieldsFile();

// The host's field names, for generators that want to name them.
const std::u16string* HostFieldNames(std::size_t& count);

}  // namespace qorvintr::fuzzing
