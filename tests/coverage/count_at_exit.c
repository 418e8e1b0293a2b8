// Part of the library only where it counts which of its lines are run. Counts are written when a process ends by
// itself; the processes that the tests fork end with _exit, which would lose theirs.
#define _GNU_SOURCE
#include <gcov.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

// A command's two generations run in their caller's memory, and so add to its counts: they have none of their own.
static pid_t counting;

static void begin(void) {
  counting = getpid();
}

static void begin_anew(void) {
  begin();
  __gcov_reset();
}

__attribute__((constructor)) static void watch_forks(void) {
  begin();
  pthread_atfork(NULL, NULL, &begin_anew);
}

__attribute__((visibility("default"))) void _exit(int status) {
  if (getpid() == counting) {
    __gcov_dump();
  }
  for (;;) {
    syscall(SYS_exit_group, status);
  }
}
