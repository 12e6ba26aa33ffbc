/* FsortExit from every kind of callback: the program's own frames are jumped over and it goes on. */
#include "check.h"

static fsort_handle handle;
static int exit_in_display;
static const char aborted[] = "Fsort aborted by caller\nError detected in fsort call\n";

static int32_t exit_in_read(uint64_t* length, const void** record) {
  if (next_word == 2) FsortExit(handle, 7);
  return give_word(length, record);
}

static int32_t exit_in_write(uint64_t length, const void* record) {
  take_word(length, record);
  FsortExit(handle, -5);
  return 0;
}

static uint32_t exit_in_yield(void) {
  FsortExit(handle, 9);
  return 1;
}

static void show_and_exit(const char* text) {
  show(text);
  if (exit_in_display) FsortExit(handle, 5);
}

static int32_t run(fsort_display_fn display, fsort_yield_fn yield, fsort_read_fn input, fsort_write_fn output,
                   const char* command) {
  int32_t status;
  begin();
  handle = FsortCreate(display, yield);
  status = FsortStart(handle, input, output, command);
  FsortDestroy(handle);
  return status;
}

int main(void) {
  write_file("in", "b\na\n");

  CHECK(run(show, NULL, exit_in_read, take_word, "") == 7);
  CHECK(strcmp(shown, aborted) == 0);

  CHECK(run(show, NULL, give_word, exit_in_write, "") == -5);
  CHECK(strcmp(taken, "apple ") == 0);
  CHECK(strcmp(shown, aborted) == 0);

  CHECK(run(show, exit_in_yield, NULL, take_word, "<in") == 9);
  CHECK(strcmp(shown, aborted) == 0);

  exit_in_display = 1;
  CHECK(run(show_and_exit, NULL, give_word, take_word, "zz") == 5);
  CHECK(strcmp(shown, "zz is an invalid argument\nFsort aborted by caller\n") == 0);
  CHECK(run(show_and_exit, NULL, give_word, take_word, "-v") == 5);
  CHECK(taken[0] == '\0');

  exit_in_display = 0;
  CHECK(run(show, NULL, give_word, take_word, "-q") == 0); /* this thread is not locked out */
  CHECK(strcmp(taken, sorted_words) == 0);
  return finish();
}
