/* Many small sorts in one process, records by callbacks.
 *
 *   small_sorts SORTS RECORDS
 *
 * Each sort has a handle of its own, takes RECORDS different short lines from a read function and gives them
 * to a write function, which checks that they come in order and counts them. Prints sorts a second. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "fsort.h"

enum { kLineBytes = 12, kMaxRecords = 1000 };

static char lines[kMaxRecords][kLineBytes];
static unsigned records;
static unsigned taken;
static unsigned given;
static int wrong;
static char previous[kLineBytes];

static int32_t give_line(uint64_t* length, const void** record) {
  const int left = taken < records;
  *length = left ? kLineBytes - 1 : 0;
  *record = left ? lines[taken] : NULL;
  taken += 1;
  return 0;
}

static int32_t take_line(uint64_t length, const void* record) {
  if (length != kLineBytes - 1 || memcmp(previous, record, kLineBytes - 1) >= 0) wrong = 1;
  memcpy(previous, record, kLineBytes - 1);
  given += 1;
  return 0;
}

/* Different lines in no order: the multiplier shares no factor with the modulus. */
static void make_lines(void) {
  for (unsigned i = 0; i < records; ++i) {
    char text[32];
    snprintf(text, sizeof text, "%05u line\n", (i * 40503U + 12345U) % 65536U);
    memcpy(lines[i], text, kLineBytes - 1);
  }
}

static int sort_once(fsort_handle handle) {
  taken = 0;
  given = 0;
  memset(previous, 0, sizeof previous);
  return FsortStart(handle, give_line, take_line, "-q -k") != 0 || given != records || wrong;
}

static double seconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

int main(int argc, char** argv) {
  const int sorts = argc == 3 ? atoi(argv[1]) : 0;
  records = argc == 3 ? (unsigned)atoi(argv[2]) : 0;
  if (sorts < 1 || records < 1 || records > kMaxRecords) {
    fprintf(stderr, "usage: small_sorts SORTS RECORDS (at most %d)\n", kMaxRecords);
    return 2;
  }
  make_lines();
  const double started = seconds();
  for (int i = 0; i < sorts; ++i) {
    fsort_handle handle = FsortCreate(NULL, NULL);
    if (handle == NULL || sort_once(handle)) {
      fprintf(stderr, "small_sorts: sort %d went wrong\n", i + 1);
      return 1;
    }
    FsortDestroy(handle);
  }
  printf("%.0f\n", sorts / (seconds() - started));
  return 0;
}
