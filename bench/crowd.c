/* Many sorts at once in one process, through the library.
 *
 *   crowd MODE COUNT INPUT OUTPUT OPTION...
 *
 * Sorts the text lines of INPUT with COUNT instances at once, to OUTPUT.0, OUTPUT.1 and so on; the options
 * are those of the sort command line. How they are at once is the MODE:
 *
 *   threads   each on a thread of its own, file to file; the entry lock lets one after the other through
 *   pipes     each on a thread of its own, fed through its pipe by another thread: a sort that waits for a
 * record gives the lock back, so all are in the middle of their work, with work files on disk nested    each
 * but the first is run from inside the read function of the one before, which has half of its records by then
 *
 * Exit status 0 when every sort succeeded. The outputs are for another program to check. */
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "fsort.h"

enum { kMaxInstances = 64 };

struct job {
  int index;
  int failed;
  fsort_handle handle;
  size_t next; /* read position in the input */
};

static struct job jobs[kMaxInstances];
static int job_count;
static const char* input_name;
static const char* output_name;
static char options[FSORT_MAX_COMMAND];
static char* input_bytes;
static size_t input_size;

static void command_of(const struct job* job, int with_input, char* command) {
  int length = 0;
  if (with_input) length = snprintf(command, FSORT_MAX_COMMAND, "-in %s ", input_name);
  snprintf(command + length, (size_t)(FSORT_MAX_COMMAND - length), "-out %s.%d -q%s", output_name, job->index,
           options);
}

static void start(struct job* job, fsort_read_fn input) {
  char command[FSORT_MAX_COMMAND];
  command_of(job, input == NULL, command);
  if (FsortStart(job->handle, input, NULL, command) != 0) {
    job->failed = 1;
    fprintf(stderr, "crowd: instance %d: %s", job->index, FsortMessage(job->handle));
  }
}

/* The next line of the job's input; length 0 at the end. */
static size_t next_line(struct job* job, const char** line) {
  const char* begin = input_bytes + job->next;
  const size_t left = input_size - job->next;
  const char* end = left == 0 ? NULL : memchr(begin, '\n', left);
  const size_t length = end == NULL ? 0 : (size_t)(end - begin) + 1;
  job->next += length;
  *line = begin;
  return length;
}

static void* run_from_file(void* argument) {
  start(argument, NULL);
  return NULL;
}

static void* run_from_pipe(void* argument) {
  start(argument, FSORT_PIPE_INPUT);
  return NULL;
}

static void* feed(void* argument) {
  struct job* job = argument;
  const char* line = NULL;
  size_t length = next_line(job, &line);
  for (; length != 0; length = next_line(job, &line)) FsortSend(job->handle, length, line);
  FsortSend(job->handle, 0, NULL);
  return NULL;
}

static int innermost = -1; /* index of the job whose read function runs */

static int32_t read_nested(uint64_t* length, const void** record);

static void start_nested(int index) {
  innermost = index;
  start(&jobs[index], read_nested);
  innermost = index - 1;
}

static int32_t read_nested(uint64_t* length, const void** record) {
  struct job* job = &jobs[innermost];
  const char* line = NULL;
  const size_t before = job->next;
  *length = next_line(job, &line);
  *record = line;
  if (before < input_size / 2 && job->next >= input_size / 2 && job->index + 1 < job_count) {
    start_nested(job->index + 1);
  }
  return 0;
}

static int load_input(void) {
  FILE* file = fopen(input_name, "rb");
  long size = -1;
  if (file != NULL && fseek(file, 0, SEEK_END) == 0) size = ftell(file);
  if (size < 0 || fseek(file, 0, SEEK_SET) != 0) return 1;
  input_size = (size_t)size;
  input_bytes = malloc(input_size + 1);
  if (input_bytes == NULL || fread(input_bytes, 1, input_size, file) != input_size) return 1;
  return fclose(file);
}

static void run_threads(void* (*body)(void*), void* (*feeder)(void*)) {
  pthread_t threads[2 * kMaxInstances];
  int count = 0;
  for (int i = 0; i < job_count; ++i) {
    if (pthread_create(&threads[count++], NULL, body, &jobs[i]) != 0) abort();
    if (feeder != NULL && pthread_create(&threads[count++], NULL, feeder, &jobs[i]) != 0) abort();
  }
  for (int i = 0; i < count; ++i) pthread_join(threads[i], NULL);
}

int main(int argc, char** argv) {
  if (argc < 5) {
    fprintf(stderr, "usage: crowd threads|pipes|nested COUNT INPUT OUTPUT OPTION...\n");
    return 2;
  }
  job_count = atoi(argv[2]);
  input_name = argv[3];
  output_name = argv[4];
  for (int i = 5; i < argc; ++i) {
    if (strlen(options) + strlen(argv[i]) + 2 > sizeof options) return 2;
    strcat(options, " ");
    strcat(options, argv[i]);
  }
  if (job_count < 1 || job_count > kMaxInstances || load_input() != 0) {
    fprintf(stderr, "crowd: 1 to %d instances and a readable input, please\n", kMaxInstances);
    return 2;
  }
  for (int i = 0; i < job_count; ++i) {
    jobs[i].index = i;
    jobs[i].handle = FsortCreate(NULL, NULL);
    if (jobs[i].handle == NULL) return 2;
  }
  if (strcmp(argv[1], "threads") == 0) {
    run_threads(run_from_file, NULL);
  } else if (strcmp(argv[1], "pipes") == 0) {
    run_threads(run_from_pipe, feed);
  } else {
    start_nested(0);
  }
  int failed = 0;
  for (int i = 0; i < job_count; ++i) {
    failed |= jobs[i].failed;
    FsortDestroy(jobs[i].handle);
  }
  free(input_bytes);
  return failed;
}
