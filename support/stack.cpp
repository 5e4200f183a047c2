#include "support/stack.h"

#include "automation/convert.h"
#include "automation/error.h"

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
  if (!objTopCell) Raise(err::ObjectVariableNotSet);
  contract::DataFieldRef result = objTopCell->objValue;
  std::shared_ptr<StackCell> removed = std::move(objTopCell);
  objTopCell = removed->objNextCell;
  return result;
}

contract::DataFieldRef Stack::PeekStack() const noexcept {
  if (!objTopCell) return nullptr;
  return objTopCell->objValue;
}

contract::DataFieldRef Stack::PeekStackItem2() const {
  if (!objTopCell) Raise(err::ObjectVariableNotSet);
  const std::shared_ptr<StackCell>& second = objTopCell->objNextCell;
  if (!second) Raise(err::ObjectVariableNotSet);
  return second->objValue;
}

bool Stack::DeleteStackItem2() {
  if (!objTopCell) Raise(err::ObjectVariableNotSet);
  std::shared_ptr<StackCell> second = objTopCell->objNextCell;
  if (!second) Raise(err::ObjectVariableNotSet);
  objTopCell->objNextCell = second->objNextCell;
  second->objValue = nullptr;
  second.reset();
  return false;
}

void Stack::Push(const contract::DataFieldRef& objValue) noexcept {
  try {
    auto cell = std::make_shared<StackCell>();
    cell->objValue = objValue;
    cell->objNextCell = objTopCell;
    objTopCell = std::move(cell);
  } catch (...) {
    // A failed push leaves the stack as it was and tells nobody.
  }
}

bool Stack::IsStackEmpty() const noexcept { return objTopCell == nullptr; }

std::u16string Stack::AsText() const {
  std::u16string text;
  for (const StackCell* cell = objTopCell.get(); cell != nullptr; cell = cell->objNextCell.get()) {
    contract::DataField* item = cell->objValue.get();
    if (item == nullptr) Raise(err::ObjectVariableNotSet);
    text += item->Name();
    text += u'\t';
    text += automation::CStr(item->Data());
    text += u'\t';
    text += item->DataType();
    text += u"\r\n";
  }
  return text;
}

void Stack::EmptyStack() noexcept {
  // The walk drops only its own working reference to each cell; objTopCell is left alone, so
  // every item stays on the stack.
  const StackCell* cell = objTopCell.get();
  while (cell != nullptr) cell = cell->objNextCell.get();
}

}  // namespace qorvintr::support
