#pragma once
// Helpers every test file shares: the platform error a call raises, what a recorded log holds,
// and the one report a failing script made.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "qorvintr/error.h"
#include "qorvintr/components/error_recorder.h"

namespace qorvintr::testing_support {

// The platform error number that action raises, or 0 when it raises none.
template <class F>
int ErrorOf(F&& action) {
  try {
    action();
  } catch (const automation::AutomationError& e) {
    return e.Number();
  }
  return 0;
}

// Whether any recorded log entry contains piece.
inline bool LogHas(const std::vector<std::u16string>& entries, std::u16string_view piece) {
  for (const auto& entry : entries) {
    if (entry.find(piece) != std::u16string::npos) return true;
  }
  return false;
}

// The host's error object got exactly one ReportError call, for this procedure and text.
inline void ExpectOneReport(const components::ErrorRecorder& errors, std::u16string_view procedure,
                            std::u16string_view text) {
  ASSERT_EQ(errors.Calls().size(), 1u);
  EXPECT_EQ(errors.Calls()[0][10].GetString(), procedure);
  EXPECT_EQ(errors.Calls()[0][1].GetString(), text);
}

}  // namespace qorvintr::testing_support
