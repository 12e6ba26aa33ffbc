/* fsort: an embeddable sort engine for text, fixed-length and variable-length records of any amount.
 *
 * A caller creates a sort instance, starts one sort on it with a sort command line, and destroys it:
 *
 *     fsort_handle h = FsortCreate(display, NULL);
 *     int32_t status = FsortStart(h, NULL, NULL, "<in.txt >out.txt -k -c 0-9");
 *     FsortDestroy(h);
 *
 * Conventions
 *  1. A handle is opaque. It is good for ONE full sort; create another for the next.
 *  2. Records are bytes and a length. They are handed over by address; each function says how long it stays
 * valid.
 *  3. Status: 0 success, 1 failure (the messages say why), any other value: the code given to FsortExit.
 *  4. Threads: all calls of all handles in the process are serialised by one lock, which FsortStart holds for
 * the whole sort, callbacks included. Another thread's call waits until that FsortStart returns, except the
 * record pipe (FsortSend, FsortRetrieve), which gives the lock back while it waits. The lock is re-entrant.
 *  5. Callbacks run on the thread that called FsortStart. Inside one, FsortRead, FsortWrite, FsortMessage and
 *     FsortExit may be called on the same handle, and anything on other handles. FsortStart on the running
 * handle answers 1, FsortDestroy on it does nothing.
 *  6. FsortExit does not return when called inside a running sort: it jumps over the frames between the
 * callback and FsortStart. The callback must hold no lock, no heap block that only it knows, and no C++
 * object with a destructor at that call. Exceptions must not leave a callback. To stop a sort without a jump,
 * return non-zero from a read or write callback.
 *  7. Null handles are harmless: FsortStart answers 1, FsortMessage "", the others do nothing.
 */
#ifndef FSORT_H
#define FSORT_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(FSORT_BUILD_SHARED)
#define FSORT_API __declspec(dllexport)
#elif defined(FSORT_STATIC)
#define FSORT_API
#else
#define FSORT_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define FSORT_API __attribute__((visibility("default")))
#else
#define FSORT_API
#endif

#define FSORT_VERSION_MAJOR 0
#define FSORT_VERSION_MINOR 1
#define FSORT_VERSION_PATCH 0
#define FSORT_VERSION_STRING "0.1.0"

/* Longest command line that FsortStart takes, in characters. */
#define FSORT_MAX_COMMAND 511
/* Longest record that a sort takes with the default key, in bytes; each key piece costs 2 bytes of it. */
#define FSORT_MAX_RECORD 65530

#ifdef __cplusplus
extern "C" {
#endif

typedef struct fsort_instance* fsort_handle;

/* Takes one piece of text: a message or statistics line with its line breaks. Valid during the call. */
typedef void (*fsort_display_fn)(const char* text);

/* Called between file records so that the caller can keep other work going. Result: how many further records
 * to pass before the next call; 0 means (nearly) never again. */
typedef uint32_t (*fsort_yield_fn)(void);

/* Supplies a record: stores its length and address and returns 0; length 0 = end of input. Non-zero ends the
 * sort with status 1. The bytes must stay valid until the next call. */
typedef int32_t (*fsort_read_fn)(uint64_t* length, const void** record);

/* Takes a sorted record, valid during the call, and returns 0. Non-zero ends the sort with status 1. It is
 * not called at the end: FsortStart's return is the end. */
typedef int32_t (*fsort_write_fn)(uint64_t length, const void* record);

/* As input or output of FsortStart: the record pipe of the handle. */
#define FSORT_PIPE_INPUT ((fsort_read_fn)(intptr_t)-1)
#define FSORT_PIPE_OUTPUT ((fsort_write_fn)(intptr_t)-1)

/* Creates an instance. Both callbacks may be null: without `display`, messages are collected in the instance
 * (FsortMessage). Result: the handle, or null when memory is short. Owned by the caller until FsortDestroy.
 */
FSORT_API fsort_handle FsortCreate(fsort_display_fn display, fsort_yield_fn yield);

/* Runs one sort.
 *   input    null: the file named in the command line; FSORT_PIPE_INPUT: records sent with FsortSend; else a
 * callback output   null: the file named in the command line; FSORT_PIPE_OUTPUT: drained with FsortRetrieve;
 * else a callback command  options, keys and files, at most FSORT_MAX_COMMAND characters; null is taken as ""
 * Result: 0, 1, or the code given to FsortExit. After 0 a named output file is complete and closed. */
FSORT_API int32_t FsortStart(fsort_handle handle, fsort_read_fn input, fsort_write_fn output,
                             const char* command);

/* Puts a record into the pipe, waiting while the previous one is in it; length 0 ends the input. The bytes
 * must stay valid until the NEXT FsortSend on the handle has returned (use two buffers in turn). After the
 * sort has ended the call returns at once and the record is dropped. */
FSORT_API void FsortSend(fsort_handle handle, uint64_t length, const void* record);

/* Takes the next record from the pipe, waiting until there is one; length 0 and null when the sort has ended.
 * The bytes are valid until the next FsortRetrieve on the handle. */
FSORT_API void FsortRetrieve(fsort_handle handle, uint64_t* length, const void** record);

/* Reads the next record of the input file named in the running command line, for callbacks that filter it.
 * Valid until the next FsortRead. Result: 0 (length 0 at the end), or 1 on an error or when no file was ever
 * named. */
FSORT_API int32_t FsortRead(fsort_handle handle, uint64_t* length, const void** record);

/* Writes a record to the output file named in the running command line, for callbacks that filter it; length
 * 0 closes it. Result: 0, or 1 on an error or when no file was ever named. */
FSORT_API int32_t FsortWrite(fsort_handle handle, uint64_t length, const void* record);

/* The messages collected since the last FsortStart began, at most 255 bytes; the address never changes while
 * the handle lives. Empty when a display callback takes the messages. */
FSORT_API const char* FsortMessage(fsort_handle handle);

/* Ends the running sort from inside one of its callbacks: FsortStart returns `code` (1 when `code` is 0).
 * Does not return (rule 6). The lock stays entered once too often on this thread, so other threads that call
 * into the library wait for ever: programs with several sorting threads end a sort by a callback's result
 * instead. Called while the sort waits for the pipe, from another thread, it returns and the sort ends;
 * called when no sort runs on the handle, it does nothing. */
FSORT_API void FsortExit(fsort_handle handle, int32_t code);

/* Releases everything the instance holds: memory, streams, files. */
FSORT_API void FsortDestroy(fsort_handle handle);

#ifdef __cplusplus
}
#endif

#endif /* FSORT_H */
