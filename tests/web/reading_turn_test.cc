// Requests read one at a time, in the order in which they came.
#include "tools/web/reading_turn.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <optional>
#include <thread>

#include "tools/web/request.h"

namespace {

using annal_web::ReadingTurn;
using std::chrono::milliseconds;

constexpr milliseconds kLong{10000};

pid_t in_child(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  return child;
}

void wait_until_waiting(const ReadingTurn& turn, std::size_t count) {
  for (int i = 0; i < 5000 && turn.waiting() != count; ++i) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  ASSERT_EQ(turn.waiting(), count);
}

}  // namespace

TEST(WebReadingTurn, GoesToThoseWhoWaitInTheirOrder) {
  constexpr int kReaders = 5;
  std::array<int, 2> order{};
  ASSERT_EQ(pipe(order.data()), 0);
  std::optional<ReadingTurn> mine(kLong);
  EXPECT_EQ(mine->waiting(), 0U);
  std::array<pid_t, kReaders> children{};
  for (int i = 0; i < kReaders; ++i) {
    children.at(static_cast<std::size_t>(i)) = in_child([i, &order] {
      const ReadingTurn turn(kLong);
      const char name = static_cast<char>('0' + i);
      _exit(write(order[1], &name, 1) == 1 ? 0 : 1);
    });
    wait_until_waiting(*mine, static_cast<std::size_t>(i) + 1);
  }
  mine.reset();
  std::string seen(kReaders, ' ');
  for (char& name : seen) {
    ASSERT_EQ(read(order[0], &name, 1), 1);
  }
  EXPECT_EQ(seen, "01234");
  for (const pid_t child : children) {
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
  }
  close(order[0]);
  close(order[1]);
}

TEST(WebReadingTurn, IsRefusedWhenOthersTakeTooLong) {
  ReadingTurn mine(kLong);
  const pid_t child = in_child([] {
    try {
      const ReadingTurn turn(milliseconds(50));
    } catch (const annal_web::Refused& refused) {
      _exit(refused.status() == 503 ? 42 : 1);
    }
  });
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 42);
  mine.end();
  const ReadingTurn next(milliseconds(0));
}

TEST(WebReadingTurn, EndsWithItsProcess) {
  std::array<int, 2> ready{};
  ASSERT_EQ(pipe(ready.data()), 0);
  const pid_t child = in_child([&ready] {
    const ReadingTurn turn(kLong);
    if (write(ready[1], "x", 1) == 1) {
      pause();
    }
  });
  char mark = 0;
  ASSERT_EQ(read(ready[0], &mark, 1), 1);
  EXPECT_THROW(ReadingTurn(milliseconds(20)), annal_web::Refused);
  ASSERT_EQ(kill(child, SIGKILL), 0);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_NO_THROW(ReadingTurn(milliseconds(5000)));
  close(ready[0]);
  close(ready[1]);
}
