/* Loads fsort.dll while the program runs, without an import library: LoadLibrary and GetProcAddress.
 *
 * fsort.h only gives the types here. Nothing of the library is linked, so the program also starts where there
 * is no fsort.dll, and can say so.
 */
#include <stdio.h>
#include <string.h>
#include <windows.h>

#include "fsort.h"

typedef fsort_handle (*create_fn)(fsort_display_fn, fsort_yield_fn);
typedef int32_t (*start_fn)(fsort_handle, fsort_read_fn, fsort_write_fn, const char*);
typedef const char* (*message_fn)(fsort_handle);
typedef void (*destroy_fn)(fsort_handle);

static struct {
  create_fn create;
  start_fn start;
  message_fn message;
  destroy_fn destroy;
} fsort;

/* A function of the library, or the end of the program. The copy of the bytes is how C turns the system's
 * kind of function pointer into another one without a complaint of the compiler. */
static void find(HMODULE library, const char* name, void* function) {
  const FARPROC found = GetProcAddress(library, name);
  if (found == NULL) {
    fprintf(stderr, "fsort.dll has no %s\n", name);
    ExitProcess(1);
  }
  memcpy(function, &found, sizeof found);
}

static const char* const colours[] = {"red", "green", "blue", "amber"};
enum { colour_count = sizeof colours / sizeof colours[0] };
static int next_colour;
static char sorted[64];

static int32_t read_colour(uint64_t* length, const void** record) {
  *length = 0;
  *record = NULL;
  if (next_colour < colour_count) {
    *record = colours[next_colour++];
    *length = strlen((const char*)*record);
  }
  return 0;
}

static int32_t write_colour(uint64_t length, const void* record) {
  if (strlen(sorted) + length + 2 > sizeof sorted) return 1;
  strncat(sorted, (const char*)record, (size_t)length);
  strcat(sorted, " ");
  return 0;
}

int main(void) {
  fsort_handle handle;
  int32_t status;
  /* Give the full path of the DLL you ship, or load it from the program's own folder as here. */
  HMODULE library = LoadLibraryA("fsort.dll");
  if (library == NULL) {
    fprintf(stderr, "fsort.dll cannot be loaded: error %lu\n", GetLastError());
    return 1;
  }
  find(library, "FsortCreate", &fsort.create);
  find(library, "FsortStart", &fsort.start);
  find(library, "FsortMessage", &fsort.message);
  find(library, "FsortDestroy", &fsort.destroy);

  handle = fsort.create(NULL, NULL);
  if (handle == NULL) return 1;
  status = fsort.start(handle, read_colour, write_colour, "-q");
  if (status != 0) fputs(fsort.message(handle), stderr);
  fsort.destroy(handle);
  FreeLibrary(library); /* only when every handle is destroyed */

  printf("%s\n", sorted);
  return status == 0 && strcmp(sorted, "amber blue green red ") == 0 ? 0 : 1;
}
