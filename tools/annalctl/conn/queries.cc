// The queries of the connection log.
#include <array>

#include "tools/annalctl/conn/model.h"

namespace annalctl::conn {

namespace {

constexpr std::array kTexts{
    TextFilter{"--text", {"conn_res", "conn_app"}, "resource or the application"},
    TextFilter{"--grep,-g", {"conn_res", "conn_app"}, "resource or the application", Match::kExpression},
    TextFilter{"--user", {"conn_user"}, "user's name"},
    TextFilter{"--exact-user", {"conn_user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"conn_ip"}, "address"},
    TextFilter{"--computer", {"conn_comp"}, "computer's name"},
    TextFilter{"--resource", {"conn_res"}, "resource"},
    TextFilter{"--app", {"conn_app"}, "application"},
    TextFilter{"--client-id", {"conn_client_id"}, "client id"},
    TextFilter{"--client-app", {"conn_client_app"}, "client application"},
    TextFilter{"--client-agent", {"conn_client_agent"}, "client agent"},
};

std::int64_t read_service(const std::string& text) {
  return read_number_within(text, 1, kHighestService);
}

std::int64_t read_action(const std::string& text) {
  return read_number_within(text, 1, kHighestAction);
}

constexpr std::array kNumbers{
    NumberFilter{"--service", "conn_serv", "Only those of this service, 1 to 12", read_service, {}, Named::kService},
    NumberFilter{"--action", "conn_action", "Only those of this action, 1 to 36", read_action, {}, Named::kAction},
    NumberFilter{"--failed", "conn_action_result", "Only those that failed (result 13)", nullptr, kFailed},
};

}  // namespace

const QueryCommands kQueries{
    .log = kLog,
    .columns = "t.*",
    .id = "conn_id",
    .table = kListTable,
    .entry = kEntry,
    .filters = {{"--type", "conn_type", kLevels, true}, {"conn_date", "conn_time", nullptr}, kTexts, kNumbers},
    .repeats = {"conn_type", "conn_app", "conn_action_result", "fold(conn_res, conn_user)"},
    .sorts = kSorts,
    .group_sorts = kSorts.size(),
    .groupings = kGroupings,
    .list_examples =
        "  annalctl conn list --failed --since yesterday\n"
        "  annalctl conn list --exact-user admin --ip 203.0.113. --service 7\n"
        "  annalctl conn list --all --oldest --csv > connections.csv",
    .count_examples =
        "  annalctl conn count --failed --since today\n"
        "  annalctl conn count --app sshd --user root",
    .group_notes = "Without --sort the groups come in the order of the column that they share.\n",
    .group_examples =
        "  annalctl conn group --by ip --failed --by-size --limit 10\n"
        "  annalctl conn group --by user --since -7d",
};

}  // namespace annalctl::conn
