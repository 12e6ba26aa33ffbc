// The record pipe: a one-record mailbox between the sort and its caller.
//
// The record is passed by address. pipe_send waits while a record is in the pipe, pipe_retrieve while there
// is none; while they wait they give the entry lock back entirely and yield the processor or sleep, so that
// the peer, on another thread, can enter. When the sort that the pipe serves is over, a waiting or later
// FsortRetrieve gets length 0 and FsortSend returns at once.
//
// Output records live in record memory that is reused, so fsort_send hands out copies in two alternating
// buffers: a record stays valid until the next FsortRetrieve. Input: a sender's record must stay valid until
// its next FsortSend has returned.
//
// A record sent before the sort started would be lost when the sort empties the pipe; it is kept and comes
// first. Until the sort has taken it the pipe counts as full, so the sender's rule holds for it too.
#pragma once

#include <cstdint>

namespace fsort {

struct EntryFrame;
struct RecordPipe;

// Both return 0. Requires: the instance that owns the pipe is current.
int pipe_send(RecordPipe* pipe, std::uint64_t length, const std::uint8_t* record);
int pipe_retrieve(RecordPipe* pipe, std::uint64_t* length, const std::uint8_t** record);

// Write function for output -1 and read function for input -1. Raises (in the waiting sort):
// "Fsort aborted by caller" when another thread aborted meanwhile
std::int32_t fsort_send(std::uint64_t length, const std::uint8_t* record);
std::int32_t fsort_retrieve(std::uint64_t* length, const std::uint8_t** record);

// Empties the pipe for a starting sort. `served`: the sort has the pipe as its input or output, so the pipe
// lives again; a record that was sent before the start is then kept and handed to the sort first.
void pipe_start(bool served);
// The sort that the pipe served is over.
void pipe_end();
// Sends home every thread that waits on the pipe of the instance being destroyed; `frame` is the destroyer's.
void pipe_dismiss(const EntryFrame& frame);
// Frees the copies of output records.
void pipe_free();

}  // namespace fsort
