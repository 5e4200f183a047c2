// memcpy and memmove of the Windows programs and DLLs (linked into each one beside the block
// heap, see com/CMakeLists.txt). The C runtime's under Wine goes through three calls and a size
// dispatch before it moves a byte; most of our copies are a few characters of a text (a name, a
// type word, a short value), where that overhead was about a tenth of a script's time through
// COM. Small sizes copy with overlapping loads that are all done before the first store, which
// also makes them safe for memmove; larger ones use the processor's string move.
#include <cstddef>
#include <cstdint>

#include <emmintrin.h>

namespace {

// Unaligned loads and stores of fixed sizes, spelt as such so that no optimisation level turns
// them back into a call of memcpy.
template <class T>
struct Unaligned {
  using Type __attribute__((may_alias, aligned(1))) = T;
};

template <std::size_t N>
struct Chunk;
template <> struct Chunk<2> { using Type = std::uint16_t; };
template <> struct Chunk<4> { using Type = std::uint32_t; };
template <> struct Chunk<8> { using Type = std::uint64_t; };
template <> struct Chunk<16> { using Type = __m128i; };

template <std::size_t N>
inline typename Chunk<N>::Type Load(const unsigned char* from) noexcept {
  if constexpr (N == 16) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  } else {
    return *reinterpret_cast<const typename Unaligned<typename Chunk<N>::Type>::Type*>(from);
  }
}

template <std::size_t N>
inline void Store(unsigned char* to, typename Chunk<N>::Type chunk) noexcept {
  if constexpr (N == 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), chunk);
  } else {
    *reinterpret_cast<typename Unaligned<typename Chunk<N>::Type>::Type*>(to) = chunk;
  }
}

// Up to 64 bytes: the head and the tail (which may overlap) are read first, then written.
inline bool CopySmall(unsigned char* to, const unsigned char* from, std::size_t size) noexcept {
  if (size <= 16) {
    if (size >= 8) {
      auto head = Load<8>(from), tail = Load<8>(from + size - 8);
      Store<8>(to, head);
      Store<8>(to + size - 8, tail);
    } else if (size >= 4) {
      auto head = Load<4>(from), tail = Load<4>(from + size - 4);
      Store<4>(to, head);
      Store<4>(to + size - 4, tail);
    } else if (size >= 2) {
      auto head = Load<2>(from), tail = Load<2>(from + size - 2);
      Store<2>(to, head);
      Store<2>(to + size - 2, tail);
    } else if (size == 1) {
      *to = *from;
    }
    return true;
  }
  if (size <= 32) {
    auto head = Load<16>(from), tail = Load<16>(from + size - 16);
    Store<16>(to, head);
    Store<16>(to + size - 16, tail);
    return true;
  }
  if (size <= 64) {
    auto a = Load<16>(from), b = Load<16>(from + 16);
    auto c = Load<16>(from + size - 32), d = Load<16>(from + size - 16);
    Store<16>(to, a);
    Store<16>(to + 16, b);
    Store<16>(to + size - 32, c);
    Store<16>(to + size - 16, d);
    return true;
  }
  return false;
}

inline void MoveForward(unsigned char* to, const unsigned char* from, std::size_t size) noexcept {
  asm volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(size) : : "memory");
}

// From the end down, for a target above an overlapping source.
inline void MoveBackward(unsigned char* to, const unsigned char* from, std::size_t size) noexcept {
  while (size >= 16) {
    size -= 16;
    Store<16>(to + size, Load<16>(from + size));
  }
  while (size > 0) {
    --size;
    to[size] = from[size];
  }
}

}  // namespace

extern "C" {

void* memmove(void* to, const void* from, std::size_t size) {
  auto* t = static_cast<unsigned char*>(to);
  const auto* f = static_cast<const unsigned char*>(from);
  if (CopySmall(t, f, size)) return to;
  // A forward move reads each byte before it is overwritten unless the target starts inside
  // the source.
  if (reinterpret_cast<std::uintptr_t>(t) - reinterpret_cast<std::uintptr_t>(f) >= size) {
    MoveForward(t, f, size);
  } else {
    MoveBackward(t, f, size);
  }
  return to;
}

// A copy is a move whose ranges do not overlap: the overlap test costs one comparison, and only
// past 64 bytes.
void* memcpy(void* to, const void* from, std::size_t size) { return memmove(to, from, size); }

}  // extern "C"
