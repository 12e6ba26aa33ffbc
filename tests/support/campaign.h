// What random campaigns share: numbers from the environment (seeds, counts), and whether this build is a slow
// one (watched by a sanitizer, or run by an emulator of another system), which runs a smaller share of the
// sorts.
#pragma once

#include <cstdint>
#include <cstdlib>

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

#if defined(FSORT_TESTS_EMULATED)
inline constexpr bool kEmulated = true;
#else
inline constexpr bool kEmulated = false;
#endif

inline constexpr bool kSlow = kSanitized || kEmulated;
inline constexpr std::uint64_t kSlowShare = 10;  // a slow build runs one sort of this many

// A number from the environment, or another when the variable is not set.
inline std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

}  // namespace fsort_test
