/* Every export once from C: files, callbacks, forwarding, messages, null handles. */
#include "check.h"

static fsort_handle handle;

static int32_t read_file_on(uint64_t* length, const void** record) {
  return FsortRead(handle, length, record);
}
static int32_t write_file_on(uint64_t length, const void* record) {
  return FsortWrite(handle, length, record);
}

static int yields;
static uint32_t count_yield(void) {
  ++yields;
  return 3;
}

static void files_and_messages(void) {
  write_file("in", "b\nc\na\n");
  handle = FsortCreate(NULL, NULL);
  CHECK(handle != NULL);
  CHECK(FsortStart(handle, NULL, NULL, "<in >out") == 0);
  CHECK(strncmp(FsortMessage(handle), "system time = ", 14) == 0);
  CHECK(strstr(FsortMessage(handle), "\nelapsed time = ") != NULL);
  CHECK(file_holds("out", "a\nb\nc\n"));
  FsortDestroy(handle);

  handle = FsortCreate(NULL, NULL);
  CHECK(FsortStart(handle, NULL, NULL, "<in >out zz") == 1);
  CHECK(strcmp(FsortMessage(handle), "zz is an invalid argument\nError detected in fsort initialization\n") ==
        0);
  FsortDestroy(handle);
}

static void callbacks(void) {
  begin();
  handle = FsortCreate(show, count_yield);
  CHECK(FsortStart(handle, give_word, take_word, "-q") == 0);
  CHECK(strcmp(taken, sorted_words) == 0);
  CHECK(shown[0] == '\0');
  CHECK(strcmp(FsortMessage(handle), "") == 0);
  CHECK(yields == 0);
  FsortDestroy(handle);

  begin();
  write_file("in", "e\nd\nc\nb\na\n");
  handle = FsortCreate(show, count_yield);
  CHECK(FsortStart(handle, NULL, NULL, "<in >out -q") == 0);
  CHECK(yields == 4);
  FsortDestroy(handle);
}

static void forwarding(void) {
  write_file("in", "b\nc\na\n");
  handle = FsortCreate(show, NULL);
  CHECK(FsortStart(handle, read_file_on, write_file_on, "<in >out2 -q -i") == 0);
  CHECK(FsortWrite(handle, 0, NULL) == 0);
  CHECK(file_holds("out2", "c\nb\na\n"));
  FsortDestroy(handle);
}

static void pipe_without_a_sort(void) {
  uint64_t length = 0;
  const void* record = NULL;
  handle = FsortCreate(NULL, NULL);
  FsortSend(handle, 5, words[0]);
  FsortRetrieve(handle, &length, &record);
  CHECK(length == 5);
  CHECK(record == words[0]);
  FsortExit(handle, 7); /* nothing runs: no effect */
  FsortDestroy(handle);
}

static void null_handles(void) {
  uint64_t length = 1;
  const void* record = NULL;
  CHECK(FsortStart(NULL, NULL, NULL, NULL) == 1);
  CHECK(strcmp(FsortMessage(NULL), "") == 0);
  CHECK(FsortRead(NULL, &length, &record) == 1);
  CHECK(FsortWrite(NULL, 1, "x") == 1);
  FsortSend(NULL, 1, "x");
  FsortRetrieve(NULL, &length, &record);
  FsortExit(NULL, 1);
  FsortDestroy(NULL);
}

int main(void) {
  uint64_t length = 1;
  const void* record = "";
  handle = FsortCreate(NULL, NULL);
  CHECK(FsortRead(handle, &length, &record) == 1); /* no file was ever named in this process */
  CHECK(length == 0 && record == NULL);
  CHECK(FsortWrite(handle, 1, "x") == 1);
  FsortDestroy(handle);

  files_and_messages();
  callbacks();
  forwarding();
  pipe_without_a_sort();
  null_handles();
  return finish();
}
