#include "support/error_trap.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "automation/error.h"
#include "contract/creation.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"

namespace {

using qorvintr::automation::Raise;
using qorvintr::support::ErrorTrapText;
using qorvintr::support::RunTrapped;
using qorvintr::support::TrappedError;

TEST(ErrorTrap, TextHasTheTitleLineTheNumberAndTheDescription) {
  TrappedError e{6, u"", u"Overflow"};
  EXPECT_EQ(ErrorTrapText(u"Interpreter", u"AddOperator", e),
            u"Interpreter - AddOperator - Error Trap\r\nError: 6\r\nOverflow");
  TrappedError obj{static_cast<std::int32_t>(0x80040B81u), u"Interpreter.RealizeRegularExpression",
                   u"Syntax error"};
  EXPECT_EQ(ErrorTrapText(u"Interpreter", u"P", obj),
            u"Interpreter - P - Error Trap\r\nError: -2147218559\r\nSyntax error");
}

TEST(ErrorTrap, BodyResultComesBackWhenNothingFails) {
  int handled = 0;
  int r = RunTrapped(0, [] { return 42; }, [&](const TrappedError&) { ++handled; });
  EXPECT_EQ(r, 42);
  EXPECT_EQ(handled, 0);
}

TEST(ErrorTrap, APlatformErrorReachesTheHandlerAndTheFailureValueIsAnswered) {
  TrappedError seen;
  bool r = RunTrapped(
      false,
      []() -> bool { Raise(11, u"Interpreter.EvaluateExpression", u""); },
      [&](const TrappedError& e) { seen = e; });
  EXPECT_FALSE(r);
  EXPECT_EQ(seen.number, 11);
  EXPECT_EQ(seen.source, u"Interpreter.EvaluateExpression");
  EXPECT_EQ(seen.description, u"Division by zero");
}

TEST(ErrorTrap, OtherFailuresAreTranslatedToPlatformErrors) {
  TrappedError seen;
  RunTrapped(0, []() -> int { throw std::bad_alloc(); }, [&](const TrappedError& e) { seen = e; });
  EXPECT_EQ(seen.number, 7);
  EXPECT_EQ(seen.description, u"Out of memory");
  RunTrapped(0, []() -> int { throw std::length_error("x"); },
             [&](const TrappedError& e) { seen = e; });
  EXPECT_EQ(seen.number, 14);
  RunTrapped(0, []() -> int { throw 3; }, [&](const TrappedError& e) { seen = e; });
  EXPECT_EQ(seen.number, 51);
}

TEST(ErrorTrap, AFailingHandlerDoesNotEscape) {
  int r = RunTrapped(
      -7, []() -> int { Raise(5); }, [](const TrappedError&) { Raise(91); });
  EXPECT_EQ(r, -7);
}

TEST(ErrorTrap, LogErrorTrapNeverRaisesEvenWhenTheLogIsBroken) {
  namespace dbg = qorvintr::support::modDebugLog;
  qorvintr::testing_support::TempFolder folder;
  auto ini = folder.Write("host.ini", "[Upload]\r\nWriteDebugLog=True\r\n");
  dbg::ResetDebugLog();
  dbg::SetIniFileName(ini.u16string());
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kLogProgId);
  std::u16string start;
  EXPECT_EQ(dbg::InitDebugLog(start), 0);  // the log object could not be created
  ASSERT_TRUE(dbg::IsDebugLogEnabled());
  // Logging is on without a log object: a plain write raises 91, the trap's write does not.
  EXPECT_THROW(dbg::WriteDebugLog(u"x"), qorvintr::automation::AutomationError);
  EXPECT_NO_THROW(qorvintr::support::LogErrorTrap(u"Interpreter", u"AddInstance",
                                                  TrappedError{5, u"", u"x"}));
  dbg::ResetDebugLog();
  dbg::SetIniFileName(u"");
}

}  // namespace
