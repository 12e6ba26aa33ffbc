/* Threads: the record pipe in both directions, an abort from another thread, four instances at once. */
#include "check.h"
#include "threads.h"

enum { records = 1000, threads = 4, width = 7 };

static fsort_handle handle;
static char drained[records * width + 1];
static int in_order;

static void key(int i, char* text) { sprintf(text, "%06d", (i * 7919) % 100003); }

static void produce(void* unused) {
  char buffers[2][16]; /* in turn: one is the pipe's until the next send has returned */
  int i;
  for (i = 0; i < records; ++i) {
    memset(buffers[i % 2], '#', sizeof buffers[0]);
    key(i, buffers[i % 2]);
    FsortSend(handle, 6, buffers[i % 2]);
  }
  FsortSend(handle, 0, NULL);
  (void)unused;
}

static void consume(void* unused) {
  uint64_t length;
  const void* record;
  char last[8] = "";
  int count = 0;
  in_order = 1;
  for (;;) {
    FsortRetrieve(handle, &length, &record);
    if (length == 0) break;
    if (length != 6 || memcmp(last, record, 6) > 0) in_order = 0;
    memcpy(last, record, 6);
    ++count;
  }
  if (count != records) in_order = 0;
  (void)unused;
}

static int given;
static int32_t give_key(uint64_t* length, const void** record) {
  static char text[16];
  *length = given < records ? 6 : 0;
  *record = text;
  key(given++, text);
  return 0;
}

static int32_t take_key(uint64_t length, const void* record) {
  strncat(drained, (const char*)record, (size_t)length);
  return 0;
}

static int is_sorted(const char* keys) {
  size_t i;
  for (i = 6; keys[i] != '\0'; i += 6) {
    if (memcmp(keys + i - 6, keys + i, 6) > 0) return 0;
  }
  return i == (size_t)records * 6;
}

static void abort_it(void* unused) {
  FsortSend(handle, 1, "a"); /* returns when the pipe has it: the sort runs or is about to */
  FsortSend(handle, 1, "b"); /* returns when the sort has taken "a" */
  FsortExit(handle, 7);
  (void)unused;
}

static int32_t statuses[threads];
static void sort_a_file(void* number) {
  char command[64];
  const int n = *(int*)number;
  fsort_handle own = FsortCreate(NULL, NULL);
  sprintf(command, "<in%d >out%d -q", n, n);
  statuses[n] = FsortStart(own, NULL, NULL, command);
  FsortDestroy(own);
}

int main(void) {
  struct test_thread thread;
  struct test_thread many[threads];
  int numbers[threads];
  int i;

  handle = FsortCreate(NULL, NULL);
  thread_start(&thread, produce, NULL);
  CHECK(FsortStart(handle, FSORT_PIPE_INPUT, take_key, "-q") == 0);
  thread_join(&thread);
  CHECK(is_sorted(drained));
  FsortDestroy(handle);

  handle = FsortCreate(NULL, NULL);
  thread_start(&thread, consume, NULL);
  CHECK(FsortStart(handle, give_key, FSORT_PIPE_OUTPUT, "-q") == 0);
  thread_join(&thread);
  CHECK(in_order);
  FsortDestroy(handle);

  handle = FsortCreate(NULL, NULL);
  thread_start(&thread, abort_it, NULL);
  CHECK(FsortStart(handle, FSORT_PIPE_INPUT, take_key, "-q") == 7);
  thread_join(&thread);
  CHECK(strcmp(FsortMessage(handle), "Fsort aborted by caller\nError detected in fsort call\n") == 0);
  FsortDestroy(handle);

  for (i = 0; i < threads; ++i) {
    char name[16];
    numbers[i] = i;
    sprintf(name, "in%d", i);
    write_file(name, "d\nb\nc\na\n");
    thread_start(&many[i], sort_a_file, &numbers[i]);
  }
  for (i = 0; i < threads; ++i) {
    char name[16];
    thread_join(&many[i]);
    sprintf(name, "out%d", i);
    CHECK(statuses[i] == 0);
    CHECK(file_holds(name, "a\nb\nc\nd\n"));
  }
  return finish();
}
