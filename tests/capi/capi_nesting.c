/* One instance inside another's callbacks, and calls on the handle whose sort is running. */
#include "check.h"

static fsort_handle outer;
static fsort_handle inner;
static int32_t numbers_left;
static char inner_taken[64];
static int inner_sorts;

static int32_t give_number(uint64_t* length, const void** record) {
  static const char digits[] = "123";
  *length = numbers_left > 0 ? 1 : 0;
  *record = numbers_left > 0 ? &digits[3 - numbers_left] : NULL;
  --numbers_left;
  return 0;
}

static int32_t take_number(uint64_t length, const void* record) {
  strncat(inner_taken, (const char*)record, (size_t)length);
  return 0;
}

static int32_t sort_inside(uint64_t length, const void* record) {
  numbers_left = 3;
  inner_taken[0] = '\0';
  inner = FsortCreate(NULL, NULL);
  CHECK(FsortStart(inner, give_number, take_number, "-q -i") == 0);
  CHECK(strcmp(inner_taken, "321") == 0);
  FsortDestroy(inner);
  ++inner_sorts;
  CHECK(FsortStart(outer, give_word, take_word, "-q") == 1); /* it is running */
  FsortDestroy(outer);                                       /* ignored */
  return take_word(length, record);
}

static int32_t exit_outer(uint64_t* length, const void** record) {
  *length = 0;
  *record = NULL;
  FsortExit(outer, 7);
  return 1;
}

static int32_t start_inner(uint64_t length, const void* record) {
  (void)length;
  (void)record;
  return FsortStart(inner, exit_outer, take_number, "");
}

int main(void) {
  begin();
  outer = FsortCreate(show, NULL);
  CHECK(FsortStart(outer, give_word, sort_inside, "-q") == 0);
  CHECK(strcmp(taken, sorted_words) == 0);
  CHECK(inner_sorts == word_count);
  CHECK(shown[0] == '\0');
  FsortDestroy(outer);

  begin();
  outer = FsortCreate(show, NULL);
  inner = FsortCreate(show, NULL);
  CHECK(FsortStart(outer, give_word, start_inner, "") == 7);
  CHECK(strcmp(shown, "Fsort aborted by caller\nError detected in fsort call\n") == 0);
  FsortDestroy(inner);
  FsortDestroy(outer);
  return finish();
}
