#include "support/stack.h"

#include <cstddef>
#include <new>

#include "qorvintr/error.h"

namespace qorvintr::support {

using automation::Raise;
namespace err = automation::err;

namespace {

// A cell is made for every push of every script: freed cells (all of one size) are kept on a
// list per thread and made again from there. The list is bounded, and goes with its thread.
constexpr std::size_t kMostKeptCells = 1024;
struct FreeBlock {
  FreeBlock* next;
};
thread_local FreeBlock* t_free_cells = nullptr;
thread_local std::size_t t_free_count = 0;
thread_local bool t_cells_gone = false;  // the thread is ending: blocks go straight back

struct CellListOwner {
  ~CellListOwner() {
    while (t_free_cells != nullptr) {
      FreeBlock* next = t_free_cells->next;
      ::operator delete(t_free_cells);
      t_free_cells = next;
    }
    t_free_count = 0;
    t_cells_gone = true;
  }
};
thread_local CellListOwner t_cell_list_owner;

template <class T>
struct CellAllocator {
  using value_type = T;
  CellAllocator() noexcept = default;
  template <class U>
  CellAllocator(const CellAllocator<U>&) noexcept {}

  T* allocate(std::size_t n) {
    static_assert(sizeof(T) >= sizeof(FreeBlock));
    if (n == 1 && t_free_cells != nullptr) {
      FreeBlock* block = t_free_cells;
      t_free_cells = block->next;
      --t_free_count;
      return static_cast<T*>(static_cast<void*>(block));
    }
    return static_cast<T*>(::operator new(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept {
    if (n == 1 && !t_cells_gone && t_free_count < kMostKeptCells) {
      (void)&t_cell_list_owner;  // made with the first kept block, so that the thread frees it
      FreeBlock* block = ::new (static_cast<void*>(p)) FreeBlock{t_free_cells};
      t_free_cells = block;
      ++t_free_count;
      return;
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
