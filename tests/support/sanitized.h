// Whether a sanitizer watches this build. Long random campaigns run a smaller share of their sorts then.
#pragma once

#include <cstdint>

namespace fsort_test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif

inline constexpr std::uint64_t kSanitizedShare = 10;  // a sanitized build runs one sort of this many

}  // namespace fsort_test
