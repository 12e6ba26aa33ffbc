/* Sorts records that are in memory, without any file.
 *
 * A read function hands the records over one by one, a write function takes them back in order. A record is
 * a length and an address: no line break, no terminating zero is needed. What both functions need to know
 * stands in variables of the program, since the callbacks carry no pointer of the caller's.
 */
#include <stdio.h>
#include <string.h>

#include "fsort.h"

static const char* const planets[] = {"Mercury", "Venus",  "Earth",  "Mars",
                                      "Jupiter", "Saturn", "Uranus", "Neptune"};
enum { planet_count = sizeof planets / sizeof planets[0] };

static size_t next_planet;
static char sorted[256];

/* Length 0 says that there are no more records. The engine copies the bytes before it asks again. */
static int32_t read_planet(uint64_t* length, const void** record) {
  if (next_planet == planet_count) {
    *length = 0;
    *record = NULL;
    return 0;
  }
  *length = strlen(planets[next_planet]);
  *record = planets[next_planet];
  ++next_planet;
  return 0;
}

/* The record's bytes are the engine's and valid during this call only: copy what you keep. */
static int32_t write_planet(uint64_t length, const void* record) {
  if (strlen(sorted) + length + 2 > sizeof sorted) return 1; /* any status but 0 ends the sort */
  strncat(sorted, (const char*)record, (size_t)length);
  strcat(sorted, " ");
  return 0;
}

int main(void) {
  /* No display callback: the messages of a failure wait in the handle. */
  fsort_handle handle = FsortCreate(NULL, NULL);
  int32_t status;
  if (handle == NULL) return 1;

  /* The whole record is the key, descending. */
  status = FsortStart(handle, read_planet, write_planet, "-q -i");
  if (status != 0) fputs(FsortMessage(handle), stderr);
  FsortDestroy(handle);

  printf("%s\n", sorted);
  return status == 0 && strcmp(sorted, "Venus Uranus Saturn Neptune Mercury Mars Jupiter Earth ") == 0 ? 0
                                                                                                       : 1;
}
