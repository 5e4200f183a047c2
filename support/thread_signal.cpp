#include "support/thread_signal.h"

#ifdef _WIN32
#include <windows.h>

namespace qorvintr::support {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

namespace {
PSRWLOCK Srw(void*& native) noexcept { return reinterpret_cast<PSRWLOCK>(&native); }
PCONDITION_VARIABLE Cv(void*& native) noexcept {
  return reinterpret_cast<PCONDITION_VARIABLE>(&native);
}
}  // namespace

void Mutex::lock() noexcept { AcquireSRWLockExclusive(Srw(native_)); }
bool Mutex::try_lock() noexcept { return TryAcquireSRWLockExclusive(Srw(native_)) != 0; }
void Mutex::unlock() noexcept { ReleaseSRWLockExclusive(Srw(native_)); }

void ConditionVariable::notify_one() noexcept { WakeConditionVariable(Cv(native_)); }
void ConditionVariable::notify_all() noexcept { WakeAllConditionVariable(Cv(native_)); }
void ConditionVariable::wait(std::unique_lock<Mutex>& lock) noexcept {
  // INFINITE: it comes back only when woken (or spuriously, which the callers' loops allow for).
  SleepConditionVariableSRW(Cv(native_), Srw(lock.mutex()->native_), INFINITE, 0);
}

}  // namespace qorvintr::support

#endif
