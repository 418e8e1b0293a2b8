// The queries of the event log.
#include <array>

#include "tools/annalctl/event/model.h"

namespace annalctl::event {

namespace {

constexpr std::array kTexts{
    TextFilter{"--text", {"event_desc"}, "message"},
    TextFilter{"--grep,-g", {"event_desc"}, "message", Match::kExpression},
    TextFilter{"--user", {"event_user"}, "user's name"},
    TextFilter{"--exact-user", {"event_user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"event_ip"}, "address"},
    TextFilter{"--computer", {"event_comp"}, "computer's name"},
    TextFilter{"--app-id", {"event_app_id"}, "application id"},
    TextFilter{"--app", {"event_app_name"}, "application"},
    TextFilter{"--category-id", {"event_category_id"}, "category id"},
    TextFilter{"--category", {"event_category"}, "category"},
    TextFilter{"--client-id", {"event_client_id"}, "client id"},
    TextFilter{"--client-app", {"event_client_app"}, "client application"},
    TextFilter{"--client-agent", {"event_client_agent"}, "client agent"},
};
// By name, so that a migrated table, with its columns in another order, lists the same.
constexpr char kListedColumns[] =
    "event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
    "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
    "event_client_app, event_client_agent";

constexpr std::size_t kSortsOfGroups = 9;

}  // namespace

const QueryCommands kQueries{
    .log = kLog,
    .columns = kListedColumns,
    .id = "event_id",
    .table = kListTable,
    .entry = kEntry,
    .filters = {{"--type", "event_type", kLevels, true}, {"event_date", "event_time", nullptr}, kTexts, {}},
    .repeats = {"event_type", "event_app_name", "fold(event_desc, event_user)"},
    .sorts = kSorts,
    .group_sorts = kSortsOfGroups,
    .groupings = kGroupings,
    .list_examples =
        "  annalctl event list --type error --since yesterday\n"
        "  annalctl event list -p warning --not-user admin -g 'fan [0-9]+ failed'\n"
        "  annalctl event list --text 'log in' --ip 203.0.113. --since '2 days ago'\n"
        "  annalctl event list --sort user --limit 100 --offset 200\n"
        "  annalctl event list --all --oldest --json | gzip > events.jsonl.gz",
    .count_examples =
        "  annalctl event count --type error\n"
        "  annalctl event count --since today --exact-user admin",
    .group_notes =
        "Each group is counted within its level. Without --sort the groups come in the\n"
        "order of the column that they share; by message, in the order of their level.\n",
    .group_examples =
        "  annalctl event group --by user\n"
        "  annalctl event group --by ip --type warning --since -7d --by-size --limit 10",
};

}  // namespace annalctl::event
