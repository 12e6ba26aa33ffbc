/* fsort: an embeddable sort engine for text, fixed-length and variable-length records.
 *
 * A caller creates a sort instance, starts one sort on it with a sort command line, and destroys it:
 *
 *     fsort_handle handle = FsortCreate(NULL, NULL);
 *     int32_t status = FsortStart(handle, NULL, NULL, "<in.txt >out.txt -k -c 0-9");
 *     if (status != 0) fputs(FsortMessage(handle), stderr);
 *     FsortDestroy(handle);
 *
 * Records come from the files that the command line names, from a read function of the caller, or from the
 * record pipe; sorted records go to a file, to a write function, or to the pipe. Input and output are chosen
 * independently of each other.
 *
 * Conventions
 *
 *  1. Handles. A handle is opaque and good for ONE full sort; create another for the next. After a start that
 *     failed early (a fault in the command line, a missing file) the same handle may be tried again a few
 *     times; when it has had enough, FsortStart answers 1 with a message that begins "Couldn't register".
 *     Null handles are harmless: FsortStart, FsortRead and FsortWrite answer 1, FsortMessage "", the others
 *     do nothing.
 *
 *  2. Records are a length and an address. They are handed over by address; each function says how long the
 *     bytes stay valid. They need not end in a NUL, and a line keeps its line break.
 *
 *  3. Statuses. 0 success; 1 failure, and the messages say why; any other value is the code that was given to
 *     FsortExit.
 *
 *  4. Messages. All text goes to the display callback, or without one into a buffer that FsortMessage shows.
 *     A failure gives the text of the error first and then the step in which it was detected, each with its
 *     line break. A good sort says how long it took, unless the command line has "-q".
 *
 *  5. Threads. One lock serialises all calls of all handles in the process. FsortStart holds it for the whole
 *     sort, callbacks included, so another thread's call waits until that FsortStart returns. The exception
 *     is the record pipe: whoever waits in it gives the lock back meanwhile. The lock is re-entrant.
 *
 *  6. Callbacks run on the thread that called FsortStart. Inside one, FsortRead, FsortWrite, FsortMessage and
 *     FsortExit may be called on the same handle, and every function on other handles, FsortStart included.
 *     On the handle whose sort is running FsortStart answers 1 and FsortDestroy does nothing.
 *
 *  7. FsortExit inside a callback does not return: it jumps over the frames between the callback and
 *     FsortStart. At that call the callback must hold no lock, no heap block or file that only it knows, and
 *     no C++ object with a destructor. Exceptions and jumps of the caller's own must not leave a callback. A
 *     gentler way to end a sort is a status other than 0 from a read or write function.
 *
 *  8. The reader and the writer of files belong to the process, not to a handle: FsortRead and FsortWrite,
 *     and the file side of a sort with a yield callback, use those of the latest FsortStart that named a
 *     file. So a callback of such a sort should not start another sort with a different type of records.
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

/* Longest command line that FsortStart takes, in characters. Longer descriptions go into a file that the
 * command line includes: "-#include file". */
#define FSORT_MAX_COMMAND 511

/* Longest record that a sort takes with the default key, in bytes; every key offset a command line asks for
 * in addition costs two bytes of it. */
#define FSORT_MAX_RECORD 65530

/* What FsortMessage shows at most, in characters; the rest is cut. */
#define FSORT_MAX_MESSAGE 256

#ifdef __cplusplus
extern "C" {
#endif

/* One sort instance. Owned by the caller from FsortCreate to FsortDestroy. */
typedef struct fsort_instance* fsort_handle;

/* --- callbacks --- */

/* Takes one piece of text: a message or statistics line with its line break. Valid during the call. */
typedef void (*fsort_display_fn)(const char* text);

/* Called before a record is read from or written to a file, the end of the input included, so that the caller
 * can keep other work going.
 * Result: at how many further such points to call again: 1 at the next one; 0 practically never again. */
typedef uint32_t (*fsort_yield_fn)(void);

/* Supplies a record: stores its length and address. Length 0 is the end of the input. The bytes must stay
 * valid until the function is called again or the sort ends.
 * Result: 0; any other value ends the sort with status 1, and what was stored is ignored. */
typedef int32_t (*fsort_read_fn)(uint64_t* length, const void** record);

/* Takes a sorted record; its bytes are valid during the call. There is no call for the end of the output: it
 * has come when FsortStart returns.
 * Result: 0; any other value ends the sort with status 1. */
typedef int32_t (*fsort_write_fn)(uint64_t length, const void* record);

/* As input or output of FsortStart: the record pipe of the handle. */
#ifdef __cplusplus
#define FSORT_PIPE_INPUT (reinterpret_cast<fsort_read_fn>(static_cast<intptr_t>(-1)))
#define FSORT_PIPE_OUTPUT (reinterpret_cast<fsort_write_fn>(static_cast<intptr_t>(-1)))
#else
#define FSORT_PIPE_INPUT ((fsort_read_fn)(intptr_t)-1)
#define FSORT_PIPE_OUTPUT ((fsort_write_fn)(intptr_t)-1)
#endif

/* --- one sort --- */

/* Creates an instance. Both callbacks may be null: without `display`, texts are collected in the instance;
 * without `yield`, nothing is called between records.
 * Result: the handle, or null when memory is short. */
FSORT_API fsort_handle FsortCreate(fsort_display_fn display, fsort_yield_fn yield);

/* Runs one sort, and returns when it is over.
 *
 *   input     null: the input file that the command line names ("<name", "-in name ...");
 *             FSORT_PIPE_INPUT: the records that FsortSend sends;
 *             else: a read function.
 *   output    null: the output file that the command line names (">name", "-out name");
 *             FSORT_PIPE_OUTPUT: the records are there for FsortRetrieve;
 *             else: a write function.
 *   command   options, keys and file names, at most FSORT_MAX_COMMAND characters; null counts as "".
 *
 * Result: 0, 1, or the code given to FsortExit.
 *
 *  - After 0 a named output file is complete and closed. After a failure it may hold a part of the records;
 *    it is closed by FsortDestroy.
 *  - An output file is opened when the first record is written: with no record to write it is left as it was.
 *  - A file may be named even if a function supplies or takes the records: FsortRead and FsortWrite reach it.
 *  - The messages of an earlier start on the handle are forgotten on entry. */
FSORT_API int32_t FsortStart(fsort_handle handle, fsort_read_fn input, fsort_write_fn output,
                             const char* command);

/* The texts collected since the last FsortStart began, when the handle has no display callback; otherwise "".
 * Result: a text of at most FSORT_MAX_MESSAGE characters; never null. The address stays the same for the life
 * of the handle, the content changes with the next message. May be called inside a callback. */
FSORT_API const char* FsortMessage(fsort_handle handle);

/* Releases everything that the instance holds: memory, streams, files that a failed sort left open. A message
 * may still be displayed. Threads that wait on the handle's pipe are sent home first, as at the end of a
 * sort. No function may be called on the handle any more, and none may be about to be: join the threads that
 * use it first. Does nothing inside a callback of the handle's own sort. */
FSORT_API void FsortDestroy(fsort_handle handle);

/* Ends the running sort from inside one of its callbacks: FsortStart returns `code`, or 1 when `code` is 0.
 *
 *  - Inside a callback it does not return; rule 7 says what that asks of the callback.
 *  - Inside a display callback that shows an error of an FsortRead or FsortWrite which another callback
 *    called, it ends that call, whose result is then 1. The sort goes on; its status will be `code`.
 *  - It never gives back the lock that it took. The thread can go on using the library, but calls on OTHER
 *    threads wait for ever from then on. Programs that sort on several threads end a sort by the status of a
 *    read or write function instead.
 *  - On another thread it waits like every call. If it gets in because the sort waits on its pipe, it
 *    returns, leaving no lock behind, and the sort ends with `code`.
 *  - When no sort runs on the handle it returns and has no effect. */
FSORT_API void FsortExit(fsort_handle handle, int32_t code);

/* --- the files of the command line, from inside callbacks --- */

/* Reads the next record of the input file that the command line names, for read functions that filter or
 * change records on their way. The bytes are valid until the next FsortRead.
 * Result: 0, with length 0 and a null record at the end; 1 with length 0 after an error, which has been
 * displayed, and when no start in this process ever named an input file. */
FSORT_API int32_t FsortRead(fsort_handle handle, uint64_t* length, const void** record);

/* Writes a record to the output file that the command line names, for write functions that filter or change
 * records on their way. Length 0 closes the file; a record that comes after that is appended to it.
 * Result: 0; 1 after an error, which has been displayed, and when no start in this process ever named an
 * output file. */
FSORT_API int32_t FsortWrite(fsort_handle handle, uint64_t length, const void* record);

/* --- the record pipe --- */

/* The pipe is a mailbox for one record. It connects a sort with another thread: one thread is inside
 * FsortStart, the other sends or retrieves. With both input and output on the pipe, retrieve only when a
 * second FsortSend has returned: before the sort has taken a record, nothing tells the two directions apart.
 *
 * Puts a record into the pipe, waiting while the previous one is still in it; length 0 ends the input. May be
 * called before FsortStart has begun. The bytes must stay valid until the NEXT FsortSend on the handle has
 * returned, so a sender uses two buffers in turn. When the sort has ended the call returns at once and the
 * record is dropped. */
FSORT_API void FsortSend(fsort_handle handle, uint64_t length, const void* record);

/* Takes the next record out of the pipe, waiting until there is one. The bytes are valid until the next
 * FsortRetrieve on the handle. Length 0 and a null record say that the sort has ended, well or not; only
 * FsortStart's result tells which. May be called before FsortStart has begun. */
FSORT_API void FsortRetrieve(fsort_handle handle, uint64_t* length, const void** record);

#ifdef __cplusplus
}
#endif

#endif /* FSORT_H */
