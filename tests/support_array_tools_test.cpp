#include "support/array_tools.h"

#include <gtest/gtest.h>

#include <string>

namespace {

namespace tools = qorvintr::support::modTools;
using qorvintr::support::DynArray;
using qorvintr::support::DynArray2D;

TEST(IsArrayEmpty, OfANeverDimensionedArrayIsTrue) {
  DynArray<std::u16string> a;
  EXPECT_TRUE(tools::IsArrayEmpty(a));
  DynArray2D<std::u16string> b;
  EXPECT_TRUE(tools::IsArrayEmpty(b));
}

TEST(IsArrayEmpty, AfterTheArrayIsGivenOneElementItIsFalse) {
  DynArray<std::u16string> a;
  a.ReDim(0, 0);
  EXPECT_FALSE(tools::IsArrayEmpty(a));
  DynArray2D<std::u16string> b;
  b.ReDim(0, 0, 0, 0);
  EXPECT_FALSE(tools::IsArrayEmpty(b));
}

TEST(IsArrayEmpty, AfterEraseItIsTrueAgain) {
  DynArray<int> a;
  a.ReDim(0, 5);
  a.Erase();
  EXPECT_TRUE(tools::IsArrayEmpty(a));
}

}  // namespace
