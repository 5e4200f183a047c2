#pragma once
// One object of type T per thread, made at the thread's first reach and destroyed when the
// thread ends. Get answers null once the thread's object is gone (code that runs after it, such
// as a host's object torn down later, must leave it alone) and, on Windows, when none can be
// made (no memory or no thread slot).
//
// On Windows the object lives on the heap behind a ThreadPointer whose exit function destroys
// it: mingw-w64 frees a thread's emulated thread-locals before it runs their destructors, so a
// thread_local with a destructor is destroyed in freed memory when its thread ends (and every
// reach of one is a call through the threads library). Elsewhere it is a plain thread_local.
// One ThreadObject per type T (the slot is the type's own).

#include <new>

#ifdef _WIN32
#include "support/thread_pointer.h"
#endif

namespace qorvintr::support {

template <class T>
class ThreadObject {
 public:
#ifdef _WIN32
  static T* Get() noexcept {
    void* p = pointer_.Get();
    if (p == nullptr) return Make();
    return p == &gone_ ? nullptr : static_cast<T*>(p);
  }

 private:
  static T* Make() noexcept {
    T* object = new (std::nothrow) T();
    if (object == nullptr) return nullptr;
    if (!pointer_.SetOwned(object)) {
      delete object;
      return nullptr;
    }
    return object;
  }
  static void Release(void* object) {
    // Whatever runs from here on, the object's own destructor included, finds it gone.
    pointer_.Set(&gone_);
    delete static_cast<T*>(object);
  }
  static inline char gone_ = 0;
  static inline ThreadPointer pointer_{&Release};
#else
  static T* Get() noexcept { return gone_ ? nullptr : &holder_.object; }

 private:
  struct Holder {
    T object;
    ~Holder() { gone_ = true; }
  };
  // No destructor of its own: it stays readable after the holder is gone.
  static inline thread_local bool gone_ = false;
  static inline thread_local Holder holder_;
#endif
};

}  // namespace qorvintr::support
