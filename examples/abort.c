/* Ends a sort early, in both of the ways there are.
 *
 * The program wants the three smallest numbers only, so it ends the sort when it has them:
 *
 *  - by a status: the write function answers 1. The sort stops, FsortStart returns 1. This is always safe.
 *  - by FsortExit: FsortStart returns a code of our own choosing. FsortExit does not return; it jumps out of
 *    the callback straight back to FsortStart. Nothing may need cleaning up in the callback at that moment.
 */
#include <stdio.h>
#include <string.h>

#include "fsort.h"

enum { wanted = 3, enough = 42 };

static const char* const numbers[] = {"170", "-4", "23", "8", "1000", "15", "0.5", "42"};
enum { number_count = sizeof numbers / sizeof numbers[0] };

static fsort_handle handle;
static size_t next_number;
static int taken;
static char smallest[64];

static int32_t read_number(uint64_t* length, const void** record) {
  *length = 0;
  *record = NULL;
  if (next_number < number_count) {
    *length = strlen(numbers[next_number]);
    *record = numbers[next_number];
    ++next_number;
  }
  return 0;
}

static void take(uint64_t length, const void* record) {
  strncat(smallest, (const char*)record, (size_t)length);
  strcat(smallest, " ");
  ++taken;
}

static int32_t write_and_refuse(uint64_t length, const void* record) {
  if (taken == wanted) return 1;
  take(length, record);
  return 0;
}

static int32_t write_and_exit(uint64_t length, const void* record) {
  take(length, record);
  if (taken == wanted) FsortExit(handle, enough); /* does not come back */
  return 0;
}

/* Sorts the numbers and says how it ended; 1 when everything is as it should be. */
static int run(const char* way, fsort_write_fn write, int32_t expected_status) {
  int32_t status;
  next_number = 0;
  taken = 0;
  smallest[0] = '\0';

  handle = FsortCreate(NULL, NULL);
  if (handle == NULL) return 0;
  status = FsortStart(handle, read_number, write, "-q -n");
  printf("%s: status %d, smallest numbers: %s\n%s", way, (int)status, smallest, FsortMessage(handle));
  FsortDestroy(handle);
  return status == expected_status && strcmp(smallest, "-4 0.5 8 ") == 0;
}

int main(void) {
  const int refused = run("ended by a status", write_and_refuse, 1);
  const int exited = run("ended by FsortExit", write_and_exit, enough);
  return refused && exited ? 0 : 1;
}
