// Compares whole programs that read a log from the command line: annalctl, and journalctl on a journal file of the same
// entries. Run it on a private appliance.
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

constexpr char kJournal[] = "/etc/logs/peer.journal";
constexpr char kOutput[] = "/etc/logs/output";
constexpr char kReader[] = "journalctl --quiet --no-pager --file /etc/logs/peer.journal ";

// The entries in the journal's import format, with the event log's columns as fields.
int write_entry(void* context, int columns, char** values, char** names) {
  std::ostream& out = *static_cast<std::ostream*>(context);
  for (int i = 0; i < columns; ++i) {
    out << names[i] << '=' << (values[i] != nullptr ? values[i] : "") << '\n';
  }
  out << '\n';
  return 0;
}

void export_events(const LogUnderTest& log, const std::string& to) {
  std::ofstream out(to);
  sqlite3* database = nullptr;
  if (sqlite3_open(log.path, &database) != SQLITE_OK ||
      sqlite3_exec(database,
                   "SELECT event_timet || '000000' AS __REALTIME_TIMESTAMP, event_id * 60000000 AS "
                   "__MONOTONIC_TIMESTAMP, '0123456789abcdef0123456789abcdef' AS _BOOT_ID, event_desc AS MESSAGE, "
                   "event_type AS PRIORITY, event_user AS EVENT_USER, event_ip AS EVENT_IP, event_comp AS EVENT_COMP, "
                   "event_app_id AS EVENT_APP_ID, event_app_name AS EVENT_APP_NAME, event_category_id AS "
                   "EVENT_CATEGORY_ID, event_category AS EVENT_CATEGORY, event_client_app AS EVENT_CLIENT_APP, "
                   "event_client_agent AS EVENT_CLIENT_AGENT FROM ANNAL_EVENT ORDER BY event_id",
                   write_entry, &out, nullptr) != SQLITE_OK) {
    give_up("the events could not be exported");
  }
  sqlite3_close(database);
}

void run_shell(const std::string& command, Answer& answer) {
  const std::string text = command + " 2>/dev/null >" + kOutput;
  char shell[] = "/bin/sh";
  char option[] = "-c";
  char* const argv[] = {shell, option, const_cast<char*>(text.c_str()), nullptr};
  pid_t child = 0;
  int status = 0;
  if (posix_spawn(&child, shell, nullptr, nullptr, argv, environ) != 0 || waitpid(child, &status, 0) != child) {
    give_up(command);
  }
  if (status != 0) {
    give_up("failed: " + command);
  }
  answer.result = status;
}

// The messages' numbers in a program's output, or the single number that is the output.
std::string found() {
  std::ifstream file(kOutput);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::string numbers;
  for (std::size_t at = text.find("Event "); at != std::string::npos; at = text.find("Event ", at + 1)) {
    numbers += std::to_string(std::atoi(text.c_str() + at + 6)) + " ";
  }
  return numbers.empty() ? std::to_string(std::atoi(text.c_str())) : numbers;
}

bool compare(const std::string& what, const std::string& ours, const std::string& theirs, double seconds) {
  Answer ignored;
  run_shell(ours, ignored);
  const std::string by_us = found();
  run_shell(theirs, ignored);
  const std::string by_them = found();
  Pairs pairs = alternate({[&ours](int /*round*/, Answer& answer) { run_shell(ours, answer); },
                           [&theirs](int /*round*/, Answer& answer) { run_shell(theirs, answer); }},
                          {.seconds = seconds, .most = 500});
  pairs.same = pairs.same && by_us == by_them;
  if (!pairs.same) {
    fmt::print(stderr, "annalctl:   {:.300}\njournalctl: {:.300}\n", by_us, by_them);
  }
  return print_line("journalctl: " + what, pairs);
}

int run(bool quick) {
  const LogUnderTest& log = logs().front();
  const int rows = quick ? 10000 : 100000;
  const double seconds = quick ? 0.5 : 4.0;
  progress(fmt::format("a journal of {} entries", rows));
  make_log(log, rows, rows, 1);
  export_events(log, "/etc/logs/peer.export");
  Answer answer;
  run_shell(fmt::format("/lib/systemd/systemd-journal-remote --split-mode=none -o {} /etc/logs/peer.export", kJournal),
            answer);
  std::filesystem::remove("/etc/logs/peer.export");
  bool same = compare(fmt::format("the newest 50 of {}", rows), "annalctl event list",
                      std::string(kReader) + "--reverse --lines 50 --output short", seconds);
  same = compare(fmt::format("a user's entries of three days, of {}", rows),
                 "annalctl event list --all --exact-user user17 --since 2025-10-05 --until 2025-10-07",
                 std::string(kReader) +
                     "--reverse EVENT_USER=user17 --since '2025-10-05 00:00:00' --until '2025-10-07 23:59:59'",
                 seconds) &&
         same;
  same = compare(fmt::format("a count of {}", rows), "annalctl event count",
                 std::string(kReader) + "--output cat | wc -l", seconds) &&
         same;
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  return annal::bench::run(argc > 1 && std::string_view(argv[1]) == "--quick");
}
