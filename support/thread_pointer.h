#pragma once
// One pointer per thread that is cheap to reach on Windows. mingw-w64's GCC 12 has no native
// thread-locals: every reach of a thread_local is __emutls_get_address -> pthread_getspecific
// (GetLastError, a spin lock, TlsGetValue, SetLastError), ~35-58 ns under Wine against ~1 ns
// natively (bench/wine/platform_micro.cpp). A ThreadPointer is one of the thread's own TLS
// slots (TlsAlloc), read straight from the thread environment block. Elsewhere code keeps its
// thread_local.
//
// A thread's pointer may be handed to an exit function when the thread ends (SetOwned): a
// fiber-local slot's callback, which runs before the thread's emulated thread-locals are
// freed. (A thread_local with a destructor does not do: mingw-w64 frees the thread's
// emulated thread-locals before their destructors run.)
//
// Get answers null on a thread that set nothing, and always when no slot could be had (the
// caller's slow path then runs every time). The slots are taken at the first Set and given
// back when the module unloads (the exit function then runs for every thread that still has
// a pointer); after that Get answers null again.
#ifdef _WIN32

#include <intrin.h>

#include <atomic>

namespace qorvintr::support {

class ThreadPointer {
 public:
  using AtThreadExit = void (*)(void* value);

  constexpr ThreadPointer() noexcept = default;
  constexpr explicit ThreadPointer(AtThreadExit at_exit) noexcept : at_exit_(at_exit) {}
  ~ThreadPointer();
  ThreadPointer(const ThreadPointer&) = delete;
  ThreadPointer& operator=(const ThreadPointer&) = delete;

  void* Get() const noexcept {
    const unsigned long slot = slot_.load(std::memory_order_acquire);
    // The first 64 slots are TlsSlots of the TEB (gs:0x1480 on x64), as TlsGetValue reads them.
    if (slot < kDirectSlots) return reinterpret_cast<void*>(__readgsqword(0x1480 + slot * 8));
    return slot == kNone || slot == kUnset ? nullptr : GetExpansion(slot);
  }
  // This thread's pointer; false when the thread cannot have a slot (Get stays null).
  bool Set(void* value) noexcept;
  // The same, and the exit function gets the value when the thread ends; false (and nothing
  // set) when there is no slot for either.
  bool SetOwned(void* value) noexcept;

 private:
  static constexpr unsigned long kDirectSlots = 64;
  static constexpr unsigned long kUnset = 0xFFFFFFFEul;
  static constexpr unsigned long kNone = 0xFFFFFFFFul;  // TLS_OUT_OF_INDEXES, FLS_OUT_OF_INDEXES
  static void* GetExpansion(unsigned long slot) noexcept;

  AtThreadExit at_exit_ = nullptr;
  mutable std::atomic<unsigned long> slot_{kUnset};
  std::atomic<unsigned long> exit_slot_{kUnset};
};

}  // namespace qorvintr::support

#endif
