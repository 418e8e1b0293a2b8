// Holds a database file's lock in a child process.
#include "tests/support/lock_holder.h"

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <thread>

namespace annal::test {

namespace {

[[noreturn]] void hold(const char* path, std::chrono::milliseconds time, int report) {
  sqlite3* database = nullptr;
  const bool locked = sqlite3_open(path, &database) == SQLITE_OK &&
                      sqlite3_exec(database, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr) == SQLITE_OK;
  const char answer = locked ? 'y' : 'n';
  if (write(report, &answer, 1) == 1 && locked) {
    std::this_thread::sleep_for(time);
  }
  sqlite3_close(database);
  _exit(0);
}

}  // namespace

LockHolder::LockHolder(const char* path, std::chrono::milliseconds release_after) {
  int report[2];
  if (pipe(report) != 0) {
    throw std::runtime_error("no pipe for a lock holder");
  }
  process_ = fork();
  if (process_ == 0) {
    close(report[0]);
    hold(path, release_after, report[1]);
  }
  close(report[1]);
  char answer = 'n';
  const ssize_t got = read(report[0], &answer, 1);
  close(report[0]);
  if (got != 1 || answer != 'y') {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    throw std::runtime_error("cannot lock the database");
  }
}

LockHolder::~LockHolder() {
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

}  // namespace annal::test
