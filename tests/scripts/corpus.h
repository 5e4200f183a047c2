#pragma once
// The corpus folder and its cases, read once per test program. A program that reads them gets
// QORVINTR_SCRIPTS_DIR from tests/scripts/CMakeLists.txt.

#include <filesystem>
#include <vector>

#include "case_file.h"

namespace qorvintr::scripts {

inline std::filesystem::path CorpusFolder() {
#ifdef QORVINTR_SCRIPTS_DIR
  return std::filesystem::path(QORVINTR_SCRIPTS_DIR);
#else
  return std::filesystem::path(__FILE__).parent_path();
#endif
}

inline const std::vector<Case>& Corpus() {
  static const std::vector<Case> corpus = ReadCorpus(CorpusFolder());
  return corpus;
}

}  // namespace qorvintr::scripts
