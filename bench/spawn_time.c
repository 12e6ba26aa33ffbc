/* How long a small process takes in all, seen from its parent.
 *
 *   spawn_time COUNT PROGRAM ARGUMENT...
 *
 * Runs the program COUNT times with posix_spawn, one after the other, its standard streams on /dev/null, and
 * prints the smallest, the middle and the largest wall time in milliseconds, from before the spawn to after
 * the wait. The parent is small, so that starting a child costs next to nothing. Fails when a run fails. */
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>

extern char** environ;

static double now_ms(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec * 1e3 + (double)now.tv_nsec / 1e6;
}

static int compare(const void* a, const void* b) {
  const double x = *(const double*)a;
  const double y = *(const double*)b;
  return x < y ? -1 : x > y;
}

static int run_once(char** command, const posix_spawn_file_actions_t* actions) {
  pid_t pid = 0;
  int status = 0;
  if (posix_spawn(&pid, command[0], actions, NULL, command, environ) != 0) return 1;
  return waitpid(pid, &status, 0) != pid || status != 0;
}

int main(int argc, char** argv) {
  const int count = argc > 2 ? atoi(argv[1]) : 0;
  posix_spawn_file_actions_t actions;
  double* times = count > 0 ? malloc((size_t)count * sizeof *times) : NULL;
  if (times == NULL) {
    fprintf(stderr, "usage: spawn_time COUNT PROGRAM ARGUMENT...\n");
    return 2;
  }
  posix_spawn_file_actions_init(&actions);
  for (int fd = 0; fd < 3; ++fd) posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
  for (int i = 0; i < count; ++i) {
    const double started = now_ms();
    if (run_once(argv + 2, &actions) != 0) {
      fprintf(stderr, "spawn_time: run %d failed\n", i + 1);
      return 1;
    }
    times[i] = now_ms() - started;
  }
  qsort(times, (size_t)count, sizeof *times, compare);
  printf("%.3f %.3f %.3f\n", times[0], times[count / 2], times[count - 1]);
  free(times);
  posix_spawn_file_actions_destroy(&actions);
  return 0;
}
