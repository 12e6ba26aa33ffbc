/* Sorts a file into another file.
 *
 * The command line says everything: which file to read, which to write, and the key. Here the lines are
 *
 *     pear;12
 *
 * and the key is field 1 (fields count from 0, ';' separates them) taken as a number.
 */
#include <stdio.h>
#include <string.h>

#include "fsort.h"

static const char stock[] =
    "pear;12\n"
    "apple;7\n"
    "quince;100\n"
    "plum;-3\n"
    "cherry;7.5\n";

static const char expected[] =
    "plum;-3\n"
    "apple;7\n"
    "cherry;7.5\n"
    "pear;12\n"
    "quince;100\n";

/* Messages of the engine: errors, and without "-q" how long the sort took. */
static void show(const char* text) { fputs(text, stderr); }

static int write_file(const char* name, const char* text) {
  FILE* file = fopen(name, "wb");
  if (file == NULL) return 0;
  fputs(text, file);
  return fclose(file) == 0;
}

static int read_file(const char* name, char* text, size_t size) {
  size_t length;
  FILE* file = fopen(name, "rb");
  if (file == NULL) return 0;
  length = fread(text, 1, size - 1, file);
  text[length] = '\0';
  return fclose(file) == 0;
}

int main(void) {
  char sorted[sizeof stock];
  fsort_handle handle;
  int32_t status;

  if (!write_file("example_stock.txt", stock)) return 1;

  handle = FsortCreate(show, NULL);
  if (handle == NULL) return 1;
  status = FsortStart(handle, NULL, NULL, "<example_stock.txt >example_sorted.txt -q -t ';' -n -f 1");
  FsortDestroy(handle);
  if (status != 0) return 1;

  if (!read_file("example_sorted.txt", sorted, sizeof sorted)) return 1;
  printf("%s", sorted);
  remove("example_stock.txt");
  remove("example_sorted.txt");
  return strcmp(sorted, expected) == 0 ? 0 : 1;
}
