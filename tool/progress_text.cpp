// The texts of progress: numbers, the line, the summary. See progress.h.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "progress.h"

namespace fsort_tool {
namespace {

constexpr std::uint64_t kUnit = 1024;
constexpr std::array<const char*, 5> kUnits = {"bytes", "KiB", "MiB", "GiB", "TiB"};
constexpr std::int64_t kSecond = 1000;
constexpr int kWhole = 100;

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
  constexpr std::size_t kRoom = 64;
  std::array<char, kRoom> room{};
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(room.data(), room.size(), format, values);
  va_end(values);
  return room.data();
}

// Bytes a second.
std::uint64_t rate_of(std::uint64_t bytes, std::int64_t milliseconds) {
  if (milliseconds <= 0) return 0;
  return static_cast<std::uint64_t>(static_cast<double>(bytes) * kSecond / static_cast<double>(milliseconds));
}

std::string shown_time(std::uint64_t seconds) {
  constexpr std::uint64_t kMinute = 60;
  const auto s = static_cast<unsigned>(seconds % kMinute);
  const std::uint64_t minutes = seconds / kMinute;
  const auto m = static_cast<unsigned>(minutes % kMinute);
  if (minutes < kMinute) return text("%u:%02u", m, s);
  return std::to_string(minutes / kMinute) + text(":%02u:%02u", m, s);
}

// Part of a whole, at most 1.
double part(std::uint64_t done, std::uint64_t whole) {
  if (whole == 0) return 1;
  return std::min(1.0, static_cast<double>(done) / static_cast<double>(whole));
}

// Of the whole sort, 0 to 1.
double done_of(const ProgressState& p) {
  if (p.phase == ProgressState::Phase::reading) return part(p.bytes_read, p.total_bytes) / 2;
  return 0.5 + (p.phase == ProgressState::Phase::writing ? part(p.bytes_written, p.bytes_read) / 2 : 0);
}

// Seconds that are left when all goes on as in this phase, and writing takes as long as reading.
std::uint64_t seconds_left(const ProgressState& p) {
  const bool writing = p.phase == ProgressState::Phase::writing;
  const double done = writing ? part(p.bytes_written, p.bytes_read) : part(p.bytes_read, p.total_bytes);
  if (done <= 0) return 0;
  const auto passed = static_cast<double>(writing ? p.writing_milliseconds : p.milliseconds);
  const double left = passed / done * (writing ? 1 - done : 2 - done);
  return static_cast<std::uint64_t>(std::llround(left / kSecond));
}

}  // namespace

std::string shown_count(std::uint64_t count) {
  constexpr std::size_t kGroup = 3;
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > kGroup; at -= kGroup) digits.insert(at - kGroup, 1, ',');
  return digits;
}

std::string shown_bytes(std::uint64_t bytes) {
  constexpr double kFewUnits = 10;
  std::size_t unit = 0;
  auto value = static_cast<double>(bytes);
  while (value >= static_cast<double>(kUnit) - 0.5 && unit + 1 < kUnits.size()) {
    value /= static_cast<double>(kUnit);
    ++unit;
  }
  const bool fine = unit != 0 && value < kFewUnits - 0.05;
  return text(fine ? "%.1f " : "%.0f ", value) + kUnits[unit];
}

std::string progress_line(const ProgressState& p) {
  using Phase = ProgressState::Phase;
  constexpr std::array<const char*, 3> kPhases = {"reading", "sorting", "writing"};
  std::string line = kPhases[static_cast<std::size_t>(p.phase)];
  const bool known = p.total_known || p.phase != Phase::reading;
  if (known) line += text(" %3d %%", static_cast<int>(done_of(p) * kWhole));
  const bool writing = p.phase == Phase::writing;
  const std::uint64_t bytes = writing ? p.bytes_written : p.bytes_read;
  line += "   " + shown_count(p.records) + " records   " + shown_bytes(bytes);
  if (p.phase == Phase::sorting) return line;
  line += "   " + shown_bytes(rate_of(bytes, writing ? p.writing_milliseconds : p.milliseconds)) + "/s";
  if (known && bytes != 0) line += "   " + shown_time(seconds_left(p)) + " left";
  return line;
}

std::string progress_summary(std::uint64_t records_read, std::uint64_t records_written, std::uint64_t bytes,
                             std::int64_t milliseconds) {
  const auto seconds = static_cast<double>(milliseconds) / kSecond;
  std::string line =
      "fsort: " + shown_count(records_read) + " records, " + shown_bytes(bytes) + text(" in %.1f s", seconds);
  if (milliseconds > 0) line += " (" + shown_bytes(rate_of(bytes, milliseconds)) + "/s)";
  if (records_written != records_read) line += ", " + shown_count(records_written) + " written";
  return line + "\n";
}

}  // namespace fsort_tool
