#include "support/stack.h"

#include "qorvintr/error.h"

namespace qorvintr::support {

using automation::Raise;
namespace err = automation::err;

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
    auto cell = std::make_shared<StackCell>();
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
