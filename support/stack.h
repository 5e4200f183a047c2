#pragma once
// The operand stack of one interpreter instance: a last-in-first-out chain of cells, each
// holding a counted reference to a data field.

#include <memory>
#include <string>

#include "qorvintr/value.h"
#include "qorvintr/contract/data_field.h"

namespace qorvintr::support {

class StackCell : public automation::Object {
 public:
  StackCell() = default;
  StackCell(const StackCell&) = delete;
  StackCell& operator=(const StackCell&) = delete;
  // Releases the chain below iteratively, so a deep stack cannot exhaust the call stack.
  ~StackCell() override;

  contract::DataFieldRef objValue;
  std::shared_ptr<StackCell> objNextCell;

  std::u16string ClassName() const override { return u"StackCell"; }
  automation::Value DefaultValue() override;
};

// The operations keep the order of the class's interface.
class Stack : public automation::Object {
 public:
  Stack() = default;
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;

  // The top item, removed. An empty stack raises 91.
  contract::DataFieldRef Pop();
  // The top item, left in place; none when the stack is empty (no error).
  contract::DataFieldRef PeekStack() const noexcept;
  // Puts the caller's object itself on top. Never fails: on any error the stack stays as it was.
  void Push(const contract::DataFieldRef& value) noexcept;
  bool IsStackEmpty() const noexcept;
  // Walks the chain and changes nothing: the items stay until the Stack itself is released.
  void EmptyStack() noexcept;
  // Releases every item, as releasing the Stack itself would, so that the Stack can be used
  // again as a new one.
  void Clear() noexcept { top_cell_.reset(); }

  std::u16string ClassName() const override { return u"Stack"; }
  automation::Value DefaultValue() override;

 private:
  std::shared_ptr<StackCell> top_cell_;
};
using StackRef = std::shared_ptr<Stack>;

}  // namespace qorvintr::support
