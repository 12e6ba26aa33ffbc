// Unaligned, little-endian access to integers and pointers in raw memory.
//
// Records, their link words, saved frame headers and run headers lie at any address. They are read and
// written only through these two functions; each compiles to one move.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace fsort {

static_assert(std::endian::native == std::endian::little, "work files and records are little-endian");

template <class T>
requires std::is_trivially_copyable_v<T>
[[nodiscard]] inline T load_le(const void* p) {
  T value;
  std::memcpy(&value, p, sizeof(T));
  return value;
}

template <class T>
requires std::is_trivially_copyable_v<T>
inline void store_le(void* p, T value) { std::memcpy(p, &value, sizeof(T)); }

// Copies `n` bytes that do not overlap. Records are mostly short: up to 32 bytes take two moves of one size,
// the second one reaching back over the first, instead of a call.
inline void copy_bytes(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  if (n > 32) {
    std::memcpy(to, from, n);
  } else if (n >= 16) {
    std::uint8_t head[16];
    std::uint8_t tail[16];
    std::memcpy(head, from, sizeof head);
    std::memcpy(tail, from + n - sizeof tail, sizeof tail);
    std::memcpy(to, head, sizeof head);
    std::memcpy(to + n - sizeof tail, tail, sizeof tail);
  } else if (n >= 8) {
    const auto tail = load_le<std::uint64_t>(from + n - 8);
    store_le(to, load_le<std::uint64_t>(from));
    store_le(to + n - 8, tail);
  } else if (n >= 4) {
    const auto tail = load_le<std::uint32_t>(from + n - 4);
    store_le(to, load_le<std::uint32_t>(from));
    store_le(to + n - 4, tail);
  } else {
    for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
  }
}

}  // namespace fsort
