#include "support/stack.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "automation/error.h"
#include "automation/value.h"
#include "components/data_field.h"

namespace {

using qorvintr::automation::AutomationError;
using qorvintr::automation::Value;
using qorvintr::components::MakeDataField;
using qorvintr::contract::DataFieldRef;
using qorvintr::support::Stack;
using qorvintr::support::StackCell;

// The platform error number an action raises; 0 when it raises none.
int ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const AutomationError& e) {
    return e.Number();
  }
  return 0;
}

DataFieldRef Field(const char16_t* name) {
  return MakeDataField(name, Value::String(name), u"String");
}

TEST(Stack, NewStackIsEmpty) {
  Stack s;
  EXPECT_TRUE(s.IsStackEmpty());
  EXPECT_EQ(s.AsText(), u"");
}

TEST(Stack, PushABCThenPopGivesCBAAndLeavesItEmpty) {
  Stack s;
  DataFieldRef a = Field(u"a"), b = Field(u"b"), c = Field(u"c");
  s.Push(a);
  s.Push(b);
  s.Push(c);
  EXPECT_FALSE(s.IsStackEmpty());
  EXPECT_EQ(s.Pop(), c);
  EXPECT_EQ(s.Pop(), b);
  EXPECT_EQ(s.Pop(), a);
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, PeekStackOnEmptyGivesNoneWithoutError) {
  Stack s;
  DataFieldRef top;
  EXPECT_EQ(ErrorOf([&] { top = s.PeekStack(); }), 0);
  EXPECT_EQ(top, nullptr);
}

TEST(Stack, PopOnEmptyRaises91) {
  Stack s;
  EXPECT_EQ(ErrorOf([&] { s.Pop(); }), 91);
  try {
    s.Pop();
    FAIL();
  } catch (const AutomationError& e) {
    EXPECT_EQ(e.Description(), u"Object variable or With block variable not set");
  }
}

TEST(Stack, PeekStackLeavesTheTopInPlace) {
  Stack s;
  DataFieldRef a = Field(u"a"), b = Field(u"b");
  s.Push(a);
  s.Push(b);
  EXPECT_EQ(s.PeekStack(), b);
  EXPECT_EQ(s.PeekStack(), b);
  EXPECT_EQ(s.Pop(), b);
  EXPECT_EQ(s.Pop(), a);
}

TEST(Stack, PeekStackItem2GivesSecondAndDeleteStackItem2LeavesCAReturningFalse) {
  Stack s;
  DataFieldRef a = Field(u"a"), b = Field(u"b"), c = Field(u"c");
  s.Push(a);
  s.Push(b);
  s.Push(c);
  EXPECT_EQ(s.PeekStackItem2(), b);
  EXPECT_FALSE(s.DeleteStackItem2());
  EXPECT_EQ(s.Pop(), c);
  EXPECT_EQ(s.Pop(), a);
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, DeleteStackItem2ReleasesTheSecondItem) {
  Stack s;
  DataFieldRef a = Field(u"a"), c = Field(u"c");
  std::weak_ptr<qorvintr::contract::DataField> watch;
  {
    DataFieldRef b = Field(u"b");
    watch = b;
    s.Push(a);
    s.Push(b);
    s.Push(c);
  }
  EXPECT_FALSE(watch.expired());
  s.DeleteStackItem2();
  EXPECT_TRUE(watch.expired());
}

TEST(Stack, WithOneItemPeekStackItem2AndDeleteStackItem2Raise91AndTheItemStays) {
  Stack s;
  DataFieldRef a = Field(u"a");
  s.Push(a);
  EXPECT_EQ(ErrorOf([&] { s.PeekStackItem2(); }), 91);
  EXPECT_EQ(ErrorOf([&] { s.DeleteStackItem2(); }), 91);
  EXPECT_FALSE(s.IsStackEmpty());
  EXPECT_EQ(s.PeekStack(), a);
  EXPECT_EQ(s.Pop(), a);
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, OnEmptyPeekStackItem2AndDeleteStackItem2Raise91) {
  Stack s;
  EXPECT_EQ(ErrorOf([&] { s.PeekStackItem2(); }), 91);
  EXPECT_EQ(ErrorOf([&] { s.DeleteStackItem2(); }), 91);
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, AsTextListsNameDataTypeTopFirstEachLineEndingCrLf) {
  Stack s;
  DataFieldRef y = MakeDataField(u"Y", Value::String(u"ab"), u"String");
  DataFieldRef x = MakeDataField(u"X", Value::Long(5), u"Long");
  s.Push(y);
  s.Push(x);
  EXPECT_EQ(s.AsText(), u"X\t5\tLong\r\nY\tab\tString\r\n");
}

TEST(Stack, AsTextConvertsDataByThePlatformsConversionToText) {
  Stack s;
  DataFieldRef t = MakeDataField(u"T", Value::Boolean(true), u"Boolean");
  DataFieldRef d = MakeDataField(u"D", Value::Double(2.5), u"Double");
  s.Push(t);
  s.Push(d);
  EXPECT_EQ(s.AsText(), u"D\t2.5\tDouble\r\nT\tTrue\tBoolean\r\n");
}

TEST(Stack, AsTextOfAnEmptyReferenceRaises91) {
  Stack s;
  DataFieldRef none;
  s.Push(none);
  EXPECT_FALSE(s.IsStackEmpty());
  EXPECT_EQ(ErrorOf([&] { (void)s.AsText(); }), 91);
  EXPECT_EQ(s.Pop(), nullptr);
}

TEST(Stack, AfterEmptyStackOnTwoItemsIsStackEmptyIsFalseAndTwoPopsSucceed) {
  Stack s;
  DataFieldRef a = Field(u"a"), b = Field(u"b");
  s.Push(a);
  s.Push(b);
  s.EmptyStack();
  EXPECT_FALSE(s.IsStackEmpty());
  EXPECT_EQ(s.Pop(), b);
  EXPECT_EQ(s.Pop(), a);
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, EmptyStackOnAnEmptyStackIsHarmless) {
  Stack s;
  s.EmptyStack();
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, SameObjectPushedTwiceIsTwoCellsReferringToOneObject) {
  Stack s;
  DataFieldRef a = Field(u"a");
  s.Push(a);
  s.Push(a);
  DataFieldRef first = s.Pop();
  first->SetData(Value::Long(42));
  DataFieldRef second = s.PeekStack();
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second.get(), first.get());
  EXPECT_TRUE(second->Data().SameAs(Value::Long(42)));
  EXPECT_EQ(s.Pop(), a);
  EXPECT_TRUE(s.IsStackEmpty());
}

TEST(Stack, PushedItemStaysAliveWhileTheStackHoldsIt) {
  std::weak_ptr<qorvintr::contract::DataField> watch;
  Stack s;
  {
    DataFieldRef a = Field(u"a");
    watch = a;
    s.Push(a);
  }
  EXPECT_FALSE(watch.expired());
  DataFieldRef back = s.Pop();
  EXPECT_FALSE(watch.expired());
  back.reset();
  EXPECT_TRUE(watch.expired());
}

TEST(Stack, ReleasingTheStackReleasesItsItems) {
  std::weak_ptr<qorvintr::contract::DataField> watch;
  {
    Stack s;
    DataFieldRef a = Field(u"a");
    watch = a;
    s.Push(a);
    s.EmptyStack();
  }
  EXPECT_TRUE(watch.expired());
}

TEST(Stack, AVeryDeepStackIsReleasedWithoutExhaustingTheCallStack) {
  DataFieldRef a = Field(u"a");
  {
    Stack s;
    for (int i = 0; i < 1'000'000; ++i) s.Push(a);
    EXPECT_FALSE(s.IsStackEmpty());
  }
  EXPECT_EQ(a.use_count(), 1);
}

TEST(Stack, CellMembersAreObjectReferences) {
  auto bottom = std::make_shared<StackCell>();
  auto top = std::make_shared<StackCell>();
  DataFieldRef a = Field(u"a");
  top->objValue = a;
  top->objNextCell = bottom;
  EXPECT_EQ(top->objValue.get(), a.get());
  EXPECT_EQ(top->objNextCell.get(), bottom.get());
  EXPECT_EQ(bottom->objNextCell, nullptr);
  EXPECT_EQ(top->ClassName(), u"StackCell");
}

}  // namespace
