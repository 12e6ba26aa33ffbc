// Assertions and compile-time guards shared by all modules.
//
// FSORT_ASSERT is active in debug and sanitizer builds only. TrapSafe names the types whose objects may be
// alive while an error is raised: a raise is a long jump, so no destructor would run.
#pragma once

#include <cassert>
#include <type_traits>

#define FSORT_ASSERT(condition) assert(condition)

namespace fsort {

template <class T>
concept TrapSafe = std::is_trivially_destructible_v<T>;

// A block of an instance: zero-filled is valid and empty, copied as bytes, never destroyed.
template <class T>
inline constexpr bool kIsStateBlock =
    std::is_trivially_destructible_v<T>&& std::is_standard_layout_v<T>&& std::is_trivially_copyable_v<T>;

}  // namespace fsort
