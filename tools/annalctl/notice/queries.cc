// The queries of the notice log.
#include <array>
#include <limits>

#include "tools/annalctl/notice/model.h"

namespace annalctl::notice {

namespace {

constexpr std::array kTexts{
    TextFilter{"--text", {"desc", "title"}, "description or the title"},
    TextFilter{"--grep,-g", {"desc", "title"}, "description or the title", Match::kExpression},
    TextFilter{"--user", {"user"}, "user's name"},
    TextFilter{"--exact-user", {"user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"ip"}, "address"},
    TextFilter{"--client", {"client"}, "client"},
    TextFilter{"--service", {"serviceName"}, "service's name"},
    TextFilter{"--msgcode", {"msgCode"}, "message code"},
    TextFilter{"--name", {"name"}, "name"},
};

std::int64_t read_facility(const std::string& text) {
  return facility_of(text);
}

std::int64_t read_action(const std::string& text) {
  using Stored = std::numeric_limits<std::int32_t>;
  return read_number_within(text, Stored::min(), Stored::max());
}

constexpr std::array kNumbers{
    NumberFilter{"--facility", "facility", "Only those of this facility, by number or name", read_facility},
    NumberFilter{"--action", "action", "Only those of this action", read_action},
};

}  // namespace

const QueryCommands kQueries{
    .log = kLog,
    .columns = "t.*",
    .id = "id",
    .table = kListTable,
    .entry = kEntry,
    .filters = {{"--severity,--type", "severity", kSeverities, false}, {nullptr, nullptr, "time"}, kTexts, kNumbers},
    .repeats = {"severity", "facility", "fold(\"desc\", user)"},
    .sorts = kSorts,
    .group_sorts = kSorts.size(),
    .groupings = kGroupings,
    .list_examples =
        "  annalctl notice list --severity error --days 7\n"
        "  annalctl notice list -p warning --facility SMART --since yesterday\n"
        "  annalctl notice list --where 'severity <= 4 and facility = 17'\n"
        "  annalctl notice list --all --oldest --json | gzip > notices.jsonl.gz",
    .count_examples =
        "  annalctl notice count\n"
        "  annalctl notice count --severity error --days 1",
    .group_notes =
        "Those of one likeness share facility, name and description. Without --sort the\n"
        "groups come in the order of the columns that they share.\n",
    .group_examples =
        "  annalctl notice group --by facility\n"
        "  annalctl notice group --by likeness --by-size --limit 10",
};

}  // namespace annalctl::notice
