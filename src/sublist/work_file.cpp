// Opening, closing and deleting the work file of an array; see work_file.h.
#include "sublist/work_file.h"

#include "platform/os.h"
#include "stream/stream.h"
#include "sublist/sio.h"
#include "sublist/sublist_access.h"
#include "sublist/work_name.h"

namespace fsort {

namespace {

constexpr char kCreateMode[] = "wbtuax";  // x: never over an existing file
constexpr char kAppendMode[] = "abua";
constexpr char kReadMode[] = "rbrua";

// Takes an open file from its array: afterwards the array is closed and the module has its buffers again.
// What is left is to close the stream.
Stream* take_file(SublistState& s, SublistArray* array) {
  const bool input = array->file_state == kFileInput;
  Stream* file = array->file;
  if (BufferChain buffers = fdetachbuf(file); buffers != nullptr) {
    (input ? s.input_buffer : s.output_buffer) = buffers;
  }
  (input ? s.open_input : s.open_output) = nullptr;
  array->file = nullptr;
  array->file_state = kFileClosed;
  return file;
}

// Creates the array's file under the next number whose name is free.
Stream* create_file(SublistState& s, SublistArray* array) {
  Stream* file = nullptr;
  while (file == nullptr) {
    ++s.file_counter;
    file = sio_create(mk_name(s, s.file_counter), kCreateMode);
  }
  array->file_number = s.file_counter;
  array->file_exists = 1;
  return file;
}

// Claims the space for everything that is in memory now. Only a hint to the file system: a claim that fails
// shows when the data itself is written.
void claim_space(const SublistArray* array, Stream* file) {
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < array->count; ++i) bytes += array->bins()[i].mem_bytes;
  static_cast<void>(fseteof(file, file->pos + bytes));
}

}  // namespace

void work_file_for_output(SublistArray* array) {
  SublistState& s = sublist_st();
  if (array->file_state == kFileOutput) return;
  work_file_close(array);
  if (s.open_output != nullptr) work_file_close(s.open_output);
  Stream* file =
      array->file_exists != 0 ? sio_open(mk_name(s, array->file_number), kAppendMode) : create_file(s, array);
  array->file = file;
  array->file_state = kFileOutput;
  s.open_output = array;
  claim_space(array, file);
  fattachbuf(file, s.output_buffer);
  s.output_buffer = nullptr;
}

void work_file_for_input(SublistArray* array) {
  SublistState& s = sublist_st();
  if (array->file_state == kFileInput) return;
  work_file_close(array);
  if (s.open_input != nullptr) work_file_close(s.open_input);
  array->file = sio_open(mk_name(s, array->file_number), kReadMode);
  array->file_state = kFileInput;
  s.open_input = array;
  fattachbuf(array->file, s.input_buffer);
  s.input_buffer = nullptr;
}

void work_file_close(SublistArray* array) {
  if (array->file_state == kFileClosed) return;
  const bool output = array->file_state == kFileOutput;
  Stream* file = take_file(sublist_st(), array);
  if (output) sio_check_written(file);
  sio_close(file);
}

void work_file_drop(SublistState& s, SublistArray* array) {
  if (array->file_state != kFileClosed) static_cast<void>(fstdio_fclose(take_file(s, array)));
}

void sublist_array_delete(SublistArray* array) {
  if (array->file_exists == 0) return;
  SublistState& s = sublist_st();
  work_file_drop(s, array);
  static_cast<void>(os->delete_file(mk_name(s, array->file_number)));
  array->file_exists = 0;
}

}  // namespace fsort
