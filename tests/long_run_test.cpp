// A host that never calls ResetMemory, run long enough to fill the interpreter's tables: found by
// the soak (bench/soak.cpp --corpus tests/scripts without --reset: one field more in the host's
// collection after about 5 million scripts). Whatever a script answers once the tables are full,
// it must leave the host's collection as it found it.
#include <gtest/gtest.h>

#include <string>

#include "interpreter_fixture.h"

namespace qorvintr::testing_support {
namespace {

class LongRun : public ScriptTest {};

// Every run of an overflowing literal leaves its temporary's name taken until ResetMemory
// (README, "Running for months"). Once the list of names is full, a new temporary gets the
// empty name (the name maker's overflow is trapped and reported); it is added to the host's
// collection under "" and, since the level's table skips empty names when it closes, never
// removed. Seen after 32739 such runs with the sum below: one field named "" left behind, the
// report "Error: 9 - Subscript out of range" from RemoveAutoDataFieldNameFromList.
TEST_F(LongRun, ATemporaryWhoseNameCouldNotBeMadeDoesNotStayInTheHostsCollection) {
  const std::u16string failing = u"3000000000";
  const std::u16string sum = u"1 + 2 + 3 + 4 + 5 + 6 + 7 + 8 + 9 + 10";
  for (int i = 1; i <= 33000; ++i) {
    std::u16string first = failing;
    interpreter->RealizeRegularExpression(first);
    std::u16string second = sum;
    interpreter->RealizeRegularExpression(second);
    if (fields->Count() != 0) {
      std::u16string left;
      for (const auto& entry : fields->Fields()) left += u"'" + entry.key + u"' ";
      FAIL() << "after " << i << " runs of " << automation::ToUtf8(failing) << " and of "
             << automation::ToUtf8(sum) << ", the host's collection holds "
             << automation::ToUtf8(left);
    }
    log->entries.clear();
    errors->Clear();
  }
}

}  // namespace
}  // namespace qorvintr::testing_support
