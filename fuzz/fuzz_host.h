// The host both fuzz targets run their scripts in: one long-lived interpreter over a collection
// of host fields of every DataType, the way a real host keeps it, and the checks every run must
// pass. A failed check prints the script and aborts, so libFuzzer keeps the input.
//
// Every input's script runs twice on each host, the second run right after the first (after its
// ResetMemory, or on its kept state, as the mode says); a host field may change between the two
// runs (the mode's change). Where unwatched runs are allowed, the second run of a script that
// answered unwatched answers from its recording.
//
// Checked after every run:
//   - no exception left RealizeRegularExpression (nor Init, ResetMemory);
//   - the instance counter is back where it was;
//   - the host's collection holds exactly the host's fields, in order, with their values and
//     DataType words;
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
//   b & 0x20            a host field changes between the two runs, in both hosts alike: which
//                       one and how is chosen by the input's last byte (kept until the second
//                       run is checked, then set back)
// The fresh interpreter and the log's re-Init come before the first run only.
struct RunMode {
  bool fresh = false;
  bool keep_state = false;
  bool log_on = false;
  int change = -1;  // which host field change between the two runs; -1: none
};
RunMode ModeOfInput(const std::uint8_t* data, std::size_t size);

// What the runs so far did, for the replay program's summary and the fuzzer's exit line.
struct RunCounts {
  std::uint64_t inputs = 0;
  std::uint64_t changed = 0;              // inputs with a host field changed between their runs
  std::uint64_t first_unwatched = 0;      // first runs that answered unwatched
  std::uint64_t first_replayed = 0;       // ... of them from a recording (the script ran before)
  std::uint64_t second_unwatched = 0;     // second runs that answered unwatched
  std::uint64_t second_replayed = 0;      // ... of them from a recording
  std::uint64_t replays_required = 0;     // second runs that had to replay (and did: checked)
};
const RunCounts& Counts();
std::string CountsLine();

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
