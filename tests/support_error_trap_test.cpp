#include "support/error_trap.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "qorvintr/error.h"
#include "qorvintr/contract/creation.h"
#include "support/debug_log.h"
#include "support_temp_folder.h"
#include "test_support.h"

namespace {

using qorvintr::automation::Raise;
using qorvintr::support::ErrorTrapText;
using qorvintr::support::IgnoreErrors;
using qorvintr::support::OnHandlerError;
using qorvintr::support::RunTrapped;
using qorvintr::support::TrappedError;
using qorvintr::testing_support::ErrorOf;

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
  int r = RunTrapped<OnHandlerError::kRaise>(0, [] { return 42; },
                                             [&](const TrappedError&) { ++handled; });
  EXPECT_EQ(r, 42);
  EXPECT_EQ(handled, 0);
}

TEST(ErrorTrap, APlatformErrorReachesTheHandlerAndTheFailureValueIsAnswered) {
  TrappedError seen;
  bool r = RunTrapped<OnHandlerError::kRaise>(
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
  auto keep = [&](const TrappedError& e) { seen = e; };
  RunTrapped<OnHandlerError::kRaise>(0, []() -> int { throw std::bad_alloc(); }, keep);
  EXPECT_EQ(seen.number, 7);
  EXPECT_EQ(seen.description, u"Out of memory");
  RunTrapped<OnHandlerError::kRaise>(0, []() -> int { throw std::length_error("x"); }, keep);
  EXPECT_EQ(seen.number, 14);
  RunTrapped<OnHandlerError::kRaise>(0, []() -> int { throw 3; }, keep);
  EXPECT_EQ(seen.number, 51);
}

TEST(ErrorTrap, AnErrorRaisedByTheHandlerGoesOnToTheCallerWhenTheTrapRaises) {
  EXPECT_EQ(ErrorOf([] {
              RunTrapped<OnHandlerError::kRaise>(
                  -7, []() -> int { Raise(5); }, [](const TrappedError&) { Raise(91); });
            }),
            91);
}

TEST(ErrorTrap, AnErrorRaisedByTheHandlerEndsThereWhenTheTrapDrops) {
  int r = RunTrapped<OnHandlerError::kDrop>(
      -7, []() -> int { Raise(5); }, [](const TrappedError&) { Raise(91); });
  EXPECT_EQ(r, -7);
}

TEST(ErrorTrap, IgnoreErrorsRunsTheStepAndDropsWhatItRaises) {
  int steps = 0;
  IgnoreErrors([&] { ++steps; });
  IgnoreErrors([&] {
    ++steps;
    Raise(5);
  });
  IgnoreErrors([] { throw std::bad_alloc(); });
  EXPECT_EQ(steps, 2);
}

TEST(ErrorTrap, InitDebugLogsTrapLeavesLoggingOffWhenTheLogObjectCannotBeMade) {
  namespace dbg = qorvintr::support::modDebugLog;
  qorvintr::testing_support::TempFolder folder;
  auto ini = folder.Write("host.ini", "[Upload]\r\nWriteDebugLog=True\r\n");
  dbg::ResetDebugLog();
  dbg::SetIniFileName(ini.u16string());
  qorvintr::contract::UnregisterCreator(qorvintr::contract::kLogProgId);
  std::u16string start;
  EXPECT_EQ(dbg::InitDebugLog(start), 0);  // the log object could not be created
  // Without a log object the log is off, so a later trap's entry has nowhere to fail.
  EXPECT_FALSE(dbg::IsDebugLogEnabled());
  EXPECT_EQ(ErrorOf([] {
              qorvintr::support::LogErrorTrap(u"modDebugLog", u"InitDebugLog",
                                              TrappedError{5, u"", u"x"});
            }),
            0);
  dbg::ResetDebugLog();
  dbg::SetIniFileName(u"");
}

}  // namespace
