/* What the C tests share: checks that name their line, lists of records, a display callback that keeps texts.
 */
#ifndef CHECK_H
#define CHECK_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "fsort.h"

static int faults;

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      ++faults;                                                               \
    }                                                                         \
  } while (0)

/* All displayed texts, one after the other. */
static char shown[4096];
static void show(const char* text) {
  if (strlen(shown) + strlen(text) < sizeof shown) strcat(shown, text);
}

/* Records that give_word hands over, and those that take_word took, each followed by a blank. */
static const char* const words[] = {"pear", "fig", "apple", "quince", "date"};
enum { word_count = 5 };
static int next_word;
static char taken[4096];

static int32_t give_word(uint64_t* length, const void** record) {
  const char* word = next_word < word_count ? words[next_word++] : NULL;
  *length = word != NULL ? strlen(word) : 0;
  *record = word;
  return 0;
}

static int32_t take_word(uint64_t length, const void* record) {
  if (strlen(taken) + length + 2 > sizeof taken) return 1;
  strncat(taken, (const char*)record, (size_t)length);
  strcat(taken, " ");
  return 0;
}

static const char sorted_words[] = "apple date fig pear quince ";

static void begin(void) {
  next_word = 0;
  taken[0] = '\0';
  shown[0] = '\0';
}

static void write_file(const char* name, const char* text) {
  FILE* file = fopen(name, "wb");
  if (file == NULL) exit(2);
  fputs(text, file);
  fclose(file);
}

static int file_holds(const char* name, const char* text) {
  char bytes[4096];
  size_t length;
  FILE* file = fopen(name, "rb");
  if (file == NULL) return 0;
  length = fread(bytes, 1, sizeof bytes - 1, file);
  fclose(file);
  bytes[length] = '\0';
  return strcmp(bytes, text) == 0;
}

static int finish(void) {
  if (faults == 0) puts("all as it should be");
  /* Named so that a program that needs only some of the helpers draws no warning. */
  (void)show;
  (void)give_word;
  (void)take_word;
  (void)begin;
  (void)write_file;
  (void)file_holds;
  (void)sorted_words;
  return faults == 0 ? 0 : 1;
}

#endif
