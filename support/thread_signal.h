#pragma once
// A mutex and a condition variable for handing work from thread to thread (qorvintr batch
// --jobs). On Windows the C++ library's own come from mingw-w64's winpthreads: under Wine a
// hand-over to another thread and back costs ~250 us with them against ~15 us with the
// platform's SRW lock and condition variable, which these wrap (bench/wine/platform_micro.cpp).
// Elsewhere they are the standard ones. Usable with std::lock_guard and
// std::unique_lock like std::mutex and std::condition_variable.
#include <mutex>

#ifndef _WIN32
#include <condition_variable>
#endif

namespace qorvintr::support {

#ifdef _WIN32

class Mutex {
 public:
  Mutex() noexcept = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void lock() noexcept;
  bool try_lock() noexcept;
  void unlock() noexcept;

 private:
  friend class ConditionVariable;
  void* native_ = nullptr;  // an SRWLOCK (one pointer, SRWLOCK_INIT is null)
};

class ConditionVariable {
 public:
  ConditionVariable() noexcept = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;
  void notify_one() noexcept;
  void notify_all() noexcept;
  void wait(std::unique_lock<Mutex>& lock) noexcept;
  template <class Predicate>
  void wait(std::unique_lock<Mutex>& lock, Predicate ready) {
    while (!ready()) wait(lock);
  }

 private:
  void* native_ = nullptr;  // a CONDITION_VARIABLE (one pointer, CONDITION_VARIABLE_INIT is null)
};

#else

using Mutex = std::mutex;
using ConditionVariable = std::condition_variable;

#endif

}  // namespace qorvintr::support
