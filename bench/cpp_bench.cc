// The header for C++ beside the same calls in C, in instructions: what it adds, or saves. No consumer is started
// (quiet.cc). Run it on a private appliance.
#include <fmt/format.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.hpp"
#include "bench/c_calls.h"
#include "bench/instructions.h"
#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

constexpr int kRows = 4000;
constexpr int kRoom = 1000000;
constexpr double kMostRatio = 1.02;  // that the documents promise
constexpr std::string_view kOperations = "/etc/logs/fileop.log";

template <typename T>
int answer_of(const Result<T>& result, int sum) {
  return result ? sum : static_cast<int>(result.code());
}

template <typename Row>
int lengths_of(const Row& row) {
  return static_cast<int>(row.id()) + static_cast<int>(row.user().size()) + static_cast<int>(row.message().size());
}
int lengths_of(const conn::Row& row) {
  return static_cast<int>(row.id()) + static_cast<int>(row.user().size()) + static_cast<int>(row.resource().size());
}
// C's side looks at the same columns in each log.
int lengths_of(const fileop::Row& row) {
  return static_cast<int>(row.id()) + static_cast<int>(row.user().size()) + static_cast<int>(row.path().size());
}

int event_add() {
  return answer_of(event::add({.level = Level::warning,
                               .message = "Share \"projects\" was mounted by a client.",
                               .user = "admin",
                               .address = "10.0.0.5",
                               .computer = "pc1",
                               .time = 1760000000,
                               .app = "Storage",
                               .category = "Volumes"}),
                   0);
}

int event_newest() {
  int sum = 0;
  const auto listed =
      event::list({}, {.descending = true, .count = 50}, [&sum](const event::Row& row) { sum += lengths_of(row); });
  return answer_of(listed, sum);
}

int event_filtered() {
  int sum = 0;
  const auto listed = event::list(
      {.level = Level::warning, .period = {.date_from = "2025-10-01", .date_to = "2025-10-31"}, .user = "user1"},
      {.descending = true, .count = 50}, [&sum](const event::Row& row) { sum += lengths_of(row); });
  return answer_of(listed, sum);
}

int event_count() {
  const auto count = event::count({.level = Level::warning});
  return answer_of(count, *count);
}

int event_delete() {
  return answer_of(event::erase(event::NumberColumn::id, 5), 0);
}

int event_pages() {
  unsigned sum = 0;
  auto rows = event::rows();
  for (const event::Row& row : rows) {
    sum += static_cast<unsigned>(lengths_of(row));
  }
  return answer_of(rows.status(), static_cast<int>(sum % INT_MAX));
}

int event_page() {
  int sum = 0;
  const auto page = event::page({}, {.sort = event::Sort::id, .descending = true, .count = 50});
  for (const event::Row& row : *page) {
    sum += lengths_of(row);
  }
  return answer_of(page, sum);
}

constexpr conn::Entry kConnection{.level = Level::warning,
                                  .user = "o'neil",
                                  .address = "10.0.0.5",
                                  .computer = "pc1",
                                  .resource = "/share/projects/report.txt",
                                  .service = 1,
                                  .action = 2,
                                  .app = "Files"};

int conn_add() {
  return answer_of(conn::add(kConnection), 1);
}

int conn_batch() {
  static const std::vector<conn::Entry> entries(C_CALLS_BATCH, kConnection);
  int stored = 0;
  const auto added = conn::add_all(entries, &stored);
  return answer_of(added, stored);
}

int conn_filtered() {
  int sum = 0;
  const auto listed = conn::list(
      {.level = Level::warning, .period = {.date_from = "2025-10-01", .date_to = "2025-10-31"}, .user = "user1"},
      {.descending = true, .count = 50}, [&sum](const conn::Row& row) { sum += lengths_of(row); });
  return answer_of(listed, sum);
}

int fileop_add() {
  return answer_of(fileop::Log(kOperations.data())
                       .add({.user = "admin",
                             .address = "10.0.0.5",
                             .path = "/share/projects/report.txt",
                             .action = 3,
                             .size = 7,
                             .computer = "pc1"}),
                   0);
}

int fileop_filtered() {
  int sum = 0;
  const auto listed =
      fileop::Log(kOperations.data())
          .list({.level = Level::warning, .date_from = "2025-10-01", .date_to = "2025-10-31", .user = "user1"},
                {.sort = fileop::Sort::id, .descending = true, .count = 50},
                [&sum](const fileop::Row& row) { sum += lengths_of(row); });
  return answer_of(listed, sum);
}

int notice_add() {
  return answer_of(notice::add({.severity = Severity::error,
                                .message = "Fan 2 failed.",
                                .title = "Fan",
                                .user = "admin",
                                .address = "10.0.0.5",
                                .client = "pc1"}),
                   0);
}

int notice_filtered() {
  int sum = 0;
  const auto listed =
      notice::list({.from = 1759000000, .to = 1760000000, .severity = Severity::warning},
                   {.descending = true, .count = 50}, [&sum](const notice::Row& row) { sum += lengths_of(row); });
  return answer_of(listed, sum);
}

struct Comparison {
  const char* name;
  int (*ours)();
  int (*theirs)();
};

constexpr Comparison kComparisons[] = {
    {"event add", event_add, c_event_add},
    {"event newest 50", event_newest, c_event_newest},
    {"event filtered 50", event_filtered, c_event_filtered},
    {"event count", event_count, c_event_count},
    {"event delete one", event_delete, c_event_delete},
    {"event page of 50, copied", event_page, c_event_page},
    {"event all, by pages", event_pages, c_event_pages},
    {"conn add, after a look at the log", conn_add, c_conn_add},
    {"conn add 100, after a look at the log", conn_batch, c_conn_batch},
    {"conn filtered 50", conn_filtered, c_conn_filtered},
    {"fileop add", fileop_add, c_fileop_add},
    {"fileop filtered 50", fileop_filtered, c_fileop_filtered},
    {"notice add", notice_add, c_notice_add},
    {"notice filtered 50", notice_filtered, c_notice_filtered},
};

void make_logs() {
  for (const LogUnderTest& log : logs()) {
    make_log(log, kRows, kRoom, 1);
  }
}

std::vector<int> answers_of(bool ours) {
  std::vector<int> answers;
  make_logs();
  for (const Comparison& comparison : kComparisons) {
    answers.push_back(ours ? comparison.ours() : comparison.theirs());
  }
  return answers;
}

// In the child that callgrind watches: each call once unwatched, because the first of each pays for finding functions.
int count_calls(bool ours) {
  for (const Comparison& comparison : kComparisons) {
    int (*const call)() = ours ? comparison.ours : comparison.theirs;
    (void)call();
    count_call([call](int /*round*/, Answer& answer) { answer.result = call(); });
  }
  return EXIT_SUCCESS;
}

std::vector<double> instructions(const char* program, bool ours) {
  progress(ours ? "instructions, C++" : "instructions, C");
  make_logs();
  return counted_by(fmt::format("{} --calls {}", program, ours ? "ours" : "theirs"));
}

int run(const char* program) {
  const std::vector<int> ours = answers_of(true);
  const std::vector<int> theirs = answers_of(false);
  const std::vector<double> our_counts = instructions(program, true);
  const std::vector<double> their_counts = instructions(program, false);
  if (our_counts.size() != std::size(kComparisons) || their_counts.size() != std::size(kComparisons)) {
    give_up("callgrind has counted too few calls");
  }
  bool good = true;
  for (std::size_t i = 0; i < std::size(kComparisons); ++i) {
    const bool equal = ours[i] == theirs[i] && ours[i] >= 0;
    const bool cheap = our_counts[i] <= their_counts[i] * kMostRatio;
    good = good && equal && cheap;
    print_counts(
        std::string(kComparisons[i].name) + (equal ? "" : " **different work**") + (cheap ? "" : " **costs more**"),
        our_counts[i] / 1000, their_counts[i] / 1000);
  }
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  using namespace annal::bench;
  if (argc == 3 && std::string_view(argv[1]) == "--calls") {
    return count_calls(std::string_view(argv[2]) == "ours");
  }
  return run(argv[0]);
}
