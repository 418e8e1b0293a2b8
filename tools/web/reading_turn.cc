// Holds a System V semaphore, whose waiters the kernel serves in the order in which they came and releases when its
// holder dies.
#include "tools/web/reading_turn.h"

#include <fmt/format.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <functional>

#include "tools/web/request.h"

namespace annal_web {

namespace {

constexpr int kNone = -1;

// The same for all requests of a server: the program's file and the server's user.
key_t key_of_server() {
  struct stat program {};
  if (stat("/proc/self/exe", &program) != 0) {
    return IPC_PRIVATE;
  }
  const auto hash = std::hash<std::string>()(fmt::format("{}-{}-{}", program.st_dev, program.st_ino, geteuid()));
  return static_cast<key_t>(hash & 0x7FFFFFFFU) | 1;
}

// Zero, which a new one is, means that no request reads.
int open_semaphore() {
  constexpr int kOwnerOnly = 0600;
  return semget(key_of_server(), 1, IPC_CREAT | kOwnerOnly);
}

}  // namespace

// Where there are no semaphores, requests read at once: the logs are as safe, and writers wait longer.
ReadingTurn::ReadingTurn(std::chrono::milliseconds at_most) : semaphore_(open_semaphore()) {
  using std::chrono::duration_cast;
  using std::chrono::seconds;
  timespec limit{};
  limit.tv_sec = duration_cast<seconds>(at_most).count();
  // Where a long has 32 bits, tv_nsec has them, too.
  limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(at_most % seconds(1)).count());
  std::array<sembuf, 2> take{sembuf{0, 0, 0}, sembuf{0, 1, SEM_UNDO}};
  if (semaphore_ == kNone || semtimedop(semaphore_, take.data(), take.size(), &limit) == 0) {
    return;
  }
  semaphore_ = kNone;
  if (errno == EAGAIN) {
    constexpr int kUnavailable = 503;
    throw Refused(kUnavailable, "Many others are reading the logs just now. Try again in a few seconds.");
  }
}

ReadingTurn::~ReadingTurn() {
  end();
}

std::size_t ReadingTurn::waiting() const {
  return semaphore_ == kNone ? 0 : static_cast<std::size_t>(std::max(0, semctl(semaphore_, 0, GETZCNT)));
}

void ReadingTurn::end() {
  if (semaphore_ != kNone) {
    sembuf give{0, -1, SEM_UNDO};
    static_cast<void>(semop(semaphore_, &give, 1));
    semaphore_ = kNone;
  }
}

}  // namespace annal_web
