// The C++ heap of the Windows programs and DLLs (linked into each one, see com/CMakeLists.txt):
// global operator new and delete keep the small blocks a script makes and frees (texts, fields,
// stack cells, shared_ptr control blocks) on lists of their own and hand them out again, instead
// of asking the C runtime's heap each time. Under Wine a malloc/free pair costs about 170 ns
// against 15-25 ns on Linux (msvcrt over ntdll's heap, one lock and a free-list search each).
//
// Each thread keeps a few blocks per size class of its own (reached through a ThreadPointer,
// no lock); behind them every class has one list for all threads under a spin lock. Each
// module has its own lists: no block of one module is ever freed by another (see
// com/own_object.h). Every block carries a 16-byte header with its size class (0: a large
// block, straight from malloc), so the unsized delete finds its list. What is kept is bounded
// per class; the rest goes back to malloc. A thread's blocks go to the shared lists when it
// ends; the lists are emptied when the module unloads, and a block freed after that goes
// straight back to free.
#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "support/thread_pointer.h"

namespace {

constexpr std::size_t kHeader = 16;  // keeps the 16-byte alignment malloc gives
constexpr std::size_t kStep = 16;
constexpr std::size_t kClasses = 32;  // 16, 32, ... 512 bytes
constexpr std::size_t kLargest = kStep * kClasses;
constexpr std::size_t kKeptBytesPerClass = 64 * 1024;

struct FreeBlock {
  FreeBlock* next;
};

struct alignas(64) ClassList {
  std::atomic<bool> busy{false};
  FreeBlock* head = nullptr;
  std::size_t count = 0;
};

// Constant-initialised: usable by the static constructors of the module that run first.
ClassList g_lists[kClasses];
std::atomic<bool> g_closed{false};

constexpr std::size_t MostKept(std::size_t cls) noexcept {
  return kKeptBytesPerClass / (cls * kStep + kHeader);
}
constexpr std::size_t MostKeptByThread(std::size_t cls) noexcept { return MostKept(cls) / 4; }

// A thread's own blocks (made with malloc: this is the heap operator new uses).
struct ThreadBlocks {
  FreeBlock* head[kClasses];
  std::size_t count[kClasses];
};
// What a thread reaches once its own blocks have gone: keeps nothing, never written.
constexpr ThreadBlocks MakeGoneBlocks() noexcept {
  ThreadBlocks gone{};
  for (std::size_t i = 0; i < kClasses; ++i) gone.count[i] = MostKeptByThread(i + 1);
  return gone;
}
ThreadBlocks g_gone_blocks = MakeGoneBlocks();

void Lock(ClassList& list) noexcept {
  while (list.busy.exchange(true, std::memory_order_acquire)) {
    // Held for a few instructions: spin briefly, then let the holder run (two shared cores).
    for (int spins = 0; list.busy.load(std::memory_order_relaxed); ++spins) {
      if (spins < 64) {
        YieldProcessor();
      } else {
        SwitchToThread();
      }
    }
  }
}

void Unlock(ClassList& list) noexcept { list.busy.store(false, std::memory_order_release); }

void* Header(void* p) noexcept { return static_cast<unsigned char*>(p) - kHeader; }

// malloc with the header in front, or null.
void* Fresh(std::size_t bytes, std::size_t cls) noexcept {
  void* raw = std::malloc(bytes + kHeader);
  if (raw == nullptr) return nullptr;
  *static_cast<std::size_t*>(raw) = cls;
  return static_cast<unsigned char*>(raw) + kHeader;
}

void ReleaseThreadBlocks(void* blocks);
// Declared before g_release: when the module unloads, the threads' blocks go back (FlsFree runs
// ReleaseThreadBlocks for each) after the shared lists closed, so straight to free.
qorvintr::support::ThreadPointer g_thread_blocks(&ReleaseThreadBlocks);

ThreadBlocks* OwnBlocks() noexcept {
  return static_cast<ThreadBlocks*>(g_thread_blocks.Get());
}

// Makes the thread's own blocks at its first free; null without memory or a slot (the shared
// lists are used then).
ThreadBlocks* StartOwnBlocks() noexcept {
  auto* blocks = static_cast<ThreadBlocks*>(std::calloc(1, sizeof(ThreadBlocks)));
  if (blocks == nullptr) return nullptr;
  if (!g_thread_blocks.SetOwned(blocks)) {
    std::free(blocks);
    return nullptr;
  }
  return blocks;
}

void* Allocate(std::size_t size) noexcept {
  if (size <= kLargest) {
    const std::size_t cls = size == 0 ? 1 : (size + kStep - 1) / kStep;
    if (ThreadBlocks* own = OwnBlocks()) {
      if (FreeBlock* block = own->head[cls - 1]) {
        own->head[cls - 1] = block->next;
        --own->count[cls - 1];
        return block;
      }
    }
    ClassList& list = g_lists[cls - 1];
    Lock(list);
    FreeBlock* block = list.head;
    if (block != nullptr) {
      list.head = block->next;
      --list.count;
    }
    Unlock(list);
    if (block != nullptr) return block;
    return Fresh(cls * kStep, cls);
  }
  if (size > SIZE_MAX - kHeader) return nullptr;
  return Fresh(size, 0);
}

// The standard's loop: the new-handler may make room, else bad_alloc.
void* AllocateOrThrow(std::size_t size) {
  for (;;) {
    if (void* p = Allocate(size)) return p;
    std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

// A block to the shared list of its class, or back to malloc.
void FreeShared(void* p, std::size_t cls) noexcept {
  if (!g_closed.load(std::memory_order_relaxed)) {
    ClassList& list = g_lists[cls - 1];
    Lock(list);
    if (list.count < MostKept(cls)) {
      list.head = ::new (p) FreeBlock{list.head};
      ++list.count;
      Unlock(list);
      return;
    }
    Unlock(list);
  }
  std::free(Header(p));
}

void Free(void* p) noexcept {
  if (p == nullptr) return;
  const std::size_t cls = *static_cast<std::size_t*>(Header(p));
  if (cls == 0) {
    std::free(Header(p));
    return;
  }
  ThreadBlocks* own = OwnBlocks();
  if (own == nullptr) own = StartOwnBlocks();
  if (own != nullptr && own->count[cls - 1] < MostKeptByThread(cls)) {
    own->head[cls - 1] = ::new (p) FreeBlock{own->head[cls - 1]};
    ++own->count[cls - 1];
    return;
  }
  FreeShared(p, cls);
}

// When a thread ends (or the module unloads): its blocks go to the shared lists.
void ReleaseThreadBlocks(void* blocks) {
  g_thread_blocks.Set(&g_gone_blocks);
  auto* own = static_cast<ThreadBlocks*>(blocks);
  for (std::size_t i = 0; i < kClasses; ++i) {
    while (FreeBlock* block = own->head[i]) {
      own->head[i] = block->next;
      FreeShared(block, i + 1);
    }
  }
  std::free(own);
}

// Gives the kept blocks back when the module unloads (or the program ends).
struct KeptBlocksRelease {
  constexpr KeptBlocksRelease() noexcept = default;
  ~KeptBlocksRelease() {
    g_closed.store(true, std::memory_order_relaxed);
    for (ClassList& list : g_lists) {
      Lock(list);
      FreeBlock* block = list.head;
      list.head = nullptr;
      list.count = 0;
      Unlock(list);
      while (block != nullptr) {
        FreeBlock* next = block->next;
        std::free(Header(block));
        block = next;
      }
    }
  }
};
KeptBlocksRelease g_release;

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return AllocateOrThrow(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return AllocateOrThrow(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* p) noexcept { Free(p); }
void operator delete[](void* p) noexcept { Free(p); }
void operator delete(void* p, std::size_t) noexcept { Free(p); }
void operator delete[](void* p, std::size_t) noexcept { Free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { Free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { Free(p); }
