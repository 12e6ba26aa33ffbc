// fsort for C++20: a thin layer over fsort.h, in this one header.
//
//     #include <fsort.hpp>
//
//     std::vector<std::string> lines = fsort::sorted(words, "-i");         // any range of texts
//     fsort::sort_files("<in.txt >out.txt -t ';' -n -f 2");                // files
//     fsort::sort("-u", [&] { return next_record(); },                     // callables on either side
//                 [&](std::string_view record) { keep(record); });
//
// What it adds to the C interface: an instance that is released by itself, callables with captures as
// callbacks, exceptions on the caller's side only, and results as standard types. What it costs: a look at a
// variable of the thread and one indirect call a record; nothing is copied that the C interface does not
// copy.
//
// Exceptions. A failed sort throws fsort::error, whose what() are the messages of the sort. An exception that
// leaves a reader or a writer is caught before it would cross the C interface, ends the sort by a status, and
// is thrown again, the same object, where the sort was started. Nothing ever jumps out of a callback.
//
// Threads, nesting, command lines and records are those of fsort.h: sorts of several threads run one after
// the other, a callable may start further sorts, a command line has at most FSORT_MAX_COMMAND characters.
#ifndef FSORT_HPP
#define FSORT_HPP

#if (defined(_MSVC_LANG) ? _MSVC_LANG : __cplusplus) < 202002L
#error "fsort.hpp needs C++20 (-std=c++20 or /std:c++20)"
#endif

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <new>
#include <optional>
#include <ranges>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "fsort.h"

namespace fsort {
inline namespace cpp {

// A sort that failed.
class error : public std::runtime_error {
 public:
  error(std::int32_t status, const std::string& messages)
      : std::runtime_error(messages.empty() ? "fsort: status " + std::to_string(status) : messages),
        status_(status) {}
  // 1, or the code that was given to FsortExit.
  [[nodiscard]] std::int32_t status() const noexcept { return status_; }

 private:
  std::int32_t status_;
};

// Gives the next record, nothing at the end. The bytes must stay valid until it is called again. An empty
// record cannot be sorted (its length would be the end of the input): std::invalid_argument comes out of the
// sort.
template <class Function>
concept record_reader = std::is_invocable_r_v<std::optional<std::string_view>, Function&>;

// Takes a record; its bytes are valid during the call. May answer false: enough, the sort ends.
template <class Function>
concept record_writer = std::invocable<Function&, std::string_view>;

namespace detail {

// What the C callbacks of a running start find through the variable of their thread.
struct session {
  std::string messages;
  std::exception_ptr thrown;
  bool enough = false;  // the writer wants no more
  void* reader = nullptr;
  void* writer = nullptr;
};

inline constinit thread_local session* current = nullptr;

// Makes a session the current one of the thread, and the outer one again at the end.
class entered {
 public:
  explicit entered(session& s) : outer_(std::exchange(current, &s)) {}
  ~entered() { current = outer_; }
  entered(const entered&) = delete;
  entered& operator=(const entered&) = delete;

 private:
  session* outer_;
};

// Runs the body of a callback. Result: its status; 1 after an exception, which is kept.
template <class Body>
std::int32_t guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    if (!current->thrown) current->thrown = std::current_exception();
    return 1;
  }
}

inline void display(const char* text) {
  if (current == nullptr) return;
  static_cast<void>(guarded([text] {
    current->messages += text;
    return 0;
  }));
}

template <class Reader>
std::int32_t read(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  return guarded([&] {
    const std::optional<std::string_view> next = std::invoke(*static_cast<Reader*>(current->reader));
    if (!next) return 0;
    if (next->empty()) throw std::invalid_argument("fsort: an empty record cannot be sorted");
    *length = next->size();
    *record = next->data();
    return 0;
  });
}

template <class Writer>
std::int32_t write(std::uint64_t length, const void* record) {
  return guarded([&] {
    const std::string_view bytes(static_cast<const char*>(record), static_cast<std::size_t>(length));
    Writer& writer = *static_cast<Writer*>(current->writer);
    if constexpr (std::convertible_to<std::invoke_result_t<Writer&, std::string_view>, bool>) {
      if (!std::invoke(writer, bytes)) current->enough = true;
    } else {
      std::invoke(writer, bytes);
    }
    return current->enough ? 1 : 0;
  });
}

}  // namespace detail

// One sort instance, released at the end of its life. Good for one sort, like the handle that it holds.
class instance {
 public:
  // Throws std::bad_alloc when memory is short.
  instance() : handle_(FsortCreate(detail::display, nullptr)) {
    if (handle_ == nullptr) throw std::bad_alloc();
  }
  ~instance() { FsortDestroy(handle_); }
  instance(instance&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  instance& operator=(instance&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  instance(const instance&) = delete;
  instance& operator=(const instance&) = delete;

  // The handle, for fsort.h: FsortRead and FsortWrite inside callables, for instance.
  [[nodiscard]] fsort_handle get() const noexcept { return handle_; }

  // Sorts the files that the command line names. Result: what the sort said, such as how long it took.
  std::string start(const std::string& command) {
    return run(command, nullptr, nullptr, nullptr, nullptr).messages;
  }

  // Sorts the records of `reader` to `writer`. Result: false when the writer had enough before the end.
  template <record_reader Reader, record_writer Writer>
  bool start(const std::string& command, Reader&& reader, Writer&& writer) {
    return !run(command, detail::read<std::remove_reference_t<Reader>>, address(reader),
                detail::write<std::remove_reference_t<Writer>>, address(writer))
                .enough;
  }

  // The record pipe: another thread sends what the sort reads, or retrieves what it writes (FSORT_PIPE_INPUT,
  // FSORT_PIPE_OUTPUT in fsort.h).
  template <record_writer Writer>
  bool start_from_pipe(const std::string& command, Writer&& writer) {
    return !run(command, FSORT_PIPE_INPUT, nullptr, detail::write<std::remove_reference_t<Writer>>,
                address(writer))
                .enough;
  }
  template <record_reader Reader>
  void start_to_pipe(const std::string& command, Reader&& reader) {
    run(command, detail::read<std::remove_reference_t<Reader>>, address(reader), FSORT_PIPE_OUTPUT, nullptr);
  }
  // The bytes must stay valid until the next send has returned.
  void send(std::string_view record) { FsortSend(handle_, record.size(), record.data()); }
  void end_of_input() { FsortSend(handle_, 0, nullptr); }
  // The bytes are valid until the next retrieve; nothing when the sort has ended.
  [[nodiscard]] std::optional<std::string_view> retrieve() {
    std::uint64_t length = 0;
    const void* record = nullptr;
    FsortRetrieve(handle_, &length, &record);
    if (record == nullptr) return std::nullopt;
    return std::string_view(static_cast<const char*>(record), static_cast<std::size_t>(length));
  }

 private:
  template <class Function>
  static void* address(Function& function) {
    return const_cast<void*>(static_cast<const void*>(std::addressof(function)));
  }

  detail::session run(const std::string& command, fsort_read_fn read, void* reader, fsort_write_fn write,
                      void* writer) {
    detail::session session;
    session.reader = reader;
    session.writer = writer;
    std::int32_t status = 0;
    {
      const detail::entered here(session);
      status = FsortStart(handle_, read, write, command.c_str());
    }
    if (session.thrown) std::rethrow_exception(session.thrown);
    if (status != 0 && !session.enough) throw error(status, session.messages);
    return session;
  }

  fsort_handle handle_;
};

// Sorts the files that the command line names. Result: what the sort said.
inline std::string sort_files(const std::string& command) { return instance().start(command); }

// Sorts the records of a reader to a writer. Result: false when the writer had enough before the end.
template <record_reader Reader, record_writer Writer>
bool sort(const std::string& command, Reader&& reader, Writer&& writer) {
  return instance().start(command, std::forward<Reader>(reader), std::forward<Writer>(writer));
}

// A range whose elements are texts, or can be made into one.
template <class Range>
concept record_range = std::ranges::input_range<Range> &&
    (std::convertible_to<std::ranges::range_reference_t<Range>, std::string_view> ||
     std::constructible_from<std::string, std::ranges::range_reference_t<Range>>);

// Sorts the records of a range to a writer. Elements that live in the range are handed over where they are;
// others, one at a time, in a string of the sort's.
template <record_range Range, record_writer Writer>
bool sort(const std::string& command, Range&& records, Writer&& writer) {
  using element = std::ranges::range_reference_t<Range>;
  constexpr bool stays =
      std::convertible_to<element, std::string_view> &&
      (std::is_lvalue_reference_v<element> || std::same_as<std::remove_cvref_t<element>, std::string_view>);
  auto next = std::ranges::begin(records);
  const auto end = std::ranges::end(records);
  std::string held;
  bool started = false;
  const auto reader = [&]() -> std::optional<std::string_view> {
    if (started) ++next;
    started = true;
    if (next == end) return std::nullopt;
    if constexpr (stays) {
      return std::string_view(*next);
    } else {
      held = std::string(*next);
      return held;
    }
  };
  return instance().start(command, reader, std::forward<Writer>(writer));
}

// The records of a range in order.
template <record_range Range>
[[nodiscard]] std::vector<std::string> sorted(Range&& records, const std::string& command = "-q") {
  std::vector<std::string> result;
  sort(command, std::forward<Range>(records), [&](std::string_view record) { result.emplace_back(record); });
  return result;
}

}  // namespace cpp
}  // namespace fsort

#endif
