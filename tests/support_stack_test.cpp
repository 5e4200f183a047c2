#include "support/stack.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

#include "qorvintr/error.h"
#include "qorvintr/value.h"
#include "qorvintr/components/data_field.h"
#include "test_support.h"

namespace {
// While set, every allocation of the thread fails: the one way a Push can fail.
thread_local bool t_fail_allocations = false;
}  // namespace

void* operator new(std::size_t size) {
  if (t_fail_allocations) throw std::bad_alloc();
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using qorvintr::automation::AutomationError;
using qorvintr::automation::Value;
using qorvintr::components::MakeDataField;
using qorvintr::contract::DataFieldRef;
using qorvintr::support::Stack;
using qorvintr::support::StackCell;
using qorvintr::testing_support::ErrorOf;

DataFieldRef Field(const char16_t* name) {
  return MakeDataField(name, Value::String(name), u"String");
}

TEST(Stack, NewStackIsEmpty) {
  Stack s;
  EXPECT_TRUE(s.IsStackEmpty());
  EXPECT_EQ(s.PeekStack(), nullptr);
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

TEST(Stack, APushThatRunsOutOfMemoryIsSwallowedAndLeavesTheStackAsItWas) {
  Stack s;
  DataFieldRef a = Field(u"a"), b = Field(u"b");
  s.Push(a);
  // Freed cells are kept per thread for reuse (at most 1024): with all of them in use, the push
  // needs new memory.
  Stack holder;
  for (int i = 0; i < 1100; ++i) holder.Push(a);
  t_fail_allocations = true;
  s.Push(b);
  t_fail_allocations = false;
  EXPECT_EQ(s.Pop(), a);
  EXPECT_TRUE(s.IsStackEmpty());
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
