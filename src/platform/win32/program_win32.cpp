// The start of a program on Windows, its console, and being told of its end: see program.h.
//
// The system calls the handler of console events on a thread of its own. When it says that it has not handled
// the event the system ends the process, with the status that a process ended by Ctrl-C has. Ticks come from
// a second thread. The system ends a process some seconds after its console was closed, handler or not.
//
// The wide arguments are the C runtime's (__wgetmainargs), split by the same rules as those of main;
// wildcards are left as they are, since a name in a sort command line may well hold a star.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdlib>

#include "platform/program.h"
#include "platform/win32/win32_internal.h"

// The runtime's own declaration of this differs between its versions.
extern "C" int __cdecl __wgetmainargs(int* argc, wchar_t*** argv, wchar_t*** environment, int wildcards,
                                      int* start_info);

namespace fsort {

namespace {

// The text in UTF-8; null when there is no memory for it.
char* utf8_copy(const wchar_t* wide) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  auto* text = static_cast<char*>(std::malloc(static_cast<std::size_t>(size) + 1));
  if (text == nullptr) return nullptr;
  text[0] = 0;
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, size, nullptr, nullptr);
  return text;
}

constinit ProgramWatch watch{};

BOOL WINAPI on_console_event(DWORD /*event*/) {
  watch.on_end();
  return FALSE;
}

DWORD WINAPI send_ticks(void* /*none*/) {
  for (;;) {
    Sleep(watch.tick);
    watch.on_progress(ProgramEvent::tick);
  }
  return 0;
}

}  // namespace

ProgramArguments program_begin(int argc, char** argv) {
  constexpr int kStandardStreams = 3;
  for (int stream = 0; stream < kStandardStreams; ++stream) _setmode(stream, _O_BINARY);
  win32::use_utf8_texts();
  int count = 0;
  wchar_t** wide = nullptr;
  wchar_t** environment = nullptr;
  int start_info = 0;
  if (__wgetmainargs(&count, &wide, &environment, 0, &start_info) != 0 || count < 0) return {argc, argv};
  auto** values = static_cast<char**>(std::calloc(static_cast<std::size_t>(count) + 1, sizeof(char*)));
  if (values == nullptr) return {argc, argv};
  for (int i = 0; i < count; ++i) {
    values[i] = utf8_copy(wide[i]);
    if (values[i] == nullptr) return {argc, argv};
  }
  return {count, values};
}

bool program_is_terminal(std::int32_t which) {
  const HANDLE handle = GetStdHandle(static_cast<DWORD>(which));
  DWORD mode = 0;
  return handle != nullptr && handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode) != 0;
}

std::uint32_t program_columns() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) == 0) return 0;
  return static_cast<std::uint32_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::int64_t program_milliseconds() { return static_cast<std::int64_t>(GetTickCount64()); }

bool program_watch(const ProgramWatch& wanted) {
  watch = wanted;
  if (SetConsoleCtrlHandler(on_console_event, TRUE) == 0) return false;
  if (watch.tick == 0) return true;
  const HANDLE thread = CreateThread(nullptr, 0, send_ticks, nullptr, 0, nullptr);
  if (thread != nullptr) CloseHandle(thread);
  return thread != nullptr;
}

}  // namespace fsort
