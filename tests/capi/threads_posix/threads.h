/* Threads for the C tests: POSIX threads. */
#ifndef THREADS_H
#define THREADS_H

#include <pthread.h>

/* Lives from thread_start to thread_join. */
struct test_thread {
  pthread_t id;
  void (*body)(void*);
  void* argument;
};

static void* thread_body(void* thread) {
  struct test_thread* t = (struct test_thread*)thread;
  t->body(t->argument);
  return NULL;
}

static void thread_start(struct test_thread* t, void (*body)(void*), void* argument) {
  t->body = body;
  t->argument = argument;
  pthread_create(&t->id, NULL, thread_body, t);
}

static void thread_join(struct test_thread* t) { pthread_join(t->id, NULL); }

#endif
