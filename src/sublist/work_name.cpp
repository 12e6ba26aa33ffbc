// Building the names of work files; the form of a name stands in work_name.h.
//
// The prefix, up to the place of the file number, is written once a sort into the path area of the module's
// state. mk_name writes a number behind it and hands the area out. The area holds the longest directory that
// is let through (130 characters), the separator, "wk", five digits, "." and the ten digits of the largest
// 32-bit number.
#include "sublist/work_name.h"

#include <cstring>

#include "platform/os.h"
#include "sublist/sublist_access.h"
#include "support/error.h"

namespace fsort {
namespace {

constexpr std::size_t kDirectoryTail = 8;  // what the limits count behind the directory
constexpr std::uint32_t kDecimal = 10;
constexpr std::uint32_t kNumberPlaces = 3;
constexpr const char* kDirectoryVariables[] = {"TEMP", "TMPDIR", "TMP"};
constexpr char kSeparator = '\\';
constexpr char kPrefix[] = "wk";
constexpr char kNoNumber[] = ".000";
constexpr std::size_t kMaxNumberDigits = 10;
static_assert(kOptionDirectoryLimit - kDirectoryTail + sizeof kPrefix + kInstanceDigits + 1 +
                  kMaxNumberDigits + 1 <=
              sizeof SublistState::path);

const char* environment_directory() {
  for (const char* name : kDirectoryVariables) {
    const char* value = os->get_env(name);
    if (value != nullptr) return value;
  }
  return "";
}

// Length of a directory name without its trailing separators.
std::size_t trimmed_length(const char* directory) {
  std::size_t length = std::strlen(directory);
  while (length > 0 && (directory[length - 1] == kSeparator || directory[length - 1] == '/')) --length;
  return length;
}

// The number's lowest digits, lowest first.
char* write_instance_digits(char* at, std::uint64_t number) {
  for (int i = 0; i < kInstanceDigits && number != 0; ++i, number /= kDecimal) {
    *at++ = static_cast<char>('0' + number % kDecimal);
  }
  return at;
}

}  // namespace

std::uint64_t sublist_instance_number() {
  FSORT_ASSERT(current_instance);
  const auto address = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(current_instance));
  return address < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(address)
                     : static_cast<std::uint64_t>(address);
}

void work_name_prefix(SublistState& state, const char* option_directory, std::uint64_t instance_number) {
  const char* directory = option_directory != nullptr ? option_directory : environment_directory();
  const std::size_t counted = std::strlen(directory) + kDirectoryTail;
  if (option_directory != nullptr && counted >= kOptionDirectoryLimit) {
    ErrorReturn(kErrorCode, "Temporary directory name too long");
  }
  if (option_directory == nullptr && counted >= kEnvironmentDirectoryLimit) {
    ErrorReturn(kErrorCode, "Name of directory too long. Check environment variables");
  }

  char* at = state.path;
  if (directory[0] != '\0') {
    const std::size_t length = trimmed_length(directory);
    std::memcpy(at, directory, length);
    at += length;
    *at++ = kSeparator;
  }
  std::memcpy(at, kPrefix, sizeof kPrefix - 1);
  at = write_instance_digits(at + sizeof kPrefix - 1, instance_number);
  std::memcpy(at, kNoNumber, sizeof kNoNumber);
  state.number_at = static_cast<std::uint16_t>(at - state.path);
}

const char* mk_name(SublistState& state, std::uint32_t number) {
  char* point = state.path + state.number_at;
  std::memcpy(point, kNoNumber, sizeof kNoNumber);
  // Numbers below 100 are written over the right end of the zeros, longer ones start right after the point.
  std::uint32_t place = 1;
  if (number < kDecimal) {
    place = kNumberPlaces;
  } else if (number < kDecimal * kDecimal) {
    place = kNumberPlaces - 1;
  }
  const std::uint32_t digits = pitoa(number, point + place, kDecimal);
  if (digits > kNumberPlaces) point[place + digits] = '\0';
  return state.path;
}

std::uint32_t pitoa(std::uint32_t value, char* buffer, std::uint32_t base) {
  std::uint32_t digits = 0;
  for (; value != 0; value /= base) buffer[digits++] = "0123456789abcdef"[value % base];
  for (std::uint32_t i = 0, j = digits; i + 1 < j; ++i) {
    const char low = buffer[i];
    buffer[i] = buffer[--j];
    buffer[j] = low;
  }
  return digits;
}

}  // namespace fsort
