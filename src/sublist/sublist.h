// Sublists: the bins of one distribution level, with their records in memory and their runs on a work file.
//
// Each array owns at most one work file, in which its bins are written as runs when memory runs short
// (work_file.h, run_write.cpp) and from which they are read back one by one, with read-ahead of those that
// follow (run_read.cpp).
//
//   environment                       one bin (64 bytes)
//   +--------------------+            +-------------------------------------------+
//   | parent, plan       |            | child  head  run_pos  mem_count file_count|
//   | SublistArray header|            | file_bytes  mem_bytes  run_len            |
//   | Sublist 0          |            | key  position  order                      |
//   | Sublist 1 ...      |            +-------------------------------------------+
//   +--------------------+
#pragma once

#include <cstdint>

namespace fsort {

struct Instance;
struct Environment;
struct Stream;
struct IoBuffer;

inline constexpr std::uint64_t kNoRun = ~std::uint64_t{0};

struct Sublist {
  Environment* child;        // level made from this bin, or null
  std::uint8_t* head;        // first record in memory (record_links.h)
  std::uint64_t run_pos;     // file position of the newest run; kNoRun when there is none
  std::uint32_t mem_count;   // records in memory
  std::uint32_t file_count;  // records on the work file
  std::uint64_t file_bytes;  // their charges (length + 9)
  std::uint64_t mem_bytes;   // charges of the records in memory
  std::uint32_t run_len;     // length of the newest run; after its header is read, of the run it links to
  std::uint16_t key;         // where the bin's records must next be told apart: key index ...
  std::uint16_t position;    // ... and byte position (two's complement for keys walked backwards)
  std::uint16_t order;       // output order of the array, see engine/order.h
  std::uint16_t padding[3];
};
static_assert(sizeof(Sublist) == 64);

// Header of an array; the bins follow it directly.
struct SublistArray {
  Stream* file;
  std::uint32_t file_state;  // 0 closed, 1 open for input, 2 open for output
  std::uint8_t file_exists;
  std::uint8_t half_flipped;  // the bin now processed runs with its governed keys flipped
  std::uint8_t padding[2];
  std::uint32_t file_number;
  std::uint16_t count;        // bins
  std::uint16_t lower_count;  // bins of the lower half that survived compaction
  std::uint32_t order_state;  // 0 not computed, 1 in order, 2 permuted, 3 rearranged
  std::uint16_t kept_count;   // bins that survived compaction
  std::uint16_t padding2;

  [[nodiscard]] Sublist* bins() { return reinterpret_cast<Sublist*>(this + 1); }
  [[nodiscard]] const Sublist* bins() const { return reinterpret_cast<const Sublist*>(this + 1); }
};
static_assert(sizeof(SublistArray) == 32);

inline constexpr std::uint16_t kDefaultBlockKb = 60;
inline constexpr std::uint16_t kMinBlockKb = 2;
inline constexpr std::uint16_t kMaxBlockKb = 1024;
// Longest work-file directory from -w and from the environment, counted with the 8 characters that follow it.
inline constexpr std::size_t kOptionDirectoryLimit = 139;
inline constexpr std::size_t kEnvironmentDirectoryLimit = 134;

struct SublistState {
  char path[160];              // directory, "wk", instance digits, ".000"
  std::uint16_t number_at;     // index of the "." in path
  std::uint32_t file_counter;  // last number given
  std::uint16_t read_block_kb;
  std::uint16_t write_block_kb;
  IoBuffer* input_buffer;
  IoBuffer* output_buffer;
  SublistArray* open_input;  // array whose file is open for input
  SublistArray* open_output;
  Sublist* reading;  // bin being read
  SublistArray* reading_array;
  std::uint16_t reading_bin;
  std::uint16_t preload_boundary;
  std::uint8_t preload_done;
  Sublist* delinked;  // bin being delinked
  std::uint16_t longest_written;
  Sublist empty;  // template of a new bin
};

// Takes -w, -wb and -rb, registers sublist_windup, calls rec_init, makes the two block buffers. Gives back
// first what an earlier start of this instance left. Raises: "Temporary directory name too long", "Name of
// directory too long. Check environment variables",
// "-wb switch must specify block size in K", "-rb switch must specify block size in K",
// "Couldn't register sublist_windup", "Couldn't get memory for workfile input buffer",
// "Couldn't get memory for workfile output buffer", and those of rec_init
void sublist_init(std::int32_t argc, const char** argv);
void sublist_windup(Instance* instance);
// Work directory and block sizes, to look at.
[[nodiscard]] const SublistState& sublist_state();

// The empty bin: everything 0 but run_pos.
[[nodiscard]] const Sublist& sublist_empty();
// Clears the header, sets the count and every bin's order to its index.
void sublist_array_init(std::uint16_t count, SublistArray* array);
// Deletes the array's work file; nothing when there is none.
void sublist_array_delete(SublistArray* array);
// After the array has moved in memory: points the pointers of this module that named its old place at it.
void sublist_array_ufptr(SublistArray* array);
// Lowest bin that may be read ahead together with the one being read.
void sublist_array_preload(std::uint16_t boundary);
void sublist_clear_preload_done();
[[nodiscard]] bool sublist_preload_done();
[[nodiscard]] std::uint16_t sublist_longest_written();

// Writes the bin's records allocated in data-stack frame `frame` or later as one run; older ones stay in
// memory. Raises: those of opening, writing and closing a work file (sio.h)
void sublist_write(std::uint32_t frame, SublistArray* array, std::uint16_t bin);
// Unhooks the first record of the bin's memory list; null when it is empty.
[[nodiscard]] std::uint8_t* sublist_take_first(Sublist* bin);
// Makes the bin the one being read, its work file open and positioned. Raises: as sublist_write
void sublist_input_init(SublistArray* array, std::uint16_t bin);
// Its next record: from the front of its list, then from its runs, newest first; null when it has none.
// Raises: those of reading a work file (sio.h) and of fsort_alloc
[[nodiscard]] std::uint8_t* sublist_input();
// Makes the bin the one being delinked; the frame is kept for the caller.
void sublist_delink_init(SublistArray* array, std::uint16_t bin, std::uint32_t frame);
// The next record of its memory list; null when the list is empty.
[[nodiscard]] std::uint8_t* sublist_delink();

}  // namespace fsort
