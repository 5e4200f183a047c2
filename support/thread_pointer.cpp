#include "support/thread_pointer.h"

#ifdef _WIN32
#include <windows.h>

namespace qorvintr::support {

namespace {

constexpr unsigned long kUnsetSlot = 0xFFFFFFFEul;
constexpr unsigned long kNoSlot = 0xFFFFFFFFul;

// Takes a slot once for every thread: the first thread's TlsAlloc/FlsAlloc wins.
template <class Allocate, class Free>
unsigned long SlotOf(std::atomic<unsigned long>& slot, Allocate allocate, Free release) noexcept {
  unsigned long current = slot.load(std::memory_order_acquire);
  if (current != kUnsetSlot) return current;
  const unsigned long fresh = allocate();
  unsigned long expected = kUnsetSlot;
  if (slot.compare_exchange_strong(expected, fresh, std::memory_order_acq_rel)) return fresh;
  if (fresh != kNoSlot) release(fresh);
  return expected;
}

unsigned long TlsSlotOf(std::atomic<unsigned long>& slot) noexcept {
  return SlotOf(slot, [] { return static_cast<unsigned long>(TlsAlloc()); },
                [](unsigned long s) { TlsFree(s); });
}

}  // namespace

ThreadPointer::~ThreadPointer() {
  // Null for whoever still asks while the module goes; the exit function runs for the threads
  // that still have a pointer (FlsFree), then the slots go back.
  const unsigned long slot = slot_.exchange(kNone, std::memory_order_acq_rel);
  const unsigned long exit_slot = exit_slot_.exchange(kNone, std::memory_order_acq_rel);
  if (exit_slot != kNone && exit_slot != kUnset) FlsFree(exit_slot);
  if (slot != kNone && slot != kUnset) TlsFree(slot);
}

bool ThreadPointer::Set(void* value) noexcept {
  const unsigned long slot = TlsSlotOf(slot_);
  if (slot == kNone) return false;
  // TlsSetValue sets the thread's last error; the caller's stays as it was.
  const DWORD last_error = GetLastError();
  const bool done = TlsSetValue(slot, value) != 0;
  SetLastError(last_error);
  return done;
}

bool ThreadPointer::SetOwned(void* value) noexcept {
  if (at_exit_ == nullptr) return false;
  const AtThreadExit at_exit = at_exit_;
  const unsigned long exit_slot = SlotOf(
      exit_slot_,
      [at_exit] {
        // Same calling convention on x64: the exit function is the slot's callback.
        return static_cast<unsigned long>(
            FlsAlloc(at_exit));
      },
      [](unsigned long s) { FlsFree(s); });
  if (exit_slot == kNone || TlsSlotOf(slot_) == kNone) return false;
  const DWORD last_error = GetLastError();
  bool done = FlsSetValue(exit_slot, value) != 0;
  if (done && TlsSetValue(slot_.load(std::memory_order_acquire), value) == 0) {
    FlsSetValue(exit_slot, nullptr);
    done = false;
  }
  SetLastError(last_error);
  return done;
}

void* ThreadPointer::GetExpansion(unsigned long slot) noexcept {
  const DWORD last_error = GetLastError();
  void* value = TlsGetValue(slot);
  SetLastError(last_error);
  return value;
}

}  // namespace qorvintr::support

#endif
