// Runs fuzz inputs without libFuzzer, for the builds the test command checks the corpus with
// (AddressSanitizer + UBSan, valgrind): every FILE, and every file of every FOLDER in name
// order, goes once through the target's LLVMFuzzerTestOneInput, whose checks abort on a finding.
//
//   fuzz_scripts_replay [--batch | --fields] FILE|FOLDER...
//     --batch   print each input's script as one line of a qorvintr batch file instead of
//               running it (escapes \\ \t \r \n), for the comparison with the Windows build
//     --fields  print the host's fields as a qorvintr fields file
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "automation/text.h"
#include "fuzz_host.h"

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::string BatchLine(const std::u16string& script) {
  std::string line;
  for (char c : qorvintr::automation::ToUtf8(script)) {
    switch (c) {
      case '\\': line += "\\\\"; break;
      case '\t': line += "\\t"; break;
      case '\r': line += "\\r"; break;
      case '\n': line += "\\n"; break;
      default: line += c;
    }
  }
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  bool batch = false;
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--batch") {
      batch = true;
      continue;
    }
    if (arg == "--fields") {
      std::fputs(qorvintr::fuzzing::HostFieldsFile().c_str(), stdout);
      return 0;
    }
    std::error_code ec;
    if (std::filesystem::is_directory(arg, ec)) {
      std::vector<std::filesystem::path> inside;
      for (const auto& entry : std::filesystem::directory_iterator(arg, ec)) {
        if (entry.is_regular_file()) inside.push_back(entry.path());
      }
      std::sort(inside.begin(), inside.end());
      files.insert(files.end(), inside.begin(), inside.end());
    } else if (std::filesystem::is_regular_file(arg, ec)) {
      files.emplace_back(arg);
    } else {
      std::fprintf(stderr, "replay: no file or folder %s\n", arg.c_str());
      return 2;
    }
  }
  if (!batch) LLVMFuzzerInitialize(&argc, &argv);
  std::size_t count = 0;
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    std::vector<std::uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.good() && !in.eof()) {
      std::fprintf(stderr, "replay: cannot read %s\n", file.string().c_str());
      return 2;
    }
    if (data.empty()) continue;  // the target skips empty inputs
    if (batch) {
      // Written as bytes: a script may hold the character 0.
      const std::string line = BatchLine(qorvintr::fuzzing::ScriptOfInput(data.data(), data.size())) + "\n";
      std::fwrite(line.data(), 1, line.size(), stdout);
    } else {
      LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    ++count;
  }
  std::fprintf(stderr, "replay: %zu inputs %s\n", count, batch ? "printed" : "ran, every check passed");
  return count == 0 ? 1 : 0;
}
