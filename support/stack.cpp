#include "support/stack.h"

#include <cstddef>
#include <new>

#include "qorvintr/error.h"
#include "support/thread_pointer.h"

namespace qorvintr::support {

using automation::Raise;
namespace err = automation::err;

namespace {

// A cell is made for every push of every script: freed cells (all of one size) are kept on a
// list per thread and made again from there. The list is bounded, and goes with its thread.
// The list is reached once per cell: where thread-locals are emulated (mingw-w64), a reach of a
// thread_local is a call through the threads library, so on Windows the list is reached
// through a ThreadPointer instead.
constexpr std::size_t kMostKeptCells = 1024;
struct FreeBlock {
  FreeBlock* next;
};
struct CellList {
  FreeBlock* free = nullptr;
  std::size_t count = 0;
  bool owned = false;  // an owner below will free the list with its thread
  bool gone = false;   // the thread is ending: blocks go straight back
};

void FreeKeptCells(CellList& cells) noexcept {
  while (cells.free != nullptr) {
    FreeBlock* next = cells.free->next;
    ::operator delete(cells.free);
    cells.free = next;
  }
  cells.count = 0;
  cells.gone = true;
}

#ifdef _WIN32
// What a thread reaches once its own list has gone: never written (gone, and nothing kept).
CellList g_gone_cells{nullptr, 0, true, true};
void ReleaseCells(void* list);
// The thread's list, made on the heap with its first kept cell and freed when the thread ends.
// Not a thread_local with a destructor: mingw-w64 frees a thread's emulated thread-locals
// before it runs their destructors.
ThreadPointer g_cells(&ReleaseCells);

void ReleaseCells(void* list) {
  g_cells.Set(&g_gone_cells);
  auto* cells = static_cast<CellList*>(list);
  FreeKeptCells(*cells);
  delete cells;
}

// The thread's list; null before its first kept cell.
CellList* Cells() noexcept { return static_cast<CellList*>(g_cells.Get()); }
// Makes the thread's list; null without memory or a slot (no cell is kept then).
CellList* StartCells() noexcept {
  auto* list = new (std::nothrow) CellList{nullptr, 0, true, false};
  if (list == nullptr) return nullptr;
  if (!g_cells.SetOwned(list)) {
    delete list;
    return nullptr;
  }
  return list;
}
#else
thread_local CellList t_cells;

struct CellListOwner {
  ~CellListOwner() { FreeKeptCells(t_cells); }
};
thread_local CellListOwner t_cell_list_owner;

CellList* Cells() noexcept { return &t_cells; }
CellList* StartCells() noexcept {
  (void)&t_cell_list_owner;  // made with the first kept block, so that the thread frees it
  t_cells.owned = true;
  return &t_cells;
}
#endif

template <class T>
struct CellAllocator {
  using value_type = T;
  CellAllocator() noexcept = default;
  template <class U>
  CellAllocator(const CellAllocator<U>&) noexcept {}

  T* allocate(std::size_t n) {
    static_assert(sizeof(T) >= sizeof(FreeBlock));
    if (n == 1) {
      CellList* cells = Cells();
      if (cells != nullptr && cells->free != nullptr) {
        FreeBlock* block = cells->free;
        cells->free = block->next;
        --cells->count;
        return static_cast<T*>(static_cast<void*>(block));
      }
    }
    return static_cast<T*>(::operator new(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept {
    if (n == 1) {
      CellList* cells = Cells();
      if (cells == nullptr || !cells->owned) cells = StartCells();
      if (cells != nullptr && !cells->gone && cells->count < kMostKeptCells) {
        cells->free = ::new (static_cast<void*>(p)) FreeBlock{cells->free};
        ++cells->count;
        return;
      }
    }
    ::operator delete(p);
  }
  template <class U>
  bool operator==(const CellAllocator<U>&) const noexcept {
    return true;
  }
};

}  // namespace

StackCell::~StackCell() {
  // Unlink cells that only this chain holds one by one instead of recursing through them.
  std::shared_ptr<StackCell> next = std::move(objNextCell);
  while (next && next.use_count() == 1) {
    std::shared_ptr<StackCell> after = std::move(next->objNextCell);
    next = std::move(after);
  }
}

automation::Value StackCell::DefaultValue() { Raise(err::MemberNotSupported); }

automation::Value Stack::DefaultValue() { Raise(err::MemberNotSupported); }

contract::DataFieldRef Stack::Pop() {
  if (!top_cell_) Raise(err::ObjectVariableNotSet);
  contract::DataFieldRef result = top_cell_->objValue;
  std::shared_ptr<StackCell> removed = std::move(top_cell_);
  top_cell_ = removed->objNextCell;
  return result;
}

contract::DataFieldRef Stack::PeekStack() const noexcept {
  if (!top_cell_) return nullptr;
  return top_cell_->objValue;
}

void Stack::Push(const contract::DataFieldRef& value) noexcept {
  try {
    auto cell = std::allocate_shared<StackCell>(CellAllocator<StackCell>());
    cell->objValue = value;
    cell->objNextCell = top_cell_;
    top_cell_ = std::move(cell);
  } catch (...) {
    // Kept: a Push that fails is swallowed and leaves the stack as it was (tests/support_stack_test.cpp: APushThatRunsOutOfMemoryIsSwallowedAndLeavesTheStackAsItWas)
  }
}

bool Stack::IsStackEmpty() const noexcept { return top_cell_ == nullptr; }

void Stack::EmptyStack() noexcept {
  // Kept: EmptyStack only walks the chain and leaves every item on the stack (tests/support_stack_test.cpp: AfterEmptyStackOnTwoItemsIsStackEmptyIsFalseAndTwoPopsSucceed)
  const StackCell* cell = top_cell_.get();
  while (cell != nullptr) cell = cell->objNextCell.get();
}

}  // namespace qorvintr::support
