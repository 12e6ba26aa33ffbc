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

}  // namespace fsort
