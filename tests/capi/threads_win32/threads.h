/* Threads for the C tests: those of Windows. */
#ifndef THREADS_H
#define THREADS_H

#include <windows.h>

/* Lives from thread_start to thread_join. */
struct test_thread {
  HANDLE id;
  void (*body)(void*);
  void* argument;
};

static DWORD WINAPI thread_body(LPVOID thread) {
  struct test_thread* t = (struct test_thread*)thread;
  t->body(t->argument);
  return 0;
}

static void thread_start(struct test_thread* t, void (*body)(void*), void* argument) {
  t->body = body;
  t->argument = argument;
  t->id = CreateThread(NULL, 0, thread_body, t, 0, NULL);
}

static void thread_join(struct test_thread* t) {
  WaitForSingleObject(t->id, INFINITE);
  CloseHandle(t->id);
}

#endif
