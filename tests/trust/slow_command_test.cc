// A command whose start is delayed, as on a slow disk. Here the delay is in opening the null device before exec.
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
  // Only in this process, opening the null device takes the given time.
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

TEST_F(SlowCommand, SuspendsTheCallerAndItsSignalsUntilItRuns) {
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

// Shows that the call does not wait for the command's end.
TEST_F(SlowCommand, DoesNotDelayTheCallerOnceItRuns) {
  Commands::install("/usr/local/sbin/evsh", {.takes = 5000ms});
  const EventRecord event = an_event<EventRecord>("slow");
  const auto begun = steady_clock::now();
  SendEventToLumod(&event);
  EXPECT_LT(steady_clock::now() - begun, 4s);
}

// A command that never ends would block the call forever.
TEST_F(SlowCommand, OfTheNotificationCentreDelaysTheCallerUntilItEnds) {
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  Commands::install("/usr/local/sbin/evsh", {.takes = 1000ms});
  EventRecord event = an_event<EventRecord>("slow");
  const auto begun = steady_clock::now();
  EXPECT_EQ(annal_event_add_msgid_ex3(&event), ANNAL_OK);
  EXPECT_GE(steady_clock::now() - begun, 900ms);
}

}  // namespace
}  // namespace annal::test
