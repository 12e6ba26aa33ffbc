// Writing a long file past the system's page cache, in large blocks and behind the caller.
//
// A write through the page cache takes a fresh page for every 4 KB, clears or copies it, and leaves it to be
// written later; for output of a gigabyte that costs more processor time than sorting it. A direct writer
// collects sequential writes in large aligned blocks and hands these to the device, several at a time, while
// the caller goes on.
//
// What a caller sees stays the same but for one thing: a failure may show at a later write, or when the
// writer is finished. Until then the file is shorter than what was written to it; whoever needs its length or
// content finishes the writer first.
//
// The cache is the better place for some files, so nobody gets a writer before a few megabytes were written
// in sequence (files_posix.cpp), and a writer retires by itself, for the rest of the file, when the device
// turns out to be slow: the cache would take the data and let the program go on.
#pragma once

#include <cstdint>

namespace fsort::posix {

struct DirectWriter;

// A writer for `fd` that goes on at `offset`; null when the file system writes only through its cache, the
// offset does not lie on a block border, or there is no memory.
[[nodiscard]] DirectWriter* direct_open(int fd, std::uint64_t offset);
// Takes the bytes. False with errno set when they, or bytes taken before, could not be written; the writer is
// then of no more use and is to be finished.
bool direct_put(DirectWriter* writer, const void* data, std::uint32_t count);
// The offset behind everything taken.
[[nodiscard]] std::uint64_t direct_end(const DirectWriter* writer);
// True when the rest of the file is better written through the cache.
[[nodiscard]] bool direct_retired(const DirectWriter* writer);
// Writes what is left, waits for everything and frees the writer. False with errno set when bytes taken
// could not be written and direct_put has not said so before.
bool direct_finish(DirectWriter* writer);

}  // namespace fsort::posix
