#include "tools/search.h"

#include <array>

#include "Corix_annal.h"
#include "tools/conn/commands.h"
#include "tools/conn/model.h"

namespace annalctl::conn {

namespace {

enum Text : std::size_t {
  kUser,
  kAddress,
  kComputer,
  kResource,
  kApp,
  kClientId,
  kClientApp,
  kClientAgent,
};

constexpr std::array kTexts{
    TextFilter{"--user", "user's name"},
    TextFilter{"--ip", "address"},
    TextFilter{"--computer", "computer's name"},
    TextFilter{"--resource", "resource"},
    TextFilter{"--app", "application"},
    TextFilter{"--client-id", "client id"},
    TextFilter{"--client-app", "client application"},
    TextFilter{"--client-agent", "client agent"},
};
constexpr std::size_t kTextsOfGroups = kApp + 1;

enum Number : std::size_t {
  kService,
  kAction,
  kResult,
};

constexpr std::array kNumbers{
    NumberFilter{"--service", "Only those of this service, 1 to 12", kHighestService, 0},
    NumberFilter{"--action", "Only those of this action, 1 to 36", kHighestAction, 0},
    NumberFilter{"--failed", "Only those that failed (result 13)", kFailed, kFailed},
};

void match_users(bool exactly) {
  annal_conn_enable_name_matching(exactly ? 1 : 0);
}

void check_nothing(const Filters& /*filters*/) {}

// The library takes the codes that it compares without a sign as plain numbers.
int sort_of(const Rows& rows) {
  return static_cast<int>(rows.sort);
}
int type_mode_of(const Filters& filters) {
  return static_cast<int>(filters.type());
}

int list(const Filters& filters, const Rows& rows) {
  return annal_conn_query_ex3(kLog.path, rows.callback, sort_of(rows), rows.range.start, rows.range.end,
                              type_mode_of(filters), filters.date_from(), filters.date_to(), filters.text(kUser),
                              filters.text(kAddress), filters.text(kComputer), filters.text(kResource),
                              filters.number(kService), filters.number(kAction), rows.context, filters.time_from(),
                              filters.time_to(), filters.text(kApp), filters.number(kResult), filters.text(kClientId),
                              filters.text(kClientApp), filters.text(kClientAgent));
}

int group(const Filters& filters, unsigned by, const Rows& rows) {
  return annal_conn_query_group_ex2(
      kLog.path, rows.callback, sort_of(rows), rows.range.start, rows.range.end, type_mode_of(filters),
      filters.date_from(), filters.date_to(), filters.text(kUser), filters.text(kAddress), filters.text(kComputer),
      filters.text(kResource), filters.number(kService), filters.number(kAction), by, rows.context, filters.time_from(),
      filters.time_to(), filters.text(kApp), filters.number(kResult));
}

int count(const Filters& filters) {
  return annal_conn_query_count_ex3(type_mode_of(filters), filters.date_from(), filters.date_to(), filters.text(kUser),
                                    filters.text(kAddress), filters.text(kComputer), filters.text(kResource),
                                    filters.number(kService), filters.number(kAction), filters.time_from(),
                                    filters.time_to(), filters.text(kApp), filters.number(kResult),
                                    filters.text(kClientId), filters.text(kClientApp), filters.text(kClientAgent));
}

const Search kSearch{
    .log = kLog,
    .table = kListTable,
    .filters = {kTexts, kNumbers},
    .group_texts = kTextsOfGroups,
    .sorts = kSorts,
    .group_sorts = kSorts.size(),
    .groupings = kGroupings,
    .match_users = match_users,
    .check = check_nothing,
    .list = list,
    .group = group,
    .count = count,
    .list_examples =
        "  annalctl conn list --failed --since yesterday\n"
        "  annalctl conn list --exact-user admin --ip 203.0.113. --service 7\n"
        "  annalctl conn list --all --oldest --csv > connections.csv",
    .count_examples =
        "  annalctl conn count --failed --since today\n"
        "  annalctl conn count --app sshd --user root",
    .group_notes = "Without --sort the groups stand in the order of what they are grouped by.\n",
    .group_examples =
        "  annalctl conn group --by ip --failed --by-size --limit 10\n"
        "  annalctl conn group --by user --since -7d",
};

}  // namespace

void add_list(CLI::App& commands, Program& program) {
  add_list_command(commands, program, kSearch);
}

void add_tail(CLI::App& commands, Program& program) {
  add_tail_command(commands, program, kSearch);
}

void add_count(CLI::App& commands, Program& program) {
  add_count_command(commands, program, kSearch);
}

void add_group(CLI::App& commands, Program& program) {
  add_group_command(commands, program, kSearch);
}

}  // namespace annalctl::conn
