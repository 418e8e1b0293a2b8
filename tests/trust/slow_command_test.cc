// A command whose start is held up, as by a slow disk below it: here by its null device, which it opens before it runs.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "Corix_annal.h"
#include "appliance/namespace.h"
#include "tests/support/forwarding.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* kSlow = "/etc/logs/slow";
constexpr auto kHeldUp = 1s;

steady_clock::time_point signalled;

void note_the_signal(int /*signal*/) {
  signalled = steady_clock::now();
}

class SlowCommand : public TrustTest {
 protected:
  // In this process alone, opening the null device takes as long as said.
  static void hold_up_the_null_device() {
    ASSERT_EQ(appliance::unshare_mounts(), "");
    ASSERT_EQ(mkfifo(kSlow, 0600), 0);
    ASSERT_EQ(mount(kSlow, "/dev/null", nullptr, MS_BIND, nullptr), 0);
    if (fork() == 0) {
      std::this_thread::sleep_for(kHeldUp);
      (void)open(kSlow, O_WRONLY);
      _exit(0);
    }
  }
};

TEST_F(SlowCommand, KeepsTheCallerStandingAndDeafToSignalsUntilItRuns) {
  survive([] {
    hold_up_the_null_device();
    set_handler(SIGALRM, note_the_signal);
    const itimerval soon{{0, 0}, {0, 100000}};
    const EventRecord event = an_event<EventRecord>("slow");
    const auto begun = steady_clock::now();
    setitimer(ITIMER_REAL, &soon, nullptr);
    SendEventToLumod(&event);
    EXPECT_GE(steady_clock::now() - begun, kHeldUp * 9 / 10);
    EXPECT_GE(signalled - begun, kHeldUp * 9 / 10);
  });
}

// Not for its end, which the call above would wait for too if it did.
TEST_F(SlowCommand, IsNotWaitedForOnceItRuns) {
  Commands::install("/usr/local/sbin/evsh", {.takes = 5000ms});
  const EventRecord event = an_event<EventRecord>("slow");
  const auto begun = steady_clock::now();
  SendEventToLumod(&event);
  EXPECT_LT(steady_clock::now() - begun, 4s);
}

// One that never ended would be waited for for ever.
TEST_F(SlowCommand, OfTheNotificationCentreIsWaitedForToItsEnd) {
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  Commands::install("/usr/local/sbin/evsh", {.takes = 1000ms});
  EventRecord event = an_event<EventRecord>("slow");
  const auto begun = steady_clock::now();
  EXPECT_EQ(annal_event_add_msgid_ex3(&event), ANNAL_OK);
  EXPECT_GE(steady_clock::now() - begun, 900ms);
}

}  // namespace
}  // namespace annal::test
