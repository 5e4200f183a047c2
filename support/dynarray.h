#pragma once
// Dynamic arrays with the platform's rules: an array is "never dimensioned" until ReDim (and
// again after Erase); UBound/LBound and element access then raise 9 "Subscript out of range",
// as does an index outside the bounds. ReDim discards the contents, ReDim Preserve keeps them
// and may change only the upper bound of the last dimension.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qorvintr/error.h"

namespace qorvintr::support {

namespace detail {
// More elements than this are refused with 7 "Out of memory" rather than attempted: the
// platform's arrays stop far below what would exhaust the machine.
inline constexpr std::int64_t kMaxArrayElements = std::int64_t{1} << 26;

inline std::size_t CheckedExtent(std::int32_t lower, std::int32_t upper) {
  if (upper < lower) automation::Raise(automation::err::SubscriptOutOfRange);
  std::int64_t n = std::int64_t{upper} - std::int64_t{lower} + 1;
  if (n > kMaxArrayElements) automation::Raise(automation::err::OutOfMemory);
  return static_cast<std::size_t>(n);
}

template <class Vector>
void ResizeOrRaise(Vector& v, std::size_t n) {
  try {
    v.resize(n);
  } catch (const std::bad_alloc&) {
    automation::Raise(automation::err::OutOfMemory);
  } catch (const std::length_error&) {
    automation::Raise(automation::err::OutOfMemory);
  }
}

// ReDim's storage: n default-valued elements. A host resets between scripts, so the storage a
// table already has is reused when it is large enough (up to a bound, so that one long script
// does not keep its tables for good); otherwise the elements are made apart and the old ones
// stay as they were if that fails.
inline constexpr std::size_t kMaxReusedElements = 4096;

inline constexpr std::size_t kOutside = static_cast<std::size_t>(-1);
// The place of an index in a dimension of n elements from lower, or kOutside (always, for a
// table not dimensioned).
inline std::size_t PlaceIn(std::int32_t index, std::int32_t lower, std::size_t n,
                           bool dimensioned = true) noexcept {
  // One compare: an index below lower wraps to beyond any extent.
  const auto off = static_cast<std::uint64_t>(std::int64_t{index} - lower);
  if (!dimensioned || off >= n) return kOutside;
  return static_cast<std::size_t>(off);
}
// The place, where a read raises 9 for kOutside.
inline std::size_t PlaceOrRaise(std::size_t at) {
  if (at == kOutside) automation::Raise(automation::err::SubscriptOutOfRange);
  return at;
}

template <class T>
void ResetElement(T& item) {
  item = T();
}
template <class C>
void ResetElement(std::basic_string<C>& item) noexcept {
  item.clear();
}

// (A table no larger than the elements it has made resets them in place instead.)
template <class T>
void Refill(std::vector<T>& v, std::size_t n) {
  if (n <= v.capacity() && v.capacity() <= kMaxReusedElements) {
    v.clear();
    v.resize(n);  // within the capacity: nothing is allocated
    return;
  }
  std::vector<T> fresh;
  ResizeOrRaise(fresh, n);
  v = std::move(fresh);
}
}  // namespace detail

// One dimension, lower bound of choice (0 when not given). Underneath, the elements past the
// upper bound that a table once had stay made, at their default value: a table that grows and is
// reset back between scripts (the interpreter's name list) makes and drops nothing each time.
template <class T>
class DynArray {
 public:
  bool IsDimensioned() const noexcept { return dimensioned_; }

  // ReDim a(lower To upper): new, default-valued elements.
  void ReDim(std::int32_t lower, std::int32_t upper) {
    std::size_t n = detail::CheckedExtent(lower, upper);
    if (KeepsStorage(n)) {
      // No more than are made (a host's reset between scripts): the elements in use go back to
      // their default value in place; those past them already are.
      ResetFrom(0);
    } else {
      detail::Refill(items_, n);
    }
    size_ = n;
    lower_ = lower;
    dimensioned_ = true;
  }
  void ReDim(std::int32_t upper) { ReDim(0, upper); }
  // ReDim, then every element set to value (a table that marks its unused entries).
  void ReDimAll(std::int32_t lower, std::int32_t upper, const T& value) {
    std::size_t n = detail::CheckedExtent(lower, upper);
    if (KeepsStorage(n)) {
      if (size_ > n) ResetFrom(n);
    } else {
      detail::Refill(items_, n);
    }
    size_ = n;
    for (T& item : Elements()) item = value;
    lower_ = lower;
    dimensioned_ = true;
  }

  // ReDim Preserve a(lower To upper): keeps the elements that stay in range. The lower bound
  // cannot change (9). An array never dimensioned is simply dimensioned.
  void ReDimPreserve(std::int32_t lower, std::int32_t upper) {
    if (!dimensioned_) {
      ReDim(lower, upper);
      return;
    }
    if (lower != lower_) automation::Raise(automation::err::SubscriptOutOfRange);
    std::size_t n = detail::CheckedExtent(lower, upper);
    if (n > items_.size()) detail::ResizeOrRaise(items_, n);
    // Those cut off go back to their default value, as a later growth shows them.
    if (n < size_) ResetFrom(n);
    size_ = n;
  }
  void ReDimPreserve(std::int32_t upper) { ReDimPreserve(dimensioned_ ? lower_ : 0, upper); }

  // Erase: back to "never dimensioned". The elements go; storage of a usual size stays for
  // the next ReDim.
  void Erase() noexcept {
    if (items_.capacity() > detail::kMaxReusedElements) {
      std::vector<T>().swap(items_);
    } else {
      ResetFrom(0);
    }
    size_ = 0;
    lower_ = 0;
    dimensioned_ = false;
  }

  std::int32_t LBound() const {
    if (!dimensioned_) automation::Raise(automation::err::SubscriptOutOfRange);
    return lower_;
  }
  std::int32_t UBound() const {
    if (!dimensioned_) automation::Raise(automation::err::SubscriptOutOfRange);
    return static_cast<std::int32_t>(lower_ + static_cast<std::int64_t>(size_) - 1);
  }

  T& operator()(std::int32_t index) { return items_[Offset(index)]; }
  const T& operator()(std::int32_t index) const { return items_[Offset(index)]; }
  // Every element in order, for a walk over the whole table (none when never dimensioned).
  std::span<T> Elements() noexcept { return std::span<T>(items_.data(), size_); }
  // The element, or nullptr where operator() would raise 9.
  T* Find(std::int32_t index) noexcept {
    const std::size_t at = At(index);
    return at == detail::kOutside ? nullptr : &items_[at];
  }

 private:
  // A redim to no more elements than are made keeps the storage (a host's reset between
  // scripts), unless the table once grew past what is kept for good.
  bool KeepsStorage(std::size_t n) const noexcept {
    return n <= items_.size() && items_.capacity() <= detail::kMaxReusedElements;
  }
  // The elements in use from first on back to their default value.
  void ResetFrom(std::size_t first) noexcept {
    for (std::size_t at = first; at < size_; ++at) detail::ResetElement(items_[at]);
  }

  // The element's place, or kOutside for an index out of the bounds (or none dimensioned).
  std::size_t At(std::int32_t index) const noexcept {
    return detail::PlaceIn(index, lower_, size_, dimensioned_);
  }
  std::size_t Offset(std::int32_t index) const { return detail::PlaceOrRaise(At(index)); }

  // Made elements; those from size_ on are past the upper bound and at their default value.
  std::vector<T> items_;
  std::size_t size_ = 0;
  std::int32_t lower_ = 0;
  bool dimensioned_ = false;
};

// Two dimensions. Every answer is that of one block of n1 x n2 elements (ReDim Preserve may
// change only the last dimension and keeps every element). Underneath, each index of the first
// dimension has its own row, made as far as it has been written: a row grows geometrically, a
// row never written takes no room, a row keeps its length across a ReDim (its elements back to
// the default value), and ReDim Preserve itself moves nothing. (The interpreter's
// hold table has sixteen levels and grows its slots by five; a long script uses one level.)
template <class T>
class DynArray2D {
 public:
  bool IsDimensioned() const noexcept { return dimensioned_; }

  void ReDim(std::int32_t lower1, std::int32_t upper1, std::int32_t lower2, std::int32_t upper2) {
    std::size_t n1 = detail::CheckedExtent(lower1, upper1);
    std::size_t n2 = detail::CheckedExtent(lower2, upper2);
    if (static_cast<std::int64_t>(n1) * static_cast<std::int64_t>(n2) >
        detail::kMaxArrayElements) {
      automation::Raise(automation::err::OutOfMemory);
    }
    if (rows_.size() == n1) {
      // The same rows again (a reset): what they hold goes back to the default value in place.
      // Only rows reached since the last reset can hold anything else (a host resets after
      // every script, and a script mostly reaches one level of sixteen).
      for (std::uint64_t left = touched_; left != 0; left &= left - 1) {
        ResetRow(rows_[static_cast<std::size_t>(std::countr_zero(left))]);
      }
      for (std::size_t r = kTrackedRows; r < n1; ++r) ResetRow(rows_[r]);
    } else {
      std::vector<std::vector<T>> fresh;
      detail::ResizeOrRaise(fresh, n1);
      rows_ = std::move(fresh);
    }
    touched_ = 0;
    lower1_ = lower1;
    lower2_ = lower2;
    n1_ = n1;
    n2_ = n2;
    dimensioned_ = true;
  }

  // Keeps the contents; the first dimension and the lower bound of the second must stay as they
  // are (9 otherwise). An array never dimensioned is simply dimensioned.
  void ReDimPreserve(std::int32_t lower1, std::int32_t upper1, std::int32_t lower2,
                     std::int32_t upper2) {
    if (!dimensioned_) {
      ReDim(lower1, upper1, lower2, upper2);
      return;
    }
    std::size_t n1 = detail::CheckedExtent(lower1, upper1);
    std::size_t n2 = detail::CheckedExtent(lower2, upper2);
    if (lower1 != lower1_ || n1 != n1_ || lower2 != lower2_) {
      automation::Raise(automation::err::SubscriptOutOfRange);
    }
    if (static_cast<std::int64_t>(n1) * static_cast<std::int64_t>(n2) >
        detail::kMaxArrayElements) {
      automation::Raise(automation::err::OutOfMemory);
    }
    // Elements past the second dimension are always at their default value (a later growth
    // shows them so); only a shrink has any to clear.
    if (n2 < n2_) {
      for (std::vector<T>& row : rows_) {
        for (std::size_t at = n2; at < row.size(); ++at) detail::ResetElement(row[at]);
      }
    }
    n2_ = n2;
  }

  void Erase() noexcept {
    std::vector<std::vector<T>>().swap(rows_);
    touched_ = 0;
    lower1_ = lower2_ = 0;
    n1_ = n2_ = 0;
    dimensioned_ = false;
  }

  // dimension is 1 or 2; anything else, or an array never dimensioned, raises 9.
  std::int32_t LBound(int dimension = 1) const {
    CheckDimension(dimension);
    return dimension == 1 ? lower1_ : lower2_;
  }
  std::int32_t UBound(int dimension = 1) const {
    CheckDimension(dimension);
    return dimension == 1
               ? static_cast<std::int32_t>(lower1_ + static_cast<std::int64_t>(n1_) - 1)
               : static_cast<std::int32_t>(lower2_ + static_cast<std::int64_t>(n2_) - 1);
  }

  // An element not yet made is made (with those before it in its row) when first reached.
  T& operator()(std::int32_t i, std::int32_t j) {
    const std::size_t r = Row(i);
    if (r < kTrackedRows) touched_ |= std::uint64_t{1} << r;
    std::vector<T>& row = rows_[r];
    const std::size_t at = Column(j);
    if (at >= row.size()) detail::ResizeOrRaise(row, at + 1);
    return row[at];
  }
  const T& operator()(std::int32_t i, std::int32_t j) const {
    const std::vector<T>& row = rows_[Row(i)];
    const std::size_t at = Column(j);
    return at < row.size() ? row[at] : Default();
  }
  // The element as the const operator() reads it, or nullptr where it would raise 9.
  const T* Peek(std::int32_t i, std::int32_t j) const noexcept {
    const std::size_t r = RowAt(i);
    const std::size_t at = ColumnAt(j);
    if (r == detail::kOutside || at == detail::kOutside) return nullptr;
    const std::vector<T>& row = rows_[r];
    return at < row.size() ? &row[at] : &Default();
  }

 private:
  static const T& Default() noexcept {
    static const T kDefault{};
    return kDefault;
  }
  // Every element, those past the second dimension too: a row keeps its length, so that the
  // next growth of the slots makes nothing.
  static void ResetRow(std::vector<T>& row) {
    if (row.capacity() > detail::kMaxReusedElements) {
      std::vector<T>().swap(row);
      return;
    }
    for (T& item : row) detail::ResetElement(item);
  }
  void CheckDimension(int dimension) const {
    if (!dimensioned_ || dimension < 1 || dimension > 2) {
      automation::Raise(automation::err::SubscriptOutOfRange);
    }
  }
  // The row or column of an index, or kOutside for one out of the bounds.
  std::size_t RowAt(std::int32_t i) const noexcept {
    return detail::PlaceIn(i, lower1_, n1_, dimensioned_);
  }
  std::size_t ColumnAt(std::int32_t j) const noexcept { return detail::PlaceIn(j, lower2_, n2_); }
  std::size_t Row(std::int32_t i) const { return detail::PlaceOrRaise(RowAt(i)); }
  std::size_t Column(std::int32_t j) const { return detail::PlaceOrRaise(ColumnAt(j)); }

  // Rows past the first 64 are reset every time.
  static constexpr std::size_t kTrackedRows = 64;

  std::vector<std::vector<T>> rows_;
  std::uint64_t touched_ = 0;  // the rows (of the first 64) reached since the last ReDim
  std::int32_t lower1_ = 0;
  std::int32_t lower2_ = 0;
  std::size_t n1_ = 0;
  std::size_t n2_ = 0;
  bool dimensioned_ = false;
};

}  // namespace qorvintr::support
