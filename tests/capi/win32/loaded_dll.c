/* The library as a program on Windows loads it while it runs: LoadLibrary, GetProcAddress of the nine
 * exports, sorts of every kind, FreeLibrary, and all of it again with the library loaded anew. */
#include "check.h"
#include "threads.h"

enum { records = 500, rounds = 3 };

typedef fsort_handle (*create_fn)(fsort_display_fn, fsort_yield_fn);
typedef int32_t (*start_fn)(fsort_handle, fsort_read_fn, fsort_write_fn, const char*);
typedef void (*destroy_fn)(fsort_handle);
typedef void (*exit_fn)(fsort_handle, int32_t);
typedef void (*send_fn)(fsort_handle, uint64_t, const void*);
typedef int32_t (*write_fn)(fsort_handle, uint64_t, const void*);
typedef void (*retrieve_fn)(fsort_handle, uint64_t*, const void**);
typedef int32_t (*read_fn)(fsort_handle, uint64_t*, const void**);
typedef const char* (*message_fn)(fsort_handle);

static create_fn create;
static start_fn start;
static destroy_fn destroy;
static exit_fn leave;
static send_fn send_record;
static write_fn write_record;
static retrieve_fn retrieve_record;
static read_fn read_record;
static message_fn message;

static fsort_handle handle;
static fsort_handle inner;
static char drained[records * 6 + 1];
static int given;

/* The address of an export. An address of a function is none of data in C: it is copied. */
static void find(HMODULE library, const char* name, void* function) {
  FARPROC address = GetProcAddress(library, name);
  CHECK(address != NULL);
  memcpy(function, &address, sizeof address);
}

static HMODULE load(void) {
  HMODULE library = LoadLibraryA("fsort.dll");
  CHECK(library != NULL);
  if (library == NULL) exit(2);
  find(library, "FsortCreate", &create);
  find(library, "FsortStart", &start);
  find(library, "FsortDestroy", &destroy);
  find(library, "FsortExit", &leave);
  find(library, "FsortSend", &send_record);
  find(library, "FsortWrite", &write_record);
  find(library, "FsortRetrieve", &retrieve_record);
  find(library, "FsortRead", &read_record);
  find(library, "FsortMessage", &message);
  CHECK(GetProcAddress(library, "FsortRetrieveVB") == NULL);
  CHECK(GetProcAddress(library, "DllEntryPoint") == NULL);
  return library;
}

static uint32_t yields;
static uint32_t count_yield(void) {
  ++yields;
  return 1;
}

static int32_t read_on(uint64_t* length, const void** record) { return read_record(handle, length, record); }
static int32_t write_on(uint64_t length, const void* record) { return write_record(handle, length, record); }

static void sort_files(void) {
  write_file("in", "b\nc\na\n");
  begin();
  yields = 0;
  handle = create(show, count_yield);
  CHECK(start(handle, NULL, NULL, "<in >out -q") == 0);
  CHECK(yields > 0);
  destroy(handle);
  CHECK(file_holds("out", "a\nb\nc\n"));
  handle = create(show, NULL);
  CHECK(start(handle, read_on, write_on, "<in >out -q -i") == 0);
  CHECK(write_record(handle, 0, NULL) == 0);
  CHECK(strcmp(shown, "") == 0);
  destroy(handle);
  CHECK(file_holds("out", "c\nb\na\n"));
}

static void keep_messages(void) {
  handle = create(NULL, NULL);
  CHECK(strcmp(message(handle), "") == 0);
  CHECK(start(handle, NULL, NULL, "<in >out zz") == 1);
  CHECK(strcmp(message(handle), "zz is an invalid argument\nError detected in fsort initialization\n") == 0);
  destroy(handle);
}

static const char aborted[] = "Fsort aborted by caller\nError detected in fsort call\n";

static int32_t exit_in_read(uint64_t* length, const void** record) {
  if (next_word == 2) leave(handle, 7);
  return give_word(length, record);
}
static int32_t exit_in_write(uint64_t length, const void* record) {
  take_word(length, record);
  leave(handle, -5);
  return 0;
}
static uint32_t exit_in_yield(void) {
  leave(handle, 9);
  return 1;
}
static void exit_in_display(const char* text) {
  show(text);
  leave(handle, 5);
}

static int32_t run(fsort_display_fn display, fsort_yield_fn yield, fsort_read_fn input, fsort_write_fn output,
                   const char* command) {
  int32_t status;
  begin();
  handle = create(display, yield);
  status = start(handle, input, output, command);
  destroy(handle);
  return status;
}

static void jump_out_of_callbacks(void) {
  CHECK(run(show, NULL, exit_in_read, take_word, "") == 7);
  CHECK(strcmp(shown, aborted) == 0);
  CHECK(run(show, NULL, give_word, exit_in_write, "") == -5);
  CHECK(strcmp(taken, "apple ") == 0);
  CHECK(run(show, exit_in_yield, NULL, take_word, "<in") == 9);
  CHECK(run(exit_in_display, NULL, give_word, take_word, "zz") == 5);
  CHECK(run(show, NULL, give_word, take_word, "-q") == 0);
  CHECK(strcmp(taken, sorted_words) == 0);
}

static int32_t give_key(uint64_t* length, const void** record) {
  static char text[16];
  *length = given < records ? 6 : 0;
  *record = text;
  sprintf(text, "%06d", (given++ * 7919) % 100003);
  return 0;
}
static int32_t take_key(uint64_t length, const void* record) {
  if (strlen(drained) + length < sizeof drained) strncat(drained, (const char*)record, (size_t)length);
  return 0;
}
static int is_sorted(void) {
  size_t i;
  for (i = 6; drained[i] != '\0'; i += 6) {
    if (memcmp(drained + i - 6, drained + i, 6) > 0) return 0;
  }
  return i == (size_t)records * 6;
}

static int32_t sort_inside(uint64_t length, const void* record) {
  given = 0;
  drained[0] = '\0';
  inner = create(NULL, NULL);
  CHECK(start(inner, give_key, take_key, "-q") == 0);
  CHECK(strcmp(message(inner), "") == 0);
  destroy(inner);
  CHECK(is_sorted());
  CHECK(start(handle, give_word, take_word, "-q") == 1); /* it is running */
  return take_word(length, record);
}

static void nest_two_instances(void) {
  begin();
  handle = create(show, NULL);
  CHECK(start(handle, give_word, sort_inside, "-q") == 0);
  CHECK(strcmp(taken, sorted_words) == 0);
  destroy(handle);
}

static void feed(void* unused) {
  char buffers[2][16]; /* in turn: one is the pipe's until the next send has returned */
  int i;
  (void)unused;
  for (i = 0; i < records; ++i) {
    sprintf(buffers[i % 2], "%06d", (i * 7919) % 100003);
    send_record(handle, 6, buffers[i % 2]);
  }
  send_record(handle, 0, NULL);
}
static void drain(void* unused) {
  uint64_t length;
  const void* record;
  (void)unused;
  for (;;) {
    retrieve_record(handle, &length, &record);
    if (length == 0) break;
    take_key(length, record);
  }
}

static void feed_and_drain_the_pipe(void) {
  struct test_thread thread;
  drained[0] = '\0';
  handle = create(NULL, NULL);
  thread_start(&thread, feed, NULL);
  CHECK(start(handle, FSORT_PIPE_INPUT, take_key, "-q") == 0);
  thread_join(&thread);
  CHECK(is_sorted());
  destroy(handle);

  drained[0] = '\0';
  given = 0;
  handle = create(NULL, NULL);
  thread_start(&thread, drain, NULL);
  CHECK(start(handle, give_key, FSORT_PIPE_OUTPUT, "-q") == 0);
  thread_join(&thread);
  CHECK(is_sorted());
  destroy(handle);
}

int main(void) {
  int round;
  for (round = 0; round < rounds; ++round) {
    HMODULE library = load();
    sort_files();
    keep_messages();
    nest_two_instances();
    feed_and_drain_the_pipe();
    jump_out_of_callbacks(); /* last: it leaves this thread with the library's lock until it is unloaded */
    CHECK(FreeLibrary(library) != 0);
    CHECK(GetModuleHandleA("fsort.dll") == NULL); /* nothing holds it */
  }
  return finish();
}
