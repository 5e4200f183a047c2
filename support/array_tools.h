#pragma once
// modTools: the test whether a dynamic array holds any elements.

#include "support/dynarray.h"

namespace qorvintr::support::modTools {

// True when the array was never dimensioned or has been erased (asking its upper bound would
// raise 9); never raises.
template <class T>
bool IsArrayEmpty(const DynArray<T>& array) noexcept {
  return !array.IsDimensioned();
}
template <class T>
bool IsArrayEmpty(const DynArray2D<T>& array) noexcept {
  return !array.IsDimensioned();
}

}  // namespace qorvintr::support::modTools
