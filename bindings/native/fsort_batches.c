/* Sorting by batches. See fsort_batches.h.
 *
 * The callbacks of fsort.h get no pointer of the caller's, so the batches of a running sort are found through
 * a variable of its thread. A callback may start another sort: the variable is a stack of one, kept in the
 * frames of FsortBatchesSort.
 *
 * The batch that comes in is copied whole: the owner need not keep it alive, and a copy of 64 KB costs less
 * than telling a collector to leave memory where it is. A record is handed to the sort where it lies in the
 * batch; the batch is overwritten by the next refill, when the sort asks for the record behind its last one.
 *
 * With a file on one side and a function on the other the file is still read or written by FsortRead and
 * FsortWrite: only so there is a status of ours to end the sort by. */
#include "fsort_batches.h"

#include <stdlib.h>
#include <string.h>

/* Room for several of the longest records; small enough to stay in a processor's cache. */
#define OUT_BYTES ((uint64_t)1 << 18)
#define OUT_RECORDS ((uint64_t)1 << 13)

struct batch {
  uint8_t* bytes;
  uint32_t* lengths;
  uint64_t bytes_room;   /* in bytes */
  uint64_t lengths_room; /* in records */
  uint64_t size;         /* bytes in use: to be written to on the way out, already read on the way in */
  uint64_t count;        /* records in it */
};

struct session {
  fsort_handle handle;
  fsort_refill_fn refill;
  fsort_flush_fn flush;
  const volatile int32_t* stop;
  struct batch in;
  uint64_t in_next; /* index of the record that is read next */
  int in_ended;
  struct batch out;
};

static _Thread_local struct session* current = NULL;

static int stopped(const struct session* s) { return __atomic_load_n(s->stop, __ATOMIC_ACQUIRE) != 0; }

/* Makes room for so many bytes and records; what is in the batch is lost. Result: 0, or 1 without memory. */
static int32_t batch_room(struct batch* b, uint64_t bytes, uint64_t records) {
  if (bytes > b->bytes_room) {
    uint8_t* grown = malloc(bytes);
    if (grown == NULL) return 1;
    free(b->bytes);
    b->bytes = grown;
    b->bytes_room = bytes;
  }
  if (records > b->lengths_room) {
    uint32_t* grown = malloc(records * sizeof *grown);
    if (grown == NULL) return 1;
    free(b->lengths);
    b->lengths = grown;
    b->lengths_room = records;
  }
  return 0;
}

static void batch_free(struct batch* b) {
  free(b->bytes);
  free(b->lengths);
}

static int32_t read_batch(uint64_t* length, const void** record) {
  struct session* s = current;
  *length = 0;
  *record = NULL;
  if (stopped(s)) return 1;
  if (s->in_next == s->in.count) {
    int32_t status;
    if (s->in_ended) return 0;
    s->in.count = s->in.size = s->in_next = 0;
    status = s->refill();
    if (status != 0 || stopped(s)) return 1; /* an interpreter that is being shut down answers 0 to all */
    if (s->in.count == 0) {
      s->in_ended = 1;
      return 0;
    }
  }
  *length = s->in.lengths[s->in_next++];
  *record = s->in.bytes + s->in.size;
  s->in.size += *length;
  return 0;
}

static int32_t flush_batch(struct session* s) {
  int32_t status = 0;
  if (s->out.count != 0) status = s->flush(s->out.bytes, s->out.lengths, s->out.count);
  s->out.count = s->out.size = 0;
  return status;
}

static int32_t write_batch(uint64_t length, const void* record) {
  struct session* s = current;
  if (stopped(s)) return 1;
  if (length > s->out.bytes_room - s->out.size || s->out.count == s->out.lengths_room) {
    const int32_t status = flush_batch(s);
    if (status != 0) return status;
    if (length > s->out.bytes_room) return 1; /* longer than a record can be */
  }
  memcpy(s->out.bytes + s->out.size, record, length);
  s->out.size += length;
  s->out.lengths[s->out.count++] = (uint32_t)length;
  return 0;
}

static int32_t read_file(uint64_t* length, const void** record) {
  *length = 0;
  *record = NULL;
  return stopped(current) ? 1 : FsortRead(current->handle, length, record);
}

static int32_t write_file(uint64_t length, const void* record) {
  return stopped(current) ? 1 : FsortWrite(current->handle, length, record);
}

static int32_t run(struct session* s, const char* command) {
  int32_t status = FsortStart(s->handle, s->refill != NULL ? read_batch : read_file,
                              s->flush != NULL ? write_batch : write_file, command);
  if (status != 0) return status;
  /* The rest of the output; a file is complete when it is closed. */
  if (s->flush != NULL) return flush_batch(s) != 0 ? 1 : 0;
  return FsortWrite(s->handle, 0, NULL);
}

int32_t FsortBatchesSort(const char* command, fsort_display_fn display, fsort_refill_fn refill,
                         fsort_flush_fn flush, const volatile int32_t* stop) {
  struct session s;
  struct session* outer = current;
  int32_t status = FSORT_BATCHES_NO_MEMORY;
  memset(&s, 0, sizeof s);
  s.refill = refill;
  s.flush = flush;
  s.stop = stop;
  s.handle = FsortCreate(display, NULL);
  if (s.handle != NULL && (flush == NULL || batch_room(&s.out, OUT_BYTES, OUT_RECORDS) == 0)) {
    current = &s;
    status = run(&s, command);
    current = outer;
  }
  FsortDestroy(s.handle);
  batch_free(&s.in);
  batch_free(&s.out);
  return status;
}

int32_t FsortBatchesFeed(const void* bytes, const uint32_t* lengths, uint64_t count) {
  struct session* s = current;
  uint64_t size = 0;
  uint64_t i;
  if (s == NULL) return 1;
  for (i = 0; i < count; ++i) size += lengths[i];
  if (batch_room(&s->in, size, count) != 0) return 1;
  if (count != 0) {
    memcpy(s->in.bytes, bytes, size);
    memcpy(s->in.lengths, lengths, count * sizeof *lengths);
  }
  s->in.count = count;
  return 0;
}
