#include "support/dynarray.h"

#include <gtest/gtest.h>

#include <string>

#include "qorvintr/error.h"
#include "test_support.h"

namespace {

using qorvintr::support::DynArray;
using qorvintr::support::DynArray2D;
using qorvintr::testing_support::ErrorOf;

TEST(DynArray, NeverDimensionedBoundsAndElementsRaise9) {
  DynArray<std::u16string> a;
  EXPECT_FALSE(a.IsDimensioned());
  EXPECT_EQ(ErrorOf([&] { a.UBound(); }), 9);
  EXPECT_EQ(ErrorOf([&] { a.LBound(); }), 9);
  EXPECT_EQ(ErrorOf([&] { a(0); }), 9);
}

TEST(DynArray, ReDimGivesDefaultElementsWithinTheBounds) {
  DynArray<std::int16_t> a;
  a.ReDim(0, 5);
  EXPECT_EQ(a.LBound(), 0);
  EXPECT_EQ(a.UBound(), 5);
  for (int i = 0; i <= 5; ++i) EXPECT_EQ(a(i), 0);
  EXPECT_EQ(ErrorOf([&] { a(6); }), 9);
  EXPECT_EQ(ErrorOf([&] { a(-1); }), 9);
}

TEST(DynArray, ReDimDiscardsTheContents) {
  DynArray<std::u16string> a;
  a.ReDim(5);
  a(3) = u"kept?";
  a.ReDim(0, 5);
  EXPECT_EQ(a(3), u"");
}

TEST(DynArray, ReDimPreserveGrowsKeepingTheContents) {
  DynArray<std::u16string> a;
  a.ReDim(0, 5);
  for (int i = 0; i <= 5; ++i) a(i) = std::u16string(1, static_cast<char16_t>(u'a' + i));
  a.ReDimPreserve(0, 11);
  EXPECT_EQ(a.UBound(), 11);
  for (int i = 0; i <= 5; ++i) EXPECT_EQ(a(i), std::u16string(1, static_cast<char16_t>(u'a' + i)));
  EXPECT_EQ(a(11), u"");
}

TEST(DynArray, ReDimPreserveMayShrinkAndCannotMoveTheLowerBound) {
  DynArray<int> a;
  a.ReDim(1, 4);
  a(1) = 10;
  a(4) = 40;
  a.ReDimPreserve(2);
  EXPECT_EQ(a.UBound(), 2);
  EXPECT_EQ(a(1), 10);
  EXPECT_EQ(ErrorOf([&] { a.ReDimPreserve(0, 9); }), 9);
  EXPECT_EQ(a.UBound(), 2);
}

TEST(DynArray, ReDimPreserveOfANeverDimensionedArrayDimensionsIt) {
  DynArray<int> a;
  a.ReDimPreserve(0, 3);
  EXPECT_EQ(a.UBound(), 3);
}

TEST(DynArray, UpperBelowLowerRaises9AndLeavesTheArray) {
  DynArray<int> a;
  EXPECT_EQ(ErrorOf([&] { a.ReDim(5, 2); }), 9);
  EXPECT_FALSE(a.IsDimensioned());
  a.ReDim(0, 1);
  EXPECT_EQ(ErrorOf([&] { a.ReDim(0, -1); }), 9);
  EXPECT_EQ(a.UBound(), 1);
}

TEST(DynArray, AHugeArrayIsRefusedAsOutOfMemory) {
  DynArray<std::u16string> a;
  EXPECT_EQ(ErrorOf([&] { a.ReDim(0, 2147483647); }), 7);
  EXPECT_FALSE(a.IsDimensioned());
}

TEST(DynArray, EraseMakesItNeverDimensionedAgain) {
  DynArray<int> a;
  a.ReDim(0, 5);
  a.Erase();
  EXPECT_FALSE(a.IsDimensioned());
  EXPECT_EQ(ErrorOf([&] { a.UBound(); }), 9);
}

TEST(DynArray, ElementsPastAnUpperBoundOnceHeldComeBackAtTheirDefault) {
  // Grown, reset back, cut and grown again, as the name list goes between scripts: every element
  // inside the bounds after each step is the one the step leaves, nothing past them is reached.
  DynArray<std::u16string> a;
  a.ReDim(0, 5);
  for (int round = 0; round < 3; ++round) {
    a.ReDimPreserve(0, 15);
    for (int i = 0; i <= 15; ++i) EXPECT_EQ(a(i), u"") << round << " " << i;
    for (int i = 0; i <= 15; ++i) a(i) = u"w";
    a.ReDim(0, 5);
    EXPECT_EQ(a.UBound(), 5);
    EXPECT_EQ(ErrorOf([&] { a(6); }), 9);
    EXPECT_EQ(a.Find(6), nullptr);
    EXPECT_EQ(a.Elements().size(), 6u);
    for (int i = 0; i <= 5; ++i) EXPECT_EQ(a(i), u"") << round << " " << i;
    a(2) = u"cut";
    a(1) = u"kept";
    a.ReDimPreserve(0, 1);
    EXPECT_EQ(a(1), u"kept");
    a.ReDimPreserve(0, 5);
    EXPECT_EQ(a(2), u"") << round;
    a(1).clear();
  }
  DynArray<std::int16_t> marks;
  marks.ReDimAll(0, 9, -1);
  marks.ReDimAll(0, 3, -1);
  EXPECT_EQ(marks.Elements().size(), 4u);
  marks.ReDimPreserve(0, 9);
  for (int i = 4; i <= 9; ++i) EXPECT_EQ(marks(i), 0) << i;
  for (int i = 0; i <= 3; ++i) EXPECT_EQ(marks(i), -1) << i;
  marks.Erase();
  marks.ReDimPreserve(0, 9);
  for (int i = 0; i <= 9; ++i) EXPECT_EQ(marks(i), 0) << i;
}

TEST(DynArray2D, NeverDimensionedRaises9) {
  DynArray2D<std::u16string> h;
  EXPECT_EQ(ErrorOf([&] { h.UBound(1); }), 9);
  EXPECT_EQ(ErrorOf([&] { h.UBound(2); }), 9);
  EXPECT_EQ(ErrorOf([&] { h(0, 0); }), 9);
}

TEST(DynArray2D, BoundsOfEachDimensionAndNoThird) {
  DynArray2D<std::u16string> h;
  h.ReDim(0, 15, 0, 1);
  EXPECT_EQ(h.LBound(1), 0);
  EXPECT_EQ(h.UBound(1), 15);
  EXPECT_EQ(h.LBound(2), 0);
  EXPECT_EQ(h.UBound(2), 1);
  EXPECT_EQ(ErrorOf([&] { h.UBound(3); }), 9);
  EXPECT_EQ(ErrorOf([&] { h.UBound(0); }), 9);
  EXPECT_EQ(ErrorOf([&] { h(16, 0); }), 9);
  EXPECT_EQ(ErrorOf([&] { h(0, 2); }), 9);
}

TEST(DynArray2D, HoldTableGrowsItsSlotsKeepingEveryLevelsNames) {
  // 16 levels by 2 slots; a third name at one level grows the slots to 0..6 for all levels.
  DynArray2D<std::u16string> h;
  h.ReDim(0, 15, 0, 1);
  for (int level = 0; level <= 15; ++level) {
    h(level, 0) = u"L" + std::u16string(1, static_cast<char16_t>(u'A' + level)) + u"0";
    h(level, 1) = u"L" + std::u16string(1, static_cast<char16_t>(u'A' + level)) + u"1";
  }
  h.ReDimPreserve(0, 15, 0, 1 + 5);
  EXPECT_EQ(h.UBound(2), 6);
  for (int level = 0; level <= 15; ++level) {
    EXPECT_EQ(h(level, 0), u"L" + std::u16string(1, static_cast<char16_t>(u'A' + level)) + u"0");
    EXPECT_EQ(h(level, 1), u"L" + std::u16string(1, static_cast<char16_t>(u'A' + level)) + u"1");
    for (int slot = 2; slot <= 6; ++slot) EXPECT_EQ(h(level, slot), u"");
  }
}

TEST(DynArray2D, PreserveCannotChangeTheFirstDimension) {
  // A table first dimensioned to levels 0..3 cannot grow to 0..15 while keeping contents.
  DynArray2D<std::u16string> h;
  h.ReDim(0, 3, 0, 5);
  h(3, 5) = u"x";
  EXPECT_EQ(ErrorOf([&] { h.ReDimPreserve(0, 15, 0, 10); }), 9);
  EXPECT_EQ(ErrorOf([&] { h.ReDimPreserve(0, 3, 1, 10); }), 9);
  EXPECT_EQ(h.UBound(1), 3);
  EXPECT_EQ(h.UBound(2), 5);
  EXPECT_EQ(h(3, 5), u"x");
}

TEST(DynArray2D, ReDimDiscardsAndEraseUndimensions) {
  DynArray2D<int> h;
  h.ReDim(0, 15, 0, 1);
  h(7, 1) = 3;
  h.ReDim(0, 15, 0, 1);
  EXPECT_EQ(h(7, 1), 0);
  h.Erase();
  EXPECT_FALSE(h.IsDimensioned());
  EXPECT_EQ(ErrorOf([&] { h(0, 0); }), 9);
}

TEST(DynArray2D, EveryRowWrittenComesBackEmptyAfterReDimPastTheTrackedOnesToo) {
  // Rows are written, read, cut by a shrinking ReDim Preserve and written again across several
  // resets; after each ReDim every element of every row (the 70th too) is the default.
  DynArray2D<std::u16string> h;
  h.ReDim(0, 69, 0, 3);
  for (int round = 0; round < 3; ++round) {
    for (int level = round; level <= 69; level += 7) h(level, level % 4) = u"v";
    if (round == 1) h.ReDimPreserve(0, 69, 0, 1);
    h.ReDimPreserve(0, 69, 0, 3);
    h.ReDim(0, 69, 0, 3);
    const DynArray2D<std::u16string>& read = h;
    for (int level = 0; level <= 69; ++level) {
      for (int slot = 0; slot <= 3; ++slot) {
        EXPECT_EQ(read(level, slot), u"") << round << " " << level << " " << slot;
      }
    }
  }
}

TEST(DynArray2D, ShrinkingPreserveCutsTheRowsAndGrowingBackShowsDefaults) {
  DynArray2D<std::u16string> h;
  h.ReDim(0, 3, 0, 4);
  h(2, 4) = u"gone";
  h(2, 1) = u"kept";
  h.ReDimPreserve(0, 3, 0, 2);
  EXPECT_EQ(ErrorOf([&] { h(2, 4); }), 9);
  h.ReDimPreserve(0, 3, 0, 4);
  EXPECT_EQ(h(2, 4), u"");
  EXPECT_EQ(h(2, 1), u"kept");
}

TEST(DynArray2D, PeekReadsAsTheConstReadAndAnswersNullWhereItRaises) {
  DynArray2D<std::u16string> h;
  EXPECT_EQ(h.Peek(0, 0), nullptr);
  h.ReDim(0, 3, 1, 4);
  h(2, 3) = u"held";
  const DynArray2D<std::u16string>& read = h;
  for (int level = -1; level <= 4; ++level) {
    for (int slot = 0; slot <= 5; ++slot) {
      const std::u16string* peeked = read.Peek(level, slot);
      const bool in_range = level >= 0 && level <= 3 && slot >= 1 && slot <= 4;
      ASSERT_EQ(peeked != nullptr, in_range) << level << " " << slot;
      if (in_range) {
        EXPECT_EQ(*peeked, read(level, slot)) << level << " " << slot;
      } else {
        EXPECT_EQ(ErrorOf([&] { read(level, slot); }), 9) << level << " " << slot;
      }
    }
  }
  EXPECT_EQ(*read.Peek(2, 3), u"held");
  h.ReDimPreserve(0, 3, 1, 2);
  EXPECT_EQ(read.Peek(2, 3), nullptr);
}

TEST(DynArray2D, AHugeTableIsRefusedAsOutOfMemory) {
  DynArray2D<int> h;
  EXPECT_EQ(ErrorOf([&] { h.ReDim(0, 100000, 0, 100000); }), 7);
  EXPECT_FALSE(h.IsDimensioned());
}

}  // namespace
