// The English texts of the Windows error codes that can come up.
//
// Messages of the engine end in the system's text of the failure. A POSIX system has other numbers and other
// texts, so the texts that Windows shows for its codes stand here, and a message reads the same on every
// system. A code that is not in the table has no text, as an unknown code has none on Windows.
#include <cstring>

#include "platform/posix/posix_internal.h"

namespace fsort::posix {

namespace {

struct SystemMessage {
  std::uint32_t code;
  const char* text;
};

constexpr SystemMessage kSystemMessages[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough storage is available to process this command."},
    {14, "Not enough storage is available to complete this operation."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {23, "Data error (cyclic redundancy check)."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {38, "Reached the end of the file."},
    {39, "The disk is full."},
    {50, "The request is not supported."},
    {80, "The file exists."},
    {87, "The parameter is incorrect."},
    {109, "The pipe has been ended."},
    {110, "The system cannot open the device or file specified."},
    {112, "There is not enough space on the disk."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {183, "Cannot create a file when that file already exists."},
    {206, "The filename or extension is too long."},
    {232, "The pipe is being closed."},
    {233, "No process is on the other end of the pipe."},
    {234, "More data is available."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {997, "Overlapped I/O operation is in progress."},
    {998, "Invalid access to memory location."},
    {1117, "The request could not be performed because of an I/O device error."},
};

// Codes that FormatMessageA itself fails with.
constexpr std::uint32_t kErrorInsufficientBuffer = 122;
constexpr std::uint32_t kErrorMessageNotFound = 317;

constexpr char kLineEnd[] = "\r\n";

}  // namespace

std::uint32_t format_message(std::uint32_t, const void*, std::uint32_t code, std::uint32_t, char* text,
                             std::uint32_t size, void*) {
  for (const SystemMessage& message : kSystemMessages) {
    if (message.code != code) continue;
    const std::size_t length = std::strlen(message.text);
    if (length + sizeof kLineEnd > size) {
      set_last_error(kErrorInsufficientBuffer);
      return 0;
    }
    std::memcpy(text, message.text, length);
    std::memcpy(text + length, kLineEnd, sizeof kLineEnd);
    return static_cast<std::uint32_t>(length + sizeof kLineEnd - 1);
  }
  set_last_error(kErrorMessageNotFound);
  return 0;
}

}  // namespace fsort::posix
