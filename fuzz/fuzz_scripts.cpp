// libFuzzer target: arbitrary bytes as scripts, run through one long-lived interpreter the way a
// host does (fuzz_host.h: the host, its fields and the checks after every run).
//
// Input: the first byte chooses how the run is made (fuzz_host.h, RunMode; (b & 0x03) == 0x03
// makes the rest raw UTF-16LE, lone surrogates and all), the rest is the script.
// The seed corpus uses '@' (0x40): UTF-8, same interpreter, reset after the run, log off.
//
// Running it (the fuzz preset; scripts/test.sh replays fuzz/corpus and fuzzes for a minute):
//   cmake --preset fuzz && cmake --build --preset fuzz --target fuzz_scripts
//   mkdir -p corpus
//   build/fuzz/fuzz/fuzz_scripts -max_total_time=600 -timeout=10 -dict=fuzz/scripts.dict corpus fuzz/corpus
// The long campaign uses the fuzz-fast preset (optimised, no sanitizers): fuzz/campaign.sh.
// Replay a finding: build/fuzz/fuzz/fuzz_scripts <file>. To fuzz on past a known finding, add
// -fork=1 -ignore_crashes=1.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "automation/text.h"
#include "fuzz_host.h"

namespace {

std::u16string Decode(const std::uint8_t* data, std::size_t size, bool utf16) {
  if (!utf16) return qorvintr::automation::FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  std::u16string text(size / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qorvintr::fuzzing::SetUp();
  return 0;
}

std::u16string qorvintr::fuzzing::ScriptOfInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return {};
  const bool utf16 = (data[0] & 0x03) == 0x03;
  return Decode(data + 1, size - 1, utf16);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  qorvintr::fuzzing::Run(qorvintr::fuzzing::ModeOfInput(data, size),
                         qorvintr::fuzzing::ScriptOfInput(data, size));
  return 0;
}
