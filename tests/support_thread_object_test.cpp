#include "support/thread_object.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using qorvintr::support::ThreadObject;

std::atomic<int> g_made{0};
std::atomic<int> g_destroyed{0};
std::atomic<int> g_null_while_destroyed{0};

struct Counted {
  Counted() { ++g_made; }
  ~Counted() {
    ++g_destroyed;
    // Code that runs while the thread's object goes (its own destructor included) finds it gone.
    if (ThreadObject<Counted>::Get() == nullptr) ++g_null_while_destroyed;
  }
  int value = 0;
};

TEST(ThreadObject, EachThreadHasItsOwnMadeAtItsFirstReachAndDestroyedWhenItEnds) {
  Counted* mine = ThreadObject<Counted>::Get();
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(ThreadObject<Counted>::Get(), mine);
  mine->value = 7;
  const int made = g_made, destroyed = g_destroyed;
  Counted* theirs = nullptr;
  int their_value = -1;
  std::thread t([&] {
    theirs = ThreadObject<Counted>::Get();
    their_value = theirs ? theirs->value : -1;
  });
  t.join();
  EXPECT_NE(theirs, mine);
  EXPECT_EQ(their_value, 0);
  EXPECT_EQ(g_made, made + 1);
  EXPECT_EQ(g_destroyed, destroyed + 1);
  EXPECT_EQ(g_null_while_destroyed, g_destroyed);
  EXPECT_EQ(mine->value, 7);
}

TEST(ThreadObject, AThreadThatNeverReachesItMakesNone) {
  const int made = g_made;
  std::thread t([] {});
  t.join();
  EXPECT_EQ(g_made, made);
}

}  // namespace
