// The progress line of work that holds a lock: it is drawn, cleared, and never waited for.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tools/annalctl/output/ticker.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class TickerTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe2(ends_, O_NONBLOCK | O_CLOEXEC), 0); }
  void TearDown() override {
    close(ends_[0]);
    close(ends_[1]);
  }

  [[nodiscard]] int terminal() const { return ends_[1]; }

  [[nodiscard]] std::string drawn() const {
    std::string text(65536, '\0');
    const ssize_t size = read(ends_[0], text.data(), text.size());
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
  }

 private:
  int ends_[2]{-1, -1};
};

}  // namespace

TEST_F(TickerTest, ShowsHowFarTheWorkHasComeAndClearsItsLine) {
  const auto percent = std::make_shared<std::atomic<int>>(1);
  {
    const annalctl::Ticker ticker(terminal(), [percent] { return std::to_string(*percent) + "%"; });
    std::this_thread::sleep_for(seconds(2));
    *percent = 99;
    std::this_thread::sleep_for(seconds(1));
  }
  const std::string text = drawn();
  EXPECT_THAT(text, StartsWith("1%\033[K\r"));
  EXPECT_THAT(text, HasSubstr("99%\033[K\r"));
  EXPECT_THAT(text, EndsWith("\r\033[K"));
}

TEST_F(TickerTest, ShowsNothingOfShortWork) {
  {
    const annalctl::Ticker ticker(terminal(), [] { return std::string("1%"); });
  }
  EXPECT_EQ(drawn(), "");
}

TEST_F(TickerTest, LetsWorkEndWhileTheTerminalIsPaused) {
  const std::string noise(4096, 'n');
  while (write(terminal(), noise.data(), noise.size()) > 0) {
  }
  ASSERT_EQ(fcntl(terminal(), F_SETFL, 0), 0);  // so that drawing blocks
  auto ticker = std::make_unique<annalctl::Ticker>(terminal(), [] { return std::string("1%"); });
  std::this_thread::sleep_for(seconds(1));
  const auto begun = std::chrono::steady_clock::now();
  ticker.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, seconds(10));
  // Once there is room, the abandoned thread clears its line and ends: only then may the pipe be closed.
  std::string text;
  const auto end = begun + seconds(60);
  while (!text.ends_with("\r\033[K") && std::chrono::steady_clock::now() < end) {
    text += drawn();
    std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_THAT(text, EndsWith("1%\033[K\r\033[K"));
}
