#include "tools/search.h"

#include <array>
#include <initializer_list>

#include "Corix_annal.h"
#include "tools/event/commands.h"
#include "tools/event/model.h"
#include "tools/failure.h"

namespace annalctl::event {

namespace {

enum Text : std::size_t {
  kUser,
  kAddress,
  kComputer,
  kMessage,
  kAppId,
  kApp,
  kCategoryId,
  kCategory,
  kClientId,
  kClientApp,
  kClientAgent,
};

constexpr std::array kTexts{
    TextFilter{"--user", "user's name"},          TextFilter{"--ip", "address"},
    TextFilter{"--computer", "computer's name"},  TextFilter{"--text", "message"},
    TextFilter{"--app-id", "application id"},     TextFilter{"--app", "application"},
    TextFilter{"--category-id", "category id"},   TextFilter{"--category", "category"},
    TextFilter{"--client-id", "client id"},       TextFilter{"--client-app", "client application"},
    TextFilter{"--client-agent", "client agent"},
};
constexpr std::size_t kTextsOfGroups = kMessage + 1;
constexpr std::size_t kSortsOfGroups = 9;

bool any_of(const Filters& filters, std::initializer_list<Text> texts) {
  for (const Text text : texts) {
    if (filters.text(text) != nullptr) {
      return true;
    }
  }
  return false;
}

// The library joins its conditions so that these two do not make a statement, and other callers rely on it.
void check_combination(const Filters& filters) {
  constexpr char kRemedy[] =
      "give one of --type, --since, --until, --user, --ip, --computer and --text as well ('--since 0001-01-01' leaves "
      "nothing out)";
  if (filters.type() != 0 || filters.has_period() || any_of(filters, {kUser, kAddress, kComputer, kMessage})) {
    return;
  }
  const bool client = any_of(filters, {kClientId, kClientApp, kClientAgent});
  if (client && any_of(filters, {kAppId, kApp, kCategoryId, kCategory})) {
    throw Refusal(std::string("the library cannot look for a client and an application or category alone: ") + kRemedy);
  }
  if (filters.text(kCategoryId) != nullptr && filters.text(kCategory) != nullptr && !any_of(filters, {kAppId, kApp})) {
    throw Refusal(std::string("the library cannot look for a category id and a category alone: ") + kRemedy);
  }
}

void match_users(bool exactly) {
  annal_event_enable_name_matching(exactly ? 1 : 0);
}

int list(const Filters& filters, const Rows& rows) {
  return annal_event_query_ex3(rows.callback, rows.sort, rows.range.start, rows.range.end, filters.type(),
                               filters.date_from(), filters.date_to(), filters.text(kUser), filters.text(kAddress),
                               filters.text(kComputer), filters.text(kMessage), rows.context, filters.time_from(),
                               filters.time_to(), filters.text(kAppId), filters.text(kApp), filters.text(kCategoryId),
                               filters.text(kCategory), filters.text(kClientId), filters.text(kClientApp),
                               filters.text(kClientAgent));
}

int group(const Filters& filters, unsigned by, const Rows& rows) {
  return annal_event_query_group_ex(rows.callback, rows.sort, rows.range.start, rows.range.end, filters.type(),
                                    filters.date_from(), filters.date_to(), filters.text(kUser), filters.text(kAddress),
                                    filters.text(kComputer), filters.text(kMessage), by, rows.context,
                                    filters.time_from(), filters.time_to());
}

int count(const Filters& filters) {
  return annal_event_query_count_ex3(filters.type(), filters.date_from(), filters.date_to(), filters.text(kUser),
                                     filters.text(kAddress), filters.text(kComputer), filters.text(kMessage),
                                     filters.time_from(), filters.time_to(), filters.text(kAppId), filters.text(kApp),
                                     filters.text(kCategoryId), filters.text(kCategory), filters.text(kClientId),
                                     filters.text(kClientApp), filters.text(kClientAgent));
}

const Search kSearch{
    .log = kLog,
    .table = kListTable,
    .filters = {kTexts, {}},
    .group_texts = kTextsOfGroups,
    .sorts = kSorts,
    .group_sorts = kSortsOfGroups,
    .groupings = kGroupings,
    .match_users = match_users,
    .check = check_combination,
    .list = list,
    .group = group,
    .count = count,
    .list_examples =
        "  annalctl event list --type error --since yesterday\n"
        "  annalctl event list --text 'log in' --ip 203.0.113. --since '2 days ago'\n"
        "  annalctl event list --sort user --limit 100 --offset 200\n"
        "  annalctl event list --all --oldest --json | gzip > events.jsonl.gz",
    .count_examples =
        "  annalctl event count --type error\n"
        "  annalctl event count --since today --exact-user admin",
    .group_notes =
        "Each group is counted within its level. Without --sort the groups stand in the order of what they "
        "are grouped by,\n"
        "by message in the order of their level.\n",
    .group_examples =
        "  annalctl event group --by user\n"
        "  annalctl event group --by ip --type warning --since -7d --by-size --limit 10",
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

}  // namespace annalctl::event
