/* Sorting by batches: what the bindings of other languages share.
 *
 * A call from C into an interpreter costs about as much as sorting a short record, so a callback for every
 * record would be most of the work. Here records cross the border many at a time: a batch is their bytes,
 * one record behind the other, and an array of their lengths.
 *
 *     refill() --FsortBatchesFeed--> [ batch ] --> FsortStart --> [ batch ] --> flush(bytes, lengths, count)
 *
 * One call, FsortBatchesSort, makes an instance, runs one sort and releases it. Where there is no refill the
 * records come from the input files of the command line, where there is no flush they go to its output file.
 *
 * A sort is ended from outside by a flag: `stop` is looked at for every record on either side, so that a sort
 * of files can be stopped, too. What ends it then, or after a refill or flush that does not answer 0, is a
 * status of the read or write function. Nothing jumps, so the callbacks may be those of any language.
 *
 * The callbacks run on the thread of the call. The lock of fsort.h (rule 5) is held in them: whoever wants to
 * wait for another thread there waits in FsortRetrieve on a handle of its own, a mailbox without a sort,
 * which gives the lock back meanwhile. */
#ifndef FSORT_BATCHES_H
#define FSORT_BATCHES_H

#include <stdint.h>

#include "fsort.h"

#if defined(_WIN32)
#define FSORT_BATCHES_API __declspec(dllexport)
#else
#define FSORT_BATCHES_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* FsortBatchesSort: there was no memory to begin with. */
#define FSORT_BATCHES_NO_MEMORY (-1)

/* Is to call FsortBatchesFeed once; without that the input ends.
 * Result: 0; any other value ends the sort. */
typedef int32_t (*fsort_refill_fn)(void);

/* Takes `count` sorted records, whose bytes lie behind each other; all of it is valid during the call.
 * Result: 0; any other value ends the sort. */
typedef int32_t (*fsort_flush_fn)(const void* bytes, const uint32_t* lengths, uint64_t count);

/* Runs one sort, and returns when it is over.
 *   command   as for FsortStart
 *   display   takes the messages; not null
 *   refill    null: the input file of the command line
 *   flush     null: the output file of the command line
 *   stop      ends the sort when it is not 0; may be set by any thread; must live as long as the call
 * Result: that of FsortStart, or FSORT_BATCHES_NO_MEMORY. */
FSORT_BATCHES_API int32_t FsortBatchesSort(const char* command, fsort_display_fn display,
                                           fsort_refill_fn refill, fsort_flush_fn flush,
                                           const volatile int32_t* stop);

/* Inside refill: the next records of the sort that runs on this thread. They are copied. No length may be 0;
 * a count of 0 is the end of the input.
 * Result: 0; 1 when memory is short or no sort runs. */
FSORT_BATCHES_API int32_t FsortBatchesFeed(const void* bytes, const uint32_t* lengths, uint64_t count);

#ifdef __cplusplus
}
#endif

#endif /* FSORT_BATCHES_H */
