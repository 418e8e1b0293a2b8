// Sets resource limits and the alarm, and answers 503 from the signal handler if nothing has been sent yet.
#include "tools/web/limits.h"

#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>

namespace annal_web {

namespace {

volatile std::sig_atomic_t begun = 0;

constexpr char kTooLong[] =
    "Status: 503 Service Unavailable\r\n"
    "Content-Type: text/html; charset=utf-8\r\n"
    "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cache-Control: no-store\r\n"
    "Retry-After: 5\r\n"
    "\r\n"
    "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Took too long</title></head>\n"
    "<body><main><h1>This took too long</h1>\n"
    "<p>The page was given up, because a request may take 2 s of processor time and 5 s by the clock: the log is "
    "locked, the disk or the machine is busy, or the filter is costly. Ask for a shorter time, or try again "
    "later.</p></main></body></html>\n";

// Nothing else can be done safely in the middle of whatever was going on.
void give_up(int /*signal*/) {
  if (begun == 0) {
    const ssize_t written = write(STDOUT_FILENO, kTooLong, sizeof kTooLong - 1);
    static_cast<void>(written);
    _exit(0);
  }
  _exit(1);
}

void limit(__rlimit_resource_t resource, rlim_t soft, rlim_t hard) {
  const struct rlimit bounds { soft, hard };
  static_cast<void>(setrlimit(resource, &bounds));
}

}  // namespace

void limit_memory_and_files() {
  constexpr rlim_t kMostMemory = rlim_t{384} << 20U;
  constexpr rlim_t kMostFiles = 64;
  constexpr sqlite3_int64 kMostOfSqlite = sqlite3_int64{64} << 20U;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  limit(RLIMIT_AS, kMostMemory, kMostMemory);
#else
  static_cast<void>(kMostMemory);
#endif
  limit(RLIMIT_CORE, 0, 0);
  limit(RLIMIT_NOFILE, kMostFiles, kMostFiles);
  static_cast<void>(sqlite3_hard_heap_limit64(kMostOfSqlite));
}

void limit_time(const TimeLimits& limits) {
  struct sigaction action {};
  action.sa_handler = give_up;
  sigemptyset(&action.sa_mask);
  sigaction(SIGALRM, &action, nullptr);
  sigaction(SIGXCPU, &action, nullptr);
  limit(RLIMIT_CPU, limits.processor, limits.processor + 1);
  alarm(limits.clock);
}

void went_on(const TimeLimits& limits) {
  alarm(limits.clock);
}

void answer_has_begun() {
  begun = 1;
}

}  // namespace annal_web
